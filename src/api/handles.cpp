#include "api/handles.h"

#include <cstring>

Reader* EthReader[256];
bool isOpening;

namespace tagwire {
namespace {

pthread_mutex_t table_mutex = PTHREAD_MUTEX_INITIALIZER;

// Applications can see the table, so it is read and written atomically besides being locked.
Reader* slot(int handle) { return __atomic_load_n(&EthReader[handle], __ATOMIC_ACQUIRE); }
void set_slot(int handle, Reader* reader) { __atomic_store_n(&EthReader[handle], reader, __ATOMIC_RELEASE); }

}  // namespace

TableLock::TableLock() { pthread_mutex_lock(&table_mutex); }
TableLock::~TableLock() { pthread_mutex_unlock(&table_mutex); }

Borrowed::Borrowed(int handle)
{
    if (handle < first_handle || handle > last_handle) return;
    const TableLock lock;
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
        const TableLock lock;
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
    const TableLock lock;
    if (slot(handle) == reader) set_slot(handle, nullptr);
}

Reader* find_by_address(const char* ip_address, int& handle)
{
    if (*ip_address == '\0') return nullptr;  // what every serial Reader has
    const TableLock lock;
    for (handle = first_handle; handle <= last_handle; ++handle) {
        Reader* reader = slot(handle);
        if (reader == nullptr || std::strcmp(reader->ipAddress, ip_address) != 0) continue;
        retain(reader);
        return reader;
    }
    return nullptr;
}

}  // namespace tagwire
