#pragma once

#include "data/String.h"

#include <limits>

namespace Utils {

/// Whether \p value is a whole number that an int holds.
inline bool isWholeNumber(double value)
{
    // Outside these limits, and for a NaN, the conversion is undefined.
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max() &&
           static_cast<int>(value) == value;
}

/// The maximal number of digits after the point. A double needs at most 1074. From about two
/// thousand million digits on Qt ends the process, and the memory is exhausted long before.
constexpr int mostDigits = 1000000;

/// The text of \p value in the C locale, exactly as QString::number() returns it for the same
/// arguments, including that decimal ties are rounded away from zero. A \p precision above
/// mostDigits counts as mostDigits.
///
/// The format 'g' with up to 17 digits is much faster than in Qt.
Data::String numberText(double value, char format = 'g', int precision = 6);

/// The size of the longest shortest text of a double, "-2.2250738585072014e-308".
constexpr int mostShortest = 24;

/// Writes the shortest text that is parsed as \p value to \p out; of several such, the nearest to
/// it. Returns the end. The exponent has two digits or three. writeShortest() leaves it out where
/// the text is not longer without. \p value must be no NaN, and finite in the scientific form.
char *writeShortest(char *out, double value);
char *writeShortestScientific(char *out, double value);

} // namespace Utils
