#pragma once

#include "utils/csv/dialect/DialectRows_p.h"

namespace Utils {

/// What the numbers of a sample tell of the decimal point.
struct DialectNumbers
{
    char decimalPoint = '.';
    bool isGrouped = false; ///< there are separators between thousands
    double confidence = 0.0;

    /// Finds out from the rows at and below \p firstRow. \p isCommaFree tells that no cell can have
    /// a comma.
    static DialectNumbers find(const DialectRows &rows, int firstRow, bool isCommaFree);
};

} // namespace Utils
