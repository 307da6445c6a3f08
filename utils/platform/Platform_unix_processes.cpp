#include "utils/platform/Platform.h"

#include "utils/platform/Platform_unix_p.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Utils::Platform {

void startChild(const std::function<void()> &start)
{
    struct sigaction before = {};
    sigaction(SIGCHLD, nullptr, &before);
    struct sigaction pipeBefore = {};
    sigaction(SIGPIPE, nullptr, &pipeBefore);
    start();

    // Qt ignores this signal for its own pipes. A host whose reader has gone would keep running.
    struct sigaction pipeNow = {};
    sigaction(SIGPIPE, nullptr, &pipeNow);
    if (pipeNow.sa_handler == SIG_IGN && pipeBefore.sa_handler != SIG_IGN)
        sigaction(SIGPIPE, &pipeBefore, nullptr);

    struct sigaction now = {};
    sigaction(SIGCHLD, nullptr, &now);
    const bool isNew = now.sa_handler != before.sa_handler && now.sa_handler != SIG_DFL &&
                       now.sa_handler != SIG_IGN;
    if (isNew && (now.sa_flags & SA_RESTART) == 0) {
        now.sa_flags |= SA_RESTART;
        sigaction(SIGCHLD, &now, nullptr);
    }
}

int errorOfPipes(int count)
{
    int ends[2];
    if (count == 0)
        return 0;
    if (pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    const Descriptor read(ends[0]);
    const Descriptor write(ends[1]);
    return errorOfPipes(count - 1);
}

bool isChild(std::int64_t id)
{
    siginfo_t info = {};
    return isProcessNumber(id) &&
           waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

std::string commandLine(const std::vector<std::string> &words) { return shellCommandLine(words); }

} // namespace Utils::Platform
