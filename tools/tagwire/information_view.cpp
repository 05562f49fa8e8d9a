#include "information_view.h"

#include <string_view>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr int ms_per_scan_time_unit = 100;

std::string version_text(const std::array<std::uint8_t, 2>& version)
{
    return fmt::format("{}.{}", version[0], version[1]);
}

std::string named(std::string_view name, std::string_view value)
{
    return fmt::format("{:<17}{}", name, value);
}

std::string named_byte(std::string_view name, std::uint8_t value)
{
    return named(name, fmt::format("0x{:02X}", value));
}

void add_module_lines(std::vector<std::string>& lines, const InformationReport& report)
{
    if (!report.module) {
        lines.push_back(named("module", fmt::format("no details ({})", report.module_code)));
        return;
    }
    lines.push_back(named("module version", version_text(report.module->version)));
    lines.push_back(named_byte("module type", report.module->type));
    lines.push_back(named_byte("module protocols", report.module->protocols));
}

Json module_json(const ModuleDetails& module)
{
    Json object;
    object["version"] = version_text(module.version);
    object["type"] = module.type;
    object["protocols"] = module.protocols;
    return object;
}

}  // namespace

std::vector<std::string> information_lines(const InformationReport& report)
{
    const auto& info = report.information;
    std::vector<std::string> lines{
        named("reader", report.reader),
        named_byte("address", info.address),
        named("firmware", version_text(info.version)),
        named_byte("type", info.type),
        named_byte("air protocols", info.protocols),
        named_byte("max frequency", info.max_frequency),
        named_byte("min frequency", info.min_frequency),
        named("power", fmt::format("{} dBm", info.power_dbm)),
        named("scan time", fmt::format("{} ms", info.scan_time * ms_per_scan_time_unit)),
        named_byte("antenna", info.antenna),
        named_byte("beeper", info.beep),
        named_byte("output report", info.output_report),
        named_byte("antenna check", info.antenna_check),
    };
    add_module_lines(lines, report);
    return lines;
}

Json information_json(const InformationReport& report)
{
    const auto& info = report.information;
    Json object;
    object["type"] = "reader";
    object["reader"] = report.reader;
    object["address"] = info.address;
    object["firmware"] = version_text(info.version);
    object["reader_type"] = info.type;
    object["protocols"] = info.protocols;
    object["max_frequency"] = info.max_frequency;
    object["min_frequency"] = info.min_frequency;
    object["power_dbm"] = info.power_dbm;
    object["scan_time_ms"] = info.scan_time * ms_per_scan_time_unit;
    object["antenna"] = info.antenna;
    object["beep"] = info.beep;
    object["output_report"] = info.output_report;
    object["antenna_check"] = info.antenna_check;
    if (report.module) {
        object["module"] = module_json(*report.module);
        return object;
    }
    object["module"] = nullptr;
    object["module_error"] = report.module_error;
    object["module_code"] = report.module_code;
    return object;
}

}  // namespace tagwire::tool
