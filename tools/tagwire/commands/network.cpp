#include "tagwire/network.h"
#include "commands/groups.h"
#include "errors.h"
#include "gps_fix.h"
#include "hang_up.h"
#include "network_view.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/result.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// -- wifi scan

// The most that a scan writes.
constexpr std::size_t scan_bytes = 60000;

struct Scan {
    Bytes records;
    int count = 0;
};

Scan scan(Session& session, ReaderConnection& reader)
{
    auto address = reader.address();
    Scan found{Bytes(scan_bytes), 0};
    int bytes = 0;
    int code = 0;
    {
        const HangUpOnSignal hang_up(session.interrupts, reader);
        code = SearchWIFI(&address, found.records.data(), &bytes, &found.count, reader.handle());
    }
    if (session.interrupts.interrupted()) throw Failure("WiFi scan: interrupted");
    reader.require_success(code, Operation::WifiScan);
    found.records.resize(static_cast<std::size_t>(std::clamp(bytes, 0, static_cast<int>(scan_bytes))));
    return found;
}

// A reader whose module tells of access points in another way.
void show_unknown_records(Session& session, const Scan& found)
{
    Json object;
    object["type"] = "access_points";
    object["count"] = found.count;
    object["data"] = hex_text(found.records);
    session.out.line(session.options.json ? json_line(object) : hex_text(found.records));
    complain("the records are not in the usual form: shown as they came");
}

int scan_wifi(Session& session)
{
    const auto reader = connect(session);
    const auto found = scan(session, *reader);
    reader->require_success(reader->close(), Operation::Close);
    if (const auto points = decode_access_points(found.records, found.count)) {
        for (const auto& point : *points)
            session.out.line(session.options.json ? json_line(access_point_json(point))
                                                  : access_point_line(point));
    } else {
        show_unknown_records(session, found);
    }
    session.out.flush();
    tell(fmt::format("{} access point{}", found.count, found.count == 1 ? "" : "s"));
    return exit_success;
}

// -- net

using GetMac = int (*)(unsigned char*, unsigned char*, int);
using GetLink = int (*)(unsigned char*, unsigned char*, unsigned char*, unsigned char*, unsigned char*, int);

struct Interface {
    std::string_view name;
    std::string_view key;
    GetMac get_mac;
    GetLink get_link;
};

constexpr std::array interfaces{Interface{"Ethernet", "ethernet", GetRJ45MacAddr, ReadRJ45ConnectStatus},
                                Interface{"WiFi", "wifi", GetWIFIMacAddr, ReadWIFIConnectStatus},
                                Interface{"Bluetooth", "bluetooth", GetBluetoothMacAddr, nullptr},
                                Interface{"BLE", "ble", GetBleMacAddr, nullptr}};

Reading<Mac> read_mac(const ReaderConnection& reader, GetMac get)
{
    auto address = reader.address();
    Reading<Mac> mac;
    mac.code = get(&address, mac.value.data(), reader.handle());
    return mac;
}

Reading<LinkReport> read_link(const ReaderConnection& reader, GetLink get)
{
    auto address = reader.address();
    Reading<LinkReport> link;
    auto& [state, own, mask, gateway] = link.value;
    link.code = get(&address, &state, own.data(), mask.data(), gateway.data(), reader.handle());
    return link;
}

NetworkReport read_network(Session& session, const ReaderConnection& reader)
{
    NetworkReport report;
    for (const auto& interface : interfaces) {
        if (session.interrupts.interrupted()) throw Failure("network: interrupted");
        InterfaceReport read{interface.name, interface.key, read_mac(reader, interface.get_mac), {}};
        if (interface.get_link != nullptr) read.link = read_link(reader, interface.get_link);
        report.push_back(read);
    }
    return report;
}

// Not every reader has all modules.
void complain_about(const ReaderConnection& reader, const NetworkReport& report)
{
    for (const auto& [name, key, mac, link] : report) {
        if (mac.code != 0) complain(fmt::format("{} {}", name, reader.text(mac.code, Operation::Network)));
        if (link && link->code != 0)
            complain(fmt::format("{} {}", name, reader.text(link->code, Operation::Network)));
    }
}

int show_network(Session& session)
{
    const auto reader = connect(session);
    const auto report = read_network(session, *reader);
    if (const auto failure = failure_of(report)) reader->require_success(*failure, Operation::Network);
    reader->require_success(reader->close(), Operation::Close);
    complain_about(*reader, report);
    if (session.options.json) session.out.line(json_line(network_json(report)));
    for (const auto& line : network_lines(report))
        if (!session.options.json) session.out.line(line);
    session.out.flush();
    return exit_success;
}

struct MacArguments {
    std::string mac;
    bool yes = false;
};

Work plan_set_mac(const MacArguments& arguments)
{
    const auto mac = parse_mac(arguments.mac);
    const auto text = mac_text(mac);
    confirm(fmt::format("change the MAC address of the reader's Ethernet port to {}", text), arguments.yes);
    Done done{fmt::format("the Ethernet port has the MAC address {} now", text), {}};
    done.object["type"] = "net-set-mac";
    done.object["mac"] = text;
    return [=](Session& session) {
        return run_call(session, Operation::Network, done, [&](const ReaderConnection& reader, Done&) {
            auto address = reader.address();
            auto given = mac;
            return TagResult{SetRJ45MacAddr(&address, given.data(), reader.handle())};
        });
    };
}

void add_set_mac_options(CLI::App& command, MacArguments& arguments)
{
    command.add_option("MAC", arguments.mac, "six pairs of hexadecimal digits")->required();
    add_yes_option(command, arguments.yes);
    command.footer(
        R"(The new address may end connections over this port. The command asks first, and refuses where it cannot
ask.

Examples:
  tagwire net set-mac 02:00:00:12:34:56
  tagwire net set-mac 02-00-00-12-34-56 --yes)");
}

