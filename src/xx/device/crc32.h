// CRC-32 as zlib computes it.
#pragma once

#include <cstdint>
#include <span>

namespace tagwire {
inline namespace v1 {

// `so_far` is that of the bytes in front.
std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t so_far = 0);

}  // namespace v1
}  // namespace tagwire
