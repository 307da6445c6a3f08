#include "utils/base/SafeFile_p.h"

#include "utils/base/LastError_p.h"

#include "tests/support/CallFault.h"
#include "tests/support/Files.h" // contentsOf, makeFile

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <thread>

#include <sys/stat.h>
#include <sys/sysmacros.h>

using Utils::LastError;
using Utils::SafeFile;

class tst_SafeFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_folder.isValid());
        m_path = makeFile(m_folder.filePath("file"), "old contents");
        LastError().succeeded(); // forgets the reason
    }

    void cannotBeRead()
    {
        SafeFile file(m_path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QCOMPARE(file.write("new"), qint64(3));

        char byte = 'x';
        QCOMPARE(file.read(&byte, 1), qint64(-1));

        QCOMPARE(byte, 'x');
        QVERIFY(file.commit(/*flush=*/false));
        QCOMPARE(contentsOf(m_path), QByteArray("new"));
    }

    void tellsWhyItFails_data()
    {
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<int>("error");
        QTest::addColumn<int>("first"); // of the calls that fail
        QTest::addColumn<QByteArray>("id");

        const auto row = [](const char *name, const char *function, int error, int first,
                            const char *id) {
            QTest::newRow(name) << QByteArray(function) << error << first << QByteArray(id);
        };
        row("a system that is only read", "openat", EROFS, 0, ".err.readonly");
        row("no memory", "openat", ENOMEM, 0, ".err.memory");
        row("no right to the file", "openat", EACCES, 0, ".err.nowrite");
        row("no right to the folder", "openat", EACCES, 1, ".err.nobeside");
        row("no room for the file", "openat", EDQUOT, 1, ".err.diskfull");
        row("no room for its bytes", "write", ENOSPC, 0, ".err.diskfull");
        row("a disk that takes no bytes", "write", EIO, 0, ".err.writefault");
        row("a disk that is not flushed", "fsync", EIO, 0, ".err.writefault");
        row("a name that cannot be taken", "linkat", EIO, 0, ".err.writefault");
    }

    void tellsWhyItFails()
    {
        QFETCH(QByteArray, function);
        QFETCH(int, error);
        QFETCH(int, first);
        QFETCH(QByteArray, id);
        bool isWritten = true;
        bool isReplaced = true;
        {
            const CallFault fault(function, error, first);
            SafeFile file(m_path);
            const bool isOpen = file.open(QIODevice::WriteOnly);
            isWritten = isOpen && file.write("new") == 3;
            isReplaced = isOpen && file.commit(/*flush=*/true);
        }

        QVERIFY(!isReplaced);
        QCOMPARE(isWritten, function == "fsync" || function == "linkat");
        QCOMPARE(QByteArray(LastError::id()), id);
        QCOMPARE(LastError::values().value(0), id == ".err.memory" ? QString() : m_path);
        QCOMPARE(contentsOf(m_path), QByteArray("old contents"));
        QCOMPARE(entries(), QStringList("file"));
    }

    void tellsThatTheDiskDoesNotConfirm()
    {
        bool isReplaced = true;
        {
            const CallFault fault("fsync", EIO, 1); // of the folder
            SafeFile file(m_path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write("new"), qint64(3));
            isReplaced = file.commit(/*flush=*/true);
        }

        QVERIFY(!isReplaced);
        QCOMPARE(QByteArray(LastError::id()), QByteArray(".err.notflushed"));
        QCOMPARE(LastError::values(), QStringList({m_path, Utils::errorText(EIO)}));
        QCOMPARE(contentsOf(m_path), QByteArray("new"));
    }

    void tellsNoValuesInAThreadThatCannotKeepThem()
    {
        const QString path = m_folder.filePath("none/file");
        QByteArray id;
        QStringList values{"not asked"};
        int failures = 0;

        std::thread([&] {
            QThread::currentThread(); // which Qt could not release otherwise
            const CallFault fault("pthread_setspecific", ENOMEM);
            SafeFile(path).open(QIODevice::WriteOnly);
            id = LastError::id();
            values = LastError::values();
            failures = fault.count();
        }).join();

        QVERIFY(failures > 0);
        QCOMPARE(id, QByteArray(".err.nofolder"));
        QCOMPARE(values, QStringList());
    }

    void refusesADisk()
    {
        const QString path = m_folder.filePath("disk");
        if (mknod(QFile::encodeName(path), S_IFBLK | 0600, makedev(7, 200)) != 0)
            QSKIP("the user may not make a device");
        SafeFile file(path);

        QVERIFY(!file.open(QIODevice::WriteOnly));

        QVERIFY(QFile::remove(path));
        QCOMPARE(QByteArray(LastError::id()), QByteArray(".err.nosafe"));
        QCOMPARE(LastError::values(), QStringList(path));
    }

    void tellsNoReasonBeforeAFailure()
    {
        SafeFile file(m_path);

        QVERIFY(!file.storeReason());
        QVERIFY(!file.commit()); // it is not open
        QVERIFY(!LastError::id());

        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(!file.storeReason());
        QVERIFY(!LastError::id());
        QCOMPARE(contentsOf(m_path), QByteArray("old contents"));
    }

    void writesByAPrefixOfQt()
    {
        QDir::setSearchPaths("safe", {m_folder.path()});
        SafeFile file("safe:file");

        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write("new"), qint64(3));
        QVERIFY(file.commit());

        QVERIFY(!file.isOpen());
        QCOMPARE(contentsOf(m_path), QByteArray("new"));
        QCOMPARE(entries(), QStringList("file"));
    }

    void takesNoPermissionsOfAMissingFile()
    {
        SafeFile file(m_path);
        const QString missing = m_folder.filePath("none");

        QVERIFY(!file.copyPermissions(missing));

        QCOMPARE(QByteArray(LastError::id()), QByteArray(".err.nofile"));
        QCOMPARE(LastError::values(), QStringList(missing));
        QVERIFY(!file.commit());
    }

private:
    QStringList entries() const
    {
        return QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden | QDir::System);
    }

    const QTemporaryDir m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(tst_SafeFile)
#include "tst_SafeFile.moc"
