#include "examples/workbench/plot/FitLine.h"

#include "data/Array.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/plot/Scales.h"
#include "examples/workbench/plot/ThinnedCurve.h"
#include "utils/text/Statistics.h"
#include "utils/text/StringUtil.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Workbench {

/// \p values with a hole in the place of each number that is not finite.
static QVector<double> finite(QVector<double> values)
{
    const auto isEndless = [](double value) { return !std::isfinite(value); };
    if (std::any_of(values.cbegin(), values.cend(), isEndless))
        std::replace_if(values.begin(), values.end(), isEndless, Data::noValue);
    return values;
}

static Data::Array arrayOf(const QVector<double> &values)
{
    return {values.constData(), quint64(values.size())};
}

Utils::PolynomialFit lineThrough(const QVector<double> &x, const QVector<double> &y)
{
    QVector<double> xs = finite(x);
    if (xs.isEmpty()) {
        xs.resize(y.size());
        std::iota(xs.begin(), xs.end(), 1.0);
    }
    const QVector<double> ys = finite(y);
    return Utils::Statistics::fitLine(arrayOf(xs), arrayOf(ys));
}

/// Such as "y = 2.5 x - 1, R² = 0.98".
static QString equationOf(const Utils::PolynomialFit &line, const QRectF &bounds)
{
    // Where x is large compared to its range, the equation needs more digits for a useful y.
    const double largest = std::max(std::abs(bounds.left()), std::abs(bounds.right()));
    const double more = std::ceil(std::log10(largest / bounds.width()));
    const int digits = Preferences::digits.value();
    const int allDigits = std::min(digits + static_cast<int>(std::max(more, 0.0)), 15);
    const auto shown = [](double value, int numDigits) -> QString {
        return Utils::StringUtil::displayUnit(value, {}, numDigits);
    };
    const double atZero = line.coefficients.at(0);
    return QString::fromUtf8("y = %1 x %2 %3, R² = %4")
        .arg(shown(line.coefficients.at(1), allDigits), atZero < 0.0 ? "-" : "+",
             shown(std::abs(atZero), allDigits), shown(line.rSquared, digits));
}

FitLine::FitLine(const Utils::PolynomialFit &fit, const ThinnedCurve &curve, int index,
                 const QString &name)
    : m_index(index)
{
    const QRectF bounds = curve.boundingRect();
    const QString equation = leftToRight(equationOf(fit, bounds));
    setTitle(QwtText(name.isEmpty() ? equation : name + ": " + equation, QwtText::PlainText));
    setLegendAttribute(LegendShowLine);
    setRenderHint(RenderAntialiased);
    setYAxis(curve.yAxis());
    setZ(30.0); // above the curves
    setSamples(QVector<double>{bounds.left(), bounds.right()},
               QVector<double>{fit.value(bounds.left()), fit.value(bounds.right())});
}

} // namespace Workbench
