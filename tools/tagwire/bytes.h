// Byte strings.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tagwire::tool {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t word_bytes = 2;

// Upper-case hexadecimal digits.
std::string hex_text(std::span<const std::uint8_t> bytes);

// The low 16 bits.
std::array<std::uint8_t, 2> high_byte_first(std::uint32_t number);

}  // namespace tagwire::tool
