#include "population.h"

#include <algorithm>

namespace tagwire::sim {

namespace {

// The checksum that a tag keeps of its protocol control word and EPC: polynomial 0x1021, highest bit first.
std::uint16_t stored_checksum(const Bytes& bytes)
{
    unsigned crc = 0xFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= static_cast<unsigned>(byte) << 8U;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000U) ? (crc << 1U) ^ 0x1021U : crc << 1U;
        crc &= 0xFFFFU;
    }
    return static_cast<std::uint16_t>(~crc);
}

Bytes make_epc_bank(const Bytes& epc)
{
    Bytes content{static_cast<std::uint8_t>((epc.size() / 2) << 3U), 0x00};
    append(content, epc);
    const std::uint16_t checksum = stored_checksum(content);
    Bytes bank{static_cast<std::uint8_t>(checksum >> 8U), static_cast<std::uint8_t>(checksum & 0xFFU)};
    append(bank, content);
    return bank;
}

Bytes make_reserved_bank(const TagSettings& settings)
{
    Bytes bank(settings.kill_password.begin(), settings.kill_password.end());
    bank.insert(bank.end(), settings.access_password.begin(), settings.access_password.end());
    return bank;
}

bool bit_of(const Bytes& bytes, std::size_t bit) { return (bytes[bit / 8] >> (7U - bit % 8)) & 1U; }

}  // namespace

Tag::Tag(const TagSettings& settings) : settings_(settings)
{
    banks_[static_cast<std::size_t>(Bank::reserved)] = make_reserved_bank(settings);
    banks_[static_cast<std::size_t>(Bank::epc)] = make_epc_bank(settings.epc);
    banks_[static_cast<std::size_t>(Bank::tid)] = settings.tid;
    banks_[static_cast<std::size_t>(Bank::user)] = settings.user;
}

bool Tag::matches(const Mask& mask) const
{
    const Bytes& memory = bank(mask.bank);
    if (mask.bit_count == 0) return true;
    if (std::size_t{mask.bit_address} + mask.bit_count > memory.size() * 8) return false;
    for (std::uint32_t bit = 0; bit < mask.bit_count; ++bit) {
        if (bit_of(memory, mask.bit_address + bit) != bit_of(mask.bits, bit)) return false;
    }
    return true;
}

bool Tag::is_present(Time now) const
{
    return now >= settings_.arrives && (!settings_.departs || now < *settings_.departs);
}

bool Tag::is_seen_by(unsigned antenna) const
{
    const auto& ports = settings_.antennas;
    return std::find(ports.begin(), ports.end(), antenna) != ports.end();
}

void Tag::energise(Time now, const ReaderSettings& reader)
{
    if (now - flags_[1].since > reader.s1_persistence) flags_[1].b = false;
    if (now - powered_at_ > reader.s2_persistence) {
        flags_[2].b = false;
        flags_[3].b = false;
    }
    powered_at_ = std::max(powered_at_, now);
}

void Tag::lose_power() { flags_[0].b = false; }

void Tag::set_flag(unsigned session, bool b, Time now) { flags_[session] = {b, now}; }

Population::Population(const Scenario& scenario)
{
    tags_.reserve(scenario.tags.size());
    for (const TagSettings& tag : scenario.tags) tags_.emplace_back(tag);
}

bool Population::anyone_seen_by(const std::vector<unsigned>& antennas, Time now) const
{
    const auto seen = [&](const Tag& tag) {
        return tag.is_present(now) && std::any_of(antennas.begin(), antennas.end(),
                                                  [&](unsigned port) { return tag.is_seen_by(port); });
    };
    return std::any_of(tags_.begin(), tags_.end(), seen);
}

void Population::lose_power()
{
    for (Tag& tag : tags_) tag.lose_power();
}

}  // namespace tagwire::sim
