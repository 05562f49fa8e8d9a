#include "tagwire/inventory.h"
#include "commands/groups.h"
#include "inventory_plan.h"
#include "inventory_run.h"

#include <memory>

namespace tagwire::tool {

namespace {

struct Arguments {
    InventoryArguments inventory;
    RepeatArguments repeat;
};

SendInventory prepare(InventoryPlan plan, const ReaderConnection& reader)
{
    if (plan.is_fast()) plan.scan.scan_time = scan_time_of(plan.scan, reader);
    return [plan, &reader](InventoryList& list, std::uint8_t& antenna, int& list_bytes) {
        int tags = 0;
        return call_inventory(Inventory_G2, reader, plan, list.data(), &antenna, &list_bytes, &tags);
    };
}

Work plan_inventory(const Arguments& arguments)
{
    InventoryJob job;
    job.repeat = plan_from(arguments.repeat);
    job.prepare = [plan = plan_from(arguments.inventory)](const ReaderConnection& reader) {
        return prepare(plan, reader);
    };
    return [job](Session& session) { return run_inventory(session, job); };
}

}  // namespace

void add_inventory_commands(Application& application)
{
    const auto arguments = std::make_shared<Arguments>();
    auto& command = application.add_command("inventory", "List the EPC Gen2 tags in the field.",
                                            [arguments] { return plan_inventory(*arguments); });
    add_inventory_options(command, arguments->inventory);
    add_repeat_options(command, arguments->repeat);
    command.footer(
        R"(With one of --target, --antenna and --scan-time, the others are A, 1 and the reader's own
scan time. Without any, the reader uses its settings. The EPC itself begins at bit 32 of bank epc.

Examples:
  tagwire inventory --reader tcp://192.0.2.10:6000
  tagwire inventory --q 6 --session S1 --seconds 10 --json
  tagwire inventory --antenna 2 --scan-time 500 --tid 0:6
  tagwire inventory --mask epc:32:E280/16 --count)");
}

}  // namespace tagwire::tool
