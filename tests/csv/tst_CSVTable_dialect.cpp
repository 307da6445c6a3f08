#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

using Utils::CSVColumn;
using Utils::CSVDialect;
using Utils::CSVTable;
using Utils::File;

Q_DECLARE_METATYPE(CSVDialect)

class tst_CSVTable_dialect : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsByADetectedDialect_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("first"); // the first data row
        QTest::addColumn<double>("number");     // its last cell
        QTest::addColumn<QStringList>("last");

        const QStringList label{"a", "b"};
        const auto table = [](const QByteArray &head, const QByteArray &row) {
            return head + row.repeated(30);
        };
        // clang-format off
        QTest::newRow("decimal commas") << table("a;b\n", "1,5;2,25\n") << QStringList{"1,5", "2,25"} << 2.25 << label;
        QTest::newRow("windows-1252") << table("a;b\n", "\xb0" "C;-2\n") << QStringList{QString::fromUtf8("\u00b0C"), "-2"} << -2.0 << label;
        QTest::newRow("quotes") << table("a,b\n", "\"x,\n\"\"y\"\"\",3.5\n") << QStringList{"x,\n\"y\"", "3.5"} << 3.5 << label;
        QTest::newRow("bars") << table("a|b\n", "x|4\n") << QStringList{"x", "4"} << 4.0 << label;
        QTest::newRow("blanks") << table("a  b\n", "1  2.5\n") << QStringList{"1", "2.5"} << 2.5 << label;
        QTest::newRow("comments") << table("% x;y\na\tb\n", "1,25\t5,5\n") << QStringList{"1,25", "5,5"} << 5.5 << label;
        QTest::newRow("UTF-16") << QByteArray::fromRawData("\xff\xfe" "a\0;\0b\0\n\0" "1\0;\0" "2\0\n\0" "3\0;\0" "4\0\n\0", 26)
            << QStringList{"1", "2"} << 2.0 << label;
        QTest::newRow("carriage returns") << table("a;b\r", "1,5;2,25\r") << QStringList{"1,5", "2,25"} << 2.25 << label;
        QTest::newRow("carriage returns in UTF-16") << QByteArray::fromRawData("\xff\xfe" "a\0;\0b\0\r\0" "1\0;\0" "2\0\r\0" "3\0;\0" "4\0\r\0", 26)
            << QStringList{"1", "2"} << 2.0 << label;
        QTest::newRow("one column") << table("a\n", "12,75\n") << QStringList{"12,75"} << 12.75 << QStringList("a");
        // clang-format on
    }

    void readsByADetectedDialect()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, first);
        QFETCH(double, number);
        QFETCH(QStringList, last);
        const QString path = makeFile(m_folder.filePath("table.csv"), bytes);
        for (const int limit : {0, 1, limitOfNoBytes}) {
            CSVTable table(".");
            table.addDelimiter("b", /*alternate=*/true);
            table.setComment("a", '!');

            QVERIFY(table.setDialect(CSVDialect::detect(path)));
            QVERIFY2(table.read(path, limit), qPrintable(File::lastError()));

            QCOMPARE(table.data(1), first);
            QCOMPARE(table.dataValue(1, first.size() - 1), number);
            QCOMPARE(table.data(0), last);
            QCOMPARE(table.headerRows(), 1);
            QCOMPARE(table.columns().first().label, Data::String("a"));
        }
    }

    void readsBytesAndTextsByADetectedDialect()
    {
        const QByteArray bytes = "# x\ra|b\r" + QByteArray("1|2\r").repeated(30);
        const CSVDialect dialect = CSVDialect::detectBytes(bytes);
        QVERIFY(dialect.hasCarriageReturns());
        for (const bool isText : {false, true}) {
            CSVTable table;
            QVERIFY(table.setDialect(dialect));

            QVERIFY(isText ? table.setData(Data::String(QString::fromUtf8(bytes)))
                           : table.setData(bytes));

            QCOMPARE(table.data(0), (QStringList{"a", "b"}));
            QCOMPARE(table.data(30), (QStringList{"1", "2"}));
        }
    }

    void keepsCarriageReturnsOfATextWithLineFeeds()
    {
        CSVDialect dialect;
        dialect.setCarriageReturns(true);
        dialect.setDelimiter(";");
        CSVTable table;
        QVERIFY(table.setDialect(dialect));

        QVERIFY(table.setData("a;b\r\n1;x\ry\r\n"));

        QCOMPARE(table.numRows(), 3);
        QCOMPARE(table.data(1), (QStringList{"1", "x\ry"}));
        CSVTable classic(";");
        QVERIFY(classic.setData("a\rb"));
        QCOMPARE(classic.numRows(), 1);
    }

    void hasCommentsAsDataAgainWhenTheyAreSetLater()
    {
        CSVDialect dialect;
        dialect.setComment("#");
        const QString path = makeFile(m_folder.filePath("table.csv"), "#1\na,b\n");
        for (const int limit : {1, limitOfNoBytes}) {
            CSVTable table;
            QVERIFY(table.setDialect(dialect));
            QVERIFY(table.read(path, limit));
            QVERIFY(!table.isDemandRead());
            QCOMPARE(table.data(0), (QStringList{"a", "b"}));

            table.setComment("#");
            QVERIFY(table.read(path, limit));

            QCOMPARE(table.isDemandRead(), limit > 1);
            QCOMPARE(table.data(0), QStringList("#1"));
        }
    }

    void writesWhatItsDialectReads_data()
    {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("written");

        QTest::newRow("bars") << "|" << QByteArray("a|b.\n1 | 2") << QByteArray("a|b.\n1|2\n");
        QTest::newRow("points") << "." << QByteArray("a.b\n1,5.2") << QByteArray("a.b\n1,5.2\n");
        QTest::newRow("two characters")
            << "||" << QByteArray("a||b|\n1||2") << QByteArray("a||b|\n1||2\n");
        QTest::newRow("blanks") << "\\s+" << QByteArray("a   b\n1\t2") << QByteArray("a b\n1 2\n");
        QTest::newRow("a blank at the start")
            << "\\s+" << QByteArray(" a  b\n  1  2") << QByteArray(" a b\n 1 2\n");
        QTest::newRow("one column")
            << "" << QByteArray("a, b\n12,75") << QByteArray("a, b\n12,75\n");
        QTest::newRow("commas") << "," << QByteArray("a, b\n12,75") << QByteArray("a,b\n12,75\n");
        QTest::newRow("a backslash")
            << "\\" << QByteArray("a\\b\n1\\2") << QByteArray("a\\b\n1\\2\n");
    }

    void writesWhatItsDialectReads()
    {
        QFETCH(QString, delimiter);
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, written);
        CSVDialect dialect;
        dialect.setDelimiter(delimiter);
        CSVTable table;
        QVERIFY(table.setDialect(dialect));
        QVERIFY(table.setData(Data::String(QString::fromUtf8(bytes))));
        const QString path = m_folder.filePath("written.csv");

        QVERIFY(table.write(path));

        QCOMPARE(File::readRaw(path), written);
        QCOMPARE(QByteArray(table.stringData().toUtf8() + '\n'), written);
        CSVTable again;
        QVERIFY(again.setDialect(dialect));
        QVERIFY(again.setData(Data::String(QString::fromUtf8(written.chopped(1)))));
        QCOMPARE(rowsOf(again), rowsOf(table));
    }

    void escapesTheDelimiterOfItsDialect()
    {
        CSVDialect dialect;
        dialect.setDelimiter("|");
        CSVTable table;
        QVERIFY(table.setDialect(dialect));
        QVERIFY(table.setData("a^|b|c"));

        QCOMPARE(table.escapedData(0, '^'), (QStringList{"a|b", "c"}));
    }

    void usesTheRowsOfLabelsAndUnits_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QVector<int>>("rows"); // of labels and units, and the first of the data
        QTest::addColumn<QString>("unit");

        // clang-format off
        QTest::newRow("labels and units") << QByteArray("Kraft;Weg\nkN;mm\n1;2") << QVector<int>{0, 1, 2} << "mm";
        QTest::newRow("a line below the labels") << QByteArray("Kraft;Weg\n-----;---\n1;2") << QVector<int>{0, -1, 2} << "";
        QTest::newRow("sensors between them") << QByteArray("Kraft;Weg\nS1;S2\nkN;mm\n1;2") << QVector<int>{0, 2, 3} << "mm";
        QTest::newRow("a preamble") << QByteArray("Pruefstand 3\nKraft;Weg\nkN;mm\n1;2") << QVector<int>{1, 2, 3} << "mm";
        // clang-format on
    }

    void usesTheRowsOfLabelsAndUnits()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QVector<int>, rows);
        QFETCH(QString, unit);
        CSVDialect dialect;
        dialect.setDelimiter(";");
        dialect.setHeader(rows.at(0), rows.at(1), rows.at(2));
        CSVTable table;
        QVERIFY(table.setDialect(dialect));

        QVERIFY(table.setData(Data::String(QString::fromUtf8(bytes))));

        QCOMPARE(table.headerRows(), rows.at(2));
        QCOMPARE(table.columns().at(1).label, Data::String("Weg"));
        QCOMPARE(table.columns().at(1).unit, Data::String(unit));
        QCOMPARE(table.columns().at(1).object, Data::String());
        QCOMPARE(table.columns().at(1).numCells, 1);
    }

    void readsWhatTheSampleLacks()
    {
        QByteArray bytes = QByteArray("a;b\n") + QByteArray("1;2\n").repeated(150000);
        bytes.replace(200004, 4, "\xb0;2\n"); // between the parts that are examined
        const QString path = makeFile(m_folder.filePath("large.csv"), bytes);
        CSVTable table;
        const CSVDialect dialect = CSVDialect::detect(path);
        QCOMPARE(dialect.encoding(), Data::String("UTF-8"));

        QVERIFY(table.setDialect(dialect));
        QVERIFY2(table.read(path), qPrintable(File::lastError()));

        QCOMPARE(table.data(50001, 0), Data::String(QChar(0xb0)));
    }

    void keepsItsOwnDialectWhenTheOtherOneIsWrong()
    {
        CSVDialect unknown;
        unknown.setDelimiter(";");
        unknown.setEncoding("no such encoding");
        CSVTable table;
        table.setComment("#");
        table.setEncoding("windows-1252");
        table.setDecimalPoint(',');

        QVERIFY(!table.setDialect(unknown));
        QVERIFY(!File::lastError().isEmpty());
        QVERIFY(!table.setDialect(CSVDialect::detect(m_folder.filePath("missing"))));
        QVERIFY(File::lastError().endsWith(".err.nofile")); // no texts are loaded

        QCOMPARE(table.comment(), Data::String("#"));
        QCOMPARE(table.encoding(), Data::String("windows-1252"));
        QCOMPARE(table.decimalPoint(), ',');
        QVERIFY(table.setData("1,2"));
        QCOMPARE(table.numColumns(0), 2);
    }

    void tellsWhyAFileDoesNotFitTheDialect_data()
    {
        QTest::addColumn<CSVDialect>("dialect");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");

        CSVDialect dialect;
        dialect.setEncoding("UTF-8");
        QTest::newRow("encoding") << dialect << QByteArray("T,\xb0\n1,2\n") << ".err.decode";
        dialect.setQuotes(CSVDialect::Rfc4180Quotes);
        QTest::newRow("quotes") << dialect << QByteArray("a,\"b\n1,2\n") << ".err.csvquote";
        dialect.setDelimiter("||");
        QTest::newRow("quotes and a long delimiter")
            << dialect << QByteArray("a||b\n") << ".err.csvdelimiter";
        dialect.setDelimiter("\\s+");
        QTest::newRow("quotes and blanks") << dialect << QByteArray("a b\n") << ".err.csvdelimiter";
        dialect = CSVDialect();
        dialect.setComment("a");
        QTest::newRow("comments only") << dialect << QByteArray("a b\na") << ".err.norows";
    }

    void tellsWhyAFileDoesNotFitTheDialect()
    {
        QFETCH(CSVDialect, dialect);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        const QString path = makeFile(m_folder.filePath("table.csv"), bytes);
        for (const int limit : {0, 1, limitOfNoBytes}) {
            CSVTable table;
            QVERIFY(table.setDialect(dialect));
            const bool isInFile = reason == ".err.decode" && limit == limitOfNoBytes;

            QCOMPARE(table.read(path, limit), isInFile); // bytes become U+FFFD there

            QVERIFY2(isInFile || File::lastError().endsWith(reason),
                     qPrintable(File::lastError())); // no texts are loaded
        }
    }

    void readsWhatDoesNotFitTheDialect()
    {
        CSVDialect dialect;
        dialect.setDelimiter(";");
        dialect.setQuotes(CSVDialect::Rfc4180Quotes);
        dialect.setHeader(0, 1, 9);
        CSVTable table;
        QVERIFY(table.setDialect(dialect));

        QVERIFY(table.setData("1,2"));

        QCOMPARE(table.data(0), QStringList("1,2"));
        QVERIFY(table.columns().size() <= 1);
    }

private:
    const QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_CSVTable_dialect)
#include "tst_CSVTable_dialect.moc"
