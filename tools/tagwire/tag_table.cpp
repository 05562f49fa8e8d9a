#include "tag_table.h"

#include <algorithm>

namespace tagwire::tool {

void RateMeter::add(TimePoint now)
{
    if (!started_) first_ = now;
    started_ = true;
    const auto number = slot_number(now);
    auto& slot = slots_[static_cast<std::size_t>(number) % slot_count];
    if (slot.number != number) slot = {number, 0};
    ++slot.reads;
}

double RateMeter::rate(TimePoint now) const
{
    if (!started_) return 0;
    const auto newest = slot_number(now);
    const auto oldest = newest - static_cast<std::int64_t>(slot_count) + 1;
    std::uint64_t reads = 0;
    for (const auto& slot : slots_) {
        if (slot.number >= oldest && slot.number <= newest) reads += slot.reads;
    }
    const TimePoint window_start{oldest * slot_length};
    const std::chrono::duration<double> window = now - std::max(window_start, first_);
    // A tag that has only just come has had no time to show a rate.
    constexpr double shortest_window = 0.5;
    return static_cast<double>(reads) / std::max(window.count(), shortest_window);
}

void TagTable::add(const TagRecord& tag, const Moment& at)
{
    ++reads_;
    // Tags of one EPC are told apart by their TID, where it is known.
    const std::string id = tag.tid ? tag.id + '/' + *tag.tid : tag.id;
    auto known = row_of_id_.find(id);
    if (known == row_of_id_.end()) {
        if (rows_.size() >= limit_) {
            ++reads_without_row_;
            return;
        }
        known = row_of_id_.emplace(id, rows_.size()).first;
        rows_.emplace_back().first = at;
    }
    auto& row = rows_[known->second];
    row.latest = tag;
    row.last = at;
    ++row.reads;
    row.meter.add(at.steady);
}

}  // namespace tagwire::tool
