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

std::string tid_text(const Tid& tid) { return "the TID " + tid.to_string(); }

[[noreturn]] void refuse_another(const ReaderInside& reader, const SeenTag& found, const Tid& wanted)
{
    auto details = std::make_shared<ErrorDetails>();
    details->answered = {found};
    throw Error(Errc::no_tag, find_call.name, reader.name(),
                (found.tid ? "another tag answers, of " + tid_text(*found.tid)
                           : "a tag answers whose TID could not be read") +
                    ", and not surely the one of " + tid_text(wanted) +
                    ": bring that one closer and others away",
                Outcome::nothing, 0, details);
}

}  // namespace

NameOnWire name_by(std::span<const u8> id)
{
    NameOnWire out;
    if (!id.empty()) out.id.assign(id.begin(), id.end());
    out.words = static_cast<u8>(id.size() / 2);
    return out;
}

NameOnWire name_by(const ReaderInside& reader, const Tid& tid)
{
    NameOnWire out;
    out.mask = given_mask(reader, find_call, mask_of(tid));
    return out;
}

NameOnWire name_by(const ReaderInside& reader, const Call& call, const Epc& epc, unsigned most_words)
{
    if (epc.size() % 2 != 0) refuse_value(reader, call, "an EPC has whole words of 2 bytes");
    checked(reader, call, "the count of words of the EPC", static_cast<long long>(epc.size() / 2), 0,
            static_cast<int>(most_words));
    return name_by(epc.bytes());
}

NameOnWire TagInside::name() const { return by_tid_ ? name_by(*reader_, *tid_) : name_by(epc_.bytes()); }

NameOnWire TagInside::name(const Call& call, unsigned most_words) const
{
    NameOnWire out = name_that_fits(call, most_words);
    if (!by_tid_ && out.words == NameOnWire::by_mask)
        only_one(*reader_, find_tags(*reader_, mask_of(*tid_)), tid_text(*tid_));
    return out;
}

NameOnWire TagInside::name_that_fits(const Call& call, unsigned most_words) const
{
    if (by_tid_) return name();
    if (!tid_ || epc_.size() <= std::size_t{2} * most_words) return name_by(*reader_, call, epc_, most_words);
    return name_by(*reader_, *tid_);
}

NameOnWire TagInside::name_by_epc(const Call& call, unsigned most_words) const
{
    if (by_tid_)
        refuse_value(*reader_, call,
                     "this command names a tag by its EPC, which others have, or may have where the reader "
                     "tells no TIDs: leave only this one in the field and name it by its EPC");
    return name_by(*reader_, call, epc_, most_words);
}

const Password& TagInside::proven_password() const
{
    static const Password none;
    return is_password_right_ ? password_ : none;
}

std::vector<SeenTag> TagInside::find() const
{
    return by_tid_ ? find_tags(*reader_, mask_of(*tid_)) : find_tags(*reader_, epc_);
}

bool TagInside::is_in_the_field() const { return !find().empty(); }

void TagInside::require_in_the_field() const
{
    const SeenTag found = only_one(*reader_, find(), by_tid_ ? tid_text(*tid_) : epc_.to_string());
    if (tid_ && (found.tid ? !begin_alike(*found.tid, *tid_) : !by_tid_))
        refuse_another(*reader_, found, *tid_);
}

Tag TagInside::make_unambiguous(ReaderInside& reader, const SeenTag& tag, Password password)
{
    const std::vector<SeenTag> alike = tag.epc.empty() ? std::vector<SeenTag>{} : find_tags(reader, tag.epc);
    if (!tag.tid) {
        const SeenTag seen = only_one(reader, alike, "the EPC of the tag, which shows no TID");
        return make(reader, seen, false, std::move(password));
    }
    if (alike.size() == 1 && alike[0].tid == tag.tid) return make(reader, tag, false, std::move(password));
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
    SeenTag tag = only_one(*inside_, find_tags(*inside_, mask_of(name)), tid_text(name));
    if (tag.tid && !begin_alike(*tag.tid, name)) refuse_another(*inside_, tag, name);
    if (!tag.tid || tag.tid->size() < name.size()) tag.tid = name;
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
