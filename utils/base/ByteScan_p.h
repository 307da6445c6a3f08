#pragma once

#include "utils/base/Simd_p.h"

#include <QtAlgorithms>

#include <cstring>

namespace Utils {

/// Calls \p found with the index of each line feed among \p size bytes, in order, up to the first
/// zero byte. Returns whether there is a zero byte.
///
/// scanLineFeeds() does the same, several bytes at a time where the processor can.
template <typename Found>
bool scanLineFeedsPlainly(const char *bytes, int size, const Found &found, int start = 0)
{
    const auto length = static_cast<std::size_t>(size - start);
    const void *const zero = std::memchr(bytes + start, '\0', length);
    const char *const end = zero ? static_cast<const char *>(zero) : bytes + size;
    const char *next = bytes + start;
    while (const void *feed = std::memchr(next, '\n', static_cast<std::size_t>(end - next))) {
        next = static_cast<const char *>(feed) + 1;
        found(static_cast<int>(next - bytes) - 1);
    }
    return zero != nullptr;
}

/// The address after \p count delimiters from \p next on. Null when there are fewer before \p end.
inline const char *skipFieldsPlainly(const char *next, const char *end, char delimiter, int count)
{
    for (; count > 0; --count) {
        // An empty range may be null pointers, which memchr() does not accept.
        const void *const at =
            next == end ? nullptr
                        : std::memchr(next, delimiter, static_cast<std::size_t>(end - next));
        if (!at)
            return nullptr;
        next = static_cast<const char *>(at) + 1;
    }
    return next;
}

/// How many bytes after its end skipFields() reads and ignores.
constexpr int scanPadding = 16;

#ifdef KELMUTILS_SIMD

template <typename Found>
bool scanLineFeeds(const char *bytes, int size, const Found &found)
{
    int start = 0;
    for (; size - start >= SimdUnits<char>::length; start += SimdUnits<char>::length) {
        const SimdUnits<char> units(bytes + start);
        if (units.anyZero() != 0)
            break;
        for (quint64 feeds = units.equalTo('\n'); feeds != 0; feeds &= feeds - 1)
            found(start + static_cast<int>(qCountTrailingZeroBits(feeds)));
    }
    return scanLineFeedsPlainly(bytes, size, found, start);
}

inline const char *skipFields(const char *next, const char *end, char delimiter, int count)
{
    if (count == 0)
        return next;
    for (; next < end; next += SimdBlock::length) {
        quint32 found = SimdBlock(next).equalTo(delimiter).highBits();
        for (; found != 0; found &= found - 1) {
            if (--count == 0) {
                const char *const nextField = next + qCountTrailingZeroBits(found) + 1;
                return nextField <= end ? nextField : nullptr;
            }
        }
    }
    return nullptr;
}

#else

template <typename Found>
bool scanLineFeeds(const char *bytes, int size, const Found &found)
{
    return scanLineFeedsPlainly(bytes, size, found);
}

inline const char *skipFields(const char *next, const char *end, char delimiter, int count)
{
    return skipFieldsPlainly(next, end, delimiter, count);
}

#endif

} // namespace Utils
