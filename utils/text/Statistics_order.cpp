#include "utils/text/Statistics.h"

#include "utils/base/RadixSort_p.h"
#include "utils/base/Simd_p.h"
#include "utils/text/Statistics_p.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
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

/// The numbers from one to another one, neither of which is NaN.
class NumberRange
{
public:
    /// The number of values that are examined at a time: they stay in the first-level cache.
    static constexpr int pieceSize = 1024;

    NumberRange(double low, double high) : m_low(low), m_high(high) {}

    /// Copies those of \p count values, at most pieceSize, that are in the range to \p inside, and
    /// adds the number of smaller ones to \p below. Returns the number of copied values.
    int copy(const double *values, int count, double *inside, qint64 &below) const
    {
        // Most groups of eight have no value in the range. Nothing here depends on a branch that
        // cannot be predicted.
        std::array<int, pieceSize / groupSize> groups;
        std::size_t groupCount = 0;
        int first = 0;
        for (; first + groupSize <= count; first += groupSize) {
            groups[groupCount] = first;
            groupCount += anyInside(values + first, below);
        }
        double *end = inside;
        const auto copyIfInside = [&](double value) {
            *end = value;
            end += (value >= m_low) & (value <= m_high);
        };
        for (std::size_t i = 0; i < groupCount; ++i)
            std::for_each_n(values + groups[i], static_cast<int>(groupSize), copyIfInside);
        for (; first < count; ++first) {
            below += values[first] < m_low;
            copyIfInside(values[first]);
        }
        return static_cast<int>(end - inside);
    }

private:
    static constexpr int groupSize = 8;

    /// Whether one of eight values is in the range. Adds the number of smaller ones to \p below.
    bool anyInside(const double *values, qint64 &below) const
    {
#ifdef KELMUTILS_SSE2
        const __m128d low = _mm_set1_pd(m_low);
        const __m128d high = _mm_set1_pd(m_high);
        __m128d isAnyInside = _mm_setzero_pd();
        __m128i count = _mm_setzero_si128();
        for (int i = 0; i < groupSize; i += 2) {
            const __m128d pair = _mm_loadu_pd(values + i);
            const __m128d isBelow = _mm_cmplt_pd(pair, low);
            const __m128d isInside = _mm_andnot_pd(isBelow, _mm_cmple_pd(pair, high));
            count = _mm_sub_epi64(count, _mm_castpd_si128(isBelow));
            isAnyInside = _mm_or_pd(isAnyInside, isInside);
        }
        qint64 counts[2];
        _mm_storeu_si128(reinterpret_cast<__m128i *>(counts), count);
        below += counts[0] + counts[1];
        return _mm_movemask_pd(isAnyInside) != 0;
#else
        bool isAnyInside = false;
        for (int i = 0; i < groupSize; ++i) {
            below += values[i] < m_low;
            isAnyInside |= (values[i] >= m_low) & (values[i] <= m_high);
        }
        return isAnyInside;
#endif
    }

    const double m_low;
    const double m_high;
};

/// The values of a selection by their position in sorted order, found without sorting.
///
/// A sample tells between which two values a position is, nearly always. One pass counts the values
/// below them and gathers those between them. When the sample misleads, or when very many values
/// are equal, the position is narrowed down by counting, sixteen bits of the key at a time, until
/// the values that have all these bits in common are few enough to be gathered. Without memory, it
/// is narrowed down one bit at a time.
class Ranking
{
public:
    explicit Ranking(const Selection &selection) : m_selection(selection)
    {
        m_all.size = lengthOf(selection);
    }

    int size() const { return m_all.size; }

    double operator[](int index)
    {
        try {
            if (!isGathered(index))
                gatherValues(index);
        } catch (const std::bad_alloc &) {
            m_gathered.clear();
            return fromKey(keyWithoutMemory(index));
        }
        const auto found = m_gathered.begin() + (index - m_first);
        std::nth_element(m_gathered.begin(), found, m_gathered.end());
        return fromKey(*found);
    }

private:
    static constexpr int stepBits = 16;
    static constexpr int stepValues = 1 << stepBits;
    static constexpr int mostGathered = 1 << 16;
    static constexpr int mostSampled = 1 << 15;

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

    bool isGathered(int index) const
    {
        return index >= m_first && index < m_first + static_cast<int>(m_gathered.size());
    }

    /// Gathers values among which the one at \p index is.
    void gatherValues(int index)
    {
        if (m_selection.size() <= mostGathered) {
            gather(m_all);
            return;
        }
        m_isSampleUsed = m_isSampleUsed && gatherBySample(index) && isGathered(index);
        if (!m_isSampleUsed)
            gatherAround(index);
    }

    quint64 keyWithoutMemory(int index) const
    {
        quint64 found = 0;
        for (int bit = 63; bit >= 0; --bit) {
            const quint64 next = found | quint64(1) << bit;
            int below = 0;
            forEachValue(m_selection, [&](double value) { below += keyOf(value) < next; });
            if (below <= index)
                found = next;
        }
        return found;
    }

