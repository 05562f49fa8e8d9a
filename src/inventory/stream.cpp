#include "inventory/stream.h"

#include <cstdlib>

namespace tagwire::engine {

Stream* make_stream(Reader* reader)
{
    auto* stream = static_cast<Stream*>(std::calloc(1, sizeof(Stream)));
    if (stream == nullptr) return nullptr;
    stream->reader = reader;
    stream->users = 1;
    stream->reading.init();
    return stream;
}

void drop(Stream* stream)
{
    if (stream->users.subtract(1) != 0) return;
    stream->reading.destroy();
    std::free(stream);
}

}  // namespace tagwire::engine
