#include "commands/groups.h"
#include "tag_options.h"
#include "tags/choice.h"
#include "tags/listing.h"

namespace tagwire::tool {

namespace {

struct Options : InventoryOptions {
    Repeat repeat;
};

// ADR:WORDS; the usual words without a value.
Words parse_tid_words(const std::string& text, const std::string&)
{
    const auto range = parse_tid_range(text);
    return {Bank::tid, range.first, range.count};
}

void add_inventory_options(CLI::App& command, Options& options)
{
    add_plan_options(command, options);
    add_repeat_options(command, options.repeat);
    command.footer(
        R"(With one of --target, --antenna and --scan-time, the others are A, all enabled antennas in turn and the
reader's own scan time. Without any, the reader uses its settings. The EPC itself begins at bit 32 of bank epc.

Examples:
  tagwire inventory --reader tcp://192.0.2.10:6000
  tagwire inventory --q 6 --session S1 --seconds 10 --json
  tagwire inventory --antenna 2 --scan-time 500 --tid 0:6
  tagwire inventory --mask epc:32:E280/16 --count)");
}

Work plan_inventory(const Options& options)
{
    return listing_work({"tag", "epc", no_tag_advice}, options.repeat,
                        [plan = options.chosen()](Reader& reader) { return reader.inventory(plan); });
}

}  // namespace

void add_plan_options(CLI::App& command, InventoryOptions& options)
{
    option(command, "--q", options.plan.q, number(0, 15), "Q, 0 to 15: the reader expects about 2^Q tags")
        ->default_str("4");
    option(command, "--session", options.plan.session, one_of(sessions), "session, " + choices_text(sessions),
           "S")
        ->default_str("S0");
    option(command, "--target", options.plan.target, one_of(targets), "inventoried flag to look for, A or B",
           "A|B");
    add_scan_options(command, options.antenna, options.plan.scan_time);
    add_mask_option(command, options.plan.mask, "only tags whose memory begins so at this bit");
    option(command, "--tid", options.plan.words, parse_tid_words,
           "tell the TID, too: WORDS words from word ADR on; 0:6 without a value", "[ADR:WORDS]")
        ->expected(0, 1)
        ->default_val("0:6");
}

InventoryPlan InventoryOptions::chosen() const
{
    auto chosen = plan;
    if (antenna) chosen.antennas = {*antenna};
    return chosen;
}

void add_inventory_commands(Application& application)
{
    auto& command =
        add_command_with<Options>(application, nullptr, "inventory", "List the EPC Gen2 tags in the field.",
                                  add_inventory_options, plan_inventory);
    application.set_readers(command, Readers::each);
}

}  // namespace tagwire::tool
