#pragma once

#include <climits>
#include <functional>
#include <memory>
#include <vector>

/// While it lives, a function of the C library fails in this thread: as where the system is short
/// of something, where a disk is damaged, or on a file system that lacks a feature.
///
///     const CallFault fault("fsync", EIO);        // each call
///     const CallFault fault("fstat", EIO, 1, 1);  // the second call only
///
/// Several of the same function count its calls separately. The functions are those of
/// CallFault.cpp; a test that uses it links the target CallFault, which replaces them.
class CallFault
{
public:
    static constexpr int forever = INT_MAX;

    /// The calls from number \p first on, counted from 0, fail with \p error as errno, or as result
    /// where the function returns its error. There are \p times of them. With 0 as \p error, they
    /// return 0 and do nothing.
    CallFault(const char *function, int error, int first = 0, int times = forever);

    /// Calls \p meanwhile before the call number \p first, which does not fail: what another
    /// program does in the meantime.
    CallFault(const char *function, std::function<void()> meanwhile, int first = 0);

    ~CallFault();

    CallFault(const CallFault &) = delete;
    CallFault &operator=(const CallFault &) = delete;

    /// How many calls have failed, or had something happen before them.
    int count() const { return m_count; }

    /// Counts a call of \p function. Whether it fails; then \p error is set.
    static bool fails(const char *function, int &error);

private:
    bool isNext(const char *function);

    const char *const m_function;
    const int m_error;
    const std::function<void()> m_meanwhile;
    int m_skipped;
    int m_left;
    int m_count = 0;
    CallFault *const m_outer; // the ones that were made before
};

/// The arguments of a CallFault, for the rows of a test.
struct Fault
{
    const char *function;
    int error;
    int first = 0;
    int times = CallFault::forever;
};
using Faults = std::vector<Fault>;

/// Several faults at the same time.
class CallFaults
{
public:
    explicit CallFaults(const Faults &faults)
    {
        for (const Fault &fault : faults)
            m_faults.push_back(
                std::make_unique<CallFault>(fault.function, fault.error, fault.first, fault.times));
    }
    ~CallFaults()
    {
        while (!m_faults.empty()) // in the opposite order, as on the stack
            m_faults.pop_back();
    }

    CallFaults(const CallFaults &) = delete;
    CallFaults &operator=(const CallFaults &) = delete;

    /// Whether each of them has made a call fail.
    bool haveAllHappened() const
    {
        bool all = true;
        for (const auto &fault : m_faults)
            all = all && fault->count() > 0;
        return all;
    }

private:
    std::vector<std::unique_ptr<CallFault>> m_faults;
};
