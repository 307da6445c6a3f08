#include "utils/text/StringUtil.h"

#include "utils/strings/StringTable.h"

#include "tests/strings/Catalogue.h" // putText, resetCatalogue
#include "tests/support/Print.h"

#include <QRegExp>
#include <QtTest>

#include <limits>
#include <random>

using Data::String;
using Utils::StringTable;
using Utils::StringUtil;

static const int hugeSize = 10000000;
static const int most = std::numeric_limits<int>::max();
static const int least = std::numeric_limits<int>::min();

/// The numbers from 1 to \p count.
static QStringList numbers(int count)
{
    QStringList list;
    for (int number = 1; number <= count; ++number)
        list.append(QString::number(number));
    return list;
}

/// combineLines() step by step.
static QString combineStepByStep(const QString &text, const QString &separator,
                                 const QString &lineBreak)
{
    const QStringList lines = text.split(separator);
    QString combined = lines.first();
    for (int i = 1; i < lines.size(); ++i) {
        if (lines[i].isEmpty()) {
            combined += lineBreak;
            continue;
        }
        const QString word = lines[i].trimmed().split(' ').first();
        bool isNumber = false;
        word.toDouble(&isNumber);
        const bool isCapital = !word.isEmpty() && word[0].isUpper();
        if (isCapital || word.startsWith("-") || lines[i - 1].endsWith(":") || isNumber)
            combined += lineBreak;
        else
            combined += " ";
        combined += lines[i];
    }
    return combined;
}

