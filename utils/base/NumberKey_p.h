#pragma once

#include <QtGlobal>

#include <cstring>

namespace Utils {

constexpr quint64 signBit = Q_UINT64_C(1) << 63;
constexpr quint64 firstKey = Q_UINT64_C(0x000fffffffffffff); // of -infinity, before it is moved

inline quint64 bitsOf(double value)
{
    quint64 bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline double fromBits(quint64 bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// A whole number that is greater where \p value is: they go from -infinity over -0.0 and 0.0 to
/// infinity without a gap, and all NaNs come after.
inline quint64 keyOf(double value)
{
    const quint64 bits = bitsOf(value);
    const quint64 ordered = bits & signBit ? ~bits : bits | signBit;
    // NaNs with a sign come out before all numbers. From there they wrap around to the end.
    return ordered - firstKey;
}

inline double fromKey(quint64 key)
{
    const quint64 ordered = key + firstKey;
    return fromBits(ordered & signBit ? ordered & ~signBit : ~ordered);
}

} // namespace Utils
