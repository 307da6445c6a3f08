#include "utils/platform/Platform.h"
#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/Limits.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"

#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using OwnNamespace::AsOrdinaryUser;
using Utils::Process;

namespace Platform = Utils::Platform;

/// The number of allocations that succeed; negative when all do.
static int allocationsLeft = -1;

void *operator new(std::size_t size)
{
    if (allocationsLeft == 0)
        throw std::bad_alloc();
    if (allocationsLeft > 0)
        --allocationsLeft;
    void *const memory = std::malloc(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }

/// The number of files in /proc that can be opened; negative when all can.
static int opensLeft = -1;
static bool failsForGood = false;
static bool hasHandles = true;

static bool opens(const char *path)
{
    if (opensLeft < 0 || qstrncmp(path, "/proc/", 6) != 0)
        return true;
    if (opensLeft > 0) {
        --opensLeft;
        return true;
    }
    opensLeft = failsForGood ? 0 : -1;
    errno = EIO;
    return false;
}

// They replace the functions of the C library.
extern "C" __attribute__((visibility("default"))) int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return opens(path) ? static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode)) : -1;
}

static bool isSignalGone();

extern "C" __attribute__((visibility("default"))) long syscall(long number, ...) noexcept
{
    using Call = long (*)(long, ...);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "syscall"));
    va_list list;
    va_start(list, number);
    long values[6];
    for (long &value : values)
        value = va_arg(list, long);
    va_end(list);
    if (number == SYS_pidfd_send_signal && isSignalGone()) {
        errno = ESRCH;
        return -1;
    }
    if (number == SYS_pidfd_open && !hasHandles) {
        errno = ENOSYS;
        return -1;
    }
    return next(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}

/// The result of one system call, after some normal ones.
enum class Fault
{
    None,
    ReadFails,
    ReadFindsItGone,
    ReadFindsNothing,
    ReadFindsAPart,
    ListingFails,
    SignalFindsItGone
};
static Fault fault = Fault::None;
static int callsBefore = 0;

static bool isDue(Fault kind) { return fault == kind && callsBefore-- == 0; }
static bool isSignalGone() { return isDue(Fault::SignalFindsItGone); }

extern "C" __attribute__((visibility("default"))) ssize_t read(int file, void *bytes, size_t size)
{
    const bool isGone = isDue(Fault::ReadFindsItGone);
    if (isGone || isDue(Fault::ReadFails)) {
        errno = isGone ? ESRCH : EIO;
        return -1;
    }
    if (isDue(Fault::ReadFindsNothing))
        return 0;
    if (isDue(Fault::ReadFindsAPart)) {
        std::memcpy(bytes, "2 (sh) S", 8);
        return 8;
    }
    return syscall(SYS_read, file, bytes, size);
}

extern "C" __attribute__((visibility("default"))) dirent *readdir(DIR *folder)
{
    if (isDue(Fault::ListingFails)) {
        errno = EIO;
        return nullptr;
    }
    static const auto next = reinterpret_cast<dirent *(*)(DIR *)>(dlsym(RTLD_NEXT, "readdir"));
    return next(folder);
}

static bool seesOwnEnd = false;

extern "C" __attribute__((visibility("default"))) int kill(pid_t id, int number) noexcept
{
    if (seesOwnEnd && id == getpid() && number == SIGKILL)
        _exit(77);
    return static_cast<int>(syscall(SYS_kill, id, number));
}

