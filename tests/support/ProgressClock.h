#pragma once

#include "utils/feedback/Progress_p.h"

/// The clock of all reporters, which a test moves. For tests of the library's objects.
struct ProgressClock
{
    static inline qint64 now = 0; ///< in milliseconds
    static inline int reads = 0;  ///< how often it was read

    /// Makes the state of all reporters what it is at first, at the time 5000.
    static void start()
    {
        now = 5000;
        Utils::progressState = Utils::ProgressState();
        Utils::progressState.now = [] {
            ++reads;
            return now;
        };
    }
};
