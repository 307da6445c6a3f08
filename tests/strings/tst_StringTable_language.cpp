#include "utils/strings/StringTable.h"

#include "tests/csv/FailingMemory.h"
#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Files.h"     // makeFile
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"
#include "utils/files/File.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <new>

using Utils::StringTable;

/// Counts the events by which Qt tells that the language has changed, and what was shown then.
class LanguageEvents : public QObject
{
public:
    LanguageEvents() { QCoreApplication::instance()->installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::LanguageChange)
            shown.append(StringTable::lookup(".Fruit.msg.apple"));
        return false;
    }

    QStringList shown;
};

class tst_StringTable_language : public QObject
{
    Q_OBJECT

private:
    bool makeTable(const QString &name, const QString &language, const QByteArray &body)
    {
        const QString path = m_root.filePath("locale/" + name + '_' + language + ".xml");
        return !makeFile(path, "<!DOCTYPE StringTable>\n<strings>" + body + "</strings>\n")
                    .isEmpty();
    }

    QTemporaryDir m_root;

private Q_SLOTS:
    void initTestCase()
    {
        Utils::File::setSearchPath(m_root.path(), "");
        QVERIFY(
            makeTable("Fruit", "en",
                      "<string id='.msg.apple'>apple</string><string id='.ctx.list'>a; b</string>"
                      "<ui name='Basket'><string id='.title'>Basket</string></ui>"));
        QVERIFY(
            makeTable("Fruit", "de",
                      "<string id='.msg.apple'>Apfel</string><string id='.ctx.list'>c; d</string>"
                      "<ui name='Basket'><string id='.title'>Korb</string></ui>"));
        QVERIFY(makeTable("Only", "en", "<string id='.msg.nut'>nut</string>"));
        QVERIFY(makeTable("Broken", "en", "<string id='.msg.x'>x</string>"));
        QVERIFY(makeTable("Broken", "de", "<string id='.msg.x'>"));
    }

    void init()
    {
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load("Fruit"));
    }

    void cleanup() { resetCatalogue(); }

    void changesAllTextsWhileTheProgramRuns()
    {
        QVERIFY(StringTable::load("Only"));
        QCOMPARE(StringTable::lookup(".Fruit.msg.apple"), Data::String("apple"));
        QCOMPARE(StringTable::lookupi(".Fruit.ctx.list", 1), Data::String("b"));
        QCOMPARE(StringTable::lookup(".title", "Basket"), Data::String("Basket"));

        QVERIFY(StringTable::setLanguage("de_AT"));

        QCOMPARE(StringTable::language(), Data::String("de"));
        QCOMPARE(StringTable::lookup(".Fruit.msg.apple"), Data::String("Apfel"));
        QCOMPARE(StringTable::lookupi(".Fruit.ctx.list", 1), Data::String("d"));
        QCOMPARE(StringTable::lookup(".title", "Basket"), Data::String("Korb"));
        QCOMPARE(StringTable::lookup(".Only.msg.nut"), Data::String("nut")); // no file in German
        QCOMPARE(StringTable::lookupl(".Fruit.msg.apple", "en"), Data::String("apple"));
    }

    void tellsTheApplicationAfterTheChange()
    {
        LanguageEvents events;

        QVERIFY(StringTable::setLanguage("de"));
        QVERIFY(StringTable::setLanguage("de")); // no change

        QCOMPARE(events.shown, QStringList{"Apfel"});
    }

    void keepsTheLanguageWhenATableCannotBeRead()
    {
        QVERIFY(StringTable::load("Broken"));
        LanguageEvents events;

        QVERIFY(!StringTable::setLanguage("de"));
        QVERIFY(!StringTable::setLanguage(""));
        QVERIFY(!StringTable::setLanguage("_DE"));

        QCOMPARE(StringTable::language(), Data::String("en"));
        QCOMPARE(StringTable::lookup(".Fruit.msg.apple"), Data::String("apple"));
        QCOMPARE(events.shown, QStringList());
    }

    void findsAFormThatOnlyTheNewLanguageHas()
    {
        QVERIFY(makeTable("Forms", "en", "<ui name='Own'><string id='.t'>en</string></ui>"));
        QVERIFY(makeTable("Forms", "de",
                          "<ui name='Own'><string id='.t'>de</string></ui>"
                          "<ui name='Basket'><string id='.title'>no</string></ui>"
                          "<ui name='New'><string id='.t'>neu</string></ui>"));
        QVERIFY(StringTable::load("Forms"));
        QVERIFY(StringTable::load("Fruit"));
        QCOMPARE(StringTable::lookup(".t", "New"), Data::String());

        QVERIFY(StringTable::setLanguage("de"));

        QCOMPARE(StringTable::lookup(".t", "New"), Data::String("neu"));
        QCOMPARE(StringTable::lookup(".t", "Own"), Data::String("de"));
        QCOMPARE(StringTable::lookup(".title", "Basket"), Data::String("Korb")); // as before
    }

    void keepsTheLanguageWhenTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("where the memory ends, Qt does not release its parser of XML");
#endif
        const AllocatedMemory used;
        QVERIFY(StringTable::setLanguage("de"));
        const auto count = static_cast<int>(used.count());
        const int last = 40; // allocations, in which no document is parsed any more

        int failures = 0;
        for (int n = std::max(count - last, 0);; ++n) {
            resetCatalogue();
            init();
            FailingMemory memory(n, FailingMemory::Once);
            const bool isDone = StringTable::setLanguage("de");
            memory.end();

            QVERIFY(isDone || memory.hasFailed());
            QCOMPARE(StringTable::language(), Data::String(isDone ? "de" : "en"));
            QCOMPARE(StringTable::lookup(".Fruit.msg.apple"),
                     Data::String(isDone ? "Apfel" : "apple"));
            QCOMPARE(StringTable::lookup(".title", "Basket"),
                     Data::String(isDone ? "Korb" : "Basket"));
            failures += isDone ? 0 : 1;
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 0);
    }

    void isSetUpAfterTheMemoryHasEnded()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const Data::String language = "de_Long_Name";
        resetCatalogue();

        int failures = 0;
        for (int n = 0; StringTable::language().isEmpty(); ++n) {
            const FailingMemory memory(n, FailingMemory::Once);
            try {
                StringTable::initialize(language, "", "");
            } catch (const std::bad_alloc &) {
                ++failures;
            }
        }

        QVERIFY(failures > 0);
        QCOMPARE(StringTable::language(), Data::String("de"));
        QVERIFY(StringTable::load("Fruit"));
        QCOMPARE(StringTable::lookup(".Fruit.msg.apple"), Data::String("Apfel"));
    }

    void hasNoLanguageToChangeBeforeItIsSetUp()
    {
        resetCatalogue();

        QVERIFY(!StringTable::setLanguage("de"));

        QCOMPARE(StringTable::language(), Data::String());
    }
};

QTEST_GUILESS_MAIN(tst_StringTable_language)
#include "tst_StringTable_language.moc"
