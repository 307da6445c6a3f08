#include "utils/text/Statistics.h"

#include "utils/text/Statistics_p.h"

#include <cmath>
#include <limits>
#include <vector>

namespace Utils {

static const double twoPi = 6.283185307179586;

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

/// The bins of a histogram, of which a value belongs into the first whose edge does not send it on.
class Bins
{
public:
    /// The last of \p edges sends nothing on. \p first is how far the first bin is away from \p
    /// low, in bins, as far as is known: a guess that is wrong costs time only.
    Bins(const QList<double> &edges, double low, double width, int first, double tolerance)
        : m_low(low), m_perWidth(1.0 / width), m_first(first), m_last(edges.size() - 1),
          m_tolerance(tolerance)
    {
        // Fences stand below each bin and above the last.
        m_fences.push_back(-std::numeric_limits<double>::infinity());
        m_fences.insert(m_fences.end(), edges.begin(), edges.end() - 1);
        m_fences.push_back(std::numeric_limits<double>::infinity());
    }

    int indexOf(double value) const
    {
        // Not a number ends up at 0 here.
        const double guess = std::max(0.0, (value - m_low) * m_perWidth - m_first);
        const int index = guess < m_last ? static_cast<int>(guess) : m_last;
        return isIn(value, index) ? index : find(value, index);
    }

    static bool isSentOn(double value, double edge, double tolerance)
    {
        return value > edge && std::abs(value - edge) > tolerance;
    }

private:
    /// True only when it is sure. Infinite values and NaN are told by find().
    bool isIn(double value, int index) const
    {
        return value - m_fences[index] > m_tolerance && value - m_fences[index + 1] <= m_tolerance;
    }

    // Values that lie on the edges, as whole numbers do, are next to where they are guessed.
    int find(double value, int guess) const
    {
        if (std::isnan(value))
            return m_last;
        if (guess > 0 && isIn(value, guess - 1))
            return guess - 1;
        if (guess < m_last && isIn(value, guess + 1))
            return guess + 1;

        const auto edges = m_fences.begin() + 1;
        const auto sendsOn = [&](double edge) { return isSentOn(value, edge, m_tolerance); };
        return static_cast<int>(std::partition_point(edges, edges + m_last, sendsOn) - edges);
    }

    std::vector<double> m_fences;
    double m_low;
    double m_perWidth;
    int m_first;
    int m_last;
    double m_tolerance;
};

/// The largest value that is finite, and what is below every other when there is none.
static double largestFinite(const Selection &selection, const Ends &ends)
{
    if (std::isfinite(ends.max))
        return ends.max;

    double largest = -std::numeric_limits<double>::infinity();
    forEachValue(selection, [&](double value) {
        if (std::isfinite(value))
            largest = std::max(largest, value);
    });
    return largest;
}

int Statistics::histogramData(const Data::Array &array, int bins, QList<int> &counts,
                              QList<double> &edges, const QList<int> &indices,
                              const Data::Interval &interval)
{
    const Selection selection(array, indices);
    const Ends ends = endsOf(selection);
    if (ends.count < 2)
        return 0;

    const bool isGiven = interval.flags != 0 && interval.min < interval.max;
    const double low = isGiven ? interval.min : ends.min;
    const double high = isGiven ? interval.max : ends.max;
    const int wanted = std::min(bins, maxBins);
    const double width = bins < 2 ? 3.5 * standardDeviation(array, indices) /
                                        std::cbrt(static_cast<double>(ends.count))
                                  : (high - low) / wanted;
    const double tolerance = std::min(std::abs(high * 0.0001), std::abs(width * 0.0001));

    const int before = counts.size();
    QList<double> opened{low + width};
    const auto openNext = [&] { opened.append((before + opened.size() + 1) * width + low); };

    // A value goes on from edge to edge, so its bin does not depend on the values before it, and
    // the largest opens as many bins as all of them together. Without a width there is no end.
    const double largest = largestFinite(selection, ends);
    while (width > 0.0 && opened.size() < maxBins &&
           Bins::isSentOn(largest, opened.last(), tolerance))
        openNext();

    const Bins all(opened, low, width, before, tolerance);
    std::vector<int> found(static_cast<size_t>(opened.size()));
    forEachValue(selection, [&](double value) { ++found[all.indexOf(value)]; });

    while (before + opened.size() < wanted && opened.size() < maxBins) {
        openNext();
        found.push_back(0);
    }
    for (const int count : found)
        counts.append(count);
    edges += opened;
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
        const Ends ends = endsOf(selection);
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

} // namespace Utils
