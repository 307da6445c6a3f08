#include "examples/workbench/Contrast.h"

#include <algorithm>
#include <cmath>

namespace Workbench {

static const double leastContrast = 3.0; // of lines; that of texts is higher

static double luminance(const QColor &colour)
{
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrast(const QColor &a, const QColor &b)
{
    const auto [dark, light] = std::minmax({luminance(a), luminance(b)});
    return (light + 0.05) / (dark + 0.05);
}

QColor readable(const QColor &colour, const QColor &background)
{
    // On a background in the middle, black or white has more contrast; one of them has enough.
    const bool isDark = contrast(background, Qt::white) > contrast(background, Qt::black);
    const QColor end = isDark ? Qt::white : Qt::black;
    const int steps = 20;
    QColor shown = colour;
    for (int step = 1; contrast(shown, background) < leastContrast && step <= steps; ++step) {
        const double part = double(step) / steps;
        shown = QColor::fromRgbF(colour.redF() + (end.redF() - colour.redF()) * part,
                                 colour.greenF() + (end.greenF() - colour.greenF()) * part,
                                 colour.blueF() + (end.blueF() - colour.blueF()) * part);
    }
    return shown;
}

} // namespace Workbench
