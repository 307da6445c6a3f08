#pragma once

#include <QtGlobal>

#include <type_traits>

// The only file that determines whether the processor has vector instructions. Code that uses them
// tests KELMUTILS_SSE2 and has a scalar variant beside them. With the build option KELMUTILS_SCALAR
// only the scalar variants are compiled.
#if !defined(KELMUTILS_SCALAR) && (defined(__SSE2__) || defined(_M_X64))
#define KELMUTILS_SSE2
#include <emmintrin.h>
#endif

namespace Utils {

/// 64 bytes, or code units of UTF-16, that are compared at once. Bit i of a result is for the unit
/// i. The scalar variant of SimdUnits.
template <typename Unit>
class PlainUnits
{
public:
    static constexpr int length = 64;

    explicit PlainUnits(const Unit *units) : m_units(units) {}

    /// The units that equal \p wanted.
    quint64 equalTo(Unit wanted) const
    {
        return collect([&](Unit unit) { return unit == wanted; });
    }

    /// The bytes that are \p least or more, as unsigned numbers.
    quint64 atLeast(int least) const
    {
        static_assert(sizeof(Unit) == 1, "of bytes only");
        return collect([&](Unit unit) { return static_cast<unsigned char>(unit) >= least; });
    }

    /// The bytes that are not ASCII.
    quint64 wide() const { return atLeast(0x80); }

    /// Nonzero if any unit is not ASCII, or if any unit is zero, respectively.
    unsigned anyWide() const
    {
        return collect([](Unit unit) { return std::make_unsigned_t<Unit>(unit) >= 0x80; }) != 0;
    }
    unsigned anyZero() const { return equalTo(0) != 0; }

private:
    template <typename Test>
    quint64 collect(const Test &test) const
    {
        quint64 bits = 0;
        for (int i = 0; i < length; ++i)
            bits |= quint64(test(m_units[i])) << i;
        return bits;
    }

    const Unit *m_units;
};

#ifdef KELMUTILS_SSE2

template <typename Unit>
class SimdUnits;

template <>
class SimdUnits<char>
{
public:
    static constexpr int length = 64;

    explicit SimdUnits(const char *bytes)
    {
        const auto *const parts = reinterpret_cast<const __m128i *>(bytes);
        for (int i = 0; i < 4; ++i)
            m_parts[i] = _mm_loadu_si128(parts + i);
    }

    quint64 equalTo(char wanted) const
    {
        const __m128i all = _mm_set1_epi8(wanted);
        return collect([&](__m128i part) { return _mm_cmpeq_epi8(part, all); });
    }

    quint64 atLeast(int least) const
    {
        const __m128i all = _mm_set1_epi8(static_cast<char>(least));
        return collect([&](__m128i part) { return _mm_cmpeq_epi8(_mm_max_epu8(part, all), part); });
    }

    quint64 wide() const
    {
        return collect([](__m128i part) { return part; });
    }

    unsigned anyWide() const
    {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
            _mm_or_si128(m_parts[0], m_parts[1]), _mm_or_si128(m_parts[2], m_parts[3]))));
    }

    unsigned anyZero() const
    {
        const __m128i least = _mm_min_epu8(_mm_min_epu8(m_parts[0], m_parts[1]),
                                           _mm_min_epu8(m_parts[2], m_parts[3]));
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(least, _mm_setzero_si128())));
    }

private:
    template <typename Test>
    quint64 collect(const Test &test) const
    {
        const auto bits = [&](int i) {
            return static_cast<quint64>(static_cast<unsigned>(_mm_movemask_epi8(test(m_parts[i]))));
        };
        return bits(0) | bits(1) << 16 | bits(2) << 32 | bits(3) << 48;
    }

    __m128i m_parts[4];
};

template <>
class SimdUnits<ushort>
{
public:
    static constexpr int length = 64;

    explicit SimdUnits(const ushort *units)
    {
        const auto *const parts = reinterpret_cast<const __m128i *>(units);
        for (int i = 0; i < 8; ++i)
            m_parts[i] = _mm_loadu_si128(parts + i);
    }

    quint64 equalTo(ushort wanted) const
    {
        const __m128i all = _mm_set1_epi16(static_cast<short>(wanted));
        const auto bits = [&](int i) {
            const __m128i both = _mm_packs_epi16(_mm_cmpeq_epi16(m_parts[i], all),
                                                 _mm_cmpeq_epi16(m_parts[i + 1], all));
            return static_cast<quint64>(static_cast<unsigned>(_mm_movemask_epi8(both)));
        };
        return bits(0) | bits(2) << 16 | bits(4) << 32 | bits(6) << 48;
    }

    unsigned anyWide() const
    {
        __m128i all = m_parts[0];
        for (int i = 1; i < 8; ++i)
            all = _mm_or_si128(all, m_parts[i]);
        const __m128i isNarrow = _mm_cmpeq_epi16(
            _mm_and_si128(all, _mm_set1_epi16(static_cast<short>(0xff80))), _mm_setzero_si128());
        return static_cast<unsigned>(_mm_movemask_epi8(isNarrow)) ^ 0xffffU;
    }

private:
    __m128i m_parts[8];
};

template <typename Unit>
using Units = SimdUnits<Unit>;

#else

template <typename Unit>
using Units = PlainUnits<Unit>;

#endif

/// Prefetches the memory at \p address, for loops that would otherwise wait for it.
inline void prefetch(const void *address)
{
#ifdef KELMUTILS_SSE2
    _mm_prefetch(static_cast<const char *>(address), _MM_HINT_T0);
#else
    Q_UNUSED(address)
#endif
}

} // namespace Utils
