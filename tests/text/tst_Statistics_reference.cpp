// Statistics beside results that were computed with fractions, without rounding. See
// statistics_reference.py.

#include "utils/text/RunningStatistics.h"
#include "utils/text/Statistics.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <limits>

using Utils::PolynomialFit;
using Utils::RunningStatistics;
using Utils::Statistics;

using Numbers = QVector<double>;

static const double tolerance = 1e-12;

static Data::Array column(const Numbers &numbers)
{
    return {numbers.constData(), quint64(numbers.size())};
}

/// A number of the file; null stands for one that is too large for a double.
static double toNumber(const QJsonValue &value)
{
    return value.toDouble(std::numeric_limits<double>::infinity());
}

static Numbers toNumbers(const QJsonValue &value)
{
    Numbers numbers;
    for (const QJsonValue &number : value.toArray())
        numbers.append(toNumber(number));
    return numbers;
}

/// "" when \p found differs from \p exact by at most a part of \p size.
static QString difference(double found, double exact, double size)
{
    if (found == exact || std::abs(found - exact) <= tolerance * std::abs(size))
        return {};
    return QString::asprintf("%.17g, not %.17g", found, exact);
}

static QString difference(double found, double exact) { return difference(found, exact, exact); }

static QString differenceOfLists(const Numbers &found, const Numbers &exact, const Numbers &sizes)
{
    if (found.size() != exact.size())
        return QStringLiteral("%1 numbers, not %2").arg(found.size()).arg(exact.size());
    for (int i = 0; i < found.size(); ++i) {
        const QString text = difference(found[i], exact[i], sizes[i]);
        if (!text.isEmpty())
            return QStringLiteral("at %1: %2").arg(i).arg(text);
    }
    return {};
}

