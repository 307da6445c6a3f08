#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"

#include <QtTest>

using Utils::File;

static const SettingsHome home;

// What has been found is found from then on, so no name is searched for in two tests. In rows, "@"
// is replaced by a number that is new each time.

class tst_File_resources : public QObject
{
    Q_OBJECT

private:
    QScopedPointer<QTemporaryDir> m_folder;
    int m_number = 0;

    QString path(const QString &name) const { return m_folder->filePath(name); }

    /// Makes the files, separated by blanks, in which "R" and "P" are the folders of resources and
    /// plugins, in a new folder.
    void make(const QString &files)
    {
        m_folder.reset(new QTemporaryDir);
        QVERIFY(QDir(m_folder->path()).mkpath("R"));
        QVERIFY(QDir(m_folder->path()).mkpath("P"));
        for (const QString &file : files.split(' ', Qt::SkipEmptyParts)) {
            if (file.endsWith('/'))
                QVERIFY(QDir(m_folder->path()).mkpath(file));
            else
                QVERIFY2(!makeFile(path(file)).isEmpty(), qPrintable(file));
        }
        File::setSearchPath(path("R"), path("P"));
    }

    /// Below the folder, as in make(), or "" when nothing is found.
    QString find(const QString &name, const QString &extensions) const
    {
        const QString found = File::findResource(name, extensions);
        return found.startsWith(m_folder->path()) ? found.mid(m_folder->path().size() + 1) : found;
    }

private Q_SLOTS:
    void searchesItsFirstFolders() // before any are set
    {
        m_folder.reset(new QTemporaryDir);
        makeFile(path("res/icons/first.png"));
        QVERIFY(QDir(m_folder->path()).mkpath("bin/inPlugins"));
        const QString current = QDir::currentPath();
        QVERIFY(QDir::setCurrent(path("bin")));

        const Data::String found = File::findResource("first", ".png");
        const Data::String notFound = File::findResource("inPlugins");

        QVERIFY(QDir::setCurrent(current));
        QCOMPARE(found, Data::String("../res/icons/first.png"));
        QCOMPARE(notFound, Data::String());
        QCOMPARE(File::templatePaths().last(), QString("../res/templates"));
    }

    void searchesInOrder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("extensions");
        QTest::addColumn<QString>("order");

