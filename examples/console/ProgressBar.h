#pragma once

#include <QString>

namespace Kelm {

/// A line on the terminal that shows the progress of a task:
///
///     Copying  [██████████░░░░░░░░░░]   50 %  0:03  0:03 left  12 files/s  Esc cancels
///
/// Without a terminal nothing is drawn, and no keys are read.
class ProgressBar
{
public:
    ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;
    ~ProgressBar();

    struct State
    {
        QString label;
        int count = 0;
        int maxSteps = 0; ///< 0 when the number of steps is unknown
        int elapsed = 0;  ///< in milliseconds
        bool cancelable = false;
        int remaining = -1; ///< in milliseconds; negative when it is unknown
        double rate = 0.0;  ///< steps per second; 0 when it is unknown
        QString unit{};     ///< of the steps
    };

    void draw(const State &state);

    /// Clears the line, before something is printed or when the task has ended.
    void erase();

    /// Returns the line in at most \p width characters: the bar is made shorter, the rate is left
    /// out, the label is cut, and then the bar is left out.
    static QString text(const State &state, int width);

private:
    const bool m_canDraw;
    bool m_isDrawn = false;
};

} // namespace Kelm
