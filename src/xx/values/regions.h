// Channel numbers and what they mean.
#pragma once

#include <cstdint>

#include <tagwirexx/info.hpp>

namespace tagwire {
inline namespace v1 {

Region make_region(int band, unsigned lowest, unsigned highest);
// Of the two bytes of the reader's information: the band's bits on top of the channels.
Region region_of(std::uint8_t highest_byte, std::uint8_t lowest_byte);
Region make_custom_region(Kilohertz first, Kilohertz spacing, unsigned channels);

}  // namespace v1
}  // namespace tagwire
