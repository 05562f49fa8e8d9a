#include "xx/settings/value.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iomanip>
#include <sstream>
#include <vector>

#include "xx/reader/both_ways.h"
#include "xx/values/regions.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace rows {
namespace {

using Shape = Format::Shape;

constexpr std::size_t mask_head = 4;  // bank, first bit, count of bits
constexpr std::size_t size_of_ports = 8;
constexpr Range byte_range{"a number", 0, 255};

Parsed refused(std::string problem) { return {{}, std::move(problem)}; }
u8 byte(long long value) { return static_cast<u8>(value); }

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

template <class Values> std::string joined(const Values& values)
{
    std::string text;
    for (const auto value : values) text += (text.empty() ? "" : ",") + std::to_string(value);
    return text;
}

// -- numbers

std::string show_number(const Format& format, int value)
{
    for (const Word& word : format.words)
        if (word.value == value) return std::string(word.text);
    return std::to_string(value * format.scale);
}

Parsed parse_number(const Format& format, std::string_view text)
{
    const auto number = number_in(text);
    for (const Word& word : format.words)
        if (word.text == text || number == word.value) return {{byte(word.value)}};
    if (!number) return refused("it is no number");
    if (*number % format.scale != 0) return refused("it is no multiple of " + std::to_string(format.scale));
    const std::string problem = problem_of(format.range, *number / format.scale);
    return problem.empty() ? Parsed{{byte(*number / format.scale)}} : refused("it is out of range");
}

Parsed parse_list(const Range& count, const Range& each, std::string_view text)
{
    Parsed out;
    for (const auto part : split(text, ',')) {
        const auto number = number_in(part);
        if (!number) return refused("'" + std::string(part) + "' is no number");
        const std::string problem = problem_of(each, *number);
        if (!problem.empty()) return refused(problem);
        out.bytes.push_back(byte(*number));
    }
    return problem_of(count, static_cast<long long>(out.bytes.size())).empty()
               ? out
               : refused("it has " + std::to_string(out.bytes.size()));
}

std::string show_powers(const Bytes& value)
{
    const bool is_one = std::all_of(value.begin(), value.end(), [&](u8 power) { return power == value[0]; });
    return joined(is_one ? Bytes(value.begin(), value.begin() + 1) : value);
}

std::string show_hex_byte(unsigned value)
{
    const u8 bytes[] = {byte(value)};
    return "0x" + to_hex(bytes);
}

Parsed parse_hex(const Format& format, std::string_view text)
{
    try {
        Bytes bytes = from_hex(text);
        if (problem_of(format.range, static_cast<long long>(bytes.size())).empty()) return {std::move(bytes)};
        return refused("it has " + std::to_string(bytes.size()) + " bytes");
    } catch (const Error& error) {
        return refused(error.what());
    }
}

// -- ports

std::string show_ports(const Bytes& value)
{
    std::vector<std::size_t> ports;
    for (std::size_t i = 0; i < value.size() * 8; ++i)
        if ((value[value.size() - 1 - i / 8] >> (i % 8) & 1U) != 0) ports.push_back(i + 1);
    return joined(ports);
}

Parsed parse_ports(std::string_view text)
{
    Parsed out{Bytes(size_of_ports)};
    for (const auto part : split(text, ',')) {
        const auto ends = split(part, '-');
        const auto first = number_in(ends.front());
        const auto last = number_in(ends.back());
        if (!first || !last || ends.size() > 2 || *first > *last)
            return refused("'" + std::string(part) + "' is neither a port nor a range of them");
        for (const auto port : {*first, *last}) {
            const std::string problem = problem_of(ranges::port, port);
            if (!problem.empty()) return refused(problem);
        }
        for (auto bit = static_cast<std::size_t>(*first - 1); bit < static_cast<std::size_t>(*last); ++bit) {
            u8& bits = out.bytes[size_of_ports - 1 - bit / 8];
            bits = byte(bits | 1U << (bit % 8));
        }
    }
    return out;
}

// -- masks

constexpr Word banks[] = {{"reserved", 0}, {"epc", 1}, {"tid", 2}, {"user", 3}};

std::size_t bytes_for(unsigned bits) { return (bits + 7) / 8; }

const Bytes& no_mask()
{
    static const Bytes none{static_cast<u8>(Bank::epc), 0, 0, 0};
    return none;
}

Bytes bits_of_mask(Bytes value)
{
    const unsigned bits = value[mask_head - 1];
    if (bits == 0) return no_mask();
    value.resize(std::min(value.size(), mask_head + bytes_for(bits)));
    const std::size_t unused = bytes_for(bits) * 8 - bits;
    value.back() = byte(value.back() >> unused << unused);
    return value;
}

std::string show_mask(const Bytes& value)
{
    const unsigned bits = value[3];
    if (bits == 0) return "none";
    const std::string text = show_number({.words = banks}, value[0]) + ":" +
                             std::to_string(value[1] << 8U | value[2]) + ":" +
                             to_hex(std::span(value).subspan(mask_head));
    return bits % 8 == 0 ? text : text + "/" + std::to_string(bits);
}

// BANK:BIT:HEX[/BITS]
Parsed parse_mask(std::string_view text)
{
    if (text == "none") return {no_mask()};
    const auto parts = split(text, ':');
    if (parts.size() != 3) return refused("it has other parts");
    const auto data = split(parts[2], '/');
    const Parsed bank = parse_number({.words = banks}, parts[0]);
    const auto bit = number_in(parts[1]);
    if (parts[2] == "none" && bank.problem.empty() && bit) return {no_mask()};
    const Parsed bytes = parse_hex({.range = {"bytes", 1, 32}}, data[0]);
    if (!bank.problem.empty() || !bit || !bytes.problem.empty()) return refused("it has other parts");
    const auto there = static_cast<long long>(bytes.bytes.size()) * 8;
    const auto bits = data.size() == 1 ? std::optional(there) : number_in(data[1]);
    if (data.size() > 2 || !bits || *bits > there) return refused("it has not so many bits");
    for (const std::string& problem :
         {problem_of(ranges::mask_bank, bank.bytes[0]), problem_of(ranges::mask_bit, *bit),
          problem_of(ranges::mask_bits, *bits)})
        if (!problem.empty()) return refused(problem);
    Bytes out{bank.bytes[0], byte(*bit >> 8U), byte(*bit), byte(*bits)};
    out.insert(out.end(), bytes.bytes.begin(), bytes.bytes.end());
    return {bits_of_mask(std::move(out))};
}

// -- regions

std::string show_region(const Bytes& value)
{
    if (value.size() == size_of_plan) {
        const unsigned start = unsigned{value[3]} << 16U | unsigned{value[4]} << 8U | value[5];
        return "custom:" + std::to_string(start) + ":" + std::to_string(value[1] * ranges::spacing_unit_khz) +
               ":" + std::to_string(value[2]);
    }
    const Band* const band = find_band(value[0]);
    const std::string name = band != nullptr ? std::string(band->name) : std::to_string(value[0]);
    return name + ":" + std::to_string(value[2]) + "-" + std::to_string(value[1]);
}

Parsed parse_plan(const std::vector<std::string_view>& parts)
{
    std::array<long long, 3> numbers{};  // first frequency, spacing, channels
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto number = number_in(parts[i + 1]);
        if (!number || *number < 0 || *number > 0xFFFFFF) return refused("its numbers are none");
        numbers[i] = *number;
    }
    const auto [first, spacing, channels] = numbers;
    std::string problem =
        problem_of_plan({static_cast<std::uint32_t>(first)}, {static_cast<std::uint32_t>(spacing)},
                        static_cast<unsigned>(channels));
    if (!problem.empty()) return refused(std::move(problem));
    return {{byte(Region::custom), byte(spacing / ranges::spacing_unit_khz), byte(channels),
             byte(first >> 16U), byte(first >> 8U), byte(first)}};
}

