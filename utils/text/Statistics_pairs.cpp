#include "utils/text/Statistics.h"

#include "utils/text/Centre_p.h"
#include "utils/text/Statistics_p.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <vector>

namespace Utils {

static const double notANumber = std::numeric_limits<double>::quiet_NaN();

/// Calls \p visit with each pair of values whose weight is above 0, or NaN.
template <typename Visit>
static void forEachWeighted(const Selection &values, const Selection &weights, Visit visit)
{
    forEachPair(values, weights, [&](double value, double weight) {
        if (!(weight <= 0.0))
            visit(value, weight);
    });
}

namespace {

/// The mean of a column with weights. The weights are scaled, so that their products neither
/// overflow nor underflow.
struct Weighted
{
    Weighted(const Selection &values, const Selection &weights)
    {
        double largest = 0.0;
        bool areWeightsFinite = true;
        forEachWeighted(values, weights, [&](double value, double weight) {
            low = std::min(low, value);
            high = std::max(high, value);
            areValuesFinite &= std::isfinite(value);
            areWeightsFinite &= std::isfinite(weight);
            largest = std::max(largest, weight);
            ++count;
        });
        if (count == 0)
            return;
        scale = areWeightsFinite ? scaleFor(largest) : notANumber;
        PreciseSum weightSum;
        PreciseSum sum;
        forEachWeighted(values, weights, [&](double value, double weight) {
            weightSum.add(weight * scale);
            sum.add(weight * scale * value);
        });
        total = weightSum.value();
        mean = sum.value() / total;
        if (areValuesFinite && areWeightsFinite)
            mean = std::clamp(mean, low, high);
    }

    int count = 0;
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    bool areValuesFinite = true;
    double scale = 1.0;
    double total = 0.0; // of the scaled weights
    double mean = 0.0;
};

} // namespace

double Statistics::weightedMean(const Data::Array &array, const Data::Array &weights,
                                const QList<int> &indices)
{
    return Weighted(Selection(array, indices), Selection(weights, indices)).mean;
}

double Statistics::weightedStandardDeviation(const Data::Array &array, const Data::Array &weights,
                                             const QList<int> &indices)
{
    const Selection values(array, indices);
    const Selection valueWeights(weights, indices);
    const Weighted weighted(values, valueWeights);
    if (weighted.count < 2)
        return 0.0;
    const double reach = std::max(weighted.high - weighted.mean, weighted.mean - weighted.low);
    if (!weighted.areValuesFinite || !std::isfinite(reach)) // also for an infinite weight
        return notANumber;
    if (weighted.low == weighted.high)
        return 0.0;

    // The sum of the products of all pairs of weights. (total^2 - sum of squares) / 2 would be the
    // same, but without digits when one weight is much greater than the others.
    const double valueScale = scaleFor(reach);
    PreciseSum products;
    double before = 0.0;
    PreciseSum squares;
    PreciseSum distances;
    forEachWeighted(values, valueWeights, [&](double value, double unscaled) {
        const double weight = unscaled * weighted.scale;
        products.add(weight * before);
        before += weight;
        const double distance = (value - weighted.mean) * valueScale;
        squares.add(weight * distance * distance);
        distances.add(weight * distance);
    });
    const double distance = distances.value();
    const double square = squares.value() - distance * distance / weighted.total;
    const double variance = square * (weighted.total / (2.0 * products.value()));
    return std::sqrt(variance) / valueScale;
}

double Statistics::correlation(const Data::Array &a, const Data::Array &b,
                               const QList<int> &indices)
{
    const Selection rowsA(a, indices);
    const Selection rowsB(b, indices);
    Centre centreA;
    Centre centreB;
    forEachPair(rowsA, rowsB, [&](double valueA, double valueB) {
        centreA.add(valueA);
        centreB.add(valueB);
    });
    centreA.finish();
    centreB.finish();
    if (!centreA.isFinite() || !centreB.isFinite())
        return notANumber;
    if (centreA.count() < 2 || centreA.isConstant() || centreB.isConstant())
        return 0.0;

    PreciseSum sumA;
    PreciseSum sumB;
    PreciseSum squaresA;
    PreciseSum squaresB;
    PreciseSum products;
    forEachPair(rowsA, rowsB, [&](double valueA, double valueB) {
        const double distanceA = centreA.distanceOf(valueA);
        const double distanceB = centreB.distanceOf(valueB);
        sumA.add(distanceA);
        sumB.add(distanceB);
        squaresA.add(distanceA * distanceA);
        squaresB.add(distanceB * distanceB);
        products.add(distanceA * distanceB);
    });
    const double meanA = sumA.value() / centreA.count();
    const double meanB = sumB.value() / centreB.count();
    const double varianceA = squaresA.value() - meanA * sumA.value();
    const double varianceB = squaresB.value() - meanB * sumB.value();
    const double covariance = products.value() - meanA * sumB.value();
    return std::clamp(covariance / (std::sqrt(varianceA) * std::sqrt(varianceB)), -1.0, 1.0);
}

namespace {

/// A sum of values and their number.
struct Part
{
    void add(double value)
    {
        if (Data::isHole(value))
            return;
        sum.add(value);
        ++count;
    }

    PreciseSum sum;
    int count = 0;
};

} // namespace

/// The means of the \p width values from each row on, for the first \p means.size() rows.
///
/// The rows are divided into chunks of the width. So each window is the end of one chunk and the
/// start of the next, whose sums are extended row by row. Nothing is subtracted: an infinite value,
/// or one so large that it absorbs the digits of the others, has no effect on windows without it.
template <typename ValueAt>
static void computeMovingMeans(QVector<double> &means, qint64 width, ValueAt valueAt)
{
    std::vector<Part> ends(static_cast<std::size_t>(width));
    for (qint64 chunk = 0; chunk < means.size(); chunk += width) {
        Part end;
        for (qint64 i = width - 1; i >= 0; --i) {
            end.add(valueAt(chunk + i));
            ends[static_cast<std::size_t>(i)] = end;
        }
        Part start;
        const qint64 count = std::min(width, means.size() - chunk);
        for (qint64 i = 0; i < count; ++i) {
            Part window = ends[static_cast<std::size_t>(i)];
            window.sum.add(start.sum);
            window.count += start.count;
            means[static_cast<int>(chunk + i)] =
                window.count > 0 ? window.sum.value() / window.count : Data::noValue;
            start.add(valueAt(chunk + width + i));
        }
    }
}

QVector<double> Statistics::movingAverage(const Data::Array &array, int before, int after,
                                          const QList<int> &indices)
{
    try {
        const Selection selection(array, indices);
        const int size = selection.size();
        if (size == 0)
            return {};
        QVector<double> means(size);
        const qint64 rowsBefore = std::clamp(before, 0, size - 1);
        const qint64 rowsAfter = std::clamp(after, 0, size - 1);
        computeMovingMeans(means, rowsBefore + 1 + rowsAfter, [&](qint64 position) {
            const qint64 row = position - rowsBefore;
            double value = Data::noValue;
            return row < 0 || row >= size ? value
                                          : *selection.values(static_cast<int>(row), 1, &value);
        });
        return means;
    } catch (const std::bad_alloc &) {
        return {};
    }
}

} // namespace Utils
