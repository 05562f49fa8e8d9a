// Reading and writing the words of a tag's memory: the same fields for Gen2 and for GB tags.
#pragma once

#include "tagops/addressing.h"

namespace tagwire::engine {

// A place in a memory bank; its pointer, in words, has 1 or 2 bytes.
struct WordPlace {
    u8 bank;
    const u8* pointer;
    int pointer_size;
};

inline int read_words(TagCommand& command, const WordPlace& from, u8 count, const u8* Password, u8* Data,
                      int* Errorcode)
{
    command.tag().byte(from.bank).bytes(from.pointer, from.pointer_size).byte(count).bytes(Password, 4);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode, all_data_to(Data));
}

inline int write_words(TagCommand& command, const WordPlace& to, u8 count, const u8* words,
                       const u8* Password, int* Errorcode)
{
    command.byte(count).tag().byte(to.bank).bytes(to.pointer, to.pointer_size).bytes(words, 2 * count);
    command.bytes(Password, 4);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode);
}

}  // namespace tagwire::engine
