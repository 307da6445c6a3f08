#include "utils/base/FileStatus_p.h"

#include "tests/support/Windows.h"

#include "tests/support/Files.h" // makeFile

#include <QtTest>

#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Utils::fileStatus;
using Utils::Platform::Entry;
using Utils::Platform::EntryStatus;

Q_DECLARE_METATYPE(Utils::Platform::Entry)

class tst_FileStatus : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        QVERIFY(!makeFile(m_folder.filePath("file"), "text").isEmpty());
        QVERIFY(QFile::link(m_folder.filePath("file"), m_folder.filePath("link")));
        QVERIFY(QFile::link(m_folder.filePath("nowhere"), m_folder.filePath("broken")));
        QCOMPARE(mkfifo(QFile::encodeName(m_folder.filePath("pipe")), 0600), 0);
        QDir::setSearchPaths("test", {m_folder.path()});
    }

    void distinguishesTheKindsOfEntries_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("followLinks");
        QTest::addColumn<Entry>("entry");

        const auto row = [](const char *name, const QString &path, bool followLinks, Entry entry) {
            QTest::newRow(name) << path << followLinks << entry;
        };
        const QString folder = m_folder.path();
        row("a file", folder + "/file", true, Entry::File);
        row("a folder", folder, true, Entry::Folder);
        row("a device", "/dev/null", true, Entry::Other);
        row("nothing", folder + "/nowhere", true, Entry::Missing);
        row("a link", folder + "/link", false, Entry::Link);
        row("the target of a link", folder + "/link", true, Entry::File);
        row("a broken link", folder + "/broken", false, Entry::Link);
        row("the target of a broken link", folder + "/broken", true, Entry::Missing);
        row("a file by a prefix", "test:file", true, Entry::File);
        row("a folder by a prefix", "test:", true, Entry::Folder);
        row("nothing by a prefix", "test:nowhere", true, Entry::Missing);
        row("a link by a prefix", "test:link", false, Entry::Link);
        row("the target of a link by a prefix", "test:link", true, Entry::File);
        row("a pipe by a prefix", "test:pipe", true, Entry::Other);
        row("a folder of resources", ":/", true, Entry::Folder);
        row("no path", "", true, Entry::Missing);
        row("a zero byte after a file", folder + "/file" + QChar(0) + "x", true, Entry::Missing);
        row("a zero byte after a folder", folder + QChar(0), true, Entry::Missing);
    }

    void distinguishesTheKindsOfEntries()
    {
        QFETCH(QString, path);
        QFETCH(bool, followLinks);
        QFETCH(Entry, entry);

        QVERIFY(fileStatus(path, followLinks).entry == entry);
    }

    void tellsTheSizeByAnyPath()
    {
        QCOMPARE(qint64(fileStatus(m_folder.filePath("file")).size), qint64(4));
        QCOMPARE(qint64(fileStatus("test:file").size), qint64(4));
    }

    void tellsTheSameTimeByAnyPath()
    {
        const EntryStatus status = fileStatus(m_folder.filePath("file"));

        QVERIFY(status.modified > 0);
        QCOMPARE(qint64(fileStatus("test:file").modified), qint64(status.modified));
    }

    void tellsTheTimeOfTheEpochByAnyPath()
    {
        const QString path = makeFile(m_folder.filePath("epoch"));
        const timespec times[] = {{0, 0}, {0, 0}};
        QCOMPARE(utimensat(AT_FDCWD, QFile::encodeName(path), times, 0), 0);

        QCOMPARE(qint64(fileStatus(path).modified), qint64(0));
        QCOMPARE(qint64(fileStatus("test:epoch").modified), qint64(0)); // for Qt it has no time
    }

    void knowsTheSameFileByItsNames_data()
    {
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("isSame");

        const QString folder = m_folder.path();
        QTest::newRow("its path") << folder + "/file" << true;
        QTest::newRow("another path") << folder + "/./file" << true;
        QTest::newRow("a link") << folder + "/link" << true;
        QTest::newRow("a hard link") << folder + "/name" << true;
        QTest::newRow("another file") << folder + "/pipe" << false;
        QTest::newRow("a missing file") << folder + "/nowhere" << false;
        QTest::newRow("a path that cannot be followed") << folder + "/loop" << false;
        QTest::newRow("no path") << QString() << false;
        QTest::newRow("a zero byte after its path") << folder + "/file" + QChar(0) << false;
    }

    void knowsTheSameFileByItsNames()
    {
        QFETCH(QString, other);
        QFETCH(bool, isSame);
        QFile::link("loop", m_folder.filePath("loop"));
        const QString file = m_folder.filePath("file");
        const QString name = m_folder.filePath("name");
        link(QFile::encodeName(file), QFile::encodeName(name)); // not again for the second row

        QCOMPARE(Utils::isSameFile(file, other), isSame);
        QCOMPARE(Utils::isSameFile(other, file), isSame);
    }

    void knowsTheSameFolderAndNoPipe()
    {
        const QString pipe = m_folder.filePath("pipe");

        QVERIFY(Utils::isSameFile(m_folder.path(), m_folder.filePath(".")));
        QVERIFY(!Utils::isSameFile(pipe, pipe));
    }

    void limitsATimestampToTheNumbersThatFit_data()
    {
        QTest::addColumn<qint64>("modified"); // in milliseconds
        QTest::addColumn<unsigned int>("timestamp");

        const unsigned int largest = std::numeric_limits<unsigned int>::max();
        QTest::newRow("before the epoch") << qint64(-1000) << 0u;
        QTest::newRow("the epoch") << qint64(0) << 0u;
        QTest::newRow("within a second") << qint64(1999) << 1u;
        QTest::newRow("the largest") << qint64(largest) * 1000 << largest;
        QTest::newRow("a second more") << qint64(largest) * 1000 + 1000 << largest;
    }

    void limitsATimestampToTheNumbersThatFit()
    {
        QFETCH(qint64, modified);
        QFETCH(unsigned int, timestamp);

        QCOMPARE(Utils::timestampOf({Entry::File, 0, modified}), timestamp);
    }
};

QTEST_GUILESS_MAIN(tst_FileStatus)
#include "tst_FileStatus.moc"
