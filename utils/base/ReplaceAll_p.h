#pragma once

#include <QString>

namespace Utils {

/// \p text with every \p before replaced by \p after, from the left, exactly as QString::replace()
/// does it, but in time that grows with the text alone: Qt moves the rest of the text once per
/// thousand places.
QString replaceAll(const QString &text, const QString &before, const QString &after);

} // namespace Utils
