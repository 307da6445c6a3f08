// The copy of a file to a new one where calls of the system fail.

#include "utils/platform/Platform.h"

#include "tests/support/CallFault.h"
#include "tests/support/Files.h" // contentsOf, makeFile

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <limits>
#include <memory>
#include <string>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Platform = Utils::Platform;
using Platform::CopyResult;

Q_DECLARE_METATYPE(Faults)
Q_DECLARE_METATYPE(CopyResult)

static const std::int64_t anySize = std::numeric_limits<std::int64_t>::max();

class tst_Platform_copy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_contents = QByteArray("0123456789").repeated(10000);
        m_source = makeFile(m_folder->filePath("source"), m_contents);
        QVERIFY(!m_source.isEmpty());
    }

    void copiesDespiteFaults_data()
    {
        QTest::addColumn<Faults>("faults");

        const Fault noSending = {"sendfile", EINVAL};
        QTest::newRow("no calls fail") << Faults();
        QTest::newRow("no blocks are shared") << Faults{{"ioctl", EOPNOTSUPP}};
        QTest::newRow("nothing is sent") << Faults{noSending};
        QTest::newRow("a signal comes in a read") << Faults{noSending, {"read", EINTR, 1, 1}};
        QTest::newRow("a signal comes in a write") << Faults{noSending, {"write", EINTR, 1, 2}};
    }

    void copiesDespiteFaults()
    {
        QFETCH(Faults, faults);
        QCOMPARE(copy(faults), CopyResult::Copied);
        QVERIFY(m_allHappened);
        QCOMPARE(contentsOf(target()), m_contents);
    }

    void hasNoTargetAfterAFailure_data()
    {
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<CopyResult>("result");

        const auto row = [](const char *name, CopyResult result, const Faults &faults) {
            QTest::newRow(name) << faults << result;
        };
        const Fault noSending = {"sendfile", EINVAL};
        const auto failed = CopyResult::Failed;
        const auto notTried = CopyResult::NotTried;
        // clang-format off
        row("the source cannot be opened", notTried, {{"open", EMFILE, 0, 1}});
        row("the source cannot be examined", notTried, {{"fstat", EIO}});
        row("no files without a name", notTried, {{"open", EOPNOTSUPP, 1}});
        row("no name for the copy", notTried, {{"linkat", EPERM}});
        row("the source ends early", failed, {{"sendfile", 0}});
        row("the copy cannot be cut", failed, {noSending, {"ftruncate", EIO}});
        row("no way to the start of the source", failed, {noSending, {"lseek", EIO, 0, 1}});
        row("no way to the start of the copy", failed, {noSending, {"lseek", EIO, 1, 1}});
        row("the source cannot be read", failed, {noSending, {"read", EIO}});
        row("the source cannot be read to its end", failed, {noSending, {"read", EIO, 3}});
        row("the disk is full", failed, {noSending, {"write", ENOSPC, 2}});
        row("the disk takes no byte", failed, {noSending, {"write", 0, 2}});
        // clang-format on
    }

    void hasNoTargetAfterAFailure()
    {
        QFETCH(Faults, faults);
        QFETCH(CopyResult, result);

        QCOMPARE(copy(faults), result);

        QVERIFY(m_allHappened);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList("source"));
    }

    void readsNothingWhereBlocksAreShared()
    {
        const CallFault sharing("ioctl", 0);
        const CallFault sending("sendfile", EIO);

        QCOMPARE(copy({{"read", EIO}}), CopyResult::Copied);

        QCOMPARE(sharing.count(), 1);
        QCOMPARE(sending.count(), 0);
    }

    void copiesToANameInTheCurrentFolder()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));

        const CopyResult result = Platform::copyToNewFile("source", "target", anySize);
        QDir::setCurrent(before);

        QCOMPARE(result, CopyResult::Copied);
        QCOMPARE(contentsOf(target()), m_contents);
    }

    void doesNotTry_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<qint64>("largest");

        const qint64 most = anySize;
        QTest::newRow("no source") << QByteArray() << QByteArray("target") << most;
        QTest::newRow("no target") << QByteArray("source") << QByteArray() << most;
        QTest::newRow("a zero byte in the source")
            << QByteArray("source\0", 7) << QByteArray("target") << most;
        QTest::newRow("a zero byte in the target")
            << QByteArray("source") << QByteArray("target\0", 7) << most;
        QTest::newRow("missing") << QByteArray("none") << QByteArray("target") << most;
        QTest::newRow("a folder") << QByteArray(".") << QByteArray("target") << most;
        QTest::newRow("too large") << QByteArray("source") << QByteArray("target") << qint64(99999);
        QTest::newRow("an existing target") << QByteArray("source") << QByteArray("source") << most;
    }

    void doesNotTry()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(qint64, largest);
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));

        const CopyResult result =
            Platform::copyToNewFile(from.toStdString(), to.toStdString(), largest);
        QDir::setCurrent(before);

        QCOMPARE(result, CopyResult::NotTried);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList("source"));
        QCOMPARE(contentsOf(m_source), m_contents);
    }

    void copiesThePermissionsThatTheUserHas_data()
    {
        QTest::addColumn<uint>("mode");
        QTest::addColumn<bool>("hasRights"); // of the user, as those of a group
        QTest::addColumn<uint>("copied");

        QTest::newRow("the owner's") << 0640u << true << 0640u;
        QTest::newRow("to run it") << 0611u << true << 0711u;
        QTest::newRow("to run it, for others only") << 0611u << false << 0611u;
        QTest::newRow("to run it, for none") << 0600u << true << 0600u;
        QTest::newRow("to read it") << 0040u << true << 0640u;
        QTest::newRow("to read it, for others only") << 0044u << false << 0044u;
    }

    void copiesThePermissionsThatTheUserHas()
    {
        if (geteuid() != 0)
            QSKIP("only root may do what permissions do not tell");
        QFETCH(uint, mode);
        QFETCH(bool, hasRights);
        QFETCH(uint, copied);
        QCOMPARE(chmod(QFile::encodeName(m_source), mode), 0);

        const CopyResult result = copy(hasRights ? Faults() : Faults{{"access", EACCES}});

        QCOMPARE(result, CopyResult::Copied);
        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(target()), &status), 0);
        QCOMPARE(uint(status.st_mode & 07777), copied);
    }

    void copiesWherePermissionsCannotBeSet()
    {
        QCOMPARE(chmod(QFile::encodeName(m_source), 0644), 0);

        QCOMPARE(copy({{"fchmod", EPERM}}), CopyResult::Copied);

        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(target()), &status), 0);
        QCOMPARE(uint(status.st_mode & 07777), 0600u);
        QCOMPARE(contentsOf(target()), m_contents);
    }

    // Other functions

    void opensAFileThatCannotBeExamined()
    {
        std::FILE *file = nullptr;
        {
            const CallFault fault("fstat", EIO);
            file = Platform::openFile(m_source.toStdString(), "rb");
        }
        QVERIFY(file);
        QCOMPARE(std::fgetc(file), int('0'));
        std::fclose(file);
    }

    void listsNothingWithoutAName()
    {
        int visits = 0;
        for (const std::string &path : {std::string(), std::string("/\0", 2)})
            QCOMPARE(Platform::listFolder(
                         path, [&](const Platform::FolderEntry &) { return ++visits > 0; }),
                     std::optional<int>(ENOENT));
        QCOMPARE(visits, 0);
    }

    void tellsThatAListingBreaksOff()
    {
        const std::string folder = "/";
        {
            const CallFault fault("readdir", EIO, 2);
            QCOMPARE(Platform::errorOfListing(folder), EIO);
        }
        QCOMPARE(Platform::errorOfListing(folder), 0);
    }

    void callsNothingAtTheEndOfAThreadWithoutAKey()
    {
        // In a process of its own: there is one attempt to create the key.
        const pid_t child = fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            const auto function = [](void *) {};
            int argument = 0;
            bool isCalled = false;
            {
                const CallFault fault("pthread_key_create", EAGAIN);
                isCalled = Platform::callAtThreadEnd(function, &argument);
            }
            isCalled = Platform::callAtThreadEnd(function, &argument) || isCalled;
            _exit(isCalled ? 1 : 0);
        }
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
    }

    void lacksWhatOnlyWindowsHas()
    {
        QCOMPARE(chmod(QFile::encodeName(m_source), 0444), 0);

        QVERIFY(!Platform::allowRemoval(m_source.toStdString()));
        Platform::forbidRemoval(m_source.toStdString());
        QVERIFY(!Platform::removeFolderLink(m_source.toStdString()));
        QVERIFY(!Platform::hasJunctions());
        QCOMPARE(Platform::openShared(m_source.toStdString()), -1);

        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(m_source), &status), 0);
        QCOMPARE(uint(status.st_mode & 07777), 0444u);
    }

private:
    QString target() const { return m_folder->filePath("target"); }

    /// Copies while \p faults happen.
    CopyResult copy(const Faults &faults)
    {
        const std::string to = target().toStdString();
        const std::string from = m_source.toStdString();
        const CallFaults active(faults);
        const CopyResult result = Platform::copyToNewFile(from, to, anySize);
        m_allHappened = active.haveAllHappened();
        return result;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_contents;
    QString m_source;
    bool m_allHappened = false; // each fault of the last copy
};

QTEST_GUILESS_MAIN(tst_Platform_copy)
#include "tst_Platform_copy.moc"
