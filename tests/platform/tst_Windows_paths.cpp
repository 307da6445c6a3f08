#include "utils/platform/Platform.h"

#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/MemoryChecker.h"
#include "utils/files/File.h"
#include "utils/files/FileReader.h"
#include "utils/files/LogFile.h"
#include "utils/tagfile/TagFile.h"
#include "utils/xml/Document.h"

#include "tests/platform/windows_files.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Tree.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace Platform = Utils::Platform;
using Data::String;
using Utils::File;

/// A path of the drive C: by the share that Windows makes of the drive.
static QString onShare(const QString &path) { return "//localhost/c$" + path.mid(2); }

static bool isShareThere()
{
    return GetFileAttributesW(L"\\\\localhost\\c$\\windows") != INVALID_FILE_ATTRIBUTES;
}

/// Runs a command of the shell of Wine's host, and waits until the share has come or gone.
static bool runOnHost(const QString &command)
{
    const bool wasThere = isShareThere();
    return QProcess::startDetached("Z:\\bin\\sh", {"-c", command}) &&
           QTest::qWaitFor([&] { return isShareThere() != wasThere; }, 10000);
}

/// Paths of each kind: on a drive and on a share, of any length and language, and names of devices.
class tst_Windows_paths : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Wine has no shares, but takes what is in this folder for them.
        if (!isShareThere()) {
            m_isShareMade = runOnHost("mkdir -p \"$WINEPREFIX/dosdevices/unc/localhost\" && "
                                      "ln -s ../../../drive_c "
                                      "\"$WINEPREFIX/dosdevices/unc/localhost/c$\"");
        }
    }

    void cleanupTestCase()
    {
        if (m_isShareMade)
            QVERIFY(runOnHost("rm \"$WINEPREFIX/dosdevices/unc/localhost/c$\""));
    }

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    // Each kind of path

    void fileTakesEachKindOfPath_data() { addFolders(); }

    void fileTakesEachKindOfPath()
    {
        const QString folder = makeFolder();
        if (folder.isEmpty())
            QSKIP("the system has no share of its drive");

        QVERIFY(File::createDir(folder + "/new/below"));
        QVERIFY(File::write(folder + "/a.txt", "one"));
        QCOMPARE(File::read(folder + "/a.txt"), String("one"));
        QVERIFY(File::copy(folder + "/a.txt", folder + "/b.txt"));
        QVERIFY(File::writeSafely(folder + "/b.txt", "two"));
        File::move(folder + "/b.txt", folder + "/c.txt");
        QCOMPARE(File::lastError(), String());
        File::move(folder + "/c.txt", folder + "/a.txt"); // which exists
        QCOMPARE(File::lastError(), String());
        File::move(folder + "/a.txt", folder + "/new");
        QCOMPARE(File::lastError(), String());
        QCOMPARE(File::read(folder + "/new/a.txt"), String("two"));
        QVERIFY(File::timestamp(folder + "/new/a.txt") > 0);
        QCOMPARE(File::search(folder, "*.txt"), QStringList(plainFolder() + "/new/a.txt"));
        QCOMPARE(File::copyDir(folder + "/new", folder + "/copy"), 1);
        QCOMPARE(File::remove(folder + "/*"), 7);
        QVERIFY(QDir(m_drivePath).isEmpty());
    }

    void theOthersTakeEachKindOfPath_data() { addFolders(); }

    void theOthersTakeEachKindOfPath()
    {
        const QString folder = makeFolder();
        if (folder.isEmpty())
            QSKIP("the system has no share of its drive");

        QCOMPARE(File::parentFolder(folder + "/new"), String(plainFolder()));
        QVERIFY(!File::isRelative(folder));
        QVERIFY(File::write(folder + "/a.csv", QStringList{"a,b", "c,d"}));
        QVERIFY(File::isFile(folder + "/a.csv"));
        QVERIFY(File::isDir(folder));
        QVERIFY(File::exists(folder + "/*.csv"));
        QCOMPARE(File::size(folder + "/a.csv"), 8);
        QCOMPARE(File::readRaw(folder + "/a.csv"), QByteArray("a,b\nc,d\n"));
        QCOMPARE(File::encoding(folder + "/a.csv"), String("UTF-8"));
        QCOMPARE(File::read(folder + "/a.csv", "latin1"), String("a,b\nc,d\n"));
        for (const int limit : {0, 1, 5}) { // as text, as bytes, in the file
            Utils::CSVTable table;
            QVERIFY(table.read(folder + "/a.csv", limit));
            QCOMPARE(table.data(1, 1), String("d"));
        }
        QVERIFY(Utils::CSVDialect::detect(folder + "/a.csv").isValid());
        {
            Utils::FileReader reader(folder + "/a.csv");
            String line;
            QVERIFY(reader.readLine(line, /*trim=*/true));
            QCOMPARE(line, String("a,b"));
        }
        {
            Utils::LogFile log(folder + "/a.log", /*removeIfEmpty=*/false);
            log.append("entry", /*newLine=*/true);
        }
        QCOMPARE(contentsOf(m_drivePath + "/a.log"), QByteArray("entry\n"));
        Utils::TagFile tags;
        String error;
        QVERIFY(File::write(folder + "/a.tag", "TAG\n"));
        QVERIFY2(tags.read(folder + "/a.tag", error), qPrintable(error));
        Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
        QVERIFY(File::write(folder + "/a.xml", "<a/>"));
        QVERIFY2(document.open(folder + "/a.xml", "", error), qPrintable(error));
        QCOMPARE(File::remove(folder + "/*.csv"), 1);
        QCOMPARE(File::remove(folder + "/a.log"), 1);
        QCOMPARE(File::remove(folder), 3);
        QVERIFY(!QDir(m_drivePath).exists());
    }

    void filesAreOpenedByEachKindOfPath_data() { addFolders(); }

    void filesAreOpenedByEachKindOfPath()
    {
        const QString folder = makeFolder();
        if (folder.isEmpty())
            QSKIP("the system has no share of its drive");
        const QString path = folder + "/" + m_name + ".txt";

        for (const bool append : {false, true, true}) {
            std::FILE *const output = File::openWrite(path, append);
            QVERIFY(output);
            QVERIFY(std::fputs("text", output) >= 0);
            QCOMPARE(std::fclose(output), 0);
        }
        std::FILE *const input = File::openRead(path);
        QVERIFY(input);
        char text[32] = {};
        const bool isRead = std::fgets(text, sizeof(text), input);
        std::fclose(input);

        QVERIFY(isRead);
        QCOMPARE(QByteArray(text), QByteArray("texttexttext"));
        QVERIFY(QFile::exists(m_drivePath + "/" + m_name + ".txt"));
    }

    void versionsAreFoundByEachKindOfPath_data() { addFolders(); }

    void versionsAreFoundByEachKindOfPath()
    {
        const QString folder = makeFolder();
        if (folder.isEmpty())
            QSKIP("the system has no share of its drive");
        QVERIFY(QFile::copy(VERSIONED, m_drivePath + "/" + m_name + ".dll"));

        QCOMPARE(File::version(folder + "/" + m_name + ".dll"), String("19.02.1.5"));
    }

    void filesAreCreatedByEachKindOfPath_data() { addFolders(); }

    void filesAreCreatedByEachKindOfPath()
    {
        const QString folder = makeFolder();
        if (folder.isEmpty())
            QSKIP("the system has no share of its drive");
        const QString path = folder + "/" + m_name + ".txt";

        Utils::MemoryChecker::setReportFile(path);

        QVERIFY(QFile::exists(m_drivePath + "/" + m_name + ".txt"));
        QVERIFY(!File::openRead(path)); // for this process only
        QVERIFY(!Platform::createNewFile(path.toStdString()));
    }

    void aFileHasTheSamePathByEachKind_data() { addFolders(); }

    void aFileHasTheSamePathByEachKind()
    {
        const QString folder = makeFolder();
        if (folder.isEmpty())
            QSKIP("the system has no share of its drive");
        const std::string path = (folder + "/file").toStdString();
        const std::string drivePath = makeFile(m_drivePath + "/file", "text").toStdString();

        QVERIFY(Platform::isSameFile(path, drivePath));
        QVERIFY(File::copy(folder + "/file", m_drivePath + "/file"));
        QVERIFY(File::copy(m_drivePath + "/file", folder + "/file"));
        QCOMPARE(contentsOf(m_drivePath + "/file"), QByteArray("text"));
    }

    // Names of devices

    void aFileThatIsMovedOrCopiedToADeviceStays_data()
    {
        QTest::addColumn<QString>("name");

        for (const char *const name : {"NUL", "nul", "CON", "NUL.txt", "AUX", "CONOUT$"})
            QTest::newRow(name) << name;
    }

    void aFileThatIsMovedOrCopiedToADeviceStays()
    {
        QFETCH(QString, name);
        const CurrentFolder current(m_folder->path());
        QVERIFY(!makeFile(inFolder("file"), "text").isEmpty());
        QVERIFY(!makeFile(inFolder("5%"), "text").isEmpty()); // is not moved by the command

        for (const QString &device : {name, inFolder(name)}) {
            for (const char *const source : {"file", "5%"}) {
                QVERIFY(!File::copy(source, device));
                QVERIFY(!File::lastError().isEmpty());
                File::move(source, device);
                QVERIFY(!File::lastError().isEmpty());
            }
        }

        QCOMPARE(tree(m_folder->path()), QStringList({"5%", "file"}));
        QCOMPARE(contentsOf(inFolder("file")), QByteArray("text"));
        QCOMPARE(contentsOf(inFolder("5%")), QByteArray("text"));
    }

    void theNullDeviceTakesWhatIsWritten_data()
    {
        QTest::addColumn<QString>("name");

        for (const char *const name : {"NUL", "nul", "NUL.txt"})
            QTest::newRow(name) << name;
    }

    void theNullDeviceTakesWhatIsWritten()
    {
        QFETCH(QString, name);
        const CurrentFolder current(m_folder->path());

        for (const QString &device : {name, inFolder(name)}) {
            for (const bool append : {false, true}) {
                std::FILE *const output = File::openWrite(device, append);
                QVERIFY(output);
                QVERIFY(std::fputs("lost", output) >= 0);
                QCOMPARE(std::fclose(output), 0);
            }
            QVERIFY(File::writeSafely(device, "lost"));
            QVERIFY(Platform::createNewFile(device.toStdString()));
        }

        QCOMPARE(tree(m_folder->path()), QStringList());
    }

    void theConsoleIsNoFileWhereThereIsNone_data()
    {
        QTest::addColumn<QString>("name");

        for (const char *const name : {"CON", "con", "CONOUT$"})
            QTest::newRow(name) << name;
    }

    void theConsoleIsNoFileWhereThereIsNone()
    {
        QFETCH(QString, name);
        const CurrentFolder current(m_folder->path());
        FreeConsole();

        for (const QString &device : {name, inFolder(name)}) {
            QVERIFY(!File::openWrite(device, /*append=*/false));
            QVERIFY(errno != 0);
            QVERIFY(!File::openWrite(device, /*append=*/true));
            QVERIFY(errno != 0);
            QVERIFY(!File::writeSafely(device, "lost"));
            QVERIFY(!Platform::createNewFile(device.toStdString()));
        }

        QCOMPARE(tree(m_folder->path()), QStringList());
    }

    void aReportOfDevicesIsNotMade()
    {
        const CurrentFolder current(m_folder->path());

        for (const char *const name : {"NUL", "CON"})
            Utils::MemoryChecker::setReportFile(name);

        QCOMPARE(tree(m_folder->path()), QStringList());
    }

