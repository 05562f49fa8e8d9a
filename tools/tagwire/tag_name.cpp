#include "tag_name.h"

#include <algorithm>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::uint8_t reserved_bank = 0;
constexpr std::uint32_t control_word_address = 1;
constexpr std::uint32_t epc_address = 2;
constexpr std::uint32_t access_password_address = 2;
constexpr unsigned length_shift = 11;
constexpr std::size_t most_mask_bits = 255;

// The two bytes of a word that was written, or nothing when it was not.
std::optional<std::span<const std::uint8_t>> word_of(const WordsWritten& words, std::uint32_t address)
{
    if (address < words.first) return std::nullopt;
    const auto at = std::size_t{address - words.first} * word_bytes;
    if (at + word_bytes > words.data.size()) return std::nullopt;
    return words.data.subspan(at, word_bytes);
}

bool bit_at(std::span<const std::uint8_t> bytes, std::size_t bit)
{
    return ((bytes[bit / 8] >> (7 - bit % 8)) & 1) != 0;
}

void set_bit(Bytes& bytes, std::size_t bit, bool value)
{
    const auto flag = static_cast<std::uint8_t>(0x80 >> (bit % 8));
    auto& byte = bytes[bit / 8];
    byte = static_cast<std::uint8_t>(value ? byte | flag : byte & ~flag);
}

Mask epc_mask(const Bytes& begin_of_epc)
{
    Mask mask;
    mask.bank = epc_bank;
    mask.bit_address = epc_address * 16;
    mask.bits = static_cast<std::uint8_t>(std::min(begin_of_epc.size() * 8, most_mask_bits));
    mask.data = begin_of_epc;
    mask.data.resize((mask.bits + 7U) / 8);
    return mask;
}

// An EPC that grew beyond what is known of it is named by its beginning.
TagName epc_after(const Bytes& epc, const WordsWritten& words)
{
    auto length = epc.size() / word_bytes;
    if (const auto control = word_of(words, control_word_address)) length = (*control)[0] >> 3;
    Bytes known;
    for (std::uint32_t i = 0; i < length; ++i) {
        const auto written = word_of(words, epc_address + i);
        const auto old = std::size_t{i} * word_bytes;
        if (!written && old >= epc.size()) break;
        const auto word = written.value_or(std::span(epc).subspan(std::min(old, epc.size())));
        known.insert(known.end(), word.begin(), word.begin() + word_bytes);
    }
    if (known.size() == length * word_bytes) return {known, std::nullopt};
    return {{}, epc_mask(known)};
}

}  // namespace

std::string name_text(const TagName& name, const TagFamily& family)
{
    if (!name.mask) return hex_text(name.id);
    return fmt::format("with mask {}", mask_text(*name.mask, family.banks));
}

void add_name(Json& object, const TagName& name, const TagFamily& family)
{
    if (name.mask) {
        object["mask"] = mask_text(*name.mask, family.banks);
    } else {
        object[std::string(family.id_key)] = hex_text(name.id);
    }
}

Mask mask_after(Mask mask, const WordsWritten& words)
{
    if (mask.bank != words.bank) return mask;
    const auto written_from = std::size_t{words.first} * 16;
    const auto written_bits = words.data.size() * 8;
    for (std::size_t i = 0; i < mask.bits; ++i) {
        const auto bit = std::size_t{mask.bit_address} + i;
        if (bit < written_from || bit >= written_from + written_bits) continue;
        set_bit(mask.data, i, bit_at(words.data, bit - written_from));
    }
    return mask;
}

TagName gen2_name_after(const TagName& name, const WordsWritten& words)
{
    if (name.mask) return {{}, mask_after(*name.mask, words)};
    return words.bank == epc_bank ? epc_after(name.id, words) : name;
}

Password gen2_password_after(const Password& password, const WordsWritten& words)
{
    if (words.bank != reserved_bank) return password;
    const auto high = word_of(words, access_password_address);
    const auto low = word_of(words, access_password_address + 1);
    // Zeros may stand for a password that is not known: half of another makes none.
    if (password == Password{} && !(high && low)) return password;
    Password after = password;
    if (high) std::copy(high->begin(), high->end(), after.begin());
    if (low) std::copy(low->begin(), low->end(), after.begin() + word_bytes);
    return after;
}

std::uint16_t control_word_with_length(std::uint16_t control_word, std::size_t epc_words)
{
    const unsigned rest = control_word & ((1U << length_shift) - 1);
    return static_cast<std::uint16_t>(epc_words << length_shift | rest);
}

MaskArguments::MaskArguments(const std::optional<Mask>& mask) : data(1)
{
    if (!mask) return;
    bank = mask->bank;
    address = high_byte_first(mask->bit_address);
    bits = mask->bits;
    data = mask->data;
}

TagArguments::TagArguments(const TagName& name)
    : id(name.id), id_words(static_cast<std::uint8_t>(name.mask ? 255 : name.id.size() / word_bytes)),
      mask(name.mask)
{
    id.resize(std::max<std::size_t>(id.size(), 1));
}

}  // namespace tagwire::tool
