#include "utils/xml/DocumentText_p.h"

#include "tests/xml/PlainLayout.h"
#include "utils/xml/Attributes_p.h"
#include "utils/xml/HashOrder_p.h"

#include <QtTest>

#include <algorithm>
#include <random>

using Utils::Xml::DocumentText;

/// The text that a file has for \p document.
static QString written(const QDomDocument &document)
{
    return DocumentText(document).pieces().join('\n') + '\n';
}

/// Makes random trees of every kind of node, with texts that look like markup.
class RandomTree
{
public:
    RandomTree(unsigned seed, int mostAttributes) : m_random(seed), m_mostAttributes(mostAttributes)
    {}

    QDomDocument make()
    {
        QDomDocument document;
        if (upTo(2) == 0) {
            const QDomDocumentType type = QDomImplementation().createDocumentType(
                upTo(4) == 0 ? "" : "Model", upTo(2) == 0 ? QString() : QString("p'q"),
                upTo(2) == 0 ? QString() : QString("s"));
            document = QDomDocument(type);
        }
        if (upTo(2) == 0) {
            static const char *const declarations[] = {"version='1.0' encoding='UTF-8'",
                                                       "version='1.0'",
                                                       "encoding=\"ISO-8859-1\"",
                                                       "version='1.0' encoding = 'UTF-16'",
                                                       "encoding='windows-1252'",
                                                       "encoding='none such'",
                                                       "encoding='US-ASCII'",
                                                       "encoding='Shift_JIS'"};
            document.appendChild(document.createProcessingInstruction("xml", pick(declarations)));
        }
        for (int i = upTo(3); i > 0; --i)
            document.appendChild(leaf(document));
        if (upTo(20) > 0)
            document.appendChild(element(document, 0));
        for (int i = upTo(2); i > 0; --i)
            document.appendChild(leaf(document));
        return document;
    }

private:
    int upTo(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

    template <std::size_t size>
    QString pick(const char *const (&texts)[size])
    {
        return QString::fromUtf8(texts[upTo(size)]);
    }

    QString name()
    {
        static const char *const names[] = {"a",  "b",      "name", "type", "Alpha", "x-1",
                                            "x1", "\u00e4", "z:z",  "item", "x",     "case"};
        static const char *const oddNames[] = {"a b", "!a", "?a", "/a",  "a>", "a=\"",
                                               "-",   "<a", "\n", "a\"", "="};
        // The order of attributes counts where a name is taken apart.
        return m_mostAttributes == 1 && upTo(30) == 0 ? pick(oddNames) : pick(names);
    }

    QString text()
    {
        static const char *const texts[] = {"a",
                                            " ",
                                            "\n",
                                            "\n  ",
                                            "<",
                                            ">",
                                            "]]>",
                                            "]",
                                            "&",
                                            "\"",
                                            "'",
                                            "\t",
                                            "\r",
                                            "\u00e4",
                                            "\u20ac",
                                            "\U0001f600",
                                            "-",
                                            "<!--*-->",
                                            "<x b=\"1\" a=\"2\">",
                                            "\n<x b=\"1\" a=\"2\"/>\n",
                                            "</",
                                            "?>",
                                            "*",
                                            "text",
                                            "\u00a0",
                                            "=\"",
                                            "\u007f",
                                            "\u0001",
                                            "\u00ff"};
        QString result;
        for (int i = upTo(5); i > 0; --i) {
            if (upTo(60) == 0)
                result += QChar(0xd800 + upTo(0x800)); // half a character
            else
                result += pick(texts);
        }
        // The order of attributes counts where quotes in a text run on into them.
        return m_mostAttributes == 1 ? result : result.remove('"');
    }

    QDomNode leaf(QDomDocument &document)
    {
        switch (upTo(8)) {
        case 0:
            return document.createCDATASection(text());
        case 1:
            return document.createProcessingInstruction(name(), text());
        case 2:
            return document.createEntityReference(name());
        case 3:
        case 4:
            return document.createComment(upTo(2) == 0 ? QString("*") : text());
        default:
            return document.createTextNode(text());
        }
    }

    QDomNode element(QDomDocument &document, int depth)
    {
        static const char *const spaces[] = {"", "urn:a", "urn:<\"b\"&\n"};
        static const char *const spaceNames[] = {"p:a", "q:b", "c", "p:name", "q:type"};
        QDomElement element = upTo(8) == 0
                                  ? document.createElementNS(pick(spaces), pick(spaceNames))
                                  : document.createElement(name());
        const int most = upTo(10) == 0 ? 3 * m_mostAttributes : m_mostAttributes;
        for (int i = upTo(1 + (m_mostAttributes > 1 ? most : 1)); i > 0; --i) {
            if (upTo(10) == 0) {
                const QString spaceName = pick(spaceNames);
                // The order of attributes counts where they disagree about a prefix.
                const QString space =
                    m_mostAttributes == 1 ? pick(spaces) : "urn:" + spaceName.left(1);
                element.setAttributeNS(space, spaceName, text());
            } else
                element.setAttribute(name(), text());
        }
        if (upTo(20) == 0)
            element.setPrefix("r");
        for (int i = depth > 5 ? 0 : upTo(5); i > 0; --i)
            element.appendChild(upTo(2) == 0 ? this->element(document, depth + 1) : leaf(document));
        return std::move(element);
    }

    std::mt19937 m_random;
    int m_mostAttributes;
};

static QString sorted(QString text)
{
    std::sort(text.begin(), text.end());
    return text;
}

/// Up to 20 names in order.
static QStringList randomNames(std::mt19937 &random)
{
    QSet<QString> names;
    for (unsigned count = 1 + random() % 20; count > 0; --count)
        names.insert(QString::number(random() % 100000, 36).prepend('a'));
    QStringList sortedNames = names.values();
    sortedNames.sort();
    return sortedNames;
}

class tst_DocumentText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesAsQtAndThePlainStepsDo()
    {
        int lines = 0;
        for (unsigned seed = 1; seed <= 5000; ++seed) {
            const QDomDocument document = RandomTree(seed, 1).make();

            const QString text = written(document);

            const QString expected = plainLayout(document.toString(2));
            lines += expected.count('\n');
            if (text != expected) {
                qWarning() << "seed" << seed;
                QCOMPARE(text, expected);
            }
        }
        QVERIFY(lines > 30 * 1000);
    }

