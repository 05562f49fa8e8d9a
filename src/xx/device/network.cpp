// Network interfaces, modem and position.
#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

#include "tagwire/result.h"
#include "xx/reader/reader_inside.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call mac_call{
    .name = "ask for a MAC address", .least = 6, .family = engine::ResultFamily::services};
constexpr Call set_mac_call{
    .name = "set the MAC address", .effect = Effect::change, .family = engine::ResultFamily::services};
constexpr Call link_call{
    .name = "ask for a network link", .least = 14, .family = engine::ResultFamily::services};
constexpr Call scan_call{.name = "look for access points", .family = engine::ResultFamily::services};
constexpr Call modem_call{.name = "ask the modem", .least = 5, .family = engine::ResultFamily::services};
constexpr Call server_call{
    .name = "ask for the modem's server", .least = 3, .family = engine::ResultFamily::services};
constexpr Call set_server_call{
    .name = "set the modem's server", .effect = Effect::change, .family = engine::ResultFamily::services};
constexpr Call position_call{
    .name = "ask for the position", .least = 22, .family = engine::ResultFamily::services};

// -- MAC addresses

[[noreturn]] void refuse_mac(std::string_view text, const char* why)
{
    throw Error(Errc::invalid_text, "MAC address", {}, "'" + std::string(text) + "' " + why);
}

bool has_pairs(std::string_view text)
{
    if (text.size() == 12) return text.find_first_of(":-") == std::string_view::npos;
    if (text.size() != 17 || (text[2] != ':' && text[2] != '-')) return false;
    for (std::size_t i = 2; i < text.size(); i += 3)
        if (text[i] != text[2]) return false;
    return true;
}

bool is_of_an_interface(const std::array<std::uint8_t, 6>& mac)
{
    constexpr std::uint8_t group_bit = 0x01;
    return (mac[0] & group_bit) == 0 && mac != std::array<std::uint8_t, 6>{};
}

// -- interfaces

constexpr std::array interfaces_there_are{Interface::ethernet, Interface::wifi, Interface::bluetooth,
                                          Interface::ble};

auto mac_operation(Interface interface)
{
    switch (interface) {
    case Interface::wifi: return &O::GetWIFIMacAddr;
    case Interface::bluetooth: return &O::GetBluetoothMacAddr;
    case Interface::ble: return &O::GetBleMacAddr;
    default: return &O::GetRJ45MacAddr;
    }
}

bool has_link(Interface interface)
{
    return interface == Interface::ethernet || interface == Interface::wifi;
}

// A reader without the module refuses; the first such failure stays in `failure`.
template <class Value, class Ask>
void ask_or_note(std::optional<Value>& value, std::string& problem, std::optional<Error>& failure, Ask ask)
try {
    value = ask();
} catch (const Error& error) {
    if (error.code() != Errc::refused && error.code() != Errc::no_such_feature) throw;
    problem = error.what();
    if (!failure) failure = error;
}

// -- access points

// BSSID, signal, channel, security, length of the SSID, SSID. None where the bytes are no such record.
std::optional<AccessPoint> take_record(std::span<const std::uint8_t>& records)
{
    constexpr std::size_t head = 10;
    if (records.size() < head || records.size() < head + records[head - 1]) return std::nullopt;
    std::array<std::uint8_t, 6> bssid{};
    std::copy_n(records.begin(), bssid.size(), bssid.begin());
    AccessPoint out;
    out.bssid = MacAddress(bssid);
    out.rssi = records[6] < 0x80 ? records[6] : records[6] - 0x100;
    out.channel = records[7];
    out.security = records[8];
    const auto ssid = records.subspan(head, records[head - 1]);
    out.ssid.assign(ssid.begin(), ssid.end());
    records = records.subspan(head + ssid.size());
    return out;
}

WifiScan decode(const Bytes& records, int count)
{
    WifiScan out;
    out.count = static_cast<unsigned>(count);
    std::span<const std::uint8_t> left(records);
    while (!left.empty()) {
        auto point = take_record(left);
        if (!point) break;
        out.access_points.push_back(std::move(*point));
    }
    if (!left.empty() || out.access_points.size() != out.count) {
        out.access_points.clear();
        out.unknown = records;
        return out;
    }
    std::stable_sort(out.access_points.begin(), out.access_points.end(),
                     [](const AccessPoint& a, const AccessPoint& b) { return a.rssi > b.rssi; });
    return out;
}

// -- modem

// As long as its length byte says.
struct CountedText {
    u8 size = 0;
    std::array<u8, 256> bytes{};

    std::string text() const { return {bytes.begin(), bytes.begin() + size}; }
};

constexpr std::size_t longest_host = 248;

