// What a reader's GPS receiver says.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "format.h"

namespace tagwire::tool {

// An angle as the reader gives it.
struct GpsAngle {
    std::uint8_t side = 0;  // N, S, E or W
    std::uint8_t degrees = 0;
    std::uint8_t minutes = 0;
    std::array<std::uint8_t, 4> fraction{};  // hundred-thousandths of a minute, high byte first
};

struct GpsReport {
    std::uint8_t satellites = 0;
    std::uint8_t state = 0;
    GpsAngle latitude;
    GpsAngle longitude;
    std::array<std::uint8_t, 6> time{};  // year of the century, month, day, hour, minute, second
};

struct GpsPosition {
    double latitude;
    double longitude;  // degrees, north and east are positive
};

// Nothing without a fix.
std::optional<GpsPosition> position_of(const GpsReport& report);
// UTC; nothing for what is no time.
std::optional<std::string> time_of(const GpsReport& report);

std::string gps_line(const GpsReport& report);
Json gps_json(const GpsReport& report);

}  // namespace tagwire::tool
