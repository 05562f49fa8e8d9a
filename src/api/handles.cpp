#include "api/handles.h"

#include "link/connection.h"

Reader* EthReader[256];
bool isOpening;

namespace tagwire::engine {

pthread_mutex_t table_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

// Applications can see the table, so it is read and written atomically besides being locked.
Reader* slot(int handle) { return __atomic_load_n(&EthReader[handle], __ATOMIC_ACQUIRE); }
void set_slot(int handle, Reader* reader) { __atomic_store_n(&EthReader[handle], reader, __ATOMIC_RELEASE); }

}  // namespace

Borrowed::Borrowed(int handle)
{
    if (handle < first_handle || handle > last_handle) return;
    const Lock lock(table_mutex);
    Reader* reader = slot(handle);
    if (reader == nullptr || reader->keeping.opening) return;
    retain(reader);
    reader_ = reader;
}

Reader* occupy_slot(int& handle)
{
    Reader* reader = Create_Reader();
    if (reader == nullptr) return nullptr;
    reader->keeping.opening = true;
    {
        const Lock lock(table_mutex);
        for (handle = first_handle; handle <= last_handle; ++handle) {
            if (slot(handle) != nullptr) continue;
            retain(reader);
            set_slot(handle, reader);
            return reader;
        }
    }
    Destroy_Reader(&reader);
    return nullptr;
}

void clear_slot(int handle, const Reader* reader)
{
    const Lock lock(table_mutex);
    if (slot(handle) == reader) set_slot(handle, nullptr);
}

Reader* find_by_address(const char* ip_address, int& handle)
{
    if (*ip_address == '\0') return nullptr;  // what every serial Reader has
    const Lock lock(table_mutex);
    for (handle = first_handle; handle <= last_handle; ++handle) {
        Reader* reader = slot(handle);
        if (reader == nullptr || !has_ip_address(reader, ip_address)) continue;
        retain(reader);
        return reader;
    }
    return nullptr;
}

}  // namespace tagwire::engine
