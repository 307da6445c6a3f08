#include "utils/text/RunningStatistics.h"

#include "utils/text/Statistics_p.h"

#include <cmath>
#include <limits>

namespace Utils {

/// Adds \p term to a sum of two numbers. The second one has the digits that do not fit into the
/// first one.
static void addTo(double &sum, double &rest, double term)
{
    const double next = sum + term;
    if (!std::isfinite(next)) { // it has no error
        sum = next;
        return;
    }
    const double added = next - sum;
    const double error = (sum - (next - added)) + (term - added);
    const double small = rest + error;
    sum = next + small;
    rest = small - (sum - next);
}

void RunningStatistics::moveMean(double step) { addTo(m_mean, m_meanRest, step); }

void RunningStatistics::addEnds(double minimum, double maximum)
{
    if (m_count == 0 || minimum < m_minimum || std::isnan(m_minimum))
        m_minimum = minimum;
    if (m_count == 0 || maximum > m_maximum || std::isnan(m_maximum))
        m_maximum = maximum;
}

// This is Welford's recurrence. Where the mean is large compared to the distances, its steps would
// be lost in rounding, therefore the mean consists of two numbers.
void RunningStatistics::add(double value)
{
    if (Data::isHole(value))
        return;
    addEnds(value, value);
    ++m_count;
    if (!std::isfinite(value)) {
        m_infinite += value;
        return;
    }
    ++m_finite;
    const double before = (value - m_mean) - m_meanRest;
    moveMean(before / static_cast<double>(m_finite));
    const double after = (value - m_mean) - m_meanRest;
    addTo(m_squares, m_squaresRest, before * after);
}

void RunningStatistics::add(const Data::Array &array, const QList<int> &indices)
{
    forEachValue(Selection(array, indices), [this](double value) { add(value); });
}

void RunningStatistics::merge(const RunningStatistics &other)
{
    const RunningStatistics added = other; // which may be this object
    if (added.m_count == 0)
        return;
    addEnds(added.m_minimum, added.m_maximum);
    m_count += added.m_count;
    m_infinite += added.m_infinite;
    if (added.m_finite == 0)
        return;
    if (m_finite == 0) {
        // The distance from a mean of 0 would be rounded to one number.
        m_finite = added.m_finite;
        m_mean = added.m_mean;
        m_meanRest = added.m_meanRest;
        m_squares = added.m_squares;
        m_squaresRest = added.m_squaresRest;
        return;
    }
    const double countBefore = static_cast<double>(m_finite);
    m_finite += added.m_finite;
    const double part = static_cast<double>(added.m_finite) / static_cast<double>(m_finite);
    const double distance = (added.m_mean - m_mean) + (added.m_meanRest - m_meanRest);
    moveMean(distance * part);
    addTo(m_squares, m_squaresRest, added.m_squares);
    addTo(m_squares, m_squaresRest, added.m_squaresRest);
    addTo(m_squares, m_squaresRest, distance * distance * (countBefore * part));
}

double RunningStatistics::mean() const { return m_infinite == 0.0 ? m_mean : m_infinite; }

double RunningStatistics::squares() const
{
    return m_infinite == 0.0 ? m_squares : std::numeric_limits<double>::quiet_NaN();
}

double RunningStatistics::variance() const
{
    return m_count == 0 ? 0.0 : squares() / static_cast<double>(m_count);
}

double RunningStatistics::standardDeviation() const
{
    return m_count < 2 ? 0.0 : std::sqrt(squares() / static_cast<double>(m_count - 1));
}

double RunningStatistics::minimum() const { return m_minimum; }

double RunningStatistics::maximum() const { return m_maximum; }

} // namespace Utils
