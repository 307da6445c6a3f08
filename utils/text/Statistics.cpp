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

// Each addition waits for the one before, as sums are added up in order: that is the time it takes,
// and all else fits in beside it as long as no branch is guessed wrong. So holes are not passed
// over but added as 0.0, which changes no sum that began as 0.0.
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

/// The first of the values that equal \p number, which tells -0.0 from 0.0.
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

/// The ends of the values that are shown to it, each by itself: four take turns, so that none waits
/// for the other.
struct Lane
{
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    quint64 holes = 0;

    void look(double value)
    {
        const quint64 mask = holeMask(value);
        const double number = fromBits(bitsOf(value) | mask); // a hole is NaN, which is passed over
        low = number < low ? number : low;
        high = number > high ? number : high;
        holes -= mask;
    }

    Lane operator+(const Lane &other) const
    {
        return {std::min(low, other.low), std::max(high, other.high), holes + other.holes};
    }
};

Ends endsOf(const Selection &selection)
{
    Lane all;
    forEachRun(selection, [&](const double *values, int count) {
        Lane a;
        Lane b;
        Lane c;
        Lane d;
        int i = 0;
        for (; i + 4 <= count; i += 4) {
            a.look(values[i]);
            b.look(values[i + 1]);
            c.look(values[i + 2]);
            d.look(values[i + 3]);
        }
        for (; i < count; ++i)
            a.look(values[i]);
        all = all + (a + b) + (c + d);
    });

    Ends ends;
    ends.count = selection.size() - static_cast<int>(all.holes);
    if (ends.count == 0)
        return ends;

    const bool isNaN = all.low > all.high;
    ends.min = isNaN ? std::numeric_limits<double>::quiet_NaN() : all.low;
    ends.max = isNaN ? std::numeric_limits<double>::quiet_NaN() : all.high;
    if (ends.min == 0.0)
        ends.min = firstEqualTo(0.0, selection);
    if (ends.max == 0.0)
        ends.max = firstEqualTo(0.0, selection);
    return ends;
}

double sampleDeviation(const Sum &squares)
{
    // The variance, times n, and not the bare sum: the last digits differ.
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

bool Statistics::checkTol(double a, double b, double tolerance)
{
    return (std::abs(a) + 1.0) * tolerance > std::abs(a - b);
}

double Statistics::validate(double value, double fallback)
{
    return std::isfinite(value) ? value : fallback;
}

} // namespace Utils
