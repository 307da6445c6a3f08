#pragma once

#include <limits>

namespace Utils {

/// The longest text that a QString can hold, less some room for its own record.
constexpr int maxTextLength = std::numeric_limits<int>::max() / 2 - 64;

/// The most bytes that a QByteArray can hold, in the same way.
constexpr int maxByteCount = std::numeric_limits<int>::max() - 64;

} // namespace Utils
