// Executes its argument:
//
//     killOwnTree       starts two children and kills its own tree
//     killParent        kills the tree of its parent
//     waitInThreads     starts threads that wait
//     startFromThreads  starts children from several threads for a while
//     startFromGroup    starts many children, the last of which starts others for a while, in a
//                       group of its own

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

/// Prints when it has begun and when it ends.
static void startSleepers(int count, std::chrono::milliseconds interval)
{
    for (int i = 0; i < count; ++i) {
        startSleeper();
        if (i == 2)
            say("started");
        std::this_thread::sleep_for(interval);
    }
    say("ended");
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
    } else if (std::strcmp(what, "waitInThreads") == 0) {
        std::thread first(pause);
        std::thread second(pause);
        say("started");
        pause();
    } else if (std::strcmp(what, "startFromThreads") == 0) {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back(startSleepers, 1000, std::chrono::milliseconds(4));
        for (std::thread &thread : threads)
            thread.join();
    } else if (std::strcmp(what, "startFromGroup") == 0) {
        for (int i = 0; i < 200; ++i)
            startSleeper();
        std::signal(SIGHUP, SIG_IGN);
        if (fork() == 0) {
            setpgid(0, 0);
            startSleepers(4000, std::chrono::milliseconds(1));
        }
        pause();
    }
    return 1;
}
