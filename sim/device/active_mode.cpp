#include "device/active_mode.h"

#include <algorithm>

#include "commands/fields.h"
#include "commands/inventory/inventory_job.h"
#include "device/device.h"
#include "device/records.h"

namespace tagwire::sim {

namespace {

constexpr Time interval_unit = std::chrono::milliseconds(10);
constexpr int readings_at_a_time = 512;

InventoryRule active_rule(const Device& device)
{
    const Settings& config = device.config();
    InventoryRule rule = unasked_rule(device);
    if (config.mask_bits == 0) return rule;
    Mask mask;
    mask.bank = static_cast<Bank>(config.mask_bank);
    mask.bit_address = static_cast<std::uint16_t>(config.mask_address[0] << 8U | config.mask_address[1]);
    mask.bit_count = config.mask_bits;
    mask.bits.assign(config.mask.begin(), config.mask.begin() + bytes_for(config.mask_bits));
    rule.mask = mask;
    return rule;
}

// The EPC, or words of the TID in its place.
std::optional<Bytes> reported_id(const Device& device, const Tag& tag)
{
    InventoryRequest request;
    const Settings& config = device.config();
    if (config.tid_words > 0)
        request.instead_of_epc = MemoryRead{Bank::tid, config.tid_address, config.tid_words};
    return inventory_id(tag, request);
}

}  // namespace

bool ActiveMode::is_wanted(const Device& device, Time now)
{
    switch (static_cast<WorkMode>(device.config().work_mode)) {
    case WorkMode::answering: return false;
    case WorkMode::active: return true;
    case WorkMode::triggered: break;
    }
    const auto since = device.panel().since_input(now);
    return since && (*since == Time{} || *since < std::chrono::seconds(device.config().trigger_time));
}

void ActiveMode::stop(Device& device)
{
    passes_.stop(device);
    noted_.clear();
    running_ = false;
}

std::optional<Time> ActiveMode::next_event(const Device& device) const
{
    if (!running_ || !device.reading().period()) return std::nullopt;
    return due_;
}

void ActiveMode::change_rate(const Device& device, Time now)
{
    const auto period = device.reading().period();
    if (period) due_ = std::clamp(due_, now, std::max(ready_, now + *period));
}

void ActiveMode::advance(Device& device, Time now)
{
    if (!is_wanted(device, now)) {
        if (running_) stop(device);
        return;
    }
    if (!running_) due_ = ready_ = now + device.settings().start_gap;
    running_ = true;
    due_ = std::max(due_, now - longest_backlog);
    for (int i = 0; i < readings_at_a_time && next_event(device) && due_ <= now; ++i) step(device, now);
}

void ActiveMode::step(Device& device, Time now)
{
    const auto found = passes_.step(device, now, active_rule(device));
    const bool ends = found == Passes::Found::end_of_pass;
    const Time pause = ends ? interval_unit * device.config().interval : Time{};
    ready_ = due_ + passes_.time_taken(device) + pause;
    due_ = std::max(due_ + *device.reading().period() + pause, ready_);
    switch (found) {
    case Passes::Found::tag: return read(device, now);
    case Passes::Found::end_of_pass: return;
    case Passes::Found::nobody: due_ = std::max(due_, now + empty_field_pause); return;
    }
}

void ActiveMode::read(Device& device, Time now)
{
    const Sighting sighting = passes_.sight_heard(device);
    const auto id = reported_id(device, *sighting.tag);
    if (!id || !passes_filter(device, sighting, now)) return;
    Bytes data{device.antenna_byte(sighting.antenna)};
    append(data, plain_record(sighting, *id));
    const Bytes frame = make_answer(device.address(), report_command, status::success, data);
    const std::vector<ConnectionId> peers = device.wire().peers();
    for (const ConnectionId peer : peers)
        device.wire().send(peer, {}, frame, FrameKind::report, {sighting.heard()});
    if (peers.empty()) device.wire().lose(0, FrameKind::report, {sighting.heard()}, loss::nobody);
}

bool ActiveMode::passes_filter(const Device& device, const Sighting& sighting, Time now)
{
    const Settings& config = device.config();
    if (sighting.rssi < config.least_rssi) return false;
    if (config.filter_time == 0 && config.least_readings <= 1) return true;
    const Bytes& epc = sighting.tag->epc();
    Noted& noted = noted_[{epc.begin(), epc.end()}];
    if (++noted.readings < config.least_readings) return false;
    if (noted.reported && now - *noted.reported < std::chrono::seconds(config.filter_time)) return false;
    noted.reported = now;
    return true;
}

}  // namespace tagwire::sim
