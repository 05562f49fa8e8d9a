// The Gen2 inventories.
#include <functional>
#include <utility>

#include "commands/codes.h"
#include "commands/dispatch.h"
#include "commands/inventory/inventory_job.h"
#include "commands/inventory/inventory_request.h"
#include "commands/tags/tag_frames.h"
#include "device/records.h"
#include "radio/passes.h"
#include "radio/singulation.h"

namespace tagwire::sim {

namespace {

using Event = Singulation::Event;

constexpr std::size_t fast_tid_size = 12;

// Answers with the first tag heard.
class SingleTagJob : public SingulationJob {
  public:
    using SingulationJob::SingulationJob;

  private:
    bool is_enough(Event event) override
    {
        heard_ = event == Event::tag;
        return heard_;
    }

    void conclude(std::uint8_t) override
    {
        if (!heard_) return answer(status::no_tag);
        const Tag& tag = device().field()[singulation().tag()];
        const Bytes& epc = tag.epc();
        Bytes data{device().antenna_byte(singulation().antenna()), 1, static_cast<std::uint8_t>(epc.size())};
        append(data, epc);
        answer(status::inventory_done, data, {{epc, tag.stored(Bank::tid), singulation().antenna()}});
    }

    bool heard_ = false;
};

// Goes from antenna to antenna, with a pass or more at each. A tag is reported once in every pass.
class FastSwitchJob : public Job {
  public:
    FastSwitchJob(Device& device, const Call& call, FastSwitchRequest request)
        : device_(device), frames_(device, call, lead_of(call.request.command)), request_(std::move(request)),
          resume_(call.now)
    {}

    bool advance(Time now) override
    {
        while (resume_ <= now) {
            if (cycle_ == request_.cycles) return finish();
            if (!has_antennas(device_, {port()})) {
                frames_.note(status::antenna_missing, port());
                next_stay(resume_);
                continue;
            }
            step();
        }
        return false;
    }

    void abort() override
    {
        device_.field().lose_power();
        finish();
    }
    void abandon(std::string_view why) override { frames_.abandon(why); }
    ConnectionId owner() const override { return frames_.owner(); }

  private:
    unsigned port() const { return request_.stays[stay_].antenna + 1U; }

    void step()
    {
        if (!pass_) begin_pass();
        const Event event = pass_->step();
        resume_ = pass_->world_time();
        const Time air = past_air_ + pass_->air_time();
        if (event == Event::tag) {
            const Sighting sighting =
                sight(device_, device_.field()[pass_->tag()], port(), pass_->heard_at());
            frames_.add(sighting.heard(), describe_epc(sighting), air);
        }
        frames_.age(air);
        if (event == Event::all_done || event == Event::scan_time_over) end_pass(air);
    }

    void begin_pass()
    {
        InventoryRule rule = unasked_rule(device_);
        rule.antennas = {port()};
        pass_ = std::make_unique<Singulation>(device_.field(), device_.settings(), device_.random(), rule,
                                              resume_, device_.settings().air_time);
    }

    void end_pass(Time air)
    {
        past_air_ = air;
        pass_->power_off();
        pass_.reset();
        if (++passes_ < request_.stays[stay_].passes) return;
        next_stay(resume_ + interval());
    }

    Time interval() const
    {
        const double seconds = request_.interval_ms / 1000.0 * device_.settings().air_time;
        return seconds_to_time(seconds);
    }

    void next_stay(Time resume)
    {
        frames_.flush();
        last_port_ = port();
        passes_ = 0;
        resume_ = resume;
        if (++stay_ < request_.stays.size()) return;
        stay_ = 0;
        ++cycle_;
    }

    bool finish()
    {
        frames_.flush();
        frames_.finish(status::inventory_done, last_port_);
        return true;
    }

