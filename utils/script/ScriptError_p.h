#pragma once

#include "utils/script/ScriptError.h"

#include <QSharedData>

#include <optional>

namespace Utils {

/// What an error consists of, for those who make one.
class ScriptErrorPrivate : public QSharedData
{
public:
    /// Returns an error without an exception.
    static ScriptError ofText(const Data::String &text, const Data::String &file = Data::String());

    static ScriptError make(const ScriptErrorPrivate &data);

    /// Returns \p error as the error of a module.
    static ScriptError ofModule(const ScriptError &error, const Data::String &module);

    /// Returns \p error as that of a script that was interrupted.
    static ScriptError ofInterrupt(const ScriptError &error, bool isTimeLimit, int delay);

    Data::String type;
    Data::String text;
    Data::String traceback;
    Data::String file;
    int line = 0;
    int column = 0;
    QList<ScriptError::Frame> frames;
    std::optional<int> exitStatus; // of sys.exit()
    Data::String module;
    bool isInterrupted = false;
    bool isTimeLimit = false;
    int interruptDelay = 0; // in milliseconds
};

/// What an engine may implement, besides IScriptEngine, to describe its errors.
class IScriptErrors
{
public:
    virtual ~IScriptErrors() = default;

    /// Returns why the last run or check failed; an empty error when it succeeded.
    virtual ScriptError error() const = 0;

    /// Returns the errors of modules that are not available to scripts.
    virtual QList<ScriptError> moduleErrors() const = 0;
};

} // namespace Utils
