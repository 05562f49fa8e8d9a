// The part of a scenario that describes the sensor of a Gen2 tag.
#pragma once

#include "scenario/scenario_section.h"

namespace tagwire::sim {

// The table [tag.sensor], if there is one.
void read_sensor(Section& tag, std::optional<SensorSettings>& sensor);
// Throws ScenarioError.
void check_sensor(const SensorSettings& sensor, const std::string& source);

}  // namespace tagwire::sim
