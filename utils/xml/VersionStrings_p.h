#pragma once

#include "data/String.h"

#include <QMap>

namespace Utils {

/// The versions by their registered texts.
extern QMap<Data::String, double> versionStrings;

} // namespace Utils
