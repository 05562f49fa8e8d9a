// Finding whole frames in the bytes from the link.
#pragma once

#include <cstring>
#include <optional>

#include "link/assembly.h"
#include "link/crc16.h"
#include "link/frame.h"
#include "reader/reader.h"

namespace tagwire::engine {

// The command byte of a reader that knows no such command.
inline constexpr u8 error_echo = 0xEE;

// A whole frame with zeros behind it. The decoder of tags trusts the counts in a frame and reads on into
// these zeros, never past them.
class FrameCopy {
  public:
    static constexpr int size = 300;
    u8 bytes[size];

    int length() const { return bytes[frame::len] + 1; }
    u8 status() const { return bytes[frame::status]; }

    // True when the frame's CRC is good; only then are the bytes behind it zero.
    bool take(Reader* reader, const u8* from, int length)
    {
        copy(from, length);
        return end_behind(length, reader->operations.CheckCRC(reader, bytes, length) == 0);
    }
    // The same where no Reader is.
    bool take(const u8* from, int length)
    {
        copy(from, length);
        return end_behind(length, crc16(bytes, static_cast<std::size_t>(length)) == 0);
    }

  private:
    void copy(const u8* from, int length) { std::memcpy(bytes, from, static_cast<std::size_t>(length)); }
    bool end_behind(int length, bool is_good)
    {
        if (is_good) std::memset(bytes + length, 0, static_cast<std::size_t>(size - length));
        return is_good;
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

// The next frame with a good CRC, left at the front of `bytes`; false until more bytes are there. `may_begin`
// looks at the bytes in front, 4 or more; `take` at as many as the frame has.
template <class MayBegin, class Take> bool find_frame(Assembly& bytes, MayBegin may_begin, Take take)
{
    constexpr int header_size = 4;
    while (bytes.size() >= header_size) {
        if (may_begin()) {
            const int length = bytes[0] + 1;
            if (bytes.size() < length) return false;
            if (take(bytes.front(), length)) return true;
        }
        bytes.drop(1);
    }
    return false;
}

// The same for a receiver. A candidate with command byte 0 is let through to the CRC even with a bad header.
inline bool find_frame(Reader* reader, Assembly& bytes, HeaderTest is_good, int command, FrameCopy& frame)
{
    return find_frame(
        bytes, [&] { return is_good(reader, bytes, command) || bytes[2] == 0; },
        [&](const u8* front, int length) { return frame.take(reader, front, length); });
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

}  // namespace tagwire::engine
