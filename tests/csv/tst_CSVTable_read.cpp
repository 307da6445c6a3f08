#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "utils/Application.h"
#include "utils/feedback/Progress.h"

#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <type_traits>

using Utils::CSVTable;
using Utils::Progress;

static_assert(!std::is_copy_constructible_v<CSVTable>);
static_assert(!std::is_copy_assignable_v<CSVTable>);
static_assert(!std::is_convertible_v<Data::String, CSVTable>);

/// The fields of \p line with \p delimiters, which blanks separate.
static QStringList split(const QString &line, const QString &delimiters, bool quoted = false)
{
    CSVTable table("");
    for (const QString &delimiter : delimiters.split(' ', Qt::SkipEmptyParts))
        table.addDelimiter(delimiter);
    table.setData(line, quoted);
    return table.data(0);
}

class tst_CSVTable_read : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { CSVTable().setHoleValue(0.0); }

    // Lines and fields

    void startsEmpty()
    {
        const CSVTable table;

        QVERIFY(!table.isValid());
        QCOMPARE(table.numRows(), 0);
        QCOMPARE(table.numColumns(), 0);
        QCOMPARE(table.path(), Data::String());
        QCOMPARE(table.comment(), Data::String());
        QVERIFY(!table.progress());
        QVERIFY(!table.isDemandRead());
        QVERIFY(!table.hasHeader());
        QVERIFY(table.isEmpty(0));
        QVERIFY(table.isEmpty(0, 0));
    }

    void splitsTextIntoRowsAndFields_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Rows>("rows");

        // clang-format off
        QTest::newRow("a line feed at the end") << "a,b\n1,2\n" << Rows{{"a", "b"}, {"1", "2"}, {""}};
        QTest::newRow("none at the end") << "a,b\n1,2" << Rows{{"a", "b"}, {"1", "2"}};
        QTest::newRow("empty lines") << "a\n\n\n" << Rows{{"a"}, {""}, {""}, {""}};
        QTest::newRow("a line feed only") << "\n" << Rows{{""}, {""}};
        QTest::newRow("empty fields") << "a,,b\n,a\na,\n," << Rows{{"a", "", "b"}, {"", "a"}, {"a", ""}, {"", ""}};
        QTest::newRow("fields are trimmed") << " a ,\tb\t, c d " << Rows{{"a", "b", "c d"}};
        QTest::newRow("any white space is") << QString("\u00a0a\u3000,\u2003b\u0085") << Rows{{"a", "b"}};
        QTest::newRow("what is no white space stays") << QString("\ufeff" "a,\u200b") << Rows{{"\ufeff" "a", "\u200b"}};
        QTest::newRow("a carriage return goes at the end") << "a,b\r\nc,d\r\n" << Rows{{"a", "b"}, {"c", "d"}, {""}};
        QTest::newRow("and stays within") << "a\rb,c\r" << Rows{{"a\rb", "c"}};
        QTest::newRow("a lone one ends no line") << "a\rb" << Rows{{"a\rb"}};
        QTest::newRow("nor does any other separator") << QString("a\u2028b\vc\fd") << Rows{{"a\u2028b\vc\fd"}};
        QTest::newRow("rows of different length") << "a\nb,c\nd,e,f" << Rows{{"a"}, {"b", "c"}, {"d", "e", "f"}};
        QTest::newRow("braces mean nothing") << "1{a,b},2" << Rows{{"1{a", "b}", "2"}};
        QTest::newRow("nor do quotes") << "x,\"a,b\",y" << Rows{{"x", "\"a", "b\"", "y"}};
        QTest::newRow("a zero character is one as any other") << QString("a") + QChar(0) + "b,c"
            << Rows{{QString("a") + QChar(0) + "b", "c"}};
        // clang-format on
    }

    void splitsTextIntoRowsAndFields()
    {
        QFETCH(QString, text);
        QFETCH(Rows, rows);

        for (const bool onDemand : {false, true}) {
            CSVTable table;
            table.setDemandParse(onDemand);
            QVERIFY(table.setData(text));

            QCOMPARE(table.numRows(), rows.size());
            QCOMPARE(rowsOf(table), rows);
            QVERIFY(table.isValid());
            QVERIFY(!table.isDemandRead());
        }
    }

    void countsFieldsOfTheLargestRow()
    {
        CSVTable table;
        table.setData("a,b\n1,2\n");

        QCOMPARE(table.numColumns(-1), 2);
        QCOMPARE(table.numColumns(), 2);
        QCOMPARE(table.numColumns(2), 1);
        QCOMPARE(table.numColumns(3), 0);
    }

    void takesAPlainLiteralForText()
    {
        CSVTable table;

        QVERIFY(table.setData("a,\xc3\xa9"));
        QVERIFY(table.setData("\"b,c\",d", /*quoted=*/true));
        QVERIFY(!table.setData(static_cast<const char *>(nullptr)));

        QCOMPARE(rowsOf(table), Rows({{"a", "\u00e9"}, {"b,c", "d"}}));
    }

    void refusesAnEmptyText()
    {
        CSVTable table;
        table.setData(QByteArray("a,b"));

        QVERIFY(!table.setData(Data::String()));
        QVERIFY(!table.setData("", /*quoted=*/true));

        QCOMPARE(rowsOf(table), Rows({{"a", "b"}})); // even the bytes are still there
    }

    // Delimiters

    void splitsAtPatterns_data()
    {
        QTest::addColumn<QString>("delimiters");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("fields");

        // clang-format off
        QTest::newRow("a character") << ";" << "a;b,c" << QStringList{"a", "b,c"};
        QTest::newRow("several characters") << "::" << "a::b:c" << QStringList{"a", "b:c"};
        QTest::newRow("several delimiters") << ", ;" << "a,b;c;,d" << QStringList{"a", "b", "c", "", "d"};
        QTest::newRow("the longest of those in one place") << "; ;;" << "a;;b" << QStringList{"a", "b"};
        QTest::newRow("the first place before the longest") << "ab bcd" << "xabcdy" << QStringList{"x", "cdy"};
        QTest::newRow("any blanks") << "\\s+" << "a  b\tc" << QStringList{"a", "b", "c"};
        QTest::newRow("blanks at the ends") << "\\s+" << " a b " << QStringList{"", "a", "b", ""};
        QTest::newRow("any character") << "." << "abc" << QStringList{"", "", "", ""};
        QTest::newRow("an escaped one") << "\\." << "a.bc" << QStringList{"a", "bc"};
        QTest::newRow("nothing or nothing") << "|" << "ab" << QStringList{"", "a", "b", ""};
        QTest::newRow("the end") << "$" << "ab" << QStringList{"ab", ""};
        QTest::newRow("the start") << "^" << "ab" << QStringList{"", "ab"};
        QTest::newRow("case matters") << "x" << "aXbxc" << QStringList{"aXb", "c"};
        QTest::newRow("a group is no field") << "(,)" << "a,b" << QStringList{"a", "b"};
        QTest::newRow("no delimiter") << "" << "ab" << QStringList{"", "a", "b", ""};
        for (const char *invalid : {"(", ")", "[", "*", "+", "?", "\\", "{", "[a", "(a", "a{2"})
            QTest::addRow("invalid %s", invalid) << invalid << QString("a%1b , c").arg(invalid)
                << QStringList{QString("a%1b , c").arg(invalid)};
        QTest::newRow("one that makes all invalid") << ", (" << "a,b" << QStringList{"a,b"};
        // clang-format on
    }

    void splitsAtPatterns()
    {
        QFETCH(QString, delimiters);
        QFETCH(QString, line);
        QFETCH(QStringList, fields);

        QCOMPARE(split(line, delimiters), fields);
    }

    void hasACommaForDelimiter()
    {
        CSVTable table;
        table.setData("a,b;c");

        QCOMPARE(table.data(0), QStringList({"a", "b;c"}));
    }

    void takesEachDelimiterOnce()
    {
        CSVTable table;
        table.addDelimiter(",");
        table.addDelimiter("");
        table.addDelimiter("x");
        table.addDelimiter("x");
        table.addDelimiter("X");

        table.setData("a,bxcXd");
        QCOMPARE(table.data(0), QStringList({"a", "b", "c", "d"}));

        CSVTable single; // "," once more is no second one: quotes still count
        single.addDelimiter(",");
        single.addDelimiter("");
        single.setData("\"a,b\",c", /*quoted=*/true);
        QCOMPARE(single.data(0), QStringList({"a,b", "c"}));

        CSVTable cased("x"); // and "X" is
        cased.addDelimiter("X");
        cased.setData("\"axb\"", /*quoted=*/true);
        QCOMPARE(cased.data(0), QStringList({"\"a", "b\""}));
    }

    // Alternates

    void takesTheAlternatesWhenTheFirstLineHasNoDelimiter_data()
    {
        QTest::addColumn<QString>("delimiters");
        QTest::addColumn<QString>("text");
        QTest::addColumn<Rows>("rows");

        // clang-format off
        QTest::newRow("none there") << "," << "a;b\nc;d,e" << Rows{{"a", "b"}, {"c", "d,e"}};
        QTest::newRow("there") << "," << "a,b\nc;d" << Rows{{"a", "b"}, {"c;d"}};
        QTest::newRow("in the second line only") << "," << "a;b\nc,d" << Rows{{"a", "b"}, {"c,d"}};
        QTest::newRow("in the comment before") << "," << "#,\na;b" << Rows{{"a;b"}};
        QTest::newRow("not in the comment before") << "," << "#\na,b;c" << Rows{{"a,b", "c"}};
        QTest::newRow("as plain text: a pattern is not found") << "\\s+" << "a b;c" << Rows{{"a b", "c"}};
        QTest::newRow("as plain text: a dot is not any character") << "." << "ab;c" << Rows{{"ab", "c"}};
        QTest::newRow("the second delimiter does not count") << ", x" << "axb;c" << Rows{{"axb", "c"}};
        QTest::newRow("no delimiter") << "" << "a;b" << Rows{{"a", "b"}};
        // clang-format on
    }

    void takesTheAlternatesWhenTheFirstLineHasNoDelimiter()
    {
        QFETCH(QString, delimiters);
        QFETCH(QString, text);
        QFETCH(Rows, rows);

        for (const bool onDemand : {false, true}) {
            CSVTable table("");
            for (const QString &delimiter : delimiters.split(' ', Qt::SkipEmptyParts))
                table.addDelimiter(delimiter);
            table.addDelimiter(";", /*alternate=*/true);
            table.setComment("#");
            table.setDemandParse(onDemand);
            table.setData(text);

            QCOMPARE(rowsOf(table), rows);
        }
    }

    void keepsTheAlternates()
    {
        CSVTable table;
        table.addDelimiter(";", /*alternate=*/true);
        table.setData("a;b");

        table.setData("c;d,e");
        table.setData("f,g");

        QCOMPARE(rowsOf(table), Rows({{"a", "b"}, {"c", "d,e"}, {"f,g"}}));
        QCOMPARE(table.stringData(0), Data::String("a;b"));
    }

    void takesAllAlternatesOnce()
    {
        CSVTable table;
        table.addDelimiter(";", true);
        table.addDelimiter("", true);
        table.addDelimiter(";", true);
        table.addDelimiter(",", true); // no matter that it is a delimiter, too
        table.setData("a;b");
        table.setData("a;b,c");

        QCOMPARE(table.data(1), QStringList({"a", "b", "c"}));
    }

    void decidesAboutQuotesBeforeItTakesTheAlternates()
    {
        CSVTable table;
        table.addDelimiter(";", true);
        table.addDelimiter(":", true);

        table.setData("\"a;b\";c:d", /*quoted=*/true);

        QCOMPARE(table.data(0), QStringList({"a;b", "c:d"}));
        table.setData("\"a;b\";c:d", /*quoted=*/true); // now there are two
        QCOMPARE(table.data(1), QStringList({"\"a", "b\"", "c", "d"}));
    }

    // Quotes

    void splitsQuotedText_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("fields");

        // clang-format off
        QTest::newRow("a delimiter in quotes") << "x,\"a,b\",y" << QStringList{"x", "a,b", "y"};
        QTest::newRow("quotes around no delimiter stay") << "\"a\",b" << QStringList{"\"a\"", "b"};
        QTest::newRow("several delimiters in quotes") << "\"a,b,c\",d" << QStringList{"a,b,c", "d"};
        QTest::newRow("no quotes") << "a,,b" << QStringList{"a", "", "b"};
        QTest::newRow("two quotes are one") << "a\"\"b,c" << QStringList{"a\"b", "c"};
        QTest::newRow("and two fields of them") << "\"\",\"\"\"\"" << QStringList{"\"", "\"\""};
        QTest::newRow("doubled ones within") << "\"a\"\"b,c\"" << QStringList{"a\"b,c"};
        QTest::newRow("a quote that never closes") << "x,\"a,b" << QStringList{"x", "a,b"};
        QTest::newRow("a lone quote opens") << "\",a\",b" << QStringList{",a", "b"};
        QTest::newRow("a lone quote closes") << "\"a,\",b" << QStringList{"a,", "b"};
        QTest::newRow("a piece in quotes closes nothing") << "\"a,\"b\",c\",d" << QStringList{"a,\"b\",c", "d"};
        QTest::newRow("a quote within is ordinary") << "a\"b,c\"" << QStringList{"a\"b", "c\""};
        QTest::newRow("a blank at the start hides the opening one") << " \"a,b\"" << QStringList{"\"a", "b\""};
        QTest::newRow("a carriage return hides the closing one") << "\"a,b\"\r" << QStringList{"a,b\""};
        QTest::newRow("trimmed after the split") << "\" a, b \", c " << QStringList{"a, b", "c"};
        QTest::newRow("empty") << "," << QStringList{"", ""};
        // clang-format on
    }

    void splitsQuotedText()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, fields);

        QCOMPARE(split(line, ",", /*quoted=*/true), fields);

        CSVTable onDemand;
        onDemand.setDemandParse(true);
        onDemand.setData(line, /*quoted=*/true);
        QCOMPARE(onDemand.data(0), fields);
    }

    void takesTheDelimiterOfQuotedTextAsItIs()
    {
        QCOMPARE(split("a.b|c", ".", true), QStringList({"a", "b|c"}));
        QCOMPARE(split("a|b", "|", true), QStringList({"a", "b"}));
        QCOMPARE(split("a(b", "(", true), QStringList({"a", "b"}));
        QCOMPARE(split("a  b", "\\s+", true), QStringList({"a  b"}));
        QCOMPARE(split("\"a::b\"::c", "::", true), QStringList({"a::b", "c"}));
    }

    void takesAWholeLineOfQuotedTextWithoutADelimiter()
    {
        QCOMPARE(split("a,\"\"b ", "", true), QStringList({"a,\"b"}));
    }

    void knowsNoQuotesWithSeveralDelimiters()
    {
        QCOMPARE(split("\"a,b\";c", ", ;", true), QStringList({"\"a", "b\"", "c"}));
    }

    void keepsQuotesUntilTextComesWithout()
    {
        CSVTable table;
        table.setData("\"a,b\",c", true);
        table.appendData(Data::String("\"d,e\",f"));
        table.setData("\"g,h\",i");
        table.appendData(Data::String("\"j,k\",l"));

        QCOMPARE(rowsOf(table),
                 Rows({{"a,b", "c"}, {"d,e", "f"}, {"\"g", "h\"", "i"}, {"\"j", "k\"", "l"}}));
    }

    // Comments

    void dropsComments_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<char>("except");
        QTest::addColumn<Rows>("rows");

        // clang-format off
        QTest::newRow("at the start") << "#x\n1,2" << '\0' << Rows{{"1", "2"}};
        QTest::newRow("between and after") << "1\n#x\n2\n#" << '\0' << Rows{{"1"}, {"2"}};
        QTest::newRow("after a blank it is data") << " #x" << '\0' << Rows{{"#x"}};
        QTest::newRow("after data it is data") << "1,2 #x" << '\0' << Rows{{"1", "2 #x"}};
        QTest::newRow("with the exception it is data") << "#!keep,this\n#drop" << '!' << Rows{{"#!keep", "this"}};
        QTest::newRow("an exception elsewhere is none") << "# !\n1" << '!' << Rows{{"1"}};
        QTest::newRow("the exception alone is data") << "!x\n#!" << '!' << Rows{{"!x"}, {"#!"}};
        // clang-format on
    }

    void dropsComments()
    {
        QFETCH(QString, text);
        QFETCH(char, except);
        QFETCH(Rows, rows);

        for (const bool onDemand : {false, true}) {
            CSVTable table;
            table.setComment("#", except);
            table.setDemandParse(onDemand);
            QVERIFY(table.setData(text));

            QCOMPARE(table.numRows(), rows.size());
            QCOMPARE(rowsOf(table), rows);
            QCOMPARE(table.comment(), Data::String("#"));
        }
    }

    void dropsCommentsThatStartWithACarriageReturn()
    {
        CSVTable table;
        table.setComment("\r");
        QVERIFY(table.setData("1\n\r2\n3"));

        QCOMPARE(rowsOf(table), (Rows{{"1"}, {"3"}}));
    }

    void looksAtTheCaseOfAComment()
    {
        CSVTable table;
        table.setComment("rem");
        table.setData("REM 1\nrem 2");

        QCOMPARE(rowsOf(table), Rows({{"REM 1"}}));
    }

    void failsWhenThereAreCommentsOnly()
    {
        CSVTable table;
        table.setComment("#");

        QVERIFY(!table.setData("#a\n#b"));
        QVERIFY(!table.isValid());
        QVERIFY(table.setData("a"));
        QVERIFY(table.setData("#a")); // it is about what is there
    }

    void readsAFileOfCommentsThatEndsWithALineFeedAsAnEmptyRow()
    {
        const QTemporaryDir folder;
        CSVTable table;
        table.setComment("#");

        QVERIFY(!table.read(makeFile(folder.filePath("open.csv"), "#a")));
        QVERIFY(table.read(makeFile(folder.filePath("closed.csv"), "#a\n")));
        QCOMPARE(rowsOf(table), Rows({{""}}));
    }

    void keepsTheExceptionOfAnotherComment()
    {
        CSVTable table;
        table.setComment("#", '!');
        table.setComment("%");
        table.setData("#!a\n%!b\n%c");
        QCOMPARE(rowsOf(table), Rows({{"#!a"}}));

        table.clear();
        table.setComment("#");
        table.setData("#!a\n#b");
        QCOMPARE(rowsOf(table), Rows({{"#!a"}}));

        table.clear();
        table.setComment("");
        table.setData("#b\n%c");
        QCOMPARE(rowsOf(table), Rows({{"#b"}, {"%c"}}));
    }

    // Adding and replacing

    void addsTextToWhatIsThere()
    {
        CSVTable table;
        table.setData("a\nb");

        QVERIFY(table.setData("c"));

        QCOMPARE(rowsOf(table), Rows({{"a"}, {"b"}, {"c"}}));
    }

    void replacesBytes()
    {
        CSVTable table;
        table.setData(QByteArray("a\nb"));

        QVERIFY(table.setData(QByteArray("c")));

        QCOMPARE(rowsOf(table), Rows({{"c"}}));
    }

    void keepsTextRowsBehindBytes()
    {
        CSVTable table;
        table.setData("a");
        table.setData(QByteArray("b"));
        QCOMPARE(rowsOf(table), Rows({{"b"}}));

        table.setData("c");

        QCOMPARE(rowsOf(table), Rows({{"a"}, {"c"}}));
    }

    void keepsItsSettingsThroughAllInput()
    {
        CSVTable table;
        table.setComment("#", '!');
        table.setData("\"a,b\",c", /*quoted=*/true);
        table.setData(QByteArray("x"));

        table.appendData(Data::String("\"d,e\",f"));
        table.setData("#x\n#!y");

        QCOMPARE(table.comment(), Data::String("#"));
        QCOMPARE(rowsOf(table), Rows({{"a,b", "c"}, {"d,e", "f"}, {"#!y"}}));
    }

    // Bytes

    void splitsBytesAtOneCharacter()
    {
        for (const bool onDemand : {false, true}) {
            CSVTable table(";");
            table.setDemandParse(onDemand);
            table.setComment("#");

            QVERIFY(table.setData(QByteArray("# a ;\"b;\n1;2\r\n\n")));

            QVERIFY(!table.isDemandRead());
            QCOMPARE(rowsOf(table), Rows({{"# a", "\"b", ""}, {"1", "2"}, {""}, {""}}));
        }
    }

    void takesThePatternOfBytesAsItIs()
    {
        CSVTable table("|");
        table.setData(QByteArray("a|b"));
        table.addDelimiter(";", /*alternate=*/true);

        QCOMPARE(rowsOf(table), Rows({{"a", "b"}}));
        table.setData(QByteArray("a;b"));
        QCOMPARE(rowsOf(table), Rows({{"a;b"}}));
    }

    void keepsWhatIsOnlyLentToIt_data()
    {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<bool>("onDemand");

        QTest::newRow("one delimiter") << "," << false;
        QTest::newRow("split later") << "," << true;
        QTest::newRow("a longer delimiter") << ",," << false;
        QTest::newRow("a pattern") << "[,;]" << true;
    }

    void keepsWhatIsOnlyLentToIt()
    {
        QFETCH(QString, delimiter);
        QFETCH(bool, onDemand);
        const QString separator = delimiter.startsWith('[') ? QString(";") : delimiter;
        const QString text = "a" + separator + "1\nb" + separator + "2";
        const Rows rows = {{"a", "1"}, {"b", "2"}};
        QByteArray bytesMemory = text.toLatin1() + "beyond";
        QString textMemory = text + "beyond";
        CSVTable fromBytes(delimiter);
        fromBytes.setDemandParse(onDemand);
        CSVTable fromText(delimiter);
        fromText.setDemandParse(onDemand);

        fromBytes.setData(QByteArray::fromRawData(bytesMemory.constData(), text.size()));
        fromText.setData(QString::fromRawData(textMemory.constData(), text.size()));
        bytesMemory.fill('?');
        textMemory.fill('?');

        QCOMPARE(rowsOf(fromBytes), rows);
        QCOMPARE(rowsOf(fromText), rows);
    }

    void refusesNoBytes()
    {
        CSVTable table;
        table.setData("a");

        QVERIFY(!table.setData(QByteArray()));
        QVERIFY(!table.setData(QByteArray("")));
        QCOMPARE(rowsOf(table), Rows({{"a"}}));

        table.addDelimiter(";");
        QVERIFY(!table.setData(QByteArray()));
        QVERIFY(!table.setData(QByteArray("\0a", 2)));
        QCOMPARE(rowsOf(table), Rows({{"a"}}));
    }

    void keepsItsBytesWhenThereAreNone()
    {
        CSVTable table;
        table.setData("a");
        table.setData(QByteArray("b"));

        QVERIFY(!table.setData(QByteArray()));
        QCOMPARE(rowsOf(table), Rows({{"b"}}));

        table.addDelimiter(";");
        QVERIFY(!table.setData(QByteArray()));
        QCOMPARE(rowsOf(table), Rows({{"b"}}));
    }

    void takesBytesForTextInLatin1WithoutASingleDelimiter_data()
    {
        QTest::addColumn<QStringList>("delimiters");
        QTest::addColumn<QStringList>("fields");

        const QString accent(QChar(0xe9));
        QTest::newRow("two") << QStringList{",", ";"} << QStringList{accent, "\"b", "c\""};
        QTest::newRow("of two characters") << QStringList{";;"} << QStringList{accent + ",\"b;c\""};
        QTest::newRow("none") << QStringList() << QString(accent + ",\"b;c\"").split("");
    }

    void takesBytesForTextInLatin1WithoutASingleDelimiter()
    {
        QFETCH(QStringList, delimiters);
        QFETCH(QStringList, fields);
        CSVTable table("");
        for (const QString &delimiter : delimiters)
            table.addDelimiter(delimiter);
        table.setComment("#");
        table.setData("x", /*quoted=*/true);

        // Text, so what was there stays, comments go, and quotes are off.
        QVERIFY(table.setData(QByteArray("#\n\xe9,\"b;c\"\0,d", 13)));

        QCOMPARE(table.numRows(), 2);
        QCOMPARE(table.data(1), fields);
    }

    void takesTwoBytesInUtf8ForTwoCharactersInLatin1()
    {
        CSVTable table;
        table.addDelimiter(";");

        table.setData(QByteArray("\xc3\xa9"));

        QCOMPARE(table.data(0, 0), Data::String(QString::fromLatin1("\xc3\xa9")));
    }

    void splitsBytesAtZeroForADelimiterThatIsNotInLatin1()
    {
        CSVTable table(QString(QChar(0x20ac)));

        table.setData(QByteArray("a\0b\xe2\x82\xac", 6));

        QCOMPARE(table.numColumns(0), 2);
        QCOMPARE(table.data(0), QStringList({"a", QString("b") + QChar(0x20ac)}));

        CSVTable latin(QString(QChar(0xe9)));
        latin.setData(QByteArray("a\xe9"
                                 "b"));
        QCOMPARE(latin.data(0), QStringList({"a", "b"}));
    }

    // Rows that are split on demand

    // A large file is validated in pieces: a character is at the end of one and the start of the
    // next, wherever pieces of an even size end.
    void readsALargeFileAsTextIfItIsUtf8_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isText");

        const QByteArray first = "x" + QByteArray("\xc3\xa4").repeated(300 * 1000);
        const QByteArray last = QByteArray("\xc3\xa4,\xe2\x82\xac,").repeated(200 * 1000);
        const QByteArray valid = first + '\n' + last;
        QByteArray broken = valid;
        broken[broken.size() / 2] = '\xff';
        QByteArray swapped = valid; // the first byte of a character is missing
        swapped[500 * 1001] = 'a';
        QTest::newRow("valid") << valid << true;
        QTest::newRow("a byte of no character") << broken << false;
        QTest::newRow("half a character within") << swapped << false;
        QTest::newRow("half a character at the end") << valid + '\xc3' << false;
        QTest::newRow("half a character, and a line") << valid + "\xc3\n" << false;
    }

    void readsALargeFileAsTextIfItIsUtf8()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, isText);
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("large.csv"), bytes);
        CSVTable table;

        QCOMPARE(table.read(path), isText);

        QCOMPARE(table.numRows(), isText ? 2 : 0);
        if (!isText)
            return;
        QCOMPARE(table.data(0, 0), Data::String('x' + QString(300 * 1000, QChar(0xe4))));
        QCOMPARE(table.numColumns(1), 400 * 1000 + 1);
        QCOMPARE(table.data(1, 399 * 1000 + 1), Data::String(QString(QChar(0x20ac))));
    }

    void splitsARowOnDemand()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a,b\n1, 2\n");

        QCOMPARE(table.numRows(), 3);
        QCOMPARE(table.stringData(1), Data::String("1, 2")); // as it was read
        QCOMPARE(table.data(1, 1), Data::String("2"));
        QCOMPARE(table.stringData(1), Data::String("1,2"));
        QCOMPARE(table.stringData(0), Data::String("a,b"));
    }

    void splitsByTheDelimitersOfThatMoment()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a;b\nc;d");
        table.data(0);

        table.addDelimiter(";");

        QCOMPARE(rowsOf(table), Rows({{"a;b"}, {"c", "d"}}));
    }

    void looksForCommentsWhenTextIsReadOnly()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("#a,b");

        table.setComment("#");

        QCOMPARE(table.data(0), QStringList({"#a", "b"}));
    }

    void splitsAllWhenTheLargestRowIsAskedFor()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a, b\nc, d, e");

        QCOMPARE(table.numColumns(-1), 3);

        QCOMPARE(table.stringData(), Data::String("a,b\nc,d,e"));
    }

    void canBeTurnedBackToSplittingAtOnce()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a, b");
        table.setDemandParse(false);
        table.setData("a, b");

        QCOMPARE(table.stringData(), Data::String("a, b\na,b"));
    }

    // Header

    void hasAHeaderWhenAFieldOfTheFirstRowIsNoNumber_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("expected");

        QTest::newRow("texts") << QByteArray("a,b\n1,2") << true;
        QTest::newRow("numbers above texts") << QByteArray("1,2\na,b") << false;
        QTest::newRow("numbers") << QByteArray(" 1.5 ,-2,+3,1e5,.5") << false;
        QTest::newRow("a text after numbers") << QByteArray("1,2,x") << true;
        QTest::newRow("an empty field at the start") << QByteArray(",1") << true;
        QTest::newRow("an empty field at the end") << QByteArray("1,") << true;
        QTest::newRow("an empty row") << QByteArray("\n1") << true;
        QTest::newRow("an annotation") << QByteArray("1.5{mm}") << true;
        QTest::newRow("not a number") << QByteArray("nan,-inf") << false;
        QTest::newRow("too large") << QByteArray("1e400") << true;
        QTest::newRow("of another locale") << QByteArray("1;5") << true;
        QTest::newRow("hexadecimal") << QByteArray("0x10") << true;
    }

    void hasAHeaderWhenAFieldOfTheFirstRowIsNoNumber()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, expected);

        CSVTable asText;
        asText.setData(QString(text));
        CSVTable asBytes;
        asBytes.setData(text);

        QCOMPARE(asText.hasHeader(), expected);
        QCOMPARE(asBytes.hasHeader(), expected);
    }

    void hasNoHeaderWithoutFieldsInTheFirstRow()
    {
        CSVTable table;
        table.setData(1, 0, "x");

        QCOMPARE(table.data(0), QStringList());
        QVERIFY(!table.hasHeader());
    }

    // The sample files, as the guide reads them

    void readsTheSampleWithUnits()
    {
        CSVTable table;
        QVERIFY(table.read(SAMPLES "/load_curve.csv"));
        Data::String unit;
        Data::String name;

        table.data(0, 2, unit, name);

        QCOMPARE(name, Data::String("Force"));
        QCOMPARE(unit, Data::String("kN"));
        QVERIFY(table.hasHeader());
        QCOMPARE(table.colDataValue(2, 1).mid(0, 3), QList<double>({-0.021, 3.249, 6.449}));
    }

    void readsTheSampleWithCommentsAndQuotes()
    {
        CSVTable table(";");
        table.setComment("#");
        QVERIFY(table.read(SAMPLES "/bolts.csv", 0, /*quoted=*/true));

        QCOMPARE(table.numRows(), 14); // a header, twelve bolts, and what the last line end leaves
        QCOMPARE(table.dataValue(3, "Torque{Nm}"), 210.0);
        QCOMPARE(table.data(3, 4), Data::String("retightened; washer replaced"));
        QCOMPARE(table.data(8, "Remark"), Data::String("thread cleaned; marked \"B\""));
    }

    void readsTheSampleAlignedWithBlanks()
    {
        CSVTable table("\\s+");
        QVERIFY(table.read(SAMPLES "/modes.txt"));

        QCOMPARE(table.data(1), QStringList({"", "1", "11.6044", "72.913", "4.620141", "0.61308"}));
    }

    // Progress

    void reportsALine_data()
    {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<bool>("bytes");

        QTest::newRow("text") << "," << false;
        QTest::newRow("text between blanks") << "\\s+" << false;
        QTest::newRow("text with a pattern") << "[,;]" << false;
        QTest::newRow("bytes") << "," << true;
    }

    void reportsALine()
    {
        QFETCH(QString, delimiter);
        QFETCH(bool, bytes);
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            progress.tick(4);
            CSVTable table(delimiter);
            table.setComment("#");
            table.setProgress(&progress, "Reading");
            QCOMPARE(table.progress(), &progress);
            host.calls.clear();

            if (bytes)
                table.setData(QByteArray("a\n#b\nc\n"));
            else
                table.setData("a\n#b\nc\n");

            // The comment and the empty last line count, too.
            QCOMPARE(
                host.calls,
                QStringList({"setProgress(0, 4, 0)", "setProgressLabel(Reading, 0)",
                             "setProgress(1, 4, 0)", "setProgress(2, 4, 0)", "setProgress(3, 4, 0)",
                             "setProgress(4, 4, 0)", "setProgressLabel(outer, 0)"}));
            QCOMPARE(progress.count(), 4);
            QCOMPARE(progress.maxSteps(), 10);
        }
        Utils::setApplication(nullptr);
    }

    void reportsNothingWhenRowsAreSplitOnDemand_data() { reportsALine_data(); }

    void reportsNothingWhenRowsAreSplitOnDemand()
    {
        QFETCH(bool, bytes);
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            CSVTable table;
            table.setDemandParse(true);
            table.setProgress(&progress, "Reading");
            host.calls.clear();

            if (bytes)
                table.setData(QByteArray("a\nb"));
            else
                table.setData("a\nb");
            table.data(1);

            // What was saved is restored all the same, which repeats the label.
            QCOMPARE(host.calls, QStringList("setProgressLabel(outer, 0)"));
        }
        Utils::setApplication(nullptr);
    }

    void cannotBeCancelled_data() { reportsALine_data(); }

    void cannotBeCancelled()
    {
        QFETCH(bool, bytes);
        Progress progress(10, "", /*cancelable=*/true);
        progress.cancel();
        CSVTable table;
        table.setProgress(&progress);

        QVERIFY(bytes ? table.setData(QByteArray("a\nb")) : table.setData("a\nb"));

        QCOMPARE(table.numRows(), 2);
        QVERIFY(progress.cancelled());
    }

    void leavesProgressAloneWhenThereIsNothingToRead()
    {
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            CSVTable table;
            table.setProgress(&progress, "Reading");
            host.calls.clear();

            table.setData("");
            table.setData(QByteArray());

            QCOMPARE(host.calls, QStringList());
            table.setProgress(nullptr);
            QVERIFY(!table.progress());
            table.setData("a");
            QCOMPARE(host.calls, QStringList());
        }
        Utils::setApplication(nullptr);
    }

    void bearsAHostThatUsesTheTableMeanwhile_data() { reportsALine_data(); }

    void bearsAHostThatUsesTheTableMeanwhile()
    {
        QFETCH(bool, bytes);
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            CSVTable table;
            table.setProgress(&progress, "Reading");
            bool isDone = false;
            host.reaction = [&](const QString &call) {
                if (isDone || call != "setProgress(1, 3, 0)")
                    return;
                isDone = true;
                table.clear();
                table.setProgress(nullptr);
                table.setData(QByteArray("x"));
            };

            if (bytes)
                table.setData(QByteArray("a\nb\nc"));
            else
                table.setData("a\nb\nc");

            QVERIFY(isDone);
            if (bytes)
                QCOMPARE(rowsOf(table), Rows({{"a"}, {"b"}, {"c"}}));
            else
                QCOMPARE(rowsOf(table), Rows({{"x"}}));
            QCOMPARE(progress.label(), Data::String("outer"));
        }
        Utils::setApplication(nullptr);
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_read)
#include "tst_CSVTable_read.moc"
