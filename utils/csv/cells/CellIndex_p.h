#pragma once

#include "utils/csv/cells/NumberBuffer_p.h"

namespace Utils {

template <typename Unit>
class QuotedCell;

/// The positions of the lines and cells of a text, without the text: one number per cell, and one
/// per line.
///
/// Cells are numbered across all lines. They are separated by single characters, a delimiter or a
/// line feed, so a cell ends one character before the start of the next cell.
class CellIndex
{
public:
    enum Quotes
    {
        Ignored,
        Counted
    };

    CellIndex() = default;

    /// The cells of the \p size bytes or code units at \p text between delimiters. If quotes are
    /// counted, a quoted cell may contain a delimiter, as in List::safeSplit().
    CellIndex(const char *text, int size, char delimiter, Quotes quotes);
    CellIndex(const ushort *text, int size, ushort delimiter, Quotes quotes);

    /// Each line as one cell.
    template <typename Unit>
    static CellIndex ofLines(const Unit *text, int size)
    {
        return CellIndex(text, size, Unit('\n'), Ignored);
    }

    int numLines() const { return m_lines.size() - 1; }
    int numCells(int line) const { return firstCell(line + 1) - firstCell(line); }
    int firstCell(int line) const { return static_cast<int>(m_lines[line]); }

    int begin(int cell) const { return static_cast<int>(m_cells[cell] & ~quoteFlag); }
    int end(int cell) const { return begin(cell + 1) - 1; }

    /// Whether a cell contains a quote. Always false if quotes are not counted.
    bool hasQuote(int cell) const { return (m_cells[cell] & quoteFlag) != 0; }

    /// Whether all characters are ASCII.
    bool isAscii() const { return m_isAscii; }

private:
    static constexpr quint32 quoteFlag = 0x80000000;

    template <typename Unit>
    void find(const Unit *text, int size, Unit delimiter);
    template <typename Unit>
    void findQuoted(const Unit *text, int size, Unit delimiter);
    template <typename Unit>
    void appendQuoted(const Unit *text, quint64 ends, quint64 feeds, quint64 quotes, quint32 from,
                      QuotedCell<Unit> &cell);
    void start(int size);
    void appendCells(quint64 ends, quint64 feeds, quint32 from);
    void finish(int size);

    NumberBuffer m_lines; // the first cell of each line, and of one more
    NumberBuffer m_cells; // the start of each cell, and of one more
    bool m_isAscii = true;
};

} // namespace Utils
