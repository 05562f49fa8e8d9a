// What the reader shows and switches: beeper, input and output lines, relays, the carrier.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "bytes.h"

namespace tagwire::sim {

inline constexpr unsigned io_lines = 4;  // inputs, outputs, relays: so many of each
inline constexpr unsigned line_bits = (1U << io_lines) - 1;

// As it is at one moment; bit 0 is line 1.
struct PanelState {
    std::uint8_t inputs = 0;
    std::uint8_t outputs = 0;
    std::uint8_t closed_relays = 0;
    std::uint64_t beeps = 0;
    std::uint64_t flashes = 0;  // of the LED, on request
    std::uint64_t pulses = 0;   // on the outputs that tell of readings
    bool carrier = false;       // switched on by a command
    bool self_test = false;
};

class Panel {
  public:
    PanelState state(Time now) const;

    void set_input(unsigned line, bool high, Time now);
    void set_outputs(std::uint8_t lines) { state_.outputs = lines; }
    // Until the time is over; without one until the next command.
    void close_relay(unsigned line, Time now, std::optional<Time> duration);
    void open_relay(unsigned line);
    void beep(std::uint64_t times) { state_.beeps += times; }
    void flash(std::uint64_t times) { state_.flashes += times; }
    void pulse() { ++state_.pulses; }
    void set_carrier(bool on) { state_.carrier = on; }
    void set_self_test(bool on) { state_.self_test = on; }
    bool self_test() const { return state_.self_test; }

    // How long ago an input was high last; 0 while one is, nothing if none ever was.
    std::optional<Time> since_input(Time now) const;

    // What the host has switched falls back; inputs and counts stay.
    void restart();

  private:
    struct Relay {
        bool closed = false;
        std::optional<Time> opens;
    };

    PanelState state_;
    std::array<Relay, io_lines> relays_;
    std::optional<Time> inputs_fell_;
};

}  // namespace tagwire::sim