    // Qt has an order of its own in lines that are not laid out.
    void writesTheAttributesOfQt()
    {
        int lines = 0;
        for (unsigned seed = 1; seed <= 2000; ++seed) {
            const QDomDocument document = RandomTree(seed, 6).make();

            const QStringList text = written(document).split('\n');

            const QStringList expected = plainLayout(document.toString(2)).split('\n');
            QCOMPARE(text.size(), expected.size());
            for (int i = 0; i < text.size(); ++i) {
                ++lines;
                if (text.at(i) == expected.at(i))
                    continue;
                const bool isOneTag =
                    expected.at(i).count('<') == 1 && isPlainTag(expected.at(i).trimmed());
                if (isOneTag || sorted(text.at(i)) != sorted(expected.at(i))) {
                    qWarning() << "seed" << seed;
                    QCOMPARE(text.at(i), expected.at(i));
                }
            }
        }
        QVERIFY(lines > 10 * 1000);
    }

    void findsAllOfManyAttributes_data()
    {
        QTest::addColumn<QString>("odd");
        QTest::addColumn<int>("others");

        for (const char *name : {"plain", "a=\"", "a b", "a=", "\"", "", "p:n", "a=\"1\" b"}) {
            QTest::newRow(name) << QString(name) << 200;
            QTest::addRow("%s alone", name) << QString(name) << 0;
        }
    }

    void findsAllOfManyAttributes()
    {
        QFETCH(QString, odd);
        QFETCH(int, others);
        QDomDocument document;
        QDomElement element = document.createElement("e");
        QStringList expected{odd};
        element.setAttribute(odd, "of " + odd);
        for (int i = 0; i < others; ++i) {
            expected.append(QString("n%1").arg(i));
            element.setAttribute(expected.last(), "of " + expected.last());
        }

        QStringList names;
        for (const QDomNode &attribute : Utils::Xml::manyAttributes(element)) {
            names.append(attribute.nodeName());
            QCOMPARE(attribute.nodeValue(), "of " + attribute.nodeName());
        }

        names.sort();
        expected.sort();
        QCOMPARE(names, expected);
    }

