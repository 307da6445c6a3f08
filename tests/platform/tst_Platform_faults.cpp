#include "utils/platform/Platform.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h" // contentsOf
#include "tests/support/OwnNamespace.h"

#include <QtTest>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace Platform = Utils::Platform;

Q_DECLARE_METATYPE(std::function<void()>)

static const std::size_t mebibyte = 1 << 20;

/// What the system does otherwise than it should. Each number is how many calls fail.
struct System
{
    bool hasActions = true;
    int addedActions = 3; ///< before one cannot be added
    int interruptedWaits = 0;
    bool areChildrenTaken = false; ///< by another thread of the host, which waits for all
    bool hasMemory = true;
    std::size_t largestMapping = SIZE_MAX;
    bool hasInformation = true;
    bool hasAttributes = true;
    bool isOrphan = false;
    bool interruptsFiles = false;     ///< each first call that opens, reserves or cuts one
    const char *overcommit = nullptr; ///< the file in place of the one in /proc
};
static System broken;

template <typename Function>
static Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// They replace those of the C library.

#define KELM_IN_FRONT extern "C" __attribute__((visibility("default")))

/// Whether a signal interrupts a call, which has \p wasInterrupted to know whether it was before.
static bool interrupts(bool &wasInterrupted)
{
    wasInterrupted = broken.interruptsFiles && !wasInterrupted;
    if (wasInterrupted)
        errno = EINTR;
    return wasInterrupted;
}

KELM_IN_FRONT int posix_spawn_file_actions_init(posix_spawn_file_actions_t *actions) noexcept
{
    static const auto plain = next(&posix_spawn_file_actions_init, "posix_spawn_file_actions_init");
    return broken.hasActions ? plain(actions) : ENOMEM;
}

KELM_IN_FRONT int posix_spawn_file_actions_addopen(posix_spawn_file_actions_t *actions, int file,
                                                   const char *path, int flags,
                                                   mode_t mode) noexcept
{
    static const auto plain =
        next(&posix_spawn_file_actions_addopen, "posix_spawn_file_actions_addopen");
    return broken.addedActions-- > 0 ? plain(actions, file, path, flags, mode) : ENOMEM;
}

KELM_IN_FRONT pid_t waitpid(pid_t id, int *status, int options)
{
    if (broken.interruptedWaits > 0) {
        --broken.interruptedWaits;
        errno = EINTR;
        return -1;
    }
    static const auto plain = next(&waitpid, "waitpid");
    if (broken.areChildrenTaken) {
        while (plain(-1, nullptr, __WALL) > 0) {
        }
        errno = ECHILD;
        return -1;
    }
    return plain(id, status, options);
}

KELM_IN_FRONT void *mmap(void *address, std::size_t size, int rights, int flags, int file,
                         off_t offset) noexcept
{
    if (size > broken.largestMapping || (!broken.hasMemory && (flags & MAP_SHARED))) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    return reinterpret_cast<void *>(syscall(SYS_mmap, address, size, rights, flags, file, offset));
}

KELM_IN_FRONT int sysinfo(struct sysinfo *info) noexcept
{
    static const auto plain = next(&sysinfo, "sysinfo");
    errno = ENOSYS;
    return broken.hasInformation ? plain(info) : -1;
}

KELM_IN_FRONT int pthread_getattr_np(pthread_t thread, pthread_attr_t *attributes) noexcept
{
    static const auto plain = next(&pthread_getattr_np, "pthread_getattr_np");
    return broken.hasAttributes ? plain(thread, attributes) : ENOMEM;
}

KELM_IN_FRONT pid_t getppid() noexcept
{
    return broken.isOrphan ? getpid() : static_cast<pid_t>(syscall(SYS_getppid));
}

KELM_IN_FRONT int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    static bool wasInterrupted = false;
    if (interrupts(wasInterrupted))
        return -1;
    const bool isOvercommit = qstrcmp(path, "/proc/sys/vm/overcommit_memory") == 0;
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD,
                                    isOvercommit && broken.overcommit ? broken.overcommit : path,
                                    flags, mode));
}

KELM_IN_FRONT int openat(int folder, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    static bool wasInterrupted = false;
    return interrupts(wasInterrupted)
               ? -1
               : static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}

KELM_IN_FRONT int fallocate(int file, int mode, off_t at, off_t size)
{
    static bool wasInterrupted = false;
    return interrupts(wasInterrupted)
               ? -1
               : static_cast<int>(syscall(SYS_fallocate, file, mode, at, size));
}