    /// Takes one value of each stretch of the selection, at a random position, because values may
    /// repeat at regular distances.
    void takeSample()
    {
        const int stretch = m_selection.size() / std::min(mostSampled, m_selection.size() / 16);
        quint32 random = 1;
        double buffer[1];
        m_sample.reserve(static_cast<std::size_t>(m_selection.size() / stretch));
        for (int first = 0; first <= m_selection.size() - stretch; first += stretch) {
            random = random * 1664525u + 1013904223u;
            const int offset = static_cast<int>((quint64(random) * quint32(stretch)) >> 32);
            const double value = *m_selection.values(first + offset, 1, buffer);
            if (!Data::isHole(value))
                m_sample.push_back(keyOf(value));
        }
    }

    quint64 sampled(int index)
    {
        const auto found = m_sample.begin() + index;
        std::nth_element(m_sample.begin(), found, m_sample.end());
        return *found;
    }

    /// Gathers the values around \p index as guessed from a sample. False when that does not help.
    bool gatherBySample(int index)
    {
        if (m_sample.empty())
            takeSample();
        const int count = static_cast<int>(m_sample.size());
        if (count == 0)
            return false;
        // Four standard deviations of the position of a median
        const int margin = static_cast<int>(2 * std::sqrt(count)) + 1;
        const int centre = static_cast<int>(qint64(index) * count / m_all.size);
        const double infinity = std::numeric_limits<double>::infinity();
        const double low = centre < margin ? -infinity : fromKey(sampled(centre - margin));
        double high = centre + margin < count ? fromKey(sampled(centre + margin)) : infinity;
        if (std::isnan(high))
            high = infinity;
        // Holes would count as smaller values otherwise.
        return low < Data::noValue && gatherBetween(low, high);
    }

    /// Gathers the values from \p low to \p high. False when they are too many.
    bool gatherBetween(double low, double high)
    {
        const std::size_t most = static_cast<std::size_t>(m_selection.size()) / 8;
        const NumberRange range(low, high);
        double inside[NumberRange::pieceSize + 1]; // with room to write the next one
        qint64 below = 0;
        m_gathered.clear();
        forEachRun(m_selection, [&](const double *values, int count) {
            const double *const end = values + count;
            while (values != end && m_gathered.size() <= most) {
                const int size =
                    static_cast<int>(std::min<std::ptrdiff_t>(range.pieceSize, end - values));
                const int found = range.copy(values, size, inside, below);
                for (int i = 0; i < found; ++i) {
                    if (!Data::isHole(inside[i]))
                        m_gathered.push_back(keyOf(inside[i]));
                }
                values += size;
            }
        });
        m_first = static_cast<int>(below);
        return m_gathered.size() <= most;
    }

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
        if (m_all.counts.empty())
            m_all.counts = countsBelow(m_all);
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
    std::vector<quint64> m_sample;   // keys
    bool m_isSampleUsed = true;      // until it misleads
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

/// The number at \p part of the distance from \p a to \p b, which is not below \p a.
static double interpolated(double a, double b, double part)
{
    if (part == 0.0 || a == b)
        return a;
    // The difference of two numbers may be too large for a double, and infinity has none.
    if (std::signbit(a) != std::signbit(b) || !std::isfinite(a))
        return a * (1.0 - part) + b * part;
    return a + (b - a) * part;
}

double Statistics::percentile(const Data::Array &array, double percent, const QList<int> &indices)
{
    if (!(percent >= 0.0 && percent <= 100.0))
        return Data::noValue;
    const Selection selection(array, indices);
    Ranking s(selection);
    if (s.size() == 0)
        return 0.0;

    // Divided as late as possible: 3.6 - 3 is not 0.6.
    const double hundredfold = (s.size() - 1) * percent;
    const double rest = std::fmod(hundredfold, 100.0);
    const int index = static_cast<int>(std::lround((hundredfold - rest) / 100.0));
    const double lower = s[index];
    return index + 1 == s.size() ? lower : interpolated(lower, s[index + 1], rest / 100.0);
}

double Statistics::medianAbsoluteDeviation(const Data::Array &array, const QList<int> &indices)
{
    const Selection selection(array, indices);
    const std::ptrdiff_t size = lengthOf(selection);
    if (size == 0)
        return 0.0;
    const std::unique_ptr<quint64[]> keys(new (std::nothrow)
                                              quint64[static_cast<std::size_t>(size)]);
    if (!keys)
        return Data::noValue;

    const double centre = median(array, indices);
    quint64 *end = keys.get();
    forEachValue(selection, [&](double value) { *end++ = keyOf(std::abs(value - centre)); });
    quint64 *const middle = keys.get() + size / 2;
    std::nth_element(keys.get(), middle, end);
    const double upper = fromKey(*middle);
    return size % 2 == 1 ? upper : between(fromKey(*std::max_element(keys.get(), middle)), upper);
}

double Statistics::robustDeviation(const Data::Array &array, const QList<int> &indices)
{
    // 1 / (the upper quartile of the standard normal distribution)
    static const double deviationsPerMedian = 1.482602218505602;
    const double deviation = medianAbsoluteDeviation(array, indices);
    return Data::isHole(deviation) ? deviation : deviation * deviationsPerMedian;
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
