#pragma once

#include <QtGlobal>

namespace Data {

/// The number that means "no number": a hole in a column, a value that is not there.
constexpr double noValue = 1e300;

/// Whether \p value is the no-value number, exactly: 1.0000001e300 is a number.
constexpr bool isHole(double value) { return value == noValue; }

/// A view on a column of numbers, which somebody else owns and keeps alive.
///
/// Element counts are read from the lower 32 bits of the size, as a signed number: columns of more
/// than two thousand million elements are out of scope.
struct Array
{
    const double *data = nullptr; ///< the first element; noValue stands for a missing one
    quint64 size = 0;             ///< number of elements
};

} // namespace Data
