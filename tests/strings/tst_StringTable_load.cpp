#include "utils/strings/StringTable.h"

#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Files.h"     // makeFile
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "utils/files/File.h"
#include "utils/strings/StringTableLoader.h"

#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

using Utils::catalogue;
using Utils::StringTable;
using Utils::TextsById;

static const QByteArray docType = "<!DOCTYPE StringTable>\n";

/// A file of strings with \p body in its root element.
static QByteArray tableOf(const QByteArray &body)
{
    return docType + "<strings>" + body + "</strings>\n";
}

/// As ".a=1|.b=2".
static QString describe(const TextsById &texts)
{
    QStringList entries;
    for (auto text = texts.begin(); text != texts.end(); ++text)
        entries.append(text.key() + "=" + *text);
    return entries.join("|");
}

/// As ".a=1 Form(.b=2)".
static QString describe(const StringTable::Table &table)
{
    QString text = describe(table.strings);
    for (auto form = table.uiStrings.begin(); form != table.uiStrings.end(); ++form)
        text += " " + form.key() + "(" + describe(*form) + ")";
    return text;
}

class tst_StringTable_load : public QObject
{
    Q_OBJECT

private:
    /// Writes a file of strings below the resources. Returns the name of the table, a new one for
    /// each call with an empty \p name: where File found a resource once, it finds it ever after.
    Data::String makeTable(const QByteArray &contents, const Data::String &language = "en",
                           const Data::String &name = Data::String())
    {
        const Data::String table = name.isEmpty() ? newName() : name;
        const QString path = m_root.filePath("locale/" + table + "_" + language + ".xml");
        return makeFile(path, contents).isEmpty() ? Data::String("cannot be written") : table;
    }

    Data::String newName() { return QString("Test.T%1").arg(++m_count); }

    QTemporaryDir m_root;
    int m_count = 0;

private Q_SLOTS:
    void initTestCase() { Utils::File::setSearchPath(m_root.path(), ""); }

    void cleanup() { resetCatalogue(); }

    void loadsNothingBeforeItIsSetUp()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>text</string>"));

