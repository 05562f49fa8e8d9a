#include "bytes.h"

#include <algorithm>
#include <stdexcept>

namespace tagwire::sim {

namespace {

constexpr std::string_view hex_digits = "0123456789ABCDEF";

int digit_value(char digit)
{
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

bool bit_of(const Bytes& bytes, std::size_t bit) { return (bytes[bit / 8] >> (7U - bit % 8)) & 1U; }

}  // namespace

std::string to_hex(const Bytes& bytes, std::string_view separator)
{
    std::string text;
    text.reserve(bytes.size() * (2 + separator.size()));
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) text += separator;
        text += hex_digits[byte >> 4U];
        text += hex_digits[byte & 0x0FU];
    }
    return text;
}

Bytes from_hex(std::string_view text)
{
    Bytes bytes;
    int high = -1;
    for (const char c : text) {
        if (c == ' ') continue;
        const int value = digit_value(c);
        if (value < 0) throw std::invalid_argument(std::string("'") + c + "' is not a hexadecimal digit");
        if (high < 0) {
            high = value;
            continue;
        }
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + value));
        high = -1;
    }
    if (high >= 0) throw std::invalid_argument("odd number of hexadecimal digits: two make a byte");
    return bytes;
}

void append(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

void append_number(Bytes& bytes, std::uint64_t number, unsigned size)
{
    for (unsigned shift = size * 8; shift > 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>((number >> (shift - 8)) & 0xFFU));
    }
}

bool holds_bits(const Bytes& memory, std::size_t bit_address, std::size_t bit_count, const Bytes& bits)
{
    if (bit_count == 0) return true;
    if (bit_address + bit_count > memory.size() * 8) return false;
    for (std::size_t bit = 0; bit < bit_count; ++bit) {
        if (bit_of(memory, bit_address + bit) != bit_of(bits, bit)) return false;
    }
    return true;
}

Time seconds_to_time(double seconds)
{
    constexpr double longest = 9.0e9;  // some 285 years
    const double bounded = std::clamp(seconds, -longest, longest);
    return std::chrono::duration_cast<Time>(std::chrono::duration<double>(bounded));
}

}  // namespace tagwire::sim
