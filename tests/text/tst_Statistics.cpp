#include "utils/text/Statistics.h"

#include "tests/support/Exact.h"
#include "tests/support/Limits.h"
#include "tests/support/Qemu.h"
#include "tests/support/Windows.h"
#include "tests/text/Columns.h"

#include <QtTest>

#include <climits>
#include <cmath>
#include <limits>

using Utils::Statistics;

static Numbers quartiles(const Numbers &numbers, const Indices &indices = {})
{
    Numbers five(5, -1.0);
    Statistics::quartiles(column(numbers), five[0], five[1], five[2], five[3], five[4], indices);
    return five;
}

struct Histogram
{
    int result = -1;
    Indices counts;
    QList<double> edges;
};

static Histogram histogram(const Numbers &numbers, int bins, const Data::Interval &interval = {},
                           const Indices &indices = {})
{
    Histogram made;
    made.result = Statistics::histogramData(column(numbers), bins, made.counts, made.edges, indices,
                                            interval);
    return made;
}

struct Curve
{
    Numbers x;
    Numbers y;
    Numbers markers;
};

static Curve curve(const Numbers &numbers, int bins, Statistics::DistributionScale scale,
                   const Indices &indices = {})
{
    Curve made;
    Statistics::distributionData(column(numbers), bins, made.x, made.y, scale, &made.markers,
                                 indices);
    return made;
}

