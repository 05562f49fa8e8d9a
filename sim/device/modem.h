// A modem driven by AT commands: lines in, lines out.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "scenario/service_settings.h"

namespace tagwire::sim {

struct ModemState {
    bool passes = false;  // the reader passes bytes through
    bool echo = false;
    std::vector<std::string> commands;  // all since the reader was made
};

class Modem {
  public:
    explicit Modem(const ModemSettings& settings);

    const ModemSettings& settings() const { return settings_; }
    const ModemState& state() const { return state_; }
    void pass(bool through) { state_.passes = through; }
    void restart();

    void receive(const Bytes& bytes, Time now);
    bool has_more_to_say(Time now) const { return !said_.empty() && said_.back().due > now; }
    Bytes take(std::size_t most, Time now);

  private:
    struct Said {
        Time due;
        std::uint8_t byte;
    };

    void take_byte(std::uint8_t byte, Time now);
    void run_line(Time now);
    std::string answer_to(const std::string& command);
    void say(const std::string& text, Time due);

    ModemSettings settings_;
    ModemState state_;
    std::string line_;
    std::deque<Said> said_;
};

}  // namespace tagwire::sim
