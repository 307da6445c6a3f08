#include "utils/csv/CSVReader.h"

#include "tests/csv/LargeTable.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/FullSize.h"
#include "tests/support/Limits.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Qemu.h"
#include "tests/support/Windows.h"
#include "utils/Application.h"
#include "utils/feedback/Progress.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include <sys/stat.h>

using Utils::CSVReader;

using Fields = QList<QByteArray>;
using Rows = QList<Fields>;
using Numbers = QList<double>;

static const int block = 10240; // of the rules about zero bytes

static Rows rowsOf(const CSVReader &reader)
{
    Rows rows;
    for (int row = 0; row < reader.numRows(); ++row)
        rows.append(reader.data(row));
    return rows;
}

static Fields linesOf(const CSVReader &reader)
{
    Fields lines;
    for (int row = 0; row < reader.numRows(); ++row)
        lines.append(reader.data(row, -1));
    return lines;
}

static void addDelimiters(CSVReader &reader, const QByteArray &delimiters)
{
    for (const char delimiter : delimiters)
        reader.addDelimiter(delimiter);
}

/// As QCOMPARE of lists, except that a NaN equals a NaN and -0.0 does not equal 0.0.
static bool isSame(const Numbers &left, const Numbers &right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](double a, double b) {
        return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
    });
}

