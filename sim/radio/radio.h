// The waves between the reader's antennas and the tags of its field: who has power, and who is heard how loud.
//
// A tag with a place is reached when the link budget gives it what it needs at the present power, frequency and
// state of the antenna. A tag without one is in a field without losses: it is reached by the antennas that the
// scenario gives it, as long as these are plugged in.
#pragma once

#include <vector>

#include "device/settings.h"
#include "field/tag.h"
#include "radio/link_budget.h"
#include "random.h"

namespace tagwire::sim {

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
    // Whether some moment may.
    bool may_reach(unsigned port, const Tag& tag, Time now) const;
    // Whether this moment does.
    bool powers(unsigned port, const Tag& tag, Time now, Random& random) const;
    // The RSSI byte of a reading: 256 + dBm, of a tag without a place as the scenario has it.
    std::uint8_t rssi(unsigned port, const Tag& tag, Time now, Random& random) const;

  private:
    // How much more there is than is needed, dB, and how loud the reply is.
    struct Margin {
        double at_tag = 0;
        double at_reader = 0;
        double reply = 0;

        bool holds(double fading) const { return at_tag + fading >= 0 && at_reader + 2 * fading >= 0; }
    };

    Margin margin(unsigned port, const Tag& tag, Time now) const;
    bool reaches(unsigned port, const Tag& tag, Time now, double fading) const;

    RadioSettings settings_;
    const Settings& config_;
    std::uint32_t unset_khz_;  // while no region is set
    std::vector<AntennaSettings> antennas_;
    std::uint8_t usual_return_loss_;
    bool has_losses_;
};

}  // namespace tagwire::sim
