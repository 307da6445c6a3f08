#include "utils/xml/ParseGuard_p.h"

#include <QDomDocument>
#include <QRandomGenerator>
#include <QtTest>

using Utils::Xml::ParseGuard;

static QString deep(int levels, const QString &start = "<a>", const QString &end = "</a>")
{
    return start.repeated(levels) + end.repeated(levels);
}

/// A document whose DOCTYPE has \p declarations.
static QString withDeclarations(const QString &declarations, const QString &contents = "<a/>")
{
    return "<!DOCTYPE a [" + declarations + "]>" + contents;
}

/// An element with \p length characters, by an entity that is referred to \p count times.
static QString expanding(int length, int count)
{
    return withDeclarations("<!ENTITY e '" + QString(length, 'x') + "'>",
                            "<a>" + QString("&e;").repeated(count) + "</a>");
}

/// Declarations of \p count entities, each with \p length characters.
static QString entities(int count, int length)
{
    QString declarations;
    for (int i = 0; i < count; ++i)
        declarations += QString("<!ENTITY e%1 '").arg(i) + QString(length, 'x') + "'>";
    return declarations;
}

/// Declarations of entities of which each refers to the one before it \p width times.
static QString laughs(const QString &mark, int levels, int width, const QString &first)
{
    const QString space = mark == "%" ? "% " : "";
    QString declarations = "<!ENTITY " + space + "e0 '" + first + "'>";
    for (int i = 1; i <= levels; ++i) {
        const QString reference = mark + "e" + QString::number(i - 1) + ";";
        declarations +=
            QString("<!ENTITY %1e%2 '").arg(space).arg(i) + reference.repeated(width) + "'>";
    }
    return declarations;
}

/// How many levels of elements \p element has, with its own.
static int depthOf(const QDomElement &element)
{
    int below = 0;
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement())
        below = qMax(below, depthOf(child));
    return below + 1;
}

static const char tooDeep[] = "elements are nested deeper than 512 levels";
static const char tooManyGroups[] = "a declaration is nested deeper than 512 levels";
static const char tooMany[] = "too many entities are declared";
static const char tooLarge[] = "entities expand to more than 8388608 characters";

