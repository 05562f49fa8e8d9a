#include "inventory_run.h"

#include "tagwire/reading.h"

namespace tagwire::tool {

InventoryAbort::InventoryAbort(Session& session, const ReaderConnection& reader)
    : hook_(session.interrupts, [&reader] {
          auto address = reader.address();
          StopImmediately(&address, reader.handle());
      })
{}

}  // namespace tagwire::tool
