#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace Utils {

/// Where the lines of a file start and end, for what an int can address.
///
/// Kept in pieces, so that it takes the memory of its numbers and no more while it grows: a vector
/// that doubles would take three times as much.
class LineIndex
{
public:
    /// The bytes of a file that are looked at: the place behind the last one, where a line may
    /// start, and the number of lines fit into an int.
    static constexpr int maxFileSize = std::numeric_limits<int>::max() - 1;

    int numLines() const { return m_size; }
    int start(int line) const { return m_pieces[piece(line)][position(line)]; }

    /// In front of the line feed, or the end of the file for the last line.
    int end(int line) const { return line + 1 < m_size ? start(line + 1) - 1 : fileSize; }

    void append(int start)
    {
        if (position(m_size) == 0)
            m_pieces.push_back(
                std::unique_ptr<int[]>(new int[pieceSize])); // not lost without memory
        m_pieces.back()[position(m_size)] = start;
        ++m_size;
    }

    /// Gives back what a small index does not need.
    void squeeze();

    int fileSize = 0;
    bool hasZeroBytes = false; ///< without, all line feeds are line ends

private:
    static constexpr int pieceSize = 1 << 16;
    static std::size_t piece(int line) { return static_cast<unsigned>(line) / pieceSize; }
    static std::size_t position(int line) { return static_cast<unsigned>(line) % pieceSize; }

    std::vector<std::unique_ptr<int[]>> m_pieces;
    int m_size = 0;
};

} // namespace Utils