bool is_visible(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

[[noreturn]] void refuse_server(std::string_view text, const std::string& why)
{
    throw Error(Errc::invalid_text, "server", {}, "'" + std::string(text) + "' " + why);
}

// -- position

// Which ends a scale has.
struct Scale {
    std::uint8_t positive;
    std::uint8_t negative;
    int most_degrees;
};

std::optional<double> degrees_of(const PositionAngle& angle, const Scale& scale)
{
    constexpr std::uint32_t parts_of_minute = 100'000;
    constexpr int minutes_of_degree = 60;
    const bool is_negative = angle.side == scale.negative;
    const bool is_known = (is_negative || angle.side == scale.positive) &&
                          angle.degrees <= scale.most_degrees && angle.minutes < minutes_of_degree &&
                          angle.fraction < parts_of_minute;
    if (!is_known) return std::nullopt;
    const double minutes = angle.minutes + static_cast<double>(angle.fraction) / parts_of_minute;
    const double degrees = angle.degrees + minutes / minutes_of_degree;
    if (degrees > scale.most_degrees) return std::nullopt;
    return is_negative ? -degrees : degrees;
}

std::optional<std::chrono::sys_seconds> time_of(const std::array<std::uint8_t, 6>& told)
{
    using namespace std::chrono;
    const auto [year_of_century, month_number, day_number, hour, minute, second] = told;
    const year_month_day date(year(2000 + year_of_century), month(month_number), day(day_number));
    if (year_of_century > 99 || !date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
    return sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
}

std::uint32_t number_of(const std::array<u8, 4>& bytes)
{
    std::uint32_t out = 0;
    for (const u8 byte : bytes) out = out << 8U | byte;
    return out;
}

}  // namespace

// -- values

const char* to_string(Interface interface)
{
    switch (interface) {
    case Interface::ethernet: return "ethernet";
    case Interface::wifi: return "wifi";
    case Interface::bluetooth: return "bluetooth";
    case Interface::ble: return "ble";
    }
    return "unknown";
}

MacAddress::MacAddress(std::string_view text)
{
    constexpr auto digits = "0123456789abcdefABCDEF:-";
    if (!has_pairs(text) || text.find_first_not_of(digits) != std::string_view::npos)
        refuse_mac(text, "is no MAC address: give six pairs of digits, 02:00:00:00:00:01");
    const Bytes bytes = from_hex(text);
    if (bytes.size() != bytes_.size())
        refuse_mac(text, "is no MAC address: give six pairs of digits, 02:00:00:00:00:01");
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    if (!is_of_an_interface(bytes_))
        refuse_mac(text, "belongs to no interface: the first pair is even, and not all are 0");
}

std::ostream& operator<<(std::ostream& out, const MacAddress& mac)
{
    const std::string digits = to_hex(mac.bytes_);
    for (std::size_t i = 0; i < digits.size(); i += 2) out << (i == 0 ? "" : ":") << digits.substr(i, 2);
    return out;
}

std::ostream& operator<<(std::ostream& out, const Ipv4Address& address)
{
    for (std::size_t i = 0; i < address.bytes.size(); ++i)
        out << (i == 0 ? "" : ".") << int{address.bytes[i]};
    return out;
}

std::ostream& operator<<(std::ostream& out, const PositionAngle& angle)
{
    constexpr std::string_view sides = "NSEW";
    std::array<char, 16> side{static_cast<char>(angle.side), '\0'};
    std::array<char, 32> numbers{};
    if (sides.find(static_cast<char>(angle.side)) == std::string_view::npos)
        std::snprintf(side.data(), side.size(), "0x%02X", unsigned{angle.side});
    std::snprintf(numbers.data(), numbers.size(), " %d %02d.%05u", angle.degrees, angle.minutes,
                  static_cast<unsigned>(angle.fraction));
    return out << side.data() << numbers.data();
}

RemoteServer RemoteServer::parse(std::string_view text)
{
    const auto colon = std::min(text.rfind(':'), text.size());
    const auto host = text.substr(0, colon);
    const auto digits = text.substr(std::min(colon + 1, text.size()));
    unsigned port = 0;
    for (const char c : digits)
        port = c >= '0' && c <= '9' && port <= 65535 ? port * 10 + unsigned(c - '0') : 65536;
    if (host.empty() || !is_visible(host) || digits.empty() || port < 1 || port > 65535)
        refuse_server(text, "is no server: give HOST:PORT, with a port of 1 to 65535");
    if (host.size() > longest_host) refuse_server(text, "is too long: a host has at most 248 characters");
    return {std::string(host), static_cast<std::uint16_t>(port)};
}

// -- calls

MacAddress Network::mac(Interface interface)
{
    std::array<u8, 6> mac{};
    inside_->ask(mac_call, mac_operation(interface), mac.data());
    return MacAddress(mac);
}

InterfaceLink Network::link(Interface interface)
{
    if (!has_link(interface)) refuse_value(*inside_, link_call, "only Ethernet and WiFi have a link");
    InterfaceLink out;
    u8 state = 0;
    inside_->ask(link_call,
                 interface == Interface::wifi ? &O::ReadWIFIConnectStatus : &O::ReadRJ45ConnectStatus, &state,
                 out.address.bytes.data(), out.mask.bytes.data(), out.gateway.bytes.data());
    out.state = state;
    return out;
}

std::vector<InterfaceReport> Network::interfaces()
{
    std::vector<InterfaceReport> out;
    std::optional<Error> failure;
    bool is_any_known = false;
    const ReaderInside::Turn turn(*inside_);
    for (const Interface interface : interfaces_there_are) {
        InterfaceReport& report = out.emplace_back();
        report.interface = interface;
        ask_or_note(report.mac, report.mac_problem, failure, [&] { return mac(interface); });
        if (has_link(interface))
            ask_or_note(report.link, report.link_problem, failure, [&] { return link(interface); });
        is_any_known |= report.mac || report.link;
    }
    if (!is_any_known && failure) throw Error(*failure);
    return out;
}

void Network::set_mac(const MacAddress& mac)
{
    if (!is_of_an_interface(mac.bytes()))
        refuse_value(*inside_, set_mac_call, "such an address belongs to no interface");
    auto bytes = mac.bytes();
    inside_->ask(set_mac_call, &O::SetRJ45MacAddr, bytes.data());
}

WifiScan Network::scan_wifi()
{
    constexpr std::size_t most_bytes = 60'000;
    Bytes records(most_bytes);
    int length = 0;
    int count = 0;
    inside_->ask(scan_call, &O::SearchWIFI, records.data(), &length, &count);
    records.resize(static_cast<std::size_t>(length));
    return decode(records, count);
}

Modem Network::modem()
{
    CountedText imei;
    CountedText imsi;
    CountedText iccid;
    u8 state = 0;
    u8 rssi = 0;
    const ReaderInside::Turn turn(*inside_);
    inside_->ask(modem_call, &O::Get4GConnectStatus, &state, &rssi, &imei.size, imei.bytes.data(), &imsi.size,
                 imsi.bytes.data(), &iccid.size, iccid.bytes.data());
    Call whole = modem_call;
    whole.least += imei.size + imsi.size + iccid.size;
    inside_->require(whole, inside_->came());
    Modem out{state, rssi, imei.text(), imsi.text(), iccid.text()};
    if (!is_visible(out.imei + out.imsi + out.iccid))
        throw Error(Errc::bad_answer, modem_call.name, inside_->name(),
                    "the answer is not that of a modem: does the reader have one?");
    return out;
}

RemoteServer Network::server()
{
    CountedText host;
    int port = 0;
    const ReaderInside::Turn turn(*inside_);
    inside_->ask(server_call, &O::Get4GRemoteServerInformation, &host.size, host.bytes.data(), &port);
    Call whole = server_call;
    whole.least += host.size;
    inside_->require(whole, inside_->came());
    return {host.text(), static_cast<std::uint16_t>(port)};
}

void Network::set_server(const RemoteServer& server)
{
    checked(*inside_, set_server_call, "the count of characters of a host",
            static_cast<long long>(server.host.size()), 1, longest_host);
    checked(*inside_, set_server_call, "the port", server.port, 1, 65535);
    if (!is_visible(server.host))
        refuse_value(*inside_, set_server_call, "a host has visible characters only");
    Bytes host(server.host.begin(), server.host.end());
    inside_->ask(set_server_call, &O::Set4GRemoteServerInformation, static_cast<u8>(host.size()), host.data(),
                 int{server.port});
}

Position Reader::position()
{
    std::array<u8, 4> numbers{};  // satellites, state, sides
    std::array<u8, 4> angles{};   // degrees and minutes
    std::array<u8, 4> north{};
    std::array<u8, 4> east{};
    std::array<u8, 6> time{};
    inside_->ask(position_call, &O::GetGPSInformation, &numbers[0], &numbers[1], &numbers[2], &angles[0],
                 &angles[1], north.data(), &numbers[3], &angles[2], &angles[3], east.data(), &time[0],
                 &time[1], &time[2], &time[3], &time[4], &time[5]);
    Position out{.satellites = numbers[0], .state = numbers[1]};
    out.latitude_as_told = {numbers[2], angles[0], angles[1], number_of(north)};
    out.longitude_as_told = {numbers[3], angles[2], angles[3], number_of(east)};
    out.time_as_told = time;
    if (!out.has_fix()) return out;
    out.latitude = degrees_of(out.latitude_as_told, {'N', 'S', 90});
    out.longitude = degrees_of(out.longitude_as_told, {'E', 'W', 180});
    out.time = time_of(time);
    return out;
}

}  // namespace v1
}  // namespace tagwire
