// How one tag is told from the others.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "bytes.h"
#include "format.h"
#include "names.h"
#include "parse.h"

namespace tagwire::tool {

// Gen2, or GB and JB: how many words an ID may have, and what its memory is called.
struct TagFamily {
    std::string_view id_option;
    std::string_view id_key;  // of JSON
    std::uint32_t most_id_words;
    std::string_view bank_word;  // "bank" or "area"
    NameSet banks;
};

inline constexpr TagFamily gen2_family{"--epc", "epc", 31, "bank", gen2_banks};

// Its ID, or bits that its memory holds.
struct TagName {
    Bytes id;  // whole words; empty when the mask names the tag
    std::optional<Mask> mask;

    bool operator==(const TagName&) const = default;
};

// "E280..." or "with mask epc:32:E280/16"
std::string name_text(const TagName& name, const TagFamily& family);
void add_name(Json& object, const TagName& name, const TagFamily& family);

// A write to the memory of the tag: whole words.
struct WordsWritten {
    std::uint8_t bank;
    std::uint32_t first;
    std::span<const std::uint8_t> data;
};

// The mask that a tag meets once the words are in its memory.
Mask mask_after(Mask mask, const WordsWritten& words);

// The name that a Gen2 tag answers to once the words are in its memory: its EPC may have changed, and bits
// that a mask looks at.
TagName gen2_name_after(const TagName& name, const WordsWritten& words);

// The access password that opens a Gen2 tag once the words are in its memory.
Password gen2_password_after(const Password& password, const WordsWritten& words);

// The protocol control word of a Gen2 tag with the length of another EPC; all else stays.
std::uint16_t control_word_with_length(std::uint16_t control_word, std::size_t epc_words);

// A mask as the calls of the library take it.
struct MaskArguments {
    explicit MaskArguments(const std::optional<Mask>& mask);

    std::uint8_t bank = 0;
    std::array<std::uint8_t, 2> address{};
    std::uint8_t bits = 0;
    Bytes data;  // never empty
};

// A name as the calls of the library take it.
struct TagArguments {
    explicit TagArguments(const TagName& name);

    Bytes id;  // never empty
    std::uint8_t id_words;
    MaskArguments mask;
};

}  // namespace tagwire::tool
