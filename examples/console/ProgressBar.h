#pragma once

#include <QString>

namespace Kelm {

/// A line on the terminal that tells how far a task has come:
///
///     Copying  [██████████░░░░░░░░░░]  50 %  0:03  Esc cancels
///
/// Where there is no terminal nothing is drawn, and no key is heard.
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
        int maxSteps = 0; ///< 0 when nobody knows how far it is to go
        int elapsed = 0;  ///< in milliseconds
        bool cancelable = false;
    };

    void draw(const State &state);

    /// Takes the line away, as something is to be printed or the task has ended.
    void erase();

    /// The line in at most \p width characters: the label is cut, then the bar is left out.
    static QString text(const State &state, int width);

private:
    const bool m_canDraw;
    bool m_isDrawn = false;
};

} // namespace Kelm
