#include "utils/base/Checksum_p.h"

#include <array>

namespace Utils {

static constexpr int slices = 8;              // bytes that are processed at once
static constexpr quint16 polynomial = 0x8408; // x^16 + x^12 + x^5 + 1, lowest bit first

using Table = std::array<quint16, 256>;

/// The element [i][byte] is the effect of a byte on the remainder after i more bytes.
static constexpr std::array<Table, slices> makeTables()
{
    std::array<Table, slices> tables = {};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned remainder = byte;
        for (int bit = 0; bit < 8; ++bit)
            remainder = remainder & 1 ? (remainder >> 1) ^ polynomial : remainder >> 1;
        tables[0][byte] = static_cast<quint16>(remainder);
    }
    for (std::size_t i = 1; i < slices; ++i) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const unsigned before = tables[i - 1][byte];
            tables[i][byte] = static_cast<quint16>((before >> 8) ^ tables[0][before & 0xff]);
        }
    }
    return tables;
}

static constexpr std::array<Table, slices> tables = makeTables();

void Checksum::add(const char *bytes, std::size_t size)
{
    const char *const end = bytes + size;
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    unsigned remainder = m_remainder;
    for (; end - bytes >= slices; bytes += slices) {
        // The remainder is two bytes long, so it is combined with the first two bytes.
        const unsigned first = at(0) ^ (remainder & 0xff);
        const unsigned second = at(1) ^ (remainder >> 8);
        remainder = static_cast<unsigned>(tables[7][first] ^ tables[6][second] ^ tables[5][at(2)] ^
                                          tables[4][at(3)] ^ tables[3][at(4)] ^ tables[2][at(5)] ^
                                          tables[1][at(6)] ^ tables[0][at(7)]);
    }
    for (; bytes != end; ++bytes)
        remainder = (remainder >> 8) ^ tables[0][(remainder ^ at(0)) & 0xff];
    m_remainder = static_cast<quint16>(remainder);
}

} // namespace Utils
