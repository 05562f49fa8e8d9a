// From what a sensor tells to degrees Celsius.
#pragma once

#include <tagwirexx/sensors.hpp>

namespace tagwire {
inline namespace v1 {

inline constexpr std::size_t sense_size = 4;
inline constexpr std::size_t calibration_size = 3;
inline constexpr std::size_t hundredths_size = 2;

struct ChipRule {
    const char* name;
    unsigned longest_epc;  // words, of the command that asks the tag
    bool has_sense_word;   // otherwise hundredths of a degree, signed, high byte first
    bool comes_in_inventory;

    std::size_t raw_size() const { return has_sense_word ? sense_size : hundredths_size; }
};
// Null for a number that is no chip.
const ChipRule* find_chip(SensorChip chip);

// Whether it is of a kind of conversion that there is.
bool is_known_kind(std::span<const std::uint8_t> calibration);

// Sets a problem where bytes of the sensor are missing.
void require_whole(const ChipRule& rule, Temperature& measured);
// Set the value, or the problem.
void convert(const ChipRule& rule, Temperature& measured);
void convert_hundredths(std::span<const std::uint8_t> hundredths, std::optional<double>& celsius,
                        std::string& problem);
void convert_voltage(Measured& measured);

}  // namespace v1
}  // namespace tagwire
