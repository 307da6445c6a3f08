#include "examples/workbench/plot/Scales.h"

#include "utils/text/StringUtil.h"

#include <QGuiApplication>

#include <qwt_text.h>

#include <algorithm>
#include <cmath>

namespace Workbench {

UnitScale::UnitScale(const QString &unit) : m_unit(unit) {}

QString leftToRight(const QString &text)
{
    return QGuiApplication::isRightToLeft() ? QChar(0x202a) + text + QChar(0x202c) : text;
}

QwtText UnitScale::label(double value) const { return leftToRight(textOf(value)); }

QString UnitScale::textOf(double value) const
{
    const QwtScaleDiv &division = scaleDiv();
    const double range = std::abs(division.range());
    const double largest =
        std::max(std::abs(division.lowerBound()), std::abs(division.upperBound()));
    // Zero may be a little beside it, as a sum of steps.
    if (std::abs(value) < range * 1e-9)
        value = 0.0;
    const double digits = range > 0.0 ? std::ceil(std::log10(largest / range)) + 3.0 : 4.0;
    return Utils::StringUtil::displayUnit(value, m_unit,
                                          static_cast<int>(std::clamp(digits, 6.0, 15.0)));
}

NameScale::NameScale(const QStringList &names) : m_names(names)
{
    enableComponent(QwtAbstractScaleDraw::Ticks, false);
}

QwtText NameScale::label(double value) const
{
    const int index = static_cast<int>(std::lround(value));
    return std::abs(value - index) < 0.01 ? m_names.value(index) : QString();
}

} // namespace Workbench
