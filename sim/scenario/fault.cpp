#include "scenario/fault.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace tagwire::sim {

namespace {

using Kind = Fault::Kind;

const std::map<std::string_view, Kind> kind_names{
    {"split", Kind::split},     {"delay", Kind::delay},  {"noise", Kind::noise}, {"trail", Kind::trail},
    {"flip", Kind::flip},       {"set", Kind::set_byte}, {"lose", Kind::lose},   {"hangup", Kind::hang_up},
    {"silence", Kind::silence}, {"error", Kind::error},  {"power", Kind::power},
};

std::uint64_t parse_number(std::string_view key, std::string_view text, std::uint64_t highest)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const std::string_view digits = hex ? text.substr(2) : text;
    std::uint64_t value = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
    if (error != std::errc() || end != digits.data() + digits.size() || value > highest) {
        throw std::invalid_argument(std::string(key) + "=" + std::string(text) +
                                    ": give a number from 0 to " + std::to_string(highest));
    }
    return value;
}

double parse_decimal(std::string_view key, std::string_view text, double highest)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool good =
        error == std::errc() && end == text.data() + text.size() && value >= 0 && value <= highest;
    if (good) return value;
    throw std::invalid_argument(std::string(key) + "=" + std::string(text) + ": give a number from 0 to " +
                                std::to_string(static_cast<int>(highest)) + ", such as 0.5");
}

std::vector<std::string_view> split_text(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

Fault::Target parse_target(std::string_view text)
{
    if (text == "answers") return Fault::Target::answers;
    if (text == "reports") return Fault::Target::reports;
    if (text == "all") return Fault::Target::all;
    throw std::invalid_argument("on=" + std::string(text) + ": give answers, reports or all");
}

void set_option(Fault& fault, std::string_view key, std::string_view text)
{
    constexpr std::uint64_t byte = 0xFF;
    constexpr std::uint64_t much = 1'000'000'000;
    constexpr double longest_s = 1'000'000'000;
    if (key == "count")
        fault.count = parse_number(key, text, much);
    else if (key == "skip")
        fault.skip = parse_number(key, text, much);
    else if (key == "command")
        fault.command = static_cast<std::uint8_t>(parse_number(key, text, byte));
    else if (key == "on")
        fault.target = parse_target(text);
    else if (key == "ms")
        fault.gap = std::chrono::milliseconds(parse_number(key, text, 3'600'000));
    else if (key == "bytes")
        fault.bytes = from_hex(text);
    else if (key == "byte" || key == "after")
        fault.index = parse_number(key, text, 256);
    else if (key == "bit")
        fault.bit = static_cast<unsigned>(parse_number(key, text, 7));
    else if (key == "value" || key == "status")
        fault.value = static_cast<std::uint8_t>(parse_number(key, text, byte));
    else if (key == "chance")
        fault.chance = parse_decimal(key, text, 1);
    else if (key == "from")
        fault.from = seconds_to_time(parse_decimal(key, text, longest_s));
    else if (key == "until")
        fault.until = seconds_to_time(parse_decimal(key, text, longest_s));
    else if (key == "at") {
        for (const std::string_view place : split_text(text, '+'))
            fault.at.push_back(parse_number(key, place, 256));
    } else {
        throw std::invalid_argument("a fault has no option '" + std::string(key) +
                                    "'; use count, skip, chance, from, until, command, on, ms, at, bytes, "
                                    "byte, after, bit, value or status");
    }
}

void require(bool good, const std::string& problem)
{
    if (!good) throw std::invalid_argument(problem);
}

void check_complete(const Fault& fault)
{
    if (fault.kind == Kind::split)
        require(!fault.at.empty(), "split needs the places to cut at, such as at=2+7");
    if (fault.kind == Kind::delay) require(fault.gap > Time{}, "delay needs the time, such as ms=50");
    if (fault.kind == Kind::noise || fault.kind == Kind::trail) {
        require(!fault.bytes.empty(), "noise and trail need bytes, such as bytes=00FF13");
    }
    require(!fault.until || *fault.until > fault.from, "a fault ends, until, after it begins, from");
    if (fault.kind == Kind::error)
        require(fault.value != 0, "error needs a status other than 0, such as status=0x05");
}

}  // namespace

Fault Fault::split(std::vector<std::size_t> at, Time gap)
{
    Fault fault;
    fault.kind = Kind::split;
    fault.at = std::move(at);
    fault.gap = gap;
    return fault;
}

Fault Fault::delay(Time by)
{
    Fault fault;
    fault.kind = Kind::delay;
    fault.gap = by;
    return fault;
}

Fault Fault::noise(Bytes bytes)
{
    Fault fault;
    fault.kind = Kind::noise;
    fault.bytes = std::move(bytes);
    return fault;
}

Fault Fault::trail(Bytes bytes)
{
    Fault fault = noise(std::move(bytes));
    fault.kind = Kind::trail;
    return fault;
}

Fault Fault::flip(std::size_t index, unsigned bit)
{
    Fault fault;
    fault.kind = Kind::flip;
    fault.index = index;
    fault.bit = bit;
    return fault;
}

Fault Fault::set_byte(std::size_t index, std::uint8_t value)
{
    Fault fault;
    fault.kind = Kind::set_byte;
    fault.index = index;
    fault.value = value;
    return fault;
}

Fault Fault::lose(std::uint64_t count)
{
    Fault fault;
    fault.count = count;
    return fault;
}

Fault Fault::hang_up(std::size_t after_bytes)
{
    Fault fault;
    fault.kind = Kind::hang_up;
    fault.index = after_bytes;
    return fault;
}

Fault Fault::silence(std::uint64_t requests)
{
    Fault fault;
    fault.kind = Kind::silence;
    fault.count = requests;
    return fault;
}

Fault Fault::error(std::uint8_t command, std::uint8_t status, std::uint64_t count)
{
    Fault fault;
    fault.kind = Kind::error;
    fault.command = command;
    fault.value = status;
    fault.count = count;
    return fault;
}

Fault Fault::power_loss(std::uint8_t command, std::uint64_t skip)
{
    Fault fault;
    fault.kind = Kind::power;
    fault.command = command;
    fault.skip = skip;
    return fault;
}

std::string_view Fault::name(Kind kind)
{
    const auto found = std::find_if(kind_names.begin(), kind_names.end(),
                                    [kind](const auto& entry) { return entry.second == kind; });
    return found->first;
}

Fault Fault::parse(const std::string& text)
{
    const std::string_view all = text;
    const std::size_t colon = all.find(':');
    const auto kind = kind_names.find(all.substr(0, colon));
    if (kind == kind_names.end()) {
        throw std::invalid_argument(
            "there is no fault '" + std::string(all.substr(0, colon)) +
            "'; use split, delay, noise, trail, flip, set, lose, hangup, silence, error or power");
    }
    Fault fault;
    fault.kind = kind->second;
    if (colon != std::string_view::npos) {
        for (const std::string_view option : split_text(all.substr(colon + 1), ',')) {
            const std::size_t equals = option.find('=');
            require(equals != std::string_view::npos,
                    "'" + std::string(option) + "' is no option; write options as key=value");
            set_option(fault, option.substr(0, equals), option.substr(equals + 1));
        }
    }
    check_complete(fault);
    return fault;
}

}  // namespace tagwire::sim
