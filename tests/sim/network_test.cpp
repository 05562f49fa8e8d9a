#include "exchange.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;

constexpr const char* portal = R"(
[reader]
family = "mobile"
[network]
wifi_mac = "0A0B 0C0D 0E0F"
ethernet_up = true
ethernet_address = "192.0.2.20"
ethernet_mask = "255.255.255.0"
ethernet_gateway = "192.0.2.1"
wifi_address = "10.0.0.7"
[[access_point]]
ssid = "hall"
bssid = "A0A1 A2A3 A4A5"
rssi = -45
channel = 6
security = 3
[[access_point]]
[gps]
satellites = 9
state = 2
latitude = -33.8675
longitude = 151.20700
time = 2024-12-31T23:59:58Z
[modem]
state = 1
rssi = 20
imei = "123"
iccid = "89"
server = "host"
port = 8080
)";

TEST(Network, MacAddresses)
{
    Bench bench(portal);
    run(bench, {{0xF2, "52 52", {"00 02 00 00 00 00 01"}},
                {0xF2, "52 53", {"00 0A 0B 0C 0D 0E 0F"}},
                {0xF2, "52 54", {"00 02 00 00 00 00 03"}},
                {0xF2, "52 55", {"00 02 00 00 00 00 04"}},
                {0xF1, "52 52 11 12 13 14 15 16", {"00"}},
                {0xF2, "52 52", {"00 11 12 13 14 15 16"}}});
    EXPECT_EQ(bench.hex().front(), "0B 00 F2 00 11 12 13 14 15 16 66 B3");
}

TEST(Network, MacAddressesNeedGuardAndInterface)
{
    Bench bench(portal);
    run(bench, {{0xF2, "53 52", {"FF"}},
                {0xF2, "52 51", {"FF"}},
                {0xF2, "52 56", {"FF"}},
                {0xF2, "52", {"FF"}},
                {0xF1, "52 53 11 12 13 14 15 16", {"FF"}},
                {0xF1, "51 52 11 12 13 14 15 16", {"FF"}},
                {0xF1, "52 52 11 12 13 14 15", {"FF"}},
                {0xF2, "52 52", {"00 02 00 00 00 00 01"}}});
}

TEST(Network, Links)
{
    Bench bench(portal);
    run(bench, {{0xE6, "0C 00", {"00 0C 01 C0 00 02 14 FF FF FF 00 C0 00 02 01"}},
                {0xE6, "0C 01", {"00 0C 00 0A 00 00 07 00 00 00 00 00 00 00 00"}},
                {0xE6, "0C 02", {"FF 0C"}},
                {0xE6, "0C", {"FF 0C"}}});
}

TEST(Network, AccessPoints)
{
    Bench bench(portal);
    run(bench, {{0xE6,
                 "0B",
                 {"03 0B A0 A1 A2 A3 A4 A5 D3 06 03 04 68 61 6C 6C", "03 0B 00 00 00 00 00 00 C4 01 00 00",
                  "00 0B"}},
                {0xE6, "0B 00", {"FF 0B"}}});
    Bench alone{Scenario{}};
    run(alone, {{0xE6, "0B", {"00 0B"}}});
}

TEST(Network, Position)
{
    Bench bench(portal);
    const std::string place = "00 09 02 53 21 34 00 00 13 88 45 97 0C 00 00 A4 10 ";
    run(bench, {{0xB0, "", {place + "18 0C 1F 17 3B 3A"}}});
    bench.pass(seconds(3));
    run(bench, {{0xB0, "", {place + "19 01 01 00 00 01"}}});
}

