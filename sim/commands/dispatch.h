// Which function answers which command. One file per topic fills in its commands. Some codes stand for
// several commands told apart by the length of the request's data.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <utility>

#include "device/device.h"

namespace tagwire::sim {

using Handler = void (*)(Device&, const Call&);

class CommandTable {
  public:
    // For requests of all lengths for which there is no handler of its own.
    Handler& operator[](std::uint8_t command) { return by_code_[command]; }
    // For requests with so many bytes of data.
    void add(std::uint8_t command, std::size_t size, Handler handler);
    // For a function of the extension channel, named by the first byte of data.
    void add_extension(std::uint8_t function, Handler handler) { extensions_[function] = handler; }

    // Null for a command that no topic knows.
    Handler find(const Request& request) const;

  private:
    std::array<Handler, 256> by_code_{};
    std::array<Handler, 256> extensions_{};
    std::map<std::pair<std::uint8_t, std::size_t>, Handler> by_size_;
};

void add_at_mode_commands(CommandTable& table);
void add_buffer_commands(CommandTable& table);
void add_extension_commands(CommandTable& table);
void add_firmware_commands(CommandTable& table);
void add_identification_commands(CommandTable& table);
void add_information_commands(CommandTable& table);
void add_inventory_commands(CommandTable& table);
void add_io_commands(CommandTable& table);
void add_list_search_commands(CommandTable& table);
void add_mode_commands(CommandTable& table);
void add_network_commands(CommandTable& table);
void add_parameter_table_commands(CommandTable& table);
void add_reading_commands(CommandTable& table);
void add_register_commands(CommandTable& table);
void add_rf_commands(CommandTable& table);
void add_select_commands(CommandTable& table);
void add_setting_commands(CommandTable& table);
void add_tag_memory_commands(CommandTable& table);
void add_tag_security_commands(CommandTable& table);
void add_tags_6b_commands(CommandTable& table);
void add_tags_gb_commands(CommandTable& table);
void add_temperature_commands(CommandTable& table);

Handler handler_for(const Request& request);  // null for a command that no topic knows

// What goes out before every answer frame to the command.
Bytes lead_of(std::uint8_t command);

// Whether the request is served even while the reader is busy.
bool acts_at_once(const Request& request);

}  // namespace tagwire::sim
