#pragma once

#include "data/Array.h"
#include "data/Interval.h"
#include "utils/Export.h"
#include "utils/text/PolynomialFit.h"

#include <QList>
#include <QVector>

namespace Utils {

/// Static functions that summarise columns of numbers: location and spread, the fit of two columns,
/// quartiles, histograms and a normal curve.
///
/// A value of exactly Data::noValue is a hole and does not count.
///
/// \p indices selects rows, in the order of the list. Rows count from 0; a row that is in the list
/// several times is selected as often. An empty list selects all rows; a list of a single negative
/// index selects none. An index outside the column selects a hole. A column whose data is null is
/// empty, and so is a column of which the lower 32 bits of the size are a negative number.
///
/// A function of two columns goes through both selections row by row, to the end of the shorter
/// one. A pair of values counts only if neither is a hole.
///
/// Sums are computed in double, from the first row to the last. NaN counts as a value, makes a sum
/// NaN, and sorts after everything; -0.0 sorts before 0.0.
///
///     const double numbers[] = {1.0, Data::noValue, 3.0};
///     const Data::Array column{numbers, 3};
///     const double mean = Statistics::mean(column);           // 2.0
///     const double first = Statistics::mean(column, {0});     // 1.0
///     const double nothing = Statistics::mean(column, {-1});  // 0.0
class KELMUTILS_EXPORT Statistics
{
public:
    /// The height of the curve of distributionData().
    enum DistributionScale
    {
        DensityScale = 0, ///< the area below the curve is 1
        PeakScale = 1,    ///< the curve is 1.0 high
        CountScale = 2    ///< the height of a histogram. \compat Holes are counted, too.
    };

    /// The number of values.
    static int length(const Data::Array &array, const QList<int> &indices = {});

    /// The sum and the arithmetic mean. 0.0 when there are no values.
    static double sum(const Data::Array &array, const QList<int> &indices = {});
    static double mean(const Data::Array &array, const QList<int> &indices = {});

    /// The smallest and the largest value; 0.0 when there are no values. NaN is ignored unless all
    /// values are NaN. When both -0.0 and 0.0 qualify, the first of them is returned.
    static double minimum(const Data::Array &array, const QList<int> &indices = {});
    static double maximum(const Data::Array &array, const QList<int> &indices = {});

    /// The interval from minimum() to maximum(), with both flags set. The empty interval, with no
    /// flags, when there are no values.
    static Data::Interval range(const Data::Array &array, const QList<int> &indices = {});

    /// The population variance: the mean of the squared distances from mean(). 0.0 when there are
    /// no values.
    static double variance(const Data::Array &array, const QList<int> &indices = {});

    /// The sample standard deviation: sqrt(variance * n / (n - 1)). 0.0 for fewer than two values.
    static double standardDeviation(const Data::Array &array, const QList<int> &indices = {});

    /// The middle value of the sorted values, or the mean of the two in the middle. 0.0 when there
    /// are no values.
    static double median(const Data::Array &array, const QList<int> &indices = {});

    /// Sets the smallest value, the median of the lower half, the median, the median of the upper
    /// half, and the largest value. The middle one of an odd number of values is in neither half.
    ///
    ///     1 2 3 4 5 6 7 8  => minimum 1, lower 2.5, median 4.5, upper 6.5, maximum 8
    ///     1 2 3 4 5 6 7    => minimum 1, lower 2,   median 4,   upper 6,   maximum 7
    ///     4                => five times 4
    ///     nothing          => five times 0
    static void quartiles(const Data::Array &array, double &minimum, double &lower, double &median,
                          double &upper, double &maximum, const QList<int> &indices = {});

    /// The population covariance. 0.0 when no pair counts.
    ///
    /// \compat The two means are computed from each column alone. They include values whose partner
    /// in the other column is a hole or missing.
    static double covariance(const Data::Array &a, const Data::Array &b,
                             const QList<int> &indices = {});

