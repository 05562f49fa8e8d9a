#include <filesystem>
#include <iostream>
#include <memory>

#include <fmt/format.h>

#include "commands/groups.h"
#include "data_file.h"
#include "errors.h"
#include "help/completion.h"
#include "help/manual.h"
#include "help/tree.h"

namespace tagwire::tool {

namespace {

const CLI::App& root_of(const CLI::App& command)
{
    return command.get_parent() == nullptr ? command : root_of(*command.get_parent());
}

// A command that needs no reader ends the program where others begin.
template <typename Print> void print_instead(CLI::App& command, Print print)
{
    command.callback([&command, print] {
        print(root_of(command));
        std::cout.flush();
        if (!std::cout) throw Failure("cannot write the output");
        throw CLI::Success();
    });
}

void write_pages(const CLI::App& root, const std::string& folder)
{
    std::error_code failed;
    std::filesystem::create_directories(folder, failed);
    for_each_command(root, [&](const CLI::App& command) {
        const auto page = manual_page(command);
        write_file(fmt::format("{}/{}.1", folder, page_name(command)),
                   {reinterpret_cast<const std::uint8_t*>(page.data()), page.size()});
    });
}

const CLI::App& command_of(const CLI::App& root, const std::vector<std::string>& words)
{
    const auto* command = &root;
    for (const auto& word : words) {
        const auto* const next = find_command(*command, word);
        if (next == nullptr) throw UsageError(fmt::format("man: '{}' is no command", word));
        command = next;
    }
    return *command;
}

struct Pages {
    std::vector<std::string> words;
    std::string folder;
};

CLI::App& add_man(Application& application)
{
    const auto pages = std::make_shared<Pages>();
    auto& command = application.add_command("man", "Print the manual page of a command.", {});
    auto* const words =
        command.add_option("COMMAND", pages->words, "of which command; of tagwire itself when left out");
    command.add_option("--all", pages->folder, "write the pages of all commands into this folder instead")
        ->type_name("DIR")
        ->excludes(words);
    command.footer(R"(Examples:
  tagwire man net show | man -l -
  tagwire man --all /usr/local/share/man/man1)");
    print_instead(command, [pages](const CLI::App& root) {
        if (!pages->folder.empty()) return write_pages(root, pages->folder);
        std::cout << manual_page(command_of(root, pages->words));
    });
    return command;
}

using Script = std::string (*)(const CLI::App&);

void add_completion(Application& application)
{
    auto& group = application.add_group("completion", "Print what makes a shell complete command lines.");
    const auto add = [&](const char* shell, Script script, const char* example) {
        auto& command = application.add_command(group, shell, fmt::format("Print it for {}.", shell), {});
        command.footer(fmt::format("Examples:\n  {}", example));
        print_instead(command, [script](const CLI::App& root) { std::cout << script(root); });
    };
    add("bash", bash_completion, "source <(tagwire completion bash)");
    add("zsh", zsh_completion, "source <(tagwire completion zsh)");
    add("fish", fish_completion, "tagwire completion fish | source");
}

// A group tells the first example of each of its commands.
void add_group_examples(CLI::App& group)
{
    std::string examples = "Examples:";
    for (auto* const command : group.get_subcommands([](CLI::App*) { return true; })) {
        if (!commands_of(*command).empty()) add_group_examples(*command);
        const auto known = footer_of(*command).examples;
        if (!known.empty()) examples += "\n  " + known.front();
    }
    if (group.get_parent() != nullptr) group.footer(examples);
}

}  // namespace

// Behind all others: groups tell what their commands do.
void add_help_commands(Application& application)
{
    add_completion(application);
    auto& man = add_man(application);
    add_group_examples(*man.get_parent());
}

}  // namespace tagwire::tool
