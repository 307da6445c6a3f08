// Statistics beside the GNU Scientific Library.

#include "utils/text/PolynomialFit.h"
#include "utils/text/RunningStatistics.h"
#include "utils/text/Statistics.h"

#include <gsl/gsl_fit.h>
#include <gsl/gsl_movstat.h>
#include <gsl/gsl_multifit.h>
#include <gsl/gsl_statistics_double.h>

#include <QtTest>

#include <cmath>
#include <random>

using Utils::PolynomialFit;
using Utils::RunningStatistics;
using Utils::Statistics;

using Numbers = QVector<double>;

static const double hole = 1e300;
static const double tolerance = 1e-12;

static Data::Array column(const Numbers &numbers)
{
    return {numbers.constData(), quint64(numbers.size())};
}

static std::size_t sizeOf(const Numbers &numbers) { return std::size_t(numbers.size()); }

/// "" when \p found differs from \p expected by at most a part of \p size.
static QString difference(double found, double expected, double size)
{
    if (found == expected || std::abs(found - expected) <= tolerance * std::abs(size))
        return {};
    return QString::asprintf("%.17g, not %.17g", found, expected);
}

static QString difference(double found, double expected)
{
    return difference(found, expected, expected);
}

class tst_Statistics_gsl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void percentilesAgree_data() { addColumns(); }

    void percentilesAgree()
    {
        read();
        const Numbers sorted = Statistics::sort(column(m_x), true);

        for (int percent = 0; percent <= 1000; ++percent) {
            const double expected = gsl_stats_quantile_from_sorted_data(
                sorted.constData(), 1, sizeOf(sorted), percent / 1000.0);
            QCOMPARE(difference(Statistics::percentile(column(m_x), percent / 10.0), expected),
                     QString());
        }
    }

    void robustDeviationsAgree_data() { addColumns(); }

    void robustDeviationsAgree()
    {
        read();
        const Numbers copy = Statistics::reduce(column(m_x));
        Numbers work(copy.size());

        QCOMPARE(difference(Statistics::medianAbsoluteDeviation(column(m_x)),
                            gsl_stats_mad0(copy.constData(), 1, sizeOf(copy), work.data())),
                 QString());
        QCOMPARE(difference(Statistics::robustDeviation(column(m_x)),
                            gsl_stats_mad(copy.constData(), 1, sizeOf(copy), work.data())),
                 QString());
    }

    void weightedResultsAgree_data() { addColumns(); }

    void weightedResultsAgree()
    {
        read();
        Numbers weights;
        for (int i = 0; i < m_x.size(); ++i)
            weights.append(0.1 + (i * 7 % 13));
        Numbers values;
        Numbers valueWeights;
        for (int i = 0; i < m_x.size(); ++i) {
            if (m_x[i] != hole) {
                values.append(m_x[i] - m_offset);
                valueWeights.append(weights[i]);
            }
        }

        QCOMPARE(difference(Statistics::weightedMean(column(m_x), column(weights)),
                            m_offset + gsl_stats_wmean(valueWeights.constData(), 1,
                                                       values.constData(), 1, sizeOf(values))),
                 QString());
        if (values.size() > 1)
            QCOMPARE(difference(Statistics::weightedStandardDeviation(column(m_x), column(weights)),
                                gsl_stats_wsd(valueWeights.constData(), 1, values.constData(), 1,
                                              sizeOf(values))),
                     QString());
    }

    void correlationsAgree_data() { addColumns(); }

    void correlationsAgree()
    {
        read();
        if (m_pairX.size() < 2 ||
            Statistics::range(column(m_pairX)).min == Statistics::range(column(m_pairX)).max)
            return; // divides by zero

        const Numbers x = withoutOffset(m_pairX);
        QCOMPARE(difference(Statistics::correlation(column(m_x), column(m_y)),
                            gsl_stats_correlation(x.constData(), 1, m_pairY.constData(), 1,
                                                  sizeOf(m_pairX))),
                 QString());
    }

    void runningStatisticsAgree_data() { addColumns(); }

    void runningStatisticsAgree()
    {
        read();
        const Numbers values = withoutOffset(Statistics::reduce(column(m_x)));
        RunningStatistics running;
        running.add(column(m_x));

        QCOMPARE(difference(running.mean(),
                            m_offset + gsl_stats_mean(values.constData(), 1, sizeOf(values))),
                 QString());
        if (values.size() < 2)
            return;
        QCOMPARE(difference(running.standardDeviation(),
                            gsl_stats_sd(values.constData(), 1, sizeOf(values))),
                 QString());
        QCOMPARE(difference(running.variance(),
                            gsl_stats_variance(values.constData(), 1, sizeOf(values)) *
                                (values.size() - 1) / values.size()),
                 QString());
    }

    void linesAgree_data() { addColumns(); }

    void linesAgree()
    {
        read();
        const PolynomialFit fit = Statistics::fitLine(column(m_x), column(m_y));
        if (!fit.isValid())
            return;
        const Numbers x = withoutOffset(m_pairX);
        double intercept, slope, variance, covariance, slopeVariance, square;
        gsl_fit_linear(x.constData(), 1, m_pairY.constData(), 1, sizeOf(x), &intercept, &slope,
                       &variance, &covariance, &slopeVariance, &square);

        QCOMPARE(difference(fit.coefficients[1], slope), QString());
        QCOMPARE(difference(fit.value(m_offset), intercept), QString());
        QCOMPARE(difference(fit.residualSumSquare, square), QString());
        const double total = gsl_stats_tss(m_pairY.constData(), 1, sizeOf(m_pairY));
        QCOMPARE(difference(fit.rSquared, 1.0 - square / total, 1.0), QString());
    }

    void polynomialsAgree_data() { addColumns(); }

    void polynomialsAgree()
    {
        read();
        for (int degree = 1; degree <= 4; ++degree) {
            const PolynomialFit fit = Statistics::fitPolynomial(column(m_x), column(m_y), degree);
            if (!fit.isValid())
                continue;
            const std::size_t terms = std::size_t(degree) + 1;
            gsl_matrix *powers = gsl_matrix_alloc(sizeOf(m_pairX), terms);
            gsl_vector *y = gsl_vector_alloc(sizeOf(m_pairX));
            gsl_vector *factors = gsl_vector_alloc(terms);
            gsl_matrix *covariance = gsl_matrix_alloc(terms, terms);
            gsl_multifit_linear_workspace *space =
                gsl_multifit_linear_alloc(sizeOf(m_pairX), terms);
            for (int i = 0; i < m_pairX.size(); ++i) {
                // Around the middle, so that the powers differ for it as well.
                const double u = (m_pairX[i] - fit.centreX) * fit.scaleX;
                for (std::size_t power = 0; power < terms; ++power)
                    gsl_matrix_set(powers, std::size_t(i), power, std::pow(u, power));
                gsl_vector_set(y, std::size_t(i), m_pairY[i] - fit.centreY);
            }
            double square = 0.0;
            gsl_multifit_linear(powers, y, factors, covariance, &square, space);

            for (std::size_t power = 0; power < terms; ++power)
                QCOMPARE(difference(fit.centred[int(power)], gsl_vector_get(factors, power),
                                    std::abs(gsl_vector_get(factors, power)) + 0.1),
                         QString());
            // Through as many points as it has factors, it has no residuals.
            const double total = gsl_stats_tss(m_pairY.constData(), 1, sizeOf(m_pairY));
            QCOMPARE(difference(fit.residualSumSquare, square, std::max(square, 1e-3 * total)),
                     QString());
            gsl_multifit_linear_free(space);
            gsl_matrix_free(covariance);
            gsl_vector_free(factors);
            gsl_vector_free(y);
            gsl_matrix_free(powers);
        }
    }

    void movingAveragesAgree_data() { addColumns(); }

    void movingAveragesAgree()
    {
        read();
        for (const int before : {0, 1, 7, 100}) {
            for (const int after : {0, 2, 30}) {
                const Numbers means = Statistics::movingAverage(column(m_x), before, after);
                QCOMPARE(means.size(), m_x.size());
                for (int i = 0; i < m_x.size(); ++i) {
                    const int first = std::max(0, i - before);
                    const Numbers rows = m_x.mid(first, i + after + 1 - first);
                    const Numbers window = Statistics::reduce(column(rows));
                    const double expected =
                        window.isEmpty() ? hole
                                         : gsl_stats_mean(window.constData(), 1, sizeOf(window));
                    QCOMPARE(difference(means[i], expected, std::abs(expected) + 1e-3), QString());
                }
            }
        }
    }

    void movingAverageEndsAsTruncatedWindowsDo()
    {
        std::mt19937_64 random(2);
        std::normal_distribution<double> number(50.0, 12.0);
        Numbers numbers;
        for (int i = 0; i < 300; ++i)
            numbers.append(number(random));
        gsl_vector_const_view x = gsl_vector_const_view_array(numbers.constData(), 300);
        gsl_vector *expected = gsl_vector_alloc(300);
        gsl_movstat_workspace *space = gsl_movstat_alloc2(4, 9);
        gsl_movstat_mean(GSL_MOVSTAT_END_TRUNCATE, &x.vector, expected, space);

        const Numbers means = Statistics::movingAverage(column(numbers), 4, 9);

        for (int i = 0; i < 300; ++i)
            QCOMPARE(difference(means[i], gsl_vector_get(expected, std::size_t(i))), QString());
        gsl_movstat_free(space);
        gsl_vector_free(expected);
    }

