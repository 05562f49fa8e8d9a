// What a host can set on a reader.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "radio/region.h"
#include "scenario/scenario.h"

namespace tagwire::sim {

inline constexpr std::uint8_t any_baud = 0xFF;
inline constexpr std::uint8_t automatic_session = 0xFF;
inline constexpr std::size_t linked_actions = 16;

enum class WorkMode : std::uint8_t { answering, active, triggered };

struct Settings {
    // The reader and its line
    std::uint8_t address = 0;
    std::uint8_t baud = any_baud;  // code of the line's speed
    std::uint8_t reply_delay = 0;
    std::uint8_t communication = 0;
    std::uint8_t heartbeat_time = 0;
    std::uint8_t power_mode = 0;
    std::uint8_t retries = 0;
    std::array<std::uint8_t, 4> serial{};
    std::array<std::uint8_t, 4> user_password{};
    std::array<std::uint8_t, 4> reader_password{};
    std::map<std::uint8_t, Bytes> numbered;

    // Inventories and tags
    std::uint8_t scan_time = 10;  // 100 ms
    std::uint8_t q = 4;
    std::uint8_t session = 0;
    std::uint8_t protocol = 0;
    std::uint8_t tag_function = 0;
    std::array<std::uint8_t, 2> profile{};  // high byte first
    std::uint8_t dense_reader_mode = 0;
    std::uint8_t f_time = 0;
    std::uint8_t temperature_choice = 0;
    std::uint8_t carrier_time = 10;  // 100 ms, for tags with an LED

    // Frequency and power
    Region region;
    bool region_is_set = false;  // else all readings have the frequency of the scenario
    std::uint8_t region_type = 0;
    std::uint8_t dwell_time = 40;  // 10 ms
    std::uint8_t dwell_repeats = 0;
    std::vector<std::uint8_t> power;            // dBm, of every antenna port, 4 at least
    std::optional<std::uint8_t> writing_power;  // none: that of the antenna
    std::uint8_t calibration_type = 0;
    std::uint8_t dac = 0;
    std::array<std::uint8_t, 31> power_table{};

    // Antennas
    std::vector<unsigned> antennas;  // ports enabled, in turn
    std::uint8_t antenna_number = 4;
    std::uint8_t check_antenna = 0;
    std::uint8_t switch_target = 0;
    std::uint8_t switch_antenna = 0;

    // Reading without being asked
    std::uint8_t work_mode = 0;
    std::uint8_t eas_accuracy = 0;
    std::uint8_t report_condition = 0;
    std::uint8_t report_pause = 0;
    std::uint8_t interval = 0;  // 10 ms between two passes
    std::uint8_t tag_protocol = 0;
    std::uint8_t mask_bank = 1;
    std::array<std::uint8_t, 2> mask_address{};  // high byte first
    std::uint8_t mask_bits = 0;
    std::array<std::uint8_t, 32> mask{};
    std::uint8_t tid_address = 0;
    std::uint8_t tid_words = 0;
    std::uint8_t trigger_time = 0;  // s
    std::uint8_t filter_time = 0;   // s
    std::uint8_t least_readings = 0;
    std::uint8_t least_rssi = 0;

    // Inputs, outputs and beeper
    std::uint8_t beep = 1;
    std::uint8_t pulse_output = 0;
    std::array<std::uint8_t, 5> wiegand{};
    std::array<std::uint8_t, 2> output_parameters{};
    std::array<std::array<std::uint8_t, 6>, linked_actions> linkage{};

    bool operator==(const Settings&) const = default;
};

Settings factory_settings(const ReaderSettings& reader);

// Whether everything in which the two differ may be so.
bool may_change(const Settings& before, const Settings& after, const ReaderSettings& reader);

// Bits a second; 0 for a code that is none.
unsigned speed_of_baud(std::uint8_t code);
std::optional<std::uint8_t> baud_of_speed(unsigned bits_a_second);

}  // namespace tagwire::sim
