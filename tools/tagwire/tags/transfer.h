// Reading and writing the memory of a tag, whatever kind of tag it is.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tags/choice.h"

namespace tagwire::tool {

// What is read or written, as options.
struct Stretch {
    unsigned first = 0;
    std::optional<unsigned> count;  // all there is
    unsigned chunk = 0;             // units of one command
    std::string file;
    Bytes data;
    bool block = false;
    bool yes = false;
};

// How memory is counted: words of 2 bytes, or the bytes of 6B tags.
struct Unit {
    const char* name;
    unsigned bytes;
    unsigned last;       // that can be addressed
    unsigned most_read;  // of one command
    unsigned most_write;
    unsigned usual_write;
};
inline constexpr Unit word_unit{"word", 2, 65535, 125, 255, 32};
inline constexpr Unit byte_unit{"byte", 1, 255, 250, 242, 32};

// The memory of a tag that was found.
struct Memory {
    std::function<Bytes(unsigned first, unsigned count)> read;
    std::function<Bytes()> read_all;
    std::function<void(const Stretch&)> write;
    std::function<void(unsigned first, unsigned count)> erase;
};
using OpenMemory = std::function<Memory(Reader&)>;

// Of a Gen2, GB or JB tag that was found.
template <typename OneTag, typename Bank> Memory memory_of(OneTag tag, Bank bank, unsigned retries)
{
    const auto found = std::make_shared<OneTag>(std::move(tag));
    return {[=](unsigned first, unsigned count) {
                return again(retries, [&] { return found->read(bank, first, count); });
            },
            [=] { return again(retries, [&] { return found->read(bank); }); },
            [=](const Stretch& to) {
                found->write(bank, to.first, to.data, {to.block, to.chunk});
            },
            [=](unsigned first, unsigned count) { found->erase(bank, first, count); }};
}

void add_read_options(CLI::App& command, Stretch& stretch, const Unit& unit);
void add_write_options(CLI::App& command, Stretch& stretch, const Unit& unit);
void add_erase_options(CLI::App& command, Stretch& stretch, const Unit& unit, unsigned most);

// All throw UsageError where the options make no sense together. `place` stands in sentences: "6 words of user".
Work read_work(const Deed& head, const Stretch& stretch, const Unit& unit, const OpenMemory& open);
Work write_work(Deed head, Stretch stretch, const Unit& unit, const std::string& place,
                const OpenMemory& open);
// Asks before.
Work erase_work(Deed head, const Stretch& stretch, const Unit& unit, const std::string& place,
                const std::string& tag, const OpenMemory& open);

}  // namespace tagwire::tool
