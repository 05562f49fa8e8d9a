// What became of a write, for people and for programs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "format.h"
#include "tag_memory.h"

namespace tagwire::tool {

// "0-89, 95"
std::string runs_text(const std::vector<Run>& runs);

// One line after a success; otherwise what was written, what was not, and what is not known. `unit` is "word"
// or "byte", `place` the bank.
std::vector<std::string> write_report_lines(const WriteReport& report, std::string_view unit,
                                            std::string_view place);

// Adds the same to an object.
void add_write_report(Json& object, const WriteReport& report, std::string_view unit);

}  // namespace tagwire::tool
