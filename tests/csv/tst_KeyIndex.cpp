#include "utils/csv/KeyIndex_p.h"

#include "tests/csv/FailingMemory.h"
#include "utils/csv/CSVTable.h"
#include "utils/csv/backends/CSVArrayData_p.h"
#include "utils/csv/backends/CSVFileData_p.h"
#include "utils/csv/backends/CSVStringData_p.h"

#include "tests/support/Windows.h"

#include <QTemporaryFile>
#include <QtTest>

#include <random>

using Utils::CSVArrayData;
using Utils::CSVData;
using Utils::CSVFileData;
using Utils::CSVKey;
using Utils::CSVStringData;
using Utils::KeyIndex;

/// "key0,0", "key1,10", and so on.
static QByteArray linesOf(int count)
{
    QByteArray lines;
    for (int i = 0; i < count; ++i)
        lines += "key" + QByteArray::number(i) + "," + QByteArray::number(10 * i) + "\n";
    return lines;
}

static std::unique_ptr<CSVStringData> textData(const QByteArray &text, bool parseNow = true)
{
    auto data = std::make_unique<CSVStringData>();
    data->delimiters.append(",");
    data->setData(QString::fromUtf8(text), parseNow, nullptr, "");
    return data;
}

static std::unique_ptr<CSVArrayData> byteData(const QByteArray &bytes, bool parseNow = true)
{
    auto data = std::make_unique<CSVArrayData>(',');
    data->setData(bytes, parseNow, nullptr, "");
    return data;
}

/// The row that a search without an index finds.
static int plainlyFound(CSVData &rows, const CSVKey &key, int firstRow)
{
    for (int row = firstRow; row < rows.numRows(); ++row) {
        const QString cell = rows.data(row, key.col);
        if (key.exact ? cell == key.text : key.text.isEmpty() || cell.startsWith(key.text))
            return row;
    }
    return -1;
}

class Random
{
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    int below(int count) { return static_cast<int>(m_engine() % static_cast<unsigned int>(count)); }

    QString text()
    {
        QString text;
        for (int size = below(5); size > 0; --size)
            text += QChar(below(12) == 0 ? 0xe9 : 'a' + below(3));
        return text;
    }

private:
    std::mt19937 m_engine;
};

