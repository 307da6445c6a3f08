#include "tests/examples/Program.h"

#include "tests/support/Files.h" // contentsOf
#include "tests/support/Windows.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTextCodec>

/// Skips a test whose \p arguments name a device of Unix.
#define SKIP_DEVICES_ON_WINDOWS(arguments)      \
    if (!(arguments).filter("/dev/").isEmpty()) \
    SKIP_ON_WINDOWS("Windows has no such device")

class tst_Kelm_table : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void printsTablesOfAnyLayout_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("commas") << QByteArray("a,b\n1,22\n") << QStringList() << " a    b\n 1   22\n";
        QTest::newRow("semicolons") << QByteArray("a;b\n1,5;2\n") << QStringList()
            << "   a   b\n 1,5   2\n";
        QTest::newRow("an encoding that is detected") << QByteArray("a;T{\xb0""C}\n1;20\n")
            << QStringList() << QString(" a   T{") + QChar(0xb0) + "C}\n 1      20\n";
        QTest::newRow("line breaks in quotes that are detected") << QByteArray("a,b\n1,\"x\ny\"\n2,\"z\"\n")
            << QStringList() << QString(" a  b\n 1  x") + QChar(0x21b5) + "y\n 2  z\n";
        QTest::newRow("tabs") << QByteArray("a\tb\n1\t2\n") << QStringList() << " a   b\n 1   2\n";
        QTest::newRow("bars") << QByteArray("a|b\n1|2\n") << QStringList() << " a   b\n 1   2\n";
        QTest::newRow("blanks, ragged") << QByteArray("  a   b\n 1  2 \n10 \t 20\n") << QStringList()
            << "  a    b\n  1    2\n 10   20\n";
        QTest::newRow("one column") << QByteArray("a\n1\n") << QStringList() << " a\n 1\n";
        QTest::newRow("one column with decimal commas") << QByteArray("Kraft\n") + "1,5\n22,75\n3,5\n4,5\n"
            << QStringList() << " Kraft\n   1,5\n 22,75\n   3,5\n   4,5\n";
        QTest::newRow("more commas in some lines") << QByteArray("x,y;1\ny;2\n") << QStringList()
            << "x,y    1\ny      2\n";
        QTest::newRow("given") << QByteArray("a.b\n1.2\n") << QStringList{"-d", "."}
            << " a   b\n 1   2\n";
        QTest::newRow("given, a sign of patterns") << QByteArray("a|b\n1|2\n") << QStringList{"-d", "|"}
            << " a   b\n 1   2\n";
        QTest::newRow("given, of two characters") << QByteArray("a::b\n1::2\n")
            << QStringList{"--delimiter", "::"} << " a   b\n 1   2\n";
        QTest::newRow("given as tab") << QByteArray("a,b\t1\n") << QStringList{"-d", "tab"}
            << "a,b    1\n";
        QTest::newRow("given as blanks") << QByteArray("a,b 1\n") << QStringList{"-d", "blanks"}
            << "a,b    1\n";
        QTest::newRow("comments") << QByteArray("# c, d, e\na,b\n#1,2\n3,4\n") << QStringList()
            << " a   b\n 3   4\n";
        QTest::newRow("comments between blanks") << QByteArray("# c d\na b\n3 4\n") << QStringList()
            << " a   b\n 3   4\n";
        QTest::newRow("comments of another kind") << QByteArray("//c\na,b\n#,2\n")
            << QStringList{"--comment", "//"} << "a    b\n#    2\n";
        QTest::newRow("no comments") << QByteArray("a,b\n#,2\n") << QStringList{"--comment", ""}
            << "a    b\n#    2\n";
        QTest::newRow("commas in every line, but not equally many")
            << QByteArray("x,y,z;1\ny,x;2\n") << QStringList() << "x,y,z    1\ny,x      2\n";
        QTest::newRow("given, signs of patterns, as bytes") << QByteArray("a||b\n1||2\n")
            << QStringList{"-d", "||", "--size-limit", "1"} << " a   b\n 1   2\n";
        QTest::newRow("given, signs of patterns, with quotes") << QByteArray("a||b\n1||2\n")
            << QStringList{"-d", "||", "--quotes", "yes"} << " a   b\n 1   2\n";
        QTest::newRow("quotes between what is given") << QByteArray("a,b;\"1;2\"\nc,d;\"3;4\"\n")
            << QStringList{"-d", ";"} << "a,b    1;2\nc,d    3;4\n";
        QTest::newRow("a delimiter in half of the lines") << QByteArray("a b\n1 2,3\n")
            << QStringList() << " a     b\n 1   2,3\n";
        QTest::newRow("as many of two") << QByteArray("a,b;c\n1,2;3\n") << QStringList()
            << " a  b;c\n 1  2;3\n";
        QTest::newRow("quotes as bytes") << QByteArray("a,b\n1,\"2,3\"\n")
            << QStringList{"--size-limit", "1"} << " a  b\n 1  \"2   3\"\n";
        QTest::newRow("quotes") << QByteArray("a,b\n1,\"x,y\"\n") << QStringList()
            << " a  b\n 1  x,y\n";
        QTest::newRow("quotes switched off") << QByteArray("a,b,c\n1,\"x,y\"\n")
            << QStringList{"--quotes", "no"} << " a  b      c\n 1  \"x    y\"\n";
        QTest::newRow("quotes switched on") << QByteArray("a,b\n1,2\n").repeated(20) + "\"1,2\",3\n"
            << QStringList{"--quotes", "yes", "--rows", "0"} << "a    b\n";
        QTest::newRow("quotes as in RFC 4180") << QByteArray("a,b\n1,\"x\ny, \"\"z\"\"\"\n")
            << QStringList{"--quotes", "rfc"} << QString(" a  b\n 1  x") + QChar(0x21b5) + "y, \"z\"\n";
        QTest::newRow("the same, as bytes") << QByteArray("#c\na,b\n1,\"x\r\ny\"\n")
            << QStringList{"--quotes", "rfc", "--size-limit", "1"} << QString(" a  b\n 1  x") + QChar(0x21b5) + "y\n";
        QTest::newRow("the same, written") << QByteArray("b;a\n\"x\ny; \"\"z\"\"\";1,5\n")
            << QStringList{"-d", ";", "--quotes", "rfc", "--to", "/dev/stdout"} << "b,a\n\"x\ny; \"\"z\"\"\",\"1,5\"\n";
        QTest::newRow("decimal commas") << QByteArray("a;b\n10,5;x\n9,25;y\n") << QStringList{"--decimal-comma", "--sort", "a"}
            << "    a  b\n 9,25  y\n 10,5  x\n";
        QTest::newRow("decimal commas in the first row") << QByteArray("10,5;1\n9,25;2\n")
            << QStringList{"--decimal-comma", "-d", ";", "--column", "1", "--sort", "1"} << " 9,25\n 10,5\n";
        QTest::newRow("no line end") << QByteArray("a,b\n1,2") << QStringList() << " a   b\n 1   2\n";
        QTest::newRow("empty lines") << QByteArray("\na,b\n\n1,2\n\n\n") << QStringList{"-d", ","}
            << " a   b\n 1   2\n";
        QTest::newRow("rows of many lengths") << QByteArray("a;b;c\n1\n1;2;3;4\n")
            << QStringList{"-d", ";"} << " a   b   c\n 1\n 1   2   3  4\n";
        QTest::newRow("no rows") << QByteArray("1,2\n") << QStringList{"--no-header", "--rows", "0"}
            << "";
        QTest::newRow("no rows written") << QByteArray("1,2\n")
            << QStringList{"--no-header", "--rows", "0", "--to", "/dev/stdout"} << "";
        QTest::newRow("texts") << QByteArray("n,t\n1,x\n2,long\n") << QStringList()
            << " n  t\n 1  x\n 2  long\n";
        QTest::newRow("as bytes") << QByteArray("a,b\n#1,\"2\"\n") << QStringList{"--size-limit", "1"}
            << "a       b\n#1    \"2\"\n";
        // clang-format on
    }

    void printsTablesOfAnyLayout()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QStringList, options);
        QFETCH(QString, output);

        SKIP_DEVICES_ON_WINDOWS(options);

        QVERIFY(m_kelm.run(QStringList{"table", file(contents)} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsTheDialect()
    {
        const QString path =
            file("% bench 3\nZeit;Kraft\ns;kN\n" + QByteArray("0,1;2,5\n").repeated(60));

        QVERIFY(m_kelm.run({"table", path, "--dialect"}));
        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output,
                 QString("UTF-8, delimiter ';', no quotes, comments after '%', labels in row 1, "
                         "units in row 2, data from row 3, decimal comma\n"));
        QVERIFY(m_kelm.run({"table", path, "--dialect", "--json"}));
        QCOMPARE(m_kelm.output.count('\n'), 1);
        const QJsonObject object = QJsonDocument::fromJson(m_kelm.output.toUtf8()).object();
        QCOMPARE(object["delimiter"].toString(), QString(";"));
        QCOMPARE(object["decimalPoint"].toString(), QString(","));
        QCOMPARE(object["unitRow"].toInt(), 1);
        QVERIFY(object["confidence"].toObject()["delimiter"].toDouble() > 0.9);
    }

    void tellsTheDialectInGerman()
    {
        const QString path = file("Zeit;Kraft\n" + QByteArray("0,1;2,5\n").repeated(60));

        QVERIFY(m_kelm.run({"table", path, "--dialect", "--language", "de"}));

        QVERIFY2(m_kelm.output.startsWith(QString::fromUtf8("UTF-8, Trennzeichen „;“, keine ")) &&
                     m_kelm.output.endsWith(", Daten ab Zeile 2, Dezimalkomma\n"),
                 qPrintable(m_kelm.output));
    }

    void tellsTheDialectWithWhatIsGiven()
    {
        const QString path = file("a,b;c\n" + QByteArray("1,2;3\n").repeated(20));

        QVERIFY(m_kelm.run(
            {"table", path, "--dialect", "-d", ";", "--quotes", "yes", "--comment", "//"}));

        QCOMPARE(m_kelm.output.section(',', 1, 3),
                 QString(" delimiter ';', double quotes, comments after '//'"));
    }

    void tellsTheDialectOfATextThatIsNotUtf8()
    {
        QVERIFY(m_kelm.run({"table",
                            file("T,\xb0"
                                 "C\n1,2\n2,3\n3,4\n"),
                            "--dialect"}));

        QVERIFY(m_kelm.output.startsWith("windows-1252, delimiter ','"));
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsWhatItTookForGrantedWhenVerbose()
    {
        const QString path = file("a;b\n" + QByteArray("1;2.5\n").repeated(30));

        QVERIFY(m_kelm.run({"table", path, "--verbose", "--rows", "0"}));

        QCOMPARE(m_kelm.error, "Dialect of \"" + path +
                                   "\": UTF-8, delimiter ';', no quotes, comments after "
                                   "'#', labels in row 1, data from row 2, decimal point\n");
        QCOMPARE(m_kelm.output, QString("a    b\n"));
    }

    void tellsWhenVerboseWhatTheOptionsHaveSwitchedOff()
    {
        const QString path = file("a;b\n" + QByteArray("1;\"2\"\n").repeated(30));

        QVERIFY(m_kelm.run({"table", path, "--verbose", "--rows", "1"}));
        QVERIFY2(m_kelm.error.contains(", double quotes, comments after '#', "),
                 qPrintable(m_kelm.error));
        QCOMPARE(m_kelm.output, QString(" a   b\n 1   2\n"));
        QVERIFY(m_kelm.run({"table", path, "--verbose", "--rows", "1", "--size-limit", "1"}));
        QVERIFY2(m_kelm.error.contains(", no quotes, no comments, "), qPrintable(m_kelm.error));
        QCOMPARE(m_kelm.output, QString(" a  b\n 1  \"2\"\n"));
        QVERIFY(m_kelm.run({"table", path, "--verbose", "--rows", "0", "--no-header"}));
        QVERIFY2(m_kelm.error.contains(", no labels, decimal"), qPrintable(m_kelm.error));
    }

    void readsHeaderRowsThatAreDetected_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("rows") << QStringList{"--rows", "2"}
            << " Weg   Kraft   Federrate\n  mm       N        N/mm\n 0,5    2,95       5,907\n 1,0    5,88       5,879\n";
        QTest::newRow("no rows") << QStringList{"-c", "Kraft", "--rows", "0"} << "Kraft\nN\n";
        QTest::newRow("sorted by numbers") << QStringList{"-c", "Kraft", "--sort", "Kraft", "--rows", "3"}
            << " Kraft\n     N\n  2,95\n  5,88\n  8,76\n";
        QTest::newRow("descending") << QStringList{"-c", "Weg", "--sort", "Kraft", "--descending", "--rows", "2"}
            << "  Weg\n   mm\n 12,0\n 11,5\n";
        QTest::newRow("written") << QStringList{"-c", "Weg", "-s", "Weg", "--rows", "1", "--to", "/dev/stdout"}
            << "Weg\nmm\n\"0,5\"\n";
        // clang-format on
    }

    void readsHeaderRowsThatAreDetected()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, output);

        SKIP_DEVICES_ON_WINDOWS(options);

        QVERIFY(m_kelm.run(QStringList{"table", sample("foreign/spring.csv")} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void sortsRowsThatLackValuesBelowTheUnits()
    {
        const QString path =
            file("Zeit;Last\ns;kN\nA;Bock\n3,5;\n0,5;2,5\n" + QByteArray("1,5;3,5\n").repeated(40));

        QVERIFY(m_kelm.run({"table", path, "--sort", "Zeit", "--rows", "1"}));
        QCOMPARE(m_kelm.output,
                 QString(" Zeit   Last\n    s     kN\n    A   Bock\n  0,5    2,5\n"));
        QVERIFY(
            m_kelm.run({"table", path, "-c", "1", "--sort", "1", "--descending", "--rows", "1"}));
        QCOMPARE(m_kelm.output, QString(" Zeit\n    s\n    A\n  3,5\n"));
    }

    void leavesTheUnitsOutOfStatistics()
    {
        const QByteArray rows = QByteArray("0,5;2,5\n1,5;3,5\n").repeated(40);
        const QString units = file("Zeit;Last\ns;kN\n" + rows);

        QVERIFY(m_kelm.run({"table", units, "--stats", "-c", "Last", "--language", "C"}));

        QCOMPARE(m_kelm.output.split('\n').value(1).simplified().section(' ', 0, 2),
                 QString("Last 80 3"));
    }

    void findsLabelsBelowOtherLines_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("all") << QStringList{"--rows", "1"} << "   t   Last{kN}\n 0,5        2,5\n";
        QTest::newRow("column") << QStringList{"--column", "Last", "--rows", "1"} << " Last{kN}\n      2,5\n";
        QTest::newRow("sorted") << QStringList{"-c", "t", "--sort", "Last", "--descending", "--rows", "1"}
            << "   t\n 1,5\n";
        QTest::newRow("bytes") << QStringList{"--column", "Last", "--rows", "1", "--size-limit", "1"}
            << " Last{kN}\n      2,5\n";
        // clang-format on
    }

    void findsLabelsBelowOtherLines()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, output);
        const QString path = file("Bench 3\nmade by hand\n\nt;Last{kN}\n" +
                                  QByteArray("0,5;2,5\n1,5;3,5\n").repeated(30));

        QVERIFY(m_kelm.run(QStringList{"table", path} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QVERIFY(m_kelm.run({"table", path, "--no-header"})); // and then no line is left out
        QVERIFY(m_kelm.output.contains("made by hand"));
    }

    void readsLinesThatEndAtCarriageReturns_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QStringList>("options");

        QTest::newRow("text") << QByteArray("a,b\r3,4\r1,2\r") << QStringList();
        QTest::newRow("bytes") << QByteArray("a,b\r3,4\r1,2\r") << QStringList{"--size-limit", "1"};
        QTest::newRow("a sign of patterns, as bytes")
            << QByteArray("a|b\r3|4\r1|2\r") << QStringList{"--size-limit", "1"};
        QTest::newRow("aligned") << QByteArray("  a   b\r 3   4\r 1   2\r") << QStringList();
        QTest::newRow("one row for each line")
            << QByteArray("a,b\r3,4\r1,2\r") << QStringList{"--quotes", "yes"};
    }

    void readsLinesThatEndAtCarriageReturns()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QStringList, options);

        QVERIFY(m_kelm.run(QStringList{"table", file(contents), "--sort", "b"} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString(" a   b\n 1   2\n 3   4\n"));
    }

    void readsDecimalCommasThatAreCertain()
    {
        const QByteArray rows = QByteArray("0,5;1,25\n1,5;2,75\n").repeated(30);

        QVERIFY(m_kelm.run({"table", file("0,5;9,5\n" + rows), "--sort", "2", "--rows", "1"}));
        QCOMPARE(m_kelm.output, QString(" 0,5   1,25\n")); // no header, and sorted by numbers
        QVERIFY(
            m_kelm.run({"table", file("t;x\n" + rows), "--stats", "-c", "x", "--language", "C"}));
        QCOMPARE(m_kelm.output.split('\n').value(1).simplified().section(' ', 0, 2),
                 QString("x 60 2"));
    }

    void detectsCommentsOfAnyKind()
    {
        const QString path = file("! made, by hand\na,b\n1,2\n3,4\n");

        QVERIFY(m_kelm.run({"table", path}));
        QCOMPARE(m_kelm.output, QString(" a   b\n 1   2\n 3   4\n"));
        QVERIFY(m_kelm.run({"table", path, "--comment", ""}));
        QCOMPARE(m_kelm.output.count('\n'), 4);
    }

    void readsALargeTableFromTheDisk()
    {
        const QByteArray line = "1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16\n"; // 39 bytes
        const QString path = file("a,b\n" + line.repeated(30000));

        QVERIFY(m_kelm.run({"table", path, "--size-limit", "1", "--column", "b", "--rows", "1"}));

        QCOMPARE(m_kelm.output, QString(" b\n 2\n"));
        QVERIFY(m_kelm.run({"table", path, "--size-limit", "1", "--stats", "--column", "a"}));
        QCOMPARE(m_kelm.output.simplified().section(' ', -8, -1),
                 QString("a 30000 1 0 1 1 1 1 1").section(' ', -8, -1));
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsARowThatCannotBeRead_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::newRow("the order of the file") << QStringList{"-c", "b"};
        QTest::newRow("sorted") << QStringList{"-c", "b", "--sort", "b"};
    }

    void tellsARowThatCannotBeRead()
    {
#ifdef INJECT_LIBRARY
        // From the n-th read on, as the rows are read once more without what is read ahead.
        QFETCH(QStringList, options);
        const int mostReads = 60; // of the program from its start on
        const QByteArray wide(50000, '5');
        const QString path = file("a,b\n" + ("1,2\n" + wide + ",4\n5,3\n").repeated(22));
        const QStringList arguments = QStringList{"table", path, "--size-limit", "1"} + options;
        QVERIFY(m_kelm.run(arguments));
        QCOMPARE(m_kelm.status, 0);
        const QString whole = m_kelm.output;

        int numTold = 0;
        for (int nth = 1; nth <= mostReads; ++nth) {
            Program kelm(m_home.path());
            // A build that counts what the tests reach would lose counters that cannot be read.
            kelm.environment = QStringList{QString("LD_PRELOAD=") + INJECT_LIBRARY,
                                           "INJECT_GROUP=read", QString("INJECT_NTH=%1").arg(nth),
                                           "INJECT_LASTING=1", "GCOV_PREFIX=" + m_home.path()};
            QVERIFY(kelm.run(arguments));
            if (kelm.status == 0) { // all that was needed had been read
                QCOMPARE(kelm.output, whole);
                break;
            }
            QCOMPARE(kelm.status, 1);
            QCOMPARE(kelm.output, QString());
            QVERIFY2(!kelm.error.isEmpty(), qPrintable(QString::number(nth)));
            numTold += kelm.error.contains('"' + path + "\" cannot be read: ") ? 1 : 0;
        }
        QVERIFY(numTold > 0);
#else
        QSKIP("no read can be made to fail in this build");
#endif
    }

    void choosesAndSorts_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("by label") << QStringList{"-c", "Angle{deg}", "--rows", "2"}
            << " Angle{deg}\n          0\n         30\n";
        QTest::newRow("without the unit") << QStringList{"--column", "Angle", "--rows", "1"}
            << " Angle{deg}\n          0\n";
        QTest::newRow("by number, in this order") << QStringList{"-c", "2", "-c", "1", "--rows", "1"}
            << " Angle{deg}   Bolt\n          0      1\n";
        QTest::newRow("sorted") << QStringList{"-c", "Bolt", "--sort", "Torque", "--rows", "3"}
            << " Bolt\n    6\n    1\n    2\n";
        QTest::newRow("descending") << QStringList{"-c", "Bolt", "-s", "4", "--descending", "--rows", "2"}
            << " Bolt\n   11\n    6\n";
        QTest::newRow("the last of two orders") << QStringList{"-c", "Bolt", "--rows", "1", "-s", "Angle"}
            << " Bolt\n    1\n";
        QTest::newRow("no rows") << QStringList{"-c", "Bolt", "--rows", "0"} << "Bolt\n";
        QTest::newRow("as many rows as can be") << QStringList{"-c", "Bolt", "-s", "Bolt",
                                                               "--rows", "2147483647"}
            << " Bolt\n    1\n    2\n    3\n    4\n    5\n    6\n    7\n    8\n    9\n   10\n   11\n   12\n";
        QTest::newRow("more rows than there are") << QStringList{"-c", "Bolt", "-s", "Bolt",
                                                                 "--descending", "--rows", "99"}
            << " Bolt\n   12\n   11\n   10\n    9\n    8\n    7\n    6\n    5\n    4\n    3\n    2\n    1\n";
        // clang-format on
    }

    void choosesAndSorts()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, output);

        QVERIFY(m_kelm.run(QStringList{"table", sample("bolts.csv")} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void takesTheFirstRowForDataWhenToldSo()
    {
        const QString path = file("x,2\ny,1\n");

        QVERIFY(m_kelm.run({"table", path, "--sort", "2", "--no-header"}));
        QCOMPARE(m_kelm.output, QString("y    1\nx    2\n"));
        QVERIFY(m_kelm.run({"table", path, "--sort", "2"}));
        QCOMPARE(m_kelm.output, QString("x    2\ny    1\n"));
        QVERIFY(m_kelm.run({"table", path, "--no-header", "-c", "Column 2"}));
        QCOMPARE(m_kelm.output, QString(" 2\n 1\n"));
    }

    void tellsStatistics()
    {
        const QString path = file("t,x\none,1\ntwo,\nthree,2\nfour,4\nfive,y\nsix,5\n");

        QVERIFY(m_kelm.run({"table", path, "--stats"}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(
            m_kelm.output.split('\n').value(0).simplified(),
            QString("Column Count Mean Deviation Minimum Quartile 1 Median Quartile 3 Maximum"));
        // Neither the hole nor the text is a number: 1, 2, 4 and 5 are.
        QCOMPARE(m_kelm.output.split('\n').value(1).simplified(),
                 QString("x 4 3 1.82574 1 1.5 3 4.5 5"));
        QCOMPARE(m_kelm.output.count('\n'), 2);
        QCOMPARE(m_kelm.status, 0);
    }

    void leavesOutOfStatisticsWhatIsNotFinite()
    {
        const QString path = file("x\nnan\n1\ninf\n3\n-inf\n");

        QVERIFY(m_kelm.run({"table", path, "--stats", "--histogram", "--bins", "2"}));

        QCOMPARE(m_kelm.output.split('\n').value(1).simplified(),
                 QString("x 2 2 1.41421 1 1 2 3 3"));
        QVERIFY(m_kelm.output.contains("\n 1   2  "));
        QVERIFY(m_kelm.output.contains("\n 2   3  "));
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsStatisticsInTheLanguageOfTheUser()
    {
        const QString path = file("x\n1\n2\n");

        QVERIFY(m_kelm.run({"table", path, "--stats", "--language", "de"}));

        QCOMPARE(m_kelm.output.split('\n').value(1).simplified(),
                 QString("x 2 1,5 0,707107 1 1 1,5 2 2"));
    }

    void drawsHistograms()
    {
        const QString path = file("t,x\na,0\nb,1\nc,2\nd,3\ne,4\n");

        QVERIFY(m_kelm.run({"table", path, "--histogram", "--bins", "2"}));

        // 80 characters: " 0   2", two blanks, the bar, a blank, one figure, and one to spare.
        QCOMPARE(m_kelm.error, QString());
        const QStringList lines = m_kelm.output.split('\n');
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines[0], QString("x"));
        QVERIFY(lines[1].startsWith(" 0   2  " + QString(20, QChar(0x2588))));
        QVERIFY(lines[1].endsWith(" 3"));
        QVERIFY(lines[1].size() <= 80);
        QVERIFY(lines[2].endsWith(" 2"));
        const int longer = lines[1].count(QChar(0x2588));
        const int shorter = lines[2].count(QChar(0x2588));
        QCOMPARE(shorter, (2 * longer + 2) / 3);
        QCOMPARE(m_kelm.status, 0);
    }

    void drawsABinThatIsNotEmptySoThatItCanBeSeen()
    {
        QVERIFY(m_kelm.run({"table", file("x\n" + QByteArray("0\n").repeated(5000) + "9\n"),
                            "--histogram", "--bins", "3"}));

        const QStringList lines = m_kelm.output.split('\n');
        QVERIFY(lines.value(1).endsWith(QString(QChar(0x2588)) + " 5000"));
        QVERIFY(lines.value(2).endsWith("  0"));
        QCOMPARE(lines.value(3).count(QChar(0x2588)), 1);
    }

    void drawsNoMoreBinsThanCanBeRead()
    {
        QVERIFY(
            m_kelm.run({"table", file("x\n" + QByteArray("1\n2\n").repeated(5000) + "1000000\n"),
                        "--histogram"}));

        QVERIFY(m_kelm.output.count('\n') <= 32);
        QVERIFY(m_kelm.output.contains("10000\n"));
    }

    void drawsNothingOfASingleNumber()
    {
        QVERIFY(m_kelm.run({"table", file("x\n1\n"), "--histogram"}));

        QCOMPARE(m_kelm.output, QString("x\n"));
        QCOMPARE(m_kelm.status, 0);
    }

    void writesWhatWasChosen_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("written");

        QTest::newRow("csv") << "out.csv" << QByteArray("b,a\n\"x,\"\"y\"\"\",1\nz;w,2\n");
        QTest::newRow("tsv") << "out.tsv" << QByteArray("b\ta\nx,\"y\"\t1\nz;w\t2\n");
        QTest::newRow("any other") << "out" << QByteArray("b,a\n\"x,\"\"y\"\"\",1\nz;w,2\n");
    }

    void writesWhatWasChosen()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, written);
        const QString path = file("a\tb\n2\tz;w\n1\tx,\"y\"\n");
        const QString target = makeFile(m_folder.filePath(name), "longer than what is written");

        QVERIFY(m_kelm.run({"table", path, "-c", "b", "-c", "a", "-s", "a", "--to", target}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(contentsOf(target), written);
    }

    void writesToAPipe()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        const QString path = file("a b\n1 2\n");

        QVERIFY(m_kelm.runShell("\"$KELM\" table '" + path + "' --to /dev/stdout | cat"));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString("a,b\n1,2\n"));
    }

    void readsBackWhatItHasWritten()
    {
        const QString target = m_folder.filePath("bolts.csv");
        QVERIFY(m_kelm.run({"table", sample("bolts.csv")}));
        const QString before = m_kelm.output;

        QVERIFY(m_kelm.run({"table", sample("bolts.csv"), "--to", target}));
        QVERIFY(m_kelm.run({"table", target}));

        QCOMPARE(m_kelm.output, before);
    }

    void readsOtherEncodings_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QStringList>("options");

        const QString text = QString::fromUtf8("T{\u00B0"
                                               "C},\u00C4\n20,1\n");
        const QByteArray wide = QTextCodec::codecForName("UTF-16BE")->fromUnicode(text);
        QTest::newRow("by name") << text.toLatin1() << QStringList{"--encoding", "windows-1252"};
        QTest::newRow("a code page of consoles") << QByteArray("T{\xf8"
                                                               "C},\x8e\n20,1\n")
                                                 << QStringList{"--encoding", "437"};
        QTest::newRow("by a guess") << text.toLatin1() << QStringList{"--encoding", "auto"};
        QTest::newRow("UTF-16") << wide << QStringList{"--encoding", "auto"};
        QTest::newRow("bytes") << text.toLatin1()
                               << QStringList{"--encoding", "latin1", "--size-limit", "1"};
        QTest::newRow("in the file")
            << text.toLatin1() << QStringList{"--encoding", "latin1", "--size-limit", "4096"};
        QTest::newRow("aligned") << QString(text).replace(',', "  ").toLatin1()
                                 << QStringList{"--encoding", "latin1"};
    }

    void readsOtherEncodings()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QStringList, options);
        const QString path = makeFile(m_folder.filePath("encoded.csv"), contents);

        QVERIFY(m_kelm.run(QStringList{"table", path} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString::fromUtf8(" T{\u00B0"
                                                  "C}   \u00C4\n    20   1\n"));
    }

    void readsWhatTheSampleOfItsEncodingLacks_data()
    {
        QTest::addColumn<QStringList>("options");

        QTest::newRow("no option") << QStringList();
        QTest::newRow("auto") << QStringList{"--encoding", "auto"};
        QTest::newRow("bytes") << QStringList{"--size-limit", "1"};
    }

    void readsWhatTheSampleOfItsEncodingLacks()
    {
        QFETCH(QStringList, options);
        QByteArray bytes = QByteArray("a;b\n") + QByteArray("1;2\n").repeated(150000);
        bytes.replace(200004, 4, "\xb0;2\n"); // between the parts that are examined

        QVERIFY(m_kelm.run(QStringList{"table", file(bytes)} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(m_kelm.output.split('\n').value(50001).simplified(), QString(QChar(0xb0)) + " 2");
    }

    void tellsThatAFileCannotBeRead_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QStringList>("options");

        // These open, and fail to be read at their start. The size of the first one is 0.
        QTest::newRow("rows") << "/proc/self/mem" << QStringList();
        QTest::newRow("rows of another size") << "/sys/class/net/lo/speed" << QStringList();
        QTest::newRow("dialect") << "/sys/class/net/lo/speed" << QStringList{"--dialect"};
        QTest::newRow("JSON") << "/sys/class/net/lo/speed" << QStringList{"--dialect", "--json"};
    }

    void tellsThatAFileCannotBeRead()
    {
        SKIP_ON_WINDOWS("these are files of Linux");
        QFETCH(QString, path);
        QFETCH(QStringList, options);
        QFile device(path);
        if (!device.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || device.getChar(nullptr))
            QSKIP("No such file that opens and cannot be read");

        QVERIFY(m_kelm.run(QStringList{"table", path} + options));

        QVERIFY2(m_kelm.error.startsWith("kelm table: The file \"" + path + "\" cannot be read"),
                 qPrintable(m_kelm.error));
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString bolts = sample("bolts.csv");
        const QString folder = m_folder.path();
        // clang-format off
        QTest::newRow("missing") << QStringList(folder + "/no.csv") << 1
            << "The file \"" + folder + "/no.csv\" does not exist.";
        QTest::newRow("folder") << QStringList(folder) << 1
            << "\"" + folder + "\" is a folder, not a file.";
        QTest::newRow("device") << QStringList("/dev/zero") << 1
            << "Cannot read \"/dev/zero\": It is no file";
        QTest::newRow("empty") << QStringList(makeFile(folder + "/empty.csv", "")) << 1
            << "No table is in \"" + folder + "/empty.csv\"";
        QTest::newRow("empty lines only") << QStringList(makeFile(folder + "/lines.csv", "\n\n")) << 1
            << "No table is in \"" + folder + "/lines.csv\"";
        QTest::newRow("comments only") << QStringList(makeFile(folder + "/c.csv", "#a,b\n")) << 1
            << "No table is in \"" + folder + "/c.csv\"";
        QTest::newRow("not UTF-8") << QStringList{makeFile(folder + "/l.csv", "a,\xff\n"), "--encoding", "UTF-8"} << 1
            << "The file \"" + folder + "/l.csv\" is not valid UTF-8.";
        QTest::newRow("not Shift-JIS") << QStringList{folder + "/l.csv", "--encoding", "Shift_JIS"} << 1
            << "The file \"" + folder + "/l.csv\" is not valid Shift_JIS.";
        QTest::newRow("no encoding") << QStringList{bolts, "--encoding", "none"} << 2
            << "--encoding must be the name of an encoding, or auto. See kelm table --help";
        const QString open = makeFile(folder + "/open.csv", "a,b\nc,\"d\n");
        QTest::newRow("open quote") << QStringList{open, "--quotes", "rfc"} << 1
            << "Cannot read \"" + open + "\": The row that starts in line 2 has a quote that is not closed.";
        QTest::newRow("no such column") << QStringList{bolts, "--column", "Mass"} << 1
            << "\"" + bolts + "\" has no column \"Mass\"";
        QTest::newRow("column 0") << QStringList{bolts, "--column", "0"} << 1
            << "\"" + bolts + "\" has no column \"0\"";
        QTest::newRow("column after the end") << QStringList{bolts, "--sort", "6"} << 1
            << "\"" + bolts + "\" has no column \"6\"";
        QTest::newRow("cannot be written") << QStringList{bolts, "--to", folder + "/no/out.csv"} << 1
            << "The folder of the file \"" + folder + "/no/out.csv\" does not exist.";
        QTest::newRow("full disk") << QStringList{bolts, "--to", "/dev/full"} << 1
            << "The file \"/dev/full\" cannot be written completely: the disk is full.";
        QTest::newRow("not UTF-8, blanks") << QStringList{makeFile(folder + "/b.txt", "a b\n1 \xff\n"), "--encoding", "UTF-8"}
            << 1 << "The file \"" + folder + "/b.txt\" is not valid UTF-8.";
        const QString texts = makeFile(folder + "/texts.csv", "a,b\nx,nan\n");
        QTest::newRow("no numbers") << QStringList{texts, "--stats"} << 1
            << "No numbers are in \"" + texts + "\"";
        QTest::newRow("no numbers to draw") << QStringList{texts, "--histogram", "--to", "x"} << 1
            << "No numbers are in \"" + texts + "\"";
        QTest::newRow("very many bins") << QStringList{bolts, "--bins", "1001"} << 2
            << "--bins must be at most 1000. See kelm table --help";
        QTest::newRow("quotes") << QStringList{bolts, "--quotes", "maybe"} << 2
            << "--quotes must be yes, no, guess or rfc. See kelm table --help";
        QTest::newRow("size limit") << QStringList{bolts, "--size-limit", "0"} << 2
            << "--size-limit must be a whole number from 1 on. See kelm table --help";
        QTest::newRow("bins") << QStringList{bolts, "--bins", "1"} << 2
            << "--bins must be a whole number from 2 on. See kelm table --help";
        QTest::newRow("bins of nothing") << QStringList{bolts, "--bins", "3"} << 2
            << "--bins needs --histogram. See kelm table --help";
        QTest::newRow("descending by nothing") << QStringList{bolts, "--descending"} << 2
            << "--descending needs --sort. See kelm table --help";
        QTest::newRow("rows") << QStringList{bolts, "--rows", "x"} << 2
            << "--rows must be a whole number from 0 on. See kelm table --help";
        QTest::newRow("JSON of a table") << QStringList{bolts, "--json"} << 2
            << "--json needs --dialect. See kelm table --help";
        QTest::newRow("dialect of nothing") << QStringList{folder + "/no.csv", "--dialect"} << 1
            << "The file \"" + folder + "/no.csv\" does not exist.";
        QTest::newRow("delimiter") << QStringList{bolts, "--delimiter", ""} << 2
            << "--delimiter must not be empty. See kelm table --help";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        SKIP_DEVICES_ON_WINDOWS(arguments);

        QVERIFY(m_kelm.run(QStringList("table") + arguments));

        QCOMPARE(m_kelm.error, "kelm table: " + error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

    void takesAnyBytes()
    {
        QByteArray bytes;
        for (int i = 0; i < 4096; ++i)
            bytes.append(static_cast<char>(i * 7 % 256));

        QVERIFY(m_kelm.run({"table", file(bytes), "--stats", "--histogram"}));

        QVERIFY(m_kelm.status == 0 || m_kelm.status == 1);
        QVERIFY(m_kelm.run({"table", file(QByteArray(1000, '\0'))}));
        QVERIFY(m_kelm.status == 0 || m_kelm.status == 1);
    }

private:
    /// A file with \p contents.
    QString file(const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath("table.txt"), contents);
    }

    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_table)
#include "tst_Kelm_table.moc"
