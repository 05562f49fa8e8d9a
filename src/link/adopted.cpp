#include "link/adopted.h"

namespace tagwire::engine {
namespace {

Atomic<int>& descriptor_of(Reader* reader)
{
    return reader->m_type == tcp_link ? reader->sServer : reader->hCommPort;
}

}  // namespace

void adopt_link(Reader* reader, int link_type, int fd)
{
    reader->m_type = link_type;
    descriptor_of(reader) = fd;
    reader->DeviceIsOpen = true;
    open_link(reader);
}

int give_back_link(Reader* reader)
{
    if (!link_usable(reader) || !shut_link(reader)) return -1;
    const int fd = descriptor_of(reader);
    descriptor_of(reader) = -1;
    reader->DeviceIsOpen = false;
    return fd;
}

void cancel(Reader* reader)
{
    reader->keeping.retired = true;
    request_stop(reader);
}

void resume(Reader* reader)
{
    reader->isStopCmd = false;
    reader->keeping.retired = false;
    calm(reader);
}

}  // namespace tagwire::engine
