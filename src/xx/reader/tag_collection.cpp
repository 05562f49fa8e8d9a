#include "xx/reader/tag_collection.h"

#include <algorithm>
#include <new>
#include <utility>

#include "xx/values/reads.h"

namespace tagwire {
inline namespace v1 {
namespace {

Received now() { return {std::chrono::steady_clock::now(), std::chrono::system_clock::now()}; }

std::span<const std::uint8_t> id_of(const engine::TagRecord& record) { return {record.id, record.id_size}; }

}  // namespace

void TagCollection::take(const engine::TagRecord& record) noexcept
try {
    if (out_of_memory_) return;
    if (record.whole && record.id_size <= Epc::longest) return add(record);
    if (record.whole && last_ && words_) return add_data(record);
    ++result_.bad_records;
} catch (const std::bad_alloc&) {
    out_of_memory_ = true;
}

// What was read of a tag's memory follows its name, in a record of its own.
void TagCollection::add(const engine::TagRecord& record)
{
    constexpr u8 item_bits = 0x03;
    const bool is_name = (record.packet & item_bits) == 0;
    if (is_name) return begin_tag(record);
    last_ ? add_data(record) : static_cast<void>(++result_.bad_records);
}

void TagCollection::begin_tag(const engine::TagRecord& record)
{
    if (last_) merge(std::move(*last_));
    Read read = read_from(record, antenna_byte_);
    if (named_ == Named::by_id) read.id = TagId(std::exchange(read.epc, {}).bytes());
    read.received = now();
    last_ = std::move(read);
}

void TagCollection::add_data(const engine::TagRecord& record)
{
    const auto data = id_of(record);
    last_->data = Bytes(data.begin(), data.end());
    const bool is_tid = words_ && words_->bank == Bank::tid && words_->first == 0;
    if (is_tid && data.size() == 2 * std::size_t{words_->count} && data.size() <= Tid::longest)
        last_->tid = Tid(data);
}

void TagCollection::merge(Read read)
{
    const auto [place, is_new] =
        places_.try_emplace({read.epc, read.tid, read.id, read.port}, result_.reads.size());
    if (is_new) return result_.reads.push_back(std::move(read));
    Read& known = result_.reads[place->second];
    ++known.count;
    if (read.data) known.data = std::move(read.data);
    if (read.rssi <= known.rssi) return;
    known.rssi = read.rssi;
    known.phase = read.phase;
    known.frequency = read.frequency;
}

void TagCollection::end_inventory()
{
    if (last_) merge(std::move(*last_));
    last_.reset();
    if (out_of_memory_) throw std::bad_alloc();
}

std::vector<SeenTag> InventoryResult::tags() const
{
    std::map<std::tuple<Epc, std::optional<Tid>, std::optional<TagId>>, std::size_t> places;
    std::vector<SeenTag> out;
    for (const Read& read : reads) {
        const auto [place, is_new] = places.try_emplace({read.epc, read.tid, read.id}, out.size());
        if (is_new) out.push_back({read.epc, read.tid, read.id, read.data, {}, 0, read.rssi});
        SeenTag& tag = out[place->second];
        tag.ports.insert(std::lower_bound(tag.ports.begin(), tag.ports.end(), read.port), read.port);
        tag.count += read.count;
        tag.rssi = std::max(tag.rssi, read.rssi);
        if (!tag.data) tag.data = read.data;
    }
    return out;
}

}  // namespace v1
}  // namespace tagwire
