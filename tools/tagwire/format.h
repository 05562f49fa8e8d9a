// Tags and readers as text for people and as JSON for programs.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "records.h"
#include "tag_table.h"

namespace tagwire::tool {

// Keeps the keys of an object in the order in which they were set.
using Json = nlohmann::ordered_json;

std::string json_line(const Json& object);

// The ID, or a dash where a tag has none.
std::string_view shown_id(std::string_view id);

std::string tag_line(const TagRow& row);
Json tag_json(const TagRow& row, const std::string& id_key = "epc");

std::string report_line(const Report& report);
Json report_json(const Report& report);

// "3 tags, 120 reads in 2.0 s"
std::string summary_text(const TagTable& table, std::chrono::duration<double> elapsed);

// Local time of day, HH:MM:SS.
std::string clock_text(std::chrono::system_clock::time_point at);

// UTC, 2024-05-31T10:15:00.123Z.
std::string timestamp_text(std::chrono::system_clock::time_point at);

}  // namespace tagwire::tool
