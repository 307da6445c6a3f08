#pragma once

#include "utils/base/ByteWindow_p.h"

#include <QtGlobal>

#include <cstddef>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace Utils {

struct FileCloser
{
    void operator()(std::FILE *file) const { std::fclose(file); }
};

/// A file of the C library that is closed with its owner.
using OwnedFile = std::unique_ptr<std::FILE, FileCloser>;

/// The start positions of the lines of a file, in ascending order.
///
/// Stored in pieces, so that it needs no more memory than its numbers while it grows: a vector that
/// doubles its capacity would need three times as much.
///
/// Only the lower 32 bits of each position are stored, and with them, once for every 4 GiB of the
/// file, the first line from there on.
class LineStarts
{
public:
    std::size_t size() const { return m_size; }

    qint64 at(std::size_t line) const
    {
        const qint64 low = m_pieces[line / pieceSize][line % pieceSize];
        return m_firstLines.empty() ? low : upperBits(line) | low;
    }

    void append(qint64 start)
    {
        if (m_size % pieceSize == 0) {
            std::unique_ptr<quint32[]> piece(new quint32[pieceSize]); // without setting it to zeros
            m_pieces.push_back(std::move(piece));
        }
        if (start >= m_end)
            moveEnd(start);
        m_pieces.back()[m_size % pieceSize] = static_cast<quint32>(start);
        ++m_size;
    }

    /// Frees the unused memory if there are few lines.
    void squeeze();

private:
    static constexpr std::size_t pieceSize = 1 << 16;
    static constexpr qint64 span = qint64(1) << 32; // of the bits that are stored

    qint64 upperBits(std::size_t line) const;
    void moveEnd(qint64 start);

    std::vector<std::unique_ptr<quint32[]>> m_pieces;
    std::vector<std::size_t> m_firstLines; // after each multiple of the span
    std::size_t m_size = 0;
    qint64 m_end = span; // the next multiple
};

/// A file that is read line by line, with an index of its lines and a window.
///
/// A line ends at a line feed, but not at one that follows a zero byte in the same block of 10,240
/// bytes. Blocks are counted from the position where the search for lines starts. Each read covers
/// several blocks, which does not affect results.
///
/// Bytes of the file after \p maxBytes are ignored. A read that is interrupted by a signal is
/// continued; all other errors are failures. All functions except findLines() throw std::bad_alloc
/// when the memory does not suffice.
class LineFile
{
public:
    static constexpr int blockSize = 10240;

    using Count = ByteWindow::Count;

    LineFile(OwnedFile file, qint64 maxBytes, ByteWindow::Sizes window,
             std::size_t maxLines = std::numeric_limits<std::size_t>::max());

    bool isOpen() const { return m_file != nullptr; }

    /// Closes the file. The index of its lines remains, but nothing can be read any more.
    void close();

    // The index

    /// Finds all lines from the current position on, and calls \p tick, unless it is empty, once
    /// per block. The first line always starts at 0. Returns false, and leaves no lines, when the
    /// file cannot be read to its end, when it has too many lines, or when the memory does not
    /// suffice.
    bool findLines(const std::function<void()> &tick);

    /// Whether the last findLines() failed because of the number of lines.
    bool hasTooManyLines() const { return m_hasTooManyLines; }

    /// The number of line feeds that end a line, plus one.
    std::size_t numLines() const { return m_lines.size(); }
    qint64 lineStart(std::size_t line) const { return m_lines.at(line); }

    /// The position of the line feed, or of the end of the file for the last line.
    qint64 lineEnd(std::size_t line) const
    {
        return line + 1 < m_lines.size() ? m_lines.at(line + 1) - 1 : m_end;
    }

    /// Whether the file has zero bytes. If not, all line feeds end a line.
    bool hasZeroBytes() const { return m_hasZeroBytes; }

    // The bytes

    qint64 position() const { return m_position; }
    void seek(qint64 position) { m_position = position; } // takes effect at the next read

    /// Reads up to \p size bytes at the current position, and moves it after them.
    Count read(char *bytes, int size);
    Count readAt(qint64 offset, char *bytes, int size);

    /// The bytes at \p offset, from the window; see ByteWindow::view(). Moves the current position.
    ByteWindow::View view(qint64 offset, int size);

private:
    OwnedFile m_file;
    const qint64 m_maxBytes;
    const std::size_t m_maxLines;

    LineStarts m_lines;
    qint64 m_end = 0; // the end of the last line
    bool m_hasZeroBytes = false;
    bool m_hasTooManyLines = false;

    qint64 m_position = 0;
    qint64 m_filePosition = 0; // of the FILE, -1 if unknown

    ByteWindow m_window;
};

} // namespace Utils
