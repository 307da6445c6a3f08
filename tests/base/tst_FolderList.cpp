#include "utils/base/FolderList_p.h"

#include "tests/support/CallFault.h"
#include "tests/support/OrdinaryUser.h"

#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Utils::FolderItem;
using Utils::listFolder;
using Utils::nativePath;

// The linker leads calls of the platform here, which is one with junctions while resolved is set.
using Resolved = std::optional<std::string>;
static std::optional<Resolved> resolved;

bool platformHasJunctions() __asm__("__wrap__ZN5Utils8Platform12hasJunctionsEv");
bool platformHasJunctions() { return resolved.has_value(); }

Resolved platformCanonicalPath(const std::string &path) __asm__(
    "__wrap__ZN5Utils8Platform13canonicalPathERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE"
    "E");
Resolved platformCanonicalPath(const std::string &path)
{
    return path == "junction" ? *resolved : std::nullopt;
}

static QString described(const QString &name, bool isFile, bool isFolder, bool isLink)
{
    return QString("%1 %2 %3 %4").arg(name).arg(isFile).arg(isFolder).arg(isLink);
}

static QStringList listed(const QString &folder)
{
    QStringList items;
    listFolder(folder, [&](const FolderItem &item) {
        items.append(described(item.name.toString(), item.isFile, item.isFolder, item.isLink));
        return true;
    });
    return items;
}

static QStringList listedByQt(const QString &folder)
{
    QStringList items;
    QDirIterator item(folder, QDir::AllDirs | QDir::NoDotAndDotDot | QDir::Files);
    while (item.hasNext()) {
        item.next();
        const QFileInfo info = item.fileInfo();
        items.append(described(info.fileName(), info.isFile(), info.isDir(), info.isSymLink()));
    }
    return items;
}

