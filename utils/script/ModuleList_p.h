#pragma once

#include "data/ProcessWide_p.h"
#include "data/String.h"

#include <QList>

#include <functional>

namespace Utils {

class IScriptableModule;

/// Every live module, in the order in which they are initialised.
struct ModuleList
{
    QList<IScriptableModule *> modules;

    /// Called with the name of each module that fails, before another one is initialised. It is set
    /// by an engine while it starts modules, and empty at other times.
    std::function<void(const Data::String &module)> moduleFailed;
};
extern Data::ProcessWide<ModuleList> moduleList;

} // namespace Utils
