// Bytes for tests, written as text, and frames with a CRC worked out bit by bit, apart from the library's
// table.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tagwire::engine::test {

using Bytes = std::vector<std::uint8_t>;

// "04 FF 21" or "04FF21"; anything that is no hexadecimal digit is skipped.
inline Bytes hex(std::string_view text)
{
    Bytes out;
    int digits = 0;
    for (const char c : text) {
        int value = -1;
        if (c >= '0' && c <= '9') value = c - '0';
        if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
        if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
        if (value < 0) continue;
        if (digits++ % 2 == 0)
            out.push_back(static_cast<std::uint8_t>(value << 4));
        else
            out.back() = static_cast<std::uint8_t>(out.back() | value);
    }
    return out;
}

inline std::string to_hex(const Bytes& bytes)
{
    std::string out;
    for (const auto byte : bytes) {
        constexpr std::string_view digits = "0123456789ABCDEF";
        if (!out.empty()) out += ' ';
        out += digits[byte >> 4U];
        out += digits[byte & 15U];
    }
    return out;
}

inline Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline Bytes repeat(std::uint8_t value, std::size_t count) { return Bytes(count, value); }

inline std::uint16_t slow_crc(const Bytes& bytes)
{
    unsigned crc = 0xFFFF;
    for (const auto byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
    }
    return static_cast<std::uint16_t>(crc);
}

// The bytes as they stand (Len included) and their CRC behind them.
inline Bytes with_crc(Bytes bytes)
{
    const unsigned crc = slow_crc(bytes);
    bytes.push_back(static_cast<std::uint8_t>(crc & 0xFFU));
    bytes.push_back(static_cast<std::uint8_t>(crc >> 8U));
    return bytes;
}

// A whole answer: Len, address, command, status, data, CRC.
inline Bytes answer(std::uint8_t address, std::uint8_t command, std::uint8_t status, const Bytes& data = {})
{
    Bytes out{static_cast<std::uint8_t>(data.size() + 5), address, command, status};
    return with_crc(out + data);
}

// A whole request: Len, address, command, data, CRC.
inline Bytes request(std::uint8_t address, std::uint8_t command, const Bytes& data = {})
{
    Bytes out{static_cast<std::uint8_t>(data.size() + 4), address, command};
    return with_crc(out + data);
}

}  // namespace tagwire::engine::test
