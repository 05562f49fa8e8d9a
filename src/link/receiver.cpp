// The single-response receiver.
#include <algorithm>
#include <cstring>

#include "link/clock.h"
#include "link/descriptor.h"
#include "link/framing.h"
#include "tagwire/result.h"

namespace tagwire::engine {
namespace {

constexpr int first_byte_limit_ms = 1500;
constexpr int whole_frame_limit_ms = 2000;

// The check writes two bytes behind the bytes it covers.
constexpr int receive_room = buffer_size - static_cast<int>(frame::crc_size);

// The frame may be taken before its last zeros have come.
void count_received(Reader* reader, const u8* bytes, int total, bool is_frame)
{
    if (total == 0) return;
    const int length = bytes[frame::len] + 1;
    if (is_frame || length <= total) count_frame(reader, length, is_frame);
    count_skipped(reader, is_frame ? std::max(total - length, 0) : total);
}

int receive_frame(Reader* reader, u8* to, int& total)
{
    reader->time1 = getCurrentTimeMsec();
    for (;;) {
        bool has_input = false;
        const int n = reader->operations.ReadRfidData(reader, reader->btRecvArr);
        if (n > 0) {
            if (n > receive_room - total) return TAGWIRE_NO_ANSWER;
            std::memcpy(to + total, reader->btRecvArr, static_cast<std::size_t>(n));
            total += n;
            if (reader->operations.CheckCRC(reader, to, to[frame::len] + 1) == TAGWIRE_OK) return TAGWIRE_OK;
        } else {
            has_input = pause_for_input(reader, 10);
        }
        reader->time2 = getCurrentTimeMsec();
        const std::int64_t elapsed = reader->time2 - reader->time1;
        if (elapsed > first_byte_limit_ms && total == 0) return TAGWIRE_NO_ANSWER;
        if (reader->keeping.retired) return TAGWIRE_NO_ANSWER;
        if (!has_input) pause_for_input(reader, 1);
        if (elapsed > whole_frame_limit_ms) return TAGWIRE_NO_ANSWER;
    }
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

// The frame is taken from the start of the buffer: bytes in front of it are not skipped. The count returned
// is that of all bytes read, which may be more than the frame.
int I_GetDataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved)
{
    *pLengthOfRecved = 0;
    if (!link_usable(sthis)) return TAGWIRE_BAD_HANDLE;
    int total = 0;
    const int result = receive_frame(sthis, Recv, total);
    count_received(sthis, Recv, total, result == TAGWIRE_OK);
    if (result == TAGWIRE_OK) *pLengthOfRecved = total;
    return result;
}

int I_GetDataFromPort2(Reader* /*sthis*/, u8* /*Recv*/, int* /*pLengthOfRecved*/) { return TAGWIRE_OK; }
