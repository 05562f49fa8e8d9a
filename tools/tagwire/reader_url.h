// Where the reader is.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tagwire::tool {

enum class Link { Serial, SerialAuto, Tcp };

inline constexpr std::uint32_t default_baud = 57600;

struct ReaderUrl {
    Link link = Link::Tcp;
    std::string host;  // Tcp
    std::uint16_t port = 0;
    std::string device;  // Serial
    std::uint32_t baud = default_baud;

    // The URL again, in its shortest form.
    std::string text() const;
    // As it reads in a message after "reader": "on /dev/ttyUSB0", "at 192.0.2.10:6000".
    std::string place() const;
};

// tcp://HOST:PORT, serial:/dev/DEVICE[?baud=N] or serial:auto[?baud=N]. Throws UsageError.
ReaderUrl parse_reader_url(std::string_view text);

// Throws UsageError for a speed that no reader has.
std::uint32_t parse_baud(std::string_view text);

// The library's number of a speed that parse_baud let pass.
std::uint8_t baud_index(std::uint32_t baud);

}  // namespace tagwire::tool
