// One read of one tag, out of a list of records or out of a report.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tagwire/types.h"

namespace tagwire::tool {

struct Phase {
    std::uint16_t begin = 0;
    std::uint16_t end = 0;
    std::uint32_t frequency_khz = 0;

    bool operator==(const Phase&) const = default;
};

struct TagRecord {
    std::string id;  // upper-case hexadecimal digits
    std::uint8_t antenna = 0;
    std::uint8_t rssi = 0;
    std::optional<Phase> phase;
    std::optional<int> port{};  // 0: the antenna byte names none
    std::optional<std::string> tid{};
    std::uint8_t item = 0;              // of mixed inventories: not 0 for words that belong to the tag before
    std::optional<std::string> data{};  // hexadecimal; such words, once they are joined

    bool operator==(const TagRecord&) const = default;
};

struct DecodedList {
    std::vector<TagRecord> records;
    std::size_t undecoded = 0;  // bytes at the end that make no whole record
};

// Whether a packet byte precedes the length byte of every record.
enum class RecordLayout { Plain, Mixed };

// The records of an inventory, all with the antenna given.
DecodedList decode_list(std::span<const std::uint8_t> list, std::uint8_t antenna,
                        RecordLayout layout = RecordLayout::Plain);

TagRecord record_from_report(const RFIDTag& report, int kind);

// A list carries one antenna for all of its records, the reports of the same inventory carry one each. Takes
// the antennas, and the records that the list had no room for, from the reports.
std::vector<TagRecord> combine(std::vector<TagRecord> list, const std::vector<TagRecord>& reports);

// The records of tags, with the words that followed them as their data.
std::vector<TagRecord> join_data(const std::vector<TagRecord>& records);

}  // namespace tagwire::tool
