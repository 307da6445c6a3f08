#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"
#include "utils/Application.h"
#include "utils/csv/CSVReader.h"
#include "utils/feedback/Progress.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using Utils::CSVTable;
using Utils::Progress;

static const int intMin = std::numeric_limits<int>::min();
static const int intMax = std::numeric_limits<int>::max();

static unsigned short crc(const QByteArray &bytes)
{
    return qChecksum(bytes.constData(), static_cast<uint>(bytes.size()));
}

static int warnings = 0;
static void countWarning(QtMsgType, const QMessageLogContext &, const QString &) { ++warnings; }

class tst_CSVTable_output : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString file(const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath("table.csv"), contents);
    }

    QString target() const { return m_folder.filePath("written.csv"); }

    QByteArray written(const CSVTable &table) const
    {
        return table.write(target()) ? contentsOf(target()) : QByteArray("not written");
    }

private Q_SLOTS:
    // Rows as text

    void givesARowAsALine()
    {
        CSVTable table;
        table.setData("a, b ,c\n\nd,");

        QCOMPARE(table.stringData(0), Data::String("a,b,c"));
        QCOMPARE(table.stringData(1), Data::String(""));
        QCOMPARE(table.stringData(2), Data::String("d,"));
        for (const int row : {intMin, -1, 3, intMax})
            QCOMPARE(table.stringData(row), Data::String());
        QCOMPARE(table.stringData(), Data::String("a,b,c\n\nd,"));
        QCOMPARE(CSVTable().stringData(), Data::String());
    }

    void givesARowThatIsNotSplitAsItWasRead()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData(" a, b \r\n c , d");
        table.data(1);

        QCOMPARE(table.stringData(0), Data::String(" a, b \r"));
        QCOMPARE(table.stringData(1), Data::String("c,d"));
        QCOMPARE(table.stringData(), Data::String(" a, b \r\nc,d"));
    }

    void putsAFieldWithTheDelimiterInQuotes_data()
    {
        QTest::addColumn<QStringList>("delimiters");
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QString>("line");

        // clang-format off
        QTest::newRow("with it") << QStringList{";"} << QStringList{"a;b", "c"} << "\"a;b\";c";
        QTest::newRow("without it") << QStringList{";"} << QStringList{"a,b", "c"} << "a,b;c";
        QTest::newRow("inner quotes are not doubled") << QStringList{","}
            << QStringList{"a\"b,c", "\"d\""} << "\"a\"b,c\",\"d\"";
        QTest::newRow("twice with it") << QStringList{","} << QStringList{"a,b,c"} << "\"a,b,c\"";
        QTest::newRow("the first of two") << QStringList{",", ";"} << QStringList{"a,b", "c;d"} << "\"a,b\",c;d";
        QTest::newRow("two blanks") << QStringList{"  "} << QStringList{"a  b", "c"} << "a  b  c";
        QTest::newRow("one blank") << QStringList{" "} << QStringList{"a b", "c"} << "\"a b\" c";
        QTest::newRow("three blanks") << QStringList{"   "} << QStringList{"a   b", "c"} << "\"a   b\"   c";
        QTest::newRow("a pattern is plain text") << QStringList{"\\s+"} << QStringList{"a b", "c"} << "a b\\s+c";
        QTest::newRow("a pattern in the field") << QStringList{"\\s+"} << QStringList{"a\\s+b", "c"}
            << "\"a\\s+b\"\\s+c";
        QTest::newRow("none") << QStringList{} << QStringList{"a,b", "c"} << "\"a,b\",c";
        // clang-format on
    }

    void putsAFieldWithTheDelimiterInQuotes()
    {
        QFETCH(QStringList, delimiters);
        QFETCH(QStringList, fields);
        QFETCH(QString, line);
        CSVTable table("");
        for (const QString &delimiter : delimiters)
            table.addDelimiter(delimiter);
        table.appendData(fields);

        QCOMPARE(table.stringData(0), Data::String(line));
        QCOMPARE(table.stringData(), Data::String(line));
        QCOMPARE(table.lineData(), QStringList({line}));
    }

    void givesNoLinesOfBytesAndFiles()
    {
        CSVTable bytes;
        bytes.setData(QByteArray("a,b\nc,d\n"));
        QCOMPARE(bytes.stringData(0), Data::String());
        QCOMPARE(bytes.stringData(), Data::String("\n\n"));
        QCOMPARE(bytes.lineData(), QStringList({"", "", ""}));

        CSVTable inFile;
        inFile.read(file("a,b\nc,d\n"), limitOfNoBytes);
        QCOMPARE(inFile.stringData(1), Data::String());
        QCOMPARE(inFile.stringData(), Data::String("\n\n"));
        QCOMPARE(inFile.lineData(1), QStringList({"", ""}));
    }

    void givesLinesOfBytesAndFilesWhereThereAreTextRows()
    {
        CSVTable bytes;
        bytes.setData(QByteArray("a,b\nc,d"));
        bytes.appendData(Data::String("x"));
        QCOMPARE(bytes.stringData(), Data::String("a,b\n")); // not "x"

        CSVTable inFile;
        inFile.setDemandParse(true);
        inFile.setData("x\ny");
        inFile.data(1);
        inFile.read(file("a,b\nc,d"), limitOfNoBytes);
        QCOMPARE(inFile.stringData(), Data::String("x\nc,d")); // "x" is not split, "y" is
    }

    void givesLines_data()
    {
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<int>("lastRow");
        QTest::addColumn<QStringList>("lines");

        // clang-format off
        QTest::newRow("all") << 0 << -1 << QStringList{"a,1", "b", "c"};
        QTest::newRow("from a row on") << 1 << -1 << QStringList{"b", "c"};
        QTest::newRow("to a row") << 0 << 1 << QStringList{"a,1", "b"};
        QTest::newRow("one row cannot be had alone") << 1 << 1 << QStringList{"b", "c"};
        QTest::newRow("a last one that is smaller") << 2 << 1 << QStringList{"c"};
        QTest::newRow("the first row, it alone") << 0 << 0 << QStringList{"a,1", "b", "c"};
        QTest::newRow("beyond the end") << 1 << 4 << QStringList{"b", "c", "", ""};
        QTest::newRow("after the end") << 5 << 7 << QStringList{"", "", ""};
        QTest::newRow("after the end, to the end") << 5 << -1 << QStringList();
        QTest::newRow("from before the start on") << -2 << 0 << QStringList{"", "", "a,1"};
        QTest::newRow("before the start") << -2 << -1 << QStringList{"", ""};
        QTest::newRow("far beyond the end") << 0 << intMax << QStringList();
        QTest::newRow("from far before the start on") << intMin << -1 << QStringList();
        QTest::newRow("far after the end") << intMax << intMax << QStringList();
        // clang-format on
    }

    void givesLines()
    {
        QFETCH(int, firstRow);
        QFETCH(int, lastRow);
        QFETCH(QStringList, lines);
        CSVTable table;
        table.setData("a, 1\nb\nc");

        QCOMPARE(table.lineData(firstRow, lastRow), lines);
    }

    // Escapes

    void takesADelimiterBehindAnEscapeForData_data()
    {
        QTest::addColumn<QStringList>("delimiters");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("fields");

        // clang-format off
        QTest::newRow("in a field") << QStringList{","} << "a\\,b,c" << QStringList{"a,b", "c"};
        QTest::newRow("several") << QStringList{","} << "a\\,b\\,c,d\\," << QStringList{"a,b,c", "d,"};
        QTest::newRow("none") << QStringList{","} << "a, b" << QStringList{"a", "b"};
        QTest::newRow("an escape elsewhere stays") << QStringList{","} << "\\a\\,b,\\" << QStringList{"\\a,b", "\\"};
        QTest::newRow("the first delimiter only") << QStringList{",", ";"} << "a\\,b\\;c" << QStringList{"a,b\\", "c"};
        QTest::newRow("one blank") << QStringList{" "} << "a\\ b c" << QStringList{"a b", "c"};
        QTest::newRow("two blanks are never") << QStringList{"  "} << "a\\  b" << QStringList{"a\\", "b"};
        QTest::newRow("two blanks and another") << QStringList{"  ", ";"} << "a\\  b;c" << QStringList{"a  b", "c"};
        QTest::newRow("no delimiter") << QStringList{} << "\\" << QStringList{"", "\\", ""};
        QTest::newRow("the marker itself becomes the delimiter") << QStringList{","}
            << "a\\,**ESCAPE**" << QStringList{"a,,"};
        QTest::newRow("but not without an escape") << QStringList{","} << "**ESCAPE**" << QStringList{"**ESCAPE**"};
        QTest::newRow("a blank that takes its place stays") << QStringList{" "} << "a\\  b" << QStringList{"a ", "b"};
        QTest::newRow("trimmed before what takes its place") << QStringList{","} << " a\\, b , c"
            << QStringList{"a, b", "c"};
        // clang-format on
    }

    void takesADelimiterBehindAnEscapeForData()
    {
        QFETCH(QStringList, delimiters);
        QFETCH(QString, line);
        QFETCH(QStringList, fields);
        CSVTable table("");
        for (const QString &delimiter : delimiters)
            table.addDelimiter(delimiter);
        table.setDemandParse(true);
        table.setData(line);

        QCOMPARE(table.escapedData(0, '\\'), fields);
    }

    void looksForEscapesInARowThatIsSplit()
    {
        CSVTable table;
        table.setData("a\\,b,c");

        // The fields are joined again: "a\", "b" and "c".
        QCOMPARE(table.data(0), QStringList({"a\\", "b", "c"}));
        QCOMPARE(table.escapedData(0, '\\'), QStringList({"a,b", "c"}));
        QCOMPARE(table.escapedData(0, '/'), table.data(0));
        QCOMPARE(table.data(0), QStringList({"a\\", "b", "c"}));
    }

    void takesAPatternBehindAnEscapeAsPlainText()
    {
        CSVTable table("\\s+");
        table.setDemandParse(true);
        table.setData("a!\\s+b c\na! b c");

        QCOMPARE(table.escapedData(0, '!'), QStringList({"a\\s+b", "c"}));
        QCOMPARE(table.escapedData(1, '!'), QStringList({"a!", "b", "c"}));
    }

    void splitsEscapedDataByItsQuotesAndTakesNoComments()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("\"a,b\",c\\,d\n#x\\,y", /*quoted=*/true);
        table.setComment("#");

        QCOMPARE(table.escapedData(0, '\\'), QStringList({"a,b", "c,d"}));
        QCOMPARE(table.escapedData(1, '\\'), QStringList({"#x,y"}));
    }

    void knowsNoEscapesInBytesAndFiles()
    {
        CSVTable bytes;
        bytes.setData(QByteArray("a\\,b"));
        QCOMPARE(bytes.escapedData(0, '\\'), QStringList({"a\\", "b"}));

        CSVTable inFile;
        inFile.read(file("a\\,b"), limitOfNoBytes);
        QCOMPARE(inFile.escapedData(0, '\\'), QStringList({"a\\", "b"}));
    }

    void escapesNothingOutOfRange()
    {
        CSVTable table;
        table.setData("a\\,b");

        for (const int row : {intMin, -1, 1, intMax})
            QCOMPARE(table.escapedData(row, '\\'), QStringList());
    }

    // Checksum

    void sumsTheRowCountAndTheFields()
    {
        CSVTable table(";");
        table.setData(" a ;b\r\n1;\n");

        QCOMPARE(table.checksum(), crc("3a,b1,"));
        QCOMPARE(table.checksum(-1), crc("3a,b1,"));
        QCOMPARE(table.checksum(intMin), crc("3a,b1,"));
        QCOMPARE(table.checksum(0), crc("3"));
        QCOMPARE(table.checksum(1), crc("3a,b"));
        QCOMPARE(table.checksum(3), crc("3a,b1,"));
        QCOMPARE(table.checksum(4), crc("3a,b1,"));
        QCOMPARE(table.checksum(intMax), crc("3a,b1,"));
        QCOMPARE(CSVTable().checksum(), crc("0"));
    }

    void knowsItsSum()
    {
        CSVTable table;
        table.setData("23456789"); // after the row count: the test vector of that CRC

        QCOMPARE(table.checksum(), static_cast<unsigned short>(36974));
    }

    void sumsUtf8()
    {
        CSVTable table;
        table.setData("\u00e9,\u20ac");
        CSVTable bytes;
        bytes.setData(QByteArray("\xc3\xa9,\xe2\x82\xac"));

        QCOMPARE(table.checksum(), crc("1\xc3\xa9,\xe2\x82\xac"));
        QCOMPARE(bytes.checksum(), table.checksum());
    }

    void splitsTheRowsThatItSums()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a, b\nc, d");

        table.checksum(1);

        QCOMPARE(table.stringData(), Data::String("a,b\nc, d"));
    }

    void sumsTheLinesOfAFileAsItsReader()
    {
        const QByteArray text = "a,b \r\nc,d\n";
        CSVTable inFile;
        inFile.read(file(text), limitOfNoBytes);
        CSVTable table;
        table.setData(QString(text));

        Utils::CSVReader reader;
        reader.read(inFile.path());
        for (const int rows : {intMin, -1, 0, 1, 2, 3, 99, intMax})
            QCOMPARE(inFile.checksum(rows), reader.checksum(rows));
        QCOMPARE(inFile.checksum(), crc("3a,b c,d"));
        QCOMPARE(inFile.checksum(1), crc("3a,b "));
        QVERIFY(inFile.checksum() != table.checksum());

        // Without blanks around fields, and with a comma, both are the same.
        CSVTable plainInFile;
        plainInFile.read(file("a,b\nc,d\n"), limitOfNoBytes);
        QCOMPARE(plainInFile.checksum(), table.checksum());
    }

    // Writing

    void writesTheTextRows()
    {
        CSVTable table(";");
        table.addDelimiter(",");
        table.setData("a;b, \u20ac \n\n1;2");

        QVERIFY(table.write(target()));

        QCOMPARE(contentsOf(target()), QByteArray("a;b;\xe2\x82\xac\n\n1;2\n"));
    }

    void addsAnEmptyLineEachTime()
    {
        CSVTable table;
        table.read(file("a\n"));
        QCOMPARE(written(table), QByteArray("a\n\n"));

        CSVTable again;
        again.read(target());
        QCOMPARE(written(again), QByteArray("a\n\n\n"));
        again.removeEmptyRows();
        QCOMPARE(written(again), QByteArray("a\n"));
    }

    void writesNoQuotesUnlikeStringData()
    {
        CSVTable table(";");
        table.appendData(QStringList{"a;b", "\"c\""});

        QCOMPARE(table.stringData(0), Data::String("\"a;b\";\"c\""));
        QCOMPARE(written(table), QByteArray("a;b;\"c\"\n"));
        CSVTable again(";");
        again.read(target());
        QCOMPARE(again.data(0), QStringList({"a", "b", "\"c\""}));
    }

    void writesRowsThatAreNotSplitAsTheyWereRead()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData(" a, b \r\n c , d");
        table.data(1);

        QCOMPARE(written(table), QByteArray(" a, b \r\nc,d\n"));
        QCOMPARE(table.stringData(0), Data::String(" a, b \r")); // nor are they split by it
    }

    void writesTheFirstDelimiterAsItIs()
    {
        CSVTable pattern("\\s+");
        pattern.setData("a b");
        QCOMPARE(written(pattern), QByteArray("a\\s+b\n"));

        CSVTable none("");
        none.appendData(QStringList{"a", "b"});
        QCOMPARE(written(none), QByteArray("a,b\n"));

        CSVTable switched;
        switched.addDelimiter(";", /*alternate=*/true);
        switched.setData("a;b");
        QCOMPARE(written(switched), QByteArray("a;b\n"));
    }

    void writesRowsWithoutFields()
    {
        CSVTable table;
        table.setData(1, 1, "x");

        QCOMPARE(written(table), QByteArray("\n,x\n"));
    }

    void writesAnEmptyFileForBytesAndFiles()
    {
        makeFile(target(), "before");
        CSVTable bytes;
        bytes.setData(QByteArray("a,b"));
        QCOMPARE(written(bytes), QByteArray());

        makeFile(target(), "before");
        CSVTable inFile;
        inFile.read(file("a,b"), limitOfNoBytes);
        QCOMPARE(written(inFile), QByteArray());
        inFile.appendData(Data::String("x"));
        QCOMPARE(written(inFile), QByteArray("x\n")); // the text rows, whether shown or not

        makeFile(target(), "before");
        QCOMPARE(written(CSVTable()), QByteArray());
    }

    void replacesTheFile()
    {
        makeFile(target(), QByteArray(1000, 'x'));
        CSVTable table;
        table.setData("a");

        QCOMPARE(written(table), QByteArray("a\n"));
    }

    void keepsThePermissionsOfTheFile()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        CSVTable table;
        table.setData("a");
        const QString path = file("before");
        const QFile::Permissions permissions =
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        QVERIFY(QFile::setPermissions(path, permissions));

        QVERIFY(table.write(path));

        QCOMPARE(QFile::permissions(path), permissions);
    }

    void emptiesTheFileThatItIsIn()
    {
        const QString path = file("a,b\nc,d");
        CSVTable table;
        QVERIFY(table.read(path, limitOfNoBytes));

        QVERIFY(table.write(path));

        QCOMPARE(QFileInfo(path).size(), 0);
    }

    void writesLoneSurrogatesAsQuestionMarks()
    {
        CSVTable table;
        table.setData(0, 0, QString(QChar(0xd800)) + "a");
        table.setData(1, 0, QString(QChar(0xd83d)) + QChar(0xde00) + QChar(0));

        QCOMPARE(written(table), QByteArray("?a\n\xf0\x9f\x98\x80\0\n", 9));
    }

    void tellsWhenItCannotWrite()
    {
        CSVTable table;
        table.setData("a");

        for (const QString &path :
             {QString(), m_folder.path(), m_folder.filePath("missing/written.csv"),
              QString(target() + QChar(0) + "x")})
        {
            warnings = 0;
            const QtMessageHandler handler = qInstallMessageHandler(countWarning);
            const bool isWritten = table.write(path);
            qInstallMessageHandler(handler);

            QVERIFY(!isWritten);
            QCOMPARE(warnings, 0);
        }
    }

    void keepsAFileThatItCannotOpen()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        CSVTable table;
        table.setData("a");
        const QString path = makeFile(m_folder.filePath("protected.csv"), "before");
        QFile::setPermissions(path, QFileDevice::ReadOwner);
        {
            const OrdinaryUser user(m_folder.path());
            QVERIFY(!table.write(path));
        }

        QCOMPARE(contentsOf(path), QByteArray("before"));
    }

    // Alignment

    void alignsText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("maxWidth");
        QTest::addColumn<int>("leftColumn");
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<QString>("aligned");

        // clang-format off
        QTest::newRow("to the right") << "a;bb\nccc;d" << 0 << -1 << 0 << "   a; bb\n ccc;  d";
        QTest::newRow("all to the left") << "a;bb\nccc;d" << 0 << -2 << 0 << "a   ;bb \nccc ;d  ";
        QTest::newRow("one column to the left") << "a;bb\nccc;d" << 0 << 0 << 0 << "a   ; bb\nccc ;  d";
        QTest::newRow("another to the left") << "a;bb\nccc;d" << 0 << 1 << 0 << "   a;bb \n ccc;d  ";
        QTest::newRow("one that is not there to the left") << "a;bb" << 0 << 7 << 0 << " a; bb";
        QTest::newRow("any other number is to the right") << "a;bb" << 0 << intMin << 0 << " a; bb";
        QTest::newRow("a width that is kept") << "a\nccc" << 3 << -1 << 0 << "   a\n ccc";
        QTest::newRow("a field that is too wide") << "a\nccc\nbb" << 2 << -1 << 0 << "  a\nccc\n bb";
        QTest::newRow("all too wide") << "aaaa\nccc" << 1 << -1 << 0 << "aaaa\nccc";
        QTest::newRow("too wide by one") << "aa\nb" << 1 << -1 << 0 << "aa\n b";
        QTest::newRow("a negative width is none") << "a\nccc" << -1 << -1 << 0 << "   a\n ccc";
        QTest::newRow("empty fields") << ";a\n\nb;" << 0 << -1 << 0 << "  ; a\n  \n b;  ";
        QTest::newRow("nothing but empty fields") << ";" << 0 << -1 << 0 << " ; ";
        QTest::newRow("a row that is too short") << "a;b\nc" << 0 << -1 << 0 << " a; b\n c";
        QTest::newRow("columns that the first row lacks") << "a\nb;c" << 0 << -1 << 0 << " a\n b;c";
        QTest::newRow("below a row that stays") << "wide;x;y\na;b\ncc;d;e" << 0 << -1 << 1
            << "wide;x;y\n  a; b\n cc; d;e";
        QTest::newRow("below the last row") << "a;b\nc" << 0 << -1 << 2 << "a;b\nc";
        QTest::newRow("far below it") << "a;b\nc" << 0 << -1 << intMax << "a;b\nc";
        QTest::newRow("from before the first row") << "a;b" << 0 << -1 << intMin << " a; b";
        // clang-format on
    }

    void alignsText()
    {
        QFETCH(QString, text);
        QFETCH(int, maxWidth);
        QFETCH(int, leftColumn);
        QFETCH(int, firstRow);
        QFETCH(QString, aligned);
        CSVTable table(";");
        table.setData(text);
        const Rows rows = rowsOf(table);

        QCOMPARE(table.alignedStringData(maxWidth, leftColumn, firstRow), Data::String(aligned));

        QCOMPARE(rowsOf(table), rows); // the table stays as it is
    }

    void alignsToTheRightFromTheFirstRowUnlessItIsTold()
    {
        CSVTable table;
        table.setData("a\nbbb");

        QCOMPARE(table.alignedStringData(), Data::String("   a\n bbb"));
        QCOMPARE(CSVTable().alignedStringData(), Data::String());
    }

    void quotesWhatItAligns_data()
    {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QString>("field");
        QTest::addColumn<int>("maxWidth");
        QTest::addColumn<QString>("aligned");

        // clang-format off
        QTest::newRow("with the delimiter") << ";" << "a;b" << 0 << " \"a;b\"; c\n     x";
        QTest::newRow("too wide by its quotes") << ";" << "a;b" << 4 << "\"a;b\"; c\n x";
        QTest::newRow("just wide enough with them") << ";" << "a;b" << 5 << " \"a;b\"; c\n     x";
        QTest::newRow("inner ones are not doubled") << ";" << "\";" << 0 << " \"\";\"; c\n    x";
        QTest::newRow("with two blanks") << "  " << "a  b" << 0 << " a  b   c\n    x";
        QTest::newRow("with a pattern") << "\\s+" << "a b" << 0 << " a b\\s+ c\n   x";
        QTest::newRow("without a delimiter") << "" << "a,b" << 0 << " \"a,b\", c\n     x";
        // clang-format on
    }

    void quotesWhatItAligns()
    {
        QFETCH(QString, delimiter);
        QFETCH(QString, field);
        QFETCH(int, maxWidth);
        QFETCH(QString, aligned);
        CSVTable table(delimiter);
        table.appendData(QStringList{field, "c"}).appendData(QStringList{"x"});

        QCOMPARE(table.alignedStringData(maxWidth), Data::String(aligned));
        QCOMPARE(table.data(0, 0), Data::String(field));
    }

    void alignsRowsThatAreNotSplitAsOneField()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a, b\nc,d,eee");

        QCOMPARE(table.alignedStringData(), Data::String("    \"a, b\"\n \"c,d,eee\""));

        QCOMPARE(table.stringData(), Data::String("a,b\nc,d,eee")); // the first one is split now
        QCOMPARE(table.alignedStringData(), Data::String("         a, b\n \"c,d,eee\""));
    }

    void alignsAsManyColumnsAsTheFirstRowHasWhenItIsSplit()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a,b\nc,d,e");
        table.data(1);

        // Its line is still one field of what is aligned, but the other row has more.
        QCOMPARE(table.alignedStringData(), Data::String(" \"a,b\"\n     c, d,e"));
    }

    void alignsColumnsInPlace_data()
    {
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<int>("lastRow");
        QTest::addColumn<int>("numColumns");
        QTest::addColumn<bool>("left");
        QTest::addColumn<Rows>("rows");

        // clang-format off
        QTest::newRow("all") << 0 << -1 << -1 << false << Rows{{"   a", " b"}, {" ccc", " d", "e"}, {"  ff"}};
        QTest::newRow("all to the left") << 0 << -1 << -1 << true
            << Rows{{"a   ", "b "}, {"ccc ", "d ", "e"}, {"ff  "}};
        QTest::newRow("from a row on") << 1 << -1 << -1 << false << Rows{{"a", "b"}, {" ccc", " d", " e"}, {"  ff"}};
        QTest::newRow("the columns of the first row") << 2 << -1 << -1 << false
            << Rows{{"a", "b"}, {"ccc", "d", "e"}, {" ff"}};
        QTest::newRow("to a row") << 0 << 1 << -1 << false << Rows{{"   a", " b"}, {" ccc", " d", "e"}, {"ff"}};
        QTest::newRow("one row") << 0 << 0 << -1 << false << Rows{{" a", " b"}, {"ccc", "d", "e"}, {"ff"}};
        QTest::newRow("to a row after the end") << 2 << 3 << -1 << false
            << Rows{{"a", "b"}, {"ccc", "d", "e"}, {" ff"}};
        QTest::newRow("to a row far after the end") << 2 << intMax << -1 << false
            << Rows{{"a", "b"}, {"ccc", "d", "e"}, {" ff"}};
        QTest::newRow("to the most negative row") << 2 << intMin << intMin << false
            << Rows{{"a", "b"}, {"ccc", "d", "e"}, {" ff"}};
        QTest::newRow("a last one before the first") << 2 << 1 << -1 << false
            << Rows{{"a", "b"}, {"ccc", "d", "e"}, {"ff"}};
        QTest::newRow("one column") << 0 << -1 << 1 << false << Rows{{"   a", "b"}, {" ccc", "d", "e"}, {"  ff"}};
        QTest::newRow("no column") << 0 << -1 << 0 << false << Rows{{"a", "b"}, {"ccc", "d", "e"}, {"ff"}};
        QTest::newRow("more columns than the first row has") << 0 << -1 << 3 << false
            << Rows{{"   a", " b"}, {" ccc", " d", " e"}, {"  ff"}};
        QTest::newRow("more columns than there are") << 0 << -1 << 9 << false
            << Rows{{"   a", " b"}, {" ccc", " d", " e"}, {"  ff"}};
        QTest::newRow("as many as there can be") << 0 << -1 << intMax << false
            << Rows{{"   a", " b"}, {" ccc", " d", " e"}, {"  ff"}};
        QTest::newRow("after the end") << 3 << -1 << -1 << false << Rows{{"a", "b"}, {"ccc", "d", "e"}, {"ff"}};
        QTest::newRow("after the end, any columns") << intMax << -1 << 3 << false
            << Rows{{"a", "b"}, {"ccc", "d", "e"}, {"ff"}};
        QTest::newRow("from before the start on") << intMin << 0 << -1 << false
            << Rows{{" a", " b"}, {"ccc", "d", "e"}, {"ff"}};
        // clang-format on
    }

    void alignsColumnsInPlace()
    {
        QFETCH(int, firstRow);
        QFETCH(int, lastRow);
        QFETCH(int, numColumns);
        QFETCH(bool, left);
        QFETCH(Rows, rows);
        CSVTable table;
        table.setData("a,b\nccc,d,e\nff");

        QCOMPARE(&table.alignColumns(firstRow, lastRow, numColumns, left), &table);

        QCOMPARE(rowsOf(table), rows);
    }

    void alignsAllColumnsToTheRightUnlessItIsTold()
    {
        CSVTable table;
        table.setData("a,b\nccc,d");

        table.alignColumns();

        QCOMPARE(rowsOf(table), Rows({{"   a", " b"}, {" ccc", " d"}}));
    }

    void quotesNothingInPlace()
    {
        CSVTable table;
        table.appendData(QStringList{"a,b", "c"});

        table.alignColumns();

        QCOMPARE(table.data(0), QStringList({" a,b", " c"}));
    }

    void splitsTheFirstOfTheRowsThatItAligns()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("x,y\na,b\nc,d,eee");

        table.alignColumns(1);

        QCOMPARE(table.stringData(0), Data::String("x,y")); // above them, not split
        QCOMPARE(table.stringData(1), Data::String("       a, b"));
        QCOMPARE(table.stringData(2), Data::String(" c,d,eee"));
        QCOMPARE(table.data(2), QStringList({"c", "d", "eee"})); // trimmed when it is split

        CSVTable other;
        other.setDemandParse(true);
        other.setData("a, b\nc, d");
        other.alignColumns(0, -1, /*numColumns=*/1);
        QCOMPARE(other.data(0), QStringList({"    a", "b"}));
        other.alignColumns(1, -1, /*numColumns=*/0);
        QCOMPARE(other.stringData(1), Data::String(" c, d")); // not split for no column
    }

    void alignsTheTextRowsWhateverItHolds()
    {
        CSVTable table;
        table.setData(QByteArray("a,b"));
        QCOMPARE(table.alignedStringData(), Data::String());
        table.alignColumns();
        QCOMPARE(rowsOf(table), Rows({{"a", "b"}}));

        table.appendData(Data::String("xx"));
        QCOMPARE(table.alignedStringData(), Data::String(" xx"));
        table.alignColumns();
        QCOMPARE(rowsOf(table), Rows({{"a", "b"}}));
        table.setData("y");
        QCOMPARE(rowsOf(table), Rows({{" xx"}, {"y"}}));
    }

    void reportsAColumn_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("numColumns");
        QTest::addColumn<QStringList>("calls");

        const QString start = "setProgressLabel(Aligning, 0)";
        const QString end = "setProgressLabel(outer, 0)";
        QTest::newRow("two") << "a,b" << -1
                             << QStringList{"setProgress(0, 2, 0)", start, "setProgress(1, 2, 0)",
                                            "setProgress(2, 2, 0)", end};
        QTest::newRow("one") << "a" << -1 << QStringList();
        QTest::newRow("one asked for") << "a,b" << 1 << QStringList();
        QTest::newRow("more than there are")
            << "a" << 3 << QStringList{"setProgress(0, 3, 0)", start,
                                       "setProgress(1, 3, 0)", "setProgress(2, 3, 0)",
                                       "setProgress(3, 3, 0)", end};
    }

    void reportsAColumn()
    {
        QFETCH(QString, text);
        QFETCH(int, numColumns);
        QFETCH(QStringList, calls);
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            CSVTable table;
            table.setData(text);
            table.setProgress(&progress, "Aligning");
            host.calls.clear();

            table.alignColumns(0, -1, numColumns);

            QCOMPARE(host.calls, calls);
            QCOMPARE(progress.maxSteps(), 10);
            host.calls.clear();
            if (numColumns < 0) {
                table.alignedStringData();
                QCOMPARE(host.calls, calls);
            }
        }
        Utils::setApplication(nullptr);
    }

    void bearsAHostThatClearsTheTableMeanwhile()
    {
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            CSVTable table;
            table.setData("a,b\nc,d\ne,f");
            table.setProgress(&progress, "Aligning");
            host.reaction = [&](const QString &call) {
                if (call == "setProgress(1, 2, 0)") {
                    table.clear();
                    table.setProgress(nullptr);
                }
            };

            table.alignColumns();

            QCOMPARE(table.numRows(), 0);
            QCOMPARE(progress.label(), Data::String("outer"));
        }
        Utils::setApplication(nullptr);
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_output)
#include "tst_CSVTable_output.moc"
