#pragma once

#include <QtGlobal>

#include <atomic>

namespace Utils {

/// The request to end the script that runs.
///
/// An operation of the library that waits, and that a script can call, tests isRequested() at least
/// every 50 ms and then ends as if the user had cancelled it. The engine ends the script after
/// that.
struct Interrupt
{
    /// Requests the end of the running script. Returns false, and does nothing, when none runs. It
    /// may be called on any thread, and in a signal handler.
    static bool request();

    /// Whether the script that runs has to end. The script has not noticed it yet.
    static bool isRequested()
    {
        const quint64 id = requested.load(std::memory_order_relaxed);
        return id != 0 && id == run.load(std::memory_order_relaxed);
    }

    /// Whether a script runs, or is checked.
    static bool isPossible() { return run.load(std::memory_order_relaxed) != 0; }

    /// Lets other threads of scripts run for a moment, where this thread keeps them from it. An
    /// operation that waits calls it where scripts may call the library, also the same object.
    static void letOthersRun()
    {
        if (void (*const function)() = yield)
            function();
    }

    /// Returns for how many milliseconds the request has been waiting; 0 without one.
    static int age();

    // For the engine.

    /// Milliseconds of the steady clock; safe in a signal handler.
    static qint64 now();

    /// Returns whether there was a request, and removes it.
    static bool take();

    /// The number of the outermost run, 0 while there is none, and of the one that has to end.
    static inline std::atomic<quint64> run = 0;
    static inline std::atomic<quint64> requested = 0;

    /// When the end was requested, or was due.
    static inline std::atomic<qint64> requestTime = 0;

    /// Makes the engine notice a request, wherever the script is. Null without an engine.
    static inline std::atomic<void (*)()> wake = nullptr;

    /// Lets other threads of scripts run for a moment. Null without an engine.
    static inline std::atomic<void (*)()> yield = nullptr;

    /// The time limit of runs in milliseconds, 0 for none. For the main thread.
    static inline int timeLimit = 0;
};

} // namespace Utils