class tst_CSVReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void cleanup() { Utils::setApplication(nullptr); }

    // Before all tests that free memory which malloc() would use again; the next test is one.
    void answersNothingWhereTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const int columns = 10 * 1000 * 1000; // whose list is too large for what is left of a heap
        CSVReader reader;
        QVERIFY(read(reader, QByteArray(columns - 1, ',') + "1"));
        QCOMPARE(reader.numColumns(0), columns); // kept, so that only the answers need memory

        const Limit memory(RLIMIT_AS, memoryInUse() + (4 << 20));

        QCOMPARE(reader.rowData(0, 1), Fields());
        QCOMPARE(reader.rowDataD(0, 1), QStringList());
        QCOMPARE(reader.dataD(0), QStringList());
        QCOMPARE(reader.dataValue(0), Numbers());
        QCOMPARE(reader.rowDataValue(0, 0), Numbers());
        QCOMPARE(reader.colDataValue(0, -columns), Numbers());
        QCOMPARE(reader.dataValue(0, columns - 1), 1.0);
    }

    void isEmptyWhereTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const int size = 20 << 20;
        const QString lines = makeFile(m_folder->filePath("lines"), QByteArray(size, '\n'));
        const QString line =
            makeFile(m_folder->filePath("line"), QByteArray(2 * size, 'x') + "\nb");
        const QString fields =
            makeFile(m_folder->filePath("fields"), QByteArray(size, ',') + "\nb");
        CSVReader reader;
        {
            const Limit memory(RLIMIT_AS, memoryInUse() + (20 << 20));
            QVERIFY(!reader.read(lines)); // the places of which take 80 MB
            QVERIFY(!reader.isValid());
        }
        QVERIFY(reader.read(line));
        {
            const Limit memory(RLIMIT_AS, memoryInUse() + (15 << 20));
            QCOMPARE(reader.data(0, -1), QByteArray());
            QCOMPARE(reader.data(0), Fields{""});
            QCOMPARE(reader.data(1), Fields{"b"});
        }
        QVERIFY(reader.read(fields));
        {
            const Limit memory(RLIMIT_AS, memoryInUse() + (100 << 20));
            QCOMPARE(reader.data(0, -1).size(), size);
            QCOMPARE(reader.data(0), Fields());
            QCOMPARE(reader.colData(0), (Fields{"", "b"}));
        }
        QCOMPARE(reader.numColumns(0), size + 1); // an empty answer is not kept
    }

    void isEmptyAtFirst()
    {
        const CSVReader reader;

        QVERIFY(!reader.isValid());
        QCOMPARE(reader.path(), Data::String());
        QCOMPARE(reader.numRows(), 0);
        QCOMPARE(reader.numColumns(0), 0);
        QVERIFY(!reader.hasHeader());
        QCOMPARE(reader.data(0), Fields());
        QCOMPARE(reader.data(0, -1), QByteArray());
        QCOMPARE(reader.colData(0, 0), Fields());
        QCOMPARE(reader.checksum(-1), qChecksum("0", 1));
    }

    void splitsLines_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("delimiters");
        QTest::addColumn<Rows>("rows");

        const auto row = [](const char *name, const QByteArray &contents,
                            const QByteArray &delimiters, const Rows &rows) {
            QTest::newRow(name) << contents << delimiters << rows;
        };
        const Fields one = {""};
        const Fields none;
        // clang-format off
        row("a line feed at the end, one delimiter", "a,b\n1,2\n", ",", {{"a", "b"}, {"1", "2"}, one});
        row("a line feed at the end, two delimiters", "a,b\n1,2\n", ", ", {{"a", "b"}, {"1", "2"}, none});
        row("no line feed at the end", "a,b\n1,2", ",", {{"a", "b"}, {"1", "2"}});
        row("nothing, one delimiter", "", ",", {one});
        row("nothing, two delimiters", "", ",;", {none});
        row("only a line feed", "\n", ",", {one, one});
        row("empty lines in between", "a\n\n\nb", ",", {{"a"}, one, one, {"b"}});
        row("empty fields", "a,,b\na,\n,a\n,", ",", {{"a", "", "b"}, {"a", ""}, {"", "a"}, {"", ""}});
        row("rows of different length", "a\nb,c,d\ne,f", ",", {{"a"}, {"b", "c", "d"}, {"e", "f"}});
        row("comma and blank", "1, 2,,3", ", ", {{"1", "2", "3"}});
        row("comma alone", "1, 2,,3", ",", {{"1", " 2", "", "3"}});
        row("runs and ends of several", "  a \t b\t\t\n\t\nc ", " \t", {{"a", "b"}, none, {"c"}});
        row("three delimiters", "a;b,c d;, e", ";, ", {{"a", "b", "c", "d", "e"}});
        row("no delimiter", "a,b\nc", "", {none, none});
        row("the same one twice is one", "a,,b", ",,", {{"a", "", "b"}});
        row("zero is no delimiter", "a,,b", QByteArray(",\0", 2), {{"a", "", "b"}});
        row("CR LF", "a,b\r\nc\r\n", ",", {{"a", "b"}, {"c"}, one});
        row("CR alone ends no line", "a\rb\n", ",", {{"ab"}, one});
        row("CRs anywhere", "\ra\r,\r\rb\r", ",", {{"a", "b"}});
        row("only CRs", "\r\r\n\r", " ,", {none, none});
        row("a CR as delimiter is never found", "a\rb", "\r", {{"ab"}});
        row("a line feed as delimiter is never found", "a,b\nc", "\n", {{"a,b"}, {"c"}});
        row("CR beside another delimiter", "a,,b\rc", ",\r", {{"a", "bc"}});
        row("nothing is trimmed", " a ,\tb \n \n", ",", {{" a ", "\tb "}, {" "}, one});
        row("quotes, escapes and comments", "#\"a,b\"\n\\,", ",", {{"#\"a", "b\""}, {"\\", ""}});
        row("a delimiter beyond ASCII", "a\xa7" "b", "\xa7", {{"a", "b"}});
        row("several delimiters beyond ASCII", "a\xa7\xff" "b", "\xa7\xff", {{"a", "b"}});
        row("any bytes", "\xff\xfe,\xef\xbb\xbf", ",", {{"\xff\xfe", "\xef\xbb\xbf"}});
        row("a zero byte hides the line feeds after it", QByteArray("a\nb,\0c\nd,e\n", 11), ",", {{"a"}, {"b", ""}});
        // clang-format on
    }

    void splitsLines()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, delimiters);
        QFETCH(Rows, rows);
        CSVReader reader('\0');
        addDelimiters(reader, delimiters);

        QVERIFY(read(reader, contents));

        QVERIFY(reader.isValid());
        QCOMPARE(reader.numRows(), rows.size());
        QCOMPARE(rowsOf(reader), rows);
        for (int row = 0; row < rows.size(); ++row) {
            QCOMPARE(reader.numColumns(row), rows[row].size());
            for (int col = 0; col < rows[row].size(); ++col)
                QCOMPARE(reader.data(row, col), rows[row][col]);
            QCOMPARE(reader.data(row, rows[row].size()), QByteArray());
            QCOMPARE(reader.data(row, INT_MAX), QByteArray());
        }
    }

    void splitsAtCommasUnlessToldOtherwise()
    {
        CSVReader byDefault;
        QVERIFY(read(byDefault, "a,b;c"));
        CSVReader bySemicolon(';');
        QVERIFY(read(bySemicolon, "a,b;c"));

        QCOMPARE(byDefault.data(0), (Fields{"a", "b;c"}));
        QCOMPARE(bySemicolon.data(0), (Fields{"a,b", "c"}));
    }

    void readsAnExistingFileThatIsEmpty()
    {
        CSVReader reader;

        QVERIFY(read(reader, ""));

        QVERIFY(reader.isValid());
        QCOMPARE(reader.numRows(), 1);
        QCOMPARE(reader.data(0), Fields{""});
        QCOMPARE(reader.colData(0, 0), Fields());
    }

    void failsOnWhatItCannotRead_data()
    {
        QTest::addColumn<QString>("name"); // in the folder, unless it is empty or absolute

        QTest::newRow("no path") << "";
        QTest::newRow("missing") << "missing.csv";
        QTest::newRow("a folder") << ".";
        QTest::newRow("a pipe that nobody writes to") << "pipe";
        QTest::newRow("a device without end") << "/dev/zero";
        QTest::newRow("a zero byte in the path") << QString("good.csv") + QChar(0) + "x";
        QTest::newRow("a path too long") << QString("x/").repeated(3000);
    }

    void failsOnWhatItCannotRead()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QFETCH(QString, name);
        QCOMPARE(mkfifo(QFile::encodeName(m_folder->filePath("pipe")).constData(), 0600), 0);
        makeFile(m_folder->filePath("good.csv"), "a");
        const bool isInFolder = !name.isEmpty() && !name.startsWith('/');
        const Data::String path = isInFolder ? m_folder->filePath(name) : name;
        CSVReader reader(';');
        reader.setHoleValue(-1.0);
        QVERIFY(read(reader, "a;b\nc"));
        QCOMPARE(reader.data(1), Fields{"c"});
        Utils::Progress progress(7);

        QVERIFY(!reader.read(path, &progress));

        QCOMPARE(reader.path(), path);
        QVERIFY(!reader.isValid());
        QCOMPARE(reader.numRows(), 0);
        QVERIFY(!reader.hasHeader());
        QCOMPARE(reader.data(0), Fields());
        QCOMPARE(reader.data(1), Fields());
        QCOMPARE(progress.maxSteps(), 7);
        QCOMPARE(progress.count(), 0);
        QVERIFY(read(reader, "d;;e")); // delimiter and hole value are still there
        QCOMPARE(reader.dataValue(0), (Numbers{0.0, -1.0, 0.0}));
    }

    void opensNoFileThatMayNotBeRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const OrdinaryUser user(m_folder->path());
        const QString file = makeFile(m_folder->filePath("unreadable"), "a\n");
        QVERIFY(QFile::setPermissions(file, QFile::Permissions()));

        CSVReader reader;

        QVERIFY(!reader.read(file));
        QVERIFY(!reader.isValid());
    }

    void startsAgainAtEachRead()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a,b\nc\n"));
        QCOMPARE(rowsOf(reader).size(), 3);
        const Data::String path = makeFile(m_folder->filePath("\u00e4 \u65e5"), "d\ne");

        QVERIFY(reader.read(path));

        QCOMPARE(reader.path(), path);
        QCOMPARE(rowsOf(reader), (Rows{{"d"}, {"e"}}));
        QCOMPARE(reader.data(2), Fields());
    }

    void givesNothingOutOfRange_data()
    {
        QTest::addColumn<int>("row");

        QTest::newRow("the one after the last") << 2;
        QTest::newRow("far after the last") << 5;
        QTest::newRow("the largest") << INT_MAX;
        QTest::newRow("negative") << -1;
        QTest::newRow("the smallest") << INT_MIN;
    }

    void givesNothingOutOfRange()
    {
        QFETCH(int, row);
        CSVReader reader;
        reader.setHoleValue(5.0);
        QVERIFY(read(reader, "a b,c\nd e,f"));
        QCOMPARE(reader.data(1), (Fields{"d e", "f"}));

        QCOMPARE(reader.numColumns(row), 0);
        QCOMPARE(reader.data(row), Fields());
        QCOMPARE(reader.dataD(row), QStringList());
        QCOMPARE(reader.dataValue(row), Numbers());
        for (const int col : {-1, 0, 1, INT_MAX, INT_MIN}) {
            bool ok = true;
            QCOMPARE(reader.data(row, col), QByteArray());
            QCOMPARE(reader.dataD(row, col), Data::String());
            QCOMPARE(reader.dataValue(row, col, &ok), 5.0);
            QVERIFY(!ok);
            QCOMPARE(reader.rowData(row, col, 1), Fields());
            QCOMPARE(reader.rowDataD(row, col, 1), QStringList());
            QCOMPARE(reader.rowDataValue(row, col, 1), Numbers());
        }
        // The row that is kept has not changed: it knows nothing of the new delimiter.
        reader.addDelimiter(' ');
        QCOMPARE(reader.data(1), (Fields{"d e", "f"}));
    }

    void givesTheWholeLineForANegativeColumn()
    {
        CSVReader reader;
        QVERIFY(read(reader, " a, b \xc3\xa4\r\n1.5\n,\n 2 \n"));

        for (const int col : {-1, -2, INT_MIN}) {
            bool ok = false;
            QCOMPARE(reader.data(0, col), QByteArray(" a, b \xc3\xa4"));
            QCOMPARE(reader.dataD(0, col), Data::String("a, b \u00e4"));
            QCOMPARE(reader.dataValue(0, col, &ok), 0.0);
            QVERIFY(!ok);
            QCOMPARE(reader.dataValue(1, col, &ok), 1.5);
            QVERIFY(ok);
            QCOMPARE(reader.dataValue(2, col, &ok), 0.0);
            QVERIFY(!ok);
            QCOMPARE(reader.dataValue(3, col, &ok), 2.0);
            QVERIFY(ok);
            QCOMPARE(reader.data(4, col), QByteArray());
        }
    }

    void keepsNoWholeLine()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a b,c\nd e,f"));
        QCOMPARE(reader.data(1), (Fields{"d e", "f"}));

        QCOMPARE(reader.data(0, -1), QByteArray("a b,c"));
        QCOMPARE(reader.data(1, -1), QByteArray("d e,f"));

        reader.addDelimiter(' ');
        QCOMPARE(reader.data(1), (Fields{"d e", "f"})); // still the one that was split last
        QCOMPARE(reader.data(0), (Fields{"a", "b", "c"}));
    }

    void keepsTheRowThatWasSplitLast()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a b,c\nd e,f\ng h,i\n"));
        QCOMPARE(reader.data(1, 0), QByteArray("d e"));

        reader.addDelimiter(' ');

        QCOMPARE(reader.data(1), (Fields{"d e", "f"}));
        QCOMPARE(reader.numColumns(1), 2);
        QCOMPARE(reader.dataD(1, 0), Data::String("d e"));
        QCOMPARE(reader.data(2), (Fields{"g", "h", "i"}));
        QCOMPARE(reader.data(1), (Fields{"d", "e", "f"}));
    }

    void keepsRowZero()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a b,c\nd e,f\ng h,i\n"));
        QVERIFY(reader.hasHeader()); // splits row 0
        reader.addDelimiter(' ');

        QCOMPARE(reader.data(1), (Fields{"d", "e", "f"}));
        QCOMPARE(reader.data(0), (Fields{"a b", "c"}));
        QCOMPARE(reader.data(1), (Fields{"d", "e", "f"}));

        QVERIFY(reader.read(reader.path()));
        QCOMPARE(reader.data(0), (Fields{"a", "b", "c"}));
    }

    void doesNotCountRowZeroAsSplitLastWhenItWasKept()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a b,c\nd e,f\n"));
        QCOMPARE(reader.data(0).size(), 2);
        QCOMPARE(reader.data(1).size(), 2);
        QCOMPARE(reader.data(0).size(), 2);

        reader.addDelimiter(' ');

        QCOMPARE(reader.data(1), (Fields{"d e", "f"}));
    }

    void keepsRowZeroOnlyWithFields()
    {
        CSVReader reader('\0');
        QVERIFY(read(reader, "a,b\nc\n"));
        QCOMPARE(reader.data(0), Fields());
        reader.addDelimiter(',');

        QCOMPARE(reader.data(0), Fields()); // it was split last
        QCOMPARE(reader.data(1), Fields{"c"});
        QCOMPARE(reader.data(0), (Fields{"a", "b"}));
    }

    void keepsWhatAColumnHasSplit_data()
    {
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<int>("splitBefore"); // a row that is kept, -1 for none
        QTest::addColumn<Rows>("rows");       // as they are after the column, with a new delimiter

        const Fields a = {"a 1"};
        const Fields b = {"b 2"};
        const Fields d = {"d 4"};
        const Rows fresh = {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}};
        // Looked at in this order: 3, 0, 1, 2.
        QTest::newRow("all") << 0 << -1 << Rows{a, fresh[1], fresh[2], d};
        QTest::newRow("not the first") << 1 << -1 << Rows{fresh[0], fresh[1], fresh[2], d};
        QTest::newRow("the last alone") << 3 << -1 << Rows{fresh[0], fresh[1], fresh[2], d};
        QTest::newRow("before the first") << -3 << -1 << Rows{a, fresh[1], fresh[2], d};
    }

    void keepsWhatAColumnHasSplit()
    {
        QFETCH(int, firstRow);
        QFETCH(Rows, rows);
        CSVReader reader;
        QVERIFY(read(reader, "a 1\nb 2\nc 3\nd 4"));
        for (const int form : {0, 1, 2}) {
            CSVReader fresh;
            QVERIFY(fresh.read(reader.path()));

            if (form == 0)
                fresh.colData(0, firstRow);
            else if (form == 1)
                fresh.colDataD(0, firstRow);
            else
                fresh.colDataValue(0, firstRow);

            fresh.addDelimiter(' ');
            QCOMPARE(fresh.data(3), rows[3]);
            QCOMPARE(fresh.data(0), rows[0]);
            QCOMPARE(fresh.data(1), rows[1]);
            QCOMPARE(fresh.data(2), rows[2]);
        }
    }

    void takesAColumnFromRowsThatAreKept()
    {
        CSVReader reader;
        QVERIFY(read(reader, "1 10\n2 20\n3 30\n4 40"));
        QCOMPARE(reader.data(0).size(), 1);
        QCOMPARE(reader.data(1).size(), 1);
        reader.addDelimiter(' ');

        // Row 0 is kept, and so is row 1, as long as no other row is split.
        QCOMPARE(reader.colDataValue(1, 0), (Numbers{0.0, 0.0, 30.0, 40.0}));
        QCOMPARE(reader.colDataValue(1, 0), (Numbers{0.0, 20.0, 30.0, 40.0}));
        QCOMPARE(reader.colData(0, 0), (Fields{"1 10", "2", "3", "4"}));
    }

    void splitsARowOfAColumnAgainWhenItIsKeptNoMore()
    {
        CSVReader reader;
        QVERIFY(read(reader, "1 10\n2 20\n3 30\n4 40\n5 50"));
        QCOMPARE(reader.data(2).size(), 1);
        reader.addDelimiter(' ');

        // Row 1 comes first, and then row 2 is not the one that was split last.
        QCOMPARE(reader.colDataValue(1, 1), (Numbers{20.0, 30.0, 40.0, 50.0}));
    }

    void givesFieldsInThreeForms_data()
    {
        QTest::addColumn<QByteArray>("field");
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("number"); // with 8.5 for a hole
        QTest::addColumn<bool>("ok");

        const double infinity = std::numeric_limits<double>::infinity();
        const double hole = 8.5;
        const auto row = [](const char *name, const QByteArray &field, const QString &text,
                            double number,
                            bool ok) { QTest::newRow(name) << field << text << number << ok; };
        // clang-format off
        row("a number",               "1.5",            "1.5",          1.5, true);
        row("blanks around it",       " \t-2e3 \v\f",   "-2e3",         -2000.0, true);
        row("no number",              "abc",            "abc",          0.0, false);
        row("a part is a number",     "1.5{mm}",        "1.5{mm}",      0.0, false);
        row("hexadecimal",            "0x10",           "0x10",         0.0, false);
        row("a comma of some locale", "1;5",            "1;5",          0.0, false);
        row("empty",                  "",               "",             hole, false);
        row("blanks only",            " \t ",           "",             hole, false);
        row("blanks of all kinds",    "\v",             "",             hole, false);
        row("and the other one",      "\f",             "",             hole, false);
        row("infinite",               "inf",            "inf",          infinity, true);
        row("infinite in capitals",   "INF",            "INF",          0.0, false);
        row("too large",              "-1e400",         "-1e400",       -infinity, false);
        row("too small",              "1e-400",         "1e-400",       0.0, false);
        row("UTF-8",                  "\xc3\xa4",       "\u00e4",       0.0, false);
        row("a no-break space",       "\xc2\xa0" "1",   "1",            0.0, false);
        row("only one",               "\xc2\xa0",       "",             0.0, false);
        row("a minus sign of text",   "\xe2\x88\x92" "1", "\u2212" "1", 0.0, false);
        row("a byte order mark",      "\xef\xbb\xbf" "1", "1",          0.0, false);
        row("invalid UTF-8",          "\xff",           "\ufffd",       0.0, false);
        row("a sequence cut off",     "a\xe2\x88",      "a\ufffd\ufffd", 0.0, false);
        row("CRs within",             "1\r2\r",         "12",           12.0, true);
        // clang-format on
    }

    void givesFieldsInThreeForms()
    {
        QFETCH(QByteArray, field);
        QFETCH(QString, text);
        QFETCH(double, number);
        QFETCH(bool, ok);
        CSVReader reader;
        reader.setHoleValue(8.5);
        QVERIFY(read(reader, "x,7\n" + field + ",2\n3," + field + "\nlast"));
        QByteArray raw = field;
        raw.replace("\r", "");

        QCOMPARE(reader.data(1, 0), raw);
        QCOMPARE(reader.data(1), (Fields{raw, "2"}));
        QCOMPARE(reader.rowData(2, 1, 1), Fields{raw});
        QCOMPARE(reader.colData(1, 1), (Fields{"2", raw, ""}));
        QCOMPARE(reader.dataD(1, 0), Data::String(text));
        QCOMPARE(reader.dataD(1), (QStringList{text, "2"}));
        QCOMPARE(reader.rowDataD(2, 1, 1), QStringList{text});
        QCOMPARE(reader.colDataD(1, 1), (QStringList{"2", text, ""}));
        bool isNumber = !ok;
        QVERIFY(isSame({reader.dataValue(1, 0, &isNumber)}, {number}));
        QCOMPARE(isNumber, ok);
        QVERIFY(isSame({reader.dataValue(1, 0)}, {number}));
        QVERIFY(isSame(reader.dataValue(1), {number, 2.0}));
        QVERIFY(isSame(reader.rowDataValue(2, 1, 1), {number}));
        QVERIFY(isSame(reader.colDataValue(1, 1), {2.0, number, 8.5}));
        QVERIFY(isSame(reader.colDataValue(0, 1), {number, 3.0, 0.0}));
    }

    void numbersKeepTheCLocale()
    {
        const QLocale before;
        QLocale::setDefault(QLocale("de_DE"));
        CSVReader reader(';');
        QVERIFY(read(reader, "1.5;1,5;1.000"));

        const Numbers numbers = reader.dataValue(0);
        QLocale::setDefault(before);

        QCOMPARE(numbers, (Numbers{1.5, 0.0, 1.0}));
    }

    void standsForHolesByANumberOfChoice()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a,,1\n"));
        bool ok = true;
        QCOMPARE(reader.dataValue(0, 1, &ok), 0.0);
        QVERIFY(!ok);

        reader.setHoleValue(1e300); // also for rows that are kept

        ok = true;
        QCOMPARE(reader.dataValue(0, 1, &ok), 1e300);
        QVERIFY(!ok);
        QCOMPARE(reader.dataValue(0, 1), 1e300);
        QCOMPARE(reader.dataValue(0), (Numbers{0.0, 1e300, 1.0}));
        ok = true;
        QCOMPARE(reader.dataValue(0, 0, &ok), 0.0);
        QVERIFY(!ok);
        QCOMPARE(reader.dataValue(1, 0), 1e300);
        QCOMPARE(reader.dataValue(9, 9), 1e300);
        QVERIFY(reader.read(reader.path()));
        QCOMPARE(reader.dataValue(0, 1), 1e300);
    }

    void givesPartsOfARow_data()
    {
        QTest::addColumn<int>("firstCol");
        QTest::addColumn<int>("lastCol");
        QTest::addColumn<QByteArray>("fields"); // of one letter each

        QTest::newRow("all") << 0 << 4 << QByteArray("abcde");
        QTest::newRow("some") << 1 << 3 << QByteArray("bcd");
        QTest::newRow("one") << 2 << 2 << QByteArray("c");
        QTest::newRow("to the end") << 2 << -1 << QByteArray("cde");
        QTest::newRow("to the end, by a last one below the first") << 3 << 2 << QByteArray("de");
        QTest::newRow("to the end, by the smallest") << 1 << INT_MIN << QByteArray("bcde");
        QTest::newRow("past the end") << 3 << 9 << QByteArray("de");
        QTest::newRow("as far as there is") << 1 << INT_MAX << QByteArray("bcde");
        QTest::newRow("all there is") << 0 << INT_MAX << QByteArray("abcde");
        QTest::newRow("after the end") << 5 << 9 << QByteArray();
        QTest::newRow("after the end, to the end") << 5 << -1 << QByteArray();
        QTest::newRow("far after the end") << INT_MAX << INT_MAX << QByteArray();
        QTest::newRow("from before the start") << -1 << 1 << QByteArray("ab");
        QTest::newRow("only before the start") << -3 << -1 << QByteArray();
        QTest::newRow("one before the start") << -1 << -1 << QByteArray();
        QTest::newRow("from before the start to the end") << -2 << -3 << QByteArray("abcde");
        QTest::newRow("between the extremes") << INT_MIN << INT_MAX << QByteArray("abcde");
        QTest::newRow("from the smallest") << INT_MIN << 2 << QByteArray("abc");
        QTest::newRow("up to the smallest") << INT_MIN << INT_MIN << QByteArray();
    }

    void givesPartsOfARow()
    {
        QFETCH(int, firstCol);
        QFETCH(int, lastCol);
        QFETCH(QByteArray, fields);
        CSVReader reader;
        QVERIFY(read(reader, "x\na, b ,c,d,e\n"));
        QStringList texts;
        for (const char letter : fields)
            texts.append(QChar(letter));

        QCOMPARE(reader.rowData(1, firstCol, lastCol).join("").replace(" ", ""), fields);
        QCOMPARE(reader.rowDataD(1, firstCol, lastCol), texts);
        QCOMPARE(reader.rowDataValue(1, firstCol, lastCol).size(), fields.size());
    }

    void givesARowToItsEndByDefault()
    {
        CSVReader reader;
        QVERIFY(read(reader, "1,2,3"));

        QCOMPARE(reader.rowData(0, 1), (Fields{"2", "3"}));
        QCOMPARE(reader.rowDataD(0, 1), (QStringList{"2", "3"}));
        QCOMPARE(reader.rowDataValue(0, 1), (Numbers{2.0, 3.0}));
    }

    void givesColumns_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("delimiters");
        QTest::addColumn<int>("col");
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<Fields>("column");

        const auto row = [](const char *name, const QByteArray &contents,
                            const QByteArray &delimiters, int col, int firstRow,
                            const Fields &column) {
            QTest::newRow(name) << contents << delimiters << col << firstRow << column;
        };
        const Fields none;
        // clang-format off
        row("without the last, empty row", "a,b\n1,2\n", ",", 0, 1, {"1"});
        row("no line feed at the end", "a,b\n1,2", ",", 0, 1, {"1"});
        row("from the first row on", "a,b\n1,2\n", ",", 1, 0, {"b", "2"});
        row("past the columns", "a,b\n1,2\n", ",", 2, 0, {"", ""});
        row("far past the columns", "a,b\n1,2\n", ",", INT_MAX, 0, {"", ""});
        row("rows that are too short", "a,b\nc\n\nd,e\n", ",", 1, 0, {"b", "", "", "e"});
        row("empty rows elsewhere count", "\n\na\n\n\n", ",", 0, 0, {"", "", "a", "", ""});
        row("several delimiters", "a b\n\nc  d\n", " \t", 1, 0, {"b", "", "d"});
        row("no delimiter", "a\nb\nc", "", 0, 0, {"", ""});
        row("a blank in the last row counts", "a\n ", ",", 0, 0, {"a", " "});
        row("a delimiter in the last row counts", "a\n,", ",", 0, 0, {"a", ""});
        row("blanks are no fields among several", "a\n ", " ,", 0, 0, {"a"});
        row("a CR in the last row does not", "a\n\r", ",", 0, 0, {"a"});
        row("only the empty row", "", ",", 0, 0, none);
        row("from the last, empty row on", "a\n", ",", 0, 1, none);
        row("from the last row on", "a\nb", ",", 0, 1, {"b"});
        row("from after the last row on", "a\nb", ",", 0, 2, none);
        row("far after", "a\nb", ",", 0, INT_MAX, none);
        row("from before the first row on", "a\nb", ",", 0, -2, {"", "", "a", "b"});
        row("from as far before as the smallest", "a\nb", ",", 0, INT_MIN, none);
        row("from too far before", "a\nb", ",", 0, -(1 << 24) - 1, none);
        row("a negative column", "a\nb", ",", -1, 0, none);
        row("the smallest column", "a\nb", ",", INT_MIN, 0, none);
        row("untrimmed", " a \r\n b ", ",", 0, 0, {" a ", " b "});
        row("CRs are no fields", "x\na, \r ,b\r\n\r,c\ny", ", ", 1, 0, {"", "b", "", ""});
        row("CRs within fields", "x\na,\rb\rc\r\nd,e\ny", ",", 1, 0, {"", "bc", "e", ""});
        row("a CR as delimiter is never found", "x\na\rb\ny", "\r", 0, 0, {"x", "ab", "y"});
        row("nor after one field", "x\na\rb\ny", "\r", 1, 0, {"", "", ""});
        row("nor among several", "x\na\rb,c\ny", ",\r", 0, 0, {"x", "ab", "y"});
        row("long lines", QByteArray(300000, 'x') + ",a\n" + QByteArray(20000, 'y') + ",b\n,c\n",
            ",", 1, 0, {"a", "b", "c"});
        // clang-format on
    }

    void givesColumns()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, delimiters);
        QFETCH(int, col);
        QFETCH(int, firstRow);
        QFETCH(Fields, column);
        CSVReader reader('\0');
        addDelimiters(reader, delimiters);
        reader.setHoleValue(7.0);
        QVERIFY(read(reader, contents));
        QStringList texts;
        Numbers numbers;
        for (const QByteArray &field : column) {
            texts.append(QString(field).trimmed());
            numbers.append(field.trimmed().isEmpty() ? 7.0 : field.trimmed().toDouble());
        }

        QCOMPARE(reader.colData(col, firstRow), column);
        QCOMPARE(reader.colDataD(col, firstRow), texts);
        QCOMPARE(reader.colDataValue(col, firstRow), numbers);
    }

    void givesColumnsFromFarInFront()
    {
        CSVReader reader;
        QVERIFY(read(reader, "1\n2"));

        const Numbers column = reader.colDataValue(0, -(1 << 24));

        QCOMPARE(column.size(), (1 << 24) + 2);
        QCOMPARE(column.first(), 0.0);
        QCOMPARE(column.last(), 2.0);
    }

    void givesAColumnFromItsStartByDefault()
    {
        CSVReader reader;
        QVERIFY(read(reader, "1,2\n3,4\n"));

        QCOMPARE(reader.colData(1), (Fields{"2", "4"}));
        QCOMPARE(reader.colDataD(1), (QStringList{"2", "4"}));
        QCOMPARE(reader.colDataValue(1), (Numbers{2.0, 4.0}));
    }

    void tellsAHeader_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("delimiters");
        QTest::addColumn<bool>("hasHeader");

        // clang-format off
        QTest::newRow("labels")                  << QByteArray("time,force\n1,2") << QByteArray(",") << true;
        QTest::newRow("numbers")                 << QByteArray("1,-2.5e3\na,b")   << QByteArray(",") << false;
        QTest::newRow("one label")               << QByteArray("1,2,x")           << QByteArray(",") << true;
        QTest::newRow("blanks around numbers")   << QByteArray(" 1 ,\t2\r\n")     << QByteArray(",") << false;
        QTest::newRow("one empty field")         << QByteArray("")                << QByteArray(",") << true;
        QTest::newRow("a blank field")           << QByteArray(" ")               << QByteArray(",") << true;
        QTest::newRow("an empty field at an end") << QByteArray("1,2,")           << QByteArray(",") << true;
        QTest::newRow("no fields")               << QByteArray("a b")             << QByteArray("")  << false;
        QTest::newRow("only delimiters")         << QByteArray(" ,\na")           << QByteArray(", ") << false;
        QTest::newRow("a unit in braces")        << QByteArray("1.5{mm}")         << QByteArray(",") << true;
        QTest::newRow("too large a number")      << QByteArray("1e400")           << QByteArray(",") << true;
        QTest::newRow("too small a number")      << QByteArray("1e-400")          << QByteArray(",") << true;
        QTest::newRow("inf and nan")             << QByteArray("inf,-inf,nan")    << QByteArray(",") << false;
        QTest::newRow("INF")                     << QByteArray("INF")             << QByteArray(",") << true;
        // clang-format on
    }

    void tellsAHeader()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, delimiters);
        QFETCH(bool, hasHeader);
        CSVReader reader('\0');
        addDelimiters(reader, delimiters);
        QVERIFY(read(reader, contents));

        QCOMPARE(reader.hasHeader(), hasHeader);
    }

    void sumsUpLines_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QByteArray>("summedUp");

        const QByteArray text = "a,b\r\nc\rd\n e\n";
        QTest::newRow("all") << text << -1 << QByteArray("4a,bcd e");
        QTest::newRow("all, by the smallest") << text << INT_MIN << QByteArray("4a,bcd e");
        QTest::newRow("none") << text << 0 << QByteArray("4");
        QTest::newRow("one") << text << 1 << QByteArray("4a,b");
        QTest::newRow("two") << text << 2 << QByteArray("4a,bcd");
        QTest::newRow("as many as there are") << text << 4 << QByteArray("4a,bcd e");
        QTest::newRow("more than there are") << text << 5 << QByteArray("4a,bcd e");
        QTest::newRow("far more than there are") << text << INT_MAX << QByteArray("4a,bcd e");
        QTest::newRow("an empty file") << QByteArray() << -1 << QByteArray("1");
        const QByteArray line(1000, 'x');
        QTest::newRow("many lines")
            << (line + "\n").repeated(1000) << -1 << "1001" + line.repeated(1000);
        QTest::newRow("long lines")
            << (line.repeated(400) + "\n").repeated(3) << 2 << "4" + line.repeated(800);
    }

    void sumsUpLines()
    {
        QFETCH(QByteArray, contents);
        QFETCH(int, rows);
        QFETCH(QByteArray, summedUp);
        CSVReader reader('\0'); // which has no fields, but lines
        QVERIFY(read(reader, contents));

        QCOMPARE(reader.checksum(rows), qChecksum(summedUp.constData(), uint(summedUp.size())));
    }

    void sumsUpTheSameForAnyLineEnd()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a\nb\n"));
        const unsigned short sum = reader.checksum();

        QVERIFY(read(reader, "a\r\nb\r\n"));
        QCOMPARE(reader.checksum(), sum);
        QCOMPARE(rowsOf(reader), (Rows{{"a"}, {"b"}, {""}}));
        QVERIFY(read(reader, "a\nb\n\n"));
        QVERIFY(reader.checksum() != sum);
        QVERIFY(read(reader, "123456789")); // a "1" comes before it
        QCOMPARE(reader.checksum(), qChecksum("1123456789", 10));
    }

    void readsLinesOfManyBlocks_data()
    {
        QTest::addColumn<int>("length");

        for (const int length : {block - 2, block - 1, block, block + 1, 2 * block, 3 * block + 7,
                                 250 * 1000, 1000 * 1000})
            QTest::addRow("%d bytes", length) << length;
    }

    void readsLinesOfManyBlocks()
    {
        QFETCH(int, length);
        QByteArray line(length, 'x');
        for (int i = 0; i < length; i += 97)
            line[i] = char('a' + i % 26);
        line[length - 1] = 'z';
        CSVReader reader('\0');
        reader.addDelimiter(';');

        QVERIFY(read(reader, "first\n" + line + "\r\nlast;" + line));

        QCOMPARE(reader.numRows(), 3);
        QVERIFY(reader.data(1) == Fields{line});
        QVERIFY(reader.data(1, -1) == line);
        QVERIFY(reader.data(2) == (Fields{"last", line}));
        QCOMPARE(reader.data(0), Fields{"first"});
    }

    void missesLineFeedsBehindAZeroByteOfTheSameBlock()
    {
        QByteArray contents(3 * block, 'x');
        contents[4] = '\n';
        contents[10] = '\0';
        contents[20] = '\n';        // not seen
        contents[block - 1] = '\n'; // not seen, the last byte of the block
        contents[block] = '\n';     // the first of the next one
        contents[2 * block - 1] = '\0';
        contents[2 * block + 5] = '\n';
        CSVReader reader;

        QVERIFY(read(reader, contents));

        QCOMPARE(reader.numRows(), 4);
        QCOMPARE(reader.data(0), Fields{"xxxx"});
        // The block of this line starts at 5 and ends at block + 5, so that 10 hides all of it, and
        // it goes on with the next block, of which it is the line feed at 2 * block + 5 that ends.
        QByteArray line = "xxxxx" + contents.mid(block + 5, block - 6);
        QCOMPARE(reader.data(1).size(), 1);
        QVERIFY(reader.data(1, 0) == line);
        QVERIFY(reader.data(1, -1) == line);
        // From block + 1 on: to the zero byte, and on with the block at 2 * block + 1.
        line = contents.mid(block + 1, block - 2) + "xxxx";
        QVERIFY(reader.data(2, 0) == line);
        QVERIFY(reader.data(3, 0) == QByteArray(block - 6, 'x'));
    }

    void dropsWhatIsBehindAZeroByteOfABlock_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<Fields>("lines");

        const QByteArray zero(1, '\0');
        const QByteArray x(block, 'x');
        const auto cut = [&](const QByteArray &bytes, int position) {
            return QByteArray(bytes).replace(position, 1, zero);
        };
        QTest::newRow("the only byte") << zero << Fields{""};
        QTest::newRow("at the start") << zero + "a" << Fields{""};
        QTest::newRow("within") << "a" + zero + "b" << Fields{"a"};
        QTest::newRow("a line feed after it") << "a" + zero + "b\nc" << Fields{"a"};
        QTest::newRow("a line feed before it") << "a\n" + zero + "b\nc" << Fields{"a", ""};
        QTest::newRow("the last byte of a block")
            << cut(x, block - 1) + "a\nb" << Fields{x.mid(1) + "a", "b"};
        QTest::newRow("the first of the next one") << x + zero + "a\nb" << Fields{x};
        QTest::newRow("in the first of three") << cut(x, 2) + x + "a" << Fields{"xx" + x + "a"};
        QTest::newRow("in the second of three")
            << x + cut(x, 2) + "a\nb" << Fields{x + "xx" + "a", "b"};
        QTest::newRow("in each of three") << cut(x, 3) + cut(x, 2) + cut(x, 1) << Fields{"xxxxxx"};
        QTest::newRow("only zero bytes") << QByteArray(3 * block, '\0') << Fields{""};
        // The line feed is seen from the start of the file, but not from that of the line.
        const QByteArray y = x.left(block - 12);
        QTest::newRow("a line runs on into the next one")
            << "a\n" + y + zero + "123456789b\nc\nd" << Fields{"a", y + "c", "c", "d"};
        QTest::newRow("a line runs on into the middle of the next one")
            << "a\n" + y + zero + "12345678b\ncde\nf" << Fields{"a", y + "de", "cde", "f"};
    }

    void dropsWhatIsBehindAZeroByteOfABlock()
    {
        QFETCH(QByteArray, contents);
        QFETCH(Fields, lines);
        CSVReader reader;

        QVERIFY(read(reader, contents));

        QCOMPARE(reader.numRows(), lines.size());
        QCOMPARE(linesOf(reader), lines);
    }

    void tellsItsProgressByBlock_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("steps");
        QTest::addColumn<int>("ticks");

        QTest::newRow("nothing") << 0 << 0 << 0;
        QTest::newRow("a byte") << 1 << 0 << 1;
        QTest::newRow("a block less a byte") << block - 1 << 0 << 1;
        QTest::newRow("a block") << block << 1 << 1;
        QTest::newRow("a block and a byte") << block + 1 << 1 << 2;
        QTest::newRow("many blocks") << 100 * block << 100 << 100;
        QTest::newRow("many blocks and a bit") << 100 * block + 10 << 100 << 101;
    }

    void tellsItsProgressByBlock()
    {
        QFETCH(int, size);
        QFETCH(int, steps);
        QFETCH(int, ticks);
        CSVReader reader;
        Utils::Progress progress(77);

        QVERIFY(read(reader, QByteArray(size, 'x'), &progress));

        QCOMPARE(progress.maxSteps(), steps);
        QCOMPARE(progress.count(), ticks);
    }

    void cannotBeCancelled()
    {
        FakeHost host;
        Utils::setApplication(&host);
        CSVReader reader;
        Utils::Progress progress(1, "", /*cancelable=*/true);
        progress.cancel();
        QVERIFY(progress.cancelled());

        QVERIFY(read(reader, QByteArray(block, '\n').repeated(20), &progress));

        QCOMPARE(reader.numRows(), 20 * block + 1);
        QCOMPARE(progress.count(), 20);
    }

    void bearsAHostThatReadsByItWhenToldOfProgress()
    {
        FakeHost host;
        Utils::setApplication(&host);
        const QString inner = makeFile(m_folder->filePath("inner.csv"), "1\n2");
        CSVReader reader;
        int calls = 0;
        host.reaction = [&](const QString &call) {
            if (call.startsWith("setProgress(") && reader.path() != Data::String(inner))
                calls += reader.read(inner) && reader.data(0) == Fields{"1"};
        };
        Utils::Progress progress(1);
        progress.show(); // reports are counted from here on

        QVERIFY(read(reader, QByteArray(block, '\n').repeated(50) + "last", &progress));

        QVERIFY(calls > 0);
        QVERIFY(reader.path() != Data::String(inner));
        QCOMPARE(reader.numRows(), 50 * block + 1);
        QCOMPARE(reader.data(50 * block), Fields{"last"});
        QCOMPARE(reader.data(0), Fields{""});
    }

    void copiesAnswerAlike()
    {
        CSVReader reader(';');
        reader.setHoleValue(4.0);
        QVERIFY(read(reader, "a 1;b\nc 2;\n"));
        QCOMPARE(reader.data(1).size(), 2);

        CSVReader copy(reader);
        CSVReader assigned;
        assigned = reader;

        for (CSVReader *const other : {&copy, &assigned}) {
            QCOMPARE(other->path(), reader.path());
            QCOMPARE(other->numRows(), 3);
            QCOMPARE(other->dataValue(1, 1), 4.0);
            other->addDelimiter(' ');
            QCOMPARE(other->data(1), (Fields{"c 2", ""})); // kept by the other one
            QCOMPARE(other->data(0), (Fields{"a", "1", "b"}));
            QCOMPARE(other->data(1), (Fields{"c", "2"}));
            other->setHoleValue(5.0);
        }
        QCOMPARE(reader.data(0), (Fields{"a 1", "b"})); // has settings of its own
        QCOMPARE(reader.dataValue(1, 1), 4.0);
    }

    void closesTheFileOfItsCopiesInItsEnd()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a,b\nc,d\ne,f"));
        QCOMPARE(reader.data(0), (Fields{"a", "b"}));
        QCOMPARE(reader.data(1), (Fields{"c", "d"}));
        {
            const CSVReader copy(reader);
            QCOMPARE(copy.data(2), (Fields{"e", "f"}));
        }

        QCOMPARE(reader.numRows(), 3);
        QVERIFY(reader.isValid());
        QCOMPARE(reader.data(0), (Fields{"a", "b"})); // both are kept
        QCOMPARE(reader.data(1), (Fields{"c", "d"}));
        QCOMPARE(reader.data(2), Fields{""});
        QCOMPARE(reader.data(1), Fields{""});
        QCOMPARE(reader.data(1, -1), QByteArray());
        QCOMPARE(reader.colData(1), (Fields{"b", ""}));
        QVERIFY(reader.read(reader.path())); // opens it again
        QCOMPARE(reader.data(1), (Fields{"c", "d"}));
    }

    void closesTheFileOfItsCopiesWhenItReads()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a\nb"));
        CSVReader copy(reader);

        QVERIFY(read(copy, "c\nd"));

        QCOMPARE(copy.data(1), Fields{"d"});
        QCOMPARE(reader.numRows(), 2);
        QCOMPARE(reader.data(1), Fields{""});
        QVERIFY(!reader.read("")); // closes what is closed already
        QCOMPARE(copy.data(0), Fields{"c"});
    }

    void closesNothingWhenItIsAssignedTo()
    {
        CSVReader first;
        QVERIFY(read(first, "a\nb"));
        CSVReader copyOfFirst(first);
        CSVReader second;
        QVERIFY(read(second, "c\nd\ne"));

        first = second;

        QCOMPARE(first.numRows(), 3);
        QCOMPARE(first.data(2), Fields{"e"});
        QCOMPARE(copyOfFirst.data(1), Fields{"b"});
        const CSVReader &same = first;
        first = same;
        QCOMPARE(first.data(1), Fields{"d"});
        first = CSVReader();
        QCOMPARE(first.numRows(), 0);
        QCOMPARE(second.data(1), Fields{"d"});
    }

    void readsAMeasuredCurve()
    {
        CSVReader reader;
        reader.setHoleValue(1e300);

        QVERIFY(reader.read(SAMPLES "/load_curve.csv"));

        QVERIFY(reader.hasHeader());
        QCOMPARE(reader.dataD(0), (QStringList{"Time{s}", "Crosshead{mm}", "Force{kN}",
                                               "Strain{mm/m}", "Temperature{degC}"}));
        const Numbers times = reader.colDataValue(0, 1);
        const Numbers strains = reader.colDataValue(3, 1);
        QCOMPARE(times.size(), 1200);
        QCOMPARE(times[2], 0.5);
        QCOMPARE(times.last(), 299.75);
        QCOMPARE(strains.count(1e300), 700); // the sensor was taken off
        QCOMPARE(strains.last(), 1e300);
        QCOMPARE(reader.dataValue(0).count(0.0), 5); // labels with units are no numbers
    }

    void readsAlignedResults()
    {
        CSVReader reader(' ');
        reader.addDelimiter('\t');

        QVERIFY(reader.read(SAMPLES "/modes.txt"));

        QCOMPARE(reader.dataD(0),
                 (QStringList{"Mode", "Frequency", "AngularFreq", "EffectiveMass", "Sum"}));
        QCOMPARE(reader.numRows(), 14);
        const Numbers modes = reader.colDataValue(0, 1);
        QCOMPARE(modes.size(), 12);
        QCOMPARE(modes.last(), 12.0);
        QCOMPARE(reader.dataValue(1), (Numbers{1.0, 11.6044, 72.913, 4.620141, 0.61308}));
    }

    void takesCommentsAndQuotesAsTheyAre()
    {
        CSVReader reader(';');

        QVERIFY(reader.read(SAMPLES "/bolts.csv"));

        QCOMPARE(reader.data(1, 0), QByteArray("# Preload by ultrasonic length measurement"));
        QCOMPARE(reader.rowData(5, 4), (Fields{"\"retightened", " washer replaced\""}));
    }

    void readsOnInAFileThatIsGone()
    {
        CSVReader reader;
        QVERIFY(read(reader, "a\nb\nc"));

        QVERIFY(QFile::remove(reader.path()));

        QCOMPARE(reader.data(1), Fields{"b"});
        QVERIFY(!reader.read(reader.path()));
    }

    void readsNothingFromWhatIsGoneFromAFile()
    {
        QByteArray contents;
        for (int i = 0; i < 200 * 1000; ++i)
            contents += QByteArray::number(i) + ",x\n";
        CSVReader reader;
        QVERIFY(read(reader, contents));
        QCOMPARE(reader.data(3), (Fields{"3", "x"}));

        QVERIFY(QFile::resize(reader.path(), 1000 * 1000));

        QCOMPARE(reader.numRows(), 200 * 1000 + 1);
        QCOMPARE(reader.data(199 * 1000), Fields{""});
        QCOMPARE(reader.dataValue(199 * 1000, 0), 0.0);
        QCOMPARE(reader.data(100), (Fields{"100", "x"}));
        const Numbers column = reader.colDataValue(0);
        QCOMPARE(column.size(), 200 * 1000); // without the last row
        QCOMPARE(column[100], 100.0);
        QCOMPARE(column.last(), 0.0);
        reader.checksum();
    }

    void takesLinesOfAnyLength()
    {
        const int size = 10 * 1000 * 1000;
        const QByteArray line(size, '1');
        CSVReader reader;
        QVERIFY(read(reader, line + "\n\"" + line + "\n" + line + "," + line + ",2"));

        QCOMPARE(reader.numRows(), 3);
        QVERIFY(reader.hasHeader()); // as it is larger than a double
        QVERIFY(reader.data(0, 0) == line);
        QCOMPARE(reader.dataD(0, -1).size(), size);
        QVERIFY(std::isinf(reader.dataValue(0, 0)));
        QVERIFY(reader.data(1, -1) == "\"" + line);
        QVERIFY(reader.rowData(2, 1, 1) == Fields{line});
        QCOMPARE(reader.colDataValue(2, 1), (Numbers{0.0, 2.0}));
        QByteArray summedUp = "3" + line + "\"" + line;
        QCOMPARE(reader.checksum(2), qChecksum(summedUp.constData(), uint(summedUp.size())));
    }

    void takesAMillionColumns()
    {
        const int count = 1000 * 1000;
        const QByteArray line = QByteArray("7;").repeated(count - 1) + "8";
        CSVReader reader(';');
        QVERIFY(read(reader, line + "\n" + line + "\n" + QByteArray(count, ';') + "\n"));

        QCOMPARE(reader.numColumns(0), count);
        QCOMPARE(reader.data(1, count - 1), QByteArray("8"));
        QCOMPARE(reader.dataValue(1).size(), count);
        QCOMPARE(reader.colDataValue(count - 1), (Numbers{8.0, 8.0, 0.0}));
        QCOMPARE(reader.colDataD(count), (QStringList{"", "", ""}));
        QCOMPARE(reader.numColumns(2), count + 1);
        reader.addDelimiter(' ');
        QCOMPARE(reader.colDataValue(count - 1, 1), (Numbers{8.0, 0.0}));
        QCOMPARE(reader.numColumns(2), 0);
    }

    void readsEachRowOfFiveGibibytes()
    {
        if (!isFullSize())
            QSKIP("takes minutes and 5 GiB of disk: set KELMUTILS_FULL_SIZE");
        SKIP_ON_WINDOWS("the memory of the process is found out in another way there");
        const QTemporaryDir folder;
        const LargeTable large(folder.filePath("large.csv"), LargeTable::Unquoted);
        const int count = large.numRows();
        QVERIFY(count > 0);
        const qint64 before = residentMemory();
        CSVReader reader;

        QVERIFY(reader.read(large.path()));

        const double bytesPerRow = double(residentMemory() - before) / count;
        qInfo("%d rows, %.2f bytes of memory for each", count, bytesPerRow);
        QVERIFY(bytesPerRow < 4.25);
        QCOMPARE(reader.numRows(), count + 1);
        for (int i = 0; i < count; ++i) {
            if (reader.data(i, -1) != large.row(i))
                QCOMPARE(reader.data(i, -1), large.row(i));
        }
        QCOMPARE(reader.data(count - 1, 0), QByteArray("0107374181"));
        QCOMPARE(reader.dataValue(0, 0), 0.0);
        QCOMPARE(reader.data(count), Fields{""});
    }

    void readsRowsBeyondFourGibibytes()
    {
        const SparseTable sparse("tst_CSVReader");
        QVERIFY(sparse.isMade());
        CSVReader reader;
        Utils::Progress progress(0);

        QVERIFY(reader.read(sparse.path(), &progress));

        QCOMPARE(progress.maxSteps(), int(SparseTable::size / block));
        QCOMPARE(progress.count(), int(SparseTable::size / block));
        QCOMPARE(reader.numRows(), 14);
        QCOMPARE(reader.data(0), (Fields{"first", "1"}));
        for (const int row : {2, 6, 10}) {
            QCOMPARE(reader.data(row), (Fields{"before", "2"}));
            QCOMPARE(reader.data(row + 1), (Fields{"across", "3"}));
            QCOMPARE(reader.dataValue(row + 1, 1), 3.0);
            QCOMPARE(reader.data(row + 2), (Fields{"after", "4"}));
        }
        QCOMPARE(reader.data(13), Fields{"x"});
        QCOMPARE(reader.data(13, -1), QByteArray("x"));
        // The zero bytes of the row before, which is a gibibyte long, are hidden.
        const QByteArray longLine = reader.data(9, -1);
        QVERIFY(longLine.size() > block);
        QCOMPARE(longLine.count('x'), longLine.size());
    }

    void readsDecimalCommas()
    {
        CSVReader reader(';');
        QVERIFY(read(reader, "2,5; -0,5 ;1.5\n1,2,3;;7\r\n1,5e1;x;\n"));
        QVERIFY(reader.hasHeader());
        QCOMPARE(reader.colDataValue(0), (Numbers{0.0, 0.0, 0.0}));
        reader.setHoleValue(-1.0);

        reader.setDecimalPoint(',');
        reader.setDecimalPoint(';'); // ignored

        QCOMPARE(reader.decimalPoint(), ',');
        QCOMPARE(reader.colDataValue(0), (Numbers{2.5, 0.0, 15.0}));
        QCOMPARE(reader.colDataValue(1), (Numbers{-0.5, -1.0, 0.0}));
        QCOMPARE(reader.dataValue(0), (Numbers{2.5, -0.5, 0.0}));
        QCOMPARE(reader.rowDataValue(1, 1), (Numbers{-1.0, 7.0}));
        bool isNumber = true;
        QCOMPARE(reader.dataValue(1, 0, &isNumber), 0.0);
        QVERIFY(!isNumber);
        QVERIFY(reader.hasHeader()); // "1.5"
        const CSVReader copy(reader);
        QCOMPARE(copy.decimalPoint(), ',');
        QVERIFY(read(reader, "2,5;-0,5"));
        QVERIFY(!reader.hasHeader());
    }

private:
    bool read(CSVReader &reader, const QByteArray &contents, Utils::Progress *progress = nullptr)
    {
        const QString name = QString("file%1.csv").arg(++m_files);
        return reader.read(makeFile(m_folder->filePath(name), contents), progress);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    int m_files = 0;
};

QTEST_GUILESS_MAIN(tst_CSVReader)
#include "tst_CSVReader.moc"
