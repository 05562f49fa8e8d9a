#include "field/tag.h"

#include <algorithm>
#include <utility>

#include "random.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t checksum_size = 2;
constexpr std::size_t control_at = 2;
constexpr std::size_t tid_class_size = 4;  // what stays of a TID without its serial
constexpr std::size_t password_size = 4;
constexpr unsigned usual_epc_words = 8;

// The checksum that a tag keeps of its protocol control word and EPC: polynomial 0x1021, highest bit first.
std::uint16_t checksum_of(const Bytes& bytes, std::size_t begin, std::size_t end)
{
    unsigned crc = 0xFFFF;
    for (std::size_t i = begin; i < end; ++i) {
        crc ^= static_cast<unsigned>(bytes[i]) << 8U;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000U) ? (crc << 1U) ^ 0x1021U : crc << 1U;
        crc &= 0xFFFFU;
    }
    return static_cast<std::uint16_t>(~crc);
}

// The end of the EPC by the length in the protocol control word.
std::size_t epc_end(const Bytes& bank) { return epc_start + std::size_t{bank[control_at]} / 8 * 2; }

void write_length(Bytes& bank, std::size_t words)
{
    bank[control_at] = static_cast<std::uint8_t>((words << 3U) | (bank[control_at] & 0x07U));
}

void write_checksum(Bytes& bank)
{
    const std::uint16_t checksum = checksum_of(bank, checksum_size, epc_end(bank));
    bank[0] = static_cast<std::uint8_t>(checksum >> 8U);
    bank[1] = static_cast<std::uint8_t>(checksum & 0xFFU);
}

Bytes make_epc_bank(const TagSettings& settings)
{
    Bytes bank(epc_start);
    append(bank, settings.epc);
    write_length(bank, settings.epc.size() / 2);
    const std::size_t words = settings.epc_words > 0 ? settings.epc_words : usual_epc_words;
    bank.resize(std::max(bank.size(), epc_start + 2 * words));
    write_checksum(bank);
    return bank;
}

Bytes make_reserved_bank(const TagSettings& settings)
{
    Bytes bank(settings.kill_password.begin(), settings.kill_password.end());
    bank.insert(bank.end(), settings.access_password.begin(), settings.access_password.end());
    return bank;
}

Bytes slice(const Bytes& bytes, std::size_t begin, std::size_t end)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

void keep_front(Bytes& bytes, std::size_t size) { bytes.resize(std::min(bytes.size(), size)); }

bool changed(bool raised, FlagChange change)
{
    switch (change) {
    case FlagChange::keep: return raised;
    case FlagChange::raise: return true;
    case FlagChange::clear: return false;
    case FlagChange::negate: return !raised;
    }
    return raised;
}

std::uint64_t number_of(const Bytes& bytes, std::uint64_t number)
{
    for (const std::uint8_t byte : bytes) number = scrambled(number ^ byte);
    return number;
}

}  // namespace

Tag::Tag(const TagSettings& settings, bool* epc_changes)
    : settings_(settings), epc_changes_(epc_changes),
      chip_(number_of(settings.tid, number_of(settings.epc, 0)))
{
    memory(Bank::reserved) = make_reserved_bank(settings);
    memory(Bank::epc) = make_epc_bank(settings);
    memory(Bank::tid) = settings.tid;
    memory(Bank::user) = initial_user_memory(settings);
    state_.locks = settings.locks;
    state_.eas = settings.eas;
    const std::size_t block_size = std::size_t{settings.block_words} * 2;
    state_.locked_blocks.resize((stored(Bank::user).size() + block_size - 1) / block_size);
    if (settings.sensor) sensor_ = std::make_unique<Sensor>(*settings.sensor);
    show();
}

