// Inventories that list their tags.
#pragma once

#include <array>
#include <cstdint>
#include <functional>

#include "app.h"
#include "inventory_plan.h"
#include "records.h"

namespace tagwire::tool {

// The most that an inventory writes.
using InventoryList = std::array<std::uint8_t, 65542>;

// Sends one inventory and returns its result.
using SendInventory = std::function<int(InventoryList& list, std::uint8_t& antenna, int& list_bytes)>;

struct InventoryJob {
    RepeatPlan repeat;
    RecordLayout layout = RecordLayout::Plain;
    std::string id_key = "epc";  // of JSON
    // Called once on the open connection.
    std::function<SendInventory(const ReaderConnection&)> prepare;
};

// Makes inventories, shows their tags, and returns the exit code.
int run_inventory(Session& session, const InventoryJob& job);

// While it lives, a signal makes the reader end its inventory.
class InventoryAbort {
  public:
    InventoryAbort(Session& session, const ReaderConnection& reader);

  private:
    InterruptWatch::Hook hook_;
};

}  // namespace tagwire::tool
