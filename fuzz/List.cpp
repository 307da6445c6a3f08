// Lists as text, sorting by index, and selections.

#include "utils/text/List.h"

#include "fuzz/Input.h"

#include <algorithm>
#include <cmath>

using Utils::List;

static QList<int> numbersOf(const QByteArray &bytes)
{
    QList<int> numbers;
    for (const QByteArray &word : bytes.split(' ')) {
        bool isNumber = false;
        const int number = word.toInt(&isNumber);
        if (isNumber)
            numbers.append(number);
    }
    return numbers;
}

/// Whether the ranges in \p text are short ones: a range of millions is right, and takes its time.
static bool hasShortRanges(const QByteArray &text, const char *separator)
{
    qint64 sum = 0;
    for (const QByteArray &piece : text.split(separator[0])) {
        const int dash = piece.indexOf('-');
        if (dash >= 0)
            sum += std::max(piece.mid(dash + 1).trimmed().toLongLong() -
                                piece.left(dash).trimmed().toLongLong(),
                            0LL);
    }
    return sum < 10000;
}

static void checkIndexLists(const QByteArray &bytes, const char *separator)
{
    QList<int> indices = numbersOf(bytes);
    List::joinIndexList(indices, separator);
    indices.erase(std::remove_if(indices.begin(), indices.end(), [](int i) { return i < 1; }),
                  indices.end());
    const QByteArray joined = List::joinIndexList(indices, separator).toUtf8();
    if (hasShortRanges(joined, separator))
        requireEqual(List::splitIndexList(textOf(joined), separator), indices, "indices come back");
    if (hasShortRanges(bytes, separator)) {
        for (int index : List::splitIndexList(textOf(bytes), separator))
            require(index >= 0, "no index is negative");
    }
}

static void checkSafeLists(const QByteArray &bytes, const QString &separator)
{
    const QString text = textOf(bytes);
    List::safeSplit(text, separator, /*backslashQuotes=*/true);
    List::safeSplit(text, QString(), /*backslashQuotes=*/true);
    require(!List::safeSplit(text, separator, /*backslashQuotes=*/false).isEmpty(),
            "a text has an item");

    const QStringList items = text.split(QLatin1Char('\n'));
    const QLatin1Char quote('"');
    for (const QString &item : items) { // what does not come back
        if (!item.contains(separator) && item.startsWith(quote) && !item.endsWith(quote))
            return;
        if (item.contains(separator) &&
            (item.contains(quote + separator) || item.contains(separator + quote)))
            return;
        if (separator.size() > 1 && item.endsWith(separator.at(0)))
            return;
    }
    requireEqual(List::safeSplit(List::safeJoin(items, separator), separator,
                                 /*backslashQuotes=*/false),
                 items, "items come back");
}

template <typename Values, typename Before>
static void checkSorted(const Values &values, const QList<int> &order, Before isBefore)
{
    for (int i = 1; i < order.size(); ++i)
        require(!isBefore(values.at(order.at(i)), values.at(order.at(i - 1))), "it is sorted");
}

static void checkOrder(QList<int> order, int count)
{
    std::sort(order.begin(), order.end());
    requireEqual(order.size(), count, "every position is there");
    for (int i = 0; i < count; ++i)
        requireEqual(order.at(i), i, "every position is there once");
}

static void checkSorting(const QByteArray &bytes)
{
    const QList<int> numbers = numbersOf(bytes);
    checkSorted(numbers, List::indexSort(numbers, /*ascending=*/true), std::less<int>());
    checkSorted(numbers, List::indexSort(numbers, /*ascending=*/false), std::greater<int>());
    checkOrder(List::indexSort(numbers, true), numbers.size());

    QList<double> values;
    bool hasNan = false;
    for (const QByteArray &word : bytes.split(' ')) {
        values.append(word.toDouble());
        hasNan |= std::isnan(values.last());
    }
    checkOrder(List::indexSort(values, true), values.size());
    if (!hasNan)
        checkSorted(values, List::indexSort(values, true), std::less<double>());

    QStringList texts = textOf(bytes).split(QLatin1Char('\n'));
    for (bool caseSensitive : {true, false}) {
        checkOrder(List::indexSort(texts, true, caseSensitive), texts.size());
        checkOrder(List::indexSort(texts, false, caseSensitive), texts.size());
    }
    texts.removeAll(QString());
    checkSorted(texts, List::indexSort(texts, true, /*caseSensitive=*/true), std::less<QString>());
}

static void checkSelections(const QList<int> &some, const QList<int> &others)
{
    const QList<int> merged = List::mergeIndexList(some, others);
    for (int index : List::applyIndexList(some, merged))
        require(index >= 1, "a selection has no index below 1");
    QList<int> into = others;
    List::mergeSort(some, into);
    for (int index : some)
        require(into.contains(index), "what is merged is there");
    for (int index : others)
        require(into.contains(index), "what was there is there");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const int kind = input.choice(4);
    const char *const separators[] = {",", ";", "|", "\t"};
    const int separator = input.choice(4);
    if (kind == 0)
        checkIndexLists(input.rest(), separators[separator]);
    else if (kind == 1)
        checkSafeLists(input.rest(), separator == 3 ? QStringLiteral("::")
                                                    : QLatin1String(separators[separator]));
    else if (kind == 2)
        checkSorting(input.rest());
    else {
        const QList<int> some = numbersOf(input.line());
        checkSelections(some, numbersOf(input.rest()));
    }
    return 0;
}
