#include "link/turn.h"

#include <cstring>

namespace tagwire::engine {

void clear_received(Reader* reader, Purpose purpose)
{
    constexpr std::size_t cleared_by_send = 8000;
    const bool inside = inside_own_turn(reader);
    const bool is_stop = (reader->keeping.turn_owner & detail::stop_mark) != 0;
    if (inside && purpose == Purpose::stop && !is_stop) return;
    const Turn turn(reader, Purpose::stop);
    if (!inside && !turn.taken()) return;
    reader->recvLength = 0;
    std::memset(reader->recvBuff, 0, cleared_by_send);
}

}  // namespace tagwire::engine
