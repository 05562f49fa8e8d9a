// Frequency plans: a band with its channels, or channels of one's own.
#pragma once

#include <array>
#include <cstdint>

namespace tagwire::sim {

struct Region {
    static constexpr std::uint8_t custom = 0xFF;

    std::uint8_t band = 0;
    std::uint8_t highest = 0;  // channels in use, the first of the band is 0
    std::uint8_t lowest = 0;
    // Of a custom plan only.
    std::uint8_t spacing = 0;  // 10 kHz
    std::uint8_t channels = 0;
    std::array<std::uint8_t, 3> start{};  // kHz, high byte first

    bool operator==(const Region&) const = default;
};

// The two frequency bytes: the band in their upper two bits, a channel in the others.
Region region_of(std::uint8_t highest, std::uint8_t lowest);
std::uint8_t highest_byte(const Region& region);
std::uint8_t lowest_byte(const Region& region);

// Whether the simulator has the band, and the band these channels.
bool is_known(const Region& region);
unsigned channel_count(const Region& region);
// Counted from the lowest in use.
std::uint32_t channel_khz(const Region& region, unsigned channel);

}  // namespace tagwire::sim
