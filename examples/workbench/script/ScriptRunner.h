#pragma once

#include <QElapsedTimer>
#include <QObject>

#include <functional>

namespace Utils {
class Progress;
}

namespace Workbench {

class ScriptEvents;

/// Runs scripts one at a time, with the windows drawn meanwhile. The status bar shows the run as a
/// task: Esc, its Cancel button and closing the window stop it.
class ScriptRunner : public QObject
{
    Q_OBJECT

public:
    explicit ScriptRunner(QObject *parent) : QObject(parent) {}

    bool isRunning() const { return m_progress; }

    /// Calls \p call, which runs a script by the ScriptManager. False, without the call, when a
    /// script runs already, or when Python cannot be started; \p error then has the reason.
    bool run(const QString &name, const std::function<void()> &call, QString &error);

    /// Ends the script by a KeyboardInterrupt. A second call ends it even if it catches that.
    void stop();

    /// Handles the events that are allowed while a script runs, for calls that wait.
    void handleEvents();

Q_SIGNALS:
    void started();
    void working(); ///< some thirty times a second
    void ended();

private:
    Utils::Progress *m_progress = nullptr; // of the run
    ScriptEvents *m_events = nullptr;
    QElapsedTimer m_sinceStart;
    bool m_isShown = false;
    bool m_isStopping = false;
};

} // namespace Workbench