TEST(Network, NoPositionWithoutFix)
{
    Scenario scenario = Scenario::from_text(portal);
    scenario.services.gps.reset();
    Bench bench(scenario);
    run(bench, {{0xB0, "", {"00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}}});
}

TEST(Network, Modem)
{
    Bench bench(portal);
    run(bench, {{0xB1, "", {"00 01 14 03 31 32 33 00 02 38 39"}},
                {0xB3, "", {"00 04 68 6F 73 74 1F 90"}},
                {0xB2, "02 61 62 12 34", {"00"}},
                {0xB3, "", {"00 02 61 62 12 34"}},
                {0xB2, "00 00 50", {"00"}},
                {0xB3, "", {"00 00 00 50"}},
                {0xB2, "", {"FF"}},
                {0xB2, "02 61 62 12", {"FF"}},
                {0xB2, "01 61 62 12 34", {"FF"}},
                {0xB3, "", {"00 00 00 50"}}});
}

TEST(Network, LongestServer)
{
    Bench bench(portal);
    const std::string name = to_hex(Bytes(247, 0x61), " ");
    const std::string longest = "F7" + name + "0001";
    const std::string too_long = "F8" + name + "610001";
    run(bench, {{0xB2, longest.c_str(), {"00"}},
                {0xB3, "", {"00 F7 " + name + " 00 01"}},
                {0xB2, too_long.c_str(), {"FF"}}});
}

TEST(Network, OtherFamiliesHaveNoModem)
{
    Bench bench{Scenario{}};
    run(bench,
        {{0xB0, "", {"FE"}}, {0xB1, "", {"00 00 00"}}, {0xB2, "00 00 50", {"FE"}}, {0xB3, "", {"FE"}}});
}

TEST(Network, TestsSeeWhatAHostHasSet)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(portal);
    Peer peer = Peer::connect(reader.listen());
    EXPECT_EQ(reader.remote_server().address, "host");
    peer.send("0C 00 F1 52 52 11 12 13 14 15 16 F7 7F");
    EXPECT_EQ(peer.receive_frame(), "05 00 F1 00 A6 08");
    EXPECT_EQ(reader.network().mac(Interface::ethernet), (MacAddress{0x11, 0x12, 0x13, 0x14, 0x15, 0x16}));
}

constexpr const char* scripted = R"(
[modem]
answers = { "AT+CSQ" = "+CSQ: 20,99\nOK", "AT+LIST" = "0123456789\n0123456789\nOK" }
)";

std::string bytes_of(const std::string& text) { return to_hex(Bytes(text.begin(), text.end()), " "); }

// What the modem says when these characters are passed to it.
std::string pass(Bench& bench, const std::string& text, std::uint8_t timeout = 10)
{
    Bytes data{timeout};
    append(data, Bytes(text.begin(), text.end()));
    bench.command(0x4E, data);
    if (bench.frames.empty()) return "(no answer)";
    EXPECT_EQ(bench.frames.size(), 1U);
    const Bytes& frame = bench.frames.front().bytes;
    EXPECT_EQ(frame.at(3), 0);
    return std::string(frame.begin() + 4, frame.end() - 2);
}

TEST(AtMode, BytesPassOnlyInIt)
{
    Bench bench(scripted);
    run(bench, {{0x4E, "0A 41 54 0D", {"F6"}},
                {0x4D, "02", {"FF"}},
                {0x4D, "", {"FF"}},
                {0x4D, "01", {"00"}},
                {0x4E, "", {"FF"}},
                {0x4E, "0A 41 54 0D", {"00 " + bytes_of("AT\r\r\nOK\r\n")}},
                {0x4D, "00", {"00"}},
                {0x4E, "0A 41 54 0D", {"F6"}}});
    EXPECT_THAT(bench.device.services().modem.state().commands, ElementsAre("AT"));
}

TEST(AtMode, Commands)
{
    Bench bench(scripted);
    bench.command(0x4D, {1});
    EXPECT_EQ(pass(bench, "ATE0\r"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(pass(bench, "at\r\n"), "\r\nOK\r\n");
    EXPECT_EQ(pass(bench, "at+csq\r"), "\r\n+CSQ: 20,99\r\n\r\nOK\r\n");
    EXPECT_EQ(pass(bench, "AT+WHAT\r"), "\r\nERROR\r\n");
    EXPECT_EQ(pass(bench, "\r"), "");
    EXPECT_EQ(pass(bench, "AT\rATE1\r"), "\r\nOK\r\n\r\nOK\r\n");
    EXPECT_EQ(pass(bench, "AT\r"), "AT\r\r\nOK\r\n");
}

TEST(AtMode, LinesMayComeInPieces)
{
    Bench bench(scripted);
    bench.command(0x4D, {1});
    EXPECT_EQ(pass(bench, "A"), "A");
    EXPECT_EQ(pass(bench, ""), "");
    EXPECT_EQ(pass(bench, "T\r"), "T\r\r\nOK\r\n");
}

TEST(AtMode, WhatDoesNotFitAFrameComesWithTheNext)
{
    Bench bench(scripted);
    ModemSettings settings;
    settings.echo = false;
    settings.answers = {{"AT", std::string(300, 'x')}};
    bench.device.services().modem = Modem(settings);
    bench.command(0x4D, {1});
    EXPECT_EQ(pass(bench, "AT\r"), "\r\n" + std::string(248, 'x'));
    EXPECT_EQ(pass(bench, ""), std::string(52, 'x') + "\r\n");
}

TEST(AtMode, ASlowModemIsWaitedForUntilTheTimeIsOver)
{
    Scenario scenario = Scenario::from_text(scripted);
    scenario.services.modem.echo = false;
    scenario.services.modem.answer_time = milliseconds(250);
    Bench bench(scenario);
    bench.command(0x4D, {1});
    EXPECT_EQ(pass(bench, "AT\r", 3), "(no answer)");
    bench.pass(milliseconds(249));
    EXPECT_THAT(bench.frames, testing::IsEmpty());
    bench.pass(milliseconds(2));
    EXPECT_THAT(bench.hex(), ElementsAre("0B 00 4E 00 0D 0A 4F 4B 0D 0A F0 39"));

    EXPECT_EQ(pass(bench, "AT\r", 2), "(no answer)");
    bench.pass(milliseconds(201));
    EXPECT_THAT(bench.hex(), ElementsAre("05 00 4E 00 00 B1"));
    bench.pass(milliseconds(50));
    EXPECT_EQ(pass(bench, ""), "\r\nOK\r\n");
}

TEST(AtMode, ARestartLeavesIt)
{
    Bench bench(scripted);
    bench.command(0x4D, {1});
    EXPECT_EQ(pass(bench, "ATE0\rAT+"), "ATE0\r\r\nOK\r\n");
    bench.device.restart();
    run(bench, {{0x4E, "0A", {"F6"}}, {0x4D, "01", {"00"}}});
    EXPECT_EQ(pass(bench, "AT\r"), "AT\r\r\nOK\r\n");
}

TEST(AtMode, OverASerialLine)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(scripted);
    Peer peer = Peer::open(reader.open_pty());
    peer.send("05 00 4D 01 E1 8A");
    EXPECT_EQ(peer.receive_frame(), "05 00 4D 00 68 9B");
    EXPECT_TRUE(reader.modem().passes);
    peer.send("08 00 4E 0A 41 54 0D 8F E2");
    EXPECT_EQ(peer.receive_frame(), "0E 00 4E 00 41 54 0D 0D 0A 4F 4B 0D 0A 07 C4");
    EXPECT_THAT(reader.modem().commands, ElementsAre("AT"));
}

struct Wrong {
    const char* text;
    const char* problem;
};

TEST(Services, WrongScenariosAreRefused)
{
    const Wrong scenarios[] = {
        {"[network]\nethernet_address = \"1.2.3\"", "must be an IPv4 address"},
        {"[network]\nethernet_address = \"1.2.3.256\"", "must be an IPv4 address"},
        {"[network]\nethernet_address = \"1.2.3.4.\"", "must be an IPv4 address"},
        {"[network]\nble_mac = \"0102\"", "must be 6 bytes"},
        {"[network]\nspeed = 1", "has no key 'speed'"},
        {"network = 1", "this is written as [network]"},
        {"[access_point]\nssid = \"a\"", "with two brackets"},
        {"[[access_point]]\nrssi = 1", "rssi must be a whole number from -128 to 0"},
        {"[[access_point]]\nssid = \"0123456789012345678901234567890123\"", "string of 32 bytes at most"},
        {"[gps]\nlatitude = 91", "must be degrees from -90 to 90"},
        {"[gps]\ntime = 1999-12-31T00:00:00Z", "from 2000 to 2099"},
        {"[gps]\ntime = \"now\"", "from 2000 to 2099"},
        {"[modem]\nport = 65536", "port must be a whole number"},
        {"[modem]\nanswers = { \"at\" = \"OK\" }", "is not in capitals"},
        {"[modem]\nanswers = { \"AT\" = 1 }", "must be a string"},
        {"[firmware]\nblock = 251", "block must be a whole number from 1 to 250"},
        {"[firmware]\nimage = 0", "image must be a whole number"},
        {"[firmware]\nnext_version = \"2\"", "must be two numbers"},
        {"[[table]]\ndata = \"01\"", "needs a number"},
        {"[[table]]\nnumber = 256", "number must be a whole number"},
        {"[[table]]\nnumber = 1\n[[table]]\nnumber = 1", "two parameter tables 1"},
    };
    for (const Wrong& wrong : scenarios) {
        try {
            Scenario::from_text(wrong.text);
            ADD_FAILURE() << "was accepted: " << wrong.text;
        } catch (const ScenarioError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(wrong.problem)) << wrong.text;
        }
    }
}

}  // namespace
}  // namespace tagwire::sim