class tst_ParseGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsWhatGoesTooFar_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message"); // "" when it is accepted

        const auto row = [](const char *name, const QString &text, const char *message) {
            QTest::newRow(name) << text << QString(message);
        };
        const QString levels512 = deep(512);
        // clang-format off
        row("nothing", "", "");
        row("512 levels", levels512, "");
        row("513 levels", deep(513), tooDeep);
        row("many elements side by side", "<a>" + QString("<b/><c></c>").repeated(2000) + "</a>", "");
        row("many deep elements side by side", "<a>" + deep(511).repeated(3) + "</a>", "");
        row("513 levels, the last one empty", QString("<a>").repeated(512) + "<b/>", tooDeep);
        row("512 levels, the last one empty", QString("<a>").repeated(511) + "<b/><b c='/'/><b/>", "");
        row("attributes with brackets", deep(512, "<a b='/>' c=\">'<\">"), "");
        row("513 levels with brackets in attributes", deep(513, "<a b='/>' c=\"</a>\">"), tooDeep);
        row("a slash at the end of a value", deep(513, "<a b='x/'>"), tooDeep);
        row("blanks in tags", deep(512, "<a \n>", "</a\n>"), "");
        row("513 levels with blanks in tags", deep(513, "<a\n b = ''\t>", "</a >"), tooDeep);
        row("end tags in comments count for nothing", deep(513, "<a><!-- </a> - -> -->"), tooDeep);
        row("start tags in comments count for nothing", "<a>" + ("<!--" + deep(600) + "-->") + "</a>", "");
        row("end tags in CDATA count for nothing", deep(513, "<a><![CDATA[</a>]] ]>]]>"), tooDeep);
        row("start tags in CDATA count for nothing", "<a><![CDATA[" + deep(600) + "]]]]></a>", "");
        row("end tags in instructions count for nothing", deep(513, "<a><?p </a> > ?\?>"), tooDeep);
        row("start tags in instructions count for nothing", "<a><?p " + deep(600) + "?></a>", "");
        row("apostrophes in text are no quotes", deep(513, "<a>it's \" "), tooDeep);
        row("ampersands that are no references", deep(513, "<a>& &; &&"), tooDeep);
        row("a DOCTYPE", "<!DOCTYPE a SYSTEM 'x>[' ><a/>" + levels512, "");
        row("quotes in a DOCTYPE", "<!DOCTYPE a PUBLIC \"'[\" '\">'>" + deep(513), tooDeep);
        row("tags in declarations count for nothing",
            withDeclarations("<!--<x>']>--><?p ']><x>?><!NOTATION n SYSTEM '<x>]>'>"
                             "<!ATTLIST a b CDATA '<x>'><!ELEMENT a (b|c)*>" +
                             ("<!ENTITY e '" + deep(600) + "'>")),
            "");
        row("declarations end", withDeclarations("<!ELEMENT a ANY>", deep(513)), tooDeep);
        row("tags of an entity count where it is",
            withDeclarations("<!ENTITY e '<b><c>t</c></b>'>", deep(510, "<a>", "&e;</a>")), "");
        row("513 levels with those of an entity",
            withDeclarations("<!ENTITY e '<b><c/></b>'>", deep(511, "<a>", "&e;</a>")), tooDeep);
        row("an entity in an entity",
            withDeclarations("<!ENTITY f '<c/>'><!ENTITY e '<b>&f;</b>'>",
                             deep(511, "<a>", "&e;</a>")),
            tooDeep);
        row("an entity that opens",
            withDeclarations("<!ENTITY o '<b>'>", "<a>" + QString("&o;").repeated(512)), tooDeep);
        row("entities that open and close",
            withDeclarations("<!ENTITY o '<b>'><!ENTITY c '</b>'>",
                             "<a>" + QString("&o;&c;").repeated(600)),
            "");
        row("brackets by numbers",
            withDeclarations("<!ENTITY o '&#60;b&#x3e;'>", "<a>" + QString("&o;").repeated(512)),
            tooDeep);
        row("brackets as text",
            withDeclarations("<!ENTITY o '&#38;#60;b&#62;'>",
                             "<a>" + QString("&o;&lt;b>&#60;b>").repeated(600)),
            "");
        row("tags of an entity in an attribute",
            withDeclarations("<!ENTITY o '\">&#60;b>'>",
                             "<a>" + QString("<c d=\"&o;\"/>").repeated(600)),
            "");
        row("a comment that an entity starts",
            withDeclarations("<!ENTITY o '<!-- '>", "<a>&o;" + deep(600) + "-->"), "");
        row("a number that is no character",
            withDeclarations("<!ENTITY o '&#x110000;&#4294967295;&#60;b>'>",
                             "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("any blanks in a declaration",
            withDeclarations("<!ENTITY\r\n\to\r\t'<b>'\r>", "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("what is no comment", "<!-" + deep(514), tooDeep);
        row("what is no comment in declarations",
            withDeclarations("<!-x<!ELEMENT a " + QString("(").repeated(513)), tooManyGroups);
        row("a comment that is not closed", "<!--" + deep(600), "");
        row("more than one limit",
            withDeclarations(entities(12000, 1) + "<!ELEMENT a " + QString("(").repeated(600)),
            tooMany);
        row("a first declaration holds",
            withDeclarations("<!ENTITY o 't'><!ENTITY o '<b>'>",
                             "<a>" + QString("&o;").repeated(600)),
            "");
        row("also of an entity elsewhere",
            withDeclarations("<!ENTITY o SYSTEM 'x'><!ENTITY o '<b>'>",
                             "<a>" + QString("&o;").repeated(600)),
            "");
        row("not that of a parameter",
            withDeclarations("<!ENTITY % o 't'><!ENTITY o '<b>'>",
                             "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("declarations of a parameter",
            withDeclarations("<!ENTITY % p \"<!ENTITY o '<b>'>\">%p;",
                             "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("a parameter in a value",
            withDeclarations("<!ENTITY % p '<b>\"'><!ENTITY o \"%p;\">",
                             "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("a percent sign in a value",
            withDeclarations("<!ENTITY o '100% <b>'>", "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("an ampersand in a value",
            withDeclarations("<!ENTITY o 'a & <b>'>", "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("a predefined name", withDeclarations("<!ENTITY amp '<b>'>", "<a>" + QString("&amp;").repeated(600)), "");
        row("quotes of a parameter end nothing",
            withDeclarations("<!ENTITY % p \"'/>\"><!ENTITY o \"<b c='%p;'>\">",
                             "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("a parameter begins and ends with a blank",
            withDeclarations("<!ENTITY % p '<!ENTITY'>%p;o '<b>'>",
                             "<a>" + QString("&o;").repeated(600)),
            tooDeep);
        row("an unknown name", "<a>" + QString("&o;%o;").repeated(600), "");
        row("an entity in itself", withDeclarations("<!ENTITY e '&e;'><!ENTITY % p '&#37;p;'>%p;", "<a>&e;</a>"), "");
        row("entities in each other", withDeclarations("<!ENTITY e '&f;'><!ENTITY f '&e;'>", "<a b='&e;'>&f;</a>"), "");
        // The parser stops when more are open than are declared.
        row("an entity in itself that opens",
            withDeclarations(entities(509, 1) + "<!ENTITY o '<b>&o;'>", "<a>&o;</a>"), "");
        row("an entity in itself that opens too many",
            withDeclarations(entities(510, 1) + "<!ENTITY o '<b>&o;'>", "<a>&o;</a>"), tooDeep);
        row("an entity in itself by another one that opens too many",
            withDeclarations(entities(600, 1) + "<!ENTITY o '<b>&p;'><!ENTITY p '<b>&o;'>",
                             "<a>&o;</a>"),
            tooDeep);
        row("what is after an entity in itself",
            withDeclarations("<!ENTITY e '&e;&e;&e;'>", "<a>&e;" + deep(600)), "");
        // clang-format on

        const auto groups = [](int levels) {
            return "<!ELEMENT a " + QString("(").repeated(levels) + "b" +
                   QString(")").repeated(levels) + ">";
        };
        // clang-format off
        row("512 groups", withDeclarations(groups(512)), "");
        row("513 groups", withDeclarations(groups(513)), tooManyGroups);
        row("many groups side by side", withDeclarations(groups(512).repeated(3)), "");
        row("groups in a group", withDeclarations("<!ELEMENT a (b" + QString(",(b,b)").repeated(600) + ")>"), "");
        row("groups that are none",
            withDeclarations("<!--" + groups(600) + "--><!ATTLIST a b (c) '" + QString(600, '(') +
                             "'><!ENTITY e '" + groups(600) + "'>"),
            "");
        row("groups of a parameter", withDeclarations("<!ENTITY % p '" + groups(513) + "'>%p;"), tooManyGroups);

        row("many entities", withDeclarations(entities(10000, 1)), "");
        row("too many entities", withDeclarations(entities(12000, 1)), tooMany);
        row("long entities", withDeclarations(entities(700, 10000)), "");
        row("too many long entities", withDeclarations(entities(1000, 10000)), tooMany);
        row("many entities elsewhere", withDeclarations(entities(12000, 1).replace("'x'", "SYSTEM 'x'")), "");
        row("many declarations of an entity", withDeclarations(QString("<!ENTITY e 'x'>").repeated(20000)), "");

        row("8 MiB", expanding(8192, 1024), "");
        row("more than 8 MiB", expanding(8192, 1025), tooLarge);
        row("in attributes",
            withDeclarations("<!ENTITY e '" + QString(8192, 'x') + "'>",
                             "<a b='" + QString("&e;").repeated(1025) + "'/>"),
            tooLarge);
        row("in declared attributes",
            withDeclarations("<!ENTITY e '" + QString(8192, 'x') + "'><!ATTLIST a b CDATA '" +
                             QString("&e;").repeated(1025) + "'>"),
            tooLarge);
        row("in each other", withDeclarations(laughs("&", 10, 10, "ha"), "<a>&e10;</a>"), tooLarge);
        row("in each other, unused", withDeclarations(laughs("&", 10, 10, "ha"), "<a/>"), "");
        row("in each other, without text", withDeclarations(laughs("&", 10, 10, ""), "<a>&e10;</a>"), tooLarge);
        row("parameters in each other", withDeclarations(laughs("%", 10, 10, "ha")), tooLarge);
        row("parameters in an entity",
            withDeclarations("<!ENTITY % p '" + QString(8192, 'x') + "'><!ENTITY e '" +
                             QString("%p;").repeated(1025) + "'>"),
            tooLarge);
        // clang-format on
    }

    void tellsWhatGoesTooFar()
    {
        QFETCH(QString, text);
        QFETCH(QString, message);

        // However the text is cut. Once is enough where it takes millions of steps.
        const QList<int> pieces = message == tooLarge || text.size() > 100 * 1000
                                      ? QList<int>{text.size() + 1}
                                      : QList<int>{text.size() + 1, 1024, 7, 1};
        for (const int piece : pieces) {
            ParseGuard guard;
            bool accepts = true;
            for (int i = 0; accepts && i < text.size(); i += piece)
                accepts = guard.accepts(text.mid(i, piece), 0, 1);
            QCOMPARE(guard.message(), message);
            QCOMPARE(accepts, message.isEmpty());
        }
    }

    // Whatever a document is made of: put into as many levels as there may be, and into one more.
    void countsTheLevelsThatQtSees()
    {
        static const char *const pieces[] = {"<b>",
                                             "</b>",
                                             "<b c='>'>",
                                             "<b/>",
                                             "<b c=\"/>\" d='&e;'/>",
                                             "<b c='&q;'>",
                                             "&e;",
                                             "&f;",
                                             "&o;",
                                             "&c;",
                                             "&u;",
                                             "&lt;",
                                             "&#60;",
                                             "text",
                                             "'",
                                             "<!--<b>-->",
                                             "<!-- ' - -->",
                                             "<![CDATA[<b>]]>",
                                             "<![CDATA[]]]]>",
                                             "<?p <b>?>",
                                             "<?p ?\?>",
                                             "\n",
                                             "<b\n>",
                                             "</b >",
                                             "%p;",
                                             "<b ></b>",
                                             "&v;"};
        const QString type =
            "<!DOCTYPE a SYSTEM \"'[>\" [<!-- \" <!ENTITY e '<x>'> --><?p ]>?>"
            "<!ELEMENT a ANY>\n<!ATTLIST a x CDATA '&f;' y (p|q) #IMPLIED>"
            "<!ENTITY % p \"<!ENTITY v '<b/>'><!ENTITY f 'no'>\">"
            "<!ENTITY e 'E'><!ENTITY f \"<b><b c='&e;'>&e;</b>&g;</b>\"><!ENTITY g '<b/>'>"
            "<!ENTITY o '&#60;b>'><!ENTITY c '</b>'><!ENTITY q '\"&#34;'><!ENTITY e '<b/>'>"
            "<!ENTITY u SYSTEM 'u'><!ENTITY u '<b/>'> %p; <!NOTATION n PUBLIC \"p\" 's>'>]>";
        QRandomGenerator random(1);
        int documents = 0;
        int deepest = 0;
        for (int i = 0; i < 8000; ++i) {
            QString body;
            for (int count = random.bounded(8); count > 0; --count)
                body += pieces[random.bounded(static_cast<int>(std::size(pieces)))];
            const int open = qMax(0, body.count("<b>") + body.count("&o;") - body.count("</b"));
            body += QString("</b>").repeated(open);
            const auto wrapped = [&](int levels) {
                return type + QString("<a>").repeated(levels) + body +
                       QString("</a>").repeated(levels);
            };
            QDomDocument document;
            if (!document.setContent(wrapped(1)))
                continue;
            ++documents;
            const int levels = depthOf(document.documentElement()) - 1;
            deepest = qMax(deepest, levels);

            ParseGuard accepting;
            ParseGuard refusing;

            if (!accepting.accepts(wrapped(512 - levels), 0, 0) ||
                refusing.accepts(wrapped(513 - levels), 0, 0))
                QFAIL(qPrintable(body));
        }
        QVERIFY2(documents > 1000, QByteArray::number(documents));
        QVERIFY2(deepest > 3, QByteArray::number(deepest));
    }

    void bearsMoreInALargeFile()
    {
        const QString text = expanding(8192, 2000); // 16,384,000 characters

        QVERIFY(!ParseGuard().accepts(text, 0, 163839));
        QVERIFY(ParseGuard().accepts(text, 0, 163840));
        QVERIFY(!ParseGuard().accepts(text, 163839, 0)); // of a file that does not report its size
        QVERIFY(ParseGuard().accepts(text, 163840, 0));
        ParseGuard guard;
        QVERIFY(guard.accepts("<!-- -->", 100000, 5));
        QVERIFY(guard.accepts(text, 63840, 5));
    }

    void tellsWhere_data()
    {
        QTest::addColumn<int>("piece");
        QTest::newRow("one text") << 10000;
        QTest::newRow("pieces") << 7;
        QTest::newRow("characters") << 1;
    }

    void tellsWhere()
    {
        QFETCH(int, piece);
        const QString text = "<a>\n\n" + QString("<b>").repeated(511) + "\n <c d='e'/>";
        ParseGuard guard;

        bool accepts = true;
        for (int i = 0; accepts && i < text.size(); i += piece)
            accepts = guard.accepts(text.mid(i, piece), 0, 0);

        QVERIFY(!accepts);
        QCOMPARE(guard.line(), 4);
        QCOMPARE(guard.column(), 4); // after the characters that make it a start tag
        QVERIFY(!guard.accepts("", 0, 0));
        QVERIFY(!guard.accepts("</b>", 0, 0));
        QCOMPARE(guard.line(), 4);
        QCOMPARE(guard.column(), 4);
    }

    void bearsAnything()
    {
        static const char *const pieces[] = {"<",         ">",           "<!",
                                             "<!--",      "-->",         "<![CDATA[",
                                             "]]>",       "<?",          "?>",
                                             "<!DOCTYPE", " [",          "]",
                                             "<!ENTITY ", "<!ENTITY % ", "<!ATTLIST ",
                                             "'",         "\"",          "a ",
                                             "b",         "&",           ";",
                                             "&a;",       "%b;",         "%a;",
                                             "&#60;",     "&#x;",        "&#99999999999;",
                                             "&#xd800;",  "\n",          "/",
                                             "</",        "SYSTEM",      "&b;",
                                             "<!X "};
        QRandomGenerator random(1);
        for (int i = 0; i < 20000; ++i) {
            ParseGuard guard;
            QString text = i % 2 == 0 ? "<!DOCTYPE a [<!ENTITY a 'x'><!ENTITY b '&a;<'>" : "";
            for (int count = random.bounded(30); count > 0; --count)
                text += pieces[random.bounded(static_cast<int>(std::size(pieces)))];
            // So few characters never go too far.
            QVERIFY2(guard.accepts(text, text.size(), 0), qPrintable(text));
        }
    }

    void endsInTime()
    {
        // Each would take years if it was expanded.
        for (int levels : {20, 1000}) {
            ParseGuard guard;
            QVERIFY(!guard.accepts(withDeclarations(laughs("&", levels, 10, ""), "<a>&e20;</a>"), 0,
                                   0));
        }
        // A chain of which each is in the next.
        ParseGuard chain;
        QVERIFY(chain.accepts(withDeclarations(laughs("&", 5000, 1, "x"), "<a>&e5000;</a>"), 0, 0));
        ParseGuard name;
        QVERIFY(name.accepts("<a>&" + QString(10 * 1000 * 1000, 'x') + ";</a>", 0, 0));
    }
};

QTEST_GUILESS_MAIN(tst_ParseGuard)
#include "tst_ParseGuard.moc"
