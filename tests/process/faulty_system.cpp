// Executes its first argument, in a PID namespace of its own in which system calls fail with the
// error number in the second argument:
//
//     start ERROR      starts a process, which fails, and prints the result
//     move ERROR A B   moves a file when no process can be started
//     run ERROR P ...  executes the program P, which cannot start processes
//     kill ERROR ID    kills a process and its descendants, without handles of processes
//     send ERROR ID    the same, when no signal can be sent by a handle

#include "utils/files/File.h"
#include "utils/process/Process.h"

#include "tests/support/OwnNamespace.h"
#include "tests/support/SystemCalls.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using Utils::Process;

static void start()
{
    Process process("/bin/sleep", QStringList("60"));
    const bool isStarted = process.start();
    std::printf("%d %d %lld %s\n", isStarted, process.isRunning(),
                static_cast<long long>(process.getPID()), process.errorMessage().c_str());
    process.kill();
    process.wait(false);
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc < 3 || !OwnNamespace::isEntered())
        return 2;
    const char *const what = argv[1];
    const int error = std::atoi(argv[2]);
    const bool isSend = std::strcmp(what, "send") == 0;
    if (argc == 4 && (isSend || std::strcmp(what, "kill") == 0)) {
        if (!failSystemCalls({isSend ? SYS_pidfd_send_signal : SYS_pidfd_open}, error))
            return 3;
        Process::kill(std::atoi(argv[3]));
    } else {
        if (!failForks(error))
            return 3;
        if (std::strcmp(what, "start") == 0)
            start();
        else if (std::strcmp(what, "move") == 0 && argc == 5)
            Utils::File::move(argv[3], argv[4]);
        else if (std::strcmp(what, "run") == 0 && argc > 3) {
            setenv("LSAN_OPTIONS", "detect_leaks=0", 1); // which would need a thread, too
            execv(argv[3], argv + 3);
        } else
            return 2;
    }
    std::fflush(stdout);
    _exit(0); // without a leak check
}
