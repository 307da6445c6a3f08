#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QByteArray>
#include <QSharedDataPointer>

namespace Utils {

class CSVDialectPrivate;

/// How a table of delimited text is written: its encoding, delimiter, quotes, comments, header rows
/// and decimal point.
///
///     const CSVDialect dialect = CSVDialect::detect("bench.csv");
///     dialect.delimiter();                          // ";"
///     dialect.confidence(CSVDialect::Delimiter);    // 0.97
///
/// Each property has a confidence from 0 to 1. It is 1 for a property that was set, and 0 for one
/// that is neither set nor detected and has its default. A detected property has less than 1: above
/// 0.9 it is practically certain, below 0.5 it is a guess that a user should confirm.
///
/// Copies share their contents until one of them changes.
class KELMUTILS_EXPORT CSVDialect
{
public:
    enum Property
    {
        Encoding,
        Delimiter,
        Quoting,
        Comment,
        Header, ///< header row, unit row and first data row
        DecimalPoint
    };

    enum Quotes
    {
        NoQuotes,     ///< quotes are ordinary characters
        Rfc4180Quotes ///< fields may be in double quotes, as in RFC 4180
    };

    /// Constructs the dialect of a plain table: UTF-8, commas, no quotes, no comments, no header
    /// and a decimal point, all with the confidence 0.
    CSVDialect();
    CSVDialect(const CSVDialect &other);
    CSVDialect &operator=(const CSVDialect &other);
    ~CSVDialect();

    /// Detects the dialect of the file \p path from at most 128 KiB at its start, in its middle and
    /// at its end. So the time does not depend on the size of the file. Properties that are set in
    /// \p known are kept, and are used to detect the others.
    ///
    /// For a file that is empty or is no text, all confidences except that of the encoding are
    /// below 0.5. When the file cannot be read, is no regular file, or the memory does not suffice,
    /// the result is not valid, and File::lastError() has the reason.
    static CSVDialect detect(const Data::String &path, const CSVDialect &known = CSVDialect());

    /// The same for the contents of a file.
    static CSVDialect detectBytes(const QByteArray &bytes, const CSVDialect &known = CSVDialect());

    /// False for a result of detect() and detectBytes() when they failed.
    bool isValid() const;

    /// From 0 to 1, see above. 0 for a number that is no property.
    double confidence(Property property) const;

    // Each setter sets the confidence of its property to 1. Texts are not checked.

    /// The name of the encoding, such as "UTF-8", "UTF-16LE" or "windows-1252": that which
    /// File::encodingOf() finds in the sample. For bytes that are in no encoding of Unicode it is
    /// File::fallbackEncoding(). windows-1252 is a superset of ISO 8859-1.
    Data::String encoding() const;
    void setEncoding(const Data::String &name);

    /// The text between fields. "" when there is one column, and "\\s+", a pattern, when columns
    /// are aligned by blanks; other delimiters are plain text.
    Data::String delimiter() const;
    void setDelimiter(const Data::String &delimiter);

    /// Whether columns are aligned by blanks.
    bool isAligned() const;

    Quotes quotes() const;
    void setQuotes(Quotes quotes);

    /// The text at the start of a comment line; "" when there are no comments.
    Data::String comment() const;
    void setComment(const Data::String &marker);

    // Rows count from 0, as in a table that was read with this dialect: comment lines do not count,
    // empty lines do.

    /// The row of the column labels, -1 when there is none.
    int headerRow() const;
    bool hasHeader() const { return headerRow() >= 0; }

    /// The row of the units, below the header; -1 when there is none.
    int unitRow() const;

    /// The row after all header rows.
    int firstDataRow() const;

    /// Sets all three. A negative row means that there is no such row.
    void setHeader(int headerRow, int unitRow, int firstDataRow);

    /// The decimal point of the numbers, '.' or ','. '.' when no number has a decimal point.
    char decimalPoint() const;
    void setDecimalPoint(char point);

    /// Whether some numbers have separators between thousands, as "1,234,567.8". In a table, these
    /// are not numbers. This property has no confidence.
    bool hasGroupedDigits() const;
    void setGroupedDigits(bool on);

    /// Whether lines end at carriage returns alone, as those of some old programs. This property
    /// has no confidence.
    bool hasCarriageReturns() const;
    void setCarriageReturns(bool on);

    /// Whether all properties are equal. Confidences are not compared.
    bool operator==(const CSVDialect &other) const;
    bool operator!=(const CSVDialect &other) const { return !(*this == other); }

    /// The dialect as one line for users: "UTF-8, delimiter ';', no quotes, no comments, labels in
    /// row 1, data from row 2, decimal comma". Rows count from 1 here. A property with a confidence
    /// below 0.5 is followed by "(?)". "unknown" when the dialect is not valid.
    ///
    /// The texts are those of the table "Kelm.Utils" in the language of StringTable, and English
    /// where it is not loaded. As the catalogue, it is for the main thread only.
    Data::String toText() const;

    /// The dialect as one line of JSON: an object with each property and, in "confidence", an
    /// object with the confidence of each, rounded down to two decimals. Rows that do not exist,
    /// and quotes when there are none, are null. "carriageReturns" is there only when it is true.
    Data::String toJson() const;

private:
    friend class DialectDetector;

    QSharedDataPointer<CSVDialectPrivate> d;
};

} // namespace Utils
