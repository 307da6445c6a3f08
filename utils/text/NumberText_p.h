#pragma once

#include "data/String.h"

namespace Utils {

/// The text of \p value in the C locale, exactly as QString::number() gives it for the same
/// arguments, decimal ties away from zero included.
Data::String numberText(double value, char format = 'g', int precision = 6);

} // namespace Utils
