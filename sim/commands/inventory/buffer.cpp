// The reader's buffers: one that inventories fill, one that continuous reading fills.
#include <algorithm>
#include <functional>
#include <utility>

#include "commands/codes.h"
#include "commands/dispatch.h"
#include "commands/inventory/inventory_job.h"

namespace tagwire::sim {

namespace {

using Event = Singulation::Event;

constexpr std::size_t short_id = 16;  // bytes; 128 bits
constexpr std::size_t long_id = 62;   // 496 bits
constexpr std::uint8_t longest_save_length = 1;

std::uint64_t at_most(std::uint64_t number, std::uint64_t limit) { return std::min(number, limit); }

class BufferJob : public SingulationJob {
  public:
    BufferJob(Device& device, const Call& call, const InventoryRequest& request)
        : SingulationJob(device, call, make_rule(device, request)), request_(request)
    {}

  private:
    bool is_enough(Event event) override
    {
        if (event == Event::tag) keep(sight_heard());
        return false;
    }

    void keep(const Sighting& sighting)
    {
        auto id = inventory_id(*sighting.tag, request_);
        if (!id) return;
        TagStore& store = device().store();
        id->resize(std::min(id->size(), store.save_length == 0 ? short_id : long_id));
        store.inventoried.note(sighting.heard(), *id, sighting.rssi, singulation().world_time());
        ++readings_;
    }

    void conclude(std::uint8_t status) override
    {
        Bytes counts;
        append_number(counts, device().store().inventoried.tags().size(), 2);
        append_number(counts, at_most(readings_, 0xFFFF), 2);
        answer(status == status::inventory_done ? status::success : status, counts);
    }

    InventoryRequest request_;
    std::uint64_t readings_ = 0;
};

void inventory_into_buffer(Device& device, const Call& call)
{
    const auto request = parse_inventory(call.data());
    if (!request) return device.answer(call, status::bad_parameter);
    if (!has_antennas(device, make_rule(device, *request).antennas)) {
        return device.answer(call, status::antenna_missing);
    }
    device.begin(std::make_unique<BufferJob>(device, call, *request), call.now);
}

Bytes inventoried_record(const Device& device, const StoredTag& tag)
{
    Bytes record{device.antenna_byte(tag.heard.port), static_cast<std::uint8_t>(tag.id.size())};
    append(record, tag.id);
    append(record, {tag.rssi, static_cast<std::uint8_t>(at_most(tag.readings, 0xFF))});
    return record;
}

// How many records from this one on fit a frame together.
std::size_t records_that_fit(const std::vector<Bytes>& records, std::size_t from, std::size_t limit)
{
    std::size_t size = 1;
    std::size_t count = 0;
    while (from + count < records.size() && (limit == 0 || count < limit)) {
        size += records[from + count].size();
        if (size > longest_answer_data) break;
        ++count;
    }
    return count;
}

void read_buffer(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    std::vector<Bytes> records;
    const auto& tags = device.store().inventoried.tags();
    records.reserve(tags.size());
    for (const StoredTag& tag : tags) {
        records.push_back(inventoried_record(device, tag));
    }
    if (records.empty()) return device.answer(call, status::buffer_empty);
    for (std::size_t at = 0; at < records.size();) {
        const std::size_t count = records_that_fit(records, at, device.settings().records_per_frame);
        Bytes data{static_cast<std::uint8_t>(count)};
        std::vector<Heard> heard;
        for (std::size_t i = 0; i < count; ++i, ++at) {
            append(data, records[at]);
            heard.push_back(tags[at].heard);
        }
        device.answer(call, at < records.size() ? status::more_follow : status::inventory_done, data,
                      std::move(heard));
    }
}

// For commands without data that always succeed: what `act` gives is the answer's data.
void serve(Device& device, const Call& call, const std::function<Bytes()>& act)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    device.answer(call, status::success, act());
}

void clear_buffer(Device& device, const Call& call)
{
    serve(device, call, [&device] {
        device.store().inventoried.clear();
        return Bytes{};
    });
}

void count_buffer(Device& device, const Call& call)
{
    serve(device, call, [&device] {
        Bytes count;
        append_number(count, device.store().inventoried.tags().size(), 2);
        return count;
    });
}

void set_save_length(Device& device, const Call& call)
{
    if (call.data().size() != 1 || call.data()[0] > longest_save_length) {
        return device.answer(call, status::bad_parameter);
    }
    device.store().save_length = call.data()[0];
    device.answer(call, status::success);
}

void tell_save_length(Device& device, const Call& call)
{
    serve(device, call, [&device] { return Bytes{device.store().save_length}; });
}

Bytes read_record(const Device& device, const StoredTag& tag)
{
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(tag.latest).count();
    Bytes record{device.antenna_byte(tag.heard.port), tag.rssi};
    append_number(record, at_most(tag.readings, 0xFFFF), 2);
    append_number(record, static_cast<std::uint64_t>(milliseconds), 4);
    append_number(record, device.frequency_khz(), 3);
    record.push_back(static_cast<std::uint8_t>(tag.id.size()));
    append(record, tag.id);
    return record;
}

// One record a frame. A host knows the end by status 0, even if that frame arrives in pieces.
void read_tag_buffer(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    for (const StoredTag& tag : device.store().read.tags()) {
        device.answer(call, status::more_follow, read_record(device, tag), {tag.heard});
    }
    device.answer(call, status::success);
}

void clear_tag_buffer(Device& device, const Call& call)
{
    serve(device, call, [&device] {
        device.store().read.clear();
        return Bytes{};
    });
}

}  // namespace

void add_buffer_commands(CommandTable& table)
{
    table[command::buffer_inventory] = inventory_into_buffer;
    table[command::read_buffer] = read_buffer;
    table[command::clear_buffer] = clear_buffer;
    table[command::count_buffer] = count_buffer;
    table[command::set_save_length] = set_save_length;
    table[command::get_save_length] = tell_save_length;
    table[command::read_tag_buffer] = read_tag_buffer;
    table[command::clear_tag_buffer] = clear_tag_buffer;
}

}  // namespace tagwire::sim
