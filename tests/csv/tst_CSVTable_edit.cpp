#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using Utils::CSVTable;

using Numbers = QList<double>;

static const int intMin = std::numeric_limits<int>::min();
static const int intMax = std::numeric_limits<int>::max();

class tst_CSVTable_edit : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString file(const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath("table.csv"), contents);
    }

    /// The cell that a number becomes in a table with the hole number \p hole.
    static QString written(double value, char format, int precision, double hole)
    {
        CSVTable table;
        table.setHoleValue(hole);
        table.setData(0, 0, value, format, precision);
        return table.data(0, 0);
    }

private Q_SLOTS:
    void cleanup() { CSVTable().setHoleValue(0.0); }

    // Cells

    void setsACell()
    {
        CSVTable table;
        table.setData("a,b");

        table.setData(0, 1, "x").setData(2, 1, " y ");

        QCOMPARE(rowsOf(table), Rows({{"a", "x"}, {}, {"", " y "}}));
    }

    void setsACellOfBytes()
    {
        CSVTable table;
        table.setData(QByteArray("a,b"));

        table.setData(0, 1, "x").setData(1, 1, QString(QChar(0xe9)));

        QCOMPARE(rowsOf(table), Rows({{"a", "x"}, {"", QString(QChar(0xe9))}}));
    }

    void makesTheRowsAndFieldsThatAreMissing()
    {
        CSVTable table;

        table.setData(3, 2, "x");

        QCOMPARE(table.numRows(), 4);
        QCOMPARE(table.data(3), QStringList({"", "", "x"}));
        QCOMPARE(table.data(0), QStringList());
        QVERIFY(table.isValid());
    }

    void ignoresACellThatCannotBe()
    {
        CSVTable table;
        table.setData("a");

        table.setData(-1, 0, "x").setData(0, -1, "x").setData(intMin, intMin, "x");
        table.setData(intMax, 0, "x").setData(0, intMax, "x").setData(-1, 0, 5.0);

        QCOMPARE(rowsOf(table), Rows({{"a"}}));

        CSVTable inFile;
        inFile.read(file("a"), limitOfNoBytes);
        inFile.setData(-1, 0, "x").setData(0, intMin, "x");
        QVERIFY(inFile.isDemandRead()); // it is still there
        QCOMPARE(rowsOf(inFile), Rows({{"a"}}));
    }

    void startsAnewWhenACellOfAFileIsSet()
    {
        CSVTable table;
        table.read(file("a,b\nc,d"), limitOfNoBytes);
        QVERIFY(table.isDemandRead());

        table.setData(0, 0, "x");

        QVERIFY(!table.isDemandRead());
        QCOMPARE(rowsOf(table), Rows({{"x"}}));
    }

    void findsAppendedRowsWhenACellOfAFileIsSet()
    {
        CSVTable table;
        table.read(file("a,b\nc,d"), limitOfNoBytes);
        table.appendData(Data::String("e,f"));
        QCOMPARE(table.numRows(), 2);

        table.setData(0, 0, 7.0);

        QCOMPARE(rowsOf(table), Rows({{"7", "f"}}));
    }

    void takesTheLineOfARowThatIsNotSplitForItsFirstField()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a,b\nc,d");
        table.data(1);

        table.setData(0, 1, "x").setData(1, 1, "y");

        QCOMPARE(rowsOf(table), Rows({{"a,b", "x"}, {"c", "y"}}));
    }

    // Numbers

    void writesNumbers_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<char>("format");
        QTest::addColumn<int>("precision");
        QTest::addColumn<QString>("text");

        const double infinity = std::numeric_limits<double>::infinity();
        // clang-format off
        QTest::newRow("a whole number") << 7.0 << 'f' << 3 << "7";
        QTest::newRow("one that is not whole") << 7.5 << 'f' << 3 << "7.500";
        QTest::newRow("rounded") << 0.12345678 << 'g' << 3 << "0.123";
        QTest::newRow("with an exponent") << 1.5 << 'e' << 2 << "1.50e+00";
        QTest::newRow("a tie goes up") << 2.5 << 'f' << 0 << "3";
        QTest::newRow("nought") << 0.0 << 'f' << 2 << "0";
        QTest::newRow("negative nought") << -0.0 << 'f' << 2 << "0";
        QTest::newRow("six digits") << 999999.0 << 'e' << 9 << "999999";
        QTest::newRow("seven digits") << 1234567.0 << 'f' << 1 << "1.23457e+06";
        QTest::newRow("negative, whole") << -1000000.0 << 'f' << 1 << "-1e+06";
        QTest::newRow("the largest of 32 bits") << 2147483647.0 << 'f' << 1 << "2.14748e+09";
        QTest::newRow("the next") << 2147483648.0 << 'f' << 1 << "2147483648.0";
        QTest::newRow("the smallest of 32 bits") << -2147483648.0 << 'f' << 1 << "-2.14748e+09";
        QTest::newRow("the next below") << -2147483649.0 << 'f' << 1 << "-2147483649.0";
        QTest::newRow("between them") << 2147483647.5 << 'f' << 1 << "2147483647.5";
        QTest::newRow("no number") << std::numeric_limits<double>::quiet_NaN() << 'f' << 1 << "nan";
        QTest::newRow("infinite") << infinity << 'f' << 1 << "inf";
        QTest::newRow("infinite below") << -infinity << 'g' << 6 << "-inf";
        QTest::newRow("the no-value number is no hole by itself") << 1e300 << 'g' << 6 << "1e+300";
        // clang-format on
    }

    void writesNumbers()
    {
        QFETCH(double, value);
        QFETCH(char, format);
        QFETCH(int, precision);
        QFETCH(QString, text);

        QLocale::setDefault(QLocale(QLocale::German)); // which must not matter
        CSVTable table;
        table.setData(0, 0, value, format, precision);
        table.appendData(Numbers({value, 0.25}), format, precision);
        table.appendData(QVector<double>({value, 0.25}), format, precision);
        QLocale::setDefault(QLocale::c());

        QCOMPARE(table.data(0, 0), Data::String(text));
        QCOMPARE(table.data(1), QStringList({text, QString::number(0.25, format, precision)}));
        QCOMPARE(table.data(2), table.data(1));
    }

    void writesSixDigitsUnlessItIsTold()
    {
        CSVTable table;
        table.setData(0, 0, 1.23456789).setData_g(0, 1, 1.23456789).setData_g(0, 2, 1e-9);
        table.appendData(Numbers({1.23456789})).appendData(QVector<double>({1.23456789}));

        QCOMPARE(rowsOf(table), Rows({{"1.23457", "1.23457", "1e-09"}, {"1.23457"}, {"1.23457"}}));
    }

    void writesItsHoleNumberAsAnEmptyCell()
    {
        QCOMPARE(written(1e300, 'g', 6, 1e300), QString());
        QCOMPARE(written(1.0000001e300, 'g', 6, 1e300), QString("1e+300"));
        QCOMPARE(written(-1.0, 'f', 2, -1.0), QString());
        QCOMPARE(written(0.0, 'g', 6, 0.0), QString("0")); // a hole number of 0.0 is none
        QCOMPARE(written(5.5, 'g', 6, -1.0), QString("5.5"));

        CSVTable table;
        table.setHoleValue(-1.0);
        table.appendData(Numbers({1, -1, 2.5}));
        table.appendData(QVector<double>({-1}));
        table.setData_g(2, 0, -1.0);
        QCOMPARE(rowsOf(table), Rows({{"1", "", "2.5"}, {""}, {""}}));
    }

    void writesByItsOwnHoleNumberAndReadsByThatOfAll()
    {
        CSVTable table;
        table.setHoleValue(-1.0);
        CSVTable().setHoleValue(-2.0);

        table.setData(0, 0, -1.0).setData(0, 1, -2.0);

        QCOMPARE(table.data(0), QStringList({"", "-2"}));
        QCOMPARE(table.dataValue(0), Numbers({-2, -2}));
    }

    // Rows

    void appendsARow()
    {
        CSVTable table;

        table.appendData(Data::String("a, b"))
            .appendData(QStringList{" c ", "d,e"})
            .appendData(Numbers{1, 2.5})
            .appendData(QVector<double>{3});

        QCOMPARE(rowsOf(table), Rows({{"a", "b"}, {" c ", "d,e"}, {"1", "2.5"}, {"3"}}));
    }

    void appendsWhatIsEmpty()
    {
        CSVTable table;

        table.appendData(Data::String()).appendData(QStringList()).appendData(Numbers());

        QCOMPARE(rowsOf(table), Rows({{""}, {}, {}}));
    }

    void splitsALineThatIsAppended()
    {
        CSVTable table("\\s+");
        table.setComment("#");
        table.setDemandParse(true);

        table.appendData(Data::String("#a  b"));
        QCOMPARE(table.stringData(0), Data::String("#a\\s+b")); // it is split at once
        QCOMPARE(table.data(0), QStringList({"#a", "b"}));

        CSVTable noPattern("(");
        noPattern.appendData(Data::String("a(b"));
        QCOMPARE(noPattern.data(0), QStringList({"a(b"}));
    }

    void hidesAppendedRowsUntilItHoldsTextAgain()
    {
        CSVTable table;
        table.setData(QByteArray("x"));

        table.appendData(Data::String("a,b"));
        QCOMPARE(rowsOf(table), Rows({{"x"}}));
        QCOMPARE(table.data(1), QStringList());

        table.setData("c");
        QCOMPARE(rowsOf(table), Rows({{"a", "b"}, {"c"}}));
    }

    void removesAColumn()
    {
        for (const bool bytes : {false, true}) {
            CSVTable table;
            const QByteArray text = "a,b,c\nd,e\nf";
            bytes ? table.setData(text) : table.setData(QString(text));

            table.removeColumn(1);
            table.removeColumn(-1);
            table.removeColumn(5);
            table.removeColumn(intMin);
            table.removeColumn(intMax);

            QCOMPARE(rowsOf(table), Rows({{"a", "c"}, {"d"}, {"f"}}));
        }
    }

    void removesTheLineOfARowThatIsNotSplit()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a,b\nc,d");
        table.data(1);

        table.removeColumn(1);
        QCOMPARE(table.stringData(), Data::String("a,b\nc"));
        table.removeColumn(0);

        QCOMPARE(rowsOf(table), Rows({{}, {}}));
    }

    void removesNothingFromAFile()
    {
        CSVTable table;
        table.read(file("a\n\n"), limitOfNoBytes);

        table.removeColumn(0);
        QCOMPARE(table.removeEmptyRows(), 0);

        QVERIFY(table.isDemandRead());
        QCOMPARE(rowsOf(table), Rows({{"a"}, {""}, {""}}));
    }

    void removesEmptyRows_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<int>("lastRow");
        QTest::addColumn<int>("removed");
        QTest::addColumn<QString>("left");

        // clang-format off
        QTest::newRow("all") << QByteArray("a\n\n\n") << 0 << -1 << 3 << "a";
        QTest::newRow("between") << QByteArray("a\n\nb\n\nc") << 0 << -1 << 2 << "a b c";
        QTest::newRow("blanks") << QByteArray("a\n \t\n\r\nb") << 0 << -1 << 2 << "a b";
        QTest::newRow("several empty fields stay") << QByteArray("a\n,\n") << 0 << -1 << 1 << "a ,";
        QTest::newRow("from a row on") << QByteArray("\n\na\n\n") << 1 << -1 << 3 << " a";
        QTest::newRow("to a row") << QByteArray("\n\na\n\n") << 0 << 1 << 2 << "a  ";
        QTest::newRow("one") << QByteArray("\n\n\n") << 1 << 1 << 1 << "  ";
        QTest::newRow("to a row after the end") << QByteArray("a\n") << 0 << 99 << 1 << "a";
        QTest::newRow("to a row far after it") << QByteArray("a\n") << 0 << intMax << 1 << "a";
        QTest::newRow("to any negative row") << QByteArray("a\n") << 0 << intMin << 1 << "a";
        QTest::newRow("from before the start on") << QByteArray("\na") << -3 << -1 << 1 << "a";
        QTest::newRow("from far before it on") << QByteArray("\na") << intMin << -1 << 1 << "a";
        QTest::newRow("from after the end on") << QByteArray("a\n") << 2 << -1 << 0 << "a ";
        QTest::newRow("from far after it on") << QByteArray("a\n") << intMax << intMax << 0 << "a ";
        QTest::newRow("a last one before the first") << QByteArray("a\n\n") << 2 << 1 << 0 << "a  ";
        QTest::newRow("nothing is left") << QByteArray("\n\n") << 0 << -1 << 3 << "none";
        // clang-format on
    }

    void removesEmptyRows()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, firstRow);
        QFETCH(int, lastRow);
        QFETCH(int, removed);
        QFETCH(QString, left);

        for (const bool onDemand : {false, true}) {
            for (const bool bytes : {false, true}) {
                CSVTable table;
                table.setDemandParse(onDemand);
                bytes ? table.setData(text) : table.setData(QString(text));

                QCOMPARE(table.removeEmptyRows(firstRow, lastRow), removed);

                QStringList rows;
                for (int row = 0; row < table.numRows(); ++row)
                    rows.append(table.data(row).join(","));
                QCOMPARE(rows.isEmpty() ? "none" : rows.join(" "), left);
            }
        }
    }

    void removesRowsWithoutFields()
    {
        CSVTable table;
        table.setData(2, 0, "x");

        QCOMPARE(table.removeEmptyRows(), 2);

        QCOMPARE(rowsOf(table), Rows({{"x"}}));
        QCOMPARE(CSVTable().removeEmptyRows(), 0);
    }

    void splitsOnlyTheRowsThatItLooksAtForEmptyOnes()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a, b\nc, d\ne, f");

        table.removeEmptyRows(1, 1);

        QCOMPARE(table.stringData(), Data::String("a, b\nc,d\ne, f"));
    }

    void takesARowThatMovesUpForSplit()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a,b\n\nc,d\ne,f");

        QCOMPARE(table.removeEmptyRows(0, 1), 1);

        // The line "c,d" now has the number of the empty row, which was split.
        QCOMPARE(table.data(1), QStringList({"c,d"}));
        QCOMPARE(table.data(2), QStringList({"e", "f"}));
    }

    void splitsARowAgainThatMovesUpToOneThatWasNot()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a,b\n\nc,d\ne,f");
        QCOMPARE(table.data(3), QStringList({"e", "f"}));

        QCOMPARE(table.removeEmptyRows(0, 1), 1);

        QCOMPARE(table.data(2), QStringList({"e"}));
    }

    void losesNoFieldsWhenAllRowsAreSplitBeforeEmptyOnesGo()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("a,b\n\nc,d\ne,f");
        QCOMPARE(table.data(3), QStringList({"e", "f"}));
        QCOMPARE(table.numColumns(), 2);

        QCOMPARE(table.removeEmptyRows(), 1);

        QCOMPARE(rowsOf(table), Rows({{"a", "b"}, {"c", "d"}, {"e", "f"}}));
    }

    // Order

    void sorts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("col");
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<bool>("ascending");
        QTest::addColumn<QString>("order");

        // clang-format off
        QTest::newRow("numbers") << "a,10\nb,9\nc,-1" << 1 << 0 << true << "c b a";
        QTest::newRow("numbers, descending") << "a,10\nb,9\nc,11" << 1 << 0 << false << "c a b";
        QTest::newRow("texts") << "a,y10\nb,y9\nc,x" << 1 << 0 << true << "c a b";
        QTest::newRow("texts, descending") << "a,x\nb,z\nc,y" << 1 << 0 << false << "b c a";
        QTest::newRow("texts by case") << "a,b\nb,B\nc,a" << 1 << 0 << true << "b c a";
        QTest::newRow("below a header") << "h,n\na,2\nb,1" << 1 << 1 << true << "h b a";
        QTest::newRow("a header stays whatever it is") << "h,0\na,x\nb,1" << 1 << 1 << true << "h b a";
        QTest::newRow("equal ones in order") << "a,1\nb,1\nc,0" << 1 << 0 << true << "c a b";
        QTest::newRow("equal ones reversed") << "a,1\nb,1\nc,2" << 1 << 0 << false << "c b a";
        QTest::newRow("equal texts in order") << "a,x\nb,x\nc,w" << 1 << 0 << true << "c a b";
        QTest::newRow("the first cell is a number: texts are 0") << "a,1\nb,x\nc,-1" << 1 << 0 << true << "c b a";
        QTest::newRow("the first cell is empty: by number") << "h,n\na,\nb,y\nc,-1\nd,x" << 1 << 1
            << true << "h c a b d";
        QTest::newRow("the first cell is a text: numbers are texts") << "a,x\nb,10\nc,9" << 1 << 0 << true << "b c a";
        QTest::newRow("the first cell is annotated: by text") << "a,2{m}\nb,10{m}\nc,1{m}" << 1 << 0 << true << "b c a";
        QTest::newRow("later cells may be annotated") << "a,9\nb,10{m}\nc,2{m}" << 1 << 0 << true << "c a b";
        QTest::newRow("infinite and no numbers") << "a,inf\nb,-inf\nc,1" << 1 << 0 << true << "b c a";
        QTest::newRow("rows that are too short") << "a,1\nb\nc,-1" << 1 << 0 << true << "c b a";
        QTest::newRow("empty texts") << "a,b\nb,\nc,a" << 1 << 0 << true << "b c a";
        QTest::newRow("a column that is not there") << "a\nb\nc" << 5 << 0 << true << "a b c";
        QTest::newRow("a column that is not there, descending") << "a\nb\nc" << 5 << 0 << false << "c b a";
        QTest::newRow("a negative first row") << "a,2\nb,1" << 1 << -4 << true << "b a";
        QTest::newRow("the most negative first row") << "a,2\nb,1" << 1 << intMin << true << "b a";
        QTest::newRow("a first row at the end") << "a,2\nb,1" << 1 << 1 << true << "a b";
        QTest::newRow("a first row after the end") << "a,2\nb,1" << 1 << 2 << true << "a b";
        QTest::newRow("a first row far after the end") << "a,2\nb,1" << 1 << intMax << true << "a b";
        // clang-format on
    }

    void sorts()
    {
        QFETCH(QString, text);
        QFETCH(int, col);
        QFETCH(int, firstRow);
        QFETCH(bool, ascending);
        QFETCH(QString, order);

        for (const bool onDemand : {false, true}) {
            CSVTable table;
            table.setDemandParse(onDemand);
            table.setData(text);

            table.sort(col, firstRow, ascending);

            QCOMPARE(table.colData(0).join(" "), order);
            for (int row = 0; row < table.numRows(); ++row)
                QVERIFY(!table.data(row).first().contains(','));
        }
    }

    void sortsByTheHoleNumber()
    {
        CSVTable table;
        table.setHoleValue(5.0);
        table.setData("a,9\nb,\nc,1");

        table.sort(1);

        QCOMPARE(table.colData(0), QStringList({"c", "b", "a"}));
    }

    void sortsAscendingFromTheFirstRowUnlessItIsTold()
    {
        CSVTable table;
        table.setData("2\n3\n1");

        table.sort(0);

        QCOMPARE(table.colData(0), QStringList({"1", "2", "3"}));
    }

    void sortsByANegativeColumnAsByOneThatIsNotThere()
    {
        for (const int col : {-1, intMin}) {
            CSVTable table;
            table.setDemandParse(true);
            table.setData("a, 1\nb, 2");
            table.data(0);

            table.sort(col, 0, /*ascending=*/false);

            QCOMPARE(rowsOf(table), Rows({{"b", "2"}, {"a", "1"}}));
        }
    }

    void sortsTextOnly()
    {
        CSVTable bytes;
        bytes.appendData(Data::String("2")).appendData(Data::String("1"));
        bytes.setData(QByteArray("4\n3"));
        bytes.sort(0);
        QCOMPARE(rowsOf(bytes), Rows({{"4"}, {"3"}}));
        bytes.setData("0");
        QCOMPARE(rowsOf(bytes), Rows({{"2"}, {"1"}, {"0"}}));

        CSVTable inFile;
        inFile.read(file("4\n3"), limitOfNoBytes);
        inFile.sort(0);
        QVERIFY(inFile.isDemandRead());
        QCOMPARE(rowsOf(inFile), Rows({{"4"}, {"3"}}));

        CSVTable empty;
        empty.sort(0);
        QCOMPARE(empty.numRows(), 0);
    }

    void keepsWholeRowsTogetherWhenItSorts()
    {
        CSVTable table;
        table.setData("3,c,x\n1,a\n2,b,y,z");

        table.sort(0);

        QCOMPARE(rowsOf(table), Rows({{"1", "a"}, {"2", "b", "y", "z"}, {"3", "c", "x"}}));
    }

    // Clearing

    void clears()
    {
        const QString path = file("a;b\n1;2");
        CSVTable table(";");
        table.addDelimiter(",");
        table.addDelimiter("x");
        table.addDelimiter("!", /*alternate=*/true);
        table.setComment("#");
        table.setHoleValue(-1.0);
        table.read(path);

        table.clear();

        QVERIFY(!table.isValid());
        QCOMPARE(table.numRows(), 0);
        QCOMPARE(table.path(), Data::String(path));
        QCOMPARE(table.comment(), Data::String("#"));
        table.setData("#\na!b;c\n"); // the first line has no ";": the alternate
        QCOMPARE(rowsOf(table), Rows({{"a", "b;c"}, {""}}));
        QCOMPARE(table.dataValue(1, 0), -1.0);
        QCOMPARE(table.setData(0, 0, -1.0).data(0, 0), Data::String());
        table.clearPath();
        QCOMPARE(table.path(), Data::String());
        QVERIFY(table.isValid());
    }

    void keepsTheFirstDelimiterWhenItIsCleared()
    {
        CSVTable table(";");
        table.addDelimiter(",");
        table.clear();
        table.setData("a;b,c");
        QCOMPARE(table.data(0), QStringList({"a", "b,c"}));

        CSVTable none("");
        none.clear();
        none.setData("ab");
        QCOMPARE(none.data(0), QStringList({"", "a", "b", ""}));

        CSVTable switched;
        switched.addDelimiter(";", true);
        switched.addDelimiter(":", true);
        switched.setData("a;b:c");
        QCOMPARE(switched.data(0), QStringList({"a", "b", "c"}));
        switched.clear();
        switched.setData("a;b:c,d");
        QCOMPARE(switched.data(0), QStringList({"a", "b:c,d"}));
    }

    void keepsModesWhenItIsCleared()
    {
        CSVTable table;
        table.setDemandParse(true);
        table.setData("\"a,b\", c", /*quoted=*/true);

        table.clear();

        table.appendData(Data::String("\"a,b\",c"));
        QCOMPARE(table.data(0), QStringList({"a,b", "c"}));
        table.setData("d, e");
        QCOMPARE(table.stringData(1), Data::String("d, e"));
    }

    void dropsBytesAndFilesWhenItIsCleared()
    {
        CSVTable table;
        table.setData(QByteArray("a"));
        table.clear();
        QCOMPARE(table.numRows(), 0);

        table.appendData(Data::String("hidden"));
        table.read(file("a"), limitOfNoBytes);
        table.clear();
        QCOMPARE(table.numRows(), 0); // the text rows are gone, too
        QVERIFY(!table.isDemandRead());
    }

    void forgetsWhatIsSplitWhenItIsCleared()
    {
        CSVTable table;
        table.setData("a,b");
        table.setDemandParse(true);

        table.clear();
        table.setData("c,d");

        QCOMPARE(table.data(0), QStringList({"c", "d"}));
    }

    void readsAColumnUpToARowThatWasChanged()
    {
        for (const char *last : {"x", ""}) {
            CSVTable table(",");
            table.setData("a\nb");
            table.setData(1, 0, last);

            QCOMPARE(table.colData(0), *last ? QStringList({"a", "x"}) : QStringList({"a"}));
        }
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_edit)
#include "tst_CSVTable_edit.moc"