// BAND[:LOWEST-HIGHEST]
Parsed parse_region(std::string_view text)
{
    const auto parts = split(text, ':');
    if (parts.size() == 4 && parts[0] == "custom") return parse_plan(parts);
    const Band* const band = find_band(parts[0]);
    const auto number = band != nullptr ? std::optional<long long>(band->number) : number_in(parts[0]);
    const auto channels = parts.size() == 2 ? split(parts[1], '-') : std::vector<std::string_view>{};
    const bool is_whole = parts.size() == 1 && band != nullptr;
    if (!number || *number > Region::custom || (!is_whole && channels.size() != 2))
        return refused("there is no such band");
    const auto lowest = is_whole ? 0 : number_in(channels[0]);
    const auto highest = is_whole ? band->channels - 1 : number_in(channels[1]);
    if (!lowest || !highest || *lowest > 255 || *highest > 255) return refused("these are no channels");
    std::string problem = problem_of_band(static_cast<int>(*number), static_cast<unsigned>(*lowest),
                                          static_cast<unsigned>(*highest));
    if (!problem.empty()) return refused(std::move(problem));
    return {{byte(*number), byte(*highest), byte(*lowest)}};
}

// -- clocks

std::string show_clock(const Bytes& value)
{
    std::ostringstream out;
    out << std::setfill('0') << ranges::century + value[0];
    const char* separators = "--T::";
    for (std::size_t i = 1; i < value.size(); ++i) out << separators[i - 1] << std::setw(2) << int{value[i]};
    return out.str();
}

using Time = std::chrono::sys_seconds;

std::optional<Time> time_of(const Bytes& value)
{
    using namespace std::chrono;
    const auto date = year(ranges::century + value[0]) / month(value[1]) / day(value[2]);
    if (!date.ok() || value[0] > 99 || value[3] > 23 || value[4] > 59 || value[5] > 59) return std::nullopt;
    return sys_days(date) + hours(value[3]) + minutes(value[4]) + seconds(value[5]);
}

