#pragma once

#include "utils/base/NumberParse_p.h"
#include "utils/base/Simd_p.h"

#include <QtAlgorithms> // qCountTrailingZeroBits

namespace Utils {

/// How many bytes or code units before the end of a text parseDecimal() reads.
constexpr int decimalReach = 16;

#ifdef KELMUTILS_SIMD

/// Parses the number in the last \p size of 16 bytes: digits and at most one point, without a sign.
inline bool parseDecimalBytes(SimdBlock bytes, unsigned size, double &value)
{
    if (size - 1 >= decimalReach)
        return false;

    // A mask of the last bytes, as many as the start of the load lies after the first byte.
    alignas(32) static const signed char masks[] = {0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,
                                                    0,  0,  0,  0,  0,  -1, -1, -1, -1, -1, -1,
                                                    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    const auto last = [](unsigned count) {
        return SimdBlock(reinterpret_cast<const char *>(masks + count));
    };
    SimdBlock digits = bytes ^ SimdBlock::filled('0'); // digits become values, others exceed 9
    digits = last(size) & digits;

    unsigned decimals = 0;
    if (const quint32 found = digits.equalTo('.' ^ '0').highBits()) {
        if (size == 1)
            return false;
        // The digits before the point are shifted over it.
        const unsigned place = qCountTrailingZeroBits(found);
        decimals = decimalReach - 1 - place;
        const SimdBlock isAfter = last(decimals);
        digits = (isAfter & digits) | digits.moved().without(isAfter);
    }
    if (digits.anyAbove(9))
        return false;
    // Signed, because processors convert only signed integers in one step.
    const auto number = static_cast<qint64>(digits.numberOfDigits());
    if (number > qint64(1) << 53)
        return false;
    value = static_cast<double>(number) / powersOfTen[decimals];
    return true;
}

/// Parses a number of up to 16 characters, as in most tables, without a branch per character.
///
/// Returns the same as parsePureNumber(), but may also return false for a valid number. Reads
/// decimalReach bytes or code units before \p end; those before \p begin may have any value.
inline bool parseDecimal(const char *begin, const char *end, double &value)
{
    const bool isNegative = begin != end && *begin == '-';
    const SimdBlock bytes(end - decimalReach);
    if (!parseDecimalBytes(bytes, static_cast<unsigned>(end - begin) - isNegative, value))
        return false;
    value = isNegative ? -value : value;
    return true;
}

inline bool parseDecimal(const QChar *begin, const QChar *end, double &value)
{
    const bool isNegative = begin != end && *begin == QLatin1Char('-');
    // A code unit above 255 becomes 0 or 255, so it is not taken for a digit.
    const SimdBlock bytes = SimdBlock::narrowed(end - decimalReach);
    if (!parseDecimalBytes(bytes, static_cast<unsigned>(end - begin) - isNegative, value))
        return false;
    value = isNegative ? -value : value;
    return true;
}

#else

template <typename Unit>
bool parseDecimal(const Unit *begin, const Unit *end, double &value)
{
    return parsePureNumber(begin, static_cast<int>(end - begin), value);
}

#endif

} // namespace Utils
