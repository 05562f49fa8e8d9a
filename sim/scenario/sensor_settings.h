// The sensor of a Gen2 tag, as a scenario describes it.
#pragma once

#include <array>
#include <map>
#include <optional>

#include "bytes.h"
#include "field/sense_word.h"

namespace tagwire::sim {

inline constexpr double lowest_temperature = -40;  // that a sensor measures, degrees Celsius
inline constexpr double highest_temperature = 150;
inline constexpr unsigned smallest_sensor_memory = 16;
inline constexpr unsigned largest_sensor_memory = 65536;
inline constexpr Time longest_log_unit = std::chrono::hours(1);

struct SensorSettings {
    double temperature = 25;  // degrees Celsius
    Calibration calibration{0x00, 0x00, 0x20};
    unsigned calibration_word = 8;        // of user memory, where the calibration can be read
    Bytes registers;                      // what the first ones hold when the register file is new
    unsigned register_count = 32;         // words
    Bytes memory;                         // what its beginning holds
    unsigned memory_size = 4096;          // bytes
    std::optional<unsigned> log_address;  // of memory; none: its second half
    Time log_unit = std::chrono::seconds(1);
    std::array<std::uint8_t, 4> memory_password{};  // zeros: none
    std::array<std::uint8_t, 4> stop_password{};    // of the log
    std::uint16_t voltage = 1500;                   // mV
    bool alarm = false;
    std::array<std::uint8_t, 2> key_index{};
    std::map<Bytes, Bytes> spi;  // answers by command

    unsigned log_start() const { return log_address.value_or(memory_size / 2); }
};

}  // namespace tagwire::sim
