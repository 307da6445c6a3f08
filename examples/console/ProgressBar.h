#pragma once

#include <QString>

namespace Kelm {

/// A line on the terminal that shows the progress of a task:
///
///     Copying  [██████████░░░░░░░░░░]  50 %  0:03  Esc cancels
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
    };

    void draw(const State &state);

    /// Clears the line, before something is printed or when the task has ended.
    void erase();

    /// Returns the line in at most \p width characters: the label is cut, then the bar is left out.
    static QString text(const State &state, int width);

private:
    const bool m_canDraw;
    bool m_isDrawn = false;
};

} // namespace Kelm
