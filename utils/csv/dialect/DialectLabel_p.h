#pragma once

#include <QStringView>

#include <vector>

namespace Utils {

/// Rates the text \p label as the label of the texts \p cells below it: above 0 when it is likely
/// to be one, below 0 when it is not.
double voteForLabel(QStringView label, const std::vector<QStringView> &cells);

} // namespace Utils
