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
#include <limits>
#include <random>
#include <set>

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

namespace {

/// The polynomial of least squares that GSL computes for the values \p y at the positions \p u.
struct GslFit
{
    GslFit(const Numbers &u, const Numbers &y, int degree) : factors(degree + 1), residuals(y)
    {
        const std::size_t terms = std::size_t(degree) + 1;
        gsl_matrix *powers = gsl_matrix_alloc(sizeOf(u), terms);
        gsl_matrix *covariance = gsl_matrix_alloc(terms, terms);
        for (int i = 0; i < u.size(); ++i) {
            for (std::size_t power = 0; power < terms; ++power)
                gsl_matrix_set(powers, std::size_t(i), power, std::pow(u[i], power));
        }
        gsl_vector_const_view values = gsl_vector_const_view_array(y.constData(), sizeOf(y));
        gsl_vector_view result = gsl_vector_view_array(factors.data(), terms);
        gsl_vector_view rest = gsl_vector_view_array(residuals.data(), sizeOf(y));
        gsl_multifit_linear_workspace *space = gsl_multifit_linear_alloc(sizeOf(u), terms);
        gsl_multifit_linear(powers, &values.vector, &result.vector, covariance, &square, space);
        gsl_multifit_linear_residuals(powers, &values.vector, &result.vector, &rest.vector);
        total = gsl_stats_tss(y.constData(), 1, sizeOf(y));
        gsl_multifit_linear_free(space);
        gsl_matrix_free(covariance);
        gsl_matrix_free(powers);
    }

