#include "inventory_plan.h"

#include "reader_information.h"

namespace tagwire::tool {

void add_scan_options(CLI::App& command, ScanArguments& arguments, const NameSet& banks)
{
    command.add_option("--antenna", arguments.antenna, "antenna port, counted from 1")->type_name("N");
    command
        .add_option("--scan-time", arguments.scan_time,
                    "longest duration of one inventory, 1 to 25500 ms, rounded up to 100 ms")
        ->type_name("MS");
    command
        .add_option("--mask", arguments.mask,
                    "only tags whose memory begins so at this bit; BANK is " + choices_text(banks))
        ->type_name("BANK:BITADDR:HEX[/BITS]");
}

ScanPlan plan_from(const ScanArguments& arguments, const NameSet& banks)
{
    ScanPlan plan;
    if (!arguments.antenna.empty()) {
        const auto number = parse_number(arguments.antenna, "--antenna", 1, 128);
        plan.antenna = static_cast<std::uint8_t>(first_antenna + number - 1);
    }
    if (!arguments.scan_time.empty()) plan.scan_time = parse_scan_time(arguments.scan_time);
    if (!arguments.mask.empty()) plan.mask = parse_mask(arguments.mask, banks);
    return plan;
}

void add_inventory_options(CLI::App& command, InventoryArguments& arguments)
{
    command.add_option("--q", arguments.q, "Q, 0 to 15: the reader expects about 2^Q tags")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--session", arguments.session, "session, S0 to S3")
        ->type_name("S")
        ->capture_default_str();
    command.add_option("--target", arguments.target, "inventoried flag to look for, A or B")
        ->type_name("A|B");
    add_scan_options(command, arguments.scan, gen2_banks);
    arguments.tid_given =
        command
            .add_option("--tid", arguments.tid,
                        "report WORDS words of the TID from word ADR on instead of the EPC; "
                        "0:6 without a value")
            ->type_name("[ADR:WORDS]")
            ->expected(0, 1)
            ->default_str("0:6");
}

InventoryPlan plan_from(const InventoryArguments& arguments)
{
    InventoryPlan plan;
    plan.q = static_cast<std::uint8_t>(parse_number(arguments.q, "--q", 0, 15));
    plan.session = parse_session(arguments.session);
    if (!arguments.target.empty()) plan.target = parse_target(arguments.target);
    plan.scan = plan_from(arguments.scan, gen2_banks);
    if (arguments.tid_given->count() > 0) plan.tid = parse_tid_range(arguments.tid);
    return plan;
}

std::uint8_t scan_time_of(const ScanPlan& plan, const ReaderConnection& reader)
{
    return plan.scan_time ? *plan.scan_time : read_information(reader).scan_time;
}

}  // namespace tagwire::tool
