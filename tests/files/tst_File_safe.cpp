// Writing that loses nothing: File::writeSafely() and, under File::setSafeWriting(), everything
// that replaces a file.

#include "utils/KelmUtils.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/FullDisk.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using Data::String;
using Utils::File;

using Write = std::function<bool(const QString &)>;
Q_DECLARE_METATYPE(Write)

static struct stat statusOf(const QString &path)
{
    struct stat status = {};
    stat(QFile::encodeName(path).constData(), &status);
    return status;
}

/// The name of the file for the new content of the file \p name, as it may be left over.
static QString leftOverOf(const QByteArray &name)
{
    quint64 hash = 0xcbf29ce484222325;
    for (const char byte : name)
        hash = (hash ^ static_cast<uchar>(byte)) * 0x100000001b3;
    return QString(".kelm-saving-%1").arg(hash, 16, 16, QLatin1Char('0'));
}

static const int rows = 40;

static bool saveTags(const QString &path)
{
    Utils::TagFile file;
    for (int i = 0; i < rows; ++i)
        file.addTag("row", "").add("number", i).add("text", "new");
    String error;
    return file.save(path, error);
}

/// The old content stays until the end, and when a write has failed.
static bool streamTags(const QString &path)
{
    Utils::TagFile file;
    String error;
    if (!file.open(path, error))
        return false;
    for (int i = 0; i < rows; ++i)
        file.writeTag("row", "", false).writeProperty("text", "new");
    file.close();
    return File::lastError().isEmpty();
}

static bool writeDocument(const QString &path)
{
    Utils::Xml::Document document("Model", Utils::Xml::Document::Normal, 1.0);
    Utils::Xml::Element root = document.createElement("model");
    for (int i = 0; i < rows; ++i)
        root.appendChild(document.createElement("row"));
    document.appendChild(root);
    return document.write(path);
}

static bool writeTable(const QString &path)
{
    Utils::CSVTable table(";");
    for (int i = 0; i < rows; ++i)
        table.appendData(QStringList({"new", QString::number(i)}));
    return table.write(path);
}

class tst_File_safe : public QObject
{
    Q_OBJECT

private:
    QScopedPointer<QTemporaryDir> m_folder;

    QString path(const QString &name) const { return m_folder->filePath(name); }

    QStringList entries() const
    {
        return QDir(m_folder->path())
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    }

    bool copyFrom(const QString &target) const { return File::copy(path("from/source"), target); }

    /// A source that is copied in chunks while a popup reporter exists.
    QString makeLargeSource() const
    {
        return makeFile(path("from/large"), QByteArray(2100 * 1024 + 1, 'n'));
    }

    /// Each operation that replaces a file.
    void addWriters(bool withSafely = true)
    {
        QTest::addColumn<Write>("write");
        // clang-format off
        if (withSafely) {
            QTest::newRow("writeSafely, text") << Write([](const QString &to) { return File::writeSafely(to, String(QString(1000, 'n'))); });
            QTest::newRow("writeSafely, literal") << Write([](const QString &to) { return File::writeSafely(to, "new new"); });
            QTest::newRow("writeSafely, lines") << Write([](const QString &to) { return File::writeSafely(to, QStringList{"new", "lines"}); });
            QTest::newRow("writeSafely, bytes") << Write([](const QString &to) { return File::writeSafely(to, QByteArray("new bytes")); });
        }
        QTest::newRow("write, text") << Write([](const QString &to) { return File::write(to, String(QString(1000, 'n'))); });
        QTest::newRow("write, lines") << Write([](const QString &to) { return File::write(to, QStringList{"new", "lines"}); });
        QTest::newRow("writeRaw") << Write([](const QString &to) { return File::writeRaw(to, "new bytes"); });
        QTest::newRow("copy") << Write([this](const QString &to) { return copyFrom(to); });
        QTest::newRow("TagFile::save") << Write(&saveTags);
        QTest::newRow("TagFile::open") << Write(&streamTags);
        QTest::newRow("Document::write") << Write(&writeDocument);
        QTest::newRow("CSVTable::write") << Write(&writeTable);
        // clang-format on
    }

