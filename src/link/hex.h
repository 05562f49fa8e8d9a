// Bytes as upper-case hexadecimal text.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tagwire::engine {

inline constexpr char hex_digits[] = "0123456789ABCDEF";

namespace detail {

constexpr std::array<char, 512> make_hex_pairs()
{
    std::array<char, 512> pairs{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        pairs[2 * byte] = hex_digits[byte >> 4U];
        pairs[2 * byte + 1] = hex_digits[byte & 0xFU];
    }
    return pairs;
}

inline constexpr std::array<char, 512> hex_pairs = make_hex_pairs();

}  // namespace detail

// Writes two digits a byte, no NUL; returns the position behind them.
inline char* write_hex(char* to, const std::uint8_t* bytes, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i, to += 2)
        std::memcpy(to, &detail::hex_pairs[std::size_t{2} * bytes[i]], 2);
    return to;
}

}  // namespace tagwire::engine
