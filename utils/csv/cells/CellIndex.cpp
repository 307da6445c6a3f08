#include "utils/csv/cells/CellIndex_p.h"

#include "utils/base/Simd_p.h"
#include "utils/csv/cells/QuoteScanner_p.h"

#include <QChar>
#include <QtAlgorithms>

#include <algorithm>

namespace Utils {

/// The bits below \p bit.
static quint64 below(quint64 bit) { return bit - 1; }
static quint64 lowest(quint64 bits) { return bits & (0 - bits); }

/// How many bits are set. Without the processor's own instruction, which the baseline lacks, this
/// is faster than the function that compilers call.
static quint32 numBits(quint64 bits)
{
    bits -= bits >> 1 & 0x5555555555555555;
    bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
    bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0f;
    return static_cast<quint32>(bits * 0x0101010101010101 >> 56);
}

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
    find(text, size, delimiter, quotes);
}

CellIndex::CellIndex(const ushort *text, int size, ushort delimiter, Quotes quotes)
{
    find(text, size, delimiter, quotes);
}

CellIndex CellIndex::betweenBlanks(const char *text, int size)
{
    CellIndex index;
    index.findAll([&] { index.findBlanks(text, size); });
    return index;
}

CellIndex CellIndex::betweenBlanks(const ushort *text, int size)
{
    CellIndex index;
    index.findAll([&] { index.findBlanks(text, size); });
    return index;
}

CellIndex CellIndex::ofQuoted(const char *text, int size, const QuotedFormat<char> &format,
                              bool &isClosed)
{
    CellIndex index;
    index.findAll([&] { isClosed = index.findRows(text, size, format); });
    return index;
}

CellIndex CellIndex::ofQuoted(const ushort *text, int size, const QuotedFormat<ushort> &format,
                              bool &isClosed)
{
    CellIndex index;
    index.findAll([&] { isClosed = index.findRows(text, size, format); });
    return index;
}

template <typename Unit>
void CellIndex::find(const Unit *text, int size, Unit delimiter, Quotes quotes)
{
    findAll([&] {
        if (quotes == Counted)
            findQuoted(text, size, delimiter);
        else
            findPlain(text, size, [delimiter](const Units<Unit> &units, quint32) {
                return units.equalTo(delimiter);
            });
    });
}

/// Calls \p find, which finds all cells, and again if a block is too long.
template <typename Find>
void CellIndex::findAll(const Find &find)
{
    find();
    if (!m_isTooLong)
        return;
    *this = CellIndex();
    m_isWide = true;
    find();
}

int CellIndex::mostCells(int line, int count) const
{
    int most = line < m_regularLines ? m_regularCells : 0;
    for (int each = std::max(line, m_regularLines); each < line + count; ++each)
        most = std::max(most, numCells(each));
    return most;
}

/// Starts the first cell and line. Reserves much room for large tables, because growing may move
/// the data.
void CellIndex::start(int size)
{
    const std::size_t expected = static_cast<std::size_t>(size) / 4 + 16;
    if (m_isWide)
        m_wide.reserve(expected);
    else
        m_low.reserve(expected);
    appendCell(0);
}

/// The end of the text ends the last cell and the last line.
void CellIndex::finish(int size)
{
    appendLine(static_cast<quint32>(numStored()));
    appendCell(static_cast<quint32>(size) + 1);
    finishAtLineEnd(size + 1);
}

/// The same for a text whose last line has ended before \p size.
void CellIndex::finishAtLineEnd(int size)
{
    checkBlock(static_cast<quint32>(size));
    m_lines.squeeze();
    m_low.squeeze();
    m_blocks.squeeze();
    m_wide.squeeze();
    m_quotes.squeeze();
}

/// The next cell after a line is \p nextCell.
Q_ALWAYS_INLINE void CellIndex::appendLine(quint32 nextCell)
{
    ++m_numLines;
    if (nextCell == m_nextRegular) {
        ++m_regularLines;
        m_nextRegular += static_cast<quint32>(m_regularCells);
    } else {
        appendOtherLine(nextCell);
    }
}

/// For each cell and line that ends among these 64 units, appends the start of the next one.
Q_ALWAYS_INLINE void CellIndex::appendCells(quint64 ends, quint64 feeds, quint32 from)
{
    const auto cells = static_cast<quint32>(numStored());
    for (; feeds != 0; feeds &= feeds - 1)
        appendLine(cells + numBits(ends & below(lowest(feeds))));
    if (m_isWide)
        return appendWide(ends, from);

    quint16 *next = m_low.room(64);
    for (; ends != 0; ends &= ends - 1)
        *next++ = static_cast<quint16>(from + qCountTrailingZeroBits(ends) + 1);
    m_low.setEnd(next);
    if (m_low.size() > m_blocks.size() * blockSize)
        appendBlock(from);
}

