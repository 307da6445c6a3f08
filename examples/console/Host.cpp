#include "examples/console/Host.h"

#include "examples/console/Output.h"
#include "examples/console/Terminal.h"
#include "utils/feedback/Progress.h"
#include "utils/script/ScriptManager.h"

namespace Kelm {

Host::Host(const QMap<QString, QString> &variables, Messages messages)
    : m_variables(variables), m_messages(messages)
{}

void Host::print(const QString &line)
{
    m_bar.erase();
    printUnchanged(line);
    flushOutput();
    redraw();
}

void Host::printError(const QString &line)
{
    m_bar.erase();
    writeError(line);
    redraw();
}

bool Host::hasCancelled() const { return m_hasCancelled; }

Data::String Host::getVariable(const char *key, const Data::String &defaultValue)
{
    return m_variables.value(QString::fromUtf8(key), defaultValue);
}

void Host::showMessage(const Data::String &text, bool)
{
    if (m_messages == Messages::Shown)
        printError(text);
}

void Host::logMessage(const Data::String &text, int level)
{
    if (m_variables.value(QString("verbose")).toInt() >= level)
        printError(text);
}

void Host::setProgress(int count, int maxSteps, bool popup)
{
    Display &shown = display(popup);
    shown.state.count = count;
    shown.state.maxSteps = maxSteps;
    redraw();
    checkForCancel();
}

void Host::setProgressLabel(const Data::String &text, bool popup)
{
    // The first line: the next one says how to cancel, for which the bar has its own text.
    display(popup).state.label = withoutControls(text.section('\n', 0, 0).simplified());
    redraw();

    // Each task that has a label sets it when it begins. Every task sets it when it ends.
    const bool isTaskRunning = Utils::Progress::any();
    Terminal::deferInterrupt(isTaskRunning);
    if (!isTaskRunning && Terminal::wasInterrupted() && !m_hasCancelled)
        interruptOrEnd(); // the task has ended before it could be cancelled
}

void Host::showProgress(bool visible, bool cancelable, bool popup)
{
    Display &shown = display(popup);
    shown.isVisible = visible;
    shown.state.cancelable = cancelable;
    redraw();
    checkForCancel();
}

Host::Display &Host::display(bool popup) { return popup ? m_popup : m_ordinary; }

void Host::redraw()
{
    const bool popup = m_popup.isVisible;
    if (!display(popup).isVisible) {
        m_bar.erase();
        return;
    }
    ProgressBar::State state = display(popup).state;
    if (Utils::Progress *const task = Utils::Progress::current(popup)) {
        state.elapsed = task->elapsed();
        const Utils::Progress *const shown = task->whole();
        state.remaining = shown->remaining();
        state.rate = shown->rate();
        state.unit = withoutControls(shown->unit().simplified());
    }
    m_bar.draw(state);
}

void Host::checkForCancel()
{
    const bool isInterrupted = Terminal::wasInterrupted();
    if (!isInterrupted && !Terminal::wasEscapePressed())
        return;
    Utils::Progress *const task = Utils::Progress::any();
    if (task)
        task->cancel();
    if (task && task->cancelled())
        m_hasCancelled = true;
    else if (isInterrupted && !m_hasCancelled)
        interruptOrEnd();
}

void Host::interruptOrEnd()
{
    if (!Utils::ScriptManager::interrupt())
        Terminal::endCancelled();
    m_hasCancelled = true;
}

} // namespace Kelm
