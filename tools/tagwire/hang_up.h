// Calls that only the end of the connection cuts short.
#pragma once

#include "connection.h"
#include "interrupt.h"

namespace tagwire::tool {

// While it lives, a signal closes the connection, which ends the call that waits on it.
class HangUpOnSignal {
  public:
    HangUpOnSignal(InterruptWatch& watch, ReaderConnection& reader)
        : hook_(watch, [&reader, is_closed = false]() mutable {
              if (!is_closed) reader.close();
              is_closed = true;
          })
    {}

  private:
    InterruptWatch::Hook hook_;
};

}  // namespace tagwire::tool
