// The records in which tags stand in answers and reports.
#pragma once

#include "device/device.h"

namespace tagwire::sim {

// One reading of a tag through one antenna.
struct Sighting {
    const Tag* tag = nullptr;
    unsigned antenna = 0;
    std::uint8_t rssi = 0;
    bool with_phase = false;
    std::uint16_t phase_begin = 0;
    std::uint16_t phase_end = 0;
    std::uint32_t frequency_khz = 0;

    Heard heard() const { return {tag->epc(), tag->stored(Bank::tid), antenna}; }
};

inline constexpr std::size_t longest_plain_id = 63;  // its length has six bits
inline constexpr std::size_t longest_extended_id = 238;

// A reading of that moment, which the reader also signals by its beeper and outputs.
Sighting sight(Device& device, const Tag& tag, unsigned antenna, Time heard_at);

// Length byte (phase flag in bit 6), ID, RSSI, phase block.
Bytes plain_record(const Sighting& sighting, const Bytes& id);
// `item` before a plain record. Item 0 is the EPC and carries the phase.
Bytes mixed_record(const Sighting& sighting, std::uint8_t item, const Bytes& id);
// `item` with the phase flag in bit 4, a length byte of all eight bits, ID, RSSI, phase block.
Bytes extended_record(const Sighting& sighting, std::uint8_t item, const Bytes& id);

}  // namespace tagwire::sim
