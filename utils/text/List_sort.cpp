#include "utils/text/List.h"

#include <QChar>
#include <QtAlgorithms>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

namespace Utils {

namespace {

/// Stands for an element while it is sorted.
struct Item
{
    quint64 key; // in the order of the elements
    int position;
};

/// A fixed number of items. Not a vector, which would write them all before they are set.
struct Items
{
    explicit Items(std::size_t itemCount) : data(new Item[itemCount]), size(itemCount) {}

    Item *begin() const { return data.get(); }
    Item *end() const { return data.get() + size; }

    std::unique_ptr<Item[]> data;
    std::size_t size;
};

} // namespace

static bool isBefore(const Item &a, const Item &b)
{
    return a.key == b.key ? a.position < b.position : a.key < b.key;
}

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

// Below this the counts of a radix sort cost more than they save.
static const std::ptrdiff_t shortRange = 1000;

/// Sorts items that stand in the order of their positions by key, and equal ones by position.
/// \p spare has room for as many items.
static void sortByKey(Item *start, Item *end, Item *spare)
{
    if (end - start < shortRange) {
        std::sort(start, end, isBefore);
        return;
    }

    quint64 differences = 0;
    for (const Item *item = start; item != end; ++item)
        differences |= item->key ^ start->key;

    // The highest 33 bits in which keys differ, in digits, the lowest first, each sort keeping the
    // order of the one before. They tell nearly all keys apart; a sort by the bits below them as
    // well takes twice the time.
    constexpr int digitBits = 11;
    constexpr int mostDigits = 3;
    constexpr std::size_t mask = (1u << digitBits) - 1;
    const int bits = 64 - static_cast<int>(qCountLeadingZeroBits(differences));
    const int lowest = std::max(0, bits - mostDigits * digitBits);
    const int digits = (bits - lowest + digitBits - 1) / digitBits;
    const auto digitOf = [=](const Item &item, int digit) {
        return (item.key >> (lowest + digit * digitBits)) & mask;
    };

    std::array<std::array<quint32, mask + 1>, mostDigits> places{};
    for (const Item *item = start; item != end; ++item) {
        for (int digit = 0; digit < digits; ++digit)
            ++places[digit][digitOf(*item, digit)];
    }
    Item *from = start;
    Item *to = spare;
    const std::ptrdiff_t size = end - start;
    for (int digit = 0; digit < digits; ++digit) {
        std::exclusive_scan(places[digit].begin(), places[digit].end(), places[digit].begin(), 0u);
        for (const Item *item = from; item != from + size; ++item)
            to[places[digit][digitOf(*item, digit)]++] = *item;
        std::swap(from, to);
    }
    if (from != start)
        std::copy(from, from + size, start);

    if (lowest == 0)
        return;
    for (Item *run = start; run != end;) {
        Item *runEnd = run + 1;
        while (runEnd != end && (runEnd->key ^ run->key) >> lowest == 0)
            ++runEnd;
        if (runEnd - run > 1)
            sortByKey(run, runEnd, spare); // not deep: the next 33 bits are the last
        run = runEnd;
    }
}

namespace {

/// Sorts elements some of which are odd: they break the order. So no sort of the standard library
/// takes them, and what comes out depends on the sort. This one takes any relation, as no scan
/// leaves the range. Its pivot is the middle of first, centre and last.
template <typename IsOdd, typename Relation>
class QuickSort
{
public:
    QuickSort(IsOdd isOdd, Relation relation) : m_isOdd(isOdd), m_relation(relation) {}

    void sort(const Items &items)
    {
        // A few odd elements are enough to drive some lists to quadratic time.
        m_stepsLeft = 100000000 + 200 * static_cast<qint64>(items.size);
        sort(items.begin(), items.end());
    }

private:
    void sort(Item *start, Item *end)
    {
        while (end - start >= 2) {
            // What has an order comes out the same by whatever sort. Quicksort on its own makes
            // most ranges of this kind from a sorted list with one odd element, and the worst.
            m_stepsLeft -= end - start;
            if (m_stepsLeft < 0 || std::none_of(start, end, m_isOdd)) {
                std::sort(start, end, isBefore);
                return;
            }
            Item *const pivot = partition(start, end);
            if (pivot == nullptr)
                return;

            // The shorter side first, so that the stack stays low.
            if (pivot - start < end - pivot) {
                sort(start, pivot);
                start = pivot + 1;
            } else {
                sort(pivot + 1, end);
                end = pivot;
            }
        }
    }

