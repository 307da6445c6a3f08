#pragma once

#include "utils/csv/dialect/DialectRows_p.h"

#include <QStringView>

#include <vector>

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

/// Rates the text \p label as the label of the texts \p cells below it: above 0 when it is likely
/// to be one, below 0 when it is not.
double voteForLabel(QStringView label, const std::vector<QStringView> &cells);

} // namespace Utils
