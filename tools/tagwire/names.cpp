#include "names.h"

#include "parse.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "errors.h"

namespace tagwire::tool {

std::uint8_t parse_name(std::string_view text, std::string_view what, const NameSet& set)
{
    const auto found = std::find_if(set.names.begin(), set.names.end(),
                                    [text](const Name& candidate) { return candidate.name == text; });
    if (found != set.names.end()) return found->number;
    if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0)
        return static_cast<std::uint8_t>(parse_number(text, what, 0, set.highest));
    throw UsageError(fmt::format("{} '{}' is unknown: use {}", what, text, choices_text(set)));
}

std::string choices_text(const NameSet& set)
{
    std::string text;
    for (const auto& name : set.names) text += fmt::format("{}{}", text.empty() ? "" : ", ", name.name);
    return fmt::format("{} or a number from 0 to {}", text, set.highest);
}

std::string name_text(std::uint8_t number, const NameSet& set)
{
    for (const auto& name : set.names) {
        if (name.number == number) return std::string(name.name);
    }
    return std::to_string(number);
}

}  // namespace tagwire::tool