bool Tag::matches(const Mask& mask) const
{
    if (mask.bit_count == 0) return true;
    if (mask.bank == Bank::reserved) return false;
    const Bytes& shown = bank(mask.bank);
    const std::size_t size = mask.bank == Bank::epc ? epc_end(shown) : shown.size();
    if (std::size_t{mask.bit_address} + mask.bit_count > size * 8) return false;
    return holds_bits(shown, mask.bit_address, mask.bit_count, mask.bits);
}

void Tag::store(Bank bank, std::size_t byte, const Bytes& bytes)
{
    std::copy(bytes.begin(), bytes.end(), memory(bank).begin() + static_cast<std::ptrdiff_t>(byte));
    if (bank == Bank::epc) write_checksum(memory(bank));
    show();
}

void Tag::set_epc_length(unsigned words)
{
    write_length(memory(Bank::epc), words);
    write_checksum(memory(Bank::epc));
    show();
}

void Tag::set_state(const TagState& state)
{
    state_ = state;
    show();
}

void Tag::show()
{
    shown_ = banks_;
    hide_passwords();
    make_untraceable();
    const Bytes& epc = stored(Bank::epc);
    const Bytes blank(epc_end(epc) - epc_start);
    if (state_.public_profile) {
        show_epc_only(settings_.public_epc.empty() ? blank : settings_.public_epc);
        keep_front(shown(Bank::tid), tid_class_size);
        shown(Bank::user).clear();
    }
    if (state_.read_protected) {
        show_epc_only(blank);
        shown(Bank::tid).clear();
        shown(Bank::user).clear();
    }
    copy_to_settings();
}

// An inventory that reads the reserved bank has the access password: only what is locked forever is hidden.
void Tag::hide_passwords()
{
    if (state_.lock(Area::access_password) == Lock::closed_forever) {
        keep_front(shown(Bank::reserved), password_size);
    }
    if (state_.lock(Area::kill_password) == Lock::closed_forever) shown(Bank::reserved).clear();
}

void Tag::make_untraceable()
{
    const Untraceable& hidden = state_.untraceable;
    if (hidden.hides_epc_end) keep_front(shown(Bank::epc), epc_end(shown(Bank::epc)));
    if (hidden.tid == TidHiding::serial) keep_front(shown(Bank::tid), tid_class_size);
    if (hidden.tid == TidHiding::all) shown(Bank::tid).clear();
    if (hidden.hides_user) shown(Bank::user).clear();
}

void Tag::show_epc_only(const Bytes& epc)
{
    Bytes& bank = shown(Bank::epc);
    bank.resize(epc_start);
    append(bank, epc);
    write_length(bank, epc.size() / 2);
    write_checksum(bank);
}

void Tag::copy_to_settings()
{
    const Bytes& bank_shown = bank(Bank::epc);
    Bytes epc = slice(bank_shown, epc_start, epc_end(bank_shown));
    if (epc_changes_ && epc != settings_.epc) *epc_changes_ = true;
    settings_.epc = std::move(epc);
    settings_.tid = bank(Bank::tid);
    settings_.user = bank(Bank::user);
    const Bytes& passwords = stored(Bank::reserved);
    std::copy_n(passwords.begin(), password_size, settings_.kill_password.begin());
    std::copy_n(passwords.begin() + password_size, password_size, settings_.access_password.begin());
}

bool Tag::is_in_field(Time now) const { return !state_.killed && now >= settings_.arrives && !has_left(now); }

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
        selected_ = false;
    }
    powered_at_ = std::max(powered_at_, now);
}

void Tag::lose_power() { flags_[0].b = false; }

void Tag::set_flag(unsigned session, bool b, Time now) { flags_[session] = {b, now}; }

void Tag::obey(const Select& select, Time now)
{
    const FlagChange change = select.change(matches(select.mask));
    if (select.target == Select::sl_target) {
        selected_ = changed(selected_, change);
        return;
    }
    if (change == FlagChange::keep) return;
    set_flag(select.target, !changed(!is_in_b(select.target), change), now);
}

}  // namespace tagwire::sim
