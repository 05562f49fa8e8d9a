#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/groups.h"
#include "option.h"
#include "printable.h"
#include "rows.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

// -- wifi

Deed row_of(const AccessPoint& point)
{
    const auto bssid = printed(point.bssid);
    Deed row = deed("access_point",
                    fmt::format("{}  {:4} dBm  channel {:3}  security {:3}  {}", bssid, point.rssi,
                                point.channel, point.security, shown_id(printable_text(point.ssid))));
    row.fields["ssid"] = point.ssid;
    row.fields["bssid"] = bssid;
    row.fields["rssi_dbm"] = point.rssi;
    row.fields["channel"] = point.channel;
    row.fields["security"] = point.security;
    return row;
}

Rows scan_wifi(Reader& reader)
{
    const auto found = reader.network().scan_wifi();
    Rows told{{}, counted(found.count, "access point")};
    for (const auto& point : found.access_points) told.rows.push_back(row_of(point));
    if (!found.unknown) return told;
    auto& row = told.rows.emplace_back(deed("access_points", to_hex(*found.unknown)));
    row.fields["count"] = found.count;
    row.fields["data"] = row.text;
    told.summary += "; their records are not in the usual form: shown as they came";
    return told;
}

// -- net

constexpr Choices<Interface, 4> interfaces{{{"Ethernet", Interface::ethernet},
                                            {"WiFi", Interface::wifi},
                                            {"Bluetooth", Interface::bluetooth},
                                            {"BLE", Interface::ble}}};

std::string state_text(int state)
{
    return state == 0 ? "down" : state == 1 ? "up" : fmt::format("state {}", state);
}

void add_mac(Deed& done, const std::string& name, const InterfaceReport& report, Json& object)
{
    const auto mac = report.mac ? printed(*report.mac) : std::string("not told");
    object["mac"] = report.mac ? Json(mac) : Json();
    if (!report.mac) object["mac_problem"] = report.mac_problem;
    add(done, name + " MAC", mac, to_string(report.interface), object);
}

void add_link(Deed& done, const std::string& name, const InterfaceReport& report, Json& object)
{
    if (!report.link) {
        object["link"] = Json();
        object["link_problem"] = report.link_problem;
        return add(done, name + " link", "not told", to_string(report.interface), object);
    }
    auto& link = object["link"];
    link["state"] = report.link->state;
    link["address"] = printed(report.link->address);
    link["mask"] = printed(report.link->mask);
    link["gateway"] = printed(report.link->gateway);
    add(done, name + " link",
        fmt::format("{}  address {}  mask {}  gateway {}", state_text(report.link->state),
                    printed(report.link->address), printed(report.link->mask), printed(report.link->gateway)),
        to_string(report.interface), object);
}

// Not every reader has all modules.
void show_interfaces(Reader& reader, Deed& done)
{
    for (const auto& report : reader.network().interfaces()) {
        const auto name = name_of(report.interface, interfaces);
        Json object;
        add_mac(done, name, report, object);
        if (report.link || !report.link_problem.empty()) add_link(done, name, report, object);
        for (const auto& problem : {report.mac_problem, report.link_problem})
            if (!problem.empty()) complain(fmt::format("{}: {}", name, problem));
    }
}

struct NewMac {
    MacAddress mac;
    bool yes = false;
};

void add_set_mac_options(CLI::App& command, NewMac& given)
{
    option(
        command, "MAC", given.mac,
        [](const std::string& text, const std::string&) { return MacAddress(text); },
        "six pairs of hexadecimal digits", "MAC")
        ->required();
    add_yes_option(command, given.yes);
    command.footer(
        R"(The new address may end connections over this port. The command asks first, and refuses where it cannot
ask.

Examples:
  tagwire net set-mac 02:00:00:12:34:56
  tagwire net set-mac 02-00-00-12-34-56 --yes)");
}

Work plan_set_mac(const NewMac& given)
{
    const auto mac = printed(given.mac);
    confirm(fmt::format("change the MAC address of the reader's Ethernet port to {}", mac), given.yes);
    Deed head = deed("net-set-mac", fmt::format("the Ethernet port has the MAC address {} now", mac));
    head.fields["mac"] = mac;
    return work(head, [=](Reader& reader, Deed&) { reader.network().set_mac(given.mac); });
}

// -- gps

std::string time_text(const Position& position)
{
    constexpr std::size_t to_the_second = 19;
    if (!position.time) return fmt::format("time as told {}", fmt::join(position.time_as_told, " "));
    return timestamp_text(*position.time).substr(0, to_the_second) + "Z";
}

void add_angle(Json& fields, const std::string& key, const std::optional<double>& degrees,
               const PositionAngle& told, bool has_fix)
{
    fields[key] = degrees ? Json(*degrees) : Json();
    if (has_fix && !degrees) fields[key + "_as_told"] = printed(told);
}

