#include "commands/groups.h"
#include "option.h"
#include "rows.h"
#include "tag_options.h"
#include "tags/choice.h"
#include "tags/listing.h"

namespace tagwire::tool {

namespace {

Deed epc_row(const char* type, const Epc& epc, const std::string& text)
{
    const auto id = epc.to_string();
    Deed row = deed(type, fmt::format("{}  {}", shown_id(id), text));
    row.fields["epc"] = id;
    return row;
}

// -- inventory

void add_fill_options(CLI::App& command, InventoryOptions& options)
{
    add_plan_options(command, options);
    command.footer(
        R"(The options are those of tagwire inventory; with --tid the buffer keeps words of the TID instead of
the EPC.

Examples:
  tagwire buffer inventory
  tagwire buffer inventory --q 6 --session S1 --scan-time 2000 --json)");
}

Work plan_fill(const InventoryOptions& options)
{
    return work(deed("buffer-inventory"), [plan = options.chosen()](Reader& reader, Deed& done) {
        const auto counts = reader.buffer().inventory(plan);
        done.text = fmt::format("{} in the buffer", counted(counts.stored, "tag"));
        if (counts.read) done.text = fmt::format("{} read, {}", counted(*counts.read, "tag"), done.text);
        if (counts.read) done.fields["tags"] = *counts.read;
        done.fields["buffered"] = counts.stored;
        done.fields["complete"] = counts.complete;
        if (!counts.complete) done.text += "; the scan time was over, there may be more: see --scan-time";
    });
}

// -- what is kept

Rows kept_tags(Reader& reader)
{
    Rows told;
    for (const auto& tag : reader.buffer().read()) {
        auto& row = told.rows.emplace_back(
            epc_row("buffered_tag", tag.epc,
                    fmt::format("antenna {}  rssi {}  reads {}", printed(tag.port), tag.rssi, tag.count)));
        row.fields["antenna"] = tag.port.number();
        row.fields["antenna_byte"] = tag.antenna_byte;
        row.fields["rssi"] = tag.rssi;
        row.fields["reads"] = tag.count;
    }
    told.summary = fmt::format("{} in the buffer", counted(told.rows.size(), "tag"));
    return told;
}

void show_count(Reader& reader, Deed& done)
{
    const auto count = reader.buffer().count();
    done.text = std::to_string(count);
    done.fields["buffered"] = count;
}

constexpr Choices<bool, 2> id_lengths{{{"short", false}, {"long", true}}};

void add_save_length_options(CLI::App& command, std::optional<bool>& is_long)
{
    option(command, "LENGTH", is_long, one_of(id_lengths),
           "short: EPCs are kept up to 128 bits, or long: up to 496; shown without", "LENGTH");
    command.footer(R"(Examples:
  tagwire buffer save-length
  tagwire buffer save-length long)");
}

Work plan_save_length(const std::optional<bool>& is_long)
{
    return work(deed("buffer-save-length"), [=](Reader& reader, Deed& done) {
        if (is_long) reader.buffer().keep_long_ids(*is_long);
        const bool keeps_long = is_long ? *is_long : reader.buffer().keeps_long_ids();
        done.text = fmt::format("EPCs are kept up to {} bits", keeps_long ? 496 : 128);
        done.fields["save_length"] = name_of(keeps_long, id_lengths);
    });
}

// -- the separate tag buffer

Rows kept_history(Reader& reader)
{
    Rows told;
    for (const auto& tag : reader.buffer().history()) {
        const auto details = to_hex(tag.details);
        told.rows.push_back(epc_row("stored_tag", tag.epc, "details " + details));
        told.rows.back().fields["details"] = details;
    }
    told.summary = fmt::format("{} in the tag buffer", counted(told.rows.size(), "tag"));
    return told;
}

// -- find

Rows find_tags(Reader& reader, const SearchPlan& plan)
{
    const auto result = reader.buffer().find(plan);
    Rows told;
    for (const auto& tag : result.found) {
        told.rows.push_back(epc_row("found_tag", tag.epc, fmt::format("rssi {}", tag.rssi)));
        told.rows.back().fields["rssi"] = tag.rssi;
    }
    for (const auto& epc : result.missing) told.rows.push_back(epc_row("missing_tag", epc, "missing"));
    told.summary =
        fmt::format("{} found, {} missing", counted(result.found.size(), "tag"), result.missing.size());
    if (!result.complete) told.summary += "; the scan time was over, missing tags may be there";
    return told;
}

void add_find_options(CLI::App& command, SearchPlan& plan)
{
    command
        .add_option_function<std::vector<std::string>>(
            "EPC",
            [&plan](const std::vector<std::string>& texts) {
                put_off().emplace_back([&plan, texts] {
                    for (const auto& text : texts) plan.epcs.emplace_back(hex(2, 62)(text, "EPC"));
                });
            },
            "what to look for, 4 hexadecimal digits a word")
        ->type_name("HEX")
        ->required();
    option(command, "--q", plan.q, number(0, 15), "Q of all rounds, 0 to 15")->default_str("4");
    add_ports_option(command, plan.antennas, 16,
                     "antenna ports to look with, 1 to 16; otherwise those that the reader uses");
    command.add_flag("--add", plan.keep_list, "add to the list that the reader has, instead of replacing it");
    command.footer(
        R"(The reader gets the list and reports the tags of the list only; those that were not found are listed,
too. A tag that is not there is no error.

Examples:
  tagwire buffer find E28011700000020F00000001 3034000040C0000400000003
  tagwire buffer find E28011700000020F00000001 --antennas 1,2 --json)");
}

Work plan_find(const SearchPlan& plan)
{
    return rows_work("found_tags", [plan](Reader& reader) { return find_tags(reader, plan); });
}

}  // namespace

void add_buffer_commands(Application& application)
{
    auto& group = application.add_group("buffer", "Tags that the reader keeps, and its search by a list.");
    const auto add_plain = [&](const char* name, const char* help, const Work& asks) {
        add_question(application, group, name, help, asks,
                     fmt::format("Examples:\n  tagwire buffer {}", name).c_str());
    };
    application.set_readers(
        add_command_with<InventoryOptions>(application, &group, "inventory",
                                           "Inventory of Gen2 tags into the reader's buffer.",
                                           add_fill_options, plan_fill),
        Readers::each);
    add_plain("read", "Show the buffer; the tags stay in it.", rows_work("buffer", kept_tags));
    add_plain("count", "Count the tags in the buffer.", work(deed("buffer-count"), show_count));
    add_plain("clear", "Empty the buffer.",
              work(deed("buffer-clear", "the buffer is empty now"),
                   [](Reader& reader, Deed&) { reader.buffer().clear(); }));
    application.set_readers(
        add_command_with<std::optional<bool>>(application, &group, "save-length",
                                              "Show or set how much of an EPC the buffer keeps.",
                                              add_save_length_options, plan_save_length),
        Readers::each);
    add_plain("tags", "Show the separate tag buffer.", rows_work("tag_buffer", kept_history));
    add_plain("clear-tags", "Empty the separate tag buffer.",
              work(deed("buffer-clear-tags", "the tag buffer is empty now"),
                   [](Reader& reader, Deed&) { reader.buffer().clear_history(); }));
    application.set_readers(add_command_with<SearchPlan>(application, &group, "find",
                                                         "Look for the tags of a list.", add_find_options,
                                                         plan_find),
                            Readers::each);
}

}  // namespace tagwire::tool
