#include "sensor_table.h"

#include <algorithm>

#include <fmt/format.h>

#include "format.h"

namespace tagwire::tool {

namespace {

std::string cell(const std::optional<double>& celsius)
{
    return celsius ? fmt::format("{:.2f}", *celsius) : "-";
}

std::string row_text(const TemperatureTable::Row& row, std::size_t epc_width, const Moment& now)
{
    const auto age = std::chrono::duration<double>(now.steady - row.last.steady).count();
    return fmt::format("{:<{}}  {:>8}  {:>8}  {:>8}  {:>7}  {:>6.1f}", shown_id(row.latest.epc), epc_width,
                       cell(row.latest.temperature.celsius), cell(row.lowest), cell(row.highest), row.reads,
                       age);
}

std::size_t epc_width_of(const std::vector<TemperatureTable::Row>& rows)
{
    std::size_t width = 3;
    for (const auto& row : rows) width = std::max(width, row.latest.epc.size());
    return width;
}

}  // namespace

void TemperatureTable::add(const TemperatureRecord& record, const Moment& at)
{
    const auto [found, is_new] = row_of_epc_.try_emplace(record.epc, rows_.size());
    if (is_new) rows_.emplace_back();
    auto& row = rows_[found->second];
    row.latest = record;
    row.last = at;
    ++row.reads;
    ++reads_;
    const auto celsius = record.temperature.celsius;
    if (!celsius) return;
    row.lowest = std::min(row.lowest.value_or(*celsius), *celsius);
    row.highest = std::max(row.highest.value_or(*celsius), *celsius);
}

std::vector<std::string> render_temperatures(const TemperatureTable& table, TerminalSize size,
                                             const Moment& now)
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
