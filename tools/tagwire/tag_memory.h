// Reading and writing the memory of a tag piece by piece, and the account of what became of every word.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "bytes.h"
#include "tag_result.h"

namespace tagwire::tool {

// Units that follow each other. A unit is a word or a byte, as the memory is addressed.
struct Run {
    std::uint32_t first = 0;
    std::uint32_t count = 0;

    bool operator==(const Run&) const = default;
};

struct TransferLimits {
    std::size_t unit_bytes = 2;
    std::uint32_t most_read = 1;  // units in one command
    std::uint32_t most_write = 1;
};

class TagMemory {
  public:
    TagMemory() = default;
    virtual ~TagMemory() = default;
    TagMemory(const TagMemory&) = delete;
    TagMemory& operator=(const TagMemory&) = delete;

    virtual TransferLimits limits() const = 0;
    // Both with no more than the limits allow. Data read may be of any length.
    virtual TagResult read(const Run& run, Bytes& data) = 0;
    virtual TagResult write(std::uint32_t first, std::span<const std::uint8_t> data) = 0;
};

// The most words of a write whose command has so many other bytes behind its code: never less than one.
std::uint32_t words_in_frame(std::size_t other_bytes);

// Pieces of at most so many units.
std::vector<Run> split_run(const Run& whole, std::uint32_t most);

// Asked between pieces; true ends the work.
using StopRequest = std::function<bool()>;

enum class Stop { None, Failed, Interrupted, TooShort };

struct ReadReport {
    Run run;
    Bytes data;  // what was read until the end or the stop
    Stop stop = Stop::None;
    TagResult result;
};

ReadReport read_units(TagMemory& memory, const Run& run, const StopRequest& stop_requested);

enum class UnitState { NotWritten, Written, Unknown };

struct Difference {
    std::uint32_t unit = 0;
    Bytes expected;
    Bytes found;

    bool operator==(const Difference&) const = default;
};

struct WriteReport {
    Run run;
    std::vector<UnitState> states;  // of every unit
    Stop stop = Stop::None;
    TagResult result;  // of the write that stopped
    bool verified = false;
    // Why what was written could not be read back.
    std::optional<ReadReport> failed_reading;
    std::vector<Difference> differences;

    bool is_complete() const { return stop == Stop::None && differences.empty() && !failed_reading; }
    std::vector<Run> runs(UnitState state) const;
};

// Stops at the first piece that fails, and looks at its units: those that hold the new data count as written.
// To verify is to read back all units and to compare them.
WriteReport write_units(TagMemory& memory, std::uint32_t first, std::span<const std::uint8_t> data,
                        bool verify, const StopRequest& stop_requested);

}  // namespace tagwire::tool
