// Finding whole frames in the bytes from the link.
#pragma once

#include <cstring>
#include <optional>

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

// Whether the bytes in front, 4 or more, can be the head of a frame that the receiver takes.
using HeaderTest = bool (*)(const Reader* reader, const Assembly& bytes, int command);

// A frame from the reader's own bus address.
inline bool is_addressed(const Reader* reader, const Assembly& bytes, int command)
{
    return bytes[0] > 3 && bytes[2] == command && bytes[1] == reader->ReaderAddr;
}

// The next frame with a good CRC, left at the front of `bytes`; false until more bytes are there. A candidate
// with command byte 0 is let through to the CRC even with a bad header.
inline bool find_frame(Reader* reader, Assembly& bytes, HeaderTest is_good, int command, FrameCopy& frame)
{
    constexpr int header_size = 4;
    while (bytes.size() >= header_size) {
        const int length = bytes[0] + 1;
        if (!is_good(reader, bytes, command) && bytes[2] != 0) {
            bytes.drop(1);
            continue;
        }
        if (bytes.size() < length) return false;
        if (frame.take(reader, bytes.front(), length)) return true;
        bytes.drop(1);
    }
    return false;
}

// What an answer of several frames has come to: nothing while it goes on.
using Outcome = std::optional<int>;

// Takes a chunk, and gives each frame that `find` leaves at the front of the bytes to `accept`, until that
// has an outcome.
template <class Find, class Accept>
Outcome take_frames(Assembly& bytes, const u8* chunk, int count, Find find, Accept accept)
{
    Outcome outcome;
    bytes.feed(chunk, count, [&] {
        FrameCopy frame;
        while (!outcome && find(frame)) {
            outcome = accept(frame);
            bytes.drop(frame.length());
        }
        return outcome.has_value();
    });
    return outcome;
}

}  // namespace tagwire
