#pragma once

#include "benchmarks/HostMemory.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
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

/// The processor time in seconds that this process has used, for RUSAGE_SELF, or its children that
/// have ended, for RUSAGE_CHILDREN.
inline double secondsUsed(int who)
{
    rusage used{};
    getrusage(who, &used);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
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

/// Makes each page of memory that this process shares with its parent its own. Otherwise the first
/// write to it, such as to the reference count of a string of the input, would copy the page during
/// the measurement.
inline void ownMemory()
{
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    std::ifstream maps("/proc/self/maps");
    std::vector<std::string> lines;
    for (std::string line; std::getline(maps, line);)
        lines.push_back(line);
    const int pages = open("/proc/self/pagemap", O_RDONLY);
    for (const std::string &line : lines) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char rights[5] = {};
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, rights) != 3 ||
            std::strcmp(rights, "rw-p") != 0)
            continue;
        std::vector<std::uint64_t> entries((end - begin) / pageSize);
        const std::size_t size = entries.size() * sizeof(std::uint64_t);
        const auto offset = static_cast<off_t>(begin / pageSize * sizeof(std::uint64_t));
        if (pread(pages, entries.data(), size, offset) != static_cast<ssize_t>(size))
            continue;
        const std::uint64_t present = std::uint64_t(1) << 63;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            auto *const byte = reinterpret_cast<volatile char *>(begin + i * pageSize);
            if (entries[i] & present)
                *byte = *byte;
        }
    }
    close(pages);
}

/// Runs the benchmark \p name in a child of this process, whose memory no other benchmark has used,
/// and writes its result as JSON. Returns false when it fails.
inline bool runInChild(const std::string &name, std::size_t mebibytes)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        ownMemory();
        supplyMemory(mebibytes);
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
/// option --only=TEXT selects those with the text in their names. \p mebibytes are supplied before
/// each sample, see supplyMemory(); they should be as many as the largest one uses.
inline int runBenchmarks(int argc, char **argv, std::size_t mebibytes = 512)
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
            if (name.find(only) != std::string::npos && !runInChild(name, mebibytes))
                return 1;
        }
    }
    benchmark::Shutdown();
    return 0;
}
