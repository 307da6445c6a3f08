#pragma once

#include "data/String.h"

namespace Utils {

class Progress;

/// A monotonic time in milliseconds. Not the time of day, which may be set back or forward.
qint64 steadyTime();

/// The state that all reporters share.
struct ProgressState
{
    /// Whether \p reporter, which may be destroyed, is a reporter of a chain.
    bool holds(const Progress *reporter) const;

    Progress *current = nullptr;
    Progress *currentPopup = nullptr;
    Data::String lastLabel; // the text of the background reporter
    bool isDirty = false;   // the display was last used by a task that has ended
    int popupDelay = 2000;  // ms before a display is shown
    qint64 (*now)() = steadyTime;
};
extern ProgressState progressState;

} // namespace Utils
