#include "link/turn.h"

#include <cstring>

namespace tagwire {

void clear_received(Reader* reader, Purpose purpose)
{
    constexpr std::size_t cleared_by_send = 8000;
    const unsigned long owner = reader->keeping.turn_owner;
    const bool is_stop = (owner & detail::stop_mark) != 0;
    if (owner != 0 && (!inside_own_turn(reader) || (purpose == Purpose::stop && !is_stop))) return;
    reader->recvLength = 0;
    std::memset(reader->recvBuff, 0, cleared_by_send);
}

}  // namespace tagwire
