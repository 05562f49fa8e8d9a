#include "radio/passes.h"

#include <utility>

#include "device/device.h"
#include "device/records.h"

namespace tagwire::sim {

Passes::Found Passes::step(Device& device, Time now, const InventoryRule& rule)
{
    using Event = Singulation::Event;
    if (!device.field().anyone_in_reach(rule.antennas, now)) {
        pass_.reset();
        return Found::nobody;
    }
    if (!pass_) {
        device.field().lose_power();
        pass_ =
            std::make_unique<Singulation>(device.field(), device.settings(), device.random(), rule, now, 0.0);
    }
    pass_->set_world_time(now);
    while (true) {
        const Time before = pass_->air_time();
        const Event event = pass_->step();
        air_ += pass_->air_time() - before;
        if (event == Event::tag) return Found::tag;
        if (event == Event::all_done || event == Event::scan_time_over) {
            pass_->power_off();
            pass_.reset();
            return Found::end_of_pass;
        }
    }
}

Sighting Passes::sight_heard(Device& device) const
{
    return sight(device, device.field()[pass_->tag()], pass_->antenna(), pass_->heard_at());
}

Time Passes::time_taken(const Device& device)
{
    const Time air = std::exchange(air_, {});
    if (!device.radio().has_losses()) return {};
    return Time(static_cast<Time::rep>(static_cast<double>(air.count()) * device.settings().air_time));
}

void Passes::stop(Device& device)
{
    if (pass_) device.field().lose_power();
    pass_.reset();
}

InventoryRule unasked_rule(const Device& device)
{
    InventoryRule rule;
    rule.q = device.config().q;
    rule.session = device.config().session == automatic_session ? 0 : device.config().session;
    rule.antennas = device.enabled_antennas();
    return rule;
}

}  // namespace tagwire::sim
