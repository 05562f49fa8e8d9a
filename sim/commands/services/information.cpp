// What the reader and its radio module are.
#include "commands/codes.h"
#include "commands/dispatch.h"

namespace tagwire::sim {

namespace {

void tell_reader_information(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    const ReaderSettings& reader = device.settings();
    const Settings& config = device.config();
    const auto& version = device.services().firmware.state().version;
    device.answer(call, status::success,
                  {version[0], version[1], reader.type, reader.protocols, highest_byte(config.region),
                   lowest_byte(config.region), config.power.front(), config.scan_time,
                   device.antenna_bytes(device.enabled_antennas()), config.beep, config.pulse_output,
                   config.check_antenna});
}

void tell_module_details(Device& device, const Call& call)
{
    if (call.data() != Bytes{0x00}) return device.answer(call, status::bad_parameter);
    const ReaderSettings& reader = device.settings();
    device.answer(
        call, status::success,
        {reader.module_version[0], reader.module_version[1], reader.module_type, reader.module_protocols});
}

}  // namespace

void add_information_commands(CommandTable& table)
{
    table[command::reader_information] = tell_reader_information;
    table[command::module_details] = tell_module_details;
}

}  // namespace tagwire::sim
