// A Reader over a link that its user has opened, and that ends what it waits for when told.
#pragma once

#include "link/descriptor.h"

namespace tagwire::engine {

// The descriptor is the Reader's from now on, for as long as it has it.
void adopt_link(Reader* reader, int link_type, int fd);
// Returns when no call uses it any more, with the descriptor; -1 where there was none.
int give_back_link(Reader* reader);

// Ends the waits of the command in progress, and of all that follow until resume().
void cancel(Reader* reader);
void resume(Reader* reader);

}  // namespace tagwire::engine
