#include "printable.h"

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

unsigned char byte_at(std::string_view text, std::size_t at)
{
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

bool is_control(unsigned char byte) { return byte < 0x20 || byte == 0x7F; }

// The upper control characters in UTF-8.
bool is_long_control(std::string_view text, std::size_t at)
{
    const auto second = byte_at(text, at + 1);
    return byte_at(text, at) == 0xC2 && second >= 0x80 && second < 0xA0;
}

}  // namespace

std::string printable_text(std::string_view text)
{
    std::string shown;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = byte_at(text, at);
        if (is_long_control(text, at)) {
            shown += fmt::format("\\x{:02X}\\x{:02X}", byte, byte_at(text, ++at));
        } else if (is_control(byte)) {
            shown += fmt::format("\\x{:02X}", byte);
        } else {
            shown += text[at];
        }
    }
    return shown;
}

}  // namespace tagwire::tool
