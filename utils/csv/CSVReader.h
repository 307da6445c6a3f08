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

/// Reads delimited text straight from a file, of which it holds the places of the lines only.
///
/// It knows nothing of quotes, escapes or comments: a line is split at the delimiter bytes. Rows
/// and columns count from 0, and what is out of range gives an empty result.
///
///     Utils::CSVReader reader; // fields end at commas
///     if (!reader.read("load.csv"))
///         return false;
///     const QStringList labels = reader.dataD(0);
///     const QList<double> times = reader.colDataValue(0, 1);
///
/// There is one row more than there are line feeds: a file that ends in a line feed has a last row
/// that is empty, and an empty file has one row, which is meant.
///
/// How a line is split depends on the number of delimiters, which is meant:
///
///     none     no fields at all
///     one      all fields, empty ones too: "a,,b" has three, "a," two, "" one
///     several  a run of delimiters counts as one, and none counts at the ends: no field is empty,
///              and "" has none. So columns that are aligned by blanks are read.
///
/// Every carriage return is dropped, also in the middle of a line: "a\rb" is "ab", which is meant.
/// A zero byte hides all line feeds up to the end of its block of 10,240 bytes, counted from the
/// start of the file, from the search for lines. Within a line it hides what is behind it in the
/// block, counted from the start of the line. Both are meant.
///
/// A row is read when it is asked for; the row that was split last, and row 0, are kept. They stay
/// as they were split when a delimiter is added, until read() or, for the former, until another
/// row is split, which is meant. A change of the file may show or not; of a row that is partly gone
/// from it what is left is read.
///
/// A row that cannot be read, because the disk fails or the memory does not suffice, is an empty
/// line, never a part of the row, and nothing tells it from one that is empty in the file. It is
/// not kept: the next access tries again. Where a whole answer is more than the memory holds, the
/// answer is empty.
///
/// The file ends at 2 GiB for the reader, and what is behind is not there.
///
/// Copies share the open file, and it is closed by the first of them that is destroyed or calls
/// read(), which is meant: the rows of the others are empty from then on, but for those kept.
/// Access is const but moves the position in the file: no two threads may use one reader, or
/// copies of it.
class KELMUTILS_EXPORT CSVReader
{
public:
    /// A zero byte is no delimiter.
    explicit CSVReader(char delimiter = ',');
    CSVReader(const CSVReader &other);
    /// Does not close the file that it had, which a copy may still use.
    CSVReader &operator=(const CSVReader &other);
    ~CSVReader();

    /// Adds a byte at which lines are split, unless it is zero or there already, or the memory does
    /// not suffice.
    void addDelimiter(char delimiter);

    /// Finds the lines of the file \p path, and keeps it open. What was read before is forgotten,
    /// while delimiters and hole value stay.
    ///
    /// False, with no rows and no file open, for an empty path and when the file cannot be opened
    /// or cannot be read to its end; so, too, for what is no regular file, and for more lines than
    /// the memory holds.
    ///
    /// \p progress gets a step per block of 10,240 bytes that is read, of so many as there are
    /// whole ones, so that it may get one more. It cannot cancel, which is meant.
    bool read(const Data::String &path, Progress *progress = nullptr);

    /// The number that stands for an empty field, 0.0 at first.
    void setHoleValue(double value);

    /// Whether there is a row: a file has been read.
    bool isValid() const;

    /// What was last given to read(), also when that failed.
    Data::String path() const;

    int numRows() const;

    /// How many fields \p row has. There is no number for the whole table: -1 gives 0.
    int numColumns(int row) const;

    /// Whether row 0 has a field that is no number when trimmed, as an empty one is not, nor one
    /// beyond the range of a double. Numbers are those of the C locale.
    bool hasHeader() const;

    /// CRC-16, as by qChecksum(), of the number of all rows in decimal and the first \p rows lines,
    /// without carriage returns and with nothing in between. All lines when \p rows is negative or
    /// larger than their number. A row that cannot be read counts as an empty line.
    ///
    /// The same for CR LF and LF, but another one with one more line feed at the end.
    unsigned short checksum(int rows = -1) const;

    // Fields as bytes: as they are in the file, not trimmed, without carriage returns

    /// The field, or with a negative \p col the whole line, unsplit.
    QByteArray data(int row, int col) const;
    QList<QByteArray> data(int row) const;

    /// The fields from \p firstCol to \p lastCol, or to the end when \p lastCol is smaller than
    /// \p firstCol. Those of the columns that there are.
    QList<QByteArray> rowData(int row, int firstCol, int lastCol = -1) const;

    /// The fields of a column from \p firstRow on, an empty one where a row is too short, and where
    /// \p firstRow is negative for each row in front of the first. Empty for a negative \p col,
    /// when those rows are more than 16 million, and when it is all more than the memory holds.
    ///
    /// The last row is left out when it has no fields or one that is empty: it is what a line feed
    /// at the end leaves.
    QList<QByteArray> colData(int col, int firstRow = 0) const;

    // Fields as text: decoded from UTF-8 and then trimmed

    Data::String dataD(int row, int col) const;
    QStringList dataD(int row) const;
    QStringList rowDataD(int row, int firstCol, int lastCol = -1) const;
    QStringList colDataD(int col, int firstRow = 0) const;

    // Fields as numbers, in the C locale: the hole value where a trimmed field is empty, else what
    // QByteArray::toDouble() gives, which is 0.0 for what is no number

    /// \p ok, which may be null, tells whether the field is a number; a hole is not, and neither is
    /// what is out of range, for which the hole value is given, too.
    double dataValue(int row, int col, bool *ok = nullptr) const;
    QList<double> dataValue(int row) const;
    QList<double> rowDataValue(int row, int firstCol, int lastCol = -1) const;
    QList<double> colDataValue(int col, int firstRow = 0) const;

private:
    QStringList baToStrList(const QList<QByteArray> &fields) const;
    QList<double> toValues(const QList<QByteArray> &fields) const;
    double toValue(const QByteArray &bytes, bool *ok) const;
    QByteArray readLine(int row) const;

    std::unique_ptr<CSVReaderPrivate> d;
};

} // namespace Utils