    Device& device_;
    TagFrames frames_;
    FastSwitchRequest request_;
    Time resume_;
    Time past_air_{};
    std::unique_ptr<Singulation> pass_;
    std::size_t stay_ = 0;
    unsigned passes_ = 0;
    unsigned cycle_ = 0;
    unsigned last_port_ = 1;
};

using MakeRecord = Bytes (*)(const Sighting&, std::uint8_t, const Bytes&);

// The EPC, then what could be read of the memory asked for.
Describe describe_with_reads(const InventoryRequest& request, MakeRecord make_record)
{
    return [request, make_record](const Sighting& sighting) {
        std::vector<Bytes> records{make_record(sighting, 0, sighting.tag->epc())};
        std::uint8_t item = 0;
        for (const MemoryRead& read : request.reads) {
            ++item;
            const auto words = read_memory(*sighting.tag, read, request.password);
            if (words) records.push_back(make_record(sighting, item, *words));
        }
        return records;
    };
}

std::vector<Bytes> describe_epc_and(const Sighting& sighting, const Bytes& more)
{
    Bytes id = sighting.tag->epc();
    append(id, more);
    if (id.size() > longest_plain_id) id.resize(longest_plain_id - longest_plain_id % 2);
    return {plain_record(sighting, id)};
}

std::vector<Bytes> describe_brand(const Sighting& sighting)
{
    const auto& brand = sighting.tag->settings().brand;
    return describe_epc_and(sighting, Bytes(brand.begin(), brand.end()));
}

std::vector<Bytes> describe_epc_and_tid(const Sighting& sighting)
{
    Bytes tid = sighting.tag->settings().tid;
    if (tid.size() > fast_tid_size) tid.resize(fast_tid_size);
    return describe_epc_and(sighting, tid);
}

void run_inventory(Device& device, const Call& call, const std::optional<InventoryRequest>& request,
                   const std::function<Describe(const InventoryRequest&)>& choose)
{
    if (!request) return device.answer(call, status::bad_parameter);
    run_inventory(device, call, make_rule(device, *request), choose(*request));
}

void inventory(Device& device, const Call& call)
{
    run_inventory(device, call, parse_inventory(call.data()),
                  [](const InventoryRequest& request) -> Describe {
                      return [request](const Sighting& sighting) -> std::vector<Bytes> {
                          const auto id = inventory_id(*sighting.tag, request);
                          if (!id) return {};
                          return {plain_record(sighting, *id)};
                      };
                  });
}

void mixed_inventory(Device& device, const Call& call)
{
    run_inventory(device, call, parse_mixed_inventory(call.data()),
                  [](const InventoryRequest& request) { return describe_with_reads(request, mixed_record); });
}

void extended_inventory(Device& device, const Call& call)
{
    run_inventory(device, call, parse_extended_inventory(call.data()), [](const InventoryRequest& request) {
        return describe_with_reads(request, extended_record);
    });
}

void epc_match_inventory(Device& device, const Call& call)
{
    const auto request = parse_epc_match(call.data());
    if (!request) return device.answer(call, status::bad_parameter);
    InventoryRule rule = own_rule(device);
    rule.mask = request->mask;
    rule.mask_excludes = request->excludes;
    run_inventory(device, call, std::move(rule), describe_epc);
}

template <auto describe> void short_inventory(Device& device, const Call& call)
{
    run_inventory(device, call, parse_short_inventory(call.data()),
                  [](const InventoryRequest&) -> Describe { return describe; });
}

void fast_switch_inventory(Device& device, const Call& call)
{
    auto request = parse_fast_switch(call.data());
    if (!request) {
        return device.wire().send(call.from, lead_of(call.request.command),
                                  make_answer(device.address(), call.request.command, status::bad_parameter),
                                  FrameKind::answer, {});
    }
    device.begin(std::make_unique<FastSwitchJob>(device, call, std::move(*request)), call.now);
}

void single_tag_inventory(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    const InventoryRule rule = own_rule(device);
    if (!has_antennas(device, rule.antennas)) return device.answer(call, status::antenna_missing);
    device.begin(std::make_unique<SingleTagJob>(device, call, rule), call.now);
}

}  // namespace

void add_inventory_commands(CommandTable& table)
{
    table[command::inventory] = inventory;
    table[command::single_tag_inventory] = single_tag_inventory;
    table[command::mixed_inventory] = mixed_inventory;
    table[command::epc_match_inventory] = epc_match_inventory;
    table[command::private_inventory] = short_inventory<describe_epc>;
    table[command::fast_switch_inventory] = fast_switch_inventory;
    table[command::extended_inventory] = extended_inventory;
    table[command::brand_inventory] = short_inventory<describe_brand>;
    table[command::fast_tid_inventory] = short_inventory<describe_epc_and_tid>;
}

}  // namespace tagwire::sim
