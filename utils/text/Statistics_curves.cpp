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

static bool isSentOn(double value, double edge, double tolerance)
{
    return value > edge && std::abs(value - edge) > tolerance;
}

/// The largest value that does not continue after \p edge.
static double reachOf(double edge, double tolerance)
{
    const auto isKept = [=](quint64 key) { return !isSentOn(fromKey(key), edge, tolerance); };
    quint64 kept = keyOf(edge);
    quint64 sent = keyOf(std::numeric_limits<double>::infinity());
    const quint64 guess = keyOf(edge + tolerance);
    if (guess > kept + 2 && isKept(guess - 2))
        kept = guess - 2;
    if (guess + 2 < sent && !isKept(guess + 2))
        sent = guess + 2;
    while (sent - kept > 1) {
        const quint64 middle = kept + (sent - kept) / 2;
        (isKept(middle) ? kept : sent) = middle;
    }
    return fromKey(kept);
}

/// The bins of a histogram. A value belongs into the first bin whose edge does not send it on to
/// the next.
class Bins
{
public:
    /// The last edge sends no value on. \p first is the approximate distance of the first bin from
    /// \p low, in bins.
    Bins(const QList<double> &edges, double low, double width, int first, double tolerance)
        : m_low(low), m_perStep(steps / width), m_before(static_cast<double>(first) * steps),
          m_lastPosition((edges.size() - 0.5) * steps)
    {
        for (int i = 0; i < edges.size() - 1; ++i)
            m_reaches.push_back(reachOf(edges[i], tolerance));
        m_reaches.push_back(std::numeric_limits<double>::infinity());
        m_isEven = areStepsEven();
    }

    /// The index of the bin of \p value. NaN is in the last bin.
    int indexOf(double value) const
    {
        if (m_isEven)
            return static_cast<int>(corrected(positionOf(value) / steps, value));
        if (std::isnan(value))
            return static_cast<int>(m_reaches.size()) - 1;
        const auto found = std::lower_bound(m_reaches.begin(), m_reaches.end(), value);
        return static_cast<int>(found - m_reaches.begin());
    }

    /// Adds the number of \p values in each bin to \p found.
    void count(const double *values, int count, std::vector<int> &found) const
    {
        static const int few = 32; // positions in the first-level cache
        static const int ahead = 512;
        int *const counts = found.data();
        int i = 0;
        for (; m_isEven && i + few <= count; i += few) {
            for (int j = 0; j < few && i + few + ahead <= count; j += 8)
                prefetch(values + i + ahead + j);
            // A separate loop, so that compilers can vectorize it.
            quint32 positions[few];
            quint32 near = 0;
            for (int j = 0; j < few; ++j) {
                positions[j] = positionOf(values[i + j]);
                near |= isNearEdge(positions[j]);
            }
            if (near == 0) {
                for (const quint32 position : positions)
                    ++counts[position / steps];
            } else {
                for (int j = 0; j < few; ++j)
                    ++counts[corrected(positions[j] / steps, values[i + j])];
            }
        }
        for (; i < count; ++i)
            ++counts[indexOf(values[i])];
    }

private:
    // Bins are divided into steps, so few that all positions fit into an int.
    static const quint32 steps = 2048;
    static const quint32 nearSteps = 2; // to an edge, where tolerance and rounding decide

    quint32 positionOf(double value) const
    {
        const double position = (value - m_low) * m_perStep - m_before;
        return static_cast<quint32>(
            static_cast<int>(std::max(std::min(m_lastPosition, position), m_firstPosition)));
    }

    static bool isNearEdge(quint32 position)
    {
        return (position + nearSteps) % steps < 2 * nearSteps;
    }

    quint32 corrected(quint32 index, double value) const
    {
        while (index > 0 && value <= m_reaches[index - 1])
            --index;
        while (value > m_reaches[index])
            ++index;
        return index;
    }

    // Positions ascend with the values. So when the positions of the values at each edge are near
    // this edge, all other values are in the bin of their position. This is not the case when edges
    // are so close that many of them are rounded to one, or when the bins start at an infinite
    // value.
    bool areStepsEven() const
    {
        for (quint32 i = 1; i < m_reaches.size(); ++i) {
            const double reach = m_reaches[i - 1];
            const quint32 below = positionOf(reach);
            const quint32 above = positionOf(std::nextafter(reach, m_reaches.back()));
            if (below >= i * steps + nearSteps || above < i * steps - nearSteps)
                return false;
        }
        return true;
    }

    std::vector<double> m_reaches; // the largest value of each bin
    double m_low;
    double m_perStep;
    double m_before;
    // The middle of the first and the last bin: all values beyond are in these bins. Both are
    // members because compilers generate worse code for the loop in count() if one is a constant.
    double m_firstPosition = 0.5 * steps;
    double m_lastPosition;
    bool m_isEven;
};

/// The largest finite value, or -infinity when there is none.
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

    // A value is sent on from edge to edge, so its bin does not depend on the previous values, and
    // the largest value opens as many bins as all values together. With a width of zero this would
    // never end.
    const double largest = largestFinite(selection, ends);
    while (width > 0.0 && opened.size() < maxBins && isSentOn(largest, opened.last(), tolerance))
        openNext();

    const Bins all(opened, low, width, before, tolerance);
    std::vector<int> found(static_cast<size_t>(opened.size()));
    forEachRun(selection,
               [&](const double *values, int count) { all.count(values, count, found); });
    // Holes were counted like numbers, which is faster than testing for them.
    found[all.indexOf(Data::noValue)] -= selection.size() - ends.count;

    while (before + opened.size() < wanted) {
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
