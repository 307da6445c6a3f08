#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Data {

/// The interface through which the library calls its host application. See Utils::setApplication().
class KELMUTILS_EXPORT IApplication
{
public:
    /// The host's value named \p key, or \p defaultValue when the host knows no such key.
    ///
    ///     "verbose"     a decimal number; 3 or more turns diagnostic logging on
    ///     "APP_PATH"    the program path given to the Python runtime
    ///     "PYTHON_DIR"  an explicit Python home folder
    ///     "HOME_DIR"    the application's home folder
    ///     "RES_DIR"     the resources folder
    virtual String getVariable(const char *key, const String &defaultValue) = 0;

    /// Shows the message line \p text to the user. The library always passes true for \p flag.
    virtual void showMessage(const String &text, bool flag) = 0;

    /// Writes the diagnostic line \p text. The library always passes 3 for \p level.
    virtual void logMessage(const String &text, int level) = 0;

    /// Reports progress: \p count of \p maxSteps steps are done. The host has two progress
    /// displays: in this function and the next two, \p popup selects the popup display instead of
    /// the ordinary one.
    virtual void setProgress(int count, int maxSteps, bool popup) = 0;

    /// Sets the text of the progress display.
    virtual void setProgressLabel(const String &text, bool popup) = 0;

    /// Shows or hides the progress display. With \p cancelable, the display lets the user cancel
    /// the task.
    virtual void showProgress(bool visible, bool cancelable, bool popup) = 0;

    virtual ~IApplication();
};

} // namespace Data
