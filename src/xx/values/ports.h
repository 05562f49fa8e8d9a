// Antenna bytes and ports.
#pragma once

#include <bit>
#include <cstdint>

#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

// How a reader with so many ports tells them, where nobody has said it.
constexpr AntennaByte antenna_byte_of(int ports)
{
    constexpr int most_in_a_mask = 8;
    return ports > most_in_a_mask ? AntennaByte::number : AntennaByte::mask;
}

// A mask with one bit is a port, and a number from 1 on; nothing else is.
inline Port port_of(std::uint8_t antenna_byte, AntennaByte kind)
{
    if (kind == AntennaByte::number) return Port(antenna_byte);
    return std::has_single_bit(antenna_byte) ? Port(std::countr_zero(antenna_byte) + 1) : Port();
}

}  // namespace v1
}  // namespace tagwire
