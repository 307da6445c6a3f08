#include "utils/text/PolynomialFit.h"
#include "utils/text/Statistics.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Exact.h"
#include "tests/support/Windows.h"
#include "tests/text/Columns.h"

#include <QtTest>

#include <cmath>
#include <limits>
#include <random>

using Utils::PolynomialFit;
using Utils::Statistics;

/// Whether all numbers differ by less than \p tolerance.
static bool areNear(const Numbers &found, const Numbers &expected, double tolerance = 1e-14)
{
    for (int i = 0; i < expected.size() && i < found.size(); ++i) {
        if (!(std::abs(found[i] - expected[i]) <= tolerance))
            return false;
    }
    return found.size() == expected.size();
}

static QString text(const Numbers &numbers) { return exact(numbers).join(' '); }

class tst_Statistics_fit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fitsALine()
    {
        const Numbers x{0, 1, 2, 3};
        const Numbers y{1, 2, 4, 5};

        const PolynomialFit fit = Statistics::fitLine(column(x), column(y));

        QVERIFY(fit.isValid());
        QVERIFY2(areNear(fit.coefficients, {0.9, 1.4}), qPrintable(text(fit.coefficients)));
        QVERIFY2(areNear(fit.residuals, {0.1, -0.3, 0.3, -0.1}), qPrintable(text(fit.residuals)));
        QVERIFY(areNear({fit.residualSumSquare, fit.rSquared}, {0.2, 0.98}));
        QCOMPARE(fit.count, 4);
        QCOMPARE(fit.value(10), 14.9);
        QCOMPARE(fit.centreX, 1.5);
        QCOMPARE(fit.centreY, 3.0);
        QVERIFY(areNear(fit.centred, {0.0, 1.4 / fit.scaleX}));
    }

    void fitCountsPairsWithoutHoles()
    {
        const Numbers x{0, hole, 1, 7, 2, 3, 8};
        const Numbers y{1, 9, 2, hole, 4, 5};

        const PolynomialFit fit = Statistics::fitLine(column(x), column(y));

        QCOMPARE(fit.count, 4);
        QVERIFY(areNear(fit.coefficients, {0.9, 1.4}));
        QCOMPARE(fit.residuals.size(), 6);
        QCOMPARE(fit.residuals[1], hole);
        QCOMPARE(fit.residuals[3], hole);
        QVERIFY(areNear({fit.residuals[0], fit.residuals[5]}, {0.1, -0.1}));
    }

    void fitSelectsRows()
    {
        const Numbers x{3, 99, 0, 1, 2};
        const Numbers y{5, -7, 1, 2, 4};

        const PolynomialFit fit = Statistics::fitLine(column(x), column(y), {2, 3, 4, 0, 9});

        QVERIFY(areNear(fit.coefficients, {0.9, 1.4}));
        QVERIFY(areNear(fit.residuals, {0.1, -0.3, 0.3, -0.1, hole}));
        QVERIFY(!Statistics::fitLine(column(x), column(y), {-1}).isValid());
    }

    void fitsItsPolynomialExactly_data()
    {
        QTest::addColumn<int>("degree");
        for (int degree = 0; degree <= 20; ++degree)
            QTest::newRow(qPrintable(QString::number(degree))) << degree;
    }

    void fitsItsPolynomialExactly()
    {
        QFETCH(int, degree);
        Numbers x;
        Numbers y;
        for (int i = 0; i < 600; ++i) {
            x.append(i / 300.0 - 1.0);
            double value = 0.0;
            for (int power = degree; power >= 0; --power)
                value = value * x.last() + (power % 3 - 0.5);
            y.append(value);
        }

        const PolynomialFit fit = Statistics::fitPolynomial(column(x), column(y), degree);

        QVERIFY(fit.isValid());
        QCOMPARE(fit.coefficients.size(), degree + 1);
        // Rounding of the y determines these digits of the coefficients: the powers are alike.
        const double lost = std::pow(2.4, degree);
        for (int power = 0; power <= degree; ++power)
            QVERIFY(std::abs(fit.coefficients[power] - (power % 3 - 0.5)) < 1e-15 * (lost + 10));
        for (int i = 0; i < x.size(); ++i) {
            QVERIFY(std::abs(fit.residuals[i]) < 1e-13);
            QVERIFY(std::abs(fit.value(x[i]) - y[i]) < 1e-13);
        }
        QVERIFY(degree == 0 ? fit.rSquared == 0.0 : fit.rSquared > 1.0 - 1e-15);
    }

    void doesNotFit_data()
    {
        QTest::addColumn<Numbers>("x");
        QTest::addColumn<Numbers>("y");
        QTest::addColumn<int>("degree");

        // clang-format off
        QTest::newRow("nothing") << Numbers{} << Numbers{} << 0;
        QTest::newRow("only holes") << Numbers{hole, 1} << Numbers{1, hole} << 0;
        QTest::newRow("one pair") << Numbers{1} << Numbers{1} << 1;
        QTest::newRow("equal x") << Numbers{0.1, 0.1, 0.1} << Numbers{1, 2, 3} << 1;
        QTest::newRow("both zeros") << Numbers{-0.0, 0.0} << Numbers{1, 2} << 1;
        QTest::newRow("two different x") << Numbers{1, 2, 1, 2} << Numbers{1, 2, 3, 4} << 2;
        QTest::newRow("x too close") << Numbers{0, 1e-20, 1} << Numbers{1, 2, 3} << 2;
        QTest::newRow("negative degree") << Numbers{1, 2} << Numbers{1, 2} << -1;
        QTest::newRow("a degree too many") << Numbers(50, 1) << Numbers(50, 1) << 21;
        QTest::newRow("x not a number") << Numbers{1, NaN, 3} << Numbers{1, 2, 3} << 1;
        QTest::newRow("y not a number") << Numbers{1, 2, 3} << Numbers{1, NaN, 3} << 1;
        QTest::newRow("x infinite") << Numbers{1, infinity, 3} << Numbers{1, 2, 3} << 1;
        QTest::newRow("y infinite") << Numbers{1, 2, 3} << Numbers{1, -infinity, 3} << 1;
        QTest::newRow("too far apart") << Numbers{-huge, huge, huge} << Numbers{1, 2, 3} << 1;
        // clang-format on
    }

    void doesNotFit()
    {
        QFETCH(Numbers, x);
        QFETCH(Numbers, y);
        QFETCH(int, degree);

        const PolynomialFit fit = Statistics::fitPolynomial(column(x), column(y), degree);

        QVERIFY(!fit.isValid());
        QCOMPARE(fit.coefficients, Numbers());
        QCOMPARE(fit.residuals, Numbers());
        QCOMPARE(fit.centred, Numbers());
        QCOMPARE(fit.count, 0);
        QCOMPARE(fit.value(1.0), hole);
    }

    void fitsAConstant()
    {
        const Numbers x{1, 2, 4};
        const Numbers y{0.1, 0.1, 0.1};

        const PolynomialFit line = Statistics::fitLine(column(x), column(y));
        const PolynomialFit constant =
            Statistics::fitPolynomial(column(Numbers{5, 5}), column(Numbers{1, 4}), 0);

        QCOMPARE(exact(line.coefficients), exact(Numbers{0.1, 0.0}));
        QCOMPARE(exact(line.rSquared), exact(0.0));
        QCOMPARE(exact(line.residuals), exact(Numbers{0.0, 0.0, 0.0}));
        QCOMPARE(constant.coefficients, Numbers{2.5});
        QCOMPARE(constant.value(99), 2.5);
        QCOMPARE(constant.residuals, (Numbers{-1.5, 1.5}));
        QCOMPARE(constant.residualSumSquare, 4.5);
        QCOMPARE(constant.rSquared, 0.0);
    }

    void fitHasNoValueAtAHole()
    {
        const PolynomialFit fit = Statistics::fitLine(column(Numbers{1, 2}), column(Numbers{1, 2}));

        QCOMPARE(exact(fit.value(hole)), exact(hole));
        QVERIFY(std::isnan(fit.value(NaN)));
        QCOMPARE(exact(fit.value(infinity)), exact(infinity));
        QCOMPARE(exact(PolynomialFit().value(1)), exact(hole));
    }

    void fitIgnoresWhatIsNoPair()
    {
        const Numbers x{1, NaN, 3, infinity};
        const Numbers y{1, hole, 3};

        QVERIFY(Statistics::fitLine(column(x), column(y)).isValid());
    }

    void fitsLargeAndSmallNumbers_data()
    {
        QTest::addColumn<double>("factorX");
        QTest::addColumn<double>("factorY");
        QTest::newRow("large x") << 0x1p900 << 1.0;
        QTest::newRow("small x") << 0x1p-900 << 1.0;
        QTest::newRow("large y") << 1.0 << 0x1p900;
        QTest::newRow("small y") << 1.0 << 0x1p-900;
        QTest::newRow("both") << 0x1p1000 << 0x1p-20;
    }

    void fitsLargeAndSmallNumbers()
    {
        QFETCH(double, factorX);
        QFETCH(double, factorY);
        Numbers x{0, 1, 2, 3};
        Numbers y{1, 2, 4, 5};
        const PolynomialFit expected = Statistics::fitLine(column(x), column(y));
        for (double &value : x)
            value *= factorX;
        for (double &value : y)
            value *= factorY;

        const PolynomialFit fit = Statistics::fitLine(column(x), column(y));

        QCOMPARE(exact(fit.coefficients[0]), exact(expected.coefficients[0] * factorY));
        QCOMPARE(exact(fit.coefficients[1]), exact(expected.coefficients[1] / factorX * factorY));
        QCOMPARE(exact(fit.rSquared), exact(expected.rSquared));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(exact(fit.residuals[i]), exact(expected.residuals[i] * factorY));
    }

    void fitDoesNotDependOnTheOffset()
    {
        std::mt19937 random(8);
        std::uniform_int_distribution<int> step(0, 800);
        Numbers x;
        Numbers y;
        Numbers moved;
        for (int i = 0; i < 1000; ++i) {
            x.append(step(random) / 8.0);
            y.append(step(random) / 8.0);
            moved.append(1e15 + x.last());
        }
        for (int degree = 1; degree < 6; ++degree) {
            const PolynomialFit fit = Statistics::fitPolynomial(column(x), column(y), degree);
            const PolynomialFit far = Statistics::fitPolynomial(column(moved), column(y), degree);

            QVERIFY(std::abs(far.rSquared - fit.rSquared) < 1e-14);
            QVERIFY(areNear(far.residuals, fit.residuals, 1e-11));
            QVERIFY(std::abs(far.value(1e15 + 33) - fit.value(33)) < 1e-11);
        }
    }

    void fitHasTheLeastResiduals()
    {
        std::mt19937 random(9);
        std::normal_distribution<double> number;
        Numbers x;
        Numbers y;
        for (int i = 0; i < 700; ++i) {
            x.append(number(random));
            y.append(number(random));
        }
        for (int degree = 0; degree < 8; ++degree) {
            const PolynomialFit fit = Statistics::fitPolynomial(column(x), column(y), degree);

            // Only then are they orthogonal to each power of x.
            for (int power = 0; power <= degree; ++power) {
                double sum = 0.0;
                double size = 0.0;
                for (int i = 0; i < x.size(); ++i) {
                    sum += fit.residuals[i] * std::pow(x[i], power);
                    size += std::abs(fit.residuals[i] * std::pow(x[i], power));
                }
                QVERIFY2(std::abs(sum) < 1e-12 * size, qPrintable(exact(sum / size)));
            }
        }
    }

    void fitIsNotValidWithoutMemory()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const Numbers x{0, 1, 2, 3};
        const Numbers y{1, 2, 4, 5};
        int failures = 0;
        for (int number = 0;; ++number) {
            FailingMemory memory(number, FailingMemory::Once);
            const PolynomialFit fit = Statistics::fitLine(column(x), column(y));
            memory.end();
            if (!memory.hasFailed())
                break;
            QVERIFY(!fit.isValid());
            QCOMPARE(fit.residuals, Numbers());
            ++failures;
        }
        QVERIFY(failures > 3);
    }
};

QTEST_GUILESS_MAIN(tst_Statistics_fit)
#include "tst_Statistics_fit.moc"
