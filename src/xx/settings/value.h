// Values of settings: the bytes that commands carry, and the text that people write.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "xx/values/ranges.h"

#include <tagwirexx/bytes.hpp>

namespace tagwire {
inline namespace v1 {
namespace rows {

struct Word {
    std::string_view text;
    int value;
};

struct Format {
    enum class Shape : std::uint8_t {
        number,   // a byte, counted in units of `scale`; `words` are for values of their own
        code,     // a byte that only the reader knows the meaning of
        hex,      // `range` is how many bytes
        list,     // of numbers: `range` is how many
        powers,   // of each port; one is for all
        ports,    // 8 bytes of bits, the last one for ports 1 to 8
        mask,     // bank, first bit, count of bits, bits
        region,   // as ask_region() has it
        clock,    // year of the century to second
        version,  // these two and the next are shown only
        characters,
        degrees,  // a sign, 0 for minus, and degrees
    };

    Shape shape = Shape::number;
    Range range = ranges::code;
    int scale = 1;
    std::string_view unit = {};
    std::span<const Word> words = {};
};

// What may be given, for people.
std::string range_of(const Format& format);
// Nothing that was read is too odd to be shown.
std::string show(const Format& format, const Bytes& value);

struct Parsed {
    Bytes bytes = {};
    std::string problem = {};  // empty where there is none
};
Parsed parse(const Format& format, std::string_view text);

// What the reader's bytes mean, without those that mean nothing.
Bytes without_rest(const Format& format, Bytes value);
// Whether a reader that was given the first one may show the second.
bool agree(const Format& format, const Bytes& given, const Bytes& shown);

// A number as people write one, 0x in front of hexadecimal digits; nothing for other text.
std::optional<long long> number_in(std::string_view text);

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