    /// What \p write writes.
    QByteArray written(const Write &write) const
    {
        File::setSafeWriting(false);
        const QString trial = path("trial");
        const QByteArray bytes = write(trial) ? contentsOf(trial) : QByteArray();
        QFile::remove(trial);
        File::setSafeWriting(true);
        return bytes;
    }

private Q_SLOTS:
    void init()
    {
        m_folder.reset(new QTemporaryDir);
        QVERIFY(m_folder->isValid());
        makeFile(path("from/source"), QByteArray(1000, 'n'));
        File::setSafeWriting(true);
    }

    void cleanup() { File::setSafeWriting(false); }

    void isOffAtFirst()
    {
        File::setSafeWriting(false); // which init() has changed
        QVERIFY(!File::isSafeWriting());
        File::setSafeWriting(true);
        QVERIFY(File::isSafeWriting());
    }

    void replacesTheFile_data() { addWriters(); }

    void replacesTheFile()
    {
        QFETCH(Write, write);
        const QByteArray fresh = written(write);
        QVERIFY(fresh.size() > 6);
        const QString file = makeFile(path("file"), "old");
        const int reader = open(QFile::encodeName(file).constData(), O_RDONLY);

        QVERIFY(write(file));

        QCOMPARE(File::lastError(), String());
        QCOMPARE(contentsOf(file), fresh);
        QCOMPARE(entries(), QStringList({"file", "from"}));
        char old[10];
        QCOMPARE(read(reader, old, sizeof(old)), ssize_t(3)); // not written in place
        close(reader);
    }

    void writesInPlaceWhereItIsOff_data() { addWriters(/*withSafely=*/false); }

    void writesInPlaceWhereItIsOff()
    {
        QFETCH(Write, write);
        const QByteArray fresh = written(write);
        const QString file = makeFile(path("file"), "old");
        const auto before = statusOf(file);
        File::setSafeWriting(false);

        QVERIFY(write(file));

        QCOMPARE(contentsOf(file), fresh);
        if (qstrcmp(QTest::currentDataTag(), "copy") != 0)
            QCOMPARE(statusOf(file).st_ino, before.st_ino);
    }

    void makesANewFile_data() { addWriters(); }

    void makesANewFile()
    {
        QFETCH(Write, write);
        const QByteArray fresh = written(write);
        const QString file = path("file");
        const mode_t mask = umask(027);
        const bool isWritten = write(file);
        umask(mask);

        QVERIFY(isWritten);
        QCOMPARE(contentsOf(file), fresh);
        QCOMPARE(entries(), QStringList({"file", "from"}));
        if (qstrcmp(QTest::currentDataTag(), "copy") != 0)
            QCOMPARE(statusOf(file).st_mode & 07777, mode_t(0640));
    }

    void keepsThePermissions_data() { addWriters(); }

    void keepsThePermissions()
    {
        QFETCH(Write, write);
        const QString file = makeFile(path("file"), "old");
        const bool isCopy = qstrcmp(QTest::currentDataTag(), "copy") == 0; // takes the source's
        const QString model = isCopy ? path("from/source") : file;
        for (const mode_t mode : {0600, 0604, 0640, 0666, 0755}) {
            QCOMPARE(chmod(QFile::encodeName(model).constData(), mode), 0);
            QVERIFY(write(file));
            QCOMPARE(statusOf(file).st_mode & 07777, mode);
        }
    }

    void dropsTheRightToRunAsAnotherUser()
    {
        const QString file = makeFile(path("file"), "old");
        QCOMPARE(chmod(QFile::encodeName(file).constData(), 06755), 0);
        QVERIFY(File::writeSafely(file, "new"));
        QCOMPARE(statusOf(file).st_mode & 07777, mode_t(0755));
    }

    void keepsOwnerAndGroup_data() { addWriters(); }

    void keepsOwnerAndGroup()
    {
        if (geteuid() != 0)
            QSKIP("only root may set the owner of a file");
        QFETCH(Write, write);
        const QString file = makeFile(path("file"), "old");
        QCOMPARE(chown(QFile::encodeName(file).constData(), 4711, 4712), 0);
        QCOMPARE(chmod(QFile::encodeName(file).constData(), 0664), 0);
        QCOMPARE(chmod(QFile::encodeName(path("from/source")).constData(), 0664), 0);

        QVERIFY(write(file));

        const auto status = statusOf(file);
        QCOMPARE(status.st_uid, uid_t(4711));
        QCOMPARE(status.st_gid, gid_t(4712));
        QCOMPARE(status.st_mode & 07777, mode_t(0664));
    }

