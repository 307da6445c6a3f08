#pragma once

#include "utils/csv/dialect/DialectRows_p.h"

namespace Utils {

/// The decimal point of the numbers of a sample.
struct DialectNumbers
{
    char decimalPoint = '.';
    bool isGrouped = false; ///< there are separators between thousands
    double confidence = 0.0;

    /// Finds it in the rows from \p firstRow on. \p isCommaFree tells that no cell can have a
    /// comma.
    static DialectNumbers find(const DialectRows &rows, int firstRow, bool isCommaFree);
};

} // namespace Utils
