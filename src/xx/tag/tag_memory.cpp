#include "xx/tag/tag_memory.h"

#include <algorithm>
#include <sstream>

#include "tagwire/result.h"

namespace tagwire {
inline namespace v1 {
namespace {

enum class UnitState : u8 { not_written, written, unknown };

constexpr int no_rights = 0x02;  // the tag's own code
constexpr int waits_for_password = 0x08;

std::vector<MemoryRange> split(const MemoryRange& whole, unsigned most)
{
    std::vector<MemoryRange> out;
    for (unsigned done = 0; done < whole.count; done += out.back().count)
        out.push_back({whole.first + done, std::min(most, whole.count - done)});
    return out;
}

std::span<const u8> units_of(std::span<const u8> data, const MemoryRange& whole, const MemoryRange& part,
                             unsigned unit)
{
    return data.subspan(std::size_t{part.first - whole.first} * unit, std::size_t{part.count} * unit);
}

void tell(std::ostream& out, const char* what, const char* unit, const std::vector<MemoryRange>& ranges)
{
    if (ranges.empty()) return;
    out << "; " << what << ": " << unit;
    for (std::size_t i = 0; i < ranges.size(); ++i) out << (i == 0 ? " " : ", ") << ranges[i];
}

// What became of every unit of a write.
class Account {
  public:
    Account(const MemoryRange& whole, std::span<const u8> data, unsigned unit)
        : whole_(whole), data_(data), unit_(unit), states_(whole.count, UnitState::not_written)
    {}

    std::span<const u8> data_of(const MemoryRange& part) const
    {
        return units_of(data_, whole_, part, unit_);
    }
    void set(const MemoryRange& part, UnitState state)
    {
        std::fill_n(states_.begin() + (part.first - whole_.first), part.count, state);
    }
    // Units that hold the data count as written.
    void compare(const MemoryRange& part, const Bytes& found)
    {
        const auto wanted = data_of(part);
        for (unsigned i = 0; i < part.count; ++i) {
            const auto* const at = wanted.data() + std::size_t{i} * unit_;
            const bool same = std::equal(at, at + unit_, found.data() + std::size_t{i} * unit_);
            set({part.first + i, 1}, same ? UnitState::written : UnitState::not_written);
        }
    }
    bool is_written(const MemoryRange& part) const
    {
        const auto begin = states_.begin() + (part.first - whole_.first);
        return std::all_of(begin, begin + part.count, [](UnitState s) { return s == UnitState::written; });
    }

    // The same error with the account.
    Error tell_with(const Error& error, const std::string& in_front = {}) const
    {
        auto details = std::make_shared<ErrorDetails>();
        details->tag_error = error.tag_error();
        details->answered = error.answered();
        details->written = ranges(UnitState::written);
        details->not_written = ranges(UnitState::not_written);
        details->unknown = ranges(UnitState::unknown);
        std::ostringstream text;
        const char* const unit = unit_ == 1 ? "bytes" : "words";
        text << in_front << error.text();
        tell(text, "written", unit, details->written);
        tell(text, "not written", unit, details->not_written);
        tell(text, "not known", unit, details->unknown);
        const Outcome outcome = !details->unknown.empty()  ? Outcome::unknown
                                : details->written.empty() ? Outcome::nothing
                                                           : Outcome::partial;
        return {static_cast<Errc>(error.code().value()),
                error.operation(),
                error.reader(),
                text.str(),
                outcome,
                error.result(),
                details};
    }

  private:
    std::vector<MemoryRange> ranges(UnitState state) const
    {
        std::vector<MemoryRange> out;
        for (unsigned i = 0; i < whole_.count; ++i) {
            if (states_[i] != state) continue;
            const unsigned at = whole_.first + i;
            const bool goes_on = !out.empty() && out.back().first + out.back().count == at;
            goes_on ? static_cast<void>(++out.back().count) : out.push_back({at, 1});
        }
        return out;
    }

    MemoryRange whole_;
    std::span<const u8> data_;
    unsigned unit_;
    std::vector<UnitState> states_;
};

void look_at(TagMemory& memory, const MemoryRange& part, Account& account)
{
    const auto found = look_until_told([&] { return memory.look(part); });
    found ? account.compare(part, *found) : account.set(part, UnitState::unknown);
}

void verify(TagMemory& memory, const MemoryRange& whole, Account& account)
{
    Error error(Errc::differs, "write memory", memory.reader().name(),
                "what was read back is not what was written: is that memory there, and can it be written?");
    for (const MemoryRange& part : split(whole, memory.limits().most_read)) {
        try {
            account.compare(part, memory.look(part));
        } catch (const Error& read) {
            throw account.tell_with(read, "the reader says that it was written, but reading it back: ");
        }
    }
    if (!account.is_written(whole)) throw account.tell_with(error);
}

}  // namespace

void fail_at_tag(const ReaderInside& reader, const Call& call, int result, int tag_error)
{
    switch (result) {
    case TAGWIRE_NO_ANSWER:
    case TAGWIRE_BAD_CRC:
    case TAGWIRE_BAD_SEQUENCE:
    case TAGWIRE_WRONG_COMMAND:
    case TAGWIRE_BAD_HANDLE:
    case TAGWIRE_BAD_ARGUMENT:
    case TAGWIRE_INVENTORY_ANTENNA:
    case TAGWIRE_INVENTORY_UNKNOWN:
    case wrong_password: reader.fail(call, result);
    default: break;
    }
    const bool is_gen2 =
        call.family == engine::ResultFamily::tag || call.family == engine::ResultFamily::sensor;
    const bool is_tags_own = result == TAGWIRE_TAG_ERROR;
    const bool has_code = is_tags_own && tag_error >= 0 && reader.came() >= 1;
    const auto text = has_code && is_gen2 ? engine::result_text(engine::ResultFamily::tag_error, tag_error)
                                          : engine::result_text(call.family, result);
    const Errc code = is_tags_own                 ? Errc::tag_refused
                      : result == TAGWIRE_NO_DATA ? Errc::no_tag
                                                  : Errc::refused;
    auto details = std::make_shared<ErrorDetails>();
    if (has_code) details->tag_error = tag_error;
    // A tag that has done it may have left before it said so.
    const bool in_doubt = call.effect == Effect::change && !is_tags_own;
    throw Error(code, call.name, reader.name(), std::string(text.what) + ": " + text.advice,
                in_doubt ? Outcome::unknown : Outcome::nothing, result, details);
}

bool may_have_been_done(const Error& error)
{
    if (error.code() != Errc::tag_refused) return error.outcome() == Outcome::unknown;
    return error.tag_error() != no_rights && error.tag_error() != waits_for_password;
}

Error told_again(const Error& error, const std::string& more, Outcome outcome)
{
    auto details = std::make_shared<ErrorDetails>();
    details->tag_error = error.tag_error();
    return {static_cast<Errc>(error.code().value()),
            error.operation(),
            error.reader(),
            error.text() + more,
            outcome,
            error.result(),
            details};
}

Error told_unwritten(const Error& error, const MemoryRange& whole, unsigned unit)
{
    return Account(whole, {}, unit).tell_with(error);
}

Bytes taken(const ReaderInside& reader, const Call& call, const std::vector<u8>& data, std::size_t bytes)
{
    Call whole = call;
    whole.least = static_cast<int>(bytes);
    reader.require(whole, reader.came());
    return {data.begin(), data.begin() + static_cast<std::ptrdiff_t>(bytes)};
}

Bytes read_pieces(TagMemory& memory, const MemoryRange& range)
{
    Bytes out;
    for (const MemoryRange& part : split(range, memory.limits().most_read)) {
        const Bytes piece = memory.read(part);
        out.insert(out.end(), piece.begin(), piece.end());
    }
    return out;
}

Bytes read_all(TagMemory& memory)
{
    constexpr unsigned end = 0x10000;
    Bytes out;
    unsigned first = 0;
    for (unsigned most = memory.limits().most_read; most > 0 && first < end;) {
        const MemoryRange part{first, std::min(most, end - first)};
        try {
            const Bytes piece = memory.read(part);
            out.insert(out.end(), piece.begin(), piece.end());
            first += part.count;
        } catch (const Error& error) {
            if (error.tag_error() != no_such_memory) throw;
            most = part.count / 2;
        }
    }
    return out;
}

void write_pieces(TagMemory& memory, unsigned first, std::span<const u8> data)
{
    const unsigned unit = memory.limits().unit;
    const MemoryRange whole{first, static_cast<unsigned>(data.size() / unit)};
    Account account(whole, data, unit);
    for (MemoryRange part{first, 0}; part.first < first + whole.count; part.first += part.count) {
        // A tag that has been given a longer name leaves less room.
        part.count = std::min(memory.limits().most_write, first + whole.count - part.first);
        try {
            memory.write(part, account.data_of(part));
            account.set(part, UnitState::written);
        } catch (const Error& error) {
            if (may_have_been_done(error)) look_at(memory, part, account);
            const bool is_lost = error.outcome() == Outcome::unknown;
            if (!is_lost || !account.is_written(part)) throw account.tell_with(error);
        }
    }
    verify(memory, whole, account);
}

MemoryRange checked_range(const ReaderInside& reader, const Call& call, unsigned first, std::size_t count,
                          unsigned end)
{
    checked(reader, call, "the first place", first, 0, static_cast<int>(end) - 1);
    checked(reader, call, "the count from there on", static_cast<long long>(count), 1,
            static_cast<int>(end - first));
    return {first, static_cast<unsigned>(count)};
}

MemoryRange checked_range_of(const ReaderInside& reader, const Call& call, unsigned first,
                             std::span<const u8> data, const TagMemory::Limits& limits, unsigned end)
{
    if (data.size() % limits.unit != 0)
        refuse_value(reader, call,
                     std::to_string(data.size()) + " bytes are not whole words of 2 bytes each");
    return checked_range(reader, call, first, data.size() / limits.unit, end);
}

}  // namespace v1
}  // namespace tagwire
