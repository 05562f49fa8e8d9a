#include "reader_url.h"

#include "errors.h"
#include "parse.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include <arpa/inet.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

struct Speed {
    std::uint32_t baud;
    std::uint8_t index;
};

constexpr std::array speeds{Speed{9600, 0},  Speed{19200, 1},  Speed{38400, 2},
                            Speed{57600, 5}, Speed{115200, 6}, Speed{921600, 7}};

constexpr std::string_view url_forms = "use tcp://HOST:PORT, serial:/dev/DEVICE?baud=57600 or serial:auto";

[[noreturn]] void reject(std::string_view text, std::string_view why)
{
    throw UsageError(fmt::format("reader '{}': {}", text, why));
}

const Speed* find_speed(std::uint32_t baud)
{
    const auto* const found =
        std::find_if(speeds.begin(), speeds.end(), [baud](const Speed& speed) { return speed.baud == baud; });
    return found == speeds.end() ? nullptr : found;
}

bool is_host_character(unsigned char c) { return std::isalnum(c) != 0 || c == '.' || c == '-' || c == '_'; }

bool only_digits_and_dots(std::string_view text)
{
    return text.find_first_not_of("0123456789.") == std::string_view::npos;
}

bool is_ipv4(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

ReaderUrl parse_tcp(std::string_view text, std::string_view rest)
{
    if (rest.starts_with('[') || std::count(rest.begin(), rest.end(), ':') > 1) {
        reject(text, "IPv6 is not possible: give an IPv4 address or a name");
    }
    const auto colon = rest.find(':');
    if (colon == std::string_view::npos) reject(text, "the port is missing: use tcp://HOST:PORT");

    ReaderUrl url;
    url.link = Link::Tcp;
    url.host = rest.substr(0, colon);
    if (url.host.empty()) reject(text, "the host is missing: use tcp://HOST:PORT");
    if (!std::all_of(url.host.begin(), url.host.end(), is_host_character)) {
        reject(text, fmt::format("'{}' is not a host name", url.host));
    }
    if (only_digits_and_dots(url.host) && !is_ipv4(url.host)) {
        reject(text, fmt::format("'{}' is not an IPv4 address", url.host));
    }
    url.port = static_cast<std::uint16_t>(parse_number(rest.substr(colon + 1), "TCP port", 1, 65535));
    return url;
}

ReaderUrl parse_serial(std::string_view text, std::string_view rest)
{
    const auto question = rest.find('?');
    const auto device = rest.substr(0, question);
    if (device.find('\0') != std::string_view::npos) reject(text, "a device path has no NUL");

    ReaderUrl url;
    if (device == "auto") {
        url.link = Link::SerialAuto;
    } else if (device.starts_with('/')) {
        url.link = Link::Serial;
        url.device = device;
    } else {
        reject(text, "after serial: comes the path of a device, as /dev/ttyUSB0, or auto");
    }
    if (question == std::string_view::npos) return url;

    constexpr std::string_view key = "baud=";
    const auto query = rest.substr(question + 1);
    if (!query.starts_with(key)) reject(text, "after ? comes baud=N and nothing else");
    url.baud = parse_baud(query.substr(key.size()));
    return url;
}

}  // namespace

std::string ReaderUrl::text() const
{
    if (link == Link::Tcp) return fmt::format("tcp://{}:{}", host, port);
    const std::string_view name = link == Link::Serial ? std::string_view(device) : "auto";
    if (baud == default_baud) return fmt::format("serial:{}", name);
    return fmt::format("serial:{}?baud={}", name, baud);
}

std::string ReaderUrl::place() const
{
    if (link == Link::Tcp) return fmt::format("at {}:{}", host, port);
    if (link == Link::Serial) return fmt::format("on {}", device);
    return "on any serial device";
}

ReaderUrl parse_reader_url(std::string_view text)
{
    constexpr std::string_view tcp = "tcp://";
    constexpr std::string_view serial = "serial:";
    if (text.starts_with(tcp)) return parse_tcp(text, text.substr(tcp.size()));
    if (text.starts_with(serial)) return parse_serial(text, text.substr(serial.size()));
    if (text.starts_with('/')) reject(text, fmt::format("for a serial device write serial:{}", text));
    reject(text, url_forms);
}

std::uint32_t parse_baud(std::string_view text)
{
    const bool digits =
        !text.empty() && text.size() < 10 && text.find_first_not_of("0123456789") == text.npos;
    const auto baud = digits ? parse_number(text, "baud", 0, 999'999'999) : 0;
    if (find_speed(baud) != nullptr) return baud;
    throw UsageError(fmt::format(
        "baud '{}' is not a speed of a reader: use 9600, 19200, 38400, 57600, 115200 or 921600", text));
}

std::uint8_t baud_index(std::uint32_t baud)
{
    const auto* const speed = find_speed(baud);
    if (speed == nullptr) throw UsageError(fmt::format("baud {} is not a speed of a reader", baud));
    return speed->index;
}

}  // namespace tagwire::tool
