// The commands behind the settings.
#pragma once

#include "xx/reader/both_ways.h"

namespace tagwire {
inline namespace v1 {
namespace rows {

// A command that is to be sent for a setting.
struct Send {
    ReaderInside& inside;
    const char* name;  // for people
    u8 index = 0;      // of settings that are numbered
    bool two_way = false;
    Lasting lasting = Lasting::stored;

    template <class... Parameters>
    void ask(int least, int (*Operations::*operation)(engine::Reader*, u8*, Parameters...),
             std::type_identity_t<Parameters>... arguments) const
    {
        inside.ask({name, Effect::none, least}, operation, arguments...);
    }
    template <class... Parameters>
    void change(int (*Operations::*operation)(engine::Reader*, u8*, Parameters...),
                std::type_identity_t<Parameters>... arguments) const
    {
        inside.ask({name, Effect::change}, operation, arguments...);
    }
};

// The work mode of a reader that waits for commands.
inline constexpr u8 answering = 0;

// A command that reads, often several settings at once; as many bytes as came.
struct Source {
    Bytes (*read)(const Send&);
    bool is_two_way = false;  // the command that sets it, too
};

// When a setting is written among others: what changes the way to the reader comes last.
enum class Order : std::uint8_t { plain, address, speed, work_mode, interface };

// A command that writes bytes which belong together: so many, or 0: all that the value or the source has.
struct Writer {
    // Gives what the reader says that it has now; nothing where it does not say. May leave anything in the block.
    Bytes (*write)(const Send&, Bytes& block);
    std::size_t size = 1;
    const Source* source = nullptr;  // of the bytes that are not given
    std::size_t first = 0;           // where the block stands among these
    Order order = Order::plain;
    bool until_restart = false;  // can be set so
};

namespace sources {
extern const Source information, line_speed, serial_number, user_password, reader_password, reply_delay,
    power_mode, heartbeat_time, module_version, module_description, chip_version, start_information,
    power_check, temperature, clock, q_and_session, retries, protocol, tag_function, profile, long_profile,
    dense_reader_mode, region, dwell, powers, write_power, power_converter, antennas, antenna_count, system,
    read_parameters, filter_time, family_values, wiegand, lines, trigger, numbered;
}

namespace writers {
extern const Writer address, baud, communication, serial_number, user_password, reader_password, reply_delay,
    power_mode, heartbeat_time, temperature_choice, clock, scan_time, q_and_session, retries, protocol,
    tag_function, profile, long_profile, dense_reader_mode, region, region_type, dwell, powers, write_power,
    calibration_type, antennas, antenna_count, antenna_check, antenna_switch, eas_sensitivity, reports,
    interval, tag_protocol, mask, trigger_time, tid, read_parameters, filter_time, filter, work_mode, beep,
    pulse_output, gpo, readable_gpo, wiegand, trigger, numbered;
}

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
