#include "network_view.h"

#include "bytes.h"
#include "errors.h"
#include "parse.h"
#include "printable.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace tagwire::tool {

namespace {

constexpr std::size_t record_head = 10;  // all but the SSID
constexpr std::uint8_t group_bit = 0x01;
constexpr std::size_t longest_server = 248;

int signed_byte(std::uint8_t byte) { return byte < 0x80 ? byte : byte - 0x100; }

std::string ip_text(const Ipv4& address) { return fmt::format("{}", fmt::join(address, ".")); }

std::string named(std::string_view name, std::string_view value)
{
    return fmt::format("{:<15}{}", name, value);
}

// Digits only; anything but pairs with the same character between them makes it empty.
std::string mac_digits(std::string_view text)
{
    const auto is_separator = [](char character) { return character == ':' || character == '-'; };
    if (text.size() == 12) return std::string(text);
    if (text.size() != 17 || !is_separator(text[2])) return {};
    std::string digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 3 != 2) digits += text[i];
        if (i % 3 == 2 && text[i] != text[2]) return {};
    }
    return digits;
}

bool are_hex_digits(std::string_view text)
{
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char character) { return std::isxdigit(character) != 0; });
}

std::string link_text(const LinkReport& link)
{
    const auto state = link.state == 0   ? std::string("down")
                       : link.state == 1 ? std::string("up")
                                         : fmt::format("state {}", link.state);
    return fmt::format("{}  address {}  mask {}  gateway {}", state, ip_text(link.address),
                       ip_text(link.mask), ip_text(link.gateway));
}

std::string not_told(int code) { return fmt::format("not told ({})", code); }

Json link_json(const LinkReport& link)
{
    Json object;
    object["state"] = link.state;
    object["address"] = ip_text(link.address);
    object["mask"] = ip_text(link.mask);
    object["gateway"] = ip_text(link.gateway);
    return object;
}

Json interface_json(const InterfaceReport& interface)
{
    Json object;
    object["mac"] = interface.mac.code == 0 ? Json(mac_text(interface.mac.value)) : Json(nullptr);
    if (interface.mac.code != 0) object["mac_code"] = interface.mac.code;
    if (!interface.link) return object;
    object["link"] = interface.link->code == 0 ? link_json(interface.link->value) : Json(nullptr);
    if (interface.link->code != 0) object["link_code"] = interface.link->code;
    return object;
}

}  // namespace

std::string mac_text(const Mac& mac) { return fmt::format("{:02X}", fmt::join(mac, ":")); }

Mac parse_mac(std::string_view text)
{
    const auto digits = mac_digits(text);
    if (digits.empty() || !are_hex_digits(digits)) {
        throw UsageError(
            fmt::format("MAC address '{}' is not valid: use six pairs of digits, 02:00:00:00:00:01", text));
    }
    const auto bytes = parse_hex(digits, "MAC address");
    Mac mac{};
    std::copy(bytes.begin(), bytes.end(), mac.begin());
    if ((mac[0] & group_bit) != 0 || mac == Mac{}) {
        throw UsageError(fmt::format(
            "MAC address '{}' belongs to no interface: the first pair is even, and not all are 0", text));
    }
    return mac;
}

std::optional<std::vector<AccessPoint>> decode_access_points(std::span<const std::uint8_t> records, int count)
{
    std::vector<AccessPoint> points;
    while (!records.empty()) {
        if (records.size() < record_head || records.size() < record_head + records[record_head - 1])
            return std::nullopt;
        AccessPoint point;
        std::copy_n(records.begin(), point.bssid.size(), point.bssid.begin());
        point.rssi_dbm = signed_byte(records[6]);
        point.channel = records[7];
        point.security = records[8];
        const auto ssid = records.subspan(record_head, records[record_head - 1]);
        point.ssid.assign(ssid.begin(), ssid.end());
        points.push_back(std::move(point));
        records = records.subspan(record_head + ssid.size());
    }
    if (points.size() != static_cast<std::size_t>(std::max(count, 0))) return std::nullopt;
    std::stable_sort(points.begin(), points.end(),
                     [](const auto& left, const auto& right) { return left.rssi_dbm > right.rssi_dbm; });
    return points;
}

std::string access_point_line(const AccessPoint& point)
{
    return fmt::format("{}  {:4} dBm  channel {:3}  security {:3}  {}", mac_text(point.bssid), point.rssi_dbm,
                       point.channel, point.security, shown_id(printable_text(point.ssid)));
}

Json access_point_json(const AccessPoint& point)
{
    Json object;
    object["type"] = "access_point";
    object["ssid"] = point.ssid;
    object["bssid"] = mac_text(point.bssid);
    object["rssi_dbm"] = point.rssi_dbm;
    object["channel"] = point.channel;
    object["security"] = point.security;
    return object;
}

std::vector<std::string> network_lines(const NetworkReport& report)
{
    std::vector<std::string> lines;
    for (const auto& [name, key, mac, link] : report) {
        lines.push_back(
            named(fmt::format("{} MAC", name), mac.code == 0 ? mac_text(mac.value) : not_told(mac.code)));
        if (!link) continue;
        lines.push_back(named(fmt::format("{} link", name),
                              link->code == 0 ? link_text(link->value) : not_told(link->code)));
    }
    return lines;
}

Json network_json(const NetworkReport& report)
{
    Json object;
    object["type"] = "network";
    for (const auto& interface : report) object[std::string(interface.key)] = interface_json(interface);
    return object;
}

std::optional<int> failure_of(const NetworkReport& report)
{
    std::optional<int> failure;
    for (const auto& [name, key, mac, link] : report) {
        if (mac.code == 0 || (link && link->code == 0)) return std::nullopt;
        failure = failure.value_or(mac.code);
    }
    return failure;
}

std::string modem_text(const ModemReport& report)
{
    const std::array lines{named("state", std::to_string(report.state)),
                           named("signal", std::to_string(report.rssi)),
                           named("IMEI", shown_id(printable_text(report.imei))),
                           named("IMSI", shown_id(printable_text(report.imsi))),
                           named("ICCID", shown_id(printable_text(report.iccid)))};
    return fmt::format("{}", fmt::join(lines, "\n"));
}

Json modem_json(const ModemReport& report)
{
    Json object;
    object["type"] = "4g";
    object["state"] = report.state;
    object["rssi"] = report.rssi;
    object["imei"] = report.imei;
    object["imsi"] = report.imsi;
    object["iccid"] = report.iccid;
    return object;
}

RemoteServer parse_server(std::string_view text)
{
    const auto colon = text.rfind(':');
    const auto host = text.substr(0, std::min(colon, text.size()));
    const bool is_host = !host.empty() && std::all_of(host.begin(), host.end(), [](unsigned char character) {
        return std::isgraph(character) != 0;
    });
    if (colon == std::string_view::npos || !is_host)
        throw UsageError(fmt::format("server '{}' is not valid: use HOST:PORT", text));
    if (host.size() > longest_server)
        throw UsageError(fmt::format("the server's name has {} characters: at most {} can be sent",
                                     host.size(), longest_server));
    return {std::string(host),
            static_cast<std::uint16_t>(parse_number(text.substr(colon + 1), "the server's port", 1, 65535))};
}

std::string server_text(const RemoteServer& server)
{
    if (server.host.empty() && server.port == 0) return "no server";
    return fmt::format("{}:{}", printable_text(server.host), server.port);
}

Json server_json(const RemoteServer& server)
{
    Json object;
    object["host"] = server.host;
    object["port"] = server.port;
    return object;
}

}  // namespace tagwire::tool
