// Statistics beside one read of the memory, beside the GNU Scientific Library and beside std::sort.
// benchmarks/report tells how names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/text/Statistics.h"

#include <gsl/gsl_fit.h>
#include <gsl/gsl_histogram.h>
#include <gsl/gsl_multifit.h>
#include <gsl/gsl_sort_double.h>
#include <gsl/gsl_statistics_double.h>

#include <QVector>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

using benchmark::State;
using Utils::Statistics;

static const int rows = 10000000;
static const int bins = 100;
static const int fitRows = 1000000;
static const int degree = 3;

/// Numbers around 50, every twentieth of which is a hole.
static QVector<double> makeNumbers()
{
    std::mt19937_64 random(1);
    std::normal_distribution<double> number(50.0, 12.0);
    std::uniform_int_distribution<int> isHole(0, 19);
    QVector<double> numbers;
    numbers.reserve(rows);
    for (int i = 0; i < rows; ++i)
        numbers.append(isHole(random) == 0 ? Data::noValue : number(random));
    return numbers;
}

static Data::Array column(const QVector<double> &numbers)
{
    return {numbers.constData(), static_cast<quint64>(numbers.size())};
}

template <typename Call>
static void measure(State &state, Call call, int count = rows)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(call());
    state.SetItemsProcessed(state.iterations() * count);
}

/// One read of the memory: all its bits, with four sums that do not wait for each other.
static quint64 readAll(const QVector<double> &numbers)
{
    quint64 sums[4] = {};
    const double *values = numbers.constData();
    for (int i = 0; i + 4 <= numbers.size(); i += 4) {
        quint64 bits[4];
        std::memcpy(bits, values + i, sizeof bits);
        for (int lane = 0; lane < 4; ++lane)
            sums[lane] += bits[lane];
    }
    return sums[0] + sums[1] + sums[2] + sums[3];
}

/// Reorders its numbers, so it takes a copy, as whoever keeps a column has to.
static double medianByGsl(const QVector<double> &reduced)
{
    std::vector<double> copy(reduced.begin(), reduced.end());
    return gsl_stats_median(copy.data(), 1, copy.size());
}

/// Takes a fresh copy for each call, outside of the time that is measured.
template <typename Call>
static void measureOnCopy(State &state, const QVector<double> &numbers, Call call)
{
    for (auto _ : state) {
        state.PauseTiming();
        QVector<double> copy = Statistics::reduce(column(numbers));
        state.ResumeTiming();
        benchmark::DoNotOptimize(call(copy));
    }
    state.SetItemsProcessed(state.iterations() * rows);
}

static int histogramByGsl(const QVector<double> &reduced)
{
    gsl_histogram *histogram = gsl_histogram_alloc(bins);
    double low = 0.0;
    double high = 0.0;
    gsl_stats_minmax(&low, &high, reduced.constData(), 1, static_cast<size_t>(reduced.size()));
    gsl_histogram_set_ranges_uniform(histogram, low, high);
    for (const double value : reduced)
        gsl_histogram_increment(histogram, value);
    const int count = static_cast<int>(gsl_histogram_get(histogram, bins / 2));
    gsl_histogram_free(histogram);
    return count;
}

static int histogramOurs(const QVector<double> &numbers)
{
    QList<int> counts;
    QList<double> edges;
    Statistics::histogramData(column(numbers), bins, counts, edges);
    return counts[bins / 2];
}

/// It has no percentile of what is not sorted.
static double percentileByGsl(const QVector<double> &reduced)
{
    std::vector<double> copy(reduced.begin(), reduced.end());
    gsl_sort(copy.data(), 1, copy.size());
    return gsl_stats_quantile_from_sorted_data(copy.data(), 1, copy.size(), 0.9);
}

/// Numbers that ascend on the whole, without holes.
static QVector<double> makeTimes(const QVector<double> &reduced)
{
    QVector<double> times;
    times.reserve(fitRows);
    for (int i = 0; i < fitRows; ++i)
        times.append(0.001 * i + reduced[i]);
    return times;
}

static double lineByGsl(const QVector<double> &x, const QVector<double> &y)
{
    double intercept, slope, variance, covariance, slopeVariance, square;
    gsl_fit_linear(x.constData(), 1, y.constData(), 1, fitRows, &intercept, &slope, &variance,
                   &covariance, &slopeVariance, &square);
    return slope;
}

