// Starting and stopping continuous reading. The target byte of the start has no effect: a pass that asks for
// B first finds no tag in it, since the field was just switched on, and goes on with A.
#include "commands/codes.h"
#include "commands/dispatch.h"
#include "commands/other_tags/tags_6b.h"

namespace tagwire::sim {

namespace {

void start_reading(Device& device, const Call& call)
{
    if (call.data().empty()) return inventory_single_6b(device, call);
    if (call.data().size() != 1) return device.answer(call, status::bad_parameter);
    device.answer(call, status::success);
    device.reading().start(device, call.now, call.from);
}

void stop_reading(Device& device, const Call& call)
{
    if (call.data().size() == multiple_6b_size) return inventory_multiple_6b(device, call);
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    device.reading().stop(device);
    device.answer(call, status::success);
}

}  // namespace

void add_reading_commands(CommandTable& table)
{
    table[command::start_reading] = start_reading;
    table[command::stop_reading] = stop_reading;
}

}  // namespace tagwire::sim
