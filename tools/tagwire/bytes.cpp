#include "bytes.h"

#include <string_view>

namespace tagwire::tool {

std::string hex_text(std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::array<std::uint8_t, 2> high_byte_first(std::uint32_t number)
{
    return {static_cast<std::uint8_t>(number >> 8 & 0xFF), static_cast<std::uint8_t>(number & 0xFF)};
}

}  // namespace tagwire::tool
