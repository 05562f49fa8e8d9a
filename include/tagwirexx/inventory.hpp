// Inventories: which tags are there?
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/password.hpp>
#include <tagwirexx/read.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

struct InventoryPlan {
    int q = 4;  // 0 to 15: about 2^Q tags are expected
    Session session = Session::s0;
    std::optional<Target> target = {};  // which inventoried flag is looked for; the reader's own when empty
    std::vector<Port> antennas = {};    // one after the other, 1 to 128; empty: as the reader is set
    // Of each antenna's inventory: up to 25.5 s in steps of 100 ms, rounded up; the reader's own when empty.
    std::optional<std::chrono::milliseconds> scan_time = {};
    std::optional<Mask> mask = {};    // only tags that match; up to 255 bits
    std::optional<Words> words = {};  // read from each tag beside its EPC: 1 to 119 words
};

// A tag over all ports that read it.
struct SeenTag {
    Epc epc = {};
    std::optional<Tid> tid = {};
    std::optional<TagId> id = {};
    std::optional<Bytes> data = {};
    std::vector<Port> ports = {};  // ascending; an unknown one comes first
    unsigned count = 0;
    int rssi = 0;  // the strongest
};

// One that ends before its time is an Error, whose reads() are what it brought.
struct InventoryResult {
    // Each tag once per port, in the order of their first reading, with the number of readings and the
    // strongest of them. Tags of one EPC are told apart by `tid`, where that was read from its first word on.
    std::vector<Read> reads = {};
    bool complete = true;  // false: the scan time ran out, there may be more tags
    std::chrono::milliseconds duration = {};
    unsigned bad_records = 0;  // damaged in spite of a good check sum, and left out

    TAGWIREXX_API std::vector<SeenTag> tags() const;
};

struct StocktakePlan {
    int q = 4;
    std::vector<Session> sessions = {Session::s1, Session::s2};  // in turn
    std::vector<Port> antennas = {};
    std::optional<std::chrono::milliseconds> scan_time = {};
    std::optional<Mask> mask = {};
    std::optional<Words> words = {};
    unsigned quiet_rounds = 2;  // ends when so many rounds of all sessions and targets brought no new tag
    unsigned most_rounds = 50;
};

struct StocktakeResult {
    InventoryResult found = {};  // complete: it ended because nothing new came
    unsigned rounds = 0;
};

// Tags of the other air interfaces.

// A comparison of a 6B tag's memory with up to 8 bytes.
struct Condition6b {
    enum class Comparison : std::uint8_t { equal, not_equal, greater, less };
    Comparison comparison = Comparison::equal;
    unsigned first = 0;  // byte of the tag's memory, 0 to 255
    Bytes content = {};  // 1 to 8 bytes
    // Which of 8 bytes are compared, the highest bit for the first; as many as `content` has when empty.
    std::optional<std::uint8_t> compared = {};
};

struct OtherTagsPlan {
    std::optional<Port> antenna = {};                         // 1 to 128; as the reader is set when empty
    std::optional<std::chrono::milliseconds> scan_time = {};  // as of an InventoryPlan
    Password password = {};                                   // for `words`; zeros: none
    // Memory areas of these tags have numbers of their own: 0x00 information, 0x10 coding, 0x20 security,
    // 0x30 user.
    struct Area {
        std::uint8_t number = 0;
        unsigned first = 0;
        unsigned count = 0;
    };
    std::optional<Area> words = {};  // 1 to 31 words
    struct AreaMask {
        std::uint8_t area = 0x10;
        unsigned bit = 0;
        Bytes bytes = {};
        unsigned bits = 0;  // 0: all
    };
    std::optional<AreaMask> mask = {};
    std::uint8_t algorithm = 0;  // of JB tags: how they are told apart, the reader's own coding
};

}  // namespace v1
}  // namespace tagwire
