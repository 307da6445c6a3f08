#pragma once

#include "utils/base/LineFile_p.h"
#include "utils/csv/cells/Cells_p.h"

#include <QByteArray>

namespace Utils {

class Progress;

/// The open file of a CSVReader and its copies.
class LineSource
{
public:
    static constexpr int blockSize = LineFile::blockSize;

    /// The bytes of a line, without its line feed. Valid until the next call of the source, and as
    /// long as \p holder lives.
    struct Line
    {
        const char *begin = nullptr;
        const char *end = nullptr;
        bool isRead = true; ///< false when it could not be read; empty then
        bool isCut = false; ///< whether the file has become shorter, and the end is missing
        int error = 0;      ///< why it could not be read (errno)
        QByteArray holder;
    };

    /// \p mostLines is the largest number of lines, beyond which findLines() fails.
    explicit LineSource(OwnedFile file, int mostLines = csvMostRows);
    LineSource(const LineSource &) = delete;
    LineSource &operator=(const LineSource &) = delete;

    /// The lines are empty from then on.
    void close() { m_file.close(); }

    /// Finds all lines, and ticks once per block. False when the memory does not suffice for them,
    /// when they are too many, or when the file cannot be read to its end.
    bool findLines(Progress *progress);

    /// Whether the last findLines() failed because of the number of lines.
    bool hasTooManyLines() const { return m_file.hasTooManyLines(); }

    int numLines() const { return static_cast<int>(m_file.numLines()); }

    /// The bytes of a line, with its carriage returns, followed by scanPadding readable bytes.
    /// Empty, never a part of the line, when it cannot be read or is larger than the memory. When
    /// the file has become shorter, the part of the line that remains.
    Line line(int number);

private:
    void readByBlocks(qint64 offset, qint64 end, Line &line);

    LineFile m_file;
};

} // namespace Utils
