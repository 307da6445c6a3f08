#include "utils/text/Statistics.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Exact.h"
#include "tests/support/Windows.h"

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using Utils::Statistics;

using Numbers = QVector<double>;
using Indices = QList<int>;

static const double hole = 1e300;
static const double infinity = std::numeric_limits<double>::infinity();
static const double NaN = std::numeric_limits<double>::quiet_NaN();

static Data::Array column(const Numbers &numbers)
{
    return {numbers.constData(), quint64(numbers.size())};
}

// What each call means, written without a thought to its time. The order of the additions is part
// of it, so the library has to return the same to the last bit.

static Numbers selected(const Numbers &numbers, const Indices &indices)
{
    if (indices.isEmpty())
        return numbers;
    if (numbers.isEmpty() || (indices.size() == 1 && indices[0] < 0))
        return {};
    Numbers values;
    for (const int index : indices)
        values.append(index >= 0 && index < numbers.size() ? numbers[index] : hole);
    return values;
}

static Numbers withoutHoles(const Numbers &numbers)
{
    Numbers values;
    for (const double value : numbers) {
        if (value != hole)
            values.append(value);
    }
    return values;
}

template <typename Real>
static Real plainSum(const Numbers &values)
{
    Real sum = 0;
    for (const double value : values)
        sum += value;
    return sum;
}

template <typename Real>
static Real plainMean(const Numbers &values)
{
    return values.isEmpty() ? 0 : plainSum<Real>(values) / values.size();
}

template <typename Real>
static Real plainSquares(const Numbers &values)
{
    const Real mean = plainMean<Real>(values);
    Real sum = 0;
    for (const double value : values)
        sum += (value - mean) * (value - mean);
    return sum;
}

template <typename Real>
static Real plainVariance(const Numbers &values)
{
    return values.isEmpty() ? 0 : plainSquares<Real>(values) / values.size();
}

static double plainDeviation(const Numbers &values)
{
    const double n = values.size();
    return n < 2 ? 0.0 : std::sqrt(plainVariance<double>(values) * n / (n - 1));
}

template <typename Real>
static Real plainCovariance(const Numbers &a, const Numbers &b)
{
    const Real meanA = plainMean<Real>(withoutHoles(a));
    const Real meanB = plainMean<Real>(withoutHoles(b));
    Real sum = 0;
    int pairs = 0;
    for (int i = 0; i < std::min(a.size(), b.size()); ++i) {
        if (a[i] != hole && b[i] != hole) {
            sum += (a[i] - meanA) * (b[i] - meanB);
            ++pairs;
        }
    }
    return pairs == 0 ? 0 : sum / pairs;
}

static bool isBefore(double left, double right)
{
    if (std::isnan(left) || std::isnan(right))
        return !std::isnan(left) && std::isnan(right);
    return left < right || (left == right && std::signbit(left) && !std::signbit(right));
}

static Numbers plainSort(const Numbers &values, bool ascending = true)
{
    Numbers sorted = values;
    std::sort(sorted.begin(), sorted.end(), isBefore);
    if (!ascending)
        std::reverse(sorted.begin(), std::partition_point(sorted.begin(), sorted.end(),
                                                          [](double v) { return !std::isnan(v); }));
    return sorted;
}

/// Of numbers that are sorted, \p s.
static Numbers plainQuartiles(const Numbers &s)
{
    const int n = s.size();
    if (n < 2)
        return Numbers(5, n == 1 ? s[0] : 0.0);

    const int h = n / 2;
    const int q = h / 2;
    const int r = n - h + q;
    return {s[0], h % 2 ? s[q] : (s[q - 1] + s[q]) * 0.5, n % 2 ? s[h] : (s[h - 1] + s[h]) * 0.5,
            h % 2 ? s[r] : (s[r - 1] + s[r]) * 0.5, s[n - 1]};
}

