#pragma once

#include "utils/csv/LineIndex_p.h"

#include <QByteArray>

#include <cstdio>
#include <memory>

namespace Utils {

class Progress;

struct FileCloser
{
    void operator()(std::FILE *file) const { std::fclose(file); }
};

/// A file of the C library that is closed with its owner.
using OwnedFile = std::unique_ptr<std::FILE, FileCloser>;

/// The open file of a CSVReader and its copies.
///
/// The rules about zero bytes, and the steps of the progress, go by blocks of 10,240 bytes. What is
/// read in one go is larger, which nobody sees.
class LineSource
{
public:
    static constexpr int blockSize = 10240;

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

    /// There is nothing in it from then on.
    void close();

    /// Finds all lines, and ticks once a block. Null when they are more than the memory holds, and
    /// when the file cannot be read to its end.
    std::shared_ptr<const LineIndex> findLines(Progress *progress);

    /// The bytes of a line, with its carriage returns, and with room for scanPadding bytes behind
    /// it. Empty, and never a part of it, when it cannot be read or is larger than the memory; but
    /// what is left of it when the file has become shorter.
    Line line(const LineIndex &index, int number);

private:
    static constexpr int windowSize = 256 * 1024;

    /// Some bytes, fewer at the end of the file, and where it cannot be read, which hasFailed
    /// tells.
    struct Bytes
    {
        int count = 0;
        bool hasFailed = false;
    };

    Bytes read(char *bytes, int size);
    Bytes readAt(int offset, char *bytes, int size);
    const char *window(int offset, int size);
    bool readByBlocks(int offset, QByteArray &line);

    OwnedFile m_file;

    // A part of the file that lines are cut from: a seek and a read a line would be slow.
    std::unique_ptr<char[]> m_bytes;
    int m_start = 0;
    int m_count = 0;
    int m_step = 0; // bytes of the last read
};

} // namespace Utils
