#pragma once

#include <benchmark/benchmark.h>

#include <string>

// How a benchmark program adds what benchmarks/report shows.

/// Adds both sides of a pair. A \p target of 0 is none.
template <typename Ours, typename Peer>
void addPair(const std::string &topic, const std::string &detail, double target, Ours ours,
             Peer peer)
{
    const auto oursWithTarget = [=](benchmark::State &state) {
        ours(state);
        if (target > 0.0)
            state.counters["target"] = target;
    };
    benchmark::RegisterBenchmark((topic + "/ours/" + detail).c_str(), oursWithTarget);
    benchmark::RegisterBenchmark((topic + "/peer/" + detail).c_str(), peer);
}

/// Adds what is measured against a time.
template <typename Ours>
void addLimited(const std::string &topic, const std::string &detail, double limitInNs, Ours ours)
{
    const auto oursWithLimit = [=](benchmark::State &state) {
        ours(state);
        state.counters["limit_ns"] = limitInNs;
    };
    benchmark::RegisterBenchmark((topic + "/ours/" + detail).c_str(), oursWithLimit);
}

/// Runs what was added; the result of main().
inline int runBenchmarks(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
