// What readers say about ISO 18000-6B tags.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "bytes.h"

namespace tagwire::tool {

inline constexpr std::size_t id_bytes_6b = 8;

struct Tag6b {
    std::string id;
    std::uint8_t rssi = 0;

    bool operator==(const Tag6b&) const = default;
};

// The answer about one tag: a count, the ID, the signal strength.
std::vector<Tag6b> decode_single_6b(std::span<const std::uint8_t, 10> reported);

// So many records of ID and signal strength, as far as there are bytes.
std::vector<Tag6b> decode_list_6b(std::span<const std::uint8_t> list, int count);

// The condition bytes that are compared, the highest bit standing for the first, when so many are given.
std::uint8_t compare_first_bytes(std::size_t count);

}  // namespace tagwire::tool
