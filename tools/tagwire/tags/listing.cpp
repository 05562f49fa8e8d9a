#include "tags/listing.h"

#include <algorithm>

#include "deed.h"
#include "format.h"
#include "open_reader.h"
#include "tag_table.h"

namespace tagwire::tool {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds scan_unit{100};

struct Found {
    TagTable table;
    bool complete = true;
    unsigned bad_records = 0;
};

void add(Found& found, const InventoryResult& result)
{
    for (const auto& read : result.reads) found.table.add(read);
    found.complete = found.complete && result.complete;
    found.bad_records += result.bad_records;
}

void show_tags(Session& session, const Found& found, const Kind& kind)
{
    for (const auto& row : found.table.rows()) {
        auto object = tag_json(row, kind.id_key);
        object["type"] = kind.type;
        object["reader"] = session.options.reader_name();
        session.out.line(session.options.json ? json_line(object) : tag_line(row));
        if (session.out.closed()) return;
    }
    if (session.options.json && !found.complete)
        session.out.line(json_line(
            Json{{"type", "inventory"}, {"complete", false}, {"reader", session.options.reader_name()}}));
}

void show_count(Session& session, const Found& found)
{
    if (!session.options.json) return session.out.line(fmt::to_string(found.table.rows().size()));
    session.out.line(json_line(Json{{"type", "count"},
                                    {"tags", found.table.rows().size()},
                                    {"reads", found.table.reads()},
                                    {"complete", found.complete},
                                    {"reader", session.options.reader_name()}}));
}

// What a person is not told by the tags.
void tell_summary(const Found& found, const Kind& kind, steady_clock::duration elapsed, bool interrupted)
{
    auto text = summary_text(found.table, elapsed);
    if (interrupted) {
        text += "; interrupted, there may be more";
    } else if (!found.complete) {
        text += "; the scan time was over, there may be more: see --scan-time";
    }
    if (found.bad_records != 0) text += fmt::format("; {} damaged records left out", found.bad_records);
    tell(text);
    if (found.table.rows().empty() && found.complete && !interrupted && !kind.advice.empty())
        tell(kind.advice);
}

struct Listed {
    Found found;
    std::optional<Error> error;
    bool interrupted = false;
    steady_clock::time_point start;
};

Listed take_all(Session& session, const Repeat& repeat, const TakeInventory& take)
{
    Listed listed;
    listed.start = steady_clock::now();
    try {
        auto reader = open_reader(session);
        const InterruptWatch::Hook hook(session.interrupts, [&reader] { reader.abort(); });
        listed.start = steady_clock::now();
        do {
            add(listed.found, take(reader));
            session.out.check();
        } while (repeat.duration && steady_clock::now() - listed.start < *repeat.duration &&
                 !session.out.closed() && !session.interrupts.interrupted());
    } catch (const Error& problem) {
        listed.interrupted = session.interrupts.interrupted();
        add(listed.found, {.reads = problem.reads(), .complete = false});
        if (!listed.interrupted) listed.error = problem;
    }
    return listed;
}

int list(Session& session, const Kind& kind, const Repeat& repeat, const TakeInventory& take)
{
    const auto listed = take_all(session, repeat, take);
    const auto& found = listed.found;
    if (listed.error && found.table.rows().empty()) {
        show_failure(session, {{}, Json{{"type", repeat.count ? "count" : "inventory"}}}, *listed.error);
        return exit_failure;
    }
    if (listed.error) complain(error_text(*listed.error));
    repeat.count ? show_count(session, found) : show_tags(session, found, kind);
    session.out.flush();
    if (!session.out.closed())
        tell_summary(found, kind, steady_clock::now() - listed.start, listed.interrupted);
    return listed.error ? exit_failure : exit_success;
}

}  // namespace

void add_repeat_options(CLI::App& command, Repeat& repeat)
{
    option(
        command, "--seconds", repeat.duration,
        [](const std::string& text, const std::string&) { return parse_seconds(text); },
        "repeat inventories for so long and merge their tags");
    command.add_flag("--count", repeat.count, "print the number of different tags only");
}

void add_scan_options(CLI::App& command, std::optional<Port>& antenna, std::optional<milliseconds>& scan_time)
{
    option(
        command, "--antenna", antenna,
        [](const std::string& text, const std::string& name) {
            return Port(static_cast<int>(parse_number(text, name, 1, 128)));
        },
        "antenna port, counted from 1");
    option(
        command, "--scan-time", scan_time,
        [](const std::string& text, const std::string&) { return scan_unit * parse_scan_time(text); },
        "longest duration of one inventory, 1 to 25500 ms, rounded up to 100 ms", "MS");
}

Work listing_work(const Kind& kind, const Repeat& repeat, const TakeInventory& take)
{
    return [=](Session& session) { return list(session, kind, repeat, take); };
}

}  // namespace tagwire::tool
