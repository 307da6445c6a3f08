// The replacement of a file where calls of the system fail.

#include "utils/platform/Platform.h"

#include "tests/support/CallFault.h"
#include "tests/support/Files.h" // contentsOf, makeFile
#include "tests/support/Qemu.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Platform = Utils::Platform;
using Platform::FileReplacement;
using Problem = FileReplacement::Problem;

/// The file that is replaced.
enum class Target
{
    New, ///< it does not exist, and its replacement does not require that
    NewOnly,
    Old,
    Empty,
    TwoNames,
    Device
};

struct Result
{
    Problem problem = Problem::None;
    int error = 0;
};

Q_DECLARE_METATYPE(Target)
Q_DECLARE_METATYPE(Faults)
Q_DECLARE_METATYPE(Result)

static const Fault noProc = {"access", ENOENT}; // so the new content has a name from its start on

static const char rights[] = "system.posix_acl_access";

/// What the system stores for "user::rw-,user:4711:r--,group::r--,mask::r--,other::---"
static const QByteArray list = QByteArray::fromHex("02000000"
                                                   "01000600ffffffff"
                                                   "0200040067120000"
                                                   "04000400ffffffff"
                                                   "10000400ffffffff"
                                                   "20000000ffffffff");

/// What is done with a replacement besides writing "new" to it.
struct Options
{
    bool flush = true;
    const char *permissionsOf = nullptr;
    std::string text = "new";
};

