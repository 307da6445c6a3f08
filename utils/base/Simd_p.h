#pragma once

#include <QChar>
#include <QtGlobal>

#include <type_traits>

// The only file that determines whether the processor has vector instructions: SSE2 of x86, or NEON
// of 64-bit ARM. Code that uses SimdUnits or SimdBlock tests KELMUTILS_SIMD, code that uses the
// instructions of one processor tests KELMUTILS_SSE2 or KELMUTILS_NEON, and all of it has a scalar
// variant beside. With the build option KELMUTILS_SCALAR only the scalar variants are compiled.
#if !defined(KELMUTILS_SCALAR)
#if defined(__SSE2__) || defined(_M_X64)
#define KELMUTILS_SIMD
#define KELMUTILS_SSE2
#include <emmintrin.h>
#elif (defined(__aarch64__) && !defined(__AARCH64EB__)) || defined(_M_ARM64)
#define KELMUTILS_SIMD
#define KELMUTILS_NEON
#include <arm_neon.h>
#endif
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

#ifdef KELMUTILS_SIMD

template <typename Unit>
class SimdUnits;

template <typename Unit>
using Units = SimdUnits<Unit>;

#else

template <typename Unit>
using Units = PlainUnits<Unit>;

#endif

#ifdef KELMUTILS_SSE2

/// 16 bytes that are compared at once.
class SimdBlock
{
public:
    static constexpr int length = 16;

    explicit SimdBlock(const char *bytes)
        : m_bytes(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes)))
    {}

    /// Each byte is \p byte.
    static SimdBlock filled(char byte) { return SimdBlock(_mm_set1_epi8(byte)); }

    /// 16 code units as bytes. Those that are no bytes become 0 or 255.
    static SimdBlock narrowed(const QChar *units)
    {
        const auto *const parts = reinterpret_cast<const __m128i *>(units);
        return SimdBlock(_mm_packus_epi16(_mm_loadu_si128(parts), _mm_loadu_si128(parts + 1)));
    }

    /// 255 for each byte that equals \p wanted, and 0 for the others.
    SimdBlock equalTo(char wanted) const
    {
        return SimdBlock(_mm_cmpeq_epi8(m_bytes, _mm_set1_epi8(wanted)));
    }

    SimdBlock operator|(SimdBlock other) const
    {
        return SimdBlock(_mm_or_si128(m_bytes, other.m_bytes));
    }
    SimdBlock operator&(SimdBlock other) const
    {
        return SimdBlock(_mm_and_si128(m_bytes, other.m_bytes));
    }
    SimdBlock operator^(SimdBlock other) const
    {
        return SimdBlock(_mm_xor_si128(m_bytes, other.m_bytes));
    }

    /// This block without the bits of \p other.
    SimdBlock without(SimdBlock other) const
    {
        return SimdBlock(_mm_andnot_si128(other.m_bytes, m_bytes));
    }

    /// Each byte one place later, after a zero.
    SimdBlock moved() const { return SimdBlock(_mm_slli_si128(m_bytes, 1)); }

    /// Whether a byte exceeds \p most, which is ASCII.
    bool anyAbove(char most) const
    {
        const __m128i room = _mm_set1_epi8(static_cast<char>(0x7f - most)); // sets the top bit
        return _mm_movemask_epi8(_mm_adds_epu8(m_bytes, room)) != 0;
    }

    /// The integer with these decimal digits from 0 to 9, of which the first is in the byte 0.
    quint64 numberOfDigits() const
    {
        const __m128i odd = _mm_srli_epi16(m_bytes, 8);
        const __m128i even = _mm_and_si128(m_bytes, _mm_set1_epi16(0xff));
        const __m128i pairs = _mm_add_epi16(_mm_mullo_epi16(even, _mm_set1_epi16(10)), odd);
        const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(1 << 16 | 100));
        const __m128i packed = _mm_packs_epi32(fours, fours);
        const __m128i eights = _mm_madd_epi16(packed, _mm_set1_epi32(1 << 16 | 10000));
        const auto high = static_cast<quint32>(_mm_cvtsi128_si32(eights));
        const auto low = static_cast<quint32>(_mm_cvtsi128_si32(_mm_srli_si128(eights, 4)));
        return quint64(high) * 100000000 + low;
    }

    /// The highest bits of the bytes: bit i is that of the byte i.
    quint32 highBits() const { return static_cast<quint32>(_mm_movemask_epi8(m_bytes)); }