    Numbers factors;
    Numbers residuals;
    double square = 0.0; // the sum of the squared residuals
    double total = 0.0;  // that of the distances of y from their mean
};

} // namespace

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

        QCOMPARE(meanDifference(Statistics::weightedMean(column(m_x), column(weights)),
                                gsl_stats_wmean(valueWeights.constData(), 1, values.constData(), 1,
                                                sizeOf(values))),
                 QString());
        // That of one value divides by zero in GSL.
        const double deviation =
            values.size() < 2
                ? 0.0
                : gsl_stats_wsd(valueWeights.constData(), 1, values.constData(), 1, sizeOf(values));
        QCOMPARE(difference(Statistics::weightedStandardDeviation(column(m_x), column(weights)),
                            deviation),
                 QString());
    }

    void correlationsAgree_data() { addColumns(); }

    void correlationsAgree()
    {
        read();
        QFETCH(bool, isEqual);
        if (m_pairX.size() < 2 || isEqual) { // GSL divides by zero
            QCOMPARE(Statistics::correlation(column(m_x), column(m_y)), 0.0);
            return;
        }

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
        RunningStatistics running;
        running.add(column(m_x));

        verifyRunning(running);
    }

    void mergedStatisticsAgree_data() { addColumns(); }

    void mergedStatisticsAgree()
    {
        read();
        RunningStatistics all;
        for (int first = 0, size = 1; first < m_x.size(); first += size, size = size * 3 % 101) {
            RunningStatistics part;
            part.add(column(m_x.mid(first, size)));
            all.merge(part);
        }

        verifyRunning(all);
    }

    void linesAgree_data() { addColumns(); }

    void linesAgree()
    {
        read();
        const PolynomialFit fit = Statistics::fitLine(column(m_x), column(m_y));
        QCOMPARE(fit.isValid(), numDifferent() > 1);
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
        Numbers residuals;
        for (int i = 0; i < x.size(); ++i)
            residuals.append(m_pairY[i] - (intercept + slope * x[i]));
        verifyResiduals(fit, residuals);
    }

    void polynomialsAgree_data() { addColumns(); }

    void polynomialsAgree()
    {
        read();
        for (int degree = 1; degree <= 4; ++degree) {
            const PolynomialFit fit = Statistics::fitPolynomial(column(m_x), column(m_y), degree);
            QCOMPARE(fit.isValid(), numDifferent() > degree);
            if (!fit.isValid())
                continue;
            Numbers u; // around the middle, so that the powers differ for GSL as well
            Numbers y;
            for (int i = 0; i < m_pairX.size(); ++i) {
                u.append((m_pairX[i] - fit.centreX) * fit.scaleX);
                y.append(m_pairY[i] - fit.centreY);
            }
            const GslFit expected(u, y, degree);

            for (int power = 0; power <= degree; ++power)
                QCOMPARE(difference(fit.centred[power], expected.factors[power],
                                    std::abs(expected.factors[power]) + 0.1),
                         QString());
            // Through as many points as it has factors, it has no residuals.
            QCOMPARE(difference(fit.residualSumSquare, expected.square,
                                std::max(expected.square, 1e-3 * expected.total)),
                     QString());
            QCOMPARE(difference(fit.rSquared, 1.0 - expected.square / expected.total, 1.0),
                     QString());
            verifyResiduals(fit, expected.residuals);
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
                    if (window.isEmpty()) {
                        QCOMPARE(means[i], hole);
                        continue;
                    }
                    const Numbers values = withoutOffset(window);
                    QCOMPARE(meanDifference(means[i],
                                            gsl_stats_mean(values.constData(), 1, sizeOf(values))),
                             QString());
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

    /// difference() of a mean and the one of the numbers around 0. Where the mean is large, its sum
    /// and the quotient are rounded: by less than two units in its last place.
    QString meanDifference(double found, double expected) const
    {
        const double unit =
            std::nextafter(std::abs(found), std::numeric_limits<double>::infinity()) -
            std::abs(found);
        const double error = std::abs(found - m_offset - expected);
        if (error <= 2.0 * unit || error <= tolerance * std::abs(expected))
            return {};
        return QString::asprintf("%.17g, not %.17g + %.17g", found, m_offset, expected);
    }

    /// The number of different x that a fit uses.
    int numDifferent() const
    {
        return int(std::set<double>(m_pairX.begin(), m_pairX.end()).size());
    }

    void verifyRunning(const RunningStatistics &running) const
    {
        const Numbers values = withoutOffset(Statistics::reduce(column(m_x)));
        QCOMPARE(running.count(), qint64(values.size()));
        QCOMPARE(
            meanDifference(running.mean(), gsl_stats_mean(values.constData(), 1, sizeOf(values))),
            QString());
        double smallest, largest;
        gsl_stats_minmax(&smallest, &largest, values.constData(), 1, sizeOf(values));
        QCOMPARE(running.minimum() - m_offset, smallest);
        QCOMPARE(running.maximum() - m_offset, largest);
        // GSL divides by zero for one value.
        const bool isOne = values.size() == 1;
        const double deviation = isOne ? 0.0 : gsl_stats_sd(values.constData(), 1, sizeOf(values));
        const double sample =
            isOne ? 0.0 : gsl_stats_variance(values.constData(), 1, sizeOf(values));
        QCOMPARE(difference(running.standardDeviation(), deviation), QString());
        QCOMPARE(difference(running.variance(), sample * (values.size() - 1) / values.size()),
                 QString());
    }

    /// Compares the residuals of a fit with those of the pairs, relative to the range of y.
    void verifyResiduals(const PolynomialFit &fit, const Numbers &expected) const
    {
        QCOMPARE(fit.count, expected.size());
        QCOMPARE(fit.residuals.size(), m_x.size());
        const Data::Interval y = Statistics::range(column(m_pairY));
        for (int i = 0, pair = 0; i < m_x.size(); ++i) {
            const bool isPair = m_x[i] != hole && m_y[i] != hole;
            QCOMPARE(difference(fit.residuals[i], isPair ? expected[pair] : hole, y.max - y.min),
                     QString());
            pair += isPair;
        }
    }

    double m_offset = 0.0;
    Numbers m_x;
    Numbers m_y;
    Numbers m_pairX; // without the rows where one of the two is a hole
    Numbers m_pairY;
};

QTEST_GUILESS_MAIN(tst_Statistics_gsl)
#include "tst_Statistics_gsl.moc"
