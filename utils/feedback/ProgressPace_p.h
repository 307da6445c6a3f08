#pragma once

#include <QtGlobal>

namespace Utils {

/// How long a step of a task takes, from the times at which the task reported its count.
///
/// The mean of all steps so far, in which a step weighs the more the later it was: a step at half
/// of the count weighs an eighth of the latest one. So the weights depend on what has been done,
/// not on how long the task is, and what was slow at the beginning is forgotten soon.
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
