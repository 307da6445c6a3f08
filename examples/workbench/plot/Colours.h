#pragma once

#include <QColor>

QT_FORWARD_DECLARE_CLASS(QPalette)
QT_FORWARD_DECLARE_CLASS(QwtPlot)

namespace Workbench {

/// The contrast of two colours, from 1 to 21, as the guidelines for accessible contents of the web
/// define it.
double contrast(const QColor &a, const QColor &b);

/// \p colour, lighter or darker as far as needed for a contrast of 3 to \p background.
QColor readable(const QColor &colour, const QColor &background);

/// The colour of a curve on the background of \p palette. The first eight are different, also to
/// people who see fewer colours.
QColor curveColour(int index, const QPalette &palette);

/// Sets the colours of all items of \p plot for its palette.
void setItemColours(QwtPlot &plot);

} // namespace Workbench
