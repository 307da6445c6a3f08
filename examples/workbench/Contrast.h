#pragma once

#include <QColor>

namespace Workbench {

/// The contrast of two colours, from 1 to 21, as the guidelines for accessible contents of the web
/// define it.
double contrast(const QColor &a, const QColor &b);

/// \p colour, lighter or darker as far as needed for a contrast of 3 to \p background.
QColor readable(const QColor &colour, const QColor &background);

} // namespace Workbench
