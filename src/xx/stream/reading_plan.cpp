#include "xx/stream/reading_plan.h"

#include <algorithm>
#include <sstream>

#include <tagwirexx/error.hpp>
#include <tagwirexx/reader.hpp>

#include "xx/values/ranges.h"

namespace tagwire {
inline namespace v1 {
namespace {

void apply_q_and_session(Radio radio, const ReadingPlan& plan)
{
    if (!plan.q && !plan.session) return;
    const QAndSession now = radio.q_and_session();
    QAndSession wanted = now;
    if (plan.q) wanted.q = *plan.q;
    if (plan.session) wanted.session = plan.session;
    if (wanted != now) radio.set_q_and_session(wanted);
}

void apply_antennas(Antennas antennas, std::vector<Port> wanted)
{
    std::sort(wanted.begin(), wanted.end());
    wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
    if (!wanted.empty() && wanted != antennas.enabled()) antennas.enable(wanted, Lasting::until_restart);
}

void apply_power(Radio radio, Dbm wanted)
{
    const auto powers = radio.power();
    const bool has_it = std::all_of(powers.begin(), powers.end(), [&](Dbm power) { return power == wanted; });
    if (!has_it) radio.set_power(wanted);
}

// All but what the plan sets. A reader whose firmware was renewed is read on.
void apply_profile(Reader& reader, Profile profile, const ReadingPlan& plan)
{
    if (plan.q) profile.remove("q");
    if (plan.session) profile.remove("session");
    if (!plan.antennas.empty()) profile.remove("antennas");
    if (plan.power) profile.remove("power");
    const bool is_of_its_type = !profile.type() || *profile.type() == reader.info().type;
    const ApplyReport report =
        reader.settings().apply(profile, {.other_model = is_of_its_type, .lasting = Lasting::until_restart});
    if (report.ok()) return;
    std::ostringstream text;
    text << report.failed.front();
    throw Error(Errc::refused, "set the profile", reader.url(), text.str(), Outcome::partial);
}

}  // namespace

void check(const ReadingPlan& plan, const std::string& url)
{
    const auto require = [&](const Range& range, int value) {
        const std::string problem = problem_of(range, value);
        if (!problem.empty()) throw Error(Errc::invalid_value, "add a source", url, problem);
    };
    if (plan.q) require(ranges::q, *plan.q);
    if (plan.power) require(ranges::dbm, plan.power->value());
    for (const Port port : plan.antennas) require(ranges::port, port.number());
}

void prepare(Reader& reader, const SourceOptions& options)
{
    const ReadingPlan& plan = options.plan;
    if (options.profile) apply_profile(reader, *options.profile, plan);
    apply_antennas(reader.antennas(), plan.antennas);
    if (plan.power) apply_power(reader.radio(), *plan.power);
    apply_q_and_session(reader.radio(), plan);
}

}  // namespace v1
}  // namespace tagwire
