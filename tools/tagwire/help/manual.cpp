#include "help/manual.h"

#include <algorithm>

#include <fmt/format.h>

#include "help/tree.h"

namespace tagwire::tool {

namespace {

std::string escaped(const std::string& text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool begins_line = i == 0 || text[i - 1] == '\n';
        if (begins_line && (text[i] == '.' || text[i] == '\'')) out += "\\&";
        if (text[i] == '\\')
            out += "\\e";
        else if (text[i] == '-')
            out += "\\-";
        else
            out += text[i];
    }
    return out;
}

// Blank lines of the text begin a paragraph.
std::string paragraphs(const std::string& text)
{
    std::string out;
    bool begins = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line); begins = line.empty()) {
        if (line.empty()) continue;
        if (begins && !out.empty()) out += ".PP\n";
        out += escaped(line) + '\n';
    }
    return out;
}

std::string item(const std::string& head, const std::string& text)
{
    return fmt::format(".TP\n{}\n{}", head, paragraphs(text));
}

std::string value_of(const CLI::Option& option)
{
    if (option.get_positional()) return option.get_name(true);
    return takes_value(option) ? option.get_type_name() : std::string();
}

std::string option_item(const CLI::Option& option)
{
    std::string head;
    for (const auto& name : names_of(option))
        head += fmt::format("{}\\fB{}\\fR", head.empty() ? "" : ", ", escaped(name));
    if (const auto value = value_of(option); !value.empty())
        head += fmt::format("{}\\fI{}\\fR", head.empty() ? "" : " ", escaped(value));
    const auto usual = option.get_default_str();
    return item(head, option.get_description() + (usual.empty() ? "" : fmt::format(" (usually {})", usual)));
}

std::string synopsis(const CLI::App& command)
{
    const auto path = path_of(command);
    auto text = fmt::format("\\fBtagwire{}{}\\fR [\\fIoptions\\fR]", path.empty() ? "" : " ", escaped(path));
    if (!commands_of(command).empty()) text += " \\fIcommand\\fR";
    for (const auto* const positional : positionals_of(command)) {
        const auto name = fmt::format("\\fI{}\\fR", escaped(positional->get_name(true)));
        text += positional->get_required() ? ' ' + name : fmt::format(" [{}]", name);
    }
    return text;
}

std::string section(const char* name, const std::string& text)
{
    return text.empty() ? "" : fmt::format(".SH {}\n{}", name, text);
}

std::string options_section(const CLI::App& command)
{
    std::string text;
    for (const auto* const option : positionals_of(command)) text += option_item(*option);
    for (const auto* const option : options_of(command)) text += option_item(*option);
    return section("OPTIONS", text);
}

std::string commands_section(const CLI::App& command)
{
    std::string text;
    for (const auto* const part : commands_of(command))
        text += item(fmt::format("\\fB{}\\fR(1)", escaped(page_name(*part))), part->get_description());
    return section("COMMANDS", text);
}

std::string examples_section(const std::vector<std::string>& examples)
{
    std::string text;
    for (const auto& example : examples) text += escaped(example) + '\n';
    return text.empty() ? "" : section("EXAMPLES", ".nf\n" + text + ".fi\n");
}

}  // namespace

std::string page_name(const CLI::App& command)
{
    auto name = path_of(command);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name.empty() ? "tagwire" : "tagwire-" + name;
}

std::string manual_page(const CLI::App& command)
{
    const auto name = page_name(command);
    const auto footer = footer_of(command);
    auto summary = command.get_description();
    if (summary.ends_with('.')) summary.pop_back();
    const auto* const parent = command.get_parent();
    return fmt::format(".TH {} 1 \"\" \"tagwire {}\" \"tagwire\"\n", escaped(name), TAGWIRE_TOOL_VERSION) +
           section("NAME", fmt::format("{} \\- {}\n", escaped(name), escaped(summary))) +
           section("SYNOPSIS", synopsis(command) + '\n') + section("DESCRIPTION", paragraphs(footer.text)) +
           commands_section(command) + options_section(command) + examples_section(footer.examples) +
           (parent == nullptr
                ? ""
                : section("SEE ALSO", fmt::format("\\fB{}\\fR(1)\n", escaped(page_name(*parent)))));
}

}  // namespace tagwire::tool
