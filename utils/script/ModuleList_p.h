#pragma once

#include <QList>

namespace Utils {

class IScriptableModule;

/// Every live module, in the order in which they are initialised.
struct ModuleList
{
    ~ModuleList() { alive = false; } // the list is released behind this line

    QList<IScriptableModule *> modules;
    static bool alive; // a plain bool, so that what dies later may still ask
};
extern ModuleList moduleList;

} // namespace Utils
