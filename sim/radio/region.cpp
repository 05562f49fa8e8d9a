#include "radio/region.h"

#include <algorithm>
#include <iterator>

namespace tagwire::sim {

namespace {

constexpr unsigned band_shift = 6;
constexpr unsigned channel_bits = 0x3F;
constexpr unsigned custom_band_bits = 0x0F;
constexpr std::uint32_t highest_khz = 0xFFFFFF;

struct Band {
    std::uint8_t number;
    std::uint32_t first_khz;
    std::uint32_t spacing_khz;
    unsigned channels;
};

constexpr Band bands[] = {
    {0, 840000, 2000, 61},  // everything from 840 to 960 MHz
    {1, 920125, 250, 20},   // China
    {2, 902750, 500, 50},   // United States
    {3, 917100, 200, 32},   // Korea
    {4, 865100, 200, 15},   // Europe
};

const Band* find_band(std::uint8_t number)
{
    const auto* found = std::find_if(std::begin(bands), std::end(bands),
                                     [number](const Band& band) { return band.number == number; });
    return found == std::end(bands) ? nullptr : found;
}

std::uint32_t start_khz(const Region& region)
{
    return std::uint32_t{region.start[0]} << 16U | std::uint32_t{region.start[1]} << 8U | region.start[2];
}

std::uint32_t custom_khz(const Region& region, unsigned channel)
{
    return start_khz(region) + channel * region.spacing * 10;
}

std::uint8_t frequency_byte(unsigned band_bits, unsigned channel)
{
    return static_cast<std::uint8_t>((band_bits & 3U) << band_shift | std::min(channel, channel_bits));
}

unsigned band_bits(const Region& region)
{
    return region.band == Region::custom ? custom_band_bits : unsigned{region.band};
}

}  // namespace

Region region_of(std::uint8_t highest, std::uint8_t lowest)
{
    const unsigned high = highest;
    const unsigned low = lowest;
    Region region;
    region.band = static_cast<std::uint8_t>(high >> band_shift << 2U | low >> band_shift);
    region.highest = static_cast<std::uint8_t>(high & channel_bits);
    region.lowest = static_cast<std::uint8_t>(low & channel_bits);
    return region;
}

std::uint8_t highest_byte(const Region& region)
{
    const unsigned channel = region.band == Region::custom ? region.channels - 1U : region.highest;
    return frequency_byte(band_bits(region) >> 2U, channel);
}

std::uint8_t lowest_byte(const Region& region) { return frequency_byte(band_bits(region), region.lowest); }

bool is_known(const Region& region)
{
    if (region.band == Region::custom) {
        return region.channels > 0 && custom_khz(region, region.channels - 1U) <= highest_khz;
    }
    const Band* band = find_band(region.band);
    return band && region.lowest <= region.highest && region.highest < band->channels;
}

unsigned channel_count(const Region& region)
{
    return region.band == Region::custom ? region.channels : region.highest - region.lowest + 1U;
}

std::uint32_t channel_khz(const Region& region, unsigned channel)
{
    if (region.band == Region::custom) return custom_khz(region, channel);
    const Band* band = find_band(region.band);
    return band ? band->first_khz + (region.lowest + channel) * band->spacing_khz : 0;
}

}  // namespace tagwire::sim