class tst_FolderList : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_temporary;
    QString m_folder;

    QByteArray path(const QByteArray &name) const
    {
        return QFile::encodeName(m_folder) + '/' + name;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_folder = m_temporary.filePath("list");
        QVERIFY(QDir().mkdir(m_folder));
        for (const char *name : {"a.txt", ".hidden", "b b",
                                 "gr\xC3\xB6\xC3\x9F"
                                 "e",
                                 "two\nlines", "\xF0\x9F\x98\x80", "\xEF\xBB\xBFmark", "e\xCC\x81",
                                 "\xEF\xBF\xBE", "\xEF\xBF\xBD", "*", "a:b", "back\\slash",
                                 // No UTF-8: not started, cut off, a surrogate, longer than needed.
                                 "bad\xFF", "bad\xC3", "bad\xED\xA0\x80", "bad\xC0\x80"})
        {
            const int file = open(path(name), O_CREAT | O_WRONLY, 0600);
            QVERIFY2(file >= 0, name);
            close(file);
        }
        QCOMPARE(mkdir(path("folder"), 0700), 0);
        QCOMPARE(mkdir(path(".folder"), 0700), 0);
        QCOMPARE(mkdir(path("bad\xFE"), 0700), 0);
        QCOMPARE(mkfifo(path("pipe"), 0600), 0);
        QCOMPARE(symlink("a.txt", path("link to a file")), 0);
        QCOMPARE(symlink("folder", path("link to a folder")), 0);
        QCOMPARE(symlink("nowhere", path("broken link")), 0);
        QCOMPARE(symlink("circle", path("circle")), 0);
        QCOMPARE(symlink("pipe", path("link to a pipe")), 0);
        QCOMPARE(symlink("/dev/null", path("link to a device")), 0);
        QCOMPARE(symlink(".hidden", path("link to a hidden file")), 0);
    }

    // Qt does not see all of them, and would leave the folder.
    void cleanupTestCase()
    {
        QCOMPARE(chmod(path(""), 0755), 0);
        QCOMPARE(QProcess::execute("rm", {"-rf", m_folder}), 0);
    }

    void resolvesAFolderAsThePlatformDoes()
    {
        const QString link = m_folder + "/link to a folder";
        const QString folder = QFileInfo(m_folder + "/folder").canonicalFilePath();
        QCOMPARE(Utils::canonicalFolder(link), folder);

        resolved = Resolved("/resolved");
        QCOMPARE(Utils::canonicalFolder("junction"), QString("/resolved"));
        QCOMPARE(Utils::canonicalFolder(link), folder); // by Qt, when the platform cannot
        resolved = Resolved("");
        QCOMPARE(Utils::canonicalFolder("junction"), QString());
        resolved.reset();
        QCOMPARE(Utils::canonicalFolder("junction"), QString());
    }

    void listsAsQtDoes_data()
    {
        QTest::addColumn<bool>("kinds");
        QTest::addColumn<uint>("mode"); // of the folder

        QTest::newRow("kinds are told") << true << 0755u;
        QTest::newRow("kinds are not told") << false << 0755u;
        QTest::newRow("entries cannot be examined") << true << 0744u;
        QTest::newRow("the folder cannot be read") << true << 0711u;
    }

    void listsAsQtDoes()
    {
        QFETCH(bool, kinds);
        QFETCH(uint, mode);
        QCOMPARE(chmod(path(""), mode), 0);
        const OrdinaryUser user(m_temporary.path());
        const QStringList expected = listedByQt(m_folder);

        QStringList items;
        {
            const CallFault noKinds("d_type", 0, 0, kinds ? 0 : CallFault::forever);
            items = listed(m_folder);
        }

        QCOMPARE(items, expected);
        QCOMPARE(items.isEmpty(), mode == 0711u && geteuid() == 0); // others are its owner
    }

    void listsWhatIsNoFolderAsQtDoes_data()
    {
        QTest::addColumn<QString>("path");

        QTest::newRow("missing") << m_folder + "/missing";
        QTest::newRow("file") << m_folder + "/a.txt";
        QTest::newRow("resource") << ":/";
        QTest::newRow("current") << ".";
        QTest::newRow("root") << "/";
    }

    void listsWhatIsNoFolderAsQtDoes()
    {
        QFETCH(QString, path);
        QCOMPARE(listed(path), listedByQt(path));
    }

    void listsAFolderOfTheSearchPaths()
    {
        QDir::setSearchPaths("prefix", {m_folder});
        QCOMPARE(listed("prefix:/"), listedByQt("prefix:/"));
        QVERIFY(!listed("prefix:/").isEmpty());
    }

    void stopsWhenTold_data()
    {
        QTest::addColumn<QString>("path");

        QTest::newRow("by the system") << m_folder;
        QTest::newRow("by Qt") << "prefix:/";
    }

    void stopsWhenTold()
    {
        QFETCH(QString, path);
        QDir::setSearchPaths("prefix", {m_folder});
        int visits = 0;
        listFolder(path, [&](const FolderItem &) { return ++visits < 2; });
        QCOMPARE(visits, 2);
    }

    void tellsWhyAFolderIsNotListedToItsEnd_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<int>("first");    // of the calls that fail
        QTest::addColumn<bool>("isEmpty"); // what is listed

        // After 14 entries at least one visible one has been read, as 12 are not visible.
        for (const QString &path : {m_folder, QString("prefix:/")}) {
            const char *const way = path == m_folder ? "the system" : "Qt";
            QTest::addRow("not opened, by %s", way) << path << QByteArray("opendir") << 0 << true;
            QTest::addRow("nothing read, by %s", way) << path << QByteArray("readdir") << 0 << true;
            QTest::addRow("a part read, by %s", way)
                << path << QByteArray("readdir") << 14 << false;
        }
    }

    void tellsWhyAFolderIsNotListedToItsEnd()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, function);
        QFETCH(int, first);
        QFETCH(bool, isEmpty);
        QDir::setSearchPaths("prefix", {m_folder});
        int error = 0;
        int visits = 0;
        const auto visit = [&](const FolderItem &) { return ++visits > 0; };
        {
            // The second listing, by which Qt's failure is found, fails from its start.
            const CallFault fault(function, EIO, first);
            listFolder(path, visit, &error);
        }
        QCOMPARE(error, EIO);
        QCOMPARE(visits == 0, isEmpty);

        listFolder(path, visit, &error);
        QCOMPARE(error, 0);
    }

    void tellsNoFailureOfAListingThatItsUserEnds_data() { stopsWhenTold_data(); }

    void tellsNoFailureOfAListingThatItsUserEnds()
    {
        QFETCH(QString, path);
        QDir::setSearchPaths("prefix", {m_folder});
        int error = EIO;
        listFolder(
            path, [](const FolderItem &) { return false; }, &error);
        QCOMPARE(error, 0);
    }

    void tellsNoFailureOfAResource()
    {
        int error = EIO;
        listFolder(
            ":/none", [](const FolderItem &) { return true; }, &error);
        QCOMPARE(error, 0);
    }

    void listsByQtOnlyOnceWhenNobodyAsksForAFailure()
    {
        QDir::setSearchPaths("prefix", {m_folder});
        const auto openings = [](int *error) {
            int count = 0;
            while (true) { // until no opening is left for the fault
                const CallFault fault("opendir", EIO, count, 1);
                listFolder(
                    "prefix:/", [](const FolderItem &) { return true; }, error);
                if (fault.count() == 0)
                    return count;
                ++count;
            }
        };
        int error = 0;
        QCOMPARE(openings(nullptr), 1);
        QCOMPARE(openings(&error), 2);
    }

    void listsAFileThatCannotBeExaminedAgain()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath("file"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        int failures = 0;
        QStringList items;
        {
            const CallFault noKinds("d_type", 0);
            const CallFault fault("fstatat", EIO, 1, 1);
            items = listed(folder.path());
            failures = fault.count();
        }

        QCOMPARE(failures, 1);
        QCOMPARE(items, QStringList(described("file", true, false, false)));
    }

    void listsAsQtDoesInALocaleThatIsNotUtf8()
    {
        QTextCodec *const before = QTextCodec::codecForLocale();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
        const auto restore = qScopeGuard([&] { QTextCodec::setCodecForLocale(before); });

        QVERIFY(!nativePath(m_folder));
        const QStringList items = listed(m_folder);

        QCOMPARE(items, listedByQt(m_folder));
        QVERIFY(!items.isEmpty());
    }

    void knowsThePathsOfTheSystem()
    {
        QCOMPARE(nativePath(QString::fromUtf8("gr\xC3\xBC/a")).value_or(""),
                 std::string("gr\xC3\xBC/a"));
        for (const QString &path :
             {QString(), QString(":/a"), QString("prefix:a"), QString("a") + QChar::Null + "b"})
            QVERIFY2(!nativePath(path), qPrintable(path));
    }
};

QTEST_GUILESS_MAIN(tst_FolderList)
#include "tst_FolderList.moc"
