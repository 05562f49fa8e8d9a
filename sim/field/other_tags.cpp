#include "field/other_tags.h"

#include <algorithm>

#include "field/tag_access.h"

namespace tagwire::sim {

namespace {

constexpr std::uint8_t no_write = 0x01;  // bits of an area's attribute
constexpr std::uint8_t no_read = 0x02;
constexpr std::uint8_t largest_attribute = 0x03;

constexpr std::uint8_t set_attribute = 0;  // what a lock configures
constexpr std::uint8_t set_security = 1;
constexpr std::uint8_t open_to_all = 1;
constexpr std::uint8_t needs_password = 2;

constexpr std::size_t kill_password_at = 0;  // in the security area
constexpr std::size_t access_password_at = 4;

TagAnswer fault(TagError error) { return {status::tag_error, {static_cast<std::uint8_t>(error)}}; }

Bytes join(const GbPassword& first, const GbPassword& second)
{
    Bytes bytes(first.begin(), first.end());
    bytes.insert(bytes.end(), second.begin(), second.end());
    return bytes;
}

}  // namespace

bool TagPlace::is_present(Time now) const { return now >= arrives && (!departs || now < *departs); }

bool TagPlace::is_seen_by(unsigned port) const
{
    return std::find(antennas.begin(), antennas.end(), port) != antennas.end();
}

bool TagPlace::is_seen_by_any(const std::vector<unsigned>& ports) const
{
    return std::any_of(ports.begin(), ports.end(), [this](unsigned port) { return is_seen_by(port); });
}

std::uint8_t TagPlace::measure_rssi(Random& random) const
{
    return static_cast<std::uint8_t>(std::clamp(rssi + random.around_zero(rssi_noise), 0, 255));
}

Tag6b::Tag6b(const Tag6bSettings& settings) : settings_(settings)
{
    std::copy(settings.id.begin(), settings.id.end(), memory_.begin());
    const std::size_t count = std::min(settings.memory.size(), memory_size - id_size);
    std::copy_n(settings.memory.begin(), count, memory_.begin() + id_size);
    for (std::size_t address = 0; address < id_size; ++address) locked_.set(address);
    for (const unsigned address : settings.locked) locked_.set(address);
}

Bytes Tag6b::id() const { return Bytes(settings_.id.begin(), settings_.id.end()); }

TagAnswer Tag6b::read(std::size_t address, std::size_t count) const
{
    if (address + count > memory_size) return fault(TagError::no_such_memory);
    const auto* const first = memory_.data() + address;
    return {status::success, Bytes(first, first + count)};
}

TagAnswer Tag6b::write(std::size_t address, const Bytes& bytes)
{
    if (address + bytes.size() > memory_size) return fault(TagError::no_such_memory);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (locked_[address + i]) return fault(TagError::locked);
    }
    std::copy(bytes.begin(), bytes.end(), memory_.data() + address);
    return {};
}

TagAnswer Tag6b::check_lock(std::size_t address) const
{
    if (address >= memory_size) return fault(TagError::no_such_memory);
    return {status::success, {static_cast<std::uint8_t>(locked_[address] ? 1 : 0)}};
}

TagAnswer Tag6b::lock(std::size_t address)
{
    if (address >= memory_size) return fault(TagError::no_such_memory);
    locked_.set(address);
    return {};
}

std::optional<GbArea> gb_area(std::uint8_t number)
{
    for (const GbArea area : {GbArea::info, GbArea::coding, GbArea::security, GbArea::user}) {
        if (number == static_cast<std::uint8_t>(area)) return area;
    }
    return std::nullopt;
}

TagGb::TagGb(const TagGbSettings& settings) : settings_(settings)
{
    areas_[index(GbArea::info)] = {settings.info, no_write, false};
    areas_[index(GbArea::coding)] = {settings.tag_id};
    areas_[index(GbArea::security)] = {join(settings.kill_password, settings.access_password), 0, true};
    areas_[index(GbArea::user)] = {settings.user};
}

bool TagGb::matches(const GbMask& mask) const
{
    return holds_bits(content(mask.area), mask.bit_address, mask.bit_count, mask.bits);
}

GbPassword TagGb::password_at(std::size_t offset) const
{
    GbPassword password{};
    std::copy_n(content(GbArea::security).data() + offset, password.size(), password.begin());
    return password;
}

bool TagGb::has_access(const GbPassword& password) const
{
    return password == password_at(access_password_at);
}

// `barrier` is the attribute bit that forbids the operation.
std::optional<TagAnswer> TagGb::refusal(const GbWords& words, const GbPassword& password,
                                        std::uint8_t barrier) const
{
    const Area& area = areas_[index(words.area)];
    if (area.needs_password && !has_access(password)) return TagAnswer{status::wrong_password};
    if (area.attribute & barrier) return fault(TagError::locked);
    const std::size_t end = (std::size_t{words.word_address} + words.word_count) * 2;
    if (end > area.content.size()) return fault(TagError::no_such_memory);
    return std::nullopt;
}

TagAnswer TagGb::read(const GbWords& words, const GbPassword& password) const
{
    if (auto refused = refusal(words, password, no_read)) return *refused;
    const std::uint8_t* const first = content(words.area).data() + std::size_t{words.word_address} * 2;
    return {status::success, Bytes(first, first + std::size_t{words.word_count} * 2)};
}

TagAnswer TagGb::write(const GbWords& words, const Bytes& bytes, const GbPassword& password)
{
    if (auto refused = refusal(words, password, no_write)) return *refused;
    Bytes& content = areas_[index(words.area)].content;
    std::copy(bytes.begin(), bytes.end(), content.data() + std::size_t{words.word_address} * 2);
    return {};
}

TagAnswer TagGb::erase(const GbWords& words, const GbPassword& password)
{
    return write(words, Bytes(std::size_t{words.word_count} * 2), password);
}

TagAnswer TagGb::lock(GbArea area, std::uint8_t config, std::uint8_t action, const GbPassword& password)
{
    Area& locked = areas_[index(area)];
    const bool sets_attribute = config == set_attribute && action <= largest_attribute;
    const bool sets_security = config == set_security && (action == open_to_all || action == needs_password);
    if (!sets_attribute && !sets_security) return {status::bad_parameter};
    if (!has_access(password)) return {status::wrong_password};
    if (area == GbArea::info) return fault(TagError::locked);
    if (sets_attribute) locked.attribute = action;
    if (sets_security) locked.needs_password = action == needs_password;
    return {};
}

TagAnswer TagGb::kill(const GbPassword& password)
{
    const GbPassword own = password_at(kill_password_at);
    if (own == GbPassword{}) return fault(TagError::other);
    if (password != own) return {status::wrong_password};
    killed_ = true;
    return {};
}

OtherTags::OtherTags(const Scenario& scenario)
    : iso_6b(scenario.tags_6b.begin(), scenario.tags_6b.end()),
      gb(scenario.tags_gb.begin(), scenario.tags_gb.end()),
      jb(scenario.tags_jb.begin(), scenario.tags_jb.end())
{}

}  // namespace tagwire::sim
