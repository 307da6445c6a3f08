#pragma once

#include "utils/csv/cells/NumberBuffer_p.h"

#include <QtGlobal>

namespace Utils {

template <typename Unit>
class QuotedCell;
template <typename Unit>
struct QuotedFormat;

/// The positions of the lines and cells of a text, without the text: two bytes per cell, and none
/// per line as long as all lines have as many cells as the first one.
///
/// Cells are numbered across all lines. They are separated by single characters, a delimiter or a
/// line feed, so a cell ends one character before the start of the next cell.
///
/// Of the position of a cell only the low 16 bits are stored. The others follow from the position
/// of the first of its block of cells. If a block is too long for this, all positions are stored in
/// full.
class CellIndex
{
public:
    enum Quotes
    {
        Ignored,
        Counted
    };

    struct Span
    {
        int begin;
        int end;
    };

    CellIndex() = default;

    /// The cells of the \p size bytes or code units at \p text between delimiters. If quotes are
    /// counted, a quoted cell may contain a delimiter, as in List::safeSplit().
    CellIndex(const char *text, int size, char delimiter, Quotes quotes);
    CellIndex(const ushort *text, int size, ushort delimiter, Quotes quotes);

    /// The cells between runs of white space, which must be of ASCII in a text of bytes. The first
    /// character of a run separates; the others belong to the next cell and are to be trimmed.
    static CellIndex betweenBlanks(const char *text, int size);
    static CellIndex betweenBlanks(const ushort *text, int size);

    /// The raw cells of a text that is quoted as in RFC 4180, each row as a line: see
    /// QuoteScanner. A line break at the end starts no line. \p isClosed is set to whether the last
    /// quote is closed. \p text must not be empty.
    static CellIndex ofQuoted(const char *text, int size, const QuotedFormat<char> &format,
                              bool &isClosed);
    static CellIndex ofQuoted(const ushort *text, int size, const QuotedFormat<ushort> &format,
                              bool &isClosed);

    /// Each line as one cell.
    template <typename Unit>
    static CellIndex ofLines(const Unit *text, int size)
    {
        return CellIndex(text, size, Unit('\n'), Ignored);
    }

    int numLines() const { return m_numLines; }
    int numCells(int line) const { return firstCell(line + 1) - firstCell(line); }
    int firstCell(int line) const
    {
        return line <= m_regularLines ? line * m_regularCells
                                      : static_cast<int>(m_lines[line - m_regularLines - 1]);
    }

    /// The largest number of cells of a line, among \p count lines from \p line on.
    int mostCells(int line, int count) const;

    int begin(int cell) const
    {
        return static_cast<int>(m_isWide ? m_wide[cell] : nearBegin(cell));
    }
    int end(int cell) const { return begin(cell + 1) - 1; }
    Span span(int cell) const
    {
        if (m_isWide)
            return {begin(cell), end(cell)};
        const quint32 first = nearBegin(cell);
        const auto size = static_cast<quint16>(m_low[cell + 1] - m_low[cell]);
        return {static_cast<int>(first), static_cast<int>(first + size - 1)};
    }

    /// Calls \p visit with the number of each cell of a line, and where it begins and ends.
    template <typename Visit>
    void forEachSpan(int line, const Visit &visit) const
    {
        const int endCell = firstCell(line + 1);
        int cell = firstCell(line);
        for (int first = begin(cell); cell < endCell; ++cell) {
            const int next = m_isWide ? begin(cell + 1)
                                      : first + static_cast<quint16>(m_low[cell + 1] - m_low[cell]);
            visit(cell, first, next - 1);
            first = next;
        }
    }

    /// Whether any cell, or one cell, contains a quote. Always false if quotes are not counted.
    bool hasQuotes() const { return m_quotes.size() > 0; }
    bool hasQuote(int cell) const
    {
        return cell / wordBits < m_quotes.size() &&
               (m_quotes[cell / wordBits] >> cell % wordBits & 1) != 0;
    }

    /// Whether all characters are ASCII.
    bool isAscii() const { return m_isAscii; }

private:
    static constexpr int blockSize = 64; // in cells
    static constexpr int wordBits = 32;

    quint32 nearBegin(int cell) const
    {
        const quint32 first = m_blocks[cell / blockSize];
        return first + static_cast<quint16>(m_low[cell] - first);
    }

    template <typename Find>
    void findAll(const Find &find);
    template <typename Unit>
    void find(const Unit *text, int size, Unit delimiter, Quotes quotes);
    template <typename Unit, typename Separators>
    void findPlain(const Unit *text, int size, Separators separators);
    template <typename Unit>
    void findBlanks(const Unit *text, int size);
    template <typename Unit>
    void findQuoted(const Unit *text, int size, Unit delimiter);
    template <typename Unit>
    bool findRows(const Unit *text, int size, const QuotedFormat<Unit> &format);
    template <typename Unit>
    void appendQuoted(const Unit *text, quint64 ends, quint64 feeds, quint64 quotes, quint32 from,
                      QuotedCell<Unit> &cell);
    void start(int size);
    void appendCells(quint64 ends, quint64 feeds, quint32 from);
    void appendWide(quint64 ends, quint32 from);
    void appendCell(quint32 begin);
    void appendBlock(quint32 from);
    void checkBlock(quint32 end);
    void appendLine(quint32 nextCell);
    void appendOtherLine(quint32 nextCell);
    void addQuote(int cell);
    int numStored() const { return m_isWide ? m_wide.size() : m_low.size(); }
    void finish(int size);
    void finishAtLineEnd(int size);

    // Lines: the first ones have as many cells as the first line. For each of the others, the first
    // cell of the next line.
    int m_numLines = 0;
    int m_regularLines = 0;
    int m_regularCells = 0;
    quint32 m_nextRegular = 0; // the first cell of the next line, if it is regular
    NumberBuffer<quint32> m_lines;

    // Where each cell starts, and one more
    NumberBuffer<quint16> m_low;    // the low bits
    NumberBuffer<quint32> m_blocks; // in full, of each first cell of a block
    NumberBuffer<quint32> m_wide;   // in full, instead of both
    bool m_isWide = false;
    bool m_isTooLong = false; // a block

    NumberBuffer<quint32> m_quotes; // a bit for each cell, up to the last one that has a quote
    bool m_isAscii = true;
};

} // namespace Utils
