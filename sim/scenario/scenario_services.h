// The parts of a scenario that have nothing to do with tags.
#pragma once

#include "scenario/scenario_section.h"

namespace tagwire::sim {

void read_services(Section& top, ServiceSettings& services);

// Throws ScenarioError when the settings contradict each other.
void check_services(const ServiceSettings& services, const std::string& source);

}  // namespace tagwire::sim
