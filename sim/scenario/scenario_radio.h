// The part of a scenario that says where antennas and tags are: [radio], [antenna.N], [[conveyor]], and the place of
// a [[tag]].
#pragma once

#include "scenario/scenario_section.h"

namespace tagwire::sim {

// [radio] and the antennas; the reader's settings are there already.
void read_radio(Section& top, Scenario& scenario);
// The keys of a tag that has a place.
void read_tag_radio(Section& tag, std::optional<TagRadioSettings>& radio);
// What travels on conveyors, as tags with a path each.
void read_conveyors(Section& top, Scenario& scenario);
// Throws ScenarioError.
void check_radio(const Scenario& scenario, const std::string& source);

}  // namespace tagwire::sim
