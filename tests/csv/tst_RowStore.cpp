#include "utils/csv/backends/RowStore_p.h"

#include <QtTest>

#include <limits>

using Rows = Utils::RowStore<QString>;

class tst_RowStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheRowsThatWereInserted()
    {
        Rows rows;

        rows.insert(70, "a");
        rows.insert(0, "b");
        rows.insert(70, "c");

        QCOMPARE(*rows.find(70), QString("c"));
        QCOMPARE(*rows.find(0), QString("b"));
        for (const int id : {-1, 1, 69, 71, 1000})
            QVERIFY(!rows.find(id));
    }

    void findsAMarkedRowUntilItIsRemoved()
    {
        Rows rows;
        rows.insert(5, "a");
        QVERIFY(!rows.findMarked(5));

        rows.mark(5);
        QCOMPARE(*rows.findMarked(5), QString("a"));

        rows.remove(5);
        QVERIFY(!rows.findMarked(5));
        rows.insert(5, "b");
        QVERIFY(!rows.findMarked(5));
        QCOMPARE(*rows.find(5), QString("b"));
    }

    void removesFromAnIdOn()
    {
        Rows rows;
        for (const int id : {2, 3, 4, 200})
            rows.insert(id, QString::number(id));

        rows.removeFrom(3);

        QCOMPARE(*rows.find(2), QString("2"));
        for (const int id : {3, 4, 200})
            QVERIFY(!rows.find(id));
    }

    void tellsABlockWithoutRows()
    {
        Rows rows;
        rows.insert(64, "a");

        QVERIFY(rows.isFree(63));
        QCOMPARE(rows.numFree(63), 1);
        QVERIFY(!rows.isFree(64));
        QVERIFY(!rows.isFree(127));
        QVERIFY(rows.isFree(128)); // as all that follow
        QCOMPARE(rows.numFree(128), std::numeric_limits<int>::max());

        rows.insert(200, "b");
        QCOMPARE(rows.numFree(130), 62);
    }
};

QTEST_GUILESS_MAIN(tst_RowStore)
#include "tst_RowStore.moc"
