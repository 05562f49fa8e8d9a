// How commands name the tags that they mean, and what they make of a tag's error.
#pragma once

#include <optional>

#include "link/command.h"

namespace tagwire::engine {

// Bits that tags must hold: the block of bank, bit address, count of bits and the bits, rounded up to bytes.
struct Mask {
    u8 bank;
    const u8* address;
    u8 length;
    const u8* data;

    void add_to(Command& command) const
    {
        command.byte(bank).bytes(address, 2).byte(length).bytes(data, (length + 7) / 8);
    }
};

// The one tag that a command is for: an ID and its count of words, which says by_mask where the mask names
// the tag.
struct OneTag {
    static constexpr u8 by_mask = 255;

    u8 words;
    const u8* id;
    Mask mask;
};

// The longest ID that a command takes, in words.
inline constexpr u8 longest_epc = 31;
inline constexpr u8 longest_gb_id = 15;
inline constexpr u8 longest_epc_of_sensor = 14;
inline constexpr u8 longest_epc_with_uid = 15;
inline constexpr u8 longest_epc_of_register_tag = 14;
inline constexpr u8 longest_epc_of_peripheral_tag = 15;

// What becomes of *Errorcode with status 0, with 0xFC and with any other status.
inline constexpr ErrorRule tag_error{ErrorRule::minus_one, ErrorRule::first_byte, ErrorRule::kept};
inline constexpr ErrorRule led_error{ErrorRule::kept, ErrorRule::first_byte, ErrorRule::kept};
inline constexpr ErrorRule no_error{ErrorRule::zero, ErrorRule::zero, ErrorRule::zero};
inline constexpr ErrorRule byte_error{ErrorRule::first_byte, ErrorRule::first_byte, ErrorRule::first_byte};
inline constexpr ErrorRule bx_error{ErrorRule::zero, ErrorRule::first_byte, ErrorRule::first_byte};

// A command for one tag: its fields, tag() among them, and how its exchange ends. The mask goes behind the
// fields. With an ID that is too long nothing happens at all, and the result is 255.
class TagCommand {
  public:
    TagCommand(Reader* reader, u8* address, u8 code, u8 longest, const OneTag& tag,
               Inventory mark = Inventory::no)
        : tag_(tag)
    {
        if (tag.words <= longest || tag.words == OneTag::by_mask)
            command_.emplace(reader, address, code, mark);
    }

    // The count of words and the ID, which is not there where the mask names the tag.
    TagCommand& tag()
    {
        byte(tag_.words);
        return tag_.words == OneTag::by_mask ? *this : bytes(tag_.id, 2 * tag_.words);
    }
    TagCommand& byte(u8 value) { return bytes(&value, 1); }
    TagCommand& bytes(std::initializer_list<u8> values)
    {
        return bytes(values.begin(), static_cast<int>(values.size()));
    }
    TagCommand& bytes(const u8* from, int count)
    {
        if (command_) command_->bytes(from, count);
        return *this;
    }

    // As Command's.
    template <class... Ending> int exchange(AddressEcho echo, const Ending&... ending)
    {
        return complete() ? command_->exchange(echo, ending...) : TAGWIRE_BAD_ARGUMENT;
    }
    // Sends, and returns what the receiver did.
    int exchange_unchecked(ReceiverOfCode receiver)
    {
        if (!complete()) return TAGWIRE_BAD_ARGUMENT;
        command_->send();
        return command_->receive_by(receiver);
    }

  private:
    bool complete()
    {
        if (command_ && tag_.words == OneTag::by_mask) command_->add(tag_.mask);
        return command_.has_value();
    }

    OneTag tag_;
    std::optional<Command> command_;
};

}  // namespace tagwire::engine