private:
    static void addFolders()
    {
        QTest::addColumn<int>("length"); // at least
        QTest::addColumn<bool>("isOnShare");
        QTest::addColumn<QString>("prefix");

        const QString prefix = R"(\\?\)";
        const QString device = R"(\\.\)";
        QTest::newRow("on a drive") << 0 << false << "";
        QTest::newRow("on a drive, long") << 400 << false << "";
        QTest::newRow("on a drive, with the prefix") << 0 << false << prefix;
        QTest::newRow("on a drive, long, with the prefix") << 400 << false << prefix;
        QTest::newRow("on a drive, with the prefix and slashes") << 0 << false << "//?/";
        QTest::newRow("on a drive, long, with the prefix and slashes") << 400 << false << "//?/";
        QTest::newRow("on a drive as a device") << 0 << false << device;
        QTest::newRow("on a drive as a device, with slashes") << 0 << false << "//./";
        QTest::newRow("on a share") << 0 << true << "";
        QTest::newRow("on a share, long") << 400 << true << "";
        QTest::newRow("on a share, with the prefix") << 0 << true << prefix + R"(UNC\)";
        QTest::newRow("on a share, long, with the prefix") << 400 << true << prefix + R"(UNC\)";
        QTest::newRow("on a share, with the prefix and slashes") << 0 << true << "//?/UNC/";
        QTest::newRow("on a share, long, with the prefix and slashes") << 400 << true << "//?/UNC/";
    }

    /// Makes the folder of the row, and returns its path of that kind; "" when the system has no
    /// share.
    QString makeFolder()
    {
        QFETCH(int, length);
        QFETCH(bool, isOnShare);
        QFETCH(QString, prefix);
        m_drivePath = m_folder->path() + "/" + m_name;
        while (m_drivePath.size() < length)
            m_drivePath += "/" + QString(40, 'x');
        if (!QDir().mkpath(m_drivePath) || (isOnShare && !isShareThere()))
            return {};
        const QString path = isOnShare ? onShare(m_drivePath) : m_drivePath;
        if (prefix.isEmpty())
            return path;
        const QString rest = isOnShare ? path.mid(2) : path; // without "//"
        return prefix + (prefix.contains('/') ? rest : QDir::toNativeSeparators(rest));
    }

    /// The folder of makeFolder() as a search returns it.
    QString plainFolder() const
    {
        QFETCH(bool, isOnShare);
        return isOnShare ? onShare(m_drivePath) : m_drivePath;
    }

    QString inFolder(const QString &name) const { return m_folder->path() + "/" + name; }

    const QString m_name = QString::fromUtf8("Gr\xc3\xb6\xc3\x9f"
                                             "e \xe6\x97\xa5");
    bool m_isShareMade = false;
    QString m_drivePath; // of the folder that makeFolder() has made
    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Windows_paths)
#include "tst_Windows_paths.moc"
