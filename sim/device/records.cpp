#include "device/records.h"

namespace tagwire::sim {

namespace {

constexpr unsigned plain_phase_flag = 0x40;
constexpr unsigned extended_phase_flag = 0x10;

void append_body(Bytes& record, const Sighting& sighting, const Bytes& id, bool with_phase)
{
    append(record, id);
    record.push_back(sighting.rssi);
    if (!with_phase) return;
    for (const std::uint16_t phase : {sighting.phase_begin, sighting.phase_end}) {
        record.push_back(static_cast<std::uint8_t>(phase >> 8U));
        record.push_back(static_cast<std::uint8_t>(phase & 0xFFU));
    }
    for (const unsigned shift : {16U, 8U, 0U}) {
        record.push_back(static_cast<std::uint8_t>((sighting.frequency_khz >> shift) & 0xFFU));
    }
}

void append_plain(Bytes& record, const Sighting& sighting, const Bytes& id, bool with_phase)
{
    record.push_back(static_cast<std::uint8_t>(id.size() | (with_phase ? plain_phase_flag : 0U)));
    append_body(record, sighting, id, with_phase);
}

}  // namespace

Sighting sight(Device& device, const Tag& tag, unsigned antenna, Time heard_at)
{
    const TagSettings& settings = tag.settings();
    Sighting sighting;
    sighting.tag = &tag;
    sighting.antenna = antenna;
    sighting.rssi = device.radio().rssi(antenna, tag, heard_at, device.random());
    sighting.with_phase = device.settings().phase;
    sighting.phase_begin = settings.phase;
    sighting.phase_end = static_cast<std::uint16_t>(settings.phase + settings.phase_drift);
    sighting.frequency_khz = device.radio().frequency_khz(heard_at);
    device.signal_reading();
    return sighting;
}

Bytes plain_record(const Sighting& sighting, const Bytes& id)
{
    Bytes record;
    append_plain(record, sighting, id, sighting.with_phase);
    return record;
}

Bytes mixed_record(const Sighting& sighting, std::uint8_t item, const Bytes& id)
{
    Bytes record{item};
    append_plain(record, sighting, id, sighting.with_phase && item == 0);
    return record;
}

Bytes extended_record(const Sighting& sighting, std::uint8_t item, const Bytes& id)
{
    const bool with_phase = sighting.with_phase && item == 0;
    Bytes record{static_cast<std::uint8_t>(item | (with_phase ? extended_phase_flag : 0U)),
                 static_cast<std::uint8_t>(id.size())};
    append_body(record, sighting, id, with_phase);
    return record;
}

}  // namespace tagwire::sim
