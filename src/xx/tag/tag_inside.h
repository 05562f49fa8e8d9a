// What a Tag is made of: how it is named to the reader, and how operations for one tag are called.
#pragma once

#include <stdexcept>
#include <tuple>

#include "xx/reader/scan.h"
#include "xx/tag/find_tag.h"
#include "xx/tag/tag_memory.h"

#include <tagwirexx/tag.hpp>

namespace tagwire {
inline namespace v1 {

// Operations take bytes that they do not change by plain pointers.
inline u8* in(std::span<const u8> bytes) { return const_cast<u8*>(bytes.data()); }
inline u8* in(const Password& password) { return in(password.bytes()); }
inline std::array<u8, 2> word_bytes(unsigned value)
{
    return {static_cast<u8>(value >> 8U), static_cast<u8>(value)};
}

// A tag's name as the commands for one tag carry it: an ID of so many words, or a mask.
struct NameOnWire {
    static constexpr u8 by_mask = 255;

    Bytes id = Bytes(1);  // never empty
    u8 words = by_mask;
    GivenMask mask{};

    // Bytes of a command behind its code that the name takes.
    std::size_t size() const { return words == by_mask ? 4U + (mask.bits + 7U) / 8 : 2U * words; }
};
NameOnWire name_by(std::span<const u8> id);
NameOnWire name_by(const ReaderInside& reader, const Tid& tid);
// Throws Error for an EPC of no whole words, or of more than a command has room for.
NameOnWire name_by(const ReaderInside& reader, const Call& call, const Epc& epc, unsigned most_words);

// Calls an operation for one tag. `own` are the arguments between its name and the mask, `out` those behind.
template <class Operation, class... Own, class... Out>
int run_for_tag(ReaderInside& reader, const Call& call, NameOnWire name, int& error, Operation operation,
                const std::tuple<Own...>& own, Out... out)
{
    return std::apply(
        [&](auto... fields) {
            return reader.run(call, operation, name.id.data(), name.words, fields..., name.mask.bank,
                              name.mask.bit.data(), name.mask.bits, name.mask.bytes.data(), out..., &error);
        },
        own);
}

// The same where anything but success is an Error.
template <class Operation, class... Own, class... Out>
void ask_tag(ReaderInside& reader, const Call& call, NameOnWire name, Operation operation,
             const std::tuple<Own...>& own, Out... out)
{
    const ReaderInside::Turn turn(reader);
    int error = -1;
    const int result = run_for_tag(reader, call, std::move(name), error, operation, own, out...);
    if (result != 0) fail_at_tag(reader, call, result, error);
    reader.require(call, reader.came());
}

class TagInside {
  public:
    // Named by its EPC, or by its TID.
    TagInside(ReaderInside& reader, const SeenTag& tag, bool by_tid, Password password)
        : reader_(&reader), epc_(tag.epc), tid_(tag.tid), by_tid_(by_tid), password_(std::move(password))
    {}

    static Tag make(ReaderInside& reader, const SeenTag& tag, bool by_tid, Password password)
    {
        return Tag(std::make_shared<TagInside>(reader, tag, by_tid, std::move(password)));
    }
    static TagInside& of(Tag& tag) { return *tag.inside_; }
    // Of the tag whose mask is met by no other.
    static Tag make_unambiguous(ReaderInside& reader, const SeenTag& tag, Password password);

    // Keeps other callers out. Throws std::logic_error for a tag that is not to be found by its name any more.
    class TagTurn : public ReaderInside::Turn {
      public:
        explicit TagTurn(const TagInside& tag) : Turn(*tag.reader_)
        {
            if (tag.hidden_by_ != nullptr)
                throw std::logic_error(std::string("the tag is not to be found by its name any more: ") +
                                       tag.hidden_by_);
        }
    };
    TagTurn begin() const { return TagTurn(*this); }

    NameOnWire name() const;
    // For commands that take an EPC of so many words only: a longer one's tag is named by its TID, which no
    // other may have. Throws Error.
    NameOnWire name(const Call& call, unsigned most_words) const;
    // The same name, without a look at who else has it.
    NameOnWire name_that_fits(const Call& call, unsigned most_words) const;
    // For those that take no mask. Throws Error for a tag that is named by its TID.
    NameOnWire name_by_epc(const Call& call, unsigned most_words) const;
    template <class Operation, class... Own, class... Out>
    void ask(const Call& call, Operation operation, const std::tuple<Own...>& own, Out... out)
    {
        ask_tag(*reader_, call, name(), operation, own, out...);
        is_password_right_ = true;
    }
    // The password opens the tag: what is told by looking at it can be asked with it.
    const Password& proven_password() const;
    // Those that answer to its name.
    std::vector<SeenTag> find() const;
    bool is_in_the_field() const;
    // Throws Error unless it answers, and no other to its name.
    void require_in_the_field() const;

    ReaderInside* reader_;
    Epc epc_;
    std::optional<Tid> tid_;
    bool by_tid_;
    Password password_;
    bool is_password_right_ = false;
    const char* hidden_by_ = nullptr;
};

}  // namespace v1
}  // namespace tagwire
