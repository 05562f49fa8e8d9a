// GB and JB tags. A reader serves one of the two families.
#include <algorithm>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "commands/codes.h"
#include "commands/dispatch.h"
#include "commands/fields.h"
#include "commands/inventory/inventory_job.h"
#include "commands/other_tags/tags_gb_request.h"
#include "commands/tags/tag_frames.h"

namespace tagwire::sim {

namespace {

constexpr Time longest_scan = std::chrono::milliseconds(25500);
constexpr Time antenna_air = std::chrono::microseconds(2000);
constexpr Time reply_air = std::chrono::microseconds(3000);
constexpr Time read_air = std::chrono::microseconds(2000);
constexpr std::size_t password_size = 4;
constexpr unsigned longest_gb_read = 125;  // words

std::vector<TagGb>& tags_of(Device& device)
{
    OtherTags& tags = device.other_tags();
    return device.settings().protocol_family == ProtocolFamily::gb ? tags.gb : tags.jb;
}

// Goes through the antennas in turn. At each the tags reply one after the other, in an order left to chance.
class GbInventoryJob : public Job {
  public:
    GbInventoryJob(Device& device, const Call& call, GbInventoryRequest request)
        : device_(device), frames_(device, call), request_(std::move(request)),
          antennas_(chosen_antennas(device, request_.antenna)), start_(call.now),
          scan_time_(chosen_scan_time(device, request_.scan_time).value_or(longest_scan))
    {}

    bool advance(Time now) override
    {
        while (world_time() <= now) {
            if (air_ >= scan_time_) return finish(status::scan_time_over);
            if (!step()) return finish(status::inventory_done);
            frames_.age(air_);
        }
        return false;
    }

    void abort() override { finish(status::inventory_done); }
    void abandon(std::string_view why) override { frames_.abandon(why); }
    ConnectionId owner() const override { return frames_.owner(); }

  private:
    unsigned port() const { return antennas_[antenna_]; }
    Time world_time() const
    {
        return start_ + Time(static_cast<Time::rep>(static_cast<double>(air_.count()) * factor_));
    }

    // False when there is nothing left to do.
    bool step()
    {
        if (!begun_) {
            begin_antenna();
            return true;
        }
        if (!waiting_.empty()) {
            hear(waiting_.back());
            waiting_.pop_back();
            return true;
        }
        if (antenna_ + 1 == antennas_.size()) return false;
        frames_.flush();
        ++antenna_;
        begun_ = false;
        return true;
    }

    void begin_antenna()
    {
        begun_ = true;
        air_ += antenna_air;
        const auto& tags = tags_of(device_);
        for (std::size_t i = 0; i < tags.size(); ++i) {
            if (takes_part(tags[i]) && reported_.count(i) == 0) waiting_.push_back(i);
        }
        for (std::size_t i = waiting_.size(); i > 1; --i) {
            std::swap(waiting_[i - 1], waiting_[device_.random().below(static_cast<std::uint32_t>(i))]);
        }
    }

    bool takes_part(const TagGb& tag) const
    {
        if (tag.is_killed() || !tag.place().is_present(world_time())) return false;
        return device_.radio().is_plugged(port()) && tag.place().is_seen_by(port()) &&
               (!request_.mask || tag.matches(*request_.mask));
    }

    void hear(std::size_t index)
    {
        const TagGb& tag = tags_of(device_)[index];
        air_ += reply_air + (request_.read ? read_air : Time{});
        if (!tag.place().is_present(world_time())) return;
        reported_.insert(index);
        Sighting sighting;
        sighting.antenna = port();
        sighting.rssi = tag.place().measure_rssi(device_.random());
        frames_.add({tag.id(), {}, port()}, describe(tag, sighting), air_);
    }

    std::vector<Bytes> describe(const TagGb& tag, const Sighting& sighting) const
    {
        if (!request_.read) return {plain_record(sighting, tag.id())};
        std::vector<Bytes> records{mixed_record(sighting, 0, tag.id())};
        const TagAnswer words = tag.read(*request_.read, request_.password);
        if (words.status == status::success) records.push_back(mixed_record(sighting, 1, words.data));
        return records;
    }

    bool finish(std::uint8_t status)
    {
        frames_.finish(status, port());
        return true;
    }

