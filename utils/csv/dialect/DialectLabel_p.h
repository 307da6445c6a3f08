#pragma once

#include <QStringView>

#include <vector>

namespace Utils {

/// How much the text \p label speaks for being the label of the texts \p cells below it: above 0
/// for it, and below 0 against it.
double voteForLabel(QStringView label, const std::vector<QStringView> &cells);

} // namespace Utils
