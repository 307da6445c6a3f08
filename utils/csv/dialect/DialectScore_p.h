#pragma once

#include "utils/csv/dialect/DialectRows_p.h"

namespace Utils {

/// How well a format fits a sample.
struct DialectScore
{
    double value = 0.0;       ///< consistency times share of clean cells, with a slight preference
    double consistency = 0.0; ///< of the number of fields, from 0 to 1
    double clean = 0.0;       ///< the share of clean cells, from 0 to 1
    int numDelimiters = 0;    ///< in rows with the usual number of fields
    int numRows = 0;
    double values = 0.0;         ///< the share of cells that are numbers and dates
    bool isMissingAtTop = false; ///< the first row has no delimiter

    static DialectScore of(const DialectRows &rows, const DialectFormat &format);
};

} // namespace Utils
