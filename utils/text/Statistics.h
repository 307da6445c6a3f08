#pragma once

#include "data/Array.h"
#include "data/Interval.h"
#include "utils/Export.h"

#include <QList>
#include <QVector>

namespace Utils {

/// Sums up columns of numbers: location and spread, the fit of two columns, quartiles, histograms
/// and a normal curve.
///
/// A value of exactly Data::noValue is a hole and does not count.
///
/// \p indices selects rows, in its order and as often as it names them. An empty list selects all
/// rows; a list of one negative index selects none, which an empty one cannot say. An index outside
/// the column is a hole. A column without data is empty, as is one whose size is negative in its
/// lower 32 bits.
///
/// A function of two columns walks as far as the shorter selection, row by row, and a pair of
/// values counts only if neither is a hole.
///
/// Sums are added up in double, from the first row to the last. What is no number (NaN) counts as a
/// value, makes a sum NaN, and sorts behind everything; -0.0 sorts before 0.0.
///
///     const double numbers[] = {1.0, Data::noValue, 3.0};
///     const Data::Array column{numbers, 3};
///     const double mean = Statistics::mean(column);           // 2.0
///     const double first = Statistics::mean(column, {0});     // 1.0
///     const double nothing = Statistics::mean(column, {-1});  // 0.0
class KELMUTILS_EXPORT Statistics
{
public:
    /// How high the curve of distributionData() is drawn.
    enum DistributionScale
    {
        DensityScale = 0, ///< the area below the curve is 1
        PeakScale = 1,    ///< the curve is 1.0 high
        CountScale = 2    ///< as high as a histogram of the column; holes count, which is meant
    };

    /// The number of values.
    static int length(const Data::Array &array, const QList<int> &indices = {});

    /// 0.0 when there are no values. The mean is the arithmetic one.
    static double sum(const Data::Array &array, const QList<int> &indices = {});
    static double mean(const Data::Array &array, const QList<int> &indices = {});

    /// The smallest and the largest value, 0.0 when there are none. NaN is passed over unless there
    /// is nothing else; of -0.0 and 0.0 the one that comes first is taken.
    static double minimum(const Data::Array &array, const QList<int> &indices = {});
    static double maximum(const Data::Array &array, const QList<int> &indices = {});

    /// minimum() and maximum(), both set; the empty interval when there are no values.
    static Data::Interval range(const Data::Array &array, const QList<int> &indices = {});

    /// The population variance: the mean of the squared distances from the mean(). 0.0 when there
    /// are no values.
    static double variance(const Data::Array &array, const QList<int> &indices = {});

    /// The sample standard deviation, sqrt(variance * n / (n - 1)). 0.0 below two values.
    static double standardDeviation(const Data::Array &array, const QList<int> &indices = {});

    /// The middle value, or the mean of the two in the middle. 0.0 when there are no values.
    static double median(const Data::Array &array, const QList<int> &indices = {});

    /// The ends, the median, and the medians of the halves below and above it, where the middle
    /// value of an odd number is in neither half.
    ///
    ///     1 2 3 4 5 6 7 8  => minimum 1, lower 2.5, median 4.5, upper 6.5, maximum 8
    ///     1 2 3 4 5 6 7    => minimum 1, lower 2,   median 4,   upper 6,   maximum 7
    ///     4                => five times 4
    ///     nothing          => five times 0
    static void quartiles(const Data::Array &array, double &minimum, double &lower, double &median,
                          double &upper, double &maximum, const QList<int> &indices = {});

    /// The population covariance. 0.0 when no pair counts.
    ///
    /// It is meant that the means are those of each column by itself, also over rows whose partner
    /// is a hole or missing.
    static double covariance(const Data::Array &a, const Data::Array &b,
                             const QList<int> &indices = {});

    /// covariance / sqrt(variance of a * variance of b). 0.0 when a variance is 0.0 and when the
    /// result is not finite.
    ///
    /// Two oddities are meant. With \p indices, holes are first dropped from each column by itself,
    /// so that values meet by position and no longer by row. Without, the variances are of all
    /// values but the covariance is of pairs, so that holes can push the result beyond 1.
    static double coefficientCorrelation(const Data::Array &a, const Data::Array &b,
                                         const QList<int> &indices = {});

    /// The squares of a fit \p b to what was observed, \p a, where m is the mean of \p a.
    ///
    /// \p total is the sum of (a - m)^2, \p residual that of (a - b)^2, \p regression that of
    /// (b - m)^2. False, with all three left as they were, when the shorter selection is empty; one
    /// of nothing but holes gives true and zeros.
    static bool sumSquareInfo(const Data::Array &a, const Data::Array &b, double &total,
                              double &residual, double &regression, const QList<int> &indices = {});

    /// R^2 = 1 - residual / total of sumSquareInfo(). 0.0 when that fails or the total is 0.0.
    static double coefficientMultDetermination(const Data::Array &a, const Data::Array &b,
                                               const QList<int> &indices = {});

