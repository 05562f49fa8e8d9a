// Scripts by which shells complete command lines.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace tagwire::tool {

std::string bash_completion(const CLI::App& application);
std::string zsh_completion(const CLI::App& application);
std::string fish_completion(const CLI::App& application);

}  // namespace tagwire::tool
