// All tags that were seen, each once.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include <tagwirexx/read.hpp>

namespace tagwire::tool {

// Reads per second over the last two seconds.
class RateMeter {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    void add(TimePoint now, unsigned reads = 1);
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

// On both clocks.
inline Received moment_now() { return {std::chrono::steady_clock::now(), std::chrono::system_clock::now()}; }

// The EPC, or what other kinds of tags have instead, as upper-case hexadecimal digits.
inline std::string id_of(const Read& read) { return read.id ? read.id->to_string() : read.epc.to_string(); }

struct TagRow {
    Read latest;
    std::string reader;  // that read it last
    std::uint64_t reads = 0;
    Received first;
    RateMeter meter;
};

class TagTable {
  public:
    static constexpr std::size_t default_limit = 1'000'000;

    explicit TagTable(std::size_t limit = default_limit) : limit_(limit) {}

    // `reader`: where several are told apart.
    void add(const Read& read, const std::string& reader = {});

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
