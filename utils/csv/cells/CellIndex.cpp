#include "utils/csv/cells/CellIndex_p.h"

#include "utils/base/Simd_p.h"

#include <QtAlgorithms>

#include <algorithm>

namespace Utils {

/// The bits below \p bit.
static quint64 below(quint64 bit) { return bit - 1; }
static quint64 lowest(quint64 bits) { return bits & (0 - bits); }

static unsigned anyWide(const Units<char> &bytes) { return bytes.anyWide(); }
static unsigned anyWide(const Units<ushort> &) { return 0; } // not needed for code units

/// Calls \p visit with the units of the text, 64 at a time, their position, and a mask of the units
/// that count: the last ones are padded with zeros.
template <typename Unit, typename Visit>
static void forEachUnits(const Unit *text, int size, const Visit &visit)
{
    constexpr int length = Units<Unit>::length;
    int start = 0;
    for (; size - start >= length; start += length)
        visit(Units<Unit>(text + start), static_cast<quint32>(start), ~quint64(0));
    if (start < size) {
        Unit rest[length] = {};
        std::copy(text + start, text + size, rest);
        visit(Units<Unit>(rest), static_cast<quint32>(start), below(quint64(1) << (size - start)));
    }
}

CellIndex::CellIndex(const char *text, int size, char delimiter, Quotes quotes)
{
    if (quotes == Counted)
        findQuoted(text, size, delimiter);
    else
        find(text, size, delimiter);
}

CellIndex::CellIndex(const ushort *text, int size, ushort delimiter, Quotes quotes)
{
    if (quotes == Counted)
        findQuoted(text, size, delimiter);
    else
        find(text, size, delimiter);
}

/// Starts the first cell and line. Reserves much room for large tables, because growing may move
/// the data.
void CellIndex::start(int size)
{
    m_cells.reserve(static_cast<std::size_t>(size) / 4 + 16);
    m_lines.reserve(static_cast<std::size_t>(size) / 16 + 16);
    m_cells.append(0);
    m_lines.append(0);
}

/// The end of the text ends the last cell and the last line.
void CellIndex::finish(int size)
{
    m_cells.append(static_cast<quint32>(size) + 1);
    m_lines.append(static_cast<quint32>(m_cells.size()) - 1);
    m_cells.squeeze();
    m_lines.squeeze();
}

/// For each cell and line that ends among these 64 units, appends the start of the next one.
void CellIndex::appendCells(quint64 ends, quint64 feeds, quint32 from)
{
    const auto cells = static_cast<quint32>(m_cells.size());
    for (; feeds != 0; feeds &= feeds - 1)
        m_lines.append(cells + qPopulationCount(ends & below(lowest(feeds))));
    quint32 *next = m_cells.room(64);
    for (; ends != 0; ends &= ends - 1)
        *next++ = from + qCountTrailingZeroBits(ends) + 1;
    m_cells.setEnd(next);
}

template <typename Unit>
void CellIndex::find(const Unit *text, int size, Unit delimiter)
{
    start(size);
    unsigned wide = 0;
    forEachUnits(text, size, [&](const Units<Unit> &units, quint32 from, quint64 counted) {
        const quint64 feeds = units.equalTo('\n') & counted;
        const quint64 ends = (units.equalTo(delimiter) & counted) | feeds;
        wide |= anyWide(units);
        appendCells(ends, feeds, from);
    });
    m_isAscii = wide == 0;
    finish(size);
}

/// Whether a piece begins with a quote and ends with another one.
template <typename Unit>
static bool isBetweenQuotes(const Unit *begin, const Unit *end)
{
    return end - begin > 1 && *begin == '"' && end[-1] == '"';
}

/// Whether a piece ends the cell that an earlier piece has opened.
template <typename Unit>
static bool closesCell(const Unit *begin, const Unit *end)
{
    return begin != end && end[-1] == '"' && (end - begin == 1 || *begin != '"');
}

/// Finds out which cells with quotes continue after a delimiter.
template <typename Unit>
class QuotedCell
{
public:
    /// Whether a quote has been found in the current cell.
    bool hasQuote() const { return m_hasQuote; }
    void addQuotes(bool areThere) { m_hasQuote = m_hasQuote || areThere; }

    /// Whether the cell that starts at \p begin and has a quote ends at \p end, a delimiter or the
    /// end of its line. If so, the next cell starts.
    bool endsAt(const Unit *begin, const Unit *end, bool endsLine)
    {
        if (m_isOpen)
            m_isOpen = !closesCell(m_piece, end);
        else
            m_isOpen = begin != end && *begin == '"' && !isBetweenQuotes(begin, end);
        m_piece = end + 1;
        if (m_isOpen && !endsLine)
            return false;
        m_hasQuote = false;
        m_isOpen = false;
        return true;
    }

private:
    bool m_hasQuote = false;
    bool m_isOpen = false;         // continues after a delimiter
    const Unit *m_piece = nullptr; // the current piece of an open cell
};

template <typename Unit>
void CellIndex::findQuoted(const Unit *text, int size, Unit delimiter)
{
    start(size);
    unsigned wide = 0;
    QuotedCell<Unit> cell;
    forEachUnits(text, size, [&](const Units<Unit> &units, quint32 from, quint64 counted) {
        const quint64 feeds = units.equalTo('\n') & counted;
        const quint64 ends = (units.equalTo(delimiter) & counted) | feeds;
        const quint64 quotes = units.equalTo('"') & counted;
        wide |= anyWide(units);
        if (cell.hasQuote() || quotes != 0)
            appendQuoted(text, ends, feeds, quotes, from, cell);
        else
            appendCells(ends, feeds, from);
    });
    m_isAscii = wide == 0;
    if (cell.hasQuote())
        m_cells[m_cells.size() - 1] |= quoteFlag;
    finish(size);
}

/// The same as appendCells() for units with quotes, or in a cell that already has a quote.
template <typename Unit>
void CellIndex::appendQuoted(const Unit *text, quint64 ends, quint64 feeds, quint64 quotes,
                             quint32 from, QuotedCell<Unit> &cell)
{
    for (; ends != 0; ends &= ends - 1) {
        const quint64 bit = lowest(ends);
        cell.addQuotes((quotes & below(bit)) != 0);
        quotes &= ~below(bit);
        const quint32 offset = from + qCountTrailingZeroBits(bit);
        const bool endsLine = (feeds & bit) != 0;
        if (cell.hasQuote()) {
            quint32 &begin = m_cells[m_cells.size() - 1];
            if (!cell.endsAt(text + begin, text + offset, endsLine))
                continue;
            begin |= quoteFlag;
        }
        if (endsLine)
            m_lines.append(static_cast<quint32>(m_cells.size()));
        m_cells.append(offset + 1);
    }
    cell.addQuotes(quotes != 0);
}

} // namespace Utils
