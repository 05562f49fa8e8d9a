// The commands for network, modem and parameter tables as far as no reader is needed.
#include "at_session.h"
#include "gps_fix.h"
#include "line_reader.h"
#include "message_of.h"
#include "network_view.h"
#include "printable.h"
#include "process.h"
#include "results.h"
#include "table_transfer.h"

#include <algorithm>

#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

using Arguments = std::vector<std::string>;

const Arguments nowhere{"--reader", "tcp://127.0.0.1:1"};

Arguments joined(Arguments first, const Arguments& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(ServicesCommandLine, HelpsWithExamples)
{
    const std::vector<Arguments> commands{
        {"wifi", "scan"},  {"net", "show"},          {"net", "set-mac"},        {"gps"},
        {"4g", "show"},    {"4g", "server", "show"}, {"4g", "server", "set"},   {"at"},
        {"table", "read"}, {"table", "write"},       {"table", "save-factory"}, {"table", "restore"},
        {"table", "clear"}};
    for (const auto& command : commands) {
        std::string example = "\n  tagwire";
        for (const auto& word : command) example += " " + word;
        const auto help = run(TAGWIRE_TOOL_PATH, joined(command, {"--help"}));
        EXPECT_EQ(help.exit_code, 0) << example;
        EXPECT_NE(help.out.find("Examples:"), std::string::npos) << help.out;
        EXPECT_NE(help.out.find(example), std::string::npos) << help.out;
    }
}

class ServicesWrongUsage : public testing::TestWithParam<Arguments> {};

TEST_P(ServicesWrongUsage, EndsBeforeAnythingIsSent)
{
    const auto ended = run(TAGWIRE_TOOL_PATH, joined(GetParam(), nowhere));
    EXPECT_EQ(ended.exit_code, 2) << ended.err;
    EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    EXPECT_EQ(ended.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    OfServices, ServicesWrongUsage,
    testing::Values(Arguments{"wifi"}, Arguments{"wifi", "find"}, Arguments{"net"},
                    Arguments{"net", "set-mac"}, Arguments{"net", "set-mac", "020000000001"},
                    Arguments{"net", "set-mac", "0200000001", "--yes"},
                    Arguments{"net", "set-mac", "010000000001", "--yes"}, Arguments{"4g"},
                    Arguments{"4g", "server"}, Arguments{"4g", "server", "set"},
                    Arguments{"4g", "server", "set", "host"}, Arguments{"4g", "server", "set", "host:0"},
                    Arguments{"at", "--timeout", "256"}, Arguments{"at", "AT\rATZ"}, Arguments{"at", "AT"},
                    Arguments{"at"}));

INSTANTIATE_TEST_SUITE_P(
    OfTables, ServicesWrongUsage,
    testing::Values(Arguments{"table"}, Arguments{"table", "read"}, Arguments{"table", "read", "256"},
                    Arguments{"table", "read", "x"}, Arguments{"table", "write", "1", "--yes"},
                    Arguments{"table", "write", "1", "--data", "123", "--yes"},
                    Arguments{"table", "write", "1", "--data", "12"},
                    Arguments{"table", "write", "1", "/no/such/file", "--yes"},
                    Arguments{"table", "write", "1", "/dev/zero", "--yes"},
                    Arguments{"table", "write", "1", "/dev/null", "--data", "12", "--yes"},
                    Arguments{"table", "save-factory"}, Arguments{"table", "restore"},
                    Arguments{"table", "clear"}, Arguments{"table", "clear", "--option", "0", "--yes"}));

TEST(ServicesCommandLine, SaysThatAtCommandsNeedASerialLine)
{
    EXPECT_EQ(run(TAGWIRE_TOOL_PATH, joined({"at", "AT"}, nowhere)).err,
              "tagwire: AT mode: works over a serial line only, not with the reader at 127.0.0.1:1 (55): use "
              "--reader serial:/dev/DEVICE\n");
}

TEST(ServicesCommandLine, SaysWhatWouldHaveBeenDone)
{
    const auto message = [](const Arguments& arguments) {
        return run(TAGWIRE_TOOL_PATH, joined(arguments, nowhere)).err;
    };
    EXPECT_TRUE(
        message({"table", "write", "7", "--data", "1234"})
            .starts_with("tagwire: this would replace parameter table 7 with 2 bytes for good: nothing"));
    EXPECT_TRUE(
        message({"net", "set-mac", "02-00-00-00-00-ff"})
            .starts_with("tagwire: this would change the MAC address of the reader's Ethernet port to "
                         "02:00:00:00:00:FF for good: nothing"));
}

TEST(ServicesResults, SayWhatToTry)
{
    const auto reader = parse_reader_url("serial:/dev/ttyUSB0");
    EXPECT_EQ(
        result_text(48, Operation::TableWrite, reader),
        "writing the table: the reader on /dev/ttyUSB0 stopped answering half way (48): the table is in "
        "doubt: check power and cable, and write it again");
    EXPECT_EQ(result_text(238, Operation::WifiScan, reader),
              "WiFi scan: the reader on /dev/ttyUSB0 refused the command (238): not every reader has WiFi");
    EXPECT_EQ(
        result_text(48, Operation::LeaveAtMode, reader),
        "leaving the AT mode: the reader on /dev/ttyUSB0 did not confirm it (48): it may still be in this "
        "mode: check power and cable, and run tagwire at < /dev/null");
}

TEST(PrintableText, ShowsControlCharactersOnly)
{
    EXPECT_EQ(printable_text("hall \xC3\xA9 1"), "hall \xC3\xA9 1");
    EXPECT_EQ(printable_text(std::string("a\0b\x1B[2J\x7F\n", 9)), "a\\x00b\\x1B[2J\\x7F\\x0A");
    EXPECT_EQ(printable_text("\xC2\x9B"
                             "2J\xC2\xA0\xC2"),
              "\\xC2\\x9B"
              "2J\xC2\xA0\xC2");
    EXPECT_EQ(printable_text(""), "");
}

TEST(MacAddress, IsWrittenInThreeWays)
{
    const Mac mac{0x02, 0xAB, 0, 0, 0, 0x1F};
    for (const auto* text : {"02:AB:00:00:00:1F", "02-ab-00-00-00-1f", "02AB0000001F"})
        EXPECT_EQ(parse_mac(text), mac) << text;
    EXPECT_EQ(mac_text(mac), "02:AB:00:00:00:1F");
}

TEST(MacAddress, IsRefusedInOthers)
{
    for (const auto* text : {"", "02", "02:AB:00:00:00", "02:AB:00:00:00:1", "02:AB-00:00:00:1F",
                             "02.AB.00.00.00.1F", "02AB0000001G", "02:AB:00:00:00:1F:", "0 :AB:00:00:00:1F"})
        EXPECT_EQ(message_of([&] { parse_mac(text); }),
                  std::string("MAC address '") + text +
                      "' is not valid: use six pairs of digits, 02:00:00:00:00:01");
    for (const auto* text : {"000000000000", "010000000000", "FFFFFFFFFFFF"})
        EXPECT_NE(message_of([&] { parse_mac(text); }).find("belongs to no interface"), std::string::npos)
            << text;
}

const Bytes two_points{1, 2, 3, 4,  5,  6,  0xC4, 1, 0, 0,                       // -60 dBm, no name
                       7, 8, 9, 10, 11, 12, 0xD3, 6, 3, 4, 'h', 'a', 'l', 'l'};  // -45 dBm

TEST(AccessPoints, AreSortedByStrength)
{
    const auto points = decode_access_points(two_points, 2);
    ASSERT_TRUE(points);
    ASSERT_EQ(points->size(), 2u);
    EXPECT_EQ(access_point_line(points->at(0)),
              "07:08:09:0A:0B:0C   -45 dBm  channel   6  security   3  hall");
    EXPECT_EQ(access_point_line(points->at(1)), "01:02:03:04:05:06   -60 dBm  channel   1  security   0  -");
    EXPECT_EQ(
        json_line(access_point_json(points->at(0))),
        R"({"type":"access_point","ssid":"hall","bssid":"07:08:09:0A:0B:0C","rssi_dbm":-45,"channel":6,)"
        R"("security":3})");
    EXPECT_EQ(decode_access_points({}, 0)->size(), 0u);
}

TEST(AccessPoints, OfAnotherFormAreNotGuessed)
{
    EXPECT_FALSE(decode_access_points(two_points, 1));
    EXPECT_FALSE(decode_access_points(two_points, 3));
    EXPECT_FALSE(decode_access_points(std::span(two_points).first(9), 1));
    EXPECT_FALSE(decode_access_points(std::span(two_points).first(23), 2));
}

GpsReport sydney()
{
    GpsReport report;
    report.satellites = 9;
    report.state = 2;
    report.latitude = {'S', 33, 52, {0, 0, 0x13, 0x88}};
    report.longitude = {'E', 151, 12, {0, 0, 0xA4, 0x10}};
    report.time = {24, 12, 31, 23, 59, 58};
    return report;
}

TEST(GpsFix, IsShownInDegrees)
{
    EXPECT_EQ(gps_line(sydney()), "-33.8675000 151.2070000  9 satellites  state 2  2024-12-31T23:59:58Z");
    EXPECT_EQ(json_line(gps_json(sydney())),
              R"({"type":"gps","fix":true,"satellites":9,"state":2,"latitude":-33.8675,"longitude":151.207,)"
              R"("time":"2024-12-31T23:59:58Z"})");
    auto other = sydney();
    other.latitude.side = 'N';
    other.longitude.side = 'W';
    EXPECT_DOUBLE_EQ(position_of(other)->latitude, 33.8675);
    EXPECT_DOUBLE_EQ(position_of(other)->longitude, -151.207);
    other.time[1] = 0;
    EXPECT_EQ(time_of(other), std::nullopt);
}

TEST(GpsFix, IsMissedWithoutAPosition)
{
    std::vector<GpsReport> reports(6, sydney());
    reports[0] = {};
    reports[1].state = 0;
    reports[2].latitude.side = 'E';
    reports[3].latitude.degrees = 91;
    reports[4].longitude.minutes = 60;
    reports[5].longitude.fraction = {0, 1, 0x86, 0xA0};  // a whole minute
    for (const auto& report : reports) EXPECT_FALSE(position_of(report));
    EXPECT_EQ(gps_line(reports[0]), "no fix  0 satellites  state 0");
    EXPECT_EQ(
        json_line(gps_json(reports[0])),
        R"({"type":"gps","fix":false,"satellites":0,"state":0,"latitude":null,"longitude":null,"time":null})");
}

TEST(NetworkReport, ShowsWhatIsNotTold)
{
    InterfaceReport wifi{"WiFi", "wifi", {0, {2, 0, 0, 0, 0, 2}}, Reading<LinkReport>{254, {}}};
    const InterfaceReport ble{"BLE", "ble", {48, {}}, {}};
    EXPECT_EQ(network_lines({wifi, ble}),
              (std::vector<std::string>{"WiFi MAC       02:00:00:00:00:02", "WiFi link      not told (254)",
                                        "BLE MAC        not told (48)"}));
    EXPECT_EQ(json_line(network_json({wifi, ble})),
              R"({"type":"network","wifi":{"mac":"02:00:00:00:00:02","link":null,"link_code":254},)"
              R"("ble":{"mac":null,"mac_code":48}})");
    EXPECT_EQ(failure_of({wifi, ble}), std::nullopt);
    EXPECT_EQ(failure_of({ble, ble}), 48);
    wifi.mac.code = 1;
    wifi.link->value.state = 7;
    wifi.link->code = 0;
    EXPECT_EQ(failure_of({wifi, ble}), std::nullopt);
    EXPECT_EQ(network_lines({wifi})[1],
              "WiFi link      state 7  address 0.0.0.0  mask 0.0.0.0  gateway 0.0.0.0");
}

TEST(RemoteServer, IsANameAndAPort)
{
    const auto server = parse_server("collect.example.com:65535");
    EXPECT_EQ(server.host, "collect.example.com");
    EXPECT_EQ(server.port, 65535);
    EXPECT_EQ(parse_server(std::string(248, 'a') + ":1").host.size(), 248u);
    EXPECT_EQ(server_text({}), "no server");
    for (const auto& text :
         {std::string("host"), std::string(":80"), std::string("a b:80"), std::string("host:")})
        EXPECT_NE(message_of([&] { parse_server(text); }), "no error") << text;
    EXPECT_EQ(message_of([] { parse_server(std::string(249, 'a') + ":1"); }),
              "the server's name has 249 characters: at most 248 can be sent");
}

TEST(AtAnswer, IsTakenApartIntoLines)
{
    using Lines = std::vector<std::string>;
    EXPECT_EQ(answer_lines("AT+CSQ\r\r\n+CSQ: 20,99\r\n\r\nOK\r\n", "AT+CSQ"), (Lines{"+CSQ: 20,99", "OK"}));
    EXPECT_EQ(answer_lines("\r\nAT\r\nAT", "AT"), Lines{"AT"});
    EXPECT_EQ(answer_lines("\r\nRING", ""), Lines{"RING"});
    EXPECT_EQ(answer_lines("", "AT"), Lines{});
    EXPECT_EQ(answer_lines("\r\n", ""), Lines{});
}

TEST(TableDifference, TellsTheFirst)
{
    const Bytes table{1, 2, 3, 4};
    EXPECT_EQ(difference_text(table, table), std::nullopt);
    EXPECT_EQ(difference_text({}, {}), std::nullopt);
    EXPECT_EQ(difference_text(table, {1, 2, 0xFF, 4}),
              "1 byte of the table differs, the first at 2: 0xFF instead of 0x03");
    EXPECT_EQ(difference_text(table, {1, 9, 9, 9}),
              "3 bytes of the table differ, the first at 1: 0x09 instead of 0x02");
    EXPECT_EQ(difference_text(table, {}), "the table has 0 bytes instead of 4");
}

class LinesOfAPipe : public testing::Test {
  protected:
    LinesOfAPipe()
    {
        EXPECT_EQ(pipe(ends.data()), 0);
        interrupt = eventfd(0, EFD_CLOEXEC);
    }
    ~LinesOfAPipe() override
    {
        for (const int fd : {ends[0], ends[1], interrupt})
            if (fd >= 0) close(fd);
    }
    void write_text(const std::string& text) const
    {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end_input() { close(std::exchange(ends[1], -1)); }

    std::array<int, 2> ends{};
    int interrupt = -1;
};

TEST_F(LinesOfAPipe, ComeOneByOne)
{
    LineReader lines(ends[0], interrupt);
    write_text("AT\r\n\nAT+");
    EXPECT_EQ(lines.next(), "AT");
    EXPECT_EQ(lines.next(), "");
    write_text("CSQ");
    end_input();
    EXPECT_EQ(lines.next(), "AT+CSQ");
    EXPECT_EQ(lines.next(), std::nullopt);
}

TEST_F(LinesOfAPipe, EndWithASignal)
{
    LineReader lines(ends[0], interrupt);
    write_text("AT\nATZ\n");
    EXPECT_EQ(lines.next(), "AT");
    ASSERT_EQ(eventfd_write(interrupt, 1), 0);
    EXPECT_EQ(lines.next(), std::nullopt);
}

}  // namespace
}  // namespace tagwire::tool::test
