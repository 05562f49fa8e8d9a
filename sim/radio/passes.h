// Inventories of the reader's own accord, pass after pass, each with the field switched on anew.
#pragma once

#include <memory>

#include "bytes.h"
#include "radio/singulation.h"

namespace tagwire::sim {

class Device;
struct Sighting;

// How long the reader rests that found nobody, and how far it falls behind at most.
inline constexpr Time empty_field_pause = std::chrono::milliseconds(10);
inline constexpr Time longest_backlog = std::chrono::seconds(1);

class Passes {
  public:
    enum class Found { tag, end_of_pass, nobody };

    Found step(Device& device, Time now, const InventoryRule& rule);
    Sighting sight_heard(Device& device) const;  // after a tag was found
    // In the world, since it was asked last; in a field without losses the report rate alone sets the pace.
    Time time_taken(const Device& device);
    void stop(Device& device);

  private:
    std::unique_ptr<Singulation> pass_;
    Time air_{};
};

// By which the reader inventories when no request says otherwise.
InventoryRule unasked_rule(const Device& device);

}  // namespace tagwire::sim
