#include "gps_fix.h"

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::uint32_t parts_of_minute = 100000;
constexpr std::uint8_t minutes_of_degree = 60;

// Which ends of the scale an angle has.
struct Scale {
    std::uint8_t positive;
    std::uint8_t negative;
    std::uint8_t most_degrees;
};

std::optional<double> degrees_of(const GpsAngle& angle, const Scale& scale)
{
    const bool is_negative = angle.side == scale.negative;
    std::uint32_t parts = 0;
    for (const auto byte : angle.fraction) parts = parts << 8U | byte;
    const bool is_angle = (is_negative || angle.side == scale.positive) &&
                          angle.degrees <= scale.most_degrees && angle.minutes < minutes_of_degree &&
                          parts < parts_of_minute;
    if (!is_angle) return std::nullopt;
    const double minutes = angle.minutes + double{1} * parts / parts_of_minute;
    const double degrees = angle.degrees + minutes / minutes_of_degree;
    return is_negative ? -degrees : degrees;
}

std::string details_text(const GpsReport& report)
{
    return fmt::format("{} satellite{}  state {}", report.satellites, report.satellites == 1 ? "" : "s",
                       report.state);
}

}  // namespace

std::optional<GpsPosition> position_of(const GpsReport& report)
{
    const auto latitude = degrees_of(report.latitude, {'N', 'S', 90});
    const auto longitude = degrees_of(report.longitude, {'E', 'W', 180});
    if (report.state == 0 || !latitude || !longitude) return std::nullopt;
    return GpsPosition{*latitude, *longitude};
}

std::optional<std::string> time_of(const GpsReport& report)
{
    const auto [year, month, day, hour, minute, second] = report.time;
    const bool is_time = year <= 99 && month >= 1 && month <= 12 && day >= 1 && day <= 31 && hour <= 23 &&
                         minute <= 59 && second <= 60;
    if (!is_time) return std::nullopt;
    return fmt::format("20{:02}-{:02}-{:02}T{:02}:{:02}:{:02}Z", year, month, day, hour, minute, second);
}

std::string gps_line(const GpsReport& report)
{
    const auto position = position_of(report);
    if (!position) return fmt::format("no fix  {}", details_text(report));
    return fmt::format("{:.7f} {:.7f}  {}  {}", position->latitude, position->longitude, details_text(report),
                       time_of(report).value_or("no time"));
}

Json gps_json(const GpsReport& report)
{
    const auto position = position_of(report);
    const auto time = position ? time_of(report) : std::nullopt;
    Json object;
    object["type"] = "gps";
    object["fix"] = position.has_value();
    object["satellites"] = report.satellites;
    object["state"] = report.state;
    object["latitude"] = position ? Json(position->latitude) : Json(nullptr);
    object["longitude"] = position ? Json(position->longitude) : Json(nullptr);
    object["time"] = time ? Json(*time) : Json(nullptr);
    return object;
}

}  // namespace tagwire::tool
