#pragma once

#include <QtGlobal>

#include <cstring>

namespace Utils {

constexpr quint64 signBit = Q_UINT64_C(1) << 63;
constexpr quint64 firstKey = Q_UINT64_C(0x000fffffffffffff); // -infinity's, before the shift

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

/// The key of the number with these \p bits, see keyOf().
inline quint64 keyOfBits(quint64 bits)
{
    const quint64 ordered = bits & signBit ? ~bits : bits | signBit;
    // NaNs with a sign are before all numbers here. The subtraction wraps them around to the end.
    return ordered - firstKey;
}

/// An integer with the order of \p value: the keys ascend without a gap from -infinity over -0.0
/// and 0.0 to infinity. The keys of all NaNs follow.
inline quint64 keyOf(double value) { return keyOfBits(bitsOf(value)); }

inline double fromKey(quint64 key)
{
    const quint64 ordered = key + firstKey;
    return fromBits(ordered & signBit ? ordered & ~signBit : ~ordered);
}

} // namespace Utils
