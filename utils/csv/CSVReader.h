#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <memory>

namespace Utils {

class CSVReaderPrivate;
class Progress;

/// Reads delimited text directly from a file. Only the positions of the lines are kept in memory.
///
/// Quotes, escapes and comments have no meaning: a line is split at each delimiter byte. Rows and
/// columns count from 0. An index out of range yields an empty result.
///
///     Utils::CSVReader reader; // fields end at commas
///     if (!reader.read("load.csv"))
///         return false;
///     const QStringList labels = reader.dataD(0);
///     const QList<double> times = reader.colDataValue(0, 1);
///
/// How a line is split depends on the number of delimiters:
///
///     none     no fields
///     one      all fields, also empty ones: "a,,b" has three, "a," has two, "" has one
///     several  a run of delimiters counts as one delimiter, and delimiters at the ends are
///              ignored: no field is empty, and "" has no fields. This reads aligned columns.
///
/// A row is read when it is accessed. Row 0 and the row that was split last are kept in memory. If
/// the file is changed while it is open, rows may have the old or the new contents; when the file
/// was cut off within a row, this row is what is left of it. A file may be larger than 2 GiB, but
/// has at most 2,147,483,647 rows; four bytes of memory are needed for each.
///
/// A row that cannot be read, because of a disk error or for lack of memory, is an empty line,
/// never a part of the row. Such a row is not kept: the next access tries to read it again. A
/// result that does not fit into memory is empty. After each call that reads rows,
/// File::lastError() has the reason of the first row that could not be read or was cut off; "" when
/// there was none.
///
/// Although access is const, it changes the position in the file: a reader and its copies must not
/// be used by several threads.
///
/// \compat Some properties may surprise:
/// - There is one row more than there are line feeds: a file that ends with a line feed has an
///   empty last row, and an empty file has one row.
/// - Each carriage return is removed, even in the middle of a line: "a\rb" is "ab".
/// - The file is searched for line feeds in blocks of 10,240 bytes from its start. A zero byte
///   hides the line feeds after it in the same block.
/// - A line is read in blocks of 10,240 bytes from its start. A zero byte hides the text after it
///   in the same block.
/// - The rows in memory are not split again when a delimiter is added. Row 0 keeps its fields until
///   the next read(), and the other row keeps them until another row is split.
/// - Copies share the open file. The first of them that is destroyed, or calls read(), closes it.
///   From then on the rows of the other copies are empty, except the rows in memory.
class KELMUTILS_EXPORT CSVReader
{
public:
    /// Constructs a reader without rows. A \p delimiter of 0 means no delimiter.
    explicit CSVReader(char delimiter = ',');
    CSVReader(const CSVReader &other);
    /// Does not close the file that this reader had open, because a copy may still use it.
    CSVReader &operator=(const CSVReader &other);
    ~CSVReader();

    /// Adds a delimiter byte. Does nothing when it is 0 or exists already, or when the memory does
    /// not suffice.
    void addDelimiter(char delimiter);

    /// Finds the lines of the file \p path and keeps the file open. Rows read before are discarded;
    /// delimiters and hole value stay.
    ///
    /// False, with no rows and no open file, when the path is empty, when the file cannot be opened
    /// or cannot be read to its end, when it is not a regular file, and when its lines do not fit
    /// into memory or are too many. File::lastError() has the reason.
    ///
    /// \p progress, if not null, receives a step for each block of 10,240 bytes. Its maximum is set
    /// to the number of whole blocks, so it may receive one step more than its maximum.
    ///
    /// \compat The call continues when \p progress is cancelled.
    bool read(const Data::String &path, Progress *progress = nullptr);

    /// Sets the encoding of the fields as text, such as "windows-1252", from the next read() on;
    /// "auto" for the File::encoding() of each file that is read. With "", as at first, the
    /// encoding is UTF-8. False, with nothing changed, when there is no encoding of that name.
    ///
    /// With an encoding, a byte order mark of UTF-8 is not part of row 0. Bytes that are not valid
    /// in the encoding become U+FFFD. read() fails, with a reason in File::lastError(), for an
    /// encoding in which the bytes of line feeds and delimiters can be part of other characters,
    /// such as UTF-16.
    bool setEncoding(const Data::String &name);

