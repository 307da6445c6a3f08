#include "utils/xml/Document.h"

#include "tests/csv/FailingMemory.h"
#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Files.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "tests/support/Stack.h"
#include "tests/support/Windows.h"
#include "tests/xml/DeepTree.h"
#include "utils/files/File.h"
#include "utils/xml/VersionStrings_p.h"

#include <QBuffer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <cerrno>
#include <functional>
#include <limits>
#include <locale>
#include <memory>

using Data::String;
using Utils::Xml::Document;

/// Numbers with a decimal comma.
class CommaNumbers : public std::numpunct<char>
{
protected:
    char do_decimal_point() const override { return ','; }
};

static const uint smallStack = 1U << 20; // bytes

// Levels of elements on it that are read in any case, and never.
#ifdef _WIN32 // where a call takes more of the stack
static const int readLevels = 900;
static const int tooManyLevels = 1024;
#else
static const int readLevels = 1800;
static const int tooManyLevels = 2048;
#endif

/// The number of levels that \p error names, or 0.
static int limitIn(const String &error)
{
    return QRegularExpression("deeper than (\\d+) levels").match(error).captured(1).toInt();
}

class tst_Document : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
        Utils::Catalogue &catalogue = *Utils::catalogue.ifAlive();
        catalogue.language = "en";
        catalogue.tables[".Kelm.Data"].strings = {{".err.noopen", "cannot open %1"},
                                                  {".err.doctype", "found %1 for %2"}};
        Utils::versionStrings.clear();
    }

    void cleanup()
    {
        resetCatalogue();
        Utils::versionStrings.clear();
    }

    // Memory that ends

    void writesNothingWhereTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        Document document(Document::Normal, 1.0);
        auto root = document.createElement("a");
        root.setAttribute("value", QString(1'000'000, 'x'));
        document.appendChild(root);
        const String path = makeFile(m_folder->filePath("a.xml"), "<old/>");
        Utils::File::lastError(); // glibc ends the process when it has no memory for the first call

        FailingMemory memory(500'000, FailingMemory::Larger);
        const bool isWritten = document.write(path);
        const String text = document.toText();
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(!isWritten);
        QCOMPARE(Utils::File::lastError(), String(".Kelm.Utils.err.memory"));
        QCOMPARE(text, String());
        QCOMPARE(contentsOf(path), QByteArray("<old/>"));
        QVERIFY(document.write(path));
        QVERIFY(contentsOf(path).size() > 1'000'000);
    }

    // Disks that fail

    void opensNothingOfAFileThatBreaksOff_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<QString>("message");

        const QString system = qt_error_string(EIO);
        QTest::newRow("at its start") << 0 << "unexpected end of file";
        QTest::newRow("within the root") << 20000 << "unexpected end of file";
        QTest::newRow("after the root") << 50000 << system;
        QTest::newRow("before its last byte") << 99999 << system;
    }

    void opensNothingOfAFileThatBreaksOff()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(int, offset);
        QFETCH(QString, message);
        QByteArray text = "<Model version='2.5'>\n";
        while (text.size() < 40000)
            text += "<item/>\n";
        text += "</Model>\n";
        text += QByteArray(99999 - text.size(), '\n') + ' ';
        const String path = makeFile(m_folder->filePath("a.xml"), text);
        Document document(Document::Normal, 1.0);
        String error;
        QVERIFY(document.open(path, "docElem:Model", error));
        QCOMPARE(document.documentVersion(), 2.5);
        const ReadFault fault(path, offset);

        const bool isOpen = document.open(path, "docElem:Model", error);

        QVERIFY(fault.count() > 0);
        QVERIFY(!isOpen);
        const QRegularExpression form("^(.*)\nline: \\d+  column: \\d+$");
        QCOMPARE(form.match(error).captured(1), message);
        QCOMPARE(document.documentVersion(), 0.0);
    }

    void opensAFileThatBreaksOffBehindItsEnd()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        const QByteArray text = "<Model/>" + QByteArray(50000, ' ');
        const String path = makeFile(m_folder->filePath("a.xml"), text);
        Document document(Document::Normal, 1.0);
        String error = "before";
        const ReadFault fault(path, text.size() + 1);

        QVERIFY(document.open(path, "", error));

        QCOMPARE(error, String("before"));
    }

    // What it is made with

    void isMadeWithADocumentType()
    {
        const Document document("Model", Document::Normal, 1.2345);

        QCOMPARE(document.doctype().name(), QString("Model"));
        QVERIFY(document.documentElement().isNull());
        QCOMPARE(document.documentVersion(), 1.2345); // as given, not rounded
        QCOMPARE(document.currentVersion(), 0.0);
        QCOMPARE(document.messages(), String());
        QCOMPARE(document.getMeta("a"), String());
    }

    void isMadeWithoutADocumentType()
    {
        const Document document(Document::Normal, -7.125);

        QVERIFY(document.isNull());
        QCOMPARE(document.doctype().name(), QString());
        QCOMPARE(document.documentVersion(), -7.125);
        QCOMPARE(document.currentVersion(), 0.0);
        QCOMPARE(document.messages(), String());
    }

    void knowsWhyItExists_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("isCopy");
        QTest::addColumn<bool>("isUndo");
        QTest::newRow("ordinary") << 0 << false << false;
        QTest::newRow("copy") << 1 << true << false;
        QTest::newRow("undo snapshot") << 2 << false << true;
    }

    void knowsWhyItExists()
    {
        QFETCH(int, mode);
        const Document document(static_cast<Document::Mode>(mode), 0.0);
        const Document named("a", static_cast<Document::Mode>(mode), 0.0);

        QTEST(document.isCopy(), "isCopy");
        QTEST(document.isUndo(), "isUndo");
        QTEST(named.isCopy(), "isCopy");
        QTEST(named.isUndo(), "isUndo");
        QCOMPARE(sizeof(Document::Mode), sizeof(qint32));
        QCOMPARE(static_cast<int>(Document::Normal), 0);
        QCOMPARE(static_cast<int>(Document::Copy), 1);
        QCOMPARE(static_cast<int>(Document::Undo), 2);
    }

    void sharesItsTreeWithItsCopies()
    {
        Document document("Model", Document::Undo, 2.5);
        document.setCurrentVersion(3.25);
        document.setMeta("key", "value");
        document.appendMessage("told");

        Document copy = document;
        copy.appendChild(copy.createElement("root"));
        copy.setMeta("key", "changed");
        copy.setCurrentVersion(1.0);
        copy.appendMessage("more");

        QVERIFY(copy == document); // one tree
        QCOMPARE(document.documentElement().tagName(), QString("root"));
        QVERIFY(copy.isUndo());
        QCOMPARE(copy.documentVersion(), 2.5);
        QCOMPARE(copy.messages(), String("told\nmore"));
        QCOMPARE(document.getMeta("key"), String("value"));
        QCOMPARE(document.currentVersion(), 3.25);
        QCOMPARE(document.messages(), String("told"));

        const Document moved = std::move(copy);
        QVERIFY(moved == document);
        QVERIFY(moved.isUndo());
        QCOMPARE(moved.documentVersion(), 2.5);
        QCOMPARE(moved.currentVersion(), 1.0);
        QCOMPARE(moved.getMeta("key"), String("changed"));

        Document assigned(Document::Normal, 0.0);
        assigned = moved;
        QVERIFY(assigned == document);
        QVERIFY(assigned.isUndo());
        QCOMPARE(assigned.documentVersion(), 2.5);
        QCOMPARE(assigned.messages(), String("told\nmore"));
    }

    void comparesItsDocumentTypeByCase()
    {
        const Document document("Model", Document::Normal, 0.0);
        const Document none(Document::Normal, 0.0);

        QVERIFY(document.isDocType("Model"));
        QVERIFY(!document.isDocType("model"));
        QVERIFY(!document.isDocType("Mode"));
        QVERIFY(!document.isDocType(""));
        QVERIFY(none.isDocType(""));
        QVERIFY(!none.isDocType("Model"));
    }

    // Meta values and messages

    void keepsMetaValues()
    {
        Document document(Document::Normal, 0.0);

        document.setMeta("a", "1");
        document.setMeta("A", "2");
        QCOMPARE(document.getMeta("a"), String("1"));
        QCOMPARE(document.getMeta("A"), String("2"));
        document.setMeta("a", "3");
        QCOMPARE(document.getMeta("a"), String("3"));
        QCOMPARE(document.getMeta("b"), String());
    }

    void tellsAMessageOnce()
    {
        Document document(Document::Normal, 0.0);

        document.appendMessage("");
        QCOMPARE(document.messages(), String());
        document.appendMessage("disk full");
        QCOMPARE(document.messages(), String("disk full"));
        document.appendMessage("disk"); // a part of what is there
        document.appendMessage("disk full");
        document.appendMessage("");
        QCOMPARE(document.messages(), String("disk full"));
        document.appendMessage("Disk");
        document.appendMessage("full\nDisk"); // across two messages
        QCOMPARE(document.messages(), String("disk full\nDisk"));
        document.appendMessage("a\nb");
        QCOMPARE(document.messages(), String("disk full\nDisk\na\nb"));
    }

    // Versions

    void holdsItsCurrentVersionToTwoDecimals_data()
    {
        QTest::addColumn<double>("version");
        QTest::addColumn<double>("held");

        const double infinity = std::numeric_limits<double>::infinity();
        const double lowest = INT_MIN * 0.01;
        QTest::newRow("zero") << 0.0 << 0.0;
        QTest::newRow("two decimals") << 1.23 << 123 * 0.01;
        QTest::newRow("rounds up above 0.6") << 1.999 << 2.0;
        QTest::newRow("cuts half a unit") << 1.995 << 199 * 0.01;
        QTest::newRow("cuts half a unit at 1") << 1.005 << 1.0;
        QTest::newRow("a little below 0.6") << 1.0059 << 1.0;
        QTest::newRow("a little above 0.6") << 1.0061 << 101 * 0.01;
        QTest::newRow("years") << 2019.1 << 201910 * 0.01;
        QTest::newRow("negative, towards zero") << -1.5 << -149 * 0.01;
        QTest::newRow("negative, to zero") << -0.005 << 0.0;
        QTest::newRow("the largest") << 21474836.47 << 2147483647 * 0.01;
        QTest::newRow("too large") << 21474836.48 << lowest;
        QTest::newRow("far too large") << 1e300 << lowest;
        QTest::newRow("too small") << -1e300 << lowest;
        QTest::newRow("infinite") << infinity << lowest;
        QTest::newRow("no number") << std::numeric_limits<double>::quiet_NaN() << lowest;
    }

    void holdsItsCurrentVersionToTwoDecimals()
    {
        QFETCH(double, version);
        QFETCH(double, held);
        Document document(Document::Normal, 1.0);

        document.setCurrentVersion(version);

        // Exactly, as QCOMPARE does not for doubles.
        QVERIFY2(document.currentVersion() == held,
                 QByteArray::number(document.currentVersion(), 'g', 17));
        QCOMPARE(document.documentVersion(), 1.0);
    }

    void readsAVersion_data()
    {
        QTest::addColumn<String>("text");
        QTest::addColumn<double>("version");

        const auto row = [](const char *text, double version) {
            QTest::newRow(text) << String(text) << version;
        };
        row("", 0.0);
        row("2", 2.0);
        row("2019.1", 201910 * 0.01);
        row("2019.1 beta", 201910 * 0.01);
        row("3.2.1", 321 * 0.01);
        row("1.2.3.4", 123 * 0.01);
        row("1.2.3.9", 123 * 0.01);
        row("1.2.3.4.5.6", 123 * 0.01);
        row("1..2", 1.2);
        row("1...2", 1.0);
        row("1.2.", 1.2);
        row("...", 0.0);
        row("..5", 0.5);
        row("...5", 0.0);
        row(".", 0.0);
        row("5.", 5.0);
        row(".5", 0.5);
        row("v2", 0.0);
        row(" 2", 0.0);
        row("2 ", 2.0);
        row("-2", 0.0);
        row("+2", 0.0);
        row("1e3", 1.0);
        row("1,5", 1.0);
        row("0x10", 0.0);
        row("1.999", 2.0);
        row("1.995", 199 * 0.01);
        row("007.50", 7.5);
        row("99999999999", INT_MIN * 0.01);
        // Digits of another script are digits, but no number.
        row("3.\u0663", 3.0);
        row("\u0663", 0.0);
        row("1\u00a02", 1.0);
        QTest::newRow("larger than any number") << String(QString(400, '9')) << 0.0;
        QTest::newRow("zero byte") << String(QString("1.5").append(QChar::Null).append("7")) << 1.5;
        QTest::newRow("half a character") << String(QString("2").append(QChar(0xd800))) << 2.0;
    }

    void readsAVersion()
    {
        QFETCH(String, text);
        QFETCH(double, version);

        const double read = Document::stringToVersion(text);

        QVERIFY2(read == version, QByteArray::number(read, 'g', 17));
    }

    void readsAHugeVersionInTime()
    {
        QCOMPARE(Document::stringToVersion(String(QString(10 * 1000 * 1000, '.'))), 0.0);
        QCOMPARE(Document::stringToVersion(String("1." + QString(10 * 1000 * 1000, '0'))), 1.0);
        QCOMPARE(Document::stringToVersion(String(QString("1.").repeated(5 * 1000 * 1000))), 1.11);
    }

    void readsAVersionInAnyLocale()
    {
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::German));
        const std::locale global =
            std::locale::global(std::locale(std::locale(), new CommaNumbers));

        const double version = Document::stringToVersion("1.5");

        std::locale::global(global);
        QLocale::setDefault(before);
        QCOMPARE(version, 1.5);
    }

    void readsRegisteredVersions()
    {
        QCOMPARE(Document::stringToVersion("alpha"), 0.0);
        Document::registerVersionString("alpha", 0.55);
        Document::registerVersionString("2.0", 1.23456789);
        Document::registerVersionString("", -3.0);

        QCOMPARE(Document::stringToVersion("alpha"), 0.55);
        QCOMPARE(Document::stringToVersion("Alpha"), 0.0);
        QCOMPARE(Document::stringToVersion("alpha "), 0.0);
        QVERIFY(Document::stringToVersion("2.0") == 1.23456789); // with all decimals
        QCOMPARE(Document::stringToVersion("2.0.0"), 2.0);
        QCOMPARE(Document::stringToVersion(""), -3.0);
        Document::registerVersionString("alpha", 7.0);
        QCOMPARE(Document::stringToVersion("alpha"), 7.0);
        QCOMPARE(Utils::versionStrings.size(), 3);
    }

    // Opening

    void opensAFileOfTheRightType_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("docType");
        QTest::addColumn<String>("error"); // "" when it is accepted

        const auto row = [](const char *name, const QByteArray &contents, const String &docType,
                            const String &error) {
            QTest::newRow(name) << contents << docType << error;
        };
        const QByteArray a = "<!DOCTYPE A><Model/>";
        const QByteArray none = "<Model/>";
        // clang-format off
        row("any type", a, "", "");
        row("any type, without a DOCTYPE", none, "", "");
        row("the type", a, "A", "");
        row("first of a list", a, "A;B", "");
        row("last of a list", a, "B;A", "");
        row("in a list with empty parts", a, ";;A", "");
        row("not the type", a, "B", "found A for B");
        row("not in a list", a, "B;C", "found A for B;C");
        row("other case", a, "a;b", "found A for a;b");
        row("part of a name", a, "AA;BA", "found A for AA;BA");
        row("blanks around it", a, " A ;B", "found A for  A ;B");
        row("no DOCTYPE", none, "A;B", "found  for A;B");
        row("no DOCTYPE, with an empty part", none, "A;", "");
        row("no DOCTYPE, with an empty part at the start", none, ";A", "");
        row("no DOCTYPE, separator alone", none, ";", "");
        row("a DOCTYPE, separator alone", a, ";", "found A for ;");
        row("the root element", a, "docElem:Model", "");
        row("the root element, without a DOCTYPE", none, "docElem:Model", "");
        row("not the root element", a, "docElem:A", "found Model for A");
        row("root element in other case", a, "docElem:model", "found Model for model");
        row("root elements are no list", a, "docElem:Model;A", "found Model for Model;A");
        row("no root element asked for", a, "docElem:", "found Model for ");
        row("colons in the root element", "<x:y:z/>", "docElem:x:y:z", "");
        row("other case is a DOCTYPE", a, "DocElem:Model", "found A for DocElem:Model");
        row("not at the start is a DOCTYPE", a, " docElem:Model", "found A for  docElem:Model");
        row("marker in the type wanted", a, "%1;%2", "found A for %1;%2");
        // clang-format on
    }

    void opensAFileOfTheRightType()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, docType);
        QFETCH(String, error);
        const QString path = makeFile(m_folder->filePath("a.xml"), contents);
        Document document(Document::Normal, 5.0);
        String told;

        const bool opened = document.open(path, docType, told);

        QCOMPARE(told, error);
        QCOMPARE(opened, error.isEmpty());
        QCOMPARE(document.documentVersion(), 0.0);
        // The tree holds what was read also when it is not accepted.
        QVERIFY(document.documentElement().tagName().size() > 2);
    }

    void readsTheVersionOfARootElement_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<double>("version");
        QTest::newRow("none") << QByteArray("<a/>") << 0.0;
        QTest::newRow("number") << QByteArray("<a version='2.75'/>") << 275 * 0.01;
        QTest::newRow("rounded") << QByteArray("<a version='1.999'/>") << 2.0;
        QTest::newRow("text at the end") << QByteArray("<a version='3.2.1 x'/>") << 321 * 0.01;
        QTest::newRow("no number") << QByteArray("<a version='x'/>") << 0.0;
        QTest::newRow("empty") << QByteArray("<a version=''/>") << 0.0;
        QTest::newRow("registered") << QByteArray("<a version='alpha'/>") << 0.55555;
        QTest::newRow("registered in other case") << QByteArray("<a version='ALPHA'/>") << 0.0;
        QTest::newRow("other case") << QByteArray("<a Version='2'/>") << 0.0;
        QTest::newRow("below the root") << QByteArray("<a><b version='2'/></a>") << 0.0;
        QTest::newRow("in the declaration") << QByteArray("<?xml version='1.0'?><a/>") << 0.0;
    }

    void readsTheVersionOfARootElement()
    {
        QFETCH(QByteArray, contents);
        QFETCH(double, version);
        Document::registerVersionString("alpha", 0.55555);
        const QString path = makeFile(m_folder->filePath("a.xml"), contents);
        Document document(Document::Normal, 5.0);
        document.setCurrentVersion(4.0);
        String error = "as it was";

        QVERIFY(document.open(path, "", error));

        QVERIFY2(document.documentVersion() == version,
                 QByteArray::number(document.documentVersion(), 'g', 17));
        QCOMPARE(document.currentVersion(), 4.0);
        QCOMPARE(error, String("as it was")); // only written on failure
    }

    void tellsAFileThatCannotBeOpened_data()
    {
        QTest::addColumn<QString>("name"); // below the test's folder, "" is no path
        // clang-format off
        QTest::newRow("missing") << "missing.xml";
        QTest::newRow("folder") << ".";
        QTest::newRow("below a file") << "file/a.xml";
        QTest::newRow("unreadable") << "unreadable";
        QTest::newRow("no path") << "";
        QTest::newRow("markers in its name") << "%1 %2.xml";
        QTest::newRow("zero byte in its name") << QString("file").append(QChar::Null).append(".xml");
        QTest::newRow("too long") << QString(5000, 'a');
        // clang-format on
    }

    void tellsAFileThatCannotBeOpened()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(QString, name);
        makeFile(m_folder->filePath("file"), "<a/>");
        QFile::setPermissions(makeFile(m_folder->filePath("unreadable"), "<a/>"), {});
        const String path = name.isEmpty() ? name : m_folder->filePath(name);
        Document document("Model", Document::Copy, 5.0);
        document.setCurrentVersion(4.0);
        document.setMeta("a", "b");
        document.appendMessage("c");
        String error;

        bool opened = true;
        {
            const OrdinaryUser user(m_folder->path());
            opened = document.open(path, "", error);
        }

        QVERIFY(!opened);
        QCOMPARE(error, "cannot open " + path);
        QCOMPARE(document.documentVersion(), 0.0);
        QCOMPARE(document.currentVersion(), 4.0);
        QCOMPARE(document.getMeta("a"), String("b"));
        QCOMPARE(document.messages(), String("c"));
        QVERIFY(document.isDocType("Model")); // nothing was read
        QVERIFY(document.isCopy());
    }

    void tellsKeysWhereThereAreNoTexts()
    {
        Document document(Document::Normal, 5.0);
        String error;

        Utils::catalogue->tables[".Kelm.Data"].strings.clear();
        QVERIFY(!document.open(m_folder->filePath("missing"), "", error));
        QCOMPARE(error, String(".err.noopen"));

        resetCatalogue();
        QVERIFY(!document.open(m_folder->filePath("missing"), "", error));
        QCOMPARE(error, String(".Kelm.Data.err.noopen"));
        QVERIFY(!document.open(makeFile(m_folder->filePath("a.xml"), "<a/>"), "B", error));
        QCOMPARE(error, String(".Kelm.Data.err.doctype"));
    }

    void tellsWhereAFileIsNotWellFormed_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("error");

        // clang-format off
        QTest::newRow("tag mismatch") << QByteArray("<a>\n<b></c></a>") << String("tag mismatch\nline: 2  column: 7");
        QTest::newRow("empty") << QByteArray() << String("unexpected end of file\nline: 1  column: 1");
        QTest::newRow("cut off") << QByteArray("<a><b/>") << String("unexpected end of file\nline: 1  column: 8");
        QTest::newRow("text after the root") << QByteArray("<a/>x")
            << String("unexpected character\nline: 1  column: 5");
        QTest::newRow("recursive entity") << QByteArray("<!DOCTYPE a [<!ENTITY e \"x&e;\">]><a>&e;</a>")
            << String("recursive entities\nline: 1  column: 39");
        // clang-format on
    }

    void tellsWhereAFileIsNotWellFormed()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, error);
        const QString path = makeFile(m_folder->filePath("a.xml"), contents);
        Document document(Document::Normal, 5.0);
        String told;

        QVERIFY(!document.open(path, "A", told));

        QCOMPARE(told, error);
        QCOMPARE(document.documentVersion(), 0.0);

        Document parsed(Document::Normal, 5.0);
        told.clear();
        QVERIFY(!parsed.parse(QString::fromUtf8(contents), told));
        QCOMPARE(told, error);
        QCOMPARE(parsed.documentVersion(), 0.0);
    }

    void keepsWhatWasReadBeforeAnError()
    {
        const QString path = makeFile(m_folder->filePath("a.xml"), "<a version='2'><b/><c></a>");
        Document document("Old", Document::Normal, 5.0);
        String error;

        QVERIFY(!document.open(path, "", error));

        QCOMPARE(document.documentElement().firstChildElement().tagName(), QString("b"));
        QCOMPARE(document.doctype().name(), QString());
        QCOMPARE(document.documentVersion(), 0.0);
    }

    void parsesAText()
    {
        Document document("Old", Document::Normal, 5.0);
        const Document copy = document;
        document.appendChild(document.createElement("old"));
        String error("none");
        // The encoding is that of another program's file.
        const String text("<?xml version='1.0' encoding='ISO-8859-1'?>"
                          "<!DOCTYPE Model><a version='2.1 beta' n='\u65e5'/>");

        QVERIFY(document.parse(text, error));

        QCOMPARE(error, String("none"));
        QVERIFY(document.isDocType("Model"));
        QCOMPARE(document.documentVersion(), 2.1);
        QCOMPARE(document.documentElement().attribute("n"), QString("\u65e5"));
        QCOMPARE(copy.documentElement().tagName(), QString("a")); // copies share the tree

        QVERIFY(document.parse("<b/>", error));
        QCOMPARE(document.documentElement().tagName(), QString("b"));
        QCOMPARE(document.documentVersion(), 0.0);
    }

    void keepsWhatWasParsedBeforeAnError()
    {
        Document document("Old", Document::Normal, 5.0);
        String error;

        QVERIFY(!document.parse("<a version='2'><b/><c></a>", error));

        QCOMPARE(document.documentElement().firstChildElement().tagName(), QString("b"));
        QCOMPARE(document.doctype().name(), QString());
        QCOMPARE(document.documentVersion(), 0.0);
    }

    void replacesWhatItHeld()
    {
        Document document("Old", Document::Normal, 5.0);
        document.appendChild(document.createElement("old"));
        String error;

        QVERIFY(document.open(makeFile(m_folder->filePath("a.xml"), "<new/>"), "", error));
        QCOMPARE(document.toString(), QString("<new/>\n"));
    }

    // What is not borne

    void refusesWhatNestsTooDeeply_data()
    {
        QTest::addColumn<QByteArray>("codec");
        QTest::addColumn<QByteArray>("declaration");
        QTest::addColumn<QString>("letter");
        // clang-format off
        QTest::newRow("UTF-8") << QByteArray("UTF-8") << QByteArray() << "\u00e4";
        QTest::newRow("UTF-8, declared") << QByteArray("UTF-8") << QByteArray("UTF-8") << "\u00e4";
        QTest::newRow("Latin-1") << QByteArray("ISO-8859-1") << QByteArray("ISO-8859-1") << "\u00e4";
        QTest::newRow("UTF-16 with a mark") << QByteArray("UTF-16") << QByteArray() << "\u00e4";
        QTest::newRow("UTF-16, declared") << QByteArray("UTF-16") << QByteArray("UTF-16") << "\u00e4";
        QTest::newRow("UTF-16LE") << QByteArray("UTF-16LE") << QByteArray("UTF-16LE") << "\u00e4";
        QTest::newRow("UTF-16BE") << QByteArray("UTF-16BE") << QByteArray("UTF-16BE") << "\u00e4";
        QTest::newRow("Shift_JIS") << QByteArray("Shift_JIS") << QByteArray("Shift_JIS") << "\u3042";
        // clang-format on
    }

    void refusesWhatNestsTooDeeply()
    {
        QFETCH(QByteArray, codec);
        QFETCH(QByteArray, declaration);
        QFETCH(QString, letter);
        QString start;
        if (!declaration.isEmpty())
            start = "<?xml version='1.0' encoding='" + declaration + "'?>\n";
        const auto make = [&](const char *name, int levels) {
            const QString text = start + QString("<a%1>").arg(letter).repeated(levels) +
                                 QString("</a%1>").arg(letter).repeated(levels);
            const QTextCodec *const made = QTextCodec::codecForName(codec);
            return String(makeFile(m_folder->filePath(name), made->fromUnicode(text.simplified())));
        };
        int limit = 0;
        bool isLimitOpened = false;
        bool isMoreOpened = true;
        bool isRootThere = false;
        double version = -1.0;
        String error;
        onStack(smallStack, [&] {
            // A function of its own for each call: the limit depends on the stack that there is.
            const std::function<bool(const char *, int)> open = [&](const char *name, int levels) {
                Document document(Document::Normal, 5.0);
                const bool isOpened = document.open(make(name, levels), "", error);
                version = document.documentVersion();
                isRootThere = !document.documentElement().isNull(); // what was read before
                return isOpened;
            };
            open("far.xml", 5000);
            limit = limitIn(error);
            isLimitOpened = open("limit.xml", limit);
            isMoreOpened = open("more.xml", limit + 1);
        });

        QVERIFY2(limit >= readLevels && limit <= tooManyLevels, QByteArray::number(limit));
        QVERIFY(isLimitOpened);
        QVERIFY(!isMoreOpened);
        const int column = start.simplified().size() + (start.isEmpty() ? 0 : 1) + limit * 4 + 3;
        QCOMPARE(error, String(QString("elements are nested deeper than %1 levels\n"
                                       "line: 1  column: %2")
                                   .arg(limit)
                                   .arg(column)));
        QCOMPARE(version, 0.0);
        QVERIFY(isRootThere);
    }

    void parsesNothingThatNestsTooDeeply()
    {
        int limit = 0;
        bool isLimitParsed = false;
        bool isMoreParsed = true;
        QString kept;
        double version = -1.0;
        String error;
        onStack(smallStack, [&] {
            const std::function<bool(int)> parse = [&](int levels) {
                Document document(Document::Normal, 5.0);
                document.appendChild(document.createElement("old"));
                const bool isParsed = document.parse(
                    QString("<a>").repeated(levels) + QString("</a>").repeated(levels), error);
                kept = document.documentElement().tagName();
                version = document.documentVersion();
                return isParsed;
            };
            parse(60000);
            limit = limitIn(error);
            isLimitParsed = parse(limit);
            isMoreParsed = parse(limit + 1);
        });

        QVERIFY2(limit >= readLevels && limit <= tooManyLevels, QByteArray::number(limit));
        QVERIFY(isLimitParsed);
        QVERIFY(!isMoreParsed);
        QCOMPARE(error, String(QString("elements are nested deeper than %1 levels\n"
                                       "line: 1  column: %2")
                                   .arg(limit)
                                   .arg(limit * 3 + 3)));
        QCOMPARE(kept, QString("old"));
        QCOMPARE(version, 0.0);
    }

    void readsLongDeclarations_data() { refusesWhatNestsTooDeeply_data(); }

    void readsLongDeclarations()
    {
        QFETCH(QByteArray, codec);
        QFETCH(QByteArray, declaration);
        QFETCH(QString, letter);
        QString text = "<?xml version='1.0'";
        if (!declaration.isEmpty())
            text += " encoding='" + declaration + "'";
        // The letter is at every position of the chunks in which a file is read.
        text += "?><!DOCTYPE a [";
        for (int i = 0; i < 3000; ++i)
            text += "<!-- " + letter.repeated(80 + i % 7) + " -->";
        text += "<!ENTITY e '" + letter + "'>]><a b='&e;'>&e;" + letter + "</a>";
        const QByteArray contents = QTextCodec::codecForName(codec)->fromUnicode(text);
        Document document(Document::Normal, 5.0);
        String error;

        QVERIFY2(document.open(makeFile(m_folder->filePath("a.xml"), contents), "", error),
                 qPrintable(error));

        QCOMPARE(document.documentElement().text(), letter + letter);
        QCOMPARE(document.documentElement().attribute("b"), letter);
    }

    void opensWhatItWrites_data()
    {
        QTest::addColumn<uint>("stack");
        QTest::addColumn<int>("levels");
        QTest::newRow("the deepest tree on an ordinary stack") << (8U << 20) << 5000;
        QTest::newRow("on a small one") << smallStack << readLevels;
    }

    void opensWhatItWrites()
    {
        QFETCH(uint, stack);
        QFETCH(int, levels);
        const String path = m_folder->filePath("a.xml");
        bool isWritten = false;
        bool isOpened = false;
        String text;
        onStack(stack, [&] {
            Document document(Document::Normal, 0.0);
            addDeepTree(document, levels);
            isWritten = document.write(path);
            Document read(Document::Normal, 0.0);
            String error;
            isOpened = read.open(path, "", error);
            read.write(m_folder->filePath("b.xml"));
        });

        QVERIFY(isWritten);
        QVERIFY(isOpened);
        QCOMPARE(Utils::File::readRaw(m_folder->filePath("b.xml")), Utils::File::readRaw(path));
    }

    void writesNothingThatItCannotOpen()
    {
        const String path = makeFile(m_folder->filePath("a.xml"), "before");
        bool isWritten = true;
        onStack(smallStack, [&] {
            Document document(Document::Normal, 0.0);
            addDeepTree(document, 2100);
            isWritten = document.write(path);
            takeApart(document);
        });

        QVERIFY(!isWritten);
        QCOMPARE(Utils::File::readRaw(path), QByteArray("before"));
    }

    void opensDeepGroups()
    {
        const QByteArray contents = "<!DOCTYPE a [<!ELEMENT a " + QByteArray(readLevels, '(') +
                                    "b" + QByteArray(readLevels, ')') + ">]><a/>";
        const String path = makeFile(m_folder->filePath("a.xml"), contents);
        bool isOpened = false;
        onStack(smallStack, [&] {
            Document document(Document::Normal, 0.0);
            String error;
            isOpened = document.open(path, "", error);
        });

        QVERIFY(isOpened);
    }

    void refusesWhatExpandsTooFar_data()
    {
        QTest::addColumn<QByteArray>("contents");

        const QByteArray entity = "<!DOCTYPE a [<!ENTITY e \"" + QByteArray(4000, 'x') + "\">";
        const QByteArray references = QByteArray("&e;").repeated(20000);
        // clang-format off
        QTest::newRow("in text") << entity + "]><a>" + references + "</a>";
        QTest::newRow("in an attribute") << entity + "]><a b='" + references + "'/>";
        QTest::newRow("in a declared attribute") << entity + "<!ATTLIST a b CDATA '" + references + "'>]><a/>";
        // clang-format on
    }

    void refusesWhatExpandsTooFar()
    {
        QFETCH(QByteArray, contents);
        QVERIFY(contents.size() < 65536);
        Document document(Document::Normal, 5.0);
        String error;

        QVERIFY(!document.open(makeFile(m_folder->filePath("a.xml"), contents), "", error));

        QVERIFY2(
            error.startsWith("entities expand to more than 8388608 characters\nline: 1  column: "),
            qPrintable(error));
        QCOMPARE(document.documentVersion(), 0.0);

        const String told = error;
        QVERIFY(!document.parse(QString::fromUtf8(contents), error));
        QCOMPARE(error, told);
    }

    // Each of them ends the stack, or takes minutes, when it is parsed.
    void refusesWhatEndsTheParser_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("message");

        const int many = 200 * 1000;
        const String tooDeep = "elements are nested deeper than # levels";
        const auto row = [](const char *name, const QByteArray &declarations,
                            const QByteArray &text, const String &message) {
            QTest::newRow(name) << "<!DOCTYPE a [" + declarations + "]><a>" + text + "</a>"
                                << message;
        };
        row("groups", "<!ELEMENT a " + QByteArray(many, '(') + "b" + QByteArray(many, ')') + ">",
            "", "a declaration is nested deeper than # levels");
        row("quotes of a parameter", "<!ENTITY % p \"'/>\"><!ENTITY o \"<b c='%p;'>\">",
            QByteArray("&o;").repeated(many), tooDeep);
        row("the start of a declaration in a parameter", "<!ENTITY % p '<!ENTITY'>%p;o '<b>'>",
            QByteArray("&o;").repeated(many), tooDeep);
        QByteArray entities;
        for (int i = 0; i < 3000; ++i)
            entities += "<!ENTITY e" + QByteArray::number(i) + " ''>";
        row("an entity in itself", entities + "<!ENTITY e '<b>&e;'>", "&e;", tooDeep);
    }

    void refusesWhatEndsTheParser()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, message);
        const String path = makeFile(m_folder->filePath("a.xml"), contents);
        bool isOpened = true;
        String error;
        String parseError;
        onStack(smallStack, [&] {
            Document document(Document::Normal, 5.0);
            isOpened = document.open(path, "", error) ||
                       document.parse(QString::fromUtf8(contents), parseError);
        });

        QVERIFY(!isOpened);
        QCOMPARE(parseError.section(QRegularExpression("\\d+"), 0, 0),
                 error.section(QRegularExpression("\\d+"), 0, 0));
        const QString limit = QString::number(limitIn(error));
        QCOMPARE(error.section('\n', 0, 0), QString(message).replace('#', limit));
    }

    // The parser searches each entity for all others, with an allocation for each search.
    void refusesManyEntitiesWithLessWorkThanItReadsAFew()
    {
        SKIP_ON_WINDOWS("the allocations of a program on Windows are not counted");
        String error;
        const auto cost = [&](int count) {
            QByteArray contents = "<!DOCTYPE a [";
            for (int i = 0; i < count; ++i)
                contents += "<!ENTITY e" + QByteArray::number(i) + " 'v'>";
            const QString path = makeFile(m_folder->filePath("a.xml"), contents + "]><a/>");
            Document document(Document::Normal, 5.0);
            error = String();
            const AllocatedMemory used;
            document.open(path, "", error);
            return used.count();
        };

        const auto few = cost(5000);
        QCOMPARE(error, String());
        const auto many = cost(200 * 1000);

        QVERIFY(error.startsWith("too many entities are declared\nline: 1  column: "));
        QVERIFY2(many < few / 50, qPrintable(QString("%1 and %2").arg(many).arg(few)));
    }

    // The parser, which reads a file by the kilobyte, does not see it, and finds no fault with the
    // rest.
    void refusesWhatNestsTooDeeplyBehindTheRoot()
    {
        QByteArray contents =
            "<!DOCTYPE a [<!ENTITY o '" + QByteArray("<b>").repeated(2100) + "'>]><a/>";
        contents = contents.leftJustified(8 * 1024, ' ') + "&o;";
        const String path = makeFile(m_folder->filePath("a.xml"), contents);
        bool isOpened = true;
        String error;
        onStack(smallStack, [&] {
            Document document(Document::Normal, 5.0);
            isOpened = document.open(path, "", error);
        });

        QVERIFY(!isOpened);
        QCOMPARE(error, String(QString("elements are nested deeper than %1 levels\n"
                                       "line: 1  column: 8196")
                                   .arg(limitIn(error))));
    }

    void bearsWhatExpandsABit()
    {
        const QByteArray contents = "<!DOCTYPE a [<!ENTITY e \"" + QByteArray(4000, 'x') +
                                    "\">]><a>" + QByteArray("&e;").repeated(500) + "</a>";
        Document document(Document::Normal, 5.0);
        String error;

        QVERIFY(document.open(makeFile(m_folder->filePath("a.xml"), contents), "", error));

        QCOMPARE(document.documentElement().text().size(), 2 * 1000 * 1000);
    }

    void bearsAnyContents_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<bool>("isAccepted");

        QByteArray random;
        QRandomGenerator generator(1);
        for (int i = 0; i < 10 * 1000 * 1000; i += 4) {
            const quint32 bits = generator.generate();
            random.append(reinterpret_cast<const char *>(&bits), 4);
        }
        const int size = 10 * 1000 * 1000;
        // clang-format off
        QTest::newRow("binary") << random << false;
        QTest::newRow("zero bytes") << QByteArray(size, '\0') << false;
        QTest::newRow("zero bytes in a text") << QByteArray("<a>\0\0</a>", 9) << true;
        QTest::newRow("mark of UTF-16 alone") << QByteArray("\xff\xfe") << false;
        QTest::newRow("half a character of UTF-16") << QByteArray("\xff\xfe<\0a\0/", 7) << false;
        QTest::newRow("invalid UTF-8") << QByteArray("<a>\xff\xc0\x80</a>") << true;
        QTest::newRow("cut UTF-8") << QByteArray("<a>\xe2\x82") << false;
        QTest::newRow("a long attribute") << "<a b='" + QByteArray(size, 'x') + "'/>" << true;
        QTest::newRow("a long name") << "<" + QByteArray(1000 * 1000, 'x') + "/>" << true;
        QTest::newRow("a long text") << "<a>" + QByteArray(size, 'x') + "</a>" << true;
        QTest::newRow("a long comment") << "<a><!--" + QByteArray(size, 'x') + "--></a>" << true;
        QTest::newRow("brackets alone") << QByteArray(size, '<') << false;
        QTest::newRow("ampersands alone") << "<a>" + QByteArray(size, '&') << false;
        QTest::newRow("unknown encoding") << QByteArray("<?xml version='1.0' encoding='x'?><a/>") << true;
        // clang-format on
    }

    void bearsAnyContents()
    {
        QFETCH(QByteArray, contents);
        QFETCH(bool, isAccepted);
        Document document(Document::Normal, 5.0);
        String error;

        const bool opened =
            document.open(makeFile(m_folder->filePath("a.xml"), contents), "", error);

        QCOMPARE(opened, isAccepted);
        QCOMPARE(error.isEmpty(), isAccepted);
    }

    // What guards the parser makes no difference to it.
    void readsAsQtDoes()
    {
        static const char *const pieces[] = {"<",
                                             ">",
                                             "/",
                                             "<a>",
                                             "</a>",
                                             "<b c='d'>",
                                             "</b>",
                                             "<b c=\"1\"/>",
                                             "&lt;",
                                             "&e;",
                                             "&f;",
                                             "text",
                                             "\n",
                                             " ",
                                             "<!--x-->",
                                             "<![CDATA[<a>]]>",
                                             "]]>",
                                             "<?p?>",
                                             "'",
                                             "\"",
                                             "\xc3\xa4",
                                             "&#65;",
                                             "&#x263a;",
                                             "-->",
                                             "<!--",
                                             "&x;",
                                             "<b c='&e;'/>",
                                             "&",
                                             ";",
                                             "\r\n",
                                             "<c/>",
                                             "<!DOCTYPE b>"};
        QRandomGenerator random(1);
        int accepted = 0;
        for (int i = 0; i < 1500; ++i) {
            QByteArray text = i % 3 == 0 ? "<?xml version='1.0' encoding='ISO-8859-1'?>" : "";
            if (i % 2 == 0)
                text += "<!DOCTYPE a [<!ENTITY e 'E<b>&f;</b>'><!ENTITY f 'F'>]>";
            text += "<a>";
            for (int count = random.bounded(6); count > 0; --count)
                text += pieces[random.bounded(static_cast<int>(std::size(pieces)))];
            text += "</a>";
            QByteArray copy = text;
            QBuffer buffer(&copy);
            buffer.open(QIODevice::ReadOnly);
            QDomDocument expected;
            QString message;
            int line = 0;
            int column = 0;
            const bool isRead = expected.setContent(&buffer, &message, &line, &column);
            Document document(Document::Normal, 5.0);
            String error;

            const bool opened =
                document.open(makeFile(m_folder->filePath("a.xml"), text), "", error);

            accepted += opened;
            QCOMPARE(opened, isRead);
            QCOMPARE(document.toString(), expected.toString());
            if (!isRead)
                QCOMPARE(error, String(message + "\nline: " + QString::number(line) +
                                       "  column: " + QString::number(column)));
        }
        QVERIFY2(accepted > 200 && accepted < 1300, QByteArray::number(accepted));
    }

    void opensWhatHasNoSize()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        Document document(Document::Normal, 5.0);
        String error;

        QVERIFY(!document.open("/dev/null", "", error));
        QCOMPARE(error, String("unexpected end of file\nline: 1  column: 1"));
        QVERIFY(!document.open("/dev/zero", "", error)); // without an end
    }

    void replacesInValues()
    {
        Document document(Document::Normal, 0.0);
        document.replaceInValues("a", "b"); // no root element: nothing happens
        QVERIFY(document.setContent(QString("<r x='a'><s y='a;c'>a</s></r>")));

        document.replaceInValues("a", "b");

        QCOMPARE(document.documentElement().attribute("x"), QString("b"));
        const QDomElement child = document.documentElement().firstChildElement();
        QCOMPARE(child.attribute("y"), QString("b;c"));
        QCOMPARE(child.text(), QString("b"));
    }

    void replacesInValuesAtAnyDepth()
    {
        Document document(Document::Normal, 0.0);
        QDomElement element = addDeepTree(document, 1000 * 1000);
        element.setAttribute("b", "c");

        document.replaceInValues("c", "d");

        QCOMPARE(element.attribute("b"), QString("d"));
        takeApart(document);
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Document)
#include "tst_Document.moc"
