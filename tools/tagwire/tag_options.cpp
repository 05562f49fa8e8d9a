#include "tag_options.h"

#include "errors.h"

#include <iostream>

#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

void confirm(const std::string& deed, bool yes, std::string_view how_long)
{
    if (yes) return;
    if (isatty(STDIN_FILENO) == 0) {
        throw UsageError(fmt::format(
            "this would {}{}: nothing was sent. Add --yes, or use a terminal to be asked", deed, how_long));
    }
    std::cerr << fmt::format("This will {}{}. Type yes to go on: ", deed, how_long) << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "yes" && answer != "y") throw Failure("not confirmed, nothing was sent");
}

void add_yes_option(CLI::App& command, bool& yes)
{
    command.add_flag("--yes", yes, "do not ask for confirmation");
}

}  // namespace tagwire::tool
