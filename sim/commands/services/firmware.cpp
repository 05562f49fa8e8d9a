// Replacing the reader's program.
#include "commands/codes.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t update_request_size = 8;
constexpr std::uint8_t leave_update = 0;
constexpr std::uint8_t enter_update = 1;

// What the host needs to know for an update.
Bytes describe_update(const Firmware& firmware)
{
    const FirmwareSettings& settings = firmware.settings();
    Bytes data{static_cast<std::uint8_t>(firmware.state().updating ? 1 : 0),
               static_cast<std::uint8_t>(settings.block)};
    append_number(data, settings.image, 4);
    give(data, firmware.state().version);
    return data;
}

void set_update_mode(Device& device, const Call& call)
{
    Firmware& firmware = device.services().firmware;
    Bytes wanted(update_request_size);
    wanted[0] = call.data()[0];
    const bool good = call.data() == wanted && wanted[0] <= enter_update;
    if (good && wanted[0] == enter_update) firmware.begin_update();
    if (good && wanted[0] == leave_update) firmware.end_update();
    device.answer(call, good ? status::success : status::bad_parameter, describe_update(firmware));
}

void write_block(Device& device, const Call& call)
{
    if (call.data().empty()) return refuse(device, call);
    const Bytes block(call.data().begin() + 1, call.data().end());
    device.answer(call, device.services().firmware.write(call.data()[0], block));
}

void tell_checksum(Device& device, const Call& call)
{
    const FirmwareState& firmware = device.services().firmware.state();
    if (!firmware.updating) return device.answer(call, status::out_of_order);
    Bytes checksum;
    append_number(checksum, crc32(firmware.received), 4);
    device.answer(call, status::success, checksum);
}

void mark_image(Device& device, const Call& call)
{
    const std::uint8_t status = device.services().firmware.mark();
    device.answer(call, status);
    if (status == status::success) device.reboot(call.now);
}

}  // namespace

void add_firmware_commands(CommandTable& table)
{
    table.add(command::update_mode, update_request_size, set_update_mode);
    table[command::write_block] = write_block;
    table.add(command::image_checksum, 0, tell_checksum);
    table.add(command::mark_image, 0, mark_image);
}

}  // namespace tagwire::sim
