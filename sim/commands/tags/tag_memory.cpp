// Reading, writing and erasing the memory of one Gen2 tag.
#include <utility>

#include "commands/codes.h"
#include "commands/tags/tag_request.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_read = longest_answer_data / 2;  // words
constexpr std::size_t byte_pointer = 1;
constexpr std::size_t word_pointer = 2;

// Bank, pointer, number of words, password.
constexpr std::size_t words_size(std::size_t pointer_size) { return 1 + pointer_size + 1 + password_size; }

template <std::size_t pointer_size> std::optional<Words> take_place(Fields& own)
{
    const std::uint8_t bank = own.byte();
    const std::size_t first = pointer_size == byte_pointer ? own.byte() : own.word();
    if (bank > 3) return std::nullopt;
    return Words{static_cast<Bank>(bank), first, 0};
}

template <std::size_t pointer_size> std::optional<TagAction> prepare_read(Fields& own)
{
    auto words = take_place<pointer_size>(own);
    const std::uint8_t count = own.byte();
    if (!words || count == 0 || count > longest_read) return std::nullopt;
    words->count = count;
    return TagAction{own.fixed<password_size>(),
                     [words = *words](TagAccess& tag) { return tag.read(words); }};
}

std::optional<TagAction> prepare_erase(Fields& own)
{
    auto words = take_place<byte_pointer>(own);
    const std::uint8_t count = own.byte();
    if (!words || count == 0) return std::nullopt;
    words->count = count;
    return TagAction{own.fixed<password_size>(),
                     [words = *words](TagAccess& tag) { return tag.erase(words); }};
}

template <std::size_t pointer_size> std::optional<TagAction> prepare_write(Fields& own)
{
    const auto place = take_place<pointer_size>(own);
    if (!place) return std::nullopt;
    Bytes data = own.bytes(own.left() - password_size);
    return TagAction{own.fixed<password_size>(), [place = *place, data = std::move(data)](TagAccess& tag) {
                         return tag.write(place.bank, place.first, data);
                     }};
}

// The number of words stands before everything else.
template <std::size_t pointer_size> void write(Device& device, const Call& call)
{
    if (call.data().empty() || call.data()[0] == 0) return device.answer(call, status::bad_parameter);
    const std::size_t own_size = 1 + pointer_size + std::size_t{call.data()[0]} * 2 + password_size;
    act_on_tag(device, call, parse_tag_request(call.data(), 1, own_size), prepare_write<pointer_size>);
}

void write_epc(Device& device, const Call& call)
{
    const Bytes& data = call.data();
    const std::size_t head = 1 + password_size;
    if (data.size() < head || data[0] > longest_epc || data.size() != head + std::size_t{data[0]} * 2) {
        return device.answer(call, status::bad_parameter);
    }
    Fields fields(data, 1);
    const auto password = fields.fixed<password_size>();
    const Bytes epc = fields.bytes(fields.left());
    act_on_tag(device, call, is_meant({}), {password, [&epc](TagAccess& tag) { return tag.write_epc(epc); }});
}

}  // namespace

void add_tag_memory_commands(CommandTable& table)
{
    table[command::read_tag] = act_on_tag<words_size(byte_pointer), prepare_read<byte_pointer>>;
    table[command::write_tag] = write<byte_pointer>;
    table[command::write_epc] = write_epc;
    table[command::erase_blocks] = act_on_tag<words_size(byte_pointer), prepare_erase>;
    table[command::write_blocks] = write<byte_pointer>;
    table[command::read_tag_extended] = act_on_tag<words_size(word_pointer), prepare_read<word_pointer>>;
    table[command::write_tag_extended] = write<word_pointer>;
    table[command::write_blocks_extended] = write<word_pointer>;
}

}  // namespace tagwire::sim
