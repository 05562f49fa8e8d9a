// Where antennas and tags are, and what becomes of the waves between them, as a scenario describes it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "bytes.h"

namespace tagwire::sim {

// A place or a direction, in metres.
struct Vector {
    double x = 0;
    double y = 0;
    double z = 0;

    bool operator==(const Vector&) const = default;
};

enum class Polarisation { circular, linear };

struct AntennaSettings {
    bool plugged = true;
    std::optional<std::uint8_t> return_loss;  // dB; the reader's when empty
    double cable_loss = 1;                    // dB, each way
    double gain = 8.5;                        // dBi, straight ahead
    double beam_width = 70;                   // degrees, between the directions with half of the power
    Polarisation polarisation = Polarisation::circular;
    Vector upright{0, 0, 1};  // of linear polarisation
    Vector position;
    Vector facing{0, 1, 0};
};

// What is the same for all antennas and tags.
struct RadioSettings {
    double fading = 2;         // dB, standard deviation of what a moment brings
    double sensitivity = -80;  // dBm that the reader needs
};

struct Waypoint {
    Time at{};  // since the tag arrived
    Vector position;
};

// A Gen2 tag that has a place. Between two waypoints it moves evenly.
struct TagRadioSettings {
    std::vector<Waypoint> path;  // never empty; one waypoint: it stands still
    Vector axis{1, 0, 0};        // of its dipole
    double sensitivity = -18;    // dBm that it needs
    double tuned_mhz = 890;
    double bandwidth_mhz = 110;  // between the frequencies that give it half of the power
};

}  // namespace tagwire::sim
