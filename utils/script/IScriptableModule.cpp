#include "utils/script/IScriptableModule.h"

#include "utils/script/IScriptEngine.h"
#include "utils/script/ModuleList_p.h"
#include "utils/script/ScriptManager_p.h"

#include <QSet>

#include <algorithm>
#include <utility>

namespace Utils {

/// Returns whether \p module has become available. Its exception would end the start of the
/// interpreter halfway.
static bool makeAvailable(IScriptableModule &module)
{
    try {
        return module.initialize();
    } catch (...) {
        return false;
    }
}

IScriptableModule::~IScriptableModule()
{
    if (ModuleList *const list = moduleList.ifAlive())
        list->modules.removeAll(this);
    const ScriptManagerPrivate *const manager = ScriptManagerPrivate::ifAlive();
    if (!manager)
        return;
    const QList<IScriptEngine *> engines = manager->engines;
    for (IScriptEngine *engine : engines)
        engine->moduleRemoved(m_moduleName);
}

Data::String IScriptableModule::name() const { return m_moduleName; }

bool IScriptableModule::initializeModules(Data::String &messages)
{
    ModuleList *const list = moduleList.ifAlive();
    if (!list)
        return true;

    // The list is searched from its start each time, as initialize() may create modules, delete
    // them, reset them all or call this function. Each is initialised once.
    const QList<IScriptableModule *> &modules = list->modules;
    QSet<IScriptableModule *> tried;
    const auto isNext = [&tried](IScriptableModule *module) {
        return !module->m_initialized && !tried.contains(module);
    };
    while (true) {
        const auto next = std::find_if(modules.begin(), modules.end(), isNext);
        if (next == modules.end())
            return true;

        IScriptableModule *const module = *next;
        const Data::String name = module->m_moduleName;
        tried.insert(module);
        module->m_initialized = true; // so that a nested call skips it
        const bool succeeded = makeAvailable(*module);
        if (modules.contains(module))
            module->m_initialized = true;
        if (succeeded)
            continue;
        if (!messages.isEmpty())
            messages = messages + "\n";
        messages = messages + "ERROR: Failed to initialize scripting module for " + name;
        if (const auto report = list->moduleFailed) // a copy, as it may be replaced
            report(name);
    }
}

void IScriptableModule::resetModules()
{
    ModuleList *const list = moduleList.ifAlive();
    if (!list)
        return;
    for (IScriptableModule *module : std::as_const(list->modules))
        module->m_initialized = false;
}

IScriptableModule::IScriptableModule(const char *name) : m_moduleName(name)
{
    ModuleList *const list = moduleList.ifAlive();
    if (!list)
        return;
    if (m_moduleName == QLatin1String("KelmData"))
        list->modules.prepend(this);
    else
        list->modules.append(this);
}

IScriptableModule::IScriptableModule(const IScriptableModule &other) = default;
IScriptableModule &IScriptableModule::operator=(const IScriptableModule &other) = default;

} // namespace Utils