    Device& device_;
    TagFrames frames_;
    GbInventoryRequest request_;
    std::vector<unsigned> antennas_;
    Time start_;
    Time scan_time_;
    double factor_ = device_.settings().air_time;
    Time air_{};
    std::size_t antenna_ = 0;
    bool begun_ = false;
    std::vector<std::size_t> waiting_;
    std::set<std::size_t> reported_;
};

template <bool reads> void inventory(Device& device, const Call& call)
{
    auto request = parse_gb_inventory(call.data(), device.settings().protocol_family, reads);
    if (!request) return device.answer(call, status::bad_parameter);
    if (!has_antennas(device, chosen_antennas(device, request->antenna))) {
        return device.answer(call, status::antenna_missing);
    }
    device.begin(std::make_unique<GbInventoryJob>(device, call, std::move(*request)), call.now);
}

bool is_meant(const TagGb& tag, const GbTarget& target)
{
    if (target.mask) return tag.matches(*target.mask);
    return target.tag_id.empty() || tag.id() == target.tag_id;
}

TagGb* find_tag(Device& device, Time now, const GbTarget& target)
{
    const auto antennas = device.plugged_antennas();
    std::vector<TagGb*> meant;
    for (TagGb& tag : tags_of(device)) {
        if (tag.is_killed() || !tag.place().is_present(now) || !tag.place().is_seen_by_any(antennas))
            continue;
        if (is_meant(tag, target)) meant.push_back(&tag);
    }
    return meant.empty() ? nullptr : meant[device.choose(meant.size())];
}

// What a command does to the tag, given its own fields; nothing when one is out of range.
using GbOperation = std::function<TagAnswer(TagGb&)>;
using Prepare = std::optional<GbOperation> (*)(Fields& own);

void serve(Device& device, const Call& call, const std::optional<GbTagRequest>& request, Prepare prepare)
{
    if (!request) return device.answer(call, status::bad_parameter);
    Fields own(request->own, 0);
    const auto operation = prepare(own);
    if (!operation) return device.answer(call, status::bad_parameter);
    TagGb* const tag = find_tag(device, call.now, request->target);
    if (!tag) return device.answer(call, status::no_tag);
    const TagAnswer answer = (*operation)(*tag);
    device.answer(call, answer.status, answer.data);
}

std::optional<GbOperation> prepare_read(Fields& own)
{
    const auto area = gb_area(own.byte());
    const std::uint16_t address = own.word();
    const std::uint8_t count = own.byte();
    const auto password = own.fixed<password_size>();
    if (!area || count == 0 || count > longest_gb_read) return std::nullopt;
    return
        [words = GbWords{*area, address, count}, password](TagGb& tag) { return tag.read(words, password); };
}

std::optional<GbOperation> prepare_write(Fields& own)
{
    const auto area = gb_area(own.byte());
    const std::uint16_t address = own.word();
    Bytes bytes = own.bytes(own.left() - password_size);
    const auto password = own.fixed<password_size>();
    if (!area || bytes.empty()) return std::nullopt;
    const GbWords words{*area, address, static_cast<std::uint16_t>(bytes.size() / 2)};
    return [words, bytes, password](TagGb& tag) { return tag.write(words, bytes, password); };
}

std::optional<GbOperation> prepare_erase(Fields& own)
{
    const auto area = gb_area(own.byte());
    const std::uint16_t address = own.word();
    const std::uint16_t count = own.word();
    const auto password = own.fixed<password_size>();
    if (!area || count == 0) return std::nullopt;
    return
        [words = GbWords{*area, address, count}, password](TagGb& tag) { return tag.erase(words, password); };
}

std::optional<GbOperation> prepare_lock(Fields& own)
{
    const auto area = gb_area(own.byte());
    const std::uint8_t config = own.byte();
    const std::uint8_t action = own.byte();
    const auto password = own.fixed<password_size>();
    if (!area) return std::nullopt;
    return [area = *area, config, action, password](TagGb& tag) {
        return tag.lock(area, config, action, password);
    };
}

std::optional<GbOperation> prepare_kill(Fields& own)
{
    return [password = own.fixed<password_size>()](TagGb& tag) { return tag.kill(password); };
}

template <std::size_t own_size, Prepare prepare> void operate(Device& device, const Call& call)
{
    serve(device, call, parse_gb_tag_request(call.data(), 0, own_size), prepare);
}

// The number of words stands before everything else.
void write_words(Device& device, const Call& call)
{
    constexpr std::size_t fixed_size = 3 + password_size;
    if (call.data().empty()) return device.answer(call, status::bad_parameter);
    const std::size_t own_size = fixed_size + std::size_t{call.data()[0]} * 2;
    serve(device, call, parse_gb_tag_request(call.data(), 1, own_size), prepare_write);
}

}  // namespace

void add_tags_gb_commands(CommandTable& table)
{
    table[command::inventory_gb] = inventory<false>;
    table[command::mixed_inventory_gb] = inventory<true>;
    table[command::read_gb] = operate<8, prepare_read>;
    table[command::write_gb] = write_words;
    table[command::erase_gb] = operate<9, prepare_erase>;
    table[command::lock_gb] = operate<7, prepare_lock>;
    table[command::kill_gb] = operate<4, prepare_kill>;
}

}  // namespace tagwire::sim
