#include "scenario/scenario_services.h"

#include <algorithm>
#include <cmath>

#include "device/clock.h"
#include "device/parameter_tables.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_ssid = 32;
constexpr std::size_t longest_identity = 80;  // so that all three fit an answer
constexpr std::size_t longest_server = 247;
constexpr std::size_t longest_modem_text = 4096;
constexpr std::uint32_t largest_image = 64U << 20U;

Ipv4 parse_ipv4(const Section& section, const toml::node& node, const std::string& key)
{
    const std::string problem = key + " must be an IPv4 address, such as \"192.0.2.20\"";
    std::istringstream text(node.value_or(std::string()));
    Ipv4 address{};
    for (std::size_t i = 0; i < address.size(); ++i) {
        unsigned part = 0;
        char dot = '.';
        if (i > 0) text >> dot;
        text >> part;
        if (text.fail() || dot != '.' || part > 255) section.fail(node, problem);
        address[i] = static_cast<std::uint8_t>(part);
    }
    if (text.peek() != std::istringstream::traits_type::eof()) section.fail(node, problem);
    return address;
}

void read_ipv4(Section& section, const std::string& key, Ipv4& address)
{
    if (const toml::node* node = section.find(key)) address = parse_ipv4(section, *node, key);
}

void read_link(Section& section, const std::string& interface, LinkSettings& link)
{
    section.read_flag(interface + "_up", link.up);
    read_ipv4(section, interface + "_address", link.address);
    read_ipv4(section, interface + "_mask", link.mask);
    read_ipv4(section, interface + "_gateway", link.gateway);
}

void read_network(Section& section, NetworkSettings& network)
{
    static constexpr std::array<const char*, interfaces> names{"ethernet", "wifi", "bluetooth", "ble"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        section.read_fixed_hex(std::string(names[i]) + "_mac", network.macs[i]);
    }
    for (std::size_t i = 0; i < ip_interfaces; ++i) read_link(section, names[i], network.links[i]);
}

void read_access_point(Section& section, std::vector<AccessPoint>& points)
{
    AccessPoint point;
    section.read_text("ssid", point.ssid, longest_ssid);
    section.read_fixed_hex("bssid", point.bssid);
    section.read_integer("rssi", point.rssi, -128, 0);
    section.read_integer("channel", point.channel);
    section.read_integer("security", point.security);
    section.refuse_unknown_keys("[[access_point]]");
    points.push_back(point);
}

void read_degrees(Section& section, std::string_view key, double& degrees, double most)
{
    const toml::node* node = section.find(key);
    if (!node) return;
    const auto number = node->is_number() ? node->value<double>() : std::nullopt;
    if (!number || !(*number >= -most && *number <= most)) {
        section.fail(*node, std::string(key) + " must be degrees from -" + std::to_string(std::lround(most)) +
                                " to " + std::to_string(std::lround(most)));
    }
    degrees = *number;
}

std::optional<ClockTime> clock_time(const toml::node& node)
{
    const auto* moment = node.as_date_time();
    if (!moment) return std::nullopt;
    const toml::date& date = (*moment)->date;
    const toml::time& time = (*moment)->time;
    if (date.year < 2000 || date.year > 2099) return std::nullopt;
    return ClockTime{static_cast<std::uint8_t>(date.year - 2000),
                     date.month,
                     date.day,
                     time.hour,
                     time.minute,
                     time.second};
}

void read_time(Section& section, std::int64_t& seconds)
{
    const toml::node* node = section.find("time");
    if (!node) return;
    const auto shown = clock_time(*node);
    const auto read = shown ? seconds_since_1970(*shown) : std::nullopt;
    if (!read) section.fail(*node, "time must be from 2000 to 2099, such as 2024-05-06T07:08:09Z");
    seconds = *read;
}

void read_gps(Section& section, GpsSettings& gps)
{
    section.read_integer("satellites", gps.satellites);
    section.read_integer("state", gps.state);
    read_degrees(section, "latitude", gps.latitude, 90);
    read_degrees(section, "longitude", gps.longitude, 180);
    read_time(section, gps.time);
}

void read_answers(Section& section, std::map<std::string, std::string>& answers)
{
    const toml::node* node = section.find("answers");
    if (!node) return;
    const toml::table* table = node->as_table();
    if (!table) section.fail(*node, "answers must be a table, such as { \"AT+CSQ\" = \"+CSQ: 20,99\\nOK\" }");
    for (const auto& [key, answer] : *table) {
        if (!answer.is_string()) section.fail(answer, "the answer to a command must be a string");
        answers[std::string(key.str())] = **answer.as_string();
    }
}

