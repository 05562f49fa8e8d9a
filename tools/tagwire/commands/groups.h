// Every group of commands adds its own to the application.
#pragma once

#include "app.h"

namespace tagwire::tool {

void add_information_commands(Application& application);     // info
void add_inventory_commands(Application& application);       // inventory
void add_watch_commands(Application& application);           // watch
void add_tag_commands(Application& application);             // read, write, lock, kill, chip features
void add_commission_commands(Application& application);      // commission: of add_tag_commands
void add_select_commands(Application& application);          // select
void add_buffer_commands(Application& application);          // buffer
void add_iso6b_commands(Application& application);           // 6b
void add_gb_commands(Application& application);              // gb, jb
void add_firmware_commands(Application& application);        // firmware
void add_network_commands(Application& application);         // wifi, net, gps, 4g
void add_at_commands(Application& application);              // at
void add_table_commands(Application& application);           // table
void add_radio_commands(Application& application);           // power, region, antenna
void add_line_commands(Application& application);            // gpio, relay, beep
void add_device_commands(Application& application);          // clock, mode, reset
void add_temperature_commands(Application& application);     // temp
void add_sensor_commands(Application& application);          // sensor
void add_identification_commands(Application& application);  // identify, led
void add_config_commands(Application& application);          // config
void add_doctor_commands(Application& application);          // doctor
void add_help_commands(Application& application);            // completion, man; last

}  // namespace tagwire::tool
