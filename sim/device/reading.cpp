#include "device/reading.h"

#include <algorithm>

#include "device/device.h"
#include "device/records.h"

namespace tagwire::sim {

namespace {

constexpr Time full_wire_pause = std::chrono::milliseconds(1);
constexpr int reports_at_a_time = 512;
constexpr int passes_without_tag = 2;

}  // namespace

Reading::Reading(double reports_per_second, Time start_gap) : start_gap_(start_gap)
{
    set_rate(reports_per_second, Time{});
}

void Reading::start(Device& device, Time now, ConnectionId owner)
{
    if (is_running()) stop(device);
    owner_ = owner;
    ready_ = now + start_gap_;
    due_ = ready_;
    if (counted_ && left_ == 0) left_ = batch_;
}

void Reading::stop(Device& device)
{
    if (!is_running()) return;
    passes_.stop(device);
    owner_ = 0;
    left_ = 0;
}

void Reading::set_rate(double reports_per_second, Time now)
{
    paused_ = !(reports_per_second > 0);
    if (!paused_) {
        period_ = std::max(seconds_to_time(1 / reports_per_second), Time(1));
        due_ = std::min(due_, std::max(ready_, now + period_));  // not as late as by the rate before
    }
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
        const bool pushed = push_report(device, now);
        ready_ = due_ + passes_.time_taken(device);
        due_ = std::max(due_ + period_, ready_);
        if (!pushed) {
            due_ = std::max(due_, now + empty_field_pause);
            return;
        }
        if (counted_) --left_;
    }
}

bool Reading::push_report(Device& device, Time now)
{
    if (!find_tag(device, now)) return false;
    const Sighting sighting = passes_.sight_heard(device);
    device.store().read.note(sighting.heard(), sighting.tag->epc(), sighting.rssi, now);
    Bytes data{device.antenna_byte(sighting.antenna)};
    const Bytes record = plain_record(sighting, sighting.tag->epc());
    append(data, record);
    device.wire().send(owner_, {}, make_answer(device.address(), report_command, status::success, data),
                       FrameKind::report, {sighting.heard()});
    return true;
}

bool Reading::find_tag(Device& device, Time now)
{
    for (int passes = 0; passes < passes_without_tag;) {
        const auto found = passes_.step(device, now, unasked_rule(device));
        if (found != Passes::Found::end_of_pass) return found == Passes::Found::tag;
        ++passes;
    }
    return false;
}

}  // namespace tagwire::sim
