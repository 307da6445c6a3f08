#include "tests/examples/Program.h"
#include "tests/support/Windows.h"

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

        // clang-format off
        QTest::newRow("the end of the key") << ".Answers.btn.Yes" << "Yes\n";
        QTest::newRow("empty") << ".Answers.btn.None" << "\n";
        // clang-format on
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

    void looksUpTheFormOfACount()
    {
        makeFile(m_folder.filePath("forms/locale/Forms_en.xml"),
                 "<!DOCTYPE StringTable><s><string id='.n.one'>%1 file</string>"
                 "<string id='.n.other'>%1 files</string></s>");
        const QStringList options{"--table",    "Forms", "--res-dir", m_folder.filePath("forms"),
                                  "--language", "en"};
        const QList<QPair<QString, QString>> expected{
            {"1", "1 file\n"}, {"2", "2 files\n"}, {"1.0", "1.0 files\n"}};
        for (const auto &count : expected) {
            QVERIFY(m_kelm.run(QStringList{"strings", ".Forms.n", count.first} + options +
                               QStringList{"--count", count.first}));
            QCOMPARE(m_kelm.error, QString());
            QCOMPARE(m_kelm.output, count.second);
        }
    }

    void findsTheMistakesOfTables()
    {
        const auto make = [&](const char *name, const char *strings) {
            const QByteArray text =
                QByteArray("<!DOCTYPE StringTable>\n<s>\n") + strings + "</s>\n";
            return makeFile(m_folder.filePath(name), text);
        };
        // Every kind of mistake once, and beside each what is no mistake.
        const QString english = make("M_en.xml", R"(<string id=".err.a">Plate %1 has %2 mm</string>
<string id=".err.b">One</string>
<string id=".err.b">Another</string>
<string id=".err.c">Only here</string>
<string>No id</string>
<string id=".n.one">a file</string>
<string id=".n.other">%1 files</string>
<string id=".ctx.other">Other</string>
<string id=".err.e">Text</string>
<context name="Desktop"><string id=".msg.open">Click</string></context>
<context name="Tablet"><string id=".msg.open">Tap</string></context>
<ui name="Form"><string id=".title">Plate</string><string id=".b">B</string></ui>
)");
        const QString polish = make("M_pl.xml", R"(<string id=".err.a">Blacha %2 %1</string>
<string id=".err.b">Jeden</string>
<string id=".n.one">plik</string>
<string id=".n.two">pliki</string>
<string id=".n.few">%1 pliki</string>
<string id=".n.other">pliku</string>
<string id=".ctx.other">Inny</string>
<string id=".err.d">Tylko tutaj</string>
<string id=".err.e"/>
<context name="Desktop"><string id=".msg.open">Kliknij %1</string></context>
<context name="Tablet"><string id=".msg.open">Stuknij</string></context>
<ui name="Form"><string id=".title">Blacha</string></ui>
)");
        const QString german = make("M_de.xml", R"(<string id=".err.a">Blech %1</string>
<string id=".err.b">Eins</string>
<string id=".err.c">Nur hier</string>
<string id=".n.one">eine Datei</string>
<string id=".n.other">%1 Dateien</string>
<string id=".ctx.other">Andere</string>
<string id=".err.d">Nur dort</string>
<string id=".err.e">Text</string>
<context name="Desktop"><string id=".msg.open">Klicken</string></context>
<context name="Tablet"><string id=".msg.open">Tippen</string></context>
<ui name="Form"><string id=".title">Blech</string><string id=".b">B</string></ui>
)");
        const QString broken = makeFile(m_folder.filePath("M_fr.xml"), "<s/>");
        const QString nameless = make("Other.xml", "");
        const auto lines = [](const QString &path, const QStringList &mistakes) {
            QString text;
            for (const QString &mistake : mistakes)
                text += path + ": " + mistake + "\n";
            return text;
        };

        QVERIFY(m_kelm.run({"strings", "--check", german, english, polish}));

        QCOMPARE(
            m_kelm.output,
            lines(german, {"The text of \".err.a\" lacks \"%2\""}) +
                lines(english,
                      {"The id \".err.b\" occurs again in line 5",
                       "Line 7 has a text without an id", "The id \".err.d\" is missing"}) +
                lines(polish,
                      {"The id \".err.c\" is missing", "The text of \".err.e\" is empty",
                       "The text of \".msg.open\" of the context \"Desktop\" has "
                       "\"%1\" in addition",
                       "The id \".b\" of the form \"Form\" is missing",
                       "The id \".n.two\" is of no use: the language has no such form",
                       "The id \".n.many\" is missing", "The text of \".n.other\" lacks \"%1\""}));
        QCOMPARE(m_kelm.error, QString("kelm strings: There are 11 mistakes\n"));
        QCOMPARE(m_kelm.status, 1);

        QVERIFY(m_kelm.run({"strings", "--check", broken, nameless, "--language", "en"}));
        QCOMPARE(
            m_kelm.output,
            lines(broken, {"The file is of the type \"\", not of the type \"StringTable\"."}) +
                lines(nameless, {"The name does not end with a language, as in Plates_en.xml"}));
        QCOMPARE(m_kelm.error, QString("kelm strings: There are 2 mistakes\n"));
        QVERIFY(m_kelm.run({"strings", "--check", broken}));
        QCOMPARE(m_kelm.error, QString("kelm strings: There is 1 mistake\n"));
    }

    void findsFormsOfSeveralNumbersWithoutTheNumber()
    {
        const auto make = [&](const char *language, const QStringList &forms, const QString &text) {
            QString strings;
            for (const QString &form : forms)
                strings += "<string id='.n." + form + "'>" + text + "</string>\n";
            return makeFile(m_folder.filePath(QString("Counts_%1.xml").arg(language)),
                            "<!DOCTYPE StringTable>\n<s>\n" + strings.toUtf8() + "</s>\n");
        };
        const QString english = makeFile(m_folder.filePath("Counts_en.xml"),
                                         "<!DOCTYPE StringTable>\n<s>\n"
                                         "<string id='.n.one'>a file in %2</string>\n"
                                         "<string id='.n.other'>%1 files in %2</string>\n</s>\n");
        const QStringList russianForms{"one", "few", "many", "other"};
        const QStringList arabicForms{"zero", "one", "two", "few", "many", "other"};
        // In Russian, "one" is also the form of 21; in French, that of 0.
        const QString russian = make("ru", russianForms, "text in %2");
        const QString french = make("fr", {"one", "many", "other"}, "text in %2");
        const QString slovene = make("sl", {"one", "two", "few", "other"}, "text in %2");
        const QString arabic = make("ar", arabicForms, "text in %2");
        const QString danish = make("da", {"one", "other"}, "text");
        const auto mistakes = [&](const QString &path, const QStringList &forms,
                                  const QStringList &placeholders = {"%1"}) {
            QString text;
            for (const QString &form : forms) {
                for (const QString &placeholder : placeholders)
                    text +=
                        path + ": The text of \".n." + form + "\" lacks \"" + placeholder + "\"\n";
            }
            return text;
        };

        QVERIFY(
            m_kelm.run({"strings", "--check", english, russian, french, slovene, arabic, danish}));

        // A word may replace the number, but not anything else.
        QCOMPARE(m_kelm.output, mistakes(russian, russianForms) +
                                    mistakes(french, {"one", "many", "other"}) +
                                    mistakes(slovene, {"one", "two", "few", "other"}) +
                                    mistakes(arabic, {"few", "many", "other"}) +
                                    mistakes(danish, {"one", "other"}, {"%1", "%2"}));

        const QString good = make("ru", russianForms, "%1 texts in %2");
        QVERIFY(m_kelm.run({"strings", "--check", english, good}));
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
    }

    void findsNoMistakesInTheTablesOfTheProject()
    {
        QStringList files;
        for (const char *folder : {"../res/locale", "../../res/locale"}) {
            for (const QFileInfo &file : QDir(sample(folder)).entryInfoList({"*.xml"}))
                files.append(file.filePath());
        }
        QVERIFY(files.size() >= 10);

        QVERIFY(m_kelm.run(QStringList{"strings", "--check"} + files));

        QCOMPARE(m_kelm.output + m_kelm.error, QString());
        QCOMPARE(m_kelm.status, 0);
    }

    void printsAPseudoLocale()
    {
        const QString file = makeFile(m_folder.filePath("P_en.xml"),
                                      "<!DOCTYPE StringTable><s>"
                                      "<string id='.a'>Plate %1 of\\nS235</string>"
                                      "<string id='.b'><![CDATA[<b>Open</b> &amp; more]]></string>"
                                      "<string id='.c'>&amp;Open</string>"
                                      "<string id='.d'>[min=Least][max=Most %1]</string>"
                                      "<string id='.e'>mm; cm</string>"
                                      "<string id='.f'>+</string><string id='.g'/>"
                                      "<ui name='Form'><string id='.t'>Title</string></ui></s>");

        QVERIFY(m_kelm.run({"strings", "--pseudo", file}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString::fromUtf8(R"(<!DOCTYPE StringTable>
<s>
  <string id=".a">[Pļåţé %1 õf\nŠ235~~~~~]</string>
  <string id=".b">[&lt;b>Õpéñ&lt;/b> &amp;amp; mõŕé~~~~~~~]</string>
  <string id=".c">[&amp;Opéñ~]</string>
  <string id=".d">[min=Ļéåšţ][max=Mõšţ %1]</string>
  <string id=".e">[mm; çm~~]</string>
  <string id=".f">+</string>
  <string id=".g"/>
  <ui name="Form">
    <string id=".t">[Ţîţļé~]</string>
  </ui>
</s>

)"));
        // It is a string table that has the same placeholders and escape sequences.
        makeFile(m_folder.filePath("P_xx.xml"), m_kelm.output.toUtf8());
        QVERIFY(m_kelm.run({"strings", "--check", file, m_folder.filePath("P_xx.xml")}));
        QCOMPARE(m_kelm.output, QString());
    }

    void tellsWhyThereIsNoPseudoLocale()
    {
        SKIP_ON_WINDOWS("what can be read with the stack of a program can be written, too");
        const int depth = 6000; // more than can be written
        const QString file = makeFile(m_folder.filePath("deep.xml"),
                                      "<!DOCTYPE StringTable>" + QByteArray("<s>").repeated(depth) +
                                          QByteArray("</s>").repeated(depth));

        QVERIFY(m_kelm.run({"strings", "--pseudo", file, "--language", "de"}));

        QCOMPARE(m_kelm.error, QString::fromUtf8("kelm strings: Das Dokument für „%1“ ist zu tief "
                                                 "verschachtelt.\n")
                                   .arg(file));
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 1);
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
        QTest::newRow("no count") << QStringList{".a.b", "--count", "x"} << 2
            << "--count must be a number. See kelm strings --help";
        QTest::newRow("two for a pseudo-locale") << QStringList{"a", "b", "--pseudo"} << 2
            << "--pseudo needs one file. See kelm strings --help";
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
