#include "xx/tag/tag_inside.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr Call find_call{"find the tag"};

std::string quoted(const Mask& mask)
{
    return "the mask " + to_hex(mask.bytes) + " at bit " + std::to_string(mask.bit);
}

void require_name(const ReaderInside& reader, std::size_t bytes)
{
    if (bytes == 0) refuse_value(reader, find_call, "a tag has no name without bytes");
}

}  // namespace

NameOnWire name_by(std::span<const u8> id)
{
    NameOnWire out;
    if (!id.empty()) out.id.assign(id.begin(), id.end());
    out.words = static_cast<u8>(id.size() / 2);
    return out;
}

NameOnWire TagInside::name() const
{
    if (!by_tid_) return name_by(epc_.bytes());
    NameOnWire out;
    out.mask = given_mask(*reader_, find_call, mask_of(*tid_));
    return out;
}

const Password& TagInside::proven_password() const
{
    static const Password none;
    return is_password_right_ ? password_ : none;
}

bool TagInside::is_in_the_field() const
{
    return !(by_tid_ ? find_tags(*reader_, mask_of(*tid_)) : find_tags(*reader_, epc_)).empty();
}

void TagInside::require_in_the_field() const
{
    if (!is_in_the_field()) only_one(*reader_, {}, epc_.to_string());
}

Tag TagInside::make_unambiguous(ReaderInside& reader, const SeenTag& tag, Password password)
{
    const std::vector<SeenTag> alike = tag.epc.empty() ? std::vector<SeenTag>{} : find_tags(reader, tag.epc);
    if (alike.size() == 1) return make(reader, tag, false, std::move(password));
    if (!tag.tid) only_one(reader, alike, "the EPC of the tag, which shows no TID");
    only_one(reader, find_tags(reader, mask_of(*tag.tid)), "the TID of the tag, whose EPC others have");
    return make(reader, tag, true, std::move(password));
}

Tag Reader::tag(const Epc& name, Password password)
{
    require_name(*inside_, name.size() / 2);
    const Inside::Turn turn(*inside_);
    const SeenTag tag = only_one(*inside_, find_tags(*inside_, name), name.to_string());
    return TagInside::make(*inside_, tag, false, std::move(password));
}

Tag Reader::tag(const Tid& name, Password password)
{
    require_name(*inside_, name.size());
    const Inside::Turn turn(*inside_);
    const SeenTag tag = only_one(*inside_, find_tags(*inside_, mask_of(name)), "the TID " + name.to_string());
    return TagInside::make_unambiguous(*inside_, tag, std::move(password));
}

Tag Reader::tag(const Mask& name, Password password)
{
    const Inside::Turn turn(*inside_);
    const SeenTag tag = only_one(*inside_, find_tags(*inside_, name), quoted(name));
    return TagInside::make_unambiguous(*inside_, tag, std::move(password));
}

Tag Reader::only_tag(Password password)
{
    const Inside::Turn turn(*inside_);
    const SeenTag tag = only_one(*inside_, find_tags(*inside_, std::optional<Mask>()), "the reader");
    return TagInside::make_unambiguous(*inside_, tag, std::move(password));
}

}  // namespace v1
}  // namespace tagwire
