#include "utils/text/List.h"

#include "utils/base/NumberKey_p.h"
#include "utils/base/RadixSort_p.h"

#include <QChar>

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace Utils {

namespace {

/// Represents an element while the list is sorted.
struct Item
{
    quint64 sortKey() const { return key; }

    bool operator<(const Item &other) const
    {
        return key == other.key ? position < other.position : key < other.key;
    }

    quint64 key; // in the order of the elements
    int position;
};

/// A fixed number of items. Not a vector, which would initialise all of them before they are set.
struct Items
{
    explicit Items(std::size_t itemCount) : data(new Item[itemCount]), size(itemCount) {}

    Item *begin() const { return data.get(); }
    Item *end() const { return data.get() + size; }

    std::unique_ptr<Item[]> data;
    std::size_t size;
};

} // namespace

static QList<int> positions(const Items &items, bool ascending)
{
    QList<int> result;
    result.reserve(static_cast<int>(items.size));
    const auto append = [&](const Item &item) { result.append(item.position); };
    if (ascending)
        std::for_each(items.begin(), items.end(), append);
    else
        std::for_each(std::make_reverse_iterator(items.end()),
                      std::make_reverse_iterator(items.begin()), append);
    return result;
}

namespace {

/// Sorts elements of which some are odd: for these the relation is not an order. So the sorts of
/// the standard library cannot be used, and the result depends on the algorithm. This quicksort
/// accepts any relation, because no scan leaves the range. Its pivot is the median of the first,
/// the centre and the last element.
template <typename IsOdd, typename Relation>
class QuickSort
{
public:
    QuickSort(IsOdd isOdd, Relation relation) : m_isOdd(isOdd), m_relation(relation) {}

    void sort(const Items &items)
    {
        // Limits the steps: with some lists, a few odd elements suffice for quadratic time.
        m_stepsLeft = 100000000 + 200 * static_cast<qint64>(items.size);
        sort(items.begin(), items.end());
    }

private:
    void sort(Item *start, Item *end)
    {
        while (end - start >= 2) {
            // Without odd elements, every sort yields the same result. A sorted list with one odd
            // element leads to most such ranges, and to the worst ones for quicksort.
            m_stepsLeft -= end - start;
            if (m_stepsLeft < 0 || std::none_of(start, end, m_isOdd)) {
                std::sort(start, end);
                return;
            }
            Item *const pivot = partition(start, end);
            if (pivot == nullptr)
                return;

            // The shorter side first, which limits the depth of the recursion.
            if (pivot - start < end - pivot) {
                sort(start, pivot);
                start = pivot + 1;
            } else {
                sort(pivot + 1, end);
                end = pivot;
            }
        }
    }

    /// Moves the pivot to its position between the two sides and returns it. Null when the range is
    /// already sorted.
    Item *partition(Item *start, Item *end)
    {
        Item *const last = end - 1;
        Item *const centre = start + (end - start) / 2;
        if (m_relation(*last, *start))
            std::swap(*last, *start);
        if (end - start == 2)
            return nullptr;
        if (m_relation(*centre, *start))
            std::swap(*centre, *start);
        if (m_relation(*last, *centre))
            std::swap(*last, *centre);
        if (end - start == 3)
            return nullptr;

        std::swap(*centre, *last);
        Item *low = start;
        Item *high = last - 1;
        while (low < high) {
            while (low < high && m_relation(*low, *last))
                ++low;
            while (low < high && m_relation(*last, *high))
                --high;
            if (low < high) {
                std::swap(*low, *high);
                ++low;
                --high;
            }
        }
        if (m_relation(*low, *last))
            ++low;
        std::swap(*last, *low);
        return low;
    }

    IsOdd m_isOdd;
    Relation m_relation;
    qint64 m_stepsLeft = 0;
};

} // namespace

// The key of a NaN is after those of all numbers; its value is never used.
static const quint64 keyOfNoNumber = ~quint64(0);

static quint64 itemKey(int value) { return static_cast<quint32>(value) ^ (quint32(1) << 31); }

static quint64 itemKey(double value)
{
    if (value != value)
        return keyOfNoNumber;
    return keyOf(value == 0.0 ? 0.0 : value); // the same for both zeros
}

/// The positions of \p count elements that are sorted already.
static QList<int> sortedPositions(int count, bool ascending)
{
    QList<int> result;
    result.reserve(count);
    for (int i = 0; i < count; ++i)
        result.append(ascending ? i : count - 1 - i);
    return result;
}

template <typename Values>
static QList<int> sortedNumbers(const Values &values, bool ascending)
{
    const auto isNoStep = [](auto value, auto next) { return !(value <= next); };
    if (std::adjacent_find(values.begin(), values.end(), isNoStep) == values.end())
        return sortedPositions(values.size(), ascending);

    Items items(static_cast<std::size_t>(values.size()));
    bool hasNoNumber = false;
    int position = 0;
    for (Item &item : items) {
        item = {itemKey(values[position]), position};
        hasNoNumber = hasNoNumber || item.key == keyOfNoNumber;
        ++position;
    }

    if (hasNoNumber) {
        const auto isOdd = [](const Item &item) { return item.key == keyOfNoNumber; };
        const auto relation = [=](const Item &a, const Item &b) {
            return !isOdd(a) && !isOdd(b) && a < b;
        };
        QuickSort(isOdd, relation).sort(items);
    } else {
        const Items spare(items.size);
        sortByKey<3, 11>(items.begin(), items.end(), spare.begin());
    }
    return positions(items, ascending);
}

QList<int> List::indexSort(const QList<int> &values, bool ascending)
{
    return sortedNumbers(values, ascending);
}

QList<int> List::indexSort(const QList<double> &values, bool ascending)
{
    return sortedNumbers(values, ascending);
}

QList<int> List::indexSort(const QVector<double> &values, bool ascending)
{
    return sortedNumbers(values, ascending);
}

namespace {

/// A text for comparison: compared by its units, and a prefix is before a longer text.
template <typename Unit>
struct Text
{
    const Unit *begin;
    int size;

    const Unit *end() const { return begin + size; }

    bool operator==(const Text &other) const
    {
        return std::equal(begin, end(), other.begin, other.end());
    }

    /// Whether it is before \p other. The first \p depth units must be equal.
    bool isBefore(const Text &other, int depth) const
    {
        return std::lexicographical_compare(begin + depth, end(), other.begin + depth, other.end());
    }

    /// The length of the common prefix with \p other, at most \p most. The first \p depth units
    /// must be equal.
    int shared(const Text &other, int depth, int most) const
    {
        const Unit *const mostEnd = begin + std::min({size, other.size, most});
        return static_cast<int>(std::mismatch(begin + depth, mostEnd, other.begin + depth).first -
                                begin);
    }

    /// The units from \p depth on, as many as fit into a key, with zeros after the end.
    quint64 key(int depth) const
    {
        quint64 key = 0;
        for (int i = depth; i < depth + unitsOfKey; ++i)
            key = key << (8 * sizeof(Unit)) | (i < size ? begin[i] : Unit(0));
        return key;
    }

    static constexpr int unitsOfKey = sizeof(quint64) / sizeof(Unit);
};

} // namespace

namespace {

constexpr quint64 keyOfSame = 1;

/// Sorts texts; equal texts are sorted by position.
template <typename Unit>
class TextSort
{
public:
    explicit TextSort(const std::vector<Text<Unit>> &texts)
        : m_texts(texts), m_items(texts.size()), m_spare(texts.size())
    {}

    /// Returns the sorted items of all texts. The key of an item is keyOfSame if its text equals
    /// that of the item before it, else 0. May be called only once.
    Items sort()
    {
        int position = 0;
        for (Item &item : m_items)
            item.position = position++;
        m_ranges = {{m_items.begin(), m_items.end(), 0}};
        while (!m_ranges.empty()) {
            const Range range = m_ranges.back();
            m_ranges.pop_back();
            if (range.end - range.start < 20)
                sortByComparing(range);
            else
                sortByUnits(range);
        }
        return std::move(m_items);
    }

private:
    /// Items in the order of their positions, whose texts have the first \p depth units in common.
    struct Range
    {
        Item *start;
        Item *end;
        int depth;
    };

    const Text<Unit> &text(const Item &item) const
    {
        return m_texts[static_cast<std::size_t>(item.position)];
    }

    void sortByComparing(const Range &range) const
    {
        std::sort(range.start, range.end, [&](const Item &a, const Item &b) {
            if (text(a).isBefore(text(b), range.depth))
                return true;
            return !text(b).isBefore(text(a), range.depth) && a.position < b.position;
        });
        setKeys(range.start, range.end, [&](const Item &item, const Item &previous) {
            return text(item) == text(previous);
        });
    }

    /// Sets the keys of items that are in their final order.
    template <typename IsSame>
    static void setKeys(Item *start, Item *end, IsSame isSame)
    {
        if (start == end)
            return;
        for (Item *item = end - 1; item != start; --item) // isSame() may compare keys
            item->key = isSame(*item, item[-1]) ? keyOfSame : 0;
        start->key = 0;
    }

    /// The length of the common prefix of all texts in \p range, up to a limit.
    int sharedUnits(const Range &range) const
    {
        // The limit: in many ranges with a few different texts, the rest of a long common prefix
        // would otherwise be read again and again.
        int shared = range.depth + 64;
        for (const Item *item = range.start; item != range.end && shared > range.depth; ++item)
            shared = text(*range.start).shared(text(*item), range.depth, shared);
        return shared;
    }

    /// Sorts \p range by the next units, as many as fit into a key. Texts that these do not
    /// distinguish become new ranges.
    void sortByUnits(const Range &range)
    {
        const int shared = sharedUnits(range);
        for (Item *item = range.start; item != range.end; ++item)
            item->key = text(*item).key(shared);
        sortByKey<3, 11>(range.start, range.end, m_spare.begin());

        const int nextDepth = shared + Text<Unit>::unitsOfKey;
        for (Item *run = range.start; run != range.end;) {
            const auto isOther = [key = run->key](const Item &item) { return item.key != key; };
            Item *const runEnd = std::find_if(run, range.end, isOther);
            if (runEnd - run > 1)
                run = sortEndedFirst(run, runEnd, nextDepth);
            if (runEnd - run > 1)
                m_ranges.push_back({run, runEnd, nextDepth});
            else if (runEnd != run)
                run->key = 0;
            run = runEnd;
        }
    }

    /// Moves the texts that end before \p depth to the start of a run, the shorter first: the zeros
    /// after their end may be units of the other texts. Returns the start of the others.
    Item *sortEndedFirst(Item *run, Item *runEnd, int depth)
    {
        const auto ends = [&](const Item &item) { return text(item).size <= depth; };
        if (std::none_of(run, runEnd, ends))
            return run;
        for (Item *item = run; item != runEnd; ++item)
            item->key = static_cast<quint64>(std::min(text(*item).size, depth + 1));
        sortByKey<3, 11>(run, runEnd, m_spare.begin());
        Item *const others = std::find_if_not(run, runEnd, ends);
        setKeys(run, others, [](const Item &a, const Item &b) { return a.key == b.key; });
        return others;
    }

    const std::vector<Text<Unit>> &m_texts;
    Items m_items;
    const Items m_spare;
    // Not by recursion, which for a list of prefixes of one text would be as deep as the text is
    // long.
    std::vector<Range> m_ranges;
};

} // namespace

/// The sorted positions of \p values, which are compared as \p texts.
template <typename Unit>
static QList<int> sortedByTexts(const QStringList &values, const std::vector<Text<Unit>> &texts,
                                bool ascending, bool caseSensitive)
{
    Items items = TextSort<Unit>(texts).sort();
    const auto text = [&](const Item &item) -> const Text<Unit> & {
        return texts[static_cast<std::size_t>(item.position)];
    };
    if (items.size == 0 || (caseSensitive && text(*items.begin()).size > 0))
        return positions(items, ascending);

    // The key is the rank. It is odd if the relation is not an order: for an empty text, and for
    // texts that compare as equal but differ.
    const quint64 keyOfEmpty = 1;
    const auto isOdd = [](const Item &item) { return item.key % 2 == 1; };
    bool hasOdd = false;
    quint64 rank = 0;
    for (Item *run = items.begin(); run != items.end();) {
        const auto differs = [&](const Item &item) { return item.key != keyOfSame; };
        const auto differsInCase = [&](const Item &item) {
            return values[item.position] != values[run->position];
        };
        Item *const runEnd = std::find_if(run + 1, items.end(), differs);
        const bool isEmpty = run == items.begin() && text(*run).size == 0;
        const bool isOddRun = isEmpty || std::any_of(run + 1, runEnd, differsInCase);
        rank += isEmpty ? 0 : 2;
        hasOdd = hasOdd || isOddRun;
        for (; run != runEnd; ++run)
            run->key = isOddRun ? rank + 1 : rank;
    }

    if (hasOdd) {
        const auto relation = [&](const Item &a, const Item &b) {
            if (a.key == keyOfEmpty)
                return a.position < b.position;
            if (a.key == b.key && isOdd(a))
                return a.position < b.position && values[a.position] == values[b.position];
            return a < b;
        };
        Items unsorted(items.size);
        for (const Item &item : items)
            unsorted.begin()[item.position] = item;
        items = std::move(unsorted);
        QuickSort(isOdd, relation).sort(items);
    }
    return positions(items, ascending);
}

static ushort asciiWithoutCase(ushort unit)
{
    return unit >= 'A' && unit <= 'Z' ? unit + 'a' - 'A' : unit;
}

/// Folds the case of \p unit as QString::compare() does: each unit alone, but the second one of a
/// surrogate pair as the character of both.
static uint withoutCase(ushort unit, ushort previous)
{
    if (unit < 128)
        return asciiWithoutCase(unit);
    const bool isPair = QChar::isLowSurrogate(unit) && QChar::isHighSurrogate(previous);
    return QChar::toCaseFolded(isPair ? QChar::surrogateToUcs4(previous, unit) : unit);
}

/// The sorted positions of \p values. Each compared unit must fit into a Unit. The smaller a Unit
/// is, the more of them fit into a key.
template <typename Unit>
static QList<int> sortedAs(const QStringList &values, bool ascending, bool caseSensitive)
{
    std::vector<Text<Unit>> texts;
    texts.reserve(static_cast<std::size_t>(values.size()));
    std::size_t size = 0;
    for (const QString &value : values)
        size += static_cast<std::size_t>(value.size());

    const std::unique_ptr<Unit[]> units(new Unit[size]);
    Unit *end = units.get();
    for (const QString &value : values) {
        texts.push_back({end, value.size()});
        const ushort *const from = value.utf16();
        if (caseSensitive) {
            end = std::copy(from, from + value.size(), end);
        } else if constexpr (sizeof(Unit) == 1) {
            end = std::transform(from, from + value.size(), end, asciiWithoutCase);
        } else {
            ushort previous = 0;
            for (int i = 0; i < value.size(); ++i) {
                *end++ = static_cast<Unit>(withoutCase(from[i], previous));
                previous = from[i];
            }
        }
    }
    return sortedByTexts(values, texts, ascending, caseSensitive);
}

QList<int> List::indexSort(const QStringList &values, bool ascending, bool caseSensitive)
{
    bool isAscii = true;
    bool holdsSurrogate = false;
    const auto isSurrogate = [](QChar unit) { return unit.isSurrogate(); };
    for (const QString &value : values) {
        ushort bits = 0;
        for (const QChar unit : value)
            bits |= unit.unicode();
        if (bits >= 128) {
            isAscii = false;
            holdsSurrogate = holdsSurrogate || std::any_of(value.begin(), value.end(), isSurrogate);
        }
    }

    if (isAscii)
        return sortedAs<uchar>(values, ascending, caseSensitive);
    if (holdsSurrogate && !caseSensitive)
        return sortedAs<uint>(values, ascending, caseSensitive);
    return sortedAs<ushort>(values, ascending, caseSensitive);
}

} // namespace Utils
