// Options that several commands for one tag have.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app.h"

namespace tagwire::tool {

// Before something that cannot be undone: asks on a terminal, unless `yes`. Throws UsageError where nobody
// can be asked, and Failure when the answer is no. `deed` reads like "kill the tag E280...".
void confirm(const std::string& deed, bool yes, std::string_view how_long = " for good");
void add_yes_option(CLI::App& command, bool& yes);

// A command with arguments of its own: add(command, *arguments) makes its options, plan(*arguments) checks
// them and returns the work.
template <typename Arguments>
CLI::App& add_command_with(Application& application, CLI::App* group, const std::string& name,
                           const std::string& description,
                           const std::function<void(CLI::App&, Arguments&)>& add_options,
                           const std::function<Work(const Arguments&)>& plan)
{
    const auto arguments = std::make_shared<Arguments>();
    const auto prepare = [arguments, plan] { return plan(*arguments); };
    auto& command = group != nullptr ? application.add_command(*group, name, description, prepare)
                                     : application.add_command(name, description, prepare);
    add_options(command, *arguments);
    return command;
}

// The same for plain functions, in a group.
template <typename Arguments>
CLI::App& add_to(Application& application, CLI::App& group, const char* name, const char* description,
                 void (*add_options)(CLI::App&, Arguments&), Work (*plan)(const Arguments&))
{
    return add_command_with<Arguments>(application, &group, name, description, add_options, plan);
}

}  // namespace tagwire::tool
