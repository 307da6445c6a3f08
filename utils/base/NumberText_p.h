#pragma once

#include "data/String.h"

#include <limits>

namespace Utils {

/// Whether \p value is a whole number that an int holds.
inline bool isWholeNumber(double value)
{
    // Outside these limits the conversion has no defined result; a NaN is outside.
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max() &&
           static_cast<int>(value) == value;
}

/// The most digits behind the point that a number is written with. A double needs 1074 at most;
/// from about two thousand million on Qt ends the process, and long before that the memory ends.
constexpr int mostDigits = 1000000;

/// The text of \p value in the C locale, exactly as QString::number() gives it for the same
/// arguments, decimal ties away from zero included. A \p precision above mostDigits is mostDigits.
///
/// Format 'g' with up to 17 digits is a good deal faster than Qt's.
Data::String numberText(double value, char format = 'g', int precision = 6);

} // namespace Utils
