#pragma once

#include "data/String.h"

#include <QStringList>

namespace Utils {

/// The text of the catalogue for \p id, as in ".err.scriptRun", with \p values filled in.
Data::String scriptText(const char *id, const QStringList &values = QStringList());

} // namespace Utils