class tst_StringUtil_texts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { resetCatalogue(); }

    void findAnItem_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("list");
        QTest::addColumn<QString>("stop");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("index");

        const QStringList list = {"a", "ab", "c", "abc"};
        // clang-format off
        QTest::newRow("the first one")             << "b"  << list << ""  << 0     << 1;
        QTest::newRow("from an index on")          << "b"  << list << ""  << 2     << 3;
        QTest::newRow("at the index")              << "b"  << list << ""  << 3     << 3;
        QTest::newRow("after the end")             << "b"  << list << ""  << 4     << -1;
        QTest::newRow("far after the end")         << "b"  << list << ""  << most  << -1;
        QTest::newRow("nowhere")                   << "x"  << list << ""  << 0     << -1;
        QTest::newRow("case counts")               << "B"  << list << ""  << 0     << -1;
        QTest::newRow("-1 is before the last")     << "a"  << list << ""  << -1    << 3;
        QTest::newRow("before the last itself")    << "c"  << list << ""  << -1    << 2;
        QTest::newRow("-2 is one before that")     << "b"  << list << ""  << -2    << 1;
        QTest::newRow("-3")                        << "a"  << list << ""  << -3    << 0;
        QTest::newRow("-4 is the first")           << "a"  << list << ""  << -4    << 0;
        QTest::newRow("far before")                << "a"  << list << ""  << least << 0;
        QTest::newRow("-1 of two")                 << "b"  << QStringList{"a", "ab"} << "" << -1 << 1;
        QTest::newRow("-1 of one")                 << "a"  << QStringList{"a"} << "" << -1 << 0;
        QTest::newRow("no items")                  << "a"  << QStringList() << "" << -1 << -1;
        QTest::newRow("no items, far before")      << ""   << QStringList() << "" << least << -1;
        QTest::newRow("stopped before")            << "abc" << list << "c" << 0    << -1;
        QTest::newRow("stopped after it")          << "b"  << list << "c" << 0     << 1;
        QTest::newRow("stopped before the index") << "abc" << list << "c" << 3 << 3;
        QTest::newRow("both in one item")          << "bc" << list << "abc" << 0   << 3;
        QTest::newRow("an empty text is in each")  << ""   << list << "a" << 0     << 0;
        QTest::newRow("an empty text in an empty item") << "" << QStringList{""} << "" << 0 << 0;
        // clang-format on
    }

    void findAnItem()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, list);
        QFETCH(QString, stop);
        QFETCH(int, first);
        QFETCH(int, index);

        QCOMPARE(StringUtil::findInList(text, list, stop, first), index);
    }

    void findANullTextInTheFirstItem()
    {
        QCOMPARE(StringUtil::findInList(String(), {"a"}, String(), 0), 0);
        QCOMPARE(StringUtil::findInList(String(), {QString()}, String(), 0), 0);
    }

    void replaceItems()
    {
        const QStringList list = {"a", "b", "ab", "a", "A", ""};

        QCOMPARE(StringUtil::replaceInList(list, "a", "x"),
                 QStringList({"x", "b", "ab", "x", "A", ""}));
        QCOMPARE(StringUtil::replaceInList(list, "", "x"),
                 QStringList({"a", "b", "ab", "a", "A", "x"}));
        QCOMPARE(StringUtil::replaceInList(list, "none", "x"), list);
        QCOMPARE(StringUtil::replaceInList({}, "a", "x"), QStringList());
        QCOMPARE(list.first(), QString("a"));
    }

    void makeTables_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<int>("spacing");
        QTest::addColumn<QString>("rows");

        // clang-format off
        QTest::newRow("a heading") << "a" << ":" << 4
            << "<tr><td colspan='2'>a</td></tr>";
        QTest::newRow("a bold heading") << "*a*" << ":" << 0
            << "<tr><td colspan='2'><b>a*</b></td></tr>";
        QTest::newRow("only one star goes") << "**a" << ":" << 0
            << "<tr><td colspan='2'><b>*a</b></td></tr>";
        QTest::newRow("a star alone") << "*" << ":" << 0
            << "<tr><td colspan='2'><b></b></td></tr>";
        QTest::newRow("name and value") << "a:b" << ":" << 4
            << "<tr><td><nobr>a</nobr></td><td>b</td></tr>";
        QTest::newRow("a bold name") << "*a:*b" << ":" << -1
            << "<tr><td><nobr><b>a</b></nobr></td><td>*b</td></tr>";
        QTest::newRow("several values") << "a::b::c::" << "::" << 4
            << "<tr><td><nobr>a</nobr></td><td>b</td><td>c</td><td></td></tr>";
        QTest::newRow("no name") << ":b" << ":" << 4
            << "<tr><td><nobr></nobr></td><td>b</td></tr>";
        QTest::newRow("no value") << "*:" << ":" << 4
            << "<tr><td><nobr><b></b></nobr></td><td></td></tr>";
        QTest::newRow("blanks stay") << " a : b " << ":" << 4
            << "<tr><td><nobr> a </nobr></td><td> b </td></tr>";
        QTest::newRow("rich text and markers stay") << "%2<:%1&" << ":" << 4
            << "<tr><td><nobr>%2<</nobr></td><td>%1&</td></tr>";
        QTest::newRow("markers in a heading") << "%1" << ":" << 4
            << "<tr><td colspan='2'>%1</td></tr>";
        QTest::newRow("lines, empty ones too") << "a\n\nb:c\n" << ":" << 4
            << "<tr><td colspan='2'>a</td></tr>"
               "<tr><td colspan='2'></td></tr>"
               "<tr><td><nobr>b</nobr></td><td>c</td></tr>"
               "<tr><td colspan='2'></td></tr>";
        QTest::newRow("nothing is in each line") << "ab" << "" << 4
            << "<tr><td><nobr></nobr></td><td></td><td>a</td><td>b</td><td></td></tr>";
        // clang-format on
    }

    void makeTables()
    {
        QFETCH(QString, text);
        QFETCH(QString, separator);
        QFETCH(int, spacing);
        QFETCH(QString, rows);
        const QString table =
            QString("<table cellspacing='") + QString::number(spacing) + "'>" + rows + "</table>";

        QCOMPARE(StringUtil::formatTable(text, separator, spacing), String(table));
        QCOMPARE(StringUtil::formatTable(text.split('\n'), separator, spacing), String(table));
    }

    void makeNoTableOfAnEmptyText()
    {
        QCOMPARE(StringUtil::formatTable("", ":", 4), String());
        QCOMPARE(StringUtil::formatTable(QStringList(), ":", 4),
                 String("<table cellspacing='4'></table>"));
        QCOMPARE(StringUtil::formatTable(QStringList(""), ":", 4),
                 String("<table cellspacing='4'><tr><td colspan='2'></td></tr></table>"));
    }

    void joinListsUpToALimit_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("exact");
        QTest::addColumn<QString>("joined");

        // clang-format off
        QTest::newRow("below the margin")        << 7  << 5     << false << "1, 2, 3, 4, 5, 6, 7";
        QTest::newRow("just below the margin")   << 9  << 5     << false << "1, 2, 3, 4, 5, 6, 7, 8, 9";
        QTest::newRow("at the margin")           << 10 << 5     << false << "1, 2, 3, 4, 5, +5 more";
        QTest::newRow("above the margin")        << 13 << 5     << false << "1, 2, 3, 4, 5, +8 more";
        QTest::newRow("exact, below")            << 4  << 5     << true  << "1, 2, 3, 4";
        QTest::newRow("exact, at the limit")     << 5  << 5     << true  << "1, 2, 3, 4, 5, +0 more";
        QTest::newRow("exact, above")            << 7  << 5     << true  << "1, 2, 3, 4, 5, +2 more";
        QTest::newRow("no items, limit 0")       << 0  << 0     << false << "";
        QTest::newRow("no items, exactly 0")     << 0  << 0     << true  << "+0 more";
        QTest::newRow("limit 0")                 << 5  << 0     << false << "+5 more";
        QTest::newRow("limit below 0")           << 4  << -1    << false << "+5 more";
        QTest::newRow("limit below 0, margin")   << 3  << -1    << false << "1, 2, 3";
        QTest::newRow("limit far below 0")       << 2  << least << true  << "+2147483650 more";
        QTest::newRow("limit far below, margin") << 2  << least << false << "+2147483650 more";
        QTest::newRow("limit far above")         << 2  << most  << false << "1, 2";
        QTest::newRow("limit far above, exact")  << 2  << most  << true  << "1, 2";
        // clang-format on
    }

    void joinListsUpToALimit()
    {
        QFETCH(int, size);
        QFETCH(int, limit);
        QFETCH(bool, exact);
        QFETCH(QString, joined);
        StringTable::initialize("en", "", "");
        putText(".Kelm.Framework", ".msg.plusmore", "+%1 more");

        QCOMPARE(StringUtil::joinLimit(numbers(size), limit, ", ", exact), String(joined));
    }

    void joinListsUpToALimitWithoutACatalogue()
    {
        QCOMPARE(StringUtil::joinLimit(numbers(3), 1, ";", true),
                 String("1;.Kelm.Framework.msg.plusmore"));
        StringTable::initialize("en", "", "");
        putText(".Kelm.Framework", ".msg.other", "");
        QCOMPARE(StringUtil::joinLimit(numbers(3), 1, ";", true), String("1;.msg.plusmore"));
    }

    void joinListsWhoseItemsHoldMarkers()
    {
        StringTable::initialize("en", "", "");
        putText(".Kelm.Framework", ".msg.plusmore", "+%1");

        QCOMPARE(StringUtil::joinLimit({"%1", "b"}, 1, "%2", true), String("%1%2+1"));
    }

    void makeLabels_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("withCapitals");

        // clang-format off
        QTest::newRow("words")                   << "maxLoadValue" << "Max load value" << "Max Load Value";
        QTest::newRow("two words")               << "maxLoad"      << "Max load"       << "Max Load";
        QTest::newRow("capitals in a row")       << "XMLFile"      << "XMLFile"        << "XMLFile";
        QTest::newRow("capitals inside")         << "myXMLFile"    << "MyXMLFile"      << "MyXMLFile";
        QTest::newRow("capitals, then a word")   << "aXMLfileName" << "AXMLfile name"  << "AXMLfile Name";
        QTest::newRow("a capital second")        << "xPos"         << "XPos"           << "XPos";
        QTest::newRow("a capital at the end")    << "maxX"         << "Max x"          << "Max X";
        QTest::newRow("two capitals at the end") << "maxXY"        << "MaxXY"          << "MaxXY";
        QTest::newRow("a digit at the start")    << "2Max"         << "2 max"          << "2 Max";
        QTest::newRow("digits at the start")     << "12Max"        << "12 max"         << "12 Max";
        QTest::newRow("a digit inside")          << "load2Max"     << "Load2 max"      << "Load2 Max";
        QTest::newRow("a sign at the start")     << "_Max"         << "_Max"           << "_Max";
        QTest::newRow("a blank")                 << "max Load"     << "Max  load"      << "Max  Load";
        QTest::newRow("single capitals")         << "maxAbCd"      << "Max ab cd"      << "Max Ab Cd";
        QTest::newRow("umlauts")                 << "\u00e4u\u00dferBreite" << "\u00c4u\u00dfer breite"
            << "\u00c4u\u00dfer Breite";
        QTest::newRow("a capital umlaut")        << "gro\u00dfe\u00c4nderung" << "Gro\u00dfe \u00e4nderung"
            << "Gro\u00dfe \u00c4nderung";
        QTest::newRow("one character")           << "a"            << "A"              << "A";
        QTest::newRow("nothing")                 << ""             << ""               << "";
        // clang-format on
    }

    void makeLabels()
    {
        QFETCH(QString, name);
        QFETCH(QString, label);
        QFETCH(QString, withCapitals);

        QCOMPARE(StringUtil::makeLabel(name, /*keepCase=*/false), String(label));
        QCOMPARE(StringUtil::makeLabel(name, /*keepCase=*/true), String(withCapitals));
    }

    void combineWrappedLines_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QString>("combined");

        // clang-format off
        QTest::newRow("a few")               << "one\ntwo\n- three\nFour" << "\n" << "one two|- three|Four";
        QTest::newRow("nothing")             << ""              << "\n" << "";
        QTest::newRow("one line")            << "One"           << "\n" << "One";
        QTest::newRow("an empty line")       << "a\n\nb"        << "\n" << "a| b";
        QTest::newRow("empty at both ends")  << "\na\n"         << "\n" << " a|";
        QTest::newRow("after a colon")       << "a:\nb"         << "\n" << "a:|b";
        QTest::newRow("a colon and a blank") << "a: \nb"        << "\n" << "a:  b";
        QTest::newRow("after an empty line after a colon") << "a:\n\nb" << "\n" << "a:| b";
        QTest::newRow("a number")            << "a\n12 b"       << "\n" << "a|12 b";
        QTest::newRow("a number with a point") << "a\n1. b"     << "\n" << "a|1. b";
        QTest::newRow("a number in brackets") << "a\n1) b"      << "\n" << "a 1) b";
        QTest::newRow("a word that is one")  << "a\nnan b"      << "\n" << "a|nan b";
        QTest::newRow("infinite")            << "a\ninf"        << "\n" << "a|inf";
        QTest::newRow("a number and a tab")  << "a\n1\tb"       << "\n" << "a 1\tb";
        QTest::newRow("capital after blanks") << "a\n  Bb"     << "\n" << "a|  Bb";
        QTest::newRow("minus after a tab")   << "a\n\t-b"       << "\n" << "a|\t-b";
        QTest::newRow("blanks only")         << "a\n  \nb"      << "\n" << "a    b";
        QTest::newRow("a capital inside")    << "a\nbC"         << "\n" << "a bC";
        QTest::newRow("a capital umlaut")    << "a\n\u00c4b"    << "\n" << "a|\u00c4b";
        QTest::newRow("a long separator")    << "a--b--C"       << "--" << "a b|C";
        QTest::newRow("not this separator")  << "a\nB"          << "\r" << "a\nB";
        QTest::newRow("no separator")        << "aB"            << ""   << " a|B|";
        // clang-format on
    }

    void combineWrappedLines()
    {
        QFETCH(QString, text);
        QFETCH(QString, separator);
        QFETCH(QString, combined);

        QCOMPARE(StringUtil::combineLines(text, separator, "|"), String(combined));
        QCOMPARE(combineStepByStep(text, separator, "|"), combined);
    }

    void combineRandomLinesAsStepByStep()
    {
        std::mt19937 random(1);
        const QString alphabet = QString("aB1-:. \t\n\n,") + QChar(0xd83d) + QChar(0);
        const QStringList separators = {"\n", "\n", "\n", "a", "\n\n", ""};
        for (int i = 0; i < 15000; ++i) {
            QString text;
            for (unsigned int size = random() % 20; size > 0; --size)
                text += alphabet[static_cast<int>(random() % 13)];
            const QString separator = separators[static_cast<int>(random() % 6)];

            QCOMPARE(StringUtil::combineLines(text, separator, "|"),
                     String(combineStepByStep(text, separator, "|")));
        }
    }

    void removeTags_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("plain");

        // clang-format off
        QTest::newRow("tags")              << "<b>a</b> c"       << "a c";
        QTest::newRow("nothing")           << ""                 << "";
        QTest::newRow("none")              << "a b"              << "a b";
        QTest::newRow("only opened")       << "a<b"              << "a<b";
        QTest::newRow("only closed")       << "a>b"              << "a>b";
        QTest::newRow("the wrong way")     << "a>b<c"            << "a>b<c";
        QTest::newRow("empty")             << "a<>b"             << "ab";
        QTest::newRow("opened twice")      << "a<b<c>d"          << "ad";
        QTest::newRow("closed twice")      << "a<b>c>d"          << "ac>d";
        QTest::newRow("opened at the end") << "<a>b<c"           << "b<c";
        QTest::newRow("across lines")      << "a<br\n/>b"        << "ab";
        QTest::newRow("no tag at all")     << "1<2 and 3>2"      << "12";
        QTest::newRow("formed by removal") << "<<a>b>c"          << "b>c";
        // clang-format on
    }

    void removeTags()
    {
        QFETCH(QString, text);
        QFETCH(QString, plain);

        QCOMPARE(StringUtil::removeTags(text), String(plain));
    }

    void removeTagsAsTheExpressionDoes()
    {
        std::mt19937 random(2);
        const QString alphabet = QString("<>ab\n") + QChar(0xd83d) + QChar(0);
        for (int i = 0; i < 20000; ++i) {
            QString text;
            for (unsigned int size = random() % 15; size > 0; --size)
                text += alphabet[static_cast<int>(random() % 7)];
            QString expected = text;
            expected.remove(QRegExp("<[^>]*>"));

            QCOMPARE(StringUtil::removeTags(text), String(expected));
        }
    }

    void splitLinks_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QStringList>("parts");

        // clang-format off
        QTest::newRow("all parts")    << "file:/host/dir/name?x=1" << QStringList{"file", "host", "dir/name", "x=1"};
        QTest::newRow("parameters")   << "a:/b/c?x=1&&y?z"     << QStringList{"a", "b", "c", "x=1", "", "y?z"};
        QTest::newRow("no scheme")    << "/host/name"          << QStringList{"", "host", "name"};
        QTest::newRow("no host")      << "name?x"              << QStringList{"", "", "name", "x"};
        QTest::newRow("a path")       << "dir/name"            << QStringList{"", "", "dir/name"};
        QTest::newRow("a colon only") << "a:b/c"               << QStringList{"", "", "a:b/c"};
        QTest::newRow("nothing")      << ""                    << QStringList{"", "", ""};
        QTest::newRow("a slash")      << "/"                   << QStringList{"", "", ""};
        QTest::newRow("two slashes")  << "//"                  << QStringList{"", "", ""};
        QTest::newRow("a question")   << "?"                   << QStringList{"", "", "", ""};
        QTest::newRow("an empty end") << "a:/b/c?x&"           << QStringList{"a", "b", "c", "x", ""};
        QTest::newRow("web address")  << "http://host/path"    << QStringList{"http", "", "host/path"};
        QTest::newRow("host alone")   << "file:/host"          << QStringList{"file", "host", ""};
        QTest::newRow("no path, so no parameters") << "file:/host?x=1" << QStringList{"file", "host?x=1", ""};
        QTest::newRow("the first scheme") << "a:/b:/c"         << QStringList{"a", "b:", "c"};
        QTest::newRow("a scheme inside") << "/h/p?q=b:/c/d"    << QStringList{"/h/p?q=b", "c", "d"};
        QTest::newRow("an empty scheme") << ":/host/name"      << QStringList{"", "host", "name"};
        // clang-format on
    }

    void splitLinks()
    {
        QFETCH(QString, link);
        QFETCH(QStringList, parts);

        QCOMPARE(StringUtil::splitLink(link), parts);
    }

    void bearHugeTexts()
    {
        const QString opened(hugeSize, '<');
        const QString stars(hugeSize, '*');
        const QString capitals = QString("aB").repeated(hugeSize / 2);
        const QString lines = QString("a\n").repeated(hugeSize / 2);
        const QString digits = "0." + QString(hugeSize, '1');

        QVERIFY(StringUtil::removeTags(">" + opened) == ">" + opened);
        QCOMPARE(StringUtil::removeTags(opened + ">"), String());
        const String frame = StringUtil::formatTable("*", "*", 0);
        QCOMPARE(StringUtil::formatTable(stars, "*", 0).size(),
                 frame.size() + (hugeSize - 1) * QString("</td><td>").size());
        QCOMPARE(StringUtil::makeLabel(capitals, false).size(), hugeSize + hugeSize / 2 - 1);
        QCOMPARE(StringUtil::combineLines(lines, "\n", "<br>").size(), hugeSize + 3);
        QCOMPARE(StringUtil::combineLines("a\n" + digits, "\n", "|"), String("a|" + digits));
        QCOMPARE(StringUtil::splitLink("a:/b/c?" + QString(hugeSize, '&')).size(), hugeSize + 4);
        QCOMPARE(StringUtil::findInList("b", {digits, digits + "b"}, "", 0), 1);
    }
};

QTEST_GUILESS_MAIN(tst_StringUtil_texts)
#include "tst_StringUtil_texts.moc"
