// Manual pages.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace tagwire::tool {

// "tagwire-net-show"
std::string page_name(const CLI::App& command);
// In the language of man.
std::string manual_page(const CLI::App& command);

}  // namespace tagwire::tool
