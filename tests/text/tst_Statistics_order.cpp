#include "utils/text/Statistics.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Exact.h"
#include "tests/support/Windows.h"
#include "tests/text/Columns.h"

#include <QtTest>

#include <cmath>
#include <limits>
#include <random>

using Utils::Statistics;

class tst_Statistics_order : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsAPercentile_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<double>("percent");
        QTest::addColumn<double>("result");

        const Numbers four{40, 10, 30, 20};
        QTest::newRow("the smallest") << four << 0.0 << 10.0;
        QTest::newRow("minus zero percent") << four << -0.0 << 10.0;
        QTest::newRow("the largest") << four << 100.0 << 40.0;
        QTest::newRow("the middle") << four << 50.0 << 25.0;
        QTest::newRow("between") << four << 90.0 << 37.0;
        QTest::newRow("further") << four << 95.0 << 38.5;
        QTest::newRow("a quarter") << four << 25.0 << 17.5;
        QTest::newRow("on a value") << Numbers{3, 1, 2, 5, 4} << 75.0 << 4.0;
        QTest::newRow("exactly on a value")
            << Numbers{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10} << 70.0 << 7.0;
        QTest::newRow("at a position without rounding")
            << Numbers{10, 20, 30, 40, 5000} << 90.0 << 3016.0;
        QTest::newRow("below 0") << four << -0.001 << hole;
        QTest::newRow("above 100") << four << 100.001 << hole;
        QTest::newRow("no percentage") << four << NaN << hole;
        QTest::newRow("infinite percentage") << four << infinity << hole;
        QTest::newRow("out of range, of nothing") << Numbers{} << 101.0 << hole;
        QTest::newRow("nothing") << Numbers{} << 50.0 << 0.0;
        QTest::newRow("only holes") << Numbers{hole, hole} << 50.0 << 0.0;
        QTest::newRow("one value") << Numbers{-7} << 99.0 << -7.0;
        QTest::newRow("with holes") << Numbers{hole, 1, hole, 3} << 25.0 << 1.5;
        QTest::newRow("equal values") << Numbers{0.1, 0.1, 0.1} << 33.0 << 0.1;
        QTest::newRow("from the largest negative") << Numbers{-huge, huge} << 50.0 << 0.0;
        QTest::newRow("between huge ones") << Numbers{huge, huge / 2} << 50.0 << huge / 4 * 3;
        QTest::newRow("NaN is last") << Numbers{NaN, 1, 2} << 50.0 << 2.0;
        QTest::newRow("to NaN") << Numbers{NaN, 1, 2} << 75.0 << NaN;
        QTest::newRow("to NaN from below zero") << Numbers{-1, NaN} << 75.0 << NaN;
        QTest::newRow("NaN") << Numbers{NaN, NaN} << 10.0 << NaN;
        QTest::newRow("to infinity") << Numbers{1, infinity} << 1.0 << infinity;
        QTest::newRow("up to infinity") << Numbers{1, infinity} << 0.0 << 1.0;
        QTest::newRow("from infinity") << Numbers{-infinity, -1} << 99.0 << -infinity;
        QTest::newRow("from infinity above zero") << Numbers{-infinity, 1} << 99.0 << -infinity;
        QTest::newRow("between infinities") << Numbers{-infinity, infinity} << 50.0 << NaN;
        QTest::newRow("among infinities") << Numbers{infinity, infinity} << 50.0 << infinity;
        QTest::newRow("minus zero") << Numbers{-0.0, -0.0} << 50.0 << -0.0;
        QTest::newRow("zeros") << Numbers{0.0, -0.0} << 100.0 << 0.0;
    }

    void findsAPercentile()
    {
        QFETCH(Numbers, numbers);
        QFETCH(double, percent);
        QFETCH(double, result);

        QCOMPARE(exact(Statistics::percentile(column(numbers), percent)), exact(result));
    }

    void percentileSelectsRows()
    {
        const Numbers numbers{1, 2, hole, 8};

        QCOMPARE(Statistics::percentile(column(numbers), 100, {0, 1}), 2.0);
        QCOMPARE(Statistics::percentile(column(numbers), 50, {3, 3, 0, 2, 9}), 8.0);
        QCOMPARE(Statistics::percentile(column(numbers), 50, {-1}), 0.0);
        QCOMPARE(Statistics::percentile({}, 50), 0.0);
    }

    void percentileGrowsWithThePercentage()
    {
        std::mt19937 random(3);
        std::normal_distribution<double> number(0.1, 1e-16);
        Numbers numbers;
        for (int i = 0; i < 50; ++i)
            numbers.append(number(random));

        double before = Statistics::minimum(column(numbers));
        for (int i = 0; i <= 1000; ++i) {
            const double found = Statistics::percentile(column(numbers), i / 10.0);
            QVERIFY(found >= before);
            before = found;
        }
        QCOMPARE(before, Statistics::maximum(column(numbers)));
    }

    void percentileIsThatOfTheSortedColumn()
    {
        std::mt19937 random(4);
        std::uniform_real_distribution<double> number(-1.0, 1.0);
        Numbers numbers;
        for (int i = 0; i < 200001; ++i)
            numbers.append(number(random));
        const Numbers sorted = Statistics::sort(column(numbers), true);

        for (const int percent : {0, 1, 37, 50, 99, 100})
            QCOMPARE(exact(Statistics::percentile(column(numbers), percent)),
                     exact(sorted[2000 * percent]));
    }

    void measuresTheSpreadRobustly_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<double>("deviation");

        QTest::newRow("nothing") << Numbers{} << 0.0;
        QTest::newRow("only holes") << Numbers{hole} << 0.0;
        QTest::newRow("one value") << Numbers{5} << 0.0;
        QTest::newRow("two") << Numbers{1, 4} << 1.5;
        QTest::newRow("odd") << Numbers{1, 2, 4, 7, 100} << 3.0;
        QTest::newRow("even") << Numbers{1, 2, 4, 100} << 1.5;
        QTest::newRow("holes") << Numbers{1, hole, 2, 4, hole, 7, 100} << 3.0;
        QTest::newRow("equal") << Numbers{3, 3, 3} << 0.0;
        QTest::newRow("infinite") << Numbers{1, 2, infinity} << 1.0;
        QTest::newRow("mostly infinite") << Numbers{1, infinity, infinity} << NaN;
        QTest::newRow("not a number") << Numbers{NaN, 2, 1} << 1.0;
        QTest::newRow("mostly not a number") << Numbers{NaN, NaN, 1} << NaN;
        QTest::newRow("a distance like a hole") << Numbers{0, 0, 0, -1e300, -1e300} << 0.0;
        QTest::newRow("distances like holes") << Numbers{-1e300, 0, 2e300} << 1e300;
    }

    void measuresTheSpreadRobustly()
    {
        QFETCH(Numbers, numbers);
        QFETCH(double, deviation);

        QCOMPARE(exact(Statistics::medianAbsoluteDeviation(column(numbers))), exact(deviation));
        if (deviation != hole)
            QCOMPARE(exact(Statistics::robustDeviation(column(numbers))),
                     exact(deviation * 1.482602218505602));
    }

    void robustDeviationSelectsRows()
    {
        const Numbers numbers{1, 5, hole, 100};

        QCOMPARE(Statistics::medianAbsoluteDeviation(column(numbers), {0, 1, 1, 0, 2}), 2.0);
        QCOMPARE(Statistics::medianAbsoluteDeviation(column(numbers), {-1}), 0.0);
    }

    void robustDeviationIsThatOfManyNormalValues()
    {
        std::mt19937 random(5);
        std::normal_distribution<double> number(50.0, 12.0);
        Numbers numbers;
        for (int i = 0; i < 200000; ++i)
            numbers.append(i % 10 ? number(random) : 1e9);

        const double deviation = Statistics::robustDeviation(column(numbers));

        QVERIFY2(deviation > 12.0 && deviation < 15.0, qPrintable(exact(deviation)));
    }

    void robustDeviationTellsThatThereIsNoMemory()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const Numbers numbers{1, 5, 2};
        FailingMemory memory(0, FailingMemory::Once);
        const double deviation = Statistics::medianAbsoluteDeviation(column(numbers));
        memory.end();
        FailingMemory again(0, FailingMemory::Once);
        const double robust = Statistics::robustDeviation(column(numbers));
        again.end();

        QCOMPARE(exact(deviation), exact(hole));
        QCOMPARE(exact(robust), exact(hole));
        QCOMPARE(Statistics::medianAbsoluteDeviation(column(numbers)), 1.0);
    }

    void percentileNeedsNoMemory()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const Numbers numbers{1, 5, 2};
        FailingMemory memory(0, FailingMemory::FromThenOn);
        const double found = Statistics::percentile(column(numbers), 75);
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(found, 3.5);
    }
};

QTEST_GUILESS_MAIN(tst_Statistics_order)
#include "tst_Statistics_order.moc"
