// What sensor tags tell, in degrees and in words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "records.h"

namespace tagwire::tool {

inline constexpr std::size_t sense_bytes = 4;
using SenseWord = std::array<std::uint8_t, sense_bytes>;
// Of one tag: two bytes of correction, and the kind of conversion.
using Calibration = std::array<std::uint8_t, 3>;

// 6 hexadecimal digits. Throws UsageError, also for a kind of conversion that is not known.
Calibration parse_calibration(std::string_view text, std::string_view what);

// Degrees Celsius, or why there are none.
struct Temperature {
    std::optional<double> celsius;
    std::string problem;

    bool operator==(const Temperature&) const = default;
};

Temperature temperature_from(const SenseWord& sense, const Calibration& calibration);
// Hundredths of a degree, signed, high byte first.
Temperature temperature_from(const std::array<std::uint8_t, 2>& hundredths);

// "-18.50 C", or a dash
std::string celsius_text(const std::optional<double>& celsius);

// What follows the EPC in the ID of a record.
enum class RecordTail : std::uint8_t { SenseAndCalibration, Hundredths };

struct TemperatureRecord {
    std::string epc;
    std::string raw;  // hexadecimal, what follows the EPC
    Temperature temperature;
    std::uint8_t antenna = 0;
    std::uint8_t rssi = 0;

    bool operator==(const TemperatureRecord&) const = default;
};

TemperatureRecord temperature_record(const TagRecord& tag, RecordTail tail);

// "log running, alarm", or "idle"
std::string sensor_mode_text(std::uint16_t mode);
std::vector<std::string> sensor_mode_flags(std::uint16_t mode);

}  // namespace tagwire::tool
