#include "bindings/ScriptableModuleKelmUtils.h"

#include <Python.h>

#include "bindings/Modules.h"

namespace Utils {

/// Clears the error that an init function leaves when it stops; a script that imports the module
/// gets one of its own. Returns true.
static bool clearError()
{
    if (Py_IsInitialized())
        PyErr_Clear();
    return true;
}

ScriptableModuleKelmUtils::ScriptableModuleKelmUtils() : IScriptableModule("KelmUtils") {}

bool ScriptableModuleKelmUtils::initialize()
{
    initKelmUtils();
    return clearError();
}

ScriptableModuleKelmData::ScriptableModuleKelmData() : IScriptableModule("KelmData") {}

bool ScriptableModuleKelmData::initialize()
{
    initKelmData();
    return clearError();
}

} // namespace Utils
