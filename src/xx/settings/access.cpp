#include "xx/settings/access.h"

#include <algorithm>

#include "tagwire/result.h"

namespace tagwire {
inline namespace v1 {
namespace rows {
namespace {

// The part of an answer from `first` on; nothing where the answer ends before.
std::optional<Bytes> part_of(const Bytes& bytes, std::size_t first, std::size_t size)
{
    if (first > bytes.size() || size > bytes.size() - first) return std::nullopt;
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(first);
    return Bytes(begin, size == 0 ? bytes.end() : begin + static_cast<std::ptrdiff_t>(size));
}

bool belong_together(const Row& one, const Row& other)
{
    return one.writer == other.writer && one.index == other.index;
}

std::size_t size_of(const Group& group)
{
    std::size_t size = 0;
    for (const Wanted& one : group) size += one.row->size;
    return size;
}

}  // namespace

std::string names_of(const Group& group)
{
    std::string names;
    for (const Wanted& wanted : group) names += (names.empty() ? "" : ", ") + wanted.row->name;
    return names;
}

void Access::fail(Errc code, const std::string& name, const std::string& text, Outcome outcome) const
{
    throw Error(code, name, reader(), text, outcome);
}

// -- families

Families Access::families()
{
    if (!families_) families_ = told_families();
    return *families_;
}

// A reader that does not know the command is of none of the families that have it to themselves.
Families Access::told_families()
{
    const Reading& told = answer(sources::family_values, 0, "ask for the family");
    const Families families = told.is_silent ? every_family : families_telling(told.bytes);
    if (!options_.family) return families;
    const Families given = bit_of(*options_.family);
    if ((families & given) == 0 && !told.error)
        fail(Errc::invalid_value, "family of the reader",
             "it does not answer like one of the family " + std::string(to_string(*options_.family)),
             Outcome::nothing);
    return given;
}

std::vector<const Row*> Access::candidates(const Row& named)
{
    if (named.families == every_family) return {&named};
    const Families possible = families();
    std::vector<const Row*> out;
    for (const Row& row : all_rows())
        if (row.name == named.name && (row.families & possible) != 0) out.push_back(&row);
    if (out.empty())
        fail(Errc::no_such_feature, named.name, "readers of this family have no such setting",
             Outcome::nothing);
    return out;
}

void Access::refuse_unsettled(const Row& row)
{
    std::string possible;
    for (int i = 0; i <= static_cast<int>(ReaderFamily::mobile); ++i) {
        const auto family = static_cast<ReaderFamily>(i);
        if ((families() & bit_of(family)) != 0)
            possible += (possible.empty() ? "" : " or ") + std::string(to_string(family));
    }
    fail(Errc::invalid_value, row.name,
         "its command sets or switches something else in readers of other families, and this one does not "
         "tell its own: say whether it is " +
             possible + " (family)",
         Outcome::nothing);
}

const Row& Access::readable(const Row& named)
{
    const auto rows = candidates(named);
    const Row& row = *rows.front();
    if (std::any_of(rows.begin(), rows.end(), [&](const Row* other) { return other->source != row.source; }))
        refuse_unsettled(row);
    const bool is_on_a_line = row.source != &sources::line_speed || inside_.line_speed();
    if (row.readable(options_.two_way) && is_on_a_line) {
        Families meant = 0;
        for (const Row* const other : rows) meant |= other->families;
        if (named.families != every_family && (families() & ~meant) != 0) refuse_unsettled(row);
        return row;
    }
    const char* const way =
        row.source != nullptr && row.source->is_two_way
            ? "it is told by the command that sets it: where the reader's two-way commands "
              "set with bit 7 only, say so (two_way)"
            : "it can be set, but not read from this reader";
    fail(Errc::no_such_feature, row.name, way, Outcome::nothing);
}

bool Access::is_family_silent() { return !options_.family && families() == every_family; }

const Row* Access::find_readable(const Row& named)
{
    try {
        return &readable(named);
    } catch (const Error& error) {
        if (error.code() != Errc::no_such_feature && error.code() != Errc::invalid_value) throw;
        return nullptr;
    }
}

bool Access::is_unsettled(const Row& named)
{
    try {
        readable(named);
    } catch (const Error& error) {
        if (error.code() != Errc::no_such_feature && error.code() != Errc::invalid_value) throw;
        return error.code() == Errc::invalid_value;
    }
    return false;
}

const Row& Access::writable(const Row& named)
{
    const auto rows = candidates(named);
    const Row& row = *rows.front();
    if (row.writer == nullptr)
        fail(Errc::invalid_text, row.name, "it can be shown only, not set", Outcome::nothing);
    if (named.families != every_family && (families() & ~row.families) != 0) refuse_unsettled(row);
    return row;
}

// -- reading

Access::Reading Access::read(const Row& row)
{
    Reading reading = answer(*row.source, row.index, row.name);
    if (reading.error) return reading;
    auto part = part_of(reading.bytes, row.first, row.size);
    if (!part || (row.format.shape != Format::Shape::hex && part->empty())) {
        reading.error.emplace(Errc::no_such_feature, row.name, reader(), "the reader does not tell it");
        return reading;
    }
    reading.bytes = without_rest(row.format, std::move(*part));
    return reading;
}

std::string Access::show(const Row& row)
{
    const Reading reading = read(row);
    if (reading.error) throw Error(*reading.error);
    return rows::show(row.format, reading.bytes);
}

const Access::Reading& Access::answer(const Source& source, u8 index, const std::string& name)
{
    const auto known = answers_.find({&source, index});
    if (known != answers_.end()) return known->second;
    Memory& memory = memories_[&source];
    return answers_[{&source, index}] = memory.last ? *memory.last : ask(source, index, name, memory);
}

Access::Reading Access::ask(const Source& source, u8 index, const std::string& name, Memory& memory)
{
    for (;;) {
        Reading reading;
        try {
            reading.bytes = source.read(sending(name, index));
            memory = {};
            return reading;
        } catch (const Error& error) {
            if (is_final(error, memory, reading)) return reading;
        }
    }
}

// Whether there is nothing to be gained by asking the same again.
bool Access::is_final(const Error& error, Memory& memory, Reading& reading)
{
    constexpr int most_refusals = 2;
    constexpr int most_silences = 2;
    constexpr int most_amid_reports = 20;
    if (is_the_end(error)) throw error;
    reading.error = error;
    reading.is_garbled = error.code() == Errc::bad_answer && error.result() != 0;
    if (error.code() == Errc::no_answer || reading.is_garbled) {
        const bool is_report = reading.is_garbled && inside_.report_came();
        if (is_report) most_garbled_ = most_amid_reports;
        reading.is_silent = !reading.is_garbled || error.result() == TAGWIRE_BAD_CRC || is_report;
        inside_.ask_information();  // one that is silent altogether is not asked for more
        const bool is_enough =
            reading.is_garbled ? ++memory.garbled >= most_garbled_ : ++memory.silences >= most_silences;
        if (is_enough) memory.last = reading;
        return is_enough;
    }
    if (error.code() == Errc::no_such_feature || ++memory.refusals >= most_refusals) memory.last = reading;
    return true;
}

// -- writing

std::vector<Group> Access::grouped(std::vector<Wanted> wanted) const
{
    std::stable_sort(wanted.begin(), wanted.end(), [](const Wanted& one, const Wanted& other) {
        return one.row->writer->order < other.row->writer->order;
    });
    std::vector<Group> groups;
    for (const Wanted& one : wanted) {
        const auto found = std::find_if(groups.begin(), groups.end(), [&](const Group& group) {
            return belong_together(*group.front().row, *one.row);
        });
        if (found == groups.end())
            groups.push_back({one});
        else
            found->push_back(one);
    }
    for (const Group& group : groups) {
        const Row& row = *group.front().row;
        if (row.is_written_alone() || row.writer->source != nullptr) continue;
        if (size_of(group) != row.writer->size)
            fail(Errc::invalid_value, row.name,
                 "it goes with others in one command, and they cannot be read: give all of them",
                 Outcome::nothing);
    }
    return groups;
}

Bytes Access::block_of(const Group& group)
{
    const Row& row = *group.front().row;
    const Writer& writer = *row.writer;
    if (row.is_written_alone()) return group.front().value;
    Bytes block(writer.size);
    if (writer.source != nullptr && size_of(group) != writer.size) {
        const Reading& present = answer(*writer.source, row.index, row.name);
        if (present.error) throw Error(*present.error);
        auto part = part_of(present.bytes, writer.first, writer.size);
        if (!part)
            fail(Errc::no_such_feature, row.name, "the reader does not tell what goes with it",
                 Outcome::nothing);
        block = std::move(*part);
    }
    for (const Wanted& one : group)
        std::copy(one.value.begin(), one.value.end(),
                  block.begin() + static_cast<std::ptrdiff_t>(one.row->first - writer.first));
    return block;
}

std::optional<WriteFailure> Access::write(const Group& group)
{
    const std::string name = "set " + names_of(group);
    try {
        Bytes block = block_of(group);
        const WipedAtEnd wiping(block);
        forget();
        switch (group.front().row->writer->order) {
        case Order::address: write_address(group, name, block); break;
        case Order::speed: write_speed(group, name, block); break;
        default: write_block(group, name, block); break;
        }
        return std::nullopt;
    } catch (const Error& error) {
        const bool is_over = is_lost_ || is_the_end(error);
        return WriteFailure{error, is_over,
                            !is_over && error.code() == Errc::bad_answer &&
                                error.outcome() == Outcome::unknown && inside_.report_came()};
    }
}

void Access::write_block(const Group& group, const std::string& name, const Bytes& block)
{
    const Row& row = *group.front().row;
    Bytes sent = block;
    const WipedAtEnd wiping(sent);
    const Bytes echo = row.writer->write(sending(name, row.index), sent);
    if (echo.empty() || echo == block) return;
    std::string text =
        "the reader answered that it has " + show_to_all(row, echo) + ", not " + show_to_all(row, block);
    if (!options_.two_way && row.source != nullptr && row.source->is_two_way)
        text += ": where its two-way commands set with bit 7 only, say so (two_way)";
    fail(Errc::refused, name, text, Outcome::partial);
}

// The answer may be lost, and others listen on the same line.
void Access::write_address(const Group& group, const std::string& name, const Bytes& block)
{
    const u8 before = inside_.address();
    const u8 wanted = block[0];
    const std::string old_place = "its old address " + std::to_string(before);
    const std::string new_place = "the new one, " + std::to_string(wanted);
    if (wanted == before) return;
    const auto answers_at = [&](u8 address) { return inside_.ask_at(address) != TAGWIRE_NO_ANSWER; };
    if (answers_at(wanted))
        fail(Errc::invalid_value, name, "a reader answers at " + new_place + ", already: choose another",
             Outcome::nothing);
    std::optional<Error> loss;
    try {
        Bytes sent = block;
        group.front().row->writer->write(sending(name, 0), sent);
    } catch (const Error& error) {
        if (error.outcome() != Outcome::unknown || is_the_end(error)) throw;
        loss = error;
    }
    bool is_there = false;
    bool is_here = false;
    try {
        is_there = answers_at(wanted);
        is_here = (loss || !is_there) && answers_at(before);
    } catch (const Error& error) {  // of the link
        fail(static_cast<Errc>(error.code().value()), name,
             "it was sent, and where the reader answers now could not be seen: " + error.text(),
             Outcome::unknown);
    }
    if (is_there && !is_here) return inside_.move_to(wanted);
    is_lost_ = is_there || !is_here;
    if (is_there)
        fail(Errc::bad_answer, name,
             "the answer was lost, and readers answer at " + old_place + " and at " + new_place +
                 ": which one is meant cannot be told",
             Outcome::unknown);
    if (!is_here)
        fail(Errc::no_answer, name, "the reader answers neither at " + old_place + " nor at " + new_place,
             Outcome::unknown);
    fail(loss ? Errc::no_answer : Errc::refused, name, "the reader still answers at " + old_place,
         Outcome::nothing);
}

void Access::write_speed(const Group& group, const std::string& name, const Bytes& block)
{
    const bool is_on_a_line = inside_.line_speed().has_value();
    try {
        write_block(group, name, block);
    } catch (const Error& error) {
        is_lost_ = is_on_a_line && error.outcome() != Outcome::nothing;
        throw;
    }
    is_lost_ = is_on_a_line;
    inside_.keep_line_speed();
    if (is_lost_ && inside_.ask_at(inside_.address()) != TAGWIRE_OK)
        fail(
            Errc::no_answer, name,
            "the reader took the new speed and does not answer at it: open it with ?baud=", Outcome::unknown);
    is_lost_ = false;
}

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
