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

// What may be a frame, by its CRC. What is shorter than any frame was none from the start.
inline void count_frame(Reader* reader, int length, bool is_good)
{
    LinkCounters& counters = reader->keeping.counters;
    if (is_good) counters.frames.count(1);
    if (!is_good && length >= static_cast<int>(frame::shortest_response)) counters.bad_crc.count(1);
}

// Bytes that are in no frame.
inline void count_skipped(Reader* reader, int count)
{
    if (count > 0) reader->keeping.counters.skipped_bytes.count(static_cast<std::uint64_t>(count));
}

// A whole frame with zeros behind it. The decoder of tags trusts the counts in a frame and reads on into
// these zeros, never past them.
class FrameCopy {
  public:
    static constexpr int size = 300;
    u8 bytes[size];

    int length() const { return bytes[frame::len] + 1; }
    u8 status() const { return bytes[frame::status]; }
    // Behind the status; below 0 in a frame that is too short for one.
    int data_size() const { return length() - static_cast<int>(frame::shortest_response); }
    const u8* data() const { return bytes + frame::response_data; }

    // From the bytes of an assembly. True when the frame's CRC is good; only then are the bytes behind it zero.
    // Another check in the Reader's table is asked about every frame.
    bool take(Reader* reader, Assembly& assembly, const u8* from, int length)
    {
        const auto check = reader->operations.CheckCRC;
        const bool may_be_good = check != I_CheckCRC || assembly.may_be_frame(from, length);
        const bool is_good =
            may_be_good && take_checked(from, length, [&] { return check(reader, bytes, length) == 0; });
        count_frame(reader, length, is_good);
        return is_good;
    }
    // The same where no Reader is.
    bool take(Assembly& assembly, const u8* from, int length)
    {
        return assembly.may_be_frame(from, length) && take_checked(from, length, [&] {
                   return crc16(bytes, static_cast<std::size_t>(length)) == 0;
               });
    }

  private:
    template <class Check> bool take_checked(const u8* from, int length, Check is_good)
    {
        const int checked = length + 2;  // the check may write so much, and writes zeros behind a good frame
        std::memcpy(bytes, from, static_cast<std::size_t>(length));
        bytes[length] = bytes[length + 1] = 0;
        if (used_ < checked) used_ = checked;
        if (!is_good()) return false;
        if (used_ > checked) std::memset(bytes + checked, 0, static_cast<std::size_t>(used_ - checked));
        used_ = checked;
        return true;
    }

    int used_ = size;  // behind these all is zero
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
    const int size = bytes.size();
    const bool found = find_frame(
        bytes, [&] { return is_good(reader, bytes, command) || bytes[2] == 0; },
        [&](const u8* front, int length) { return frame.take(reader, bytes, front, length); });
    count_skipped(reader, size - bytes.size());
    return found;
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
