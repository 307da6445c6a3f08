#pragma once

#include "utils/script/PythonReference_p.h"
#include "utils/script/ScriptError.h"

#include <QByteArray>

namespace Utils {

/// A Python error that has been raised.
struct PythonError
{
    PythonReference type; ///< null when there is none
    PythonReference value;
    PythonReference traceback;

    /// Clears the error of Python and returns it.
    static PythonError fetch();

    /// Returns the error that Python has printed last.
    static PythonError printed();

    /// Makes it the error of Python again.
    void restore() &&;

    /// Makes the value an exception, which it may not yet be for an error of Python's own.
    void normalize();

    /// Returns the error as data; empty when there is none.
    ///
    /// \p code is the text that was run, whose lines are quoted. Empty when a file was run, or when
    /// the text is not known. \p valueText is the text of the value, so that it is not requested
    /// again from the script: None when str() has failed, and null when it is not known.
    ScriptError describe(const QByteArray &code = QByteArray(),
                         PyObject *valueText = nullptr) const;
};

/// Sets a MemoryError when no error is set, after a call that has failed: where the memory ends,
/// Python's compiler may fail without one.
void setMissingError();

/// Prints the error that is set, as Python does, and clears it. Returns it as data. The script is
/// asked once for the text of its exception. A missing error is set before.
ScriptError printPythonError();

} // namespace Utils