class tst_KeyIndex : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheRowsThatAPlainSearchFinds_data()
    {
        QTest::addColumn<bool>("asBytes");

        QTest::newRow("text") << false;
        QTest::newRow("bytes") << true;
    }

    void findsTheRowsThatAPlainSearchFinds()
    {
        QFETCH(bool, asBytes);

        int numFound = 0;
        for (unsigned int seed = 0; seed < 60; ++seed) {
            Random random(seed);
            QByteArray lines;
            for (int i = random.below(60); i >= 0; --i)
                lines += (random.text() + "," + random.text() + "\n").toUtf8();
            const bool parseNow = random.below(2) == 0;
            std::unique_ptr<CSVData> rows;
            if (asBytes)
                rows = byteData(lines, parseNow);
            else
                rows = textData(lines, parseNow);
            KeyIndex index;

            for (int step = 0; step < 3000; ++step) {
                const int row = random.below(rows->numRows() + 1);
                if (random.below(300) == 0)
                    rows->setData(row, random.below(3), random.text());
                if (random.below(500) == 0)
                    rows->removeRow(row);
                if (random.below(500) == 0)
                    rows->removeRows({row / 2});
                if (random.below(2000) == 0)
                    rows->removeColumn(random.below(3));
                const Data::String text = random.text();
                const CSVKey key = {text, random.below(4) - 1, random.below(2) == 0};
                const int firstRow = random.below(3) == 0 ? row : 0;
                const int found = index.find(*rows, key, firstRow);
                QVERIFY2(found == plainlyFound(*rows, key, firstRow),
                         qPrintable(QString("seed %1, step %2").arg(seed).arg(step)));
                numFound += found >= 0;
            }
        }
        QVERIFY(numFound > 45000);
    }

    void findsWhatIsThereAfterAnyChange_data()
    {
        QTest::addColumn<int>("change");

        const char *const names[] = {"setHeldRows", "reorder", "appendRow", "setText", "clear"};
        for (int change = 0; change < 5; ++change)
            QTest::newRow(names[change]) << change;
    }

    void findsWhatIsThereAfterAnyChange()
    {
        QFETCH(int, change);
        const auto rows = textData(linesOf(100));
        KeyIndex index;
        const Data::String text = "key99";
        const CSVKey key = {text, 0, true};
        for (int i = 0; i < 20; ++i)
            QCOMPARE(index.find(*rows, key, 0), 99);

        QList<QStringList> lists = rows->heldRows();
        QList<int> order;
        for (int i = 99; i >= 0; --i)
            order.append(i);
        switch (change) {
        case 0:
            lists[5] = QStringList{"key99"};
            rows->setHeldRows(5, 5, lists);
            break;
        case 1:
            rows->reorder(0, order);
            break;
        case 2:
            rows->removeRow(99);
            QCOMPARE(index.find(*rows, key, 0), plainlyFound(*rows, key, 0));
            rows->appendRow({"key99"});
            break;
        case 3:
            rows->clear();
            rows->setData("key99,1", true, nullptr, "");
            break;
        default:
            rows->clear();
            break;
        }

        QCOMPARE(index.find(*rows, key, 0), plainlyFound(*rows, key, 0));
    }

    void knowsOneBackendFromAnother()
    {
        KeyIndex index;
        const Data::String text = "key9";
        const CSVKey key = {text, 0, true};
        for (int i = 0; i < 50; ++i) {
            const auto rows = textData(linesOf(10 + i % 2).mid(7 * (i % 2)));
            for (int j = 0; j < 20; ++j)
                QCOMPARE(index.find(*rows, key, 0), plainlyFound(*rows, key, 0));
        }
    }

    void comparesFewCellsInManySearches_data()
    {
        QTest::addColumn<bool>("exact");

        QTest::newRow("whole cells") << true;
        QTest::newRow("starts of cells") << false;
    }

    void comparesFewCellsInManySearches()
    {
        QFETCH(bool, exact);
        const auto rows = textData(linesOf(10000));
        KeyIndex index;

        for (int i = 9999; i >= 0; --i) {
            const Data::String text = "key" + QString::number(i);
            const int found = index.find(*rows, {text, 0, exact}, 0);
            const bool isStart = !exact && found <= i; // "key1" is the start of "key10"
            QVERIFY(found == i || isStart);
        }

        // Up to five comparisons for each row and length of a key, and one for each search.
        const int numLengths = exact ? 1 : 4;
        QVERIFY(index.numCompared() < (5 * numLengths + 2) * 10000);
    }

    void comparesFewCellsInSearchesInVain()
    {
        const auto rows = textData(linesOf(10000));
        KeyIndex index;

        for (int i = 0; i < 10000; ++i) {
            const Data::String text = "other" + QString::number(i);
            QCOMPARE(index.find(*rows, {text, 0, true}, 0), -1);
        }

        QVERIFY(index.numCompared() < 6 * 10000);
    }

    void comparesFewCellsWhileRowsAreAppended()
    {
        const auto rows = textData("key,0");
        KeyIndex index;

        for (int i = 1; i <= 5000; ++i) {
            const Data::String text = "key" + QString::number(i);
            QCOMPARE(index.find(*rows, {text, 0, true}, 0), -1);
            rows->appendRow({text, "0"});
            QCOMPARE(index.find(*rows, {text, 0, true}, 0), i);
        }

        QVERIFY(index.numCompared() < 200 * 5000);
    }

    void findsNothingInRowsThatAreGone()
    {
        const auto rows = textData(linesOf(100) + ",1");
        KeyIndex index;
        const Data::String text = "";
        for (int i = 0; i < 20; ++i)
            QCOMPARE(index.find(*rows, {text, 0, true}, 0), 100);

        rows->clear();

        QCOMPARE(index.find(*rows, {text, 0, true}, 0), -1);
    }

    void splitsNoRowsBeforeTheFirstOne()
    {
        const auto rows = textData(linesOf(100), /*parseNow=*/false);
        KeyIndex index;
        const Data::String text = "key99";

        for (int i = 0; i < 30; ++i)
            QCOMPARE(index.find(*rows, {text, 0, true}, 50), 99);

        QVERIFY(!rows->isParsed(49));
    }

    void splitsTheSameRowsAsAPlainSearch()
    {
        const auto rows = textData(linesOf(100), /*parseNow=*/false);
        KeyIndex index;
        const Data::String text = "key49";

        for (int i = 0; i < 30; ++i)
            QCOMPARE(index.find(*rows, {text, 0, true}, 0), 49);

        QVERIFY(rows->isParsed(49));
        QVERIFY(!rows->isParsed(50));
        const Data::String later = "key60";
        QCOMPARE(index.find(*rows, {later, 0, true}, 0), 60);
        QVERIFY(rows->isParsed(60));
        QVERIFY(!rows->isParsed(61));
    }

    void makesNoIndexOfRowsInAFile()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(linesOf(100));
        QVERIFY(file.flush());
        CSVFileData rows(',');
        QVERIFY(rows.reader.read(file.fileName()));
        KeyIndex index;
        const Data::String text = "key99";

        for (int i = 0; i < 30; ++i)
            QCOMPARE(index.find(rows, {text, 0, true}, 0), 99);

        QCOMPARE(index.numCompared(), 3000);
    }

    void searchesWithoutMemoryForAnIndex()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const auto rows = textData(linesOf(100));
        const Data::String text = "key99";

        for (int number = 0; number < 1000; ++number) {
            KeyIndex index;
            int last = 0;
            FailingMemory memory(number, FailingMemory::Once);
            for (int i = 0; i < 12; ++i)
                last = index.find(*rows, {text, 0, true}, 0);
            memory.end();
            QVERIFY2(last == 99 || last == -1, "a row that cannot be read has no text");
            QCOMPARE(index.find(*rows, {text, 0, true}, 0), 99);
            if (!memory.hasFailed())
                return;
        }
        QFAIL("the memory never sufficed");
    }
};

QTEST_APPLESS_MAIN(tst_KeyIndex)

#include "tst_KeyIndex.moc"
