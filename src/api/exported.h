// The frame around every exported call: it finds the Reader of its handle, refuses what may not run now, and
// calls one operation.
#pragma once

#include "api/handles.h"
#include "tagwire/result.h"

namespace tagwire {

// Handle check, busy check, operation.
template <auto Slot, class... Arguments> int plain(int FrmHandle, Arguments... arguments)
{
    const Borrowed reader(FrmHandle);
    if (!reader) return TAGWIRE_BAD_HANDLE;
    if (!reader->isStopStocktaking) return TAGWIRE_BUSY;
    return (reader->operations.*Slot)(reader.get(), arguments...);
}

// The same with the command lock around the operation. A callback of a locked inventory that calls another
// one on its own connection is refused: its thread holds the lock.
template <auto Slot, class... Arguments> int locked(int FrmHandle, Arguments... arguments)
{
    const Borrowed reader(FrmHandle);
    if (!reader) return TAGWIRE_BAD_HANDLE;
    if (!reader->isStopStocktaking) return TAGWIRE_BUSY;
    if (__atomic_load_n(&reader->keeping.lock_owner, __ATOMIC_RELAXED) == pthread_self()) return TAGWIRE_BUSY;
    reader->operations.LOCK(reader.get());
    const int result = (reader->operations.*Slot)(reader.get(), arguments...);
    reader->operations.UNLOCK(reader.get());
    return result;
}

// Handle check, operation: works while continuous reading runs.
template <auto Slot, class... Arguments> int unbusy(int FrmHandle, Arguments... arguments)
{
    const Borrowed reader(FrmHandle);
    if (!reader) return TAGWIRE_BAD_HANDLE;
    return (reader->operations.*Slot)(reader.get(), arguments...);
}

}  // namespace tagwire
