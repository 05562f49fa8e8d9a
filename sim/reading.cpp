#include "reading.h"

#include <algorithm>

#include "device.h"
#include "records.h"
#include "singulation.h"

namespace tagwire::sim {

namespace {

constexpr Time empty_field_pause = std::chrono::milliseconds(10);
constexpr Time full_wire_pause = std::chrono::milliseconds(1);
constexpr Time longest_backlog = std::chrono::seconds(1);
constexpr int reports_at_a_time = 512;

}  // namespace

Reading::Reading(double reports_per_second, Time start_gap) : start_gap_(start_gap)
{
    set_rate(reports_per_second, Time{});
}

Reading::~Reading() = default;

void Reading::start(Device& device, Time now, ConnectionId owner)
{
    if (is_running()) stop(device);
    owner_ = owner;
    due_ = now + start_gap_;
    if (counted_ && left_ == 0) left_ = batch_;
}

void Reading::stop(Device& device)
{
    if (!is_running()) return;
    if (pass_) device.field().lose_power();
    pass_.reset();
    owner_ = 0;
    left_ = 0;
}

void Reading::set_rate(double reports_per_second, Time now)
{
    paused_ = !(reports_per_second > 0);
    if (!paused_) period_ = std::max(seconds_to_time(1 / reports_per_second), Time(1));
    wake(now);
}

void Reading::set_batch(std::optional<std::uint64_t> reports, Time now)
{
    counted_ = reports.has_value();
    batch_ = reports.value_or(0);
    left_ = batch_;
    wake(now);
}

void Reading::push(std::uint64_t reports, Time now)
{
    if (!counted_) {
        counted_ = true;
        batch_ = reports;
    }
    left_ += reports;
    wake(now);
}

// The reports that were not due while it was quiet are not made up for.
void Reading::wake(Time now) { due_ = std::max(due_, now); }

std::optional<Time> Reading::next_event() const
{
    if (!is_running() || paused_ || (counted_ && left_ == 0)) return std::nullopt;
    return due_;
}

void Reading::advance(Device& device, Time now)
{
    const auto first = next_event();
    if (!first || *first > now) return;
    due_ = std::max(due_, now - longest_backlog);
    for (int i = 0; i < reports_at_a_time && next_event() && due_ <= now; ++i) {
        if (counted_ && !device.wire().has_room(owner_)) {
            due_ = now + full_wire_pause;
            return;
        }
        if (!push_report(device, now)) {
            due_ = std::max(due_ + period_, now + empty_field_pause);
            return;
        }
        due_ += period_;
        if (counted_) --left_;
    }
}

bool Reading::push_report(Device& device, Time now)
{
    if (!find_tag(device, now)) return false;
    const Sighting sighting = sight(device, device.field()[pass_->tag()], pass_->antenna());
    Bytes data{device.antenna_byte(pass_->antenna())};
    const Bytes record = plain_record(sighting, sighting.tag->epc());
    append(data, record);
    device.wire().send(owner_, {}, make_answer(device.address(), report_command, status::success, data),
                       FrameKind::report);
    return true;
}

bool Reading::find_tag(Device& device, Time now)
{
    if (!device.field().anyone_seen_by(device.enabled_antennas(), now)) {
        pass_.reset();
        return false;
    }
    int passes = 0;
    while (true) {
        if (!pass_) {
            if (++passes > 2) return false;
            begin_pass(device, now);
        }
        pass_->set_world_time(now);
        const auto event = pass_->step();
        if (event == Singulation::Event::tag) return true;
        if (event == Singulation::Event::all_done || event == Singulation::Event::scan_time_over) {
            pass_->power_off();
            pass_.reset();
        }
    }
}

// Every pass begins with the field switched on anew, so all tags are in A of session 0.
void Reading::begin_pass(Device& device, Time now)
{
    device.field().lose_power();
    InventoryRule rule;
    rule.antennas = device.enabled_antennas();
    pass_ = std::make_unique<Singulation>(device.field(), device.settings(), device.random(), rule, now, 0.0);
}

}  // namespace tagwire::sim