void CellIndex::appendWide(quint64 ends, quint32 from)
{
    for (; ends != 0; ends &= ends - 1)
        m_wide.append(from + qCountTrailingZeroBits(ends) + 1);
}

void CellIndex::appendCell(quint32 begin)
{
    if (m_isWide) {
        m_wide.append(begin);
    } else {
        m_low.append(static_cast<quint16>(begin));
        if (m_low.size() > m_blocks.size() * blockSize)
            appendBlock(begin);
    }
}

/// Appends a block, of which the first cell starts at most 64 units after \p from.
void CellIndex::appendBlock(quint32 from)
{
    const quint16 low = m_low[m_blocks.size() * blockSize];
    const quint32 begin = from + static_cast<quint16>(low - from);
    if (m_blocks.size() > 0)
        checkBlock(begin);
    m_blocks.append(begin);
}

/// Checks whether the last block is too long: it ends at \p end.
void CellIndex::checkBlock(quint32 end)
{
    if (!m_isWide && end - m_blocks[m_blocks.size() - 1] > 0xffff)
        m_isTooLong = true;
}

/// The same for the first line, and for lines that follow a line of another number of cells.
void CellIndex::appendOtherLine(quint32 nextCell)
{
    if (m_numLines == 1) {
        m_regularLines = 1;
        m_regularCells = static_cast<int>(nextCell);
        m_nextRegular = 2 * nextCell;
    } else {
        m_nextRegular = 0;
        m_lines.append(nextCell);
    }
}

void CellIndex::addQuote(int cell)
{
    while (m_quotes.size() <= cell / wordBits)
        m_quotes.append(0);
    m_quotes[cell / wordBits] |= quint32(1) << cell % wordBits;
}

/// \p separators returns those of 64 units and their position.
template <typename Unit, typename Separators>
void CellIndex::findPlain(const Unit *text, int size, Separators separators)
{
    start(size);
    unsigned wide = 0;
    forEachUnits(text, size, [&](const Units<Unit> &units, quint32 from, quint64 counted) {
        const quint64 feeds = units.equalTo('\n') & counted;
        const quint64 ends = (separators(units, from) & counted) | feeds;
        wide |= anyWide(units);
        appendCells(ends, feeds, from);
    });
    m_isAscii = wide == 0;
    finish(size);
}

/// The white space among 64 units from \p text on, of which \p size or more exist.
static quint64 blanksOf(const Units<char> &bytes, const char *, int)
{
    return bytes.equalTo(' ') | (bytes.atLeast('\t') & ~bytes.atLeast('\r' + 1));
}

static quint64 blanksOf(const Units<ushort> &units, const ushort *text, int size)
{
    quint64 blanks = 0;
    if (units.anyWide() == 0) {
        for (const unsigned char blank : {' ', '\t', '\n', '\v', '\f', '\r'})
            blanks |= units.equalTo(blank);
        return blanks;
    }
    for (int i = 0; i < std::min(size, Units<ushort>::length); ++i)
        blanks |= quint64(QChar(text[i]).isSpace()) << i;
    return blanks;
}

template <typename Unit>
void CellIndex::findBlanks(const Unit *text, int size)
{
    quint64 last = 0; // whether the last unit is white space
    findPlain(text, size, [&](const Units<Unit> &units, quint32 from) {
        // A line feed ends a line, also within a run.
        const quint64 blanks =
            blanksOf(units, text + from, size - static_cast<int>(from)) & ~units.equalTo('\n');
        const quint64 first = blanks & ~(blanks << 1 | last);
        last = blanks >> 63;
        return first;
    });
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
        addQuote(numStored() - 1);
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
            const int current = numStored() - 1;
            if (!cell.endsAt(text + begin(current), text + offset, endsLine))
                continue;
            addQuote(current);
        }
        if (endsLine)
            appendLine(static_cast<quint32>(numStored()));
        appendCell(offset + 1);
    }
    cell.addQuotes(quotes != 0);
}

/// Returns whether the last quote is closed.
template <typename Unit>
bool CellIndex::findRows(const Unit *text, int size, const QuotedFormat<Unit> &format)
{
    start(size);
    unsigned wide = 0;
    QuoteScanner<Unit> scanner(format);
    scanner.scan(text, size, /*isEnd=*/true,
                 [&](quint64 cells, quint64 rows, const Units<Unit> &units, int from) {
                     wide |= anyWide(units);
                     appendCells(cells, rows, static_cast<quint32>(from));
                 });
    m_isAscii = wide == 0;
    if (scanner.isAtRowStart())
        finishAtLineEnd(size);
    else
        finish(size);
    return !scanner.isInQuotes();
}

} // namespace Utils
