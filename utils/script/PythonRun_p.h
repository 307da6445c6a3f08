#pragma once

#include "data/String.h"
#include "utils/script/ScriptError.h"

#include <QStringList>

#include <optional>

namespace Utils {

/// One run of a script, as its outcome. It is a value, as a script may run others meanwhile.
///
/// A run needs an interpreter, and the stack for deep recursion.
struct PythonRun
{
    bool succeeded = false;
    Data::String error;            ///< why it failed; "" where Python has printed that itself
    std::optional<int> exitStatus; ///< of a file that was run, else none
    ScriptError details;           ///< why it failed, in any case

    /// Runs a file in the module __main__. Python prints the error of one that fails.
    static PythonRun file(const Data::String &path);

    /// Runs statements in the module __main__.
    static PythonRun code(const QString &statements);

    /// Compiles statements without running them.
    static PythonRun check(const QString &statements);
};

/// Makes \p modules variables of __main__. One that is not loaded is made, empty.
void addToMainScope(const QStringList &modules);

} // namespace Utils
