// The Gen2 inventories.
#include <functional>
#include <set>
#include <utility>

#include "commands/codes.h"
#include "commands/dispatch.h"
#include "commands/inventory_request.h"
#include "commands/tag_frames.h"
#include "records.h"
#include "singulation.h"

namespace tagwire::sim {

namespace {

using Event = Singulation::Event;
// The records in which one sighting is reported; none leaves the tag out.
using Describe = std::function<std::vector<Bytes>(const Sighting&)>;

constexpr Time scan_unit = std::chrono::milliseconds(100);
constexpr Time read_air = std::chrono::microseconds(1000);
constexpr Time word_air = std::chrono::microseconds(50);
constexpr std::uint8_t antenna_bit = 0x80;
constexpr std::size_t fast_tid_size = 12;
constexpr unsigned own_choice_q = 4;

// One inventory command. A tag is reported once, however often it is heard.
class InventoryJob : public Job {
  public:
    InventoryJob(Device& device, const Call& call, InventoryRule rule, Describe describe)
        : device_(device), frames_(device, call), describe_(std::move(describe)),
          singulation_(device.field(), device.settings(), device.random(), std::move(rule), call.now,
                       device.settings().air_time)
    {}

    bool advance(Time now) override
    {
        while (singulation_.world_time() <= now) {
            const Event event = singulation_.step();
            if (event == Event::all_done) return finish(status::inventory_done);
            if (event == Event::scan_time_over) return finish(status::scan_time_over);
            if (event == Event::tag) report(singulation_.tag());
            if (event == Event::antenna_done) frames_.flush();
            frames_.age(singulation_.air_time());
        }
        return false;
    }

    void abort() override { finish(status::inventory_done); }
    ConnectionId owner() const override { return frames_.owner(); }

  private:
    void report(std::size_t index)
    {
        if (!reported_.insert(index).second) return;
        const unsigned antenna = singulation_.antenna();
        for (const Bytes& record : describe_(sight(device_, device_.field()[index], antenna))) {
            frames_.add(antenna, record, singulation_.air_time());
        }
    }

    bool finish(std::uint8_t status)
    {
        singulation_.power_off();
        frames_.finish(status, singulation_.antenna());
        return true;
    }

    Device& device_;
    TagFrames frames_;
    Describe describe_;
    Singulation singulation_;
    std::set<std::size_t> reported_;
};

// Answers with the first tag heard.
class SingleTagJob : public Job {
  public:
    SingleTagJob(Device& device, const Call& call, InventoryRule rule)
        : device_(device), owner_(call.from),
          singulation_(device.field(), device.settings(), device.random(), std::move(rule), call.now,
                       device.settings().air_time)
    {}

    bool advance(Time now) override
    {
        while (singulation_.world_time() <= now) {
            const Event event = singulation_.step();
            if (event == Event::all_done || event == Event::scan_time_over) return finish(status::no_tag, {});
            if (event == Event::tag) return finish(status::inventory_done, describe());
        }
        return false;
    }

    void abort() override { finish(status::no_tag, {}); }
    ConnectionId owner() const override { return owner_; }

  private:
    Bytes describe() const
    {
        const Bytes& epc = device_.field()[singulation_.tag()].epc();
        Bytes data{device_.antenna_byte(singulation_.antenna()), 1, static_cast<std::uint8_t>(epc.size())};
        append(data, epc);
        return data;
    }

    bool finish(std::uint8_t status, const Bytes& data)
    {
        singulation_.power_off();
        device_.wire().send(owner_, {},
                            make_answer(device_.address(), command::single_tag_inventory, status, data),
                            FrameKind::answer);
        return true;
    }

    Device& device_;
    ConnectionId owner_;
    Singulation singulation_;
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
            if (port() > device_.settings().antennas) {
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
            const Sighting sighting = sight(device_, device_.field()[pass_->tag()], port());
            frames_.add(port(), plain_record(sighting, sighting.tag->epc()), air);
        }
        frames_.age(air);
        if (event == Event::all_done || event == Event::scan_time_over) end_pass(air);
    }

    void begin_pass()
    {
        InventoryRule rule;
        rule.q = own_choice_q;
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

std::vector<Bytes> describe_epc(const Sighting& sighting)
{
    return {plain_record(sighting, sighting.tag->epc())};
}

// The words, if the tag has them all and lets them be read.
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

Describe describe_memory(const MemoryRead& read)
{
    return [read](const Sighting& sighting) -> std::vector<Bytes> {
        const auto words = read_memory(*sighting.tag, read, {});
        if (!words) return {};
        return {plain_record(sighting, *words)};
    };
}

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

std::optional<Time> scan_limit(std::uint8_t units)
{
    if (units == 0) return std::nullopt;
    return scan_unit * units;
}

InventoryRule own_rule(const Device& device)
{
    InventoryRule rule;
    rule.q = own_choice_q;
    rule.antennas = device.enabled_antennas();
    rule.scan_time = scan_limit(device.settings().scan_time);
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
    if (request.fast->antenna & antenna_bit) rule.antennas = {(request.fast->antenna & 0x7FU) + 1};
    if (request.fast->scan_time > 0) rule.scan_time = scan_limit(request.fast->scan_time);
    return rule;
}

void run_inventory(Device& device, const Call& call, InventoryRule rule, Describe describe)
{
    if (rule.antennas.front() > device.settings().antennas) {
        return device.answer(call, status::antenna_missing);
    }
    device.begin(std::make_unique<InventoryJob>(device, call, std::move(rule), std::move(describe)),
                 call.now);
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
                      if (request.instead_of_epc) return describe_memory(*request.instead_of_epc);
                      return describe_epc;
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
                                  FrameKind::answer);
    }
    device.begin(std::make_unique<FastSwitchJob>(device, call, std::move(*request)), call.now);
}

void single_tag_inventory(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    device.begin(std::make_unique<SingleTagJob>(device, call, own_rule(device)), call.now);
}

void abort_inventory(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::unknown_command);
    device.abort_job();
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
    table[command::abort_inventory] = abort_inventory;
}

}  // namespace tagwire::sim