    /// The name last set: "" or "auto", or the usual name of the encoding.
    Data::String encoding() const;

    /// The encoding by which the last successful read() decodes. \p isGuess, if not null, is set
    /// to whether it may be wrong, as for File::encoding(); false unless "auto" was set. "" when no
    /// encoding was set.
    Data::String detectedEncoding(bool *isGuess = nullptr) const;

    /// The number that stands for an empty field (a hole), 0.0 at first.
    void setHoleValue(double value);

    /// Sets the decimal point of numbers, '.' at first. Only '.' and ',' are accepted; the call
    /// does nothing for another character. With a comma, "2,5" is 2.5, and a text with a point, or
    /// with two commas, is not a number: "1.500" may be 1500 or 1.5. The same applies to
    /// hasHeader().
    void setDecimalPoint(char point);
    char decimalPoint() const;

    /// Whether the reader has rows, which is the case after a successful read().
    bool isValid() const;

    /// The path last passed to read(), even if that failed.
    Data::String path() const;

    int numRows() const;

    /// The number of fields of \p row; 0 for -1, unlike CSVTable::numColumns().
    int numColumns(int row) const;

    /// Whether row 0 has a field that, when trimmed, is not a number. Numbers are those of the C
    /// locale. An empty field is not a number, nor is a number beyond the range of a double.
    bool hasHeader() const;

    /// A CRC-16, as computed by qChecksum(), of a text: the number of all rows in decimal, followed
    /// by the first \p rows lines without carriage returns and without separators. When \p rows is
    /// negative or too large, these are all lines. A row that cannot be read counts as an empty
    /// line.
    ///
    /// Files that differ only in CR LF and LF have the same checksum. An additional line feed at
    /// the end changes it.
    unsigned short checksum(int rows = -1) const;

    // Fields as bytes: as in the file, not trimmed, without carriage returns

    /// The field, or with a negative \p col the whole line.
    QByteArray data(int row, int col) const;
    QList<QByteArray> data(int row) const;

    /// The fields from \p firstCol to \p lastCol, as far as they exist. When \p lastCol is smaller
    /// than \p firstCol, all fields from \p firstCol on.
    QList<QByteArray> rowData(int row, int firstCol, int lastCol = -1) const;

    /// The fields of a column, from \p firstRow on. A row that is too short yields an empty field.
    /// When \p firstRow is negative, each negative row yields an empty field, too. The result is
    /// empty when \p col is negative, when there are more than 16 million negative rows, and when
    /// the memory does not suffice.
    ///
    /// The last row is left out if it has no fields or a single empty one, as after a final line
    /// feed.
    QList<QByteArray> colData(int col, int firstRow = 0) const;

    // Fields as text: decoded from UTF-8, or from the encoding that was set, and then trimmed

    Data::String dataD(int row, int col) const;
    QStringList dataD(int row) const;
    QStringList rowDataD(int row, int firstCol, int lastCol = -1) const;
    QStringList colDataD(int col, int firstRow = 0) const;

    // Fields as numbers, in the C locale or with a decimal comma: the hole value if the trimmed
    // field is empty, otherwise the result of QByteArray::toDouble(), which is 0.0 for a text that
    // is not a number

    /// \p ok, if not null, is set to whether the field is a number. For an empty field and for an
    /// index out of range, \p ok is set to false and the result is the hole value.
    double dataValue(int row, int col, bool *ok = nullptr) const;
    QList<double> dataValue(int row) const;
    QList<double> rowDataValue(int row, int firstCol, int lastCol = -1) const;
    QList<double> colDataValue(int col, int firstRow = 0) const;

private:
    friend class CSVReaderPrivate;

    QStringList baToStrList(const QList<QByteArray> &fields) const;
    QList<double> toValues(const QList<QByteArray> &fields) const;
    double toValue(const QByteArray &bytes, bool *ok) const;
    QByteArray readLine(int row) const;

    std::unique_ptr<CSVReaderPrivate> d;
};

} // namespace Utils
