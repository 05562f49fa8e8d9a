// The command codes that the simulator serves.
#pragma once

#include <cstdint>

namespace tagwire::sim::command {

inline constexpr std::uint8_t inventory = 0x01;
inline constexpr std::uint8_t single_tag_inventory = 0x0F;
inline constexpr std::uint8_t mixed_inventory = 0x19;
inline constexpr std::uint8_t epc_match_inventory = 0x1A;
inline constexpr std::uint8_t private_inventory = 0x1B;
inline constexpr std::uint8_t fast_switch_inventory = 0x1C;
inline constexpr std::uint8_t extended_inventory = 0x20;
inline constexpr std::uint8_t reader_information = 0x21;
inline constexpr std::uint8_t start_reading = 0x50;
inline constexpr std::uint8_t stop_reading = 0x51;
inline constexpr std::uint8_t module_details = 0x83;
inline constexpr std::uint8_t abort_inventory = 0x93;
inline constexpr std::uint8_t brand_inventory = 0x96;
inline constexpr std::uint8_t fast_tid_inventory = 0x97;

}  // namespace tagwire::sim::command
