#pragma once

#include "data/String.h"

#include <QMap>

namespace Utils {

/// The numbers that registered version texts stand for.
extern QMap<Data::String, double> versionStrings;

} // namespace Utils
