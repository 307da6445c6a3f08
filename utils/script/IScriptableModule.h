#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// A module that a library offers to scripts, usually a static object of that library.
///
/// It enters the list of modules when it is built and leaves it when it dies. A module named
/// "KelmData" goes to the front of the list, as the others build on it; all others go to the end.
class KELMUTILS_EXPORT IScriptableModule
{
public:
    /// Leaves the list, and then tells every engine of the manager, if there is one, that the name
    /// has gone: the interpreter ends, from within a script when that has returned, unless a thread
    /// of a script does not end. The end of a copy tells them, too, which is meant.
    virtual ~IScriptableModule();

    /// Brings the module into the running interpreter. False when that fails.
    virtual bool initialize() = 0;

    Data::String name() const;

    /// Initialises, in list order, the modules that are not initialised yet, those that are built
    /// meanwhile included.
    ///
    /// Each failure adds a line to \p messages, "ERROR: Failed to initialize scripting module for "
    /// and the name. A module that failed counts as initialised and is not tried again before
    /// resetModules(). Always true: only \p messages tells.
    static bool initializeModules(Data::String &messages);

    /// Makes every module one that is not initialised.
    static void resetModules();

protected:
    /// \p name is UTF-8; null gives the empty name.
    explicit IScriptableModule(const char *name);

    /// A copy has the name and the state of the other, but is not in the list.
    IScriptableModule(const IScriptableModule &other);
    IScriptableModule &operator=(const IScriptableModule &other);

private:
    bool m_initialized = false;
    Data::String m_moduleName;
};

} // namespace Utils