    void givesNoRightsToAnotherGroup()
    {
        if (geteuid() != 0)
            QSKIP("only root may make a file of another group");
        const QString file = makeFile(path("file"), "old");
        QCOMPARE(chown(QFile::encodeName(file).constData(), 65534, 4712), 0);
        QCOMPARE(chmod(QFile::encodeName(file).constData(), 0664), 0);
        {
            const OrdinaryUser user(m_folder->path());
            QVERIFY(File::writeSafely(file, "new"));
        }
        const auto status = statusOf(file);
        QCOMPARE(status.st_uid, uid_t(65534));
        QVERIFY(status.st_gid != 4712);
        QCOMPARE(status.st_mode & 07777, mode_t(0644)); // as others
    }

    void keepsTheAttributesOfUsers()
    {
        const QString file = makeFile(path("file"), "old");
        const QByteArray name = QFile::encodeName(file);
        if (setxattr(name, "user.author", "Ada", 3, 0) != 0)
            QSKIP("the file system has no extended attributes");

        QVERIFY(File::writeSafely(file, "new"));

        char value[10] = {};
        QCOMPARE(getxattr(name, "user.author", value, sizeof(value)), ssize_t(3));
        QCOMPARE(QByteArray(value), QByteArray("Ada"));
    }

    void keepsLinks_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("target");
        // clang-format off
        QTest::newRow("relative") << "link" << "below/file";
        QTest::newRow("to what is missing") << "link" << "below/missing";
        QTest::newRow("up") << "below/link" << "../from/file";
        // clang-format on
    }

    void keepsLinks()
    {
        QFETCH(QString, link);
        QFETCH(QString, target);
        makeFile(path("below/file"), "old");
        makeFile(path("from/file"), "old");
        QVERIFY(QFile::link(target, path(link)));
        QVERIFY(QFile::link(path(link), path("chain")));

        QVERIFY(File::writeSafely(path("chain"), "new"));

        QCOMPARE(contentsOf(path(link)), QByteArray("new"));
        QCOMPARE(QFileInfo(path(link)).isSymLink(), true);
        QCOMPARE(QFileInfo(path("chain")).symLinkTarget(), path(link));
    }

    void refusesALoopOfLinks()
    {
        QVERIFY(QFile::link("b", path("a")));
        QVERIFY(QFile::link("a", path("b")));
        QVERIFY(!File::writeSafely(path("a"), "new"));
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.writefault"));
    }

    void keepsAllNamesOfAFile_data() { addWriters(); }

    void keepsAllNamesOfAFile()
    {
        QFETCH(Write, write);
        const QByteArray fresh = written(write);
        for (const int size : {3, 100000}) {
            const QString file = makeFile(path("file"), QByteArray(size, 'o'));
            QVERIFY(link(QFile::encodeName(file), QFile::encodeName(path("other"))) == 0);

            QVERIFY(write(file));

            QCOMPARE(contentsOf(path("file")), fresh);
            QCOMPARE(contentsOf(path("other")), fresh);
            QCOMPARE(entries(), QStringList({"file", "from", "other"}));
            QVERIFY(QFile::remove(path("other")));
        }
    }

    void writesDevicesAndPipes()
    {
        QVERIFY(File::writeSafely("/dev/null", "new"));
        QVERIFY(!File::writeSafely("/dev/full", "new"));
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.diskfull"));
        QVERIFY(QFileInfo("/dev/full").exists());

        const QByteArray pipe = QFile::encodeName(path("pipe"));
        QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
        QByteArray received;
        std::thread reader([&] { received = contentsOf(path("pipe")); });
        const bool isWritten = File::writeSafely(path("pipe"), "new");
        reader.join();
        QVERIFY(isWritten);
        QCOMPARE(received, QByteArray("new"));
        QCOMPARE(entries(), QStringList({"from", "pipe"}));
    }

    void writesAnOpenStreamInPlace()
    {
        const QString file = makeFile(path("file"), "old");
        const int stream = open(QFile::encodeName(file).constData(), O_WRONLY);
        const auto before = statusOf(file);
        const QString link = path("stream");
        QVERIFY(QFile::link(QStringLiteral("/proc/self/fd/%1").arg(stream), link));

        QVERIFY(File::writeSafely(link, "new"));

        QCOMPARE(contentsOf(file), QByteArray("new"));
        QCOMPARE(statusOf(file).st_ino, before.st_ino);
        close(stream);
    }

    void refuses_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<String>("reason");
        QTest::newRow("no name") << "" << String(".Kelm.Utils.err.noname");
        QTest::newRow("a zero byte")
            << QString("file") + QChar(0) << String(".Kelm.Utils.err.badname");
        QTest::newRow("a folder") << "from" << String(".Kelm.Utils.err.isfolder");
        QTest::newRow("a missing folder") << "missing/file" << String(".Kelm.Utils.err.nofolder");
        QTest::newRow("a folder that is a file")
            << "file/below" << String(".Kelm.Utils.err.nofolder");
        QTest::newRow("a name as of a folder") << "missing/" << String(".Kelm.Utils.err.isfolder");
        QTest::newRow("a name that is too long")
            << QString(300, 'x') << String(".Kelm.Utils.err.writefault");
        QTest::newRow("a resource") << ":/file" << String(".Kelm.Utils.err.nowrite");
    }

    void refuses()
    {
        QFETCH(QString, name);
        QFETCH(String, reason);
        makeFile(path("file"), "old");
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));

        const bool isWritten = File::writeSafely(name, "new");
        const String told = File::lastError();
        QDir::setCurrent(before);

        QVERIFY(!isWritten);
        QCOMPARE(told, reason);
        QCOMPARE(contentsOf(path("file")), QByteArray("old"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void refusesAFileThatMayNotBeWritten_data() { addWriters(); }

    void refusesAFileThatMayNotBeWritten()
    {
        QFETCH(Write, write);
        const QString file = makeFile(path("file"), "old");
        QFile::setPermissions(file, QFile::Permissions(0x4444));
        const OrdinaryUser user(m_folder->path());

        QVERIFY(!write(file));
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.nowrite"));
        QCOMPARE(contentsOf(file), QByteArray("old"));
    }

    void refusesWhatItCannotReplace_data() { addWriters(); }

    void refusesWhatItCannotReplace()
    {
        QFETCH(Write, write);
        const QString file = makeFile(path("locked/file"), "old");
        QFile::setPermissions(file, QFile::Permissions(0x6666));
        QFile::setPermissions(path("locked"), QFile::Permissions(0x5555));
        const OrdinaryUser user(m_folder->path());

        QVERIFY(!write(file));
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.nobeside"));
        QCOMPARE(contentsOf(file), QByteArray("old"));
        QVERIFY(!write(path("locked/missing")));
        QVERIFY(!File::lastError().isEmpty());
    }

    void copiesNothingThatItCannotRead()
    {
        const QString source = makeFile(path("closed"), QByteArray(100000, 'n'));
        const QString target = makeFile(path("file"), "old");
        QFile::setPermissions(source, QFile::Permissions());
        const OrdinaryUser user(m_folder->path());

        for (const bool isSafe : {true, false}) {
            File::setSafeWriting(isSafe);
            QVERIFY(!File::copy(source, target, 1));
            QCOMPARE(File::lastError(), String(".Kelm.Utils.err.noread"));
        }
        File::setSafeWriting(true);
        QVERIFY(!File::copy(source, path("new"), 1));
        QVERIFY(!QFileInfo::exists(path("new")));
    }

    void writesAnEmptyFileWhichItCannotReplace()
    {
        const QString file = makeFile(path("locked/file"), "");
        QFile::setPermissions(file, QFile::Permissions(0x6666));
        QFile::setPermissions(path("locked"), QFile::Permissions(0x5555));
        const OrdinaryUser user(m_folder->path());

        for (const int room : {0, 50, 70000}) {
            const FullDisk disk(static_cast<rlim_t>(room));
            QVERIFY(!File::writeSafely(file, QByteArray(300000, 'n')));
            QCOMPARE(QFileInfo(file).size(), qint64(0));
        }
        {
            Utils::TagFile unfinished;
            String error;
            File::setSafeWriting(true);
            const FullDisk disk(10);
            QVERIFY(unfinished.open(file, error));
            unfinished.writeTag("row", "", false).writeProperty("text", QString(99999, 'n'));
            unfinished.close();
        }
        QCOMPARE(QFileInfo(file).size(), qint64(0));
        QVERIFY(File::writeSafely(file, "new"));
        QCOMPARE(contentsOf(file), QByteArray("new"));
    }

    void keepsTheOldContentOnAFullDisk_data() { addWriters(); }

    void keepsTheOldContentOnAFullDisk()
    {
        QFETCH(Write, write);
        const QByteArray fresh = written(write);
        const QByteArray old(50, 'o');
        const QString file = makeFile(path("file"), old);
        for (int room = 0; room < fresh.size(); room += room < 100 ? 1 : 37) {
            bool isWritten;
            {
                const FullDisk disk(static_cast<rlim_t>(room));
                isWritten = write(file);
            }
            QVERIFY2(!isWritten, QByteArray::number(room));
            QCOMPARE(File::lastError(),
                     String(".Kelm.Utils.err.writefault")); // a limit of the process
            QCOMPARE(contentsOf(file), old);
            QCOMPARE(entries(), QStringList({"file", "from"}));
        }
    }

    void leavesNothingOfANewFileOnAFullDisk_data() { addWriters(); }

    void leavesNothingOfANewFileOnAFullDisk()
    {
        QFETCH(Write, write);
        const int size = written(write).size();
        for (int room = 0; room < size; room += room < 20 ? 1 : 37) {
            bool isWritten;
            {
                const FullDisk disk(static_cast<rlim_t>(room));
                isWritten = write(path("file"));
            }
            QVERIFY2(!isWritten, QByteArray::number(room));
            QCOMPARE(File::lastError(), String(".Kelm.Utils.err.writefault"));
            QCOMPARE(entries(), QStringList("from"));
        }
    }

    void keepsTheOldContentOfAllNamesOnAFullDisk_data() { addWriters(); }

    void keepsTheOldContentOfAllNamesOnAFullDisk()
    {
        QFETCH(Write, write);
        const int size = written(write).size();
        const QString file = makeFile(path("file"), "old");
        QVERIFY(link(QFile::encodeName(file), QFile::encodeName(path("other"))) == 0);
        for (const int room : {0, 1, size / 2, size - 1}) {
            bool isWritten;
            {
                const FullDisk disk(static_cast<rlim_t>(room));
                isWritten = write(file);
            }
            QVERIFY(!isWritten);
            QCOMPARE(contentsOf(file), QByteArray("old"));
            QCOMPARE(contentsOf(path("other")), QByteArray("old"));
        }
    }

    void keepsTheOldContentUntilAStreamIsClosed()
    {
        const QString file = makeFile(path("file"), "old");
        {
            Utils::TagFile tags;
            String error;
            QVERIFY(tags.open(file, error));
            tags.writeTag("row", "", false);
            QCOMPARE(contentsOf(file), QByteArray("old"));
            QCOMPARE(entries(), QStringList({"file", "from"}));
        } // never closed
        QCOMPARE(contentsOf(file), QByteArray("old"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void tellsWhatItCannotReplaceAtTheEnd()
    {
        const QString file = makeFile(path("file"), "old");
        Utils::TagFile tags;
        String error;
        QVERIFY(tags.open(file, error));
        tags.writeTag("row", "", false);
        QVERIFY(QFile::remove(file) && QDir(m_folder->path()).mkdir("file"));

        tags.close();

        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.isfolder"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void replacesWhatCameMeanwhile()
    {
        const QString file = path("file");
        Utils::TagFile tags;
        String error;
        QVERIFY(tags.open(file, error));
        tags.writeTag("row", "", false);
        makeFile(file, "of another program");

        tags.close();

        QCOMPARE(File::lastError(), String());
        QCOMPARE(contentsOf(file), QByteArray("*row\n"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void writesAFileThatWentMeanwhile()
    {
        const QString file = makeFile(path("file"), "old");
        Utils::TagFile tags;
        String error;
        QVERIFY(tags.open(file, error));
        tags.writeTag("row", "", false);
        QVERIFY(QFile::remove(file));

        tags.close();

        QCOMPARE(File::lastError(), String());
        QCOMPARE(contentsOf(file), QByteArray("*row\n"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void writesTwoStreamsToOneFile()
    {
        const QString file = makeFile(path("file"), "old");
        Utils::TagFile first;
        Utils::TagFile second;
        String error;
        QVERIFY(first.open(file, error));
        QVERIFY(second.open(file, error));
        first.writeTag("first", "", false);
        second.writeTag("second", "", false);
        second.close();
        QCOMPARE(contentsOf(file), QByteArray("*second\n"));
        first.close();
        QCOMPARE(contentsOf(file), QByteArray("*first\n"));
    }

    void copiesWithThePermissionsOfTheSource()
    {
        for (const mode_t mode : {0600, 0640, 0755, 0000}) {
            if (mode == 0 && geteuid() != 0)
                continue; // only root may read such a file
            const QString source = makeFile(path("from/file"), "new");
            QCOMPARE(chmod(QFile::encodeName(source).constData(), mode), 0);
            for (int i = 0; i < 2; ++i) { // a new file, and an existing one
                QVERIFY(File::copy(source, path("file")));
                QCOMPARE(statusOf(path("file")).st_mode & 07777, mode);
            }
            QVERIFY(QFile::remove(path("file")) && QFile::remove(source));
        }
    }

    void copiesToWhatALinkLeadsTo()
    {
        const QString file = makeFile(path("below/file"), "old");
        QVERIFY(QFile::link("below/file", path("link")));
        {
            const FullDisk disk(500);
            QVERIFY(!copyFrom(path("link")));
        }
        QCOMPARE(contentsOf(file), QByteArray("old"));

        QVERIFY(copyFrom(path("link")));

        QCOMPARE(QFileInfo(path("link")).symLinkTarget(), file);
        QCOMPARE(contentsOf(file), QByteArray(1000, 'n'));
        QCOMPARE(entries(), QStringList({"below", "from", "link"}));
    }

    void copiesNothingToALinkToTheSource()
    {
        QVERIFY(QFile::link("from/source", path("link")));
        const auto before = statusOf(path("from/source"));
        for (const int overwrite : {0, 1, -1}) {
            QVERIFY(File::copy(path("from/source"), path("link"), overwrite));
            QCOMPARE(File::lastError(), String());
        }
        QCOMPARE(statusOf(path("from/source")).st_ino, before.st_ino);
        QVERIFY(QFileInfo(path("link")).isSymLink());
    }

    void copiesNothingToALinkThatLeadsNowhere()
    {
        QVERIFY(QFile::link("missing", path("link")));
        QVERIFY(!copyFrom(path("link")));
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.exists"));
        QVERIFY(QFileInfo(path("link")).isSymLink());
        QVERIFY(!QFile::exists(path("missing")));
    }

    void tellsWhichSourceItCannotCopy()
    {
        const QString file = makeFile(path("file"), "old");
        for (const QString &target : {file, path("new")}) {
            QVERIFY(!File::copy(path("from/none"), target));
            QCOMPARE(File::lastError(), String(".Kelm.Utils.err.nofile"));
            QVERIFY(!File::copy(path("from"), target));
            QCOMPARE(File::lastError(), String(".Kelm.Utils.err.isfolder"));
        }
        QCOMPARE(contentsOf(file), QByteArray("old"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void copiesALargeFileWithAReporter_data()
    {
        QTest::addColumn<bool>("isReplaced");
        QTest::newRow("new") << false;
        QTest::newRow("over another") << true;
    }

    void copiesALargeFileWithAReporter()
    {
        QFETCH(bool, isReplaced);
        const QString source = makeLargeSource();
        QCOMPARE(chmod(QFile::encodeName(source).constData(), 0640), 0);
        const QByteArray old = isReplaced ? "old" : "cannot be opened";
        if (isReplaced)
            makeFile(path("file"), old);
        FakeHost host;
        Utils::setApplication(&host);
        QByteArray seen; // at the target during the copy
        host.reaction = [&](const QString &call) {
            if (call.endsWith(", 525, 1)")) // of the copy
                seen = contentsOf(path("file"));
        };
        Utils::Progress outer(10, "outer", false, false, /*popup=*/true);
        outer.show();

        bool isCopied;
        {
            const FullDisk disk(2000 * 1024);
            isCopied = File::copy(source, path("file"));
        }
        QVERIFY(!isCopied);
        QCOMPARE(contentsOf(path("file")), old);
        host.calls.clear();
        isCopied = File::copy(source, path("file"));
        Utils::setApplication(nullptr);

        QVERIFY(isCopied);
        QVERIFY(host.calls.filter("setProgress(").size() > 10);
        QVERIFY(host.calls.contains("setProgress(512, 525, 1)"));
        QCOMPARE(seen, old);
        QCOMPARE(contentsOf(path("file")), contentsOf(source));
        QCOMPARE(statusOf(path("file")).st_mode & 07777, mode_t(0640));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void keepsAFileThatCameDuringTheCopyToANewOne()
    {
        const QString source = makeLargeSource();
        FakeHost host;
        Utils::setApplication(&host);
        host.reaction = [&](const QString &call) {
            if (call.startsWith("setProgress("))
                makeFile(path("file"), "of another program");
        };
        Utils::Progress outer(10, "outer", false, false, /*popup=*/true);
        outer.show();

        const bool isCopied = File::copy(source, path("file"), /*overwrite=*/0);
        Utils::setApplication(nullptr);

        QVERIFY(!isCopied);
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.exists"));
        QCOMPARE(contentsOf(path("file")), QByteArray("of another program"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void removesWhatAKillHasLeft()
    {
        const QString file = makeFile(path("file"), "old");
        makeFile(path(leftOverOf("file")), "a part");
        makeFile(path(leftOverOf("other")), "of another file");

        QVERIFY(File::writeSafely(file, "new"));

        QCOMPARE(contentsOf(file), QByteArray("new"));
        QCOMPARE(entries(), QStringList({leftOverOf("other"), "file", "from"}));
    }

    void leavesWhatAnotherProcessWrites()
    {
        const QString file = makeFile(path("file"), "old");
        const QString other = makeFile(path(leftOverOf("file")), "a part");
        const int writer = open(QFile::encodeName(other).constData(), O_RDWR);
        QCOMPARE(flock(writer, LOCK_EX), 0);

        QVERIFY(File::writeSafely(file, "new"));

        QCOMPARE(contentsOf(file), QByteArray("new"));
        QCOMPARE(contentsOf(other), QByteArray("a part"));
        close(writer);
    }

    void writesWhereAnotherProgramLocksTheFolder()
    {
        const QString file = makeFile(path("file"), "old");
        makeFile(path(leftOverOf("file")), "not known to be left over");
        const int folder = open(QFile::encodeName(m_folder->path()).constData(), O_RDONLY);
        QCOMPARE(flock(folder, LOCK_EX), 0);

        QVERIFY(File::writeSafely(file, "new"));

        QCOMPARE(contentsOf(file), QByteArray("new"));
        QVERIFY(QFile::exists(path(leftOverOf("file"))));
        close(folder);
    }

    void writesFromSeveralThreads()
    {
        const QString file = makeFile(path("file"), "old");
        std::vector<std::thread> threads;
        std::atomic<int> failures{0};
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&, i] {
                const QByteArray bytes(5000, static_cast<char>('a' + i));
                for (int round = 0; round < 20; ++round)
                    failures += File::writeSafely(file, bytes) ? 0 : 1;
            });
        }
        for (std::thread &thread : threads)
            thread.join();

        QCOMPARE(failures.load(), 0);
        const QByteArray last = contentsOf(file);
        QCOMPARE(last, QByteArray(5000, last.at(0)));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }

    void writesWithoutForcingItToTheDisk()
    {
        const QString file = makeFile(path("file"), "old");
        File::setSafeWriting(true, /*flush=*/false);
        QVERIFY(File::write(file, String("new")));
        QCOMPARE(contentsOf(file), QByteArray("new"));
        QCOMPARE(entries(), QStringList({"file", "from"}));
    }
};

QTEST_MAIN(tst_File_safe)
#include "tst_File_safe.moc"