private:
    static void addColumns()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<double>("offset");
        QTest::addColumn<int>("holes");
        QTest::addColumn<bool>("isEqual");

        QTest::newRow("random") << 2000 << 0.0 << 0 << false;
        QTest::newRow("few") << 5 << 0.0 << 0 << false;
        QTest::newRow("holes") << 2000 << 0.0 << 5 << false;
        QTest::newRow("offset 1e15") << 2000 << 1e15 << 0 << false;
        QTest::newRow("offset 1e15 and holes") << 2000 << 1e15 << 3 << false;
        QTest::newRow("one value") << 1 << 0.0 << 0 << false;
        QTest::newRow("one value, 1e15") << 1 << 1e15 << 0 << false;
        QTest::newRow("equal values") << 2000 << 0.0 << 4 << true;
        QTest::newRow("equal values, 1e15") << 2000 << 1e15 << 0 << true;
    }

    void read()
    {
        QFETCH(int, size);
        QFETCH(double, offset);
        QFETCH(int, holes);
        QFETCH(bool, isEqual);
        std::mt19937_64 random(1);
        std::normal_distribution<double> number(50.0, 12.0);
        m_offset = offset;
        m_x.clear();
        m_y.clear();
        m_pairX.clear();
        m_pairY.clear();
        for (int i = 0; i < size; ++i) {
            const double step = isEqual ? 7.25 : number(random);
            m_x.append(holes && i % holes == 1 ? hole : offset + step);
            m_y.append(holes && i % holes == 2 ? hole : 3.0 + 0.5 * step + number(random));
            if (m_x.last() != hole && m_y.last() != hole) {
                m_pairX.append(m_x.last());
                m_pairY.append(m_y.last());
            }
        }
    }

    /// The same numbers around 0, which are exact. At 1e15 the library that is compared with loses
    /// digits: of a deviation all but five.
    Numbers withoutOffset(Numbers numbers) const
    {
        for (double &number : numbers)
            number -= m_offset;
        return numbers;
    }

    double m_offset = 0.0;
    Numbers m_x;
    Numbers m_y;
    Numbers m_pairX; // without the rows where one of the two is a hole
    Numbers m_pairY;
};

QTEST_GUILESS_MAIN(tst_Statistics_gsl)
#include "tst_Statistics_gsl.moc"
