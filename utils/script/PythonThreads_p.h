#pragma once

#include <QStringList>

#include <chrono>

namespace Utils {

/// How long threads of scripts have to end by themselves before the interpreter does.
extern std::chrono::milliseconds threadPatience;

/// Whether this thread has Python's lock, and so may call Python: false while a thread of a script
/// that was left running keeps it.
bool ownsPythonLock();

/// Whether scripts have threads that run, besides the calling one.
bool hasPythonThreads();

/// Lets other threads of scripts run for a millisecond, where there are some and this thread has
/// Python's lock. Safe on every thread.
void yieldPythonLock();

/// Ends the threads of scripts, so that the interpreter can be finalised. Returns the threads that
/// still run, each as its name and number. While there are some, the interpreter must not be
/// finalised: a thread that runs without it crashes the process.
///
/// First waits for the threads that are no daemons, then runs the functions that are registered for
/// the exit, then waits for all threads; all this waiting takes \p patience at most. Then raises
/// SystemExit in those that still run, for half a second at most. A thread that waits in a C
/// function does not see it. The time of the registered functions is not counted.
///
/// A thread may keep Python's lock for longer than that: ownsPythonLock() is false then.
QStringList endPythonThreads(std::chrono::milliseconds patience);

} // namespace Utils
