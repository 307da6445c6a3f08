#pragma once

#include <QtGlobal>

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace Utils {

struct FileCloser
{
    void operator()(std::FILE *file) const { std::fclose(file); }
};

/// A file of the C library that is closed with its owner.
using OwnedFile = std::unique_ptr<std::FILE, FileCloser>;

/// Where the lines of a file start.
///
/// Kept in pieces, so that it takes the memory of its numbers and no more while it grows: a vector
/// that doubles would take three times as much.
class LineStarts
{
public:
    std::size_t size() const { return m_size; }
    int at(std::size_t line) const { return m_pieces[line / pieceSize][line % pieceSize]; }

    void append(int start)
    {
        if (m_size % pieceSize == 0)
            m_pieces.push_back(
                std::unique_ptr<int[]>(new int[pieceSize])); // not lost without memory
        m_pieces.back()[m_size % pieceSize] = start;
        ++m_size;
    }

    /// Frees what a few lines do not need.
    void squeeze();

private:
    static constexpr std::size_t pieceSize = 1 << 16;

    std::vector<std::unique_ptr<int[]>> m_pieces;
    std::size_t m_size = 0;
};

/// A file that is read a line at a time, with an index of its lines, and a window: the bytes around
/// the last line, since a seek and a read a line would be slow.
///
/// A line ends at a line feed, but not at one that follows a zero byte in the same block of 10,240
/// bytes. Blocks count from where the search for lines starts. What is read at once is larger than
/// they are, without an effect on results.
///
/// Offsets are ints: what is beyond \p maxBytes of the file is not there. A read that a signal
/// interrupts goes on; all other errors are failures. What fails for lack of memory throws
/// std::bad_alloc, but for findLines().
class LineFile
{
public:
    static constexpr int blockSize = 10240;

    /// How many bytes are read into the window: at a new place, and, growing with each read next to
    /// the last one, at most. So many bytes may a line have that is asked for by view().
    struct Window
    {
        int first;
        int largest;
    };

    /// How many bytes there are: fewer than asked for at the end of the file, and where it cannot
    /// be read, which hasFailed tells.
    struct Count
    {
        int count = 0;
        bool hasFailed = false;
    };

    struct View
    {
        const char *begin = nullptr;
        Count size;
    };

    LineFile(OwnedFile file, int maxBytes, Window window);

    bool isOpen() const { return m_file != nullptr; }

    /// Closes the file. Its lines are still counted, but nothing can be read any more.
    void close();

    // The index

    /// Finds all lines from the current position on, and calls \p tick, if there is one, once a
    /// block. The first line starts at 0 all the same. False, with no line, when the file cannot be
    /// read to its end, and when the memory does not suffice.
    bool findLines(const std::function<void()> &tick);

    /// One more than there are line feeds that end a line.
    std::size_t numLines() const { return m_lines.size(); }
    int lineStart(std::size_t line) const { return m_lines.at(line); }

    /// Before the line feed, or the end of the file for the last line.
    int lineEnd(std::size_t line) const
    {
        return line + 1 < m_lines.size() ? m_lines.at(line + 1) - 1 : m_end;
    }

    /// Whether there is any. Without, all line feeds are line ends.
    bool hasZeroBytes() const { return m_hasZeroBytes; }

    // The bytes

    qint64 position() const { return m_position; }
    void seek(qint64 position) { m_position = position; } // when it is read next

    /// Reads up to \p size bytes at the current position, which moves after them.
    Count read(char *bytes, int size);
    Count readAt(int offset, char *bytes, int size);

    /// The bytes at \p offset, from the window, with scanPadding bytes that may be read after them.
    /// Valid until the next call. Moves the current position.
    View view(int offset, int size);

private:
    bool isInWindow(int offset, int size) const
    {
        return offset >= m_start && qint64(offset) + size <= qint64(m_start) + m_count.count;
    }

    void moveWindow(int offset, int size);

    OwnedFile m_file;
    const int m_maxBytes;
    const Window m_window;

    LineStarts m_lines;
    int m_end = 0; // of the last line
    bool m_hasZeroBytes = false;

    qint64 m_position = 0;
    qint64 m_filePosition = 0; // of the file itself, -1 where that is not known

    std::unique_ptr<char[]> m_bytes; // of the window
    int m_start = 0;
    Count m_count;
    int m_step = 0; // how many bytes were asked for
};

} // namespace Utils
