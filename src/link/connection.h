// What a connection keeps while it is open.
#pragma once

#include "reader/reader.h"

namespace tagwire::engine {

// Before a descriptor is closed by a caller who asked for it, and behind it.
inline constexpr int closing_pause_ms = 200;

// The address that a connection over TCP was opened to; empty for all others.
void set_ip_address(Reader* reader, const char* text);
bool has_ip_address(const Reader* reader, const char* text);

}  // namespace tagwire::engine
