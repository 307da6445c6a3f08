#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <random>

using Utils::CSVRow;
using Utils::CSVTable;
using Utils::File;

using Numbers = QList<double>;

/// Ways to store a table.
struct Way
{
    const char *name;
    int sizeLimit;
    CSVTable::Quoting quoting;
};

static const Way ways[] = {
    {"text", 0, CSVTable::Classic},
    {"bytes", 1, CSVTable::Classic},
    {"in the file", limitOfNoBytes, CSVTable::Classic},
    {"quoted text", 0, CSVTable::Rfc4180},
    {"quoted bytes", 1, CSVTable::Rfc4180},
    {"quoted, in the file", limitOfNoBytes, CSVTable::Rfc4180},
};

static Numbers visitedNumbers(const CSVTable &table, int row)
{
    Numbers numbers;
    table.visit(row, row, [&](const CSVRow &cells) {
        for (const Utils::CSVCell &cell : cells)
            numbers.append(cell.number());
        return true;
    });
    return numbers;
}

class tst_CSVTable_numbers : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString path() const { return m_folder.filePath("table.csv"); }

private Q_SLOTS:
    void readsDecimalCommas_data()
    {
        QTest::addColumn<QByteArray>("cell");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("isNumber");

        QTest::newRow("comma") << QByteArray("2,5") << 2.5 << true;
        QTest::newRow("negative") << QByteArray("-0,125") << -0.125 << true;
        QTest::newRow("plus") << QByteArray("+1,5") << 1.5 << true;
        QTest::newRow("exponent") << QByteArray("1,5e-3") << 0.0015 << true;
        QTest::newRow("no digit before") << QByteArray(",5") << 0.5 << true;
        QTest::newRow("no digit after") << QByteArray("5,") << 5.0 << true;
        QTest::newRow("whole") << QByteArray("1500") << 1500.0 << true;
        QTest::newRow("many digits")
            << QByteArray("0,1234567890123456789") << 0.1234567890123456789 << true;
        QTest::newRow("very many digits") << "0," + QByteArray(80, '3') << 1.0 / 3.0 << true;
        QTest::newRow("infinite") << QByteArray("inf") << double(INFINITY) << true;
        QTest::newRow("point") << QByteArray("2.5") << 0.0 << false;
        QTest::newRow("point as separator") << QByteArray("1.500") << 0.0 << false;
        QTest::newRow("points and comma") << QByteArray("1.234.567,5") << 0.0 << false;
        QTest::newRow("comma and point") << QByteArray("1,234.5") << 0.0 << false;
        QTest::newRow("two commas") << QByteArray("1,234,567") << 0.0 << false;
        QTest::newRow("blank as separator") << QByteArray("1 500,5") << 0.0 << false;
        QTest::newRow("apostrophe as separator") << QByteArray("1'500,5") << 0.0 << false;
        QTest::newRow("only a comma") << QByteArray(",") << 0.0 << false;
        QTest::newRow("word") << QByteArray("word") << 0.0 << false;
        QTest::newRow("outside ASCII") << QByteArray("1,5\xc2\xb0") << 0.0 << false;
    }

    void readsDecimalCommas()
    {
        QFETCH(QByteArray, cell);
        QFETCH(double, value);
        QFETCH(bool, isNumber);
        QVERIFY(!makeFile(path(), "k; " + cell + " ;x\nk;" + cell + "\n").isEmpty());

        for (const Way &way : ways) {
            CSVTable table(";");
            table.setQuoting(way.quoting);
            table.setDecimalPoint(',');
            QVERIFY(table.read(path(), way.sizeLimit));

            for (int row = 0; row < 2; ++row) {
                bool ok = !isNumber;
                QVERIFY2(table.dataValue(row, 1, &ok) == value, way.name);
                QVERIFY2(ok == isNumber, way.name);
                QCOMPARE(table.dataValue(row).at(1), value);
                QCOMPARE(visitedNumbers(table, row).at(1), value);
            }
            QCOMPARE(table.colDataValue(1), (Numbers{value, value}));
            QCOMPARE(table.colDataValues({1, 0}).first(), (Numbers{value, value}));
            QCOMPARE(table.rowDataValue(1, 1), Numbers{value});
            bool ok = !isNumber;
            QCOMPARE(table.dataValue("k", 0, 0, nullptr, true, &ok), value);
            QCOMPARE(ok, isNumber);
            QCOMPARE(table.dataValue(1, table.data(0, 1), &ok), value); // by its label
        }
    }

    void setsTheDecimalPointAlsoOfRowsThatWereRead()
    {
        QVERIFY(!makeFile(path(), "1,5;2.5\n").isEmpty());

        for (const Way &way : ways) {
            CSVTable table(";");
            table.setQuoting(way.quoting);
            QVERIFY(table.read(path(), way.sizeLimit));
            QCOMPARE(table.decimalPoint(), '.');
            QCOMPARE(table.dataValue(0), (Numbers{0.0, 2.5}));

            table.setDecimalPoint(',');
            QCOMPARE(table.decimalPoint(), ',');
            QCOMPARE(table.dataValue(0), (Numbers{1.5, 0.0}));
            for (const char other : {';', '\0', '\'', '0'})
                table.setDecimalPoint(other); // which is ignored
            QCOMPARE(table.dataValue(0), (Numbers{1.5, 0.0}));

            table.setDecimalPoint('.');
            QCOMPARE(table.dataValue(0), (Numbers{0.0, 2.5}));
        }
    }

    void keepsHolesWithDecimalCommas()
    {
        QVERIFY(!makeFile(path(), "a;;1,5\nb\n").isEmpty());

        for (const Way &way : ways) {
            CSVTable table(";");
            table.setQuoting(way.quoting);
            table.setDecimalPoint(',');
            table.setHoleValue(-1.0);
            QVERIFY(table.read(path(), way.sizeLimit));

            QCOMPARE(table.dataValue(0), (Numbers{0.0, -1.0, 1.5}));
            QCOMPARE(table.colDataValue(1), (Numbers{-1.0, -1.0}));
            QCOMPARE(visitedNumbers(table, 0), (Numbers{0.0, -1.0, 1.5}));
        }
        CSVTable().setHoleValue(0.0); // that of all tables
    }

    void readsAnnotationsWithDecimalCommas()
    {
        CSVTable table(";");
        table.setDecimalPoint(',');
        QVERIFY(table.setData("1,5{mm};2.5{mm};1,5{0.5};{mm}"));

        QCOMPARE(table.dataValue(0), (Numbers{1.5, 0.0, 1.5, 0.0}));
        QCOMPARE(visitedNumbers(table, 0), (Numbers{1.5, 0.0, 1.5, 0.0}));
        QCOMPARE(table.dataValue(0, 2, "{"), (Numbers{1.5, 0.0}));
        Data::String unit;
        double value = 0.0;
        table.dataValue(0, 0, unit, value);
        QCOMPARE(value, 1.5);
        QCOMPARE(unit, Data::String("mm"));
    }

    void writesDecimalCommas()
    {
        CSVTable table(";");
        table.setDecimalPoint(',');
        table.setHoleValue(-1.0);
        table.appendData(Numbers{1.5, 7.0, -1.0, 1e-20}).appendData(QVector<double>{0.25}, 'f', 1);
        table.setData(1, 1, 2.5, 'f', 3).setData_g(1, 2, -0.5);
        table.setHoleValue(0.0);

        QCOMPARE(table.stringData(), Data::String("1,5;7;;1e-20\n0,3;2,500;-0,5"));
        QCOMPARE(table.dataValue(1), (Numbers{0.3, 2.5, -0.5}));
    }

    void quotesDecimalCommasBetweenCommas()
    {
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        table.setDecimalPoint(',');
        table.appendData(Numbers{1.5, 2.0});

        QCOMPARE(table.stringData(), Data::String("\"1,5\",2"));
        table.clear();
        QVERIFY(table.setData("\"1,5\",2"));
        QCOMPARE(table.dataValue(0), (Numbers{1.5, 2.0}));
    }

    void quotesDecimalCommasBetweenCommasInAFile_data()
    {
        QTest::addColumn<bool>("escapes");
        QTest::newRow("plain") << false;
        QTest::newRow("escaped formulas") << true;
    }

    void quotesDecimalCommasBetweenCommasInAFile()
    {
        QFETCH(bool, escapes);
        CSVTable table;
        table.setDecimalPoint(',');
        table.setEscapeFormulas(escapes);
        table.appendData(Numbers{1.5, 2.0}).setData(1, 0, -0.25);
        const QString path = m_folder.filePath("commas.csv");

        QVERIFY(table.write(path));

        QCOMPARE(File::readRaw(path), QByteArray("\"1,5\",2\n\"-0,25\"\n"));
        CSVTable again;
        again.setDecimalPoint(',');
        QVERIFY(again.read(path, 0, /*quoted=*/true));
        QCOMPARE(again.dataValue(0), (Numbers{1.5, 2.0}));
        QCOMPARE(again.dataValue(1), Numbers{-0.25});
        table.setDecimalPoint('.');
        table.setEscapeFormulas(false);
        QVERIFY(table.write(path));
        QCOMPARE(File::readRaw(path), QByteArray("1,5,2\n-0,25\n"));
    }

    void quotesNoLineThatIsNotSplit()
    {
        CSVTable table;
        table.setDecimalPoint(',');
        table.setDemandParse(true);
        QVERIFY(table.setData("1,5\n2,5"));
        const QString path = m_folder.filePath("lines.csv");

        QVERIFY(table.write(path));

        QCOMPARE(File::readRaw(path), QByteArray("1,5\n2,5\n"));
    }

    void sortsAndFindsHeadersByDecimalCommas()
    {
        CSVTable table(";");
        table.setDecimalPoint(',');
        QVERIFY(table.setData("10,5\n9,5\n1"));
        QVERIFY(!table.hasHeader());

        table.sort(0);
        QCOMPARE(table.colData(0), (QStringList{"1", "9,5", "10,5"}));

        CSVTable points(";");
        points.setDecimalPoint(',');
        QVERIFY(points.setData("1.5;2,5"));
        QVERIFY(points.hasHeader());
    }

    void readsTheSameNumbersWithCommasAsWithPoints()
    {
        static const char characters[] = "0123456789,,--+e ";
        std::mt19937 random(44);
        for (int i = 0; i < 20000; ++i) {
            QByteArray text;
            const unsigned size = random() % 24;
            for (unsigned k = 0; k < size; ++k)
                text += characters[random() % (sizeof characters - 1)];
            QByteArray pointed = text;
            pointed.replace(',', '.');

            CSVTable commas(";");
            commas.setDecimalPoint(',');
            CSVTable points(";");
            QVERIFY(commas.setData(QString(text + ";x")) &&
                    points.setData(QString(pointed + ";x")));
            bool isNumber = false;
            bool isNumberToo = false;
            QCOMPARE(commas.dataValue(0, 0, &isNumber), points.dataValue(0, 0, &isNumberToo));
            QCOMPARE(isNumber, isNumberToo);
            QCOMPARE(visitedNumbers(commas, 0), visitedNumbers(points, 0));
        }
    }

    void escapesFormulas()
    {
        const QStringList fields{"=1+1", "+A1", "-A1", "@SUM", "-1.5",     "+2", "-1e3",
                                 "a=b",  "",    "-",   "-1,5", "-1.5{mm}", " =1"};
        CSVTable table(";");
        table.appendData(fields);
        QVERIFY(!table.escapeFormulas());
        QCOMPARE(table.stringData(), Data::String(fields.join(";")));

        table.setEscapeFormulas(true);
        QVERIFY(table.escapeFormulas());
        const Data::String escaped =
            "'=1+1;'+A1;'-A1;'@SUM;-1.5;+2;-1e3;a=b;;'-;'-1,5;'-1.5{mm}; =1";
        QCOMPARE(table.stringData(), escaped);
        QCOMPARE(table.stringData(0), escaped);
        QCOMPARE(table.lineData(), QStringList(escaped));
        QVERIFY(table.write(path()));
        QCOMPARE(File::read(path()), escaped + "\n");
        QCOMPARE(table.data(0), fields); // which do not change

        table.setQuoting(CSVTable::Rfc4180);
        QCOMPARE(table.stringData(), escaped);
        QVERIFY(table.write(path()));
        QCOMPARE(File::read(path()), escaped + "\n");
        table.setDecimalPoint(',');
        QVERIFY(table.stringData().endsWith(Data::String("'-;-1,5;'-1.5{mm}; =1")));
    }

    void escapesFormulasOfEachStorage()
    {
        const QByteArray bytes = "=a,\"=b\nc\",\"\"\"=d\"\n";
        QVERIFY(!makeFile(path(), bytes).isEmpty());

        for (const Way &way : ways) {
            if (way.quoting == CSVTable::Classic)
                continue;
            CSVTable table;
            table.setQuoting(way.quoting);
            table.setEscapeFormulas(true);
            QVERIFY(table.read(path(), way.sizeLimit));
            QCOMPARE(table.stringData(), Data::String("'=a,\"'=b\nc\",\"\"\"=d\""));
            QVERIFY(table.write(m_folder.filePath("written.csv")));
            QCOMPARE(File::read(m_folder.filePath("written.csv")), table.stringData() + "\n");
        }
    }

    void escapesFormulasInRowsThatAreNotSplit()
    {
        CSVTable table;
        table.setDemandParse(true);
        QVERIFY(table.setData("a,=b\n=c"));
        table.setEscapeFormulas(true);

        QCOMPARE(table.stringData(0), Data::String("a,'=b"));
        QVERIFY(table.write(path()));
        QCOMPARE(File::read(path()), Data::String("a,'=b\n'=c\n"));
        QCOMPARE(table.stringData(2), Data::String());
    }

    void doesNotEscapeFormulasInFieldsThatAreRead()
    {
        CSVTable table;
        table.setEscapeFormulas(true);
        table.appendData(QStringList{"=a\\", "b"});

        QCOMPARE(table.escapedData(0, '\\'), QStringList("=a,b"));
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_numbers)
#include "tst_CSVTable_numbers.moc"
