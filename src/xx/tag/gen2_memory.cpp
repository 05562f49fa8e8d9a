#include "xx/tag/gen2_memory.h"

#include <algorithm>

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr unsigned control_word = 1;          // of the EPC bank
constexpr unsigned access_password_word = 2;  // of the reserved bank
constexpr unsigned last_word_of_short_pointer = 255;

bool needs_long_pointer(const MemoryRange& range)
{
    return range.first + range.count - 1 > last_word_of_short_pointer;
}

// The EPC of an image of its bank.
Epc epc_of(const Bytes& image)
{
    const std::size_t bytes = std::min(std::size_t{image[0]} >> length_shift << 1U, image.size() - 2);
    return Epc(std::span(image).subspan(2, bytes));
}

}  // namespace

TagMemory::Limits Gen2Memory::limits() const
{
    constexpr unsigned room = 251;  // behind the code of a command
    constexpr unsigned fixed = 9;   // counts, bank, pointer and password
    if (how_ == How::erase) return {.most_write = most_words_};
    const unsigned fit = (room - fixed - static_cast<unsigned>(tag_.name().size())) / 2;
    return {.most_write = std::min(most_words_, fit)};
}

Bytes Gen2Memory::read_with(const Password& password, const MemoryRange& range)
{
    std::vector<u8> data(250);
    auto first = word_bytes(range.first);
    const auto bank = static_cast<u8>(bank_);
    const auto count = static_cast<u8>(range.count);
    if (needs_long_pointer(range))
        ask_tag(reader(), read_call, tag_.name(), &O::ExtReadData_G2,
                std::tuple(bank, first.data(), count, in(password)), data.data());
    else
        ask_tag(reader(), read_call, tag_.name(), &O::ReadData_G2,
                std::tuple(bank, first[1], count, in(password)), data.data());
    if (password == tag_.password_) tag_.is_password_right_ = true;
    return taken(reader(), read_call, data, std::size_t{range.count} * 2);
}

void Gen2Memory::send(const MemoryRange& range, std::span<const u8> data)
{
    auto first = word_bytes(range.first);
    const auto bank = static_cast<u8>(bank_);
    const auto count = static_cast<u8>(range.count);
    u8* const password = in(tag_.password_);
    if (how_ == How::erase)
        return tag_.ask(erase_call, &O::BlockErase_G2, std::tuple(bank, first[1], count, password));
    const bool is_block = how_ == How::block_write;
    NameOnWire name = tag_.name();
    const u8 words = std::exchange(name.words, count);  // the count of data stands in front of the name's
    if (needs_long_pointer(range))
        ask_tag(reader(), write_call, std::move(name), is_block ? &O::ExtBlockWrite_G2 : &O::ExtWriteData_G2,
                std::tuple(words, bank, first.data(), in(data), password));
    else
        ask_tag(reader(), write_call, std::move(name), is_block ? &O::BlockWrite_G2 : &O::WriteData_G2,
                std::tuple(words, bank, first[1], in(data), password));
    tag_.is_password_right_ = true;
}

void Gen2Memory::prepare(const MemoryRange& range, std::span<const u8> data)
{
    const unsigned end = range.first + range.count;
    if (bank_ == Bank::reserved && range.first < access_password_word + 2 && end > access_password_word) {
        image_first_ = access_password_word;
        image_ = read_with(tag_.password_, {image_first_, 2});
    }
    if (bank_ != Bank::epc || end <= control_word) return;
    std::size_t words = tag_.epc_.size() / 2;
    if (range.first <= control_word)
        words =
            std::max<std::size_t>(words, data[std::size_t{control_word - range.first} * 2] >> length_shift);
    image_first_ = control_word;
    image_ = read_with(tag_.proven_password(), {image_first_, static_cast<unsigned>(words + 1)});
    if (epc_of(image_with(range, data)) != tag_.epc_) tag_.require_in_the_field();
}

Bytes Gen2Memory::image_with(const MemoryRange& range, std::span<const u8> data) const
{
    Bytes out = image_;
    for (std::size_t i = 0; i < data.size(); ++i) {
        const std::size_t at = std::size_t{range.first} * 2 + i;
        const std::size_t begin = std::size_t{image_first_} * 2;
        if (at >= begin && at - begin < out.size()) out[at - begin] = data[i];
    }
    return out;
}

void Gen2Memory::accept(Bytes image)
{
    in_doubt_.reset();
    image_ = std::move(image);
    if (image_.empty()) return;
    if (bank_ == Bank::epc)
        tag_.epc_ = epc_of(image_);
    else
        tag_.password_ = Password(std::span<const u8>(image_));
}

// Nobody else may have the new name: behind a lost answer, who has it has it by this write.
void Gen2Memory::refuse_name(const Epc& epc) const
{
    if (epc.empty()) refuse_value(reader(), write_call, "a tag without an EPC cannot be named any more");
    auto details = std::make_shared<ErrorDetails>();
    details->answered = find_tags(reader(), epc);
    if (details->answered.empty()) return;
    throw Error(Errc::exists_already, write_call.name, reader().name(),
                "a tag in the field has the EPC " + epc.to_string() + " already", Outcome::nothing, 0,
                details);
}

void Gen2Memory::write(const MemoryRange& range, std::span<const u8> data)
{
    Bytes after = image_with(range, data);
    if (bank_ == Bank::epc && !after.empty() && epc_of(after) != tag_.epc_) refuse_name(epc_of(after));
    in_doubt_ = after;
    send(range, data);
    accept(std::move(after));
}

Bytes Gen2Memory::look(const MemoryRange& range)
{
    if (in_doubt_) find_again();
    return read_with(tag_.proven_password(), range);
}

void Gen2Memory::find_again()
{
    if (in_doubt_->empty() || *in_doubt_ == image_) return accept(image_);
    if (bank_ == Bank::reserved)  // tried once
        return find_password(Password(std::span<const u8>(*std::exchange(in_doubt_, std::nullopt))));
    find_renamed(epc_of(*in_doubt_));
    in_doubt_.reset();
}

// A write that broke off may have left an EPC that is neither the old nor the new one.
void Gen2Memory::find_renamed(const Epc& after)
{
    const auto image_size = static_cast<unsigned>(image_.size() / 2);
    const auto take = [&](const SeenTag& tag) {
        tag_.epc_ = tag.epc;
        image_ = read_with(tag_.proven_password(), {image_first_, image_size});
    };
    if (tag_.tid_) {
        const auto tags = find_tags(reader(), mask_of(*tag_.tid_));
        tag_.by_tid_ |= tags.size() == 1;
        if (tags.size() == 1) return take(tags[0]);
    }
    for (const Epc& name : {after, tag_.epc_}) {
        const auto tags = find_tags(reader(), name);
        const bool is_another =
            tags.size() == 1 && tag_.tid_ && tags[0].tid && !begin_alike(*tags[0].tid, *tag_.tid_);
        if (tags.size() == 1 && !is_another) return take(tags[0]);
    }
    throw Error(Errc::no_tag, read_call.name, reader().name(), "the tag answers to neither EPC");
}

// The old one was right before. One that was refused is not tried again.
void Gen2Memory::find_password(const Password& after)
{
    try {
        image_ = read_with(after, {access_password_word, 2});
        tag_.password_ = after;
    } catch (const Error& error) {
        if (error.result() != wrong_password) throw;
        image_ = read_with(tag_.password_, {access_password_word, 2});
    }
}

}  // namespace v1
}  // namespace tagwire
