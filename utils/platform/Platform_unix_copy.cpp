#include "utils/platform/Platform.h"

#include "utils/platform/Platform_unix_p.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace Utils::Platform {

namespace {

/// The result of a function in a copy of the process, in memory shared with the copy. The exit code
/// of the copy would not do, as the function may end the copy with any code.
enum class Outcome
{
    None,
    False,
    True
};
using SharedOutcome = std::atomic<Outcome>;

/// Ends a copy of the process before any exit function of the process is run.
struct ExitGuard
{
    ~ExitGuard() { _exit(0); }
};

} // namespace

/// Separates the copy from the process: input and output, signal handlers, exit functions.
static void detachCopy(pid_t original)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != original) // it has ended before the call above
        _exit(0);
    prctl(PR_SET_DUMPABLE, 0); // no core file, not even for a program that collects them
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_DFL ||
            action.sa_handler == SIG_IGN)
            continue;
        // The keys of a terminal send these to all its processes: if the process handles them, the
        // copy ignores them.
        const bool interrupts =
            number == SIGHUP || number == SIGINT || number == SIGQUIT || number == SIGTERM;
        action = {};
        action.sa_handler = interrupts ? SIG_IGN : SIG_DFL;
        sigaction(number, &action, nullptr);
    }
    const int nowhere = open("/dev/null", O_RDWR);
    for (int stream : {STDIN_FILENO, STDOUT_FILENO})
        dup2(nowhere, stream);
    if (nowhere > STDERR_FILENO)
        close(nowhere);

    // Exit functions run in reverse order, thread-local objects first. So none of the process is
    // run, such as those that flush files or remove folders.
    std::atexit([] { _exit(0); });
    thread_local const ExitGuard guard;
    (void)&guard;
}

[[noreturn]] static void runInCopy(const std::function<bool()> &function, SharedOutcome *outcome,
                                   pid_t original)
{
    try {
        detachCopy(original);
        *outcome = function() ? Outcome::True : Outcome::False;
    } catch (...) {
    }
    _exit(0);
}

/// Waits for the end of \p child, and kills it after \p limit.
static void waitForCopy(pid_t child, std::chrono::milliseconds limit)
{
    const std::chrono::microseconds longestPause(2000);
    const auto end = Clock::now() + limit;
    for (std::chrono::microseconds pause(100);; pause = std::min(pause * 2, longestPause)) {
        const pid_t ended = waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR)) // the host may have waited for it
            return;
        if (Clock::now() >= end)
            break;
        std::this_thread::sleep_for(pause);
    }
    killProcessTree(child);
    waitpid(child, nullptr, WNOHANG); // without waiting, in case it cannot be killed
}

std::optional<bool> tryInCopy(const std::function<bool()> &function,
                              std::chrono::milliseconds limit)
{
    void *const memory = mmap(nullptr, sizeof(SharedOutcome), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return {};
    auto *const outcome = new (memory) SharedOutcome(Outcome::None);
    const pid_t original = getpid();
    const pid_t child = fork();
    if (child == 0)
        runInCopy(function, outcome, original);
    if (child > 0)
        waitForCopy(child, limit);
    const bool isTrue = *outcome == Outcome::True;
    munmap(memory, sizeof(SharedOutcome));
    return child > 0 ? std::optional<bool>(isTrue) : std::nullopt;
}

} // namespace Utils::Platform
