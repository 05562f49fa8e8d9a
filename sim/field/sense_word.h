// The word in which a sensor tag tells its temperature.
#pragma once

#include <array>
#include <cstdint>

namespace tagwire::sim {

// A signed number, high byte first, then a byte whose upper half is the kind of conversion: 0 and 1 have one
// point, 2 has two.
using Calibration = std::array<std::uint8_t, 3>;
using SenseWord = std::array<std::uint8_t, 4>;

// A temperature that the calibration cannot express gives the nearest word that it can.
SenseWord make_sense_word(double degrees, const Calibration& calibration);

// Whether it is of a known kind and expresses all temperatures between the two.
bool covers(const Calibration& calibration, double lowest, double highest);

}  // namespace tagwire::sim