    /// The pivot, in its place between the two sides. Null when the range is sorted by then.
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

// What is not a number is behind all numbers as a key, and is never looked at as that.
static const quint64 keyOfNoNumber = ~quint64(0);
static const quint64 signBit = quint64(1) << 63;

static quint64 keyOf(int value) { return static_cast<quint32>(value) ^ (quint32(1) << 31); }

static quint64 keyOf(double value)
{
    if (value != value)
        return keyOfNoNumber;
    if (value == 0.0)
        return signBit; // for both of them

    quint64 bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits & signBit ? ~bits : bits | signBit;
}

template <typename Values>
static QList<int> sortedNumbers(const Values &values, bool ascending)
{
    Items items(static_cast<std::size_t>(values.size()));
    const auto isNoStep = [](auto value, auto next) { return !(value <= next); };
    const bool isSorted =
        std::adjacent_find(values.begin(), values.end(), isNoStep) == values.end();
    bool hasNoNumber = false;
    int position = 0;
    for (Item &item : items) {
        item = {isSorted ? 0 : keyOf(values[position]), position};
        hasNoNumber = hasNoNumber || item.key == keyOfNoNumber;
        ++position;
    }

    if (hasNoNumber) {
        const auto isOdd = [](const Item &item) { return item.key == keyOfNoNumber; };
        const auto relation = [=](const Item &a, const Item &b) {
            return !isOdd(a) && !isOdd(b) && isBefore(a, b);
        };
        QuickSort(isOdd, relation).sort(items);
    } else if (!isSorted) {
        const Items spare(items.size);
        sortByKey(items.begin(), items.end(), spare.begin());
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

/// A text as it is compared: by its units, and a beginning before what goes on.
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

    /// Whether it is before \p other, with which it is known to share \p depth units.
    bool isBefore(const Text &other, int depth) const
    {
        return std::lexicographical_compare(begin + depth, end(), other.begin + depth, other.end());
    }

    /// How many units it shares with \p other: \p depth, as is known, up to \p most.
    int shared(const Text &other, int depth, int most) const
    {
        const Unit *const mostEnd = begin + std::min({size, other.size, most});
        return static_cast<int>(std::mismatch(begin + depth, mostEnd, other.begin + depth).first -
                                begin);
    }

    /// As many units as go into a key, from \p depth on; zeros behind the end.
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

/// \p texts in order, equal ones by position. The keys are of no use.
template <typename Unit>
static Items sortedTexts(const std::vector<Text<Unit>> &texts)
{
    Items items(texts.size());
    int position = 0;
    for (Item &item : items)
        item.position = position++;
    const auto text = [&](const Item &item) -> const Text<Unit> & {
        return texts[static_cast<std::size_t>(item.position)];
    };

    // Ranges in the order of their positions that share so many units. Not by recursion, which a
    // list of beginnings of one text would take as deep as that is long.
    struct Range
    {
        Item *start;
        Item *end;
        int depth;
    };
    std::vector<Range> ranges = {{items.begin(), items.end(), 0}};
    const Items spare(items.size);
    while (!ranges.empty()) {
        auto [start, end, depth] = ranges.back();
        ranges.pop_back();
        if (end - start < 20) {
            std::sort(start, end, [&, shared = depth](const Item &a, const Item &b) {
                if (text(a).isBefore(text(b), shared))
                    return true;
                return !text(b).isBefore(text(a), shared) && a.position < b.position;
            });
            continue;
        }

        // No further at once: a few others in each of many ranges would have all the rest of a
        // long common beginning looked at again and again.
        int shared = depth + 64;
        for (const Item *item = start; item != end && shared > depth; ++item)
            shared = text(*start).shared(text(*item), depth, shared);
        for (Item *item = start; item != end; ++item)
            item->key = text(*item).key(shared);
        sortByKey(start, end, spare.begin());

        const int nextDepth = shared + Text<Unit>::unitsOfKey;
        const auto ends = [&](const Item &item) { return text(item).size <= nextDepth; };
        for (Item *run = start; run != end;) {
            const auto isOther = [key = run->key](const Item &item) { return item.key != key; };
            Item *const runEnd = std::find_if(run, end, isOther);
            if (runEnd - run > 1) {
                // Zero characters make the key of what ends, too: the shorter goes first.
                if (std::any_of(run, runEnd, ends)) {
                    for (Item *item = run; item != runEnd; ++item)
                        item->key = static_cast<quint64>(std::min(text(*item).size, nextDepth + 1));
                    sortByKey(run, runEnd, spare.begin());
                    run = std::find_if_not(run, runEnd, ends);
                }
                if (runEnd - run > 1)
                    ranges.push_back({run, runEnd, nextDepth});
            }
            run = runEnd;
        }
    }
    return items;
}

/// The positions of \p values, which are compared as \p texts.
template <typename Unit>
static QList<int> sortedByTexts(const QStringList &values, const std::vector<Text<Unit>> &texts,
                                bool ascending, bool caseSensitive)
{
    Items items = sortedTexts(texts);
    const auto text = [&](const Item &item) -> const Text<Unit> & {
        return texts[static_cast<std::size_t>(item.position)];
    };
    if (items.size == 0 || (caseSensitive && text(*items.begin()).size > 0))
        return positions(items, ascending);

    // The key is the rank, and odd where the relation is no order: for an empty text, and for texts
    // that are compared as equal and are not.
    const quint64 keyOfEmpty = 1;
    const auto isOdd = [](const Item &item) { return item.key % 2 == 1; };
    bool hasOdd = false;
    quint64 rank = 0;
    for (Item *run = items.begin(); run != items.end();) {
        const auto differs = [&](const Item &item) { return !(text(item) == text(*run)); };
        const auto differsInCase = [&](const Item &item) {
            return values[item.position] != values[run->position];
        };
        Item *const runEnd = std::find_if(run + 1, items.end(), differs);
        const bool isEmpty = text(*run).size == 0;
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
            return isBefore(a, b);
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

/// \p unit without case as QString::compare() folds it: by itself, but the second one of a
/// surrogate pair as the character of both.
static uint withoutCase(ushort unit, ushort previous)
{
    if (unit < 128)
        return asciiWithoutCase(unit);
    const bool isPair = QChar::isLowSurrogate(unit) && QChar::isHighSurrogate(previous);
    return QChar::toCaseFolded(isPair ? QChar::surrogateToUcs4(previous, unit) : unit);
}

/// The positions of \p values. Each unit that is compared goes into a Unit: the smaller, the more
/// of them go into a key.
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
