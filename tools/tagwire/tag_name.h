// Masks and names of tags as the calls of the C library take them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "bytes.h"
#include "names.h"
#include "parse.h"

namespace tagwire::tool {

inline constexpr std::size_t most_epc_words = 31;

struct MaskArguments {
    explicit MaskArguments(const std::optional<Mask>& mask);

    std::uint8_t bank = 0;
    std::array<std::uint8_t, 2> address{};
    std::uint8_t bits = 0;
    Bytes data;  // never empty
};

}  // namespace tagwire::tool
