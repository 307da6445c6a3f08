#include <Python.h>

#include "examples/console/framework/Framework.h"

#include "utils/script/IScriptableModule.h"
#include "utils/script/ScriptManager.h"

namespace {

class Module : public Utils::IScriptableModule
{
public:
    Module() : IScriptableModule("KelmFramework") {}

    bool initialize() override
    {
        if (!Py_IsInitialized())
            return false;
        initKelmFramework();
        return !PyErr_Occurred();
    }
};
Module module;

} // namespace

Framework *Framework::app()
{
    static Framework framework;
    return &framework;
}

void Framework::setScriptResult(const Data::Variant &value)
{
    Utils::ScriptManager::instance().setScriptResult(value);
}
