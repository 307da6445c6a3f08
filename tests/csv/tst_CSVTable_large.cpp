// Tables in a file of more than 4 GiB.

#include "utils/csv/CSVTable.h"

#include "tests/csv/LargeTable.h"
#include "tests/csv/Rows.h"
#include "tests/support/FullSize.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"
#include "utils/files/File.h"

#include <QtTest>

#include <cstring>

using Utils::CSVRow;
using Utils::CSVTable;

class tst_CSVTable_large : public QObject
{
    Q_OBJECT

private:
    static void addForms()
    {
        QTest::addColumn<bool>("isQuoted");
        QTest::newRow("lines") << false;
        QTest::newRow("quotes") << true;
    }

private Q_SLOTS:
    void hasEachRowOfFiveGibibytes_data() { addForms(); }

    void hasEachRowOfFiveGibibytes()
    {
        if (!isFullSize())
            QSKIP("takes minutes and 5 GiB of disk: set KELMUTILS_FULL_SIZE");
        SKIP_ON_WINDOWS("the memory of the process is found out in another way there");
        QFETCH(bool, isQuoted);
        const QTemporaryDir folder;
        const LargeTable large(folder.filePath("large.csv"),
                               isQuoted ? LargeTable::Quoted : LargeTable::Unquoted);
        const int count = large.numRows();
        QVERIFY(count > 0);
        const qint64 before = residentMemory();
        CSVTable table;
        table.setQuoting(isQuoted ? CSVTable::Rfc4180 : CSVTable::Classic);

        QVERIFY(table.read(large.path(), 1000));

        QVERIFY(table.isDemandRead());
        const double bytesPerRow = double(residentMemory() - before) / count;
        qInfo("%d rows, %.2f bytes of memory for each", count, bytesPerRow);
        QVERIFY(bytesPerRow < 4.25);
        // A line feed at the end makes an empty row, unless the quotes are those of RFC 4180.
        QCOMPARE(table.numRows(), isQuoted ? count : count + 1);
        int numRight = 0;
        QVERIFY(table.visit(0, count - 1, [&](const CSVRow &row) {
            const QByteArray digits = LargeTable::digits(row.number());
            const QByteArray letters = large.letters(row.number());
            const auto isEqual = [&](int col, const QByteArray &bytes) {
                return row[col].size() == bytes.size() &&
                       std::memcmp(row[col].bytes(), bytes.constData(),
                                   std::size_t(bytes.size())) == 0;
            };
            numRight += row.size() == 2 && isEqual(0, digits) && isEqual(1, letters) ? 1 : 0;
            return true;
        }));
        QCOMPARE(numRight, count);
        for (const int row : {0, count / 2, count - 1}) {
            QCOMPARE(table.data(row, 0), Data::String(QString(LargeTable::digits(row))));
            QCOMPARE(table.data(row, 1), Data::String(QString(large.letters(row))));
            QCOMPARE(table.dataValue(row, 0), double(row));
        }
        QCOMPARE(Utils::File::lastError(), Data::String());
    }

    void hasRowsBeyondFourGibibytes_data() { addForms(); }

    void hasRowsBeyondFourGibibytes()
    {
        QFETCH(bool, isQuoted);
        const SparseTable sparse("tst_CSVTable_large");
        QVERIFY(sparse.isMade());
        CSVTable table;
        table.setQuoting(isQuoted ? CSVTable::Rfc4180 : CSVTable::Classic);

        QVERIFY(table.read(sparse.path(), 1000));

        QVERIFY(table.isDemandRead());
        QCOMPARE(table.numRows(), 14);
        QCOMPARE(table.data(0), QStringList({"first", "1"}));
        for (const int row : {2, 6, 10}) {
            QCOMPARE(table.data(row), QStringList({"before", "2"}));
            QCOMPARE(table.data(row + 1), QStringList({"across", "3"}));
            QCOMPARE(table.dataValue(row + 1, 1), 3.0);
            QCOMPARE(table.data(row + 2), QStringList({"after", "4"}));
            double sum = 0.0;
            QVERIFY(table.visit(row, row + 2, [&](const CSVRow &cells) {
                sum += cells[1].number();
                return true;
            }));
            QCOMPARE(sum, 9.0);
        }
        QCOMPARE(table.data(13), QStringList("x"));
        QCOMPARE(Utils::File::lastError(), Data::String());
    }

    void tellsThatARowIsLargerThanTheMemory()
    {
        const SparseTable sparse("tst_CSVTable_large");
        QVERIFY(sparse.isMade());
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180); // with which zero bytes are content
        QVERIFY(table.read(sparse.path(), 1000));

        QCOMPARE(table.data(1), QStringList("")); // of 2 GiB
        QCOMPARE(Utils::File::lastError(), Data::String(".Kelm.Utils.err.memory"));
        QVERIFY(!table.visit(0, 2, [](const CSVRow &) { return true; }));
        QCOMPARE(Utils::File::lastError(), Data::String(".Kelm.Utils.err.memory"));
        QCOMPARE(table.data(2), QStringList({"before", "2"}));
        QCOMPARE(Utils::File::lastError(), Data::String());
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_large)
#include "tst_CSVTable_large.moc"
