#include "utils/text/Statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace Utils {

using Data::isHole;

static const double twoPi = 6.283185307179586;
static const int maxBins = 1000000; // 16 MB of counts and edges

// How many values are looked at in one go: short enough to stay in the first cache when they had to
// be gathered.
static const int runLength = 1024;

/// What a call looks at: a column as it lies there, or the rows that a list of indices names.
class Selection
{
public:
    Selection(const Data::Array &array, const QList<int> &indices)
        : m_data(array.data), m_rows(rowsOf(array)), m_indices(indices)
    {
        const bool isNone = indices.size() == 1 && indices.first() < 0;
        const bool isNamed = !indices.isEmpty() && m_rows > 0;
        m_size = isNone ? 0 : isNamed ? indices.size() : m_rows;
    }

    int size() const { return m_size; }

    /// The \p count values from number \p first on, gathered in \p buffer where they do not lie
    /// side by side.
    const double *values(int first, int count, double *buffer) const
    {
        if (m_indices.isEmpty())
            return m_data + first;

        for (int i = 0; i < count; ++i) {
            const int index = m_indices.at(first + i);
            buffer[i] = index >= 0 && index < m_rows ? m_data[index] : Data::noValue;
        }
        return buffer;
    }

    static int rowsOf(const Data::Array &array)
    {
        return array.data ? std::max(static_cast<qint32>(array.size), 0) : 0;
    }

private:
    const double *m_data;
    int m_rows;
    const QList<int> &m_indices;
    int m_size;
};

/// Calls \p look with a pointer to values and their count until all were shown, holes as well.
template <typename Look>
static void forEachRun(const Selection &selection, Look look)
{
    double buffer[runLength];
    for (qint64 first = 0; first < selection.size(); first += runLength) {
        const int begin = static_cast<int>(first);
        const int count = std::min(runLength, selection.size() - begin);
        look(selection.values(begin, count, buffer), count);
    }
}

/// Calls \p look with each value that is no hole.
template <typename Look>
static void forEachValue(const Selection &selection, Look look)
{
    forEachRun(selection, [&](const double *values, int count) {
        for (int i = 0; i < count; ++i) {
            if (!isHole(values[i]))
                look(values[i]);
        }
    });
}

/// Calls \p look with each pair of values without a hole, as far as the shorter selection goes.
template <typename Look>
static void forEachPair(const Selection &a, const Selection &b, Look look)
{
    double bufferA[runLength];
    double bufferB[runLength];
    const int size = std::min(a.size(), b.size());
    for (qint64 first = 0; first < size; first += runLength) {
        const int begin = static_cast<int>(first);
        const int count = std::min(runLength, size - begin);
        const double *valuesA = a.values(begin, count, bufferA);
        const double *valuesB = b.values(begin, count, bufferB);
        for (int i = 0; i < count; ++i) {
            if (!isHole(valuesA[i]) && !isHole(valuesB[i]))
                look(valuesA[i], valuesB[i]);
        }
    }
}

struct Sum
{
    double sum = 0.0;
    int count = 0;

    double mean() const { return count > 0 ? sum / count : 0.0; }
};

static Sum sumOf(const Selection &selection)
{
    Sum result;
    forEachValue(selection, [&](double value) {
        result.sum += value;
        ++result.count;
    });
    return result;
}

static Sum squaresOf(const Selection &selection, double mean)
{
    Sum result;
    forEachValue(selection, [&](double value) {
        result.sum += (value - mean) * (value - mean);
        ++result.count;
    });
    return result;
}

static double sampleDeviation(const Sum &squares)
{
    // The variance, times n, and not the bare sum: the last digits differ.
    const double n = squares.count;
    return squares.count < 2 ? 0.0 : std::sqrt(squares.mean() * n / (n - 1.0));
}

/// Whether \p left sorts before \p right, by an order that tells all but NaNs apart.
static bool isBefore(double left, double right)
{
    if (std::isnan(left) || std::isnan(right))
        return !std::isnan(left) && std::isnan(right);
    return left < right || (left == right && std::signbit(left) && !std::signbit(right));
}

static QVector<double> reduced(const Selection &selection)
{
    QVector<double> values;
    forEachValue(selection, [&](double value) { values.append(value); });
    return values;
}

static QVector<double> sorted(const Selection &selection)
{
    QVector<double> values = reduced(selection);
    std::sort(values.begin(), values.end(), isBefore);
    return values;
}

static double between(double a, double b) { return (a + b) * 0.5; }

