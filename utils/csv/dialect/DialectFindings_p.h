#pragma once

#include "utils/csv/dialect/DialectRows_p.h"

#include <QStringView>

#include <vector>

// What the rows of a sample tell of its dialect. Each struct has a source of its name.
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

/// The rows before the data.
struct DialectHeader
{
    int headerRow = -1;
    int unitRow = -1;
    int firstDataRow = 0;
    double confidence = 0.0;

    static DialectHeader find(const DialectRows &rows);
};

/// Rates the text \p label as the label of the texts \p cells below it: above 0 when it is likely
/// to be one, below 0 when it is not.
double voteForLabel(QStringView label, const std::vector<QStringView> &cells);

} // namespace Utils
