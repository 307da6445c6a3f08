#include "utils/platform/Platform.h"

#include "utils/files/File.h"

#include "tests/platform/windows_files.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Tree.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace Platform = Utils::Platform;
using Data::String;
using Utils::File;

namespace {

/// A folder of the drive C: as a drive, while it lives. Wine opens nothing on a drive that is
/// defined so; there the host makes a link.
class Drive
{
public:
    explicit Drive(const QString &folder)
    {
        const DWORD used = GetLogicalDrives();
        char letter = 'g';
        while (used & (1U << (letter - 'a')))
            ++letter;
        m_name = QString("%1:").arg(letter);
        DefineDosDeviceW(0, wide(m_name).c_str(), wide(folder).c_str());
        if (!isThere())
            runOnHost("ln -s \"../drive_c$1\" \"$WINEPREFIX/dosdevices/$2\"", folder.mid(2));
    }
    ~Drive()
    {
        DefineDosDeviceW(DDD_REMOVE_DEFINITION, wide(m_name).c_str(), nullptr);
        if (isThere())
            runOnHost("rm \"$WINEPREFIX/dosdevices/$2\"", {});
    }
    Drive(const Drive &) = delete;
    Drive &operator=(const Drive &) = delete;

    /// Such as "g:".
    QString name() const { return m_name; }

    bool isThere() const
    {
        return GetFileAttributesW(wide(m_name + "/").c_str()) != INVALID_FILE_ATTRIBUTES;
    }

private:
    /// Runs a command of the host's shell until the drive has come or gone.
    void runOnHost(const QString &command, const QString &folder) const
    {
        const bool wasThere = isThere();
        const bool hasChanged =
            QProcess::startDetached("Z:\\bin\\sh", {"-c", command, "sh", folder, m_name}) &&
            QTest::qWaitFor([&] { return isThere() != wasThere; }, 10000);
        if (!hasChanged)
            qWarning("the host has not changed the drive");
    }

    QString m_name;
};

/// Another current folder, while it lives.
class CurrentFolder
{
public:
    explicit CurrentFolder(const QString &folder) { QDir::setCurrent(folder); }
    ~CurrentFolder() { QDir::setCurrent(m_before); }
    CurrentFolder(const CurrentFolder &) = delete;
    CurrentFolder &operator=(const CurrentFolder &) = delete;

private:
    const QString m_before = QDir::currentPath();
};

} // namespace

/// What must not be lost on Windows: roots of drives, files that others have open or save at the
/// same time, and the attributes of files.
class tst_Windows_files : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    // Roots

    void theSystemKnowsRoots_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("isRoot");

        const auto row = [](const char *path, bool isRoot) {
            QTest::newRow(path) << QString(path) << isRoot;
        };
        row("C:", true);
        row("C:/", true);
        row("C:\\", true);
        row("/", true);
        row("C:/windows/..", true);
        row("C:/./", true);
        row("//?/C:", true);
        row("\\\\?\\C:\\", true);
        row("\\\\.\\C:", true);
        row("//server", true);
        row("//server/share", true);
        row("\\\\server\\share\\", true);
        row("\\\\?\\UNC\\server\\share", true);
        row("C:/windows", false);
        row("C:windows", false);
        row("//?/C:/windows", false);
        row("//server/share/folder", false);
        row("\\\\?\\UNC\\server\\share\\folder", false);
        row("folder", false);
        row("", false);
    }

    void theSystemKnowsRoots()
    {
        QFETCH(QString, path);
        QFETCH(bool, isRoot);
        const CurrentFolder current(m_folder->path());

        QCOMPARE(Platform::isRootOfDrive(path.toStdString()), isRoot);
    }

    void fileRemovesNothingOfARoot_data()
    {
        QTest::addColumn<QString>("path"); // %1 is the drive

        for (const char *const path :
             {"%1/*", "%1*", "%1\\*", "%1//*", "%1/./*", "%1/here/../*", "//?/%1/*", "/*"})
            QTest::newRow(path) << QString(path);
    }

    void fileRemovesNothingOfARoot()
    {
        QFETCH(QString, path);
        // In a drive of its own, as a mistake here would cost everything.
        for (const char *const name : {"a", "b/c", "here/a", "here/d/e"})
            QVERIFY(!makeFile(inFolder(name)).isEmpty());
        const Drive drive(m_folder->path());
        if (!drive.isThere())
            QSKIP("the system makes no drives");
        QVERIFY(!makeFile(inFolder("here/" + drive.name().left(1) + "/file")).isEmpty());
        const QStringList before = tree(m_folder->path());
        int removed = -1;
        {
            const CurrentFolder current(drive.name() + "/here");
            QVERIFY(QDir::currentPath().startsWith(drive.name(), Qt::CaseInsensitive));

            removed = File::remove(path.replace("%1", drive.name()));
        }
        QCOMPARE(removed, 0);
        QCOMPARE(tree(m_folder->path()), before);
    }

    void fileRemovesTheFilesOfTheRootThatItIsTold()
    {
        QVERIFY(!makeFile(inFolder("a")).isEmpty());
        QVERIFY(!makeFile(inFolder("here/b")).isEmpty());
        const Drive drive(m_folder->path());
        if (!drive.isThere())
            QSKIP("the system makes no drives");
        {
            const CurrentFolder current(drive.name() + "/here");
            QVERIFY(QDir::currentPath().startsWith(drive.name(), Qt::CaseInsensitive));

            QCOMPARE(File::remove(drive.name() + "/"), 1); // and not those of the current folder
        }
        QCOMPARE(tree(m_folder->path()), QStringList({"here/", "here/b"}));
    }

private:
    QString inFolder(const QString &name) const { return m_folder->path() + "/" + name; }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Windows_files)
#include "tst_Windows_files.moc"
