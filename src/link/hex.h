// Bytes as upper-case hexadecimal text.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tagwire::engine {

inline constexpr char hex_digits[] = "0123456789ABCDEF";

// Writes two digits a byte, no NUL; returns the position behind them.
inline char* write_hex(char* to, const std::uint8_t* bytes, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        *to++ = hex_digits[bytes[i] >> 4U];
        *to++ = hex_digits[bytes[i] & 0xFU];
    }
    return to;
}

}  // namespace tagwire::engine