class tst_Statistics_reference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QFile file(QFINDTESTDATA("statistics_reference.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        m_columns = QJsonDocument::fromJson(file.readAll()).array();
        QVERIFY(m_columns.size() > 15);
    }

    void computesPercentiles_data() { addColumns(); }

    void computesPercentiles()
    {
        const Numbers x = read("x");
        const double size =
            Statistics::percentile(column(x), 100) - Statistics::percentile(column(x), 0);

        const QJsonArray percentiles = m_column["percentiles"].toArray();
        QCOMPARE(percentiles.size(), 10);
        for (const QJsonValue &entry : percentiles) {
            const double percent = entry.toArray()[0].toDouble();
            const double exact = entry.toArray()[1].toDouble();
            // Around zero, two numbers of different sign cancel each other.
            const double around = std::max(std::abs(exact), size * 1e-3);
            QCOMPARE(difference(Statistics::percentile(column(x), percent), exact, around),
                     QString());
        }
    }

    void computesRobustDeviations_data() { addColumns(); }

    void computesRobustDeviations()
    {
        const Numbers x = read("x");

        QCOMPARE(difference(Statistics::medianAbsoluteDeviation(column(x)),
                            toNumber(m_column["medianAbsoluteDeviation"])),
                 QString());
        QCOMPARE(difference(Statistics::robustDeviation(column(x)),
                            toNumber(m_column["robustDeviation"])),
                 QString());
    }

    void weighsValues_data() { addColumns(); }

    void weighsValues()
    {
        const Numbers x = read("x");
        const Numbers weights = read("weights");

        QCOMPARE(difference(Statistics::weightedMean(column(x), column(weights)),
                            toNumber(m_column["weightedMean"])),
                 QString());
        QCOMPARE(difference(Statistics::weightedStandardDeviation(column(x), column(weights)),
                            toNumber(m_column["weightedDeviation"])),
                 QString());
    }

    void correlatesColumns_data() { addColumns(); }

    void correlatesColumns()
    {
        const Numbers x = read("x");
        const Numbers y = read("y");
        const double exact = toNumber(m_column["correlation"]);

        QCOMPARE(difference(Statistics::correlation(column(x), column(y)), exact), QString());
        QCOMPARE(difference(Statistics::correlation(column(y), column(x)), exact), QString());
    }

    void summarisesNumbersAsTheyArrive_data() { addColumns(); }

    void summarisesNumbersAsTheyArrive()
    {
        const Numbers x = read("x");

        RunningStatistics running;
        for (const double value : x)
            running.add(value);

        QCOMPARE(running.count(), qint64(Statistics::length(column(x))));
        QCOMPARE(difference(running.mean(), toNumber(m_column["mean"])), QString());
        QCOMPARE(difference(running.variance(), toNumber(m_column["variance"])), QString());
        const double variance = running.variance(); // whose squares may be out of range
        if (variance == 0.0 ? Statistics::range(column(x)).min == Statistics::range(column(x)).max
                            : std::isfinite(variance))
            QCOMPARE(difference(running.standardDeviation(), toNumber(m_column["deviation"])),
                     QString());
    }

    void mergesRunningStatistics_data() { addColumns(); }

    void mergesRunningStatistics()
    {
        const Numbers x = read("x");

        for (int parts = 2; parts < 8; ++parts) {
            RunningStatistics merged;
            for (int part = 0; part < parts; ++part) {
                const int first = x.size() * part / parts;
                const int end = x.size() * (part + 1) / parts;
                RunningStatistics running;
                running.add({x.constData() + first, quint64(end - first)});
                merged.merge(running);
            }
            QCOMPARE(merged.count(), qint64(Statistics::length(column(x))));
            QCOMPARE(difference(merged.mean(), toNumber(m_column["mean"])), QString());
            QCOMPARE(difference(merged.variance(), toNumber(m_column["variance"])), QString());
            QCOMPARE(merged.minimum(), Statistics::minimum(column(x)));
            QCOMPARE(merged.maximum(), Statistics::maximum(column(x)));
        }
    }

    void fitsPolynomials_data() { addColumns(); }

    void fitsPolynomials()
    {
        const Numbers x = read("x");
        const Numbers y = read("y");

        for (const QJsonValue &value : m_column["fits"].toArray()) {
            const QJsonObject exact = value.toObject();
            const int degree = exact["degree"].toInt();
            const PolynomialFit fit = Statistics::fitPolynomial(column(x), column(y), degree);
            if (m_column["name"] == "outlier first" && degree > 1) {
                QVERIFY(!fit.isValid()); // beside the outlier, the other x are almost equal
                continue;
            }
            QVERIFY(fit.isValid());
            QCOMPARE(fit.count, exact["count"].toInt());
            const double spread = toNumber(exact["spread"]);
            const Numbers coefficients = toNumbers(exact["coefficients"]);
            const Numbers sizes = toNumbers(exact["sizes"]);
            QCOMPARE(differenceOfLists(fit.coefficients, coefficients, sizes), QString());
            QCOMPARE(difference(fit.rSquared, toNumber(exact["rSquared"]), 1.0), QString());
            QCOMPARE(difference(fit.residualSumSquare, toNumber(exact["residualSumSquare"]),
                                spread * spread),
                     QString());
            const Numbers residuals = toNumbers(exact["residuals"]);
            QCOMPARE(differenceOfLists(fit.residuals, residuals, Numbers(x.size(), spread)),
                     QString());
            const Numbers points = toNumbers(exact["points"]);
            const Numbers values = toNumbers(exact["values"]);
            for (int i = 0; i < points.size(); ++i)
                QCOMPARE(difference(fit.value(points[i]), values[i],
                                    std::max(std::abs(values[i]), spread)),
                         QString());
        }
    }

    void doesNotFitWhatHasNoPolynomial_data() { addColumns(); }

    void doesNotFitWhatHasNoPolynomial()
    {
        const Numbers x = read("x");
        const Numbers y = read("y");
        const int found = m_column["fits"].toArray().size();
        if (found == 4 || m_column["name"] == "huge" || m_column["name"] == "tiny")
            return;

        QVERIFY(!Statistics::fitPolynomial(column(x), column(y), found).isValid());
    }

    void averagesOverMovingWindows_data() { addColumns(); }

    void averagesOverMovingWindows()
    {
        const Numbers x = read("x");
        for (const QJsonValue &value : m_column["moving"].toArray()) {
            const QJsonArray entry = value.toArray();
            const Numbers means = toNumbers(entry[2]);
            const Numbers found =
                Statistics::movingAverage(column(x), entry[0].toInt(), entry[1].toInt());
            QCOMPARE(differenceOfLists(found, means, means), QString());
        }
    }

private:
    void addColumns()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < m_columns.size(); ++i)
            QTest::newRow(qPrintable(m_columns[i].toObject()["name"].toString())) << i;
    }

    Numbers read(const char *key)
    {
        QFETCH(int, index);
        m_column = m_columns[index].toObject();
        return toNumbers(m_column[QLatin1String(key)]);
    }

    QJsonArray m_columns;
    QJsonObject m_column;
};

QTEST_GUILESS_MAIN(tst_Statistics_reference)
#include "tst_Statistics_reference.moc"
