#pragma once

#include "utils/script/ScriptConsole.h"
#include "utils/script/ScriptError.h"

namespace Utils {

/// Runs the text of a console in the module __main__, with a value of \p unit. \p features are
/// those that earlier texts have imported from __future__; the text may add some. \p error is set
/// to why it has failed or wants to exit.
///
/// It needs an interpreter, and the stack for deep recursion.
ScriptReply interpretPython(const QString &code, ScriptUnit unit, int &features,
                            ScriptError &error);

} // namespace Utils
