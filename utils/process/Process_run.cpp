// A program that is run to its end, and stopped.

#include "utils/process/Process.h"

#include "utils/base/Interrupt_p.h"
#include "utils/base/LastError_p.h"
#include "utils/platform/Platform.h"
#include "utils/process/Process_p.h"

#include <QDeadlineTimer>
#include <QPointer>
#include <QScopeGuard>

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace Utils {

/// The interval at which descendants are searched while their end is waited for, in milliseconds.
static const int searchPause = 50;

/// How long their end is waited for when the script that waits is interrupted.
static const int interruptedStopTime = 50;

/// How long the end of a program that was killed is waited for.
static const int killTime = 5000;

/// Whether \p process runs the program with the number \p pid. It does not after its end, and when
/// a line function has started a program again.
static bool isProgram(const QPointer<QProcess> &process, qint64 pid)
{
    return process && pid > 0 && process->processId() == pid;
}

Process::RunResult Process::run(int timeout)
{
    const LastError failure;
    const Data::String command = d->command;
    if (d->process.state() != QProcess::NotRunning) {
        LastError::setFor(".err.processrun", command);
        return RunNotStarted;
    }
    const QPointer<QProcess> process = &d->process;
    const QDeadlineTimer end(timeout < 0 ? -1 : timeout);
    if (!start()) {
        LastError::setFor(".err.processstart", command, errorMessage());
        return RunNotStarted;
    }

    const qint64 pid = process ? process->processId() : 0;
    const auto isRunning = [&] { return isProgram(process, pid); };
    while (isRunning() && !end.hasExpired() && !Interrupt::isRequested())
        d->waitForEndOrInterrupt(end.isForever() ? -1 : static_cast<int>(end.remainingTime()));
    if (!isRunning()) {
        if (process && d->isOutputLost)
            LastError::set(".err.memory");
        return RunFinished;
    }

    const bool isInterrupted = Interrupt::isRequested();
    const bool hasEnded = stop();
    if (isInterrupted)
        LastError::set(".err.scriptinterrupt");
    else
        LastError::setFor(hasEnded ? ".err.processtime" : ".err.processstays", command,
                          QString::number(timeout));
    return RunTimedOut;
}

void Process::setStopPolicy(int waitTime, StopRequest request)
{
    d->isStopPolicySet = waitTime >= 0;
    d->stopTime = waitTime >= 0 ? waitTime : ProcessPrivate::defaultStopTime;
    d->stopRequest = waitTime >= 0 ? request : AskProgram;
}

/// Null when memory is lacking.
static std::unique_ptr<Platform::ProcessTree> makeTree(qint64 pid)
{
    try {
        return std::make_unique<Platform::ProcessTree>(pid);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

/// Waits up to \p time milliseconds until the program of \p d with the number \p pid, and \p tree
/// if there is one, have ended. An interrupt leaves only interruptedStopTime. The object may be
/// deleted meanwhile.
static void waitForTree(ProcessPrivate *d, qint64 pid, Platform::ProcessTree *tree, int time)
{
    const QPointer<QProcess> process = &d->process;
    const auto isRunning = [&] { return isProgram(process, pid); };
    QDeadlineTimer end(time);
    bool isInterrupted = false;
    bool isLeft = false; // the tree, by its program
    while (!end.hasExpired() && (isRunning() || (tree && !tree->hasEnded()))) {
        if (Interrupt::isRequested() && !std::exchange(isInterrupted, true))
            end = std::min(end, QDeadlineTimer(interruptedStopTime));
        const auto pause = static_cast<int>(qMin<qint64>(searchPause, end.remainingTime()));
        if (isRunning())
            d->waitForEndOrInterrupt(pause);
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(qMin(pause, 5)));
        if (!tree)
            continue;
        tree->update();
        // Only once: what those that were asked start in order to end is left alone.
        if (!isRunning() && !std::exchange(isLeft, true))
            tree->ask(/*all=*/true);
    }
}

bool Process::stop()
{
    const QPointer<QProcess> process = &d->process;
    const qint64 pid = getPID();
    const auto isRunning = [&] { return isProgram(process, pid); };
    if (d->process.state() == QProcess::NotRunning)
        return true;
    if (d->isStopping)
        return false;
    d->isStopping = true;
    const auto stopped = qScopeGuard([&] {
        if (process) // else this object has been deleted
            d->isStopping = false;
    });

    const auto tree = d->killMode == KillSingle ? nullptr : makeTree(pid);
    const int time = d->stopTime;
    // The number belongs to the program as long as it is a child that has not been waited for.
    if (time > 0 && Platform::isChild(pid)) {
        const bool isAsked = tree && tree->ask(d->stopRequest == AskTree);
        if (!isAsked)
            process->terminate();
    }
    if (time > 0)
        waitForTree(d.get(), pid, tree.get(), time);
    if (tree)
        tree->kill();
    if (isRunning() && Platform::isChild(pid))
        process->kill();
    if (isRunning())
        d->waitForEnd(killTime);
    return !isRunning();
}

} // namespace Utils
