#include "utils/xml/Document.h"

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/xml/DeepTree.h"
#include "utils/files/File.h"
#include "utils/xml/Element.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using Data::String;
using Utils::Xml::Document;
using Utils::Xml::Element;

class tst_Document_write : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void writesADeclarationThatIsReadAgain_data()
    {
        QTest::addColumn<QByteArray>("read");
        QTest::addColumn<QByteArray>("written");

        const auto row = [](const char *name, const char *read, const char *written) {
            QTest::newRow(name) << QByteArray(read) << QByteArray(written);
        };
        // clang-format off
        row("an apostrophe", "version=\"1.0'\"", "version='1.0&apos;'");
        row("references", "version='a&lt;b&amp;c&quot;d&apos;e'", "version='a&lt;b&amp;c\"d&apos;e'");
        row("a reference", "version='a&amp;amp;b'", "version='a&amp;amp;b'");
        row("in the encoding", "version=\"1'\" encoding=\"UTF-8'x\" standalone='yes'",
            "version='1&apos;' encoding='UTF-8&apos;x' standalone='yes'");
        row("what looks like an encoding", "version=\"1' standalone='no\" standalone='yes'",
            "version='1&apos; standalone=&apos;no' standalone='yes'");
        row("a plain one", "version='1.0' encoding=\"UTF-8\" standalone='no'",
            "version='1.0' encoding='UTF-8' standalone='no'");
        // clang-format on
    }

    void writesADeclarationThatIsReadAgain()
    {
        QFETCH(QByteArray, read);
        QFETCH(QByteArray, written);
        const String path = makeFile(m_folder->filePath("a.xml"), "<?xml " + read + "?><m/>");
        Document document(Document::Normal, 0.0);
        String error;
        QVERIFY(document.open(path, "", error));

        QVERIFY(document.write(path));

        QCOMPARE(Utils::File::readRaw(path), "<?xml " + written + "?>\n<m/>\n\n");
        Document again(Document::Normal, 0.0);
        QVERIFY2(again.open(path, "", error), error.c_str());
        QCOMPARE(again.firstChild().nodeValue(), document.firstChild().nodeValue());
    }

    void leavesADeclarationOfAHostAsItIs_data()
    {
        QTest::addColumn<QString>("data");

        QTest::newRow("quotes") << "version=\"1.0\" encoding=\"UTF-8\"";
        QTest::newRow("apostrophes and quotes") << "version=\"1'\"  standalone = 'yes' ";
        QTest::newRow("blanks") << "version='1.0'  encoding='UTF-8'";
        QTest::newRow("nothing that can be read") << "'";
    }

    void leavesADeclarationOfAHostAsItIs()
    {
        QFETCH(QString, data);
        const String path = m_folder->filePath("a.xml");
        Document document(Document::Normal, 0.0);
        document.appendChild(document.createProcessingInstruction("xml", data));
        document.appendChild(document.createElement("m"));

        QVERIFY(document.write(path));

        QCOMPARE(Utils::File::readRaw(path), "<?xml " + data.toUtf8() + "?>\n<m/>\n\n");
    }

    void laysADocumentOut_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("written");

        const auto row = [](const char *name, const char *contents, const char *written) {
            QTest::newRow(name) << QByteArray(contents) << QByteArray(written);
        };
        // clang-format off
        row("name, type, then the others", "<item z='1' type='t' Alpha='2' name='n'/>",
            "<item name=\"n\" type=\"t\" Alpha=\"2\" z=\"1\"/>\n\n");
        row("upper case before lower case", "<a b='1' A='2'/>", "<a A=\"2\" b=\"1\"/>\n\n");
        row("whatever the letter", "<x a='1' B='2'/>", "<x B=\"2\" a=\"1\"/>\n\n");
        row("names that only start so", "<x typename='1' name2='2' type='3' a='4' name='5'/>",
            "<x name=\"5\" type=\"3\" a=\"4\" name2=\"2\" typename=\"1\"/>\n\n");
        row("names are told by case", "<x name='1' Name='2' Type='3' type='4'/>",
            "<x name=\"1\" type=\"4\" Name=\"2\" Type=\"3\"/>\n\n");
        row("sorted with their values", "<x a='1' a-b='2' a1='3' a.b='4' a_b='5'/>",
            "<x a-b=\"2\" a.b=\"4\" a1=\"3\" a=\"1\" a_b=\"5\"/>\n\n");
        row("values are carried whole", "<x title='a > b' b='/>' a=' /&gt; ' c='>' name='&lt;&quot;&amp;'/>",
            "<x name=\"&lt;&quot;&amp;\" a=\" /> \" b=\"/>\" c=\">\" title=\"a > b\"/>\n\n");
        row("']]>' in a value", "<x b='1' a=']]&gt;'/>", "<x a=\"]]&gt;\" b=\"1\"/>\n\n");
        row("white space in a value", "<x b='1&#9;2&#10;3&#13;4' a='  '/>",
            "<x a=\"  \" b=\"1&#x9;2&#xa;3&#xd;4\"/>\n\n");
        row("an empty element", "<item/>", "<item/>\n\n");
        row("indent", "<r><s><item b='1' a='2'><t/></item></s></r>",
            "<r>\n  <s>\n    <item a=\"2\" b=\"1\">\n      <t/>\n    </item>\n  </s>\n</r>\n\n");
        row("empty line at the start", "<r><!--*--><s/></r>", "<r>\n\n  <s/>\n</r>\n\n");
        row("empty line at the end", "<r><s/><!--*--></r>", "<r>\n  <s/>\n\n</r>\n\n");
        row("empty lines beside the root", "<!--*--><r/><!--*-->", "\n<r/>\n\n\n");
        row("comments", "<r><!-- a b=\"1\" --><!--**--><!-- * --></r>",
            "<r>\n  <!-- a b=\"1\" -->\n  <!--**-->\n  <!-- * -->\n</r>\n\n");
        row("text on the line", "<a><b c='1'>text</b></a>", "<a>\n  <b c=\"1\">text</b>\n</a>\n\n");
        row("DOCTYPE", "<!DOCTYPE a PUBLIC \"b c=\" \"d\"><a/>", "<!DOCTYPE a PUBLIC 'b c=' 'd'>\n<a/>\n\n");
        row("processing instructions", "<?xml version=\"1.0\" encoding=\"UTF-8\"?><?p z=\"1\" a=\"2\"?><a/>",
            "<?xml version='1.0' encoding='UTF-8'?>\n<?p z=\"1\" a=\"2\"?>\n<a/>\n\n");
        row("a tag in a CDATA section", "<a><![CDATA[\n  <x b=\"1\"  a=\"2\" >  \n<x\tb=\"1\"\ta=\"2\">\n]]></a>",
            "<a><![CDATA[\n  <x a=\"2\" b=\"1\">\n<x\tb=\"1\"\ta=\"2\">\n]]></a>\n\n");
        row("a tag on the first line of a CDATA section", "<a><![CDATA[<x b=\"1\" a=\"2\">\n]]></a>",
            "<a><![CDATA[<x b=\"1\" a=\"2\">\n]]></a>\n\n");
        row("a tag in a comment", "<a><!--\n<x b=\"1\" a=\"2\">\n<!x b=\"1\" a=\"2\">\n--></a>",
            "<a>\n  <!--\n<x a=\"2\" b=\"1\">\n<!x b=\"1\" a=\"2\">\n-->\n</a>\n\n");
        row("an empty line in a CDATA section", "<a><![CDATA[x\n  <!--*-->  \ny]]></a>",
            "<a><![CDATA[x\n\ny]]></a>\n\n");
        row("mixed content", "<f z='1'>a<g/></f>", "<f a<g z=\"1\"/>\n</f>\n\n");
        row("text that ends like a tag", "<r><h z='1'>x &gt;\n</h></r>", "<r>\n  <h x z=\"1\">\n</h>\n</r>\n\n");
        row("another tag on the line", "<r>t<a z='1'/><b/></r>", "<r t<a z=\"1\"/>\n  <b/>\n</r>\n\n");
        row("text after a first comment", "<a><!--x-->text</a>", "<a>\n  <!--x-->text</a>\n\n");
        row("'*' after text", "<a>text<!--*--></a>", "<a>text<!--*-->\n</a>\n\n");
        row("letters beyond ASCII", "<\xc3\xa4 \xc3\xb6='\xe2\x82\xac' a='\xf0\x9f\x98\x80'/>",
            "<\xc3\xa4 a=\"\xf0\x9f\x98\x80\" \xc3\xb6=\"\xe2\x82\xac\"/>\n\n");
        row("characters that Latin-1 lacks", "<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xe4&#x20ac;'/>",
            "<?xml version='1.0' encoding='ISO-8859-1'?>\n<a b=\"\xc3\xa4&#x20ac;\"/>\n\n");
        // clang-format on
    }

    void laysADocumentOut()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, written);
        Document document(Document::Normal, 0.0);
        QString error;
        QVERIFY2(document.setContent(contents, &error), qPrintable(error));
        const QString before = document.toString();
        const QString path = m_folder->filePath("a.xml");

        QVERIFY(document.write(path));

        QCOMPARE(Utils::File::readRaw(path), written);
        QCOMPARE(document.toText().toUtf8(), written);
        QCOMPARE(document.toString(), before);
    }

    void hasTheTextThatIsWritten()
    {
        const QString path = m_folder->filePath("a.xml");
        Document document("Model", Document::Normal, 0.0);
        Element root = document.createElement("model");
        document.appendChild(root);
        root.setAttribute("b", QString(QChar(0xd800)) + "x" + QChar::Null); // half a character
        root.setAttribute("name", QString::fromUtf8("😀\r\n"));

        QVERIFY(document.write(path));

        const QByteArray written = Utils::File::readRaw(path);
        QVERIFY(written.contains("name="));
        QCOMPARE(document.toText().toUtf8(), written);
    }

    void writesADocumentWithoutChildren()
    {
        const QString path = m_folder->filePath("a.xml");

        QVERIFY(Document(Document::Normal, 0.0).write(path));
        QCOMPARE(Utils::File::readRaw(path), QByteArray("\n"));
        QCOMPARE(Document(Document::Normal, 0.0).toText(), String("\n"));
        QVERIFY(Document("Model", Document::Normal, 0.0).write(path));
        QCOMPARE(Utils::File::readRaw(path), QByteArray("\n"));
    }

    void writesWhatSerialisingCodeAdds()
    {
        Document document("Model", Document::Normal, 0.0);
        Element root = document.createElement("Model");
        document.appendChild(root);
        root.appendSpace(document);
        root.appendComment(document, "cases");
        Element item = document.createElement("case");
        item.setAttribute("b", 1);
        item.setAttribute("name", "n");
        item.addAttributeIf("type", String());
        root.appendChild(item);
        const QString path = m_folder->filePath("a.xml");

        QVERIFY(document.write(path));

        QCOMPARE(Utils::File::readRaw(path),
                 QByteArray("<!DOCTYPE Model>\n<Model>\n\n  <!--cases-->\n"
                            "  <case name=\"n\" b=\"1\"/>\n</Model>\n\n"));
        String error;
        QVERIFY2(document.open(path, "Model", error), qPrintable(error));
        QCOMPARE(document.documentElement().firstChild().nodeValue(), QString("cases"));
    }

    void failsWhereTheFileCannotBeOpened()
    {
        Document document("Model", Document::Normal, 0.0);
        document.appendChild(document.createElement("a"));
        const QString before = document.toString();

        QVERIFY(!document.write(""));
        QVERIFY(!document.write(m_folder->path()));
        QVERIFY(!document.write(m_folder->filePath("missing/a.xml")));
        QCOMPARE(document.toString(), before);
    }

    void refusesWhatNestsTooDeeply_data()
    {
        QTest::addColumn<int>("levels");
        QTest::addColumn<bool>("isWritten");
        QTest::newRow("512") << 512 << true;
        QTest::newRow("5000") << 5000 << true;
        QTest::newRow("5001") << 5001 << false;
        QTest::newRow("a million") << 1000 * 1000 << false;
    }

    void refusesWhatNestsTooDeeply()
    {
        QFETCH(int, levels);
        QFETCH(bool, isWritten);
        const QString path = makeFile(m_folder->filePath("a.xml"), "before");
        Document document(Document::Normal, 0.0);
        addDeepTree(document, levels);

        QCOMPARE(document.write(path), isWritten);

        const QByteArray contents = Utils::File::readRaw(path);
        if (isWritten)
            QCOMPARE(contents.count("<a/>"), 1);
        else
            QCOMPARE(contents, QByteArray("before"));
        QCOMPARE(document.toText().toUtf8(), isWritten ? contents : QByteArray());
        takeApart(document);
    }

    // Each of them is in data/, and in data/written/ as it is written.
    void writesRealDocuments_data()
    {
        QTest::addColumn<QString>("name");
        for (const QString &name : documents())
            QTest::newRow(qPrintable(name)) << name;
        QVERIFY(documents().size() >= 9);
    }

    void writesRealDocuments()
    {
        QFETCH(QString, name);
        const String path = m_folder->filePath(name);
        Document document(Document::Normal, 0.0);
        String error;
        QVERIFY2(document.open(QString(DOCUMENTS "/") + name, "", error), qPrintable(error));

        QVERIFY(document.write(path));

        QCOMPARE(Utils::File::read(path), Utils::File::read(QString(DOCUMENTS "/written/") + name));
        QCOMPARE(document.toText().toUtf8(), Utils::File::readRaw(path));
    }

    void writesTheSameInEveryRun_data()
    {
        QTest::addColumn<QString>("seed"); // of Qt's hashes, "" is a random one
        for (const char *seed : {"0", "1", "2", "12345", "2147483647", ""})
            QTest::newRow(*seed ? seed : "random") << seed;
    }

    void writesTheSameInEveryRun()
    {
        QFETCH(QString, seed);
        QStringList arguments;
        for (const QString &name : documents())
            arguments << QString(DOCUMENTS "/") + name << m_folder->filePath(name);
        // Many attributes in lines that are not laid out.
        QByteArray contents = "<!DOCTYPE r [";
        for (int i = 0; i < 50; ++i)
            contents += "<!ENTITY e" + QByteArray::number(i * 37 % 50) + " SYSTEM 's'>\n";
        contents += "]><r>";
        for (int i = 0; i < 200; ++i) {
            contents += "<x";
            for (int j = 0; j <= i; ++j)
                contents +=
                    " a" + QByteArray::number(j * 73 % 211) + "='" + QByteArray::number(j) + "'";
            contents += ">text</x>";
        }
        const QString source = makeFile(m_folder->filePath("source.xml"), contents + "</r>");
        const QString target = m_folder->filePath("target.xml");
        const QString again = m_folder->filePath("again.xml");
        arguments << source << target << target << again;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (seed.isEmpty())
            environment.remove("QT_HASH_SEED");
        else
            environment.insert("QT_HASH_SEED", seed);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(WRITE_CHILD, arguments);
        process.waitForFinished(-1);
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 process.readAllStandardError());

        for (const QString &name : documents())
            QCOMPARE(Utils::File::read(m_folder->filePath(name)),
                     Utils::File::read(QString(DOCUMENTS "/written/") + name));
        // The one of this process, which has a seed of its own.
        Document document(Document::Normal, 0.0);
        String error;
        QVERIFY(document.open(source, "", error));
        QVERIFY(document.write(m_folder->filePath("own.xml")));
        QCOMPARE(Utils::File::readRaw(target), Utils::File::readRaw(m_folder->filePath("own.xml")));
        QCOMPARE(Utils::File::readRaw(again), Utils::File::readRaw(target));
    }

    // Whatever has no mixed content, no "*" comments, and no lines of a text that make its tag end.
    void writesTheSameOfWhatItHasWritten()
    {
        QRandomGenerator random(1);
        const String first = m_folder->filePath("first.xml");
        const String second = m_folder->filePath("second.xml");
        for (int i = 0; i < 300; ++i) {
            Document document(Document::Normal, 0.0);
            document.appendChild(
                document.createProcessingInstruction("xml", "version='1.0' encoding='UTF-8'"));
            addComments(document, document, random);
            document.appendChild(randomElement(document, random, 0));
            addComments(document, document, random);
            Document read(Document::Normal, 0.0);
            String error;

            QVERIFY(document.write(first));
            QVERIFY2(read.open(first, "", error), qPrintable(error + Utils::File::read(first)));
            QVERIFY(read.write(second));

            QCOMPARE(Utils::File::read(second), Utils::File::read(first));
        }
    }

