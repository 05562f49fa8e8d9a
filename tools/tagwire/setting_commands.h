// The commands behind the settings.
#pragma once

#include "setting_catalogue.h"

namespace tagwire::tool {

// Bytes of the whole parameter block of the reader's own reading; the short form of old readers ends earlier.
inline constexpr std::size_t short_system_size = 42;

namespace sources {
extern const Source information, line_speed, serial_number, user_password, reader_password, reply_delay,
    power_mode, heartbeat_time, module_version, module_description, chip_version, start_information,
    power_check, temperature, clock, q_and_session, retries, protocol, tag_function, profile, long_profile,
    dense_reader_mode, region, dwell, antenna_powers, write_power, power_converter, antennas, antenna_count,
    system, read_parameters, filter_time, filter, output_pulse, wiegand, lines, trigger, numbered;
}

namespace writers {
extern const Writer address, baud, communication, serial_number, user_password, reader_password, reply_delay,
    power_mode, heartbeat_time, temperature_choice, clock, scan_time, q_and_session, retries, protocol,
    tag_function, profile, long_profile, dense_reader_mode, region, region_type, dwell, power, antenna_powers,
    write_power, power_converter, calibration_type, antennas, antenna_count, antenna_check, antenna_switch,
    eas_sensitivity, reports, interval, tag_protocol, mask, trigger_time, tid, read_parameters, filter_time,
    filter, work_mode, beep, pulse_output, gpo, readable_gpo, wiegand, trigger, numbered;
}

}  // namespace tagwire::tool
