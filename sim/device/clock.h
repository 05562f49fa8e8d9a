// The reader's clock, set by its host, running on the reader's time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "bytes.h"

namespace tagwire::sim {

// Year of the century, month, day, hour, minute, second.
using ClockTime = std::array<std::uint8_t, 6>;

// Seconds since 1970; nothing for a time that no clock shows.
std::optional<std::int64_t> seconds_since_1970(const ClockTime& time);

class Clock {
  public:
    static constexpr std::int64_t first_second = 946684800;  // of 2000
    static constexpr std::int64_t last_second = 4102444799;  // of 2099

    // False, and nothing is done, for a second of another century.
    bool set(Time now, std::int64_t seconds);
    ClockTime show(Time now) const;
    std::int64_t seconds_since_1970(Time now) const;

  private:
    std::int64_t seconds_ = first_second;
    Time set_at_{};
};

}  // namespace tagwire::sim
