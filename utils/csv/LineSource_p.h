#pragma once

#include "utils/base/LineFile_p.h"

#include <QByteArray>

#include <limits>

namespace Utils {

class Progress;

/// The open file of a CSVReader and its copies.
class LineSource
{
public:
    static constexpr int blockSize = LineFile::blockSize;

    /// The bytes of a file that are read: so that the number of lines fits into an int, too.
    static constexpr int maxFileSize = std::numeric_limits<int>::max() - 1;

    /// Some bytes, without the line feed at the end, as long as \p holder lives and the source is
    /// not asked for anything else.
    struct Line
    {
        const char *begin = nullptr;
        const char *end = nullptr;
        bool isRead = true; ///< false for one that could not be read, which is empty
        QByteArray holder;
    };

    explicit LineSource(OwnedFile file);
    LineSource(const LineSource &) = delete;
    LineSource &operator=(const LineSource &) = delete;

    /// The lines are empty from then on.
    void close() { m_file.close(); }

    /// Finds all lines, and ticks once a block. False when they are more than the memory holds, and
    /// when the file cannot be read to its end.
    bool findLines(Progress *progress);

    int numLines() const { return static_cast<int>(m_file.numLines()); }

    /// The bytes of a line, with its carriage returns, and with room for scanPadding bytes after
    /// it. Empty, and never a part of it, when it cannot be read or is larger than the memory; but
    /// what is left of it when the file has become shorter.
    Line line(int number);

private:
    bool readByBlocks(int offset, QByteArray &line);

    LineFile m_file;
};

} // namespace Utils
