#include "format.h"

#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <tagwirexx/bytes.hpp>

namespace tagwire::tool {

namespace {

std::string_view plural(std::uint64_t count) { return count == 1 ? "" : "s"; }

std::string phase_text(const Read& read)
{
    if (!read.phase || !read.frequency) return "";
    return fmt::format("  phase {} {}  {} kHz", read.phase->begin, read.phase->end, read.frequency->value);
}

void add_phase(Json& object, const Read& read)
{
    if (!read.phase || !read.frequency) return;
    object["phase_begin"] = read.phase->begin;
    object["phase_end"] = read.phase->end;
    object["frequency_khz"] = read.frequency->value;
}

// Memory words that were asked for; the TID is told as such.
std::optional<std::string> data_of(const Read& read)
{
    if (!read.data || read.tid) return std::nullopt;
    return to_hex(*read.data);
}

}  // namespace

std::string json_line(const Json& object)
{
    // A device path may hold any bytes; what is not UTF-8 is replaced.
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string reading_text(const Read& read)
{
    const int port = read.port.number();
    return fmt::format("{}{}  antenna {}  rssi {}", shown_id(id_of(read)),
                       read.tid ? "  tid " + read.tid->to_string() : "",
                       port > 0 ? fmt::to_string(port) : "?", read.rssi);
}

void add_reading(Json& object, const Read& read, const std::string& id_key)
{
    object[id_key] = id_of(read);
    if (read.tid) object["tid"] = read.tid->to_string();
    object["antenna"] = read.port.number();
    object["antenna_byte"] = read.antenna_byte;
    object["rssi"] = read.rssi;
}

std::string tag_line(const TagRow& row)
{
    const auto data = data_of(row.latest);
    return fmt::format("{}  reads {}{}{}", reading_text(row.latest), row.reads, phase_text(row.latest),
                       data ? "  data " + *data : "");
}

Json tag_json(const TagRow& row, const std::string& id_key)
{
    Json object{{"type", "tag"}};
    add_reading(object, row.latest, id_key);
    object["reads"] = row.reads;
    object["first_seen"] = timestamp_text(row.first.wall);
    object["last_seen"] = timestamp_text(row.latest.received.wall);
    add_phase(object, row.latest);
    if (const auto data = data_of(row.latest)) object["data"] = *data;
    return object;
}

std::string report_line(const Read& report)
{
    return fmt::format("{}  {}{}", timestamp_text(report.received.wall), reading_text(report),
                       phase_text(report));
}

Json report_json(const Read& report)
{
    Json object{{"type", "report"}, {"time", timestamp_text(report.received.wall)}};
    add_reading(object, report);
    add_phase(object, report);
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