/// Process trees that are killed when system calls fail.
class tst_Process_kill_faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        ENTER_OWN_NAMESPACE_OR_SKIP();
        QCOMPARE(getpid(), 1);
    }

    void takesTheTreeWithoutHandles_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<int>("error");

        QTest::newRow("an old system") << "kill" << ENOSYS;
        QTest::newRow("no descriptors") << "kill" << EMFILE;
        QTest::newRow("no descriptors of the system") << "kill" << ENFILE;
        QTest::newRow("not allowed") << "kill" << EPERM;
        QTest::newRow("a system that is older yet") << "send" << ENOSYS;
        QTest::newRow("sending not allowed") << "send" << EPERM;
    }

    void takesTheTreeWithoutHandles()
    {
        QFETCH(QString, what);
        QFETCH(int, error);
        const MarkedProcesses marked;
        Process tree("/bin/sh");
        QVERIFY(startTree(tree, marked));
        Process killer(FAULTY_SYSTEM,
                       {what, QString::number(error), QString::number(tree.getPID())});

        QVERIFY(killer.start());
        QVERIFY(killer.wait(false));

        if (killer.exitCode() == 3)
            QSKIP("calls cannot be made to fail here");
        QCOMPARE(killer.exitCode(), 0);
        QCOMPARE(marked.ids(), QList<pid_t>());
        QVERIFY(tree.wait(false));
        QCOMPARE(tree.exitCode(), SIGKILL);
    }

    /// A single descriptor is enough; without one, only the program itself is killed.
    void takesWhatItCanWithFewDescriptors_data()
    {
        QTest::addColumn<int>("room");
        QTest::addColumn<int>("left");

        QTest::newRow("none") << 0 << 3;
        QTest::newRow("one") << 1 << 0;
        QTest::newRow("two") << 2 << 0;
        QTest::newRow("three") << 3 << 0;
    }

    void takesWhatItCanWithFewDescriptors()
    {
        QFETCH(int, room);
        QFETCH(int, left);
        const MarkedProcesses marked;
        Process tree("/bin/sh");
        QVERIFY(startTree(tree, marked));
        int used = 0;
        for (const QString &name : QDir("/proc/self/fd").entryList(QDir::NoFilter))
            used = qMax(used, name.toInt() + 1);
        QList<int> fillers;
        const auto free = qScopeGuard([&] {
            for (const int filler : qAsConst(fillers))
                close(filler);
        });
        {
            const Limit limit(RLIMIT_NOFILE, static_cast<rlim_t>(used + room));
            for (int filler = dup(STDERR_FILENO); filler >= 0; filler = dup(STDERR_FILENO))
                fillers.append(filler);
            for (int i = 0; i < room; ++i)
                close(fillers.takeLast());

            tree.kill();
        }

        QVERIFY(tree.wait(false));
        QCOMPARE(tree.exitCode(), SIGKILL);
        QCOMPARE(marked.ids().size(), left);
    }

    /// The processes that were found before the memory was exhausted are killed. None stays
    /// stopped.
    void stopsNothingForGoodWhenTheMemoryIsOut()
    {
        bool isOut = true;
        int parts = 0;
        const int before = descriptors();
        for (int room = 0; isOut; room = room < 40 ? room + 1 : room * 2) {
            QCOMPARE(descriptors(), before);
            const MarkedProcesses marked;
            Process tree("/bin/sh");
            QVERIFY(startTree(tree, marked));

            allocationsLeft = room;
            const bool isKilled = Platform::killProcessTree(tree.getPID());
            isOut = allocationsLeft == 0;
            allocationsLeft = -1;

            if (!isOut) {
                QVERIFY(isKilled);
                QCOMPARE(marked.ids(), QList<pid_t>());
            } else if (isKilled) { // it is being killed, but could not be waited for
                ++parts;
                QVERIFY(tree.wait(false));
            } else {
                QCOMPARE(marked.ids().size(), 4);
            }
            QTRY_VERIFY_WITH_TIMEOUT(!hasStopped(marked.ids()), 60000);
            tree.kill();
            QVERIFY(tree.wait(false));
            QCOMPARE(tree.exitCode(), SIGKILL);
        }
        QCOMPARE(descriptors(), before);
        QVERIFY(parts > 5);
    }

    void stopsNothingForGoodWhereProcessesCannotBeRead_data()
    {
        QTest::addColumn<bool>("forGood");
        QTest::addColumn<bool>("handles");

        QTest::newRow("once") << false << true;
        QTest::newRow("once, without handles") << false << false;
        QTest::newRow("for good") << true << true;
        QTest::newRow("for good, without handles") << true << false;
    }

    /// A call that fails once is tried again. If it keeps failing, the processes found so far are
    /// killed, if necessary without handles.
    void stopsNothingForGoodWhereProcessesCannotBeRead()
    {
        QFETCH(bool, forGood);
        QFETCH(bool, handles);
        bool isOut = true;
        int kept = 0;
        for (int room = 0; isOut; room = room < 25 ? room + 1 : room * 2) {
            const MarkedProcesses marked;
            Process tree("/bin/sh");
            QVERIFY(startTree(tree, marked));

            opensLeft = room;
            failsForGood = forGood;
            hasHandles = handles;
            const bool isKilled = Platform::killProcessTree(tree.getPID());
            isOut = forGood ? opensLeft == 0 : opensLeft < 0;
            opensLeft = -1;
            hasHandles = true;

            QTRY_VERIFY_WITH_TIMEOUT(!hasStopped(marked.ids()), 60000);
            if (!forGood || !isOut) {
                QVERIFY(isKilled);
                QCOMPARE(marked.ids(), QList<pid_t>());
            } else if (!isKilled) {
                QCOMPARE(marked.ids().contains(static_cast<pid_t>(tree.getPID())), true);
                QVERIFY(room == 0 || !handles || room < 4);
                ++kept;
            }
            tree.kill();
            QVERIFY(tree.wait(false));
            QCOMPARE(tree.exitCode(), SIGKILL);
        }
        QCOMPARE(kept > 0, forGood);
    }

    void stopsNothingForGoodWhereACallFails_data()
    {
        QTest::addColumn<int>("kind");

        QTest::newRow("a read") << int(Fault::ReadFails);
        QTest::newRow("a read of what is gone") << int(Fault::ReadFindsItGone);
        QTest::newRow("a read without bytes") << int(Fault::ReadFindsNothing);
        QTest::newRow("a read of a part") << int(Fault::ReadFindsAPart);
        QTest::newRow("a listing") << int(Fault::ListingFails);
        QTest::newRow("a signal to what is gone") << int(Fault::SignalFindsItGone);
    }

    void stopsNothingForGoodWhereACallFails()
    {
        QFETCH(int, kind);
        bool isOut = true;
        for (int room = 0; isOut; room = room < 6 ? room + 1 : room * 2) {
            const MarkedProcesses marked;
            Process tree("/bin/sh");
            QVERIFY(startTree(tree, marked));

            fault = static_cast<Fault>(kind);
            callsBefore = room;
            const bool isKilled = Platform::killProcessTree(tree.getPID());
            fault = Fault::None;
            isOut = callsBefore < 0;

            QTRY_VERIFY_WITH_TIMEOUT(!hasStopped(marked.ids()), 60000);
            QVERIFY(isKilled || isOut);
            if (!isOut)
                QCOMPARE(marked.ids(), QList<pid_t>());
            tree.kill();
            QVERIFY(tree.wait(false));
            for (const pid_t id : marked.ids())
                Platform::killProcessTree(id);
        }
    }

    void killsItselfLast()
    {
        int ends[2];
        QCOMPARE(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            if (fork() == 0) {
                for (;;)
                    pause();
            }
            seesOwnEnd = true;
            Platform::killProcessTree(getpid());
            _exit(1);
        }
        close(ends[1]);
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 77);
        char byte = 0;
        QCOMPARE(read(ends[0], &byte, 1), ssize_t(0)); // the other one has ended before
        close(ends[0]);
    }

    void startsOrTellsWhereTheMemoryIsOut()
    {
        bool isOut = true;
        int failed = 0;
        for (int room = 0; isOut; ++room) {
            Process process("/bin/sleep", QStringList("60"));
            allocationsLeft = room;
            const bool isStarted = process.start();
            isOut = allocationsLeft == 0;
            allocationsLeft = -1;

            QVERIFY(isStarted || isOut);
            QCOMPARE(process.isRunning(), isStarted);
            failed += isStarted ? 0 : 1;
            process.kill();
            process.wait(false);
            QVERIFY(!process.isRunning());
        }
        QVERIFY(failed > 0);
    }

    void killsTheProgramWhenItIsOutOfMemory()
    {
        const MarkedProcesses marked;
        Process tree("/bin/sh");
        QVERIFY(startTree(tree, marked));

        allocationsLeft = 0;
        tree.kill();
        allocationsLeft = -1;

        QVERIFY(tree.wait(false));
        QCOMPARE(tree.exitCode(), SIGKILL);
    }

    void leavesDescendantsWhereProcessesCannotBeListed_data()
    {
        QTest::addColumn<bool>("isStop");
        QTest::addColumn<int>("exitCode");

        QTest::newRow("kill") << false << SIGKILL;
        QTest::newRow("stop") << true << SIGTERM;
    }

    void leavesDescendantsWhereProcessesCannotBeListed()
    {
        QFETCH(bool, isStop);
        QFETCH(int, exitCode);
        const MarkedProcesses marked;
        Process tree("/bin/sh");
        tree.setStopPolicy(60000, Process::AskTree);
        QVERIFY(startTree(tree, marked));

        failsForGood = true;
        opensLeft = 0;
        if (isStop)
            QVERIFY(tree.stop());
        else
            tree.kill();
        opensLeft = -1;

        QVERIFY(tree.wait(false));
        QCOMPARE(tree.exitCode(), exitCode);
        QCOMPARE(marked.ids().size(), 3);
    }

    /// /proc may hide what the user cannot read, such as a program without the right to read it.
    void takesTheProgramThatCannotBeRead()
    {
        const QTemporaryDir folder;
        QVERIFY(QFile::setPermissions(folder.path(), QFile::Permissions(0x7755)));
        const QString program = folder.filePath("sleep");
        QVERIFY(QFile::copy("/bin/sleep", program));
        QCOMPARE(chmod(qPrintable(program), 0111), 0);
        if (mount("proc", "/proc", "proc", 0, "hidepid=invisible,gid=65533") != 0)
            QSKIP("/proc cannot be mounted here");
        const auto restore = qScopeGuard([] { umount("/proc"); });
        const AsOrdinaryUser user;
        QVERIFY(user.isDone());
        Process process(program, QStringList("60"));
        QVERIFY2(process.start(), process.errorMessage().c_str());
        QVERIFY(!QFile::exists(QString("/proc/%1").arg(process.getPID())));

        QVERIFY(!Platform::killProcessTree(process.getPID()));
        process.kill();

        QVERIFY(process.wait(false));
        QCOMPARE(process.exitCode(), SIGKILL);
    }

private:
    /// Starts four processes on three levels.
    static bool startTree(Process &process, const MarkedProcesses &marked)
    {
        process.setArguments(
            shellArguments("sh -c 'sleep 60 & sleep 60 & echo .; wait' & echo .; wait"));
        marked.mark(process);
        return process.start() &&
               QTest::qWaitFor(
                   [&] { return process.output().count('.') == 2 && marked.ids().size() == 4; },
                   60000);
    }

    static int descriptors()
    {
        return QDir("/proc/self/fd")
            .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
            .size();
    }

    static bool hasStopped(const QList<pid_t> &ids)
    {
        return std::any_of(ids.begin(), ids.end(), [](pid_t id) {
            QFile file(QString("/proc/%1/stat").arg(id));
            return file.open(QIODevice::ReadOnly) && file.readAll().contains(") T ");
        });
    }
};

OWN_NAMESPACE_MAIN(tst_Process_kill_faults)
#include "tst_Process_kill_faults.moc"
