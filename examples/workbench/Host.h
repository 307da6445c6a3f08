#pragma once

#include "data/IApplication.h"

#include <QElapsedTimer>
#include <QMap>
#include <QObject>
#include <QPointer>

QT_FORWARD_DECLARE_CLASS(QStatusBar)

namespace Workbench {

class ProgressDisplay;

/// The host that the library calls: the program as a window.
///
/// While a task runs it draws the windows and lets the user cancel, but nothing else: other input
/// would start a second task in the middle of the first. Esc, the Cancel button and closing the
/// window cancel; the window closes when the task has ended. Input reaches only objects that belong
/// to one with the property "usableDuringTasks".
class Host : public QObject, public Data::IApplication
{
    Q_OBJECT

public:
    /// \p variables has the values for getVariable().
    explicit Host(const QMap<QString, QString> &variables);
    ~Host() override;

    /// The host of the program, or null when there is none.
    static Host *instance();

    /// Shows progress and messages in \p window: in its status bar and in a window above it.
    void setWindow(QWidget *window, QStatusBar *bar);

    Data::String getVariable(const char *key, const Data::String &defaultValue) override;
    void showMessage(const Data::String &text, bool flag) override;
    void logMessage(const Data::String &text, int level) override;
    void setProgress(int count, int maxSteps, bool popup) override;
    void setProgressLabel(const Data::String &text, bool popup) override;
    void showProgress(bool visible, bool cancelable, bool popup) override;

Q_SIGNALS:
    void cancelled(); ///< by the user, who may do it again when the task goes on

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    ProgressDisplay *display(bool popup) const;
    void cancel();
    void handleEvents();
    bool isForUs(QObject *object) const;

    const QMap<QString, QString> m_variables;
    QPointer<QWidget> m_window;
    QPointer<QStatusBar> m_bar;
    QPointer<ProgressDisplay> m_ordinary;
    QPointer<ProgressDisplay> m_popup;
    QElapsedTimer m_sinceEvents;
    bool m_isHandlingEvents = false;
    bool m_closesAfterTask = false;
};

} // namespace Workbench
