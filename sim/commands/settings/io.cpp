// Beeper and LED, relays, input and output lines, and the filter of reports. Readers of different families
// give some of the codes different meanings.
#include "commands/codes.h"
#include "commands/services/network.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr Time relay_unit = std::chrono::milliseconds(100);
constexpr unsigned first_relay = 1;
constexpr std::size_t buzzer_size = 3;
constexpr std::size_t buzzer_times_at = 2;

void beep(Device& device, const Call& call)
{
    const std::uint8_t times = call.data()[buzzer_times_at];
    device.panel().beep(times);
    device.panel().flash(times);
    device.answer(call, status::success);
}

void pull_relay(Device& device, const Call& call, std::uint8_t time)
{
    if (time == 0) return device.panel().open_relay(first_relay);
    device.panel().close_relay(first_relay, call.now, relay_unit * time);
}

void set_relay(Device& device, const Call& call)
{
    pull_relay(device, call, call.data()[0]);
    device.answer(call, status::success);
}

void set_one_relay(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const unsigned relay = fields.byte();
    const std::uint8_t closed = fields.byte();
    const std::uint8_t time = fields.byte();
    if (relay < first_relay || relay > io_lines || closed > 1) return refuse(device, call);
    if (closed == 0) {
        device.panel().open_relay(relay);
    } else {
        const auto duration = time > 0 ? std::optional<Time>(relay_unit * time) : std::nullopt;
        device.panel().close_relay(relay, call.now, duration);
    }
    device.answer(call, status::success);
}

void set_filter_time_or_relay(Device& device, const Call& call)
{
    if (device.settings().family != ReaderFamily::relay) {
        return store<&Settings::filter_time>(device, call);
    }
    pull_relay(device, call, call.data()[0]);
    device.answer(call, status::success, call.data());
}

void set_outputs(Device& device, const Call& call)
{
    if (call.data()[0] > line_bits) return refuse(device, call);
    device.panel().set_outputs(call.data()[0]);
    device.answer(call, status::success);
}

// Outputs in the lower bits, inputs in the upper.
void tell_lines(Device& device, const Call& call)
{
    const PanelState state = device.panel().state(call.now);
    const auto lines = static_cast<std::uint8_t>(state.inputs << io_lines | state.outputs);
    device.answer(call, status::success, {lines});
}

void set_output_parameters_or_switch(Device& device, const Call& call)
{
    if (device.settings().family == ReaderFamily::multiplexer) {
        return store<&Settings::switch_target, &Settings::switch_antenna>(device, call);
    }
    store<&Settings::output_parameters>(device, call);
}

void tell_parameters_of_family(Device& device, const Call& call)
{
    switch (device.settings().family) {
    case ReaderFamily::filter:
        return tell<&Settings::filter_time, &Settings::least_readings, &Settings::least_rssi>(device, call);
    case ReaderFamily::mobile: return tell_modem(device, call);
    default: return tell<&Settings::output_parameters>(device, call);
    }
}

}  // namespace

void add_io_commands(CommandTable& table)
{
    table.add(command::buzzer, buzzer_size, beep);
    table.add(command::set_relay, 1, set_relay);
    table.add(command::set_relay, 3, set_one_relay);
    table.add(command::reader_options, 1, set_filter_time_or_relay);
    table.add(command::set_outputs, 1, set_outputs);
    table.add(command::get_lines, 0, tell_lines);
    table.add(command::set_family_parameters, 2, set_output_parameters_or_switch);
    add_store<&Settings::filter_time, &Settings::least_readings, &Settings::least_rssi>(
        table, command::set_family_parameters);
    table.add(command::get_family_parameters, 0, tell_parameters_of_family);
    add_store<&Settings::beep>(table, command::set_beep);
    add_store<&Settings::pulse_output>(table, command::set_pulse_output);
    add_store<&Settings::wiegand>(table, command::set_wiegand);
    add_tell<&Settings::wiegand>(table, command::get_wiegand);
}

}  // namespace tagwire::sim
