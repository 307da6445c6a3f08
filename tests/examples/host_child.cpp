// The host of kelm with a task that its first argument names:
//
//     steps NUMBER...  has 100 steps, and goes to each NUMBER
//     cancelable       counts on until it is cancelled
//     popup            the same on the popup display
//     hidden           the same, but its bar is not there at first
//     fixed            counts on and cannot be cancelled
//     late             ends when Ctrl-C was pressed, without asking whether it is cancelled
//     deaf             goes on then
//     idle             waits, without a task
//     message          writes to both streams while there is a bar
//
// Status 130 means that the task was cancelled, 0 that it was completed.

#include "examples/console/ExitCode.h"
#include "examples/console/Host.h"
#include "examples/console/Terminal.h"
#include "utils/Application.h"
#include "utils/feedback/Progress.h"

#include <QCoreApplication>
#include <QThread>

#include <cstdlib>

using Utils::Progress;

/// Counts in the label until \p progress is cancelled, or for a minute.
static void countOn(Progress &progress)
{
    for (int step = 0; step < 60000 && !progress.cancelled(); ++step) {
        progress.setLabel("Step " + QString::number(step) + "\n");
        progress.tick();
        QThread::msleep(1);
    }
}

int main(int argc, char **argv)
{
    Kelm::Terminal::replaceClosedStreams();
    Kelm::Terminal::handleSignals();
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const QString task = arguments.value(1);
    Kelm::Host host({}, Kelm::Host::Messages::Shown);
    Utils::setApplication(&host);

    if (task == "steps") {
        Progress progress(100, "Working");
        progress.show();
        for (int i = 2; i < argc; ++i)
            progress.setCount(arguments[i].toInt());
    } else if (task == "cancelable" || task == "popup") {
        Progress progress(0, "Working", /*cancelable=*/true, false, task == "popup");
        progress.show();
        countOn(progress);
    } else if (task == "hidden") {
        Progress progress(0, "Working", /*cancelable=*/true);
        host.printError("Hidden");
        countOn(progress);
    } else if (task == "fixed") {
        Progress progress(0, "Working");
        progress.show();
        countOn(progress);
    } else if (task == "late" || task == "deaf") {
        {
            const Progress progress(0, "Working", /*cancelable=*/true);
            host.printError("Started");
            while (!Kelm::Terminal::wasInterrupted())
                QThread::msleep(1);
            host.printError("Noted");
            if (task == "deaf") {
                QThread::sleep(60);
                std::_Exit(Kelm::Good); // the end of the task would see that Ctrl-C was pressed
            }
        }
        host.printError("Not reached");
    } else if (task == "idle") {
        host.printError("Idle");
        QThread::sleep(60);
    } else if (task == "message") {
        Progress progress(100, "Working");
        progress.show();
        progress.setCount(50);
        host.showMessage("A message", true);
        host.print("An output");
        progress.setCount(100);
    }
    Utils::setApplication(nullptr);
    return host.hasCancelled() ? Kelm::Cancelled : Kelm::Good;
}
