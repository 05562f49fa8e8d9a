// Colours of a terminal.
#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

#include "output.h"

namespace tagwire::tool {

enum class Style { plain, bold, faint, good, warning, bad };

// Never where NO_COLOR is set, or the terminal knows none.
inline bool has_colours(const Output& out)
{
    const auto* const refused = std::getenv("NO_COLOR");
    const auto* const terminal = std::getenv("TERM");
    return out.is_terminal() && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

inline std::string styled(std::string_view text, Style style)
{
    constexpr const char* codes[] = {"", "1", "2", "32", "33", "31"};
    if (style == Style::plain || text.empty()) return std::string(text);
    return std::string("\x1b[") + codes[static_cast<int>(style)] + 'm' + std::string(text) + "\x1b[m";
}

}  // namespace tagwire::tool