class tst_Platform_saving : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void replacesAFileDespiteFaults_data()
    {
        addColumns();

        const auto row = [](const char *name, Target target, const Faults &faults) {
            QTest::newRow(name) << target << faults << Result();
        };
        // clang-format off
        row("the folder may not be listed", Target::Old, {{"open", EACCES, 0, 1}});
        row("the folder cannot be locked", Target::Old, {{"flock", ENOLCK}});
        row("a signal ends the wait for the lock", Target::Old, {{"flock", EINTR, 1, 2}});
        row("no /proc", Target::Old, {noProc});
        row("no /proc, a new file", Target::New, {noProc});
        row("no /proc, a new file only", Target::NewOnly, {noProc});
        row("no files without a name", Target::Old, {{"openat", EOPNOTSUPP, 1, 1}});
        row("files without a name are folders", Target::Old, {{"openat", EISDIR, 1, 1}});
        row("files without a name are invalid", Target::Old, {{"openat", EINVAL, 1, 1}});
        row("files without a name are missing", Target::Old, {{"openat", ENOENT, 1, 1}});
        row("no flushing", Target::Old, {{"fsync", EINVAL}});
        row("no function to flush", Target::Old, {{"fsync", ENOSYS}});
        row("the folder cannot be flushed without a right", Target::Old, {{"fsync", EBADF, 1}});
        row("no extended attributes", Target::Old, {{"flistxattr", EOPNOTSUPP}});
        row("the number of names is not known", Target::Old, {{"fstat", EIO, 3, 1}});
        row("no process", Target::Old, {{"clone", EAGAIN}});
        row("signals end the wait for the process", Target::Old, {{"waitpid", EINTR, 0, 3}});
        row("no space can be reserved", Target::TwoNames, {{"fallocate", EOPNOTSUPP}});
        row("no function to reserve space", Target::TwoNames, {{"fallocate", ENOSYS}});
        row("a folder in which nothing may be created", Target::Empty, {{"openat", EACCES, 1}});
        row("a renaming that replaces nothing is invalid", Target::NewOnly, {noProc, {"renameat2", EINVAL}});
        row("no renaming that replaces nothing", Target::NewOnly, {noProc, {"renameat2", ENOSYS}});
        // clang-format on
    }

    void replacesAFileDespiteFaults()
    {
        QFETCH(Target, target);
        QFETCH(Faults, faults);
        if (qstrcmp(faults.front().function, "waitpid") == 0)
            SKIP_UNDER_QEMU("qemu refuses a process that ends without a signal");
        const QString path = makeTarget(target);

        const Result result = replace(path, target, faults);

        QVERIFY(m_allHappened);
        QCOMPARE(result.problem, Problem::None);
        QCOMPARE(result.error, 0);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        if (target == Target::TwoNames)
            QCOMPARE(contentsOf(m_folder->filePath("b")), QByteArray("new"));
        QCOMPARE(entries(), expectedEntries(target, /*isReplaced=*/true));
    }

    void keepsTheOldFileOnAFault_data()
    {
        addColumns();

        const auto row = [](const char *name, Target target, const Faults &faults, int error,
                            Problem problem = Problem::System) {
            QTest::newRow(name) << target << faults << Result{problem, error};
        };
        // clang-format off
        row("it cannot be examined", Target::Old, {{"stat", EIO}}, EIO);
        row("a link cannot be read", Target::Old, {{"readlink", EACCES}}, EACCES);
        row("the folder cannot be opened", Target::Old, {{"open", EMFILE}}, EMFILE);
        row("the folder may not be entered", Target::Old, {{"open", EACCES}}, EACCES);
        row("it cannot be opened", Target::Old, {{"openat", EMFILE, 0, 1}}, EMFILE);
        row("it cannot be examined once more", Target::Old, {{"fstat", EIO, 0, 1}}, EIO);
        row("no space for the new file", Target::Old, {{"openat", ENOSPC, 1}}, ENOSPC);
        row("no space, a new file", Target::New, {{"openat", ENOSPC}}, ENOSPC);
        row("no right to create a file", Target::Old, {{"openat", EACCES, 1}}, EACCES, Problem::Folder);
        row("the system lets nobody create a file", Target::Old, {{"openat", EPERM, 1}}, EPERM, Problem::Folder);
        row("no right, a new file", Target::New, {{"openat", EACCES}}, EACCES);
        row("no /proc, no space", Target::Old, {noProc, {"openat", ENOSPC, 1}}, ENOSPC);
        row("the new file cannot be written", Target::Old, {{"write", EIO}}, EIO);
        row("the new file takes no byte", Target::Old, {{"write", 0}}, EIO);
        row("the new file cannot be examined", Target::Old, {{"fstat", EIO, 1, 1}}, EIO);
        row("the new file cannot be examined again", Target::Old, {{"fstat", EIO, 2, 1}}, EIO);
        row("no permissions can be set", Target::Old, {{"fchmod", EPERM}}, EPERM);
        row("the new file cannot be flushed", Target::Old, {{"fsync", EIO, 0, 1}}, EIO);
        row("the new file cannot be closed", Target::Old, {{"close", ENOSPC, 0, 1}}, ENOSPC);
        row("no flushing, and the new file cannot be closed", Target::Old, {{"fsync", EINVAL}, {"close", ENOSPC, 0, 1}}, ENOSPC);
        row("no name for the new file", Target::Old, {{"linkat", EIO}}, EIO);
        row("no right to a name for it", Target::Old, {{"linkat", EPERM}}, EPERM, Problem::Folder);
        row("no name, no process", Target::Old, {{"clone", EAGAIN}, {"linkat", EIO}}, EIO);
        row("no name, a new file", Target::New, {{"linkat", EIO}}, EIO);
        row("it cannot be renamed", Target::Old, {{"renameat", EIO}}, EIO);
        row("no /proc, it cannot be renamed", Target::Old, {noProc, {"renameat", EACCES}}, EACCES, Problem::Folder);
        row("no /proc, a new file only", Target::NewOnly, {noProc, {"renameat2", EIO}}, EIO);
        row("two names, the new file cannot be examined", Target::TwoNames, {{"fstat", EIO, 4, 1}}, EIO);
        row("two names, no space", Target::TwoNames, {{"fallocate", ENOSPC}}, ENOSPC);
        row("two names, the new file cannot be read", Target::TwoNames, {{"pread", EIO}}, EIO);
        row("two names, the new file has become shorter", Target::TwoNames, {{"pread", 0}}, EIO);
        row("two names, the file cannot be written", Target::TwoNames, {{"pwrite", EIO}}, EIO);
        row("two names, the file takes no byte", Target::TwoNames, {{"pwrite", 0}}, EIO);
        row("an empty file cannot be written", Target::Empty, {{"openat", EACCES, 1}, {"write", ENOSPC}}, ENOSPC);
        row("an empty file cannot be flushed", Target::Empty, {{"openat", EACCES, 1}, {"fsync", EIO}}, EIO);
        row("an empty file cannot be closed", Target::Empty, {{"openat", EACCES, 1}, {"close", EIO, 0, 1}}, EIO);
        row("a device cannot be opened", Target::Device, {{"open", EIO}}, EIO);
        row("a device cannot be closed", Target::Device, {{"close", EIO, 0, 1}}, EIO);
        // clang-format on
    }

    void keepsTheOldFileOnAFault()
    {
        QFETCH(Target, target);
        QFETCH(Faults, faults);
        QFETCH(Result, result);
        const QString path = makeTarget(target);
        const QByteArray before = contentsOf(path);

        const Result found = replace(path, target, faults);

        QVERIFY(m_allHappened);
        QCOMPARE(found.problem, result.problem);
        QCOMPARE(found.error, result.error);
        QCOMPARE(contentsOf(path), before);
        if (target == Target::TwoNames)
            QCOMPARE(contentsOf(m_folder->filePath("b")), before);
        QCOMPARE(entries(), expectedEntries(target, /*isReplaced=*/false));
    }

    void tellsThatTheDiskDoesNotConfirm_data()
    {
        addColumns();

        QTest::newRow("the folder") << Target::Old << Faults{{"fsync", EIO, 1}} << Result();
        QTest::newRow("a new file") << Target::New << Faults{{"fsync", EIO, 1}} << Result();
        QTest::newRow("two names") << Target::TwoNames << Faults{{"fsync", EIO, 1}} << Result();
        QTest::newRow("two names, when it is closed")
            << Target::TwoNames << Faults{{"close", EIO, 1}} << Result();
    }

    void tellsThatTheDiskDoesNotConfirm()
    {
        QFETCH(Target, target);
        QFETCH(Faults, faults);
        const QString path = makeTarget(target);

        const Result result = replace(path, target, faults);

        QCOMPARE(result.problem, Problem::NotConfirmed);
        QCOMPARE(result.error, EIO);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(entries(), expectedEntries(target, /*isReplaced=*/true));
    }

    void flushesOnlyWhenTold()
    {
        Options options;
        options.flush = false;
        const QString path = makeTarget(Target::Old);
        QCOMPARE(replace(path, Target::Old, {{"fsync", EIO}}, options).problem, Problem::None);
        QCOMPARE(contentsOf(path), QByteArray("new"));

        makeTarget(Target::TwoNames);
        QCOMPARE(replace(path, Target::TwoNames, {{"fsync", EIO}}, options).problem, Problem::None);
        QCOMPARE(contentsOf(m_folder->filePath("b")), QByteArray("new"));
    }

    void asksADriveThatMayBeFullWithoutFlushing()
    {
        Options options;
        options.flush = false;
        const QString path = makeTarget(Target::Old);
        // Without files that have no name, a full disk may be told only now.
        QCOMPARE(replace(path, Target::Old, {noProc, {"fsync", EIO}}, options).error, EIO);
        QCOMPARE(contentsOf(path), QByteArray("old contents"));
        QCOMPARE(replace(path, Target::Old, {{"close", EIO, 0, 1}}, options).error, EIO);
        QCOMPARE(contentsOf(path), QByteArray("old contents"));

        makeTarget(Target::TwoNames);
        for (const Fault &fault : {Fault{"fsync", EIO, 1}, Fault{"close", EIO, 1, 1}})
            QCOMPARE(replace(path, Target::TwoNames, {noProc, fault}, options).problem,
                     Problem::NotConfirmed);
    }

    void writesInPlaceUntilItFails_data()
    {
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<int>("error");

        QTest::newRow("it is not cut") << Faults{{"ftruncate", EIO}} << EIO;
        QTest::newRow("no permissions") << Faults{{"fchmod", EPERM, 1}} << EPERM;
    }

    void writesInPlaceUntilItFails()
    {
        QFETCH(Faults, faults);
        QFETCH(int, error);
        const QString path = makeTarget(Target::TwoNames);
        const QByteArray model = QFile::encodeName(makeFile(m_folder->filePath("model")));
        QCOMPARE(chmod(model.constData(), 0640), 0);
        Options options;
        options.permissionsOf = model.constData();

        const Result result = replace(path, Target::TwoNames, faults, options);

        QVERIFY(m_allHappened);
        QCOMPARE(result.problem, Problem::System);
        QCOMPARE(result.error, error);
        QVERIFY(contentsOf(path).startsWith("new"));
        QCOMPARE(contentsOf(m_folder->filePath("b")), contentsOf(path));
    }

    void takesPermissionsForAFileWithTwoNames()
    {
        const QString path = makeTarget(Target::TwoNames);
        const QByteArray model = QFile::encodeName(makeFile(m_folder->filePath("model")));
        QCOMPARE(chmod(model.constData(), 0640), 0);
        Options options;
        options.permissionsOf = model.constData();

        QCOMPARE(replace(path, Target::TwoNames, {}, options).problem, Problem::None);

        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(path), &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0640));
    }

    void takesNoPermissionsOfAMissingFile()
    {
        FileReplacement replacement;
        QVERIFY(!replacement.copyPermissions(m_folder->filePath("none").toStdString()));
        QCOMPARE(replacement.problem(), Problem::System);
        QCOMPARE(replacement.error(), ENOENT);
    }

    void makesAFileWithTwoNamesEmpty()
    {
        const QString path = makeTarget(Target::TwoNames);
        Options options;
        options.text = "";

        QCOMPARE(replace(path, Target::TwoNames, {{"fallocate", ENOSPC}}, options).problem,
                 Problem::None);

        QCOMPARE(contentsOf(path), QByteArray());
        QCOMPARE(contentsOf(m_folder->filePath("b")), QByteArray());
    }

    // Names

    void refusesWhatIsNoName_data()
    {
        QTest::addColumn<QByteArray>("name");

        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a zero byte") << QByteArray("a\0b", 3);
    }

    void refusesWhatIsNoName()
    {
        QFETCH(QByteArray, name);
        FileReplacement replacement;

        QVERIFY(!replacement.open(name.toStdString()));

        QCOMPARE(replacement.problem(), Problem::System);
        QCOMPARE(replacement.error(), ENOENT);
    }

    void refusesADisk()
    {
        const QString path = m_folder->filePath("disk");
        if (mknod(QFile::encodeName(path), S_IFBLK | 0600, makedev(7, 200)) != 0)
            QSKIP("the user may not make a device");
        FileReplacement replacement;

        QVERIFY(!replacement.open(path.toStdString()));

        QCOMPARE(replacement.problem(), Problem::Disk);
        QCOMPARE(replacement.error(), ENOTSUP);
    }

    void failsInAllStepsAfterAFailure()
    {
        FileReplacement replacement;
        QVERIFY(!replacement.finish(false)); // it was not opened
        QVERIFY(!replacement.open(m_folder->filePath("none/a").toStdString()));
        QVERIFY(!replacement.write("new", 3));
        QVERIFY(!replacement.finish(true));
        QCOMPARE(replacement.error(), ENOENT);
        QCOMPARE(entries(), QStringList());
    }

    void followsLinksToALimit()
    {
        QVERIFY(QFile::link("b", m_folder->filePath("a")));
        QVERIFY(QFile::link("a", m_folder->filePath("b")));

        // The links have become a loop after the file was examined.
        const Result result =
            replace(m_folder->filePath("a"), Target::New, {{"stat", ENOENT, 0, 1}});

        QCOMPARE(result.problem, Problem::System);
        QCOMPARE(result.error, ELOOP);
        QCOMPARE(entries(), QStringList({"a", "b"}));
    }

    // Other programs

    void createsAFileThatWasRemovedMeanwhile()
    {
        const QString path = makeTarget(Target::Old);
        const CallFault removal("openat", [&] { QFile::remove(path); });

        QCOMPARE(replace(path, Target::Old, {}).problem, Problem::None);

        QCOMPARE(removal.count(), 1);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(entries(), QStringList("a"));
    }

    void refusesAPipeThatCameMeanwhile()
    {
        const QString path = makeTarget(Target::Old);
        const QByteArray name = QFile::encodeName(path);
        int reader = -1;
        const CallFault exchange("openat", [&] {
            if (unlink(name) == 0 && mkfifo(name, 0600) == 0)
                reader = open(name, O_RDONLY | O_NONBLOCK);
        });

        const Result result = replace(path, Target::Old, {});

        QVERIFY(reader >= 0);
        close(reader);
        QCOMPARE(result.problem, Problem::System);
        QCOMPARE(result.error, EINVAL);
        QCOMPARE(entries(), QStringList("a"));
    }

    void keepsANewFileThatCameMeanwhile_data()
    {
        QTest::addColumn<QByteArray>("moment");
        QTest::addColumn<Faults>("faults");

        QTest::newRow("before it is linked") << QByteArray("linkat") << Faults();
        QTest::newRow("before it is renamed") << QByteArray("renameat2") << Faults{noProc};
        QTest::newRow("before it is renamed in two steps")
            << QByteArray("renameat2") << Faults{noProc, {"renameat2", EINVAL}};
    }

    void keepsANewFileThatCameMeanwhile()
    {
        QFETCH(QByteArray, moment);
        QFETCH(Faults, faults);
        const QString path = m_folder->filePath("a");
        const CallFault other(moment, [&] { makeFile(path, "of another program"); });

        const Result result = replace(path, Target::NewOnly, faults);

        QCOMPARE(other.count(), 1);
        QCOMPARE(result.problem, Problem::System);
        QCOMPARE(result.error, EEXIST);
        QCOMPARE(contentsOf(path), QByteArray("of another program"));
        QCOMPARE(entries(), QStringList("a"));
    }

    void takesTheNameOfALeftOver_data()
    {
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<bool>("isKept"); // the file that was left over

        QTest::newRow("it is removed") << Faults() << false;
        QTest::newRow("it is gone, and comes again") << Faults{{"openat", ENOENT, 2, 1}} << false;
        QTest::newRow("it cannot be opened") << Faults{{"openat", EACCES, 2, 1}} << true;
        QTest::newRow("it cannot be examined") << Faults{{"fstat", EIO, 4, 1}} << true;
        QTest::newRow("it cannot be removed") << Faults{{"unlinkat", EACCES, 0, 1}} << true;
    }

    void takesTheNameOfALeftOver()
    {
        QFETCH(Faults, faults);
        QFETCH(bool, isKept);
        const QString path = makeTarget(Target::Old);
        const QString leftOver = makeFile(temporaryPath(0), "left over");

        const Result result = replace(path, Target::Old, faults);

        QVERIFY(m_allHappened);
        QCOMPARE(result.problem, Problem::None);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(QFile::exists(leftOver), isKept);
        QCOMPARE(entries().size(), isKept ? 2 : 1);
    }

    void leavesWhatIsNoFile()
    {
        const QString path = makeTarget(Target::Old);
        QCOMPARE(mkfifo(QFile::encodeName(temporaryPath(0)), 0600), 0);

        QCOMPARE(replace(path, Target::Old, {}).problem, Problem::None);

        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(entries().size(), 2);
    }

    void failsWhereAllNamesAreTaken()
    {
        const QString path = makeTarget(Target::Old);
        const int names = 100;
        for (int i = 0; i < names; ++i)
            QVERIFY(!makeFile(temporaryPath(i), "of another process").isEmpty());

        const Result result = replace(path, Target::Old, {{"flock", ENOLCK}});

        QCOMPARE(result.problem, Problem::System);
        QCOMPARE(result.error, EEXIST);
        QCOMPARE(contentsOf(path), QByteArray("old contents"));
        QCOMPARE(entries().size(), 1 + names);
    }

    // Attributes

    void keepsTheGroupWhereTheOwnerCannotBeSet()
    {
        const QString path = makeTarget(Target::Old);
        if (chown(QFile::encodeName(path), 4711, 4712) != 0)
            QSKIP("only root may set the owner of a file");
        QCOMPARE(chmod(QFile::encodeName(path), 0664), 0);

        QCOMPARE(replace(path, Target::Old, {{"fchown", EPERM, 0, 1}}).problem, Problem::None);

        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(path), &status), 0);
        QCOMPARE(status.st_uid, geteuid());
        QCOMPARE(status.st_gid, gid_t(4712));
        QCOMPARE(status.st_mode & 07777, mode_t(0664));
    }

    void takesNoRightsFromTheFolder_data()
    {
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<bool>("isInPlace");

        QTest::newRow("without a name") << Faults() << false;
        QTest::newRow("with a name") << Faults{noProc} << false;
        QTest::newRow("they cannot be removed") << Faults{{"fremovexattr", EIO}} << true;
    }

    void takesNoRightsFromTheFolder()
    {
        QFETCH(Faults, faults);
        QFETCH(bool, isInPlace);
        const QString path = makeTarget(Target::Old);
        const QByteArray name = QFile::encodeName(path);
        QCOMPARE(chmod(name.constData(), 0660), 0);
        if (setxattr(QFile::encodeName(m_folder->path()), "system.posix_acl_default",
                     list.constData(), std::size_t(list.size()), 0) != 0)
            QSKIP("the file system has no lists of rights");
        struct stat before = {};
        QCOMPARE(stat(name, &before), 0);

        QCOMPARE(replace(path, Target::Old, faults).problem, Problem::None);

        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(getxattr(name, rights, nullptr, 0), ssize_t(-1));
        struct stat after = {};
        QCOMPARE(stat(name, &after), 0);
        QCOMPARE(after.st_mode & 07777, mode_t(0660));
        QCOMPARE(after.st_ino == before.st_ino, isInPlace);
    }

    void givesNoMoreThanThePermissionsToTheList()
    {
        const QString path = makeTarget(Target::Old);
        const QByteArray name = QFile::encodeName(path);
        const QByteArray model = QFile::encodeName(makeFile(m_folder->filePath("model")));
        QCOMPARE(chmod(model.constData(), 0600), 0);
        if (setxattr(name, rights, list.constData(), std::size_t(list.size()), 0) != 0)
            QSKIP("the file system has no lists of rights");
        Options options;
        options.permissionsOf = model.constData();

        QCOMPARE(replace(path, Target::Old, {}, options).problem, Problem::None);

        struct stat status = {};
        QCOMPARE(stat(name, &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0600)); // the group's are the most of the list
    }

    void copiesTheAttributesOfUsersOnly()
    {
        const QString path = makeTarget(Target::Old);
        const QByteArray name = QFile::encodeName(path);
        if (setxattr(name, "user.author", "Ada", 3, 0) != 0 ||
            setxattr(name, rights, list.constData(), std::size_t(list.size()), 0) != 0 ||
            setxattr(name, "trusted.mark", "x", 1, 0) != 0)
            QSKIP("the file system or the user has not all of these attributes");

        QCOMPARE(replace(path, Target::Old, {}).problem, Problem::None);

        char value[64];
        QCOMPARE(getxattr(name, "user.author", value, sizeof(value)), ssize_t(3));
        const ssize_t size = getxattr(name, rights, value, sizeof(value));
        QCOMPARE(QByteArray(value, int(size)), list);
        QCOMPARE(getxattr(name, "trusted.mark", value, sizeof(value)), ssize_t(-1));
    }

    void writesAFileInPlaceWhoseAttributesCannotBeCopied_data()
    {
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<bool>("isInPlace");

        QTest::newRow("none") << Faults() << false;
        QTest::newRow("the list cannot be read") << Faults{{"flistxattr", EIO}} << true;
        QTest::newRow("the list is too long") << Faults{{"flistxattr", ERANGE}} << true;
        QTest::newRow("no attributes here") << Faults{{"flistxattr", ENOTSUP}} << false;
        QTest::newRow("no attributes in this system") << Faults{{"flistxattr", ENOSYS}} << false;
        QTest::newRow("one cannot be read") << Faults{{"fgetxattr", EIO}} << true;
        QTest::newRow("one is removed") << Faults{{"fgetxattr", ENODATA}} << false;
        const Fault isUnknown = {"fgetxattr", EIO, 0, 1};
        QTest::newRow("it is not known whether there is a list of rights")
            << Faults{isUnknown} << false;
        QTest::newRow("a list may stay") << Faults{isUnknown, {"fremovexattr", EIO}} << true;
        QTest::newRow("no lists here") << Faults{isUnknown, {"fremovexattr", ENOTSUP}} << false;
        QTest::newRow("no lists in this system")
            << Faults{isUnknown, {"fremovexattr", ENOSYS}} << false;
        QTest::newRow("no list") << Faults{{"fgetxattr", ENODATA, 0, 1}} << false;
        QTest::newRow("no lists") << Faults{{"fgetxattr", ENOTSUP, 0, 1}} << false;
        QTest::newRow("no call for lists") << Faults{{"fgetxattr", ENOSYS, 0, 1}} << false;
        QTest::newRow("no space is left for one") << Faults{{"fsetxattr", ENOSPC}} << true;
    }

    void writesAFileInPlaceWhoseAttributesCannotBeCopied()
    {
        QFETCH(Faults, faults);
        QFETCH(bool, isInPlace);
        const QString path = makeTarget(Target::Old);
        const QByteArray name = QFile::encodeName(path);
        if (setxattr(name, "user.author", "Ada", 3, 0) != 0)
            QSKIP("the file system has no extended attributes");
        struct stat before = {};
        QCOMPARE(stat(name, &before), 0);

        QCOMPARE(replace(path, Target::Old, faults).problem, Problem::None);

        QVERIFY(m_allHappened);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        struct stat after = {};
        QCOMPARE(stat(name, &after), 0);
        QCOMPARE(after.st_ino == before.st_ino, isInPlace);
        QCOMPARE(after.st_mode, before.st_mode);
        char value[10];
        if (isInPlace || faults.empty())
            QCOMPARE(getxattr(name, "user.author", value, sizeof(value)), ssize_t(3));
        QCOMPARE(entries(), QStringList("a"));
    }

    void replacesAFileOnADriveThatRemovesNoAttributes()
    {
        const QString path = makeTarget(Target::Old);
        const QByteArray name = QFile::encodeName(path);
        struct stat before = {};
        QCOMPARE(stat(name, &before), 0);
        const CallFault fault("fremovexattr", EPERM);

        QCOMPARE(replace(path, Target::Old, {}).problem, Problem::None);

        QCOMPARE(contentsOf(path), QByteArray("new"));
        struct stat after = {};
        QCOMPARE(stat(name, &after), 0);
        QVERIFY(after.st_ino != before.st_ino);
    }

    void keepsALargeAttribute()
    {
        const QString path = makeTarget(Target::Old);
        const QByteArray name = QFile::encodeName(path);
        const QByteArray large(60000, 'x');
        if (setxattr(name, "user.large", large, std::size_t(large.size()), 0) != 0)
            QSKIP("the file system has no attributes of this size");

        QCOMPARE(replace(path, Target::Old, {}).problem, Problem::None);

        QByteArray value(65536, 0);
        const ssize_t size = getxattr(name, "user.large", value.data(), std::size_t(value.size()));
        QCOMPARE(value.left(int(size)), large);
    }

    // Moves

    void movesToAnotherDisk_data()
    {
        QTest::addColumn<Faults>("faults");

        QTest::newRow("without faults") << Faults();
        QTest::newRow("no /proc") << Faults{noProc};
        QTest::newRow("no owner can be set") << Faults{{"fchown", EPERM}};
        QTest::newRow("no time can be set") << Faults{{"futimens", EPERM}};
        QTest::newRow("no attributes here")
            << Faults{{"fgetxattr", ENOTSUP}, {"flistxattr", ENOTSUP}};
    }

    void movesToAnotherDisk()
    {
        QFETCH(Faults, faults);
        const QString source = makeFile(m_folder->filePath("source"), QByteArray(200000, 'n'));
        const QByteArray from = QFile::encodeName(source);
        QCOMPARE(chmod(from.constData(), 0755), 0);
        const timespec times[] = {{1000, 0}, {2000, 500}};
        QCOMPARE(utimensat(AT_FDCWD, from.constData(), times, 0), 0);
        setxattr(from, "user.author", "Ada", 3, 0);
        const bool hasAttributes = getxattr(from, "user.author", nullptr, 0) == 3;
        // A link is replaced itself, as rename() does.
        const QString linked = makeFile(m_folder->filePath("linked"), "old");
        const QString target = m_folder->filePath("a");
        QVERIFY(QFile::link("linked", target));

        QCOMPARE(moveApart(source, target, faults), std::optional<int>(0));

        QCOMPARE(entries(), QStringList({"a", "linked"}));
        QVERIFY(!QFileInfo(target).isSymLink());
        QCOMPARE(contentsOf(target), QByteArray(200000, 'n'));
        QCOMPARE(contentsOf(linked), QByteArray("old"));
        const QByteArray to = QFile::encodeName(target);
        struct stat status = {};
        QCOMPARE(stat(to, &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0755));
        if (QByteArray(QTest::currentDataTag()) != "no time can be set")
            QCOMPARE(status.st_mtim.tv_sec, time_t(2000));
        if (faults.size() < 2 && hasAttributes)
            QCOMPARE(getxattr(to, "user.author", nullptr, 0), ssize_t(3));
    }

    void movesIntoAFolderOnAnotherDisk()
    {
        const QString source = makeFile(m_folder->filePath("source"), "new");
        makeFile(m_folder->filePath("folder/source"), "old");

        QCOMPARE(moveApart(source, m_folder->filePath("folder"), {}), std::optional<int>(0));

        QCOMPARE(entries(), QStringList("folder"));
        QCOMPARE(contentsOf(m_folder->filePath("folder/source")), QByteArray("new"));
    }

    void movesWithoutRightsForAnotherGroup()
    {
        const QString source = makeFile(m_folder->filePath("source"), "new");
        const QByteArray from = QFile::encodeName(source);
        if (chown(from, 4711, 4712) != 0)
            QSKIP("only root may set the owner of a file");
        QCOMPARE(chmod(from.constData(), 06774), 0);

        QCOMPARE(moveApart(source, m_folder->filePath("a"), {{"fchown", EPERM}}),
                 std::optional<int>(0));

        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(m_folder->filePath("a")), &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0744));
    }

    void movesToADiskWithoutAttributes_data()
    {
        QTest::addColumn<bool>("hasList");
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<int>("mode");

        const Faults noAttributes = {{"fsetxattr", ENOTSUP}};
        QTest::newRow("those of users") << false << noAttributes << 0660;
        QTest::newRow("one cannot be read") << false << Faults{{"fgetxattr", EIO, 1}} << 0660;
        // The permissions of the group are the most of the list, not those of the group itself.
        QTest::newRow("a list of rights") << true << noAttributes << 0600;
        QTest::newRow("a list that may be there") << false << Faults{{"flistxattr", EIO}} << 0600;
        QTest::newRow("a list of the folder that may stay")
            << false << Faults{{"fgetxattr", EIO}, {"fremovexattr", EIO}} << 0600;
    }

    void movesToADiskWithoutAttributes()
    {
        QFETCH(bool, hasList);
        QFETCH(Faults, faults);
        QFETCH(int, mode);
        const QString source = makeFile(m_folder->filePath("source"), "new");
        const QByteArray from = QFile::encodeName(source);
        QCOMPARE(chmod(from.constData(), 0660), 0);
        if (setxattr(from, "user.origin", "here", 4, 0) != 0 ||
            (hasList && setxattr(from, rights, list.constData(), std::size_t(list.size()), 0) != 0))
            QSKIP("the file system has not all of these attributes");
        QCOMPARE(chmod(from.constData(), 0660), 0);

        QCOMPARE(moveApart(source, m_folder->filePath("a"), faults), std::optional<int>(0));

        QVERIFY(m_allHappened);
        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(m_folder->filePath("a")), &status), 0);
        QCOMPARE(int(status.st_mode & 07777), mode);
    }

    void movesAFileWithItsHoles_data()
    {
        QTest::addColumn<QVector<int>>("data"); // where it has some, in pages
        QTest::addColumn<bool>("isHoleAtEnd");
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<bool>("areKept"); // the holes

        const Fault noSharing = {"ioctl", EOPNOTSUPP}; // of the blocks of both files
        const QVector<int> many = {0, 1, 5, 300, 1023};
        QVector<int> eachSecond;
        for (int page = 0; page < 1024; page += 2)
            eachSecond.append(page);
        QTest::newRow("no data") << QVector<int>() << true << Faults{noSharing} << true;
        QTest::newRow("data at the start") << QVector<int>{0} << true << Faults{noSharing} << true;
        QTest::newRow("data at the end")
            << QVector<int>{1023} << false << Faults{noSharing} << true;
        QTest::newRow("more data, and a hole") << many << true << Faults{noSharing} << true;
        QTest::newRow("more data") << many << false << Faults{noSharing} << true;
        QTest::newRow("each second page") << eachSecond << true << Faults{noSharing} << true;
        QTest::newRow("holes are not told")
            << many << true << Faults{noSharing, {"lseek", EINVAL}} << false;
        for (int i = 0; i < 9; ++i)
            QTest::addRow("call %d for holes fails", i)
                << many << true << Faults{noSharing, {"lseek", EIO, i, 1}} << false;
    }

    void movesAFileWithItsHoles()
    {
        QFETCH(QVector<int>, data);
        QFETCH(bool, isHoleAtEnd);
        QFETCH(Faults, faults);
        QFETCH(bool, areKept);
        const int page = 4096;
        const int size = 1024 * page + (isHoleAtEnd ? 100 : 0);
        const QString source = makeFile(m_folder->filePath("source"), "");
        QFile file(source);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(size));
        for (const int at : data) {
            QVERIFY(file.seek(at * page));
            QCOMPARE(file.write(QByteArray(page, char('a' + at % 26))), qint64(page));
        }
        file.close();
        const QByteArray contents = contentsOf(source);
        QCOMPARE(contents.size(), size);
        const auto blocks = [](const QString &path) {
            struct stat status = {};
            return stat(QFile::encodeName(path), &status) == 0 ? status.st_blocks : -1;
        };
        const auto blocksBefore = blocks(source);
        if (blocksBefore >= size / 512)
            QSKIP("the file system has no holes");
        const QString target = makeFile(m_folder->filePath("a"), "old");

        QCOMPARE(moveApart(source, target, faults), std::optional<int>(0));

        QVERIFY(m_allHappened);
        QVERIFY(contentsOf(target) == contents);
        // The file system may need some blocks to tell where the data are.
        QVERIFY(!areKept || blocks(target) < blocksBefore + size / 512 / 4);
        QCOMPARE(entries(), QStringList("a"));
    }

    void movesAFileThatGrows()
    {
        const QString source = makeFile(m_folder->filePath("source"), "new");
        QVERIFY(QFile::resize(source, 1 << 20));
        const QByteArray contents = contentsOf(source) + "more";
        const CallFault noSharing("ioctl", EOPNOTSUPP);
        const CallFault other(
            "pread",
            [&] {
                QFile file(source);
                file.open(QIODevice::Append);
                file.write("more");
            },
            1);

        QCOMPARE(moveApart(source, m_folder->filePath("a"), {}), std::optional<int>(0));

        QCOMPARE(other.count(), 1);
        QVERIFY(contentsOf(m_folder->filePath("a")) == contents);
    }

    void readsNothingToMoveWhereBlocksAreShared()
    {
        const QString source = makeFile(m_folder->filePath("source"), "new");
        const CallFault sharing("ioctl", 0);
        const CallFault reading("pread", EIO);

        QCOMPARE(moveApart(source, m_folder->filePath("a"), {}), std::optional<int>(0));

        QCOMPARE(sharing.count(), 1);
        QCOMPARE(reading.count(), 0);
    }

    void keepsBothFilesWhereHolesCannotBeLeft()
    {
        const QString source = makeFile(m_folder->filePath("source"), "new");
        QVERIFY(QFile::resize(source, 1 << 20));
        makeFile(m_folder->filePath("a"), "old");

        QCOMPARE(moveApart(source, m_folder->filePath("a"),
                           {{"ioctl", EOPNOTSUPP}, {"ftruncate", EFBIG}}),
                 std::optional<int>(EFBIG));

        QCOMPARE(contentsOf(m_folder->filePath("a")), QByteArray("old"));
        QCOMPARE(QFileInfo(source).size(), qint64(1 << 20));
    }

    void movesWithTheAttributesThatCanBeSet()
    {
        const QString source = makeFile(m_folder->filePath("source"), "new");
        const QByteArray from = QFile::encodeName(source);
        if (setxattr(from, "user.a", "1", 1, 0) != 0 || setxattr(from, "user.b", "2", 1, 0) != 0)
            QSKIP("the file system has no extended attributes");

        QCOMPARE(moveApart(source, m_folder->filePath("a"), {{"fsetxattr", ENOSPC, 0, 1}}),
                 std::optional<int>(0));

        const QByteArray to = QFile::encodeName(m_folder->filePath("a"));
        const bool hasFirst = getxattr(to, "user.a", nullptr, 0) == 1;
        const bool hasSecond = getxattr(to, "user.b", nullptr, 0) == 1;
        QVERIFY(hasFirst != hasSecond);
    }

    void keepsBothFilesWhenAMoveFails_data()
    {
        QTest::addColumn<QByteArray>("function");

        for (const char *const function :
             {"open", "openat", "pread", "pwrite", "fstat", "fchmod", "fsync", "close", "linkat",
              "renameat", "clone", "unlink"})
            QTest::newRow(function) << QByteArray(function);
    }

    void keepsBothFilesWhenAMoveFails()
    {
        QFETCH(QByteArray, function);
        const QString source = m_folder->filePath("source");
        const QString target = m_folder->filePath("a");
        bool hasFailed = true;
        int failures = 0;
        for (int n = 0; hasFailed && n < 50; ++n) {
            makeFile(source, "new");
            makeFile(target, "old");
            const std::optional<int> error =
                moveApart(source, target, {{function.constData(), EIO, n, 1}});
            hasFailed = m_allHappened;

            QVERIFY(error);
            failures += *error != 0 ? 1 : 0;
            const QByteArray found = contentsOf(target);
            QVERIFY(found == "old" || found == "new");
            QVERIFY(found == "new" || *error != 0);
            QCOMPARE(QFile::exists(source), *error != 0);
            QVERIFY(entries().size() == (*error != 0 ? 2 : 1));
        }
        QVERIFY(!hasFailed);
        QVERIFY(failures > 0 || function == "clone");
    }

    void leavesAMoveToTheCaller_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");

        QTest::newRow("missing") << "none"
                                 << "a";
        QTest::newRow("a folder") << "folder"
                                  << "a";
        QTest::newRow("a link") << "link"
                                << "a";
        QTest::newRow("to itself") << "file"
                                   << "file";
        QTest::newRow("to another name of it") << "file"
                                               << "other";
        QTest::newRow("no name") << "file"
                                 << "";
        QTest::newRow("to where nothing can be") << "file"
                                                 << "none/a";
    }

    void leavesAMoveToTheCaller()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        makeFile(m_folder->filePath("folder/b"));
        makeFile(m_folder->filePath("file"));
        QVERIFY(QFile::link("file", m_folder->filePath("link")));
        QCOMPARE(link(QFile::encodeName(m_folder->filePath("file")),
                      QFile::encodeName(m_folder->filePath("other"))),
                 0);
        const QStringList before = entries();

        const auto result = FileReplacement::move(
            m_folder->filePath(source).toStdString(),
            target.isEmpty() ? std::string() : m_folder->filePath(target).toStdString());

        QVERIFY(!result);
        QCOMPARE(entries(), before);
    }

