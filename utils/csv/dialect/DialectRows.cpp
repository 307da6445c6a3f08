#include "utils/csv/dialect/DialectRows_p.h"

#include <algorithm>
#include <map>

namespace Utils {

using Position = QStringView::const_iterator;

// The rows of a part that are split: the first ones, and the last ones.
static const int firstRows = 200;
static const int lastRows = 100;
static const int mostCells = 256; // of a row that are stored

// Each costs a search up to the end.
static const int mostUnclosed = 8;

static bool isBlank(QChar character)
{
    return character == QLatin1Char(' ') || character == QLatin1Char('\t') ||
           character == QLatin1Char('\r');
}

DialectRows::DialectRows(const QStringList &parts, const DialectFormat &format) : m_format(format)
{
    for (int i = 0; i < parts.size(); ++i)
        splitPart(parts.at(i), i);
    findUsualCount();
}

/// The start of the last lines of \p text.
static Position lastLines(QStringView text)
{
    Position begin = text.end();
    for (int count = 0; begin > text.begin(); --begin) {
        if (begin[-1] == QLatin1Char('\n') && ++count > lastRows)
            break;
    }
    return begin;
}

void DialectRows::splitPart(QStringView text, int part)
{
    const Position end = text.end();
    int number = 0;
    int count = 0;
    for (Position next = text.begin(); next < end;) {
        if (count++ == firstRows)
            next = std::max(next, lastLines(text));
        const Position lineEnd = std::find(next, end, QLatin1Char('\n'));
        const QStringView line(next, lineEnd);
        if (!m_format.comment.isEmpty() && line.startsWith(m_format.comment)) {
            next = lineEnd == end ? end : lineEnd + 1;
            continue;
        }
        if (line.trimmed().isEmpty()) {
            ++number;
            next = lineEnd == end ? end : lineEnd + 1;
            continue;
        }
        Row row{number, part, static_cast<int>(m_cells.size()), 0, 0};
        m_numCells = 0;
        if (m_format.isAligned()) {
            splitAtBlanks(line);
            next = lineEnd;
        } else {
            next = splitRow(next, end);
        }
        if (next < end)
            ++next; // the line feed
        row.numCells = m_numCells;
        row.numStored = static_cast<int>(m_cells.size()) - row.first;
        m_rows.push_back(row);
        ++number;
    }
}

void DialectRows::addCell(QStringView cell, bool isQuoted)
{
    if (m_numCells++ < mostCells) {
        m_cells.push_back(cell);
        m_areQuoted.push_back(isQuoted);
    }
}

void DialectRows::splitAtBlanks(QStringView line)
{
    const Position end = line.end();
    for (Position next = line.begin(); next < end;) {
        const Position begin = next;
        next = std::find_if_not(next, end, isBlank);
        const bool isBetween = begin != line.begin() && next != end;
        if (isBetween && (next - begin > 1 || *begin == QLatin1Char('\t')))
            m_hasWideBlanks = true;
        const Position cellEnd = std::find_if(next, end, isBlank);
        if (next < cellEnd)
            addCell({next, cellEnd});
        next = cellEnd;
    }
}

bool DialectRows::isDelimiterAt(Position next, Position end) const
{
    const QString &delimiter = m_format.delimiter;
    return !delimiter.isEmpty() && end - next >= delimiter.size() &&
           std::equal(delimiter.begin(), delimiter.end(), next);
}

/// Skips a field in quotes that begins at \p next. Returns \p next when it does not end in a quote
/// before a delimiter or the end of the line.
Position DialectRows::skipQuoted(Position next, Position end)
{
    const QLatin1Char quote('"');
    Position close = next + 1;
    for (;;) {
        close = std::find(close, end, quote);
        if (close == end) {
            ++m_numUnclosed;
            return next;
        }
        if (close + 1 < end && close[1] == quote)
            close += 2;
        else
            break;
    }
    Position after = close + 1;
    while (after < end && isBlank(*after) && !isDelimiterAt(after, end))
        ++after;
    const bool isEnd = after == end || *after == QLatin1Char('\n') || isDelimiterAt(after, end);
    return isEnd ? after : next;
}

/// Splits the row at \p next. Returns its end: a line feed, or \p end.
Position DialectRows::splitRow(Position next, Position end)
{
    for (;;) {
        Position begin = next;
        while (begin < end && isBlank(*begin) && !isDelimiterAt(begin, end))
            ++begin;
        const bool mayBeQuoted = m_format.isQuoted && m_numUnclosed < mostUnclosed;
        if (mayBeQuoted && begin < end && *begin == QLatin1Char('"')) {
            const Position after = skipQuoted(begin, end);
            if (after == begin) {
                ++m_numMisquoted;
            } else {
                ++m_numQuoted;
                const Position close =
                    std::find(std::make_reverse_iterator(after), std::make_reverse_iterator(begin),
                              QLatin1Char('"'))
                        .base() -
                    1;
                addCell(QStringView(begin + 1, close).trimmed(), true);
                next = after;
                if (next == end || *next == QLatin1Char('\n'))
                    return next;
                next += m_format.delimiter.size();
                continue;
            }
        }
        Position cellEnd = begin;
        while (cellEnd < end && *cellEnd != QLatin1Char('\n') && !isDelimiterAt(cellEnd, end))
            ++cellEnd;
        addCell(QStringView(begin, cellEnd).trimmed());
        if (cellEnd == end || *cellEnd == QLatin1Char('\n'))
            return cellEnd;
        next = cellEnd + m_format.delimiter.size();
    }
}

void DialectRows::findUsualCount()
{
    std::map<int, int> counts; // rows by number of cells
    for (const Row &row : m_rows)
        ++counts[row.numCells];
    int most = 0;
    for (const auto &[numCells, numRows] : counts) {
        if (numRows >= most) { // the larger number if there are as many
            most = numRows;
            m_usualCount = numCells;
        }
    }
}

} // namespace Utils
