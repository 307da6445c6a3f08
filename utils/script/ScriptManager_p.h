#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/script/ScriptError.h"
#include "utils/signals/PublicSignal.h"

#include <QList>
#include <QStringList>

namespace Utils {

class IScriptConsole;
class IScriptEngine;

/// The state of the manager.
struct ScriptManagerPrivate
{
    ScriptManagerPrivate();
    ~ScriptManagerPrivate();

    /// Returns the first engine that supports \p languageOrPath, or null.
    IScriptEngine *engineFor(const Data::String &languageOrPath) const;

    /// Returns every engine that supports \p languageOrPath.
    QList<IScriptEngine *> enginesFor(const Data::String &languageOrPath) const;

    /// Runs the file \p path, with the texts that the host shows. Returns whether it succeeded;
    /// otherwise \p runError tells why.
    bool runFile(const Data::String &path, ScriptError &runError);

    /// Returns the engines on which a console can be built.
    QList<IScriptConsole *> consoles() const;

    QList<IScriptEngine *> engines; // owned
    int executing = 0;              // how deep execute(path) is nested
    Data::String dataContext;
    QStringList pushedNames; // in this context
    Data::Variant scriptResult;
    PublicSignal scriptExecuted{"ScriptExecuted", nullptr};
    ScriptError error; // of the run or check that ended last

    /// The state of the manager, or null before its creation and after its destruction. It reads a
    /// plain pointer, which outlives every object.
    static ScriptManagerPrivate *ifAlive() { return alive; }

private:
    static inline ScriptManagerPrivate *alive = nullptr;
};

} // namespace Utils
