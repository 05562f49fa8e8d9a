// The parts of a scenario that describe tags of air interfaces other than Gen2.
#pragma once

#include <string>

#include "scenario/scenario_section.h"

namespace tagwire::sim {

void read_protocol_family(Section& reader, ProtocolFamily& family);
// The tables [[tag_6b]], [[tag_gb]] and [[tag_jb]].
void read_other_tags(Section& top, Scenario& scenario);
// Throws ScenarioError.
void check_other_tags(const Scenario& scenario, const std::string& source);

}  // namespace tagwire::sim