static double polynomialByGsl(const QVector<double> &x, const QVector<double> &y)
{
    gsl_matrix *powers = gsl_matrix_alloc(fitRows, degree + 1);
    gsl_vector_const_view values = gsl_vector_const_view_array(y.constData(), fitRows);
    gsl_vector *factors = gsl_vector_alloc(degree + 1);
    gsl_matrix *covariance = gsl_matrix_alloc(degree + 1, degree + 1);
    gsl_multifit_linear_workspace *space = gsl_multifit_linear_alloc(fitRows, degree + 1);
    for (int i = 0; i < fitRows; ++i) {
        double power = 1.0;
        for (int j = 0; j <= degree; ++j) {
            gsl_matrix_set(powers, static_cast<size_t>(i), static_cast<size_t>(j), power);
            power *= x[i];
        }
    }
    double square = 0.0;
    gsl_multifit_linear(powers, &values.vector, factors, covariance, &square, space);
    const double first = gsl_vector_get(factors, 0);
    gsl_multifit_linear_free(space);
    gsl_matrix_free(covariance);
    gsl_vector_free(factors);
    gsl_matrix_free(powers);
    return first;
}

int main(int argc, char **argv)
{
    const QVector<double> numbers = makeNumbers();
    const QVector<double> reduced = Statistics::reduce(column(numbers));

    const auto read = [&](State &state) { measure(state, [&] { return readAll(numbers); }); };
    addPair(
        "mean of 10,000,000 with holes", "beside one read of the memory", 3.0,
        [&](State &state) { measure(state, [&] { return Statistics::mean(column(numbers)); }); },
        read);
    addPair(
        "variance", "beside one read of the memory", 6.5,
        [&](State &state) {
            measure(state, [&] { return Statistics::variance(column(numbers)); });
        },
        read);
    addPair(
        "range", "beside one read of the memory", 0.0,
        [&](State &state) {
            measure(state, [&] { return Statistics::range(column(numbers)).max; });
        },
        read);
    addPair(
        "median", "beside gsl_stats_median of a copy", 0.20,
        [&](State &state) { measure(state, [&] { return Statistics::median(column(numbers)); }); },
        [&](State &state) { measure(state, [&] { return medianByGsl(reduced); }); });
    addPair(
        "percentile", "beside gsl_sort of a copy and gsl_stats_quantile_from_sorted_data", 0.05,
        [&](State &state) {
            measure(state, [&] { return Statistics::percentile(column(numbers), 90.0); });
        },
        [&](State &state) { measure(state, [&] { return percentileByGsl(reduced); }); });
    addPair(
        "histogram of 100 bins", "beside gsl_histogram", 0.45,
        [&](State &state) { measure(state, [&] { return histogramOurs(numbers); }); },
        [&](State &state) { measure(state, [&] { return histogramByGsl(reduced); }); });
    addPair(
        "sort", "beside std::sort", 0.50,
        [&](State &state) {
            measure(state, [&] { return Statistics::sort(column(numbers), true).last(); });
        },
        [&](State &state) {
            measureOnCopy(state, numbers, [](QVector<double> &copy) {
                std::sort(copy.begin(), copy.end());
                return copy.last();
            });
        });
    const QVector<double> times = makeTimes(reduced);
    const QVector<double> values = reduced.mid(fitRows, fitRows);
    const auto fit = [&](int ofDegree) {
        return Statistics::fitPolynomial(column(times), column(values), ofDegree).coefficients[0];
    };
    addPair(
        "line through 1,000,000 points", "beside gsl_fit_linear, which has no residuals", 0.0,
        [&](State &state) {
            measure(
                state, [&] { return fit(1); }, fitRows);
        },
        [&](State &state) {
            measure(
                state, [&] { return lineByGsl(times, values); }, fitRows);
        });
    addPair(
        "polynomial of degree 3", "beside gsl_multifit_linear, which has no residuals", 0.50,
        [&](State &state) {
            measure(
                state, [&] { return fit(degree); }, fitRows);
        },
        [&](State &state) {
            measure(
                state, [&] { return polynomialByGsl(times, values); }, fitRows);
        });
    return runBenchmarks(argc, argv);
}
