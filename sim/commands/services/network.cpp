// Addresses and links of the interfaces, WiFi access points, position, and the 4G modem.
#include "commands/services/network.h"

#include <algorithm>
#include <cmath>

#include "commands/codes.h"
#include "commands/services/extension.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr std::uint8_t guard = 0x52;
constexpr std::uint8_t first_interface = 0x52;
constexpr std::size_t mac_request_size = 2;
constexpr std::size_t new_mac_size = 8;
constexpr std::size_t link_request_size = 2;
constexpr std::size_t gps_size = 22;
constexpr std::size_t longest_server = 247;
constexpr double minutes_in_degree = 60;
constexpr std::uint64_t parts_of_minute = 100000;

void tell_mac(Device& device, const Call& call)
{
    const unsigned interface = call.data()[1];
    if (call.data()[0] != guard || interface < first_interface || interface >= first_interface + interfaces) {
        return refuse(device, call);
    }
    Bytes mac;
    give(mac, device.services().network.macs[interface - first_interface]);
    device.answer(call, status::success, mac);
}

void set_ethernet_mac(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    if (fields.byte() != guard || fields.byte() != first_interface) return refuse(device, call);
    take(fields, device.services().network.macs.front());
    device.answer(call, status::success);
}

void tell_link(Device& device, const Call& call)
{
    if (call.data().size() != link_request_size || call.data()[1] >= ip_interfaces) {
        return answer_extension(device, call, status::bad_parameter);
    }
    const LinkSettings& link = device.services().network.links[call.data()[1]];
    Bytes results{static_cast<std::uint8_t>(link.up ? 1 : 0)};
    give(results, link.address);
    give(results, link.mask);
    give(results, link.gateway);
    answer_extension(device, call, status::success, results);
}

void append_text(Bytes& bytes, const std::string& text)
{
    bytes.push_back(static_cast<std::uint8_t>(text.size()));
    append(bytes, Bytes(text.begin(), text.end()));
}

Bytes access_point_record(const AccessPoint& point)
{
    Bytes record;
    give(record, point.bssid);
    append(record, {static_cast<std::uint8_t>(point.rssi), point.channel, point.security});
    append_text(record, point.ssid);
    return record;
}

void search_access_points(Device& device, const Call& call)
{
    if (call.data().size() != 1) return answer_extension(device, call, status::bad_parameter);
    for (const AccessPoint& point : device.services().network.access_points) {
        answer_extension(device, call, status::more_follow, access_point_record(point));
    }
    answer_extension(device, call, status::success);
}

// Degrees, whole minutes, and what is left in hundred-thousandths of a minute, high byte first.
void append_angle(Bytes& bytes, double angle)
{
    const double minutes = std::abs(angle) * minutes_in_degree;
    const auto parts = static_cast<std::uint64_t>(std::llround(minutes * double{parts_of_minute}));
    const std::uint64_t whole = parts / parts_of_minute;
    append(bytes, {static_cast<std::uint8_t>(whole / 60), static_cast<std::uint8_t>(whole % 60)});
    append_number(bytes, parts % parts_of_minute, 4);
}

Bytes describe_position(const Services& services, Time now)
{
    if (!services.gps) return Bytes(gps_size);
    const GpsSettings& gps = *services.gps;
    const auto side = [](double angle, char positive, char negative) {
        return static_cast<std::uint8_t>(angle < 0 ? negative : positive);
    };
    Bytes data{gps.satellites, gps.state, side(gps.latitude, 'N', 'S')};
    append_angle(data, gps.latitude);
    data.push_back(side(gps.longitude, 'E', 'W'));
    append_angle(data, gps.longitude);
    give(data, services.satellite_clock.show(now));
    return data;
}

bool is_mobile(const Device& device) { return device.settings().family == ReaderFamily::mobile; }

void tell_position(Device& device, const Call& call)
{
    if (!is_mobile(device)) return device.answer(call, status::unknown_command);
    device.answer(call, status::success, describe_position(device.services(), call.now));
}

void set_server(Device& device, const Call& call)
{
    if (!is_mobile(device)) return device.answer(call, status::unknown_command);
    const Bytes& data = call.data();
    if (data.empty() || data[0] > longest_server || data.size() != data[0] + 3U) return refuse(device, call);
    Fields fields(data, 0);
    const Bytes address = fields.bytes(fields.byte());
    device.services().server = {std::string(address.begin(), address.end()), fields.word()};
    device.answer(call, status::success);
}

void tell_server(Device& device, const Call& call)
{
    if (!is_mobile(device)) return device.answer(call, status::unknown_command);
    Bytes data;
    append_text(data, device.services().server.address);
    append_number(data, device.services().server.port, 2);
    device.answer(call, status::success, data);
}

}  // namespace

void tell_modem(Device& device, const Call& call)
{
    const ModemSettings& modem = device.services().modem.settings();
    Bytes data{modem.state, modem.rssi};
    append_text(data, modem.imei);
    append_text(data, modem.imsi);
    append_text(data, modem.iccid);
    device.answer(call, status::success, data);
}

void add_network_commands(CommandTable& table)
{
    table.add(command::set_mac, new_mac_size, set_ethernet_mac);
    table.add(command::get_mac, mac_request_size, tell_mac);
    table.add_extension(extension::search_access_points, search_access_points);
    table.add_extension(extension::link_state, tell_link);
    table.add(command::set_family_parameters, 0, tell_position);
    table[command::set_server] = set_server;
    table.add(command::get_server, 0, tell_server);
}

}  // namespace tagwire::sim
