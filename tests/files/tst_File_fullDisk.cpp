// Safe writing on a disk of 2 MiB that fills at each page of the new content, in a mount namespace
// of its own; and at each byte, which takes minutes. tools/full-disk runs that; the test itself
// takes some of the bytes.

#include "utils/KelmUtils.h"

#include "tests/support/ByteDisk.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"

#include <QDir>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <functional>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using Data::String;
using Utils::File;

using Write = std::function<bool(const QString &, int version)>;
Q_DECLARE_METATYPE(Write)

static const SettingsHome home;

static const int manyRows = 3000; // for which the disk fills page by page
static const int someRows = 150;  // for which it fills byte by byte
static int rows = manyRows;

static QString row(int version, int number)
{
    return QStringLiteral("%1 %2 ").arg(version).arg(number) + QString(80, QLatin1Char('x'));
}

static QStringList text(int version)
{
    QStringList all;
    for (int i = 0; i < rows; ++i)
        all.append(row(version, i));
    return all;
}

static bool saveTags(const QString &path, int version)
{
    Utils::TagFile file;
    for (int i = 0; i < rows; ++i)
        file.addTag("row", "").add("text", String(row(version, i)));
    String error;
    return file.save(path, error);
}

static bool streamTags(const QString &path, int version)
{
    Utils::TagFile file;
    String error;
    if (!file.open(path, error))
        return false;
    for (int i = 0; i < rows; ++i)
        file.writeTag("row", "", false).writeProperty("text", row(version, i));
    file.close();
    return File::lastError().isEmpty();
}

static bool writeDocument(const QString &path, int version)
{
    Utils::Xml::Document document("Model", Utils::Xml::Document::Normal, 1.0);
    QDomElement root = document.createElement("model");
    for (int i = 0; i < rows; ++i) {
        QDomElement element = document.createElement("row");
        element.setAttribute("text", row(version, i));
        root.appendChild(element);
    }
    document.appendChild(root);
    return document.write(path);
}

static bool writeTable(const QString &path, int version)
{
    Utils::CSVTable table(";");
    for (int i = 0; i < rows; ++i)
        table.appendData(QStringList(row(version, i)));
    return table.write(path);
}

/// An export of settings that are stored elsewhere.
static bool exportSettings(const QString &path, int version)
{
    Utils::Settings settings(QStringLiteral("version%1").arg(version));
    if (settings.keys("").size() != rows) {
        Utils::Settings().removeKey(QStringLiteral("version%1").arg(version));
        for (int i = 0; i < rows; ++i)
            settings.setString(QStringLiteral("key%1").arg(i), row(version, i));
    }
    return settings.exportTo(path);
}

/// A table of texts, which is an XML document.
static bool writeStrings(const QString &path, int version)
{
    Utils::Xml::Document document("StringTable", Utils::Xml::Document::Normal, 1.0);
    QDomElement root = document.createElement("strings");
    for (int i = 0; i < rows; ++i) {
        QDomElement element = document.createElement("string");
        element.setAttribute("id", QStringLiteral(".msg.text%1").arg(i));
        element.appendChild(document.createTextNode(row(version, i)));
        root.appendChild(element);
    }
    document.appendChild(root);
    return document.write(path);
}

/// A copy of a file that is on another disk.
static bool copyFile(const QString &path, int version)
{
    const QString source = home.path() + QStringLiteral("/source%1-%2").arg(version).arg(rows);
    if (!QFile::exists(source) && !File::write(source, text(version)))
        return false;
    return File::copy(source, path);
}

/// A file that is moved from another disk.
static bool moveFile(const QString &path, int version)
{
    const QString source = home.path() + QStringLiteral("/moved");
    File::setSafeWriting(false);
    const bool isMade = File::write(source, text(version));
    File::setSafeWriting(true);
    if (!isMade)
        return false;
    File::move(source, path);
    return File::lastError().isEmpty() && !QFile::exists(source);
}

