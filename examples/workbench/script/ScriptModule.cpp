#include <Python.h>

#include "examples/workbench/script/ScriptModule.h"

#include "examples/workbench/script/ScriptEvents.h"

extern "C" {

/// Makes the module in the running interpreter; generated from Workbench.sip.
void initWorkbench();
}

namespace Workbench {

ScriptModule::ScriptModule() : IScriptableModule("Workbench") {}

bool ScriptModule::initialize()
{
    if (!Py_IsInitialized())
        return false;
    initWorkbench();
    return !PyErr_Occurred() && ScriptEvents::replaceSleep();
}

} // namespace Workbench
