// Every group of commands adds its own to the application.
#pragma once

#include "app.h"

namespace tagwire::tool {

void add_information_commands(Application& application);  // info
void add_inventory_commands(Application& application);    // inventory
void add_watch_commands(Application& application);        // watch

}  // namespace tagwire::tool
