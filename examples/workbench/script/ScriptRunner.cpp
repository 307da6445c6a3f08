#include "examples/workbench/script/ScriptRunner.h"

#include "examples/workbench/Host.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/script/ScriptEvents.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/script/ScriptManager.h"

namespace Workbench {

using Utils::Progress;
using Utils::ScriptManager;

static const int patience = 200; // milliseconds until a run is shown in the status bar

static bool startPython(QString &error)
{
    const Utils::WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    // Modules may be in folders of others: no compiled files are written there.
    if (!qEnvironmentVariableIsSet("PYTHONDONTWRITEBYTECODE"))
        qputenv("PYTHONDONTWRITEBYTECODE", "1");
    Data::String reason;
    if (ScriptManager::instance().validate("", "py", reason))
        return true;
    error = reason.isEmpty() ? text(".err.noPython") : QString(reason);
    return false;
}

bool ScriptRunner::run(const QString &name, const std::function<void()> &call, QString &error)
{
    if (m_progress || !startPython(error))
        return false;
    ScriptManager::setTimeLimit(Preferences::scriptTimeLimit.value() * 1000);
    m_isShown = m_isStopping = false;
    m_sinceStart.start();
    {
        Progress progress(0, text(".msg.runningScript").arg(name), /*cancelable=*/true);
        m_progress = &progress;
        const auto cancelling =
            connect(Host::instance(), &Host::cancelled, this, &ScriptRunner::stop);
        Q_EMIT started();
        {
            ScriptEvents events([this] { handleEvents(); });
            m_events = &events;
            call();
            m_events = nullptr;
        }
        disconnect(cancelling);
        m_progress = nullptr;
    }
    Q_EMIT ended();
    return true;
}

void ScriptRunner::stop()
{
    if (!m_progress)
        return;
    if (m_isStopping && m_events)
        m_events->force();
    m_isStopping = true;
    ScriptManager::interrupt();
}

void ScriptRunner::handleEvents()
{
    Q_EMIT working();
    if (!m_progress || m_sinceStart.elapsed() < patience)
        return;
    // The host handles events at each report. A Progress of the script itself is left as it is.
    Progress *const innermost = Progress::any();
    if (m_isShown && innermost == m_progress)
        m_progress->tick();
    else
        innermost->show();
    m_isShown = true;
}

} // namespace Workbench
