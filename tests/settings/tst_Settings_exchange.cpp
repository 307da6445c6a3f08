#include "tests/csv/FailingMemory.h"
#include "tests/settings/UnreadStore.h"
#include "tests/support/Files.h"
#include "tests/support/FullDisk.h"
#include "tests/support/FullSize.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/settings/WorkspaceSettings.h"

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QtTest>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using Data::Variant;
using Utils::File;
using Utils::Settings;

static const SettingsHome home;

static const QByteArray firstLine = "; Exported settings, format 1\n";
static const QByteArray lastLine = "; End of the exported settings\n";

/// The reason of the last failure as its key, as no texts are loaded.
static QString reason() { return QString(File::lastError()).section('.', -1); }

class tst_Settings_exchange : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Recorder> m_recorder;

    QString path(const char *name = "export.ini") const { return m_folder->filePath(name); }

    /// The path of a file of exported settings with \p lines between the first and the last one.
    QString exported(const QByteArray &lines) const
    {
        return makeFile(path(), firstLine + lines + lastLine);
    }

private Q_SLOTS:
    void init()
    {
        home.fill("");
        m_folder = std::make_unique<QTemporaryDir>();
        m_recorder = std::make_unique<Recorder>();
        QVERIFY(Settings::SettingChanged().connect(
            m_recorder.get(), SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void exportsTheValuesOfTheCurrentGroup_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("group");
        QTest::addColumn<QByteArray>("lines");

        const auto row = [](const char *name, const char *stored, const char *group,
                            const char *lines) {
            QTest::newRow(name) << QString(stored) << QString(group) << QByteArray(lines);
        };
        // clang-format off
        row("nothing",             "",                        "",    "");
        row("all",                 "b=1 a/x=2 a/y/z=3",       "",    "[General]\nb=1\n\n[a]\nx=2\ny\\z=3\n");
        row("a group",             "b=1 a/x=2 a/y/z=3",       "a",   "[General]\nx=2\n\n[y]\nz=3\n");
        row("a missing group",     "b=1",                     "a",   "");
        row("recent lists",        "a=1 MRU/files/aa=2 MRU/Count=3 g/MRU/l/aa=4 xMRU/a=5", "",
            "[General]\na=1\n\n[xMRU]\na=5\n");
        row("kept defaults",       "a=1 a_default=2 g/b=3 g/b_default=4 _default=5 g/_default=6", "",
            "[General]\n_default=5\na=1\n\n[g]\n_default=6\nb=3\n");
        row("a setting Default",   "g/Default=steel g/xDefault=1", "", "[g]\nDefault=steel\nxDefault=1\n");
        // clang-format on
    }

    void exportsTheValuesOfTheCurrentGroup()
    {
        QFETCH(QString, stored);
        QFETCH(QString, group);
        QFETCH(QByteArray, lines);
        home.fill(stored);

        QVERIFY(Settings(group).exportTo(path()));

        QCOMPARE(contentsOf(path()), firstLine + lines + lastLine);
        QCOMPARE(File::lastError(), Data::String());
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList("export.ini"));
    }

    void leavesOutGroupsWithSuchAFlag()
    {
        home.fill("a=1 g/x=2 g/h/y=3 gh/z=4 h/x=5 h/i/y=6");
        Settings().setFlags("g", false, true);
        Settings().setFlags("h", true, false);
        Settings().setFlags("h/i", false, false);

        QVERIFY(Settings().exportTo(path()));

        QCOMPARE(contentsOf(path()),
                 firstLine + "[General]\na=1\n\n[gh]\nz=4\n\n[h]\nx=5\n" + lastLine);
    }

    void refusesToExportAGroupWithSuchAFlag()
    {
        home.fill("g/x=2");
        Settings().setFlags("g", false, true);
        makeFile(path(), "before");

        QVERIFY(!Settings("g").exportTo(path()));
        QCOMPARE(reason(), QString("noExport"));
        QVERIFY(!Settings("MRU").exportTo(path()));
        QCOMPARE(reason(), QString("noExport"));
        QVERIFY(!Settings("a/MRU/files").exportTo(path()));
        QCOMPARE(contentsOf(path()), QByteArray("before"));
    }

    void exportsNothingOfAStoreThatCannotBeRead()
    {
        SKIP_ON_WINDOWS("a folder is read as an empty file by Qt for Windows");
        home.fill("a=1");
        makeFile(path(), "before");
        QVERIFY(QFile::remove(home.file()));
        QVERIFY(QDir().mkpath(home.file()));

        const bool isExported = Settings().exportTo(path());
        const QString why = reason();
        QVERIFY(QDir().rmdir(home.file()));

        QVERIFY(!isExported);
        QCOMPARE(why, QString("settings"));
        QCOMPARE(contentsOf(path()), QByteArray("before"));
    }

    void exportsNothingOfAStoreThatCannotBeReadAfterAChangeEither()
    {
        const UnreadStore store("ChangedUnread", "[General]\na=1\n");
        QVERIFY(store.isReady());
        makeFile(path(), "before");

        Settings().setInt("b", 2);
        const bool isExported = Settings().exportTo(path());
        const QString why = reason();

        QVERIFY(store.repair());
        QVERIFY(!isExported);
        QCOMPARE(why, QString("settings"));
        QCOMPARE(contentsOf(path()), QByteArray("before"));
        QVERIFY(Settings().exportTo(path()));
        QCOMPARE(contentsOf(path()), firstLine + "[General]\na=1\nb=2\n" + lastLine);
    }

    void importsNothingIntoAStoreThatCannotBeRead()
    {
        const UnreadStore store("ImportUnread", "[own]\nDefault=noexport reset\nkey=kept\n");
        QVERIFY(store.isReady());

        const bool isImported = Settings().importFrom(exported("[own]\nkey=foreign\n"));
        const QString why = reason();

        QVERIFY(store.repair());
        QCOMPARE(Settings().getString("own/key"), Data::String("kept"));
        QVERIFY(!isImported);
        QCOMPARE(why, QString("settings"));
    }

    void refusesToExportOntoItsOwnFile()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        home.fill("a=1");
        const QString store = home.file();
        const QByteArray before = contentsOf(store);
        const QFileInfo file(store);
        QVERIFY(QFile::link(store, path("link")));
        QVERIFY(QFile::link(file.path(), path("folder")));
        const QString otherName = file.path() + "/other name";
        QCOMPARE(::link(QFile::encodeName(store), QFile::encodeName(otherName)), 0);

        const QStringList names = {store,
                                   otherName,
                                   file.path() + "/../Company/./" + file.fileName(),
                                   path("link"),
                                   path("folder/") + file.fileName(),
                                   file.path() + "/TESTS.conf",
                                   QDir::current().relativeFilePath(store)};
        for (const QString &name : names) {
            QVERIFY2(!Settings().exportTo(name), qPrintable(name));
            QCOMPARE(reason(), QString("exportOwnFile"));
        }
        QCOMPARE(contentsOf(store), before);

        // Also before anything has been stored.
        QVERIFY(QFile::remove(store));
        QVERIFY(!Settings().exportTo(store));
        QVERIFY(!QFile::exists(store));
    }

    void keepsTheFileWhenTheDiskIsFull()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        home.fill("a=" + QString(5000, 'x'));
        makeFile(path(), "before");

        const FullDisk disk(4096);
        QVERIFY(!Settings().exportTo(path()));

        QCOMPARE(reason(), QString("writefault")); // a limit of the size of files
        QCOMPARE(contentsOf(path()), QByteArray("before"));
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList("export.ini"));
    }

    void writesNothingWhereNoFileCanBe()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QVERIFY(mkfifo(QFile::encodeName(path("pipe")), 0600) == 0);

        QVERIFY(!Settings().exportTo(QString()));
        QCOMPARE(reason(), QString("noname"));
        QVERIFY(!Settings().exportTo(m_folder->path()));
        QCOMPARE(reason(), QString("isfolder"));
        QVERIFY(!Settings().exportTo(path("pipe")));
        QCOMPARE(reason(), QString("nofiletype"));
        QVERIFY(!Settings().exportTo(path("no/a")));
        QCOMPARE(reason(), QString("nofolder"));
        QVERIFY(!QFile::exists(path("no")));
    }

    void importsWhatItHasExported_data()
    {
        QTest::addColumn<Variant>("value");

        QTest::newRow("true") << Variant(true);
        QTest::newRow("number") << Variant(-5);
        QTest::newRow("fraction") << Variant(1.5);
        QTest::newRow("text") << Variant("a b;c\n=\"\\,@ ");
        QTest::newRow("empty text") << Variant("");
        QTest::newRow("marked text") << Variant("@Invalid()");
        QTest::newRow("text like a variant") << Variant("@Variant(x)");
        QTest::newRow("non-ASCII text") << Variant(QString::fromUtf8("Größe 日本 😀"));
        QTest::newRow("zero byte") << Variant(QString(QChar(QChar::Null)) + "1");
        QTest::newRow("list") << Variant(QVariant(QStringList{"a", "b, c", "@d"}));
        QTest::newRow("bytes") << Variant(QVariant(QByteArray("\0\xff\n", 3)));
        QTest::newRow("colour") << Variant(QVariant(QColor(1, 2, 3)));
        QTest::newRow("date") << Variant(QVariant(QDateTime(QDate(2026, 1, 2), QTime(3, 4))));
        QTest::newRow("rectangle") << Variant(QVariant(QRect(1, 2, 3, 4)));
        QTest::newRow("mixed list")
            << Variant(QVariant(QVariantList{1, QColor(1, 2, 3), "@Variant(a"}));
    }

    void importsWhatItHasExported()
    {
        QFETCH(Variant, value);
        Settings("from").setValue("g/k", value).setString(QString::fromUtf8("é /%,"), "name");
        QVERIFY(Settings("from").exportTo(path()));

        QVERIFY(Settings("to").importFrom(path()));

        const Settings settings("to");
        QCOMPARE(settings.getString("g/k"), Data::String(value.toString()));
        if (value.toString().isEmpty())
            QCOMPARE(settings.getValue("g/k").toStringList(), value.toStringList());
        if (value.type() == QVariant::Color)
            QCOMPARE(settings.getValue("g/k"), value);
        QCOMPARE(settings.getString(QString::fromUtf8("é /%,")), Data::String("name"));
        QCOMPARE(settings.keys("g"), QStringList("k"));
    }

    void leavesOutKeysThatAreTooLong()
    {
        const QString longest = QString(1999, QChar(0x20ac)) + "x";
        Settings("from").setInt(longest, 1).setInt(longest + "y", 2);
        QVERIFY(Settings("from").exportTo(path()));

        QVERIFY(Settings("to").importFrom(path()));

        QCOMPARE(Settings("to").keys(""), QStringList(longest));
    }

    void importsNoKeyThatIsTooLong()
    {
        exported(QByteArray(2001, 'k') + "=5\na=1\n[" + QByteArray(1999, 'g') + "]\nb=5\n");

        QVERIFY(Settings("to").importFrom(path()));

        QCOMPARE(home.stored(), QString("to/a=1"));
    }

    /// QSettings writes each of them as "General".
    void keepsGroupsThatDifferFromGeneralInCase()
    {
        SKIP_ON_WINDOWS("QSettings ignores the case of keys on Windows");
        Settings("from").setInt("general/a", 1).setInt("GENERAL/a", 2).setInt("General/a", 3);
        QVERIFY(Settings("from").exportTo(path()));

        QVERIFY(Settings("to").importFrom(path()));

        QCOMPARE(Settings("to").getInt("general/a"), 1);
        QCOMPARE(Settings("to").getInt("GENERAL/a"), 2);
        QCOMPARE(Settings("to").getInt("General/a"), 3);
    }

    void importsManyKeys()
    {
        const int count = fullSize(30'000, 1'000'000);
        QByteArray lines = "[General]\n";
        for (int i = 0; i < count; ++i)
            lines += QByteArray::number(i) + "\\key=" + QByteArray::number(i * 2) + '\n';
        const QString file = exported(lines);
        QElapsedTimer timer;
        timer.start();

        QVERIFY(Settings("many").importFrom(file));
        QCOMPARE(m_recorder->calls.size(), count);
        QVERIFY(Settings("many").importFrom(file)); // changes nothing

        QVERIFY2(timer.elapsed() < qint64(count), QByteArray::number(timer.elapsed()));
        QCOMPARE(m_recorder->calls.size(), count);
        const Settings settings("many");
        QCOMPARE(settings.groups("").size(), count);
        QCOMPARE(settings.getInt(QString("%1/key").arg(count - 1)), 2 * (count - 1));
        QCOMPARE(settings.status(), Settings::Stored);
    }

    void importsAnEmptyList()
    {
        Settings("from").setValue("k", QStringList());
        Settings("to").setValue("k", QStringList("a"));
        QVERIFY(Settings("from").exportTo(path()));

        QVERIFY(Settings("to").importFrom(path()));

        QCOMPARE(Settings("to").getValue("k").toStringList(), QStringList());
        QCOMPARE(Settings("to").keys(""), QStringList("k"));
    }

    void neitherExportsNorImportsWhatNeedsAGuiApplication()
    {
        const QPixmap pixmap(2, 2);
        Settings("from").setValue("a", QVariant(pixmap)).setInt("b", 1);
        QVERIFY(Settings("from").exportTo(path()));
        QCOMPARE(contentsOf(path()), firstLine + "[General]\nb=1\n" + lastLine);

        Settings("other").setValue("a", QVariant(pixmap)).sync();
        const QByteArray stored = contentsOf(home.file()).replace("\r\n", "\n");
        const int start = stored.indexOf("[other]\n") + 8;
        const QByteArray line = stored.mid(start, stored.indexOf('\n', start) + 1 - start);
        QVERIFY(line.startsWith("a=") && line.contains("@Variant("));
        exported(line);
        QVERIFY(!Settings("to").importFrom(path()));
        QCOMPARE(reason(), QString("importLine"));
    }

    void tellsEachChangedKeyAfterAllAreStored()
    {
        home.fill("g/a=1 g/b=2 g/c=3 g/d=4");
        exported("[General]\nb=20\na=1\ne=5\nc=30\n[h]\ny=6\n");
        QStringList stored;
        m_recorder->reaction = [&] { stored.append(home.stored()); };

        QVERIFY(Settings("g").importFrom(path()));

        QCOMPARE(m_recorder->calls,
                 QStringList({"sig(g/b, 20)", "sig(g/c, 30)", "sig(g/e, 5)", "sig(g/h/y, 6)"}));
        QCOMPARE(QSet<QString>(stored.begin(), stored.end()).values(),
                 QStringList("g/a=1 g/b=20 g/c=30 g/d=4 g/e=5 g/h/y=6"));
        QCOMPARE(File::lastError(), Data::String());
    }

    /// Its order changes each time when it is written and read, if some names have the same place.
    void tellsOfNoHashThatIsTheSame()
    {
        QVariantHash hash;
        for (char name = 'a'; name <= 'z'; ++name)
            hash.insert(QString(QLatin1Char(name)), QVariantHash{{"x", int(name)}, {"y", 1}});
        Settings settings("g");
        settings.setValue("k", QVariant(hash));
        settings.setValue("l", QVariant(QVariantList{hash, QVariantMap{{"m", hash}}}));
        QVERIFY(settings.exportTo(path()));
        m_recorder->calls.clear();

        QVERIFY(settings.importFrom(path()));
        QCOMPARE(m_recorder->calls, QStringList());

        QVariantHash other = hash;
        other["m"] = 5;
        settings.setValue("k", QVariant(other));
        m_recorder->calls.clear();
        QVERIFY(settings.importFrom(path()));
        QCOMPARE(m_recorder->calls.size(), 1);
        QCOMPARE(settings.getValue("k").toHash(), hash);
    }

    void tellsOfAListThatReplacesAHash()
    {
        Settings("from").setValue("k", QVariant(QVariantList{QVariantMap(), "a", 1}));
        QVERIFY(Settings("from").exportTo(path()));
        Settings settings("g");
        settings.setValue("k", QVariant(QVariantHash{{"a", 1}})); // which is compared as this list
        m_recorder->calls.clear();

        QVERIFY(settings.importFrom(path()));

        QCOMPARE(m_recorder->calls.size(), 1);
        QCOMPARE(settings.getValue("k").userType(), int(QMetaType::QVariantList));
    }

    void changesAllOrNothingWhenTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        home.fill("a=1 c=3 z=9");
        const QString source = exported("a=10\nb=20\nc=30\n[g]\nd=40\n");
        int failures = 0;
        File::lastError(); // glibc ends the process when it has no memory for the first call
        for (int n = 0;; ++n) {
            Settings settings;
            FailingMemory memory(n, FailingMemory::Once);
            bool isDone = false;
            try {
                isDone = settings.importFrom(source);
            } catch (const std::bad_alloc &) {
                isDone = false;
            }
            memory.end();
            const bool hasFailed = memory.hasFailed();
            QVERIFY2(isDone || hasFailed, qPrintable(QString::number(n)));
            QCOMPARE(QString::number(n) + " " + home.stored(),
                     QString::number(n) + (isDone ? " a=10 b=20 c=30 g/d=40 z=9" : " a=1 c=3 z=9"));
            failures += isDone ? 0 : 1;
            if (!hasFailed)
                break;
            settings.removeKey("b").removeKey("g").setInt("a", 1).setInt("c", 3);
        }
        QVERIFY(failures > 10);
    }

    void takesAReceiverThatDeletesTheObject()
    {
        exported("a=1\nb=2\n");
        auto settings = std::make_unique<Settings>("g");
        m_recorder->reaction = [&] { settings.reset(); };

        QVERIFY(settings->importFrom(path()));

        QCOMPARE(m_recorder->calls, QStringList({"sig(g/a, 1)", "sig(g/b, 2)"}));
        QCOMPARE(home.stored(), QString("g/a=1 g/b=2"));
    }

    void importsNothingThatIsNotExported()
    {
        home.fill("a_default=1 g/x=2 s/Default=steel");
        Settings().setFlags("g", false, true);
        Settings().setFlags("r", true, false);
        const QString before = home.stored();
        exported("a_default=5\n[MRU]\nfiles\\aa=5\n[g]\nx=5\nh\\y=5\nDefault=export reset\n"
                 "[r]\nDefault=steel\n[n]\nDefault=noexport noreset\nMRU\\l\\aa=5\n"
                 "[o]\nDefault=x noexport\n[p]\nDefault=\"a, noreset\"\n");

        QVERIFY(Settings().importFrom(path()));

        QCOMPARE(home.stored(), before);
        QCOMPARE(m_recorder->calls, QStringList());

        exported("Default=wood\n");
        QVERIFY(Settings("s").importFrom(path()));
        QCOMPARE(Settings("s").getString("Default"), Data::String("wood"));
        m_recorder->calls.clear();
        QVERIFY(!Settings("g").importFrom(path()));
        QCOMPARE(reason(), QString("noExport"));
        QCOMPARE(m_recorder->calls, QStringList());
    }

    void importsWhatWasEdited_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("stored");

        const auto row = [](const char *name, const QByteArray &file, const QString &stored) {
            QTest::newRow(name) << file << stored;
        };
        // clang-format off
        row("line ends of Windows", QByteArray(firstLine + "[g]\na=1\n" + lastLine).replace("\n", "\r\n"), "g/a=1");
        row("no last line end",     (firstLine + "a=1\n" + lastLine).chopped(1), "a=1");
        row("empty lines at the end", firstLine + "a=1\n" + lastLine + "\n \n", "a=1");
        row("byte order mark",      "\xef\xbb\xbf" + firstLine + "a=1\n" + lastLine, "a=1");
        row("UTF-8",                firstLine + "a=gr\xc3\xb6\xc3\x9f" "er\n" + lastLine, QString::fromUtf8("a=größer"));
        row("both",                 "\xef\xbb\xbf" + firstLine + "a=\xc3\xb6\n" + lastLine, QString::fromUtf8("a=ö"));
        row("blanks",               firstLine + " [ g ] \n\t a = 1 \n" + lastLine, "g/a=1");
        row("comments",             firstLine + "; \"\na=1 ; it's \"so\n" + lastLine, "a=1");
        row("a slash as a number",  firstLine + "g%2Fa=1\n" + lastLine, "g/a=1");
        row("groups called general", firstLine + "[%GENERAL]\na=1\n[%67eneral]\na=2\n" + lastLine, "GENERAL/a=1 general/a=2");
        row("a key twice",          firstLine + "a=1\na=2\n" + lastLine, "a=2");
        row("a section twice",      firstLine + "[g]\na=1\n[h]\nb=2\n[g]\nc=3\n" + lastLine, "g/a=1 g/c=3 h/b=2");
        row("no values",            firstLine + lastLine, "");
        row("an empty value",       firstLine + "a=\n" + lastLine, "a=");
        row("quotes in a value",    firstLine + "a=\"1;2\"\n" + lastLine, "a=1;2");
        row("a wrong escape",       firstLine + "a=\\q1\n" + lastLine, "a=1");
        row("a text like a variant", firstLine + "a=@Variant(x\n" + lastLine, "a=@Variant(x");
        // clang-format on
    }

    void importsWhatWasEdited()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, stored);
        if (stored.contains("GENERAL"))
            SKIP_ON_WINDOWS("QSettings ignores the case of keys on Windows");
        makeFile(path(), file);

        QVERIFY2(Settings().importFrom(path()), qPrintable(File::lastError()));

        QCOMPARE(home.stored(), stored);
    }

    void refusesABrokenFileWhole_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("why");

        const auto row = [](const char *name, const QByteArray &file, const char *why) {
            QTest::newRow(name) << file << QString(why);
        };
        const auto line = [&](const char *name, const QByteArray &bad) {
            row(name, firstLine + "a=5\n" + bad + "\nc=5\n" + lastLine, "importLine");
        };
        // clang-format off
        row("empty",               "",                                    "importForeign");
        row("a settings file",     "[General]\na=5\n",                    "importForeign");
        row("text",                "Hello\n",                             "importForeign");
        row("another format",      "; Exported settings, format 2\na=5\n" + lastLine, "importForeign");
        row("a line before",       "\n" + firstLine + "a=5\n" + lastLine, "importForeign");
        row("UTF-16",              QByteArray("\xff\xfe;\0 \0", 6),       "importForeign");
        row("only the first line", firstLine,                             "importShort");
        row("cut off",             firstLine + "a=5\nc=5\n",              "importShort");
        row("cut off in a line",   firstLine + "a=5\nc",                  "importLine");
        row("cut off in the last", (firstLine + "a=5\n" + lastLine).chopped(2), "importShort");
        row("continued",           firstLine + "a=5\n" + lastLine + "c=5\n", "importShort");
        line("no value",           "b");
        line("no key",             "=5");
        line("open quotes",        "b=\"5");
        line("open quotes after an escape", "b=\"5\\\"");
        line("joined lines",       "b=5\\");
        line("a quote in a key",   "\"b\"=5");
        line("a cut section",      "[g");
        line("text after a section", "[g] b=5");
        line("an empty section",   "[]");
        line("an empty name",      "g\\\\b=5");
        line("a name that ends in \\", "g\\=5");
        line("a name that begins with \\", "\\b=5");
        line("a slash in a name",  "g/b=5");
        line("an empty name before a slash as a number", "%2Fb=5");
        line("an empty name after it", "b%2f=5");
        line("an empty name between two", "g\\%U002Fb=5");
        line("a section with an empty name", "[g%2F]\nb=5");
        line("a wrong number",     "b%g5=5");
        line("a short number",     "b%5=5");
        line("no number",          "b%=5");
        line("a semicolon in a key", "b;c=5");
        line("a bracket in a section", "[g]h]");
        line("an equal sign in a section", "[g=h]");
        line("a short long number", "b%U00e=5");
        line("a zero byte",        QByteArray("b=\0" "5", 4));
        line("a control character", "b=\x1b");
        line("an old line end",    "b=5\rd=5");
        line("Latin-1",            "b=\xf6");
        line("a key that is not ASCII", "\xc3\xb6=5");
        line("a damaged variant",  "b=@Variant(\\0\\0\\0\\n\\0\\0)");
        line("a key that is too long", QByteArray(12001, 'k') + "=5");
        line("groups without end", QByteArray("g\\").repeated(1000 * 1000) + "k=5");
        line("an endless list",    "b=@Variant(\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)");
        line("a damaged variant in quotes", "b=\"@Variant(\\0\\0\\0\\n\\0\\0)\"");
        line("a damaged variant in a list", "b=1, @Variant(\\0\\0\\0\\n\\0\\0), 2");
        line("a damaged variant in UTF-8", "b=@Variant(\\0\\0\\0\\n\\0\\0\\0\\x2\xc3\xa9)");
        line("a damaged variant behind an escape", "b=\\x40Variant(\\0\\0\\0\\n\\0\\0)");
        line("a damaged variant after a mark", "b=\xef\xbb\xbf@Variant(\\0\\0\\0\\n\\0\\0)");
        line("a damaged date",     "b=@DateTime(\\0\\0)");
        line("a date of no kind",  "b=@DateTime(\\0\\0\\0\\x10\\0\\0\\0\\0\\0\\0%\\x8b\\xd2\\0\\xa8\\xc0\\0\\xff)");
        line("a variant with more", "b=@Variant(\\0\\0\\0\\x2\\0\\0\\0\\x5x)");
        // clang-format on
    }

    void refusesABrokenFileWhole()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, why);
        home.fill("a=1 b=2 g/b=3");
        makeFile(path(), file);

        QVERIFY(!Settings().importFrom(path()));

        QCOMPARE(reason(), why);
        QCOMPARE(home.stored(), QString("a=1 b=2 g/b=3"));
        QCOMPARE(m_recorder->calls, QStringList());
    }

    void importsNothingWhereNoFileIs()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QVERIFY(mkfifo(QFile::encodeName(path("pipe")), 0600) == 0);

        QVERIFY(!Settings().importFrom(QString()));
        QCOMPARE(reason(), QString("noname"));
        QVERIFY(!Settings().importFrom(m_folder->path()));
        QCOMPARE(reason(), QString("isfolder"));
        QVERIFY(!Settings().importFrom(path("pipe")));
        QCOMPARE(reason(), QString("nofiletype"));
        QVERIFY(!Settings().importFrom(path("missing")));
        QCOMPARE(reason(), QString("nofile"));
    }

    void importsNothingOfAFileThatIsTooLarge()
    {
        home.fill("a=1");
        QFile file(exported("a=5\n"));
        QVERIFY(file.resize((qint64(1) << 30) + 1)); // without a block on the disk

        QVERIFY(!Settings().importFrom(path()));

        QCOMPARE(reason(), QString("toolarge"));
        QCOMPARE(home.stored(), QString("a=1"));
    }

    void importsNothingOfAFileThatBreaksOff()
    {
        SKIP_ON_WINDOWS("reading a file on Windows does not fail");
        home.fill("a=1 b=2");
        exported("a=5\n[g]\n" + QByteArray("k=5\n").repeated(10000) + "b=5\n");
        for (const qint64 offset : {0, 4096, 32768}) {
            const ReadFault fault(path(), offset);

            QVERIFY(!Settings().importFrom(path()));

            QVERIFY(fault.count() > 0);
            QCOMPARE(reason(), QString("readfault"));
            QCOMPARE(home.stored(), QString("a=1 b=2"));
        }
        QCOMPARE(m_recorder->calls, QStringList());
    }

    void resetsToTheKeptDefaults_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QStringList>("told");

        const auto row = [](const char *name, const char *before, const char *group,
                            const char *after, const QStringList &told) {
            QTest::newRow(name) << QString(before) << QString(group) << QString(after) << told;
        };
        // clang-format off
        row("all",          "a=1 a_default=2 g/b=3 g/b_default=4", "",
                            "a=2 a_default=2 g/b=4 g/b_default=4", {"sig(a, 2)", "sig(g/b, 4)"});
        row("a group",      "a=1 a_default=2 g/b=3 g/b_default=4", "g",
                            "a=1 a_default=2 g/b=4 g/b_default=4", {"sig(g/b, 4)"});
        row("the same",     "a=2 a_default=2", "", "a=2 a_default=2", {});
        row("removed",      "a_default=2",     "", "a=2 a_default=2", {"sig(a, 2)"});
        row("no default",   "a=1",             "", "a=1",             {});
        row("not a name",   "_default=2",      "", "_default=2",      {});
        row("a default of a default", "a=1 a_default=2 a_default_default=3", "",
                            "a=2 a_default=2 a_default_default=3", {"sig(a, 2)"});
        row("a flag inside", "g/a=1 g/a_default=2 g/h/Default=noreset g/h/a=1 g/h/a_default=2", "g",
                            "g/a=2 g/a_default=2 g/h/Default=noreset g/h/a=1 g/h/a_default=2",
                            {"sig(g/a, 2)"});
        // clang-format on
    }

    void resetsToTheKeptDefaults()
    {
        QFETCH(QString, before);
        QFETCH(QString, group);
        QFETCH(QString, after);
        QFETCH(QStringList, told);
        home.fill(before);

        QVERIFY(Settings().resetGroup(group));

        QCOMPARE(home.stored(), after);
        QCOMPARE(m_recorder->calls, told);
        QCOMPARE(File::lastError(), Data::String());
    }

    void resetsNoGroupWithSuchAFlag()
    {
        home.fill("g/a=1 g/a_default=2 g/h/a=1 g/h/a_default=2");
        Settings().setFlags("g", true, false);

        QVERIFY(!Settings().resetGroup("g"));
        QCOMPARE(reason(), QString("noReset"));
        QVERIFY(Settings().resetGroup("")); // without this group, and those in it
        QCOMPARE(Settings().changedFromDefaults(), QStringList({"g/a", "g/h/a"}));
        QCOMPARE(m_recorder->calls, QStringList());
    }

    void resetsBelowTheCurrentGroup()
    {
        home.fill("Workspaces/w/g/a=1 Workspaces/w/g/a_default=2 g/a=1 g/a_default=2");

        QVERIFY(Utils::WorkspaceSettings("w").resetGroup("g"));

        QCOMPARE(m_recorder->calls, QStringList("sig(Workspaces/w/g/a, 2)"));
        QCOMPARE(Settings().getInt("g/a"), 1);
    }

    void resetsNothingOfAStoreThatCannotBeRead()
    {
        const UnreadStore store("ResetUnread", "[g]\na=1\na_default=2\n");
        QVERIFY(store.isReady());

        const bool isReset = Settings().resetGroup("g");
        const QString why = reason();

        QVERIFY(store.repair());
        QVERIFY(!isReset);
        QCOMPARE(why, QString("settings"));
        QCOMPARE(Settings().getInt("g/a"), 1);
    }

    void listsWhatDiffersFromTheKeptDefaults()
    {
        home.fill("z=1 z_default=2 a=1 a_default=1 g/b=3 g/b_default=4 g/c_default=5 n=6");
        QCOMPARE(Settings().changedFromDefaults(), QStringList({"g/b", "g/c", "z"}));
        QCOMPARE(Settings("g").changedFromDefaults(), QStringList({"b", "c"}));
        QCOMPARE(Settings("none").changedFromDefaults(), QStringList());

        Settings().setDefault("n", 6, /*keepDefault=*/true); // a number, where a text is stored
        QCOMPARE(Settings("").changedFromDefaults(), QStringList({"g/b", "g/c", "z"}));
    }
};

QTEST_MAIN(tst_Settings_exchange)
#include "tst_Settings_exchange.moc"