class tst_Statistics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void selectsRows_data()
    {
        QTest::addColumn<Indices>("indices");
        QTest::addColumn<Numbers>("selected");

        QTest::newRow("all") << Indices{} << Numbers{1, 2, 4};
        QTest::newRow("none") << Indices{-1} << Numbers{};
        QTest::newRow("none, by any negative index") << Indices{-7} << Numbers{};
        QTest::newRow("one") << Indices{1} << Numbers{2};
        QTest::newRow("the first") << Indices{0} << Numbers{1};
        QTest::newRow("a hole") << Indices{2} << Numbers{};
        QTest::newRow("in the order named, and again") << Indices{3, 0, 2, 3} << Numbers{4, 1, 4};
        QTest::newRow("a negative index among others") << Indices{0, -1, 1} << Numbers{1, 2};
        QTest::newRow("a negative index first") << Indices{-1, 1} << Numbers{2};
        QTest::newRow("only negative indices") << Indices{-1, -1} << Numbers{};
        QTest::newRow("the last row") << Indices{3} << Numbers{4};
        QTest::newRow("after the last row") << Indices{4, 3} << Numbers{4};
        QTest::newRow("far outside") << Indices{INT_MAX, 0, INT_MIN} << Numbers{1};
    }

    void selectsRows()
    {
        QFETCH(Indices, indices);
        QFETCH(Numbers, selected);
        const Numbers numbers{1, 2, hole, 4};

        QCOMPARE(exact(Statistics::reduce(column(numbers), indices)), exact(selected));
        QCOMPARE(Statistics::length(column(numbers), indices), selected.size());
    }

    void selectsNothingFromAnEmptyColumn()
    {
        QCOMPARE(Statistics::length({}, {}), 0);
        QCOMPARE(Statistics::length({}, {0, 1}), 0);
        QCOMPARE(Statistics::reduce({}, {0, 1}), Numbers());
    }

    void readsTheSizeFromTheLowerHalf_data()
    {
        QTest::addColumn<quint64>("size");
        QTest::addColumn<int>("length");

        QTest::newRow("as it is") << Q_UINT64_C(2) << 2;
        QTest::newRow("beyond 32 bits") << Q_UINT64_C(0x100000002) << 2;
        QTest::newRow("nothing in the lower half") << Q_UINT64_C(0x300000000) << 0;
        QTest::newRow("negative") << Q_UINT64_C(0x80000000) << 0;
        QTest::newRow("negative, the largest") << ~Q_UINT64_C(0) << 0;
    }

    void readsTheSizeFromTheLowerHalf()
    {
        QFETCH(quint64, size);
        QFETCH(int, length);
        const double numbers[] = {1, 2};
        const Data::Array array{numbers, size};

        QCOMPARE(Statistics::length(array), length);
        QCOMPARE(Statistics::length(array, {0, 1, 2}), length);
        QCOMPARE(Statistics::interpolate(array, 1, array, array), length ? 2.0 : hole);
    }

    void takesAColumnWithoutDataForEmpty_data()
    {
        QTest::addColumn<quint64>("size");

        QTest::newRow("empty") << Q_UINT64_C(0);
        QTest::newRow("three") << Q_UINT64_C(3);
        QTest::newRow("the most") << Q_UINT64_C(0x7fffffff);
        QTest::newRow("beyond 32 bits") << ~Q_UINT64_C(0);
    }

    void takesAColumnWithoutDataForEmpty()
    {
        QFETCH(quint64, size);
        const Data::Array nothing{nullptr, size};
        const Numbers numbers{1, 2};
        double ends[5];
        Numbers x;
        Numbers y;
        QList<int> counts;
        QList<double> edges;

        for (const Indices &indices : {Indices{}, Indices{0}, Indices{0, 1}, Indices{-1}}) {
            QCOMPARE(Statistics::length(nothing, indices), 0);
            QCOMPARE(exact(Statistics::mean(nothing, indices)), exact(0.0));
            QCOMPARE(Statistics::range(nothing, indices).flags, 0);
            QCOMPARE(exact(Statistics::median(nothing, indices)), exact(0.0));
            Statistics::quartiles(nothing, ends[0], ends[1], ends[2], ends[3], ends[4], indices);
            QCOMPARE(exact(ends[3]), exact(0.0));
            QCOMPARE(Statistics::sort(nothing, true, indices), Numbers());
            QCOMPARE(exact(Statistics::covariance(nothing, column(numbers), indices)), exact(0.0));
            QCOMPARE(exact(Statistics::covariance(column(numbers), nothing, indices)), exact(0.0));
            QCOMPARE(Statistics::histogramData(nothing, 4, counts, edges, indices), 0);
            x.clear();
            Statistics::distributionData(nothing, 4, x, y, Statistics::CountScale, nullptr,
                                         indices);
            QCOMPARE(x.size(), 51);
        }
        QCOMPARE(Statistics::interpolate(nothing, 0, column(numbers), column(numbers)), hole);
        QCOMPARE(Statistics::interpolate(column(numbers), 0, nothing, column(numbers)), hole);
        QCOMPARE(Statistics::interpolate(column(numbers), 0, column(numbers), nothing), hole);
    }

    void sumsUpAColumn_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<int>("length");
        QTest::addColumn<double>("sum");
        QTest::addColumn<double>("mean");
        QTest::addColumn<double>("variance");
        QTest::addColumn<double>("deviation");

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << 0 << 0.0 << 0.0 << 0.0 << 0.0;
        QTest::newRow("only holes") << Numbers{hole, hole} << 0 << 0.0 << 0.0 << 0.0 << 0.0;
        QTest::newRow("a hole between") << Numbers{1, hole, 3} << 2 << 4.0 << 2.0 << 1.0 << std::sqrt(2.0);
        QTest::newRow("one value") << Numbers{7} << 1 << 7.0 << 7.0 << 0.0 << 0.0;
        QTest::newRow("1 2 3") << Numbers{1, 2, 3} << 3 << 6.0 << 2.0 << 2.0 / 3.0 << 1.0;
        QTest::newRow("negative") << Numbers{-1, -5} << 2 << -6.0 << -3.0 << 4.0 << std::sqrt(8.0);
        QTest::newRow("equal") << Numbers{5, 5, 5} << 3 << 15.0 << 5.0 << 0.0 << 0.0;
        QTest::newRow("no exact hole") << Numbers{1.0000001e300} << 1 << 1.0000001e300 << 1.0000001e300 << 0.0 << 0.0;
        QTest::newRow("the negative hole") << Numbers{-1e300} << 1 << -1e300 << -1e300 << 0.0 << 0.0;
        QTest::newRow("from the first to the last") << Numbers{1e16, 1, -1e16, 1} << 4 << 1.0 << 0.25
            << ((1e16 - 0.25) * (1e16 - 0.25) + 0.75 * 0.75 + (-1e16 - 0.25) * (-1e16 - 0.25) + 0.75 * 0.75) / 4.0
            << std::sqrt((1e16 * 1e16 + 1e16 * 1e16) / 4.0 * 4.0 / 3.0);
        QTest::newRow("negative zeros") << Numbers{-0.0, -0.0} << 2 << 0.0 << 0.0 << 0.0 << 0.0;
        QTest::newRow("not a number") << Numbers{1, NaN} << 2 << NaN << NaN << NaN << NaN;
        QTest::newRow("infinite") << Numbers{1, infinity} << 2 << infinity << infinity << NaN << NaN;
        QTest::newRow("two infinities") << Numbers{-infinity, infinity} << 2 << NaN << NaN << NaN << NaN;
        QTest::newRow("beyond the largest") << Numbers{huge, huge} << 2 << infinity << infinity << infinity << infinity;
        // clang-format on
    }

    void sumsUpAColumn()
    {
        QFETCH(Numbers, numbers);
        QFETCH(int, length);
        QFETCH(double, sum);
        QFETCH(double, mean);
        QFETCH(double, variance);
        QFETCH(double, deviation);

        QCOMPARE(Statistics::length(column(numbers)), length);
        QCOMPARE(exact(Statistics::sum(column(numbers))), exact(sum));
        QCOMPARE(exact(Statistics::mean(column(numbers))), exact(mean));
        QCOMPARE(exact(Statistics::variance(column(numbers))), exact(variance));
        QCOMPARE(exact(Statistics::standardDeviation(column(numbers))), exact(deviation));
    }

    void sumsUpOnlyWhatIsSelected()
    {
        const Numbers numbers{1, hole, 3, 100};
        const Data::Array array = column(numbers);

        QCOMPARE(Statistics::sum(array, {2, 0}), 4.0);
        QCOMPARE(Statistics::mean(array, {2, 0, 1}), 2.0);
        QCOMPARE(Statistics::variance(array, {2, 0}), 1.0);
        QCOMPARE(exact(Statistics::standardDeviation(array, {2, 0})), exact(std::sqrt(2.0)));
        QCOMPARE(Statistics::median(array, {2, 0, 1}), 2.0);
        QCOMPARE(Statistics::minimum(array, {2, 3}), 3.0);
        QCOMPARE(Statistics::maximum(array, {2, 0}), 3.0);
        QCOMPARE(exact(quartiles(numbers, {3, 2, 1, 0, 2})), exact(Numbers{1, 2, 3, 51.5, 100}));
        QCOMPARE(exact(Statistics::sort(array, true, {3, 1, 0})), exact(Numbers{1, 100}));
        QCOMPARE(histogram(numbers, 2, {}, {0, 1, 2}).counts, Indices({1, 1}));
        QCOMPARE(exact(curve(numbers, 4, Statistics::PeakScale, {0, 2, 1}).markers[0]), exact(2.0));
    }

    void givesZeroForASelectionOfNothing()
    {
        const Numbers numbers{4, 5, 7};
        const Data::Array array = column(numbers);

        QCOMPARE(exact(Statistics::sum(array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::mean(array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::variance(array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::standardDeviation(array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::minimum(array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::maximum(array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::median(array, {-1})), exact(0.0));
        QCOMPARE(exact(quartiles(numbers, {-1})), exact(Numbers(5, 0.0)));
        QCOMPARE(Statistics::sort(array, true, {-1}), Numbers());
        QCOMPARE(histogram(numbers, 2, {}, {-1}).result, 0);
        QCOMPARE(exact(Statistics::covariance(array, array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::coefficientCorrelation(array, array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::coefficientMultDetermination(array, array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::coefficientMultDeterminationAdjusted(array, array, 1, {-1})),
                 exact(0.0));
        QCOMPARE(exact(Statistics::residualSumSquare(array, array, {-1})), exact(0.0));
        QCOMPARE(exact(Statistics::rmsValue(array, array, {-1})), exact(0.0));
    }

    void findsTheEnds_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<double>("minimum");
        QTest::addColumn<double>("maximum");
        QTest::addColumn<int>("flags");

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << 0.0 << 0.0 << 0;
        QTest::newRow("only holes") << Numbers{hole, hole} << 0.0 << 0.0 << 0;
        QTest::newRow("one") << Numbers{-3} << -3.0 << -3.0 << 3;
        QTest::newRow("some") << Numbers{4, -2, 9, 3} << -2.0 << 9.0 << 3;
        QTest::newRow("at the ends") << Numbers{9, 4, 3, -2} << -2.0 << 9.0 << 3;
        QTest::newRow("all above 0") << Numbers{4, 2} << 2.0 << 4.0 << 3;
        QTest::newRow("all below 0") << Numbers{-4, -2} << -4.0 << -2.0 << 3;
        QTest::newRow("holes around") << Numbers{hole, 5, hole} << 5.0 << 5.0 << 3;
        QTest::newRow("beyond the hole") << Numbers{2e300, 3} << 3.0 << 2e300 << 3;
        QTest::newRow("infinite") << Numbers{1, infinity, -infinity} << -infinity << infinity << 3;
        QTest::newRow("only infinite") << Numbers{infinity} << infinity << infinity << 3;
        QTest::newRow("only negatively infinite") << Numbers{-infinity} << -infinity << -infinity << 3;
        QTest::newRow("NaN first") << Numbers{NaN, 2, 1} << 1.0 << 2.0 << 3;
        QTest::newRow("NaN between") << Numbers{2, NaN, 1} << 1.0 << 2.0 << 3;
        QTest::newRow("NaN last") << Numbers{1, 2, NaN} << 1.0 << 2.0 << 3;
        QTest::newRow("only NaN") << Numbers{NaN, hole, NaN} << NaN << NaN << 3;
        QTest::newRow("0 and -0") << Numbers{0.0, -0.0} << 0.0 << 0.0 << 3;
        QTest::newRow("-0 and 0") << Numbers{-0.0, 0.0} << -0.0 << -0.0 << 3;
        QTest::newRow("0 and -0 above others") << Numbers{-1, 0.0, -0.0} << -1.0 << 0.0 << 3;
        QTest::newRow("-0 and 0 below others") << Numbers{1, -0.0, 0.0} << -0.0 << 1.0 << 3;
        // clang-format on
    }

    void findsTheEnds()
    {
        QFETCH(Numbers, numbers);
        QFETCH(double, minimum);
        QFETCH(double, maximum);
        QFETCH(int, flags);
        const Data::Interval range = Statistics::range(column(numbers));

        QCOMPARE(exact(range.min), exact(minimum));
        QCOMPARE(exact(range.max), exact(maximum));
        QCOMPARE(range.flags, flags);
        QCOMPARE(exact(Statistics::minimum(column(numbers))), exact(minimum));
        QCOMPARE(exact(Statistics::maximum(column(numbers))), exact(maximum));
    }

    void findsTheMedianAndTheQuartiles_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<Numbers>("five"); // minimum, lower, median, upper, maximum

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << Numbers{0, 0, 0, 0, 0};
        QTest::newRow("only holes") << Numbers{hole} << Numbers{0, 0, 0, 0, 0};
        QTest::newRow("1") << Numbers{4} << Numbers{4, 4, 4, 4, 4};
        QTest::newRow("2") << Numbers{5, 2} << Numbers{2, 2, 3.5, 5, 5};
        QTest::newRow("3") << Numbers{3, 1, 2} << Numbers{1, 1, 2, 3, 3};
        QTest::newRow("4") << Numbers{1, 2, 3, 4} << Numbers{1, 1.5, 2.5, 3.5, 4};
        QTest::newRow("5") << Numbers{5, 3, 1, 4, 2} << Numbers{1, 1.5, 3, 4.5, 5};
        QTest::newRow("6") << Numbers{6, 5, 4, 3, 2, 1} << Numbers{1, 2, 3.5, 5, 6};
        QTest::newRow("7") << Numbers{1, 2, 3, 4, 5, 6, 7} << Numbers{1, 2, 4, 6, 7};
        QTest::newRow("8") << Numbers{1, 2, 3, 4, 5, 6, 7, 8} << Numbers{1, 2.5, 4.5, 6.5, 8};
        QTest::newRow("9") << Numbers{9, 8, 7, 6, 5, 4, 3, 2, 1} << Numbers{1, 2.5, 5, 7.5, 9};
        QTest::newRow("with holes") << Numbers{hole, 4, 1, hole, 3, 2} << Numbers{1, 1.5, 2.5, 3.5, 4};
        QTest::newRow("equal") << Numbers{2, 2, 2, 2} << Numbers{2, 2, 2, 2, 2};
        QTest::newRow("negative") << Numbers{-1, -4, 3, 0} << Numbers{-4, -2.5, -0.5, 1.5, 3};
        QTest::newRow("infinite") << Numbers{infinity, 1, -infinity}
                                  << Numbers{-infinity, -infinity, 1, infinity, infinity};
        QTest::newRow("NaN") << Numbers{NaN, 1, NaN, 2, 3} << Numbers{1, 1.5, 3, NaN, NaN};
        QTest::newRow("-0 before 0") << Numbers{0.0, 0.0, -0.0, -0.0, -0.0} << Numbers{-0.0, -0.0, -0.0, 0.0, 0.0};
        QTest::newRow("beyond the largest") << Numbers{huge, huge} << Numbers{huge, huge, infinity, huge, huge};
        // clang-format on
    }

    void findsTheMedianAndTheQuartiles()
    {
        QFETCH(Numbers, numbers);
        QFETCH(Numbers, five);

        QCOMPARE(exact(Statistics::median(column(numbers))), exact(five[2]));
        QCOMPARE(exact(quartiles(numbers)), exact(five));
    }

    void sorts_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<Numbers>("ascending");
        QTest::addColumn<Numbers>("descending");

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << Numbers{} << Numbers{};
        QTest::newRow("only holes") << Numbers{hole} << Numbers{} << Numbers{};
        QTest::newRow("some") << Numbers{3, hole, 1, 2} << Numbers{1, 2, 3} << Numbers{3, 2, 1};
        QTest::newRow("repeated") << Numbers{2, 1, 2} << Numbers{1, 2, 2} << Numbers{2, 2, 1};
        QTest::newRow("every size") << Numbers{tiny, -1e-9, huge, -huge, infinity, 2e300, -infinity}
            << Numbers{-infinity, -huge, -1e-9, tiny, 2e300, huge, infinity}
            << Numbers{infinity, huge, 2e300, tiny, -1e-9, -huge, -infinity};
        QTest::newRow("-0 before 0") << Numbers{0.0, -0.0, 0.0} << Numbers{-0.0, 0.0, 0.0} << Numbers{0.0, 0.0, -0.0};
        QTest::newRow("NaN last") << Numbers{NaN, 1, -NaN, 2} << Numbers{1, 2, NaN, NaN} << Numbers{2, 1, NaN, NaN};
        QTest::newRow("only NaN") << Numbers{NaN, NaN} << Numbers{NaN, NaN} << Numbers{NaN, NaN};
        // clang-format on
    }

    void sorts()
    {
        QFETCH(Numbers, numbers);
        QFETCH(Numbers, ascending);
        QFETCH(Numbers, descending);

        QCOMPARE(exact(Statistics::sort(column(numbers), true)), exact(ascending));
        QCOMPARE(exact(Statistics::sort(column(numbers), false)), exact(descending));
    }

    void givesNoListThatIsLargerThanTheMemory()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        Numbers numbers(4 << 20); // 32 MiB
        numbers[7] = -1.0;
        const Limit memory(RLIMIT_AS, memoryInUse() + (20 << 20));

        QVERIFY(Statistics::reduce(column(numbers)).isEmpty());
        QVERIFY(Statistics::sort(column(numbers), true).isEmpty());
        QCOMPARE(exact(Statistics::median(column(numbers))), exact(0.0));
        QCOMPARE(exact(quartiles(numbers)), exact(Numbers{-1, 0, 0, 0, 0}));
    }

    void sortsWithoutMemoryForMoreThanTheResult()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        Numbers numbers(5 << 20, 3.0); // 40 MiB
        numbers[7] = -1.0;
        const Limit memory(RLIMIT_AS, memoryInUse() + (60 << 20));

        const Numbers sorted = Statistics::sort(column(numbers), true);

        QCOMPARE(sorted.size(), numbers.size());
        QCOMPARE(sorted.first(), -1.0);
        QCOMPARE(sorted[1], 3.0);
    }

    void comparesTwoColumns_data()
    {
        QTest::addColumn<Numbers>("a");
        QTest::addColumn<Numbers>("b");
        QTest::addColumn<Indices>("indices");
        QTest::addColumn<double>("covariance");
        QTest::addColumn<double>("correlation");
        QTest::addColumn<double>("residual");
        QTest::addColumn<double>("rms");

        const auto row = [](const char *name, const Numbers &a, const Numbers &b,
                            const Indices &indices, double covariance, double correlation,
                            double residual, double rms) {
            QTest::newRow(name) << a << b << indices << covariance << correlation << residual
                                << rms;
        };
        row("nothing", {}, {}, {}, 0, 0, 0, 0);
        row("a column and nothing", {1, 2}, {}, {}, 0, 0, 0, 0);
        row("nothing and a column", {}, {1, 2}, {}, 0, 0, 0, 0);
        row("only holes", {hole, hole}, {hole, hole}, {}, 0, 0, 0, 0);
        row("no pair without a hole", {1, hole, 3}, {hole, 5, hole}, {}, 0, 0, 0, 0);
        row("rising together", {1, 3}, {2, 6}, {}, 2, 1, 10, std::sqrt(5.0));
        row("one falls", {1, 3}, {6, 2}, {}, -2, -1, 26, std::sqrt(13.0));
        row("no spread in one", {1, 3}, {2, 2}, {}, 0, 0, 2, 1);
        row("no spread in the other", {2, 2}, {1, 3}, {}, 0, 0, 2, 1);
        // The mean of a is 4, that of b 1.
        row("means of all values", {1, hole, 7}, {hole, 2, 0}, {}, -3, -1, 49, std::sqrt(24.5));
        // The mean of a is 2 over two rows, that of b 5 over three.
        row("the shorter one first", {1, 3}, {2, 6, 7}, {}, (-1.0 * -3.0 + 1.0 * 1.0) / 2.0,
            2.0 / std::sqrt(14.0 / 3.0 * 1.0), 10, std::sqrt(10.0 / 3.0));
        row("the shorter one second", {2, 6, 7}, {1, 3}, {}, 2.0, 2.0 / std::sqrt(1.0 * 14.0 / 3.0),
            10, std::sqrt(5.0));
        // The variance of a is 2.25 over two rows, that of b 13.5 over four.
        row("beyond 1", {0, hole, hole, 3}, {0, 0, 3, 9}, {}, (-1.5 * -3.0 + 1.5 * 6.0) / 2.0,
            6.75 / std::sqrt(13.5 * 2.25), 36, 3);
        row("selected", {9, 3, 1}, {9, 6, 2}, {2, 1}, 2, 1, 10, std::sqrt(5.0));
        row("selected beyond the end of one", {1, 3, 5}, {2, 6}, {0, 1, 2}, 2,
            2.0 / std::sqrt(4.0 * (8.0 / 3.0)), 10, std::sqrt(5.0));
        row("not a number", {1, NaN}, {2, 6}, {}, NaN, 0, NaN, NaN);
        row("infinite", {1, infinity}, {2, 6}, {}, NaN, 0, infinity, infinity);
        row("infinite against itself", {1, infinity}, {2, infinity}, {}, NaN, 0, NaN, NaN);
    }

    void comparesTwoColumns()
    {
        QFETCH(Numbers, a);
        QFETCH(Numbers, b);
        QFETCH(Indices, indices);
        QFETCH(double, covariance);
        QFETCH(double, correlation);
        QFETCH(double, residual);
        QFETCH(double, rms);

        QCOMPARE(exact(Statistics::covariance(column(a), column(b), indices)), exact(covariance));
        QCOMPARE(exact(Statistics::coefficientCorrelation(column(a), column(b), indices)),
                 exact(correlation));
        QCOMPARE(exact(Statistics::residualSumSquare(column(a), column(b), indices)),
                 exact(residual));
        QCOMPARE(exact(Statistics::rmsValue(column(a), column(b), indices)), exact(rms));
    }

    void correlatesByPositionWhatIsLeftOfASelection()
    {
        const Numbers a{hole, 1, 2, 3, 4};
        const Numbers b{1, 2, 3, 4, hole};

        const double byRow = Statistics::coefficientCorrelation(column(a), column(b));
        const double byPosition =
            Statistics::coefficientCorrelation(column(a), column(b), {0, 1, 2, 3, 4});

        // 1, 2, 3 of a and 2, 3, 4 of b, the means of both being 2.5
        QCOMPARE(exact(byRow), exact((-1.5 * -0.5 + -0.5 * 0.5 + 0.5 * 1.5) / 3.0 / 1.25));
        QCOMPARE(exact(byPosition), exact(1.0));
    }

    void givesTheResidualItselfWhereThereIsNothingToDivideBy()
    {
        const Numbers a{1, 2};
        const Numbers b{hole, hole};

        QCOMPARE(exact(Statistics::rmsValue(column(a), column(b))), exact(0.0));
        QCOMPARE(exact(Statistics::rmsValue(column(a), {})), exact(0.0));
    }

    void sumsUpTheSquaresOfAFit_data()
    {
        QTest::addColumn<Numbers>("a");
        QTest::addColumn<Numbers>("b");
        QTest::addColumn<Indices>("indices");
        QTest::addColumn<Numbers>("sums"); // total, residual, regression; none on failure
        QTest::addColumn<double>("determination");

        const auto row = [](const char *name, const Numbers &a, const Numbers &b,
                            const Indices &indices, const Numbers &sums, double determination) {
            QTest::newRow(name) << a << b << indices << sums << determination;
        };
        row("nothing", {}, {}, {}, {}, 0);
        row("nothing fitted", {1, 2}, {}, {}, {}, 0);
        row("nothing observed", {}, {1, 2}, {}, {}, 0);
        row("nothing selected", {1, 2}, {1, 2}, {-1}, {}, 0);
        row("rows of nothing observed", {}, {1, 2}, {0, 1}, {}, 0);
        row("rows of nothing fitted", {1, 2}, {}, {0, 1}, {}, 0);
        row("rows that are none", {1, 2}, {1, 2}, {7, 8}, {0, 0, 0}, 0);
        row("only holes", {hole}, {hole}, {}, {0, 0, 0}, 0);
        row("a perfect fit", {1, 3}, {1, 3}, {}, {2, 0, 2}, 1);
        row("a fit", {1, 3, 5}, {2, 3, 3}, {}, {8, 5, 1}, 1.0 - 5.0 / 8.0);
        row("worse than the mean", {1, 3}, {5, 3}, {}, {2, 16, 10}, -7);
        row("no spread", {2, 2}, {1, 3}, {}, {0, 2, 2}, 0);
        // The mean of a is 4, also over the rows that have no partner.
        row("the mean of all values", {1, 2, 9}, {hole, 3}, {}, {4, 1, 1}, 0.75);
        row("selected", {1, 2, 9}, {7, 3, 8}, {2, 1}, {24.5, 2, 12.5}, 1.0 - 2.0 / 24.5);
        row("not a number", {1, NaN}, {1, 2}, {}, {NaN, NaN, NaN}, NaN);
    }

    void sumsUpTheSquaresOfAFit()
    {
        QFETCH(Numbers, a);
        QFETCH(Numbers, b);
        QFETCH(Indices, indices);
        QFETCH(Numbers, sums);
        QFETCH(double, determination);
        Numbers found{-1, -2, -3};

        const bool isDone =
            Statistics::sumSquareInfo(column(a), column(b), found[0], found[1], found[2], indices);

        QCOMPARE(isDone, !sums.isEmpty());
        QCOMPARE(exact(found), exact(isDone ? sums : Numbers{-1, -2, -3}));
        QCOMPARE(exact(Statistics::coefficientMultDetermination(column(a), column(b), indices)),
                 exact(determination));
    }

    void adjustsTheDeterminationToTheParameters_data()
    {
        QTest::addColumn<Numbers>("a");
        QTest::addColumn<Numbers>("b");
        QTest::addColumn<int>("parameters");
        QTest::addColumn<Indices>("indices");
        QTest::addColumn<double>("adjusted");

        const auto row = [](const char *name, const Numbers &a, const Numbers &b, int parameters,
                            const Indices &indices, double adjusted) {
            QTest::newRow(name) << a << b << parameters << indices << adjusted;
        };
        const Numbers a{1, 3, 5, 7};
        const Numbers b{2, 3, 5, 7}; // the total is 20, the residual 1
        const double r2 = 1.0 - 1.0 / 20.0;
        row("none", a, b, 0, {}, 1.0 - (1.0 - r2) * 3 / 4);
        row("one", a, b, 1, {}, 1.0 - (1.0 - r2) * 3 / 3);
        row("two", a, b, 2, {}, 1.0 - (1.0 - r2) * 3 / 2);
        row("one less than values", a, b, 3, {}, 1.0 - (1.0 - r2) * 3 / 1);
        row("as many as values", a, b, 4, {}, 0);
        row("the most", a, b, INT_MAX, {}, 0);
        row("the least", a, b, INT_MIN, {}, 1.0 - (1.0 - r2) * 3 / 2147483652.0);
        row("fewer values in b", a, {1, 3, hole}, 2, {}, 0);
        row("fewer values in a", {1, hole, 3}, b, 2, {}, 0);
        row("selected", a, b, 2, {0, 1, 3}, 1.0 - (1.0 - (1.0 - 1.0 / (56.0 / 3.0))) * 2 / 1);
        row("nothing", {}, {}, 0, {}, 0);
        row("nothing, and fewer parameters", {}, {}, -1, {}, 2);
    }

    void adjustsTheDeterminationToTheParameters()
    {
        QFETCH(Numbers, a);
        QFETCH(Numbers, b);
        QFETCH(int, parameters);
        QFETCH(Indices, indices);
        QFETCH(double, adjusted);

        QCOMPARE(Statistics::coefficientMultDeterminationAdjusted(column(a), column(b), parameters,
                                                                  indices),
                 adjusted);
    }

    void interpolates_data()
    {
        QTest::addColumn<double>("v");
        QTest::addColumn<Numbers>("xs");
        QTest::addColumn<Numbers>("ys");
        QTest::addColumn<double>("y");

        const auto row = [](const char *name, double v, const Numbers &xs, const Numbers &ys,
                            double y) { QTest::newRow(name) << v << xs << ys << y; };
        const Numbers xs{1, 2, 4};
        const Numbers ys{10, 20, 60};
        row("between two knots", 3, xs, ys, 40);
        row("nearer to one", 1.25, xs, ys, 12.5);
        row("on the first knot", 1, xs, ys, 10);
        row("on a knot", 2, xs, ys, 20);
        row("on the last knot", 4, xs, ys, 60);
        row("below", 0.5, xs, ys, hole);
        row("above", 4.5, xs, ys, hole);
        row("no curve", 1, {}, {}, hole);
        row("one knot", 1, {0}, {5}, hole);
        row("no y", 1.5, xs, {}, hole);
        row("no x", 1.5, {}, ys, hole);
        row("one knot, more y", 5, {5}, {7, 8}, hole);
        row("one y", 1.5, xs, {10}, hole);
        row("fewer y than x", 3, xs, {10, 20}, hole);
        row("fewer y, below the last", 1.5, xs, {10, 20}, 15);
        row("fewer x than y", 3, {1, 2}, ys, hole);
        row("descending", 3, {4, 2, 1}, {60, 20, 10}, hole);
        row("descending, then ascending", 3, {4, 2, 6}, {0, 10, 50}, 20);
        row("the first of two steps", 3, {2, 4, 2, 4}, {0, 2, 100, 200}, 1);
        row("on two equal knots", 2, {2, 2, 3}, {7, 8, 9}, 7);
        row("equal knots after a step", 2, {1, 2, 2}, {5, 7, 8}, 7);
        row("a falling curve", 3, {2, 4}, {8, 0}, 4);
        row("up to a hole", 2, {1, hole}, {5, 6}, 5);
        row("a hole in y", 1.5, {1, 2}, {0, hole}, 0.5 * hole);
        row("a hole", hole, xs, ys, hole);
        row("not a number", NaN, xs, ys, hole);
        row("on a curve that is none", 1.5, {NaN, NaN}, {1, 2}, hole);
        row("infinite", infinity, xs, ys, hole);
    }

    void interpolates()
    {
        QFETCH(double, v);
        QFETCH(Numbers, xs);
        QFETCH(Numbers, ys);
        QFETCH(double, y);
        Numbers x(20, -1.0);
        x[15] = v; // no row of the curve, which is the short cut

        QCOMPARE(exact(Statistics::interpolate(column(x), 15, column(xs), column(ys))), exact(y));
    }

    void interpolatesColumnsThatShareTheirRows()
    {
        const Numbers shared{9, 7, hole, 7, 3};
        const Numbers ys{1, 2, 3, 4, hole};
        const Numbers one{7};

        for (int i = 0; i < shared.size(); ++i)
            QCOMPARE(exact(Statistics::interpolate(column(shared), i, column(shared), column(ys))),
                     exact(ys[i]));
        QCOMPARE(Statistics::interpolate(column(one), 0, column(one), column(ys)), 1.0);
        // Beyond the end of the y, and of another value, it is searched for.
        QCOMPARE(Statistics::interpolate(column(shared), 3, column(shared), column({1, 2})), hole);
        QCOMPARE(Statistics::interpolate(column(shared), 3, column({7, 8, 0, 6}), column(ys)), 1.0);
    }

    void interpolatesNothingOutsideTheColumn()
    {
        const Numbers x{1, 2};
        const Numbers xs{1, 2, 3};

        for (const int index : {-1, 2, 3, INT_MAX, INT_MIN})
            QCOMPARE(Statistics::interpolate(column(x), index, column(xs), column(xs)), hole);
    }

    void countsInBins_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<int>("bins");
        QTest::addColumn<Numbers>("interval"); // none, or both ends and the flags
        QTest::addColumn<Indices>("counts");
        QTest::addColumn<Numbers>("edges");

        const auto row = [](const char *name, const Numbers &numbers, int bins,
                            const Numbers &interval, const Indices &counts, const Numbers &edges) {
            QTest::newRow(name) << numbers << bins << interval << counts << edges;
        };
        const Numbers five{3, 0, 4, 2, 1};
        // clang-format off
        row("nothing", {}, 4, {}, {}, {});
        row("one value", {1}, 4, {}, {}, {});
        row("one value and holes", {hole, 1, hole}, 4, {}, {}, {});
        row("only holes", {hole, hole}, 4, {}, {}, {});
        row("two values", {1, 2}, 2, {}, {1, 1}, {1.5, 2});
        row("on an edge", five, 2, {}, {3, 2}, {2, 4});
        row("with holes", {3, hole, 0, 4, 2, hole, 1}, 2, {}, {3, 2}, {2, 4});
        row("an empty bin between", {0, 1, 4}, 4, {}, {2, 0, 0, 1}, {1, 2, 3, 4});
        row("all equal", {5, 5, 5}, 4, {}, {3, 0, 0, 0}, {5, 5, 5, 5});
        row("all equal, by rule", {5, 5, 5}, 0, {}, {3}, {5});
        row("negative", {-4, -3, -1}, 3, {}, {2, 0, 1}, {-3, -2, -1});

        row("an interval", five, 2, {1, 3, 3}, {3, 1, 1}, {2, 3, 4});
        row("a wider interval", five, 2, {-4, 8, 3}, {3, 2}, {2, 8});
        row("an interval above", five, 2, {10, 12, 3}, {5, 0}, {11, 12});
        row("an interval below", {1, 5}, 2, {-2, 0, 3}, {0, 0, 1, 0, 0, 0, 1}, {-1, 0, 1, 2, 3, 4, 5});
        row("an interval with one end set", five, 2, {1, 3, 1}, {3, 1, 1}, {2, 3, 4});
        row("an interval that is empty", five, 2, {1, 3, 0}, {3, 2}, {2, 4});
        row("an interval without length", five, 2, {3, 3, 3}, {3, 2}, {2, 4});
        row("an interval upside down", five, 2, {3, 1, 3}, {3, 2}, {2, 4});
        row("an interval that is no number", five, 2, {NaN, 1, 3}, {3, 2}, {2, 4});
        row("all equal above an interval, by rule", {5, 5}, 0, {1, 2, 3}, {2}, {1});

        // The width is 2, so that the tolerance is 0.0002 and, with an end at 1, 0.0001.
        row("just above an edge", {0, 2.00019, 4}, 2, {}, {2, 1}, {2, 4});
        row("further above an edge", {0, 2.00021, 4}, 2, {}, {1, 2}, {2, 4});
        row("just above, by the end", {-3, -0.99991, 1}, 2, {}, {2, 1}, {-1, 1});
        row("further above, by the end", {-3, -0.99989, 1}, 2, {}, {1, 2}, {-1, 1});
        row("above, with the end at 0", {-4, -2 + 1e-15, 0}, 2, {}, {1, 2}, {-2, 0});
        row("just above, by the interval's end", {-3, -0.99991, 90}, 2, {-3, 1, 3},
            Indices{2} + Indices::fromVector(QVector<int>(45)) + Indices{1}, {});
        row("just above the end", {0, 1, 4.00019}, 2, {0, 4, 3}, {2, 1}, {2, 4});
        row("further above the end", {0, 1, 4.00021}, 2, {0, 4, 3}, {2, 0, 1}, {2, 4, 6});
        // Edges are products: with sums the third would be 0.30000000000000004.
        row("edges are no sums", {0, 0.7, 1}, 10, {}, {1, 0, 0, 0, 0, 0, 1, 0, 0, 1},
            {0.1, 0.2, 3 * 0.1, 0.4, 0.5, 6 * 0.1, 7 * 0.1, 0.8, 0.9, 1});

        row("infinite", {0, 1, 2, infinity}, 2, {}, {4, 0}, {infinity, infinity});
        row("infinite beyond an interval", {0, infinity, 1, 2}, 2, {0, 2, 3}, {2, 2}, {1, 2});
        row("negatively infinite", {-infinity, 0, 1}, 2, {}, {3, 0}, {NaN, NaN});
        row("negatively infinite beside an interval", {0, -infinity, 2}, 2, {0, 2, 3}, {2, 1}, {1, 2});
        row("only infinite", {infinity, infinity}, 2, {}, {2, 0}, {NaN, NaN});
        row("an interval from infinity", {1, 2}, 2, {-infinity, 8, 3}, {2, 0}, {NaN, NaN});
        row("an infinite interval", {1, 2}, 2, {0, infinity, 3}, {2, 0}, {infinity, infinity});
        row("an interval beyond the largest", {1, 2}, 2, {-huge, huge, 3}, {2, 0}, {infinity, infinity});
        row("not a number", {0, NaN, 2, 1}, 2, {}, {2, 2}, {1, 2});
        row("not a number, with bins to fill", {0, NaN, 2, 1}, 4, {0, 8, 3}, {4, 0, 0, 0}, {2, 4, 6, 8});
        row("not a number, by rule", {0, NaN, 1}, 0, {}, {3}, {NaN});
        row("only NaN", {NaN, NaN}, 2, {}, {2, 0}, {NaN, NaN});
        row("a width that is too small", {0, tiny}, 3, {}, {2, 0, 0}, {0, 0, 0});
        // clang-format on
    }

    void countsInBins()
    {
        QFETCH(Numbers, numbers);
        QFETCH(int, bins);
        QFETCH(Numbers, interval);
        QFETCH(Indices, counts);
        QFETCH(Numbers, edges);

        const Histogram made =
            histogram(numbers, bins,
                      interval.isEmpty() ? Data::Interval()
                                         : Data::Interval{interval[0], interval[1],
                                                          static_cast<qint32>(interval[2])});

        QCOMPARE(made.counts, counts);
        QCOMPARE(made.result, counts.size());
        QCOMPARE(made.edges.size(), counts.size());
        if (!edges.isEmpty())
            QCOMPARE(exact(made.edges), exact(edges));
    }

    void choosesTheWidthByScottsRule_data()
    {
        QTest::addColumn<int>("bins");

        QTest::newRow("1") << 1;
        QTest::newRow("0") << 0;
        QTest::newRow("-1") << -1;
        QTest::newRow("the least") << INT_MIN;
    }

    void choosesTheWidthByScottsRule()
    {
        QFETCH(int, bins);
        const Numbers numbers{0, 1, 2, 3, 4, 5, 6, 7};
        const double width = 3.5 * std::sqrt(42.0 / 8.0 * 8.0 / 7.0) / 2.0; // 4.28

        const Histogram made = histogram(numbers, bins);
        const Histogram within = histogram(numbers, bins, {2, 3, 3});

        QCOMPARE(made.result, 2);
        QCOMPARE(made.counts, Indices({5, 3}));
        QCOMPARE(exact(made.edges), exact(Numbers{width, 2 * width}));
        QCOMPARE(within.counts, Indices({7, 1})); // the width stays that of the column
        QCOMPARE(exact(within.edges), exact(Numbers{width + 2, 2 * width + 2}));
    }

    void appendsBinsToWhatThereIs()
    {
        const Numbers numbers{0, 1, 2, 3, 4};
        Indices counts{9, 9};
        QList<double> edges{-7};

        const int size = Statistics::histogramData(column(numbers), 4, counts, edges);

        QCOMPARE(size, 4);
        QCOMPARE(counts, Indices({9, 9, 2, 3}));
        QCOMPARE(exact(edges), exact(Numbers{-7, 1, 4}));
        QCOMPARE(Statistics::histogramData(column(numbers), 2, counts, edges), 6);
        QCOMPARE(counts, Indices({9, 9, 2, 3, 3, 2}));
        QCOMPARE(exact(edges), exact(Numbers{-7, 1, 4, 2, 12}));
    }

    void leavesTheListsAloneBelowTwoValues()
    {
        Indices counts{9};
        QList<double> edges{-7};

        QCOMPARE(Statistics::histogramData(column({hole, 1}), 4, counts, edges), 0);
        QCOMPARE(Statistics::histogramData(column({2, 1}), 4, counts, edges, {-1}), 0);

        QCOMPARE(counts, Indices{9});
        QCOMPARE(exact(edges), exact(Numbers{-7}));
    }

    void opensAMillionBinsAtMost_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<int>("bins");
        QTest::addColumn<double>("end"); // of the interval from 0; 0 is none
        QTest::addColumn<int>("inFirst");
        QTest::addColumn<int>("inLast");
        QTest::addColumn<double>("lastEdge");

        QTest::newRow("asked for") << Numbers{0, 1} << INT_MAX << 0.0 << 1 << 1 << 1.0;
        QTest::newRow("by a value") << Numbers{0, 1e299, 2e6} << 2 << 2.0 << 1 << 2 << 1e6;
        QTest::newRow("and NaN") << Numbers{0, NaN, 2e6} << 2 << 2.0 << 1 << 2 << 1e6;
        QTest::newRow("and infinity") << Numbers{0, infinity, 2e6} << 2 << 2.0 << 1 << 2 << 1e6;
        QTest::newRow("just reached") << Numbers{0, 1e6} << 2 << 2.0 << 1 << 1 << 1e6;
    }

    void opensAMillionBinsAtMost()
    {
        QFETCH(Numbers, numbers);
        QFETCH(int, bins);
        QFETCH(double, end);
        QFETCH(int, inFirst);
        QFETCH(int, inLast);
        QFETCH(double, lastEdge);

        const Histogram made =
            histogram(numbers, bins, end > 0.0 ? Data::Interval{0, end, 3} : Data::Interval());

        QCOMPARE(made.result, 1000000);
        QCOMPARE(made.counts.size(), 1000000);
        QCOMPARE(made.edges.size(), 1000000);
        QCOMPARE(made.counts.first(), inFirst);
        QCOMPARE(made.counts.last(), inLast);
        QCOMPARE(exact(made.edges.last()), exact(lastEdge));
    }

    void drawsTheCurveInIntervals_data()
    {
        QTest::addColumn<int>("bins");
        QTest::addColumn<int>("points");

        QTest::newRow("the least") << INT_MIN << 51;
        QTest::newRow("negative") << -20 << 51;
        QTest::newRow("none") << 0 << 51;
        QTest::newRow("4") << 4 << 51;
        QTest::newRow("10") << 10 << 51;
        QTest::newRow("11") << 11 << 56;
        QTest::newRow("20") << 20 << 101;
        QTest::newRow("the most") << INT_MAX << 5000001;
    }

    void drawsTheCurveInIntervals()
    {
        QFETCH(int, bins);
        QFETCH(int, points);

        const Curve made = curve({1, 2, 3}, bins, Statistics::DensityScale);

        QCOMPARE(made.x.size(), points);
        QCOMPARE(made.y.size(), points);
        QCOMPARE(exact(made.x.first()), exact(-1.0));
        QCOMPARE(made.x.last(), 5.0);
    }

    void drawsANormalCurve_data()
    {
        QTest::addColumn<int>("scale");
        QTest::addColumn<double>("peak");

        // 1, 2, 3 and a hole; the variance is 2/3
        // clang-format off
        QTest::newRow("density") << 0 << 1.0 / std::sqrt(2.0 / 3.0 * 6.283185307179586);
        QTest::newRow("peak") << 1 << 1.0;
        QTest::newRow("count") << 2 << 4.0 * (2.0 / 20.0) / std::sqrt(2.0 / 3.0 * 6.283185307179586);
        // clang-format on
    }

    void drawsANormalCurve()
    {
        QFETCH(int, scale);
        QFETCH(double, peak);

        const Curve made =
            curve({1, 3, hole, 2}, 20, static_cast<Statistics::DistributionScale>(scale));

        const auto height = [&](double x) {
            return std::exp((x - 2.0) * (x - 2.0) / (-2.0 * (2.0 / 3.0))) * peak;
        };
        Numbers xs;
        Numbers ys;
        for (int i = 0; i <= 100; ++i) {
            xs << i * 0.06 + -1.0;
            ys << height(xs.last());
        }
        QCOMPARE(exact(made.x), exact(xs));
        QCOMPARE(exact(made.y), exact(ys));
        QCOMPARE(exact(made.markers),
                 exact(Numbers{2, peak, 1, height(1), 3, height(3), 0, height(0), 4, height(4)}));
    }

    void scalesTheCurveByTheSizeOfTheSelection()
    {
        const Numbers numbers{1, 3, hole, 2};

        QCOMPARE(curve(numbers, 2, Statistics::CountScale, {0, 1}).markers[1],
                 2.0 * (2.0 / 2.0) / std::sqrt(6.283185307179586));
        QCOMPARE(curve(numbers, 2, Statistics::CountScale, {0, 1, 2, -1, 9}).markers[1],
                 5.0 * (2.0 / 2.0) / std::sqrt(6.283185307179586));
        QCOMPARE(curve(numbers, -2, Statistics::CountScale, {0, 1}).markers[1],
                 2.0 * (2.0 / -2.0) / std::sqrt(6.283185307179586));
        QCOMPARE(curve(numbers, 0, Statistics::CountScale, {0, 1}).markers[1], infinity);
    }

    void drawsACurveOverWhatHasNoSpread_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<double>("mean");

        QTest::newRow("equal values") << Numbers{5, 5, 5} << 5.0;
        QTest::newRow("one value") << Numbers{-2} << -2.0;
        QTest::newRow("only holes") << Numbers{hole, hole} << 0.0;
        QTest::newRow("nothing") << Numbers{} << 0.0;
    }

    void drawsACurveOverWhatHasNoSpread()
    {
        QFETCH(Numbers, numbers);
        QFETCH(double, mean);
        const double peak = 1.0 / std::sqrt(6.283185307179586);

        const Curve made = curve(numbers, 4, Statistics::DensityScale);

        QCOMPARE(exact(made.x), exact(Numbers(51, mean)));
        QCOMPARE(exact(made.y), exact(Numbers(51, peak)));
        QCOMPARE(exact(made.markers),
                 exact(Numbers{mean, peak, mean, peak, mean, peak, mean, peak, mean, peak}));
    }

    void appendsTheCurveToWhatThereIs()
    {
        const Numbers numbers{1, 2, 3};
        Numbers x{7};
        Numbers y{8, 9};
        Numbers markers{6};

        Statistics::distributionData(column(numbers), 4, x, y, Statistics::PeakScale, &markers);
        Statistics::distributionData(column(numbers), 4, x, y, Statistics::PeakScale);

        QCOMPARE(x.size(), 1 + 2 * 51);
        QCOMPARE(y.size(), 2 + 2 * 51);
        QCOMPARE(markers.size(), 1 + 10);
        QCOMPARE(exact(Numbers{x[0], x[1], x[52]}), exact(Numbers{7, -1, -1}));
        QCOMPARE(exact(Numbers{y[0], y[1]}), exact(Numbers{8, 9}));
        QCOMPARE(exact(Numbers{markers[0], markers[1], markers[2]}), exact(Numbers{6, 2, 1}));
    }

    void drawsSomethingOverAnyNumbers()
    {
        for (const Numbers &numbers : {Numbers{NaN, 1}, Numbers{infinity, 1}, Numbers{huge, -huge}})
        {
            for (const int scale : {0, 1, 2, 3}) {
                const Curve made =
                    curve(numbers, 4, static_cast<Statistics::DistributionScale>(scale));

                QCOMPARE(made.x.size(), 51);
                QCOMPARE(made.y.size(), 51);
                QCOMPARE(made.markers.size(), 10);
            }
        }
    }

    void numbersTheScales()
    {
        QCOMPARE(int(Statistics::DensityScale), 0);
        QCOMPARE(int(Statistics::PeakScale), 1);
        QCOMPARE(int(Statistics::CountScale), 2);
    }

    void comparesWithTolerance_data()
    {
        QTest::addColumn<double>("a");
        QTest::addColumn<double>("b");
        QTest::addColumn<double>("tolerance");
        QTest::addColumn<bool>("isClose");

        QTest::newRow("0 and 0.5") << 0.0 << 0.5 << 1.0 << true;
        QTest::newRow("100 and 200") << 100.0 << 200.0 << 0.5 << false;
        QTest::newRow("200 and 100") << 200.0 << 100.0 << 0.5 << true;
        QTest::newRow("relative to the first") << -200.0 << -100.0 << 0.5 << true;
        QTest::newRow("of different signs") << 1.0 << -1.0 << 0.99 << false;
        QTest::newRow("just at the limit") << 0.0 << 1.0 << 1.0 << false;
        QTest::newRow("equal, no tolerance") << 0.0 << 0.0 << 0.0 << false;
        QTest::newRow("equal, hardly any") << 7.0 << 7.0 << 1e-300 << true;
        QTest::newRow("negative tolerance") << 7.0 << 7.0 << -1.0 << false;
        QTest::newRow("not a number") << NaN << 7.0 << 1.0 << false;
        QTest::newRow("infinite") << infinity << infinity << 1.0 << false;
    }

    void comparesWithTolerance()
    {
        QFETCH(double, a);
        QFETCH(double, b);
        QFETCH(double, tolerance);
        QFETCH(bool, isClose);

        QCOMPARE(Statistics::checkTol(a, b, tolerance), isClose);
    }

    void replacesWhatIsNotFinite_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("isKept");

        QTest::newRow("a number") << 2.5 << true;
        QTest::newRow("-0") << -0.0 << true;
        QTest::newRow("a hole") << hole << true;
        QTest::newRow("the largest") << huge << true;
        QTest::newRow("the lowest") << -huge << true;
        QTest::newRow("infinity") << infinity << false;
        QTest::newRow("negative infinity") << -infinity << false;
        QTest::newRow("not a number") << NaN << false;
        QTest::newRow("not a number, negative") << -NaN << false;
    }

    void replacesWhatIsNotFinite()
    {
        QFETCH(double, value);
        QFETCH(bool, isKept);

        QCOMPARE(exact(Statistics::validate(value, -3.0)), exact(isKept ? value : -3.0));
        QCOMPARE(exact(Statistics::validate(value, infinity)), exact(isKept ? value : infinity));
    }
};

QTEST_GUILESS_MAIN(tst_Statistics)
#include "tst_Statistics.moc"
