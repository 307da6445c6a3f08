#pragma once

#include "utils/base/Simd_p.h"

#include <QtAlgorithms>

#include <algorithm>
#include <vector>

namespace Utils {

/// What separates the cells and rows of a text that is quoted as in RFC 4180.
template <typename Unit>
struct QuotedFormat
{
    Unit delimiter = ',';        ///< neither a quote nor a line break
    std::vector<Unit> comment;   ///< the start of a comment line; empty for none
    std::vector<Unit> exception; ///< the start of a line that is no comment; empty for none

    /// Whether the row that starts at \p begin is a comment.
    bool isComment(const Unit *begin, const Unit *end) const
    {
        const auto startsWith = [&](const std::vector<Unit> &marker) {
            return static_cast<std::size_t>(end - begin) >= marker.size() &&
                   std::equal(marker.begin(), marker.end(), begin);
        };
        return !comment.empty() && startsWith(comment) &&
               (exception.empty() || !startsWith(exception));
    }
};

/// Counts the line breaks of a text, which is added in parts: LF, CR LF and CR, as rows end.
class LineBreaks
{
public:
    template <typename Unit>
    void add(const Unit *begin, const Unit *end)
    {
        for (; begin != end; ++begin) {
            const bool isReturn = *begin == Unit('\r');
            m_count += isReturn || (*begin == Unit('\n') && !m_isAfterReturn);
            m_isAfterReturn = isReturn;
        }
    }

    qint64 count() const { return m_count; }

private:
    qint64 m_count = 0;
    bool m_isAfterReturn = false;
};

/// Finds the ends of the cells and rows of a text that is quoted as in RFC 4180.
///
/// A quote at the start of a cell opens it; two quotes in an open cell stand for one. After the
/// closing quote, and in a cell that does not start with a quote, quotes are ordinary characters. A
/// row ends at LF, at CR LF, which ends it at its LF, and at CR. A comment ends with its line, and
/// is one cell.
///
/// The text is scanned 64 units at a time. If each quote opens or closes a cell or is one of two,
/// which is the case for all text of a correct writer, the quoted parts are found by arithmetic.
/// Otherwise these 64 units are scanned one by one.
template <typename Unit>
class QuoteScanner
{
public:
    explicit QuoteScanner(const QuotedFormat<Unit> &format) : m_format(format) {}

    /// Scans the next part of the text. \p found receives, for each 64 units, masks of the units
    /// that end a cell and that end a row, the units, and their index in the part. A unit that ends
    /// a row ends a cell, too.
    ///
    /// Returns how many units were scanned: all of them if \p isEnd is true, which means that
    /// nothing follows. The next part must start with the others, which depend on what follows.
    template <typename Found>
    int scan(const Unit *text, int size, bool isEnd, const Found &found)
    {
        const int ahead = static_cast<int>(
            std::max({m_format.comment.size(), m_format.exception.size(), std::size_t(1)}));
        const Unit *const textEnd = text + size;
        int start = 0;
        for (; size - start >= length + ahead; start += length) {
            const Units<Unit> units(text + start);
            const Ends ends = endsOf<length>(units, text + start, length, textEnd);
            found(ends.cells, ends.rows, units, start);
        }
        while (isEnd && start < size) {
            Unit block[length] = {};
            const int count = std::min(size - start, length);
            std::copy(text + start, text + start + count, block);
            const Units<Unit> units(block);
            const Ends ends = endsOf<0>(units, text + start, count, textEnd);
            found(ends.cells, ends.rows, units, start);
            start += count;
        }
        return start;
    }

    /// Whether the units scanned so far end in an open cell.
    bool isInQuotes() const { return m_quoted != 0; }

    /// Whether they end with the end of a row. True before the first unit.
    bool isAtRowStart() const { return m_rowEnded != 0; }

private:
    static constexpr int length = Units<Unit>::length;

    /// What the previous unit was.
    enum State
    {
        RowStart, // the end of a row
        CellStart,
        Plain,
        Quoted,
        Closed, // the quote that closes a cell, or the first one of two
        Comment
    };

    struct Ends
    {
        quint64 cells;
        quint64 rows;
    };

    static bool isFeed(const Unit *next, const Unit *textEnd)
    {
        return next != textEnd && *next == '\n';
    }

    /// For each bit, whether the number of bits up to it is odd.
    static quint64 prefixXor(quint64 bits)
    {
        for (int shift = 1; shift < 64; shift *= 2)
            bits ^= bits << shift;
        return bits;
    }

