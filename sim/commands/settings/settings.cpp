// The plain settings of the reader, its clock, and what it tells of itself.
#include "commands/codes.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t power_table_size = 31;
constexpr std::size_t start_information_size = 9;
constexpr std::size_t time_size = 6;
constexpr std::size_t utc_size = 4;
constexpr std::size_t serial_request_size = 6;
constexpr std::size_t reader_password_size = 5;
constexpr std::uint8_t guard = 0x52;
constexpr std::uint8_t restart_guard = 0x25;
constexpr std::uint8_t no_fault = 0x00;

void set_baud(Device& device, const Call& call)
{
    if (speed_of_baud(call.data()[0]) == 0) return refuse(device, call);
    store<&Settings::baud>(device, call);
}

void begin_self_test(Device& device, const Call& call)
{
    device.panel().set_self_test(true);
    device.answer(call, status::success);
}

void tell_power_check(Device& device, const Call& call) { device.answer(call, status::success, {no_fault}); }

void set_power_table(Device& device, const Call& call)
{
    device.change([&call](Settings& settings) {
        settings.power_table = Fields(call.data(), 0).fixed<power_table_size>();
    });
    device.answer(call, status::success, {no_fault});
}

void tell_start_information(Device& device, const Call& call)
{
    device.answer(call, status::success, Bytes(start_information_size, no_fault));
}

void set_clock(Device& device, const Call& call)
{
    const auto seconds = seconds_since_1970(Fields(call.data(), 0).fixed<time_size>());
    if (!seconds || !device.clock().set(call.now, *seconds)) return refuse(device, call);
    device.answer(call, status::success);
}

void set_utc(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const std::int64_t high = fields.word();
    if (!device.clock().set(call.now, high << 16 | fields.word())) return refuse(device, call);
    device.answer(call, status::success);
}

void tell_time(Device& device, const Call& call)
{
    const ClockTime time = device.clock().show(call.now);
    device.answer(call, status::success, Bytes(time.begin(), time.end()));
}

void set_serial(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    if (fields.word() != (guard << 8U | guard)) return refuse(device, call);
    change(device, call, [&fields](Settings& settings) { settings.serial = Fields(fields).fixed<4>(); });
}

void exchange_profile(Device& device, const Call& call)
{
    const std::uint8_t asked = call.data()[0];
    if (asked & set_bit) {
        device.change([asked](Settings& settings) {
            settings.profile = {0, static_cast<std::uint8_t>(asked & ~set_bit)};
        });
    }
    device.answer(call, status::success, {device.config().profile[1]});
}

void exchange_long_profile(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const std::uint8_t option = fields.byte();
    if (option > 1) return refuse(device, call);
    if (option == 1) {
        const auto profile = fields.fixed<2>();
        device.change([profile](Settings& settings) { settings.profile = profile; });
    }
    tell<&Settings::profile>(device, call);
}

void exchange_dense_reader_mode(Device& device, const Call& call)
{
    const std::uint8_t asked = call.data()[0];
    if (asked == 0) return tell<&Settings::dense_reader_mode>(device, call);
    if ((asked & set_bit) == 0) return refuse(device, call);
    const auto mode = static_cast<std::uint8_t>(asked & ~set_bit);
    change(device, call, [mode](Settings& settings) { settings.dense_reader_mode = mode; });
}

void tell_module_version(Device& device, const Call& call)
{
    const auto& version = device.settings().module_version;
    device.answer(call, status::success, {version[0], version[1]});
}

void tell_chip_version(Device& device, const Call& call)
{
    if (call.data()[0] != 0) return refuse(device, call);
    const ReaderSettings& reader = device.settings();
    device.answer(call, status::success,
                  {0, reader.module_version[0], reader.module_version[1], reader.module_type});
}

void tell_temperature(Device& device, const Call& call)
{
    const int degrees = device.settings().temperature;
    const std::uint8_t sign = degrees < 0 ? 0 : 1;
    device.answer(call, status::success, {sign, static_cast<std::uint8_t>(std::abs(degrees))});
}

void exchange_reader_password(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const std::uint8_t option = fields.byte();
    if (option == 0) return tell<&Settings::reader_password>(device, call);
    if (option != 1) return refuse(device, call);
    change(device, call,
           [&fields](Settings& settings) { settings.reader_password = Fields(fields).fixed<4>(); });
}

// The same request ends a running inventory and asks for the filter time.
void abort_or_tell_filter_time(Device& device, const Call& call)
{
    if (device.is_busy()) return device.abort_job();
    if (device.settings().family == ReaderFamily::filter) tell<&Settings::filter_time>(device, call);
}

void store_settings(Device& device, const Call& call)
{
    device.store_settings();
    device.answer(call, status::success);
}

void restart(Device& device, const Call& call)
{
    if (call.data() != Bytes{guard, restart_guard}) return refuse(device, call);
    device.answer(call, status::success);
    device.restart();
}

void add_own_layouts(CommandTable& table)
{
    table.add(command::set_baud, 1, set_baud);
    table.add(command::begin_self_test, 0, begin_self_test);
    table.add(command::check_power, 0, tell_power_check);
    table.add(command::set_power_table, power_table_size, set_power_table);
    table.add(command::start_information, 0, tell_start_information);
    table.add(command::set_clock, time_size, set_clock);
    table.add(command::get_time, 0, tell_time);
    table.add(command::set_utc, utc_size, set_utc);
    table.add(command::set_serial, serial_request_size, set_serial);
    table.add(command::profile, 1, exchange_profile);
    table.add(command::profile, 3, exchange_long_profile);
    table.add(command::dense_reader_mode, 1, exchange_dense_reader_mode);
    table.add(command::module_details, 0, tell_module_version);
    table.add(command::chip_version, 1, tell_chip_version);
    table.add(command::reader_options, 0, tell_temperature);
    table.add(command::reader_options, reader_password_size, exchange_reader_password);
    table.add(command::abort_inventory, 0, abort_or_tell_filter_time);
    table.add(command::store_settings, 0, store_settings);
    table.add(command::restart, 2, restart);
}

}  // namespace

void add_setting_commands(CommandTable& table)
{
    add_own_layouts(table);
    add_store<&Settings::address>(table, command::set_address);
    add_store<&Settings::scan_time>(table, command::set_scan_time);
    add_store<&Settings::reply_delay>(table, command::set_reply_delay);
    add_tell<&Settings::reply_delay>(table, command::get_reply_delay);
    add_store<&Settings::dac>(table, command::set_dac);
    add_tell<&Settings::dac>(table, command::get_dac);
    add_exchange<&Settings::tag_function>(table, command::tag_function);
    add_tell<&Settings::serial>(table, command::get_serial);
    add_store<&Settings::communication>(table, command::set_communication);
    add_exchange<&Settings::power_mode>(table, command::power_mode);
    add_exchange<&Settings::heartbeat_time>(table, command::heartbeat_time);
    add_exchange<&Settings::retries>(table, command::retries);
    add_store<&Settings::user_password>(table, command::set_user_password);
    add_tell<&Settings::user_password>(table, command::get_user_password);
    add_store<&Settings::q, &Settings::session>(table, command::set_q_and_session);
    add_tell<&Settings::q, &Settings::session>(table, command::get_q_and_session);
    add_store<&Settings::f_time>(table, command::set_f_time);
    add_tell<&Settings::f_time>(table, command::get_f_time);
    add_exchange<&Settings::protocol>(table, command::switch_protocol);
}

}  // namespace tagwire::sim
