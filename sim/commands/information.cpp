// What the reader and its radio module are.
#include "commands/codes.h"
#include "commands/dispatch.h"

namespace tagwire::sim {

namespace {

void tell_reader_information(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    const ReaderSettings& reader = device.settings();
    device.answer(call, status::success,
                  {reader.firmware[0], reader.firmware[1], reader.type, reader.protocols,
                   reader.max_frequency, reader.min_frequency, reader.power, reader.scan_time,
                   device.antenna_bytes(device.enabled_antennas()), reader.beep, reader.output,
                   reader.check_antenna});
}

void tell_module_details(Device& device, const Call& call)
{
    if (call.data().empty()) return device.answer(call, status::unknown_command);
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
