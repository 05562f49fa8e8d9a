// The tag decoder: one byte chooses the layout, the rest is the frame.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "link/framing.h"

namespace {

void check(RFIDTagStruct tag, int kind)
{
    const std::size_t length = std::strlen(tag->UID);
    if (length % 2 != 0 || length > 510 || kind < 1 || kind > 2) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    static Reader* reader = Create_Reader();
    reader->MypCallBack = check;
    // On the heap, so that a read past its end is seen.
    auto* frame = new tagwire::engine::FrameCopy{};
    std::memcpy(frame->bytes, data + 1, std::min<std::size_t>(size - 1, 256));
    reader->operations.parserRidTag(reader, frame->bytes, data[0]);
    delete frame;
    return 0;
}
