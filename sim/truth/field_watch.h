// Watches who is in the field of a reader, for the truth.
#pragma once

#include <algorithm>
#include <map>
#include <tuple>

#include "device/device.h"
#include "truth/heard.h"
#include "truth/truth.h"

namespace tagwire::sim {

class FieldWatch {
  public:
    // The device's time begins at `origin`.
    FieldWatch(Device& device, unsigned reader, Time origin)
        : device_(device), reader_(reader), origin_(origin)
    {}

    // When to look next: every 20 ms, and when a tag arrives or departs. The device's time.
    Time next() const { return next_; }
    void rest_until(Time then) { next_ = std::max(next_, then); }
    void look(Time now, Truth& truth);
    // Everyone leaves.
    void end(Time now, Truth& truth);

  private:
    enum class Kind { gen2, iso_6b, gb, jb };

    struct Spot {
        Kind kind;
        std::size_t tag;
        unsigned port;

        bool operator<(const Spot& other) const
        {
            return std::tie(kind, tag, port) < std::tie(other.kind, other.tag, other.port);
        }
    };
    struct Stay {
        Heard tag;
        Time since{};
        bool goes_on = true;
    };

    template <typename Tags>
    void look_for(Kind kind, const Tags& tags, const std::vector<unsigned>& ports, Time now, Truth& truth);
    void look_again(Time now, const std::optional<Time>& then);
    void see(const Spot& spot, const Bytes& epc, const Bytes& tid, Time now, Truth& truth);
    void leave(const Stay& stay, Time now, Truth& truth) const;

    Device& device_;
    unsigned reader_;
    Time origin_;
    Time next_{};
    std::map<Spot, Stay> stays_;
};

}  // namespace tagwire::sim
