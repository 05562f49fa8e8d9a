// What a reader says of itself.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include <tagwirexx/api.hpp>
#include <tagwirexx/read.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

struct Version {
    std::uint8_t major = 0;
    std::uint8_t minor = 0;

    friend constexpr auto operator<=>(const Version&, const Version&) = default;
    friend std::ostream& operator<<(std::ostream& out, Version version)
    {
        return out << int{version.major} << '.' << int{version.minor};
    }
};

// A frequency band: its channels lie `spacing` apart, the first one, number 0, at `first`.
struct Band {
    int number = 0;
    std::string_view name = {};
    Kilohertz first = {};
    Kilohertz spacing = {};
    unsigned channels = 0;
};
// us, eu, cn, kr, wide, in small letters or not; null for others.
TAGWIREXX_API const Band* find_band(std::string_view name);
TAGWIREXX_API const Band* find_band(int number);

// The channels that a reader hops over.
struct Region {
    static constexpr int custom = 0xFF;  // the number of a plan of one's own

    int band = custom;
    std::string_view name = {};  // of the band; "custom"; empty for a band that is not known here
    unsigned lowest = 0;         // channels of the band; of a plan of one's own counted from 0
    unsigned highest = 0;
    std::optional<Kilohertz> from = {};  // their frequencies; none for a band that is not known here
    std::optional<Kilohertz> to = {};
};

struct ReaderInfo {
    int address = 0;  // on the bus
    Version firmware = {};
    int type = 0;
    int protocols = 0;   // the reader's own coding
    Region region = {};  // as far as two bytes tell
    Dbm power = {};
    std::chrono::milliseconds scan_time = {};  // of an inventory that names none; 0: no limit
    std::uint8_t antenna_byte = 0;
    bool beeps = false;                     // with every tag
    int output_report = 0;                  // the reader's own coding
    bool checks_antennas = false;           // before an inventory
    std::array<std::uint8_t, 12> raw = {};  // the answer as it came: version to antenna check
};

// What the radio module of a reader says of itself; numbers are in its own coding.
struct ModuleInfo {
    Version version = {};
    int type = 0;
    int protocols = 0;
};

// What came over a Reader's link since it was opened.
struct LinkCounters {
    std::uint64_t bytes = 0;
    std::uint64_t frames = 0;         // whole and undamaged
    std::uint64_t bad_crc = 0;        // damaged, or noise that looked like a frame
    std::uint64_t skipped_bytes = 0;  // that are in no frame
};

}  // namespace v1
}  // namespace tagwire
