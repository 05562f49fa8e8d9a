#include "tag_table.h"

#include <algorithm>

namespace tagwire::tool {

void RateMeter::add(TimePoint now, unsigned reads)
{
    if (!started_) first_ = now;
    started_ = true;
    const auto number = slot_number(now);
    auto& slot = slots_[static_cast<std::size_t>(number) % slot_count];
    if (slot.number != number) slot = {number, 0};
    slot.reads += reads;
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

void TagTable::add(const Read& read, const std::string& reader)
{
    reads_ += read.count;
    // Tags of one EPC are told apart by their TID, where it is known.
    const auto id = read.tid ? id_of(read) + '/' + read.tid->to_string() : id_of(read);
    auto known = row_of_id_.find(id);
    if (known == row_of_id_.end()) {
        if (rows_.size() >= limit_) {
            reads_without_row_ += read.count;
            return;
        }
        known = row_of_id_.emplace(id, rows_.size()).first;
        rows_.emplace_back().first = read.received;
    }
    auto& row = rows_[known->second];
    row.latest = read;
    row.reader = reader;
    row.reads += read.count;
    row.meter.add(read.received.steady, read.count);
}

}  // namespace tagwire::tool
