// A reader of two ports with three tags.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "virtual_reader.h"

namespace tagwire::tool::test {

inline constexpr const char* three_tags = R"(
[reader]
address = 7
firmware = "3.12"
module_version = "1.5"
antennas = 2
power = 26
scan_time = 3
report_rate = 200
phase = true
frequency_khz = 866300

[[tag]]
epc = "E28011700000020F00000001"
tid = "E28011602000000100000001"
rssi = 201
antennas = [1]

[[tag]]
epc = "E28011700000020F00000002"
tid = "E28011602000000100000002"
rssi = 150
antennas = [2]

[[tag]]
epc = "3034000040C0000400000003"
tid = "E28011602000000100000003"
rssi = 99
antennas = [2]
)";

inline constexpr const char* first_epc = "E28011700000020F00000001";
inline constexpr const char* second_epc = "E28011700000020F00000002";
inline constexpr const char* third_epc = "3034000040C0000400000003";

inline std::set<std::string> epcs_of(const std::vector<Json>& objects)
{
    std::set<std::string> epcs;
    for (const auto& object : objects) epcs.insert(object["epc"].get<std::string>());
    return epcs;
}

}  // namespace tagwire::tool::test
