#include "commands/dispatch.h"

#include "commands/codes.h"

namespace tagwire::sim {

namespace {

CommandTable make_table()
{
    CommandTable table{};
    add_information_commands(table);
    add_inventory_commands(table);
    add_reading_commands(table);
    return table;
}

}  // namespace

Handler handler_for(std::uint8_t command)
{
    static const CommandTable table = make_table();
    return table[command];
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
