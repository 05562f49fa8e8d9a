// The CRC-16 at the end of every frame: polynomial 0x1021 reflected (0x8408), preset 0xFFFF, no final XOR.
// Run over a frame with its own CRC behind it (low byte first), it leaves zero.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tagwire::engine {

inline constexpr std::uint16_t crc16_preset = 0xFFFF;

namespace detail {

constexpr std::array<std::uint16_t, 256> make_crc16_table()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
        table[byte] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

inline constexpr std::array<std::uint16_t, 256> crc16_table = make_crc16_table();

}  // namespace detail

// The register after `count` bytes, starting from `crc`.
constexpr std::uint16_t crc16(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc = crc16_preset)
{
    for (std::size_t i = 0; i < count; ++i)
        crc = static_cast<std::uint16_t>((crc >> 8U) ^ detail::crc16_table[(crc ^ bytes[i]) & 0xFFU]);
    return crc;
}

}  // namespace tagwire::engine
