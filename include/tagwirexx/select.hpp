// The filter that a reader applies to what it does with Gen2 tags afterwards, inventories and commands for one tag
// alike. It stays until it is taken away, or the reader is restarted.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

// The flag of a tag that the filter changes.
enum class SelectTarget : std::uint8_t { s0, s1, s2, s3, sl };

struct Selection {
    Mask mask = {};
    std::vector<Port> antennas = {};  // 1 to 64, that get the filter; empty: those that are enabled
    SelectTarget target = SelectTarget::s0;
    int action = 0;         // on tags that match and on the others: the air interface's 0 to 7
    bool truncate = false;  // tags answer with the EPC behind the mask only
    // For one antenna: how long the carrier stays on, 0 to 255 in the reader's unit.
    std::optional<int> carrier_time = {};
};

}  // namespace v1
}  // namespace tagwire
