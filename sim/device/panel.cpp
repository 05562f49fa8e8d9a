#include "device/panel.h"

namespace tagwire::sim {

PanelState Panel::state(Time now) const
{
    PanelState state = state_;
    for (unsigned i = 0; i < io_lines; ++i) {
        const Relay& relay = relays_[i];
        const bool closed = relay.closed && (!relay.opens || now < *relay.opens);
        if (closed) state.closed_relays = static_cast<std::uint8_t>(state.closed_relays | 1U << i);
    }
    return state;
}

void Panel::set_input(unsigned line, bool high, Time now)
{
    const unsigned bit = 1U << (line - 1);
    const unsigned before = state_.inputs;
    state_.inputs = static_cast<std::uint8_t>(high ? before | bit : before & ~bit);
    if (before != 0 && state_.inputs == 0) inputs_fell_ = now;
}

void Panel::close_relay(unsigned line, Time now, std::optional<Time> duration)
{
    Relay& relay = relays_[line - 1];
    relay.closed = true;
    relay.opens = duration ? std::optional<Time>(now + *duration) : std::nullopt;
}

void Panel::open_relay(unsigned line) { relays_[line - 1] = {}; }

std::optional<Time> Panel::since_input(Time now) const
{
    if (state_.inputs != 0) return Time{};
    if (!inputs_fell_) return std::nullopt;
    return now - *inputs_fell_;
}

void Panel::restart()
{
    state_.outputs = 0;
    state_.carrier = false;
    state_.self_test = false;
    relays_ = {};
}

}  // namespace tagwire::sim
