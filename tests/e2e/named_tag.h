// Commands for one tag: how they name it, and what comes of them.
#pragma once

#include <array>
#include <ostream>

#include "e2e/linked_reader.h"

namespace tagwire::test {

using Password = std::array<unsigned char, 4>;

// How a command names its tag, in the order of the arguments.
struct Naming {
    Bytes epc;
    unsigned char words = 255;
    unsigned char bank = 0;
    Bytes at{0, 0};
    unsigned char bits = 0;
    Bytes mask{0};
};
inline Naming by_epc(const Bytes& epc)
{
    return {epc, static_cast<unsigned char>(epc.size() / 2), 0, {0, 0}, 0, {0}};
}
inline Naming by_mask(unsigned char bank, unsigned char at, unsigned char bits, const Bytes& mask)
{
    return {{}, 255, bank, {0, at}, bits, mask};
}

// Result of a tag command with the tag's own code.
struct Outcome {
    int result;
    int code;
    bool operator==(const Outcome&) const = default;
};
inline void PrintTo(const Outcome& outcome, std::ostream* out)
{
    *out << outcome.result << " code " << outcome.code;
}
inline constexpr Outcome done{0, -1};
inline constexpr int untouched = 12345;

}  // namespace tagwire::test
