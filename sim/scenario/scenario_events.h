// The part of a scenario that says what happens to the reader while it runs.
#pragma once

#include <string>

#include "scenario/scenario_section.h"

namespace tagwire::sim {

// The tables [[event]]; the reader has been read before.
void read_events(Section& top, Scenario& scenario);
// Throws ScenarioError.
void check_events(const Scenario& scenario, const std::string& source);

}  // namespace tagwire::sim
