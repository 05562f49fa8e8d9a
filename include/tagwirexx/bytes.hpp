// Bytes and their hexadecimal text.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>

namespace tagwire {
inline namespace v1 {

using Bytes = std::vector<std::uint8_t>;

// Upper-case, two digits a byte, no separators, in the order of the bytes.
TAGWIREXX_API std::string to_hex(std::span<const std::uint8_t> bytes);

// Two digits a byte, in either case. Blanks, colons, hyphens and a leading "0x" are passed over. Throws Error
// for anything else, and for half a byte.
TAGWIREXX_API Bytes from_hex(std::string_view text);

}  // namespace v1
}  // namespace tagwire
