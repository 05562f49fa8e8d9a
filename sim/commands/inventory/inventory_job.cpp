#include "commands/inventory/inventory_job.h"

#include <algorithm>
#include <set>
#include <utility>

#include "commands/tags/tag_frames.h"
#include "radio/passes.h"

namespace tagwire::sim {

namespace {

using Event = Singulation::Event;

constexpr Time scan_unit = std::chrono::milliseconds(100);
constexpr Time read_air = std::chrono::microseconds(1000);
constexpr Time word_air = std::chrono::microseconds(50);
constexpr std::uint8_t antenna_bit = 0x80;

class InventoryJob : public SingulationJob {
  public:
    InventoryJob(Device& device, const Call& call, InventoryRule rule, Describe describe, Bytes head)
        : SingulationJob(device, call, std::move(rule)), frames_(device, call, {}, std::move(head)),
          describe_(std::move(describe))
    {}

    void abandon(std::string_view why) override { frames_.abandon(why); }

  private:
    bool is_enough(Event event) override
    {
        if (event == Event::tag) report();
        if (event == Event::antenna_done) frames_.flush();
        frames_.age(singulation().air_time());
        return false;
    }

    void conclude(std::uint8_t status) override { frames_.finish(status, singulation().antenna()); }

    void report()
    {
        if (!reported_.insert(singulation().tag()).second) return;
        const Sighting sighting = sight_heard();
        frames_.add(sighting.heard(), describe_(sighting), singulation().air_time());
    }

    TagFrames frames_;
    Describe describe_;
    std::set<std::size_t> reported_;
};

}  // namespace

SingulationJob::SingulationJob(Device& device, const Call& call, InventoryRule rule)
    : device_(device), owner_(call.from), command_(call.request.command),
      singulation_(device.field(), device.settings(), device.random(), std::move(rule), call.now,
                   device.settings().air_time)
{}

bool SingulationJob::advance(Time now)
{
    while (singulation_.world_time() <= now) {
        const Event event = singulation_.step();
        if (event == Event::all_done) return finish(status::inventory_done);
        if (event == Event::scan_time_over) return finish(status::scan_time_over);
        if (is_enough(event)) return finish(status::inventory_done);
    }
    return false;
}

Sighting SingulationJob::sight_heard()
{
    return sight(device_, device_.field()[singulation_.tag()], singulation_.antenna(),
                 singulation_.heard_at());
}

void SingulationJob::answer(std::uint8_t status, const Bytes& data, std::vector<Heard> heard)
{
    device_.wire().send(owner_, {}, make_answer(device_.address(), command_, status, data), FrameKind::answer,
                        std::move(heard));
}

bool SingulationJob::finish(std::uint8_t status)
{
    singulation_.power_off();
    conclude(status);
    return true;
}

std::vector<unsigned> chosen_antennas(const Device& device, std::uint8_t antenna)
{
    if (antenna & antenna_bit) return {(antenna & 0x7FU) + 1};
    return device.enabled_antennas();
}

std::optional<Time> chosen_scan_time(const Device& device, std::uint8_t units)
{
    const std::uint8_t chosen = units > 0 ? units : device.config().scan_time;
    if (chosen == 0) return std::nullopt;
    return scan_unit * chosen;
}

InventoryRule own_rule(const Device& device)
{
    InventoryRule rule = unasked_rule(device);
    rule.scan_time = chosen_scan_time(device, 0);
    return rule;
}

InventoryRule make_rule(const Device& device, const InventoryRequest& request)
{
    InventoryRule rule = own_rule(device);
    rule.q = request.q;
    rule.session = request.session;
    rule.mask = request.mask;
    for (const MemoryRead& read : request.reads)
        rule.extra_air_per_tag += read_air + word_air * read.word_count;
    if (request.instead_of_epc)
        rule.extra_air_per_tag = read_air + word_air * request.instead_of_epc->word_count;
    if (!request.fast) return rule;
    rule.target_b = request.fast->target == 1;
    rule.antennas = chosen_antennas(device, request.fast->antenna);
    rule.scan_time = chosen_scan_time(device, request.fast->scan_time);
    return rule;
}

bool has_antennas(const Device& device, const std::vector<unsigned>& ports)
{
    const auto is_there = [&](unsigned port) { return port <= device.settings().antennas; };
    const auto is_plugged = [&](unsigned port) { return device.radio().is_plugged(port); };
    if (!std::all_of(ports.begin(), ports.end(), is_there)) return false;
    return device.config().check_antenna == 0 || std::any_of(ports.begin(), ports.end(), is_plugged);
}

std::optional<Bytes> read_memory(const Tag& tag, const MemoryRead& read,
                                 const std::array<std::uint8_t, 4>& password)
{
    if (read.bank == Bank::reserved && password != tag.settings().access_password) return std::nullopt;
    const Bytes& memory = tag.bank(read.bank);
    const std::size_t first = std::size_t{read.word_address} * 2;
    const std::size_t count = std::size_t{read.word_count} * 2;
    if (first + count > memory.size()) return std::nullopt;
    const auto begin = memory.begin() + static_cast<std::ptrdiff_t>(first);
    return Bytes(begin, begin + static_cast<std::ptrdiff_t>(count));
}

std::optional<Bytes> inventory_id(const Tag& tag, const InventoryRequest& request)
{
    if (!request.instead_of_epc) return tag.epc();
    return read_memory(tag, *request.instead_of_epc, {});
}

std::vector<Bytes> describe_epc(const Sighting& sighting)
{
    return {plain_record(sighting, sighting.tag->epc())};
}

void run_inventory(Device& device, const Call& call, InventoryRule rule, Describe describe, Bytes head)
{
    if (!has_antennas(device, rule.antennas)) return device.answer(call, status::antenna_missing);
    device.begin(
        std::make_unique<InventoryJob>(device, call, std::move(rule), std::move(describe), std::move(head)),
        call.now);
}

}  // namespace tagwire::sim
