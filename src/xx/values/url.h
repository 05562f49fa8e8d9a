// Where a reader is, as people write it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

struct Url {
    bool serial = false;
    std::string host = {};  // of TCP: a name or an IPv4 address
    std::uint16_t port = 6000;
    std::string device = {};      // of a serial line; empty: whichever has a reader
    std::uint32_t speed = 57600;  // bit/s
    std::uint8_t address = 0xFF;  // on the bus; 0xFF: whoever is there
    std::optional<AntennaByte> antenna_byte = {};
    std::string text = {};  // as it was written
};

// tcp://HOST[:PORT] or serial:/dev/DEVICE or serial:auto, behind it ?KEY=VALUE[&KEY=VALUE...] with the keys
// address, antenna_byte and, of a serial line, baud. Throws Error.
Url parse_url(std::string_view text);

// The reader's number of a speed that parse_url() let pass.
std::uint8_t baud_index(std::uint32_t speed);
// The other way round.
std::uint32_t speed_of(std::uint8_t baud_index);

}  // namespace v1
}  // namespace tagwire