        const auto row = [](const char *description, const char *name, const char *extensions,
                            const char *order) {
            QTest::newRow(description) << QString(name) << QString(extensions) << QString(order);
        };
        // clang-format off
        row("an icon", "plugin.Widget.icon@", ".png", "R/icons/plugin.Widget.icon@ R/icons/plugin.Widget.icon@.png "
            "R/locale/plugin.Widget.icon@.png R/locale/plugins/plugin/Widget/icon@.png "
            "P/plugin.Widget.icon@ P/plugin/Widget/icon@/icon@.png P/plugin/Widget/icon@.png "
            "P/plugin/Widget/res/icon@.png");
        row("no icon", "plugin.Widget.icon@", ".jpg",
            "R/plugin.Widget.icon@ R/plugin.Widget.icon@.jpg R/locale/plugin.Widget.icon@.jpg "
            "R/locale/plugins/plugin/Widget/icon@.jpg P/plugin.Widget.icon@ "
            "P/plugin/Widget/icon@/icon@.jpg P/plugin/Widget/icon@.jpg "
            "P/plugin/Widget/res/icon@.jpg");
        row("without a dot", "logo@", ".png", "R/icons/logo@ R/icons/logo@.png R/locale/logo@.png P/logo@");
        row("with its suffix", "logo@.png", ".png",
            "R/icons/logo@.png P/logo@.png P/logo@/png/png.png P/logo@/png.png "
            "P/logo@/res/png.png");
        row("with its suffix, a level up", "logo@.png", ".png",
            "R/icons/logo@.png P/logo@.png P/png/png.png P/png.png P/res/png.png");
        row("without a suffix", "a.b@", "", "R/a.b@ P/a.b@ P/a/b@/b@");
        row("without a suffix, in a plugin", "a.b@", "", "R/a.b@ P/a.b@ P/a/b@ P/a/res/b@");
        row("a level up", "p.q.r@", ".z", "R/p.q.r@ R/p.q.r@.z R/locale/p.q.r@.z R/locale/plugins/p/q/r@.z P/p.q.r@ "
            "P/p/r@/r@.z P/p/r@.z P/p/res/r@.z");
        row("up to the plugins", "x.y@", ".z",
            "R/x.y@ R/x.y@.z R/locale/x.y@.z R/locale/plugins/x/y@.z P/x.y@ P/y@/y@.z P/y@.z "
            "P/res/y@.z");
        row("by suffix", "a@", ".z;.y", "R/a@ R/a@.z R/locale/a@.z P/a@ R/a@.y R/locale/a@.y");
        row("by suffix of a plugin", "s.a@", ".z;.y", "R/s.a@.z P/s/a@.z P/s/res/a@.z R/s.a@.y R/locale/s.a@.y "
            "R/locale/plugins/s/a@.y P/s/a@/a@.y P/s/a@.y P/s/res/a@.y");
        row("both suffixes of icons", "i@", ".png;.xpm",
            "R/icons/i@ R/icons/i@.png R/locale/i@.png P/i@ R/icons/i@.xpm R/locale/i@.xpm");
        row("an empty suffix after another", "e@", ".z;", "R/e@ R/e@.z R/locale/e@.z P/e@");
        row("the second suffix of icons", "i@", ".xpm", "R/icons/i@ R/icons/i@.xpm");
        row("a part of the text of icons", "i@", ".p", "R/icons/i@ R/icons/i@.p");
        row("no dot in the suffix", "i@", "png", "R/icons/i@ R/icons/i@png R/locale/i@png");
        row("only separators, in the text of icons", "i@", ";", "R/icons/i@ P/i@");
        row("icons in another order", "i@", ".xpm;.png", "R/i@ R/i@.xpm R/locale/i@.xpm P/i@ R/i@.png R/locale/i@.png");
        row("icons in another case", "i@", ".PNG", "R/i@ R/i@.PNG R/locale/i@.PNG");
        row("icons and more", "i@", ".png;.xpm;.jpg", "R/i@ R/i@.png R/i@.xpm R/i@.jpg");
        row("a path", "d/e@", ".z", "R/d/e@ R/d/e@.z R/locale/d/e@.z P/d/e@");
        row("two dots", "t..u@", ".z",
            "R/t..u@ R/t..u@.z R/locale/t..u@.z R/locale/plugins/t//u@.z P/t..u@ P/t//u@/u@.z");
        row("folders", "f@", ".z", "R/f@/ R/f@.z/ R/locale/f@.z/ P/f@/");
        row("non-ASCII", "größe@", ".ü", "R/größe@ R/größe@.ü R/locale/größe@.ü P/größe@");
        // clang-format on
    }

    void searchesInOrder()
    {
        QFETCH(QString, name);
        QFETCH(QString, extensions);
        QFETCH(QString, order);
        const QStringList places = order.split(' ');

        // With all places taken, then without the first of them, and so on to none.
        for (int first = 0; first <= places.size(); ++first) {
            const QString number = QString::number(++m_number);
            const auto numbered = [&](QString text) { return text.replace('@', number); };
            make(numbered(QStringList(places.mid(first)).join(' ')));

            QString expected = numbered(places.value(first));
            if (expected.endsWith('/'))
                expected.chop(1);
            QCOMPARE(find(numbered(name), extensions), expected);
        }
    }

    void searchesNowhereElse_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("extensions");
        QTest::addColumn<QString>("files");

        const auto row = [](const char *description, const char *name, const char *extensions,
                            const char *files) {
            QTest::newRow(description) << QString(name) << QString(extensions) << QString(files);
        };
        // clang-format off
        row("no icon",              "n@",     ".jpg", "R/icons/n@.jpg R/icons/n@");
        row("icons are no locale",  "n@",     ".png", "R/icons/locale/n@.png R/locale/icons/n@.png R/n@.png R/n@");
        row("suffix twice",         "n@.z",   ".z",   "R/n@.z.z R/locale/n@.z R/locale/n@.z.z R/locale/plugins/n@/x.z");
        row("no suffix in locale",  "n@",     "",     "R/locale/n@ R/locale/plugins/n@");
        row("no dots to slashes",   "n.m@",   "",     "R/n/m@ R/locale/plugins/n/m@");
        row("folder is there",      "n.o.m@", ".z",   "P/n/o/ P/n/m@.z P/n/res/m@.z");
        row("two levels up",        "k.n.o.m@", ".z", "P/k/m@.z P/m@.z");
        row("no dot, no plugin",    "n@",     ".z",   "P/n@.z P/res/n@.z");
