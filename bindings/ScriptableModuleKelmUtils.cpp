#include "bindings/ScriptableModuleKelmUtils.h"

#include <Python.h>

#include "bindings/Modules.h"

namespace Utils {

/// Forgets what an init function leaves behind when it stops; whoever imports the module is told.
static bool silently()
{
    if (Py_IsInitialized())
        PyErr_Clear();
    return true;
}

ScriptableModuleKelmUtils::ScriptableModuleKelmUtils() : IScriptableModule("KelmUtils") {}

bool ScriptableModuleKelmUtils::initialize()
{
    initKelmUtils();
    return silently();
}

ScriptableModuleKelmData::ScriptableModuleKelmData() : IScriptableModule("KelmData") {}

bool ScriptableModuleKelmData::initialize()
{
    initKelmData();
    return silently();
}

} // namespace Utils