    void ordersNamesWithTheSameHash()
    {
        // Of so many random names some have the same hash, by any function.
        std::mt19937 random(1);
        std::vector<std::pair<uint, QString>> names;
        for (int i = 0; i < 300'000; ++i) {
            QString name;
            for (int k = 0; k < 8; ++k)
                name += QChar('a' + int(random() % 26));
            names.emplace_back(qHash(name, 0U), name);
        }
        std::sort(names.begin(), names.end());
        const auto same =
            std::adjacent_find(names.begin(), names.end(), [](const auto &one, const auto &other) {
                return one.first == other.first && one.second != other.second;
            });
        QVERIFY(same != names.end());
        const QVector<QString> equal{same->second, (same + 1)->second};

        for (const QVector<QString> &all : {equal, QVector<QString>{"a", equal[1], "b", equal[0]}})
        {
            QVector<int> order = Utils::Xml::hashOrder(all);
            std::sort(order.begin(), order.end());
            for (int i = 0; i < all.size(); ++i)
                QCOMPARE(order.value(i, -1), i);
            QCOMPARE(order.size(), all.size());
        }
    }

    void keepsWhiteSpaceInANamespaceAsQtDoes()
    {
        QDomDocument document;
        document.appendChild(document.createElementNS("u\rv\t<\"", "p:e"));
        const QString expected = "<p:e xmlns:p=\"u\rv\t&lt;&quot;\"";
        QVERIFY(document.toString(2).contains(expected));

        QVERIFY(written(document).contains(expected));
    }

    void leavesOutWhatIsNoDeclaration()
    {
        QDomDocument document;
        QVERIFY(document.setContent(QString("<!DOCTYPE a [<!NOTATION n SYSTEM 's'>]><a/>")));
        const QString before = written(document);
        QVERIFY(before.contains("<!NOTATION n"));

        QVERIFY(!document.doctype().appendChild(document.createComment("c")).isNull());

        QCOMPARE(written(document), before);
    }

    void writesAttributesThatAreThereTwice()
    {
        QDomDocument document;
        QDomElement element = document.createElement("r");
        document.appendChild(element);
        for (const char *name : {"name", "a", "z", "z", "name"}) {
            QDomAttr attribute = document.createAttribute(name);
            attribute.setValue("1");
            element.setAttributeNode(attribute);
        }

        QCOMPARE(written(document),
                 QString("<r name=\"1\" a=\"1\" name=\"1\" z=\"1\" z=\"1\"/>\n\n"));
        QCOMPARE(written(document), plainLayout(document.toString(2)));

        for (int i = 0; i < 150; ++i)
            element.setAttribute(QString("b%1").arg(i), "1");
        QDomAttr attribute = document.createAttribute("b7");
        attribute.setValue("other");
        element.setAttributeNode(attribute);
        QCOMPARE(sorted(written(document)), sorted(plainLayout(document.toString(2))));
    }

    void keepsTheOrderOfQtForSeed0()
    {
        std::mt19937 random(1);
        qSetGlobalQHashSeed(0);
        for (int i = 0; i < 500; ++i) {
            const QStringList names = randomNames(random);
            QDomDocument document;
            QDomElement element = document.createElement("r");
            document.appendChild(element);
            for (const QString &name : names)
                element.setAttribute(name, "1");
            element.appendChild(document.createTextNode("text"));

            QCOMPARE(written(document), document.toString(2) + '\n');
        }
        qSetGlobalQHashSeed(-1);
    }

    void keepsTheOrderOfQtForDeclarations()
    {
        std::mt19937 random(2);
        qSetGlobalQHashSeed(0);
        for (int i = 0; i < 500; ++i) {
            const QStringList names = randomNames(random);
            QString contents = "<!DOCTYPE r [";
            for (const QString &name : names)
                contents += QString("<!NOTATION %1 PUBLIC '%1'><!ENTITY %1 SYSTEM 's'>").arg(name);
            QDomDocument document;
            QVERIFY(document.setContent(contents + "]><r/>"));

            QCOMPARE(written(document), document.toString(2) + '\n');
        }
        qSetGlobalQHashSeed(-1);
    }

