#include "deed.h"

#include <algorithm>
#include <sstream>

#include <fmt/format.h>

#include "open_reader.h"

namespace tagwire::tool {

namespace {

Json ranges_json(const std::vector<MemoryRange>& ranges)
{
    auto list = Json::array();
    for (const auto& range : ranges) list.push_back({{"first", range.first}, {"count", range.count}});
    return list;
}

std::string ranges_text(const std::vector<MemoryRange>& ranges)
{
    std::ostringstream text;
    for (const auto& range : ranges) text << (&range == &ranges.front() ? "" : ", ") << range;
    return text.str();
}

bool has_ranges(const Error& error)
{
    return !error.written().empty() || !error.not_written().empty() || !error.unknown_words().empty();
}

const char* outcome_text(Outcome outcome)
{
    switch (outcome) {
    case Outcome::nothing: return "nothing";
    case Outcome::partial: return "partial";
    case Outcome::unknown: break;
    }
    return "unknown";
}

void put(Session& session, Json fields)
{
    fields["reader"] = session.options.reader_name();
    session.out.line(json_line(fields));
    session.out.flush();
}

}  // namespace

// With the numbers by which a manual is searched.
std::string error_text(const Error& error)
{
    auto text = fmt::format("{} ({}): {}", error.operation(), error.reader(), error.text());
    if (error.tag_error() >= 0)
        return fmt::format("{} ({}, tag error {})", text, error.result(), error.tag_error());
    return error.result() != 0 ? fmt::format("{} ({})", text, error.result()) : text;
}

void add(Deed& done, std::string_view label, std::string_view shown, const char* key, Json value)
{
    done.text += fmt::format("{}{:<17}{}", done.text.empty() ? "" : "\n", label, shown);
    done.fields[key] = std::move(value);
}

void show(Session& session, Deed done)
{
    session.verdict = done.verdict;
    if (done.is_silent) return;
    if (session.options.json) return put(session, std::move(done.fields));
    if (done.text.empty()) return;
    session.out.line(done.text);
    session.out.flush();
}

void show_failure(Session& session, Deed tried, const Error& error)
{
    complain(error_text(error));
    if (!session.options.json || tried.is_silent) return;
    auto& fields = tried.fields;
    fields["error"] = error.text();
    fields["outcome"] = outcome_text(error.outcome());
    for (const auto& tag : error.answered()) {
        Json answered{{"epc", tag.epc.to_string()}};
        if (tag.tid) answered["tid"] = tag.tid->to_string();
        fields["answered"].push_back(answered);
    }
    if (error.result() != 0) fields["code"] = error.result();
    if (error.tag_error() >= 0) fields["tag_error"] = error.tag_error();
    if (has_ranges(error)) {
        fields["complete"] = false;
        fields["written"] = ranges_json(error.written());
        fields["not_written"] = ranges_json(error.not_written());
        fields["unknown"] = ranges_json(error.unknown_words());
    }
    put(session, std::move(fields));
}

void add_written(Deed& done, const std::vector<MemoryRange>& ranges)
{
    done.fields["complete"] = true;
    done.fields["verified"] = true;
    done.fields["written"] = ranges_json(ranges);
    done.fields["not_written"] = Json::array();
    done.fields["unknown"] = Json::array();
}

std::string range_text(const MemoryRange& range) { return ranges_text({range}); }

int run(Session& session, Deed deed, const Act& act)
{
    try {
        auto reader = open_reader(session);
        const InterruptWatch::Hook hook(session.interrupts, [&reader] { reader.abort(); });
        act(reader, deed);
    } catch (const Error& error) {
        show_failure(session, std::move(deed), error);
        return exit_failure;
    } catch (const Failure& failure) {
        deed.fields["error"] = failure.what();
        if (session.options.json) show(session, std::move(deed));
        throw;
    }
    const int code = deed.exit_code;
    show(session, std::move(deed));
    return code;
}

}  // namespace tagwire::tool
