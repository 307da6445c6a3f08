#pragma once

#include "data/Array.h"
#include "utils/Export.h"

#include <QList>

namespace Utils {

/// The mean and the spread of numbers that arrive one by one and are not stored.
///
/// Holes are ignored, as in Statistics. NaN and infinite values count: the mean is then that of
/// Statistics::mean(), and the deviation is NaN. When squares of distances from the mean exceed the
/// range of a double, variance and deviation are infinite; when distances do, the results are
/// infinite or NaN.
///
/// The results have the precision of a computation from all values at once, also when the values
/// are large compared to their distances. Two objects, such as those of two parts of a file, can be
/// merged.
///
///     RunningStatistics loads;
///     loads.add(1.0);
///     loads.add(Data::noValue);
///     loads.add(3.0);
///     loads.count();  // 2
///     loads.mean();   // 2.0
class KELMUTILS_EXPORT RunningStatistics
{
public:
    /// Adds \p value, unless it is a hole.
    void add(double value);

    /// Adds the values of a column, or of the rows that \p indices selects as in Statistics.
    void add(const Data::Array &array, const QList<int> &indices = {});

    /// Adds all values of \p other. The results are those of adding each value to this object,
    /// except for the last digits. \p other may be this object itself.
    void merge(const RunningStatistics &other);

    /// The number of values.
    qint64 count() const { return m_count; }

    /// The results are those of the functions of Statistics with the same names: 0.0 when there are
    /// no values, and for standardDeviation() also for one value.
    double mean() const;
    double variance() const;          ///< the population variance
    double standardDeviation() const; ///< the sample standard deviation
    double minimum() const;           ///< NaN is ignored unless all values are NaN
    double maximum() const;

private:
    double squares() const;
    void moveMean(double step);
    void addEnds(double minimum, double maximum);

    qint64 m_count = 0;
    qint64 m_finite = 0;        // the number of values that are neither NaN nor infinite
    double m_mean = 0.0;        // of these
    double m_meanRest = 0.0;    // the mean minus m_mean
    double m_squares = 0.0;     // the sum of the squared distances from the mean
    double m_squaresRest = 0.0; // that sum minus m_squares
    double m_infinite = 0.0;    // the sum of the other values: infinite or NaN if there are any
    double m_minimum = 0.0;
    double m_maximum = 0.0;
};

} // namespace Utils
