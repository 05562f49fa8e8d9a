// The frame copy that receivers hand to the tag decoder.
#pragma once

#include <cstring>

#include "reader/reader.h"

namespace tagwire {

// A whole frame with zeros behind it. The decoder trusts the counts in a frame and reads on into these zeros,
// never past them.
struct FrameCopy {
    static constexpr int size = 300;
    u8 bytes[size];

    // True when the frame's CRC is good; only then are the bytes behind it zero.
    bool take(Reader* reader, const u8* from, int length)
    {
        std::memcpy(bytes, from, static_cast<std::size_t>(length));
        if (reader->operations.CheckCRC(reader, bytes, length) != 0) return false;
        std::memset(bytes + length, 0, static_cast<std::size_t>(size - length));
        return true;
    }
};

}  // namespace tagwire
