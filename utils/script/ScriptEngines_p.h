#pragma once

#include <QList>

namespace Utils {

class IScriptEngine;

/// A new engine for each language that the library is built with, for the caller to own.
///
/// The build takes one of the sources ScriptEngines_*.cpp.
QList<IScriptEngine *> makeScriptEngines();

} // namespace Utils
