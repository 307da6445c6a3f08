// Does what its argument says:
//
//     killOwnTree       starts two children and kills itself with them
//     killParent        kills the one that started it, and all below that
//     startFromThreads  starts children from several threads for a while

#include "utils/process/Process.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <spawn.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char **environ;

static void startSleeper()
{
    char program[] = "/bin/sleep";
    char seconds[] = "60";
    char *const arguments[] = {program, seconds, nullptr};
    pid_t child;
    if (posix_spawn(&child, program, nullptr, nullptr, arguments, environ) != 0)
        _exit(1);
}

static void say(const char *text)
{
    std::puts(text);
    std::fflush(stdout);
}

int main(int argc, char **argv)
{
    const char *const what = argc == 2 ? argv[1] : "";
    if (std::strcmp(what, "killOwnTree") == 0) {
        startSleeper();
        startSleeper();
        say("two children");
        Utils::Process::kill(getpid());
    } else if (std::strcmp(what, "killParent") == 0) {
        Utils::Process::kill(getppid());
    } else if (std::strcmp(what, "startFromThreads") == 0) {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([] {
                for (int count = 0; count < 500; ++count) {
                    startSleeper();
                    if (count == 2)
                        say("started");
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        say("ended");
    }
    return 1;
}
