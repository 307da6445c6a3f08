#include "utils/text/List.h"

#include "utils/base/NumberText_p.h"

#include <QStringRef>

#include <new>

namespace Utils {

static const QLatin1Char quote('"');
static const QLatin1Char rangeSign('-');

// 800 MB. QList itself allows 268 million, and does not fail with an empty result.
static const qint64 longestIndexList = 100000000;

Data::String List::joinIndexList(const QList<int> &list, const char *separator)
{
    if (list.isEmpty())
        return {};

    const QString between = QString::fromUtf8(separator);
    Data::String text = QString::number(list.first());
    bool isRangeOpen = false;
    for (int i = 1; i < list.size(); ++i) {
        const int previous = list[i - 1];
        if (list[i] == qint64(previous) + 1) {
            if (!isRangeOpen)
                text += rangeSign;
            isRangeOpen = true;
            continue;
        }
        if (isRangeOpen && previous != 0)
            text += QString::number(previous);
        isRangeOpen = false;
        text += between;
        text += QString::number(list[i]);
    }
    if (isRangeOpen && list.last() != 0)
        text += QString::number(list.last());
    return text;
}

/// Adds the numbers from \p start to \p end, unless the list would become too long.
static void appendRange(QList<int> &list, qint64 start, qint64 end)
{
    const int sizeBefore = list.size();
    const qint64 size = sizeBefore + end - start + 1;
    if (size > longestIndexList)
        return;
    try {
        // For short ranges, append() grows the list by a fraction of its length.
        if (size > 2 * qint64(sizeBefore))
            list.reserve(static_cast<int>(size));
        for (qint64 number = start; number <= end; ++number)
            list.append(static_cast<int>(number));
    } catch (const std::bad_alloc &) {
        list.erase(list.begin() + sizeBefore, list.end());
    }
}

QList<int> List::splitIndexList(const Data::String &text, const char *separator)
{
    QList<int> list;
    const QString between = QString::fromUtf8(separator);
    const QVector<QStringRef> pieces = text.splitRef(between, Qt::SkipEmptyParts);
    for (const QStringRef &piece : pieces) {
        const int sign = piece.indexOf(rangeSign);
        bool isNumber = false;
        const int start = piece.left(sign).toInt(&isNumber); // the whole piece if there is no sign
        if (!isNumber)
            continue;
        const int end = sign < 0 ? start : piece.mid(sign + 1).toInt(&isNumber);
        if (isNumber)
            appendRange(list, start, end);
    }
    return list;
}

// Not by QString::replace(), which moves the rest of the text once per 1024 quotes.
static QString withQuotesDoubled(const QString &item)
{
    const int quotes = item.count(quote);
    if (quotes == 0)
        return item;

    QString doubled(item.size() + quotes, Qt::Uninitialized);
    QChar *out = doubled.data();
    for (const QChar character : item) {
        *out++ = character;
        if (character == quote)
            *out++ = quote;
    }
    return doubled;
}

static QString withQuotesSingle(const QString &item)
{
    if (!item.contains(QLatin1String("\"\"")))
        return item;

    QString single(item.size(), Qt::Uninitialized);
    QChar *out = single.data();
    for (int i = 0; i < item.size(); ++i) {
        *out++ = item[i];
        if (item[i] == quote && i + 1 < item.size() && item[i + 1] == quote)
            ++i;
    }
    single.truncate(static_cast<int>(out - single.constData()));
    return single;
}

QString List::safeJoin(const QStringList &list, const QString &separator)
{
    QString text;
    for (int i = 0; i < list.size(); ++i) {
        const QString item = withQuotesDoubled(list[i]);
        if (i > 0)
            text += separator;
        if (item.contains(separator))
            text += quote + item + quote;
        else
            text += item;
    }
    return text;
}

/// Whether a quoted item begins with \p piece and continues in the next one.
static bool opensItem(const QStringRef &piece)
{
    return piece.startsWith(quote) && (piece.size() == 1 || !piece.endsWith(quote));
}

static bool closesItem(const QStringRef &piece)
{
    return piece.endsWith(quote) && (piece.size() == 1 || !piece.startsWith(quote));
}

static QString withBackslashQuotes(const QString &item)
{
    const QLatin1String mark("\\\"");
    if (!item.startsWith(mark) || !item.endsWith(mark))
        return item;
    if (item.size() == mark.size())
        return QString(quote);
    return quote + item.mid(mark.size(), item.size() - 2 * mark.size()) + quote;
}

// The pieces of a quoted item and the separators between them are contiguous in the text, so an
// item is extracted when its last piece is found.
QStringList List::safeSplit(const QString &text, const QString &separator, bool backslashQuotes)
{
    if (separator.isEmpty())
        return {withQuotesSingle(text)};

    const auto endOfPiece = [&](int start) {
        const int end = text.indexOf(separator, start);
        return end < 0 ? text.size() : end;
    };

    QStringList items;
    for (int start = 0; start <= text.size();) {
        int end = endOfPiece(start);
        int endOfItem = end;
        if (opensItem(text.midRef(start, end - start))) {
            ++start;
            bool isOpen = true;
            while (isOpen && end < text.size()) {
                const int next = end + separator.size();
                end = endOfPiece(next);
                isOpen = !closesItem(text.midRef(next, end - next));
            }
            endOfItem = isOpen ? end : end - 1;
        }
        const QString item = withQuotesSingle(text.mid(start, endOfItem - start));
        items.append(backslashQuotes ? withBackslashQuotes(item) : item);
        start = end + separator.size();
    }
    return items;
}

QStringList List::format(const QList<int> &values)
{
    QStringList texts;
    texts.reserve(values.size());
    for (const int value : values)
        texts.append(QString::number(value));
    return texts;
}

template <typename Values>
static QStringList formatNumbers(const Values &values, char format, int precision)
{
    QStringList texts;
    texts.reserve(values.size());
    for (const double value : values)
        texts.append(numberText(value, format, precision));
    return texts;
}

QStringList List::format(const QList<double> &values, char format, int precision)
{
    return formatNumbers(values, format, precision);
}

QStringList List::format(const QVector<double> &values, char format, int precision)
{
    return formatNumbers(values, format, precision);
}

} // namespace Utils