    /// covariance / sqrt(variance of a * variance of b). 0.0 when a variance is 0.0 and when the
    /// result is not finite.
    ///
    /// \compat Two corners:
    /// - With \p indices, the holes are first removed from each column alone. Values are then
    ///   paired by position, no longer by row.
    /// - Without \p indices, the variances are those of all values but the covariance is that of
    ///   the pairs, so that holes can make the absolute value of the result greater than 1.
    static double coefficientCorrelation(const Data::Array &a, const Data::Array &b,
                                         const QList<int> &indices = {});

    /// The sums of squares for a fit \p b to the observed values \p a, where m is the mean of \p a.
    ///
    /// Sets \p total to the sum of (a - m)^2, \p residual to that of (a - b)^2, and \p regression
    /// to that of (b - m)^2. False when one of the selections is empty; the three then stay
    /// unchanged. When there are only holes, returns true and sets them to 0.0.
    static bool sumSquareInfo(const Data::Array &a, const Data::Array &b, double &total,
                              double &residual, double &regression, const QList<int> &indices = {});

    /// R^2 = 1 - residual / total of sumSquareInfo(). 0.0 when that returns false or total is 0.0.
    static double coefficientMultDetermination(const Data::Array &a, const Data::Array &b,
                                               const QList<int> &indices = {});

    /// The adjusted R^2 for a fit with \p parameters parameters, where n is the smaller length() of
    /// the two columns. 0.0 when n - parameters is below 1.
    ///
    ///     1 - (1 - R^2) * (n - 1) / (n - parameters)
    static double coefficientMultDeterminationAdjusted(const Data::Array &a, const Data::Array &b,
                                                       int parameters,
                                                       const QList<int> &indices = {});

    /// The sum of (a - b)^2. 0.0 when no pair counts.
    static double residualSumSquare(const Data::Array &a, const Data::Array &b,
                                    const QList<int> &indices = {});

    /// sqrt(residualSumSquare / length(b)). When \p b has no values, residualSumSquare itself.
    ///
    /// \compat The sum is divided by the number of all values of \p b, not by that of the pairs.
    static double rmsValue(const Data::Array &a, const Data::Array &b,
                           const QList<int> &indices = {});

    /// The selected values without the holes, in the order of the selection.
    ///
    /// reduce() and sort() return an empty result when there is no memory for it. A QVector holds
    /// at most 2 GiB.
    static QVector<double> reduce(const Data::Array &array, const QList<int> &indices = {});

    /// The values of reduce(), sorted. NaN is last, whether \p ascending is true or false.
    static QVector<double> sort(const Data::Array &array, bool ascending,
                                const QList<int> &indices = {});

    /// The y value at v = x[index] of the curve through knots. The coordinates of the knots are
    /// \p xs and \p ys; \p index counts from 0.
    ///
    ///     xs[index] equals v             => ys[index]
    ///     v between two ascending knots  => on the straight line between the first such knots
    ///     v at two equal adjacent knots  => the y of the first of them
    ///     anything else                  => Data::noValue
    ///
    /// \compat Holes are not left out: they are used as the number 1e300. Descending steps of the
    /// curve are skipped.
    static double interpolate(const Data::Array &x, int index, const Data::Array &xs,
                              const Data::Array &ys);

