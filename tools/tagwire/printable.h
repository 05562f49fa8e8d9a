// Text from outside, on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace tagwire::tool {

// Control characters, which could steer a terminal, as \xNN.
std::string printable_text(std::string_view text);

}  // namespace tagwire::tool
