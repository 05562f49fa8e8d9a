// Reading and writing the memory of a tag piece by piece, and the account of what became of it.
#pragma once

#include "xx/reader/reader_inside.h"
#include "xx/values/error_details.h"

namespace tagwire {
inline namespace v1 {

// What tags say and readers say of them.
inline constexpr int wrong_password = 0x05;
inline constexpr int no_such_memory = 0x03;  // the tag's own code
inline constexpr int memory_locked = 0x04;

constexpr Call tag_question(const char* name, int least = 0,
                            engine::ResultFamily family = engine::ResultFamily::tag)
{
    return {name, Effect::none, least, false, family};
}
constexpr Call tag_change(const char* name, engine::ResultFamily family = engine::ResultFamily::tag)
{
    return {name, Effect::change, 0, false, family};
}

// As ReaderInside::fail(), with the tag's own code where it gave one; -1: this call does not tell it.
[[noreturn]] void fail_at_tag(const ReaderInside& reader, const Call& call, int result, int tag_error);

// Whether a command that changes something may have done so though it failed.
bool may_have_been_done(const Error& error);

// The same error, with more said.
Error told_again(const Error& error, const std::string& more, Outcome outcome);

// Looking changes nothing: where an answer is lost it is looked again. Empty where nothing could be seen.
template <class Look> auto look_until_told(Look look) -> std::optional<decltype(look())>
{
    constexpr int most_looks = 3;
    for (int i = 0; i < most_looks; ++i) {
        try {
            return look();
        } catch (const Error& error) {
            if (error.code() != Errc::no_answer && error.code() != Errc::bad_answer) break;
        }
    }
    return std::nullopt;
}

// Behind a kill that failed, of a tag that answered before it. Throws Error, but where an answer was lost and
// the tag does not answer any more.
template <class Answers> void require_seen_dead(const Error& error, Answers answers)
{
    if (!may_have_been_done(error)) throw error;
    const auto still_answers = look_until_told([&] {
        const bool first = answers();
        return first || answers();  // one look may miss it
    });
    if (!still_answers) throw told_again(error, "; whether it was done could not be seen", Outcome::unknown);
    if (*still_answers) throw told_again(error, "; the tag still answers", Outcome::nothing);
    if (error.code() != Errc::no_answer && error.code() != Errc::bad_answer)
        throw told_again(error, "; the tag does not answer any more: dead, or gone", Outcome::unknown);
}

// The same error, with all that was to be written told as not written.
Error told_unwritten(const Error& error, const MemoryRange& whole, unsigned unit = 2);

// The memory that a write goes to. All throw Error.
class TagMemory {
  public:
    struct Limits {
        unsigned unit = 2;  // bytes: a word, or one
        unsigned most_read = 125;
        unsigned most_write = 1;
    };

    TagMemory() = default;
    TagMemory(const TagMemory&) = delete;
    TagMemory& operator=(const TagMemory&) = delete;
    virtual ~TagMemory() = default;

    virtual Limits limits() const = 0;
    virtual ReaderInside& reader() const = 0;
    virtual Bytes read(const MemoryRange& range) = 0;
    virtual void write(const MemoryRange& range, std::span<const u8> data) = 0;
    // What a write left there; finds the tag before, where it may have another name. No password goes out
    // that has not been right before, but for one that was just being written.
    virtual Bytes look(const MemoryRange& range) = 0;
};

// Bytes of an answer; throws Error unless all have come.
Bytes taken(const ReaderInside& reader, const Call& call, const std::vector<u8>& data, std::size_t bytes);

Bytes read_pieces(TagMemory& memory, const MemoryRange& range);
// To where the tag says that there is no more.
Bytes read_all(TagMemory& memory);
// Whole units; read back and compared.
void write_pieces(TagMemory& memory, unsigned first, std::span<const u8> data);

// Refuses places outside of `end` and data that is not whole units.
MemoryRange checked_range(const ReaderInside& reader, const Call& call, unsigned first, std::size_t count,
                          unsigned end);
MemoryRange checked_range_of(const ReaderInside& reader, const Call& call, unsigned first,
                             std::span<const u8> data, const TagMemory::Limits& limits, unsigned end);

}  // namespace v1
}  // namespace tagwire
