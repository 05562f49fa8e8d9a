#include "field/tag_access.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "device/device.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t control_word = 1;  // of the EPC bank, behind the checksum
constexpr std::size_t epc_word = epc_start / word_size;
constexpr std::size_t access_password_word = 2;

bool has_power(const Tag& tag, unsigned power_dbm) { return power_dbm >= tag.settings().write_power; }

std::size_t epc_capacity(const Tag& tag) { return tag.stored(Bank::epc).size() / word_size - epc_word; }

Area area_of(Bank bank, std::size_t word)
{
    switch (bank) {
    case Bank::epc: return Area::epc;
    case Bank::tid: return Area::tid;
    case Bank::user: return Area::user;
    case Bank::reserved: break;
    }
    return word < access_password_word ? Area::kill_password : Area::access_password;
}

// The length in the control word must fit the tag's memory.
bool is_control_word_good(const Tag& tag, const Words& words, const Bytes& data)
{
    if (words.bank != Bank::epc || words.first > control_word) return true;
    const std::size_t length = data[(control_word - words.first) * word_size] >> 3U;
    return length <= epc_capacity(tag);
}

bool takes_part(const Population& field, const Tag& tag, unsigned antenna)
{
    const auto session = field.selection().session(antenna);
    if (session && tag.is_in_b(*session)) return false;
    return !field.selection().asks_for_sl(antenna) || tag.is_selected();
}

}  // namespace

bool TagChoice::fits(const Tag& tag) const
{
    if (mask) return tag.matches(*mask);
    return epc.empty() || tag.epc() == epc;
}

std::optional<TagAccess> TagAccess::open(const FoundTag& found, const Password& password, unsigned power_dbm)
{
    const Tag& tag = found.tag;
    const bool can_write = has_power(tag, power_dbm);
    const bool right = password == tag.access_password();
    if (password == Password{}) return TagAccess(found, right ? Rights::secured : Rights::none, can_write);
    if (!right) return std::nullopt;
    return TagAccess(found, Rights::proven, can_write);
}

const Bytes& TagAccess::visible(Bank bank) const
{
    const bool all = bank == Bank::reserved || rights_ == Rights::proven;
    return all ? tag_.stored(bank) : tag_.bank(bank);
}

bool TagAccess::holds(const Words& words) const
{
    return (words.first + words.count) * word_size <= visible(words.bank).size();
}

bool TagAccess::is_open(Area area) const
{
    switch (tag_.state().lock(area)) {
    case Lock::open:
    case Lock::open_forever: return true;
    case Lock::closed: return is_secured();
    case Lock::closed_forever: return false;
    }
    return false;
}

bool TagAccess::may_use(const Words& words) const
{
    return is_open(area_of(words.bank, words.first)) &&
           is_open(area_of(words.bank, words.first + words.count - 1));
}

bool TagAccess::is_block_locked(const Words& words) const
{
    if (words.bank != Bank::user) return false;
    const auto& locked = tag_.state().locked_blocks;
    for (std::size_t word = words.first; word < words.first + words.count; ++word) {
        if (locked[block_of(word)]) return true;
    }
    return false;
}

TagAnswer TagAccess::read(const Words& words) const
{
    if (!holds(words)) return tag_refuses(TagError::no_such_memory);
    if (words.bank == Bank::reserved && !may_use(words)) return tag_refuses(TagError::locked);
    const auto begin = visible(words.bank).begin() + static_cast<std::ptrdiff_t>(words.first * word_size);
    const auto end = begin + static_cast<std::ptrdiff_t>(words.count * word_size);
    return {status::success, Bytes(begin, end)};
}

TagAnswer TagAccess::write(Bank bank, std::size_t first, const Bytes& data)
{
    const Words words{bank, first, data.size() / word_size};
    const bool has_checksum = bank == Bank::epc && first < control_word;
    if (!holds(words)) return tag_refuses(TagError::no_such_memory);
    if (has_checksum || !may_use(words) || is_block_locked(words)) return tag_refuses(TagError::locked);
    if (!is_control_word_good(tag_, words, data)) return tag_refuses(TagError::no_such_memory);
    if (!can_write_) return tag_refuses(TagError::power);
    tag_.store(bank, first * word_size, data);
    return {};
}

TagAnswer TagAccess::erase(const Words& words)
{
    return write(words.bank, words.first, Bytes(words.count * word_size));
}

TagAnswer TagAccess::write_epc(const Bytes& epc)
{
    const Bytes& bank = tag_.stored(Bank::epc);
    const std::size_t words = epc.size() / word_size;
    Bytes data{static_cast<std::uint8_t>((words << 3U) | (bank[2] & 0x07U)), bank[3]};
    append(data, epc);
    return write(Bank::epc, control_word, data);
}

TagAnswer TagAccess::lock(Area area, Lock lock)
{
    if (!is_secured()) return tag_refuses(TagError::privileges);
    TagState state = tag_.state();
    Lock& current = state.locks[static_cast<std::size_t>(area)];
    if (current == lock) return {};
    if (current == Lock::open_forever || current == Lock::closed_forever)
        return tag_refuses(TagError::locked);
    current = lock;
    return change(state);
}

TagAnswer TagAccess::lock_block(std::size_t word)
{
    if (!is_secured()) return tag_refuses(TagError::privileges);
    if (!holds({Bank::user, word, 1})) return tag_refuses(TagError::no_such_memory);
    TagState state = tag_.state();
    state.locked_blocks[block_of(word)] = true;
    return change(state);
}

TagAnswer TagAccess::hide(const Untraceable& untraceable, unsigned epc_words)
{
    if (!is_secured()) return tag_refuses(TagError::privileges);
    if (epc_words > epc_capacity(tag_)) return tag_refuses(TagError::no_such_memory);
    TagState state = tag_.state();
    state.untraceable = untraceable;
    TagAnswer answer = change(state);
    if (answer.status == status::success) tag_.set_epc_length(epc_words);
    return answer;
}

TagAnswer TagAccess::change(const TagState& state)
{
    if (!is_secured()) return tag_refuses(TagError::privileges);
    if (!can_write_) return tag_refuses(TagError::power);
    tag_.set_state(state);
    return {};
}

TagAnswer kill(Tag& tag, const Password& password, unsigned power_dbm)
{
    if (tag.kill_password() == Password{}) return tag_refuses(TagError::other);
    if (tag.kill_password() != password) return {status::wrong_password};
    if (!has_power(tag, power_dbm)) return tag_refuses(TagError::power);
    TagState state = tag.state();
    state.killed = true;
    tag.set_state(state);
    return {};
}

std::optional<FoundTag> find_tag(Device& device, Time now, const std::function<bool(const Tag&)>& fits)
{
    Population& field = device.field();
    std::map<std::size_t, unsigned> fitting;  // by their places in the field, the first port that hears them
    for (const unsigned antenna : device.enabled_antennas()) {
        if (!field.selection().at(antenna).empty()) field.lose_power();
        field.apply_selection(antenna, now, device.settings());
        for (const std::size_t index : field.present(now)) {
            Tag& tag = field[index];
            if (!field.meet(tag, antenna, now).is_heard) continue;
            if (takes_part(field, tag, antenna) && fits(tag)) fitting.emplace(index, antenna);
        }
    }
    if (fitting.empty()) return std::nullopt;
    const auto& [index, port] = *std::next(fitting.begin(), device.choose(fitting.size()));
    return FoundTag{field[index], port};
}

}  // namespace tagwire::sim
