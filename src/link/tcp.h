// The TCP channel.
#pragma once

#include "link/turn.h"

namespace tagwire::engine {

int read_tcp(Reader* reader, u8* to);
int send_tcp(Reader* reader, u8* frame, unsigned count, Purpose purpose);

// Shuts the link, ends its sending side and closes its socket; sServer is -1 afterwards.
void close_socket(Reader* reader);

}  // namespace tagwire::engine
