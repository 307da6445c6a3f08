#pragma once

#include <Python.h>

#include "utils/process/Process.h"

namespace Utils::Bindings {

/// Makes the Data.String of a line; null with the error set.
using WrapText = PyObject *(*)(const Data::String &text);

/// Runs \p process as Process::run() does, and calls \p function, which may be null or None, with
/// each line and whether it is one of standard error, only during the call. Returns with the error
/// set when \p function has raised one, which kills the program, and when it runs \p process
/// itself.
Process::RunResult run(Process &process, int timeout, PyObject *function, WrapText wrap);

} // namespace Utils::Bindings
