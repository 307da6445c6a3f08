#include "tests/inject/Inject.h"

#include "tests/support/Files.h"

#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

#include <csignal>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

// tools/torture --self-test runs it, with the library preloaded and in a PID namespace of its own.

using Inject::Group;

/// A call that can be made again and again: true on success; else errno has the reason.
using Call = std::function<bool()>;
Q_DECLARE_METATYPE(Call)

/// \p file, and then that it is closed. So what opens leaves nothing.
static bool closed(int file)
{
    if (file < 0)
        return false;
    close(file);
    return true;
}

static bool closed(std::FILE *file)
{
    if (!file)
        return false;
    std::fclose(file);
    return true;
}

static bool waitedFor(pid_t child)
{
    if (child == 0)
        _exit(0);
    return child > 0 && waitpid(child, nullptr, 0) == child;
}

/// Runs \p use on a fresh stream on "a.txt".
static bool onStream(const char *mode, const std::function<bool(std::FILE *)> &use)
{
    std::FILE *const stream = std::fopen("a.txt", mode);
    const bool isGood = stream && use(stream);
    const int error = errno;
    if (stream)
        std::fclose(stream);
    errno = error;
    return isGood;
}

class tst_Inject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const auto find = [](auto &function, const char *name) {
            function =
                reinterpret_cast<std::decay_t<decltype(function)>>(dlsym(RTLD_DEFAULT, name));
        };
        find(m_state, "inject_state");
        find(m_arm, "inject_arm");
        find(m_disarm, "inject_disarm");
        if (!m_state)
            QSKIP("libinject.so is not preloaded; run tools/torture --self-test");
        QVERIFY(QDir::setCurrent(m_folder.path()));
    }

    void init()
    {
        if (!m_state)
            QSKIP("libinject.so is not preloaded");
        makeFile("a.txt", "0123456789");
        QDir("folder").removeRecursively();
        makeFile("folder/b.txt");
    }

    void failsTheNthCallOnce_data() { addCalls(); }
    void failsTheNthCallOnce()
    {
        QFETCH(int, group);
        QFETCH(int, error);
        QFETCH(Call, call);
        QVERIFY(call()); // unarmed

        bool results[4];
        int errors[4];
        m_arm(group, 2, false);
        for (int i = 0; i < 4; ++i) {
            errno = 0;
            results[i] = call();
            errors[i] = errno;
        }
        m_disarm();

        QCOMPARE(m_state()->calls, 4L);
        QCOMPARE(m_state()->failures, 1L);
        QVERIFY(results[0]);
        QVERIFY(!results[1]);
        QCOMPARE(errors[1], error);
        QVERIFY(results[2]);
        QVERIFY(results[3]);
        QVERIFY(call());
    }

    void failsAllCallsFromTheNthOn_data() { addCalls(); }
    void failsAllCallsFromTheNthOn()
    {
        QFETCH(int, group);
        QFETCH(Call, call);

        bool results[4];
        m_arm(group, 2, true);
        for (bool &result : results)
            result = call();
        m_disarm();

        QVERIFY(results[0]);
        QVERIFY(!results[1] && !results[2] && !results[3]);
        QCOMPARE(m_state()->failures, 3L);
        QVERIFY(call());
    }

    void leavesOtherGroupsAlone_data() { addCalls(); }
    void leavesOtherGroupsAlone()
    {
        QFETCH(int, group);
        QFETCH(Call, call);

        for (int other = Inject::Open; other < Inject::GroupCount; ++other) {
            // Of what the calls here do besides: open files, and remove what they have made.
            const bool isNeeded = other == Inject::Malloc || other == Inject::Open ||
                                  other == Inject::Seek || other == Inject::Stat ||
                                  (other == Inject::Write && group == Inject::Short) ||
                                  (other == Inject::Short && group == Inject::Write) ||
                                  other == Inject::Unlink || other == Inject::Mkdir;
            if (other == group || isNeeded)
                continue;
            m_arm(other, 1, true);
            const bool isGood = call();
            m_disarm();
            QVERIFY2(isGood, Inject::groupNames[other]);
        }
    }

    void takesHalfOfAShortWrite()
    {
        const int file = open("a.txt", O_WRONLY | O_TRUNC);
        m_arm(Inject::Short, 2, false);
        const ssize_t counts[] = {write(file, "1234", 4), write(file, "5678", 4),
                                  write(file, "90ab", 4)};
        m_disarm();
        close(file);

        QCOMPARE(counts[0], ssize_t(4));
        QCOMPARE(counts[1], ssize_t(2));
        QCOMPARE(counts[2], ssize_t(4));
        QCOMPARE(contentsOf("a.txt"), QByteArray("12345690ab"));
    }

    void fillsTheDiskAfterALastingShortWrite()
    {
        const int file = open("a.txt", O_WRONLY | O_TRUNC);
        m_arm(Inject::Short, 1, true);
        const ssize_t first = write(file, "1234", 4);
        errno = 0;
        const ssize_t second = write(file, "34", 2);
        const int error = errno;
        m_disarm();
        close(file);

        QCOMPARE(first, ssize_t(2));
        QCOMPARE(second, ssize_t(-1));
        QCOMPARE(error, ENOSPC);
        QCOMPARE(contentsOf("a.txt"), QByteArray("12"));
    }

    void losesWhatWaitsInAStreamThatCannotBeFlushed()
    {
        std::FILE *const stream = std::fopen("a.txt", "w");
        std::fputs("text", stream);
        m_arm(Inject::Write, 1, false);
        const int result = std::fclose(stream);
        m_disarm();

        QCOMPARE(result, EOF);
        QCOMPARE(contentsOf("a.txt"), QByteArray());
    }

    void setsTheErrorOfAStream()
    {
        std::FILE *const stream = std::fopen("a.txt", "r");
        char bytes[4];
        m_arm(Inject::Read, 1, false);
        const std::size_t count = std::fread(bytes, 1, sizeof(bytes), stream);
        m_disarm();

        QCOMPARE(count, std::size_t(0));
        QVERIFY(std::ferror(stream) != 0);
        QVERIFY(std::feof(stream) == 0);
        std::clearerr(stream);
        QCOMPARE(std::fread(bytes, 1, sizeof(bytes), stream), sizeof(bytes));
        std::fclose(stream);
    }

    void failsOperatorNew()
    {
        m_arm(Inject::Malloc, 1, false);
        int *volatile memory = new (std::nothrow) int[10];
        m_disarm();
        const bool isNull = memory == nullptr;
        delete[] memory;

        QVERIFY(isNull);
    }

    void doesNotCountWhatAnEventLoopWakesItselfBy()
    {
        const int event = eventfd(0, EFD_NONBLOCK);
        const quint64 one = 1;
        quint64 found = 0;
        m_arm(Inject::Write, 1, true);
        const ssize_t written = write(event, &one, sizeof(one));
        m_disarm();
        m_arm(Inject::Read, 1, true);
        const ssize_t readBytes = read(event, &found, sizeof(found));
        m_disarm();
        close(event);

        QCOMPARE(written, ssize_t(sizeof(one)));
        QCOMPARE(readBytes, ssize_t(sizeof(found)));
    }

    void doesNotCountTheCallsOfAChild()
    {
        m_arm(Inject::Open, 1, true);
        const pid_t child = fork();
        if (child == 0)
            _exit(closed(open("a.txt", O_RDONLY)) ? 0 : 1);
        int status = 0;
        waitpid(child, &status, 0);
        m_disarm();

        QCOMPARE(WEXITSTATUS(status), 0);
        QCOMPARE(m_state()->calls, 0L);
    }

    void tellsWhichCallFailed()
    {
        m_arm(Inject::Open, 1, false);
        closed(open("a.txt", O_RDONLY));
        m_disarm();

        QVERIFY(QByteArray(m_state()->call).startsWith("open"));
        QVERIFY(m_state()->depth > 3);
    }

    void letsNoSignalThroughToIdsOfOneAndBelow_data()
    {
        QTest::addColumn<Call>("call");

        // Signal 0 only checks whether a signal could be sent; it never sends one.
        QTest::newRow("all processes") << Call([] { return kill(-1, 0) == 0; });
        QTest::newRow("the own group") << Call([] { return kill(0, 0) == 0; });
        QTest::newRow("the first process") << Call([] { return kill(1, 0) == 0; });
        QTest::newRow("a group") << Call([] { return killpg(0, 0) == 0; });
        QTest::newRow("by number") << Call([] { return syscall(SYS_kill, -1, 0) == 0; });
        QTest::newRow("a thread") << Call([] { return syscall(SYS_tgkill, 1, 1, 0) == 0; });
        QTest::newRow("by a handle") << Call([] {
            const int handle = static_cast<int>(syscall(SYS_pidfd_open, 1, 0));
            const bool isSent = syscall(SYS_pidfd_send_signal, handle, 0, nullptr, 0) == 0;
            const int error = errno;
            close(handle);
            errno = error;
            return isSent;
        });
    }

    void letsNoSignalThroughToIdsOfOneAndBelow()
    {
        QFETCH(Call, call);
        const long before = m_state()->signalled;

        errno = 0;
        const bool isSent = call();
        const int error = errno;

        QVERIFY(!isSent);
        QCOMPARE(error, EPERM);
        QCOMPARE(m_state()->signalled, before + 1);
    }

    void letsOtherSignalsThrough()
    {
        const long before = m_state()->signalled;

        QCOMPARE(kill(getpid(), 0), 0);
        QCOMPARE(syscall(SYS_kill, static_cast<long>(getpid()), 0L), 0L);
        QCOMPARE(m_state()->signalled, before);
    }

    void isArmedByTheEnvironment()
    {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("INJECT_GROUP", "open");
        environment.insert("INJECT_NTH", "1");
        environment.insert("INJECT_LASTING", "1");
        program.setProcessEnvironment(environment);
        program.start("/bin/cat", {"a.txt"});
        QVERIFY(program.waitForFinished());

        QVERIFY(program.exitCode() != 0);
        QVERIFY(program.readAllStandardError().contains("Too many open files"));
    }