int Statistics::length(const Data::Array &array, const QList<int> &indices)
{
    return sumOf(Selection(array, indices)).count;
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
    Data::Interval ends;
    forEachValue(Selection(array, indices), [&](double value) {
        if (ends.flags == 0 || value < ends.min || std::isnan(ends.min))
            ends.min = value;
        if (ends.flags == 0 || value > ends.max || std::isnan(ends.max))
            ends.max = value;
        ends.flags = Data::Interval::HasMin | Data::Interval::HasMax;
    });
    return ends;
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

double Statistics::median(const Data::Array &array, const QList<int> &indices)
{
    const QVector<double> s = sorted(Selection(array, indices));
    if (s.isEmpty())
        return 0.0;

    const int h = s.size() / 2;
    return s.size() % 2 == 1 ? s[h] : between(s[h], s[h - 1]);
}

void Statistics::quartiles(const Data::Array &array, double &minimum, double &lower, double &median,
                           double &upper, double &maximum, const QList<int> &indices)
{
    const QVector<double> s = sorted(Selection(array, indices));
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
    const qint64 n = std::min(length(a, indices), length(b, indices));
    const qint64 freedom = n - parameters;
    if (freedom < 1)
        return 0.0;

    return 1.0 - (1.0 - coefficientMultDetermination(a, b, indices)) * (n - 1) / freedom;
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
        QVector<double> values = sorted(Selection(array, indices));
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

double Statistics::interpolate(const Data::Array &x, int index, const Data::Array &xs,
                               const Data::Array &ys)
{
    if (index < 0 || index >= Selection::rowsOf(x))
        return Data::noValue;

    const double v = x.data[index];
    const int knots = std::min(Selection::rowsOf(xs), Selection::rowsOf(ys));
    if (index < knots && xs.data[index] == v)
        return ys.data[index];

    for (int i = 0; i < knots - 1; ++i) {
        const double left = xs.data[i];
        const double right = xs.data[i + 1];
        if (v >= left && right >= v) {
            if (left == right)
                return ys.data[i];
            return (v - left) / (right - left) * (ys.data[i + 1] - ys.data[i]) + ys.data[i];
        }
    }
    return Data::noValue;
}

int Statistics::histogramData(const Data::Array &array, int bins, QList<int> &counts,
                              QList<double> &edges, const QList<int> &indices,
                              const Data::Interval &interval)
{
    const Selection selection(array, indices);
    const Sum sum = sumOf(selection);
    if (sum.count < 2)
        return 0;

    const Data::Interval data = range(array, indices);
    const bool isGiven = interval.flags != 0 && interval.min < interval.max;
    const double low = isGiven ? interval.min : data.min;
    const double high = isGiven ? interval.max : data.max;

    const int wanted = std::min(bins, maxBins);
    const double width = bins < 2 ? 3.5 * sampleDeviation(squaresOf(selection, sum.mean())) /
                                        std::cbrt(double(sum.count))
                                  : (high - low) / wanted;
    const double tolerance = std::min(std::abs(high * 0.0001), std::abs(width * 0.0001));

    int opened = 0;
    const auto open = [&](double edge) {
        counts.append(0);
        edges.append(edge);
        ++opened;
    };
    const auto openNext = [&] { open((counts.size() + 1) * width + low); };

    open(low + width);
    for (const double value : sorted(selection)) {
        const bool canBeReached = width > 0.0 && std::isfinite(value);
        while (value > edges.last() && std::abs(value - edges.last()) > tolerance && canBeReached &&
               opened < maxBins)
            openNext();
        ++counts.last();
    }
    while (counts.size() < wanted && opened < maxBins)
        openNext();
    return counts.size();
}

void Statistics::distributionData(const Data::Array &array, int bins, QVector<double> &x,
                                  QVector<double> &y, DistributionScale scale,
                                  QVector<double> *markers, const QList<int> &indices)
{
    const Selection selection(array, indices);
    const Sum sum = sumOf(selection);
    const double mean = sum.mean();
    const Sum squares = squaresOf(selection, mean);
    const double variance = squares.mean() == 0.0 ? 1.0 : squares.mean();
    const double deviation = sampleDeviation(squares);
    const int barCount = std::min(bins, maxBins);

    double peak = 1.0;
    if (scale == DensityScale) {
        peak = 1.0 / std::sqrt(variance * twoPi);
    } else if (scale == CountScale) {
        const Data::Interval ends = range(array, indices);
        peak = selection.size() * ((ends.max - ends.min) / barCount) / std::sqrt(variance * twoPi);
    }

    const auto height = [&](double at) {
        return std::exp((at - mean) * (at - mean) / (-2.0 * variance)) * peak;
    };
    const int intervals = std::max(5 * std::max(barCount, 0), 50);
    const double start = mean - 3.0 * deviation;
    const double width = 6.0 * deviation / intervals;
    for (int i = 0; i <= intervals; ++i) {
        x.append(i * width + start);
        y.append(height(x.last()));
    }
    if (markers) {
        for (const double at : {mean, mean - deviation, mean + deviation, mean - 2.0 * deviation,
                                mean + 2.0 * deviation})
            *markers << at << height(at);
    }
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
