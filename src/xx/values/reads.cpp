#include "xx/values/reads.h"

#include <algorithm>

#include "xx/values/ports.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr unsigned epc_begins_at = 32;  // bits of its bank, behind the CRC and the PC

bool bit_of(std::span<const std::uint8_t> bytes, unsigned at)
{
    return (bytes[at / 8] >> (7 - at % 8) & 1) != 0;
}

}  // namespace

Read read_from(const engine::TagRecord& record, AntennaByte meaning)
{
    Read read;
    read.epc = Epc(std::span(record.id, std::min(record.id_size, Epc::longest)));
    read.port = port_of(record.antenna, meaning);
    read.rssi = record.rssi;
    read.antenna_byte = record.antenna;
    if (!record.has_phase) return read;
    read.phase = Phase{record.phase_begin, record.phase_end};
    read.frequency = Kilohertz{record.khz};
    return read;
}

bool fits(const Mask& mask, const Epc& epc)
{
    const unsigned bits = mask.bits != 0 ? mask.bits : static_cast<unsigned>(8 * mask.bytes.size());
    if (mask.bank != Bank::epc || mask.bit < epc_begins_at || bits > 8 * mask.bytes.size()) return false;
    const unsigned from = mask.bit - epc_begins_at;
    if (std::uint64_t{from} + bits > 8 * epc.size()) return false;
    for (unsigned i = 0; i < bits; ++i)
        if (bit_of(mask.bytes, i) != bit_of(epc.bytes(), from + i)) return false;
    return true;
}

}  // namespace v1
}  // namespace tagwire
