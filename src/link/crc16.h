// The CRC-16 at the end of every frame: polynomial 0x1021 reflected (0x8408), preset 0xFFFF, no final XOR.
// Run over a frame with its own CRC behind it (low byte first), it leaves zero.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tagwire::engine {

inline constexpr std::uint16_t crc16_preset = 0xFFFF;

namespace detail {

// Table n takes a byte that n more bytes follow: so many are taken in one step.
inline constexpr std::size_t crc16_step = 8;
using Crc16Tables = std::array<std::array<std::uint16_t, 256>, crc16_step>;

constexpr Crc16Tables make_crc16_tables()
{
    Crc16Tables tables{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (std::size_t follow = 0; follow < crc16_step; ++follow) {
            for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
            tables[follow][byte] = static_cast<std::uint16_t>(crc);
        }
    }
    return tables;
}

inline constexpr Crc16Tables crc16_tables = make_crc16_tables();

}  // namespace detail

// The register after `count` bytes, starting from `crc`.
constexpr std::uint16_t crc16(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc = crc16_preset)
{
    const auto& tables = detail::crc16_tables;
    for (; count >= detail::crc16_step; count -= detail::crc16_step, bytes += detail::crc16_step)
        crc = static_cast<std::uint16_t>(tables[7][(crc ^ bytes[0]) & 0xFFU] ^
                                         tables[6][(crc >> 8U) ^ bytes[1]] ^ tables[5][bytes[2]] ^
                                         tables[4][bytes[3]] ^ tables[3][bytes[4]] ^ tables[2][bytes[5]] ^
                                         tables[1][bytes[6]] ^ tables[0][bytes[7]]);
    if (count == 0) return crc;
    const unsigned low = tables[count - 1][(crc ^ bytes[0]) & 0xFFU];
    if (count == 1) return static_cast<std::uint16_t>((crc >> 8U) ^ low);
    unsigned rest = low ^ tables[count - 2][(crc >> 8U) ^ bytes[1]];
    for (std::size_t i = 2; i < count; ++i) rest ^= tables[count - 1 - i][bytes[i]];
    return static_cast<std::uint16_t>(rest);
}

}  // namespace tagwire::engine
