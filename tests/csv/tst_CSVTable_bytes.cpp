// Tables from bytes in memory, with each kind of delimiter, quotes, encoding and dialect.

#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "utils/Application.h"
#include "utils/csv/CSVDialect.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

using Utils::CSVColumn;
using Utils::CSVDialect;
using Utils::CSVRow;
using Utils::CSVTable;
using Utils::File;
using Utils::Progress;

using Numbers = QList<double>;

/// The reason of the last failure as its key, as no texts are loaded.
static QString reason() { return QString(File::lastError()).section('.', -1); }

static const QString umlaut = QString::fromUtf8("\u00e4");

class tst_CSVTable_bytes : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;

    QString file(const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath("table.csv"), contents);
    }

private Q_SLOTS:
    void decodesBytesForAnyDelimiter_data()
    {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QByteArray>("bytes"); // in windows-1252

        QTest::newRow("one byte") << ";" << QByteArray("\xe4;b\nc;\xe4\n");
        QTest::newRow("two bytes") << "::" << QByteArray("\xe4::b\nc::\xe4\n");
        QTest::newRow("pattern") << "[;:]" << QByteArray("\xe4;b\nc:\xe4\n");
        QTest::newRow("not ASCII") << QString::fromUtf8("\u00a7")
                                   << QByteArray("\xe4\xa7"
                                                 "b\nc\xa7\xe4\n");
    }

    void decodesBytesForAnyDelimiter()
    {
        QFETCH(QString, delimiter);
        QFETCH(QByteArray, bytes);
        CSVTable table(delimiter);
        QVERIFY(table.setEncoding("windows-1252"));

        QVERIFY(table.setData(bytes));

        QCOMPARE(rowsOf(table), (Rows{{umlaut, "b"}, {"c", umlaut}, {""}}));
        QCOMPARE(table.data(1, 1), Data::String(umlaut));
        QCOMPARE(table.detectedEncoding(), Data::String("windows-1252"));
        QCOMPARE(File::lastError(), Data::String());
    }

    void takesBytesAsLatin1WithoutAnEncoding()
    {
        CSVTable table("::");

        QVERIFY(table.setData(QByteArray("\xe4::b")));

        QCOMPARE(rowsOf(table), (Rows{{umlaut, "b"}}));
        QCOMPARE(table.detectedEncoding(), Data::String());
    }

    void refusesBytesThatAreNotInTheEncoding()
    {
        for (const char *delimiter : {";", "::"}) {
            CSVTable table(delimiter);
            table.setData(Data::String("kept"));
            QVERIFY(table.setEncoding("UTF-8"));

            QVERIFY(!table.setData(QByteArray("\xe4;b")));

            QCOMPARE(reason(), QString("decodeText"));
            QCOMPARE(rowsOf(table), (Rows{{"kept"}}));
            QCOMPARE(table.detectedEncoding(), Data::String());
        }
    }

    void refusesQuotedBytesWithSeveralDelimiters()
    {
        for (const char *encoding : {"", "UTF-8"}) {
            CSVTable table;
            table.addDelimiter(";");
            table.setQuoting(CSVTable::Rfc4180);
            QVERIFY(table.setEncoding(encoding));

            QVERIFY(!table.setData(QByteArray("\"a\",b")));

            QCOMPARE(reason(), QString("csvdelimiter"));
            QVERIFY(!table.isValid());
        }
    }

    void readsWithoutTheCommentsOfItsDialect()
    {
        CSVDialect dialect;
        dialect.setDelimiter(";");
        dialect.setComment("#");
        const QString path = file("#a;b\n1;2");
        CSVTable table;
        QVERIFY(table.setDialect(dialect));

        QVERIFY(table.read(path, limitOfNoBytes));
        QCOMPARE(rowsOf(table), (Rows{{"1", "2"}}));
        QVERIFY(!table.isDemandRead()); // only a table stored as text has no comments

        table.setComment("");
        QVERIFY(table.read(path, limitOfNoBytes));
        QCOMPARE(rowsOf(table), (Rows{{"#a", "b"}, {"1", "2"}}));
        QVERIFY(table.isDemandRead());
    }

    void writesCommasWithoutADelimiter()
    {
        CSVTable table("");
        table.appendData(QStringList{"a", "b"});

        QCOMPARE(table.stringData(0), Data::String("a,b"));
        QVERIFY(table.write(m_folder.filePath("joined")));
        QCOMPARE(contentsOf(m_folder.filePath("joined")), QByteArray("a,b\n"));
    }

    void reportsBlocksOfAQuotedFile()
    {
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            table.setProgress(&progress, "Reading");
            const QString path = file(QByteArray("\"a\",b\n").repeated(10'000)); // 60,000 bytes
            host.calls.clear();

            QVERIFY(table.read(path, limitOfNoBytes));

            QVERIFY(table.isDemandRead());
            QCOMPARE(table.numRows(), 10'000);
            QCOMPARE(host.calls.filter("setProgress(").size(),
                     1 + 6); // at the start, and each block
            QCOMPARE(host.calls.filter("setProgressLabel("),
                     QStringList({"setProgressLabel(Reading, 0)", "setProgressLabel(outer, 0)"}));
            QCOMPARE(progress.maxSteps(), 10);
        }
        Utils::setApplication(nullptr);
    }

    void readsDecimalCommasOfRowsThatWereEdited_data()
    {
        QTest::addColumn<bool>("asBytes");
        QTest::addColumn<double>("noCell"); // of dataValue() by row and column

        QTest::newRow("text") << false << -1.0;
        QTest::newRow("bytes") << true << 0.0;
    }

    void readsDecimalCommasOfRowsThatWereEdited()
    {
        QFETCH(bool, asBytes);
        QFETCH(double, noCell);
        CSVTable table(";");
        table.setHoleValue(-1.0);
        const auto restore = qScopeGuard([] { CSVTable().setHoleValue(0.0); });
        table.setDecimalPoint(',');
        QVERIFY(asBytes ? table.setData(QByteArray("1,5;2,5\n3,5\n4,5;;x"))
                        : table.setData(Data::String("1,5;2,5\n3,5\n4,5;;x")));

        table.setData(0, 1, "6,5").setData(1, 0, "").setData(2, 3, "7,5");

        QCOMPARE(table.dataValue(0), (Numbers{1.5, 6.5}));
        QCOMPARE(table.dataValue(1), (Numbers{-1.0}));
        QCOMPARE(table.dataValue(2), (Numbers{4.5, -1.0, 0.0, 7.5}));
        QCOMPARE(table.colDataValue(1), (Numbers{6.5, -1.0, -1.0}));
        QCOMPARE(table.colDataValues({3, -1, 0}),
                 (QList<Numbers>{{-1.0, -1.0, 7.5}, {}, {1.5, -1.0, 4.5}}));
        bool ok = false;
        QCOMPARE(table.dataValue(2, 3, &ok), 7.5);
        QVERIFY(ok);
        QCOMPARE(table.dataValue(0, 9, &ok), noCell);
        QVERIFY(!ok);
        QCOMPARE(table.dataValue(2, 2, &ok), 0.0); // a text
        QVERIFY(!ok);
        QCOMPARE(table.dataValue(0, 9), noCell);
        QCOMPARE(table.dataValue(-1, 0, &ok), noCell);
        QVERIFY(!ok);
    }

    void countsNoBlankRowAtTheEndAsARowOfAColumn_data()
    {
        QTest::addColumn<bool>("asBytes");
        QTest::newRow("text") << false;
        QTest::newRow("bytes") << true;
    }

    void countsNoBlankRowAtTheEndAsARowOfAColumn()
    {
        QFETCH(bool, asBytes);
        const auto tableOf = [&](const char *text) {
            auto table = std::make_unique<CSVTable>();
            table->setHeaderRows(1);
            if (asBytes)
                table->setData(QByteArray(text));
            else
                table->setData(Data::String(text));
            return table;
        };

        QCOMPARE(tableOf("a\n1\n2\n")->columns().value(0).numCells, 2);
        QCOMPARE(tableOf("a\n1\n\n")->columns().value(0).numCells, 2); // an empty line before it
        QCOMPARE(tableOf("a\n1\n2\n,")->columns().value(0).numCells, 3);
        const auto edited = tableOf("a\n1\n2");
        edited->setData(3, 0, "");
        QCOMPARE(edited->columns().value(0).numCells, 2);
        QCOMPARE(edited->colData(0, 1), (QStringList{"1", "2"}));
        edited->appendData(QStringList());
        QCOMPARE(edited->columns().value(0).numCells, asBytes ? 2 : 3);
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_bytes)
#include "tst_CSVTable_bytes.moc"
