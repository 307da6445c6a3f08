#pragma once

#include <ctime>

/// The processor time that this program has used, in seconds. Other programs do not make it longer,
/// also on Windows, where std::clock() measures the time that has passed.
inline double processorTime()
{
    timespec used = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return double(used.tv_sec) + 1e-9 * double(used.tv_nsec);
}
