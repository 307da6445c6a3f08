#pragma once

#include <QtAlgorithms>

#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#define KELMUTILS_SSE2
#include <emmintrin.h>
#endif

namespace Utils {

/// Calls \p found with the index of each line feed among \p size bytes, in order, up to the first
/// zero byte. Gives whether there is one.
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

/// The place behind \p count delimiters from \p next on, or null when there are fewer up to \p end.
inline const char *skipFieldsPlainly(const char *next, const char *end, char delimiter, int count)
{
    for (; count > 0; --count) {
        // Nothing may be no bytes at all, which memchr() must not be given.
        const void *const at =
            next == end ? nullptr
                        : std::memchr(next, delimiter, static_cast<std::size_t>(end - next));
        if (!at)
            return nullptr;
        next = static_cast<const char *>(at) + 1;
    }
    return next;
}

/// What is read, but not looked at, behind the end that skipFields() is given.
constexpr int scanPadding = 16;

#ifdef KELMUTILS_SSE2

template <typename Found>
bool scanLineFeeds(const char *bytes, int size, const Found &found)
{
    const __m128i feed = _mm_set1_epi8('\n');
    const __m128i zero = _mm_setzero_si128();
    int start = 0;
    for (; size - start >= 64; start += 64) {
        const auto *const next = reinterpret_cast<const __m128i *>(bytes + start);
        const __m128i a = _mm_loadu_si128(next);
        const __m128i b = _mm_loadu_si128(next + 1);
        const __m128i c = _mm_loadu_si128(next + 2);
        const __m128i d = _mm_loadu_si128(next + 3);
        const __m128i least = _mm_min_epu8(_mm_min_epu8(a, b), _mm_min_epu8(c, d));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(least, zero)) != 0)
            break;
        const auto feedsIn = [&](__m128i part) {
            return static_cast<quint64>(
                static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(part, feed))));
        };
        quint64 feeds = feedsIn(a) | feedsIn(b) << 16 | feedsIn(c) << 32 | feedsIn(d) << 48;
        for (; feeds != 0; feeds &= feeds - 1)
            found(start + static_cast<int>(qCountTrailingZeroBits(feeds)));
    }
    return scanLineFeedsPlainly(bytes, size, found, start);
}

inline const char *skipFields(const char *next, const char *end, char delimiter, int count)
{
    if (count == 0)
        return next;
    const __m128i wanted = _mm_set1_epi8(delimiter);
    for (; next < end; next += 16) {
        const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i *>(next));
        auto found = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(part, wanted)));
        for (; found != 0; found &= found - 1) {
            if (--count == 0) {
                const char *const behind = next + qCountTrailingZeroBits(found) + 1;
                return behind <= end ? behind : nullptr;
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