static Numbers plainEnds(const Numbers &values)
{
    if (values.isEmpty())
        return {0.0, 0.0};
    Numbers ends{NaN, NaN};
    for (const double value : values) {
        if (value < ends[0] || std::isnan(ends[0]))
            ends[0] = value;
        if (value > ends[1] || std::isnan(ends[1]))
            ends[1] = value;
    }
    return ends;
}

static int plainHistogram(const Numbers &values, int bins, Indices &counts, QList<double> &edges,
                          const Data::Interval &interval)
{
    if (values.size() < 2)
        return 0;
    const Numbers ends = plainEnds(values);
    const bool isGiven = interval.flags != 0 && interval.min < interval.max;
    const double low = isGiven ? interval.min : ends[0];
    const double high = isGiven ? interval.max : ends[1];
    const double width =
        bins < 2 ? 3.5 * plainDeviation(values) / std::cbrt(values.size()) : (high - low) / bins;
    double edge = low + width;
    counts.append(0);
    edges.append(edge);
    int opened = 1;
    const double tolerance = std::min(std::abs(high * 0.0001), std::abs(width * 0.0001));
    for (const double value : plainSort(values)) {
        while (value > edge && std::abs(value - edge) > tolerance && width > 0 &&
               std::isfinite(value) && opened < 1000000)
        {
            counts.append(0);
            edge = counts.size() * width + low;
            edges.append(edge);
            ++opened;
        }
        ++counts.last();
    }
    while (counts.size() < bins) {
        counts.append(0);
        edges.append(counts.size() * width + low);
    }
    return counts.size();
}

/// What is hard on one call or the other.
class Columns
{
public:
    explicit Columns(quint64 seed) : m_random(seed) {}

    static QStringList kinds()
    {
        return {"normal",         "uniform",       "whole",           "two values", "equal",
                "close",          "any bits",      "any bits finite", "zeros",      "sorted",
                "upside down",    "with outliers", "with NaN",        "infinite",   "tiny",
                "large and near", "in groups"};
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(m_random); }
    double uniform(double from, double to)
    {
        return std::uniform_real_distribution<double>(from, to)(m_random);
    }

    Numbers column(const QString &kind, int size, double holes)
    {
        Numbers numbers;
        for (int i = 0; i < size; ++i)
            numbers.append(number(kind));
        if (kind == "sorted" || kind == "upside down")
            numbers = plainSort(numbers, kind == "sorted");
        for (double &value : numbers) {
            if (uniform(0, 1) < holes)
                value = hole;
        }
        return numbers;
    }

    /// Rows in any order, some of them twice, and some that are none.
    Indices indices(int rows, int size)
    {
        Indices chosen;
        for (int i = 0; i < size; ++i)
            chosen.append(below(rows + 6) - 3);
        return chosen;
    }

private:
    double number(const QString &kind)
    {
        if (kind == "uniform" || kind == "sorted" || kind == "upside down")
            return uniform(-10, 1000);
        if (kind == "whole")
            return below(20);
        if (kind == "two values")
            return below(2) ? 0.1 : -7.25;
        if (kind == "equal")
            return 12.7;
        if (kind == "close")
            return 1000 + 1e-9 * below(1000);
        if (kind == "any bits")
            return anyBits();
        if (kind == "any bits finite") {
            const double value = anyBits();
            return std::isfinite(value) ? value : 1.5;
        }
        if (kind == "zeros")
            return below(3) ? (below(2) ? 0.0 : -0.0) : below(3) - 1;
        if (kind == "with outliers")
            return below(50) ? uniform(0, 1) : uniform(-1e9, 1e9);
        if (kind == "with NaN")
            return below(5) ? normal() : below(2) ? NaN : -NaN;
        if (kind == "infinite")
            return below(5) ? normal() : below(2) ? infinity : -infinity;
        if (kind == "tiny")
            return 5e-324 * (below(2000) - 1000);
        if (kind == "large and near")
            return 1e15 + below(40);
        if (kind == "in groups") // that are alike but for their last bits
            return 1 + below(4096) / 4096.0 + below(1 << 20) * 2e-16;
        return normal();
    }

