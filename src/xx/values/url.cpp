#include "xx/values/url.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <set>

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

struct Speed {
    std::uint32_t speed;
    std::uint8_t index;
};

constexpr std::array speeds{Speed{9600, 0},  Speed{19200, 1},  Speed{38400, 2},
                            Speed{57600, 5}, Speed{115200, 6}, Speed{921600, 7}};

constexpr const char* good_tcp = "tcp://192.0.2.10:6000";
constexpr const char* good_serial = "serial:/dev/ttyUSB0?baud=57600";

[[noreturn]] void reject(std::string_view text, const std::string& why, const char* good)
{
    throw Error(Errc::invalid_text, "open", {},
                "'" + std::string(text) + "' names no reader: " + why + ". Write, for example, " + good);
}

std::optional<std::uint32_t> number_in(std::string_view text, std::uint32_t lowest, std::uint32_t highest)
{
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < lowest || number > highest)
        return std::nullopt;
    return number;
}

const Speed* find_speed(std::uint32_t speed)
{
    const auto* const found =
        std::find_if(speeds.begin(), speeds.end(), [=](const Speed& known) { return known.speed == speed; });
    return found == speeds.end() ? nullptr : found;
}

bool is_host_character(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_';
}

bool is_ipv4(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

void take_host(Url& url, std::string_view host)
{
    url.host = host;
    if (host.empty()) reject(url.text, "the host is missing", good_tcp);
    if (!std::all_of(host.begin(), host.end(), is_host_character))
        reject(url.text, "'" + url.host + "' is no name and no IPv4 address", good_tcp);
    if (host.find_first_not_of("0123456789.") == std::string_view::npos && !is_ipv4(url.host))
        reject(url.text, "'" + url.host + "' is no IPv4 address", good_tcp);
}

void take_place_of_tcp(Url& url, std::string_view place)
{
    if (std::count(place.begin(), place.end(), ':') > 1)
        reject(url.text, "IPv6 addresses are not known here; give a name or an IPv4 address", good_tcp);
    const auto colon = place.find(':');
    take_host(url, place.substr(0, colon));
    if (colon == std::string_view::npos) return;
    const auto port = number_in(place.substr(colon + 1), 1, 65535);
    if (!port) reject(url.text, "the port is a number from 1 to 65535", good_tcp);
    url.port = static_cast<std::uint16_t>(*port);
}

void take_device(Url& url, std::string_view device)
{
    if (device == "auto") return;
    if (!device.starts_with('/') || device.find('\0') != std::string_view::npos)
        reject(url.text, "behind serial: comes the path of a device, or auto", good_serial);
    url.device = device;
}

void take_speed(Url& url, std::string_view value)
{
    const auto speed = number_in(value, 0, 0xFFFFFFFF);
    if (!url.serial) reject(url.text, "baud is for serial lines", good_serial);
    if (!speed || find_speed(*speed) == nullptr)
        reject(url.text, "baud is 9600, 19200, 38400, 57600, 115200 or 921600", good_serial);
    url.speed = *speed;
}

void take_address(Url& url, std::string_view value)
{
    const auto address = number_in(value, 0, 255);
    if (!address) reject(url.text, "address is a number from 0 to 255", "tcp://192.0.2.10?address=3");
    url.address = static_cast<std::uint8_t>(*address);
}

void take_antenna_byte(Url& url, std::string_view value)
{
    if (value != "mask" && value != "number")
        reject(url.text, "antenna_byte is mask or number", "tcp://192.0.2.10?antenna_byte=number");
    url.antenna_byte = value == "mask" ? AntennaByte::mask : AntennaByte::number;
}

void take_key(Url& url, std::string_view key, std::string_view value)
{
    if (key == "baud") return take_speed(url, value);
    if (key == "address") return take_address(url, value);
    if (key == "antenna_byte") return take_antenna_byte(url, value);
    reject(url.text, "the keys behind ? are baud, address and antenna_byte, each with =VALUE", good_serial);
}

void take_query(Url& url, std::string_view query)
{
    std::set<std::string_view> seen;
    while (true) {
        const auto end = query.find('&');
        const auto pair = query.substr(0, end);
        const auto equals = std::min(pair.find('='), pair.size());
        const auto key = pair.substr(0, equals);
        take_key(url, key, pair.substr(std::min(equals + 1, pair.size())));
        if (!seen.insert(key).second)
            reject(url.text, "'" + std::string(key) + "' is there twice", good_serial);
        if (end == std::string_view::npos) return;
        query.remove_prefix(end + 1);
    }
}

}  // namespace

Url parse_url(std::string_view text)
{
    constexpr std::string_view tcp = "tcp://";
    constexpr std::string_view serial = "serial:";
    Url url;
    url.text = text;
    url.serial = text.starts_with(serial);
    if (text.empty()) reject(text, "it is empty", good_tcp);
    if (text.starts_with('/')) reject(text, "in front of a device comes serial:", good_serial);
    if (!url.serial && !text.starts_with(tcp)) reject(text, "it begins with tcp:// or serial:", good_tcp);
    const auto rest = text.substr(url.serial ? serial.size() : tcp.size());
    const auto question = rest.find('?');
    const auto place = rest.substr(0, question);
    url.serial ? take_device(url, place) : take_place_of_tcp(url, place);
    if (question != std::string_view::npos) take_query(url, rest.substr(question + 1));
    return url;
}

std::uint8_t baud_index(std::uint32_t speed)
{
    const Speed* const known = find_speed(speed);
    return known != nullptr ? known->index : speeds[3].index;
}

std::uint32_t speed_of(std::uint8_t baud_index)
{
    for (const Speed& known : speeds)
        if (known.index == baud_index) return known.speed;
    return speeds[3].speed;
}

}  // namespace v1
}  // namespace tagwire
