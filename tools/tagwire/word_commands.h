// What the commands for Gen2 tags and those for GB and JB tags have in common.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app.h"
#include "memory_transfer.h"
#include "tag_call.h"
#include "tag_options.h"

namespace tagwire::tool {

// Longer writes may take the reader more time than the library waits for.
inline constexpr std::uint32_t usual_words_per_write = 32;
inline constexpr std::uint32_t last_word = 65535;
// Of an answer, which has room for 250 bytes.
inline constexpr std::uint32_t most_words_per_read = 125;

// The most words of a write that fit the frame with the name of the tag.
std::uint32_t words_per_write(const TagName& name);

struct WordPlace {
    TagName name;
    Password password{};
    std::uint8_t bank = 0;
    std::uint32_t most_write = usual_words_per_write;
    bool block_write = false;

    TransferLimits limits() const;
};

struct WordArguments {
    TagOptions tag;
    std::string bank;
    std::string word = "0";
    std::string count;
    std::string file;
    DataOptions data;
    std::string chunk = std::to_string(usual_words_per_write);
    bool block = false;
    bool verify = false;
};

void add_read_options(CLI::App& command, WordArguments& arguments, const TagFamily& family);
void add_write_options(CLI::App& command, WordArguments& arguments, const TagFamily& family);
void add_erase_options(CLI::App& command, WordArguments& arguments, const TagFamily& family);

using MakeWordMemory =
    std::function<std::unique_ptr<TagMemory>(const ReaderConnection& reader, const WordPlace& place)>;

Work plan_word_read(const WordArguments& arguments, const TagFamily& family, const MakeWordMemory& make);
Work plan_word_write(const WordArguments& arguments, const TagFamily& family, const MakeWordMemory& make);

using EraseCall = std::function<TagResult(TagCall& tag, const WordPlace& place, const Run& run)>;

Work plan_word_erase(const WordArguments& arguments, const TagFamily& family, const RunLimits& limits,
                     const EraseCall& erase);

struct KillArguments {
    TagOptions tag;
    std::string kill_password;
    bool yes = false;
};

void add_kill_options(CLI::App& command, KillArguments& arguments, const TagFamily& family);

using KillCall = std::function<TagResult(TagCall& tag, std::uint8_t* password)>;

Work plan_kill(const KillArguments& arguments, const TagFamily& family, const KillCall& kill);

}  // namespace tagwire::tool