    double normal() { return std::normal_distribution<double>(50, 12)(m_random); }

    double anyBits()
    {
        const quint64 bits = m_random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    std::mt19937_64 m_random;
};

static bool isTame(const QString &kind)
{
    return !QStringList{"any bits", "any bits finite", "with NaN", "infinite"}.contains(kind);
}

class tst_Statistics_random : public QObject
{
    Q_OBJECT

    // Shorter and longer than what is examined at once, or collected for sorting.
    static QVector<int> sizes() { return {1, 2, 3, 5, 17, 100, 1023, 1024, 1025, 3000}; }

    static void addKinds()
    {
        QTest::addColumn<QString>("kind");
        for (const QString &kind : Columns::kinds())
            QTest::newRow(qPrintable(kind)) << kind;
    }

    /// Calls \p check with columns of \p kind and with selections of them, and with what is
    /// selected.
    template <typename Check>
    static void forEachColumn(const QString &kind, Check check)
    {
        Columns columns(20231);
        for (const int size : sizes()) {
            for (const double holes : {0.0, 0.05, 0.9}) {
                const Numbers numbers = columns.column(kind, size, holes);
                check(numbers, Indices());
                check(numbers, columns.indices(size, size));
                check(numbers, columns.indices(size, 2000));
            }
        }
    }

private Q_SLOTS:
    void givesToTheLastBitWhatPlainLoopsGive_data() { addKinds(); }

    void givesToTheLastBitWhatPlainLoopsGive()
    {
        QFETCH(QString, kind);

        forEachColumn(kind, [](const Numbers &numbers, const Indices &indices) {
            const Data::Array array = column(numbers);
            const Numbers values = withoutHoles(selected(numbers, indices));
            const Data::Interval range = Statistics::range(array, indices);

            QCOMPARE(Statistics::length(array, indices), values.size());
            QCOMPARE(difference(Statistics::reduce(array, indices), values), QString());
            QCOMPARE(exact(Statistics::sum(array, indices)), exact(plainSum<double>(values)));
            QCOMPARE(exact(Statistics::mean(array, indices)), exact(plainMean<double>(values)));
            QCOMPARE(exact(Statistics::variance(array, indices)),
                     exact(plainVariance<double>(values)));
            QCOMPARE(exact(Statistics::standardDeviation(array, indices)),
                     exact(plainDeviation(values)));
            QCOMPARE(exact(Numbers{range.min, range.max}), exact(plainEnds(values)));
            QCOMPARE(range.flags, values.isEmpty() ? 0 : 3);
        });
    }

    void comparesColumnsAsPlainLoopsDo_data() { addKinds(); }

