#pragma once

#include "utils/base/NumberParse_p.h"

#include <QString>

#include <algorithm>

// What all ways to hold cells agree on.

namespace Utils {

/// How far beyond a table an index may lead to empty entries: 16 million. Beyond that it is taken
/// for a mistake, which would otherwise use up the memory.
constexpr int csvReach = 1 << 24;

/// The fields from \p firstCol to \p lastCol, or to the end when \p lastCol is smaller.
template <typename Row>
Row csvPart(const Row &row, int firstCol, int lastCol)
{
    const int begin = std::max(firstCol, 0);
    const int end = lastCol < firstCol ? row.size() : std::min(lastCol, row.size() - 1) + 1;
    return begin < end ? row.mid(begin, end - begin) : Row();
}

/// A \p text or bytes that may be kept. What was made by fromRawData() belongs to somebody else,
/// who may change or free it at any time: it is copied.
template <typename Text>
Text csvToKeep(const Text &text)
{
    return text.capacity() > 0 ? text : Text(text.constData(), text.size());
}

// Blanks

/// Whether a byte or code unit is white space of ASCII.
template <typename Unit>
bool isAsciiBlank(Unit unit)
{
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

/// Takes white space of ASCII off both ends, as QByteArray::trimmed() does.
template <typename Unit>
void trimAscii(const Unit *&begin, const Unit *&end)
{
    while (begin != end && isAsciiBlank(*begin))
        ++begin;
    while (begin != end && isAsciiBlank(end[-1]))
        --end;
}

/// Takes white space off both ends, as QString::trimmed() does.
inline void trimBlanks(const QChar *&begin, const QChar *&end)
{
    while (begin != end && begin->isSpace())
        ++begin;
    while (begin != end && end[-1].isSpace())
        --end;
}

// Numbers

/// The number that stands for an empty field in every table that holds its cells in memory.
double &csvHoleValue();

/// The number in \p text, in the C locale, up to a "{". The hole number, with \p ok false, when
/// the text is empty, and 0.0 when it is no number.
double csvNumber(const QString &text, bool *ok);

/// The number in the trimmed bytes from \p begin to \p end, in the C locale. What \p hole returns,
/// with \p ok false, when nothing is left of them, and 0.0 when they are no number.
template <typename Hole>
double csvNumber(const char *begin, const char *end, const Hole &hole, bool *ok)
{
    trimAscii(begin, end);
    if (begin != end)
        return parseNumber(begin, static_cast<int>(end - begin), ok);
    if (ok)
        *ok = false;
    return hole();
}

} // namespace Utils