    /// \p units are the \p numUnits units from \p block on; that is \p count unless it is 0.
    template <int count>
    Q_ALWAYS_INLINE Ends endsOf(const Units<Unit> &units, const Unit *block, int numUnits,
                                const Unit *textEnd)
    {
        numUnits = count > 0 ? count : numUnits; // a constant
        const quint64 counted = ~quint64(0) >> (length - numUnits);
        const quint64 quotes = units.equalTo('"') & counted;
        if (m_quoted != 0 && quotes == 0)
            return {0, 0};

        const quint64 feeds = units.equalTo('\n') & counted;
        const quint64 returns = units.equalTo('\r') & counted;
        quint64 rows = feeds;
        if (returns != 0)
            rows |= returns &
                    ~(feeds >> 1 | quint64(isFeed(block + numUnits, textEnd)) << (numUnits - 1));
        // An opening quote is inside, a closing one is not.
        const quint64 inside = prefixXor(quotes) ^ m_quoted;
        rows &= ~inside;
        const quint64 cells = (units.equalTo(m_format.delimiter) & counted & ~inside) | rows;
        const quint64 closing = quotes & ~inside;
        const quint64 opening = quotes & inside;
        const quint64 starts = cells << 1 | m_cellEnded;
        const quint64 closed = closing << 1 | m_closed;
        // Text after a closing quote is regular up to the next quote, which opens no cell.
        quint64 irregular = opening & ~(starts | closed);
        if (!m_format.comment.empty())
            irregular |= (rows << 1 | m_rowEnded) & units.equalTo(m_format.comment.front());
        if (irregular != 0 || m_isComment)
            return endsOneByOne(block, numUnits, textEnd);

        const int last = numUnits - 1;
        m_quoted = 0 - (inside >> last & 1);
        m_closed = closing >> last & 1;
        m_cellEnded = cells >> last & 1;
        m_rowEnded = rows >> last & 1;
        return {cells, rows};
    }

    Q_NEVER_INLINE Ends endsOneByOne(const Unit *block, int count, const Unit *textEnd)
    {
        State state = Plain;
        if (m_isComment)
            state = Comment;
        else if (m_quoted != 0)
            state = Quoted;
        else if (m_closed != 0)
            state = Closed;
        else if (m_cellEnded != 0)
            state = m_rowEnded != 0 ? RowStart : CellStart;

        Ends ends = {0, 0};
        for (int i = 0; i < count; ++i) {
            advance(state, block + i, textEnd);
            ends.cells |= quint64(state <= CellStart) << i;
            ends.rows |= quint64(state == RowStart) << i;
        }
        m_isComment = state == Comment;
        m_quoted = 0 - quint64(state == Quoted);
        m_closed = state == Closed;
        m_cellEnded = state <= CellStart;
        m_rowEnded = state == RowStart;
        return ends;
    }

    /// Changes the state for one unit.
    void advance(State &state, const Unit *unit, const Unit *textEnd) const
    {
        const bool isQuote = *unit == '"';
        if (state == RowStart && m_format.isComment(unit, textEnd))
            state = Comment;
        if (state == Quoted) {
            state = isQuote ? Closed : Quoted;
        } else if (isQuote && (state <= CellStart || state == Closed)) {
            state = Quoted;
        } else if (*unit == '\n' || (*unit == '\r' && !isFeed(unit + 1, textEnd))) {
            state = RowStart;
        } else if (state != Comment) {
            state = *unit == m_format.delimiter ? CellStart : Plain;
        }
    }

    QuotedFormat<Unit> m_format;

    // The state after the last unit. A row end is a cell end, too.
    quint64 m_quoted = 0; // all bits, or none
    quint64 m_closed = 0; // the lowest bit, or none
    quint64 m_cellEnded = 1;
    quint64 m_rowEnded = 1;
    bool m_isComment = false;
};

// A raw cell is the text between two ends. The CR of a CR LF is part of it.

/// The end of the raw cell that starts at \p next: its delimiter, line break or \p end.
template <typename Unit>
const Unit *quotedCellEnd(const Unit *next, const Unit *end, Unit delimiter)
{
    if (next != end && *next == '"') {
        ++next;
        while ((next = std::find(next, end, Unit('"'))) != end && next + 1 != end && next[1] == '"')
            next += 2;
        if (next != end)
            ++next;
    }
    const auto isEnd = [&](const Unit &unit) {
        return unit == delimiter || unit == '\n' ||
               (unit == '\r' && (&unit + 1 == end || (&unit)[1] != '\n'));
    };
    while (next != end && !isEnd(*next))
        ++next;
    return next;
}

/// Narrows a raw cell to its contents. False, and leaves it as it is, when they are not a part of
/// it: when it has doubled quotes, or text after the closing quote.
template <typename Unit>
bool narrowToContents(const Unit *&begin, const Unit *&end)
{
    if (begin == end)
        return true;
    if (*begin != '"') {
        if (end[-1] == '\r')
            --end;
        return true;
    }
    const Unit *const quote = std::find(begin + 1, end, Unit('"'));
    const bool isLast = end - quote < 2 || (end - quote == 2 && quote[1] == '\r');
    if (!isLast)
        return false;
    ++begin;
    end = quote;
    return true;
}

/// Appends the contents of a raw cell to \p text, whose units are \p Character.
template <typename Text, typename Character, typename Unit>
void appendContents(const Unit *begin, const Unit *end, Text &text)
{
    const auto append = [&](const Unit *from, const Unit *to) {
        text.append(reinterpret_cast<const Character *>(from), static_cast<int>(to - from));
    };
    if (narrowToContents(begin, end))
        return append(begin, end);
    for (const Unit *next = begin + 1;;) {
        const Unit *const quote = std::find(next, end, Unit('"'));
        append(next, quote);
        if (quote == end)
            return;
        next = quote + 1;
        if (next == end || *next != '"')
            return append(next, next != end && end[-1] == '\r' ? end - 1 : end);
        append(next, next + 1);
        ++next;
    }
}

} // namespace Utils
