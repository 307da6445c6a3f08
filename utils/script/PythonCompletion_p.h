#pragma once

#include "utils/script/ScriptConsole.h"

namespace Utils {

/// Returns the names that can complete \p text, sorted. Runs nothing of a script: it only reads the
/// dictionaries of modules, classes and objects. Without an interpreter that can be called, only
/// keywords are returned.
QVector<ScriptCompletion> completePython(const QString &text);

} // namespace Utils
