#include "utils/process/ChildProcess_p.h"

#include "utils/platform/Platform.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <thread>

namespace Utils {

ChildProcess::~ChildProcess()
{
    // Qt waits for such a child as soon as it ends. Its number may be that of another process
    // by now, which the base class would kill.
    if (state() == NotRunning || Platform::isChild(processId()))
        return;
    waitForFinished(1000); // fails if Qt ran out of memory when the child ended
    setProcessState(NotRunning);
}

void ChildProcess::run(const QString &program, const QStringList &arguments)
{
    try {
        Platform::startChild([&] { start(program, arguments, ReadWrite); });
    } catch (const std::bad_alloc &) {
        // For Qt it is about to start; it would wait 30 seconds for that.
        if (processId() == 0)
            setProcessState(NotRunning);
        throw;
    }
    if (state() != NotRunning || program.isEmpty())
        return;
    // Qt prints a warning before it reads errno of the failed pipe, and so loses it.
    const int pipeError = Platform::errorOfPipes(3);
    if (pipeError != 0)
        setErrorString(qt_error_string(pipeError));
}

void ChildProcess::abandon() noexcept
{
    try {
        setErrorString(QString()); // not that of an earlier program
        if (state() != NotRunning && Platform::isChild(processId())) {
            kill();
            waitForFinished(1000);
        }
    } catch (const std::bad_alloc &) {
        // When the child ends, Qt writes to a pipe of this object. If that were closed by then,
        // a signal would end this process.
        for (int i = 0; i < 1000 && Platform::isChild(processId()); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // in another thread
    }
    try {
        if (state() != NotRunning)
            setProcessState(NotRunning);
        setErrorString(QString::fromLocal8Bit(std::strerror(ENOMEM)));
    } catch (const std::bad_alloc &) {
        // errorMessage() is "" as long as there is no memory for another one.
    }
}

} // namespace Utils
