// Values of the reader's settings: the bytes that the commands carry, and the text that people write.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "bytes.h"
#include "names.h"

namespace tagwire::tool {

struct ValueFormat {
    // What may be given, as in "0 to 255"; empty where nothing may be.
    std::string range;
    std::string_view unit;
    // Whether the text is a decimal number.
    bool is_number = false;
    std::function<std::string(const Bytes&)> show;
    // Throws UsageError; none where nothing may be given.
    std::function<Bytes(std::string_view text, std::string_view what)> parse;
    // The reader's bytes without what has no meaning; none leaves them as they are.
    std::function<Bytes(const Bytes&)> normal;
    // Whether a reader that was given the first may show the second; none where they must be equal.
    std::function<bool(const Bytes& given, const Bytes& shown)> agrees;

    Bytes normalised(const Bytes& raw) const { return normal ? normal(raw) : raw; }
    bool is_same(const Bytes& given, const Bytes& shown) const
    {
        return agrees ? agrees(given, shown) : given == shown;
    }
    // The text with its unit.
    std::string shown(const Bytes& value) const;
};

ValueFormat number_format(unsigned lowest = 0, unsigned highest = 255);
// A number that the reader counts in units of `scale`.
ValueFormat scaled_format(std::string_view unit, unsigned scale, unsigned highest = 255);
// A byte that only the reader knows the meaning of.
ValueFormat code_format(unsigned highest = 255);
ValueFormat named_format(const NameSet& names);
// So many bytes as hexadecimal digits.
ValueFormat hex_format(std::size_t fewest, std::size_t most);
// So many numbers of a byte each, separated by commas.
ValueFormat list_format(std::size_t fewest, std::size_t most, std::string_view unit = {});
// The output power of every antenna; a single value is for all of them.
ValueFormat powers_format();
// Antenna ports as 8 bytes of bits.
ValueFormat ports_format();
// A mask as its commands have it: bank, address, count of bits, bits.
ValueFormat mask_format();
// A band with its channels in 3 bytes, or a plan of one's own in 6.
ValueFormat region_format();
ValueFormat clock_format();
ValueFormat speed_format();

// What can be shown only.
ValueFormat shown_code();
ValueFormat shown_bytes();
ValueFormat shown_version();
ValueFormat shown_text();
ValueFormat shown_temperature();

}  // namespace tagwire::tool
