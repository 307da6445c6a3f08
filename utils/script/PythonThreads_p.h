#pragma once

#include <QStringList>

#include <chrono>

namespace Utils {

/// How long threads of scripts have to end by themselves before the interpreter does.
extern std::chrono::milliseconds threadPatience;

/// Whether Python may be called here: false while a thread of a script that was left running keeps
/// its lock.
bool ownsPythonLock();

/// Whether scripts have threads that run, besides the calling one.
bool hasPythonThreads();

/// Ends what scripts have running, so that the interpreter can be finalised. Returns the threads
/// that go on all the same, each as its name and number; it must not be finalised while there are
/// some, as one that goes on without it takes the process with it.
///
/// It waits for the threads that are no daemons, runs what is registered for the exit, and waits
/// for all threads, as long as its \p patience is in all. Those that go on have SystemExit raised
/// in them then, which does not reach one that waits in a call of C. That takes half a second more
/// at most, without the time that what is registered for the exit takes.
///
/// A thread may keep Python's lock for longer than that: ownsPythonLock() is false then.
QStringList endPythonThreads(std::chrono::milliseconds patience);

} // namespace Utils
