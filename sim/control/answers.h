// What a reader tells of itself, as JSON.
#pragma once

#include <string>

#include "simulator.h"

namespace tagwire::sim {

class Population;

std::string describe(const Counters& counters);
std::string describe(const Population& field, Time now);

}  // namespace tagwire::sim
