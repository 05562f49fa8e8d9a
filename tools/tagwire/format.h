// Tags and readers as text for people and as JSON for programs.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tag_table.h"

namespace tagwire::tool {

// Keeps the keys of an object in the order in which they were set.
using Json = nlohmann::ordered_json;

std::string json_line(const Json& object);

// The ID, or a dash where a tag has none.
inline std::string_view shown_id(std::string_view id) { return id.empty() ? "-" : id; }

std::string tag_line(const TagRow& row);
Json tag_json(const TagRow& row, const std::string& id_key = "epc");

std::string report_line(const Read& report);
Json report_json(const Read& report);

// Where and how loud, as in the lines of tags and reports: "E280...  antenna 1  rssi 200".
std::string reading_text(const Read& read);
// The same as fields: id_key, tid, antenna, antenna_byte, rssi.
void add_reading(Json& object, const Read& read, const std::string& id_key = "epc");

// "3 tags, 120 reads in 2.0 s"
std::string summary_text(const TagTable& table, std::chrono::duration<double> elapsed);

// Local time of day, HH:MM:SS.
std::string clock_text(std::chrono::system_clock::time_point at);

// UTC, 2024-05-31T10:15:00.123Z.
std::string timestamp_text(std::chrono::system_clock::time_point at);

}  // namespace tagwire::tool
