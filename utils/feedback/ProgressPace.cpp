#include "utils/feedback/ProgressPace_p.h"

#include <algorithm>

namespace Utils {

ProgressPace::ProgressPace(qint64 now) : m_time(now) {}

void ProgressPace::resume(qint64 now, double count)
{
    m_time = now;
    m_count = count;
}

void ProgressPace::report(qint64 now, double count)
{
    if (count <= m_count)
        return; // the time counts for the next steps
    const double latest = static_cast<double>(now - m_time) / (count - m_count);
    // The weight of a step is the square of its number, so this is the exact share of the old
    // steps.
    const double ratio = m_count / count;
    const double old = ratio * ratio * ratio;
    m_pace = old * m_pace + (1.0 - old) * latest;
    m_time = now;
    m_count = count;
}

/// The count that is likely at the time \p now, for tasks that count rarely: at least \p count, and
/// below the one at which there would be a report.
double ProgressPace::expected(qint64 now, double count, int interval) const
{
    if (m_count <= 0.0 || m_pace <= 0.0)
        return count;
    const double even = m_count + static_cast<double>(now - m_time) / m_pace;
    return std::max(count, std::min(even, m_count + interval));
}

double ProgressPace::remaining(qint64 now, double count, int interval, int maxSteps) const
{
    const double likely = std::min<double>(expected(now, count, interval), maxSteps);
    if (likely <= 0.0)
        return -1.0;
    ProgressPace next = *this;
    next.report(now, likely);
    return next.m_pace * (maxSteps - likely);
}

double ProgressPace::rate(qint64 now, double count, int interval) const
{
    ProgressPace next = *this;
    next.report(now, expected(now, count, interval));
    return next.m_count > 0.0 && next.m_pace > 0.0 ? 1000.0 / next.m_pace : 0.0;
}

} // namespace Utils
