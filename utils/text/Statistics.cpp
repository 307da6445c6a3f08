#include "utils/text/Statistics.h"

#include "utils/text/Statistics_p.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Utils {

int lengthOf(const Selection &selection)
{
    int length = selection.size();
    forEachRun(selection, [&](const double *values, int count) {
        length -= static_cast<int>(std::count(values, values + count, Data::noValue));
    });
    return length;
}

// Sums are added in order, so each addition waits for the previous one. This latency determines the
// time, and everything else runs in parallel unless a branch is mispredicted. So holes are not
// skipped but added as 0.0, which does not change a sum that starts with 0.0.
template <typename Term>
static Sum sumUp(const Selection &selection, Term term)
{
    Sum result;
    forEachRun(selection, [&](const double *values, int count) {
        double sum = result.sum;
        quint64 holes = 0;
        for (int i = 0; i < count; ++i) {
            const quint64 mask = holeMask(values[i]);
            sum += fromBits(bitsOf(term(values[i])) & ~mask);
            holes -= mask;
        }
        result.sum = sum;
        result.count += count - static_cast<int>(holes);
    });
    return result;
}

Sum sumOf(const Selection &selection)
{
    return sumUp(selection, [](double value) { return value; });
}

Sum squaresOf(const Selection &selection, double mean)
{
    return sumUp(selection, [=](double value) { return (value - mean) * (value - mean); });
}

/// The first value that equals \p number, to distinguish -0.0 from 0.0.
static double firstEqualTo(double number, const Selection &selection)
{
    bool isFound = false;
    forEachRun(selection, [&](const double *values, int count) {
        const double *const end = values + count;
        const double *const found = isFound ? end : std::find(values, end, number);
        if (found != end) {
            number = *found;
            isFound = true;
        }
    });
    return number;
}

/// The smallest and largest of the values that are added, two at a time, each with its own pair of
/// ends.
class EndsOfPairs
{
public:
#ifdef KELMUTILS_SSE2
    void add(const double *values)
    {
        const __m128d pair = _mm_loadu_pd(values);
        const __m128d isHole = _mm_cmpeq_pd(pair, _mm_set1_pd(Data::noValue));
        const __m128d numbers = _mm_or_pd(pair, isHole); // a hole becomes NaN, which is ignored
        m_low = _mm_min_pd(numbers, m_low);
        m_high = _mm_max_pd(numbers, m_high);
        m_holes = _mm_sub_epi64(m_holes, _mm_castpd_si128(isHole));
    }

    void addTo(double &low, double &high, qint64 &holes) const
    {
        double ends[2];
        _mm_storeu_pd(ends, m_low);
        low = std::min({low, ends[0], ends[1]});
        _mm_storeu_pd(ends, m_high);
        high = std::max({high, ends[0], ends[1]});
        qint64 counts[2];
        _mm_storeu_si128(reinterpret_cast<__m128i *>(counts), m_holes);
        holes += counts[0] + counts[1];
    }

private:
    __m128d m_low = _mm_set1_pd(std::numeric_limits<double>::infinity());
    __m128d m_high = _mm_set1_pd(-std::numeric_limits<double>::infinity());
    __m128i m_holes = _mm_setzero_si128();
#else
    void add(const double *values)
    {
        for (int i = 0; i < 2; ++i) {
            const quint64 mask = holeMask(values[i]);
            const double number = fromBits(bitsOf(values[i]) | mask);
            m_low[i] = number < m_low[i] ? number : m_low[i];
            m_high[i] = number > m_high[i] ? number : m_high[i];
            m_holes -= static_cast<qint64>(mask);
        }
    }

    void addTo(double &low, double &high, qint64 &holes) const
    {
        low = std::min({low, m_low[0], m_low[1]});
        high = std::max({high, m_high[0], m_high[1]});
        holes += m_holes;
    }

private:
    double m_low[2] = {std::numeric_limits<double>::infinity(),
                       std::numeric_limits<double>::infinity()};
    double m_high[2] = {-std::numeric_limits<double>::infinity(),
                        -std::numeric_limits<double>::infinity()};
    qint64 m_holes = 0;
#endif
};

Ends endsOf(const Selection &selection)
{
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    qint64 holes = 0;
    forEachRun(selection, [&](const double *values, int count) {
        static const int ahead = 512;
        EndsOfPairs a;
        EndsOfPairs b;
        int i = 0;
        for (; i + 4 <= count; i += 4) {
            a.add(values + i);
            b.add(values + i + 2);
            if (i + ahead < count)
                prefetch(values + i + ahead);
        }
        for (; i < count; ++i) {
            const double withHole[] = {values[i], Data::noValue};
            a.add(withHole);
            --holes; // the one that was added here
        }
        a.addTo(low, high, holes);
        b.addTo(low, high, holes);
    });

    Ends ends;
    ends.count = selection.size() - static_cast<int>(holes);
    if (ends.count == 0)
        return ends;

    const bool isNumber = low <= high; // false if all are NaN
    ends.min = isNumber ? low : std::numeric_limits<double>::quiet_NaN();
    ends.max = isNumber ? high : std::numeric_limits<double>::quiet_NaN();
    if (ends.min == 0.0)
        ends.min = firstEqualTo(0.0, selection);
    if (ends.max == 0.0)
        ends.max = firstEqualTo(0.0, selection);
    return ends;
}