    void writesDeclarationsInOneOrder_data()
    {
        QTest::addColumn<int>("seed"); // of Qt's hashes, -1 is a random one
        for (const int seed : {0, 1, 2, 12345, -1})
            QTest::addRow("%d", seed) << seed;
    }

    void writesDeclarationsInOneOrder()
    {
        QFETCH(int, seed);
        qSetGlobalQHashSeed(seed);
        QDomDocument document;
        QVERIFY(document.setContent(
            QString("<!DOCTYPE a [<!ENTITY b SYSTEM 'z'><!NOTATION n SYSTEM 's'>"
                    "<!ENTITY B PUBLIC 'p' 's' NDATA n><!NOTATION N PUBLIC 'p'>"
                    "<!NOTATION n SYSTEM 'again'><!ENTITY a SYSTEM ']>'>]><a/>")));
        qSetGlobalQHashSeed(-1);
        const QString expected = "<!DOCTYPE a [\n"
                                 "%1"
                                 "<!NOTATION N PUBLIC 'p'>\n"
                                 "<!ENTITY a SYSTEM ']>'>\n"
                                 "<!ENTITY b SYSTEM 'z'>\n"
                                 "<!ENTITY B PUBLIC 'p' 's' NDATA n>\n"
                                 "]>\n<a/>\n\n";

        QCOMPARE(written(document),
                 expected.arg("<!NOTATION n SYSTEM 'again'>\n<!NOTATION n SYSTEM 's'>\n"));
        // Qt forgets both when one of them is removed.
        QDomNode type = document.doctype();
        type.removeChild(type.firstChild().nextSibling());
        QVERIFY(!document.toString().contains("again"));
        QCOMPARE(written(document), expected.arg(QString()));
    }

    void writesManyDeclarationsInTime()
    {
        QString contents = "<!DOCTYPE a [";
        for (int i = 0; i < 100 * 1000; ++i)
            contents += QString("<!NOTATION n%1 SYSTEM 's'><!ENTITY e%1 SYSTEM 's'>")
                            .arg(i, 6, 10, QChar('0'));
        QDomDocument document;
        QVERIFY(document.setContent(contents + "]><a/>"));

        const QStringList lines = written(document).split('\n');

        QCOMPARE(lines.size(), 1 + 200 * 1000 + 4);
        QCOMPARE(lines.filter("<!NOTATION n").size(), 100 * 1000);
        QCOMPARE(lines.filter("<!ENTITY e").size(), 100 * 1000);
        QVERIFY(lines.lastIndexOf("<!NOTATION n000017 SYSTEM 's'>") <
                lines.indexOf("<!ENTITY e000017 SYSTEM 's'>"));
    }

    void writesManyAttributesInTime()
    {
        QDomDocument document;
        QDomElement element = document.createElement("r");
        document.appendChild(element);
        for (int i = 0; i < 100 * 1000; ++i)
            element.setAttribute(QString("a%1").arg(i, 6, 10, QChar('0')), "a=\" ");

        QVERIFY(written(document) == plainLayout(document.toString(2)));
    }

    // The time of Qt itself grows with the square of the length.
    void writesLongTextsInTime()
    {
        QDomDocument document;
        QDomElement element = document.createElement("r");
        document.appendChild(element);
        const int count = 1000 * 1000;
        element.setAttribute("a", QString("<&>.\n").repeated(count));
        element.appendChild(document.createTextNode(QString("<&>.\n").repeated(count)));
        element.appendChild(document.createComment(QString("<&>.\n").repeated(count)));

        const QString expected = "<r a=\"" + QString("&lt;&amp;>.&#xa;").repeated(count) + "\">" +
                                 QString("&lt;&amp;>.\n").repeated(count) + "<!--" +
                                 QString("<&>.\n").repeated(count) + "-->\n</r>\n\n";
        QVERIFY(written(document) == expected);
    }
};

QTEST_GUILESS_MAIN(tst_DocumentText)
#include "tst_DocumentText.moc"