    void comparesColumnsAsPlainLoopsDo()
    {
        QFETCH(QString, kind);
        Columns columns(5);

        for (const int size : sizes()) {
            const Numbers a = columns.column(kind, size, 0.1);
            const Numbers b = columns.column("normal", 1 + columns.below(size + 5), 0.1);
            for (const Indices &indices : {Indices(), columns.indices(size, 1500)}) {
                const Numbers rowsA = selected(a, indices);
                const Numbers rowsB = selected(b, indices);
                const double mean = plainMean<double>(withoutHoles(rowsA));
                Numbers sums(3);
                for (int i = 0; i < std::min(rowsA.size(), rowsB.size()); ++i) {
                    if (rowsA[i] == hole || rowsB[i] == hole)
                        continue;
                    sums[0] += (rowsA[i] - mean) * (rowsA[i] - mean);
                    sums[1] += (rowsA[i] - rowsB[i]) * (rowsA[i] - rowsB[i]);
                    sums[2] += (rowsB[i] - mean) * (rowsB[i] - mean);
                }
                const int length = withoutHoles(rowsB).size();

                Numbers found(3);
                QVERIFY(Statistics::sumSquareInfo(column(a), column(b), found[0], found[1],
                                                  found[2], indices));
                QCOMPARE(exact(found), exact(sums));
                QCOMPARE(exact(Statistics::residualSumSquare(column(a), column(b), indices)),
                         exact(sums[1]));
                QCOMPARE(exact(Statistics::rmsValue(column(a), column(b), indices)),
                         exact(length ? std::sqrt(sums[1] / length) : sums[1]));
                QCOMPARE(exact(Statistics::covariance(column(a), column(b), indices)),
                         exact(plainCovariance<double>(rowsA, rowsB)));

                const Numbers left = indices.isEmpty() ? rowsA : withoutHoles(rowsA);
                const Numbers right = indices.isEmpty() ? rowsB : withoutHoles(rowsB);
                const double varianceA = plainVariance<double>(withoutHoles(left));
                const double varianceB = plainVariance<double>(withoutHoles(right));
                const double r =
                    plainCovariance<double>(left, right) / std::sqrt(varianceB * varianceA);
                const bool isSpread = varianceA != 0.0 && varianceB != 0.0;
                QCOMPARE(exact(Statistics::coefficientCorrelation(column(a), column(b), indices)),
                         exact(isSpread && std::isfinite(r) ? r : 0.0));
            }
        }
    }

    void staysCloseToTheTruth_data() { addKinds(); }

    // The truth is the same in long double, which has eleven bits more. Adding up n numbers in
    // order is off by no more than (n - 1) * e * the sum of their sizes, with e the half of the
    // last bit, and a little above it for what is multiplied in between.
    void staysCloseToTheTruth()
    {
        QFETCH(QString, kind);
        if (!isTame(kind))
            return;

        forEachColumn(kind, [](const Numbers &numbers, const Indices &indices) {
            const Data::Array array = column(numbers);
            const Numbers values = withoutHoles(selected(numbers, indices));
            const int n = values.size();
            if (n == 0)
                return;
            const long double e = std::numeric_limits<double>::epsilon() / 2;
            const long double smallest = std::numeric_limits<double>::denorm_min();
            long double sizes = 0;
            for (const double value : values)
                sizes += std::abs(value);

            const long double offSum = (n + 4) * e * sizes;
            QVERIFY(std::abs(Statistics::sum(array, indices) - plainSum<long double>(values)) <=
                    offSum);
            const long double offMean = offSum / n + e * sizes / n + smallest;
            QVERIFY(std::abs(Statistics::mean(array, indices) - plainMean<long double>(values)) <=
                    offMean);
            // A mean that is off by d adds d squared to the variance, and each distance is rounded.
            const long double variance = plainVariance<long double>(values);
            const long double rounded = e * sizes / n;
            const long double offVariance = (n + 8) * e * variance + 4 * offMean * offMean +
                                            4 * rounded * std::sqrt(variance) + smallest * n;
            QVERIFY(std::abs(Statistics::variance(array, indices) - variance) <= offVariance);
        });
    }

    void sortsLikeStdSort_data() { addKinds(); }

    void sortsLikeStdSort()
    {
        QFETCH(QString, kind);

        forEachColumn(kind, [](const Numbers &numbers, const Indices &indices) {
            const Numbers values = withoutHoles(selected(numbers, indices));
            QCOMPARE(
                difference(Statistics::sort(column(numbers), true, indices), plainSort(values)),
                QString());
            QCOMPARE(difference(Statistics::sort(column(numbers), false, indices),
                                plainSort(values, false)),
                     QString());
            const Numbers five = plainQuartiles(plainSort(values));
            Numbers found(5);
            Statistics::quartiles(column(numbers), found[0], found[1], found[2], found[3], found[4],
                                  indices);
            QCOMPARE(exact(found), exact(five));
            QCOMPARE(exact(Statistics::median(column(numbers), indices)), exact(five[2]));
        });
    }

    void selectsFromLongColumnsAsSortingThemDoes_data() { addKinds(); }

