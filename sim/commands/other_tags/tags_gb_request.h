// The requests to GB and JB tags, taken apart. Every function gives nothing for a length that fits no layout
// or a value out of range.
#pragma once

#include <optional>

#include "field/other_tags.h"

namespace tagwire::sim {

// A tag named by its ID or by a mask; an empty ID stands for any tag.
struct GbTarget {
    Bytes tag_id;
    std::optional<GbMask> mask;
};

struct GbTagRequest {
    GbTarget target;
    Bytes own;  // the fields of the command itself
};

struct GbInventoryRequest {
    std::optional<GbWords> read;
    GbPassword password{};
    std::optional<GbMask> mask;
    std::uint8_t antenna = 0;  // as in the fast tail of Gen2 inventories
    std::uint8_t scan_time = 0;
};

// `own_size` bytes of own fields; the length of the ID stands at `head`.
std::optional<GbTagRequest> parse_gb_tag_request(const Bytes& data, std::size_t head, std::size_t own_size);
// A request to JB tags begins with one byte more.
std::optional<GbInventoryRequest> parse_gb_inventory(const Bytes& data, ProtocolFamily family, bool reads);

}  // namespace tagwire::sim