private:
    /// Calls of each group, the library's own ways among them.
    static void addCalls()
    {
        QTest::addColumn<int>("group");
        QTest::addColumn<int>("error");
        QTest::addColumn<Call>("call");
        const auto add = [](const char *name, Group group, int error, const Call &call) {
            QTest::newRow(name) << int(group) << error << call;
        };

        add("open", Inject::Open, EMFILE, [] { return closed(open("a.txt", O_RDONLY)); });
        add("open64", Inject::Open, EMFILE, [] { return closed(open64("a.txt", O_RDONLY)); });
        add("openat", Inject::Open, EMFILE,
            [] { return closed(openat(AT_FDCWD, "a.txt", O_RDONLY)); });
        add("creat", Inject::Open, EMFILE, [] { return closed(creat("a.txt", 0666)); });
        add("fopen", Inject::Open, EMFILE, [] { return closed(std::fopen("a.txt", "r")); });
        add("QFile::open", Inject::Open, EMFILE, [] {
            QFile file("a.txt");
            return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        });

        add("read", Inject::Read, EIO, [] {
            char byte;
            const int file = open("a.txt", O_RDONLY);
            const bool isGood = read(file, &byte, 1) == 1;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("pread", Inject::Read, EIO, [] {
            char byte;
            const int file = open("a.txt", O_RDONLY);
            const bool isGood = pread(file, &byte, 1, 2) == 1;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("fread", Inject::Read, EIO, [] {
            return onStream("r", [](std::FILE *stream) {
                char byte;
                return std::fread(&byte, 1, 1, stream) == 1;
            });
        });
        add("fgets", Inject::Read, EIO, [] {
            return onStream("r", [](std::FILE *stream) {
                char bytes[4];
                return std::fgets(bytes, sizeof(bytes), stream) != nullptr;
            });
        });
        add("getc", Inject::Read, EIO, [] {
            return onStream("r", [](std::FILE *stream) { return std::getc(stream) == '0'; });
        });
        add("getc_unlocked", Inject::Read, EIO, [] {
            return onStream("r", [](std::FILE *stream) { return getc_unlocked(stream) == '0'; });
        });
        add("QFile::read", Inject::Read, EIO, [] {
            QFile file("a.txt");
            char byte;
            return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) &&
                   file.read(&byte, 1) == 1;
        });

        add("write", Inject::Write, ENOSPC, [] {
            const int file = open("a.txt", O_WRONLY);
            const bool isGood = write(file, "x", 1) == 1;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("writev", Inject::Write, ENOSPC, [] {
            char byte = 'x';
            const iovec piece = {&byte, 1};
            const int file = open("a.txt", O_WRONLY);
            const bool isGood = writev(file, &piece, 1) == 1;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("fwrite", Inject::Write, ENOSPC, [] {
            return onStream("w", [](std::FILE *stream) {
                std::setvbuf(stream, nullptr, _IONBF, 0);
                return std::fwrite("x", 1, 1, stream) == 1;
            });
        });
        add("ftruncate", Inject::Write, ENOSPC, [] {
            const int file = open("a.txt", O_WRONLY);
            const bool isGood = ftruncate(file, 5) == 0;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("sendfile", Inject::Write, ENOSPC, [] {
            const int from = open("folder/b.txt", O_RDONLY);
            const int to = open("a.txt", O_WRONLY);
            const bool isGood = sendfile(to, from, nullptr, 1) == 1;
            const int error = errno;
            close(from);
            close(to);
            errno = error;
            return isGood;
        });
        add("QFile::write", Inject::Write, ENOSPC, [] {
            QFile file("a.txt");
            return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) &&
                   file.write("x", 1) == 1;
        });

        add("fsync", Inject::Fsync, EIO, [] {
            const int file = open("a.txt", O_WRONLY);
            const bool isGood = fsync(file) == 0;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("fdatasync", Inject::Fsync, EIO, [] {
            const int file = open("a.txt", O_WRONLY);
            const bool isGood = fdatasync(file) == 0;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });

        add("rename", Inject::Rename, EACCES, [] { return std::rename("a.txt", "a.txt") == 0; });
        add("renameat2", Inject::Rename, EACCES,
            [] { return renameat2(AT_FDCWD, "a.txt", AT_FDCWD, "a.txt", 0) == 0; });
        add("link", Inject::Rename, EACCES, [] {
            const bool isGood = link("a.txt", "folder/link") == 0;
            const int error = errno;
            unlink("folder/link");
            errno = error;
            return isGood;
        });
        add("mkdir", Inject::Mkdir, ENOSPC, [] {
            const bool isGood = mkdir("folder/new", 0777) == 0;
            const int error = errno;
            rmdir("folder/new");
            errno = error;
            return isGood;
        });
        add("unlink", Inject::Unlink, EACCES, [] {
            closed(creat("folder/c.txt", 0666));
            return unlink("folder/c.txt") == 0;
        });
        add("rmdir", Inject::Unlink, EACCES, [] {
            mkdir("folder/new", 0777);
            return rmdir("folder/new") == 0;
        });

        add("stat", Inject::Stat, EACCES, [] {
            struct stat status;
            return stat("a.txt", &status) == 0;
        });
        add("lstat64", Inject::Stat, EACCES, [] {
            struct stat64 status;
            return lstat64("a.txt", &status) == 0;
        });
        add("fstat", Inject::Stat, EACCES, [] {
            struct stat status;
            return fstat(STDIN_FILENO, &status) == 0;
        });
        add("statx", Inject::Stat, EACCES, [] {
            struct statx status;
            return statx(AT_FDCWD, "a.txt", 0, STATX_BASIC_STATS, &status) == 0;
        });
        add("access", Inject::Stat, EACCES, [] { return access("a.txt", R_OK) == 0; });

        add("opendir", Inject::ReadDir, EMFILE, [] {
            DIR *const folder = opendir("folder");
            if (folder)
                closedir(folder);
            return folder != nullptr;
        });

        add("readdir", Inject::ReadDir, EIO, [] {
            static DIR *const folder = opendir(".");
            rewinddir(folder);
            return readdir(folder) != nullptr;
        });

        add("fork", Inject::Fork, EAGAIN, [] { return waitedFor(fork()); });
        add("vfork", Inject::Fork, EAGAIN, [] { return waitedFor(vfork()); });
        add("clone", Inject::Fork, EAGAIN,
            [] { return waitedFor(static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0))); });
        add("posix_spawn", Inject::Fork, EAGAIN, [] {
            pid_t child = -1;
            char program[] = "/bin/true";
            char *const arguments[] = {program, nullptr};
            errno = posix_spawn(&child, program, nullptr, nullptr, arguments, environ);
            return errno == 0 && waitedFor(child);
        });
        add("posix_spawnp", Inject::Fork, EAGAIN, [] {
            pid_t child = -1;
            char program[] = "true";
            char *const arguments[] = {program, nullptr};
            errno = posix_spawnp(&child, program, nullptr, nullptr, arguments, environ);
            return errno == 0 && waitedFor(child);
        });

        add("pipe2", Inject::Pipe, EMFILE, [] {
            int files[2];
            return pipe2(files, O_CLOEXEC) == 0 && closed(files[0]) && closed(files[1]);
        });
        add("socketpair", Inject::Pipe, EMFILE, [] {
            int files[2];
            return socketpair(AF_UNIX, SOCK_STREAM, 0, files) == 0 && closed(files[0]) &&
                   closed(files[1]);
        });
        add("eventfd", Inject::Pipe, EMFILE, [] { return closed(eventfd(0, 0)); });

        add("lseek", Inject::Seek, EIO, [] {
            const int file = open("a.txt", O_RDONLY);
            const bool isGood = lseek(file, 3, SEEK_SET) == 3;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("fseek", Inject::Seek, EIO, [] {
            return onStream("r",
                            [](std::FILE *stream) { return std::fseek(stream, 3, SEEK_SET) == 0; });
        });
        add("fseeko64", Inject::Seek, EIO, [] {
            return onStream("r",
                            [](std::FILE *stream) { return fseeko64(stream, 3, SEEK_SET) == 0; });
        });
        add("ftell", Inject::Seek, EIO, [] {
            return onStream("r", [](std::FILE *stream) { return std::ftell(stream) == 0; });
        });

        add("flock", Inject::Lock, ENOLCK, [] {
            const int file = open("a.txt", O_RDONLY);
            const bool isGood = flock(file, LOCK_SH) == 0;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });
        add("fcntl", Inject::Lock, ENOLCK, [] {
            struct flock lock = {};
            lock.l_type = F_RDLCK;
            const int file = open("a.txt", O_RDONLY);
            const bool isGood = fcntl(file, F_SETLK, &lock) == 0;
            const int error = errno;
            close(file);
            errno = error;
            return isGood;
        });

        add("malloc", Inject::Malloc, ENOMEM, [] {
            void *volatile memory = std::malloc(10);
            std::free(memory);
            return memory != nullptr;
        });
        add("calloc", Inject::Malloc, ENOMEM, [] {
            void *volatile memory = std::calloc(10, 10);
            std::free(memory);
            return memory != nullptr;
        });
        add("realloc", Inject::Malloc, ENOMEM, [] {
            void *volatile memory = std::realloc(nullptr, 10);
            std::free(memory);
            return memory != nullptr;
        });
    }

    QTemporaryDir m_folder;
    Inject::State *(*m_state)() = nullptr;
    void (*m_arm)(int, long, bool) = nullptr;
    void (*m_disarm)() = nullptr;
};

QTEST_GUILESS_MAIN(tst_Inject)
#include "tst_Inject.moc"
