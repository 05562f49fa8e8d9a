#include "transport/faults.h"

#include <algorithm>

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

}  // namespace

std::optional<Fault> Faults::take(Fault::Kind kind, ConnectionId connection, std::uint8_t command,
                                  FrameKind frame)
{
    std::erase_if(faults_, [this](const Fault& fault) { return fault.until && now_ >= *fault.until; });
    bool is_skipped = false;
    const auto strikes = [&](Fault& fault) {
        if (fault.kind != kind || now_ < fault.from || !is_aimed_at(fault, connection, command, frame))
            return false;
        if (fault.skip > 0) {
            // One at a time: younger ones begin to count when the oldest is through.
            if (!std::exchange(is_skipped, true)) --fault.skip;
            return false;
        }
        constexpr std::uint32_t all = 1'000'000;
        return fault.chance >= 1 || random_.below(all) < fault.chance * all;
    };
    auto found = faults_.begin();
    while (found != faults_.end() && !strikes(*found)) ++found;
    if (found == faults_.end()) return std::nullopt;
    const Fault fault = *found;
    if (found->count > 0 && --found->count == 0) faults_.erase(found);
    if (struck_) ++(*struck_)[static_cast<std::size_t>(kind)];
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
    if (take_any(Kind::lose)) {
        struck.destroyed_by = Kind::lose;
        return struck;
    }
    if (const auto fault = take_any(Kind::set_byte); fault && fault->index < frame.size()) {
        const Bytes before = frame;
        frame[fault->index] = fault->value;
        seal(frame);
        if (frame != before) struck.destroyed_by = Kind::set_byte;
    }
    if (const auto fault = take_any(Kind::flip); fault && fault->index < frame.size()) {
        frame[fault->index] = static_cast<std::uint8_t>(frame[fault->index] ^ (1U << fault->bit));
        struck.destroyed_by = Kind::flip;
    }
    if (const auto fault = take_any(Kind::hang_up)) {
        struck.hang_up = true;
        if (fault->index < frame.size()) {
            frame.resize(fault->index);
            struck.destroyed_by = Kind::hang_up;
        }
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
