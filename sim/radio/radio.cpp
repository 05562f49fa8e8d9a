#include "radio/radio.h"

#include <algorithm>
#include <cmath>

#include "radio/region.h"

namespace tagwire::sim {

namespace {

constexpr Time dwell_unit = std::chrono::milliseconds(10);
constexpr Time coherence_time = std::chrono::milliseconds(100);
constexpr double rarest_fading = 3;  // standard deviations
constexpr double full_scale = 256;   // of the RSSI byte

}  // namespace

Radio::Radio(const Scenario& scenario, const Settings& config)
    : settings_(scenario.radio), seed_(scenario.reader.seed), config_(config),
      unset_khz_(scenario.reader.frequency_khz), antennas_(scenario.antennas),
      usual_return_loss_(scenario.reader.return_loss)
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

double Radio::fading(unsigned port, const Tag& tag, Time now) const
{
    const auto moment = static_cast<std::uint64_t>(now / coherence_time);
    const std::uint64_t bits = scrambled(scrambled(scrambled(seed_ ^ tag.chip()) ^ port) ^ moment);
    return normal_of(bits, rarest_fading) * settings_.fading;
}

std::optional<LinkBudget> Radio::budget(unsigned port, const Tag& tag, Time now, double fading) const
{
    const TagRadioSettings& radio = *tag.settings().radio;
    const AntennaSettings& antenna = antennas_[port - 1];
    const Vector place = position_at(radio, now - tag.settings().arrives);
    const double power = config_.power[port - 1] + fading;
    const double mhz = frequency_khz(now) / 1000.0;
    if (most_at_tag(antenna, power, mhz, place) < radio.sensitivity) return std::nullopt;
    LinkBudget link = link_budget(antenna, return_loss(port), power, mhz, radio, place);
    link.at_reader += fading;  // on the way back as well
    return link;
}

Contact Radio::contact(unsigned port, const Tag& tag, Time now, double fading) const
{
    if (!is_plugged(port)) return {};
    if (!tag.settings().radio) return {tag.is_seen_by(port), tag.is_seen_by(port)};
    const auto link = budget(port, tag, now, fading);
    if (!link || link->at_tag < tag.settings().radio->sensitivity) return {};
    return {true, link->at_reader >= settings_.sensitivity};
}

Contact Radio::contact(unsigned port, const Tag& tag, Time now) const
{
    return contact(port, tag, now, tag.settings().radio ? fading(port, tag, now) : 0);
}

bool Radio::reaches(unsigned port, const Tag& tag, Time now) const
{
    return contact(port, tag, now, 0).is_heard;
}

std::uint8_t Radio::rssi(unsigned port, const Tag& tag, Time now, Random& random) const
{
    const TagSettings& settings = tag.settings();
    if (!settings.radio) {
        return static_cast<std::uint8_t>(
            std::clamp(settings.rssi + random.around_zero(settings.rssi_noise), 0, 255));
    }
    const auto heard = budget(port, tag, now, fading(port, tag, now));
    if (!heard) return 0;
    return static_cast<std::uint8_t>(std::lround(std::clamp(full_scale + heard->at_reader, 0.0, 255.0)));
}

}  // namespace tagwire::sim