    /// Counts the values in bins of equal width. Appends the count of each bin to \p counts and its
    /// upper edge to \p edges, and returns the new size of \p counts. For fewer than two values,
    /// returns 0 and appends nothing.
    ///
    /// The bins start at the lower end of range(), or of \p interval when \p interval has flags and
    /// its min is below its max. There are \p bins bins up to the upper end. With \p bins below 2,
    /// there are as many as needed with the width 3.5 * standardDeviation / cube root of length
    /// (Scott's rule).
    ///
    ///     0 1 2 3 4, 2 bins               => counts 3 2,    edges 2 4
    ///     0 1 2 3 4, 2 bins, from 1 to 3  => counts 3 1 1,  edges 2 3 4
    ///     5 5 5, 4 bins                   => counts 3 0 0 0, edges 5 5 5 5
    ///
    /// A value on an edge belongs to the bin below it. A value above the edge also belongs to that
    /// bin, if its distance from the edge is at most 0.0001 times the width of a bin, and at most
    /// 0.0001 times the upper end.
    ///
    /// A value that is in no bin, however many are appended, because the width is 0 or the value is
    /// infinity or NaN, is counted in the last bin that the other values need. Empty bins up to
    /// \p bins follow.
    ///
    /// A call appends at most 1,000,000 bins. A greater \p bins stands for that number, and values
    /// above the last bin are counted in it.
    ///
    /// \compat Two corners:
    /// - Nothing is clipped: a value below \p interval is counted in the first bin, and for a value
    ///   above it as many further bins as needed are appended.
    /// - When \p counts is not empty, its entries count as bins: bins are appended until its size
    ///   is \p bins, and the edge of each appended bin but the first is higher by the width of a
    ///   bin times the original size of \p counts.
    static int histogramData(const Data::Array &array, int bins, QList<int> &counts,
                             QList<double> &edges, const QList<int> &indices = {},
                             const Data::Interval &interval = {});

    /// Appends the points of a normal curve over the values: 5 * \p bins + 1 of them, but at least
    /// 51, from three standard deviations below the mean to three above it.
    ///
    /// When \p markers is not null, x and y of five points of the curve are appended to it: at the
    /// mean, one standard deviation below and above it, two below and above it.
    ///
    /// With v the variance(), or 1.0 when that is 0.0, the curve is
    /// exp((x - mean)^2 / (-2 * v)) * peak, and the peak is
    ///
    ///     DensityScale  => 1 / sqrt(v * 2 * pi)
    ///     PeakScale     => 1
    ///     CountScale    => rows * (range / bins) / sqrt(v * 2 * pi)
    ///
    /// With CountScale the curve is as high as a histogram with \p bins bins. When \p bins is 0,
    /// the heights are infinite or NaN. When \p bins is above 1,000,000, it stands for 1,000,000.
    ///
    /// \compat Three corners:
    /// - The shape of the curve uses the population variance, its extent the sample deviation.
    /// - When all values are equal, all points have the mean as x.
    /// - When there are no values, the mean is 0.0.
    static void distributionData(const Data::Array &array, int bins, QVector<double> &x,
                                 QVector<double> &y, DistributionScale scale,
                                 QVector<double> *markers = nullptr,
                                 const QList<int> &indices = {});

    /// Whether \p a and \p b are close: (abs(a) + 1) * tolerance is greater than abs(a - b).
    ///
    /// \compat With a \p tolerance of 0, equal numbers are not close.
    static bool checkTol(double a, double b, double tolerance);

    /// \p value, or \p fallback when it is NaN or infinite. A hole is a value here.
    static double validate(double value, double fallback);

    /// The value that \p percent percent of the sorted values do not exceed: 0 is the smallest
    /// value, 50 the median, 100 the largest value. 0.0 when there are no values, and
    /// Data::noValue when \p percent is NaN or not between 0 and 100.
    ///
    /// Counted from 0, the result is the sorted value at position (n - 1) * percent / 100. Between
    /// two positions it is on the straight line between their values. In the list of definitions by
    /// Hyndman and Fan this is type 7.
    ///
    ///     10 20 30 40, 50  => 25
    ///     10 20 30 40, 90  => 37
    ///     10 20 30 40, 95  => 38.5
    ///     10 20 30 nan, 95 => nan     NaN is the largest value
    ///
    /// Between a number and infinity the result is infinite, between two different infinities NaN.
    static double percentile(const Data::Array &array, double percent,
                             const QList<int> &indices = {});

    /// The median of the distances from median(): a measure of spread on which outliers have little
    /// effect, as long as they are less than half of the values. 0.0 when there are no values, and
    /// Data::noValue when there is no memory for the distances.
    ///
    /// NaN is the largest distance. When the median is infinite, the distance of infinite values
    /// from it is NaN.
    static double medianAbsoluteDeviation(const Data::Array &array, const QList<int> &indices = {});

