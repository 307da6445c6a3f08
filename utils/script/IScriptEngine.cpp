#include "utils/script/IScriptEngine.h"

namespace Utils {

IScriptEngine::~IScriptEngine() = default;

int IScriptEngine::exitStatus() const { return 0; }

Data::String IScriptEngine::errorMessage() const { return {}; }

Data::String IScriptEngine::importCode() { return {}; }

} // namespace Utils
