// The frame around every exported call: it finds the Reader of its handle, refuses what may not run now, and
// calls one operation.
#pragma once

#include "api/handles.h"
#include "link/turn.h"
#include "tagwire/result.h"

namespace tagwire::engine {

// Continuous reading runs.
inline bool reads(const Reader* reader) { return !reader->isStopStocktaking; }

// This thread holds the command lock, and would wait for itself.
inline bool holds_lock(const Reader* reader) { return reader->keeping.lock_owner == pthread_self(); }

// Handle check, busy check, operation. A call from inside a callback of an inventory on its own connection is
// refused too: the inventory needs what it would use.
template <auto Slot, class... Arguments> int plain(int FrmHandle, Arguments... arguments)
{
    const Borrowed reader(FrmHandle);
    if (!reader) return TAGWIRE_BAD_HANDLE;
    if (reads(reader.get()) || inside_own_turn(reader.get())) return TAGWIRE_BUSY;
    return (reader->operations.*Slot)(reader.get(), arguments...);
}

// The same with the command lock around the operation.
template <auto Slot, class... Arguments> int locked(int FrmHandle, Arguments... arguments)
{
    const Borrowed reader(FrmHandle);
    if (!reader) return TAGWIRE_BAD_HANDLE;
    if (reads(reader.get()) || inside_own_turn(reader.get()) || holds_lock(reader.get())) return TAGWIRE_BUSY;
    reader->operations.LOCK(reader.get());
    const int result = (reader->operations.*Slot)(reader.get(), arguments...);
    reader->operations.UNLOCK(reader.get());
    return result;
}

// Handle check, busy check, operation: waits for no answer, so that it works inside a callback.
template <auto Slot, class... Arguments> int aside(int FrmHandle, Arguments... arguments)
{
    const Borrowed reader(FrmHandle);
    if (!reader) return TAGWIRE_BAD_HANDLE;
    if (reads(reader.get())) return TAGWIRE_BUSY;
    return (reader->operations.*Slot)(reader.get(), arguments...);
}

// Handle check, operation: works while continuous reading runs.
template <auto Slot, class... Arguments> int unbusy(int FrmHandle, Arguments... arguments)
{
    const Borrowed reader(FrmHandle);
    if (!reader) return TAGWIRE_BAD_HANDLE;
    return (reader->operations.*Slot)(reader.get(), arguments...);
}

}  // namespace tagwire::engine
