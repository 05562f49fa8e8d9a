// Requests to one Gen2 tag: taken apart, and carried out on the tag that they name.
#pragma once

#include <functional>
#include <optional>

#include "commands/dispatch.h"
#include "commands/fields.h"
#include "field/tag_access.h"

namespace tagwire::sim {

inline constexpr std::uint8_t longest_epc = 31;  // words

inline constexpr std::size_t password_size = 4;

struct TagRequest {
    TagChoice tag;
    Bytes own;  // the fields of the command itself
};

// `own_size` bytes of own fields; the length of the EPC stands at `head`. Nothing for a length that fits no
// layout or a value out of range.
std::optional<TagRequest> parse_tag_request(const Bytes& data, std::size_t head, std::size_t own_size);

std::optional<Mask> take_mask_field(Fields& fields);

// What a command does to a tag once the password has opened it.
struct TagAction {
    Password password{};
    std::function<TagAnswer(TagAccess&)> act;
};

// Takes a command's own fields; nothing when one is out of range.
using PrepareAction = std::optional<TagAction> (*)(Fields& own);

void answer(Device& device, const Call& call, const TagAnswer& answer);

// What comes of the action on the first tag that fits.
TagAnswer try_on_tag(Device& device, Time now, const std::function<bool(const Tag&)>& fits,
                     const TagAction& action);
void act_on_tag(Device& device, const Call& call, const std::function<bool(const Tag&)>& fits,
                const TagAction& action);
void act_on_tag(Device& device, const Call& call, const std::optional<TagRequest>& request,
                PrepareAction prepare);

template <std::size_t own_size, PrepareAction prepare> void act_on_tag(Device& device, const Call& call)
{
    act_on_tag(device, call, parse_tag_request(call.data(), 0, own_size), prepare);
}

// Whether the tag is meant and replies.
std::function<bool(const Tag&)> is_meant(const TagChoice& choice);

}  // namespace tagwire::sim
