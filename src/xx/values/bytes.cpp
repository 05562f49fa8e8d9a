#include <tagwirexx/bytes.hpp>
#include <tagwirexx/error.hpp>
#include <tagwirexx/identifier.hpp>

#include "link/hex.h"

namespace tagwire {
inline namespace v1 {
namespace {

int digit_of(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool separates(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ':' || c == '-'; }

[[noreturn]] void refuse(std::string_view text, const std::string& why)
{
    throw Error(Errc::invalid_text, "hexadecimal", {},
                '"' + std::string(text) + "\" " + why + ": two digits a byte, like E2801160");
}

}  // namespace

std::string to_hex(std::span<const std::uint8_t> bytes)
{
    std::string text(2 * bytes.size(), '\0');
    engine::write_hex(text.data(), bytes.data(), bytes.size());
    return text;
}

Bytes from_hex(std::string_view text)
{
    std::string_view digits = text;
    while (!digits.empty() && separates(digits.front())) digits.remove_prefix(1);
    if (digits.starts_with("0x") || digits.starts_with("0X")) digits.remove_prefix(2);
    Bytes bytes;
    int high = -1;
    for (const char c : digits) {
        if (separates(c)) continue;
        const int digit = digit_of(c);
        if (digit < 0) refuse(text, std::string("has '") + c + "', which is no hexadecimal digit");
        if (high >= 0) bytes.push_back(static_cast<std::uint8_t>(high << 4 | digit));
        high = high >= 0 ? -1 : digit;
    }
    if (high >= 0) refuse(text, "ends with half a byte");
    return bytes;
}

void detail::refuse_identifier(std::size_t bytes, std::size_t longest)
{
    throw Error(Errc::invalid_text, "identifier", {},
                std::to_string(bytes) + " bytes are too many: an identifier has at most " +
                    std::to_string(longest));
}

}  // namespace v1
}  // namespace tagwire
