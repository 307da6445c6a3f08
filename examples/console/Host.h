#pragma once

#include "data/IApplication.h"
#include "examples/console/ProgressBar.h"

#include <QMap>

namespace Kelm {

/// The host that the library calls.
///
/// Writes messages and log lines to standard error, one per line, and shows progress as a bar on
/// the terminal. Esc cancels the task whose bar is shown. Ctrl-C cancels the task, too, even in the
/// two seconds before the bar is shown. One while no task can be cancelled ends the script that
/// runs, or without one the program. A second Ctrl-C ends the program.
class Host : public Data::IApplication
{
public:
    enum class Messages
    {
        Shown,
        Hidden
    };

    /// \p variables has the values for getVariable(). The variable "verbose" is the highest level
    /// of log lines that are written.
    Host(const QMap<QString, QString> &variables, Messages messages);

    /// Writes a line to standard output at once and unchanged, above the bar when there is one.
    void print(const QString &line);

    /// Writes a line to standard error, above the bar when there is one.
    void printError(const QString &line);

    /// Whether the user has cancelled a task.
    bool hasCancelled() const;

    Data::String getVariable(const char *key, const Data::String &defaultValue) override;
    void showMessage(const Data::String &text, bool flag) override;
    void logMessage(const Data::String &text, int level) override;
    void setProgress(int count, int maxSteps, bool popup) override;
    void setProgressLabel(const Data::String &text, bool popup) override;
    void showProgress(bool visible, bool cancelable, bool popup) override;

private:
    /// One of the two displays of the library. A terminal has room for one: the display of popup
    /// tasks is shown rather than the ordinary one.
    struct Display
    {
        bool isVisible = false;
        ProgressBar::State state;
    };

    Display &display(bool popup);
    void redraw();
    void checkForCancel();

    /// Ends the script that runs, or without one the program.
    void interruptOrEnd();

    const QMap<QString, QString> m_variables;
    const Messages m_messages;
    ProgressBar m_bar;
    Display m_ordinary;
    Display m_popup;
    bool m_hasCancelled = false;
};

} // namespace Kelm
