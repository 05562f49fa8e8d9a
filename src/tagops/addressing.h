// How commands name the tags that they mean, and what a tag's answer means.
#pragma once

#include "link/command.h"

namespace tagwire {

// The one tag that a command is for, by its ID or by a mask. The ID stands before the fields of the command,
// the mask behind them.
class OneTag {
  public:
    static constexpr u8 by_mask = 255;

    OneTag(u8 words, const u8* id, const Mask& mask) : words_(words), id_(id), mask_(mask) {}

    bool is_at_most(u8 words) const { return words_ <= words || words_ == by_mask; }

    // Both put themselves into a frame, or nothing where the other one names the tag.
    struct Id {
        const OneTag& tag;
        void put(Command& command) const
        {
            if (tag.words_ != by_mask) command.bytes(tag.id_, 2 * tag.words_);
        }
    };
    struct MaskBlock {
        const OneTag& tag;
        void put(Command& command) const
        {
            if (tag.words_ == by_mask) tag.mask_.put(command);
        }
    };
    Id id() const { return {*this}; }
    MaskBlock mask() const { return {*this}; }

  private:
    u8 words_;
    const u8* id_;
    Mask mask_;
};

// Longest EPC and longest ID of a GB tag, in words, that a command takes.
inline constexpr u8 longest_epc = 31;
inline constexpr u8 longest_gb_id = 15;

// What the status of a tag's answer means: *Errorcode becomes -1 with status 0 and the tag's own code with
// status 0xFC, and stays with any other. `on_success` gets the answer with status 0.
template <class OnSuccess> int tag_status(const Response& response, int* Errorcode, OnSuccess on_success)
{
    if (response.status() == TAGWIRE_OK) {
        *Errorcode = -1;
        on_success(response);
    } else if (response.status() == TAGWIRE_TAG_ERROR) {
        *Errorcode = response[0];
    }
    return response.status();
}

// Receives the answer of a tag and looks at it.
template <class OnSuccess> int tag_result(Command& command, int* Errorcode, OnSuccess on_success)
{
    const int result = command.receive();
    return result != TAGWIRE_OK ? result : tag_status(command.response(), Errorcode, on_success);
}

inline int tag_result(Command& command, int* Errorcode)
{
    return tag_result(command, Errorcode, [](const Response&) {});
}

}  // namespace tagwire
