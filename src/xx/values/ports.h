// Antenna bytes and ports.
#pragma once

#include <bit>
#include <cstdint>

#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

// A mask with one bit is a port, and a number from 1 on; nothing else is.
inline Port port_of(std::uint8_t antenna_byte, AntennaByte kind)
{
    if (kind == AntennaByte::number) return Port(antenna_byte);
    return std::has_single_bit(antenna_byte) ? Port(std::countr_zero(antenna_byte) + 1) : Port();
}

}  // namespace v1
}  // namespace tagwire
