#include "reader/reader.h"

#include <cstdlib>
#include <memory>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <type_traits>
#include <unistd.h>

static_assert(std::is_trivially_default_constructible_v<Reader> && std::is_trivially_destructible_v<Reader>,
              "a Reader begins as zeroed memory and ends with free()");

namespace tagwire::engine {

void* spacious(std::size_t size)
{
    void* const memory = std::calloc(1, size);
    if (memory == nullptr) return nullptr;
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* first = memory;
    std::size_t left = size;
    if (std::align(page, page, first, left) != nullptr) madvise(first, left / page * page, MADV_DONTNEED);
    return memory;
}

namespace {

void fill_operations(Operations& operations)
{
#define TAGWIRE_OPERATION(exported, result, name, ...) operations.name = I_##name;
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
}

bool init_keeping(Keeping& keeping)
{
    keeping.wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (keeping.wake_fd < 0) return false;
    keeping.users = 1;
    keeping.frames_used = buffer_size;
    keeping.list_used = buffer_size;
    keeping.link.init();
    pthread_mutex_init(&keeping.wake_mutex, nullptr);
    pthread_mutex_init(&keeping.stream_mutex, nullptr);
    return true;
}

void free_reader(Reader* reader)
{
    Keeping& keeping = reader->keeping;
    close(keeping.wake_fd);
    pthread_mutex_destroy(&keeping.stream_mutex);
    pthread_mutex_destroy(&keeping.wake_mutex);
    keeping.link.destroy();
    pthread_mutex_destroy(&reader->g_cs);
    pthread_mutex_destroy(&reader->g_writecs);
    std::free(reader);
}

}  // namespace

void retain(Reader* reader) { reader->keeping.users.add(1); }

void release(Reader* reader)
{
    if (reader->keeping.users.subtract(1) == 0) free_reader(reader);
}

void wake(Reader* reader)
{
    Keeping& keeping = reader->keeping;
    const Lock lock(keeping.wake_mutex);
    const std::uint64_t one = 1;
    // Neither this nor the read of calm() can fail on a counter that goes from 0 to 1 and back.
    if (keeping.wakers++ == 0 && write(keeping.wake_fd, &one, sizeof one) < 0) return;
}

void calm(Reader* reader)
{
    Keeping& keeping = reader->keeping;
    const Lock lock(keeping.wake_mutex);
    std::uint64_t count = 0;
    if (--keeping.wakers == 0 && read(keeping.wake_fd, &count, sizeof count) < 0) return;
}

void request_stop(Reader* reader)
{
    reader->isStopCmd = true;
    wake(reader);
}

}  // namespace tagwire::engine

Reader* Create_Reader()
{
    auto* reader = static_cast<Reader*>(tagwire::engine::spacious(sizeof(Reader)));
    if (reader == nullptr) return nullptr;
    if (!tagwire::engine::init_keeping(reader->keeping)) {
        std::free(reader);
        return nullptr;
    }
    reader->isStopStocktaking = true;
    reader->sServer = -1;
    reader->hCommPort = -1;
    pthread_mutex_init(&reader->g_cs, nullptr);
    pthread_mutex_init(&reader->g_writecs, nullptr);
    tagwire::engine::fill_operations(reader->operations);
    return reader;
}

void Destroy_Reader(Reader** sthis)
{
    Reader* reader = *sthis;
    reader->LogFileFlag = false;
    reader->isStopStocktaking = true;
    reader->isStopCmd = true;
    reader->isInventoryCmd = false;
    reader->MypCallBack = nullptr;
    reader->InventoryBackUID = false;
    reader->operations.CloseCom(reader);
    reader->ATstate = 0;
    reader->DeviceIsOpen = false;
    reader->LogFileFlag = false;
    reader->m_type = 0;
    reader->usbFlag = false;
    reader->ipPort = 0;
    // Closes nothing: the link type and the open flag were cleared above. A socket that the close path left
    // open stays open.
    if (reader->sServer != -1) reader->operations.CloseTCP(reader);
    reader->sServer = -1;

    // recvLength, the scan time and the time stamps belong to a command that may still be in progress; they
    // go with the memory.
    reader->keeping.retired = true;
    tagwire::engine::wake(reader);
    *sthis = nullptr;
    tagwire::engine::release(reader);
}
