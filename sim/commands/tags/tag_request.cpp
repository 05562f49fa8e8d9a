#include "commands/tags/tag_request.h"

#include <utility>

namespace tagwire::sim {

namespace {

constexpr std::uint8_t last_bank = 3;

}  // namespace

std::optional<Mask> take_mask_field(Fields& fields)
{
    const std::uint8_t bank = fields.byte();
    if (bank > last_bank) return std::nullopt;
    Mask mask;
    mask.bank = static_cast<Bank>(bank);
    mask.bit_address = fields.word();
    mask.bit_count = fields.byte();
    mask.bits = fields.bytes(bytes_for(mask.bit_count));
    return mask;
}

std::optional<TagRequest> parse_tag_request(const Bytes& data, std::size_t head, std::size_t own_size)
{
    auto taken = take_one_tag(data, head, longest_epc, own_size);
    if (!taken) return std::nullopt;
    TagRequest request;
    request.tag.epc = std::move(taken->id);
    request.own = std::move(taken->own);
    if (!taken->mask_at) return request;
    Fields fields(data, *taken->mask_at);
    if (!(request.tag.mask = take_mask_field(fields))) return std::nullopt;
    return request;
}

void answer(Device& device, const Call& call, const TagAnswer& answer)
{
    device.answer(call, answer.status, answer.data);
}

TagAnswer try_on_tag(Device& device, Time now, const std::function<bool(const Tag&)>& fits,
                     const TagAction& action)
{
    const auto found = find_tag(device, now, fits);
    if (!found) return {status::no_tag};
    auto access = TagAccess::open(*found, action.password, device.writing_power(found->port));
    if (!access) return {status::wrong_password};
    return action.act(*access);
}

void act_on_tag(Device& device, const Call& call, const std::function<bool(const Tag&)>& fits,
                const TagAction& action)
{
    answer(device, call, try_on_tag(device, call.now, fits, action));
}

void act_on_tag(Device& device, const Call& call, const std::optional<TagRequest>& request,
                PrepareAction prepare)
{
    if (!request) return device.answer(call, status::bad_parameter);
    Fields own(request->own, 0);
    const auto action = prepare(own);
    if (!action) return device.answer(call, status::bad_parameter);
    act_on_tag(device, call, is_meant(request->tag), *action);
}

std::function<bool(const Tag&)> is_meant(const TagChoice& choice)
{
    return [choice](const Tag& tag) { return tag.state().replies() && choice.fits(tag); };
}

}  // namespace tagwire::sim