    void selectsFromLongColumnsAsSortingThemDoes()
    {
        QFETCH(QString, kind);
        Columns columns(77);

        for (const int size : {65536, 65537, 100000, 100001}) {
            const Numbers numbers = columns.column(kind, size, size < 100000 ? 0.0 : 0.05);
            const Indices indices = size == 100001 ? columns.indices(size, 80000) : Indices();
            const Numbers values = withoutHoles(selected(numbers, indices));

            const Numbers sorted = Statistics::sort(column(numbers), true, indices);
            Numbers found(5);
            Statistics::quartiles(column(numbers), found[0], found[1], found[2], found[3], found[4],
                                  indices);

            const Numbers expected = plainSort(values);
            const Numbers five = plainQuartiles(expected);
            QCOMPARE(difference(sorted, expected), QString());
            QCOMPARE(exact(found), exact(five));
            QCOMPARE(exact(Statistics::median(column(numbers), indices)), exact(five[2]));
        }
    }

    void selectsFromColumnsThatMisleadItsSample_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<double>("odd"); // the value where the sample is taken

        QTest::newRow("smaller") << 70000 << -1.0;
        QTest::newRow("larger") << 70000 << 1e9;
        QTest::newRow("a hole") << 70000 << hole;
        QTest::newRow("larger than a hole") << 70000 << 1e301;
        QTest::newRow("NaN") << 70000 << NaN;
        QTest::newRow("NaN with a sign") << 70000 << -NaN;
        QTest::newRow("infinity") << 70000 << infinity;
        QTest::newRow("-infinity") << 70000 << -infinity;
        QTest::newRow("smaller, in many") << 600000 << -1.0;
        QTest::newRow("a hole, in many") << 600000 << hole;
    }

    void selectsFromColumnsThatMisleadItsSample()
    {
        QFETCH(int, size);
        QFETCH(double, odd);
        Columns columns(5);
        Numbers numbers = columns.column("uniform", size, 0.0);
        // The positions that the library takes as its sample.
        const int stretch = size / std::min(1 << 15, size / 16);
        quint32 random = 1;
        for (int first = 0; first <= size - stretch; first += stretch) {
            random = random * 1664525u + 1013904223u;
            numbers[first + static_cast<int>((quint64(random) * quint32(stretch)) >> 32)] = odd;
        }

        Numbers found(5);
        Statistics::quartiles(column(numbers), found[0], found[1], found[2], found[3], found[4]);

        const Numbers five = plainQuartiles(plainSort(withoutHoles(numbers)));
        QCOMPARE(exact(found), exact(five));
        QCOMPARE(exact(Statistics::median(column(numbers))), exact(five[2]));
    }

    void selectsFromNumbersThatAreLargerThanHoles()
    {
        Columns columns(8);
        Numbers numbers = columns.column("uniform", 100000, 0.0);
        for (double &value : numbers)
            value = columns.below(1000) == 0 ? hole : 1e301 * (20 + value);

        Numbers found(5);
        Statistics::quartiles(column(numbers), found[0], found[1], found[2], found[3], found[4]);

        const Numbers five = plainQuartiles(plainSort(withoutHoles(numbers)));
        QCOMPARE(exact(found), exact(five));
        QCOMPARE(exact(Statistics::median(column(numbers))), exact(five[2]));
    }

