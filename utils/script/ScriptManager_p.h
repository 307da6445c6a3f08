#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/signals/PublicSignal.h"

#include <QList>
#include <QStringList>

namespace Utils {

class IScriptEngine;

/// The state of the manager.
struct ScriptManagerPrivate
{
    ScriptManagerPrivate();
    ~ScriptManagerPrivate();

    /// The first engine that takes \p languageOrPath, or null.
    IScriptEngine *engineFor(const Data::String &languageOrPath) const;

    /// Every engine that takes \p languageOrPath.
    QList<IScriptEngine *> enginesFor(const Data::String &languageOrPath) const;

    QList<IScriptEngine *> engines; // owned
    int executing = 0;              // how deep execute(path) is nested
    Data::String dataContext;
    QStringList pushedNames; // in this context
    Data::Variant scriptResult;
    PublicSignal scriptExecuted{"ScriptExecuted", nullptr};

    /// That of the manager of the process while it is alive, else null: it is a plain pointer, so
    /// that what lives sooner or dies later may ask.
    static ScriptManagerPrivate *alive;
};

} // namespace Utils