// -- gps

TagResult read_gps(const ReaderConnection& reader, Done& done)
{
    auto address = reader.address();
    GpsReport gps;
    auto& latitude = gps.latitude;
    auto& longitude = gps.longitude;
    auto& [year, month, day, hour, minute, second] = gps.time;
    const int code = GetGPSInformation(
        &address, &gps.satellites, &gps.state, &latitude.side, &latitude.degrees, &latitude.minutes,
        latitude.fraction.data(), &longitude.side, &longitude.degrees, &longitude.minutes,
        longitude.fraction.data(), &year, &month, &day, &hour, &minute, &second, reader.handle());
    done = {gps_line(gps), gps_json(gps)};
    return {code};
}

// -- 4g

// The longest text of the modem, by its length byte.
using ModemText = std::array<std::uint8_t, 256>;

std::string text_of(const ModemText& bytes, std::uint8_t size)
{
    return {bytes.begin(), bytes.begin() + size};
}

// Readers without a modem have an answer of their own to the same command, and it is too short for texts.
void require_texts(const ModemReport& report, const ReaderConnection& reader)
{
    const auto all = report.imei + report.imsi + report.iccid;
    if (std::all_of(all.begin(), all.end(), [](char c) { return c >= ' ' && c <= '~'; })) return;
    throw Failure(
        fmt::format("4G modem: the answer of the reader {} is not that of a modem: does it have one?",
                    reader.url().place()));
}

TagResult read_modem(const ReaderConnection& reader, Done& done)
{
    auto address = reader.address();
    ModemReport report;
    std::array<ModemText, 3> texts{};
    std::array<std::uint8_t, 3> sizes{};
    const int code =
        Get4GConnectStatus(&address, &report.state, &report.rssi, &sizes[0], texts[0].data(), &sizes[1],
                           texts[1].data(), &sizes[2], texts[2].data(), reader.handle());
    report.imei = text_of(texts[0], sizes[0]);
    report.imsi = text_of(texts[1], sizes[1]);
    report.iccid = text_of(texts[2], sizes[2]);
    if (code == 0) require_texts(report, reader);
    done = {modem_text(report), modem_json(report)};
    return {code};
}

Done server_done(const char* type, const RemoteServer& server)
{
    Done done{server_text(server), {}};
    done.object["type"] = type;
    done.object.update(server_json(server));
    return done;
}

TagResult read_server(const ReaderConnection& reader, Done& done)
{
    auto address = reader.address();
    ModemText host{};
    std::uint8_t size = 0;
    int port = 0;
    const int code = Get4GRemoteServerInformation(&address, &size, host.data(), &port, reader.handle());
    done = server_done("4g-server", {text_of(host, size), static_cast<std::uint16_t>(port)});
    return {code};
}

struct ServerArguments {
    std::string server;
};

Work plan_set_server(const ServerArguments& arguments)
{
    const auto server = parse_server(arguments.server);
    auto done = server_done("4g-server-set", server);
    done.text = fmt::format("the 4G link connects to {} now", done.text);
    return [=](Session& session) {
        return run_call(session, Operation::Modem, done, [&](const ReaderConnection& reader, Done&) {
            auto address = reader.address();
            Bytes host(server.host.begin(), server.host.end());
            return TagResult{Set4GRemoteServerInformation(&address, static_cast<std::uint8_t>(host.size()),
                                                          host.data(), server.port, reader.handle())};
        });
    };
}

void add_server_options(CLI::App& command, ServerArguments& arguments)
{
    command.add_option("HOST:PORT", arguments.server, "where the 4G link connects to")->required();
    command.footer(R"(Examples:
  tagwire 4g server set collect.example.com:9000)");
}

// Makes one call whose outputs are shown.
Prepare shows(Operation operation, TagResult (*read)(const ReaderConnection&, Done&))
{
    return [=] { return [=](Session& session) { return run_call(session, operation, {}, read); }; };
}

void add_modem_commands(Application& application)
{
    auto& group = application.add_group("4g", "The 4G modem.");
    application
        .add_command(group, "show", "Show state, signal and identities of the 4G modem.",
                     shows(Operation::Modem, read_modem))
        .footer("Examples:\n  tagwire 4g show --json");
    auto& server = *group.add_subcommand("server", "The server that the 4G link connects to.");
    server.fallthrough();
    server.require_subcommand(1);
    application.add_command(server, "show", "Show the server.", shows(Operation::Modem, read_server))
        .footer("Examples:\n  tagwire 4g server show");
    add_command_with<ServerArguments>(application, &server, "set", "Set the server.", add_server_options,
                                      plan_set_server);
}

}  // namespace

void add_network_commands(Application& application)
{
    auto& wifi = application.add_group("wifi", "The WiFi module.");
    application
        .add_command(wifi, "scan", "List the WiFi access points in reach.", [] { return Work(scan_wifi); })
        .footer("Examples:\n  tagwire wifi scan\n  tagwire wifi scan --json");
    auto& net = application.add_group("net", "Network interfaces.");
    application
        .add_command(net, "show", "Show MAC addresses and links of all interfaces.",
                     [] { return Work(show_network); })
        .footer("Examples:\n  tagwire net show\n  tagwire net show --json");
    add_command_with<MacArguments>(application, &net, "set-mac", "Set the Ethernet port's MAC address.",
                                   add_set_mac_options, plan_set_mac);
    application
        .add_command("gps", "Show position and time of the GPS receiver.",
                     shows(Operation::Position, read_gps))
        .footer("No fix is no error.\n\nExamples:\n  tagwire gps\n  tagwire gps --json");
    add_modem_commands(application);
}

}  // namespace tagwire::tool
