#pragma once

#include <QList>

namespace Utils {

class IScriptEngine;

/// Returns a new engine for each language that the library is built with. The caller owns them.
///
/// The build compiles one of the sources ScriptEngines_*.cpp.
QList<IScriptEngine *> makeScriptEngines();

} // namespace Utils
