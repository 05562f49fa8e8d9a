// The active and the triggered work mode: the reader inventories on its own and pushes its readings to
// everyone who is connected.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "radio/passes.h"

namespace tagwire::sim {

class Device;

class ActiveMode {
  public:
    void advance(Device& device, Time now);
    void stop(Device& device);
    std::optional<Time> next_event(const Device& device) const;
    void change_rate(const Device& device, Time now);  // to that of continuous reading

    // Whether the work mode, and in the triggered one an input, asks for readings.
    static bool is_wanted(const Device& device, Time now);

  private:
    struct Noted {
        unsigned readings = 0;
        std::optional<Time> reported;
    };

    void step(Device& device, Time now);
    void read(Device& device, Time now);
    bool passes_filter(const Device& device, const Sighting& sighting, Time now);

    bool running_ = false;
    Time due_{};
    Time ready_{};  // as in Reading; also behind the interval
    Passes passes_;
    std::map<std::string, Noted> noted_;  // by the bytes of the EPC
};

}  // namespace tagwire::sim
