#include "parse.h"

#include "errors.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

template <typename Number> std::optional<Number> whole_number(std::string_view text, int base)
{
    Number value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return value;
}

std::optional<std::uint32_t> number(std::string_view text)
{
    if (text.starts_with("0x") || text.starts_with("0X"))
        return whole_number<std::uint32_t>(text.substr(2), 16);
    return whole_number<std::uint32_t>(text, 10);
}

std::optional<std::uint8_t> hex_digit(char c) { return whole_number<std::uint8_t>({&c, 1}, 16); }

struct Digits {
    std::vector<std::uint8_t> bytes;
    std::size_t count = 0;
};

// What is wrong is told by its place: it may be a password.
Digits digits_in(std::string_view text, std::string_view what)
{
    Digits out;
    out.bytes.reserve(text.size() / 2 + 1);
    bool begins = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ' ' || text[i] == '\t') {
            begins = true;
            continue;
        }
        const auto rest = text.substr(i);
        if (std::exchange(begins, false) && (rest.starts_with("0x") || rest.starts_with("0X"))) {
            ++i;
            continue;
        }
        const auto digit = hex_digit(text[i]);
        if (!digit) throw UsageError(fmt::format("{}: character {} is no hexadecimal digit", what, i + 1));
        const bool is_high = out.count++ % 2 == 0;
        if (is_high) out.bytes.push_back(0);
        out.bytes.back() = static_cast<std::uint8_t>(out.bytes.back() | *digit << (is_high ? 4 : 0));
    }
    if (out.count == 0) throw UsageError(fmt::format("{} is empty: give hexadecimal digits", what));
    return out;
}

std::pair<std::string_view, std::optional<std::string_view>> split(std::string_view text, char separator)
{
    const auto position = text.find(separator);
    if (position == std::string_view::npos) return {text, std::nullopt};
    return {text.substr(0, position), text.substr(position + 1)};
}

void keep_first_bits(std::vector<std::uint8_t>& data, std::size_t bits)
{
    data.resize((bits + 7) / 8);
    const auto unused = data.size() * 8 - bits;
    data.back() = static_cast<std::uint8_t>(data.back() >> unused << unused);
}

}  // namespace

std::uint32_t parse_number(std::string_view text, std::string_view what, std::uint32_t lowest,
                           std::uint32_t highest)
{
    const auto value = number(text);
    if (!value || *value < lowest || *value > highest) {
        throw UsageError(
            fmt::format("{} '{}' is not valid: use a number from {} to {}", what, text, lowest, highest));
    }
    return *value;
}

std::vector<std::uint8_t> parse_units(std::string_view text, std::string_view what, std::size_t unit_bytes)
{
    auto digits = digits_in(text, what);
    if (digits.count % (2 * unit_bytes) == 0) return std::move(digits.bytes);
    throw UsageError(fmt::format("{} has {} hexadecimal digits: give {} for every {}", what, digits.count,
                                 2 * unit_bytes, unit_bytes == 1 ? "byte" : "word"));
}

std::vector<std::uint8_t> parse_exactly(std::string_view text, std::string_view what, std::size_t bytes)
{
    auto digits = digits_in(text, what);
    if (digits.count == 2 * bytes) return std::move(digits.bytes);
    throw UsageError(fmt::format("{} has {} hexadecimal digits and not {}", what, digits.count, 2 * bytes));
}

std::chrono::milliseconds parse_seconds(std::string_view text, std::string_view what)
{
    constexpr double longest = 1e9;
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (error != std::errc{} || stop != end || !(value >= 0.001) || value > longest) {
        throw UsageError(
            fmt::format("{} '{}' is not valid: use a number of seconds, for example 10 or 0.5", what, text));
    }
    return std::chrono::milliseconds(std::llround(value * 1000));
}

std::uint8_t parse_scan_time(std::string_view text)
{
    return static_cast<std::uint8_t>((parse_number(text, "--scan-time", 1, 25500) + 99) / 100);
}

MaskParts parse_mask(std::string_view text)
{
    constexpr std::size_t most_bits = 255;
    const auto [bank, after_bank] = split(text, ':');
    const auto [address, value] = split(after_bank.value_or(""), ':');
    if (!value) {
        throw UsageError(
            fmt::format("--mask '{}' is not valid: use BANK:BITADDR:HEX or BANK:BITADDR:HEX/BITS", text));
    }
    const auto [digits, count] = split(*value, '/');

    MaskParts mask;
    mask.bank = bank;
    mask.bit_address = static_cast<std::uint16_t>(parse_number(address, "mask bit address", 0, 65535));
    const auto found = digits_in(digits, "mask data");
    mask.data = found.bytes;
    const auto given = found.count * 4;
    if (!count && given > most_bits) {
        throw UsageError(
            fmt::format("mask data has {} bits: at most {} can be sent, use HEX/BITS", given, most_bits));
    }
    const auto highest = static_cast<std::uint32_t>(given < most_bits ? given : most_bits);
    mask.bits = static_cast<std::uint8_t>(count ? parse_number(*count, "mask bit count", 1, highest) : given);
    keep_first_bits(mask.data, mask.bits);
    return mask;
}

std::uint64_t parse_ports(std::string_view text, std::string_view what, std::uint32_t highest)
{
    std::uint64_t ports = 0;
    for (std::optional<std::string_view> rest = text; rest;) {
        const auto [port, more] = split(*rest, ',');
        const auto [first_text, last_text] = split(port, '-');
        const auto first = parse_number(first_text, what, 1, highest);
        const auto last = last_text ? parse_number(*last_text, what, first, highest) : first;
        for (auto bit = first - 1; bit < last; ++bit) ports |= std::uint64_t{1} << bit;
        rest = more;
    }
    return ports;
}

WordRange parse_tid_range(std::string_view text)
{
    // A tag record counts its ID in six bits, 63 bytes at most.
    constexpr std::uint32_t most_words = 31;
    const auto [first, count] = split(text, ':');
    if (!count)
        throw UsageError(fmt::format("--tid '{}' is not valid: use ADR:WORDS, for example 0:6", text));
    WordRange range;
    range.first = static_cast<std::uint8_t>(parse_number(first, "first TID word", 0, 255));
    range.count = static_cast<std::uint8_t>(parse_number(*count, "count of TID words", 1, most_words));
    return range;
}

}  // namespace tagwire::tool