class tst_File_fullDisk : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    bool m_isMounted = false;

    /// Fills the disk until only \p pages pages are free.
    static void fillUp(const QString &path, long pages)
    {
        const int file = open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT, 0600);
        struct statvfs disk = {};
        fstatvfs(file, &disk);
        const long taken = static_cast<long>(disk.f_bfree) - pages;
        if (taken > 0 && posix_fallocate(file, 0, taken * static_cast<long>(disk.f_bsize)) != 0)
            QFAIL("the disk cannot be filled");
        close(file);
    }

    QStringList entries() const
    {
        return QDir(m_folder.path())
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    }

    static void addWriters()
    {
        QTest::addColumn<Write>("write");
        QTest::newRow("writeSafely") << Write([](const QString &path, int version) {
            return File::writeSafely(path, text(version));
        });
        QTest::newRow("write") << Write(
            [](const QString &path, int version) { return File::write(path, text(version)); });
        QTest::newRow("writeRaw") << Write([](const QString &path, int version) {
            return File::writeRaw(path, text(version).join('\n').toUtf8());
        });
        QTest::newRow("File::copy") << Write(&copyFile);
        QTest::newRow("File::move") << Write(&moveFile);
        QTest::newRow("TagFile::save") << Write(&saveTags);
        QTest::newRow("TagFile::open") << Write(&streamTags);
        QTest::newRow("Document::write") << Write(&writeDocument);
        QTest::newRow("CSVTable::write") << Write(&writeTable);
        QTest::newRow("Settings::exportTo") << Write(&exportSettings);
        QTest::newRow("string table") << Write(&writeStrings);
    }

