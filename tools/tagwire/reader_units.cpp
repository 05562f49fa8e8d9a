#include "reader_units.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ctime>

#include <fmt/format.h>

#include "errors.h"
#include "parse.h"

namespace tagwire::tool {

namespace {

constexpr int century = 2000;

constexpr std::array bands{Band{2, "us", "United States", 902750, 500, 50},
                           Band{4, "eu", "Europe", 865100, 200, 15}, Band{1, "cn", "China", 920125, 250, 20},
                           Band{3, "kr", "Korea", 917100, 200, 32},
                           Band{0, "wide", "840 to 960 MHz", 840000, 2000, 61}};

}  // namespace

std::span<const Band> all_bands() { return bands; }

const Band* find_band(std::uint8_t number)
{
    const auto* const found = std::find_if(bands.begin(), bands.end(),
                                           [number](const Band& band) { return band.number == number; });
    return found == bands.end() ? nullptr : found;
}

const Band& parse_band(std::string_view name, std::string_view what)
{
    for (const auto& band : bands) {
        if (band.name == name) return band;
    }
    throw UsageError(fmt::format("{} '{}' is unknown: use {}", what, name, band_names()));
}

std::string band_names()
{
    std::string names;
    for (const auto& band : bands) names += fmt::format("{}{}", names.empty() ? "" : ", ", band.name);
    return names;
}

std::string band_text(std::uint8_t number)
{
    if (number == custom_band) return "custom";
    const auto* const band = find_band(number);
    return band != nullptr ? std::string(band->name) : std::to_string(number);
}

std::uint8_t channel_at(const Band& band, std::uint32_t khz, std::string_view what)
{
    if (khz >= band.first_khz && khz <= band.last_khz() && (khz - band.first_khz) % band.spacing_khz == 0)
        return static_cast<std::uint8_t>((khz - band.first_khz) / band.spacing_khz);
    throw UsageError(fmt::format("{} {} MHz is no channel of {}: they are at {} to {} MHz, {} kHz apart",
                                 what, mhz_text(khz), band.name, mhz_text(band.first_khz),
                                 mhz_text(band.last_khz()), band.spacing_khz));
}

std::uint32_t parse_mhz(std::string_view text, std::string_view what, std::uint32_t lowest_khz,
                        std::uint32_t highest_khz)
{
    double mhz = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, mhz, std::chars_format::fixed);
    const double khz = mhz * 1000;
    const bool is_whole = std::abs(khz - std::round(khz)) < 1e-4;
    if (error != std::errc{} || stop != end || !is_whole || khz < lowest_khz || khz > highest_khz) {
        throw UsageError(
            fmt::format("{} '{}' is not valid: use MHz from {} to {} with at most three decimals", what, text,
                        mhz_text(lowest_khz), mhz_text(highest_khz)));
    }
    return static_cast<std::uint32_t>(std::lround(khz));
}

std::string mhz_text(std::uint32_t khz) { return fmt::format("{}.{:03}", khz / 1000, khz % 1000); }

double mhz_number(std::uint32_t khz) { return khz / 1000.0; }

std::uint8_t parse_dbm(std::string_view text, std::string_view what)
{
    return static_cast<std::uint8_t>(parse_number(text, what, 0, highest_dbm));
}

PortBytes port_bytes(PortBits ports)
{
    PortBytes bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[bytes.size() - 1 - i] = static_cast<std::uint8_t>(ports >> (8 * i));
    return bytes;
}

PortBits ports_in(const PortBytes& bytes)
{
    PortBits ports = 0;
    for (const auto byte : bytes) ports = ports << 8 | byte;
    return ports;
}

std::vector<unsigned> port_list(PortBits ports)
{
    std::vector<unsigned> list;
    for (unsigned port = 1; port <= most_ports; ++port) {
        if ((ports >> (port - 1) & 1U) != 0) list.push_back(port);
    }
    return list;
}

std::string ports_text(PortBits ports)
{
    return ports == 0 ? "none" : fmt::format("{}", fmt::join(port_list(ports), ", "));
}

std::chrono::sys_seconds parse_clock(std::string_view text, std::string_view what)
{
    constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd";
    const auto fits = [](char shape, char c) { return shape == 'd' ? c >= '0' && c <= '9' : shape == c; };
    const bool has_form =
        text.size() == form.size() && std::equal(form.begin(), form.end(), text.begin(), fits);
    if (has_form) {
        const auto number = [text](std::size_t at, std::size_t digits) {
            return static_cast<int>(parse_number(text.substr(at, digits), "", 0, 9999));
        };
        const auto date = std::chrono::year(number(0, 4)) / number(5, 2) / number(8, 2);
        const std::chrono::hours hours(number(11, 2));
        const std::chrono::minutes minutes(number(14, 2));
        const std::chrono::seconds seconds(number(17, 2));
        const bool is_this_century = number(0, 4) / 100 == century / 100;
        if (date.ok() && is_this_century && hours.count() < 24 && minutes.count() < 60 &&
            seconds.count() < 60)
            return std::chrono::sys_days(date) + hours + minutes + seconds;
    }
    throw UsageError(fmt::format(
        "{} '{}' is not valid: use a time of the years 2000 to 2099, for example 2024-05-31T10:15:00", what,
        text));
}

ClockBytes clock_bytes(std::chrono::sys_seconds time)
{
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    return {static_cast<std::uint8_t>(static_cast<int>(date.year()) - century),
            static_cast<std::uint8_t>(static_cast<unsigned>(date.month())),
            static_cast<std::uint8_t>(static_cast<unsigned>(date.day())),
            static_cast<std::uint8_t>(clock.hours().count()),
            static_cast<std::uint8_t>(clock.minutes().count()),
            static_cast<std::uint8_t>(clock.seconds().count())};
}

std::string clock_bytes_text(const ClockBytes& bytes)
{
    return fmt::format("{}-{:02}-{:02}T{:02}:{:02}:{:02}", century + bytes[0], bytes[1], bytes[2], bytes[3],
                       bytes[4], bytes[5]);
}

std::string clock_value_text(std::chrono::sys_seconds time) { return clock_bytes_text(clock_bytes(time)); }

std::array<std::uint8_t, 4> utc_bytes(std::chrono::sys_seconds time)
{
    const auto seconds = static_cast<std::uint32_t>(time.time_since_epoch().count());
    return {static_cast<std::uint8_t>(seconds >> 24U), static_cast<std::uint8_t>(seconds >> 16U),
            static_cast<std::uint8_t>(seconds >> 8U), static_cast<std::uint8_t>(seconds)};
}

std::chrono::sys_seconds local_now()
{
    const auto now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    return std::chrono::sys_seconds(std::chrono::seconds(now + parts.tm_gmtoff));
}

}  // namespace tagwire::tool
