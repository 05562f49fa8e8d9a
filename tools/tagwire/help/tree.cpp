#include "help/tree.h"

#include <sstream>

#include "option.h"

namespace tagwire::tool {

namespace {

std::vector<const CLI::Option*> options_that(const CLI::App& command, bool positional)
{
    return command.get_options(
        [=](const CLI::Option* option) { return option->get_positional() == positional; });
}

}  // namespace

std::vector<const CLI::App*> commands_of(const CLI::App& group)
{
    return group.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* find_command(const CLI::App& group, const std::string& name)
{
    for (const auto* const command : commands_of(group))
        if (command->get_name() == name) return command;
    return nullptr;
}

std::vector<const CLI::Option*> options_of(const CLI::App& command) { return options_that(command, false); }

std::vector<const CLI::Option*> positionals_of(const CLI::App& command)
{
    return options_that(command, true);
}

std::string path_of(const CLI::App& command)
{
    const auto* const parent = command.get_parent();
    if (parent == nullptr) return {};
    const auto above = path_of(*parent);
    return above.empty() ? command.get_name() : above + ' ' + command.get_name();
}

void for_each_command(const CLI::App& from, const std::function<void(const CLI::App&)>& take)
{
    take(from);
    for (const auto* const command : commands_of(from)) for_each_command(*command, take);
}

std::vector<std::string> names_of(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const auto& name : option.get_lnames()) names.push_back("--" + name);
    for (const auto& name : option.get_snames()) names.push_back("-" + name);
    return names;
}

bool takes_value(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

bool takes_file(const CLI::Option& option)
{
    const auto& what = option.get_positional() ? option.get_name(true) : option.get_type_name();
    return what == "FILE" || what == "PATH" || what == "DIR";
}

std::vector<std::string> choices_of(const CLI::Option& option)
{
    const auto found = value_names().find(&option);
    return found == value_names().end() ? std::vector<std::string>() : found->second;
}

Footer footer_of(const CLI::App& command)
{
    constexpr std::string_view heading = "Examples:";
    constexpr std::string_view indent = "  ";
    Footer footer;
    bool in_examples = false;
    std::istringstream lines(command.get_footer());
    for (std::string line; std::getline(lines, line);) {
        const bool is_example = in_examples && line.starts_with(indent);
        in_examples = is_example || line == heading;
        if (is_example) footer.examples.push_back(line.substr(indent.size()));
        if (!in_examples) footer.text += line + '\n';
    }
    const auto end = footer.text.find_last_not_of('\n');
    footer.text.resize(end == std::string::npos ? 0 : end + 1);
    return footer;
}

}  // namespace tagwire::tool
