// Which function answers which command. One file per topic fills in its commands; a handler looks at the
// length of the request's data, since some codes stand for several commands told apart by it.
#pragma once

#include <array>

#include "device.h"

namespace tagwire::sim {

using Handler = void (*)(Device&, const Call&);
using CommandTable = std::array<Handler, 256>;

void add_information_commands(CommandTable& table);
void add_inventory_commands(CommandTable& table);
void add_reading_commands(CommandTable& table);

Handler handler_for(std::uint8_t command);  // null for a command that no topic knows

// What goes out before every answer frame to the command.
Bytes lead_of(std::uint8_t command);

// Whether the request is served even while the reader is busy.
bool acts_at_once(const Request& request);

}  // namespace tagwire::sim
