#include "utils/script/ScriptEngines_p.h"

namespace Utils {

QList<IScriptEngine *> makeScriptEngines() { return {}; }

} // namespace Utils
