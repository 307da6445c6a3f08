#include "utils/script/ScriptEngines_p.h"

#include "utils/script/PythonScript_p.h"

namespace Utils {

QList<IScriptEngine *> makeScriptEngines() { return {new PythonScript}; }

} // namespace Utils
