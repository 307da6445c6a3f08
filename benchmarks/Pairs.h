#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

// How a benchmark program adds what benchmarks/report shows.

/// The names that were added, in order.
inline std::vector<std::string> &addedNames()
{
    static std::vector<std::string> names;
    return names;
}

template <typename Run>
void addOne(const std::string &name, const Run &run)
{
    benchmark::RegisterBenchmark(name.c_str(), run);
    addedNames().push_back(name);
}

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
    addOne(topic + "/ours/" + detail, oursWithTarget);
    addOne(topic + "/peer/" + detail, peer);
}

/// Adds what is measured against a time.
template <typename Ours>
void addLimited(const std::string &topic, const std::string &detail, double limitInNs, Ours ours)
{
    const auto oursWithLimit = [=](benchmark::State &state) {
        ours(state);
        state.counters["limit_ns"] = limitInNs;
    };
    addOne(topic + "/ours/" + detail, oursWithLimit);
}

/// A regular expression that matches \p name only.
inline std::string patternOf(const std::string &name)
{
    std::string pattern = "^";
    for (const char character : name) {
        if (std::strchr("^$.*+?()[]{}|\\", character))
            pattern += '\\';
        pattern += character;
    }
    return pattern + "$";
}

/// Runs the benchmark \p name in a child of this process, whose memory no other benchmark has used,
/// and writes its result as JSON. Returns false when it fails.
inline bool runInChild(const std::string &name)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        benchmark::JSONReporter reporter;
        reporter.SetOutputStream(&std::cout);
        reporter.SetErrorStream(&std::cerr);
        const std::size_t count = benchmark::RunSpecifiedBenchmarks(&reporter, patternOf(name));
        std::cout.flush();
        _exit(count == 1 ? 0 : 1);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

/// Runs what was added; the result of main().
///
/// With --samples=N each benchmark runs N times, in turn with the others and in a process of its
/// own each time: one that runs again in the same process finds memory that is mapped already. The
/// option --only=TEXT selects those with the text in their names.
inline int runBenchmarks(int argc, char **argv)
{
    int samples = 0;
    std::string only;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.rfind("--samples=", 0) == 0)
            samples = std::atoi(argument.c_str() + std::strlen("--samples="));
        else if (argument.rfind("--only=", 0) == 0)
            only = argument.substr(std::strlen("--only="));
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (samples == 0)
        benchmark::RunSpecifiedBenchmarks();
    for (int sample = 0; sample < samples; ++sample) {
        for (const std::string &name : addedNames()) {
            if (name.find(only) != std::string::npos && !runInChild(name))
                return 1;
        }
    }
    benchmark::Shutdown();
    return 0;
}
