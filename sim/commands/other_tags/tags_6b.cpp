#include "commands/other_tags/tags_6b.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "commands/codes.h"
#include "commands/dispatch.h"
#include "commands/fields.h"
#include "field/other_tags.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t addressed_size = 1 + Tag6b::id_size;  // start address and ID
constexpr std::size_t condition_size = 8;
constexpr std::size_t record_size = Tag6b::id_size + 1;
constexpr std::size_t most_records = (longest_answer_data - 2) / record_size;

enum class Comparison : std::uint8_t { equal = 0, not_equal = 1, greater = 2, less = 3 };

struct Condition {
    Comparison comparison = Comparison::equal;
    std::uint8_t address = 0;
    std::uint8_t mask = 0;  // the highest bit selects the first byte
    Bytes content;
};

// The bytes of the tag's memory and of the condition that the mask selects.
struct Compared {
    Bytes held;
    Bytes wanted;
};

std::optional<Compared> select_bytes(const Tag6b& tag, const Condition& condition)
{
    Compared compared;
    for (std::size_t i = 0; i < condition_size; ++i) {
        if (((condition.mask << i) & 0x80U) == 0) continue;
        if (condition.address + i >= Tag6b::memory_size) return std::nullopt;
        compared.held.push_back(tag.memory()[condition.address + i]);
        compared.wanted.push_back(condition.content[i]);
    }
    return compared;
}

bool meets(const Tag6b& tag, const Condition& condition)
{
    if (condition.mask == 0) return true;
    const auto compared = select_bytes(tag, condition);
    if (!compared) return false;
    switch (condition.comparison) {
    case Comparison::equal: return compared->held == compared->wanted;
    case Comparison::not_equal: return compared->held != compared->wanted;
    case Comparison::greater: return compared->held > compared->wanted;
    case Comparison::less: return compared->held < compared->wanted;
    }
    return false;
}

using Accepts = std::function<bool(const Tag6b&)>;

// Answers with the tags of the first antenna that hears any.
void inventory(Device& device, const Call& call, const Accepts& accepts, std::size_t most)
{
    for (const unsigned port : device.plugged_antennas()) {
        Bytes records;
        std::vector<Heard> heard;
        for (const Tag6b& tag : device.other_tags().iso_6b) {
            const TagPlace& place = tag.place();
            if (!place.is_present(call.now) || !place.is_seen_by(port) || !accepts(tag)) continue;
            append(records, tag.id());
            records.push_back(place.measure_rssi(device.random()));
            heard.push_back({tag.id(), {}, port});
            if (heard.size() == most) break;
        }
        if (heard.empty()) continue;
        Bytes data{device.antenna_byte(port), static_cast<std::uint8_t>(heard.size())};
        append(data, records);
        return device.answer(call, status::success, data, std::move(heard));
    }
    device.answer(call, status::no_tag);
}

Tag6b* find_tag(Device& device, Time now, const Bytes& id)
{
    const auto antennas = device.plugged_antennas();
    for (Tag6b& tag : device.other_tags().iso_6b) {
        const TagPlace& place = tag.place();
        if (tag.id() == id && place.is_present(now) && place.is_seen_by_any(antennas)) return &tag;
    }
    return nullptr;
}

// What a command does to the tag, given the start address and the fields behind the ID.
using Operation = TagAnswer (*)(Tag6b& tag, std::size_t address, Fields& more);

template <Operation operate, std::size_t least_more, std::size_t most_more>
void serve(Device& device, const Call& call)
{
    const std::size_t size = call.data().size();
    if (size < addressed_size + least_more || size > addressed_size + most_more) {
        return device.answer(call, status::bad_parameter);
    }
    Fields fields(call.data(), 0);
    const std::size_t address = fields.byte();
    Tag6b* const tag = find_tag(device, call.now, fields.bytes(Tag6b::id_size));
    if (!tag) return device.answer(call, status::no_tag);
    const TagAnswer answer = operate(*tag, address, fields);
    device.answer(call, answer.status, answer.data);
}

TagAnswer read(Tag6b& tag, std::size_t address, Fields& more)
{
    const std::size_t count = more.byte();
    if (count == 0) return {status::bad_parameter};
    return tag.read(address, count);
}

TagAnswer write(Tag6b& tag, std::size_t address, Fields& more)
{
    return tag.write(address, more.bytes(more.left()));
}

TagAnswer check_lock(Tag6b& tag, std::size_t address, Fields&) { return tag.check_lock(address); }

TagAnswer lock(Tag6b& tag, std::size_t address, Fields&) { return tag.lock(address); }

}  // namespace

void inventory_single_6b(Device& device, const Call& call)
{
    inventory(
        device, call, [](const Tag6b&) { return true; }, 1);
}

void inventory_multiple_6b(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const std::uint8_t comparison = fields.byte();
    if (comparison > static_cast<std::uint8_t>(Comparison::less)) {
        return device.answer(call, status::bad_parameter);
    }
    Condition condition;
    condition.comparison = static_cast<Comparison>(comparison);
    condition.address = fields.byte();
    condition.mask = fields.byte();
    condition.content = fields.bytes(condition_size);
    inventory(
        device, call, [&condition](const Tag6b& tag) { return meets(tag, condition); }, most_records);
}

void add_tags_6b_commands(CommandTable& table)
{
    table[command::read_6b] = serve<read, 1, 1>;
    table[command::write_6b] = serve<write, 0, Tag6b::memory_size>;
    table[command::check_lock_6b] = serve<check_lock, 0, 0>;
    table[command::lock_6b] = serve<lock, 0, 0>;
}

}  // namespace tagwire::sim
