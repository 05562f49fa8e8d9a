// Finding whole frames in the bytes from the link.
#pragma once

#include <cstring>

#include "link/assembly.h"
#include "link/frame.h"
#include "reader/reader.h"

namespace tagwire {

// The command byte of a reader that knows no such command.
inline constexpr u8 error_echo = 0xEE;

// A whole frame with zeros behind it. The decoder of tags trusts the counts in a frame and reads on into
// these zeros, never past them.
struct FrameCopy {
    static constexpr int size = 300;
    u8 bytes[size];

    int length() const { return bytes[frame::len] + 1; }
    u8 status() const { return bytes[frame::status]; }

    // True when the frame's CRC is good; only then are the bytes behind it zero.
    bool take(Reader* reader, const u8* from, int length)
    {
        std::memcpy(bytes, from, static_cast<std::size_t>(length));
        if (reader->operations.CheckCRC(reader, bytes, length) != 0) return false;
        std::memset(bytes + length, 0, static_cast<std::size_t>(size - length));
        return true;
    }
};

inline Assembly assembly_of(Reader* reader) { return {reader->btArBuff, buffer_size}; }

using HeaderTest = bool (*)(const Reader* reader, const Assembly& bytes, int command);

struct Header {
    int needs;  // bytes that must be there before the test
    HeaderTest good;
};

// A frame from the reader's own bus address.
inline constexpr Header addressed{4, [](const Reader* reader, const Assembly& bytes, int command) {
                                      return bytes[0] > 3 && bytes[2] == command &&
                                             bytes[1] == reader->ReaderAddr;
                                  }};
// The next frame with a good CRC, left at the front of `bytes`; false until more bytes are there. A candidate
// with command byte 0 is let through to the CRC even with a bad header.
inline bool find_frame(Reader* reader, Assembly& bytes, const Header& header, int command, FrameCopy& frame)
{
    while (bytes.size() >= 1) {
        const int length = bytes[0] + 1;
        const bool bad_header = bytes.size() >= header.needs && !header.good(reader, bytes, command);
        if (bad_header && bytes[2] != 0) {
            bytes.drop(1);
            continue;
        }
        if (bytes.size() < length) return false;
        if (frame.take(reader, bytes.front(), length)) return true;
        bytes.drop(1);
    }
    return false;
}

}  // namespace tagwire
