#include "write_report.h"

#include <algorithm>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::size_t most_differences_shown = 16;

std::string plural(std::uint32_t count, std::string_view unit)
{
    return fmt::format("{} {}{}", count, unit, count == 1 ? "" : "s");
}

void add_line(std::vector<std::string>& lines, std::string_view label, std::string_view unit,
              const std::vector<Run>& runs)
{
    lines.push_back(runs.empty() ? fmt::format("{}: nothing", label)
                                 : fmt::format("{}: {}s {}", label, unit, runs_text(runs)));
}

Json runs_json(const std::vector<Run>& runs)
{
    auto list = Json::array();
    for (const auto& run : runs) list.push_back({{"first", run.first}, {"count", run.count}});
    return list;
}

Json differences_json(const std::vector<Difference>& differences, std::string_view unit)
{
    auto list = Json::array();
    for (const auto& difference : differences) {
        list.push_back({{std::string(unit), difference.unit},
                        {"expected", hex_text(difference.expected)},
                        {"found", hex_text(difference.found)}});
    }
    return list;
}

}  // namespace

std::string runs_text(const std::vector<Run>& runs)
{
    std::string text;
    for (const auto& run : runs) {
        if (!text.empty()) text += ", ";
        text += std::to_string(run.first);
        if (run.count > 1) text += fmt::format("-{}", run.first + run.count - 1);
    }
    return text;
}

std::vector<std::string> write_report_lines(const WriteReport& report, std::string_view unit,
                                            std::string_view place)
{
    if (report.is_complete()) {
        return {fmt::format("{} of {} written ({}){}", plural(report.run.count, unit), place,
                            runs_text({report.run}), report.verified ? " and read back" : "")};
    }
    std::vector<std::string> lines;
    add_line(lines, "written", unit, report.runs(UnitState::Written));
    add_line(lines, "not written", unit, report.runs(UnitState::NotWritten));
    const auto unknown = report.runs(UnitState::Unknown);
    if (!unknown.empty()) add_line(lines, "not known", unit, unknown);
    const auto shown = std::min(report.differences.size(), most_differences_shown);
    for (std::size_t i = 0; i < shown; ++i) {
        const auto& difference = report.differences[i];
        lines.push_back(fmt::format("{} {} holds {} instead of {}", unit, difference.unit,
                                    hex_text(difference.found), hex_text(difference.expected)));
    }
    if (shown < report.differences.size())
        lines.push_back(fmt::format("and {} more", report.differences.size() - shown));
    return lines;
}

void add_write_report(Json& object, const WriteReport& report, std::string_view unit)
{
    object[fmt::format("first_{}", unit)] = report.run.first;
    object["count"] = report.run.count;
    object["complete"] = report.is_complete();
    object["verified"] = report.verified;
    object["written"] = runs_json(report.runs(UnitState::Written));
    object["not_written"] = runs_json(report.runs(UnitState::NotWritten));
    object["unknown"] = runs_json(report.runs(UnitState::Unknown));
    if (!report.differences.empty()) object["differences"] = differences_json(report.differences, unit);
}

}  // namespace tagwire::tool
