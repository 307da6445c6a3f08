#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// A module that a library offers to scripts, usually a static object of that library.
///
/// The constructor adds the module to the list of modules, and the destructor removes it. A module
/// named "KelmData" becomes the first of the list, because the others need it; any other module
/// becomes the last.
class KELMUTILS_EXPORT IScriptableModule
{
public:
    /// Removes the module from the list. Then calls IScriptEngine::moduleRemoved() on every engine,
    /// if the ScriptManager exists.
    ///
    /// The interpreter then ends. If scripts are running, the interpreter ends after the outermost
    /// script. It is kept as long as a thread of a script does not end.
    ///
    /// \compat The destructor of a copy also calls the engines, although a copy is not in the list.
    virtual ~IScriptableModule();

    /// Makes the module available in the running interpreter. Returns false when that fails. An
    /// exception counts as a failure.
    virtual bool initialize() = 0;

    Data::String name() const;

    /// Calls initialize() on each module that is not initialised, in the order of the list. Modules
    /// that are added meanwhile are initialised, too.
    ///
    /// For each module whose initialize() fails, a line is appended to \p messages: "ERROR:
    /// Failed to initialize scripting module for " and the name of the module. A module that failed
    /// counts as initialised until resetModules().
    ///
    /// Returns true, even when modules failed.
    static bool initializeModules(Data::String &messages);

    /// Marks every module as not initialised.
    static void resetModules();

protected:
    /// \p name is UTF-8; null is the empty name.
    explicit IScriptableModule(const char *name);

    /// Copies the name and the state of \p other. The copy is not added to the list.
    IScriptableModule(const IScriptableModule &other);
    IScriptableModule &operator=(const IScriptableModule &other);

private:
    bool m_initialized = false;
    Data::String m_moduleName;
};

} // namespace Utils
