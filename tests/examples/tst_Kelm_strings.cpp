#include "tests/examples/Program.h"

class tst_Kelm_strings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void looksTextsUp_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("English") << QStringList{".Kelm.Console.msg.welcome", "Ada", "--language", "en"}
            << "Welcome to KelmUtils, Ada.\n";
        QTest::newRow("German") << QStringList{"--language", "de", ".Kelm.Console.msg.welcome", "Ada"}
            << "Willkommen bei KelmUtils, Ada.\n";
        QTest::newRow("a country") << QStringList{"--language", "de_AT", ".Kelm.Console.msg.welcome", "A"}
            << "Willkommen bei KelmUtils, A.\n";
        QTest::newRow("a language without texts") << QStringList{".Kelm.Console.msg.welcome", "Ada",
                                                                 "--language", "fi"}
            << "Welcome to KelmUtils, Ada.\n";
        QTest::newRow("no values") << QStringList{".Kelm.Console.msg.weight", "--language", "en"}
            << "A frame of %1 weighs %2 kg.\n";
        QTest::newRow("two values") << QStringList{".Kelm.Console.msg.weight", "S235", "12",
                                                   "--language", "en"}
            << "A frame of S235 weighs 12 kg.\n";
        QTest::newRow("a place in a value") << QStringList{".Kelm.Console.msg.weight", "%2", "12",
                                                           "--language", "en"}
            << "A frame of %2 weighs 12 kg.\n";
        QTest::newRow("fewer values than places") << QStringList{".Kelm.Console.msg.weight", "S235",
                                                                 "--language", "en"}
            << "A frame of S235 weighs %2 kg.\n";
        QTest::newRow("item") << QStringList{".Kelm.Console.ctx.units", "--item", "1"} << "cm\n";
        QTest::newRow("part") << QStringList{".Kelm.Console.ctx.ends", "--part", "max",
                                             "--language", "de"} << QString::fromUtf8("Größter\n");
        QTest::newRow("of the library") << QStringList{".Kelm.Framework.msg.plusmore", "3",
                                                       "--language", "en"} << "and 3 more\n";
        // clang-format on
    }

    void looksTextsUp()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, output);

        QVERIFY(m_kelm.run(QStringList("strings") + arguments));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void findsTablesInTheFolderOfResources_data()
    {
        QTest::addColumn<bool>("isOption");

        QTest::newRow("by the environment") << false;
        QTest::newRow("by the option, which goes first") << true;
    }

    void findsTablesInTheFolderOfResources()
    {
        QFETCH(bool, isOption);
        const QString plates = "<!DOCTYPE StringTable><s><string id='.msg.x'>%1</string></s>";
        makeFile(m_folder.filePath("res/locale/Plates_en.xml"), plates.arg("env").toUtf8());
        makeFile(m_folder.filePath("other/locale/Plates_en.xml"), plates.arg("option").toUtf8());
        Program kelm(m_home.path());
        kelm.environment = QStringList("KELM_RES_DIR=" + m_folder.filePath("res"));
        QStringList arguments{"strings", ".Plates.msg.x", "--table", "Plates"};
        if (isOption)
            arguments << "--res-dir" << m_folder.filePath("other");

        QVERIFY(kelm.run(arguments));

        QCOMPARE(kelm.error, QString());
        QCOMPARE(kelm.output, QString(isOption ? "option\n" : "env\n"));
    }

    void knowsTextsThatLookLikeNone_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("output");

        QTest::newRow("the end of the key") << ".Answers.btn.Yes"
                                            << "Yes\n";
        QTest::newRow("empty") << ".Answers.btn.None"
                               << "\n";
    }

    void knowsTextsThatLookLikeNone()
    {
        QFETCH(QString, key);
        QFETCH(QString, output);
        makeFile(m_folder.filePath("answers/locale/Answers_en.xml"),
                 "<!DOCTYPE StringTable><s><string id='.btn.Yes'>Yes</string>"
                 "<string id='.btn.None'/></s>");

        QVERIFY(m_kelm.run(
            {"strings", key, "--table", "Answers", "--res-dir", m_folder.filePath("answers")}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        // clang-format off
        QTest::newRow("unknown id") << QStringList(".Kelm.Utils.err.x") << 1
            << "There is no text for \".Kelm.Utils.err.x\"";
        QTest::newRow("unknown table") << QStringList(".Plates.err.x") << 1
            << "There is no text for \".Plates.err.x\"";
        QTest::newRow("no key") << QStringList("text") << 1 << "There is no text for \"text\"";
        QTest::newRow("empty") << QStringList("") << 1 << "There is no text for \"\"";
        QTest::newRow("no such table") << QStringList{".x.y", "--table", "Plates"} << 1
            << "There is no table \"Plates\"";
        QTest::newRow("no resources") << QStringList{".Kelm.Console.msg.welcome", "--res-dir", "/no"}
            << 1 << "There is no text for \".Kelm.Console.msg.welcome\"";
        QTest::newRow("no such item") << QStringList{".Kelm.Console.ctx.units", "--item", "3"} << 1
            << "The text of \".Kelm.Console.ctx.units\" has no such part";
        QTest::newRow("no such part") << QStringList{".Kelm.Console.ctx.ends", "--part", "mid"} << 1
            << "The text of \".Kelm.Console.ctx.ends\" has no such part";
        QTest::newRow("more values than places") << QStringList{".Kelm.Console.msg.welcome", "a", "b"}
            << 1 << "The text of \".Kelm.Console.msg.welcome\" has no place for so many values";
        QTest::newRow("negative item") << QStringList{".Kelm.Console.ctx.units", "--item", "-1"} << 2
            << "--item must be a whole number from 0 on. See kelm strings --help";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList("strings") + arguments));

        QCOMPARE(m_kelm.error, "kelm strings: " + error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

private:
    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_strings)
#include "tst_Kelm_strings.moc"
