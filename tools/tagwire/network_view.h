// The reader's network modules as text for people and as JSON for programs.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "format.h"

namespace tagwire::tool {

using Mac = std::array<std::uint8_t, 6>;
using Ipv4 = std::array<std::uint8_t, 4>;

std::string mac_text(const Mac& mac);
// 12 hexadecimal digits, in pairs with : or - between them or without. Throws UsageError, also for an address
// that no interface can have.
Mac parse_mac(std::string_view text);

// -- WiFi access points

struct AccessPoint {
    std::string ssid;
    Mac bssid{};
    int rssi_dbm = 0;
    std::uint8_t channel = 0;
    std::uint8_t security = 0;  // in the module's coding
};

// Records of BSSID, signal, channel, security, length of the SSID and SSID, the strongest first; nothing when
// they are not so many records of this form.
std::optional<std::vector<AccessPoint>> decode_access_points(std::span<const std::uint8_t> records,
                                                             int count);
std::string access_point_line(const AccessPoint& point);
Json access_point_json(const AccessPoint& point);

// -- interfaces

struct LinkReport {
    std::uint8_t state = 0;
    Ipv4 address{};
    Ipv4 mask{};
    Ipv4 gateway{};
};

// What could be read of a module; a failure is the library's result.
template <typename Value> struct Reading {
    int code = 0;
    Value value{};
};

struct InterfaceReport {
    std::string_view name;  // "Ethernet"
    std::string_view key;   // "ethernet"
    Reading<Mac> mac;
    std::optional<Reading<LinkReport>> link;  // only some have one
};

using NetworkReport = std::vector<InterfaceReport>;

std::vector<std::string> network_lines(const NetworkReport& report);
Json network_json(const NetworkReport& report);
// The first failure, when nothing could be read at all.
std::optional<int> failure_of(const NetworkReport& report);

// -- 4G modem

struct ModemReport {
    std::uint8_t state = 0;
    std::uint8_t rssi = 0;  // both in the modem's coding
    std::string imei;
    std::string imsi;
    std::string iccid;
};

std::string modem_text(const ModemReport& report);
Json modem_json(const ModemReport& report);

struct RemoteServer {
    std::string host;
    std::uint16_t port = 0;
};

// HOST:PORT. Throws UsageError.
RemoteServer parse_server(std::string_view text);
std::string server_text(const RemoteServer& server);
Json server_json(const RemoteServer& server);

}  // namespace tagwire::tool
