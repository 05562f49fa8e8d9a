#include "inventory/stream.h"

#include <cstdlib>
#include <sys/mman.h>

namespace tagwire::engine {

Stream* make_stream(Reader* reader)
{
    auto* stream = static_cast<Stream*>(std::calloc(1, sizeof(Stream)));
    if (stream == nullptr) return nullptr;
    void* const pages =
        mmap(nullptr, sizeof(Stream::Buffers), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        std::free(stream);
        return nullptr;
    }
    stream->buffers = static_cast<Stream::Buffers*>(pages);
    stream->reader = reader;
    stream->users = 1;
    stream->reading.init();
    return stream;
}

void drop(Stream* stream)
{
    if (stream->users.subtract(1) != 0) return;
    stream->reading.destroy();
    munmap(stream->buffers, sizeof(Stream::Buffers));
    std::free(stream);
}

}  // namespace tagwire::engine
