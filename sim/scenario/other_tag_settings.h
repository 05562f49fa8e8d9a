// Tags of air interfaces other than Gen2, as a scenario describes them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "bytes.h"
#include "random.h"

namespace tagwire::sim {

// Where and when a tag is in the field, and how strongly it is heard.
struct TagPlace {
    std::vector<unsigned> antennas{1};  // ports that see the tag, the first is 1
    std::uint8_t rssi = 200;
    std::uint8_t rssi_noise = 0;
    Time arrives{};
    std::optional<Time> departs;

    bool is_present(Time now) const;
    bool is_seen_by(unsigned port) const;
    bool is_seen_by_any(const std::vector<unsigned>& ports) const;
    std::uint8_t measure_rssi(Random& random) const;
};

struct Tag6bSettings : TagPlace {
    std::array<std::uint8_t, 8> id{};
    Bytes memory;                  // from address 8 on; the rest is 0
    std::vector<unsigned> locked;  // addresses besides those of the ID
};

struct TagGbSettings : TagPlace {
    Bytes tag_id;
    Bytes info;
    Bytes user;
    std::array<std::uint8_t, 4> access_password{};
    std::array<std::uint8_t, 4> kill_password{};
};

// Which of two families the reader serves; they share their command codes.
enum class ProtocolFamily { gb, jb };

}  // namespace tagwire::sim
