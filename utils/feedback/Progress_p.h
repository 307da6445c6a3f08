#pragma once

#include "data/String.h"

namespace Utils {

class Progress;

/// A monotonic time in milliseconds. Not the time of day, which jumps.
qint64 steadyTime();

/// What the reporters share.
struct ProgressState
{
    /// Whether \p reporter, which may be gone, is a live one of a chain.
    bool holds(const Progress *reporter) const;

    Progress *current = nullptr;
    Progress *currentPopup = nullptr;
    Data::String lastLabel; // the text of the background reporter
    bool isDirty = false;   // the display was taken over by a task that has ended
    int popupDelay = 2000;  // ms before a display is shown
    qint64 (*now)() = steadyTime;
};
extern ProgressState progressState;

} // namespace Utils