private:
    explicit SimdBlock(__m128i bytes) : m_bytes(bytes) {}

    __m128i m_bytes;
};

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

#endif

#ifdef KELMUTILS_NEON

class SimdBlock
{
public:
    static constexpr int length = 16;

    explicit SimdBlock(const char *bytes)
        : m_bytes(vld1q_u8(reinterpret_cast<const unsigned char *>(bytes)))
    {}

    static SimdBlock narrowed(const QChar *units)
    {
        const auto *const parts = reinterpret_cast<const ushort *>(units);
        return SimdBlock(vqmovn_high_u16(vqmovn_u16(vld1q_u16(parts)), vld1q_u16(parts + 8)));
    }

    static SimdBlock filled(char byte)
    {
        return SimdBlock(vdupq_n_u8(static_cast<unsigned char>(byte)));
    }

    SimdBlock equalTo(char wanted) const
    {
        return SimdBlock(vceqq_u8(m_bytes, vdupq_n_u8(static_cast<unsigned char>(wanted))));
    }

    SimdBlock operator|(SimdBlock other) const
    {
        return SimdBlock(vorrq_u8(m_bytes, other.m_bytes));
    }
    SimdBlock operator&(SimdBlock other) const
    {
        return SimdBlock(vandq_u8(m_bytes, other.m_bytes));
    }
    SimdBlock operator^(SimdBlock other) const
    {
        return SimdBlock(veorq_u8(m_bytes, other.m_bytes));
    }

    SimdBlock without(SimdBlock other) const { return SimdBlock(vbicq_u8(m_bytes, other.m_bytes)); }

    SimdBlock moved() const { return SimdBlock(vextq_u8(vdupq_n_u8(0), m_bytes, 15)); }

    bool anyAbove(char most) const { return vmaxvq_u8(m_bytes) > static_cast<unsigned char>(most); }

    quint64 numberOfDigits() const
    {
        const uint8x16_t none = vdupq_n_u8(0);
        const uint8x16_t pairs =
            vmlaq_u8(vuzp2q_u8(m_bytes, none), vuzp1q_u8(m_bytes, none), vdupq_n_u8(10));
        const uint8x8_t evenPairs = vget_low_u8(vuzp1q_u8(pairs, none));
        const uint8x8_t oddPairs = vget_low_u8(vuzp2q_u8(pairs, none));
        const uint16x4_t fours =
            vget_low_u16(vmlal_u8(vmovl_u8(oddPairs), evenPairs, vdup_n_u8(100)));
        const uint16x4_t evenFours = vuzp1_u16(fours, fours);
        const uint16x4_t oddFours = vuzp2_u16(fours, fours);
        const uint32x4_t eights = vmlal_n_u16(vmovl_u16(oddFours), evenFours, 10000);
        return quint64(vgetq_lane_u32(eights, 0)) * 100000000 + vgetq_lane_u32(eights, 1);
    }

    quint32 highBits() const
    {
        // Each byte keeps the bit of its place among eight; pairs are added until eight are one.
        const uint8x16_t isHigh = vcltzq_s8(vreinterpretq_s8_u8(m_bytes));
        uint8x16_t bits = vandq_u8(isHigh, vreinterpretq_u8_u64(vdupq_n_u64(0x8040201008040201)));
        for (int i = 0; i < 3; ++i)
            bits = vpaddq_u8(bits, bits);
        return vgetq_lane_u16(vreinterpretq_u16_u8(bits), 0);
    }

private:
    explicit SimdBlock(uint8x16_t bytes) : m_bytes(bytes) {}

