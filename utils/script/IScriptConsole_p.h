#pragma once

#include "utils/script/ScriptConsole.h"

namespace Utils {

/// What an engine adds to IScriptEngine when a console can be built on it. The behaviour for
/// callers is described at ScriptManager.
class IScriptConsole
{
public:
    virtual ~IScriptConsole() = default;

    virtual void setOutputSink(const ScriptOutputSink &sink) = 0;
    virtual void setInputSource(const ScriptInputSource &source) = 0;
    virtual QVector<ScriptCompletion> complete(const Data::String &text) = 0;
    virtual ScriptReply interpret(const Data::String &code, ScriptUnit unit) = 0;
};

} // namespace Utils