    /// R^2 for a fit with \p parameters: 1 - (1 - R^2) * (n - 1) / (n - parameters), where n is the
    /// smaller number of values. 0.0 when n - parameters is below 1.
    static double coefficientMultDeterminationAdjusted(const Data::Array &a, const Data::Array &b,
                                                       int parameters,
                                                       const QList<int> &indices = {});

    /// The sum of (a - b)^2. 0.0 when the shorter selection is empty.
    static double residualSumSquare(const Data::Array &a, const Data::Array &b,
                                    const QList<int> &indices = {});

    /// sqrt(residualSumSquare / length(b)), and the bare sum when \p b has no values. It is meant
    /// that all values of \p b are counted and not the pairs.
    static double rmsValue(const Data::Array &a, const Data::Array &b,
                           const QList<int> &indices = {});

    /// The values without the holes, in the order of the selection.
    ///
    /// Here and in sort() the result is empty when there is no memory for it; a QVector holds 2 GiB
    /// at most.
    static QVector<double> reduce(const Data::Array &array, const QList<int> &indices = {});

    /// reduce(), sorted. NaN is last in both directions.
    static QVector<double> sort(const Data::Array &array, bool ascending,
                                const QList<int> &indices = {});

    /// What the curve through \p xs and \p ys gives for v, the value number \p index of \p x.
    ///
    ///     xs[index] equals v      => ys[index]
    ///     v in an ascending step  => on the straight line of the first such step
    ///     v on two equal knots    => the y of the first
    ///     anything else           => Data::noValue
    ///
    /// Holes are taken for the large numbers that they are. Descending steps are passed over. All
    /// this is meant.
    static double interpolate(const Data::Array &x, int index, const Data::Array &xs,
                              const Data::Array &ys);

    /// Counts values in bins of equal width, appending the count and the upper edge of each bin.
    /// The result is the new size of \p counts. Below two values it is 0 and nothing is appended.
    ///
    /// The bins start at the smaller end of the range(), or of \p interval when that is not empty
    /// and ascending. There are \p bins of them, or, with \p bins below 2, as many as it takes with
    /// the width 3.5 * standardDeviation / cube root of length (Scott's rule).
    ///
    ///     0 1 2 3 4, 2 bins               => counts 3 2,    edges 2 4
    ///     0 1 2 3 4, 2 bins, from 1 to 3  => counts 3 1 1,  edges 2 3 4
    ///     5 5 5, 4 bins                   => counts 3 0 0 0, edges 5 5 5 5
    ///
    /// A value on an edge, or above it by no more than 0.0001 of the bin's width or of the upper
    /// end, whichever is smaller, is below the edge. Nothing is clipped, which is meant: a value
    /// below the interval is in the first bin, and one above it opens as many bins as it takes.
    ///
    /// Where lists that are not empty are passed, their entries count: edges are placed by the size
    /// of \p counts, which is filled up to \p bins. This is meant.
    ///
    /// A value that no further bin can reach, since the width is 0, or since the value is infinite
    /// or NaN, is in the last bin. A call opens no more than 1,000,000 bins: more \p bins are taken
    /// as that many, and what lies further up is in the last one.
    static int histogramData(const Data::Array &array, int bins, QList<int> &counts,
                             QList<double> &edges, const QList<int> &indices = {},
                             const Data::Interval &interval = {});

    /// Appends the points of a normal curve over the values: 5 * \p bins + 1 of them, but at least
    /// 51, from three standard deviations below the mean to three above it.
    ///
    /// \p markers, which may be null, gets the x and the y of five points in turn: at the mean, one
    /// standard deviation below and above it, two below and above it.
    ///
    /// With v the variance(), or 1.0 when that is 0.0, the curve is
    /// exp((x - mean)^2 / (-2 * v)) * peak, and the peak is
    ///
    ///     DensityScale  1 / sqrt(v * 2 * pi)
    ///     PeakScale     1
    ///     CountScale    rows * (range / bins) / sqrt(v * 2 * pi), for a histogram of as many bins
    ///
    /// It is meant that the width of the curve comes from the population variance and its extent
    /// from the sample deviation, that equal values give points which all have the mean as x, and
    /// that no values give the curve of a mean of 0. \p bins above 1,000,000 are taken as that
    /// many. CountScale with 0 \p bins gives infinite or NaN heights.
    static void distributionData(const Data::Array &array, int bins, QVector<double> &x,
                                 QVector<double> &y, DistributionScale scale,
                                 QVector<double> *markers = nullptr,
                                 const QList<int> &indices = {});

    /// Whether \p a and \p b are close: (abs(a) + 1) * tolerance is above abs(a - b). Equal numbers
    /// are not close with a \p tolerance of 0, which is meant.
    static bool checkTol(double a, double b, double tolerance);

    /// \p value, or \p fallback when it is NaN or infinite. A hole is a value here.
    static double validate(double value, double fallback);
};

} // namespace Utils
