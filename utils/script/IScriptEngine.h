#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

namespace Utils {

/// Runs scripts of one language, for ScriptManager. See there for what its callers see.
///
/// A name is a variable of the script's own scope, or "module.variable".
///
/// The virtual operations stand in the order in which callers expect them in the vtable.
class KELMUTILS_EXPORT IScriptEngine
{
public:
    virtual ~IScriptEngine();

    /// Runs the file \p path. False when it fails: exitStatus() and errorMessage() tell more.
    virtual bool runFile(const Data::String &path) = 0;

    /// Runs the text \p code. False when it fails: errorMessage() tells more.
    virtual bool runCode(const Data::String &code) = 0;

    virtual void pushData(const Data::String &name, const Data::Variant &value) = 0;

    /// Invalid when there is no such variable, or its value cannot be had as a variant.
    virtual Data::Variant getData(const Data::String &name) = 0;

    /// Takes away what was pushed as \p name.
    virtual void popData(const Data::String &name) = 0;

    /// Whether the engine takes the language \p language; with \p isPath, whether it takes the
    /// language or the file of that path.
    virtual bool supports(const Data::String &language, bool isPath) = 0;

    /// Whether \p code could be run, without running it. errorMessage() tells why not.
    virtual bool validate(const Data::String &code) = 0;

    /// What the last file ended with; 0 is good, and the default.
    virtual int exitStatus() const;

    /// What went wrong last; "" by default.
    virtual Data::String errorMessage() const;

    /// Tells that the module \p moduleName has died, which must not be used any more.
    virtual void moduleRemoved(const Data::String &moduleName) = 0;

    /// Lines that bring what an expression may use into scope; "" by default.
    virtual Data::String importCode();

    /// Ends everything that has been started. The next run starts it again.
    virtual void reset() = 0;
};

} // namespace Utils
