#pragma once

#include "data/ProcessWide_p.h"

#include <QList>

namespace Utils {

class IScriptableModule;

/// Every live module, in the order in which they are initialised.
struct ModuleList
{
    QList<IScriptableModule *> modules;
};
extern Data::ProcessWide<ModuleList> moduleList;

} // namespace Utils
