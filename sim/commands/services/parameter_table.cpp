// Parameter tables, and what the factory set.
#include <algorithm>

#include "commands/codes.h"
#include "commands/services/extension.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t write_header = 3;  // the function's number, table, frame
constexpr std::uint8_t clear = 1;        // else 0: restore

void read_table(Device& device, const Call& call)
{
    if (call.data().size() != one_value) return refuse_function(device, call);
    const Bytes table = device.services().tables.table(call.data()[1]);
    Fields fields(table, 0);
    while (fields.left() > 0) {
        const std::size_t size = std::min(fields.left(), longest_table_chunk);
        answer_extension(device, call, status::table_data, fields.bytes(size));
    }
    Bytes length;
    append_number(length, table.size(), 2);
    answer_extension(device, call, status::success, length);
}

void write_table(Device& device, const Call& call)
{
    if (call.data().size() < write_header) return refuse_function(device, call);
    Fields fields(call.data(), 1);
    const std::uint8_t number = fields.byte();
    const std::uint8_t frame = fields.byte();
    const Bytes chunk = fields.bytes(fields.left());
    answer_extension(device, call, device.services().tables.write(number, frame, chunk));
}

void save_as_factory(Device& device, const Call& call)
{
    if (call.data().size() != one_value || call.data()[1] != 0) return refuse_function(device, call);
    device.save_as_factory();
    answer_extension(device, call, status::success);
}

void restore_or_clear(Device& device, const Call& call)
{
    if (call.data().size() != one_value || call.data()[1] > clear) return refuse_function(device, call);
    answer_extension(device, call, status::success);
    if (call.data()[1] == clear) return device.services().tables.clear();
    device.restore_factory();
}

}  // namespace

void add_parameter_table_commands(CommandTable& table)
{
    table.add_extension(extension::read_table, read_table);
    table.add_extension(extension::write_table, write_table);
    table.add_extension(extension::save_as_factory, save_as_factory);
    table.add_extension(extension::restore_or_clear, restore_or_clear);
}

}  // namespace tagwire::sim
