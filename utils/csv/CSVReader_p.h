#pragma once

#include "utils/base/Encoding_p.h"
#include "utils/csv/CSVReader.h"
#include "utils/csv/LineSource_p.h"
#include "utils/csv/cells/Cells_p.h"

#include <array>

namespace Utils {

/// The encoding of a file.
struct FileEncoding
{
    QString name; // "" when none was set
    bool isGuess = false;
    Encoding encoding;    // invalid for UTF-8
    bool hasMark = false; // whether a mark at the start is not part of the text
};

class CSVReaderPrivate
{
public:
    /// The private object of \p reader: for tables that read by it, and for tests.
    static CSVReaderPrivate &of(const CSVReader &reader) { return *reader.d; }

    void addDelimiter(char delimiter);

    /// Determines the encoding of the file. False, with a reason, when its lines and fields cannot
    /// be found.
    bool findEncoding(FileEncoding &found) const;

    /// Discards the current source and closes its file, also for copies, and sets \p newSource.
    void setSource(const std::shared_ptr<LineSource> &newSource);

    int numRows() const { return source ? source->numLines() : 0; }

    /// An existing line. Stores a reason when it cannot be read or has been cut off.
    LineSource::Line line(int row) const
    {
        LineSource::Line line = row == 0 && decoded.hasMark ? firstLine() : source->line(row);
        if (!line.isRead || line.isCut)
            storeReason(line);
        return line;
    }
    LineSource::Line firstLine() const; // without a byte order mark
    void storeReason(const LineSource::Line &line) const;

    QString toText(const char *begin, const char *end) const
    {
        const QString text = decoded.encoding.isValid()
                                 ? decoded.encoding.toText(begin, end)
                                 : QString::fromUtf8(begin, static_cast<int>(end - begin));
        return text.trimmed();
    }

    QList<QByteArray> split(const char *next, const char *end) const;

    double toNumber(const char *begin, const char *end, bool *ok) const
    {
        const auto hole = [this] { return holeValue; };
        return decimalPoint == ',' ? csvCommaNumber(begin, end, hole, ok)
                                   : csvNumber(begin, end, hole, ok);
    }

    /// Narrows the line from \p begin to \p end to its field \p col, or to an empty range when it
    /// has none. The field may still contain carriage returns.
    void cutField(const char *&begin, const char *&end, int col) const;

    /// The fields of an existing row, from the cache or from the file. They are cached if the row
    /// is complete. *\p isComplete, if that is wanted, tells whether it is; otherwise the reason is
    /// stored.
    QList<QByteArray> fieldsOf(int row, bool *isComplete = nullptr);

    /// The column as a \p List of the fields converted by \p convert.
    template <typename List, typename Convert>
    List column(int col, int fromRow, const Convert &convert);

    template <typename Append>
    void walkColumn(int col, int fromRow, const Append &append);

    QByteArray delimiters;
    std::array<bool, 256> isDelimiter = {}; // in a line without carriage returns
    double holeValue = 0.0;
    char decimalPoint = '.';
    Data::String path;
    QString encodingName; // as set
    FileEncoding decoded; // of the source
    QList<QByteArray> firstRow;
    QList<QByteArray> lastRow;
    int lastRowIndex = -1;
    int mostRows = csvMostRows;
    std::shared_ptr<LineSource> source;
};

} // namespace Utils
