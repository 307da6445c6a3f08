#pragma once

#include <QChar>

namespace Utils {

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

} // namespace Utils