KELM_IN_FRONT int ftruncate(int file, off_t size) noexcept
{
    static bool wasInterrupted = false;
    return interrupts(wasInterrupted) ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, size));
}

static std::function<void()> *calledThere = nullptr;

/// Calls \p function on a stack of its own, as a host with fibers does.
static void callOn(char *stack, std::size_t size, std::function<void()> function)
{
    ucontext_t there;
    ucontext_t here;
    calledThere = &function;
    getcontext(&there);
    there.uc_stack.ss_sp = stack;
    there.uc_stack.ss_size = size;
    there.uc_link = &here;
    makecontext(
        &there, [] { (*calledThere)(); }, 0);
    swapcontext(&here, &there);
}

/// What freeStack() returns in a call on the deep stack, in MiB.
static int deepStackSize()
{
    std::size_t size = 0;
    const auto measure = [](void *found) {
        *static_cast<std::size_t *>(found) = Platform::freeStack();
    };
    Platform::callOnDeepStack(measure, &size);
    return static_cast<int>(size / mebibyte);
}

/// What \p function returns in a process of its own: a deep stack stays.
static int inChild(const std::function<int()> &function)
{
    int ends[2];
    if (pipe(ends) != 0)
        return -1;
    const pid_t child = fork();
    if (child == 0) {
        const int result = function();
        _exit(write(ends[1], &result, sizeof(result)) == sizeof(result) ? 0 : 1);
    }
    close(ends[1]);
    int result = -1;
    if (read(ends[0], &result, sizeof(result)) != sizeof(result))
        result = -1;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return result;
}

