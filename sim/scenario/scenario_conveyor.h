// The part of a scenario that says what travels on conveyors: [[conveyor]].
#pragma once

#include "scenario/scenario_section.h"

namespace tagwire::sim {

void read_conveyors(Section& top, Scenario& scenario);
// Throws ScenarioError.
void check_conveyors(const Scenario& scenario, const std::string& source);

}  // namespace tagwire::sim
