#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails

#include <QTemporaryDir>
#include <QtTest>

using Utils::CSVColumn;
using Utils::CSVTable;

static QStringList textOf(const CSVColumn &column)
{
    static const char *const types[] = {"empty", "numbers", "texts"};
    return {
        column.label, column.unit, column.object, types[column.type],
        QString("%1 %2 %3").arg(column.numCells).arg(column.numHoles).arg(column.numNonNumbers)};
}

static Rows textsOf(const CSVTable &table)
{
    Rows texts;
    for (const CSVColumn &column : table.columns())
        texts.append(textOf(column));
    return texts;
}

class tst_CSVTable_columns : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

private Q_SLOTS:
    void countsTheCellsOfEachColumn()
    {
        const QString path = m_folder.filePath("table.csv");
        QVERIFY(!makeFile(path, "Time,Force,Remark,\n"
                                "s,[kN],,\n"
                                "bench,J1,,\n"
                                "0.5,12,ok,\n"
                                "1.0,,2,\n"
                                "1.5,ERR\n"
                                "x,4,late,,7\n"
                                "2.5,5,,\n")
                     .isEmpty());

        for (const auto quoting : {CSVTable::Classic, CSVTable::Rfc4180}) {
            for (const int limit : {0, 1, limitOfNoBytes}) {
                CSVTable table;
                table.setQuoting(quoting);
                QVERIFY(table.read(path, limit));
                table.setHeaderRows(3);
                QCOMPARE(table.headerRows(), 3);
                QCOMPARE(textsOf(table), (Rows{{"Time", "s", "bench", "numbers", "5 0 1"},
                                               {"Force", "kN", "J1", "numbers", "5 1 1"},
                                               {"Remark", "", "", "texts", "5 2 2"},
                                               {"", "", "", "empty", "5 5 0"},
                                               {"", "", "", "numbers", "5 4 0"}}));
                QCOMPARE(table.data(0, 0), Data::String("Time")); // rows keep their numbers
            }
        }
    }

    void takesTheUnitFromTheLabelOrTheUnitRow_data()
    {
        QTest::addColumn<QString>("labelCell");
        QTest::addColumn<QString>("unitCell");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("unit");

        // clang-format off
        QTest::newRow("braces") << "Force{kN}" << "" << "Force" << "kN";
        QTest::newRow("brackets") << " Force [ kN ] " << "" << "Force" << "kN";
        QTest::newRow("parentheses are part of the label") << "Load (max)" << "" << "Load (max)" << "";
        QTest::newRow("braces within the label") << "a{b}c" << "" << "a{b}c" << "";
        QTest::newRow("unit row") << "Force" << "kN" << "Force" << "kN";
        QTest::newRow("unit row in brackets") << "Force" << "[kN]" << "Force" << "kN";
        QTest::newRow("unit row in braces") << "Force" << "{kN}" << "Force" << "kN";
        QTest::newRow("unit row in parentheses") << "Force" << "(kN)" << "Force" << "kN";
        QTest::newRow("other brackets") << "Force" << "[kN)" << "Force" << "[kN)";
        QTest::newRow("one bracket") << "Force" << "[" << "Force" << "[";
        QTest::newRow("a closing bracket") << "Force" << ")(" << "Force" << ")(";
        QTest::newRow("both") << "Force{kN}" << "N" << "Force" << "N";
        QTest::newRow("empty braces") << "Force{}" << "" << "Force" << "";
        // clang-format on
    }

    void takesTheUnitFromTheLabelOrTheUnitRow()
    {
        QFETCH(QString, labelCell);
        QFETCH(QString, unitCell);
        QFETCH(QString, label);
        QFETCH(QString, unit);
        CSVTable table;
        table.appendData(QStringList(labelCell)).appendData(QStringList(unitCell));
        table.setHeaderRows(2);

        const QList<CSVColumn> columns = table.columns();

        QCOMPARE(columns.size(), 1);
        QCOMPARE(columns.first().label, Data::String(label));
        QCOMPARE(columns.first().unit, Data::String(unit));
        QCOMPARE(columns.first().numCells, 0);
    }

    void countsALongRowAmongShortOnesInATimeThatGrowsWithTheCells()
    {
        const int numFields = 100000;
        const int numRows = 100000;
        CSVTable table;
        table.setData(QByteArray("1,").repeated(numFields) + '\n' +
                      QByteArray("2\n").repeated(numRows));

        const QList<CSVColumn> columns = table.columns(); // ten thousand million steps otherwise

        QCOMPARE(columns.size(), numFields + 1);
        QCOMPARE(columns.first().numHoles, 0);
        QCOMPARE(columns.at(1).numHoles, numRows);
        QCOMPARE(columns.last().numHoles, numRows + 1);
    }

    void countsAllRowsWithoutHeaderRows()
    {
        CSVTable table;
        QVERIFY(table.columns().isEmpty());
        QVERIFY(table.setData("1,a\n2,3\n4\n"));

        QCOMPARE(table.headerRows(), 0);
        QCOMPARE(textsOf(table),
                 (Rows{{"", "", "", "numbers", "3 0 0"}, {"", "", "", "texts", "3 1 1"}}));
        table.setHeaderRows(-1);
        QCOMPARE(table.headerRows(), 0);
    }

    void hasNoCellsWhenAllRowsAreHeaders()
    {
        CSVTable table;
        QVERIFY(table.setData("a,b"));
        table.setHeaderRows(5);

        QCOMPARE(textsOf(table),
                 (Rows{{"a", "", "", "empty", "0 0 0"}, {"b", "", "", "empty", "0 0 0"}}));
    }

    void countsNumbersWithADecimalComma()
    {
        CSVTable table(";");
        QVERIFY(table.setData("1,5;1.5\n"));
        table.setDecimalPoint(',');

        QCOMPARE(textsOf(table),
                 (Rows{{"", "", "", "numbers", "1 0 0"}, {"", "", "", "texts", "1 0 1"}}));
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_columns)
#include "tst_CSVTable_columns.moc"