/// The platform where the system lacks something.
class tst_Platform_faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { ENTER_OWN_NAMESPACE_OR_SKIP(); }

    void cleanup() { broken = {}; }

    void movesWhereTheCommandCannotBeStarted_data()
    {
        QTest::addColumn<bool>("hasActions");
        QTest::addColumn<int>("addedActions");

        QTest::newRow("no description of streams") << false << 3;
        QTest::newRow("no input") << true << 0;
        QTest::newRow("no output") << true << 1;
        QTest::newRow("no error output") << true << 2;
    }

    void movesWhereTheCommandCannotBeStarted()
    {
        QFETCH(bool, hasActions);
        QFETCH(int, addedActions);
        const QTemporaryDir folder;
        put(folder.filePath("a"), "new");
        put(folder.filePath("b"), "old");
        broken.hasActions = hasActions;
        broken.addedActions = addedActions;

        move(folder.filePath("a"), folder.filePath("b"));

        QVERIFY(!QFile::exists(folder.filePath("a")));
        QCOMPARE(contentsOf(folder.filePath("b")), QByteArray("new"));
    }

    void movesNothingToWhatCannotBeLookedAt()
    {
        const QTemporaryDir folder;
        put(folder.filePath("a"), "new");
        const QString loop = folder.filePath("loop");
        QCOMPARE(symlink("loop", qPrintable(loop)), 0);
        broken.hasActions = false;

        move(folder.filePath("a"), loop);

        QCOMPARE(contentsOf(folder.filePath("a")), QByteArray("new"));
        QVERIFY(QFileInfo(loop).isSymLink());
    }

    void replacesFilesThoughSignalsCome_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<bool>("hasSecondName");

        QTest::newRow("a new file") << false << false;
        QTest::newRow("an old one") << true << false;
        QTest::newRow("one that is written in place") << true << true;
    }

    void replacesFilesThoughSignalsCome()
    {
        QFETCH(bool, exists);
        QFETCH(bool, hasSecondName);
        const QTemporaryDir folder;
        const QString path = folder.filePath("a");
        if (exists)
            put(path, "old contents");
        if (hasSecondName)
            QCOMPARE(link(qPrintable(path), qPrintable(folder.filePath("b"))), 0);

        bool isReplaced = false;
        int error = 0;
        {
            broken.interruptsFiles = true;
            Platform::FileReplacement file;
            isReplaced = file.open(path.toStdString()) && file.write("new", 3) && file.finish(true);
            error = file.error();
            broken = {};
        }

        QCOMPARE(error, 0);
        QVERIFY(isReplaced);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        if (hasSecondName)
            QCOMPARE(contentsOf(folder.filePath("b")), QByteArray("new"));
    }

    void waitsForTheCommandThoughSignalsCome()
    {
        const QTemporaryDir folder;
        put(folder.filePath("a"), "new");
        broken.interruptedWaits = 3;

        move(folder.filePath("a"), folder.filePath("b"));

        QCOMPARE(broken.interruptedWaits, 0);
        QCOMPARE(contentsOf(folder.filePath("b")), QByteArray("new"));
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1); // nothing is left of it
    }

    void movesWhereTheHostDoesNotWaitForChildren()
    {
        const QTemporaryDir folder;
        put(folder.filePath("a"), "new");
        const auto original = std::signal(SIGCHLD, SIG_IGN);

        move(folder.filePath("a"), folder.filePath("b"));

        std::signal(SIGCHLD, original);
        QCOMPARE(contentsOf(folder.filePath("b")), QByteArray("new"));
    }

    void replacesAFileThoughItsHostTakesAllChildren_data()
    {
        QTest::addColumn<bool>("areIgnored");

        QTest::newRow("ignored") << true;
        QTest::newRow("waited for by a thread") << false;
    }

    void replacesAFileThoughItsHostTakesAllChildren()
    {
        QFETCH(bool, areIgnored);
        const QTemporaryDir folder;
        put(folder.filePath("a"), "old");
        const auto original = std::signal(SIGCHLD, areIgnored ? SIG_IGN : SIG_DFL);
        const auto restore = qScopeGuard([&] { std::signal(SIGCHLD, original); });
        Platform::FileReplacement replacement;
        QVERIFY(replacement.open(folder.filePath("a").toStdString()));
        QVERIFY(replacement.write("new", 3));
        broken.areChildrenTaken = !areIgnored;

        const bool isReplaced = replacement.finish(false);

        broken.areChildrenTaken = false;
        QCOMPARE(replacement.error(), 0);
        QVERIFY(isReplaced);
        QCOMPARE(contentsOf(folder.filePath("a")), QByteArray("new"));
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList("a"));
        QCOMPARE(waitpid(-1, nullptr, WNOHANG | __WALL), -1); // nothing is left of it
    }

    void tellsNothingOfAPathThatCannotBeFollowed()
    {
        const QTemporaryDir folder;
        put(folder.filePath("a"), "");
        const QString loop = folder.filePath("loop");
        QCOMPARE(symlink("loop", qPrintable(loop)), 0);

        QVERIFY(!Platform::canonicalPath(loop.toStdString()).has_value());
        QCOMPARE(Platform::canonicalPath(folder.filePath("a/b").toStdString()),
                 std::optional(std::string()));
    }

    void leavesTheHandlerOfEndedChildrenAlone_data()
    {
        QTest::addColumn<std::function<void()>>("start");

        QTest::newRow("none") << std::function<void()>([] {});
        QTest::newRow("one that is ignored")
            << std::function<void()>([] { std::signal(SIGCHLD, SIG_IGN); });
        QTest::newRow("the default")
            << std::function<void()>([] { std::signal(SIGCHLD, SIG_DFL); });
        QTest::newRow("one that lets calls go on")
            << std::function<void()>([] { std::signal(SIGCHLD, [](int) {}); }); // by the C library
    }

    void leavesTheHandlerOfEndedChildrenAlone()
    {
        QFETCH(std::function<void()>, start);
        struct sigaction original = {};
        sigaction(SIGCHLD, nullptr, &original);
        const auto restore = qScopeGuard([&] { sigaction(SIGCHLD, &original, nullptr); });
        struct sigaction before = {};
        before.sa_handler = [](int) {};
        sigaction(SIGCHLD, &before, nullptr);
        struct sigaction wanted = {};

        Platform::startChild([&] {
            start();
            sigaction(SIGCHLD, nullptr, &wanted);
        });

        struct sigaction now = {};
        sigaction(SIGCHLD, nullptr, &now);
        QVERIFY(now.sa_handler == wanted.sa_handler);
        QCOMPARE(now.sa_flags, wanted.sa_flags);
    }

    void triesNothingWithoutMemoryThatACopyShares()
    {
        broken.hasMemory = false;

        const auto outcome = Platform::tryInCopy([] { return true; }, 60s);

        QVERIFY(!outcome.has_value());
    }

    void waitsForACopyThoughSignalsCome()
    {
        broken.interruptedWaits = 3;

        QCOMPARE(Platform::tryInCopy([] { return true; }, 60s), std::optional(true));

        QCOMPARE(broken.interruptedWaits, 0);
    }

    void callsNothingInACopyWhoseOriginalHasEnded()
    {
        broken.isOrphan = true;

        QCOMPARE(Platform::tryInCopy([] { return true; }, 60s), std::optional(false));
    }

    void triesAFunctionWhereStandardStreamsAreClosed()
    {
        const int original = dup(STDIN_FILENO);
        close(STDIN_FILENO);

        const auto outcome = Platform::tryInCopy(
            [] {
                char byte = 0;
                return read(STDIN_FILENO, &byte, 1) == 0 && write(STDOUT_FILENO, "a", 1) == 1;
            },
            60s);

        dup2(original, STDIN_FILENO);
        close(original);
        QCOMPARE(outcome, std::optional(true));
    }

    void takesADeepStackThatTheSystemHasRoomFor_data()
    {
        QTest::addColumn<QByteArray>("overcommit");
        QTest::addColumn<bool>("hasInformation");
        QTest::addColumn<int>("largest"); // mapping in MiB
        QTest::addColumn<int>("least");   // the size in MiB
        QTest::addColumn<int>("most");

        const auto row = [](const char *name, const char *overcommit, bool hasInformation,
                            int largest, int least, int most) {
            QTest::newRow(name) << QByteArray(overcommit) << hasInformation << largest << least
                                << most;
        };
        // clang-format off
        row("no limit",                              "0", true,      0, 2000, 1 << 30);
        row("each address takes memory",             "2", true,      0,   62,      63);
        row("the rule is not known",                 "",  true,      0, 2000, 1 << 30);
        row("the memory is not known",               "0", false,     0, 2000,    2047);
        row("a range of 100 MiB",                    "0", true,    100,   30,      40);
        row("a range that is just enough",           "0", true,     50,   15,      20);
        row("a range of which too little is left",   "0", true,     30,    0,       8); // the own one
        row("none",                                  "0", true,      8,    0,       8);
        // clang-format on
    }

    void takesADeepStackThatTheSystemHasRoomFor()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("a program that checks its addresses knows its stacks and mappings only");
