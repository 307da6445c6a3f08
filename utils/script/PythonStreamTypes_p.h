#pragma once

#include <Python.h>

#include "utils/script/ScriptConsole.h"

namespace Utils {

class ScriptInput;
class ScriptOutput;

/// Makes a stream of scripts that writes to \p output, and to \p original while that has no sink.
/// Returns null, with the error set, when the memory does not suffice.
PyObject *makeOutputStream(ScriptOutput &output, ScriptChannel channel, PyObject *original);

/// Makes a stream of scripts that reads from \p input, and from \p original while that has no
/// source.
PyObject *makeInputStream(ScriptInput &input, PyObject *original);

/// Returns a borrowed reference to the original of a stream that is made here; null for any other
/// object.
PyObject *originalOf(PyObject *stream);

} // namespace Utils
