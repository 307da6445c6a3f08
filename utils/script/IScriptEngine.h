#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

namespace Utils {

/// The interface of an engine, which runs scripts of one language for ScriptManager. The behaviour
/// for callers is described at ScriptManager.
///
/// The argument \p name of the functions is the name of a variable in the scope of scripts, or
/// "module.variable".
///
/// The order of the virtual functions is part of the binary interface.
class KELMUTILS_EXPORT IScriptEngine
{
public:
    virtual ~IScriptEngine();

    /// Runs the file \p path. Returns false when it fails; exitStatus() and errorMessage() then
    /// describe the failure.
    virtual bool runFile(const Data::String &path) = 0;

    /// Runs the text \p code. Returns false when it fails; errorMessage() then returns the reason.
    virtual bool runCode(const Data::String &code) = 0;

    /// Sets the variable \p name to \p value.
    virtual void pushData(const Data::String &name, const Data::Variant &value) = 0;

    /// Returns the value of the variable \p name. Returns an invalid variant when there is no such
    /// variable, or when a variant cannot hold its value.
    virtual Data::Variant getData(const Data::String &name) = 0;

    /// Removes the variable \p name that pushData() has set.
    virtual void popData(const Data::String &name) = 0;

    /// Returns whether the engine runs scripts of \p language. With \p isPath, \p language may also
    /// be the path of a file, whose extension then decides.
    virtual bool supports(const Data::String &language, bool isPath) = 0;

    /// Checks whether \p code could be run, without running it. Returns false when it could not;
    /// errorMessage() then returns the reason.
    virtual bool validate(const Data::String &code) = 0;

    /// Returns the exit status of the last run of a file; 0 means success. The default is 0.
    virtual int exitStatus() const;

    /// Returns the text of the last error. The default is "".
    virtual Data::String errorMessage() const;

    /// Called when the module \p moduleName has been destroyed. The engine must not use it any
    /// more.
    virtual void moduleRemoved(const Data::String &moduleName) = 0;

    /// Returns the lines of code that import the names that an expression may use. The default is
    /// "".
    virtual Data::String importCode();

    /// Ends the interpreter of the language. The next run starts it again.
    virtual void reset() = 0;
};

} // namespace Utils
