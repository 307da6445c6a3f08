#pragma once

#include "utils/csv/dialect/DialectRows_p.h"

namespace Utils {

/// The rows before the data.
struct DialectHeader
{
    int headerRow = -1;
    int unitRow = -1;
    int firstDataRow = 0;
    double confidence = 0.0;

    static DialectHeader find(const DialectRows &rows);
};

} // namespace Utils
