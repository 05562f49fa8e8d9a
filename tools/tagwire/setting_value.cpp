#include "setting_value.h"

#include "device_calls.h"
#include "errors.h"
#include "parse.h"
#include "printable.h"
#include "reader_units.h"
#include "reader_url.h"

#include <algorithm>
#include <array>
#include <vector>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::size_t mask_head = 4;  // bank, address, count of bits
constexpr std::size_t custom_plan_size = 6;
constexpr std::array baud_names{Name{"9600", 0},  Name{"19200", 1},  Name{"38400", 2},
                                Name{"57600", 5}, Name{"115200", 6}, Name{"921600", 7}};
constexpr NameSet mask_banks{gen2_bank_names, 255};

std::uint8_t byte_in(std::string_view text, std::string_view what, unsigned lowest, unsigned highest)
{
    return static_cast<std::uint8_t>(parse_number(text, what, lowest, highest));
}

std::vector<std::string_view> split_all(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::string numbers_text(const Bytes& value) { return fmt::format("{}", fmt::join(value, ",")); }

Bytes parse_numbers(std::string_view text, std::string_view what, std::size_t fewest, std::size_t most)
{
    const auto parts = split_all(text, ',');
    if (parts.size() < fewest || parts.size() > most) {
        const auto count = fewest == most ? std::to_string(most) : fmt::format("{} to {}", fewest, most);
        throw UsageError(fmt::format(
            "{} '{}' is not valid: use {} numbers from 0 to 255, separated by commas", what, text, count));
    }
    Bytes numbers;
    for (const auto part : parts) numbers.push_back(byte_in(part, what, 0, 255));
    return numbers;
}

// Powers for antennas that are not there are not kept.
bool powers_agree(const Bytes& given, const Bytes& shown)
{
    if (given.size() == 1)
        return std::all_of(shown.begin(), shown.end(), [&](auto power) { return power == given[0]; });
    const auto count = std::min(given.size(), shown.size());
    return std::equal(given.begin(), given.begin() + static_cast<std::ptrdiff_t>(count), shown.begin());
}

PortBits ports_of(const Bytes& value)
{
    PortBytes bytes{};
    std::copy_n(value.begin(), std::min(value.size(), bytes.size()), bytes.begin());
    return ports_in(bytes);
}

// -- masks

std::size_t bytes_for(unsigned bits) { return (bits + 7) / 8; }

Bytes normal_mask(const Bytes& raw)
{
    const unsigned bits = raw[mask_head - 1];
    Bytes mask(raw.begin(),
               raw.begin() + static_cast<std::ptrdiff_t>(std::min(raw.size(), mask_head + bytes_for(bits))));
    const auto unused = bytes_for(bits) * 8 - bits;
    if (bits != 0) mask.back() = static_cast<std::uint8_t>(mask.back() >> unused << unused);
    return mask;
}

std::string shown_mask(const Bytes& value)
{
    Mask mask;
    mask.bank = value[0];
    mask.bit_address = static_cast<std::uint16_t>(value[1] << 8U | value[2]);
    mask.bits = value[3];
    if (mask.bits == 0) return fmt::format("{}:{}:none", name_text(mask.bank, mask_banks), mask.bit_address);
    mask.data.assign(value.begin() + mask_head, value.end());
    return mask_text(mask, mask_banks);
}

Bytes mask_bytes(std::string_view text, std::string_view what)
{
    constexpr std::string_view no_bits = ":none";
    if (text == "none") return {epc_bank, 0, 0, 0};
    const bool is_empty = text.ends_with(no_bits);
    const auto given =
        is_empty ? std::string(text.substr(0, text.size() - no_bits.size())) + ":0/1" : std::string(text);
    try {
        const Mask mask = parse_mask(given, mask_banks);
        const auto address = high_byte_first(mask.bit_address);
        if (is_empty) return {mask.bank, address[0], address[1], 0};
        Bytes bytes{mask.bank, address[0], address[1], mask.bits};
        bytes.insert(bytes.end(), mask.data.begin(), mask.data.end());
        return bytes;
    } catch (const UsageError&) {
        throw UsageError(
            fmt::format("{} '{}' is not valid: use BANK:BITADDR:HEX[/BITS] or none", what, text));
    }
}

// -- frequencies

std::string shown_region(const Bytes& value)
{
    if (value.size() == custom_plan_size) {
        const auto start = unsigned{value[3]} << 16U | unsigned{value[4]} << 8U | value[5];
        return fmt::format("custom:{}:{}:{}", start, value[1] * spacing_unit_khz, value[2]);
    }
    return fmt::format("{}:{}-{}", band_text(value[0]), value[2], value[1]);
}

constexpr std::string_view region_range =
    "BAND:LOWEST-HIGHEST channel, or custom:START_KHZ:SPACING_KHZ:CHANNELS";

Bytes custom_plan(const std::vector<std::string_view>& parts, std::string_view what)
{
    constexpr unsigned highest_khz = 0xFFFFFF;
    const auto start = parse_number(parts[1], what, 0, highest_khz);
    const auto spacing = parse_number(parts[2], what, 0, 255 * spacing_unit_khz);
    if (spacing % spacing_unit_khz != 0) {
        throw UsageError(fmt::format("{}: a spacing of {} kHz is not valid: use a multiple of {}", what,
                                     spacing, spacing_unit_khz));
    }
    return {custom_band,
            static_cast<std::uint8_t>(spacing / spacing_unit_khz),
            byte_in(parts[3], what, 0, 255),
            static_cast<std::uint8_t>(start >> 16U),
            static_cast<std::uint8_t>(start >> 8U),
            static_cast<std::uint8_t>(start)};
}

std::uint8_t band_number(std::string_view text, std::string_view what)
{
    const bool is_number = !text.empty() && text[0] >= '0' && text[0] <= '9';
    return is_number ? byte_in(text, what, 0, custom_band - 1) : parse_band(text, what).number;
}

Bytes region_bytes(std::string_view text, std::string_view what)
{
    const auto parts = split_all(text, ':');
    if (parts.size() == 4 && parts[0] == "custom") return custom_plan(parts, what);
    const auto channels = parts.size() == 2 ? split_all(parts[1], '-') : std::vector<std::string_view>{};
    if (channels.size() != 2)
        throw UsageError(fmt::format("{} '{}' is not valid: use {}", what, text, region_range));
    return {band_number(parts[0], what), byte_in(channels[1], what, 0, 255),
            byte_in(channels[0], what, 0, 255)};
}

// -- small ones

ClockBytes clock_of(const Bytes& value)
{
    ClockBytes bytes{};
    std::copy_n(value.begin(), std::min(value.size(), bytes.size()), bytes.begin());
    return bytes;
}

Bytes clock_value(std::string_view text, std::string_view what)
{
    const auto bytes = clock_bytes(parse_clock(text, what));
    return {bytes.begin(), bytes.end()};
}

std::string code_text(const Bytes& value) { return fmt::format("0x{:02X}", value[0]); }

Bytes parse_units_between(std::string_view text, std::string_view what, std::size_t fewest, std::size_t most)
{
    if (text.empty() && fewest == 0) return {};
    auto bytes = parse_units(text, what, 1);
    if (bytes.size() >= fewest && bytes.size() <= most) return bytes;
    const auto digits =
        fewest == most ? std::to_string(2 * most) : fmt::format("{} to {}", 2 * fewest, 2 * most);
    throw UsageError(fmt::format("{} has {} hexadecimal digits: use {}", what, text.size(), digits));
}

ValueFormat shown_only(std::function<std::string(const Bytes&)> show)
{
    ValueFormat format;
    format.show = std::move(show);
    return format;
}

}  // namespace

