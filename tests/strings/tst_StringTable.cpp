#include "utils/strings/StringTable.h"

#include "tests/strings/Catalogue.h" // putText, resetCatalogue
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails

#include <QRandomGenerator>
#include <QtTest>

using Utils::catalogue;
using Utils::StringTable;

/// Sets the catalogue up when the application hears of a translator, and reports its state then.
class SetUpByEvent : public QObject
{
public:
    SetUpByEvent() { QCoreApplication::instance()->installEventFilter(this); }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::LanguageChange && ++calls < 10) {
            text = StringTable::lookup(".A.id");
            translator = catalogue->translator;
            StringTable::initialize("de", "C", "D");
        }
        return QObject::eventFilter(object, event);
    }

    int calls = 0;
    Data::String text;
    Utils::Translator *translator = nullptr;
};

/// The steps of a lookup in plain words, by QString::section().
static Data::String slowLookup(const Data::String &key)
{
    if (catalogue->language.isEmpty() || !key.startsWith('.'))
        return key;
    const int n = key.count('.') - 1;
    if (n <= 0)
        return key;
    for (int i = 0; i <= n - 1; ++i) {
        const Data::String prefix = key.section('.', 0, -2 - i);
        if (!catalogue->tables.contains(prefix))
            continue;
        const Data::String id = key.mid(prefix.size());
        const StringTable::Table table = catalogue->tables.value(prefix);
        return table.strings.contains(id) ? table.strings.value(id) : id;
    }
    return key;
}

