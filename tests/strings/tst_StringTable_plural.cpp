#include "utils/strings/StringTable.h"

#include "tests/strings/Catalogue.h" // putText, resetCatalogue
#include "tests/support/Files.h"     // makeFile
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using Data::String;
using Utils::StringTable;

static const char english[] = "<!DOCTYPE StringTable><s>"
                              "<string id='.n.one'>%1 file</string>"
                              "<string id='.n.other'>%1 files</string>"
                              "<string id='.other.other'>always</string>"
                              "<string id='.plain'>plain</string>"
                              "</s>";
static const char polish[] = "<!DOCTYPE StringTable><s>"
                             "<string id='.n.one'>%1 plik</string>"
                             "<string id='.n.few'>%1 pliki</string>"
                             "<string id='.n.many'>%1 plik\303\263w</string>"
                             "<string id='.n.other'>%1 pliku</string>"
                             "</s>";

class tst_StringTable_plural : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

private Q_SLOTS:
    void initTestCase()
    {
        makeFile(m_folder.filePath("locale/A_en.xml"), english);
        makeFile(m_folder.filePath("locale/A_pl.xml"), polish);
        Utils::File::setSearchPath(m_folder.path(), "");
    }
    void init()
    {
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load("A"));
    }
    void cleanup() { resetCatalogue(); }

    void looksUpTheFormOfANumber()
    {
        QCOMPARE(StringTable::lookupn(".A.n", 1), String("%1 file"));
        QCOMPARE(StringTable::lookupn(".A.n", -1), String("%1 file"));
        QCOMPARE(StringTable::lookupn(".A.n", 2), String("%1 files"));
        QCOMPARE(StringTable::lookupn(".A.n", 1, 1), String("%1 files"));
        QCOMPARE(StringTable::lookupn(".A.n", 1.5), String("%1 files"));
        QCOMPARE(StringTable::missingKeys(), QStringList());
    }

    void usesOtherAndThenTheKeyItself()
    {
        QCOMPARE(StringTable::lookupn(".A.other", 1), String("always"));
        QCOMPARE(StringTable::lookupn(".A.plain", 1), String("plain"));
        QCOMPARE(StringTable::lookupn("text", 1), String("text"));
        QCOMPARE(StringTable::missingKeys(), QStringList());
        QCOMPARE(StringTable::lookupn(".A.none", 1), String(".none"));
        QCOMPARE(StringTable::lookupn(".B.none", 1), String(".B.none"));
        QCOMPARE(StringTable::missingKeys(), QStringList({".A.none", ".B.none"}));
    }

    void looksUpInAnotherLanguageByItsRules()
    {
        QCOMPARE(StringTable::lookupnl(".A.n", 1, "pl"), String("%1 plik"));
        QCOMPARE(StringTable::lookupnl(".A.n", 22, "pl"), String("%1 pliki"));
        QCOMPARE(StringTable::lookupnl(".A.n", 5, "pl"), String(QString::fromUtf8("%1 plików")));
        QCOMPARE(StringTable::lookupnl(".A.n", 1.5, "pl"), String("%1 pliku"));
        QCOMPARE(StringTable::lookupnl(".A.n", 22, "pl", 1), String("%1 pliku"));
        QCOMPARE(StringTable::lookupnl(".A.n", 2, ""), String("%1 files"));
        QCOMPARE(StringTable::lookupnl(".A.n", 2, "en"), String("%1 files"));
        QCOMPARE(StringTable::lookupnl(".A.plain", 2, "pl"), String(".plain"));
        QCOMPARE(StringTable::missingKeys("pl"), QStringList(".A.plain"));
        QCOMPARE(StringTable::missingKeys(), QStringList());
        // There is no file of this language: by the rules of the current one.
        QCOMPARE(StringTable::lookupnl(".A.n", 1, "ja"), String("%1 file"));
    }

    void hasTheFormsOfALanguage()
    {
        QCOMPARE(StringTable::pluralForms(), QStringList({"one", "other"}));
        QCOMPARE(StringTable::pluralForms("pl"), QStringList({"one", "few", "many", "other"}));
        QCOMPARE(StringTable::pluralForms("ja"), QStringList("other"));
        QCOMPARE(StringTable::pluralForms("xx"), QStringList("other"));
    }

    void hasTheFormOfANumber()
    {
        QCOMPARE(StringTable::pluralForm(1), String("one"));
        QCOMPARE(StringTable::pluralForm(0), String("other"));
        QCOMPARE(StringTable::pluralForm(1, "en", 1), String("other"));
        QCOMPARE(StringTable::pluralForm(21, "ru"), String("one"));
        QCOMPARE(StringTable::pluralForm(22, "pl"), String("few"));
        QCOMPARE(StringTable::pluralForm(0, "fr"), String("one"));
        QCOMPARE(StringTable::pluralForm(2, "ja"), String("other"));
        QCOMPARE(StringTable::pluralForm(1, "xx"), String("other"));
        QCOMPARE(StringTable::pluralForm(std::nan(""), "en"), String("other"));
    }

    void keepsTheKeysThatAreMissing()
    {
        StringTable::lookup(".A.y");
        StringTable::lookup(".A.plain");
        StringTable::lookup(".A.x");
        StringTable::lookup(".A.x");
        StringTable::lookup("text");
        StringTable::lookup("");
        StringTable::lookup(".C.x", nullptr);
        StringTable::lookupi(".A.item", 0);
        StringTable::lookupk(".A.part", "a", "");
        StringTable::lookupl(".A.plain", "pl");

        QCOMPARE(StringTable::missingKeys(),
                 QStringList({".A.item", ".A.part", ".A.x", ".A.y", ".C.x"}));
        QCOMPARE(StringTable::missingKeys("pl"), QStringList(".A.plain"));
        QVERIFY(StringTable::load("A"));
        QCOMPARE(StringTable::missingKeys().size(), 5);
    }

    void keepsNoKeysBeforeItIsInitialised()
    {
        resetCatalogue();
        StringTable::lookup(".A.x");
        QCOMPARE(StringTable::missingKeys(), QStringList());
    }

    void keepsTheFirstKeysOnly()
    {
        for (int i = 0; i < 10010; ++i)
            StringTable::lookup(".A.x" + QString::number(i));
        QCOMPARE(StringTable::missingKeys().size(), 10000);
    }

    void tellsEachMissingKeyOnce()
    {
        QStringList told;
        StringTable::setMissingKeyHandler([&](const String &key, const String &language) {
            told.append(key + " " + language);
            told.append(StringTable::lookup(".A.inner"));
        });

        QCOMPARE(StringTable::lookup(".A.x"), String(".x"));
        QCOMPARE(StringTable::lookup(".A.x"), String(".x"));
        StringTable::lookup(".A.plain");
        StringTable::lookupl(".A.plain", "pl");

        QCOMPARE(told, QStringList({".A.x en", ".inner", ".A.plain pl", ".inner"}));
        QCOMPARE(StringTable::missingKeys(), QStringList({".A.inner", ".A.x"}));
        StringTable::setMissingKeyHandler({});
        StringTable::lookup(".A.z");
        QCOMPARE(told.size(), 4);
    }

    void takesAHandlerThatReplacesItself()
    {
        int calls = 0;
        StringTable::setMissingKeyHandler([&calls](const String &, const String &) {
            StringTable::setMissingKeyHandler({});
            StringTable::load("A");
            ++calls;
        });
        QCOMPARE(StringTable::lookup(".A.x"), String(".x"));
        QCOMPARE(StringTable::lookup(".A.y"), String(".y"));
        QCOMPARE(calls, 1);
    }
};

QTEST_GUILESS_MAIN(tst_StringTable_plural)
#include "tst_StringTable_plural.moc"
