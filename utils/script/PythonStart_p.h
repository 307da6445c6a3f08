#pragma once

#include <chrono>

namespace Utils {

/// How long a start may take in the copy of the process in which it is tried.
extern std::chrono::milliseconds startTrialLimit;

/// Starts the interpreter as Py_InitializeEx does without handlers of signals and without "site",
/// and loads the codecs then. False when those are damaged; the interpreter, with an error set,
/// runs all the same.
bool initializePython();

} // namespace Utils
