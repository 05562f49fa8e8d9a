#include "transport/fault.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "link/frame.h"

namespace tagwire::sim {

namespace frame = engine::frame;

namespace {

using Kind = Fault::Kind;

bool is_aimed_at(const Fault& fault, ConnectionId connection, std::uint8_t command, FrameKind frame)
{
    if (fault.connection != 0 && fault.connection != connection) return false;
    if (fault.command && *fault.command != command) return false;
    if (fault.target == Fault::Target::all) return true;
    return (fault.target == Fault::Target::reports) == (frame == FrameKind::report);
}

std::vector<Piece> cut(const Bytes& bytes, std::vector<std::size_t> at, Time gap)
{
    std::sort(at.begin(), at.end());
    std::vector<Piece> pieces;
    std::size_t from = 0;
    at.push_back(bytes.size());
    for (const std::size_t to : at) {
        if (to <= from || to > bytes.size()) continue;
        const auto begin = bytes.begin();
        pieces.push_back(
            {Bytes(begin + static_cast<std::ptrdiff_t>(from), begin + static_cast<std::ptrdiff_t>(to)),
             from == 0 ? Time{} : gap});
        from = to;
    }
    return pieces;
}

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
    else if (key == "at") {
        for (const std::string_view place : split_text(text, '+'))
            fault.at.push_back(parse_number(key, place, 256));
    } else {
        throw std::invalid_argument(
            "a fault has no option '" + std::string(key) +
            "'; use count, skip, command, on, ms, at, bytes, byte, after, bit, value or status");
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

std::optional<Fault> Faults::take(Fault::Kind kind, ConnectionId connection, std::uint8_t command,
                                  FrameKind frame)
{
    const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
        return fault.kind == kind && is_aimed_at(fault, connection, command, frame);
    });
    if (found == faults_.end()) return std::nullopt;
    if (found->skip > 0) {
        --found->skip;
        return std::nullopt;
    }
    const Fault fault = *found;
    if (found->count > 0 && --found->count == 0) faults_.erase(found);
    return fault;
}

Struck Faults::strike(ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind)
{
    const std::uint8_t command = frame[frame::command];
    const auto take_any = [&](Kind wanted) { return take(wanted, to, command, kind); };
    Struck struck;
    if (faults_.empty()) {
        struck.pieces.emplace_back().bytes = lead;
        Bytes& bytes = struck.pieces.back().bytes;
        append(bytes, frame);
        return struck;
    }
    if (take_any(Kind::lose)) return struck;
    if (const auto fault = take_any(Kind::set_byte); fault && fault->index < frame.size()) {
        frame[fault->index] = fault->value;
        seal(frame);
    }
    if (const auto fault = take_any(Kind::flip); fault && fault->index < frame.size()) {
        frame[fault->index] = static_cast<std::uint8_t>(frame[fault->index] ^ (1U << fault->bit));
    }
    if (const auto fault = take_any(Kind::hang_up)) {
        struck.hang_up = true;
        if (fault->index < frame.size()) frame.resize(fault->index);
    }
    frame.insert(frame.begin(), lead.begin(), lead.end());
    const auto split = take_any(Kind::split);
    struck.pieces = split ? cut(frame, split->at, split->gap) : std::vector<Piece>{{frame, Time{}}};
    if (struck.pieces.empty()) struck.pieces.emplace_back();
    if (const auto fault = take_any(Kind::noise)) {
        Bytes& first = struck.pieces.front().bytes;
        first.insert(first.begin(), fault->bytes.begin(), fault->bytes.end());
    }
    if (const auto fault = take_any(Kind::trail)) {
        Bytes& last = struck.pieces.back().bytes;
        append(last, fault->bytes);
    }
    if (const auto fault = take_any(Kind::delay)) struck.pieces.front().wait += fault->gap;
    return struck;
}

bool Faults::silences(ConnectionId from, const Request& request)
{
    return take(Kind::silence, from, request.command, FrameKind::answer).has_value();
}

bool Faults::cuts_power(ConnectionId from, const Request& request)
{
    return take(Kind::power, from, request.command, FrameKind::answer).has_value();
}

std::optional<std::uint8_t> Faults::error_for(ConnectionId from, const Request& request)
{
    const auto fault = take(Kind::error, from, request.command, FrameKind::answer);
    if (!fault) return std::nullopt;
    return fault->value;
}

}  // namespace tagwire::sim
