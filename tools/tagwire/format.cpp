#include "format.h"

#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace tagwire::tool {

namespace {

std::string_view plural(std::uint64_t count) { return count == 1 ? "" : "s"; }

std::string reading_text(const TagRecord& tag)
{
    const auto port = !tag.port       ? std::to_string(tag.antenna)
                      : *tag.port > 0 ? std::to_string(*tag.port)
                                      : "?";
    return fmt::format("{}{}  antenna {}  rssi {}", shown_id(tag.id), tag.tid ? "  tid " + *tag.tid : "",
                       port, tag.rssi);
}

std::string phase_text(const TagRecord& tag)
{
    if (!tag.phase) return "";
    return fmt::format("  phase {} {}  {} kHz", tag.phase->begin, tag.phase->end, tag.phase->frequency_khz);
}

void add_phase(Json& object, const TagRecord& tag)
{
    if (!tag.phase) return;
    object["phase_begin"] = tag.phase->begin;
    object["phase_end"] = tag.phase->end;
    object["frequency_khz"] = tag.phase->frequency_khz;
}

}  // namespace

std::string json_line(const Json& object)
{
    // A device path may hold any bytes; what is not UTF-8 is replaced.
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string_view shown_id(std::string_view id) { return id.empty() ? "-" : id; }

std::string tag_line(const TagRow& row)
{
    const auto& tag = row.latest;
    return fmt::format("{}  reads {}{}{}", reading_text(tag), row.reads, phase_text(tag),
                       tag.data ? "  data " + *tag.data : "");
}

Json tag_json(const TagRow& row, const std::string& id_key)
{
    Json object;
    object["type"] = "tag";
    object[id_key] = row.latest.id;
    if (row.latest.tid) object["tid"] = *row.latest.tid;
    object["antenna"] = row.latest.port.value_or(row.latest.antenna);
    if (row.latest.port) object["antenna_byte"] = row.latest.antenna;
    object["rssi"] = row.latest.rssi;
    object["reads"] = row.reads;
    object["first_seen"] = timestamp_text(row.first.wall);
    object["last_seen"] = timestamp_text(row.last.wall);
    add_phase(object, row.latest);
    if (row.latest.data) object["data"] = *row.latest.data;
    return object;
}

std::string report_line(const Report& report)
{
    return fmt::format("{}  {}{}", timestamp_text(report.at.wall), reading_text(report.tag),
                       phase_text(report.tag));
}

Json report_json(const Report& report)
{
    Json object;
    object["type"] = "report";
    object["time"] = timestamp_text(report.at.wall);
    object["epc"] = report.tag.id;
    object["antenna"] = report.tag.antenna;
    object["rssi"] = report.tag.rssi;
    add_phase(object, report.tag);
    return object;
}

std::string summary_text(const TagTable& table, std::chrono::duration<double> elapsed)
{
    const auto tags = table.rows().size();
    const auto reads = table.reads();
    return fmt::format("{}{} tag{}, {} read{} in {:.1f} s",
                       table.reads_without_row() == 0 ? "" : "more than ", tags, plural(tags), reads,
                       plural(reads), elapsed.count());
}

std::string clock_text(std::chrono::system_clock::time_point at)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(at);
    std::tm fields{};
    localtime_r(&seconds, &fields);
    return fmt::format("{:%H:%M:%S}", fields);
}

std::string timestamp_text(std::chrono::system_clock::time_point at)
{
    const auto whole = std::chrono::floor<std::chrono::seconds>(at);
    const auto fraction = std::chrono::duration_cast<std::chrono::milliseconds>(at - whole);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fields, fraction.count());
}

}  // namespace tagwire::tool
