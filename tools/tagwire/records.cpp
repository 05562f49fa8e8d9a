#include "records.h"

#include "bytes.h"

#include <algorithm>

namespace tagwire::tool {

namespace {

constexpr std::uint8_t length_bits = 0x3F;
constexpr std::uint8_t phase_flag = 0x40;
constexpr std::uint8_t item_bits = 0x03;  // of the packet byte
constexpr std::uint8_t extended_phase_flag = 0x10;
constexpr int extended_kind = 2;
constexpr std::size_t phase_bytes = 7;

Phase decode_phase(std::span<const std::uint8_t, phase_bytes> block)
{
    Phase phase;
    phase.begin = static_cast<std::uint16_t>(block[0] << 8 | block[1]);
    phase.end = static_cast<std::uint16_t>(block[2] << 8 | block[3]);
    phase.frequency_khz = static_cast<std::uint32_t>(block[4] << 16 | block[5] << 8 | block[6]);
    return phase;
}

}  // namespace

DecodedList decode_list(std::span<const std::uint8_t> list, std::uint8_t antenna, RecordLayout layout)
{
    const std::size_t lead = layout == RecordLayout::Mixed ? 1 : 0;
    DecodedList decoded;
    while (list.size() > lead) {
        const std::size_t id_bytes = list[lead] & length_bits;
        const bool has_phase = (list[lead] & phase_flag) != 0;
        const auto id_at = lead + 1;
        const auto record_bytes = id_at + id_bytes + 1 + (has_phase ? phase_bytes : 0);
        if (list.size() < record_bytes) break;

        TagRecord record;
        record.id = hex_text(list.subspan(id_at, id_bytes));
        record.antenna = antenna;
        record.rssi = list[id_at + id_bytes];
        if (lead != 0) record.item = list[0] & item_bits;
        if (has_phase) record.phase = decode_phase(list.subspan(id_at + id_bytes + 1).first<phase_bytes>());
        decoded.records.push_back(std::move(record));
        list = list.subspan(record_bytes);
    }
    decoded.undecoded = list.size();
    return decoded;
}

TagRecord record_from_report(const RFIDTag& report, int kind)
{
    const bool has_phase = kind == extended_kind ? (report.PacketParam & extended_phase_flag) != 0
                                                 : (report.LEN & phase_flag) != 0;
    TagRecord record;
    record.id = report.UID;
    record.antenna = report.ANT;
    record.rssi = report.RSSI;
    record.item = report.PacketParam & item_bits;
    if (has_phase) {
        record.phase = Phase{static_cast<std::uint16_t>(report.phase_begin),
                             static_cast<std::uint16_t>(report.phase_end), report.Freqkhz};
    }
    return record;
}

std::vector<TagRecord> combine(std::vector<TagRecord> list, const std::vector<TagRecord>& reports)
{
    const auto both = std::min(list.size(), reports.size());
    for (std::size_t i = 0; i < both; ++i) {
        if (list[i].id != reports[i].id) return list;
        list[i].antenna = reports[i].antenna;
    }
    for (std::size_t i = both; i < reports.size(); ++i) list.push_back(reports[i]);
    return list;
}

std::vector<TagRecord> join_data(const std::vector<TagRecord>& records)
{
    std::vector<TagRecord> tags;
    for (const auto& record : records) {
        if (record.item == 0 || tags.empty()) {
            tags.push_back(record);
        } else {
            tags.back().data = record.id;
        }
    }
    return tags;
}

}  // namespace tagwire::tool
