// The commands and options as the command line knows them, for what is made of them: completion, manual pages and
// suggestions.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace tagwire::tool {

// In the order in which they were added.
std::vector<const CLI::App*> commands_of(const CLI::App& group);
// Null where there is none of that name.
const CLI::App* find_command(const CLI::App& group, const std::string& name);
// Without positional ones.
std::vector<const CLI::Option*> options_of(const CLI::App& command);
std::vector<const CLI::Option*> positionals_of(const CLI::App& command);

// "net show"; nothing for the program itself.
std::string path_of(const CLI::App& command);
void for_each_command(const CLI::App& from, const std::function<void(const CLI::App&)>& take);

// "--session", "-h"
std::vector<std::string> names_of(const CLI::Option& option);
bool takes_value(const CLI::Option& option);
bool takes_file(const CLI::Option& option);
// The names that its value may have; none where it is not known.
std::vector<std::string> choices_of(const CLI::Option& option);

// What stands below the help of a command: text, and behind "Examples:" examples.
struct Footer {
    std::string text;
    std::vector<std::string> examples;
};
Footer footer_of(const CLI::App& command);

}  // namespace tagwire::tool