        QVERIFY(!StringTable::load(name));
        QVERIFY(catalogue->tables.isEmpty());

        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));
        QCOMPARE(StringTable::lookup("." + name + ".a"), Data::String("text"));
        QCOMPARE(catalogue->tables.keys(), QList<Data::String>{"." + name});
    }

    void readsAFile_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("table");

        const auto row = [](const char *name, const QByteArray &contents, const char *table) {
            QTest::newRow(name) << contents << QString(table);
        };
        const auto bodyRow = [row](const char *name, const char *body, const char *table) {
            row(name, tableOf(body), table);
        };
        // clang-format off
        bodyRow("nothing",                 "",                                                     "");
        bodyRow("strings",                 "<string id='.a'>1</string><string id='.b'>2</string>", ".a=1|.b=2");
        bodyRow("upper case",              "<STRING id='.a'>1</STRING><String id='.b'>2</String>", ".a=1|.b=2");
        bodyRow("case in an attribute",    "<string ID='.a'>1</string>",                           "=1");
        bodyRow("the last of an id",       "<string id='.a'>1</string><string id='.a'>2</string>", ".a=2");
        bodyRow("no id",                   "<string>1</string>",                                   "=1");
        bodyRow("an empty id",             "<string>1</string><string id=''>2</string>",           "=2");
        bodyRow("an id without a dot",     "<string id='a'>1</string>",                            "a=1");
        bodyRow("no text",                 "<string id='.a'/><string id='.b'></string>",           ".a=|.b=");
        bodyRow("other elements",          "<x><string id='.a'>1</string></x><string id='.b'>2</string>", ".b=2");
        bodyRow("nearly a string",         "<strings id='.a'>1</strings><n:string id='.b'>2</n:string>", "");
        bodyRow("comments",                "<!-- c --><string id='.a'>1<!-- c -->2</string>",      ".a=12");
        bodyRow("an element in a string",  "<string id='.a'>1<string id='.b'>x</string>2</string>", ".a=12");
        bodyRow("an active context",       "<context name='One'><string id='.a'>1</string></context>", ".a=1");
        bodyRow("another active context",  "<context name='Two'><string id='.a'>1</string></context>", ".a=1");
        bodyRow("the product's context",   "<context name='Product'><string id='.a'>1</string></context>", ".a=1");
        bodyRow("a context in upper case", "<CONTEXT name='One'><string id='.a'>1</string></CONTEXT>", ".a=1");
        bodyRow("an inactive context",     "<context name='Three'><string id='.a'>1</string></context>", "");
        bodyRow("case in a context",       "<context name='one'><string id='.a'>1</string></context>", "");
        bodyRow("no name of a context",    "<context><string id='.a'>1</string></context>",        "");
        bodyRow("all contexts in one",     "<context name='One;Two'><string id='.a'>1</string></context>", ".a=1");
        bodyRow("a context replaces",
            "<string id='.a'>1</string><context name='One'><string id='.a'>2</string></context>", ".a=2");
        bodyRow("a context is replaced",
            "<context name='One'><string id='.a'>2</string></context><string id='.a'>1</string>", ".a=1");
        bodyRow("contexts in contexts",
            "<context name='One'><context name='Two'><string id='.a'>1</string></context>"
            "<context name='Three'><string id='.b'>1</string></context></context>", ".a=1");
        bodyRow("active in inactive",
            "<context name='Three'><context name='One'><string id='.a'>1</string></context></context>", "");
        bodyRow("a form",                  "<ui name='F'><string id='.a'>1</string></ui><string id='.a'>2</string>",
            ".a=2 F(.a=1)");
        bodyRow("a form in upper case",    "<UI name='F'><string id='.a'>1</string></UI>",         " F(.a=1)");
        bodyRow("two forms",
            "<ui name='G'><string id='.a'>1</string></ui><ui name='F'><string id='.a'>2</string></ui>",
            " F(.a=2) G(.a=1)");
        bodyRow("a form twice",
            "<ui name='F'><string id='.a'>1</string><string id='.b'>1</string></ui>"
            "<ui name='F'><string id='.b'>2</string><string id='.c'>2</string></ui>", " F(.a=1|.b=2|.c=2)");
        bodyRow("an empty form",           "<ui name='F'/>",                                       " F()");
        bodyRow("no name of a form",       "<ui><string id='.a'>1</string></ui>",                  " (.a=1)");
        bodyRow("a form in a form",
            "<ui name='F'><ui name='G'><string id='.a'>1</string></ui><string id='.b'>2</string></ui>",
            " F(.b=2) G(.a=1)");
        bodyRow("a form in itself",
            "<ui name='F'><ui name='F'><string id='.a'>1</string></ui></ui>", " F(.a=1)");
        bodyRow("a context in a form",
            "<ui name='F'><context name='One'><string id='.a'>1</string></context>"
            "<context name='Three'><string id='.b'>1</string></context></ui>", " F(.a=1)");
        bodyRow("a form in a context",
            "<context name='One'><ui name='F'><string id='.a'>1</string></ui></context>"
            "<context name='Three'><ui name='G'><string id='.a'>1</string></ui></context>", " F(.a=1)");
        bodyRow("text between elements",   "text<string id='.a'>1</string>text",                   ".a=1");
        bodyRow("escaped text",            "<string id='.a'>&lt;b&gt; &amp; &#228;</string>",      ".a=<b> & ä");
        row("a root of another name",  docType + "<x><string id='.a'>1</string></x>",              ".a=1");
        row("a string for a root",     docType + "<string id='.a'>1</string>",                     "");
        row("an inactive root",        docType + "<context name='Three'><string id='.a'>1</string></context>", ".a=1");
        row("a form for a root",       docType + "<ui name='F'><string id='.a'>1</string></ui>",   ".a=1");
        row("an encoding",
            "<?xml version='1.0' encoding='ISO-8859-1'?>" + docType + "<s><string id='.a'>\xe4</string></s>", ".a=ä");
        row("entities of its own",     "<!DOCTYPE StringTable [<!ENTITY e 'text'>]><s><string id='.a'>&e;</string></s>",
            ".a=text");
        // clang-format on
        const QString wide(tableOf("<string id='.a'>Größe</string>"));
        // clang-format off
        row("UTF-16", QTextCodec::codecForName("UTF-16")->fromUnicode(wide), ".a=Größe");
        row("UTF-8 with a mark", "\xef\xbb\xbf" + tableOf("<string id='.a'>Größe</string>"), ".a=Größe");
        // clang-format on
    }

    void readsAFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, table);
        const Data::String name = makeTable(contents);
        StringTable::initialize("en", "One;Two", "Product");

        QVERIFY(StringTable::load(name));
        QCOMPARE(describe(catalogue->tables.value("." + name)), table);
        QVERIFY(catalogue->tables.value("." + name).localeStrings.isEmpty());
    }

    void takesTheContextsOfAProduct_data()
    {
        QTest::addColumn<Data::String>("contexts");
        QTest::addColumn<Data::String>("product");
        QTest::addColumn<QString>("strings");

        const auto row = [](const char *name, const char *contexts, const char *product,
                            const char *strings) {
            QTest::newRow(name) << Data::String(contexts) << Data::String(product)
                                << QString(strings);
        };
        // clang-format off
        row("one context",          "A",    "Z",   ".a=1");
        row("two contexts",         "A;B",  "Z",   ".a=1|.ab=3|.b=2");
        row("not trimmed",          "A; B", "Z",   ".a=1");
        row("the product's",        "Z",    "A",   ".a=1");
        row("the product's is one", "Z",    "A;B", ".ab=3");
        row("both",                 "A",    "B",   ".a=1|.b=2");
        row("none",                 "",     "",    ".none=4");
        row("an empty one",         "A;",   "Z",   ".a=1|.none=4");
        row("no product",           "A",    "",    ".a=1|.none=4");
        // clang-format on
    }

    void takesTheContextsOfAProduct()
    {
        QFETCH(Data::String, contexts);
        QFETCH(Data::String, product);
        QFETCH(QString, strings);
        const Data::String name =
            makeTable(tableOf("<context name='A'><string id='.a'>1</string></context>"
                              "<context name='B'><string id='.b'>2</string></context>"
                              "<context name='A;B'><string id='.ab'>3</string></context>"
                              "<context name=''><string id='.none'>4</string></context>"));
        StringTable::initialize("en", contexts, product);

        QVERIFY(StringTable::load(name));
        QCOMPARE(describe(catalogue->tables.value("." + name).strings), strings);
    }

    void readsATextAsItIsWritten_data()
    {
        QTest::addColumn<QByteArray>("written");
        QTest::addColumn<QString>("text");

        const auto row = [](const char *name, const char *written, const char *text) {
            QTest::newRow(name) << QByteArray(written) << QString(text);
        };
        // clang-format off
        row("plain",                         R"(text)",                      "text");
        row("a line end",                    R"(a\nb)",                      "a\nb");
        row("line ends",                     R"(\na\n\nb\n)",                "\na\n\nb\n");
        row("rich text",                     R"(&lt;b>a&lt;/b>\nc)",         "<b>a</b><br>c");
        row("rich text in CDATA",            R"(<![CDATA[<b>a</b>\nc]]>)",   "<b>a</b><br>c");
        row("rich text, real line ends too", "<![CDATA[<b>a\nb</b>\\nc]]>",  "<b>a<br>b</b><br>c");
        row("signs in any order",            R"(<![CDATA[a > b\nc < d]]>)",  "a > b<br>c < d");
        row("only one of the signs",         R"(a\n&lt; b)",                 "a\n< b");
        row("only the other one",            R"(a\n> b)",                    "a\n> b");
        row("rich text without line ends",   R"(<![CDATA[<b>a</b>]]>)",      "<b>a</b>");
        row("rich text, real line ends",     "<![CDATA[<b>a</b>\nb]]>",      "<b>a</b>\nb");
        row("a placeholder",                 R"(%1 of %2)",                  "%1 of %2");
        row("a doubled backslash",           R"(a\\b)",                      "a\\b");
        row("a backslash",                   R"(a\b)",                       "a\\b");
        row("four backslashes",              R"(a\\\\b)",                    "a\\\\b");
        row("three backslashes",             R"(a\\\b)",                     "a\\\\b");
        row("a doubled backslash and n",     R"(a\\nb)",                     "a\\\nb");
        row("backslash and t",               R"(a\tb)",                      "a\\tb");
        row("a doubled backslash and t",     R"(a\\tb)",                     "a\\tb");
        row("three backslashes and t",       R"(a\\\tb)",                    "a\\tb");
        row("four backslashes and t",        R"(a\\\\tb)",                   "a\\tb");
        row("six backslashes and t",         R"(a\\\\\\tb)",                 "a\\\\tb");
        row("a tab",                         "a\tb",                         "a\tb");
        row("a backslash and a tab",         "a\\\tb",                       "a\tb");
        row("two backslashes and a tab",     "a\\\\\tb",                     "a\\\tb");
        row("three backslashes and a tab",   "a\\\\\\\tb",                   "a\\\tb");
        row("other escapes",                 R"(a\s\r\"\u00e4)",             R"(a\s\r\"\u00e4)");
        row("a backslash at the end",        R"(a\)",                        "a\\");
        row("the word for a backslash",      R"(a*SLASH*b)",                 "a\\b");
        row("a path",                        R"(C:\\temp\\new)",             "C:\\temp\\\new");
        row("a blank at the start",          R"(  a )",                      " a");
        row("a blank at the end",            R"(a  )",                       "a  ");
        row("indented",                      "\n      one\n      two\n    ", "one two");
        row("lines that are not indented",   "one\ntwo",                     "one\ntwo");
        row("CDATA",                         R"(x<![CDATA[ & ]]>y)",         "x & y");
        row("CDATA that is indented",        "<![CDATA[a\n  b]]>",           "a\n  b");
        row("beyond the first plane",        "\xf0\x9f\x98\x80",             "\xf0\x9f\x98\x80");
        // clang-format on
    }

    void readsATextAsItIsWritten()
    {
        QFETCH(QByteArray, written);
        QFETCH(QString, text);
        const Data::String name = makeTable(tableOf("<string id='.a'>" + written +
                                                    "</string>"
                                                    "<ui name='F'><string id='.a'>" +
                                                    written + "</string></ui>"));
        StringTable::initialize("en", "", "");

        QVERIFY(StringTable::load(name));
        QCOMPARE(StringTable::lookup("." + name + ".a"), Data::String(text));
        QCOMPARE(StringTable::lookup(".a", "F"), Data::String(text));
    }

    void loadsTheFileOfItsLanguage()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"), "en");
        makeTable(tableOf("<string id='.a'>deutsch</string>"), "de", name);
        StringTable::initialize("de_DE", "", "");

        QVERIFY(StringTable::load(name));
        QCOMPARE(StringTable::lookup("." + name + ".a"), Data::String("deutsch"));
    }

    void fallsBackToEnglish()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"), "en");
        StringTable::initialize("fr", "", "");

        QVERIFY(StringTable::load(name));
        QCOMPARE(StringTable::lookup("." + name + ".a"), Data::String("English"));
    }

    void fallsBackToNothingElse()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>deutsch</string>"), "de");
        StringTable::initialize("en", "", "");
        QVERIFY(!StringTable::load(name));
        resetCatalogue();
        StringTable::initialize("fr", "", "");
        QVERIFY(!StringTable::load(name));

        QCOMPARE(StringTable::lookup("." + name + ".a"), "." + name + ".a");
    }

    void doesNotFallBackFromAFileThatIsBroken()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"), "en");
        makeTable("<broken", "de", name);
        StringTable::initialize("de", "", "");

        QVERIFY(!StringTable::load(name));
    }

    void loadsATableAnew()
    {
        const Data::String name =
            makeTable(tableOf("<string id='.a'>old</string><string id='.b'>old</string>"
                              "<ui name='Lost'><string id='.a'>old</string></ui>"));
        makeTable(tableOf("<string id='.a'>alt</string>"), "de", name);
        const Data::String key = "." + name;
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));
        QCOMPARE(StringTable::lookup(key + ".a"), Data::String("old"));
        QCOMPARE(StringTable::lookup(key + ".b"), Data::String("old"));
        QCOMPARE(StringTable::lookupl(key + ".a", "de"), Data::String("alt"));

        makeTable(tableOf("<string id='.a'>new</string>"), "en", name);
        makeTable(tableOf("<string id='.a'>neu</string>"), "de", name);
        QVERIFY(StringTable::load(name));

        QCOMPARE(StringTable::lookup(key + ".a"), Data::String("new"));
        QCOMPARE(StringTable::lookup(key + ".b"), Data::String(".b"));
        QCOMPARE(StringTable::lookupl(key + ".a", "de"), Data::String("neu"));
        QCOMPARE(catalogue->uiIndex.value("Lost"), key);
        QCOMPARE(StringTable::lookup(".a", "Lost"), Data::String(".a"));
    }

    void keepsATableThatCannotBeLoadedAnew()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>old</string>"));
        const Data::String key = "." + name + ".a";
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));

        makeTable(docType + "<strings><string id='.a'>new</string>", "en", name);
        QVERIFY(!StringTable::load(name));
        QCOMPARE(StringTable::lookup(key), Data::String("old"));

        QFile::remove(m_root.filePath("locale/" + name + "_en.xml"));
        QVERIFY(!StringTable::load(name));
        QCOMPARE(StringTable::lookup(key), Data::String("old"));
    }

    void findsTheLongerNameOnceItIsLoaded()
    {
        const Data::String name = makeTable(tableOf("<string id='.Sub.a'>short</string>"));
        const Data::String longer =
            makeTable(tableOf("<string id='.a'>long</string>"), "en", name + ".Sub");
        const Data::String key = "." + name + ".Sub.a";
        StringTable::initialize("en", "", "");

        QVERIFY(StringTable::load(name));
        QCOMPARE(StringTable::lookup(key), Data::String("short"));
        QVERIFY(StringTable::load(longer));
        QCOMPARE(StringTable::lookup(key), Data::String("long"));
    }

    void givesAFormToTheTableLoadedLast()
    {
        const Data::String first =
            makeTable(tableOf("<ui name='Shared'><string id='.a'>first</string>"
                              "<string id='.b'>first</string></ui>"));
        const Data::String second =
            makeTable(tableOf("<ui name='Shared'><string id='.a'>second</string></ui>"));
        StringTable::initialize("en", "", "");

        QVERIFY(StringTable::load(first));
        QCOMPARE(StringTable::lookup(".a", "Shared"), Data::String("first"));
        QVERIFY(StringTable::load(second));
        QCOMPARE(StringTable::lookup(".a", "Shared"), Data::String("second"));
        QCOMPARE(StringTable::lookup(".b", "Shared"), Data::String(".b"));
        QVERIFY(StringTable::load(first));
        QCOMPARE(StringTable::lookup(".a", "Shared"), Data::String("first"));
    }

    void loadsNoFileThatIsNoTable_data()
    {
        QTest::addColumn<QByteArray>("contents");

        const auto row = [](const char *name, const QByteArray &contents) {
            QTest::newRow(name) << contents;
        };
        const auto nested = [](const char *open, const char *close, int depth) {
            return tableOf(QByteArray(open).repeated(depth) + QByteArray(close).repeated(depth));
        };
        QByteArray entities = "<!DOCTYPE StringTable [<!ENTITY e0 '0123456789'>";
        for (int i = 1; i < 10; ++i) {
            const QByteArray inner = "&e" + QByteArray::number(i - 1) + ";";
            entities += "<!ENTITY e" + QByteArray::number(i) + " '" + inner.repeated(10) + "'>";
        }
        // clang-format off
        row("empty", "");
        row("a document type only", docType);
        row("no document type", "<strings><string id='.a'>1</string></strings>");
        row("another document type", "<!DOCTYPE Strings><strings/>");
        row("case in the document type", "<!DOCTYPE stringtable><strings/>");
        row("no end", docType + "<strings><string id='.a'>1</string>");
        row("tags that cross", tableOf("<ui name='F'><string id='.a'>1</ui></string>"));
        row("two roots", docType + "<strings/><strings/>");
        row("no XML", "text");
        row("bytes", QByteArray("\x7f" "ELF\0\x01\x02\xff\xfe\0\0", 11));
        row("zero bytes", QByteArray(100'000, '\0'));
        row("very deep contexts", nested("<context name='A'>", "</context>", 100'000));
        row("very deep forms", nested("<ui name='F'>", "</ui>", 100'000));
        row("entities that grow", entities + "]><strings><string id='.a'>&e9;</string></strings>");
        // clang-format on
    }

    void loadsNoFileThatIsNoTable()
    {
        QFETCH(QByteArray, contents);
        const Data::String name = makeTable(contents);
        StringTable::initialize("en", "A", "");

        QVERIFY(!StringTable::load(name));
        QVERIFY(catalogue->tables.isEmpty());
        QVERIFY(catalogue->uiIndex.isEmpty());
    }

    void bearsAZeroByteInAText()
    {
        const QByteArray withZero("<string id='.a'>a\0b</string>", 28);
        const Data::String name = makeTable(tableOf(withZero + "<string id='.b'>text</string>"));
        StringTable::initialize("en", "", "");

        if (StringTable::load(name)) {
            QVERIFY(StringTable::lookup("." + name + ".a").startsWith("a"));
            QCOMPARE(StringTable::lookup("." + name + ".b"), Data::String("text"));
        } else {
            QVERIFY(catalogue->tables.isEmpty());
        }
    }

    void loadsNoFolder()
    {
        const Data::String name = newName();
        QVERIFY(QDir(m_root.path()).mkpath("locale/" + name + "_en.xml"));
        const Data::String other = newName();
        QVERIFY(QDir(m_root.path()).mkpath(other));
        makeTable(tableOf(""), "en", other);
        StringTable::initialize("en", "", "");

        QVERIFY(!StringTable::load(name));
        QVERIFY2(!StringTable::load(other), "a folder of its name is found before the file");
    }

    void bearsNamesThatAreNone_data()
    {
        QTest::addColumn<Data::String>("name");

        QTest::newRow("empty") << Data::String("");
        QTest::newRow("a dot") << Data::String(".");
        QTest::newRow("up") << Data::String("..");
        QTest::newRow("up and away") << Data::String("../../../../nowhere");
        QTest::newRow("a slash") << Data::String("/");
        QTest::newRow("a folder that is not there") << Data::String("folder/Table");
        QTest::newRow("a marker") << Data::String("%1");
        QTest::newRow("a separator") << Data::String(";");
        QTest::newRow("a zero byte") << Data::String(QString("Table") + QChar('\0'));
        QTest::newRow("half a pair") << Data::String(QString(QChar(0xdc00)));
        QTest::newRow("many dots") << Data::String(QString(5'000, '.'));
        QTest::newRow("a long name") << Data::String(QString(10'000'000, 'x'));
    }

    void bearsNamesThatAreNone()
    {
        QFETCH(Data::String, name);
        StringTable::initialize("en", "", "");

        QVERIFY(!StringTable::load(name));
        QVERIFY(catalogue->tables.isEmpty());
        QCOMPARE(StringTable::lookupx(".a", name), "." + name + ".a");
    }

    void takesANameAsItIs()
    {
        const Data::String marker =
            makeTable(tableOf("<string id='.a'>marker</string>"), "en", "%1 %2");
        const Data::String folder =
            makeTable(tableOf("<string id='.a'>folder</string>"), "en", "Sub/Table");
        StringTable::initialize("en", "", "");

        QVERIFY(StringTable::load(marker));
        QCOMPARE(StringTable::lookup(".%1 %2.a"), Data::String("marker"));
        QVERIFY(StringTable::load(folder));
        QCOMPARE(StringTable::lookup(".Sub/Table.a"), Data::String("folder"));
    }

    void loadsAFileWithAsManyLevelsAsItMayHave()
    {
        const int depth = 400;
        const Data::String name = makeTable(tableOf(
            QByteArray("<context name='A'><ui name='F'>").repeated(depth / 2) +
            "<string id='.a'>deep</string>" + QByteArray("</ui></context>").repeated(depth / 2)));
        StringTable::initialize("en", "A", "");

        QVERIFY(StringTable::load(name));
        QCOMPARE(StringTable::lookup(".a", "F"), Data::String("deep"));
    }

    void loadsALargeFile()
    {
        QByteArray body;
        for (int i = 0; i < 20'000; ++i) {
            const QByteArray number = QByteArray::number(i);
            body += "<string id='.msg.text" + number + "'>Text " + number + "</string>\n";
        }
        body += "<string id='.long'>" + QByteArray("x\\\\\\n").repeated(200'000) + "</string>";
        const Data::String name = makeTable(tableOf(body));
        StringTable::initialize("en", "", "");

        QVERIFY(StringTable::load(name));
        for (int i = 0; i < 20'000; i += 777) {
            const QString number = QString::number(i);
            QCOMPARE(StringTable::lookup("." + name + ".msg.text" + number),
                     Data::String("Text " + number));
        }
        QCOMPARE(StringTable::lookup("." + name + ".long"),
                 Data::String(QString("x\\\n").repeated(200'000)));
    }

    void looksUpAnotherLanguage()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"
                                                    "<string id='.b'>English</string>"));
        makeTable(tableOf("<string id='.a'>deutsch</string>"
                          "<context name='A'><string id='.in'>deutsch</string></context>"
                          "<context name='B'><string id='.out'>deutsch</string></context>"
                          "<ui name='F'><string id='.a'>Form</string></ui>"),
                  "de", name);
        const Data::String key = "." + name;
        StringTable::initialize("en", "A", "");
        QVERIFY(StringTable::load(name));

        QCOMPARE(StringTable::lookupl(key + ".a", "de"), Data::String("deutsch"));
        QCOMPARE(StringTable::lookupl(key + ".b", "de"), Data::String(".b"));
        QCOMPARE(StringTable::lookupl(key + ".in", "de"), Data::String("deutsch"));
        QCOMPARE(StringTable::lookupl(key + ".out", "de"), Data::String(".out"));
        QCOMPARE(StringTable::lookupl(key + ".a", "en"), Data::String("English"));
        QCOMPARE(StringTable::lookupl(key + ".a", ""), Data::String("English"));
        QCOMPARE(StringTable::lookup(key + ".a"), Data::String("English"));
        QCOMPARE(StringTable::lookupl(".Other.a", "de"), Data::String(".Other.a"));
        QCOMPARE(StringTable::lookupl(".a", "de"), Data::String(".a"));
        QCOMPARE(StringTable::lookupl("text", "de"), Data::String("text"));
        QCOMPARE(StringTable::lookupl("", "de"), Data::String(""));
        QVERIFY(catalogue->uiIndex.isEmpty());
        QVERIFY(catalogue->tables["." + name].uiStrings.isEmpty());
        QCOMPARE(catalogue->tables["." + name].localeStrings.keys(), QList<Data::String>{"de"});
    }

    void looksUpNothingBeforeItIsSetUp()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"));
        const Data::String key = "." + name + ".a";

        QCOMPARE(StringTable::lookupl(key, "en"), key);
        QCOMPARE(StringTable::lookupl(key, ""), key);
        QCOMPARE(StringTable::lookupil("a;b", 1, ';', "de"), Data::String("b"));
        QCOMPARE(StringTable::lookupil("a;b", 1, ';', ""), Data::String("b"));
        QCOMPARE(StringTable::lookupkl("[a=1]", "a", "de"), Data::String("1"));
    }

    void readsAnotherLanguageOnce()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"));
        const Data::String key = "." + name + ".a";
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));

        QCOMPARE(StringTable::lookupl(key, "de"), Data::String("English"));
        QVERIFY(catalogue->tables["." + name].localeStrings.isEmpty());
        makeTable("<broken", "de", name);
        QCOMPARE(StringTable::lookupl(key, "de"), Data::String("English"));
        makeTable(tableOf("<string id='.a'>deutsch</string>"), "de", name);
        QCOMPARE(StringTable::lookupl(key, "de"), Data::String("deutsch"));
        makeTable(tableOf("<string id='.a'>anders</string>"), "de", name);
        QCOMPARE(StringTable::lookupl(key, "de"), Data::String("deutsch"));
    }

    void takesEnglishForAnotherLanguageWhenItsOwnIsNot()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"));
        makeTable(tableOf("<string id='.a'>deutsch</string>"), "de", name);
        const Data::String german = makeTable(tableOf("<string id='.a'>deutsch</string>"), "de");
        StringTable::initialize("de", "", "");
        QVERIFY(StringTable::load(name));
        QVERIFY(StringTable::load(german));

        QCOMPARE(StringTable::lookupl("." + name + ".a", "fr"), Data::String("English"));
        makeTable(tableOf("<string id='.a'>français</string>"), "fr", name);
        QCOMPARE(StringTable::lookupl("." + name + ".a", "fr"), Data::String("English"));
        QCOMPARE(StringTable::lookupl("." + german + ".a", "fr"), Data::String("deutsch"));
    }

    void looksUpAnotherLanguageInTheLongestTable()
    {
        const Data::String name = makeTable(tableOf("<string id='.Sub.a'>short</string>"));
        makeTable(tableOf("<string id='.Sub.a'>kurz</string>"), "de", name);
        const Data::String longer =
            makeTable(tableOf("<string id='.b'>long</string>"), "en", name + ".Sub");
        makeTable(tableOf("<string id='.b'>lang</string>"), "de", longer);
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));
        QVERIFY(StringTable::load(longer));

        QCOMPARE(StringTable::lookupl("." + name + ".Sub.b", "de"), Data::String("lang"));
        QCOMPARE(StringTable::lookupl("." + name + ".Sub.a", "de"), Data::String(".a"));
    }

    void bearsLanguagesThatAreNone()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>English</string>"));
        const Data::String key = "." + name + ".a";
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));

        const QString zero = QString("d") + QChar('\0');
        const QString large(1'000'000, 'x');
        for (const QString &language : {QString("../de"), QString("/"), QString("%1"), zero, large,
                                        QString(";"), QString("de;fr")})
            QCOMPARE(StringTable::lookupl(key, language), Data::String("English"));
    }

    void givesAnItemInAnotherLanguage()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>one; two</string>"));
        makeTable(tableOf("<string id='.a'>eins| zwei ;drei</string>"), "de", name);
        const Data::String key = "." + name + ".a";
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));

        QCOMPARE(StringTable::lookupil(key, 1, ';', "de"), Data::String("drei"));
        QCOMPARE(StringTable::lookupil(key, 1, '|', "de"), Data::String("zwei ;drei"));
        QCOMPARE(StringTable::lookupil(key, 2, '|', "de"), Data::String(""));
        QCOMPARE(StringTable::lookupil(key, -1, '|', "de"), Data::String(""));
        QCOMPARE(StringTable::lookupil(key, INT_MAX, '|', "de"), Data::String(""));
        QCOMPARE(StringTable::lookupil(key, 1, ';', "en"), Data::String("two"));
        QCOMPARE(StringTable::lookupil(key, 1, '|', ""), Data::String("two"));
        QCOMPARE(StringTable::lookupil(key, 0, ';', "fr"), Data::String("one"));
    }

    void givesAValueInAnotherLanguage()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>[a=1][b=2]</string>"));
        makeTable(tableOf("<string id='.a'>[a=eins=1]</string>"), "de", name);
        const Data::String key = "." + name + ".a";
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load(name));

        QCOMPARE(StringTable::lookupkl(key, "a", "de"), Data::String("eins=1"));
        QCOMPARE(StringTable::lookupkl(key, "b", "de"), Data::String(""));
        QCOMPARE(StringTable::lookupkl(key, "b", "en"), Data::String("2"));
        QCOMPARE(StringTable::lookupkl(key, "b", ""), Data::String("2"));
        QCOMPARE(StringTable::lookupkl(key, "c", ""), Data::String(""));
        QCOMPARE(StringTable::lookupkl(key, "b", "fr"), Data::String("2"));
    }

    void isLoadedByALoader()
    {
        const Data::String name = makeTable(tableOf("<string id='.a'>text</string>"));
        const Data::String key = "." + name + ".a";

        const Utils::StringTableLoader tooEarly(name);
        StringTable::initialize("en", "", "");
        QCOMPARE(StringTable::lookup(key), key);
        const Utils::StringTableLoader missing("Test.Missing");
        const Utils::StringTableLoader loader(name);
        QCOMPARE(StringTable::lookup(key), Data::String("text"));
    }
};

QTEST_GUILESS_MAIN(tst_StringTable_load)
#include "tst_StringTable_load.moc"
