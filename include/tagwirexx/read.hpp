// One tag, read.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include <tagwirexx/identifier.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

// When something arrived, on both clocks, taken together. Reports of a reader carry no time of their own.
struct Received {
    std::chrono::steady_clock::time_point steady = {};  // counts evenly: for intervals
    std::chrono::system_clock::time_point wall = {};    // what the computer took for the time of day
};

// Phase of the backscatter, in the reader's own unit (16 bits for a whole turn).
struct Phase {
    std::uint16_t begin = 0;
    std::uint16_t end = 0;
};

struct Kilohertz {
    std::uint32_t value = 0;
    friend std::ostream& operator<<(std::ostream& out, Kilohertz frequency)
    {
        return out << frequency.value << " kHz";
    }
};

struct Read {
    Epc epc = {};  // empty where the report carries something else
    std::optional<Tid> tid = {};
    std::optional<TagId> id = {};    // of a 6B, GB or JB tag
    std::optional<Bytes> data = {};  // memory words that were asked for
    Port port = {};
    int rssi = 0;                   // the reader's own scale, 0 to 255
    std::uint8_t antenna_byte = 0;  // as it came
    std::optional<Phase> phase = {};
    std::optional<Kilohertz> frequency = {};
    std::uint64_t sequence = 0;  // of a stream: from 1, per source, counted before anything can be dropped
    unsigned count = 1;          // of an inventory: how often the port read the tag
    Received received = {};
};

}  // namespace v1
}  // namespace tagwire