private:
    /// Moves as to another file system, while \p faults happen.
    std::optional<int> moveApart(const QString &source, const QString &target, const Faults &faults)
    {
        const CallFault isApart("rename", EXDEV);
        const CallFaults active(faults);
        const auto result = FileReplacement::move(source.toStdString(), target.toStdString());
        m_allHappened = active.haveAllHappened();
        return result;
    }

    static void addColumns()
    {
        QTest::addColumn<Target>("target");
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<Result>("result");
    }

    QString makeTarget(Target target)
    {
        if (target == Target::Device)
            return "/dev/null";
        const QString path = m_folder->filePath("a");
        if (target == Target::New || target == Target::NewOnly)
            return path;
        QFile::remove(path);
        makeFile(path, target == Target::Empty ? "" : "old contents");
        const QByteArray name = QFile::encodeName(path);
        if (target == Target::TwoNames &&
            link(name, QFile::encodeName(m_folder->filePath("b"))) != 0)
            return QString();
        return chmod(name, 0644) == 0 ? path : QString();
    }

    QString temporaryPath(int number) const
    {
        return m_folder->filePath(QString::fromStdString(Platform::temporaryName("a", number)));
    }

    QStringList entries() const
    {
        return QDir(m_folder->path())
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    }

    static QStringList expectedEntries(Target target, bool isReplaced)
    {
        switch (target) {
        case Target::New:
        case Target::NewOnly:
            return isReplaced ? QStringList("a") : QStringList();
        case Target::TwoNames:
            return {"a", "b"};
        case Target::Device:
            return {};
        case Target::Old:
        case Target::Empty:
            return {"a"};
        }
        return {};
    }

    /// Replaces the contents of \p path while \p faults happen.
    Result replace(const QString &path, Target target, const Faults &faults,
                   const Options &options = {})
    {
        const std::string name = path.toStdString();
        const CallFaults active(faults);
        Result result;
        bool isReplaced = false;
        {
            FileReplacement file;
            if (target == Target::NewOnly)
                file.requireNewTarget();
            isReplaced = (!options.permissionsOf || file.copyPermissions(options.permissionsOf)) &&
                         file.open(name) && file.write(options.text.data(), options.text.size()) &&
                         file.finish(options.flush);
            result = {file.problem(), file.error()};
        }
        m_allHappened = active.haveAllHappened();
        if (isReplaced != (result.problem == Problem::None))
            qFatal("the result differs from the problem");
        return result;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    bool m_allHappened = false; // each fault of the last replacement
};

QTEST_GUILESS_MAIN(tst_Platform_saving)
#include "tst_Platform_saving.moc"