std::string ValueFormat::shown(const Bytes& value) const
{
    const auto text = show(value);
    if (text.empty()) return "-";
    return unit.empty() ? text : fmt::format("{} {}", text, unit);
}

ValueFormat number_format(unsigned lowest, unsigned highest)
{
    ValueFormat format;
    format.range = fmt::format("{} to {}", lowest, highest);
    format.is_number = true;
    format.show = [](const Bytes& value) { return std::to_string(value[0]); };
    format.parse = [=](std::string_view text, std::string_view what) {
        return Bytes{byte_in(text, what, lowest, highest)};
    };
    return format;
}

ValueFormat scaled_format(std::string_view unit, unsigned scale, unsigned highest)
{
    ValueFormat format;
    format.range = fmt::format("0 to {} {}", highest * scale, unit);
    if (scale != 1) format.range += fmt::format(" in steps of {}", scale);
    format.unit = unit;
    format.is_number = true;
    format.show = [scale](const Bytes& value) { return std::to_string(value[0] * scale); };
    format.parse = [=](std::string_view text, std::string_view what) {
        const auto value = parse_number(text, what, 0, highest * scale);
        if (value % scale != 0) {
            throw UsageError(fmt::format("{} '{}' is not valid: use a multiple of {} from 0 to {}", what,
                                         text, scale, highest * scale));
        }
        return Bytes{static_cast<std::uint8_t>(value / scale)};
    };
    return format;
}

