// The values of command line options. Every function throws UsageError with a message that names the valid
// values.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tagwire::tool {

// Decimal, or hexadecimal after 0x; `what` names the value in the message.
std::uint32_t parse_number(std::string_view text, std::string_view what, std::uint32_t lowest,
                           std::uint32_t highest);

// Hexadecimal digits in whole units of so many bytes, "words" of 2, "bytes" of 1, and one unit at least; with blanks
// and 0x in front of groups of them.
std::vector<std::uint8_t> parse_units(std::string_view text, std::string_view what, std::size_t unit_bytes);

std::vector<std::uint8_t> parse_exactly(std::string_view text, std::string_view what, std::size_t bytes);

// The same as a value of an option.
inline auto exactly(std::size_t bytes)
{
    return [bytes](const std::string& text, const std::string& name) {
        return parse_exactly(text, name, bytes);
    };
}

// Seconds with an optional fraction, more than none.
std::chrono::milliseconds parse_seconds(std::string_view text, std::string_view what = "--seconds");

// Milliseconds, rounded up to the reader's units of 100 ms.
std::uint8_t parse_scan_time(std::string_view text);

// The parts of BANK:BITADDR:HEX[/BITS], for example epc:32:E280/16.
struct MaskParts {
    std::string bank;
    std::uint16_t bit_address = 0;
    std::uint8_t bits = 0;
    std::vector<std::uint8_t> data;  // as many bytes as the bits need, the unused bits of the last one zero
};

MaskParts parse_mask(std::string_view text);

struct WordRange {
    std::uint8_t first = 0;
    std::uint8_t count = 6;
};

// Ports counted from 1, as 1,3 or 1-4, as bits: bit 0 is port 1.
std::uint64_t parse_ports(std::string_view text, std::string_view what, std::uint32_t highest);

// ADR:WORDS, for example 0:6.
WordRange parse_tid_range(std::string_view text);

}  // namespace tagwire::tool
