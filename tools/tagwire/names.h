// Numbers that go by names: memory banks, areas to lock and the like.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tagwire::tool {

struct Name {
    std::string_view name;
    std::uint8_t number;
};

struct NameSet {
    std::span<const Name> names;
    std::uint8_t highest;  // number that may be given without a name
};

// A name of the set, or a number. Throws UsageError; `what` names the value in the message.
std::uint8_t parse_name(std::string_view text, std::string_view what, const NameSet& set);

// "reserved, epc, tid, user or a number from 0 to 3"
std::string choices_text(const NameSet& set);

// The name of a number, or the number itself.
std::string name_text(std::uint8_t number, const NameSet& set);

inline constexpr std::uint8_t epc_bank = 1;
inline constexpr std::array gen2_bank_names{Name{"reserved", 0}, Name{"epc", epc_bank}, Name{"tid", 2},
                                            Name{"user", 3}};
inline constexpr NameSet gen2_banks{gen2_bank_names, 3};

}  // namespace tagwire::tool
