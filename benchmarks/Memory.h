#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <malloc.h>

// How a benchmark program reports the peak memory of a run.

/// The memory of this process in bytes, as the line \p name of its status has it. 0 where there is
/// no such thing.
inline double memoryOfProcess(const char *name)
{
    std::FILE *const file = std::fopen("/proc/self/status", "r");
    char line[256];
    double bytes = 0.0;
    while (file && std::fgets(line, sizeof line, file)) {
        if (std::strncmp(line, name, std::strlen(name)) == 0)
            bytes = 1024.0 * std::atof(line + std::strlen(name));
    }
    if (file)
        std::fclose(file);
    return bytes;
}

/// Runs \p work once, beside what is timed, and adds the counter "peak_bytes" to \p state: by how
/// much the memory of the process grew at most.
///
/// With a \p limit above 0, "peak_limit" says what is aimed at, or less.
template <typename Work>
void measurePeak(benchmark::State &state, double limit, const Work &work)
{
    malloc_trim(0); // what earlier runs have left would be used again unseen
    const double before = memoryOfProcess("VmRSS:");
    if (std::FILE *const file = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", file); // the peak starts again
        std::fclose(file);
    }
    work();
    state.counters["peak_bytes"] = memoryOfProcess("VmHWM:") - before;
    if (limit > 0.0)
        state.counters["peak_limit"] = limit;
}
