#include "xx/sensors/degrees.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tagwire/sensor.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr double absolute_zero = -273.15;

constexpr double lowest = -40;  // that these sensors measure
constexpr double highest = 150;

// In the order of SensorChip.
constexpr std::array chip_rules{ChipRule{"g2", 14, true, true},      ChipRule{"ltu32", 14, true, true},
                                ChipRule{"ast010", 31, false, true}, ChipRule{"em", 15, true, false},
                                ChipRule{"bx", 31, false, false},    ChipRule{"yl", 31, false, false},
                                ChipRule{"on", 31, false, false},    ChipRule{"fd", 14, false, false}};

std::string range_problem(double celsius)
{
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%.2f C is outside of what these sensors measure, %.0f to %.0f C",
                  celsius, lowest, highest);
    return text.data();
}

void set(double value, std::optional<double>& celsius, std::string& problem)
{
    if (!std::isfinite(value) || value < absolute_zero)
        problem = "what the sensor tells is no temperature";
    else if (value < lowest || value > highest)
        problem = range_problem(value);
    else
        celsius = std::round(value * 100) / 100;
}

std::string calibration_problem(const Bytes& calibration)
{
    if (calibration.size() < calibration_size) return "the tag's calibration did not come";
    if (std::all_of(calibration.begin(), calibration.end(), [](std::uint8_t byte) { return byte == 0; }))
        return "the tag has no calibration: it is all zeros";
    if (!is_known_kind(calibration))
        return "the calibration " + to_hex(calibration) + " is of an unknown kind";
    return {};
}

void convert_sense_word(Temperature& measured)
{
    constexpr float no_measurement = 9999.0F;
    std::array<unsigned char, sense_size> sense{};
    std::copy_n(measured.raw.begin(), sense.size(), sense.begin());
    if (CheckSense(sense.data()) != 0) {
        measured.problem = "the sensor word " + to_hex(sense) + " fails its parity check";
        return;
    }
    measured.problem = calibration_problem(measured.calibration);
    if (!measured.problem.empty()) return;
    const float celsius = GetTemperature(sense.data(), measured.calibration.data());
    if (celsius == no_measurement)
        measured.problem = "the sensor word " + to_hex(sense) + " is no measurement with the calibration " +
                           to_hex(measured.calibration);
    else
        set(celsius, measured.celsius, measured.problem);
}

}  // namespace

const ChipRule* find_chip(SensorChip chip)
{
    const auto at = static_cast<std::size_t>(chip);
    return at < chip_rules.size() ? &chip_rules[at] : nullptr;
}

bool is_known_kind(std::span<const std::uint8_t> calibration)
{
    constexpr unsigned highest_kind = 2;
    return calibration.size() == calibration_size && calibration[2] >> 4U <= highest_kind;
}

void convert_hundredths(std::span<const std::uint8_t> hundredths, std::optional<double>& celsius,
                        std::string& problem)
{
    const auto number = static_cast<std::int16_t>(hundredths[0] << 8U | hundredths[1]);
    set(number / 100.0, celsius, problem);
}

void convert_voltage(Measured& measured)
{
    constexpr std::uint16_t erased = 0xFFFF;
    if (measured.raw == 0 || measured.raw == erased)
        measured.problem = "what the sensor tells is no voltage";
    else
        measured.millivolts = measured.raw;
}

void require_whole(const ChipRule& rule, Temperature& measured)
{
    const std::size_t size = rule.raw_size();
    if (measured.raw.size() < size)
        measured.problem = "only " + std::to_string(measured.raw.size()) + " of the " + std::to_string(size) +
                           " bytes of the sensor came";
}

void convert(const ChipRule& rule, Temperature& measured)
{
    require_whole(rule, measured);
    if (!measured.problem.empty()) return;
    if (rule.has_sense_word)
        convert_sense_word(measured);
    else
        convert_hundredths(measured.raw, measured.celsius, measured.problem);
}

}  // namespace v1
}  // namespace tagwire
