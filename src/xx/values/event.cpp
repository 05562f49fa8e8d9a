#include <tagwirexx/event.hpp>

#include <utility>

#include "xx/values/names.h"

namespace tagwire {
inline namespace v1 {
namespace {

std::string text_of(const Read& read)
{
    const std::string id = !read.epc.empty() ? read.epc.to_string()
                           : read.id         ? read.id->to_string()
                                             : "no identifier";
    return id + " on port " + (read.port.known() ? std::to_string(read.port.number()) : "?") + ", rssi " +
           std::to_string(read.rssi);
}

std::string text_of(const StateChange& change)
{
    std::string text = to_string(change.state);
    if (!change.reason.empty()) text += ": " + change.reason;
    if (change.changes > 1) text += " (after " + std::to_string(change.changes - 1) + " other changes)";
    return text;
}

std::string text_of(const Gap& gap)
{
    return std::to_string(gap.count) + (gap.count == 1 ? " report" : " reports") + " dropped, from number " +
           std::to_string(gap.first_sequence);
}

std::string text_of(const InputChange& change)
{
    return "input " + std::to_string(change.port) + (change.now ? " on" : " off");
}

std::string text_of(const Raw& raw) { return "no report: " + to_hex(raw.bytes); }

std::string text_of(const std::monostate& /*nothing*/) { return {}; }

}  // namespace

const char* to_string(State state)
{
    switch (state) {
    case State::connecting: return "connecting";
    case State::streaming: return "streaming";
    case State::quiet: return "quiet";
    case State::probing: return "probing";
    case State::paused: return "paused";
    case State::lost: return "lost";
    case State::waiting: return "waiting";
    case State::stopped: return "stopped";
    }
    return "unknown";
}

Event::Event()
{
    static const std::string& nobody = lasting_name("");
    source_ = &nobody;
}
std::string Event::text() const
{
    return std::visit([](const auto& what) { return text_of(what); }, what_);
}

}  // namespace v1
}  // namespace tagwire
