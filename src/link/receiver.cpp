// The single-response receiver.
#include <cstring>

#include "link/clock.h"
#include "link/descriptor.h"
#include "link/frame.h"
#include "tagwire/result.h"

namespace tagwire::engine {
namespace {

constexpr int first_byte_limit_ms = 1500;
constexpr int whole_frame_limit_ms = 2000;

// The check writes two bytes behind the bytes it covers.
constexpr int receive_room = buffer_size - static_cast<int>(frame::crc_size);

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
    sthis->time1 = getCurrentTimeMsec();
    for (;;) {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->btRecvArr);
        if (n > 0) {
            if (n > receive_room - total) return TAGWIRE_NO_ANSWER;
            std::memcpy(Recv + total, sthis->btRecvArr, static_cast<std::size_t>(n));
            total += n;
            if (sthis->operations.CheckCRC(sthis, Recv, Recv[frame::len] + 1) == TAGWIRE_OK) {
                *pLengthOfRecved = total;
                return TAGWIRE_OK;
            }
        } else {
            pause_for_input(sthis, 10);
        }
        sthis->time2 = getCurrentTimeMsec();
        const std::int64_t elapsed = sthis->time2 - sthis->time1;
        if (elapsed > first_byte_limit_ms && total == 0) return TAGWIRE_NO_ANSWER;
        if (sthis->keeping.retired) return TAGWIRE_NO_ANSWER;
        pause_for_input(sthis, 1);
        if (elapsed > whole_frame_limit_ms) return TAGWIRE_NO_ANSWER;
    }
}

int I_GetDataFromPort2(Reader* /*sthis*/, u8* /*Recv*/, int* /*pLengthOfRecved*/) { return TAGWIRE_OK; }
