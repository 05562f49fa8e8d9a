#include "scenario/scenario_events.h"

#include "control/order.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_order = 65536;

// Gives what is wrong with the words, or nothing.
std::optional<std::string> problem_of(const std::string& words, const ReaderSettings& reader)
{
    try {
        const Order order = Order::parse(words, reader);
        if (!order.only_asks) return std::nullopt;
        return "nothing happens by '" + order.word + "', it only asks";
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
}

void read_event(Section& section, Scenario& scenario)
{
    TimedOrder& event = scenario.events.emplace_back();
    if (!section.find("at")) section.fail("an event needs its time, at");
    section.read_seconds("at", event.at);
    if (section.find("every")) section.read_seconds("every", event.every.emplace());
    if (event.every && *event.every < shortest_repeat)
        section.fail(*section.find("every"), "every must be 0.001 seconds or more");
    if (!section.find("do")) section.fail("an event needs what it does, do");
    section.read_text("do", event.words, longest_order);
    if (const auto problem = problem_of(event.words, scenario.reader))
        section.fail(*section.find("do"), "do: " + *problem);
    section.refuse_unknown_keys("[[event]]");
}

}  // namespace

void read_events(Section& top, Scenario& scenario)
{
    top.read_tables("event", [&scenario](Section& section) { read_event(section, scenario); });
}

void check_events(const Scenario& scenario, const std::string& source)
{
    for (const TimedOrder& event : scenario.events) {
        if (event.every && *event.every < shortest_repeat)
            throw ScenarioError(source, 0, "an event is repeated after 0.001 seconds or more");
        if (const auto problem = problem_of(event.words, scenario.reader))
            throw ScenarioError(source, 0, "the event '" + event.words + "': " + *problem);
    }
}

}  // namespace tagwire::sim
