#pragma once

#include <qwt_plot_curve.h>

#include <QVector>

namespace Utils {
struct PolynomialFit;
}

namespace Workbench {

class ThinnedCurve;

/// The straight line of best fit through the points of a curve with the numbers \p x and \p y. It
/// is not valid when fewer than two x are different. A pair with a hole, or with a number that is
/// not finite, does not count; an empty \p x stands for the numbers of the rows, from 1 on.
Utils::PolynomialFit lineThrough(const QVector<double> &x, const QVector<double> &y);

/// A line of best fit, from the first to the last x of its curve. Its title is its equation.
class FitLine : public QwtPlotCurve
{
public:
    /// \p index is the number of the curve in the plot, from 0 on; \p name stands before the
    /// equation, unless it is "".
    FitLine(const Utils::PolynomialFit &fit, const ThinnedCurve &curve, int index,
            const QString &name);

    int index() const { return m_index; }

private:
    const int m_index;
};

} // namespace Workbench
