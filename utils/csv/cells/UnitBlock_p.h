#pragma once

#include "utils/base/ByteScan_p.h"

namespace Utils {

/// 64 bytes, or code units of UTF-16, that are looked at in one go. Bit i of an answer stands for
/// the unit i.
template <typename Unit>
class PlainUnitBlock
{
public:
    static constexpr int length = 64;

    explicit PlainUnitBlock(const Unit *units) : m_units(units) {}

    quint64 unitsThatAre(Unit wanted) const
    {
        return collect([&](Unit unit) { return unit == wanted; });
    }

    /// Those that are not ASCII. Only whether there is one may be relied on.
    quint64 unitsThatAreWide() const
    {
        return collect([](Unit unit) { return (unit & ~0x7f) != 0; });
    }

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
class UnitBlock;

template <>
class UnitBlock<char>
{
public:
    static constexpr int length = 64;

    explicit UnitBlock(const char *units)
    {
        const auto *const parts = reinterpret_cast<const __m128i *>(units);
        for (int i = 0; i < 4; ++i)
            m_parts[i] = _mm_loadu_si128(parts + i);
    }

    quint64 unitsThatAre(char wanted) const
    {
        const __m128i all = _mm_set1_epi8(wanted);
        return collect([&](int i) { return _mm_cmpeq_epi8(m_parts[i], all); });
    }

    quint64 unitsThatAreWide() const
    {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
            _mm_or_si128(m_parts[0], m_parts[1]), _mm_or_si128(m_parts[2], m_parts[3]))));
    }

private:
    template <typename Part>
    static quint64 collect(const Part &part)
    {
        const auto bits = [&](int i) {
            return static_cast<quint64>(static_cast<unsigned>(_mm_movemask_epi8(part(i))));
        };
        return bits(0) | bits(1) << 16 | bits(2) << 32 | bits(3) << 48;
    }

    __m128i m_parts[4];
};

template <>
class UnitBlock<ushort>
{
public:
    static constexpr int length = 64;

    explicit UnitBlock(const ushort *units)
    {
        const auto *const parts = reinterpret_cast<const __m128i *>(units);
        for (int i = 0; i < 8; ++i)
            m_parts[i] = _mm_loadu_si128(parts + i);
    }

    quint64 unitsThatAre(ushort wanted) const
    {
        const __m128i all = _mm_set1_epi16(static_cast<short>(wanted));
        const auto bits = [&](int i) {
            const __m128i both = _mm_packs_epi16(_mm_cmpeq_epi16(m_parts[i], all),
                                                 _mm_cmpeq_epi16(m_parts[i + 1], all));
            return static_cast<quint64>(static_cast<unsigned>(_mm_movemask_epi8(both)));
        };
        return bits(0) | bits(2) << 16 | bits(4) << 32 | bits(6) << 48;
    }

    quint64 unitsThatAreWide() const { return 0; } // nobody asks

private:
    __m128i m_parts[8];
};

#else

template <typename Unit>
using UnitBlock = PlainUnitBlock<Unit>;

#endif

} // namespace Utils