double sampleDeviation(const Sum &squares)
{
    // The variance times n instead of the sum itself: the last digits differ.
    const double n = squares.count;
    return squares.count < 2 ? 0.0 : std::sqrt(squares.mean() * n / (n - 1.0));
}

int Statistics::length(const Data::Array &array, const QList<int> &indices)
{
    return lengthOf(Selection(array, indices));
}

double Statistics::sum(const Data::Array &array, const QList<int> &indices)
{
    return sumOf(Selection(array, indices)).sum;
}

double Statistics::mean(const Data::Array &array, const QList<int> &indices)
{
    return sumOf(Selection(array, indices)).mean();
}

double Statistics::minimum(const Data::Array &array, const QList<int> &indices)
{
    return range(array, indices).min;
}

double Statistics::maximum(const Data::Array &array, const QList<int> &indices)
{
    return range(array, indices).max;
}

Data::Interval Statistics::range(const Data::Array &array, const QList<int> &indices)
{
    const Ends ends = endsOf(Selection(array, indices));
    const int both = Data::Interval::HasMin | Data::Interval::HasMax;
    return {ends.min, ends.max, ends.count > 0 ? both : 0};
}

double Statistics::variance(const Data::Array &array, const QList<int> &indices)
{
    const Selection selection(array, indices);
    return squaresOf(selection, sumOf(selection).mean()).mean();
}

double Statistics::standardDeviation(const Data::Array &array, const QList<int> &indices)
{
    const Selection selection(array, indices);
    return sampleDeviation(squaresOf(selection, sumOf(selection).mean()));
}

double Statistics::covariance(const Data::Array &a, const Data::Array &b, const QList<int> &indices)
{
    const Selection rowsA(a, indices);
    const Selection rowsB(b, indices);
    const double meanA = sumOf(rowsA).mean();
    const double meanB = sumOf(rowsB).mean();
    Sum products;
    forEachPair(rowsA, rowsB, [&](double valueA, double valueB) {
        products.sum += (valueA - meanA) * (valueB - meanB);
        ++products.count;
    });
    return products.mean();
}

double Statistics::coefficientCorrelation(const Data::Array &a, const Data::Array &b,
                                          const QList<int> &indices)
{
    if (!indices.isEmpty()) {
        const QVector<double> valuesA = reduce(a, indices);
        const QVector<double> valuesB = reduce(b, indices);
        return coefficientCorrelation({valuesA.constData(), quint64(valuesA.size())},
                                      {valuesB.constData(), quint64(valuesB.size())});
    }

    const double varianceA = variance(a);
    const double varianceB = variance(b);
    if (varianceA == 0.0 || varianceB == 0.0)
        return 0.0;

    return validate(covariance(a, b) / std::sqrt(varianceB * varianceA), 0.0);
}

bool Statistics::sumSquareInfo(const Data::Array &a, const Data::Array &b, double &total,
                               double &residual, double &regression, const QList<int> &indices)
{
    const Selection observed(a, indices);
    const Selection fitted(b, indices);
    if (observed.size() == 0 || fitted.size() == 0)
        return false;

    const double mean = sumOf(observed).mean();
    double totalSum = 0.0;
    double residualSum = 0.0;
    double regressionSum = 0.0;
    forEachPair(observed, fitted, [&](double valueA, double valueB) {
        totalSum += (valueA - mean) * (valueA - mean);
        residualSum += (valueA - valueB) * (valueA - valueB);
        regressionSum += (valueB - mean) * (valueB - mean);
    });
    total = totalSum;
    residual = residualSum;
    regression = regressionSum;
    return true;
}

double Statistics::coefficientMultDetermination(const Data::Array &a, const Data::Array &b,
                                                const QList<int> &indices)
{
    double total = 0.0;
    double residual = 0.0;
    double regression = 0.0;
    if (!sumSquareInfo(a, b, total, residual, regression, indices) || total == 0.0)
        return 0.0;

    return 1.0 - residual / total;
}

double Statistics::coefficientMultDeterminationAdjusted(const Data::Array &a, const Data::Array &b,
                                                        int parameters, const QList<int> &indices)
{
    const double n = std::min(length(a, indices), length(b, indices));
    const double freedom = n - parameters;
    if (freedom < 1.0)
        return 0.0;

    return 1.0 - (1.0 - coefficientMultDetermination(a, b, indices)) * (n - 1.0) / freedom;
}

double Statistics::residualSumSquare(const Data::Array &a, const Data::Array &b,
                                     const QList<int> &indices)
{
    double sum = 0.0;
    forEachPair(Selection(a, indices), Selection(b, indices), [&](double valueA, double valueB) {
        sum += (valueA - valueB) * (valueA - valueB);
    });
    return sum;
}

double Statistics::rmsValue(const Data::Array &a, const Data::Array &b, const QList<int> &indices)
{
    const double sum = residualSumSquare(a, b, indices);
    const int count = length(b, indices);
    return count < 1 ? sum : std::sqrt(sum / count);
}

bool Statistics::checkTol(double a, double b, double tolerance)
{
    return (std::abs(a) + 1.0) * tolerance > std::abs(a - b);
}

double Statistics::validate(double value, double fallback)
{
    return std::isfinite(value) ? value : fallback;
}

} // namespace Utils