    void selectsWithoutMemory_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("size");
        for (const char *kind : {"normal", "two values", "equal", "any bits", "with NaN", "zeros"})
        {
            for (const int size : {1, 1000})
                QTest::addRow("%d, %s", size, kind) << kind << size;
        }
        for (const char *kind : {"normal", "two values"}) // where there is a sample
            QTest::addRow("70000, %s", kind) << kind << 70000;
    }

    void selectsWithoutMemory()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        QFETCH(QString, kind);
        QFETCH(int, size);
        const Numbers numbers = Columns(6).column(kind, size, size == 1 ? 0.0 : 0.05);
        const Numbers five = plainQuartiles(plainSort(withoutHoles(numbers)));

        int failures = 0;
        for (bool hasFailed = true; hasFailed; ++failures) {
            for (const auto mode : {FailingMemory::Once, FailingMemory::FromThenOn}) {
                double found[6];
                FailingMemory memory(failures, mode);
                Statistics::quartiles(column(numbers), found[0], found[1], found[2], found[3],
                                      found[4]);
                hasFailed = memory.hasFailed();
                memory.end();
                FailingMemory memoryOfMedian(failures, mode);
                found[5] = Statistics::median(column(numbers));
                memoryOfMedian.end();

                QCOMPARE(exact(Numbers(found, found + 5)), exact(five));
                QCOMPARE(exact(found[5]), exact(five[2]));
            }
        }
        QVERIFY(failures > 1);
    }

    void countsInBinsAsInOrder_data() { addKinds(); }

    void countsInBinsAsInOrder()
    {
        QFETCH(QString, kind);
        Columns columns(4711);

        for (int round = 0; round < 150; ++round) {
            const int size = sizes()[columns.below(sizes().size() - 1)];
            Numbers numbers = columns.column(kind, size, 0.05);
            const Indices indices = round % 4 ? Indices() : columns.indices(size, size);
            const int bins = columns.below(round % 5 ? 30 : 3000) - 2;
            const Data::Interval interval = someInterval(columns, numbers);
            const QList<int> before = round % 6 ? QList<int>() : QList<int>{1, 2, 3, 4};
            if (bins >= 2)
                moveToEdges(columns, numbers, bins, interval);

            QList<int> counts = before;
            QList<double> edges{-1};
            QList<int> plainCounts = before;
            QList<double> plainEdges{-1};
            const int made =
                Statistics::histogramData(column(numbers), bins, counts, edges, indices, interval);
            const int expected = plainHistogram(withoutHoles(selected(numbers, indices)), bins,
                                                plainCounts, plainEdges, interval);

            QCOMPARE(made, expected);
            QCOMPARE(difference(counts, plainCounts), QString());
            QCOMPARE(difference(edges, plainEdges), QString());
        }
    }

private:
    /// None, or one that is narrower than the column or lies beside it.
    static Data::Interval someInterval(Columns &columns, const Numbers &numbers)
    {
        const Numbers ends = plainEnds(withoutHoles(numbers));
        const double range = ends[1] - ends[0];
        const double from = ends[0] + columns.uniform(-1, 1) * range;
        const double to = from + columns.uniform(-0.1, 2) * range;
        switch (columns.below(4)) {
        case 0:
            return {from, to, columns.below(4)};
        case 1:
            return {std::floor(from), std::ceil(to), 3};
        default:
            return {};
        }
    }

    /// Moves some numbers to where rounding and the tolerance decide.
    static void moveToEdges(Columns &columns, Numbers &numbers, int bins,
                            const Data::Interval &interval)
    {
        const Numbers ends = plainEnds(withoutHoles(numbers));
        const bool isGiven = interval.flags != 0 && interval.min < interval.max;
        const double low = isGiven ? interval.min : ends[0];
        const double high = isGiven ? interval.max : ends[1];
        const double width = (high - low) / bins;
        const double tolerance = std::min(std::abs(high * 0.0001), std::abs(width * 0.0001));
        for (double &value : numbers) {
            if (value == hole || value == ends[0] || value == ends[1] || columns.below(3))
                continue;
            const double edge = columns.below(bins) * width + low;
            const double moved[] = {
                edge, edge + tolerance, std::nextafter(edge + tolerance, infinity),
                std::nextafter(edge + tolerance, -infinity), std::nextafter(edge, infinity)};
            const double candidate = moved[columns.below(5)];
            if (candidate > ends[0] && candidate < ends[1])
                value = candidate;
        }
    }
};

QTEST_GUILESS_MAIN(tst_Statistics_random)
#include "tst_Statistics_random.moc"
