// The shape that every frame has, in both directions:
//
//   Len | address | command | status (answers only) | data ... | CRC low | CRC high
//
// Len counts the bytes behind it, CRC included, so a frame is Len + 1 bytes long.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tagwire::engine::frame {

inline constexpr std::size_t len = 0;
inline constexpr std::size_t address = 1;
inline constexpr std::size_t command = 2;
inline constexpr std::size_t request_data = 3;
inline constexpr std::size_t status = 3;
inline constexpr std::size_t response_data = 4;

inline constexpr std::size_t crc_size = 2;
inline constexpr std::size_t longest = 256;  // Len 255
inline constexpr std::size_t shortest_request = 5;
inline constexpr std::size_t shortest_response = 6;

// The whole length of the frame that starts with this Len byte.
constexpr std::size_t length(std::uint8_t len_byte) { return static_cast<std::size_t>(len_byte) + 1; }

}  // namespace tagwire::engine::frame
