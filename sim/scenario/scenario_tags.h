// Gen2 tags as text outside of a file.
#pragma once

#include <string>
#include <vector>

#include "scenario/scenario.h"

namespace tagwire::sim {

// From words such as epc=E2801160 and antennas=1,2, which are keys of one [[tag]]. Throws std::invalid_argument with a
// text that says what is wrong.
std::vector<TagSettings> tags_from_words(const std::vector<std::string>& words);

}  // namespace tagwire::sim
