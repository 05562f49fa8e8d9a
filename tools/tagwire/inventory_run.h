// What inventories by calls of the C library have in common.
#pragma once

#include <array>
#include <cstdint>

#include "app.h"
#include "connection.h"

namespace tagwire::tool {

// The most that an inventory writes.
using InventoryList = std::array<std::uint8_t, 65542>;

// While it lives, a signal makes the reader end its inventory.
class InventoryAbort {
  public:
    InventoryAbort(Session& session, const ReaderConnection& reader);

  private:
    InterruptWatch::Hook hook_;
};

}  // namespace tagwire::tool
