#include "records.h"

#include <algorithm>
#include <string_view>

namespace tagwire::tool {

namespace {

constexpr std::uint8_t length_bits = 0x3F;
constexpr std::uint8_t phase_flag = 0x40;
constexpr std::uint8_t extended_phase_flag = 0x10;
constexpr int extended_kind = 2;
constexpr std::size_t phase_bytes = 7;

std::string hex_text(std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

Phase decode_phase(std::span<const std::uint8_t, phase_bytes> block)
{
    Phase phase;
    phase.begin = static_cast<std::uint16_t>(block[0] << 8 | block[1]);
    phase.end = static_cast<std::uint16_t>(block[2] << 8 | block[3]);
    phase.frequency_khz = static_cast<std::uint32_t>(block[4] << 16 | block[5] << 8 | block[6]);
    return phase;
}

}  // namespace

DecodedList decode_list(std::span<const std::uint8_t> list, std::uint8_t antenna)
{
    DecodedList decoded;
    while (!list.empty()) {
        const std::size_t id_bytes = list[0] & length_bits;
        const bool has_phase = (list[0] & phase_flag) != 0;
        const auto record_bytes = 1 + id_bytes + 1 + (has_phase ? phase_bytes : 0);
        if (list.size() < record_bytes) break;

        TagRecord record;
        record.id = hex_text(list.subspan(1, id_bytes));
        record.antenna = antenna;
        record.rssi = list[1 + id_bytes];
        if (has_phase) record.phase = decode_phase(list.subspan(2 + id_bytes).first<phase_bytes>());
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

}  // namespace tagwire::tool
