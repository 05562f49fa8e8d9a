// A reader's network interfaces, its modem and its position.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/bytes.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

enum class Interface { ethernet, wifi, bluetooth, ble };
TAGWIREXX_API const char* to_string(Interface interface);

class MacAddress {
  public:
    constexpr MacAddress() = default;
    constexpr explicit MacAddress(const std::array<std::uint8_t, 6>& bytes) : bytes_(bytes) {}
    // Six pairs of hexadecimal digits, with ':' or '-' between them or nothing. Throws Error, also for what
    // no interface can have: a group's address, or zeros.
    TAGWIREXX_API explicit MacAddress(std::string_view text);

    const std::array<std::uint8_t, 6>& bytes() const { return bytes_; }

    friend constexpr bool operator==(const MacAddress&, const MacAddress&) = default;
    // 02:00:00:00:00:01
    friend TAGWIREXX_API std::ostream& operator<<(std::ostream& out, const MacAddress& mac);

  private:
    std::array<std::uint8_t, 6> bytes_{};
};

struct Ipv4Address {
    std::array<std::uint8_t, 4> bytes = {};

    friend constexpr bool operator==(const Ipv4Address&, const Ipv4Address&) = default;
    friend TAGWIREXX_API std::ostream& operator<<(std::ostream& out, const Ipv4Address& address);
};

struct InterfaceLink {
    int state = 0;  // 0 down, 1 up; others are the reader's own
    Ipv4Address address = {};
    Ipv4Address mask = {};
    Ipv4Address gateway = {};
};

// What could be learned of an interface; not every reader has all of them.
struct InterfaceReport {
    Interface interface = Interface::ethernet;
    std::optional<MacAddress> mac = {};
    std::string mac_problem = {};  // why there is none
    std::optional<InterfaceLink> link = {};
    std::string link_problem = {};  // empty, too, where the interface has none
};

struct AccessPoint {
    std::string ssid = {};  // bytes as they came
    MacAddress bssid = {};
    int rssi = 0;  // dBm
    int channel = 0;
    int security = 0;  // the module's own coding
};

struct WifiScan {
    std::vector<AccessPoint> access_points = {};  // the strongest first
    unsigned count = 0;
    // Records in a form that is not known here: as they came, and no access points.
    std::optional<Bytes> unknown = {};
};

struct Modem {
    int state = 0;  // both in the modem's coding
    int rssi = 0;
    std::string imei = {};
    std::string imsi = {};
    std::string iccid = {};
};

// Where a modem connects to. Without a host: nowhere.
struct RemoteServer {
    std::string host = {};  // up to 248 visible characters
    std::uint16_t port = 0;

    // HOST:PORT, with a port of 1 to 65535. Throws Error.
    TAGWIREXX_API static RemoteServer parse(std::string_view text);
    friend bool operator==(const RemoteServer&, const RemoteServer&) = default;
};

// Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Network {
  public:
    // What the reader refuses it does not have. Throws Error where it refuses all, and where an answer does not come.
    std::vector<InterfaceReport> interfaces();
    MacAddress mac(Interface interface);
    // Of Ethernet and WiFi.
    InterfaceLink link(Interface interface);
    // Of the Ethernet port. May end connections over it.
    void set_mac(const MacAddress& mac);

    // Takes as long as the reader does: it counts as silent after 20 s without an access point.
    WifiScan scan_wifi();

    Modem modem();
    RemoteServer server();
    void set_server(const RemoteServer& server);

  private:
    friend class Reader;
    explicit Network(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

// An angle as a positioning receiver tells it.
struct PositionAngle {
    std::uint8_t side = 0;  // N, S, E, W
    int degrees = 0;
    int minutes = 0;
    std::uint32_t fraction = 0;  // of a minute, hundred-thousandths

    // "N 52 30.12345"; a side that is none of the four as 0x..
    friend TAGWIREXX_API std::ostream& operator<<(std::ostream& out, const PositionAngle& angle);
};

struct Position {
    int satellites = 0;
    int state = 0;  // 0: no fix
    PositionAngle latitude_as_told = {};
    PositionAngle longitude_as_told = {};
    // Degrees, north and east positive. None without a fix, nor where the side or a number is of a coding
    // that is not known here: see what was told, then.
    std::optional<double> latitude = {};
    std::optional<double> longitude = {};
    std::optional<std::chrono::sys_seconds> time = {};  // none where it is no time
    std::array<std::uint8_t, 6> time_as_told = {};      // year of the century to second

    bool has_fix() const { return state != 0; }
};

}  // namespace v1
}  // namespace tagwire
