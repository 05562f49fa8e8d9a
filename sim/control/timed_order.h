// Orders that a reader is given at their time.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bytes.h"

namespace tagwire::sim {

inline constexpr Time shortest_repeat = std::chrono::milliseconds(1);

struct TimedOrder {
    Time at{};                  // since the reader was made
    std::optional<Time> every;  // again and again after so long; those that were missed are left out
    std::string words{};
};

// Those of a reader that are still to come.
class TimedOrders {
  public:
    explicit TimedOrders(std::vector<TimedOrder> orders) : orders_(std::move(orders)) {}

    std::optional<Time> next() const;
    // The words of one whose time has come, the earliest of them.
    std::optional<std::string> take(Time now);

  private:
    std::vector<TimedOrder> orders_;
};

}  // namespace tagwire::sim