private Q_SLOTS:
    void init() { rows = manyRows; }

    void initTestCase()
    {
        const QByteArray folder = QFile::encodeName(m_folder.path());
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", folder.constData(), "tmpfs", 0, "size=2m") != 0)
            QSKIP("a disk cannot be mounted here");
        m_isMounted = true;
        File::setSafeWriting(true);
    }

    void cleanupTestCase()
    {
        File::setSafeWriting(false);
        if (m_isMounted)
            umount(QFile::encodeName(m_folder.path()).constData());
    }

    void losesNothing_data() { addWriters(); }

    void losesNothing()
    {
        QFETCH(Write, write);
        const QString file = m_folder.filePath("file");
        QVERIFY(write(file, 1));
        const QByteArray old = contentsOf(file);
        QVERIFY(old.size() > 250000);
        const long pages = old.size() / 4096 + 4;

        int failures = 0;
        for (long room = 0; room <= pages; ++room) {
            fillUp(m_folder.filePath("filler"), room);
            const bool isWritten = write(file, 2);
            const String reason = File::lastError();
            const QByteArray found = contentsOf(file);
            QVERIFY(QFile::remove(m_folder.filePath("filler")));

            QCOMPARE(entries(), QStringList("file"));
            if (isWritten) {
                QCOMPARE(found.size(), old.size());
                QVERIFY(found != old);
                QVERIFY(write(file, 1));
            } else {
                ++failures;
                QCOMPARE(found, old);
                QCOMPARE(reason, String(".Kelm.Utils.err.diskfull"));
            }
        }
        QVERIFY2(failures >= pages - 6, QByteArray::number(failures));
        QVERIFY(failures <= pages);
    }

    void losesNothingAtEachByte_data() { addWriters(); }

    void losesNothingAtEachByte()
    {
        QFETCH(Write, write);
        rows = someRows;
        const QString file = m_folder.filePath("file");
        QVERIFY(write(file, 2));
        const int size = contentsOf(file).size();
        QVERIFY(write(file, 1));
        const QByteArray old = contentsOf(file);
        QVERIFY(old.size() > 3 * 4096 && size > 3 * 4096);
        const bool isEachByte = qEnvironmentVariableIsSet("KELMUTILS_EACH_BYTE");

        int failures = 0;
        for (int room = 0; room < size; ++room) {
            const bool isAtEnd = room < 8 || room >= size - 8;
            if (!isEachByte && !isAtEnd && room % 997 != 0)
                continue;
            bool isWritten;
            {
                const ByteDisk disk(m_folder.path(), room);
                isWritten = write(file, 2);
                QVERIFY(disk.isFull());
            }
            const QByteArray where = "at byte " + QByteArray::number(room);
            QVERIFY2(!isWritten, where);
            QVERIFY2(contentsOf(file) == old, where);
            QCOMPARE(File::lastError(), String(".Kelm.Utils.err.diskfull"));
            QCOMPARE(entries(), QStringList("file"));
            ++failures;
        }
        QVERIFY(failures > 20 && (!isEachByte || failures == size));
        {
            const ByteDisk disk(m_folder.path(), size);
            QVERIFY(write(file, 2));
            QVERIFY(!disk.isFull());
        }
        QVERIFY(contentsOf(file) != old);
        if (isEachByte)
            qInfo("%-20s full at each of %d bytes: the old file each time", QTest::currentDataTag(),
                  failures);
        QVERIFY(QFile::remove(file));
    }

    /// Without /proc, a file without a name cannot be given one, as on disks that have none.
    void losesNothingWithoutFilesThatHaveNoName()
    {
        if (mount("none", "/proc", "tmpfs", 0, "size=4k") != 0)
            QSKIP("/proc cannot be hidden here");
        const auto showProc = qScopeGuard([] { umount("/proc"); });
        QVERIFY(!QFileInfo::exists("/proc/self/fd"));
        const QString file = makeFile(m_folder.filePath("file"), "old");
        const QByteArray name = QFile::encodeName(file);
        QCOMPARE(chmod(name.constData(), 0640), 0);
        {
            Utils::TagFile tags;
            String error;
            QVERIFY(tags.open(file, error));
            QCOMPARE(entries().size(), 2);
            QVERIFY(entries().first().startsWith(".kelm-saving-"));
            // Another one at the same time has another name.
            QVERIFY(File::writeSafely(file, QByteArray(100000, 'n')));
            QCOMPARE(contentsOf(file), QByteArray(100000, 'n'));
        }
        QCOMPARE(entries(), QStringList("file"));
        struct stat status = {};
        QCOMPARE(stat(name.constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0640));

        for (long room = 0; room < 25; ++room) {
            fillUp(m_folder.filePath("filler"), room);
            const bool isWritten = File::writeSafely(file, QByteArray(100000, 'f'));
            const String reason = File::lastError();
            const QByteArray found = contentsOf(file);
            QVERIFY(QFile::remove(m_folder.filePath("filler")));
            QVERIFY(!isWritten);
            QCOMPARE(reason, String(".Kelm.Utils.err.diskfull"));
            QCOMPARE(found, QByteArray(100000, 'n'));
            QCOMPARE(entries(), QStringList("file"));
        }
        QVERIFY(QFile::remove(file));
    }

    /// Its temporary name is never that of a file which others may read, or which is taken.
    void copiesToANewFileWithoutFilesThatHaveNoName()
    {
        if (mount("none", "/proc", "tmpfs", 0, "size=4k") != 0)
            QSKIP("/proc cannot be hidden here");
        const auto showProc = qScopeGuard([] { umount("/proc"); });
        const QString source = makeFile(m_folder.filePath("source"), QByteArray(100000, 's'));
        QCOMPARE(chmod(QFile::encodeName(source).constData(), 0604), 0);
        const QString file = m_folder.filePath("file");

        QVERIFY(File::copy(source, file));
        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(file).constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0604));
        QCOMPARE(entries(), QStringList({"file", "source"}));

        QVERIFY(QFile::remove(file));
        fillUp(m_folder.filePath("filler"), 10);
        QVERIFY(!File::copy(source, file));
        QVERIFY(QFile::remove(m_folder.filePath("filler")));
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.diskfull"));
        QCOMPARE(entries(), QStringList("source"));
        QVERIFY(QFile::remove(source));
    }

    void losesNothingOfAFileWithTwoNames()
    {
        const QString file = m_folder.filePath("file");
        const QString other = m_folder.filePath("other");
        QVERIFY(File::writeSafely(file, QByteArray(300000, '1')));
        QVERIFY(link(QFile::encodeName(file), QFile::encodeName(other)) == 0);
        for (long room = 0; room < 180; ++room) {
            fillUp(m_folder.filePath("filler"), room);
            const bool isWritten = File::writeSafely(file, QByteArray(600000, '2'));
            const QByteArray found = contentsOf(other);
            QVERIFY(QFile::remove(m_folder.filePath("filler")));

            QCOMPARE(isWritten, false); // the new content is held twice for a moment
            QCOMPARE(found, QByteArray(300000, '1'));
            QCOMPARE(contentsOf(file), QByteArray(300000, '1'));
        }
        QVERIFY(File::writeSafely(file, QByteArray(600000, '2')));
        QCOMPARE(contentsOf(other), QByteArray(600000, '2'));
        QVERIFY(QFile::remove(other));
        QVERIFY(QFile::remove(file));
    }
};

QTEST_MAIN(tst_File_fullDisk)
#include "tst_File_fullDisk.moc"