private:
    static QStringList documents() { return QDir(DOCUMENTS).entryList({"*.xml"}, QDir::Files); }

    static QString randomText(QRandomGenerator &random)
    {
        static const QStringList pieces = {
            "<",  ">",  "&",        "\"",         "'",     " ",    "\n",
            "\t", "\r", "text",     "=\"",        "/>",    "]]>",  "\u00e4",
            "x",  "-",  "<!--*-->", "\U0001f600", "&amp;", "</a>", "\u00a0"};
        QString text = "t";
        for (int i = random.bounded(8); i > 0; --i)
            text += pieces.at(random.bounded(pieces.size()));
        return text;
    }

    static QDomElement randomElement(QDomDocument &document, QRandomGenerator &random, int depth)
    {
        static const QStringList names = {"a",   "name", "type",   "Alpha",
                                          "x-1", "x1",   "\u00e4", "p:q"};
        QDomElement element = document.createElement(names.at(random.bounded(names.size())));
        for (int i = random.bounded(5); i > 0; --i)
            element.setAttribute(names.at(random.bounded(names.size())), randomText(random).mid(1));
        switch (depth > 4 ? 3 : random.bounded(5)) {
        case 0:
            // A line that ends with ">" would make a tag of the first one.
            element.appendChild(document.createTextNode(randomText(random).remove('>')));
            break;
        case 1:
            element.appendChild(
                document.createCDATASection(randomText(random).remove("]]>").remove('\r')));
            break;
        case 2:
        case 4:
            for (int i = random.bounded(5); i > 0; --i) {
                addComments(document, element, random);
                element.appendChild(randomElement(document, random, depth + 1));
            }
            break;
        default:
            break;
        }
        return element;
    }

    static void addComments(QDomDocument &document, QDomNode parent, QRandomGenerator &random)
    {
        if (random.bounded(4) == 0)
            parent.appendChild(document.createComment(randomText(random).remove('-').remove('\r')));
        if (random.bounded(8) == 0)
            parent.appendChild(document.createProcessingInstruction("p", "z=\"1\" a=\"2\""));
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Document_write)
#include "tst_Document_write.moc"
