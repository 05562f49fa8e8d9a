#include "commands/groups.h"
#include "tag_options.h"
#include "tags/choice.h"

#include "deed.h"

namespace tagwire::tool {

namespace {

constexpr Choices<SelectTarget, 5> flags{{{"S0", SelectTarget::s0},
                                          {"S1", SelectTarget::s1},
                                          {"S2", SelectTarget::s2},
                                          {"S3", SelectTarget::s3},
                                          {"SL", SelectTarget::sl}}};

struct Filtering {
    Selection what;
    std::optional<tagwire::Mask> mask;
    bool all = false;
};

void add_select_options(CLI::App& command, Filtering& filtering)
{
    auto& what = filtering.what;
    add_ports_option(
        command, what.antennas, 64,
        "antenna ports that get the filter, counted from 1; those that are enabled when left out");
    auto* const mask = add_mask_option(command, filtering.mask,
                                       "tags match whose memory holds these bits from bit BITADDR on");
    command.add_flag("--all", filtering.all, "all tags match: takes a filter away")->excludes(mask);
    const std::array others{
        option(command, "--carrier-time", what.carrier_time, number(0, 255),
               "with one antenna: how long the carrier stays on, 0 to 255, the reader's unit"),
        option(command, "--target", what.target, one_of(flags),
               "flag that the filter changes: " + choices_text(flags), "FLAG")
            ->default_str("S0"),
        option(command, "--action", what.action, number(0, 7),
               "what happens to tags that match and to the others: the air interface's 0 to 7")
            ->default_str("0"),
        command.add_flag("--truncate", what.truncate, "tags answer with the EPC behind the mask only")};
    for (auto* const other : others) other->needs(mask);
    command.footer(
        R"(The reader applies the filter to what it does afterwards. Action 0 sets the flag of tags that match to
A (or asserts SL) and that of the others to B, so that inventories of target A find the former.

Examples:
  tagwire select --mask epc:32:E280
  tagwire select --antennas 1 --target SL --action 0 --mask tid:0:E2801160/32
  tagwire select --antennas 17 --mask user:0:CAFE --json
  tagwire select --all)");
}

Work plan_select(const Filtering& filtering)
{
    auto what = filtering.what;
    if (filtering.mask.has_value() == filtering.all)
        throw UsageError("say which tags match: use either --mask BANK:BITADDR:HEX[/BITS] or --all");
    if (what.carrier_time && what.antennas.size() != 1)
        throw UsageError("--carrier-time goes with one antenna: --antennas PORT");
    Deed head = deed("select", filtering.all ? "select filter taken away" : "select filter set");
    auto& antennas = head.fields["antennas"] = what.antennas.empty() ? Json() : Json::array();
    for (const auto port : what.antennas) antennas.push_back(port.number());
    head.fields["mask"] = filtering.mask ? Json(text_of(*filtering.mask)) : Json();
    if (filtering.all) return work(head, [=](Reader& reader, Deed&) { reader.select_all(what.antennas); });
    what.mask = *filtering.mask;
    head.fields["target"] = name_of(what.target, flags);
    head.fields["action"] = what.action;
    head.fields["truncate"] = what.truncate;
    return work(head, [=](Reader& reader, Deed&) { reader.select(what); });
}

}  // namespace

void add_select_commands(Application& application)
{
    application.set_readers(add_command_with<Filtering>(application, nullptr, "select",
                                                        "Set the reader's filter of Gen2 tags.",
                                                        add_select_options, plan_select),
                            Readers::each);
}

}  // namespace tagwire::tool
