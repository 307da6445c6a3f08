// Does what its first argument says where calls of the system fail with the error number that the
// second one is, in a PID namespace of its own:
//
//     start ERROR      starts a process, which fails; says what came of it
//     move ERROR A B   moves a file, for which no process can be started
//     run ERROR P ...  becomes the program P, which can start no process
//     kill ERROR ID    kills a process and what it has started, without handles of processes
//     send ERROR ID    the same, without a signal by a handle

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
