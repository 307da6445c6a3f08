#include "utils/text/Statistics.h"

#include "utils/base/RadixSort_p.h"
#include "utils/text/Statistics_p.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace Utils {

namespace {

/// A number in the memory of a double. It is never read as one, because not every processor
/// preserves all bits of a double.
struct StoredNumber
{
    char bytes[sizeof(double)];

    quint64 sortKey() const
    {
        quint64 bits;
        std::memcpy(&bits, bytes, sizeof bits);
        return keyOfBits(bits);
    }

    bool operator<(const StoredNumber &other) const { return sortKey() < other.sortKey(); }
};

} // namespace

/// Sorts numbers by their keys. Different values have different keys, so every algorithm yields the
/// same result to the last bit. The keys are computed in each pass, which takes less time than two
/// more passes that convert the numbers to keys and back.
static void sortNumbers(QVector<double> &numbers)
{
    auto *const begin = reinterpret_cast<StoredNumber *>(numbers.data());
    auto *const end = begin + numbers.size();
    if (std::is_sorted(begin, end))
        return;

    const std::unique_ptr<StoredNumber[]> spare(
        new (std::nothrow) StoredNumber[static_cast<std::size_t>(numbers.size())]);
    if (spare)
        sortByKey<4, 10>(begin, end, spare.get());
    else
        std::sort(begin, end);
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

/// The values of a selection by their position in sorted order, found without sorting.
///
/// Narrows a position down by counting, sixteen bits of the key at a time, until the values that
/// have all these bits in common are few enough to be gathered.
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

    double operator[](int index)
    {
        if (index < m_first || index >= m_first + static_cast<int>(m_gathered.size()))
            gatherAround(index);
        const auto found = m_gathered.begin() + (index - m_first);
        std::nth_element(m_gathered.begin(), found, m_gathered.end());
        return fromKey(*found);
    }

private:
    static const int stepBits = 16;
    static const int stepValues = 1 << stepBits;
    static const int mostGathered = 1 << 16;

    /// All values whose keys start with the same bits.
    struct Window
    {
        bool holds(quint64 key) const { return freeBits == 64 || key >> freeBits == start; }

        int freeBits = 64; ///< the number of bits that differ
        quint64 start = 0; ///< the common bits
        int first = 0;     ///< the position of the first value
        int size = 0;
        std::vector<int> counts; ///< the number of values by the next bits
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

    void gatherAround(int index)
    {
        Window window = m_all;
        while (window.size > mostGathered && window.freeBits > 0) {
            if (window.counts.empty())
                window.counts = countsBelow(window);
            quint64 digit = 0;
            while (index >= window.first + window.counts[digit])
                window.first += window.counts[digit++];
            window.size = window.counts[digit];
            window.freeBits -= stepBits;
            window.start = window.start << stepBits | digit;
            window.counts.clear();
        }
        if (window.freeBits > 0) {
            gather(window);
        } else {
            m_first = index; // all values are equal
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
    int m_first = 0;                 // the position of the first gathered value
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
