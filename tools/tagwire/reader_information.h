// Asks a reader who it is.
#pragma once

#include <array>
#include <cstdint>

#include "connection.h"

namespace tagwire::tool {

struct ReaderInformation {
    std::uint8_t address = 0;
    std::array<std::uint8_t, 2> version{};
    std::uint8_t type = 0;
    std::uint8_t protocols = 0;
    std::uint8_t max_frequency = 0;
    std::uint8_t min_frequency = 0;
    std::uint8_t power_dbm = 0;
    std::uint8_t scan_time = 0;  // units of 100 ms
    std::uint8_t antenna = 0;
    std::uint8_t beep = 0;
    std::uint8_t output_report = 0;
    std::uint8_t antenna_check = 0;
};

// Throws Failure.
ReaderInformation read_information(const ReaderConnection& reader);

}  // namespace tagwire::tool
