#include "utils/xml/Element.h"

#include "tests/support/Print.h"
#include "tests/xml/DeepTree.h"
#include "utils/xml/Document.h"

#include <QtTest>

#include <limits>

using Data::String;
using Utils::Xml::Document;
using Utils::Xml::Element;

class TextItem : public Data::IDataItem
{
public:
    explicit TextItem(const String &text) : m_text(text) {}
    String toString() const override { return m_text; }

private:
    String m_text;
};

/// The root element of \p contents, parsed into \p document.
static Element parse(Document &document, const QString &contents)
{
    QString error;
    if (!document.setContent(contents, &error))
        qWarning() << "cannot parse" << contents << error;
    return document.documentElement();
}

/// Names and values as "a=1 b=2".
static QString describe(const QList<QDomAttr> &attributes)
{
    QStringList texts;
    for (const QDomAttr &attribute : attributes)
        texts.append(attribute.name() + "=" + attribute.value());
    return texts.join(' ');
}

class tst_Element : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sharesItsNode()
    {
        QDomDocument document;
        const QDomElement node = document.createElement("a");

        const Element made(node);
        Element copied(made);
        Element assigned;
        QVERIFY(assigned.isNull());
        assigned = node;
        Element again;
        again = assigned;
        const Element moved(std::move(copied));
        again.setAttribute("b", "1");

        QCOMPARE(node.attribute("b"), QString("1"));
        QVERIFY(made == node && assigned == node && again == node && moved == node);
        QCOMPARE(sizeof(Element), sizeof(QDomElement));
    }

    // Attributes

    void addsAnAttributeWithAValue()
    {
        Document document(Document::Normal, 0.0);
        Element element = parse(document, "<a/>");

        element.addAttributeIf("empty", String());
        element.addAttributeIf("literal", "");
        QVERIFY(!element.hasAttributes());
        element.addAttributeIf("text", "t");
        element.addAttributeIf("blank", " ");
        QCOMPARE(element.attribute("text"), QString("t"));
        QCOMPARE(element.attribute("blank"), QString(" "));
        element.addAttributeIf("text", "new");
        QCOMPARE(element.attribute("text"), QString("new"));
        element.addAttributeIf("text", ""); // does not take away
        QCOMPARE(element.attribute("text"), QString("new"));
        QCOMPARE(element.attributes().count(), 2);
    }

    void addsAnAttributeForAnItem()
    {
        Document document(Document::Normal, 0.0);
        Element element = parse(document, "<a/>");
        TextItem item("text");
        TextItem empty("");

        element.addAttributeIf("none", static_cast<Data::IDataItem *>(nullptr));
        element.addAttributeIf("null", nullptr);
        QVERIFY(!element.hasAttributes());
        element.addAttributeIf("item", &item);
        element.addAttributeIf("empty", &empty);
        QCOMPARE(element.attribute("item"), QString("text"));
        QVERIFY(element.hasAttribute("empty"));
        QCOMPARE(element.attribute("empty", "default"), QString(""));
    }

    void leavesAValueWithoutAnAttribute()
    {
        Document document(Document::Normal, 0.0);
        const Element element = parse(document, "<a B='1'/>");
        int whole = 7;
        double number = 7.5;
        String text = "seven";
        bool yes = true;

        QVERIFY(!element.getAttribute("b", whole));
        QVERIFY(!element.getAttribute("b", number));
        QVERIFY(!element.getAttribute("b", text));
        QVERIFY(!element.getAttribute("b", yes));
        QVERIFY(!Element().getAttribute("b", whole));
        QCOMPARE(whole, 7);
        QCOMPARE(number, 7.5);
        QCOMPARE(text, String("seven"));
        QCOMPARE(yes, true);
    }

    void readsAnAttribute_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("whole");
        QTest::addColumn<double>("number");
        QTest::addColumn<bool>("yes");

        const auto row = [](const char *value, int whole, double number, bool yes) {
            QTest::newRow(value) << QString(value) << whole << number << yes;
        };
        row("", 0, 0.0, false);
        row("1", 1, 1.0, true);
        row("0", 0, 0.0, false);
        row("01", 1, 1.0, false);
        row("-12", -12, -12.0, false);
        row("1.5", 0, 1.5, false);
        row("1e3", 0, 1000.0, false);
        row("1,5", 0, 0.0, false);
        row("x", 0, 0.0, false);
        row("0x10", 0, 0.0, false);
        row("2147483647", INT_MAX, 2147483647.0, false);
        row("2147483648", 0, 2147483648.0, false);
        row("TRUE", 0, 0.0, true);
        row("true", 0, 0.0, true);
        row("Yes", 0, 0.0, true);
        row("on", 0, 0.0, false);
        row("no", 0, 0.0, false);
        row(" true", 0, 0.0, false);
        row("2", 2, 2.0, false);
    }

    void readsAnAttribute()
    {
        QFETCH(QString, value);
        QDomDocument document;
        Element element = document.createElement("a");
        element.setAttribute("b", value);
        int whole = 7;
        double number = 7.5;
        String text = "seven";
        bool yes = value.isEmpty();

        QVERIFY(element.getAttribute("b", whole));
        QVERIFY(element.getAttribute("b", number));
        QVERIFY(element.getAttribute("b", text));
        QVERIFY(element.getAttribute("b", yes));

        QTEST(whole, "whole");
        QTEST(number, "number");
        QCOMPARE(text, String(value));
        QTEST(yes, "yes");
    }

    void ordersItsAttributes_data()
    {
        QTest::addColumn<QString>("contents");
        QTest::addColumn<QString>("ordered");
        // clang-format off
        QTest::newRow("none") << "<a/>" << "";
        QTest::newRow("name, type, then the others") << "<item z='1' type='t' Alpha='2' name='n'/>"
                                                     << "name=n type=t Alpha=2 z=1";
        QTest::newRow("type alone") << "<x z='1' type='t' a='2'/>" << "type=t a=2 z=1";
        QTest::newRow("name alone") << "<x z='1' name='t' a='2'/>" << "name=t a=2 z=1";
        QTest::newRow("same letters") << "<x b='1' A='2'/>" << "A=2 b=1";
        QTest::newRow("whatever the case") << "<x a='1' B='2'/>" << "a=1 B=2";
        QTest::newRow("names are told by case") << "<x name='1' Name='2' Type='3' type='4' NAME='5'/>"
            << "name=1 type=4 NAME=5 Name=2 Type=3";
        QTest::newRow("names that only start so") << "<x typename='1' name2='2' a='4'/>" << "a=4 name2=2 typename=1";
        QTest::newRow("names that differ in case alone have an order, too")
            << "<x abc='1' aBc='2' Abc='3' ABc='4' abC='5' aBC='6'/>" << "ABc=4 Abc=3 aBC=6 aBc=2 abC=5 abc=1";
        // By the name alone, while write() sorts with what follows it.
        QTest::newRow("by name") << "<x a='1' a-b='2' a1='3'/>" << "a=1 a-b=2 a1=3";
        // clang-format on
    }

    void ordersItsAttributes()
    {
        QFETCH(QString, contents);
        Document document(Document::Normal, 0.0);

        const QList<QDomAttr> ordered = parse(document, contents).orderedAttributes();

        QTEST(describe(ordered), "ordered");
    }

    // Comments

    void appendsComments()
    {
        Document document(Document::Normal, 0.0);
        Element element = parse(document, "<a><b/></a>");

        element.appendComment(document, "one");
        element.appendSpace(document);
        element.appendComment(document, "");

        QStringList texts;
        for (QDomNode child = element.firstChild(); !child.isNull(); child = child.nextSibling())
            texts.append(child.isComment() ? child.nodeValue() : child.nodeName());
        QCOMPARE(texts, QStringList({"b", "one", "*", ""}));
    }

    // Text

    void joinsItsText_data()
    {
        QTest::addColumn<QString>("contents");
        QTest::addColumn<QString>("text");

        const auto row = [](const char *name, const char *contents, const char *text) {
            QTest::newRow(name) << QString(contents) << QString(text);
        };
        // clang-format off
        row("nothing", "<a/>", "");
        row("plain", "<a>text</a>", "text");
        row("indented lines", "<a> one\n   two </a>", " one two");
        row("indented from the first line", "<a>\n  one\n  two\n</a>", "one two");
        row("CDATA keeps its blanks", "<a>x<![CDATA[ y ]]></a>", "x y ");
        row("CDATA keeps its lines", "<a><![CDATA[\n  y\n  z ]]></a>", "\n  y\n  z ");
        row("lines without a blank", "<a>one\ntwo\n</a>", "one\ntwo\n");
        row("lines with a tab", "<a>one\n\ttwo</a>", "one\n\ttwo");
        row("blanks within a line", "<a>one  two</a>", "one  two");
        row("blanks at the end", "<a>one  </a>", "one  ");
        row("a blank at the start", "<a>  one  </a>", " one");
        row("elements have no part", "<a>x<b>y</b>z</a>", "xz");
        row("comments have no part", "<a>x<!--y-->z<?p q?></a>", "xz");
        row("a blank takes line ends before it away", "<a>x\n\n<b/> y</a>", "x y");
        row("of CDATA as well", "<a><![CDATA[x\n\n]]> y</a>", "x y");
        row("but no other white space", "<a><![CDATA[x\n \n]]> y</a>", "x\n  y");
        row("no line end at all", "<a>x\n<b/>y</a>", "x\ny");
        row("simplified without a blank at the start", "<a>x\n<b/>\n y</a>", "x\ny");
        row("simplified with a blank at the start", "<a>x\n<b/> \n y</a>", "x y");
        row("a tab at the start is no blank", "<a>x\n<b/>\ty\n z</a>", "x\ny z");
        row("no-break space is white space", "<a> \u00a0y\u00a0</a>", " y");
        // clang-format on
    }

    void joinsItsText()
    {
        QFETCH(QString, contents);
        QFETCH(QString, text);
        Document document(Document::Normal, 0.0);

        QCOMPARE(parse(document, contents).childTextData(), String(text));
    }

    void joinsTextThatIsWhiteSpace()
    {
        QDomDocument document;
        Element element = document.createElement("a");
        element.appendChild(document.createTextNode("x\n"));
        element.appendChild(document.createTextNode(" \n "));
        element.appendChild(document.createTextNode("\n\n "));

        QCOMPARE(element.childTextData(), String("x "));
        QCOMPARE(Element().childTextData(), String());
    }

    // Replacing

    void replacesAValue_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<String>("oldValue");
        QTest::addColumn<String>("newValue");
        QTest::addColumn<QString>("replaced");

        const auto row = [](const char *name, const char *value, const char *oldValue,
                            const char *newValue, const char *replaced) {
            QTest::newRow(name) << QString(value) << String(oldValue) << String(newValue)
                                << QString(replaced);
        };
        // clang-format off
        row("the whole value", "b", "b", "x", "x");
        row("a part between semicolons", "a;b;c", "b", "x", "a;x;c");
        row("a part between commas", "a,b,c", "b", "x", "a,x,c");
        row("a part between line ends", "a\nb\nc", "b", "x", "a\nx\nc");
        row("every such part", "b;b;;b", "b", "x", "x;x;;x");
        row("within a word", "abc", "b", "x", "abc");
        row("beside a blank", "a; b", "b", "x", "a; b");
        row("other case", "B;b", "b", "x", "B;x");
        row("two separators", "a,b;c", "b", "x", "a,b;c");
        row("the last of two separators", "a,c;b", "b", "x", "a,c;x");
        row("a separator in the new value, which the next one splits", "b,c", "b", "b;d", "b;d;d,c");
        row("what one separator makes the next one replaces", "b,", "b", "b;", "b;;,");
        row("a later separator sees what an earlier one made", "b;y,b", "b", "z;b", "z;b;y,z;z;b");
        row("separators in the old value", "a;b", "a;b", "x", "x");
        row("a list as a part", "a;b,c", "a;b", "x", "x,c");
        row("placeholder in a word", "a%b%c", "%b%", "x", "axc");
        row("every placeholder", "%b%%b%;%b%", "%b%", "x", "xx;x");
        row("placeholder that is the value", "%b%", "%b%", "x", "x");
        row("placeholder in other case", "%B%;%b%", "%b%", "x", "%B%;x");
        row("a percent sign alone", "5%;%", "%", "x", "5x;x");
        row("percent sign at the start only", "a%bc;%b", "%b", "x", "a%bc;x");
        row("percent sign at the end only", "ab%c;b%", "b%", "x", "ab%c;x");
        row("by nothing", "a;b", "b", "", "a;");
        row("a placeholder by nothing", "a%b%", "%b%", "", "a");
        row("nothing in a list", "a,,b", "", "z", "a,z,b");
        row("nothing in nothing", "", "", "z", "z");
        row("nothing in a word", "ab", "", "z", "ab");
        row("absent", "a;c", "b", "x", "a;c");
        // clang-format on
    }

    void replacesAValue()
    {
        QFETCH(QString, value);
        QFETCH(String, oldValue);
        QFETCH(String, newValue);
        QFETCH(QString, replaced);
        QDomDocument document;
        Element element = document.createElement("a");
        document.appendChild(element);
        element.setAttribute("b", value);
        element.setAttribute("c", value);
        QDomElement child = document.createElement("d");
        element.appendChild(child);
        child.setAttribute("e", value);
        child.appendChild(document.createTextNode(value));
        QDomElement grandchild = document.createElement("f");
        child.appendChild(grandchild);
        grandchild.appendChild(document.createCDATASection(value));

        element.replaceInValues(oldValue, newValue);

        QCOMPARE(element.attribute("b"), replaced);
        QCOMPARE(element.attribute("c"), replaced);
        QCOMPARE(child.attribute("e"), replaced);
        QCOMPARE(child.firstChild().nodeValue(), replaced);
        QCOMPARE(grandchild.firstChild().nodeValue(), replaced);
    }

    void replacesInTheJoinedTextOfAnElement_data()
    {
        QTest::addColumn<QString>("contents");
        QTest::addColumn<QString>("oldValue");
        QTest::addColumn<QString>("newValue");
        QTest::addColumn<QString>("replaced");
        // clang-format off
        QTest::newRow("each text gets it") << "<a>x<k/>b</a>" << "b" << "z" << "<a>xb<k/>xbb</a>";
        QTest::newRow("replaced where it is whole") << "<a>b<k/></a>" << "b" << "z" << "<a>z<k/></a>";
        QTest::newRow("a match across texts") << "<a>a<k/>b</a>" << "ab" << "z" << "<a>z<k/>b</a>";
        QTest::newRow("no match") << "<a>a<k/>c</a>" << "b" << "z" << "<a>a<k/>c</a>";
        QTest::newRow("text and CDATA") << "<a>%b%<![CDATA[ c]]></a>" << "%b%" << "z" << "<a>z c<![CDATA[ c]]></a>";
        QTest::newRow("CDATA") << "<a><![CDATA[<%b%>]]></a>" << "%b%" << "z" << "<a><![CDATA[<z>]]></a>";
        QTest::newRow("comments and instructions stay") << "<a><!--b--><?p b?>b</a>" << "b" << "z"
            << "<a><!--b--><?p b?>z</a>";
        QTest::newRow("indented text becomes one line") << "<a>\n  %b%\n  y\n</a>" << "%b%" << "z" << "<a>z y</a>";
        QTest::newRow("indented text without a match stays") << "<a>\n  x\n  y\n</a>" << "%b%"
            << "z" << "<a>\n  x\n  y\n</a>";
        QTest::newRow("elements in order") << "<a>b<k>b<l>b</l></k><m n='b'/></a>" << "b" << "z"
            << "<a>z<k>z<l>z</l></k><m n=\"z\"/></a>";
        // clang-format on
    }

    void replacesInTheJoinedTextOfAnElement()
    {
        QFETCH(QString, contents);
        QFETCH(QString, oldValue);
        QFETCH(QString, newValue);
        QFETCH(QString, replaced);
        Document document(Document::Normal, 0.0);
        Document expected(Document::Normal, 0.0);

        parse(document, contents).replaceInValues(oldValue, newValue);

        parse(expected, replaced);
        QCOMPARE(document.toString(-1), expected.toString(-1));
    }

    void replacesBelowItselfOnly()
    {
        Document document(Document::Normal, 0.0);
        const Element root = parse(document, "<a b='1'><c b='1'/><d b='1'><e b='1'/></d></a>");

        Element(root.firstChildElement("d")).replaceInValues("1", "2");

        QCOMPARE(root.attribute("b"), QString("1"));
        QCOMPARE(root.firstChildElement("c").attribute("b"), QString("1"));
        QCOMPARE(root.firstChildElement("d").attribute("b"), QString("2"));
        QCOMPARE(root.firstChildElement("d").firstChildElement().attribute("b"), QString("2"));
        Element().replaceInValues("1", "2"); // nothing happens
    }

    // A text and an element by turns: each text would be twice as long as the one before it.
    void endsTheGrowthOfTexts()
    {
        Document document(Document::Normal, 0.0);
        const Element root = parse(document, "<a>" + QString("b<k/>").repeated(60) + "</a>");

        Element(root).replaceInValues("b", "z");

        qint64 size = 0;
        QList<int> sizes;
        for (QDomNode child = root.firstChild(); !child.isNull(); child = child.nextSibling()) {
            if (child.isText())
                sizes.append(child.nodeValue().size());
        }
        for (const int one : qAsConst(sizes))
            size += one;
        QCOMPARE(sizes.size(), 60);
        QCOMPARE(sizes.at(0), 60);
        QCOMPARE(sizes.at(1), 119);
        QCOMPARE(sizes.at(2), 119 + 118);
        QCOMPARE(sizes.last(), 1);
        QVERIFY2(size > 8 * 1024 * 1024 && size < 64 * 1024 * 1024, QByteArray::number(size));
    }

    void replacesInALongText()
    {
        QDomDocument document;
        Element element = document.createElement("a");
        const QString text(10 * 1000 * 1000, 'x');
        element.setAttribute("c", text + ";b");
        element.appendChild(document.createTextNode(text + ";b"));

        element.replaceInValues("b", "z");

        QVERIFY(element.attribute("c") == text + ";z");
        QVERIFY(element.firstChild().nodeValue() == text + ";z");
    }

    void replacesInManyTextsInTime()
    {
        Document document(Document::Normal, 0.0);
        const QString contents = "<a>" + QString("x<k/>").repeated(100 * 1000) + "</a>";
        Element root = parse(document, contents);

        root.replaceInValues("b", "z"); // absent

        QCOMPARE(document.toString(-1).remove('\n'), contents);
    }

    void endsTheGrowthOfALongText()
    {
        QDomDocument document;
        Element element = document.createElement("a");
        const int count = 100;
        element.appendChild(document.createTextNode(QString(10 * 1000 * 1000, 'x') + "%b%"));
        for (int i = 1; i < count; ++i)
            element.appendChild(document.createTextNode("%b%"));

        element.replaceInValues("%b%", "");

        qint64 size = 0;
        for (QDomNode child = element.firstChild(); !child.isNull(); child = child.nextSibling())
            size += child.nodeValue().size();
        QCOMPARE(element.firstChild().nodeValue().size(), 10 * 1000 * 1000);
        QCOMPARE(element.lastChild().nodeValue(), QString("%b%"));
        QVERIFY2(size < 256 * 1024 * 1024, QByteArray::number(size));
    }

    void replacesInManyTextsThatVanish()
    {
        QDomDocument document;
        Element element = document.createElement("a");
        const int count = 2000;
        for (int i = 0; i < count; ++i)
            element.appendChild(document.createTextNode("%b%"));

        element.replaceInValues("%b%", "");

        QCOMPARE(element.childNodes().size(), count);
        QCOMPARE(element.childTextData(), String());
    }

    void endsWhereVeryManyTextsVanish()
    {
        QDomDocument document;
        Element element = document.createElement("a");
        for (int i = 0; i < 200 * 1000; ++i)
            element.appendChild(document.createTextNode("%b%"));

        element.replaceInValues("%b%", "");

        QCOMPARE(element.firstChild().nodeValue(), QString());
        QCOMPARE(element.lastChild().nodeValue(), QString("%b%"));
    }

    void bearsManyAttributes()
    {
        QDomDocument document;
        Element element = document.createElement("a");
        const int count = 100 * 1000;
        for (int i = 0; i < count; ++i)
            element.setAttribute(QString("a%1").arg(i, 6, 10, QChar('0')),
                                 i % 2 == 0 ? "=\" b;c" : "b;c");

        element.replaceInValues("c", "d");
        const QList<QDomAttr> ordered = element.orderedAttributes();

        QCOMPARE(ordered.size(), count);
        QCOMPARE(ordered.at(17).name(), QString("a000017"));
        QCOMPARE(ordered.at(17).value(), QString("b;d"));
        QCOMPARE(ordered.at(18).value(), QString("=\" b;d"));
    }

    void bearsManyAttributesOfAnyName()
    {
        QDomDocument document;
        Element element = document.createElement("a b");
        for (int i = 0; i < 200; ++i) {
            element.setAttribute(QString("a %1=\"").arg(i), "b");
            element.setAttributeNS("urn:x", QString("p:a%1").arg(i), "b");
        }
        QDomAttr twice = document.createAttribute("a 7=\"");
        twice.setValue("b");
        element.setAttributeNode(twice);

        element.replaceInValues("b", "d");

        QCOMPARE(element.orderedAttributes().size(), 401);
        QCOMPARE(element.attribute("a 7=\""), QString("d"));
        QCOMPARE(element.attributeNS("urn:x", "a7"), QString("d"));
    }

    void bearsAnyDepth()
    {
        QDomDocument document;
        QDomElement element = addDeepTree(document, 1000 * 1000);
        element.setAttribute("b", "c");
        element.appendChild(document.createTextNode("c"));

        Element(document.documentElement()).replaceInValues("c", "d");

        QCOMPARE(element.attribute("b"), QString("d"));
        QCOMPARE(Element(element).childTextData(), String("d"));
        takeApart(document);
    }
};

QTEST_GUILESS_MAIN(tst_Element)
#include "tst_Element.moc"
