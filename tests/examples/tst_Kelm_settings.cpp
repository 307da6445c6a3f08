#include "tests/examples/Program.h"
#include "tests/support/Windows.h"

class tst_Kelm_settings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        for (const QString &file : QDir(m_home.path()).entryList(QDir::Files))
            QFile::remove(m_home.filePath(file));
        QDir(m_home.filePath("Kelm")).removeRecursively();
        QDir(m_home.filePath("Company")).removeRecursively();
#ifdef _WIN32 // where the program has its settings in the registry
        for (const char *organization : {"Kelm", "Company"})
            QSettings(QSettings::NativeFormat, QSettings::UserScope, organization).clear();
        QSettings("HKEY_CURRENT_USER\\Software\\Kelm", QSettings::NativeFormat).clear();
        QSettings("HKEY_CURRENT_USER\\Software\\Company", QSettings::NativeFormat).clear();
#endif
    }

    void keepsWhatIsSet()
    {
        QVERIFY(m_kelm.run({"settings", "set", "View/width", "800"}));
        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);

        QVERIFY(m_kelm.run({"settings", "get", "View/width"}));
        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString("800\n"));
        QCOMPARE(m_kelm.status, 0);
    }

    void keepsAnEmptyText()
    {
        QVERIFY(m_kelm.run({"settings", "set", "a", ""}));
        QCOMPARE(m_kelm.status, 0);
        QVERIFY(m_kelm.run({"settings", "get", "a"}));
        QCOMPARE(m_kelm.output, QString("\n"));
        QCOMPARE(m_kelm.status, 0);
    }

    void removesWhatIsBelowAKey()
    {
        QVERIFY(set("a/b", "1") && set("a/c/d", "2") && set("e", "3"));

        QVERIFY(m_kelm.run({"settings", "remove", "a"}));

        QCOMPARE(m_kelm.status, 0);
        QVERIFY(m_kelm.run({"settings", "list"}));
        QCOMPARE(m_kelm.output, QString("e=3\n"));
    }

    void listsGroups()
    {
        QVERIFY(set("b", "0") && set("a/x", "1") && set("a/c/d", "2") && set("a/c/a", "4"));
        QVERIFY(set("z", "two words"));

        QVERIFY(m_kelm.run({"settings", "list"}));
        QCOMPARE(m_kelm.output, QString("b=0\nz=two words\na/x=1\na/c/a=4\na/c/d=2\n"));
        QVERIFY(m_kelm.run({"settings", "list", "a"}));
        QCOMPARE(m_kelm.output, QString("a/x=1\na/c/a=4\na/c/d=2\n"));
        QVERIFY(m_kelm.run({"settings", "list", "no"}));
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
    }

    void listsATextWithCommasAsOne()
    {
        SKIP_ON_WINDOWS("the settings of the program are in the registry on Windows");
        makeFile(m_home.filePath("Kelm/kelm.conf"), "[General]\nlist=a, b, c\n");

        QVERIFY(m_kelm.run({"settings", "get", "list"}));

        QCOMPARE(m_kelm.output, QString("a, b, c\n"));
    }

    void listsAFileWithAGroupWithoutAName()
    {
        SKIP_ON_WINDOWS("the settings of the program are in the registry on Windows");
        makeFile(m_home.filePath("Kelm/kelm.conf"), "[a]\n\\b=1\nc=2\n[d]\ne\\\\f=3\ng=4\n");

        QVERIFY(m_kelm.run({"settings", "list"}));

        QCOMPARE(m_kelm.output, QString("a/c=2\nd/g=4\n"));
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsOfChangesWhenVerbose()
    {
        QVERIFY(m_kelm.run({"settings", "set", "a/b", "1", "--verbose"}));
        QCOMPARE(m_kelm.error, QString("SettingChanged: key a/b, value 1\n"));
        QVERIFY(m_kelm.run({"settings", "remove", "a/b", "--verbose"}));
        QCOMPARE(m_kelm.error, QString("SettingChanged: key a/b, value \n"));
        QVERIFY(m_kelm.run({"settings", "mru", "files", "--add", "x", "--verbose"}));
        QCOMPARE(m_kelm.error, QString("SettingChanged: key MRU/files, value x\n"));
        QCOMPARE(m_kelm.output, QString());
    }

    void knowsOtherPrograms()
    {
        const QStringList other{"--organization", "Company", "--application", "Tool"};
        QVERIFY(m_kelm.run(QStringList{"settings", "set", "a", "1"} + other));

        QVERIFY(m_kelm.run(QStringList{"settings", "get", "a"} + other));
        QCOMPARE(m_kelm.output, QString("1\n"));
#ifndef _WIN32 // where they are in the registry
        QVERIFY(QFile::exists(m_home.filePath("Company/Tool.conf")));
#endif
        QVERIFY(m_kelm.run({"settings", "get", "a"}));
        QCOMPARE(m_kelm.status, 1);
    }

    void keepsRecentLists()
    {
        const QString here = makeFile(m_folder.filePath("here.csv"));
        for (const QString &path : {QString("gone.csv"), here, QString("b\\c.csv")}) {
            QVERIFY(m_kelm.run({"settings", "mru", "files", "--add", path}));
            QCOMPARE(m_kelm.error + m_kelm.output, QString());
            QCOMPARE(m_kelm.status, 0);
        }

        QVERIFY(m_kelm.run({"settings", "mru", "files"}));
        QCOMPARE(m_kelm.output, "b/c.csv\n" + here + "\ngone.csv\n");
        QVERIFY(m_kelm.run({"settings", "mru", "files", "--existing"}));
        QCOMPARE(m_kelm.output, here + "\n");
        QVERIFY(m_kelm.run({"settings", "mru", "files", "--drop", here}));
        QVERIFY(m_kelm.run({"settings", "mru", "files"}));
        QCOMPARE(m_kelm.output, QString("b/c.csv\ngone.csv\n"));
        QVERIFY(m_kelm.run({"settings", "mru", "others"}));
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
    }

    void takesSeveralFilesAtOnce()
    {
        QVERIFY(m_kelm.run({"settings", "mru", "files", "--add", "a", "--add", "b", "--add", "c"}));
        QVERIFY(m_kelm.run({"settings", "mru", "files"}));
        QCOMPARE(m_kelm.output, QString("c\nb\na\n"));

        QVERIFY(m_kelm.run({"settings", "mru", "files", "--drop", "a", "--drop", "c"}));
        QVERIFY(m_kelm.run({"settings", "mru", "files"}));
        QCOMPARE(m_kelm.output, QString("b\n"));
    }

    void exportsAndImports()
    {
        const QString file = m_folder.filePath("exported.ini");
        QVERIFY(set("View/width", "800") && set("View/x/y", "1") && set("other", "2"));
        QVERIFY(m_kelm.run({"settings", "mru", "files", "--add", "a"}));

        QVERIFY(m_kelm.run({"settings", "export", file}));
        QCOMPARE(m_kelm.error + m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
        QVERIFY(m_kelm.run({"settings", "remove", "View"}));
        QVERIFY(m_kelm.run({"settings", "import", file, "--verbose"}));
        QCOMPARE(m_kelm.error, QString("SettingChanged: key View/width, value 800\n"
                                       "SettingChanged: key View/x/y, value 1\n"));

        QVERIFY(m_kelm.run({"settings", "export", file, "View"}));
        QVERIFY(m_kelm.run({"settings", "import", file, "Copy"}));
        QVERIFY(m_kelm.run({"settings", "list"}));
        QCOMPARE(m_kelm.output, QString("other=2\nCopy/width=800\nCopy/x/y=1\nMRU/files/aa=a\n"
                                        "View/width=800\nView/x/y=1\n"));
    }

    void importsNothingOfABrokenFile()
    {
        QVERIFY(set("a", "1"));
        const QString file =
            makeFile(m_folder.filePath("broken.ini"), "; Exported settings, format 1\na=2\nb\n"
                                                      "; End of the exported settings\n");

        QVERIFY(m_kelm.run({"settings", "import", file}));
        QCOMPARE(m_kelm.error,
                 "kelm settings: Line 3 of the file \"" + file + "\" is not a setting.\n");
        QCOMPARE(m_kelm.status, 1);
        QVERIFY(m_kelm.run({"settings", "import", file, "--language", "de"}));
        QCOMPARE(m_kelm.error, QString::fromUtf8("kelm settings: Zeile 3 der Datei „") + file +
                                   QString::fromUtf8("“ ist keine Einstellung.\n"));
        QVERIFY(m_kelm.run({"settings", "list"}));
        QCOMPARE(m_kelm.output, QString("a=1\n"));
    }

    void keepsItsOwnFileWhenExporting()
    {
        SKIP_ON_WINDOWS("the settings of the program are in the registry on Windows");
        QVERIFY(set("a", "1"));
        const QString file = m_home.filePath("Kelm/kelm.conf");

        QVERIFY(m_kelm.run({"settings", "export", file}));

        QCOMPARE(m_kelm.error, "kelm settings: The program stores its settings in the file \"" +
                                   file + "\". Export them to another file.\n");
        QCOMPARE(m_kelm.status, 1);
        QVERIFY(m_kelm.run({"settings", "get", "a"}));
        QCOMPARE(m_kelm.output, QString("1\n"));
    }

    void resetsToTheKeptDefaults()
    {
        SKIP_ON_WINDOWS("the settings of the program are in the registry on Windows");
        makeFile(m_home.filePath("Kelm/kelm.conf"),
                 "[General]\na=1\na_default=2\nn=3\n[g]\nb=4\nb_default=5\nc_default=6\n"
                 "[h]\nDefault=export noreset\nd=7\nd_default=8\n");

        QVERIFY(m_kelm.run({"settings", "diff"}));
        QCOMPARE(m_kelm.output, QString("a=1 (default 2)\ng/b=4 (default 5)\n"
                                        "g/c is not set (default 6)\nh/d=7 (default 8)\n"));
        QVERIFY(m_kelm.run({"settings", "diff", "g"}));
        QCOMPARE(m_kelm.output, QString("g/b=4 (default 5)\ng/c is not set (default 6)\n"));
        QVERIFY(m_kelm.run({"settings", "reset", "g"}));
        QCOMPARE(m_kelm.error + m_kelm.output, QString());
        QVERIFY(m_kelm.run({"settings", "diff"}));
        QCOMPARE(m_kelm.output, QString("a=1 (default 2)\nh/d=7 (default 8)\n"));
        QVERIFY(m_kelm.run({"settings", "reset"}));
        QVERIFY(m_kelm.run({"settings", "diff"}));
        QCOMPARE(m_kelm.output, QString("h/d=7 (default 8)\n"));
        QVERIFY(m_kelm.run({"settings", "reset", "h"}));
        QCOMPARE(m_kelm.error,
                 QString("kelm settings: The settings in the group \"h\" cannot be reset.\n"));
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsWhenTheSettingsCannotBeWritten_data()
    {
        QTest::addColumn<QStringList>("change");

        QTest::newRow("a value") << QStringList{"set", "a", "1"};
        QTest::newRow("a recent file") << QStringList{"mru", "files", "--add", "x"};
    }

    void tellsWhenTheSettingsCannotBeWritten()
    {
        SKIP_ON_WINDOWS("the settings of the program are in the registry on Windows");
        QFETCH(QStringList, change);
        makeFile(m_home.filePath("Kelm"), "a file where the folder should be");

        QVERIFY(m_kelm.run(QStringList("settings") + change));

        const QString reason = "kelm settings: The settings cannot be stored or read: ";
        QVERIFY2(m_kelm.error.startsWith(reason), qPrintable(m_kelm.error));
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsWhenTheSettingsCannotBeRead_data()
    {
        QTest::addColumn<QStringList>("request");

        QTest::newRow("all") << QStringList{"list"};
        QTest::newRow("a value") << QStringList{"get", "a"};
        QTest::newRow("recent files") << QStringList{"mru", "files"};
        QTest::newRow("differences") << QStringList{"diff"};
    }

    void tellsWhenTheSettingsCannotBeRead()
    {
        SKIP_ON_WINDOWS("the settings of the program are in the registry on Windows");
        QFETCH(QStringList, request);
        const QString file = m_home.filePath("Kelm/kelm.conf");
        QVERIFY(QDir().mkpath(file));

        QVERIFY(m_kelm.run(QStringList("settings") + request));

        QCOMPARE(m_kelm.error, "kelm settings: The settings cannot be stored or read: " + file +
                                   ": file to open is a directory\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString actions = "The arguments must be list [GROUP], get KEY, set KEY VALUE, "
                                "remove KEY, mru LIST, export FILE [GROUP], import FILE [GROUP], "
                                "reset [GROUP] or diff [GROUP]. See kelm settings --help";
        // clang-format off
        QTest::newRow("missing") << QStringList{"get", "no/such"} << 1
            << "There is no setting \"no/such\"";
        QTest::newRow("no name") << QStringList{"set", "/", "1"} << 2
            << "There is no name in \"/\". See kelm settings --help";
        QTest::newRow("an empty list") << QStringList{"mru", "", "--add", "x"} << 2
            << "There is no name in \"\". See kelm settings --help";
        QTest::newRow("another folder") << QStringList{"list", "--organization", "../x"} << 2
            << "--organization must be a name without \"/\". See kelm settings --help";
        QTest::newRow("no program") << QStringList{"list", "--application", ""} << 2
            << "--application must be a name without \"/\". See kelm settings --help";
        QTest::newRow("no action") << QStringList() << 2
            << "The arguments must be ACTION.... See kelm settings --help";
        QTest::newRow("unknown action") << QStringList{"put", "a"} << 2 << actions;
        QTest::newRow("list of two") << QStringList{"list", "a", "b"} << 2 << actions;
        QTest::newRow("get nothing") << QStringList("get") << 2 << actions;
        QTest::newRow("set nothing") << QStringList{"set", "a"} << 2 << actions;
        QTest::newRow("remove nothing") << QStringList("remove") << 2 << actions;
        QTest::newRow("mru of nothing") << QStringList("mru") << 2 << actions;
        QTest::newRow("export nowhere") << QStringList("export") << 2 << actions;
        QTest::newRow("import of three") << QStringList{"import", "a", "b", "c"} << 2 << actions;
        QTest::newRow("reset of two") << QStringList{"reset", "a", "b"} << 2 << actions;
        QTest::newRow("diff of two") << QStringList{"diff", "a", "b"} << 2 << actions;
        QTest::newRow("import of nothing") << QStringList{"import", "/no/such"} << 1
            << "The file \"/no/such\" does not exist.";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList("settings") + arguments));

        QCOMPARE(m_kelm.error, "kelm settings: " + error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

private:
    bool set(const QString &key, const QString &value)
    {
        return m_kelm.run({"settings", "set", key, value}) && m_kelm.status == 0;
    }

    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_settings)
#include "tst_Kelm_settings.moc"