class tst_StringTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { resetCatalogue(); }

    void isEmptyAtFirst()
    {
        const Utils::Catalogue &state = *catalogue.ifAlive();
        QVERIFY(Utils::catalogue.isAlive);
        QVERIFY(state.tables.isEmpty());
        QVERIFY(state.uiIndex.isEmpty());
        QVERIFY(state.language.isEmpty());
        QVERIFY(state.contexts.isEmpty());
        QVERIFY(state.productContext.isEmpty());
        QVERIFY(!state.translator);
    }

    void takesItsLanguageFromASystemName_data()
    {
        QTest::addColumn<Data::String>("name");
        QTest::addColumn<Data::String>("language");

        // clang-format off
        QTest::newRow("a language")                << Data::String("en")      << Data::String("en");
        QTest::newRow("five characters with IDS")  << Data::String("enIDS")   << Data::String("en");
        QTest::newRow("six characters with IDS")   << Data::String("engIDS")  << Data::String("engIDS");
        QTest::newRow("four characters with IDS")  << Data::String("eIDS")    << Data::String("eIDS");
        QTest::newRow("IDS in lower case")         << Data::String("enids")   << Data::String("enids");
        QTest::newRow("IDS at the start")          << Data::String("IDSen")   << Data::String("IDSen");
        QTest::newRow("with a country")            << Data::String("de_DE")   << Data::String("de");
        QTest::newRow("with two of them")          << Data::String("a_b_c")   << Data::String("a");
        QTest::newRow("with an encoding")          << Data::String("de.utf8") << Data::String("de.utf8");
        QTest::newRow("a country and IDS")         << Data::String("a_IDS")   << Data::String("a");
        QTest::newRow("a country alone")           << Data::String("_DE")     << Data::String("");
        // clang-format on
    }

    void takesItsLanguageFromASystemName()
    {
        QFETCH(Data::String, name);
        QFETCH(Data::String, language);

        StringTable::initialize(name, "", "");

        QCOMPARE(catalogue->language, language);
    }

    void keepsTheContextsThatItIsGiven()
    {
        StringTable::initialize("en", "A;B", "C");

        QCOMPARE(catalogue->contexts, Data::String("A;B"));
        QCOMPARE(catalogue->productContext, Data::String("C"));
    }

    void isSetUpOnce()
    {
        StringTable::initialize("en", "A", "B");
        const Utils::Translator *const translator = catalogue->translator;
        StringTable::initialize("de", "C", "D");

        QCOMPARE(catalogue->language, Data::String("en"));
        QCOMPARE(catalogue->contexts, Data::String("A"));
        QCOMPARE(catalogue->productContext, Data::String("B"));
        QVERIFY(translator);
        QCOMPARE(catalogue->translator, translator);
    }

    void isSetUpOnceByWhoHearsOfIt()
    {
        putText(".A", ".id", "text");
        const SetUpByEvent receiver;

        StringTable::initialize("en", "A", "B");

        QCOMPARE(receiver.calls, 1);
        QCOMPARE(receiver.text, Data::String(".A.id"));
        QVERIFY(!receiver.translator);
        QVERIFY(catalogue->translator);
        QCOMPARE(catalogue->language, Data::String("en"));
        QCOMPARE(catalogue->contexts, Data::String("A"));
        QCOMPARE(catalogue->productContext, Data::String("B"));
    }

    void isNotSetUpWithoutALanguage()
    {
        StringTable::initialize("", "A", "B");
        QVERIFY(!catalogue->translator);
        QCOMPARE(catalogue->contexts, Data::String());

        StringTable::initialize("en", "C", "D");
        QCOMPARE(catalogue->language, Data::String("en"));
        QCOMPARE(catalogue->contexts, Data::String("C"));
    }

    void isSetUpAgainAfterANameWithoutALanguage()
    {
        StringTable::initialize("_DE", "A", "B");
        const QScopedPointer<Utils::Translator> first(catalogue->translator);
        StringTable::initialize("en", "C", "D");

        QCOMPARE(catalogue->language, Data::String("en"));
        QVERIFY(first);
        QVERIFY(catalogue->translator != first.data());
    }

    void answersQtOnceItIsSetUp()
    {
        putText(".Kelm.Widgets", ".ctx.undo", "Zurück");
        QCOMPARE(QCoreApplication::translate("QLineEdit", "&Undo"), QString("&Undo"));

        StringTable::initialize("de", "", "");

        QCOMPARE(QCoreApplication::translate("QLineEdit", "&Undo"), QString("Zurück"));
        QVERIFY(!catalogue->translator->parent());
    }

    void givesAKeyItselfBeforeItIsSetUp()
    {
        putText(".Kelm.Utils", ".err.x", "text");

        QCOMPARE(StringTable::lookup(Data::String(".Kelm.Utils.err.x")),
                 Data::String(".Kelm.Utils.err.x"));
        QCOMPARE(StringTable::lookup(".Kelm.Utils.err.x"), Data::String(".Kelm.Utils.err.x"));
        QCOMPARE(StringTable::lookup(".Kelm.Utils.err.x", "Form"),
                 Data::String(".Kelm.Utils.err.x"));
    }

    void looksUpAKey_data()
    {
        QTest::addColumn<Data::String>("key");
        QTest::addColumn<Data::String>("text");

        const auto row = [](const char *name, const char *key, const char *text) {
            QTest::newRow(name) << Data::String(key) << Data::String(text);
        };
        // clang-format off
        row("an id of a table",               ".Kelm.Utils.err.x",      "An error: %1 %2");
        row("an id of one component",         ".Kelm.Utils.y",          "y");
        row("an id of three components",      ".Kelm.Utils.err.x.more", "More");
        row("an unknown id yields the id",    ".Kelm.Utils.err.no",     ".err.no");
        row("case matters in an id",          ".Kelm.Utils.err.X",      ".err.X");
        row("case matters in a table",        ".kelm.Utils.err.x",      ".kelm.Utils.err.x");
        row("no known table yields the key",  ".Other.err.x",           ".Other.err.x");
        row("the longer name wins",           ".A.B.id",                "long");
        row("the shorter one is not tried",   ".A.B.only",              ".only");
        row("the shorter one by itself",      ".A.only",                "only");
        row("the name of a longer one",       ".A.B",                   "B");
        row("a component is never cut",       ".A.Bx.id",               ".Bx.id");
        row("a name in between",              ".A.C.id",                ".C.id");
        row("an id that goes on",             ".A.B.C.D.E",             ".C.D.E");
        row("a table's name alone",           ".A",                     ".A");
        row("two names of a table",           ".Kelm.Utils",            ".Kelm.Utils");
        row("a table after other dots",       "..A.only",               "..A.only");
        row("a dot at the end",               ".A.B.",                  ".");
        row("an empty component",             ".A..id",                 "..id");
        row("dots only",                      "....",                   "....");
        row("a dot",                          ".",                      ".");
        row("one component",                  ".x",                     ".x");
        row("a text is text",                 "plain text",             "plain text");
        row("a text that ends in a key",      "A.B.id",                 "A.B.id");
        row("a blank at the start",           " .A.B.id",               " .A.B.id");
        row("nothing",                        "",                       "");
        row("a text that is empty",           ".Kelm.Utils.empty",      "");
        row("a text that is a key",           ".Kelm.Utils.key",        ".A.B.id");
        row("an id beyond Latin",             ".Kelm.Utils.größe",      "Maß");
        // clang-format on
        QTest::newRow("a zero byte") << Data::String(QString::fromLatin1(".A.B\0.id", 8))
                                     << Data::String(QString::fromLatin1(".B\0.id", 6));
        QTest::newRow("half a pair") << Data::String(".A.B." + QString(QChar(0xd800)))
                                     << Data::String("." + QString(QChar(0xd800)));
    }

    void looksUpAKey()
    {
        QFETCH(Data::String, key);
        QFETCH(Data::String, text);
        StringTable::initialize("en", "", "");
        putText(".Kelm.Utils", ".err.x", "An error: %1 %2");
        putText(".Kelm.Utils", ".err.x.more", "More");
        putText(".Kelm.Utils", ".y", "y");
        putText(".Kelm.Utils", ".empty", "");
        putText(".Kelm.Utils", ".key", ".A.B.id");
        putText(".Kelm.Utils", ".größe", "Maß");
        putText(".A", ".id", "short");
        putText(".A", ".only", "only");
        putText(".A", ".B", "B");
        putText(".A.B", ".id", "long");
        putText(".A-B", ".id", "between .A and .A.B");

        QCOMPARE(StringTable::lookup(key), text);
        if (!key.contains(QChar('\0')) && key.toUcs4().indexOf(0xfffd) < 0)
            QCOMPARE(StringTable::lookup(key.toUtf8().constData()), text);
    }

    void looksUpTheSameAsWordForWord()
    {
        QRandomGenerator random(8301);
        const auto randomText = [&random](int most) {
            Data::String text;
            for (int i = random.bounded(most + 1); i > 0; --i)
                text.append("...ab-"[random.bounded(6)]); // "-" comes before "."
            return text;
        };
        StringTable::initialize("en", "", "");

        int resolved = 0;
        for (int round = 0; round < 300; ++round) {
            catalogue->tables.clear();
            catalogue->found.clear();
            for (int i = random.bounded(8); i > 0; --i) {
                auto &table = catalogue->tables["." + randomText(6)];
                for (int j = random.bounded(12); j > 0; --j) {
                    const Data::String id = "." + randomText(4);
                    table.strings[id] = "text of " + id;
                }
            }
            for (int i = 0; i < 200; ++i) {
                const Data::String key = randomText(1) + randomText(9);
                const Data::String text = StringTable::lookup(key);
                QCOMPARE(text, slowLookup(key));
                QCOMPARE(StringTable::lookup(key), text);
                resolved += text.startsWith("text of ") ? 1 : 0;
            }
        }
        QVERIFY2(resolved > 500, qPrintable(QString::number(resolved)));
    }

    void keepsNoViewOfAKey()
    {
        StringTable::initialize("en", "", "");
        putText(".A", ".id", "text");
        QString key = ".A.id";

        const auto view = [&key] { return Data::String(QString::fromRawData(key.data(), 5)); };
        QCOMPARE(StringTable::lookup(view()), Data::String("text"));
        QCOMPARE(StringTable::lookupi(view(), 0), Data::String("text"));
        key.fill('x');

        QCOMPARE(StringTable::lookupi("xxxxx", 0), Data::String("xxxxx"));
        QCOMPARE(catalogue->found.keys(), QList<Data::String>{".A.id"});
        QCOMPARE(StringTable::lookup(".A.id"), Data::String("text"));
        QCOMPARE(StringTable::lookupi(".A.id", 0), Data::String("text"));
        QCOMPARE(StringTable::lookup("xxxxx"), Data::String("xxxxx"));
    }

    void bearsKeysOfAnySize()
    {
        StringTable::initialize("en", "", "");
        putText(".A", ".id", "text");
        const Data::String large("." + QString(10'000'000, 'x'));
        const Data::String many(QString(2'000, '.') + "A.id");

        QCOMPARE(StringTable::lookup(large), large);
        QCOMPARE(StringTable::lookup(".A" + large), large);
        QCOMPARE(StringTable::lookup(many), many);
        QCOMPARE(StringTable::lookup(".A" + many), many);
        const Data::String endless(".A" + QString(1'000'000, '.'));
        QCOMPARE(StringTable::lookup(endless), Data::String(endless.mid(2)));
    }

    void takesATextForTheKeyThatItIs()
    {
        StringTable::initialize("en", "", "");
        putText(".A", ".id", "text");

        QCOMPARE(StringTable::lookup(".A.id"), Data::String("text"));
        QCOMPARE(StringTable::lookup(".A.id", nullptr), Data::String("text"));
        QCOMPARE(StringTable::lookup("größe"), Data::String("größe"));
        QCOMPARE(StringTable::lookup(nullptr), Data::String());
    }

    void givesTheTextsOfAForm()
    {
        StringTable::initialize("en", "", "");
        putText(".A", ".title", "of the table");
        catalogue->tables[".A"].uiStrings["Form"][".title"] = "of the form";
        catalogue->uiIndex["Form"] = ".A";

        QCOMPARE(StringTable::lookup(".title", "Form"), Data::String("of the form"));
        QCOMPARE(StringTable::lookup(".other", "Form"), Data::String(".other"));
        QCOMPARE(StringTable::lookup(".A.title", "Unknown"), Data::String(""));
        QCOMPARE(StringTable::lookup("title", "Form"), Data::String(""));
        QCOMPARE(StringTable::lookup(nullptr, "Form"), Data::String(""));
        QCOMPARE(StringTable::lookup(".title", ""), Data::String(""));
    }

    void expandsAShortKey_data()
    {
        QTest::addColumn<Data::String>("key");
        QTest::addColumn<Data::String>("table");
        QTest::addColumn<Data::String>("text");

        const auto row = [](const char *name, const char *key, const char *table,
                            const char *text) {
            QTest::newRow(name) << Data::String(key) << Data::String(table) << Data::String(text);
        };
        // clang-format off
        row("two dots",                   ".err.x",           "Kelm.Data",  "in Data");
        row("one dot",                    ".x",               "Kelm.Data",  "short");
        row("three dots are a whole key", ".Kelm.Data.x",     "Kelm.Utils", "short");
        row("three dots, no such table",  ".err.x.y",         "Kelm.Data",  ".err.x.y");
        row("four dots",                  ".Kelm.Data.err.x", "Kelm.Utils", "in Data");
        row("an unknown id",              ".err.y",           "Kelm.Data",  ".err.y");
        row("an unknown table",           ".err.x",           "Other",      ".Other.err.x");
        row("no table",                   ".err.x",           "",           "..err.x");
        row("a text",                     "err.x",            "Kelm.Data",  "err.x");
        row("nothing",                    "",                 "Kelm.Data",  "");
        row("a dot",                      ".",                "Kelm.Data",  ".");
        // clang-format on
    }

    void expandsAShortKey()
    {
        QFETCH(Data::String, key);
        QFETCH(Data::String, table);
        QFETCH(Data::String, text);
        StringTable::initialize("en", "", "");
        putText(".Kelm.Data", ".err.x", "in Data");
        putText(".Kelm.Data", ".x", "short");

        QCOMPARE(StringTable::lookupx(key, table), text);
    }

    void givesAnItemOfAText()
    {
        StringTable::initialize("en", "", "");
        putText(".A", ".items", "one; two ;; four");
        putText(".A", ".lines", "one;two\nthree");

        QCOMPARE(StringTable::lookupi(".A.items", 0), Data::String("one"));
        QCOMPARE(StringTable::lookupi(".A.items", 1), Data::String("two"));
        QCOMPARE(StringTable::lookupi(".A.items", 2), Data::String(""));
        QCOMPARE(StringTable::lookupi(".A.items", 3), Data::String("four"));
        QCOMPARE(StringTable::lookupi(".A.items", 4), Data::String(""));
        QCOMPARE(StringTable::lookupi(".A.items", -1), Data::String(""));
        QCOMPARE(StringTable::lookupi(".A.items", INT_MIN), Data::String(""));
        QCOMPARE(StringTable::lookupi(".A.items", INT_MAX), Data::String(""));
        QCOMPARE(StringTable::lookupi(".A.lines", 0, '\n'), Data::String("one;two"));
        QCOMPARE(StringTable::lookupi(".A.lines", 1, '\n'), Data::String("three"));
        QCOMPARE(StringTable::lookupi(" one; two ", 1, ';'), Data::String("two"));
        QCOMPARE(StringTable::lookupi("one; two", 2, ';'), Data::String(""));
        QCOMPARE(StringTable::lookupi("", 0), Data::String(""));
    }

    void keepsTheItemsOfTheLastKey()
    {
        StringTable::initialize("en", "", "");
        putText(".A", ".kept", "a;b|c");
        QCOMPARE(StringTable::lookupi(".A.kept", 0), Data::String("a"));

        putText(".A", ".kept", "new");
        QCOMPARE(StringTable::lookupi(".A.kept", 1, '|'), Data::String("b|c"));
        QCOMPARE(StringTable::lookupi(".A.other", 0), Data::String(".other"));
        QCOMPARE(StringTable::lookupi(".A.kept", 0), Data::String("new"));
    }

    void keepsTheItemsOfAKeyWhileItIsSetUp()
    {
        putText(".A", ".early", "text");
        QCOMPARE(StringTable::lookupi(".A.early", 0), Data::String(".A.early"));

        StringTable::initialize("en", "", "");

        QCOMPARE(StringTable::lookupi(".A.early", 0), Data::String(".A.early"));
    }

    void hasNoTextsAfterTheEndOfTheCatalogue()
    {
        StringTable::initialize("en", "", "");
        putText(".A", ".key", "text");
        putText(".A", ".n.one", "text");
        int numTold = 0;
        {
            Utils::catalogue.isAlive = false;
            const auto revive = qScopeGuard([] { Utils::catalogue.isAlive = true; });

            StringTable::initialize("de", "", "");
            StringTable::setMissingKeyHandler(
                [&](const Data::String &, const Data::String &) { ++numTold; });
            QVERIFY(!StringTable::setLanguage("de"));
            QVERIFY(!StringTable::load("A"));
            QCOMPARE(StringTable::language(), Data::String());
            QCOMPARE(StringTable::lookup(".A.key"), Data::String(".A.key"));
            QCOMPARE(StringTable::lookup(".A.key", "Form"), Data::String(".A.key"));
            QCOMPARE(StringTable::lookupl(".A.key", "de"), Data::String(".A.key"));
            QCOMPARE(StringTable::lookupn(".A.n", 1), Data::String(".A.n"));
            QCOMPARE(StringTable::pluralForm(1), Data::String("other"));
            QCOMPARE(StringTable::pluralForms(), QStringList("other"));
            QCOMPARE(StringTable::missingKeys(), QStringList());
        }

        QCOMPARE(StringTable::language(), Data::String("en"));
        QCOMPARE(StringTable::lookup(".A.key"), Data::String("text"));
        QCOMPARE(StringTable::lookup(".A.other"), Data::String(".other"));
        QCOMPARE(numTold, 0); // the handler was not set
    }

    void givesTheValueOfAName_data()
    {
        QTest::addColumn<Data::String>("record");
        QTest::addColumn<Data::String>("name");
        QTest::addColumn<Data::String>("value");

        const auto row = [](const char *title, const char *record, const char *name,
                            const char *value) {
            QTest::newRow(title) << Data::String(record) << Data::String(name)
                                 << Data::String(value);
        };
        // clang-format off
        row("the first",                 "[a=1][b=2]",    "a",   "1");
        row("the last",                  "[a=1][b=2]",    "b",   "2");
        row("the first of two",          "[a=1][a=2]",    "a",   "1");
        row("an equal sign in it",       "[a=1=2]",       "a",   "1=2");
        row("an equal sign at its end",  "[a=1=]",        "a",   "1=");
        row("an equal sign in the name", "[a=b=c]",       "a=b", "b=c");
        row("a longer name",             "[ab=1]",        "a",   "default");
        row("a shorter name",            "[a=1]",         "ab",  "default");
        row("case matters",              "[A=1]",         "a",   "default");
        row("no value",                  "[a=][b=2]",     "a",   "");
        row("no equal sign",             "[a][b=2]",      "a",   "default");
        row("blanks stay",               "[a= 1 ][ b=2]", "a",   " 1 ");
        row("blanks before a name",      "[a=1][ b=2]",   "b",   "default");
        row("no brackets",               "a=1",           "a",   "1");
        row("no bracket at the start",   "a=1][b=2]",     "a",   "1");
        row("no bracket at the end",     "[a=1][b=2",     "b",   "2");
        row("two brackets at the start", "[[a=1]",        "[a",  "1");
        row("two brackets at the end",   "[a=1]]",        "a",   "1]");
        row("a bracket in it",           "[a=x]y][b=2]",  "a",   "x]y");
        row("an empty part",             "[a=1][][b=2]",  "b",   "2");
        row("an empty name",             "[a=1][=2]",     "",    "2");
        row("a bracket alone",           "[",             "a",   "default");
        row("a closing one alone",       "]",             "a",   "default");
        row("an empty record",           "[]",            "a",   "default");
        row("nothing",                   "",              "a",   "default");
        // clang-format on
    }

    void givesTheValueOfAName()
    {
        QFETCH(Data::String, record);
        QFETCH(Data::String, name);
        QFETCH(Data::String, value);
        StringTable::initialize("en", "", "");
        catalogue->tables[".A"].strings[".record"] = record;

        QCOMPARE(StringTable::lookupk(".A.record", name, "default"), value);
        QCOMPARE(StringTable::lookupk(record, name, "default"), value);
    }
};

QTEST_GUILESS_MAIN(tst_StringTable)
#include "tst_StringTable.moc"
