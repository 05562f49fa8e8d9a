#include "sensors/temperature_table.h"

#include <algorithm>

#include <fmt/format.h>

#include "format.h"

namespace tagwire::tool {

namespace {

std::string cell(const std::optional<double>& celsius)
{
    return celsius ? fmt::format("{:.2f}", *celsius) : "-";
}

std::string row_text(const TemperatureTable::Row& row, std::size_t epc_width,
                     std::chrono::steady_clock::time_point now)
{
    const auto& latest = row.latest;
    const std::chrono::duration<double> age = now - latest.received.steady;
    return fmt::format("{:<{}}  {:>8}  {:>8}  {:>8}  {:>7}  {:>6.1f}", shown_id(latest.epc.to_string()),
                       epc_width, cell(latest.celsius), cell(row.lowest), cell(row.highest), row.reads,
                       age.count());
}

std::size_t epc_width_of(const std::vector<TemperatureTable::Row>& rows)
{
    std::size_t width = 3;
    for (const auto& row : rows) width = std::max(width, 2 * row.latest.epc.bytes().size());
    return width;
}

}  // namespace

void TemperatureTable::add(const Temperature& measured)
{
    const auto [place, is_new] = places_.try_emplace({measured.epc, measured.tid}, rows_.size());
    if (is_new) rows_.emplace_back();
    auto& row = rows_[place->second];
    row.latest = measured;
    ++row.reads;
    ++reads_;
    const auto celsius = measured.celsius;
    if (!celsius) return;
    row.lowest = std::min(row.lowest.value_or(*celsius), *celsius);
    row.highest = std::max(row.highest.value_or(*celsius), *celsius);
}

std::vector<std::string> render_temperatures(const TemperatureTable& table, TerminalSize size,
                                             std::chrono::steady_clock::time_point now)
{
    const auto width = epc_width_of(table.rows());
    std::vector<std::string> lines;
    lines.push_back(fmt::format("{} tags, {} readings", table.rows().size(), table.reads()));
    lines.push_back(fmt::format("{:<{}}  {:>8}  {:>8}  {:>8}  {:>7}  {:>6}", "EPC", width, "C", "lowest",
                                "highest", "reads", "s ago"));
    for (const auto& row : table.rows()) lines.push_back(row_text(row, width, now));
    lines.resize(std::min(lines.size(), size.rows - std::min<std::size_t>(size.rows, 1)));
    for (auto& line : lines) line.resize(std::min(line.size(), size.columns));
    return lines;
}

}  // namespace tagwire::tool
