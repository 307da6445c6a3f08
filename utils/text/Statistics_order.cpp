#include "utils/text/Statistics.h"

#include "utils/text/Statistics_p.h"

#include <cmath>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Utils {

// Numbers are put in order by their keys: these tell all values apart, so that whatever way they
// are sorted in, the result is the same to the last bit.
static bool isBefore(double left, double right) { return keyOf(left) < keyOf(right); }

// Keys lie in the memory of the numbers. They are never read as numbers, which not every machine
// would leave as they are.
static quint64 keyIn(const double &place)
{
    quint64 key;
    std::memcpy(&key, &place, sizeof key);
    return key;
}

static void putKey(double &place, quint64 key) { std::memcpy(&place, &key, sizeof key); }

// Keys are dealt out by digits, the last first, which keeps the order by the digits before.
static const int digitBits = 11;
static const int digitValues = 1 << digitBits;
static const int lowDigits = 2; // that are seldom needed to tell two numbers apart
static const int digits = 6;
static const int fewest = 2000; // keys below that are sorted faster by comparing

static int digitOf(quint64 key, int digit)
{
    return static_cast<int>(key >> (digit * digitBits)) & (digitValues - 1);
}

/// Sorts \p count numbers by the digits of their keys from \p first to the one before \p end.
/// \p spare is room for as many.
static void sortByDigits(double *numbers, double *spare, int count, int first, int end)
{
    std::vector<int> counts(digits * digitValues);
    for (int i = 0; i < count; ++i) {
        const quint64 key = keyOf(numbers[i]);
        putKey(numbers[i], key);
        for (int digit = first; digit < end; ++digit)
            ++counts[digit * digitValues + digitOf(key, digit)];
    }

    double *from = numbers;
    double *to = spare;
    for (int digit = first; digit < end; ++digit) {
        int *places = counts.data() + digit * digitValues;
        if (places[digitOf(keyIn(from[0]), digit)] == count)
            continue; // all have the same digit here

        int place = 0;
        for (int value = 0; value < digitValues; ++value)
            place += std::exchange(places[value], place);
        for (int i = 0; i < count; ++i) {
            const quint64 key = keyIn(from[i]);
            putKey(to[places[digitOf(key, digit)]++], key);
        }
        std::swap(from, to);
    }

    for (int i = 0; i < count; ++i)
        numbers[i] = fromKey(keyIn(from[i]));
}

/// Sorts \p count numbers. \p spare is room for as many.
static void sortMany(double *numbers, double *spare, int count)
{
    sortByDigits(numbers, spare, count, lowDigits, digits);

    // What is still out of order is alike in all but the low digits.
    const auto isAlike = [&](int a, int b) {
        return (keyOf(numbers[a]) ^ keyOf(numbers[b])) >> (lowDigits * digitBits) == 0;
    };
    for (int i = 1; i < count; ++i) {
        if (!isBefore(numbers[i], numbers[i - 1]))
            continue;
        int first = i - 1;
        while (first > 0 && isAlike(first - 1, i))
            --first;
        int end = i + 1;
        while (end < count && isAlike(end, i))
            ++end;
        if (end - first < fewest)
            std::sort(numbers + first, numbers + end, isBefore);
        else
            sortByDigits(numbers + first, spare, end - first, 0, lowDigits);
        i = end;
    }
}

static void sortNumbers(QVector<double> &numbers)
{
    double *const begin = numbers.data();
    double *const end = begin + numbers.size();
    if (std::is_sorted(begin, end, isBefore))
        return;

    std::unique_ptr<double[]> spare;
    if (numbers.size() >= fewest)
        spare.reset(new (std::nothrow) double[static_cast<size_t>(numbers.size())]);
    if (spare)
        sortMany(begin, spare.get(), numbers.size());
    else
        std::sort(begin, end, isBefore);
}

static QVector<double> reduced(const Selection &selection)
{
    QVector<double> values(lengthOf(selection));
    double *end = values.data();
    forEachRun(selection, [&](const double *run, int count) {
        end = std::remove_copy(run, run + count, end, Data::noValue);
    });
    return values;
}

/// The values of a selection by their place in the order, found without sorting.
///
/// A place is narrowed down by sixteen bits of the key at a time, by counting, until the values
/// that share all bits so far are few enough to be gathered.
class Ranking
{
public:
    explicit Ranking(const Selection &selection) : m_selection(selection)
    {
        if (selection.size() <= mostGathered) {
            gather(m_all);
            m_all.size = static_cast<int>(m_gathered.size());
            return;
        }
        m_all.counts = countsBelow(m_all);
        for (const int count : m_all.counts)
            m_all.size += count;
    }

