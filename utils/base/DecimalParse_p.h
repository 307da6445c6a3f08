#pragma once

#include "utils/base/NumberParse_p.h"
#include "utils/base/Simd_p.h"

#include <QtAlgorithms> // qCountTrailingZeroBits

namespace Utils {

/// How many bytes or code units before the end of a text parseDecimal() reads.
constexpr int decimalReach = 16;

#ifdef KELMUTILS_SSE2

/// The integer with these 16 decimal digits. The first digit is in the lowest byte.
inline quint64 numberOfDigits(__m128i digits)
{
    const __m128i odd = _mm_srli_epi16(digits, 8);
    const __m128i even = _mm_and_si128(digits, _mm_set1_epi16(0xff));
    const __m128i pairs = _mm_add_epi16(_mm_mullo_epi16(even, _mm_set1_epi16(10)), odd);
    const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(1 << 16 | 100));
    const __m128i packed = _mm_packs_epi32(fours, fours);
    const __m128i eights = _mm_madd_epi16(packed, _mm_set1_epi32(1 << 16 | 10000));
    const auto high = static_cast<quint32>(_mm_cvtsi128_si32(eights));
    const auto low = static_cast<quint32>(_mm_cvtsi128_si32(_mm_srli_si128(eights, 4)));
    return quint64(high) * 100000000 + low;
}

/// Parses the number in the last \p size of 16 bytes: digits and at most one point, without a sign.
inline bool parseDecimalBytes(__m128i bytes, unsigned size, double &value)
{
    if (size - 1 >= decimalReach)
        return false;

    // A mask of the last bytes, as many as the start of the load lies after the first byte.
    alignas(32) static const signed char masks[] = {0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,
                                                    0,  0,  0,  0,  0,  -1, -1, -1, -1, -1, -1,
                                                    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    const auto last = [](unsigned count) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(masks + count));
    };
    const __m128i zeros = _mm_set1_epi8('0');
    __m128i digits = _mm_xor_si128(bytes, zeros); // digits become values, others exceed 9
    digits = _mm_and_si128(last(size), digits);

    unsigned decimals = 0;
    const __m128i points = _mm_cmpeq_epi8(digits, _mm_set1_epi8('.' ^ '0'));
    if (const auto found = static_cast<unsigned>(_mm_movemask_epi8(points))) {
        if (size == 1)
            return false;
        // The digits before the point are shifted over it.
        const unsigned place = qCountTrailingZeroBits(found);
        decimals = decimalReach - 1 - place;
        const __m128i isAfter = last(decimals);
        digits = _mm_or_si128(_mm_and_si128(isAfter, digits),
                              _mm_andnot_si128(isAfter, _mm_slli_si128(digits, 1)));
    }
    const __m128i aboveNine = _mm_adds_epu8(digits, _mm_set1_epi8(0x7f - 9)); // sets the top bit
    if (_mm_movemask_epi8(aboveNine) != 0)
        return false;
    // Signed, because processors convert only signed integers in one step.
    const auto number = static_cast<qint64>(numberOfDigits(digits));
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
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(end - decimalReach));
    if (!parseDecimalBytes(bytes, static_cast<unsigned>(end - begin) - isNegative, value))
        return false;
    value = isNegative ? -value : value;
    return true;
}

inline bool parseDecimal(const QChar *begin, const QChar *end, double &value)
{
    const bool isNegative = begin != end && *begin == QLatin1Char('-');
    const auto *const units = reinterpret_cast<const __m128i *>(end - decimalReach);
    // A code unit above 255 becomes 0 or 255, so it is not taken for a digit.
    const __m128i bytes = _mm_packus_epi16(_mm_loadu_si128(units), _mm_loadu_si128(units + 1));
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
