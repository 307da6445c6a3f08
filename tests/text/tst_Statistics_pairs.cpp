#include "utils/text/Statistics.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Exact.h"
#include "tests/support/Windows.h"
#include "tests/text/Columns.h"

#include <QtTest>

#include <climits>
#include <cmath>
#include <limits>
#include <random>

using Utils::Statistics;

class tst_Statistics_pairs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void weighsValues_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<Numbers>("weights");
        QTest::addColumn<double>("mean");
        QTest::addColumn<double>("deviation");

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << Numbers{} << 0.0 << 0.0;
        QTest::newRow("only holes") << Numbers{hole} << Numbers{1} << 0.0 << 0.0;
        QTest::newRow("no weights") << Numbers{1, 2} << Numbers{} << 0.0 << 0.0;
        QTest::newRow("one value") << Numbers{0.1} << Numbers{0.3} << 0.1 << 0.0;
        QTest::newRow("equal weights") << Numbers{1, 2, 3} << Numbers{5, 5, 5} << 2.0 << 1.0;
        QTest::newRow("tiny weights") << Numbers{1, 2, 3} << Numbers{tiny, tiny, tiny} << 2.0 << 1.0;
        QTest::newRow("huge weights") << Numbers{1, 2, 3} << Numbers{huge, huge, huge} << 2.0 << 1.0;
        QTest::newRow("different weights") << Numbers{1, 5} << Numbers{3, 1} << 2.0 << std::sqrt(8.0);
        QTest::newRow("a hole in the values") << Numbers{1, hole, 3} << Numbers{1, 7, 1} << 2.0 << std::sqrt(2.0);
        QTest::newRow("a hole in the weights") << Numbers{1, 9, 3} << Numbers{1, hole, 1} << 2.0 << std::sqrt(2.0);
        QTest::newRow("weight 0") << Numbers{1, NaN, 3} << Numbers{1, 0.0, 1} << 2.0 << std::sqrt(2.0);
        QTest::newRow("negative weight") << Numbers{1, 9, 3} << Numbers{1, -1, 1} << 2.0 << std::sqrt(2.0);
        QTest::newRow("only without weight") << Numbers{1, 9} << Numbers{0, -infinity} << 0.0 << 0.0;
        QTest::newRow("fewer weights") << Numbers{1, 3, 9} << Numbers{1, 1} << 2.0 << std::sqrt(2.0);
        QTest::newRow("equal values") << Numbers{0.1, 0.1, 0.1} << Numbers{0.7, 0.3, 0.9} << 0.1 << 0.0;
        QTest::newRow("1e15 and halves") << Numbers{1e15 + 0.5, 1e15, 1e15 + 1} << Numbers{1, 1, 1} << 1e15 + 0.5 << 0.5;
        QTest::newRow("cancelling") << Numbers{1e16, 1, -1e16} << Numbers{1, 1, 1} << 1.0 / 3.0 << 1e16;
        QTest::newRow("far apart") << Numbers{1e200, 3e200} << Numbers{1, 1} << 2e200 << std::sqrt(2.0) * 1e200;
        QTest::newRow("close") << Numbers{1e-200, 3e-200} << Numbers{1, 1} << 2e-200 << std::sqrt(2.0) * 1e-200;
        QTest::newRow("too far apart") << Numbers{-huge, huge, huge} << Numbers{1, 1, 1} << huge / 3 << NaN;
        QTest::newRow("a great weight") << Numbers{1, 5, 9} << Numbers{1e15, 1, 1} << 1.0 + 12e-15 << std::sqrt(20.0);
        QTest::newRow("not a number") << Numbers{1, NaN} << Numbers{1, 1} << NaN << NaN;
        QTest::newRow("no weight is known") << Numbers{1, 2} << Numbers{1, NaN} << NaN << NaN;
        QTest::newRow("infinite weight") << Numbers{1, 2} << Numbers{1, infinity} << NaN << NaN;
        QTest::newRow("infinite weight of equal values") << Numbers{1, 1} << Numbers{1, infinity} << NaN << NaN;
        QTest::newRow("infinite") << Numbers{1, infinity} << Numbers{1, 1} << infinity << NaN;
        QTest::newRow("only infinite") << Numbers{infinity, infinity} << Numbers{1, 1} << infinity << NaN;
        QTest::newRow("two infinities") << Numbers{-infinity, infinity} << Numbers{1, 1} << NaN << NaN;
        // clang-format on
    }

    void weighsValues()
    {
        QFETCH(Numbers, numbers);
        QFETCH(Numbers, weights);
        QFETCH(double, mean);
        QFETCH(double, deviation);

        const double foundMean = Statistics::weightedMean(column(numbers), column(weights));
        const double found =
            Statistics::weightedStandardDeviation(column(numbers), column(weights));

        QVERIFY2(isNear(foundMean, mean), qPrintable(exact(foundMean)));
        QVERIFY2(isNear(found, deviation), qPrintable(exact(found)));
    }

    void weightsSelectRows()
    {
        const Numbers numbers{1, 2, 6};
        const Numbers weights{1, 1, 3};

        QCOMPARE(Statistics::weightedMean(column(numbers), column(weights), {0, 2}), 4.75);
        QCOMPARE(Statistics::weightedMean(column(numbers), column(weights), {1, 1, 7}), 2.0);
        QCOMPARE(Statistics::weightedMean(column(numbers), column(weights), {-1}), 0.0);
        QCOMPARE(
            Statistics::weightedStandardDeviation(column(numbers), column(weights), {0, 1, -1}),
            std::sqrt(0.5));
    }

    void equalWeightsChangeNothing()
    {
        std::mt19937 random(1);
        std::normal_distribution<double> number(3.0, 1.0);
        Numbers numbers;
        for (int i = 0; i < 5000; ++i)
            numbers.append(number(random));
        const Numbers weights(5000, 0.3);

        // The others sum without the rounding errors.
        QVERIFY(isNear(Statistics::weightedMean(column(numbers), column(weights)),
                       Statistics::mean(column(numbers)), 1e-13));
        QVERIFY(isNear(Statistics::weightedStandardDeviation(column(numbers), column(weights)),
                       Statistics::standardDeviation(column(numbers)), 1e-13));
    }

    void correlatesColumns_data()
    {
        QTest::addColumn<Numbers>("a");
        QTest::addColumn<Numbers>("b");
        QTest::addColumn<double>("correlation");

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << Numbers{} << 0.0;
        QTest::newRow("one pair") << Numbers{1} << Numbers{2} << 0.0;
        QTest::newRow("one pair that counts") << Numbers{1, hole} << Numbers{2, 3} << 0.0;
        QTest::newRow("rising") << Numbers{1, 2, 5} << Numbers{0.3, 0.6, 1.5} << 1.0;
        QTest::newRow("falling") << Numbers{1, 2, 5} << Numbers{-2, -4, -10} << -1.0;
        QTest::newRow("between") << Numbers{1, 2, 3} << Numbers{1, 3, 2} << 0.5;
        QTest::newRow("none") << Numbers{-1, 0, 1} << Numbers{1, 0, 1} << 0.0;
        QTest::newRow("equal values") << Numbers{0.1, 0.1, 0.1} << Numbers{1, 3, 2} << 0.0;
        QTest::newRow("equal values in the other") << Numbers{1, 3, 2} << Numbers{0.1, 0.1, 0.1} << 0.0;
        QTest::newRow("by row") << Numbers{1, hole, 2, 3} << Numbers{1, -9, 3, 2} << 0.5;
        QTest::newRow("holes in both") << Numbers{1, hole, 2, 3, 50} << Numbers{1, -9, 3, 2, hole} << 0.5;
        QTest::newRow("no further rows") << Numbers{1, 2, 3, 70, -5} << Numbers{1, 3, 2} << 0.5;
        QTest::newRow("offset") << Numbers{1e15 + 1, 1e15 + 2, 1e15 + 3} << Numbers{1, 3, 2} << 0.5;
        QTest::newRow("huge") << Numbers{1e305, 2e305, 3e305} << Numbers{1e305, 3e305, 2e305} << 0.5;
        QTest::newRow("tiny") << Numbers{1e-305, 2e-305, 3e-305} << Numbers{1, 3, 2} << 0.5;
        QTest::newRow("the smallest") << Numbers{tiny, 2 * tiny, 3 * tiny} << Numbers{1, 3, 2} << 0.5;
        QTest::newRow("too far apart") << Numbers{-huge, huge, huge} << Numbers{1, 3, 2} << NaN;
        QTest::newRow("not a number") << Numbers{1, NaN, 3} << Numbers{1, 3, 2} << NaN;
        QTest::newRow("infinite") << Numbers{1, 2, 3} << Numbers{1, infinity, 2} << NaN;
        QTest::newRow("not a number beside a hole") << Numbers{1, NaN, 2, 3} << Numbers{1, hole, 3, 2} << 0.5;
        // clang-format on
    }

    void correlatesColumns()
    {
        QFETCH(Numbers, a);
        QFETCH(Numbers, b);
        QFETCH(double, correlation);

        const double found = Statistics::correlation(column(a), column(b));

        QVERIFY2(isNear(found, correlation), qPrintable(exact(found)));
        QVERIFY2(!(std::abs(found) > 1.0), qPrintable(exact(found)));
    }

    void correlationSelectsRows()
    {
        const Numbers a{1, 50, 2, 3, hole};
        const Numbers b{1, -9, 3, 2, 5};

        QCOMPARE(Statistics::correlation(column(a), column(b), {0, 2, 3}), 0.5);
        QCOMPARE(Statistics::correlation(column(a), column(b), {3, 4, 0, 2, 99}), 0.5);
        QCOMPARE(Statistics::correlation(column(a), column(b), {-1}), 0.0);
    }

    void correlationIsNeverAboveOne()
    {
        std::mt19937 random(2);
        std::uniform_real_distribution<double> number(-1.0, 1.0);
        for (int round = 0; round < 2000; ++round) {
            Numbers a;
            Numbers b;
            const double factor = number(random);
            for (int i = 0; i < 3 + round % 20; ++i) {
                a.append(number(random));
                b.append(a.last() * factor);
            }
            const double found = Statistics::correlation(column(a), column(b));
            QVERIFY(std::abs(found) <= 1.0);
            QVERIFY(std::abs(found) > 1.0 - 1e-14);
        }
    }

    void averagesOverMovingWindows_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<int>("before");
        QTest::addColumn<int>("after");
        QTest::addColumn<Numbers>("means");

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << 1 << 1 << Numbers{};
        QTest::newRow("one value") << Numbers{5} << 1 << 1 << Numbers{5};
        QTest::newRow("only holes") << Numbers{hole, hole} << 1 << 1 << Numbers{hole, hole};
        QTest::newRow("holes") << Numbers{1, 2, 6, hole, hole, hole, 4} << 1 << 1 << Numbers{1.5, 3, 4, 6, hole, 4, 4};
        QTest::newRow("before") << Numbers{1, 2, 6} << 2 << 0 << Numbers{1, 1.5, 3};
        QTest::newRow("after") << Numbers{1, 2, 6} << 0 << 1 << Numbers{1.5, 4, 6};
        QTest::newRow("the row itself") << Numbers{1, hole, 6} << 0 << 0 << Numbers{1, hole, 6};
        QTest::newRow("negative") << Numbers{1, hole, 6} << -3 << INT_MIN << Numbers{1, hole, 6};
        QTest::newRow("all") << Numbers{1, 2, 6} << INT_MAX << INT_MAX << Numbers{3, 3, 3};
        QTest::newRow("many before") << Numbers{1, 3, 8} << INT_MAX << 0 << Numbers{1, 2, 4};
        QTest::newRow("many after") << Numbers{8, 3, 1} << -1 << INT_MAX << Numbers{4, 2, 1};
        QTest::newRow("a large value passes") << Numbers{1, 1e17, 1, 3, 5} << 1 << 0 << Numbers{1, 5e16, 5e16, 2, 4};
        QTest::newRow("infinity passes") << Numbers{1, infinity, 1, 3, 5} << 1 << 0 << Numbers{1, infinity, infinity, 2, 4};
        QTest::newRow("not a number passes") << Numbers{1, NaN, 1, 3, 5} << 0 << 1 << Numbers{NaN, NaN, 2, 4, 5};
        QTest::newRow("infinities meet") << Numbers{-infinity, infinity, 1} << 1 << 0 << Numbers{-infinity, NaN, infinity};
        // clang-format on
    }

    void averagesOverMovingWindows()
    {
        QFETCH(Numbers, numbers);
        QFETCH(int, before);
        QFETCH(int, after);
        QFETCH(Numbers, means);

        QCOMPARE(exact(Statistics::movingAverage(column(numbers), before, after)), exact(means));
    }

    void movingAverageSelectsRows()
    {
        const Numbers numbers{1, 2, 6, 10};

        QCOMPARE(Statistics::movingAverage(column(numbers), 1, 0, {3, 0, 9}),
                 (Numbers{10, 5.5, 1}));
        QCOMPARE(Statistics::movingAverage(column(numbers), 1, 0, {-1}), Numbers());
        QCOMPARE(Statistics::movingAverage({}, 1, 0, {1}), Numbers());
    }

    void movingAverageIsTheMeanOfEachWindow()
    {
        std::mt19937 random(6);
        std::uniform_real_distribution<double> number(-1.0, 1.0);
        for (int round = 0; round < 300; ++round) {
            Numbers numbers;
            for (int i = 0; i < static_cast<int>(random() % 40); ++i)
                numbers.append(random() % 4 ? number(random) : hole);
            const int before = static_cast<int>(random() % 12);
            const int after = static_cast<int>(random() % 12);

            const Numbers means = Statistics::movingAverage(column(numbers), before, after);

            QCOMPARE(means.size(), numbers.size());
            for (int i = 0; i < numbers.size(); ++i) {
                const int first = std::max(0, i - before);
                const Numbers window = numbers.mid(first, i + after + 1 - first);
                const bool isEmpty = Statistics::length(column(window)) == 0;
                const double mean = isEmpty ? hole : Statistics::mean(column(window));
                QVERIFY(std::abs(means[i] - mean) < 1e-15 || means[i] == mean);
            }
        }
    }

    void movingAverageIsEmptyWithoutMemory()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const Numbers numbers{1, 2, 6};
        int failures = 0;
        for (int number = 0;; ++number) {
            FailingMemory memory(number, FailingMemory::Once);
            const Numbers means = Statistics::movingAverage(column(numbers), 1, 1);
            memory.end();
            if (!memory.hasFailed())
                break;
            QCOMPARE(means, Numbers());
            ++failures;
        }
        QCOMPARE(failures, 2);
    }

private:
    static bool isNear(double found, double expected, double tolerance = 1e-15)
    {
        return isExactly(found, expected) ||
               std::abs(found - expected) <= tolerance * std::abs(expected);
    }
};

QTEST_GUILESS_MAIN(tst_Statistics_pairs)
#include "tst_Statistics_pairs.moc"
