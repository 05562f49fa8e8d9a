#include "commands/groups.h"
#include "open_reader.h"
#include "tag_options.h"
#include "tags/choice.h"

#include <algorithm>

#include <tagwirexx/commission.hpp>

namespace tagwire::tool {

namespace {

struct Commission {
    std::string file;
    CommissioningPlan plan;
    Secret password;
    std::vector<std::string> locks;
    bool yes = false;

    bool has_plan() const
    {
        return !plan.tid.empty() || plan.epc || plan.access || plan.kill || password.given || !locks.empty();
    }
};

void add_commission_options(CLI::App& command, Commission& commission)
{
    auto& plan = commission.plan;
    command.add_option("FILE", commission.file, "a table of tags: comma-separated values")->type_name("PATH");
    option(command, "--tid", plan.tid, parse_tid, "one tag instead of a table, by its whole TID", "HEX");
    option(command, "--new-epc", plan.epc, parse_epc, "the EPC that it gets", "HEX");
    option(command, "--access-password", plan.access, parse_secret,
           "the access password that it gets: 8 hexadecimal digits, @FILE or -", "HEX");
    option(command, "--kill-password", plan.kill, parse_secret,
           "the kill password that it gets: 8 hexadecimal digits, @FILE or -", "HEX");
    command
        .add_option(
            "--lock", commission.locks,
            "what is locked behind all else, once or more often: kill_password, access_password, epc, tid "
            "or user; open, password, forever or open_forever")
        ->type_name("AREA:HOW")
        ->allow_extra_args(false);
    add_password_option(command, commission.password);
    add_yes_option(command, commission.yes);
    command.footer(
        R"(The first line of the table names its columns, in any order: tid, and any of epc, access, kill, lock and
password; locks are AREA:HOW with blanks between them, an empty cell leaves as it is. What a tag has already is found
and left alone: a run that broke off is run again as it was. A line or an object tells what became of each tag; the exit
code is 1 where one was not done. Before anything is locked for good the command asks, and refuses where it cannot.

Examples:
  tagwire commission tags.csv
  tagwire commission tags.csv --yes --json > done.jsonl
  tagwire commission --tid E2801160200000010000AB01 --new-epc 3034000040C0000400000007 --access-password @secret.txt \
    --lock epc:password)");
}

std::vector<CommissioningPlan> plans_of(const Commission& commission)
{
    if (commission.file.empty() == !commission.has_plan())
        throw UsageError("give a table of tags, or one tag with --tid HEX and what becomes of it");
    if (!commission.file.empty()) return load_commissioning(commission.file);
    auto plan = commission.plan;
    if (plan.tid.empty()) throw UsageError("name the tag: use --tid HEX");
    plan.password = commission.password.value();
    for (const auto& lock : commission.locks) plan.locks.push_back(commissioning_lock(lock));
    return {plan};
}

bool locks_forever(const CommissioningPlan& plan)
{
    return std::any_of(plan.locks.begin(), plan.locks.end(),
                       [](const CommissioningLock& lock) { return lock.forever; });
}

const char* name_of(CommissioningStep::State state)
{
    using State = CommissioningStep::State;
    switch (state) {
    case State::found: return "found";
    case State::done: return "done";
    case State::failed: return "failed";
    case State::unknown: return "unknown";
    case State::not_reached: break;
    }
    return "not-reached";
}

Deed deed_of(const CommissioningReport& report)
{
    Deed done = deed("commission", report.text());
    done.fields["tid"] = report.tid.to_string();
    done.fields["ok"] = report.ok();
    done.fields["resumed"] = report.resumed();
    done.fields["steps"] = Json::array();
    for (const auto& step : report.steps) {
        Json object{{"what", step.what}, {"state", name_of(step.state)}};
        if (!step.text.empty()) object["text"] = step.text;
        done.fields["steps"].push_back(object);
    }
    return done;
}

int commission_all(Session& session, const std::vector<CommissioningPlan>& plans)
{
    std::size_t done = 0;
    std::size_t failed = 0;
    try {
        auto reader = open_reader(session);
        const InterruptWatch::Hook hook(session.interrupts, [&reader] { reader.abort(); });
        for (const auto& plan : plans) {
            if (session.interrupts.interrupted()) break;
            const auto report = reader.commission(plan);
            show(session, deed_of(report));
            ++(report.ok() ? done : failed);
        }
    } catch (const Error& error) {
        show_failure(session, deed("commission"), error);
        return exit_failure;
    }
    const auto left = plans.size() - done - failed;
    tell(fmt::format("{} of {} tags done, {} failed{}", done, plans.size(), failed,
                     left == 0 ? "" : fmt::format(", {} not begun: interrupted", left)));
    return done == plans.size() ? exit_success : exit_failure;
}

Work plan_commission(const Commission& commission)
{
    try {
        const auto plans = plans_of(commission);
        if (plans.empty()) throw UsageError(fmt::format("'{}' names no tag", commission.file));
        const auto forever = std::count_if(plans.begin(), plans.end(), locks_forever);
        if (forever != 0) confirm(fmt::format("lock areas of {} tags", forever), commission.yes);
        return [plans](Session& session) { return commission_all(session, plans); };
    } catch (const Error& error) {
        throw UsageError(error.text());
    }
}

}  // namespace

void add_commission_commands(Application& application)
{
    add_command_with<Commission>(application, nullptr, "commission",
                                 "Make tags ready for use: EPC, passwords, locks.", add_commission_options,
                                 plan_commission);
}

}  // namespace tagwire::tool
