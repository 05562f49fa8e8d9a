#include "radio/radio.h"

#include <algorithm>
#include <cmath>

#include "radio/region.h"

namespace tagwire::sim {

namespace {

constexpr Time dwell_unit = std::chrono::milliseconds(10);
constexpr double rarest_fading = 3;  // standard deviations
constexpr double full_scale = 256;   // of the RSSI byte

}  // namespace

Radio::Radio(const Scenario& scenario, const Settings& config)
    : settings_(scenario.radio), config_(config), unset_khz_(scenario.reader.frequency_khz),
      antennas_(scenario.antennas), usual_return_loss_(scenario.reader.return_loss),
      has_losses_(std::any_of(scenario.tags.begin(), scenario.tags.end(),
                              [](const TagSettings& tag) { return tag.radio.has_value(); }))
{
    antennas_.resize(scenario.reader.antennas);
}

bool Radio::is_plugged(unsigned port) const
{
    return port >= 1 && port <= antennas_.size() && antennas_[port - 1].plugged;
}

void Radio::plug(unsigned port, bool plugged) { antennas_.at(port - 1).plugged = plugged; }

std::uint8_t Radio::return_loss(unsigned port) const
{
    const AntennaSettings& antenna = antennas_.at(port - 1);
    if (!antenna.plugged) return static_cast<std::uint8_t>(std::lround(2 * antenna.cable_loss));
    return antenna.return_loss.value_or(usual_return_loss_);
}

std::uint32_t Radio::frequency_khz(Time now) const
{
    if (!config_.region_is_set) return unset_khz_;
    const Time dwell = dwell_unit * std::max<unsigned>(config_.dwell_time, 1);
    const auto hops = static_cast<std::uint64_t>(now / dwell);
    return channel_khz(config_.region, static_cast<unsigned>(hops % channel_count(config_.region)));
}

Radio::Margin Radio::margin(unsigned port, const Tag& tag, Time now) const
{
    const TagRadioSettings& radio = *tag.settings().radio;
    const Vector place = position_at(radio, now - tag.settings().arrives);
    const LinkBudget budget = link_budget(antennas_[port - 1], return_loss(port), config_.power[port - 1],
                                          frequency_khz(now) / 1000.0, radio, place);
    return {budget.at_tag - radio.sensitivity, budget.at_reader - settings_.sensitivity, budget.at_reader};
}

bool Radio::reaches(unsigned port, const Tag& tag, Time now, double fading) const
{
    if (!is_plugged(port)) return false;
    return tag.settings().radio ? margin(port, tag, now).holds(fading) : tag.is_seen_by(port);
}

bool Radio::reaches(unsigned port, const Tag& tag, Time now) const { return reaches(port, tag, now, 0.0); }

bool Radio::may_reach(unsigned port, const Tag& tag, Time now) const
{
    return reaches(port, tag, now, rarest_fading * settings_.fading);
}

bool Radio::powers(unsigned port, const Tag& tag, Time now, Random& random) const
{
    if (!may_reach(port, tag, now)) return false;
    return !tag.settings().radio || reaches(port, tag, now, random.normal(rarest_fading) * settings_.fading);
}

std::uint8_t Radio::rssi(unsigned port, const Tag& tag, Time now, Random& random) const
{
    const TagSettings& settings = tag.settings();
    if (!settings.radio) {
        return static_cast<std::uint8_t>(
            std::clamp(settings.rssi + random.around_zero(settings.rssi_noise), 0, 255));
    }
    const double fading = 2 * random.normal(rarest_fading) * settings_.fading;
    const double dbm = std::max(margin(port, tag, now).reply + fading, settings_.sensitivity);
    return static_cast<std::uint8_t>(std::clamp(std::lround(full_scale + dbm), 1L, 255L));
}

}  // namespace tagwire::sim
