#include "utils/script/IScriptableModule.h"

#include "utils/script/ModuleList_p.h"

#include <algorithm>
#include <utility>

namespace Utils {

IScriptableModule::~IScriptableModule()
{
    if (ModuleList::alive)
        moduleList.modules.removeAll(this);
}

Data::String IScriptableModule::name() const { return m_moduleName; }

bool IScriptableModule::initializeModules(Data::String &messages)
{
    if (!ModuleList::alive)
        return true;

    // Looked up anew each time: initialize() may build modules, delete them or come back here.
    while (IScriptableModule *module = firstWaiting()) {
        const Data::String name = module->m_moduleName;
        module->m_initialized = true;
        if (module->initialize())
            continue;
        if (!messages.isEmpty())
            messages = messages + "\n";
        messages = messages + "ERROR: Failed to initialize scripting module for " + name;
    }
    return true;
}

void IScriptableModule::resetModules()
{
    if (!ModuleList::alive)
        return;
    for (IScriptableModule *module : std::as_const(moduleList.modules))
        module->m_initialized = false;
}

IScriptableModule::IScriptableModule(const char *name) : m_moduleName(name)
{
    if (!ModuleList::alive)
        return;
    if (m_moduleName == QLatin1String("KelmData"))
        moduleList.modules.prepend(this);
    else
        moduleList.modules.append(this);
}

IScriptableModule::IScriptableModule(const IScriptableModule &other) = default;
IScriptableModule &IScriptableModule::operator=(const IScriptableModule &other) = default;

IScriptableModule *IScriptableModule::firstWaiting()
{
    const QList<IScriptableModule *> &modules = moduleList.modules;
    const auto isWaiting = [](const IScriptableModule *module) { return !module->m_initialized; };
    const auto waiting = std::find_if(modules.begin(), modules.end(), isWaiting);
    return waiting == modules.end() ? nullptr : *waiting;
}

} // namespace Utils
