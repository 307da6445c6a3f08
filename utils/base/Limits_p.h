#pragma once

#include <limits>

namespace Utils {

/// The length of the longest text that a QString can hold, with some room for its header.
constexpr int maxTextLength = std::numeric_limits<int>::max() / 2 - 64;

/// The same for the bytes of a QByteArray.
constexpr int maxByteCount = std::numeric_limits<int>::max() - 64;

} // namespace Utils