void read_modem(Section& section, ModemSettings& modem)
{
    section.read_integer("state", modem.state);
    section.read_integer("rssi", modem.rssi);
    section.read_text("imei", modem.imei, longest_identity);
    section.read_text("imsi", modem.imsi, longest_identity);
    section.read_text("iccid", modem.iccid, longest_identity);
    section.read_text("server", modem.server.address, longest_server);
    section.read_integer("port", modem.server.port);
    section.read_flag("echo", modem.echo);
    section.read_milliseconds("answer_ms", modem.answer_time);
    read_answers(section, modem.answers);
}

void read_firmware(Section& section, FirmwareSettings& firmware)
{
    section.read_integer("block", firmware.block, 1, largest_block);
    section.read_integer("image", firmware.image, 1, largest_image);
    section.read_milliseconds("boot_ms", firmware.boot);
    if (section.find("next_version")) section.read_version("next_version", firmware.next_version.emplace());
}

void read_parameter_table(Section& section, Tables& tables)
{
    std::uint8_t number = 0;
    Bytes data;
    section.read_integer("number", number);
    section.read_hex("data", data);
    section.refuse_unknown_keys("[[table]]");
    if (!section.find("number")) section.fail("a parameter table needs a number");
    if (!tables.emplace(number, data).second) {
        section.fail("there are two parameter tables " + std::to_string(number));
    }
}

bool is_line(const std::string& command)
{
    return std::all_of(command.begin(), command.end(), [](char character) {
        return character >= ' ' && (character < 'a' || character > 'z');
    });
}

void check_modem(const ModemSettings& modem, const std::string& source)
{
    const auto require = [&source](bool good, const std::string& problem) {
        if (!good) throw ScenarioError(source, 0, problem);
    };
    require(modem.imei.size() <= longest_identity && modem.imsi.size() <= longest_identity &&
                modem.iccid.size() <= longest_identity,
            "imei, imsi and iccid have at most 80 bytes");
    require(modem.server.address.size() <= longest_server, "server has at most 247 bytes");
    for (const auto& [command, answer] : modem.answers) {
        require(is_line(command), "the command '" + command + "' of the modem is not in capitals");
        require(answer.size() <= longest_modem_text,
                "the answer to " + command + " is longer than 4096 bytes");
    }
}

}  // namespace

void read_services(Section& top, ServiceSettings& services)
{
    top.read_table("network", [&](Section& section) { read_network(section, services.network); });
    top.read_tables("access_point",
                    [&](Section& section) { read_access_point(section, services.network.access_points); });
    top.read_table("gps", [&](Section& section) { read_gps(section, services.gps.emplace()); });
    top.read_table("modem", [&](Section& section) { read_modem(section, services.modem); });
    top.read_table("firmware", [&](Section& section) { read_firmware(section, services.firmware); });
    top.read_tables("table", [&](Section& section) { read_parameter_table(section, services.tables); });
}

void check_services(const ServiceSettings& services, const std::string& source)
{
    const auto require = [&source](bool good, const std::string& problem) {
        if (!good) throw ScenarioError(source, 0, problem);
    };
    check_modem(services.modem, source);
    for (const AccessPoint& point : services.network.access_points) {
        require(point.ssid.size() <= longest_ssid, "the ssid " + point.ssid + " is longer than 32 bytes");
    }
    const FirmwareSettings& firmware = services.firmware;
    require(firmware.block >= 1 && firmware.block <= largest_block, "a block has 1 to 250 bytes");
    require(firmware.image >= 1 && firmware.image <= largest_image, "an image has 1 to 67108864 bytes");
    for (const auto& [number, table] : services.tables) {
        require(table.size() <= longest_table,
                "parameter table " + std::to_string(number) + " is longer than 65535 bytes");
    }
    if (!services.gps) return;
    const GpsSettings& gps = *services.gps;
    require(std::abs(gps.latitude) <= 90 && std::abs(gps.longitude) <= 180,
            "there is no such place on earth");
    require(gps.time >= Clock::first_second && gps.time <= Clock::last_second,
            "the satellites' time is from 2000 to 2099");
}

}  // namespace tagwire::sim