    /// 1.482602218505602 * medianAbsoluteDeviation(). For normally distributed values it estimates
    /// their standard deviation, also when there are outliers among them. 0.0 when there are no
    /// values, and Data::noValue when there is no memory.
    static double robustDeviation(const Data::Array &array, const QList<int> &indices = {});

    /// The mean with \p weights: the sum of the products of value and weight, divided by the sum of
    /// the weights. 0.0 when no pair counts.
    ///
    /// A pair of value and weight counts only if neither is a hole and the weight is above 0. The
    /// result is NaN when a weight is NaN or infinite, and NaN or infinite when a value is.
    ///
    /// Here and in the functions below, sums are corrected by the rounding errors of the additions.
    /// So the results are precise also for values that are large compared to their distances.
    static double weightedMean(const Data::Array &array, const Data::Array &weights,
                               const QList<int> &indices = {});

    /// The sample standard deviation with \p weights, which are the reliability of each value. It
    /// is standardDeviation() when all weights are equal. 0.0 when fewer than two pairs count.
    ///
    /// With W the sum of the weights w, S that of their squares, and m the weightedMean():
    ///
    ///     sqrt(W / (W * W - S) * sum of w * (value - m)^2)
    ///
    /// Pairs count as in weightedMean(). The result is NaN when a value or a weight is NaN or
    /// infinite, and when the distance of two values exceeds the range of a double.
    static double weightedStandardDeviation(const Data::Array &array, const Data::Array &weights,
                                            const QList<int> &indices = {});

    /// The correlation of two columns (Pearson's), from -1.0 to 1.0. 0.0 when fewer than two pairs
    /// count, and when all values of a column are equal.
    ///
    /// A row counts only if neither value is a hole, also in the means. In this it differs from
    /// coefficientCorrelation(); without holes the results agree. The result is NaN when a value of
    /// a row that counts is NaN or infinite, and when the distance of two values of a column
    /// exceeds the range of a double.
    static double correlation(const Data::Array &a, const Data::Array &b,
                              const QList<int> &indices = {});

    /// The straight line through pairs of \p x and \p y with the least sum of squared residuals:
    /// fitPolynomial() of degree 1.
    static PolynomialFit fitLine(const Data::Array &x, const Data::Array &y,
                                 const QList<int> &indices = {});

    /// The same for a polynomial of \p degree, from 0 to 20.
    ///
    /// The fit is not valid
    /// - when fewer than \p degree + 1 of the x are different, or when they are so close together
    ///   that rounding would determine the polynomial;
    /// - when a value of a pair that counts is NaN or infinite, or when the distance of two values
    ///   of a column exceeds the range of a double;
    /// - when \p degree is out of range;
    /// - when there is no memory for the residuals. A QVector holds at most 2 GiB.
    ///
    /// Pairs count as in all functions of two columns. Their x may be large compared to their
    /// distances: the polynomial is computed around the mean of x, by a QR decomposition.
    static PolynomialFit fitPolynomial(const Data::Array &x, const Data::Array &y, int degree,
                                       const QList<int> &indices = {});

    /// For each selected row, the mean of the rows from \p before rows before it to \p after rows
    /// after it. A negative number of rows stands for 0.
    ///
    /// Holes and rows beyond the ends of the column do not count. So at the ends the mean is that
    /// of fewer rows, and a hole is replaced by the mean of its neighbours. The result of a row is
    /// Data::noValue only when there is no value among them. NaN and infinite values have an effect
    /// only on rows whose mean includes them.
    ///
    ///     1 2 6 hole hole hole 4, 1 and 1  => 1.5 3 4 6 hole 4 4
    ///     1 2 6, 2 and 0                   => 1 1.5 3
    ///
    /// The time does not depend on the number of rows in a mean. The result is empty when there is
    /// no memory for it. A QVector holds at most 2 GiB.
    static QVector<double> movingAverage(const Data::Array &array, int before, int after,
                                         const QList<int> &indices = {});
};

} // namespace Utils
