#pragma once

#include "utils/base/ByteWindow_p.h"
#include "utils/base/LineFile_p.h"
#include "utils/csv/cells/Cells_p.h"
#include "utils/csv/cells/QuoteScanner_p.h"

#include <QFile>
#include <QString>

namespace Utils {

class Progress;

/// A file of rows that are quoted as in RFC 4180, with an index of its rows and a window. A byte
/// order mark of UTF-8 and comments are no rows.
///
/// Beside LineFile, because a row may contain line breaks, and because the file is one of Qt: its
/// path may be that of a resource, and a reason is stored when it cannot be read.
class RecordFile
{
public:
    /// \p mostRows is the largest number of rows of a file.
    explicit RecordFile(int mostRows = csvMostRows);

    /// The bytes of a row, with its line break, and perhaps with comments after it.
    struct Record
    {
        const char *begin = nullptr;
        const char *end = nullptr;
        bool isRead = true; ///< whether it is complete; it is empty when it could not be read
    };

    /// Opens a regular file and finds its rows. \p progress, if not null, receives a step for each
    /// block of 10,240 bytes. Returns false, with a reason, when the file cannot be read to its end
    /// or has too many rows; throws std::bad_alloc when the memory does not suffice.
    bool open(const QString &path, const QuotedFormat<char> &format, Progress *progress);

    /// Removes all rows, and closes the file.
    void clear()
    {
        m_starts = LineStarts();
        m_window.clear();
        m_file.close();
    }

    int numRows() const { return static_cast<int>(m_starts.size()); }

    /// When a quote is not closed, the number of the line, from 1 on, where its row starts;
    /// otherwise 0.
    qint64 openQuoteLine() const { return m_openQuoteLine; }

    /// An existing row. Valid until the next call. When the file has become shorter, the part of
    /// the row that remains. Stores a reason when the row is not complete.
    Record record(int row);

private:
    qint64 startOf(int row) const { return m_starts.at(static_cast<std::size_t>(row)); }
    bool findRows(const QuotedFormat<char> &format, Progress *progress);
    ByteWindow::Count readAt(qint64 offset, char *bytes, int size);
    qint64 lineAt(qint64 offset);

    const int m_mostRows;
    QString m_path;
    QFile m_file; // without a name when it was opened by its descriptor
    LineStarts m_starts;
    qint64 m_end = 0;
    qint64 m_openQuoteLine = 0;
    ByteWindow m_window;
};

} // namespace Utils
