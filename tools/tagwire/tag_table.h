// All tags that were seen, each once.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "records.h"
#include "reports.h"

namespace tagwire::tool {

// Reads per second over the last two seconds.
class RateMeter {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    void add(TimePoint now);
    double rate(TimePoint now) const;

  private:
    static constexpr std::chrono::milliseconds slot_length{250};
    static constexpr std::size_t slot_count = 8;
    struct Slot {
        std::int64_t number = -1;
        std::uint32_t reads = 0;
    };
    static std::int64_t slot_number(TimePoint at) { return at.time_since_epoch() / slot_length; }

    std::array<Slot, slot_count> slots_{};
    TimePoint first_{};
    bool started_ = false;
};

struct TagRow {
    TagRecord latest;
    std::uint64_t reads = 0;
    Moment first;
    Moment last;
    RateMeter meter;
};

class TagTable {
  public:
    static constexpr std::size_t default_limit = 1'000'000;

    explicit TagTable(std::size_t limit = default_limit) : limit_(limit) {}

    void add(const TagRecord& tag, const Moment& at);

    // In the order of the first read.
    const std::vector<TagRow>& rows() const { return rows_; }
    std::uint64_t reads() const { return reads_; }
    // Reads of tags that came when the table was full: they count as reads, without a row.
    std::uint64_t reads_without_row() const { return reads_without_row_; }

  private:
    std::size_t limit_;
    std::vector<TagRow> rows_;
    std::unordered_map<std::string, std::size_t> row_of_id_;
    std::uint64_t reads_ = 0;
    std::uint64_t reads_without_row_ = 0;
};

}  // namespace tagwire::tool
