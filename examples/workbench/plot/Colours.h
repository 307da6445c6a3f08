#pragma once

#include <QColor>

QT_FORWARD_DECLARE_CLASS(QPalette)
QT_FORWARD_DECLARE_CLASS(QwtPlot)

namespace Workbench {

/// The colour of a curve on the background of \p palette. The first eight are different, also to
/// people who see fewer colours.
QColor curveColour(int index, const QPalette &palette);

/// The colour of the line of best fit of that curve: it is seen on the curve and beside it.
QColor fitColour(int index, const QPalette &palette);

/// Sets the colours of all items of \p plot for its palette.
void setItemColours(QwtPlot &plot);

} // namespace Workbench