Parsed parse_clock(std::string_view text)
{
    constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd";
    const auto fits = [](char shape, char c) { return shape == 'd' ? c >= '0' && c <= '9' : shape == c; };
    if (text.size() != form.size() || !std::equal(form.begin(), form.end(), text.begin(), fits))
        return refused("it is no time");
    const auto two = [text](std::size_t at) { return (text[at] - '0') * 10 + text[at + 1] - '0'; };
    if (!problem_of(ranges::year, two(0) * 100 + two(2)).empty()) return refused("it is of another century");
    Parsed out{{byte(two(2)), byte(two(5)), byte(two(8)), byte(two(11)), byte(two(14)), byte(two(17))}};
    return time_of(out.bytes) ? out : refused("it is no time");
}

// A clock goes on.
bool are_close(const Bytes& given, const Bytes& shown)
{
    constexpr std::chrono::minutes most(10);
    const auto before = time_of(given);
    const auto now = time_of(shown);
    return before && now && *now >= *before && *now - *before <= most;
}

std::string show_characters(const Bytes& value)
{
    std::string text;
    for (const u8 c : value) {
        if (c == 0) break;
        text += c >= ' ' && c <= '~' ? static_cast<char>(c) : '?';
    }
    return text;
}

std::string words_of(const Format& format)
{
    std::string text;
    for (const Word& word : format.words) text += (text.empty() ? "" : ", ") + std::string(word.text);
    return text;
}

std::string range_of_number(const Format& format)
{
    std::string words = words_of(format);
    if (format.range.highest < format.range.lowest) return words;
    std::string text = std::to_string(format.range.lowest * format.scale) + " to " +
                       std::to_string(format.range.highest * format.scale);
    if (!format.unit.empty()) text += " " + std::string(format.unit);
    if (format.scale != 1) text += " in steps of " + std::to_string(format.scale);
    return words.empty() ? text : text + ", or " + words;
}

std::string count_of(const Range& range)
{
    const std::string most = std::to_string(range.highest);
    return range.lowest == range.highest ? most : std::to_string(range.lowest) + " to " + most;
}

}  // namespace

std::optional<long long> number_in(std::string_view text)
{
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    if (is_hex) text.remove_prefix(2);
    if (text.empty() || text[0] == '-') return std::nullopt;
    long long value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, is_hex ? 16 : 10);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

std::string range_of(const Format& format)
{
    switch (format.shape) {
    case Shape::number: return range_of_number(format);
    case Shape::code: return count_of(format.range) + ", the reader's own code";
    case Shape::hex: return count_of(format.range) + " bytes in hexadecimal digits";
    case Shape::list: return count_of(format.range) + " numbers from 0 to 255, separated by commas";
    case Shape::powers:
        return count_of(ranges::dbm) + " dBm, for all ports or for each of them, separated by commas";
    case Shape::ports: return "ports from " + count_of(ranges::port) + ", as in 1,3 and 1-4";
    case Shape::mask: return "BANK:BIT:HEX[/BITS] with the bank epc, tid or user and up to 255 bits, or none";
    case Shape::region:
        return "us, eu, cn, kr, wide, BAND:LOWEST-HIGHEST channel, or custom:FIRST_KHZ:SPACING_KHZ:CHANNELS "
               "from 840000 to 960000 kHz";
    case Shape::clock: return "a time of the years 2000 to 2099 such as 2024-05-31T10:15:00";
    default: return {};
    }
}

std::string show(const Format& format, const Bytes& value)
{
    switch (format.shape) {
    case Shape::number: return show_number(format, value[0]);
    case Shape::code: return show_hex_byte(value[0]);
    case Shape::hex: return to_hex(value);
    case Shape::list: return joined(value);
    case Shape::powers: return show_powers(value);
    case Shape::ports: return show_ports(value);
    case Shape::mask: return show_mask(value);
    case Shape::region: return show_region(value);
    case Shape::clock: return show_clock(value);
    case Shape::version: return std::to_string(value[0]) + "." + std::to_string(value[1]);
    case Shape::characters: return show_characters(value);
    case Shape::degrees: return (value[0] == 0 ? "-" : "") + std::to_string(value[1]);
    }
    return {};
}

Parsed parse(const Format& format, std::string_view text)
{
    switch (format.shape) {
    case Shape::number:
    case Shape::code: return parse_number(format, text);
    case Shape::hex: return parse_hex(format, text);
    case Shape::list: return parse_list(format.range, byte_range, text);
    case Shape::powers:
        return parse_list({"the count of powers", 1, ranges::port.highest}, ranges::dbm, text);
    case Shape::ports: return parse_ports(text);
    case Shape::mask: return parse_mask(text);
    case Shape::region: return parse_region(text);
    case Shape::clock: return parse_clock(text);
    default: return refused("it is shown only");
    }
}

Bytes without_rest(const Format& format, Bytes value)
{
    return format.shape == Shape::mask ? bits_of_mask(std::move(value)) : value;
}

bool agree(const Format& format, const Bytes& given, const Bytes& shown)
{
    if (format.shape == Shape::clock) return are_close(given, shown);
    if (format.shape != Shape::powers || given.size() != 1) return given == shown;
    return std::all_of(shown.begin(), shown.end(), [&](u8 power) { return power == given[0]; });
}

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
