#include "tests/examples/Program.h"

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
        makeFile(m_home.filePath("Kelm/kelm.conf"), "[General]\nlist=a, b, c\n");

        QVERIFY(m_kelm.run({"settings", "get", "list"}));

        QCOMPARE(m_kelm.output, QString("a, b, c\n"));
    }

    void listsAFileWithAGroupWithoutAName()
    {
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
        QVERIFY(QFile::exists(m_home.filePath("Company/Tool.conf")));
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

    void tellsWhenTheSettingsCannotBeWritten_data()
    {
        QTest::addColumn<QStringList>("change");

        QTest::newRow("a value") << QStringList{"set", "a", "1"};
        QTest::newRow("a recent file") << QStringList{"mru", "files", "--add", "x"};
    }

    void tellsWhenTheSettingsCannotBeWritten()
    {
        QFETCH(QStringList, change);
        makeFile(m_home.filePath("Kelm"), "a file where the folder should be");

        QVERIFY(m_kelm.run(QStringList("settings") + change));

        QCOMPARE(m_kelm.error, QString("kelm settings: The settings cannot be written\n"));
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString actions = "The arguments must be list [GROUP], get KEY, set KEY VALUE, "
                                "remove KEY or mru LIST. See kelm settings --help";
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
