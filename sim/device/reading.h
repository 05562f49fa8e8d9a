// Continuous reading: the reader inventories on its own, pass after pass, and pushes one report per tag read.
#pragma once

#include <cstdint>
#include <optional>

#include "bytes.h"
#include "radio/passes.h"

namespace tagwire::sim {

class Device;

class Reading {
  public:
    Reading(double reports_per_second, Time start_gap);

    void start(Device& device, Time now, ConnectionId owner);
    void stop(Device& device);
    void advance(Device& device, Time now);
    std::optional<Time> next_event() const;

    bool is_running() const { return owner_ != 0; }
    ConnectionId owner() const { return owner_; }
    // From one report to the next; none when the rate is 0.
    std::optional<Time> period() const { return paused_ ? std::nullopt : std::optional<Time>(period_); }

    void set_rate(double reports_per_second, Time now);
    void set_start_gap(Time gap) { start_gap_ = gap; }
    // With a batch, a start pushes so many reports and falls quiet; without one it goes on until the stop.
    void set_batch(std::optional<std::uint64_t> reports, Time now);
    // Pushes so many reports more. Makes reading that ran freely fall quiet after them.
    void push(std::uint64_t reports, Time now);
    std::uint64_t reports_left() const { return left_; }

  private:
    bool push_report(Device& device, Time now);
    bool find_tag(Device& device, Time now);
    void wake(Time now);

    Time period_{};
    bool paused_ = false;
    Time start_gap_;
    ConnectionId owner_ = 0;
    Time due_{};
    Time ready_{};          // behind the start gap, and the air time of the report before
    bool counted_ = false;  // reports are pushed in batches
    std::uint64_t batch_ = 0;
    std::uint64_t left_ = 0;
    Passes passes_;
};

}  // namespace tagwire::sim
