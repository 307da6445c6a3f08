#pragma once

#include <QtGlobal>

namespace Utils {

/// Estimates the time of a step of a task from the times at which the task reported its count.
///
/// The estimate is the mean of all steps so far, with a larger weight for later steps: a step at
/// half of the count has an eighth of the weight of the latest one. So the weights depend on the
/// count, not on the length of the task, and a slow start soon has little effect.
class ProgressPace
{
public:
    /// Begins with the count 0 at the time \p now, in milliseconds.
    explicit ProgressPace(qint64 now);

    /// Continues with \p count at the time \p now: the time since the last report is left out.
    void resume(qint64 now, double count);

    /// The task reports \p count.
    void report(qint64 now, double count);

    /// The milliseconds until \p maxSteps, at the time \p now with \p count steps done, of which
    /// the last ones are not reported yet. The next report is expected after \p interval steps.
    /// Negative when nothing has been counted.
    double remaining(qint64 now, double count, int interval, int maxSteps) const;

    /// Steps per second, or 0 when nothing has been counted.
    double rate(qint64 now, double count, int interval) const;

private:
    double expected(qint64 now, double count, int interval) const;

    qint64 m_time; // of the last report
    double m_count = 0.0;
    double m_pace = 0.0; // milliseconds per step; unknown while the count is 0
};

} // namespace Utils