#endif
        QFETCH(QByteArray, overcommit);
        QFETCH(bool, hasInformation);
        QFETCH(int, largest);
        QFETCH(int, least);
        QFETCH(int, most);
        const QTemporaryDir folder;
        const QByteArray path = folder.filePath("overcommit").toUtf8();
        put(path, overcommit);

        const int size = inChild([&] {
            broken.overcommit = path.constData();
            broken.hasInformation = hasInformation;
            if (largest > 0)
                broken.largestMapping = static_cast<std::size_t>(largest) * mebibyte;
            const int first = deepStackSize();
            return deepStackSize() == first ? first : -1; // which may have used it
        });

        QVERIFY2(size >= least && size <= most, qPrintable(QString::number(size)));
    }

    void takesALargeDeepStackWhereTheRuleCannotBeRead()
    {
        QVERIFY(inChild([] {
                    broken.overcommit = "/nowhere";
                    return deepStackSize();
                }) >= 2000);
    }

    void tellsNoStackOfAThreadThatCannotBeLookedAt()
    {
        std::size_t size = 1;

        // Not before: the sanitizers look at the stack of a thread that starts.
        std::thread([&] {
            broken.hasAttributes = false;
            size = Platform::freeStack();
            broken.hasAttributes = true;
        }).join();

        QCOMPARE(size, std::size_t(0));
    }

    /// Whether it is above or below that of the thread.
    void tellsNothingOfAStackThatIsNotThatOfTheThread()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("a program that checks its addresses knows its stacks and mappings only");
#endif
        const std::size_t needed = 64 * 1024;
        std::vector<char> onHeap(needed);
        std::vector<std::size_t> sizes;
        char onStack[needed];
        const auto measure = [&] { sizes.push_back(Platform::freeStack()); };

        deepStackSize();
        callOn(onHeap.data(), needed, measure);
        std::thread([&] {
            callOn(onHeap.data(), needed, measure);
            callOn(onStack, needed, measure);
        }).join();

        QCOMPARE(sizes, std::vector<std::size_t>(3));
    }

private:
    static void put(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
    }

    static void move(const QString &from, const QString &to)
    {
        Platform::moveReplacing(from.toStdString(), to.toStdString());
    }
};

OWN_NAMESPACE_MAIN(tst_Platform_faults)
#include "tst_Platform_faults.moc"
