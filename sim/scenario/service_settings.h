// What a reader has besides its radio: network, position, modem, firmware, parameter tables.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bytes.h"

namespace tagwire::sim {

using MacAddress = std::array<std::uint8_t, 6>;
using Ipv4 = std::array<std::uint8_t, 4>;

enum class Interface : std::uint8_t { ethernet, wifi, bluetooth, ble };
inline constexpr std::size_t interfaces = 4;
inline constexpr std::size_t ip_interfaces = 2;  // Ethernet and WiFi

struct LinkSettings {
    bool up = false;
    Ipv4 address{};
    Ipv4 mask{};
    Ipv4 gateway{};
};

struct AccessPoint {
    MacAddress bssid{};
    std::int8_t rssi = -60;  // dBm
    std::uint8_t channel = 1;
    std::uint8_t security = 0;
    std::string ssid;
};

struct NetworkSettings {
    std::array<MacAddress, interfaces> macs{
        {{2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 0, 2}, {2, 0, 0, 0, 0, 3}, {2, 0, 0, 0, 0, 4}}};  // as in Interface
    std::array<LinkSettings, ip_interfaces> links;
    std::vector<AccessPoint> access_points;

    MacAddress mac(Interface interface) const { return macs[static_cast<std::size_t>(interface)]; }
};

struct GpsSettings {
    std::uint8_t satellites = 8;
    std::uint8_t state = 1;
    double latitude = 0;            // degrees, north is positive
    double longitude = 0;           // degrees, east is positive
    std::int64_t time = 946684800;  // at the start of the reader, seconds since 1970
};

struct RemoteServer {
    std::string address;
    std::uint16_t port = 0;
};

struct ModemSettings {
    std::uint8_t state = 0;
    std::uint8_t rssi = 0;
    std::string imei;
    std::string imsi;
    std::string iccid;
    RemoteServer server;
    bool echo = true;
    Time answer_time{};                          // from a command's end to its answer
    std::map<std::string, std::string> answers;  // by command, in capitals; lines end with '\n'
};

inline constexpr unsigned largest_block = 250;

struct FirmwareSettings {
    unsigned block = largest_block;   // most bytes of a block
    std::uint32_t image = 1U << 20U;  // most bytes of an image
    Time boot = std::chrono::milliseconds(500);
    std::optional<std::array<std::uint8_t, 2>> next_version;  // else the first two bytes of the image
};

using Tables = std::map<std::uint8_t, Bytes>;

struct ServiceSettings {
    NetworkSettings network;
    std::optional<GpsSettings> gps;
    ModemSettings modem;
    FirmwareSettings firmware;
    Tables tables;
};

}  // namespace tagwire::sim
