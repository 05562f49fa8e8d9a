// Recordings: every byte that came and went on the links of a Reader or a Stream, as Reader::record() and
// Stream::record() write them. They hold what was sent, passwords included: the files have mode 0600.
//
// The file. All numbers have their low byte first. It begins with the 16 bytes "tagwire-record 1"; records
// follow, each
//
//     u32 size of the payload | u8 kind | u16 source | i64 time | payload | u16 CRC
//
// The CRC is that of the protocol (polynomial 0x8408, preset 0xFFFF) over everything in front of it. Kinds:
//
//     0  a session begins: time is the time of day in nanoseconds since 1970, the payload is empty. The times
//        of what follows are nanoseconds since then, on a clock that counts evenly
//     1  a source: the payload is its name; its number holds until the session ends
//     2  received bytes      3  sent bytes
//     4  losses: the payload is a u64, so many bytes could not be written in time
//
// A file can be appended to: a session begins. What was not written whole when the computer stopped is cut off
// first, so that a recording is whole up to its end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/bytes.hpp>

namespace tagwire {
inline namespace v1 {

struct Recorded {
    std::string source = {};  // the name in a Stream, or the URL
    bool sent = false;        // by the program; else received
    std::chrono::system_clock::time_point at = {};
    Bytes bytes = {};
    std::uint64_t lost = 0;  // bytes that could not be written in front of these
};

// All that is whole in it. Throws Error for a file that is no recording or cannot be read.
TAGWIREXX_API std::vector<Recorded> load_recording(const std::string& path);

}  // namespace v1
}  // namespace tagwire
