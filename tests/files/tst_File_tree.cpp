#include "tests/support/FakeHost.h"
#include "tests/support/Files.h" // makeFile
#include "tests/support/FullDisk.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "tests/support/Tree.h"
#include "tests/support/Windows.h"
#include "utils/Application.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/Progress_p.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/files/File.h"

#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <limits>
#include <memory>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using Utils::File;
using Utils::Progress;
using Utils::WaitCursor;

static const int intMin = std::numeric_limits<int>::min();
static const int intMax = std::numeric_limits<int>::max();

static const int chunkedSize = 2049 * 1024; // the least that is copied in chunks

static bool sawWaitCursor = false;
static int warnings = 0; // of Qt

static void noteWaitCursor(int) { sawWaitCursor = WaitCursor::activated(); }

/// While it lives, the folder at a path cannot be made, as where the disk has no room for it.
class NoFolder
{
public:
    explicit NoFolder(const QString &path) { s_path = QFile::encodeName(path); }
    ~NoFolder() { s_path.clear(); }

    static bool covers(const char *path) { return s_path == path; }

private:
    static QByteArray s_path;
};

QByteArray NoFolder::s_path;

#ifndef _WIN32 // where no call can be replaced

// In front of the call that Qt makes.
extern "C" __attribute__((visibility("default"))) int mkdir(const char *path, mode_t mode) noexcept
{
    if (NoFolder::covers(path)) {
        errno = ENOSPC;
        return -1;
    }
    return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

#endif

/// While it exists, the system calls that determine \a kind fail for a path.
class Unknown
{
public:
    enum Kind
    {
        Nothing,
        Link,   ///< what it is itself
        Target, ///< what it leads to
        Way     ///< its path after links are resolved
    };

    Unknown(Kind kind, const QString &path) : m_path(QFile::encodeName(path))
    {
        s_kind = kind;
        s_current = this;
    }
    ~Unknown()
    {
        s_kind = Nothing;
        s_current = nullptr;
    }

    Unknown(const Unknown &) = delete;
    Unknown &operator=(const Unknown &) = delete;

    /// Sets errno, too.
    static bool covers(Kind kind, const char *path)
    {
        if (kind != s_kind || s_current->m_path != path)
            return false;
        errno = EACCES;
        return true;
    }

private:
    const QByteArray m_path;
    static Kind s_kind;
    static const Unknown *s_current;
};

Unknown::Kind Unknown::s_kind = Unknown::Nothing;
const Unknown *Unknown::s_current = nullptr;

static bool failsToTellSizes = false; // of open files
static bool hasUnnamedFiles = true;   // as has a file system of this system, but not each
static int examinations = 0;          // of paths and open files
static int synced = 0;                // files whose contents were forced to the disk

#ifndef _WIN32 // where no call can be replaced

// In front of the calls that Qt makes, and of those of the library.

#define KELM_IN_FRONT extern "C" __attribute__((visibility("default")))

KELM_IN_FRONT int statx(int folder, const char *path, int flags, unsigned mask,
                        struct statx *result) noexcept
{
    ++examinations;
    const bool isFile = *path == '\0';
    if (isFile && failsToTellSizes) {
        errno = EIO;
        return -1;
    }
    const auto kind = (flags & AT_SYMLINK_NOFOLLOW) ? Unknown::Link : Unknown::Target;
    if (Unknown::covers(kind, path))
        return -1;
    return static_cast<int>(syscall(SYS_statx, folder, path, flags, mask, result));
}

KELM_IN_FRONT int fstat64(int file, struct stat64 *result) noexcept
{
    ++examinations;
    if (failsToTellSizes) {
        errno = EIO;
        return -1;
    }
    return fstatat64(file, "", result, AT_EMPTY_PATH);
}

KELM_IN_FRONT int lstat(const char *path, struct stat *result) noexcept
{
    ++examinations;
    return Unknown::covers(Unknown::Link, path)
               ? -1
               : fstatat(AT_FDCWD, path, result, AT_SYMLINK_NOFOLLOW);
}

KELM_IN_FRONT int stat(const char *path, struct stat *result) noexcept
{
    ++examinations;
    return Unknown::covers(Unknown::Target, path) ? -1 : fstatat(AT_FDCWD, path, result, 0);
}

KELM_IN_FRONT int fstat(int file, struct stat *result) noexcept
{
    ++examinations;
    return fstatat(file, "", result, AT_EMPTY_PATH);
}

KELM_IN_FRONT int access(const char *path, int mode) noexcept
{
    ++examinations;
    return faccessat(AT_FDCWD, path, mode, 0);
}

KELM_IN_FRONT int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const bool isCreated = (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = isCreated ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (!hasUnnamedFiles && (flags & O_TMPFILE) == O_TMPFILE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return openat(AT_FDCWD, path, flags, mode);
}

KELM_IN_FRONT int fdatasync(int file)
{
    ++synced;
    return static_cast<int>(syscall(SYS_fdatasync, file));
}

KELM_IN_FRONT char *realpath(const char *path, char *resolved) noexcept
{
    ++examinations;
    if (Unknown::covers(Unknown::Way, path))
        return nullptr;
    static const auto plain =
        reinterpret_cast<char *(*)(const char *, char *)>(dlsym(RTLD_NEXT, "realpath"));
    return plain(path, resolved);
}

#endif

class tst_File_tree : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_temporary;
    std::unique_ptr<FakeHost> m_host;
    QString m_previousDir;

    QString path(const QString &name) const { return m_temporary->path() + "/" + name; }

    void make(const QString &name, const QByteArray &contents = "x") const
    {
        QVERIFY(!makeFile(path(name), contents).isEmpty());
    }

    /// Makes the files, given separated by blanks; "name/" is a folder.
    void makeAll(const char *names) const
    {
        for (const QString &name : QString(names).split(' '))
            name.endsWith('/') ? (void)QDir().mkpath(path(name)) : make(name);
    }

    void link(const QString &target, const QString &name) const
    {
        QVERIFY(QFile::link(target, path(name)));
    }

    void setTime(const QString &name, qint64 ms) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(ms),
                                 QFileDevice::FileModificationTime));
    }

    QByteArray contents(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("none");
    }

    /// What is below the folder \p name, separated by blanks.
    QString below(const QString &name) const { return tree(path(name)).join(' '); }

    /// Runs \p react after the host's call \p call.
    void on(const QString &call, const std::function<void()> &react)
    {
        m_host->reaction = [call, react](const QString &made) {
            if (made == call)
                react();
        };
    }

    /// Runs \p task in a process with the folder "root" as its root, as a mistake in that of the
    /// system would cost everything. 1 when it returns true, and -1 when the user may not do that.
    int runInRoot(const std::function<bool()> &task) const
    {
        const QByteArray root = QFile::encodeName(path("root"));
        const pid_t child = fork();
        if (child == 0) {
            if (geteuid() != 0 && unshare(CLONE_NEWUSER) != 0)
                _exit(100);
            const int outside = open("/", O_RDONLY);
            if (chroot(root.constData()) != 0 || chdir("/here") != 0)
                _exit(100);
            const bool result = task();
            // A build that counts what the tests reach writes its counters outside.
            const bool isBack = fchdir(outside) == 0 && chroot(".") == 0;
            _exit(result && isBack ? 1 : 0);
        }
        int status = -1;
        if (waitpid(child, &status, 0) != child || !WIFEXITED(status))
            return 0;
        return WEXITSTATUS(status) == 100 ? -1 : WEXITSTATUS(status);
    }

    QStringList callsThatSetProgress() const { return m_host->calls.filter("setProgress("); }

