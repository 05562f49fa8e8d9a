#include "xx/values/regions.h"

#include <algorithm>
#include <strings.h>

namespace tagwire {
inline namespace v1 {
namespace {

constexpr std::array bands{Band{2, "us", {902'750}, {500}, 50}, Band{4, "eu", {865'100}, {200}, 15},
                           Band{1, "cn", {920'125}, {250}, 20}, Band{3, "kr", {917'100}, {200}, 32},
                           Band{0, "wide", {840'000}, {2000}, 61}};

template <class Test> const Band* find_if(Test test)
{
    const auto* const found = std::find_if(bands.begin(), bands.end(), test);
    return found == bands.end() ? nullptr : found;
}

}  // namespace

const Band* find_band(std::string_view name)
{
    return find_if([=](const Band& band) {
        return band.name.size() == name.size() &&
               ::strncasecmp(band.name.data(), name.data(), name.size()) == 0;
    });
}

const Band* find_band(int number)
{
    return find_if([=](const Band& band) { return band.number == number; });
}

Region make_region(int number, unsigned lowest, unsigned highest)
{
    Region out{.band = number, .lowest = lowest, .highest = highest};
    const Band* const band = find_band(number);
    if (band == nullptr) return out;
    out.name = band->name;
    out.from = Kilohertz{band->first.value + lowest * band->spacing.value};
    out.to = Kilohertz{band->first.value + highest * band->spacing.value};
    return out;
}

Region region_of(std::uint8_t highest_byte, std::uint8_t lowest_byte)
{
    constexpr unsigned channel_bits = 0x3F;
    const unsigned band = (highest_byte >> 6U) << 2U | lowest_byte >> 6U;
    return make_region(static_cast<int>(band), lowest_byte & channel_bits, highest_byte & channel_bits);
}

Region make_custom_region(Kilohertz first, Kilohertz spacing, unsigned channels)
{
    Region out{.name = "custom", .highest = channels > 0 ? channels - 1 : 0};
    out.from = first;
    out.to = Kilohertz{first.value + out.highest * spacing.value};
    return out;
}

}  // namespace v1
}  // namespace tagwire
