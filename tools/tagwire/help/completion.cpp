#include "help/completion.h"

#include <set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "help/tree.h"

namespace tagwire::tool {

namespace {

// What completes a value that is a file.
constexpr const char* files = "FILES";

std::string quoted(const std::string& text)
{
    std::string out = "'";
    for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string values_of(const CLI::Option& option)
{
    return takes_file(option) ? files : fmt::format("{}", fmt::join(choices_of(option), " "));
}

// Those that not all commands have.
std::vector<const CLI::Option*> own_options(const CLI::App& command)
{
    auto options = options_of(command);
    if (command.get_parent() != nullptr)
        std::erase_if(options, [](const CLI::Option* option) { return option->check_lname("help"); });
    return options;
}

// What a command of that path can go on with: NAME:DESCRIPTION a line.
std::string words_case(const CLI::App& command)
{
    std::string text;
    const auto add = [&](const std::string& name, const std::string& description) {
        text += " \\\n        " + quoted(name + ":" + description);
    };
    for (const auto* const part : commands_of(command)) add(part->get_name(), part->get_description());
    for (const auto* const positional : positionals_of(command))
        for (const auto& choice : choices_of(*positional)) add(choice, positional->get_description());
    for (const auto* const option : own_options(command))
        for (const auto& name : option->get_lnames()) add("--" + name, option->get_description());
    return fmt::format("    {}){} ;;\n", quoted(path_of(command)),
                       text.empty() ? "" : " printf '%s\\n'" + text);
}

// What the value of an option of that command may be, and that there is one.
std::string values_cases(const CLI::App& command)
{
    const bool is_global = command.get_parent() == nullptr;
    std::string text;
    for (const auto* const option : options_of(command)) {
        if (!takes_value(*option)) continue;
        for (const auto& name : names_of(*option))
            text += fmt::format("    {}) echo {} ;;\n",
                                is_global ? "*" + quoted(" " + name) : quoted(path_of(command) + " " + name),
                                quoted(values_of(*option)));
    }
    for (const auto* const positional : positionals_of(command))
        if (takes_file(*positional))
            text += fmt::format("    {}) ;;\n", quoted(path_of(command) + " " + files));
    return text;
}

// Functions that bash and zsh understand.
std::string tables(const CLI::App& application)
{
    std::string words = "_tagwire_words() {\n    case $1 in\n";
    std::string values = "_tagwire_values() {\n    case \"$1 $2\" in\n";
    for_each_command(application, [&](const CLI::App& command) {
        words += words_case(command);
        values += values_cases(command);
    });
    const auto* const end = "    *) return 1 ;;\n    esac\n}\n\n";
    return words + end + values + end + R"(_tagwire_all() {
    _tagwire_words "$1"
    [ -z "$1" ] || _tagwire_words '' | grep '^--'
}

)";
}

std::string fish_line(const CLI::App& command, const std::string& rest, const std::string& description)
{
    const auto condition = command.get_parent() == nullptr && rest.starts_with("-l")
                               ? std::string()
                               : fmt::format(" -n {}", quoted("__tagwire_at " + quoted(path_of(command))));
    return fmt::format("complete -c tagwire{} {} -d {}\n", condition, rest, quoted(description));
}

std::string fish_option(const CLI::App& command, const CLI::Option& option)
{
    const auto values = values_of(option);
    const auto argument = !takes_value(option) ? std::string()
                          : values == files    ? " -r -F"
                                               : fmt::format(" -x -a {}", quoted(values));
    std::string text;
    for (const auto& name : option.get_lnames())
        text += fish_line(command, fmt::format("-l {}{}", name, argument), option.get_description());
    return text;
}

std::string fish_lines(const CLI::App& command)
{
    std::string text;
    for (const auto* const part : commands_of(command))
        text += fish_line(command, "-a " + part->get_name(), part->get_description());
    for (const auto* const option : own_options(command)) text += fish_option(command, *option);
    for (const auto* const positional : positionals_of(command)) {
        const auto values = values_of(*positional);
        if (values.empty()) continue;
        text += fish_line(command, values == files ? "-F" : "-a " + quoted(values),
                          positional->get_description());
    }
    return text;
}

}  // namespace

std::string bash_completion(const CLI::App& application)
{
    return "# Completion of tagwire for bash.\n" + tables(application) + R"(_tagwire() {
    local at= word= i
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if _tagwire_values "$at" "$word" > /dev/null; then
            i=$((i + 1))
        elif _tagwire_words "${at:+$at }$word" > /dev/null; then
            at="${at:+$at }$word"
        fi
    done
    if ((i > COMP_CWORD)); then
        word=$(_tagwire_values "$at" "$word")
    else
        word=$(_tagwire_all "$at" | cut -d: -f1)
        ! _tagwire_values "$at" FILES || compopt -o default
    fi
    if [[ $word == FILES ]]; then
        compopt -o default
    else
        mapfile -t COMPREPLY < <(compgen -W "$word" -- "$2")
    fi
}
complete -F _tagwire tagwire
)";
}

std::string zsh_completion(const CLI::App& application)
{
    return "#compdef tagwire\n" + tables(application) + R"(_tagwire() {
    local at= word= i
    local -a found
    for ((i = 2; i < CURRENT; i++)); do
        word=$words[i]
        if _tagwire_values "$at" "$word" > /dev/null; then
            ((i++))
        elif _tagwire_words "${at:+$at }$word" > /dev/null; then
            at="${at:+$at }$word"
        fi
    done
    if ((i > CURRENT)); then
        word=$(_tagwire_values "$at" "$word")
        if [[ $word == FILES ]]; then _files; else compadd -- ${=word}; fi
    else
        found=("${(@f)$(_tagwire_all "$at")}")
        _describe tagwire found
        ! _tagwire_values "$at" FILES || _files
    fi
}
if [[ $funcstack[1] == _tagwire ]]; then _tagwire "$@"; else compdef _tagwire tagwire; fi
)";
}

std::string fish_completion(const CLI::App& application)
{
    std::vector<std::string> paths;
    std::set<std::string> valued;
    std::string lines;
    for_each_command(application, [&](const CLI::App& command) {
        if (command.get_parent() != nullptr) paths.push_back(quoted(path_of(command)));
        for (const auto* const option : options_of(command)) {
            const auto names = names_of(*option);
            if (takes_value(*option)) valued.insert(names.begin(), names.end());
        }
        lines += fish_lines(command);
    });
    return fmt::format(R"(# Completion of tagwire for fish.
function __tagwire_at
    set -l at ''
    set -l is_value no
    for word in (commandline -opc)[2..-1]
        if test $is_value = yes
            set is_value no
        else if contains -- $word {}
            set is_value yes
        else
            set -l next (string trim -- "$at $word")
            contains -- $next {}; and set at $next
        end
    end
    test "$at" = "$argv[1]"
end
complete -c tagwire -f
)",
                       fmt::join(valued, " "), fmt::join(paths, " ")) +
           lines;
}

}  // namespace tagwire::tool