// A coding that is not known is shown as it came.
void show_position(Reader& reader, Deed& done)
{
    const auto position = reader.position();
    const bool has_fix = position.has_fix();
    const auto& [latitude, longitude] = std::tie(position.latitude, position.longitude);
    done.text = !has_fix                ? "no fix"
                : latitude && longitude ? fmt::format("{:.7f} {:.7f}", *latitude, *longitude)
                                        : fmt::format("as told {} {}", printed(position.latitude_as_told),
                                                      printed(position.longitude_as_told));
    done.text += fmt::format("  {}  state {}", counted(position.satellites, "satellite"), position.state);
    if (has_fix) done.text += "  " + time_text(position);
    done.fields["fix"] = has_fix;
    done.fields["satellites"] = position.satellites;
    done.fields["state"] = position.state;
    add_angle(done.fields, "latitude", latitude, position.latitude_as_told, has_fix);
    add_angle(done.fields, "longitude", longitude, position.longitude_as_told, has_fix);
    done.fields["time"] = position.time ? Json(time_text(position)) : Json();
    if (has_fix && !position.time) done.fields["time_as_told"] = position.time_as_told;
}

// -- 4g

void show_modem(Reader& reader, Deed& done)
{
    const auto modem = reader.network().modem();
    add(done, "state", std::to_string(modem.state), "state", modem.state);
    add(done, "signal", std::to_string(modem.rssi), "rssi", modem.rssi);
    add(done, "IMEI", shown_id(modem.imei), "imei", modem.imei);
    add(done, "IMSI", shown_id(modem.imsi), "imsi", modem.imsi);
    add(done, "ICCID", shown_id(modem.iccid), "iccid", modem.iccid);
}

void add_server(Deed& done, const RemoteServer& server)
{
    done.text = server.host.empty() && server.port == 0
                    ? "no server"
                    : fmt::format("{}:{}", printable_text(server.host), server.port);
    done.fields["host"] = server.host;
    done.fields["port"] = server.port;
}

struct NewServer {
    RemoteServer server;
    bool yes = false;
};

void add_server_options(CLI::App& command, NewServer& given)
{
    option(
        command, "HOST:PORT", given.server,
        [](const std::string& text, const std::string&) { return RemoteServer::parse(text); },
        "where the 4G link connects to", "HOST:PORT")
        ->required();
    add_yes_option(command, given.yes);
    command.footer(
        R"(Who reaches the reader over its 4G link may lose it. The command asks first, and refuses where it
cannot ask.

Examples:
  tagwire 4g server set collect.example.com:9000
  tagwire 4g server set collect.example.com:9000 --yes)");
}

Work plan_set_server(const NewServer& given)
{
    Deed head = deed("4g-server-set");
    add_server(head, given.server);
    confirm(fmt::format("have the reader's 4G link connect to {}", head.text), given.yes, "");
    head.text = fmt::format("the 4G link connects to {} now", head.text);
    return work(head, [=](Reader& reader, Deed&) { reader.network().set_server(given.server); });
}

void add_modem_commands(Application& application)
{
    auto& group = application.add_group("4g", "The 4G modem.");
    add_question(application, group, "show", "Show state, signal and identities of the 4G modem.",
                 work(deed("4g"), show_modem), "Examples:\n  tagwire 4g show --json");
    auto& server = *group.add_subcommand("server", "The server that the 4G link connects to.");
    server.fallthrough();
    server.require_subcommand(1);
    const auto show_server = [](Reader& reader, Deed& done) { add_server(done, reader.network().server()); };
    add_question(application, server, "show", "Show the server.", work(deed("4g-server"), show_server),
                 "Examples:\n  tagwire 4g server show");
    application.set_readers(add_command_with<NewServer>(application, &server, "set", "Set the server.",
                                                        add_server_options, plan_set_server),
                            Readers::each);
}

}  // namespace

void add_network_commands(Application& application)
{
    auto& wifi = application.add_group("wifi", "The WiFi module.");
    add_question(application, wifi, "scan", "List the WiFi access points in reach.",
                 rows_work("access_points", scan_wifi),
                 "Examples:\n  tagwire wifi scan\n  tagwire wifi scan --json");
    auto& net = application.add_group("net", "Network interfaces.");
    add_question(application, net, "show", "Show MAC addresses and links of all interfaces.",
                 work(deed("network"), show_interfaces),
                 "Examples:\n  tagwire net show\n  tagwire net show --json");
    add_to(application, net, "set-mac", "Set the Ethernet port's MAC address.", add_set_mac_options,
           plan_set_mac);
    auto& gps = application.add_command("gps", "Show position and time of the GPS receiver.",
                                        [] { return work(deed("gps"), show_position); });
    gps.footer(R"(No fix (state 0) is no error. What is of a coding that is not known is shown as it came.

Examples:
  tagwire gps
  tagwire gps --json)");
    application.set_readers(gps, Readers::each);
    add_modem_commands(application);
}

}  // namespace tagwire::tool