ValueFormat code_format(unsigned highest)
{
    ValueFormat format = number_format(0, highest);
    format.range = fmt::format("0 to {}, the reader's own code", highest);
    format.is_number = false;
    format.show = code_text;
    return format;
}

ValueFormat named_format(const NameSet& names)
{
    ValueFormat format;
    format.range = choices_text(names);
    format.show = [names](const Bytes& value) { return name_text(value[0], names); };
    format.parse = [names](std::string_view text, std::string_view what) {
        return Bytes{parse_name(text, what, names)};
    };
    return format;
}

ValueFormat hex_format(std::size_t fewest, std::size_t most)
{
    ValueFormat format;
    format.range = fewest == most ? fmt::format("{} bytes in hexadecimal digits", most)
                                  : fmt::format("{} to {} bytes in hexadecimal digits", fewest, most);
    format.show = [](const Bytes& value) { return hex_text(value); };
    format.parse = [=](std::string_view text, std::string_view what) {
        return parse_units_between(text, what, fewest, most);
    };
    return format;
}

ValueFormat list_format(std::size_t fewest, std::size_t most, std::string_view unit)
{
    ValueFormat format;
    const auto count = fewest == most ? std::to_string(most) : fmt::format("{} to {}", fewest, most);
    format.range = fmt::format("{} numbers from 0 to 255, separated by commas", count);
    format.unit = unit;
    format.show = numbers_text;
    format.parse = [=](std::string_view text, std::string_view what) {
        return parse_numbers(text, what, fewest, most);
    };
    return format;
}

ValueFormat powers_format()
{
    ValueFormat format = list_format(1, most_ports, "dBm");
    format.range = fmt::format("0 to 255 dBm for every antenna, separated by commas, up to {}; one value is "
                               "for all",
                               most_ports);
    format.agrees = powers_agree;
    return format;
}

ValueFormat ports_format()
{
    ValueFormat format;
    format.range = fmt::format("ports from 1 to {}, separated by commas", most_ports);
    format.show = [](const Bytes& value) {
        return fmt::format("{}", fmt::join(port_list(ports_of(value)), ","));
    };
    format.parse = [](std::string_view text, std::string_view what) {
        const auto bytes = port_bytes(parse_ports(text, what, most_ports));
        return Bytes(bytes.begin(), bytes.end());
    };
    return format;
}

ValueFormat mask_format()
{
    ValueFormat format;
    format.range = "BANK:BITADDR:HEX[/BITS], up to 255 bits, or none";
    format.show = shown_mask;
    format.parse = mask_bytes;
    format.normal = normal_mask;
    return format;
}

ValueFormat region_format()
{
    ValueFormat format;
    format.range = fmt::format("{}; bands are {} or numbers", region_range, band_names());
    format.show = shown_region;
    format.parse = region_bytes;
    return format;
}

ValueFormat clock_format()
{
    ValueFormat format;
    format.range = "a time such as 2024-05-31T10:15:00";
    format.show = [](const Bytes& value) { return clock_bytes_text(clock_of(value)); };
    format.parse = clock_value;
    return format;
}

ValueFormat speed_format()
{
    ValueFormat format;
    format.range = "9600, 19200, 38400, 57600, 115200 or 921600";
    format.unit = "bit/s";
    format.is_number = true;
    format.show = [](const Bytes& value) { return name_text(value[0], {baud_names, 255}); };
    format.parse = [](std::string_view text, std::string_view what) {
        try {
            return Bytes{baud_index(parse_baud(text))};
        } catch (const UsageError& error) {
            throw UsageError(fmt::format("{} {}", what, error.what()));
        }
    };
    return format;
}

ValueFormat shown_code() { return shown_only(code_text); }

ValueFormat shown_bytes()
{
    return shown_only([](const Bytes& value) { return hex_text(value); });
}

ValueFormat shown_version()
{
    return shown_only([](const Bytes& value) { return fmt::format("{}.{}", value[0], value[1]); });
}

ValueFormat shown_text()
{
    return shown_only([](const Bytes& value) {
        return printable_text(std::string(value.begin(), std::find(value.begin(), value.end(), 0)));
    });
}

// A sign, which is 0 for minus, and degrees.
ValueFormat shown_temperature()
{
    auto format = shown_only(
        [](const Bytes& value) { return fmt::format("{}{}", value[0] == 0 ? "-" : "", value[1]); });
    format.unit = "degrees";
    return format;
}

}  // namespace tagwire::tool