    int size() const { return m_all.size; }

    double operator[](int place)
    {
        if (place < m_first || place >= m_first + static_cast<int>(m_gathered.size()))
            gatherAround(place);
        const auto found = m_gathered.begin() + (place - m_first);
        std::nth_element(m_gathered.begin(), found, m_gathered.end());
        return fromKey(*found);
    }

private:
    static const int stepBits = 16;
    static const int stepValues = 1 << stepBits;
    static const int mostGathered = 1 << 16;

    /// All values whose keys begin alike.
    struct Window
    {
        bool holds(quint64 key) const { return freeBits == 64 || key >> freeBits == start; }

        int freeBits = 64; ///< how many bits of the key are not the same
        quint64 start = 0; ///< those that are
        int first = 0;     ///< the place of the first of them
        int size = 0;
        std::vector<int> counts; ///< by the next bits
    };

    std::vector<int> countsBelow(const Window &window) const
    {
        std::vector<int> counts(stepValues);
        const int shift = window.freeBits - stepBits;
        forEachValue(m_selection, [&](double value) {
            const quint64 key = keyOf(value);
            if (window.holds(key))
                ++counts[key >> shift & (stepValues - 1)];
        });
        return counts;
    }

    void gatherAround(int place)
    {
        Window window = m_all;
        while (window.size > mostGathered && window.freeBits > 0) {
            if (window.counts.empty())
                window.counts = countsBelow(window);
            quint64 digit = 0;
            while (place >= window.first + window.counts[digit])
                window.first += window.counts[digit++];
            window.size = window.counts[digit];
            window.freeBits -= stepBits;
            window.start = window.start << stepBits | digit;
            window.counts.clear();
        }
        if (window.freeBits > 0) {
            gather(window);
        } else {
            m_first = place; // all are the same
            m_gathered.assign(1, window.start);
        }
    }

    void gather(const Window &window)
    {
        m_first = window.first;
        m_gathered.clear();
        forEachValue(m_selection, [&](double value) {
            const quint64 key = keyOf(value);
            if (window.holds(key))
                m_gathered.push_back(key);
        });
    }

    const Selection &m_selection;
    Window m_all;
    int m_first = 0;                 // the place of the first of those gathered
    std::vector<quint64> m_gathered; // keys
};

static double between(double a, double b) { return (a + b) * 0.5; }

double Statistics::median(const Data::Array &array, const QList<int> &indices)
{
    const Selection selection(array, indices);
    Ranking s(selection);
    if (s.size() == 0)
        return 0.0;

    const int h = s.size() / 2;
    return s.size() % 2 == 1 ? s[h] : between(s[h], s[h - 1]);
}

void Statistics::quartiles(const Data::Array &array, double &minimum, double &lower, double &median,
                           double &upper, double &maximum, const QList<int> &indices)
{
    const Selection selection(array, indices);
    Ranking s(selection);
    const int n = s.size();
    if (n < 2) {
        minimum = lower = median = upper = maximum = n == 1 ? s[0] : 0.0;
        return;
    }

    const int h = n / 2;
    const int q = h / 2;
    const int r = n - h + q;
    minimum = s[0];
    maximum = s[n - 1];
    median = n % 2 == 1 ? s[h] : between(s[h - 1], s[h]);
    lower = h % 2 == 1 ? s[q] : between(s[q - 1], s[q]);
    upper = h % 2 == 1 ? s[r] : between(s[r - 1], s[r]);
}

QVector<double> Statistics::reduce(const Data::Array &array, const QList<int> &indices)
{
    try {
        return reduced(Selection(array, indices));
    } catch (const std::bad_alloc &) {
        return {};
    }
}

QVector<double> Statistics::sort(const Data::Array &array, bool ascending,
                                 const QList<int> &indices)
{
    try {
        QVector<double> values = reduced(Selection(array, indices));
        sortNumbers(values);
        if (!ascending) {
            const auto isNumber = [](double value) { return !std::isnan(value); };
            std::reverse(values.begin(),
                         std::partition_point(values.begin(), values.end(), isNumber));
        }
        return values;
    } catch (const std::bad_alloc &) {
        return {};
    }
}

} // namespace Utils
