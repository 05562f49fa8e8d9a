// What readers count in channels, units and bits, in people's units.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tagwire::tool {

// A band and its channels; the first one is channel 0.
struct Band {
    std::uint8_t number;
    std::string_view name;
    std::string_view where;
    std::uint32_t first_khz;
    std::uint32_t spacing_khz;
    std::uint8_t channels;

    std::uint32_t khz(unsigned channel) const { return first_khz + channel * spacing_khz; }
    std::uint32_t last_khz() const { return khz(channels - 1U); }
};

// In place of a band's number: a channel plan of one's own.
inline constexpr std::uint8_t custom_band = 0xFF;

std::span<const Band> all_bands();
// Null for a number that is not known.
const Band* find_band(std::uint8_t number);
// Throws UsageError with the names there are.
const Band& parse_band(std::string_view name, std::string_view what);
// "us, eu, cn, kr, wide"
std::string band_names();
// The name of a number, or the number itself.
std::string band_text(std::uint8_t number);

// The channel of a band at a frequency. Throws UsageError when there is none.
std::uint8_t channel_at(const Band& band, std::uint32_t khz, std::string_view what);

// MHz with at most three decimals, as kHz. Throws UsageError.
std::uint32_t parse_mhz(std::string_view text, std::string_view what, std::uint32_t lowest_khz,
                        std::uint32_t highest_khz);
// "902.750"
std::string mhz_text(std::uint32_t khz);
double mhz_number(std::uint32_t khz);

inline constexpr std::uint8_t highest_dbm = 40;

// More than a reader gives is for the reader to refuse. Throws UsageError.
std::uint8_t parse_dbm(std::string_view text, std::string_view what);

inline constexpr std::uint32_t most_ports = 64;
// Bit 0 is port 1.
using PortBits = std::uint64_t;
// As commands carry them: high byte first, port 1 in bit 0 of the last byte.
using PortBytes = std::array<std::uint8_t, most_ports / 8>;

PortBytes port_bytes(PortBits ports);
PortBits ports_in(const PortBytes& bytes);
// "1, 2, 4", or "none"
std::string ports_text(PortBits ports);
std::vector<unsigned> port_list(PortBits ports);

// Year of the century, month, day, hour, minute, second: a clock without a time zone.
using ClockBytes = std::array<std::uint8_t, 6>;

// 2024-05-31T10:15:00, of this century. Throws UsageError.
std::chrono::sys_seconds parse_clock(std::string_view text, std::string_view what);
ClockBytes clock_bytes(std::chrono::sys_seconds time);
// The same form; also of bytes that make no time.
std::string clock_bytes_text(const ClockBytes& bytes);
std::string clock_value_text(std::chrono::sys_seconds time);
// Seconds since 1970, high byte first.
std::array<std::uint8_t, 4> utc_bytes(std::chrono::sys_seconds time);
// What clocks on the wall show here.
std::chrono::sys_seconds local_now();

}  // namespace tagwire::tool
