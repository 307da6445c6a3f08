#pragma once

#include "utils/base/NumberParse_p.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <algorithm>
#include <limits>
#include <type_traits>
#include <utility>

// Rules that all kinds of chunks and backends share.

namespace Utils {

/// How far outside a table an index may be and still yield empty entries: 16 million. An index
/// further away counts as an error, which would otherwise use up the memory.
constexpr int csvReach = 1 << 24;

/// The largest number of rows, for which their count and their indexes are ints.
constexpr int csvMostRows = std::numeric_limits<int>::max();

/// Stores the reason that the file \p path has more than \p most rows. Returns false.
bool csvTooManyRows(const QString &path, int most);

/// The fields from \p firstCol to \p lastCol, or to the end when \p lastCol is smaller.
template <typename Row>
Row csvPart(const Row &row, int firstCol, int lastCol)
{
    const int begin = std::max(firstCol, 0);
    const int end = lastCol < firstCol ? row.size() : std::min(lastCol, row.size() - 1) + 1;
    return begin < end ? row.mid(begin, end - begin) : Row();
}

/// Appends \p item without a copy. QList::append() would count its references up and down, which
/// takes as long as half of the allocation of a short text.
template <typename Item>
void csvAppend(QList<Item> &list, Item &&item)
{
    if constexpr (std::is_trivially_copyable_v<Item>) {
        list.append(item);
    } else {
        list.append(Item());
        list.last().swap(item);
    }
}

/// A copy of \p text, or bytes, that is safe to store. Data from fromRawData() is copied deeply,
/// because its owner may change or free it at any time.
template <typename Text>
Text csvToKeep(const Text &text)
{
    return text.capacity() > 0 ? text : Text(text.constData(), text.size());
}

/// The number of the \p size bytes at \p begin before the first zero byte.
inline int csvSizeToZero(const char *begin, int size)
{
    return static_cast<int>(qstrnlen(begin, static_cast<uint>(size)));
}

/// Replaces each carriage return of a text, or of bytes, that has no line feeds by a line feed.
inline void csvReplaceReturns(QString &text)
{
    if (!text.contains(QLatin1Char('\n')))
        text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
}
inline void csvReplaceReturns(QByteArray &bytes)
{
    if (!bytes.contains('\n'))
        bytes.replace('\r', '\n');
}

/// The delimiter of columns that are aligned by blanks, a pattern.
inline const QLatin1String csvBlanks("\\s+", 3);

// Blanks

/// Whether a byte or code unit is white space of ASCII.
template <typename Unit>
bool isAsciiBlank(Unit unit)
{
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

/// Removes white space of ASCII from both ends, as QByteArray::trimmed() does.
template <typename Unit>
void trimAscii(const Unit *&begin, const Unit *&end)
{
    if (begin == end || (*begin > ' ' && end[-1] > ' ')) // most cells
        return;
    while (begin != end && isAsciiBlank(*begin))
        ++begin;
    while (begin != end && isAsciiBlank(end[-1]))
        --end;
}

/// Removes white space from both ends, as QString::trimmed() does.
inline void trimBlanks(const QChar *&begin, const QChar *&end)
{
    while (begin != end && begin->isSpace())
        ++begin;
    while (begin != end && end[-1].isSpace())
        --end;
}

// Numbers

/// The hole number: the value of an empty field in every table that holds its cells in memory.
double &csvHoleValue();

/// Converts \p text up to a "{" to a number in the C locale. Returns the hole number and sets \p ok
/// to false when the text is empty; returns 0.0 when it is not a number.
double csvNumber(const QString &text, bool *ok);

/// The same with the decimal point \p point, '.' or ','. With a comma, a text with a point, or with
/// several commas, is not a number, because they may group digits.
double csvNumber(const QString &text, bool *ok, char point);

/// The result of toDouble() with the decimal point \p point.
double csvToDouble(const QString &text, char point, bool *ok);
double csvToDouble(const QByteArray &text, char point, bool *ok);

/// Converts bytes that contain only a number with a decimal comma. False for all other bytes, some
/// of which csvNumber() converts.
bool parseCommaNumber(const char *begin, const char *end, double &value);
bool parseCommaNumber(const QChar *begin, const QChar *end, double &value);

/// Converts the trimmed bytes from \p begin to \p end to a number in the C locale. Returns the
/// value of \p hole and sets \p ok to false when no byte is left; returns 0.0 when they are not a
/// number.
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

/// The same with a decimal comma.
template <typename Hole>
double csvCommaNumber(const char *begin, const char *end, const Hole &hole, bool *ok)
{
    trimAscii(begin, end);
    if (begin == end) {
        if (ok)
            *ok = false;
        return hole();
    }
    double value = 0.0;
    const bool isPure = parseCommaNumber(begin, end, value);
    if (!isPure)
        return csvToDouble(QByteArray(begin, static_cast<int>(end - begin)), ',', ok);
    if (ok)
        *ok = true;
    return value;
}

} // namespace Utils
