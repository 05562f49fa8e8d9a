// The waves between the reader's antennas and the tags of its field: who has power, and who is heard how loud.
//
// A tag with a place is reached when the link budget gives it what it needs at the present power, frequency and
// state of the antenna. A tag without one is in a field without losses: it is reached by the antennas that the
// scenario gives it, as long as these are plugged in.
//
// What a moment adds or takes, the fading, is one value for each tag, antenna and tenth of a second: whoever asks at
// the same moment, be it Select, a round, an access or the RSSI, gets the same.
#pragma once

#include <optional>
#include <vector>

#include "device/settings.h"
#include "field/tag.h"
#include "radio/link_budget.h"
#include "random.h"

namespace tagwire::sim {

// What a moment makes of an antenna and a tag.
struct Contact {
    bool has_power = false;  // the tag
    bool is_heard = false;   // its reply, for which it needs power
};

class Radio {
  public:
    // `config` is what is in force, and lives as long.
    Radio(const Scenario& scenario, const Settings& config);

    // Ports count from 1; one that is not there is not plugged.
    bool is_plugged(unsigned port) const;
    void plug(unsigned port, bool plugged);
    // dB, as the reader measures it; of a cable without an antenna what is lost on the way there and back.
    std::uint8_t return_loss(unsigned port) const;
    std::uint32_t frequency_khz(Time now) const;
    // Whether tags have places, so that reading takes its time.
    bool has_losses() const { return has_losses_; }
    void note_new(const TagSettings& tag) { has_losses_ = has_losses_ || tag.radio.has_value(); }

    // On the whole: whether half of the moments or more give the tag its power and let the reader hear it.
    bool reaches(unsigned port, const Tag& tag, Time now) const;
    Contact contact(unsigned port, const Tag& tag, Time now) const;
    // The RSSI byte of a reading at that moment: 256 + dBm, of a tag without a place as the scenario has it.
    std::uint8_t rssi(unsigned port, const Tag& tag, Time now, Random& random) const;

  private:
    double fading(unsigned port, const Tag& tag, Time now) const;
    // With so much fading; nothing when not even the best of it would do.
    std::optional<LinkBudget> budget(unsigned port, const Tag& tag, Time now, double fading) const;
    Contact contact(unsigned port, const Tag& tag, Time now, double fading) const;

    RadioSettings settings_;
    std::uint64_t seed_;
    const Settings& config_;
    std::uint32_t unset_khz_;  // while no region is set
    std::vector<AntennaSettings> antennas_;
    std::uint8_t usual_return_loss_;
    bool has_losses_ = false;
};

}  // namespace tagwire::sim
