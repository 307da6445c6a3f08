#include "utils/platform/Platform_unix_apart_p.h"

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <sched.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Utils::Platform {

namespace {

struct Call
{
    const Renaming &renaming;
    int result;
};

} // namespace

// The stack of such a function is freed after it, which the sanitizers do not know.
#if defined(__has_attribute)
#if __has_attribute(no_sanitize)
#define ON_OWN_STACK __attribute__((no_sanitize("address", "undefined")))
#endif
#endif
#ifndef ON_OWN_STACK
#define ON_OWN_STACK
#endif

/// Calls only functions that are allowed after vfork().
ON_OWN_STACK static int run(void *argument)
{
    auto *const call = static_cast<Call *>(argument);
    const Renaming &renaming = call->renaming;
    call->result = 0;
    if (linkat(AT_FDCWD, renaming.nameless, renaming.folder, renaming.between, AT_SYMLINK_FOLLOW) !=
        0) {
        call->result = errno;
    } else if (renameat(renaming.folder, renaming.between, renaming.folder, renaming.target) != 0) {
        call->result = errno;
        unlinkat(renaming.folder, renaming.between, 0);
    }
    return 0;
}

int renameApart(const Renaming &renaming)
{
    alignas(16) char stack[32768];
    sigset_t all;
    sigset_t before;
    sigfillset(&all); // handlers of signals must not run in the other process
    pthread_sigmask(SIG_SETMASK, &all, &before);
    // Without a signal at its end: the host neither receives one nor waits for this process.
    Call call = {renaming, EIO};
    const pid_t child = clone(&run, stack + sizeof(stack), CLONE_VM | CLONE_VFORK, &call);
    if (child < 0)
        run(&call);
    // It has ended. The result is not its exit code, because a host may wait for all children.
    while (child > 0 && waitpid(child, nullptr, __WCLONE) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return call.result;
}

} // namespace Utils::Platform