private Q_SLOTS:
    void init()
    {
        m_previousDir = QDir::currentPath();
        m_temporary.reset(new QTemporaryDir);
        QVERIFY(m_temporary->isValid());
        m_host.reset(new FakeHost);
        Utils::setApplication(m_host.get());
        Utils::progressState = Utils::ProgressState();
        Utils::progressState.popupDelay = 0;
        sawWaitCursor = false;
    }

    void cleanup()
    {
        Utils::setApplication(nullptr);
        QDir::setCurrent(m_previousDir);
        QVERIFY(!Progress::any());
        QVERIFY(!WaitCursor::activated());
    }

    // copy()

    void copiesAFile_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("copy");

        // clang-format off
        QTest::newRow("to a new name") << "a.txt" << "b" << "b";
        QTest::newRow("into a folder") << "a.txt" << "folder" << "folder/a.txt";
        QTest::newRow("into a folder, with a slash") << "a.txt" << "folder/" << "folder/a.txt";
        QTest::newRow("of several suffixes") << "a.tar.gz" << "folder" << "folder/a.tar.gz";
        QTest::newRow("with spaces") << "a b" << " c  d " << " c  d ";
        QTest::newRow("not ASCII") << "größe.txt" << "日本" << "日本";
        QTest::newRow("with stars") << "a*b*" << "*" << "*";
        QTest::newRow("a star that an entry fits") << "a.txt" << "fold*" << "fold*";
        QTest::newRow("of a link") << "link" << "b" << "b";
        QTest::newRow("hidden") << ".a" << "folder" << "folder/.a";
        // clang-format on
    }

    void copiesAFile()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(QString, copy);
        if (source.contains('*') || target.contains('*') || source == "link")
            SKIP_ON_WINDOWS("names and links are others on Windows");
        const QByteArray data("line\r\n\0\xFF binary", 14);
        makeAll("folder/ other fold.txt");
        make("linked", data);
        if (source == "link")
            link(path("linked"), "link");
        else
            make(source, data);

        QVERIFY(File::copy(path(source), path(target)));

        QCOMPARE(contents(copy), data);
        QVERIFY(!QFileInfo(path(copy)).isSymLink());
        QCOMPARE(contents(source), data);
    }

    void copiesAnEmptyFile()
    {
        make("a", "");

        QVERIFY(File::copy(path("a"), path("b")));

        QCOMPARE(contents("b"), QByteArray());
    }

    void copiesThePermissionsOfAFile()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        make("a");
        QCOMPARE(chmod(qPrintable(path("a")), 0710), 0);

        QVERIFY(File::copy(path("a"), path("b")));

        struct stat status;
        QCOMPARE(stat(qPrintable(path("b")), &status), 0);
        QCOMPARE(status.st_mode & 0777, 0710u);
    }

    void leavesItToOverwriteWhetherATargetIsReplaced_data()
    {
        QTest::addColumn<int>("overwrite");
        QTest::addColumn<qint64>("sourceTime"); // ms; the target's is 1000000000
        QTest::addColumn<bool>("result");
        QTest::addColumn<bool>("replaced");

        const qint64 same = 1000000000;
        // clang-format off
        QTest::newRow("0, newer")             << 0      << same + 5000 << false << false;
        QTest::newRow("0, older")             << 0      << same - 5000 << false << false;
        QTest::newRow("1, newer")             << 1      << same + 5000 << true  << true;
        QTest::newRow("1, same")              << 1      << same        << true  << true;
        QTest::newRow("1, older")             << 1      << same - 5000 << true  << true;
        QTest::newRow("7, older")             << 7      << same - 5000 << true  << true;
        QTest::newRow("largest, older")       << intMax << same - 5000 << true  << true;
        QTest::newRow("-1, newer")            << -1     << same + 1000 << true  << true;
        QTest::newRow("-1, newer by 0.999 s") << -1     << same + 999  << true  << false;
        QTest::newRow("-1, same")             << -1     << same        << true  << false;
        QTest::newRow("-1, older")            << -1     << same - 1000 << true  << false;
        QTest::newRow("-7, newer")            << -7     << same + 5000 << true  << true;
        QTest::newRow("smallest, newer")      << intMin << same + 5000 << true  << true;
        QTest::newRow("smallest, older")      << intMin << same - 5000 << true  << false;
        // clang-format on
    }

    void leavesItToOverwriteWhetherATargetIsReplaced()
    {
        QFETCH(int, overwrite);
        QFETCH(qint64, sourceTime);
        QFETCH(bool, result);
        QFETCH(bool, replaced);
        make("a", "new");
        make("folder/a", "old, and longer");
        setTime("a", sourceTime);
        setTime("folder/a", 1000000000);

        QCOMPARE(File::copy(path("a"), path("folder/a"), overwrite), result);
        QCOMPARE(contents("folder/a"), QByteArray(replaced ? "new" : "old, and longer"));
        QCOMPARE(File::copy(path("a"), path("folder"), overwrite), result);
        QCOMPARE(contents("folder/a"), QByteArray(replaced ? "new" : "old, and longer"));
        QCOMPARE(contents("a"), QByteArray("new"));
    }

    void replacesATargetUnlessToldOtherwise()
    {
        make("a", "new");
        make("b", "old");

        QVERIFY(File::copy(path("a"), path("b")));

        QCOMPARE(contents("b"), QByteArray("new"));
    }

    void leavesAFileAloneThatIsCopiedOntoItself_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");

        // clang-format off
        QTest::newRow("the same path") << "folder/a" << "folder/a";
        QTest::newRow("into its folder") << "folder/a" << "folder";
        QTest::newRow("not clean") << "folder/a" << "folder/./../folder//a";
        QTest::newRow("by a link to the folder") << "folder/a" << "link/a";
        QTest::newRow("from a link to the folder") << "link/a" << "folder/a";
        QTest::newRow("into a link to the folder") << "folder/a" << "link";
        QTest::newRow("from a link to the file") << "file" << "folder/a";
        // clang-format on
    }

    void leavesAFileAloneThatIsCopiedOntoItself()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        if ((source + target).contains("link") || source == "file" || target == "file")
            SKIP_ON_WINDOWS("links are others on Windows");
        make("folder/a", "contents");
        link(path("folder"), "link");
        link(path("folder/a"), "file");
        const QString before = below("");

        for (const int overwrite : {0, 1, -1})
            QVERIFY(File::copy(path(source), path(target), overwrite));

        QCOMPARE(contents("folder/a"), QByteArray("contents"));
        QCOMPARE(below(""), before);
    }

    void takesPathsThatDifferInCaseForOneFile()
    {
        SKIP_ON_WINDOWS("names ignore case on Windows");
        make("a", "small");
        make("A", "large");

        for (const int overwrite : {0, 1, -1})
            QVERIFY(File::copy(path("a"), path("A"), overwrite));
        QVERIFY(File::copy(path("missing"), path("MISSING")));

        QCOMPARE(contents("A"), QByteArray("large"));
        QCOMPARE(below(""), QString("A a"));
    }

    void leavesAFileAloneThatMayBeCopiedOntoItself_data()
    {
        QTest::addColumn<QString>("unknown");

        QTest::newRow("the source") << "x/a";
        QTest::newRow("the folder of the target") << "x/link";
    }

    void leavesAFileAloneThatMayBeCopiedOntoItself()
    {
        QFETCH(QString, unknown);
        make("x/a", "text");
        link(".", "x/link");
        const Unknown way(Unknown::Way, path(unknown));

        QVERIFY(!File::copy(path("x/a"), path("x/link/a")));
        QCOMPARE(contents("x/a"), QByteArray("text"));
    }

    void keepsATargetThatMayBeNewer_data()
    {
        QTest::addColumn<QString>("unknown");

        QTest::newRow("the source") << "a";
        QTest::newRow("the target") << "b";
    }

    void keepsATargetThatMayBeNewer()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(QString, unknown);
        make("a", "new");
        make("b", "old");
        setTime("a", 2000000);
        setTime("b", 1000000);
        {
            const Unknown time(Unknown::Target, path(unknown));
            QVERIFY(!File::copy(path("a"), path("b"), -1));
        }
        QCOMPARE(contents("b"), QByteArray("old"));

        QVERIFY(File::copy(path("a"), path("b"), -1));
        QCOMPARE(contents("b"), QByteArray("new"));
    }

    void leavesNoEmptyCopyOfAFileWhoseSizeCannotBeTold()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        make("a", "text");
        failsToTellSizes = true;
        const bool isCopied = File::copy(path("a"), path("b"));
        failsToTellSizes = false;

        QVERIFY(!isCopied);
        QCOMPARE(below(""), QString("a"));
    }

    void replacesALinkAndNotWhatItLeadsTo()
    {
        make("a", "new");
        make("linked", "old");
        link(path("linked"), "link");
        link(path("a"), "back");

        QVERIFY(File::copy(path("a"), path("link")));
        QVERIFY(File::copy(path("a"), path("back")));

        QCOMPARE(contents("link"), QByteArray("new"));
        QCOMPARE(contents("linked"), QByteArray("old"));
        QCOMPARE(contents("back"), QByteArray("new"));
        QCOMPARE(below(""), QString("a back link linked"));
    }

    void doesNotCopyThroughALinkThatLeadsNowhere()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        make("a", "new");
        make("large", QByteArray(chunkedSize, 'a'));
        link(path("nowhere"), "link");
        const Progress progress(10, "", false, false, true);

        QVERIFY(!File::copy(path("a"), path("link")));
        QVERIFY(!File::copy(path("large"), path("link")));

        QCOMPARE(below(""), QString("a large link@"));
    }

    void losesATargetWhoseSourceIsMissing()
    {
        make("b", "old");

        QVERIFY(!File::copy(path("missing"), path("b"), 0));
        QCOMPARE(contents("b"), QByteArray("old"));
        QVERIFY(File::copy(path("missing"), path("b"), -1)); // which is not newer
        QCOMPARE(contents("b"), QByteArray("old"));
        QVERIFY(!File::copy(path("missing"), path("b"), 1));
        QCOMPARE(below(""), QString());
    }

    void doesNotCopyWhatIsNoFile_data()
    {
        QTest::addColumn<QString>("source");

        QTest::newRow("missing") << "missing";
        QTest::newRow("folder") << "folder";
        QTest::newRow("folder with a slash") << "folder/";
        QTest::newRow("pipe") << "pipe";
        QTest::newRow("link that leads nowhere") << "link";
        QTest::newRow("wildcard") << "folder/*";
        QTest::newRow("long") << QString(4000, 'a');
    }

    void doesNotCopyWhatIsNoFile()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QFETCH(QString, source);
        make("folder/a");
        QCOMPARE(mkfifo(qPrintable(path("pipe")), 0600), 0);
        link(path("nowhere"), "link");
        const QString before = below("");

        QVERIFY(!File::copy(path(source), path("b")));

        QCOMPARE(below(""), before);
    }

    void doesNotCopyToNowhere()
    {
        make("a", "kept");

        QVERIFY(!File::copy(path("a"), path("missing/b")));
        QVERIFY(!File::copy(path("a"), path("a/b")));
        QVERIFY(!File::copy(path("a"), path(QString(300, 'b'))));
        QVERIFY(!File::copy(path("a"), path(QString(4000, 'b'))));
        QVERIFY(!File::copy(path("a"), ""));
        QVERIFY(!File::copy("", path("b")));
        QVERIFY(!File::copy(path("missing"), path("missing too/")));

        QCOMPARE(below(""), QString("a"));
        QCOMPARE(contents("a"), QByteArray("kept"));
    }

    void keepsATargetThatCannotBeRemoved()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        make("a", "new");
        make("folder/a/file");
        make("locked/b", QByteArray(chunkedSize + 1, 'b'));
        make("large", QByteArray(chunkedSize, 'a'));
        QVERIFY(QFile::setPermissions(path("a"), QFile::Permissions(0x6666)));
        QVERIFY(QFile::setPermissions(path("large"), QFile::Permissions(0x6666)));
        QVERIFY(QFile::setPermissions(path("locked/b"), QFile::Permissions(0x6666)));
        QCOMPARE(chmod(qPrintable(path("locked")), 0555), 0);
        {
            const OrdinaryUser user(m_temporary->path());
            const Progress progress(10, "", false, false, true);

            QVERIFY(!File::copy(path("a"), path("folder")));
            QVERIFY(!File::copy(path("a"), path("locked/b")));
            QVERIFY(!File::copy(path("large"), path("locked/b")));
        }
        QCOMPARE(chmod(qPrintable(path("locked")), 0755), 0);

        QCOMPARE(below(""), QString("a folder/ folder/a/ folder/a/file large locked/ locked/b"));
        QCOMPARE(contents("locked/b"), QByteArray(chunkedSize + 1, 'b'));
    }

    void doesNotCopyWhatItMayNotRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        make("a", "secret");
        make("large", QByteArray(chunkedSize, 'a'));
        QCOMPARE(chmod(qPrintable(path("a")), 0), 0);
        QCOMPARE(chmod(qPrintable(path("large")), 0), 0);
        const OrdinaryUser user(m_temporary->path());
        const Progress progress(10, "", false, false, true);

        for (const QString &name : {QString("a"), QString("large")}) {
            QVERIFY(!File::copy(path(name), path("b")));
            QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.noread"));
        }

        QCOMPARE(below(""), QString("a large"));
    }

    void leavesNothingOnAFullDisk_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("room");
        QTest::addColumn<bool>("chunks");

        QTest::newRow("at once") << 10000 << 9999 << false;
        QTest::newRow("at once, no room") << 10000 << 0 << false;
        QTest::newRow("in chunks") << chunkedSize << 100000 << true;
        QTest::newRow("in chunks, the last one") << chunkedSize << chunkedSize - 1 << true;
        QTest::newRow("in chunks, no room") << chunkedSize << 0 << true;
    }

    void leavesNothingOnAFullDisk()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        QFETCH(int, size);
        QFETCH(int, room);
        QFETCH(bool, chunks);
        make("a", QByteArray(size, 'a'));
        const Progress progress(chunks ? 10 : -1, "", false, false, true);
        {
            const FullDisk disk(room);

            QVERIFY(!File::copy(path("a"), path("b")));
        }

        QCOMPARE(below(""), QString("a"));
    }

    void leavesNoPartOfAFileThatCannotBeReadWhole_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("offset"); // of the first byte that cannot be read
        QTest::addColumn<bool>("chunks");

        QTest::newRow("at once, at the start") << 10000 << 0 << false;
        QTest::newRow("at once, in the middle") << 10000 << 5000 << false;
        QTest::newRow("at once, in the last byte") << 10000 << 9999 << false;
        QTest::newRow("at once, far on") << (20 << 20) << (17 << 20) << false;
        QTest::newRow("in chunks, at the start") << chunkedSize << 0 << true;
        QTest::newRow("in chunks, in the middle") << chunkedSize << 1000000 << true;
        QTest::newRow("in chunks, between two") << chunkedSize << 40960 << true;
        QTest::newRow("in chunks, in the last byte") << chunkedSize << chunkedSize - 1 << true;
    }

    void leavesNoPartOfAFileThatCannotBeReadWhole()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(int, size);
        QFETCH(int, offset);
        QFETCH(bool, chunks);
        make("a", QByteArray(size, 'a'));
        make("b", "old");
        const Progress progress(chunks ? 10 : -1, "", false, false, true);
        ReadFault fault(path("a"), offset);

        QVERIFY(!File::copy(path("a"), path("b")));

        QCOMPARE(below(""), QString("a"));
        QVERIFY(fault.count() > 0);
        fault.repair();
        QVERIFY(File::copy(path("a"), path("b")));
        QVERIFY(contents("b") == QByteArray(size, 'a'));
    }

    void showsTheWaitCursorOnlyWhenTold()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        make("a", QByteArray(10000, 'a'));
        const FullDisk disk(5000, noteWaitCursor); // called in the middle of the copy

        QVERIFY(!File::copy(path("a"), path("b"), 1, true));
        QVERIFY(sawWaitCursor);
        QVERIFY(!File::copy(path("a"), path("b"), 1, false));
        QVERIFY(!sawWaitCursor);
        QVERIFY(!File::copy(path("a"), path("b"), 1));
        QVERIFY(sawWaitCursor);
        QVERIFY(!WaitCursor::activated());
    }

    // copy() in chunks

    void copiesALargeFileInChunksWithinAPopupReporter_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("maxSteps"); // of a reporter that is there, -1 for none
        QTest::addColumn<bool>("popup");
        QTest::addColumn<bool>("chunks");

        QTest::newRow("large") << chunkedSize << 10 << true << true;
        QTest::newRow("larger") << chunkedSize + 5000 << 10 << true << true;
        QTest::newRow("2048 KB") << 2048 * 1024 << 10 << true << false;
        QTest::newRow("below 2049 KB") << chunkedSize - 1 << 10 << true << false;
        QTest::newRow("within an ordinary reporter") << chunkedSize << 10 << false << false;
        QTest::newRow("within no reporter") << chunkedSize << -1 << true << false;
    }

    void copiesALargeFileInChunksWithinAPopupReporter()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(int, size);
        QFETCH(int, maxSteps);
        QFETCH(bool, popup);
        QFETCH(bool, chunks);
        QByteArray data(size, 'a');
        for (int i = 0; i < size; i += 1000)
            data[i] = char(i / 1000);
        make("a", data);
        QCOMPARE(chmod(qPrintable(path("a")), 0700), 0);
        Progress progress(maxSteps, "outer", true, false, popup);
        m_host->calls.clear();
        QStringList during;
        bool isSeenBefore = false;
        const QString steps = QString(", %1, 1)").arg(size / 4096);
        m_host->reaction = [&](const QString &call) {
            if (!WaitCursor::activated())
                return;
            during.append(Progress::any()->label());
            isSeenBefore = isSeenBefore || (call.endsWith(steps) && QFileInfo::exists(path("b")));
        };

        QVERIFY(File::copy(path("a"), path("b"), 1, false));

        m_host->reaction = nullptr;
        QVERIFY(contents("b") == data);
        QCOMPARE(QFileInfo(path("b")).isExecutable(), !chunks);
        QCOMPARE(m_host->calls.value(0), chunks ? "setProgressLabel(outer, 1)" : QString());
        const QString atTheEnd = QString("setProgress(%1, %1, 1)").arg(size / 4096);
        QCOMPARE(m_host->calls.contains(atTheEnd), chunks);
        QCOMPARE(m_host->calls.contains("showProgress(1, 0, 1)"), chunks);
        QCOMPARE(during.contains("outer"), chunks);
        QVERIFY(!isSeenBefore); // so a kill leaves no part of it
        QCOMPARE(below(""), QString("a b"));
    }

    void replacesATargetInChunks()
    {
        make("a", QByteArray(chunkedSize, 'a'));
        make("b", QByteArray(chunkedSize + 1, 'b'));
        const Progress progress(10, "", false, false, true);

        QVERIFY(!File::copy(path("a"), path("b"), 0));
        QVERIFY(contents("b") == QByteArray(chunkedSize + 1, 'b'));
        QVERIFY(File::copy(path("a"), path("b"), 1));

        QVERIFY(contents("b") == QByteArray(chunkedSize, 'a'));
    }

    void losesACancelThatComesInDuringChunks()
    {
        make("a", QByteArray(chunkedSize, 'a'));
        Progress progress(10, "outer", true, false, true);
        on("setProgress(25, 512, 1)", [&] {
            Progress::any()->cancel();
            progress.cancel();
        });

        QVERIFY(File::copy(path("a"), path("b")));

        m_host->reaction = nullptr;
        QVERIFY(contents("b") == QByteArray(chunkedSize, 'a'));
        QVERIFY(m_host->calls.contains("setProgress(25, 512, 1)"));
        QVERIFY(progress.tick());
    }

    void copiesAtOnceWhenTheChunksFail()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        make("a", QByteArray(chunkedSize, 'a'));
        const Progress progress(10, "outer", false, false, true);
        FullDisk disk(chunkedSize - 1);
        QStringList left;
        m_host->reaction = [&](const QString &) {
            if (Progress::any() == &progress) { // that of the chunks has ended
                left.append(below(""));
                disk.makeRoom();
            }
        };

        QVERIFY(File::copy(path("a"), path("b")));

        m_host->reaction = nullptr;
        QCOMPARE(left.value(0), QString("a"));
        QVERIFY(contents("b") == QByteArray(chunkedSize, 'a'));
    }

    void survivesALargeFileThatShrinksInChunks()
    {
        make("a", QByteArray(chunkedSize, 'a'));
        const Progress progress(10, "outer", false, false, true);
        on("setProgress(25, 512, 1)", [&] { QVERIFY(QFile::resize(path("a"), 100)); });

        QVERIFY(File::copy(path("a"), path("b")));

        m_host->reaction = nullptr;
        QCOMPARE(contents("b"), QByteArray(100, 'a'));
    }

    // copyDir()

    void copiesAFolderWithAllBelowIt()
    {
        SKIP_ON_WINDOWS("no name on Windows has an asterisk");
        make("x/from/a b.txt", "1");
        make("x/from/größe/日本.txt", "2");
        make("x/from/we*rd/*", "3");
        make("x/from/weird/no", "4");
        make("x/from/.hidden/file");
        make("x/from/.file");
        makeAll("x/from/empty/");

        QCOMPARE(File::copyDir(path("x/from"), path("y")), 1);

        QCOMPARE(tree(path("y")), QStringList({"from/", "from/a b.txt", "from/empty/",
                                               "from/größe/", "from/größe/日本.txt", "from/we*rd/",
                                               "from/we*rd/*", "from/weird/", "from/weird/no"}));
        QCOMPARE(contents("y/from/a b.txt"), QByteArray("1"));
        QCOMPARE(contents("y/from/größe/日本.txt"), QByteArray("2"));
        QCOMPARE(contents("y/from/we*rd/*"), QByteArray("3"));
        QCOMPARE(contents("y/from/weird/no"), QByteArray("4"));
    }

    void namesACopiedFolderWithoutItsExtension_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("copied");

        // clang-format off
        QTest::newRow("plain") << "x/ab" << "y/ab/file";
        QTest::newRow("suffix") << "x/a.b" << "y/a/file";
        QTest::newRow("two suffixes") << "x/a.b.c" << "y/a.b/file";
        QTest::newRow("hidden") << "x/.ab" << "y/file";
        QTest::newRow("with a slash") << "x/ab/" << "y/file";
        // clang-format on
    }

    void namesACopiedFolderWithoutItsExtension()
    {
        QFETCH(QString, source);
        QFETCH(QString, copied);
        make(source + "/file", "contents");

        QCOMPARE(File::copyDir(path(source), path("y")), 1);

        QCOMPARE(contents(copied), QByteArray("contents"));
        QCOMPARE(tree(path("y")).filter("file").size(), 1);
    }

    void namesTheFoldersBelowWithoutTheirExtensionToo()
    {
        makeAll("x/data.v2/a x/data.v3/b");

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(below("y"), QString("x/ x/data/ x/data/a x/data/b"));
    }

    void hasNothingToDoForAFolderThatIsCopiedOntoItself()
    {
        make("x/ab/file", "contents");
        QDir::setCurrent(path("x"));

        QCOMPARE(File::copyDir(path("x/ab"), path("x")), 1);
        QCOMPARE(File::copyDir(path("x/AB"), path("x/./")), 1);
        QCOMPARE(File::copyDir("ab", ""), 1);
        QCOMPARE(File::copyDir("missing", ""), 1);

        QCOMPARE(below(""), QString("x/ x/ab/ x/ab/file"));
        QCOMPARE(contents("x/ab/file"), QByteArray("contents"));
    }

    void keepsTheFilesOfAFolderThatIsCopiedOntoItselfByALink()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        make("x/ab/file", "contents");
        make("x/ab/below/file", "contents below");
        link(path("x"), "link");

        File::copyDir(path("link/ab"), path("x"));

        QCOMPARE(contents("x/ab/file"), QByteArray("contents"));
        QCOMPARE(contents("x/ab/below/file"), QByteArray("contents below"));
        QCOMPARE(below(""), QString("link@ x/ x/ab/ x/ab/below/ x/ab/below/file x/ab/file"));
    }

    void tellsWhetherAFileWasCopied_data()
    {
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<int>("overwrite");
        QTest::addColumn<int>("result");

        const auto row = [](const char *name, const char *files, int overwrite, int result) {
            QTest::newRow(name) << QByteArray(files) << overwrite << result;
        };
        // clang-format off
        row("missing",                     "other",              1,  0);
        row("empty",                       "x/",                 1,  0);
        row("folders only",                "x/a/ x/b/c/",        1,  0);
        row("hidden only",                 "x/.a",               1,  0);
        row("a file",                      "x/a",                1,  1);
        row("a file far below",            "x/a/ x/b/c/d",       1,  1);
        row("nothing that is not kept",    "x/a y/x/a",          0,  0);
        row("one that was there, one not", "x/a x/b/c y/x/a",    0,  1);
        row("one not, one that was there", "x/a x/b/c y/x/b/c",  0,  1);
        row("kept, as it is no older",     "x/a y/x/a",          -1, 1);
        // clang-format on
    }

    void tellsWhetherAFileWasCopied()
    {
        QFETCH(QByteArray, files);
        QFETCH(int, overwrite);
        QFETCH(int, result);
        makeAll(files);

        QCOMPARE(File::copyDir(path("x"), path("y"), overwrite), result);
        QVERIFY(QFileInfo(path("y/x")).isDir()); // made even for a folder that is missing
    }

    void leavesItToOverwriteWhetherTheFilesAreReplaced()
    {
        for (const char *file : {"x/a", "x/below/a"}) {
            make(file, "new");
            make(QString("y/") + file, "old");
            setTime(file, 1000000);
        }
        setTime("y/x/a", 2000000);
        setTime("y/x/below/a", 500000);

        QCOMPARE(File::copyDir(path("x"), path("y"), 0), 0);
        QCOMPARE(contents("y/x/a") + contents("y/x/below/a"), QByteArray("oldold"));
        QCOMPARE(File::copyDir(path("x"), path("y"), -1), 1);
        QCOMPARE(contents("y/x/a") + contents("y/x/below/a"), QByteArray("oldnew"));
        QCOMPARE(File::copyDir(path("x"), path("y")), 1);
        QCOMPARE(contents("y/x/a") + contents("y/x/below/a"), QByteArray("newnew"));
    }

    void copiesEachFolderThatFitsAWildcard()
    {
        SKIP_ON_WINDOWS("no name on Windows has an asterisk");
        makeAll("x/ab/file x/AC/file x/a*/file x/b/file x/abc y/");

        QCOMPARE(File::copyDir(path("x/a*"), path("y")), 1);

        QCOMPARE(below("y"), QString("AC/ AC/file a*/ a*/file ab/ ab/file"));
    }

    void tellsWhetherAFileWasCopiedByAWildcard()
    {
        makeAll("x/ab/ x/ac/file x/b/ x/bc/ x/file");

        QCOMPARE(File::copyDir(path("x/b*"), path("y")), 0);
        QCOMPARE(File::copyDir(path("x/f*"), path("y")), 0);
        QCOMPARE(File::copyDir(path("x/a*"), path("y")), 1);
        QCOMPARE(File::copyDir(path("x/a*"), path("y"), 0), 0);
        QCOMPARE(File::copyDir(path("missing/*"), path("z")), 0);

        QCOMPARE(below("y"), QString("ab/ ac/ ac/file b/ bc/"));
        QVERIFY(!QFileInfo::exists(path("z")));
    }

    void endsWhenItCopiesAFolderBelowItself_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("made");

        // clang-format off
        QTest::newRow("into itself")      << "x"   << "x"         << "x/x/ x/x/a x/x/b/ x/x/b/c";
        QTest::newRow("below itself")     << "x"   << "x/b"       << "x/b/x/ x/b/x/a x/b/x/b/ x/b/x/b/c";
        QTest::newRow("into a new one")   << "x"   << "x/n/m"
            << "x/n/ x/n/m/ x/n/m/x/ x/n/m/x/a x/n/m/x/b/ x/n/m/x/b/c x/n/m/x/n/ x/n/m/x/n/m/";
        QTest::newRow("by a link")        << "x"   << "link"      << "x/x/ x/x/a x/x/b/ x/x/b/c";
        QTest::newRow("without a name")   << "x/"  << "x/n"       << "x/n/ x/n/a x/n/b/ x/n/b/c";
        QTest::newRow("by a wildcard")    << "x/*" << "x/b"       << "x/b/b/ x/b/b/c";
        // clang-format on
    }

    void endsWhenItCopiesAFolderBelowItself()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(QString, made);
        makeAll("x/a x/b/c");
        link(path("x"), "link");
        QStringList expected = QString("link@ x/ x/a x/b/ x/b/c " + made).split(' ');
        expected.sort();

        QCOMPARE(File::copyDir(path(source), path(target)), 1);

        QCOMPARE(tree(path("")), expected);
    }

    void endsInALoopOfLinks()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        makeAll("x/a z/b");
        link(path("x"), "x/self");
        link(path("x"), "x/again");
        link(path("z"), "x/other");
        link(path("x"), "z/back");
        link(path(""), "x/up");

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(below("y/x/other"), QString("b"));
        QCOMPARE(contents("y/x/a"), QByteArray("x"));
        QVERIFY(!QFileInfo::exists(path("y/x/self")));
        QVERIFY(!QFileInfo::exists(path("y/x/again")));
        QVERIFY(!QFileInfo::exists(path("y/x/up/x")));
        QVERIFY(!QFileInfo::exists(path("y/x/up/y/x")));
        QVERIFY(QFileInfo::exists(path("y/x/up/z/b")));
    }

    void copiesWhatLinksLeadTo()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        makeAll("x/ z/a");
        make("file", "contents");
        link(path("z"), "x/folder");
        link(path("file"), "x/link");
        link(path("nowhere"), "x/lost");

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(below("y"), QString("x/ x/folder/ x/folder/a x/link"));
        QCOMPARE(contents("y/x/link"), QByteArray("contents"));
    }

    void copiesFilesOntoAFileThatStandsInTheirFoldersWay()
    {
        make("x/ab/file", "new");
        make("x/ab/below/file", "below");
        make("y/ab", "old");
        make("z/ab/below", "old");
        setTime("x/ab/file", 1000000);
        setTime("y/ab", 2000000);

        QCOMPARE(File::copyDir(path("x/ab"), path("y/ab")), 0);
        QCOMPARE(File::copyDir(path("x/ab"), path("y"), 0), 0);
        QCOMPARE(File::copyDir(path("x/ab"), path("y"), -1), 1);
        QCOMPARE(contents("y/ab"), QByteArray("old"));
        QCOMPARE(File::copyDir(path("x/ab"), path("y")), 1);
        QCOMPARE(File::copyDir(path("x/ab"), path("z")), 1);

        QCOMPARE(below("y"), QString("ab"));
        QCOMPARE(contents("y/ab"), QByteArray("new"));
        QCOMPARE(below("z"), QString("ab/ ab/below ab/file"));
        QCOMPARE(contents("z/ab/below"), QByteArray("below"));
    }

    void leavesOutWhatIsInAFolderThatCannotBeMade_data()
    {
        QTest::addColumn<QString>("folder"); // that cannot be made
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("copied");

        const QString all = "x/ x/1 x/2 x/ab/ x/ab/3 x/ab/4 x/ab/below/ x/ab/below/5 x/cd/ x/cd/6";
        // clang-format off
        QTest::newRow("none") << "nowhere" << 1 << all;
        QTest::newRow("the outermost") << "y/x" << 0 << "";
        QTest::newRow("one among others") << "y/x/ab" << 1 << "x/ x/1 x/2 x/cd/ x/cd/6";
        QTest::newRow("the innermost") << "y/x/ab/below" << 1 << "x/ x/1 x/2 x/ab/ x/ab/3 x/ab/4 x/cd/ x/cd/6";
        // clang-format on
    }

    void leavesOutWhatIsInAFolderThatCannotBeMade()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(QString, folder);
        QFETCH(int, result);
        QFETCH(QString, copied);
        makeAll("x/1 x/2 x/ab/3 x/ab/4 x/ab/below/5 x/cd/6 y/");
        const NoFolder noFolder(path(folder));

        QCOMPARE(File::copyDir(path("x"), path("y")), result);

        QCOMPARE(below("y"), copied);
    }

    void copiesNothingToAFolderThatCannotBeMade()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        makeAll("x/1 x/2 x/3");
        const NoFolder noFolder(path("y"));

        QCOMPARE(File::copyDir(path("x"), path("y/z")), 0);
        QCOMPARE(File::copyDir(path("x*"), path("y/z")), 0);

        QCOMPARE(below(""), QString("x/ x/1 x/2 x/3"));
    }

    void countsTheEntriesOfAFolderThatCannotBeMadeAsOneStep()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        makeAll("x/1 x/2 x/3 x/4 x/5 x/ab/6 x/ab/7 x/ab/8 x/ab/9 x/ab/10 x/ab/11 y/");
        const NoFolder noFolder(path("y/x/ab"));

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(callsThatSetProgress().size(), 6);
        QCOMPARE(below("y"), QString("x/ x/1 x/2 x/3 x/4 x/5"));
    }

    void passesOverAFileThatCannotBeReadWhole()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        make("x/a", "good");
        make("x/b", QByteArray(10000, 'b'));
        make("x/c", "good");
        makeAll("z/");
        QCOMPARE(::link(qPrintable(path("x/b")), qPrintable(path("z/b"))), 0); // bad as well
        const ReadFault fault(path("x/b"), 5000);

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);
        QCOMPARE(File::copyDir(path("z"), path("y")), 0);

        QCOMPARE(below("y"), QString("x/ x/a x/c z/"));
    }

    void copiesNewFilesWithFewSystemCalls()
    {
        const int files = 50;
        for (int i = 0; i < files; ++i)
            make(QString("x/%1").arg(i), QByteArray(i % 2, 'a'));
        makeAll("y/");
        examinations = 0;
        synced = 0;

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QVERIFY2(examinations < 3 * files, qPrintable(QString::number(examinations)));
        QCOMPARE(synced, 0);
        QCOMPARE(tree(path("y/x")).size(), files);
        QCOMPARE(contents("y/x/0"), QByteArray());
        QCOMPARE(contents("y/x/1"), QByteArray("a"));
    }

    // A file that was replaced is lost otherwise when the power fails.
    void forcesTheContentsOfAReplacedFileToTheDisk()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        make("x/a", "new");
        make("y/x/a", "old");
        synced = 0;

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(contents("y/x/a"), QByteArray("new"));
        QVERIFY(synced > 0);
    }

    void copiesAFolderWhereTheSystemLacksACall_data()
    {
        QTest::addColumn<bool>("unnamedFiles");
        QTest::addColumn<int>("firstFault"); // of the source, only once

        QTest::newRow("no files without a name") << false << intMax;
        QTest::newRow("no copies by the system") << true << 0;
        QTest::newRow("no copies by the system, in the middle") << true << 5000;
    }

    void copiesAFolderWhereTheSystemLacksACall()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(bool, unnamedFiles);
        QFETCH(int, firstFault);
        const QByteArray data = QByteArray(50000, 'a') + "end";
        make("x/a", data);
        make("x/b", "");
        makeAll("y/");
        const ReadFault fault(path("x/a"), firstFault, EINVAL, 1);
        hasUnnamedFiles = unnamedFiles;
        const int result = File::copyDir(path("x"), path("y"));
        hasUnnamedFiles = true;

        QCOMPARE(result, 1);
        QCOMPARE(fault.count(), unnamedFiles ? 1 : 0);
        QCOMPARE(below("y"), QString("x/ x/a x/b"));
        QVERIFY(contents("y/x/a") == data);
    }

    void copiesTheContentsOfAFileThatTellsNoSize()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        const QByteArray release = [] {
            QFile file("/proc/sys/kernel/osrelease");
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        }();
        if (release.isEmpty())
            QSKIP("there is no /proc");
        makeAll("x/ y/");
        link("/proc/sys/kernel/osrelease", "x/release");

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(contents("y/x/release"), release);
    }

    void copiesThePermissionsOfEachFileAsCopyDoes()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        std::vector<mode_t> modes;
        for (mode_t mode = 0; mode <= 0777; mode += 037)
            modes.push_back(mode);
        modes.insert(modes.end(), {0111, 0222, 0444, 0011, 0022, 0044, 0666, 0777, 07755});
        if (geteuid() != 0) { // others cannot copy what they may not read
            const auto isUnreadable = [](mode_t mode) { return (mode & S_IRUSR) == 0; };
            modes.erase(std::remove_if(modes.begin(), modes.end(), isUnreadable), modes.end());
        }
        makeAll("y/ z/");
        for (const mode_t mode : modes) {
            const QString name = "x/" + QString::number(mode, 8);
            make(name);
            QCOMPARE(chmod(qPrintable(path(name)), mode), 0);
        }

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        for (const mode_t mode : modes) {
            const QString name = "x/" + QString::number(mode, 8);
            QVERIFY(File::copy(path(name), path("z")));
            struct stat copy;
            struct stat expected;
            QCOMPARE(stat(qPrintable(path("y/" + name)), &copy), 0);
            QCOMPARE(stat(qPrintable(path("z/" + name.mid(2))), &expected), 0);
            QCOMPARE(QString::number(copy.st_mode, 8), QString::number(expected.st_mode, 8));
        }
    }

    // QDir lists what such a link leads to among the files, and among the folders.
    void makesAFolderOfALinkToADevice()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        make("x/a");
        makeAll("y/");
        link("/dev/null", "x/null");

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(below("y"), QString("x/ x/a x/null/"));
    }

    void copiesNothingOfAnEmptyPath()
    {
        makeAll("file folder/file y/");
        QDir::setCurrent(path(""));

        QCOMPARE(File::copyDir("", path("y")), 0);

        QCOMPARE(below("y"), QString());
    }

    void passesOverWhatItMayNotRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        makeAll("x/a x/b x/locked/file x/open/file y/");
        QCOMPARE(chmod(qPrintable(path("x/a")), 0), 0);
        QCOMPARE(chmod(qPrintable(path("x/locked")), 0), 0);
        QCOMPARE(chmod(qPrintable(path("y")), 0777), 0);
        {
            const OrdinaryUser user(m_temporary->path());
            QCOMPARE(File::copyDir(path("x"), path("y")), 1);
        }
        QCOMPARE(chmod(qPrintable(path("x/locked")), 0755), 0);

        QCOMPARE(below("y"), QString("x/ x/b x/locked/ x/open/ x/open/file"));
    }

    void copiesNothingToWhereItMayNotWrite()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        makeAll("x/a x/b/c y/");
        QCOMPARE(chmod(qPrintable(path("y")), 0555), 0);
        {
            const OrdinaryUser user(m_temporary->path());
            QCOMPARE(File::copyDir(path("x"), path("y")), 0);
        }
        QCOMPARE(chmod(qPrintable(path("y")), 0755), 0);

        QCOMPARE(below("y"), QString());
    }

    void copiesWhatFitsOnAFullDisk()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        make("x/large", QByteArray(10000, 'a'));
        make("x/small", QByteArray(10, 'a'));
        make("z/large", QByteArray(10000, 'a'));
        {
            const FullDisk disk(5000);
            QCOMPARE(File::copyDir(path("x"), path("y")), 1);
            QCOMPARE(File::copyDir(path("z"), path("y")), 0);
        }

        QCOMPARE(below("y"), QString("x/ x/small z/"));
    }

    void reportsAFolderOfSixEntries_data()
    {
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<bool>("cancelable");
        QTest::addColumn<QStringList>("calls");

        const QStringList calls{"setProgressLabel(Copying %1, 1)",
                                "showProgress(1, 0, 1)",
                                "setProgressLabel(Copying %1, 1)",
                                "setProgress(1, 6, 1)",
                                "setProgress(2, 6, 1)",
                                "setProgress(3, 6, 1)",
                                "setProgress(4, 6, 1)",
                                "setProgress(5, 6, 1)",
                                "setProgress(6, 6, 1)",
                                "setProgressLabel(, 1)",
                                "showProgress(0, 0, 1)"};
        QStringList cancelableCalls = calls;
        cancelableCalls[1] = "showProgress(1, 1, 1)";
        cancelableCalls[10] = "showProgress(0, 1, 1)";
        // clang-format off
        QTest::newRow("files") << QByteArray("x/1 x/2 x/3 x/4 x/5 x/6") << false << calls;
        QTest::newRow("cancelable") << QByteArray("x/1 x/2 x/3 x/4 x/5 x/6") << true << cancelableCalls;
        QTest::newRow("files and folders") << QByteArray("x/1 x/2 x/3 x/4/ x/5/1 x/6/") << false << calls;
        QTest::newRow("and large folders in it")
            << QByteArray("x/1 x/2 x/3 x/4/ x/6/ x/5/1 x/5/2 x/5/3 x/5/4 x/5/5 x/5/6 x/5/7") << false << calls;
        QTest::newRow("five entries") << QByteArray("x/1 x/2 x/3 x/4 x/5/1") << false << QStringList();
        // clang-format on
    }

    void reportsAFolderOfSixEntries()
    {
        QFETCH(QByteArray, files);
        QFETCH(bool, cancelable);
        QFETCH(QStringList, calls);
        makeAll(files);

        QCOMPARE(File::copyDir(path("x"), path("y"), 1, cancelable), 1);

        QCOMPARE(m_host->calls, calls.replaceInStrings("%1", path("x")));
    }

    void reportsNothingWithinAPopupReporter_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("popup");

        QTest::newRow("popup") << "x" << true;
        QTest::newRow("popup, wildcard") << "*" << true;
        QTest::newRow("ordinary") << "x" << false;
        QTest::newRow("ordinary, wildcard") << "*" << false;
    }

    void reportsNothingWithinAPopupReporter()
    {
        QFETCH(QString, source);
        QFETCH(bool, popup);
        makeAll("x/1/a x/2/a x/3/a x/4/a x/5/a x/6/a x2/ x3/ x4/ x5/ x6/");
        const Progress progress(10, "outer", false, false, popup);
        m_host->calls.clear();

        QCOMPARE(File::copyDir(path(source), path("y")), 1);

        QCOMPARE(m_host->calls.isEmpty(), popup);
    }

    void reportsEachFolderOfAWildcard_data()
    {
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<int>("reports");

        QTest::newRow("six") << QByteArray("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/ x/file") << 6;
        QTest::newRow("five") << QByteArray("x/1/ x/2/ x/3/ x/4/ x/5/ x/file") << 0;
        QTest::newRow("six, one of them large")
            << QByteArray("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/1 x/6/2 x/6/3 x/6/4 x/6/5 x/6/6") << 6;
    }

    void reportsEachFolderOfAWildcard()
    {
        QFETCH(QByteArray, files);
        QFETCH(int, reports);
        makeAll(files);

        File::copyDir(path("x/*"), path("y"));

        QCOMPARE(callsThatSetProgress().size(), reports);
        if (reports > 0) {
            QCOMPARE(m_host->calls.first(),
                     QString("setProgressLabel(Copying %1, 1)").arg(path("x/*")));
            QCOMPARE(m_host->calls.last(), QString("showProgress(0, 0, 1)"));
        }
    }

    void showsTheWaitCursorUnlessItIsCancelable_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<bool>("cancelable");

        for (const char *operation : {"copyDir", "copyDir, wildcard", "remove"}) {
            // clang-format off
            QTest::newRow(qPrintable(QString("%1, cancelable").arg(operation))) << operation << true;
            QTest::newRow(operation) << operation << false;
            // clang-format on
        }
    }

    void showsTheWaitCursorUnlessItIsCancelable()
    {
        QFETCH(QString, operation);
        QFETCH(bool, cancelable);
        makeAll("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/");
        QVector<bool> seen;
        on("setProgress(3, 6, 1)", [&] { seen.append(WaitCursor::activated()); });

        if (operation == "remove")
            File::remove(path("x/*"), "", cancelable);
        else
            File::copyDir(path(operation == "copyDir" ? "x" : "x/*"), path("y"), 1, cancelable);

        QCOMPARE(seen, QVector<bool>{!cancelable});
        QVERIFY(!WaitCursor::activated());
    }

    void showsTheWaitCursorWhileItCopiesAFewFiles_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("cancelable");

        QTest::newRow("not cancelable") << "x" << false;
        QTest::newRow("cancelable") << "x" << true;
        QTest::newRow("wildcard, not cancelable") << "x*" << false;
        QTest::newRow("wildcard, cancelable") << "x*" << true;
    }

    void showsTheWaitCursorWhileItCopiesAFewFiles()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        QFETCH(QString, source);
        QFETCH(bool, cancelable);
        make("x/a", QByteArray(10000, 'a'));
        const FullDisk disk(5000, noteWaitCursor); // called in the middle of the copy

        QCOMPARE(File::copyDir(path(source), path("y"), 1, cancelable), 0);

        QCOMPARE(sawWaitCursor, !cancelable);
    }

    void canBeCancelled_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<int>("done"); // entries in the target

        // clang-format off
        QTest::newRow("at a file")      << "x"   << QByteArray("x/1 x/2 x/3 x/4 x/5 x/6")                << 2;
        QTest::newRow("at a folder")    << "x"   << QByteArray("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/")          << 2;
        QTest::newRow("far below")      << "x"
            << QByteArray("x/x/1 x/x/2 x/x/3 x/x/4 x/x/5 x/x/6 x/y/1 x/y/2 x/y/3 x/y/4 x/y/5 x/y/6")    << 2;
        QTest::newRow("of a wildcard")  << "x/*" << QByteArray("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/")          << 2;
        QTest::newRow("below wildcard") << "x/*"
            << QByteArray("x/x/1 x/x/2 x/x/3 x/x/4 x/x/5 x/x/6 x/y/1 x/y/2 x/y/3 x/y/4 x/y/5 x/y/6")    << 2;
        // clang-format on
    }

    void canBeCancelled()
    {
        QFETCH(QString, source);
        QFETCH(QByteArray, files);
        QFETCH(int, done);
        makeAll(files);
        on("setProgress(2, 6, 1)", [] { Progress::any()->cancel(); });

        QCOMPARE(File::copyDir(path(source), path("y"), 1, true), -1);

        QCOMPARE(callsThatSetProgress().size(), 2);
        QCOMPARE(tree(path("y")).filter(QRegExp("[1-6]/?$")).size(), done);
    }

    void cannotBeCancelledUnlessItIsCancelable()
    {
        makeAll("x/1 x/2 x/3 x/4 x/5 x/6");
        on("setProgress(2, 6, 1)", [] { Progress::any()->cancel(); });

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(below("y"), QString("x/ x/1 x/2 x/3 x/4 x/5 x/6"));
    }

    void survivesASourceThatGoesMeanwhile()
    {
        makeAll("x/1 x/2 x/3 x/4 x/5 x/6 x/7/a x/8/b");
        on("setProgress(1, 8, 1)", [&] { QVERIFY(QDir(path("x")).removeRecursively()); });

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(callsThatSetProgress().size(), 8);
        QCOMPARE(tree(path("y/x")).filter(QRegExp("^[1-6]$")).size(), 1);
    }

    void survivesATargetThatGoesMeanwhile()
    {
        makeAll("x/1 x/2 x/3 x/4 x/5 x/6");
        on("setProgress(1, 6, 1)", [&] { QVERIFY(QDir(path("y/x")).removeRecursively()); });

        QCOMPARE(File::copyDir(path("x"), path("y")), 1);

        QCOMPARE(callsThatSetProgress().size(), 6);
        QCOMPARE(below("y"), QString("x")); // what is copied then takes the folder's path
    }

    // move() and moveDir()

    void movesFilesAndFolders_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("result");

        const auto row = [](const char *source, const char *target, const char *result) {
            QTest::addRow("%s to %s", source, target)
                << QString(source) << QString(target) << QString(result);
        };
        // clang-format off
        row("a",           "new",           "b folder/ folder/c new");
        row("a",           "b",             "b folder/ folder/c");
        row("a",           "folder",        "b folder/ folder/a folder/c");
        row("a",           "folder/c",      "b folder/ folder/c");
        row("./folder/../a", "folder//./n", "b folder/ folder/c folder/n");
        row("missing/../a", "new",          "b folder/ folder/c new");
        row("a",           "missing/../new", "b folder/ folder/c new");
        row("folder",      "new",           "a b new/ new/c");
        row("folder/",     "new/",          "a b new/ new/c");
        row("a",           "missing/new",   "a b folder/ folder/c");
        row("missing",     "b",             "a b folder/ folder/c");
        row("folder",      "folder",        "a b folder/ folder/c");
        row("folder",      "b",             "a b folder/ folder/c");
        // clang-format on
    }

    void movesFilesAndFolders()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(QString, result);
        if (source == "folder" && target == "b")
            SKIP_ON_WINDOWS("the command of Wine replaces a file by a folder");
        makeAll("b folder/c");
        make("a", "moved");

        File::move(path(source), path(target));

        QCOMPARE(below(""), result);
        const QString moved = QDir::cleanPath(path(target));
        if (!QFileInfo::exists(path("a")) && QFileInfo(moved).isFile()) {
            QFile file(moved);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), QByteArray("moved"));
        }
    }

    void movesByNamesOfAnyKind()
    {
        SKIP_ON_WINDOWS("no name on Windows has an asterisk");
        make("a b", "1");
        make("-f", "2");
        make("we*rd", "3");
        make("größe 日本", "4");
        make("weird", "5");
        QVERIFY(QDir().mkpath(path("to here")));
        QDir::setCurrent(path(""));

        File::move(path("a b"), path("to here/c d"));
        File::move("-f", "-v");
        File::move(path("we*rd"), path("to here"));
        File::move(path("größe 日本"), path("日本 größe"));

        QCOMPARE(tree(path("")), QStringList({"-v", "to here/", "to here/c d", "to here/we*rd",
                                              "weird", "日本 größe"}));
        QCOMPARE(contents("to here/c d"), QByteArray("1"));
        QCOMPARE(contents("日本 größe"), QByteArray("4"));
    }

    void movesNothingOfAnEmptyPath()
    {
        makeAll("a folder/");
        QDir::setCurrent(path("folder"));

        File::move("", path("b"));
        File::move(path("a"), "");
        File::moveDir("", path("b"));
        File::moveDir(path("folder"), "");

        QCOMPARE(below(""), QString("a folder/"));
    }

    void movesALinkAsALink()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        makeAll("folder/a to/");
        link(path("folder"), "link");

        File::move(path("link"), path("to"));

        QCOMPARE(below(""), QString("folder/ folder/a to/ to/link@"));
    }

    void movesAFolderWithoutAWildcard()
    {
        makeAll("x/a y/ file");

        File::moveDir(path("x"), path("y"));
        File::moveDir(path("file"), path("y"));

        QCOMPARE(below(""), QString("y/ y/file y/x/ y/x/a"));
    }

    void movesEachFolderThatFitsAWildcard()
    {
        SKIP_ON_WINDOWS("no name on Windows has an asterisk");
        makeAll("x/ab/1 x/AC/2 x/a*/3 x/b/4 x/abc y/");

        File::moveDir(path("x/a*"), path("y"));

        QCOMPARE(below(""),
                 QString("x/ x/abc x/b/ x/b/4 y/ y/AC/ y/AC/2 y/a*/ y/a*/3 y/ab/ y/ab/1"));
    }

    void movesTheFoldersBesideATargetThatFitsToo()
    {
        makeAll("x/1/a x/2/b x/y/");

        File::moveDir(path("x/*"), path("x/y"));

        QCOMPARE(below("x"), QString("y/ y/1/ y/1/a y/2/ y/2/b"));
    }

    void movesNothingWhereNoFolderFits()
    {
        makeAll("x/a y/");

        File::moveDir(path("x/*"), path("y"));
        File::moveDir(path("missing/*"), path("y"));

        QCOMPARE(below(""), QString("x/ x/a y/"));
    }

    // remove()

    void removesTheContentsOfAFolder_data()
    {
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("left");

        const auto row = [](const char *name, const char *files, int count, const char *left) {
            QTest::newRow(name) << QByteArray(files) << count << QString(left);
        };
        // clang-format off
        row("missing",                 "other",                          0, "");
        row("empty",                   "x/",                             0, "");
        row("files",                   "x/a x/b.txt x/*",                3, "");
        row("folders",                 "x/a/ x/b/",                      2, "");
        row("all below",               "x/a x/b/c x/b/d/e/f x/b/d/g",    7, "");
        row("folders with stars",      "x/we*rd/a x/*/b",                4, "");
        row("a hidden file",           "x/a x/.b",                       1, ".b");
        row("a hidden file far below", "x/a/b/c x/a/.d x/e/f",           4, "a/ a/.d");
        row("a file",                  "x",                              0, "");
        // clang-format on
    }

    void removesTheContentsOfAFolder()
    {
        QFETCH(QByteArray, files);
        QFETCH(int, count);
        QFETCH(QString, left);
        if (files.contains('*'))
            SKIP_ON_WINDOWS("no name on Windows has an asterisk");
        makeAll(files);
        makeAll("y/a/b xx/a");
        const bool wasThere = QFileInfo::exists(path("x"));

        QCOMPARE(File::remove(path("x/*")), count);

        QCOMPARE(below("x"), left);
        QCOMPARE(QFileInfo::exists(path("x")), wasThere);
        QCOMPARE(below("y") + below("xx"), QString("a/ a/ba"));
    }

    void removesNamesOfAnyKind()
    {
        make("x/größe/日本 .txt");
        make("x/a b/ c ");

        QCOMPARE(File::remove(path("x/*")), 4);

        QCOMPARE(below("x"), QString());
    }

    void keepsTheExceptions_data()
    {
        QTest::addColumn<Data::String>("exceptions");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("left");

        const QString files = "A.txt a.txt b.md c;d sub/ sub/a.txt sub/sub/ sub/sub/b.md";
        const auto row = [](const char *name, const char *exceptions, int count,
                            const QString &left) {
            QTest::newRow(name) << Data::String(exceptions) << count << left;
        };
        // clang-format off
        row("none",                       "",                 8, "");
        row("a name",                     "b.md",             7, "b.md");
        row("a name in the other case",   "B.MD",             7, "b.md");
        row("a name in two cases",        "a.txt",            6, "A.txt a.txt");
        row("a wildcard",                 "*.txt",            6, "A.txt a.txt");
        row("two wildcards are one name", "*.txt;b.md",       8, "");
        row("a name with a semicolon",    "c;d",              7, "c;d");
        row("a folder",                   "sub",              4, "sub/ sub/a.txt sub/sub/ sub/sub/b.md");
        row("a folder by a wildcard",     "s*",               4, "sub/ sub/a.txt sub/sub/ sub/sub/b.md");
        row("all",                        "*",                0, files);
        row("what is not there",          "x",                8, "");
        row("exact names",                "a.txt\nb.md",      6, "a.txt b.md");
        row("exact names, case counts",   "a.txt\nB.md\nSub", 7, "a.txt");
        row("exact folder and file",      "sub\nc;d",         3, "c;d sub/ sub/a.txt sub/sub/ sub/sub/b.md");
        row("no wildcard by a line feed", "*.txt\nb.md",      7, "b.md");
        row("no valid wildcard",          "[z-a]",            8, "");
        row("one exact name",             "A.txt\n",          7, "A.txt");
        row("a line feed",                "\n",               8, "");
        // clang-format on
    }

    void keepsTheExceptions()
    {
        SKIP_ON_WINDOWS("two of the names are the same on Windows");
        QFETCH(Data::String, exceptions);
        QFETCH(int, count);
        QFETCH(QString, left);
        makeAll("x/a.txt x/A.txt x/b.md x/c;d x/sub/a.txt x/sub/sub/b.md");

        QCOMPARE(File::remove(path("x/*"), exceptions), count);

        QCOMPARE(below("x"), left);
    }

    void doesNotTakeAFolderForAWildcard()
    {
        SKIP_ON_WINDOWS("no name on Windows has an asterisk");
        makeAll("x/we*rd/a x/weird/b");

        QCOMPARE(File::remove(path("x/*"), "weird\n"), 2);

        QCOMPARE(below("x"), QString("weird/ weird/b"));
    }

    void removesALinkAsALink_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("left");

        const auto row = [](const char *name, const char *argument, int count, const char *left) {
            QTest::newRow(name) << QString(argument) << count << QString(left);
        };
        // clang-format off
        row("in the contents",       "x/*",         4, "lost@");
        row("by a wildcard",         "x/f*",        1, "folder@ lost@ sub/ sub/folder@");
        row("to a folder",           "x/folder",    1, "file@ lost@ sub/ sub/folder@");
        row("to a folder, slash",    "x/folder/",   1, "file@ lost@ sub/ sub/folder@");
        row("to a folder, slashes",  "x/folder///", 1, "file@ lost@ sub/ sub/folder@");
        row("to a file",             "x/file",      1, "folder@ lost@ sub/ sub/folder@");
        row("to nowhere",            "x/lost",      1, "file@ folder@ sub/ sub/folder@");
        row("in a folder",           "x",           1, "folder@ lost@ sub/ sub/folder@");
        // clang-format on
    }

    void removesALinkAsALink()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        QFETCH(QString, argument);
        QFETCH(int, count);
        QFETCH(QString, left);
        makeAll("x/sub/ z/a z/b/c");
        link(path("z"), "x/folder");
        link(path("z"), "x/sub/folder");
        link(path("z/a"), "x/file");
        link(path("nowhere"), "x/lost");

        const int removed = File::remove(path(argument));

        QCOMPARE(below("z"), QString("a b/ b/c"));
        QCOMPARE(below("x"), left);
        QCOMPARE(removed, count);
    }

    void leavesAloneWhatMayBeALink_data()
    {
        QTest::addColumn<QString>("removed");

        QTest::newRow("itself") << "x/link";
        QTest::newRow("itself, with a slash") << "x/link/";
    }

    void leavesAloneWhatMayBeALink()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        QFETCH(QString, removed);
        makeAll("other/a other/below/b x/");
        link("../other", "x/link");
        {
            const Unknown entry(Unknown::Link, path("x/link"));
            QCOMPARE(File::remove(path(removed)), 0);
        }
        QCOMPARE(below("other"), QString("a below/ below/b"));
        QVERIFY(QFileInfo(path("x/link")).isSymLink());

        QCOMPARE(File::remove(path("x/*")), 1);
        QCOMPARE(below("x"), QString());
    }

    void followsALinkThatThePathGoesThrough()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        makeAll("x/ z/a z/b/c");
        link(path("z"), "x/link");

        QCOMPARE(File::remove(path("x/link/b/*")), 1);
        QCOMPARE(below("z"), QString("a b/"));
        QCOMPARE(File::remove(path("x/link/*")), 2);

        QCOMPARE(below(""), QString("x/ x/link@ z/"));
    }

    void removesNothingWithoutAName()
    {
        makeAll("here/a here/b/c");
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(path("here")));

        const int removed = File::remove("*");
        const Data::String reason = File::lastError();
        const int removedByNone = File::remove("");
        QVERIFY(QDir::setCurrent(before));

        QCOMPARE(removed + removedByNone, 0);
        QCOMPARE(reason, Data::String(".Kelm.Utils.err.badname"));
        QCOMPARE(below("here"), QString("a b/ b/c"));
    }

    void removesTheContentsOfTheCurrentFolderByItsName()
    {
        makeAll("x/file x/folder/file y");
        QDir::setCurrent(path("x"));

        QCOMPARE(File::remove("./*"), 3);

        QCOMPARE(below(""), QString("x/ y"));
    }

    void removesNothingOfTheRoot_data()
    {
        QTest::addColumn<QString>("argument");

        for (const char *const argument :
             {"/*", "//*", "/./*", "/..//*", "/here/../*", "../*", "rootLink/*", "rootLink/./*"})
            QTest::newRow(argument) << QString(argument);
    }

    void removesNothingOfTheRoot()
    {
        QFETCH(QString, argument);
        SKIP_ON_WINDOWS("Windows does not copy processes");
        makeAll("root/a root/b/c root/here/d");
        link("/", "root/here/rootLink");
        const QString before = below("");

        const int result = runInRoot([&] {
            return File::remove(argument) == 0 &&
                   File::lastError() == QLatin1String(".Kelm.Utils.err.badname");
        });

        if (result < 0)
            QSKIP("this user may not change the root of a process");
        QCOMPARE(result, 1);
        QCOMPARE(below(""), before);
    }

    void removesTheFilesOfTheRootByItsName_data()
    {
        QTest::addColumn<QString>("argument");

        for (const char *const argument : {"/", "//", "/.", "/here/.."})
            QTest::newRow(argument) << QString(argument);
    }

    void removesTheFilesOfTheRootByItsName()
    {
        QFETCH(QString, argument);
        SKIP_ON_WINDOWS("Windows does not copy processes");
        makeAll("root/a root/b/c root/here/d");

        const int result = runInRoot([&] {
            return File::remove(argument) == 1 &&
                   File::lastError() == QLatin1String(".Kelm.Utils.err.rmdir");
        });

        if (result < 0)
            QSKIP("this user may not change the root of a process");
        QCOMPARE(result, 1);
        QCOMPARE(below("root"), QString("b/ b/c here/ here/d"));
    }

    void removesTheFilesThatFitAWildcard_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("left");

        const auto row = [](const char *argument, int count, const char *left) {
            QTest::newRow(argument) << QString(argument) << count << QString(left);
        };
        // clang-format off
        row("x/*.txt",       2, "b.md c.txt/ c.txt/d.txt");
        row("x/a*",          1, "B.TXT b.md c.txt/ c.txt/d.txt");
        row("x/**",          3, "c.txt/ c.txt/d.txt");
        row("x/*.cpp",       0, "B.TXT a.txt b.md c.txt/ c.txt/d.txt");
        row("missing/*.txt", 0, "B.TXT a.txt b.md c.txt/ c.txt/d.txt");
        row("*/a.txt",       0, "B.TXT a.txt b.md c.txt/ c.txt/d.txt");
        // clang-format on
    }

    void removesTheFilesThatFitAWildcard()
    {
        QFETCH(QString, argument);
        QFETCH(int, count);
        QFETCH(QString, left);
        makeAll("x/a.txt x/B.TXT x/b.md x/c.txt/d.txt");

        QCOMPARE(File::remove(path(argument), "a.txt"), count); // exceptions play no part

        QCOMPARE(below("x"), left);
    }

    void removesOneFileOrFolder_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("left");

        const QString all = "file full/ full/a full/b full/sub/ full/sub/c hidden/ hidden/.a "
                            "hidden/b plain/ plain/a plain/b";
        const auto without = [&all](const QStringList &gone) {
            QStringList left = all.split(' ');
            for (const QString &entry : gone)
                left.removeAll(entry);
            return left.join(' ');
        };
        // clang-format off
        QTest::newRow("a file")                  << "file"    << 1 << without({"file"});
        QTest::newRow("a file with a slash")     << "file/"   << 0 << all;
        QTest::newRow("missing")                 << "missing" << 0 << all;
        QTest::newRow("long")                    << QString(4000, 'a') << 0 << all;
        QTest::newRow("a folder of files")       << "plain"   << 3 << without({"plain/", "plain/a", "plain/b"});
        QTest::newRow("with a slash")            << "plain/"  << 3 << without({"plain/", "plain/a", "plain/b"});
        QTest::newRow("a folder with a folder")  << "full"    << 2 << without({"full/a", "full/b"});
        QTest::newRow("a folder with a hidden")  << "hidden"  << 1 << without({"hidden/b"});
        // clang-format on
    }

    void removesOneFileOrFolder()
    {
        QFETCH(QString, argument);
        QFETCH(int, count);
        QFETCH(QString, left);
        makeAll("file plain/a plain/b full/a full/b full/sub/c hidden/.a hidden/b");

        QCOMPARE(File::remove(path(argument), "a"), count); // exceptions play no part

        QCOMPARE(below(""), left);
    }

    void removesAnEmptyFolderByARelativePath()
    {
        makeAll("x/y/");
        QDir::setCurrent(path("x"));

        QCOMPARE(File::remove("y"), 1);
        QCOMPARE(File::remove("."), 0);
        QCOMPARE(File::remove("../x/./*"), 0);

        QCOMPARE(below(""), QString("x/"));
    }

    void removesAWholeTreeInTwoCalls()
    {
        makeAll("x/a x/b/c/d");

        QCOMPARE(File::remove(path("x/*")), 4);
        QCOMPARE(File::remove(path("x")), 1);

        QCOMPARE(below(""), QString());
    }

    void removesWhatItMayNotWriteButNotFromWhereItMayNot()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        makeAll("x/a x/locked/b x/unreadable/c x/sub/d");
        QCOMPARE(chmod(qPrintable(path("x/a")), 0400), 0);
        QCOMPARE(chmod(qPrintable(path("x/sub")), 0777), 0);
        QCOMPARE(chmod(qPrintable(path("x")), 0777), 0);
        QCOMPARE(chmod(qPrintable(path("x/locked")), 0555), 0);
        QCOMPARE(chmod(qPrintable(path("x/unreadable")), 0333), 0);
        {
            const OrdinaryUser user(m_temporary->path());
            QCOMPARE(File::remove(path("x/locked/b")), 0);
            QCOMPARE(File::remove(path("x/*")), 3);
        }
        QCOMPARE(chmod(qPrintable(path("x/locked")), 0755), 0);
        QCOMPARE(chmod(qPrintable(path("x/unreadable")), 0755), 0);

        QCOMPARE(below("x"), QString("locked/ locked/b unreadable/ unreadable/c"));
    }

    void reportsTheFoldersThatItRemoves_data()
    {
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<Data::String>("exceptions");
        QTest::addColumn<int>("total"); // 0 when nothing is reported
        QTest::addColumn<int>("reports");

        const auto row = [](const char *name, const char *files, const char *exceptions, int total,
                            int reports) {
            QTest::newRow(name) << QByteArray(files) << Data::String(exceptions) << total
                                << reports;
        };
        // clang-format off
        row("six",                       "x/1/ x/2/ x/3/ x/4/ x/5/ x/6/",             "",        6, 6);
        row("six, with contents",        "x/1/a x/2/b x/3/ x/4/c/d x/5/ x/6/",        "",        6, 6);
        row("five and a file",           "x/1/ x/2/ x/3/ x/4/ x/5/ x/6",              "",        0, 0);
        row("seven, one kept",           "x/1/ x/2/ x/3/ x/4/ x/5/ x/6/ x/7/",        "7",       6, 6);
        row("seven, two kept",           "x/1/ x/2/ x/3/ x/4/ x/5/ x/6/ x/7/",        "6\n7",    0, 0);
        row("six, one kept",             "x/1/ x/2/ x/3/ x/4/ x/5/ x/6/",             "6",       0, 0);
        row("seven, a file kept counts", "x/1/ x/2/ x/3/ x/4/ x/5/ x/6/ x/7/ x/file", "file",    6, 7);
        row("eight, empty names count",  "x/1/ x/2/ x/3/ x/4/ x/5/ x/6/ x/7/ x/8/",   "\n",      6, 8);
        row("and large ones below", "x/1/1/ x/1/2/ x/1/3/ x/1/4/ x/1/5/ x/1/6/ x/2/ x/3/ x/4/ x/5/ x/6/", "", 6, 6);
        row("large ones below only",     "x/1/1/ x/1/2/ x/1/3/ x/1/4/ x/1/5/ x/1/6/", "",        6, 6);
        // clang-format on
    }

    void reportsTheFoldersThatItRemoves()
    {
        QFETCH(QByteArray, files);
        QFETCH(Data::String, exceptions);
        QFETCH(int, total);
        QFETCH(int, reports);
        makeAll(files);

        QVERIFY(File::remove(path("x/*"), exceptions) > 0);

        QStringList expected;
        for (int i = 1; i <= reports; ++i)
            expected.append(QString("setProgress(%1, %2, 1)").arg(i).arg(total));
        QCOMPARE(callsThatSetProgress(), expected);
        if (total == 0)
            QCOMPARE(m_host->calls, QStringList());
    }

    void tellsTheHostWhatItRemoves_data()
    {
        QTest::addColumn<bool>("cancelable");

        QTest::newRow("not cancelable") << false;
        QTest::newRow("cancelable") << true;
    }

    void tellsTheHostWhatItRemoves()
    {
        QFETCH(bool, cancelable);
        makeAll("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/");

        QCOMPARE(File::remove(path("x/*"), "", cancelable), 6);

        const QString label = QString("setProgressLabel(Removing %1, 1)").arg(path("x/*"));
        QCOMPARE(m_host->calls.mid(0, 3),
                 QStringList({label, QString("showProgress(1, %1, 1)").arg(cancelable), label}));
        QCOMPARE(m_host->calls.last(), QString("showProgress(0, %1, 1)").arg(cancelable));
    }

    void reportsNoRemovalWithinAPopupReporter_data()
    {
        QTest::addColumn<bool>("popup");

        QTest::newRow("popup") << true;
        QTest::newRow("ordinary") << false;
    }

    void reportsNoRemovalWithinAPopupReporter()
    {
        QFETCH(bool, popup);
        makeAll("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/");
        const Progress progress(10, "outer", false, false, popup);
        m_host->calls.clear();

        QCOMPARE(File::remove(path("x/*")), 6);

        QCOMPARE(m_host->calls.isEmpty(), popup);
    }

    void removesTheFilesBeforeItReports()
    {
        makeAll("x/a x/1/ x/2/ x/3/ x/4/ x/5/ x/6/");
        QString first;
        m_host->reaction = [&](const QString &) {
            if (first.isEmpty())
                first = below("x");
        };

        QCOMPARE(File::remove(path("x/*")), 7);

        QCOMPARE(first, QString("1/ 2/ 3/ 4/ 5/ 6/"));
    }

    void canBeCancelledWhileItRemoves_data()
    {
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<bool>("cancelable");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("left");

        // clang-format off
        QTest::newRow("here") << QByteArray("x/a x/1/ x/2/ x/3/ x/4/ x/5/ x/6/") << true << -1 << 4;
        QTest::newRow("far below")
            << QByteArray("x/x/1/ x/x/2/ x/x/3/ x/x/4/ x/x/5/ x/x/6/ x/y/1/ x/y/2/ x/y/3/ x/y/4/ x/y/5/ x/y/6/")
            << true << -1 << 10;
        QTest::newRow("not cancelable") << QByteArray("x/a x/1/ x/2/ x/3/ x/4/ x/5/ x/6/") << false << 7 << 0;
        // clang-format on
    }

    void canBeCancelledWhileItRemoves()
    {
        QFETCH(QByteArray, files);
        QFETCH(bool, cancelable);
        QFETCH(int, result);
        QFETCH(int, left);
        makeAll(files);
        on("setProgress(2, 6, 1)", [] { Progress::any()->cancel(); });

        QCOMPARE(File::remove(path("x/*"), "", cancelable), result);

        QCOMPARE(callsThatSetProgress().size(), result < 0 ? 2 : 6);
        QCOMPARE(tree(path("x")).filter(QRegExp("[1-6]/$")).size(), left);
        QVERIFY(!QFileInfo::exists(path("x/a")));
    }

    void survivesAFolderThatGoesMeanwhile()
    {
        makeAll("x/1/a x/2/a x/3/a x/4/a x/5/a x/6/a");
        on("setProgress(1, 6, 1)", [&] { QVERIFY(QDir(path("x")).removeRecursively()); });

        QCOMPARE(File::remove(path("x/*")), 2);

        QCOMPARE(callsThatSetProgress().size(), 6);
        QCOMPARE(below(""), QString());
    }

    void doesNotDescendIntoAFolderThatBecomesALinkMeanwhile()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        makeAll("x/1/ x/2/ x/3/ x/4/ x/5/ x/6/ z/a");
        on("setProgress(1, 6, 1)", [&] {
            for (const QString &name : QDir(path("x")).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            {
                QVERIFY(QDir().rmdir(path("x/" + name)));
                link(path("z"), "x/" + name);
            }
        });

        QCOMPARE(File::remove(path("x/*")), 6);

        QCOMPARE(below(""), QString("x/ z/ z/a"));
    }

    // Paths of any kind

    void takesAPathWithAZeroByteForNoNameInSilence()
    {
        makeAll("x/a x/sub/b x/sub/sub/c y/");
        const QString before = below("");
        const QString zero = path("x") + QChar(0);
        warnings = 0;
        const QtMessageHandler handler = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &) { ++warnings; });
        const auto restoreHandler = qScopeGuard([&] { qInstallMessageHandler(handler); });

        QVERIFY(!File::copy(zero, path("x/a")));
        QVERIFY(!File::copy(path("x/a"), zero + "b"));
        QCOMPARE(File::copyDir(zero + "/sub", path("y")), 0);
        QCOMPARE(File::copyDir(zero + "/*", path("y")), 0);
        QCOMPARE(File::copyDir(path("x/sub"), zero), 0);
        File::move(zero, path("y"));
        File::move(path("x"), path("y") + QChar(0));
        File::moveDir(zero + "/*", path("y"));
        for (const char *end : {"", "/", "b", "/*", "b/*", "/a*", "/sub", "/sub/*"})
            QCOMPARE(File::remove(zero + end), 0);
        QVERIFY(!File::createDir(zero));
        QVERIFY(!File::createDir(path("new") + QChar(0)));
        QVERIFY(!File::createDir(path("new") + QChar(0) + "/b"));
        QCOMPARE(File::remove(""), 0);

        QCOMPARE(warnings, 0);
        QCOMPARE(below(""), before);
    }

    void endsInADeepTree()
    {
        SKIP_ON_WINDOWS("the tree is made by calls of Unix");
        // As deep as a path can lead to, and a little deeper.
        const QByteArray name(20, 'd');
        makeAll("x/ y/");
        QDir::setCurrent(path("x"));
        for (int i = 0; i < 220; ++i) {
            QCOMPARE(mkdir(name.constData(), 0755), 0);
            QCOMPARE(chdir(name.constData()), 0);
        }
        QDir::setCurrent(path(""));

        QCOMPARE(File::copyDir("x", "y"), 0);
        QVERIFY(File::remove("y/*") > 180);
        QCOMPARE(File::remove("x/*"), 0); // as what cannot be reached keeps all above it

        QCOMPARE(below("y"), QString());
        QVERIFY(QFileInfo::exists("x/" + name + "/" + name));
        QCOMPARE(QProcess::execute("rm", {"-r", path("x")}), 0);
    }

    // createDir()

    void makesAFolderAndThoseAboveIt_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QString>("made");

        const auto row = [](const char *argument, bool result, const char *made) {
            QTest::newRow(argument) << QString(argument) << result << QString(made);
        };
        // clang-format off
        row("",              true,  "");
        row(".",             true,  "");
        row("./",            true,  "");
        row("a",             true,  "a/");
        row("a/",            true,  "a/");
        row("a/b/c",         true,  "a/ a/b/ a/b/c/");
        row("a//b",          true,  "a/ a/b/");
        row("./a",           true,  "a/");
        row("./a/b/",        true,  "a/ a/b/");
        row("../here/a/b",   true,  "a/ a/b/");
        row("there",         true,  "");
        row("there/a",       true,  "there/a/");
        row("missing/../a",  true,  "a/");
        row(".hidden/a",     true,  ".hidden/ .hidden/a/");
        row("*",             true,  "*/");
        row("a b/ c ",       true,  "a b/ a b/ c /");
        row("größe/日本",    true,  "größe/ größe/日本/");
        row("link/a",        true,  "there/a/");
        row("file",          false, "");
        row("file/a",        false, "");
        row("./file",        false, "");
        row("./file/a",      false, "");
        row("lost",          false, "");
        // clang-format on
    }

    void makesAFolderAndThoseAboveIt()
    {
        QFETCH(QString, argument);
        QFETCH(bool, result);
        QFETCH(QString, made);
        makeAll("here/file here/there/");
#ifdef _WIN32
        if (argument.startsWith("link") || argument.startsWith("lost") || argument.contains('*'))
            QSKIP("names and links are others on Windows");
        const QString before = "file there/";
#else
        link("there", "here/link");
        link("nowhere", "here/lost");
        const QString before = "file link@ lost@ there/";
#endif
        QDir::setCurrent(path("here"));

        QCOMPARE(File::createDir(argument), result);

        QStringList expected = QString(before + " " + made).trimmed().split(' ');
        QStringList found = below("here").split(' ');
        expected.sort();
        found.sort();
        QCOMPARE(found, expected);
        if (result)
            QVERIFY(QFileInfo(QDir::cleanPath("./" + argument)).isDir());
    }

    void makesAFolderByAFullPath()
    {
        QVERIFY(File::createDir(path("a/b")));
        QVERIFY(File::createDir(path("a/b")));
        QVERIFY(File::createDir("/"));

        QCOMPARE(below(""), QString("a/ a/b/"));
    }

    void keepsWhatItMadeBeforeItFailed()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        QVERIFY(!File::createDir(path("a/" + QString(300, 'b') + "/c")));
        QCOMPARE(below(""), QString("a/"));
        QVERIFY(!File::createDir(path(QString(4000, 'b'))));
        QVERIFY(!File::createDir(QString(4000, 'b')));
        QVERIFY(!File::createDir("/proc/none/a"));
        QCOMPARE(below(""), QString("a/"));
    }

    void makesNothingWhereItMayNotWrite()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        makeAll("locked/");
        QCOMPARE(chmod(qPrintable(path("locked")), 0555), 0);
        {
            const OrdinaryUser user(m_temporary->path());
            QVERIFY(!File::createDir(path("locked/a/b")));
        }
        QCOMPARE(chmod(qPrintable(path("locked")), 0755), 0);

        QCOMPARE(below(""), QString("locked/"));
    }

    void makesNothingInACurrentFolderThatIsGone()
    {
        SKIP_ON_WINDOWS("a current folder cannot be removed on Windows");
        makeAll("gone/");
        QDir::setCurrent(path("gone"));
        QVERIFY(QDir().rmdir(path("gone")));

        QVERIFY(!File::createDir("a/b"));
        QVERIFY(!File::createDir("./a/b"));

        QCOMPARE(below(""), QString());
    }

    void makesNothingInACurrentFolderThatItMayNotEnter()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        makeAll("locked/");
        QDir::setCurrent(path("locked"));
        QCOMPARE(chmod(qPrintable(path("locked")), 0), 0);
        {
            const OrdinaryUser user(m_temporary->path());
            QVERIFY(!File::createDir("a/b"));
        }
        QCOMPARE(chmod(qPrintable(path("locked")), 0755), 0);

        QCOMPARE(below(""), QString("locked/"));
    }
};

QTEST_MAIN(tst_File_tree)
#include "tst_File_tree.moc"
