#include "commands/dispatch.h"

#include "commands/codes.h"

namespace tagwire::sim {

namespace {

void refuse_length(Device& device, const Call& call) { device.answer(call, status::bad_parameter); }

CommandTable make_table()
{
    CommandTable table;
    add_at_mode_commands(table);
    add_buffer_commands(table);
    add_extension_commands(table);
    add_firmware_commands(table);
    add_identification_commands(table);
    add_information_commands(table);
    add_inventory_commands(table);
    add_io_commands(table);
    add_list_search_commands(table);
    add_mode_commands(table);
    add_network_commands(table);
    add_parameter_table_commands(table);
    add_reading_commands(table);
    add_register_commands(table);
    add_rf_commands(table);
    add_select_commands(table);
    add_setting_commands(table);
    add_tag_memory_commands(table);
    add_tag_security_commands(table);
    add_tags_6b_commands(table);
    add_tags_gb_commands(table);
    add_temperature_commands(table);
    return table;
}

}  // namespace

void CommandTable::add(std::uint8_t command, std::size_t size, Handler handler)
{
    by_size_[{command, size}] = handler;
    if (!by_code_[command]) by_code_[command] = refuse_length;
}

Handler CommandTable::find(const Request& request) const
{
    if (request.command == command::extension_channel) {
        return request.data.empty() ? refuse_length : extensions_[request.data[0]];
    }
    const auto sized = by_size_.find({request.command, request.data.size()});
    return sized != by_size_.end() ? sized->second : by_code_[request.command];
}

Handler handler_for(const Request& request)
{
    static const CommandTable table = make_table();
    return table.find(request);
}

Bytes lead_of(std::uint8_t command)
{
    if (command != command::fast_switch_inventory) return {};
    return {0xA0};
}

bool acts_at_once(const Request& request)
{
    return request.command == command::abort_inventory && request.data.empty();
}

}  // namespace tagwire::sim
