#include "radio/link_budget.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tagwire::sim {

namespace {

using std::numbers::pi;

constexpr double light_speed = 299.792458;  // metres and MHz
constexpr double nearest = 0.1;             // metres; nearer than that fields are no waves
constexpr double lowest_mhz = 100;
constexpr double most_off_axis = 25;
constexpr double dipole_gain = 2.15;
constexpr double dipole_null = -20;
constexpr double circular_loss = 3;
constexpr double most_cross_loss = 20;
constexpr double modulation_loss = 5;  // of what a tag receives, its reply has this much less
constexpr double no_power = -400;

double dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double length(const Vector& a) { return std::sqrt(dot(a, a)); }
Vector scaled(const Vector& a, double factor) { return {a.x * factor, a.y * factor, a.z * factor}; }
Vector between(const Vector& from, const Vector& to) { return {to.x - from.x, to.y - from.y, to.z - from.z}; }

double decibel(double ratio) { return ratio > 0 ? 10 * std::log10(ratio) : no_power; }

double free_space_loss(double metres, double mhz)
{
    return 20 * std::log10(4 * pi * std::max(metres, nearest) * std::max(mhz, lowest_mhz) / light_speed);
}

// Of two directions, neither of which is zero.
double cosine(const Vector& a, const Vector& b)
{
    return std::clamp(dot(a, b) / (length(a) * length(b)), -1.0, 1.0);
}

double loss_off_axis(const AntennaSettings& antenna, const Vector& way)
{
    const double angle = std::acos(cosine(antenna.facing, way)) * 180 / pi;
    return std::min(12 * std::pow(angle / antenna.beam_width, 2), most_off_axis);
}

double gain_of_dipole(const Vector& axis, const Vector& way)
{
    const double along = cosine(axis, way);
    const double across = std::sqrt(1 - along * along);
    if (across < 1e-6) return dipole_null;
    return std::max(dipole_gain + 2 * decibel(std::abs(std::cos(pi / 2 * along) / across)), dipole_null);
}

// The part of a direction that a wave on this way shows.
Vector shown(const Vector& direction, const Vector& way)
{
    return between(scaled(way, dot(direction, way) / dot(way, way)), direction);
}

double loss_by_polarisation(const AntennaSettings& antenna, const Vector& axis, const Vector& way)
{
    if (antenna.polarisation == Polarisation::circular) return circular_loss;
    const Vector sent = shown(antenna.upright, way);
    const Vector taken = shown(axis, way);
    if (length(sent) < 1e-6 || length(taken) < 1e-6) return most_cross_loss;
    return std::min(-2 * decibel(std::abs(cosine(sent, taken))), most_cross_loss);
}

double loss_by_detuning(const TagRadioSettings& tag, double mhz)
{
    return decibel(1 + std::pow(2 * (mhz - tag.tuned_mhz) / tag.bandwidth_mhz, 2));
}

}  // namespace

Vector position_at(const TagRadioSettings& tag, Time since_arrival)
{
    const auto& path = tag.path;
    const auto next = std::find_if(path.begin(), path.end(),
                                   [&](const Waypoint& point) { return point.at > since_arrival; });
    if (next == path.begin()) return path.front().position;
    if (next == path.end()) return path.back().position;
    const Waypoint& last = *std::prev(next);
    const double share = static_cast<double>((since_arrival - last.at).count()) /
                         static_cast<double>((next->at - last.at).count());
    const Vector step = scaled(between(last.position, next->position), share);
    return {last.position.x + step.x, last.position.y + step.y, last.position.z + step.z};
}

double most_at_tag(const AntennaSettings& antenna, double power, double mhz, const Vector& place)
{
    return power + antenna.gain + dipole_gain -
           free_space_loss(length(between(antenna.position, place)), mhz);
}

LinkBudget link_budget(const AntennaSettings& antenna, double return_loss, double power, double mhz,
                       const TagRadioSettings& tag, const Vector& place)
{
    Vector way = between(antenna.position, place);
    const double metres = length(way);
    if (metres < 1e-6) way = antenna.facing;
    const double one_way = antenna.gain - loss_off_axis(antenna, way) - antenna.cable_loss +
                           decibel(1 - std::pow(10, -return_loss / 10)) - free_space_loss(metres, mhz) -
                           loss_by_polarisation(antenna, tag.axis, way) + gain_of_dipole(tag.axis, way) -
                           loss_by_detuning(tag, mhz);
    const double at_tag = power + one_way;
    return {at_tag, at_tag - modulation_loss + one_way};
}

}  // namespace tagwire::sim
