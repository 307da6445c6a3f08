#pragma once

#include "utils/Export.h"

#include <QVector>

namespace Utils {

/// A line or another polynomial through pairs of numbers, as Statistics::fitLine() and
/// Statistics::fitPolynomial() return it.
struct KELMUTILS_EXPORT PolynomialFit
{
    /// False when there is no polynomial; all lists are then empty.
    bool isValid() const { return !coefficients.isEmpty(); }

    /// The y of the polynomial at \p x; Data::noValue when isValid() is false or \p x is a hole.
    ///
    /// It is computed from #centred. The sum of the #coefficients times the powers of \p x is the
    /// same polynomial, but loses digits where \p x is large compared to the range of the pairs, as
    /// with dates.
    double value(double x) const;

    /// The factors of 1, x, x^2 and so on. Those of a line are its y at x = 0, and its slope.
    QVector<double> coefficients;

    /// The y of each selected row minus value() of its x. A row whose pair does not count is a
    /// hole.
    QVector<double> residuals;

    /// The sum of the squares of the #residuals.
    double residualSumSquare = 0.0;

    /// R^2: the part of the variance of y that the polynomial explains, from 0.0 to 1.0. 0.0 when
    /// all y are equal.
    double rSquared = 0.0;

    /// The number of pairs that count.
    int count = 0;

    /// The same polynomial around the middle of the pairs: value() is #centreY plus the sum of
    /// these factors times 1, u, u^2 and so on, where u is (x - #centreX) * #scaleX.
    QVector<double> centred;
    double centreX = 0.0; ///< the mean of x, except for its last digits
    double centreY = 0.0; ///< the mean of y, except for its last digits
    double scaleX = 1.0;  ///< a power of two: u is between -1 and 1 for all pairs
};

} // namespace Utils
