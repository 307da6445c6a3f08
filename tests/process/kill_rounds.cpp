// Kills a process tree that keeps growing, many times, in a PID namespace of its own, and prints
// the result in one line:
//
//     kill_rounds [ROUNDS]
//
// The exit code is 0 when no process of any tree was left, 1 when one was, and 77 when such a
// namespace is not allowed.

#include "utils/process/Process.h"

#include "tests/support/OwnNamespace.h"

#include <QDir>
#include <QElapsedTimer>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

using Utils::Process;

/// A process that is not killed ends by itself after so many seconds.
static const unsigned int longest = 20;

static const int levels = 3;

/// Has two children, which have two children each, and keeps starting others.
[[noreturn]] static void grow(int level)
{
    alarm(longest);
    for (int i = 0; i < 2 && level < levels; ++i) {
        if (fork() == 0)
            grow(level + 1);
    }
    if (level == levels) {
        std::putchar('.');
        std::fflush(stdout);
    }
    for (int i = 0; i < 2000; ++i) {
        if (fork() == 0) {
            alarm(longest);
            if (i % 4 != 0) // one in four ends at once
                pause();
            _exit(0);
        }
        usleep(1000);
    }
    pause();
    _exit(0);
}

/// The number of processes that run in the namespace, without this one.
static int countOthers()
{
    int count = 0;
    const QStringList folders = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &folder : folders) {
        QFile file(QStringLiteral("/proc/%1/stat").arg(folder));
        if (folder.toInt() <= 0 || folder.toInt() == getpid() || !file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray text = file.readAll();
        const char state = text.mid(text.lastIndexOf(')')).append("    ").at(2);
        count += state != 'Z' && state != 'X' && state != ' ' ? 1 : 0;
    }
    return count;
}

/// The first process of a namespace becomes the parent of orphans.
static void forgetOrphans()
{
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

int main(int argc, char **argv)
{
    const bool isTree = argc == 2 && std::strcmp(argv[1], "grow") == 0;
    const int rounds = argc == 2 ? std::atoi(argv[1]) : 440;
    if (argc > 2 || (rounds <= 0 && !isTree)) {
        std::fprintf(stderr, "usage: kill_rounds [ROUNDS]\n");
        return 2;
    }
    OwnNamespace::enter(argv);
    if (!OwnNamespace::isEntered() || (!isTree && getpid() != 1)) {
        std::fprintf(stderr, "kill_rounds: a PID namespace of its own is not allowed here\n");
        return 77;
    }
    if (isTree)
        grow(1);

    const QCoreApplication application(argc, argv);
    const QString program = QString::fromLocal8Bit(OwnNamespace::linkTarget("/proc/self/exe"));
    std::vector<qint64> times;
    qint64 killed = 0;
    int left = 0;
    for (int round = 0; round < rounds; ++round) {
        Process process(program, {QStringLiteral("grow")});
        if (!process.start()) {
            std::fprintf(stderr, "kill_rounds: %s\n", process.errorMessage().c_str());
            return 2;
        }
        // In each round at a different moment of the growth.
        const auto isGrown = [&] { return process.output().count('.') == 1 << (levels - 1); };
        if (!QTest::qWaitFor(isGrown, 10000)) {
            std::fprintf(stderr, "kill_rounds: a tree did not grow\n");
            return 2;
        }
        usleep(static_cast<useconds_t>(round % 20) * 1000);
        killed += countOthers();

        QElapsedTimer timer;
        timer.start();
        process.kill();
        times.push_back(timer.nsecsElapsed());
        left += countOthers();

        process.wait(/*showProgress=*/false);
        forgetOrphans();
    }

    std::sort(times.begin(), times.end());
    const double ms = 1e6;
    std::printf("tree kill: %d rounds, %lld processes seen, %d left, median %.1f ms, longest %.1f "
                "ms\n",
                rounds, static_cast<long long>(killed), left,
                static_cast<double>(times[times.size() / 2]) / ms,
                static_cast<double>(times.back()) / ms);
    return left == 0 ? 0 : 1;
}
