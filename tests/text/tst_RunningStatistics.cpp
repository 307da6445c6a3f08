#include "utils/text/RunningStatistics.h"
#include "utils/text/Statistics.h"

#include "tests/support/Exact.h"

#include <QtTest>

#include <cmath>
#include <limits>
#include <random>

using Utils::RunningStatistics;
using Utils::Statistics;

using Numbers = QVector<double>;

static const double hole = 1e300;
static const double infinity = std::numeric_limits<double>::infinity();
static const double NaN = std::numeric_limits<double>::quiet_NaN();

static Data::Array column(const Numbers &numbers)
{
    return {numbers.constData(), quint64(numbers.size())};
}

static RunningStatistics of(const Numbers &numbers)
{
    RunningStatistics running;
    for (const double value : numbers)
        running.add(value);
    return running;
}

static QStringList results(const RunningStatistics &running)
{
    return QStringList(QString::number(running.count())) +
           exact(Numbers{running.mean(), running.variance(), running.standardDeviation(),
                         running.minimum(), running.maximum()});
}

static void addColumns()
{
    QTest::addColumn<Numbers>("numbers");

    QTest::newRow("nothing") << Numbers{};
    QTest::newRow("only holes") << Numbers{hole, hole};
    QTest::newRow("one value") << Numbers{-7};
    QTest::newRow("a hole between") << Numbers{1, hole, 3};
    QTest::newRow("equal values") << Numbers{0.5, 0.5, 0.5};
    QTest::newRow("equal, and not exact") << Numbers{0.1, 0.1, 0.1, 0.1};
    QTest::newRow("zeros") << Numbers{0.0, 0.0};
    QTest::newRow("infinite") << Numbers{1, infinity, 3};
    QTest::newRow("infinite first") << Numbers{-infinity, 1};
    QTest::newRow("one infinite value") << Numbers{infinity};
    QTest::newRow("both infinities") << Numbers{-infinity, infinity, 3};
    QTest::newRow("not a number") << Numbers{1, NaN, 3};
    QTest::newRow("not a number first") << Numbers{NaN, 2, 1};
    QTest::newRow("only not a number") << Numbers{NaN, NaN};
    QTest::newRow("no exact hole") << Numbers{1.0000001e300};
    QTest::newRow("squares that are infinite") << Numbers{-1e200, 1e200};
}

class tst_RunningStatistics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resultsAreThoseOfStatistics_data() { addColumns(); }

    void resultsAreThoseOfStatistics()
    {
        QFETCH(Numbers, numbers);

        const RunningStatistics running = of(numbers);

        QCOMPARE(running.count(), qint64(Statistics::length(column(numbers))));
        const Numbers found{running.mean(), running.variance(), running.standardDeviation(),
                            running.minimum(), running.maximum()};
        const Numbers expected{
            Statistics::mean(column(numbers)), Statistics::variance(column(numbers)),
            Statistics::standardDeviation(column(numbers)), Statistics::minimum(column(numbers)),
            Statistics::maximum(column(numbers))};
        QCOMPARE(exact(found), exact(expected));
    }

    void addsAColumnAtOnce_data() { addColumns(); }

    void addsAColumnAtOnce()
    {
        QFETCH(Numbers, numbers);
        RunningStatistics running;

        running.add(column(numbers));

        QCOMPARE(results(running), results(of(numbers)));
    }

    void addsSelectedRows()
    {
        const Numbers numbers{1, 2, hole, 9};
        RunningStatistics running;

        running.add(column(numbers), {3, 0, 2, 7, 3});
        running.add(column(numbers), {-1});
        running.add(Data::Array());

        QCOMPARE(results(running), results(of({9, 1, 9})));
    }

    void mergesBothParts_data() { addColumns(); }

    void mergesBothParts()
    {
        QFETCH(Numbers, numbers);
        RunningStatistics before = of({4, 6});
        RunningStatistics after = of(numbers);
        const Numbers both = Numbers{4, 6} + numbers;

        before.merge(of(numbers));
        after.merge(of({4, 6}));

        for (const RunningStatistics &merged : {before, after}) {
            QCOMPARE(merged.count(), qint64(Statistics::length(column(both))));
            QCOMPARE(std::isinf(merged.variance()), std::isinf(of(both).variance()));
            if (std::isinf(merged.variance()))
                continue; // the other numbers have no digits beside such
            QVERIFY(isNear(merged.mean(), Statistics::mean(column(both))));
            QVERIFY(isNear(merged.variance(), Statistics::variance(column(both))));
            QVERIFY(
                isNear(merged.standardDeviation(), Statistics::standardDeviation(column(both))));
            QCOMPARE(exact(merged.minimum()), exact(Statistics::minimum(column(both))));
            QCOMPARE(exact(merged.maximum()), exact(Statistics::maximum(column(both))));
        }
    }

    void mergesNothing()
    {
        RunningStatistics running = of({4, 6});
        RunningStatistics empty;

        running.merge(RunningStatistics());
        QCOMPARE(results(running), results(of({4, 6})));

        empty.merge(running);
        QCOMPARE(results(empty), results(of({4, 6})));
    }

    void mergesItself()
    {
        RunningStatistics running = of({4, 6, 11});

        running.merge(running);

        QCOMPARE(running.count(), qint64(6));
        QCOMPARE(running.mean(), 7.0);
        QVERIFY(isNear(running.variance(), 26.0 / 3.0));
    }

    void copiesAreIndependent()
    {
        const RunningStatistics first = of({4, 6});
        RunningStatistics second = first;

        second.add(100);

        QCOMPARE(first.count(), qint64(2));
        QCOMPARE(first.maximum(), 6.0);
        QCOMPARE(second.maximum(), 100.0);
    }

    void keepsTheDigitsOfLargeValues()
    {
        // Each of the steps of the mean is smaller than the distance of doubles at 1e15.
        RunningStatistics near;
        RunningStatistics far;
        std::mt19937 random(7);
        for (int i = 0; i < 100000; ++i) {
            const double value = static_cast<int>(random() % 8) / 8.0;
            near.add(value);
            far.add(1e15 + value);
        }

        QVERIFY(std::abs(far.mean() - 1e15 - near.mean()) <= 0.0625); // half of that distance
        QVERIFY(std::abs(far.variance() - near.variance()) < 1e-13 * near.variance());
    }

    void mergeKeepsTheDigitsOfLargeValues()
    {
        RunningStatistics near;
        RunningStatistics far;
        std::mt19937 random(7);
        for (int part = 0; part < 1000; ++part) {
            RunningStatistics nearPart;
            RunningStatistics farPart;
            for (int i = 0; i < 1 + part % 7; ++i) {
                const double value = static_cast<int>(random() % 8) / 8.0;
                nearPart.add(value);
                farPart.add(-1e15 - value);
            }
            near.merge(nearPart);
            far.merge(farPart);
        }

        QVERIFY(std::abs(far.variance() - near.variance()) < 1e-13 * near.variance());
    }

private:
    static bool isNear(double found, double expected)
    {
        return isExactly(found, expected) ||
               std::abs(found - expected) <= 1e-15 * std::abs(expected);
    }
};

QTEST_GUILESS_MAIN(tst_RunningStatistics)
#include "tst_RunningStatistics.moc"