#ifndef _WIN32 // where it is the same name
        row("another case",         "n@",     ".z",   "R/N@.z R/n@.X");
#endif
        // clang-format on
    }

    void searchesNowhereElse()
    {
        QFETCH(QString, name);
        QFETCH(QString, extensions);
        QFETCH(QString, files);
        const QString number = QString::number(++m_number);
        make(files.replace('@', number));

        QCOMPARE(find(name.replace('@', number), extensions), QString());
    }

    void searchesAFolderOfQtWithoutAFault()
    {
        QVERIFY(File::search(":/none", "*").isEmpty());
        QVERIFY(!File::lastError().isEmpty());

        QDir::setSearchPaths("prefix", {":/"});
        const auto restore = qScopeGuard([] { QDir::setSearchPaths("prefix", {}); });
        for (const char *folder : {":/q", "prefix:q"}) {
            QVERIFY(File::search(":/none", "*").isEmpty()); // has a reason
            QVERIFY(File::search(folder, "none").isEmpty());

            QCOMPARE(File::lastError(), Data::String());
        }
    }

    void searchesQtFirst_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("extensions");
        QTest::addColumn<QString>("found");

        const auto row = [](const char *description, const char *name, const char *extensions,
                            const char *found) {
            QTest::newRow(description) << QString(name) << QString(extensions) << QString(found);
        };
        // clang-format off
        row("as it is",              "q.w.first",  ".png",   ":/q.w.first.png");
        row("with slashes",          "q.w.second", ".png",   ":/q/w/second.png");
        row("without a section",     "q.w.third",  ".png",   ":/q/third.png");
        row("of four sections",      "a.b.c.d",    ".png",   ":/a/b/d.png");
        row("of two sections",       "x.leaf",     ".png",   "://leaf.png");
        row("no suffix",             "plain",      "",       ":/plain");
        row("no suffix, in a folder", "q/w/plain", "",       ":/q/w/plain");
        row("its own suffix",        "own.png",    ".png",   ":/own.png");
        row("another suffix",        "own.png",    ".png;",  ":/own.png");
        row("a folder",              "q",          "",       ":/q");
        row("the first suffix",      "leaf",       ".png;.y", ":/leaf.png");
        row("in a folder of icons",  "icons/icon", ".png",   ":/icons/icon.png");
        row("not below icons",       "icon",       ".png",   "R/icons/icon.png");
        row("suffix, no slashes",    "q.ends.png", ".png",   "R/icons/q.ends.png");
        row("no suffix, no slashes", "q.w.plain",  "",       "R/q.w.plain");
        row("another suffix only",   "own.png",    ".z",     "R/own.png");
        row("the path as it is",     ":/own.png",  ".png",   ":/own.png");
        // clang-format on
    }

    void searchesQtFirst()
    {
        QFETCH(QString, name);
        QFETCH(QString, extensions);
        QFETCH(QString, found);
        make(QString("R/%1 R/%1%2 R/icons/%1 R/icons/%1%2 R/icons/own.png R/own.png P/%1")
                 .arg(name.startsWith(':') ? "other" : name, extensions.section(';', 0, 0)));
        if (found == "R/icons/icon.png") // before which the name as it is would come
            QVERIFY(QFile::remove(path("R/icons/icon")));

        QCOMPARE(find(name, extensions), found);
    }

    void searchesQtForEachSuffix()
    {
        make("R/late.y R/locale/late.y");

        QCOMPARE(find("late", ".z;.y"), QString(":/late.y"));
    }

    void findsNoEmptyName()
    {
        make("R/.png R/locale/.png R/icons/.png P/.png");

        QCOMPARE(find("", ""), QString());
        QCOMPARE(find("", ".png"), QString());
        QCOMPARE(find("", ";"), QString());
    }

    void takesAFileAsItIs()
    {
        make("R/own1 R/own1.z");
        const QString file = makeFile(path("own1"));
        const QString folder = path("R");

        QCOMPARE(find(file, ""), QString("own1"));
        QCOMPARE(find(file, ".z"), QString("own1"));
        QCOMPARE(find(folder, ""), QString()); // and no folder
        QVERIFY(QFile::remove(file));
        QCOMPARE(find(file, ""), QString());
    }

    void prefersAFileToWhatItKnows()
    {
        make("R/known2");
        QCOMPARE(find("known2", ""), QString("R/known2"));
        const QString current = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        makeFile("known2");

        const Data::String found = File::findResource("known2");

        QVERIFY(QDir::setCurrent(current));
        QCOMPARE(found, Data::String("known2"));
    }

    void staysWithWhatItFound()
    {
        make("R/icons/logo3.png");
        const QString logo = path("R/icons/logo3.png");
        QCOMPARE(File::findResource("logo3", ".png"), Data::String(logo));

        QVERIFY(QFile::remove(logo));
        QCOMPARE(File::findResource("logo3", ".png"), Data::String(logo));
        QCOMPARE(File::findResource("logo3.png", ""), Data::String(logo)); // the same text
        File::setSearchPath("", "");
        QCOMPARE(File::findResource("logo3", ".png"), Data::String(logo));
        make("R/icons/logo3 R/icons/logo3.png R/icons/logo3.xpm");
        QCOMPARE(File::findResource("logo3", ".png"), Data::String(logo));

        QCOMPARE(find("logo3", ".xpm"), QString("R/icons/logo3"));
    }

    void searchesAgainForWhatItDidNotFind()
    {
        make("");
        QCOMPARE(find("late4", ".z"), QString());

        makeFile(path("R/late4.z"));

        QCOMPARE(find("late4", ".z"), QString("R/late4.z"));
    }

    void searchesTheFoldersThatAreSet()
    {
        make("R/a5.z P/c5");
        File::setSearchPath(path("P"), path("R"));
        QCOMPARE(find("a5", ".z"), QString());
        QCOMPARE(find("c5", ".z"), QString("P/c5"));

        File::setSearchPath(path("none"), "");
        QCOMPARE(find("a5", ".z"), QString());

        File::setSearchPath("", path("R"));
        QCOMPARE(find("b.a5", ".z"), QString("R/a5.z"));
    }

    void searchesNoPluginsWithoutTheirFolder()
    {
        make("");
        File::setSearchPath(path("R"), "");
        const QString current = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        makeFile("in6/plugin.z");
        QVERIFY(QDir().mkdir("folder6"));

        const Data::String plugin = File::findResource("in6.plugin", ".z");
        const Data::String folder = File::findResource("folder6");
        File::setSearchPath(path("R"), ".");
        const Data::String found = File::findResource("in6.plugin", ".z");

        QVERIFY(QDir::setCurrent(current));
        QCOMPARE(plugin, Data::String());
        QCOMPARE(folder, Data::String());
        QCOMPARE(found, Data::String("./in6/plugin.z"));
    }

    void findsNothingForNamesOfAnyKind()
    {
        make("");

        for (const QString &name : {QString(10000, 'x'), QString("a.").repeated(2000), QString("."),
                                    QString("..."), QString("*"), QString("a\n"), QString("::/x")})
        {
            if (name != "." && name != "...")
                QCOMPARE(find(name, ".z;.y"), QString());
            QCOMPARE(find("none", name), QString());
        }
    }

    void takesItsFolderForTemporaryFilesFromTheSettings()
    {
        home.fill("");
        QCOMPARE(File::tempPath(), Data::String(QDir::tempPath()));

        Utils::Settings().setString("gui/tempPath", "/elsewhere");
        QCOMPARE(File::tempPath(), Data::String("/elsewhere"));

        Utils::Settings().removeKey("gui/tempPath");
        QCOMPARE(File::tempPath(), Data::String(QDir::tempPath()));
    }

    void knowsTwoFoldersOfTemplates()
    {
        File::setSearchPath("/res", "/plugins");

        qputenv("ALLUSERSPROFILE", QString("/shared/größe").toLocal8Bit());
        QCOMPARE(File::templatePaths(),
                 (QStringList{"/shared/größe/TORVE/templates", "/res/templates"}));
        qputenv("ALLUSERSPROFILE", "");
        QCOMPARE(File::templatePaths(), (QStringList{"TORVE/templates", "/res/templates"}));
        qunsetenv("ALLUSERSPROFILE");
        QCOMPARE(File::templatePaths(), (QStringList{"TORVE/templates", "/res/templates"}));

        File::setSearchPath("", "");
        QCOMPARE(File::templatePaths(), (QStringList{"TORVE/templates", "templates"}));
    }

    // The system does not know them.
    void tellsTheTimesOfWhatOnlyQtKnows()
    {
        QVERIFY(File::timestamp(":/leaf.png") > 0);
        QCOMPARE(File::timestamp(":/none.png"), 0U);
        QCOMPARE(File::timestampString(":/none.png", ""), Data::String());
        QVERIFY(!File::timestampString(":/leaf.png", "").isEmpty());
    }

    void copiesAResource_data()
    {
        QTest::addColumn<bool>("isSafe");

        QTest::newRow("in place") << false;
        QTest::newRow("safely") << true;
    }

    void copiesAResource()
    {
        QFETCH(bool, isSafe);
        const QTemporaryDir folder;
        const QByteArray resource = contentsOf(":/leaf.png");
        const QString existing = makeFile(folder.filePath("existing"), "old contents");
        QDir::setSearchPaths("prefix", {":/"});
        File::setSafeWriting(isSafe);
        const auto restore = qScopeGuard([] {
            File::setSafeWriting(false);
            QDir::setSearchPaths("prefix", {});
        });

        QVERIFY(!File::copy(":/leaf.png", existing, /*overwrite=*/0));
        QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.exists"));
        QCOMPARE(contentsOf(existing), QByteArray("old contents"));

        QVERIFY(File::copy(":/leaf.png", existing));
        QCOMPARE(File::lastError(), Data::String());
        QCOMPARE(contentsOf(existing), resource);
        QVERIFY(File::copy("prefix:leaf.png", folder.filePath("new")));
        QCOMPARE(contentsOf(folder.filePath("new")), resource);
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QCOMPARE(QFile::permissions(existing) & QFile::Permissions(0x7077),
                 QFile::permissions(":/leaf.png") & QFile::Permissions(0x7077));
    }

    void copiesAFolderOfResources()
    {
        const QTemporaryDir folder;

        QCOMPARE(File::copyDir(":/q", folder.path()), 1);

        QCOMPARE(contentsOf(folder.filePath("q/second.png")), contentsOf(":/q/second.png"));
        QCOMPARE(contentsOf(folder.filePath("q/w/png/png.png")), contentsOf(":/q/w/png/png.png"));
        QCOMPARE(QDir(folder.filePath("q")).entryList(QDir::Files),
                 QDir(":/q").entryList(QDir::Files));
    }

    void removesALinkByAPrefixAndNotWhatItLeadsTo()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        const QTemporaryDir folder;
        QVERIFY(!makeFile(folder.filePath("target/a")).isEmpty());
        QVERIFY(QFile::link(folder.filePath("target"), folder.filePath("link")));
        QDir::setSearchPaths("prefix", {folder.path()});

        QCOMPARE(File::remove("prefix:link"), 1);

        QDir::setSearchPaths("prefix", {});
        QVERIFY(!QFileInfo(folder.filePath("link")).isSymLink());
        QVERIFY(QFile::exists(folder.filePath("target/a")));
    }
};

QTEST_GUILESS_MAIN(tst_File_resources)
#include "tst_File_resources.moc"
