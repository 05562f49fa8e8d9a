#include "xx/stream/reading_plan.h"

#include <algorithm>

#include <tagwirexx/error.hpp>
#include <tagwirexx/reader.hpp>

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

}  // namespace

void check(const ReadingPlan& plan, const std::string& url)
{
    const auto refuse = [&](const char* text) {
        throw Error(Errc::invalid_value, "add a source", url, text);
    };
    if (plan.q && (*plan.q < 0 || *plan.q > 15)) refuse("q of a plan is 0 to 15");
    if (plan.power && (plan.power->value() < 0 || plan.power->value() > 40))
        refuse("the power of a plan is 0 to 40 dBm");
    for (const Port port : plan.antennas)
        if (port.number() < 1 || port.number() > 64) refuse("an antenna of a plan is 1 to 64");
}

void apply(Reader& reader, const ReadingPlan& plan)
{
    apply_antennas(reader.antennas(), plan.antennas);
    if (plan.power) apply_power(reader.radio(), *plan.power);
    apply_q_and_session(reader.radio(), plan);
}

}  // namespace v1
}  // namespace tagwire
