#pragma once

#include <QtGlobal>

namespace Data {

/// The number that stands for a missing value. A missing value in a column is called a hole.
constexpr double noValue = 1e300;

/// Whether \p value is a hole, which is exactly noValue: 1.0000001e300 is an ordinary number.
constexpr bool isHole(double value) { return value == noValue; }

/// A view of a column of numbers. The view does not own the numbers: the caller keeps them alive.
///
/// Only the lower 32 bits of the size are read, as a signed number: columns of more than 2^31 - 1
/// elements are not supported.
struct Array
{
    const double *data = nullptr; ///< the first element; noValue stands for a missing one
    quint64 size = 0;             ///< number of elements
};

} // namespace Data
