#pragma once

#include "data/Array.h"

#include <QList>
#include <QVector>

#include <limits>

using Numbers = QVector<double>;
using Indices = QList<int>;

// Values of columns that statistics must handle.
inline constexpr double hole = 1e300;
inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double tiny = std::numeric_limits<double>::denorm_min();
inline constexpr double huge = std::numeric_limits<double>::max();

/// The column of \p numbers, which must outlive it.
inline Data::Array column(const Numbers &numbers)
{
    return {numbers.constData(), quint64(numbers.size())};
}