    uint8x16_t m_bytes;
};

/// One bit for each of 64 bytes that are 0 or 255.
inline quint64 bitsOfMasks(uint8x16_t a, uint8x16_t b, uint8x16_t c, uint8x16_t d)
{
    const uint8x16_t places = vreinterpretq_u8_u64(vdupq_n_u64(0x8040201008040201));
    const uint8x16_t low = vpaddq_u8(vandq_u8(a, places), vandq_u8(b, places));
    const uint8x16_t high = vpaddq_u8(vandq_u8(c, places), vandq_u8(d, places));
    const uint8x16_t all = vpaddq_u8(low, high);
    return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(all, all)), 0);
}

template <>
class SimdUnits<char>
{
public:
    static constexpr int length = 64;

    explicit SimdUnits(const char *bytes)
    {
        for (int i = 0; i < 4; ++i)
            m_parts[i] = vld1q_u8(reinterpret_cast<const unsigned char *>(bytes) + 16 * i);
    }

    quint64 equalTo(char wanted) const
    {
        const uint8x16_t all = vdupq_n_u8(static_cast<unsigned char>(wanted));
        return collect([&](uint8x16_t part) { return vceqq_u8(part, all); });
    }

    quint64 atLeast(int least) const
    {
        const uint8x16_t all = vdupq_n_u8(static_cast<unsigned char>(least));
        return collect([&](uint8x16_t part) { return vcgeq_u8(part, all); });
    }

    quint64 wide() const
    {
        return collect([](uint8x16_t part) { return vcltzq_s8(vreinterpretq_s8_u8(part)); });
    }

    unsigned anyWide() const
    {
        return vmaxvq_u8(
                   vorrq_u8(vorrq_u8(m_parts[0], m_parts[1]), vorrq_u8(m_parts[2], m_parts[3]))) >>
               7;
    }

    unsigned anyZero() const
    {
        return vminvq_u8(vminq_u8(vminq_u8(m_parts[0], m_parts[1]),
                                  vminq_u8(m_parts[2], m_parts[3]))) == 0;
    }

private:
    template <typename Test>
    quint64 collect(const Test &test) const
    {
        return bitsOfMasks(test(m_parts[0]), test(m_parts[1]), test(m_parts[2]), test(m_parts[3]));
    }

    uint8x16_t m_parts[4];
};

template <>
class SimdUnits<ushort>
{
public:
    static constexpr int length = 64;

    explicit SimdUnits(const ushort *units)
    {
        for (int i = 0; i < 8; ++i)
            m_parts[i] = vld1q_u16(units + 8 * i);
    }

    quint64 equalTo(ushort wanted) const
    {
        const uint16x8_t all = vdupq_n_u16(wanted);
        const auto masks = [&](int i) {
            return vmovn_high_u16(vmovn_u16(vceqq_u16(m_parts[i], all)),
                                  vceqq_u16(m_parts[i + 1], all));
        };
        return bitsOfMasks(masks(0), masks(2), masks(4), masks(6));
    }

    unsigned anyWide() const
    {
        uint16x8_t all = m_parts[0];
        for (int i = 1; i < 8; ++i)
            all = vorrq_u16(all, m_parts[i]);
        return vmaxvq_u16(all) >= 0x80;
    }

private:
    uint16x8_t m_parts[8];
};

#endif

/// Prefetches the memory at \p address, for loops that would otherwise wait for it.
inline void prefetch(const void *address)
{
#ifdef KELMUTILS_SSE2
    _mm_prefetch(static_cast<const char *>(address), _MM_HINT_T0);
#elif defined(KELMUTILS_NEON) && defined(__GNUC__)
    __builtin_prefetch(address);
#else
    Q_UNUSED(address)
#endif
}

} // namespace Utils
