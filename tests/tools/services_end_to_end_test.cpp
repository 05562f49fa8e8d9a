// Commands for network, modem and parameter tables against a virtual reader, over both kinds of link.
#include "terminal_session.h"
#include "virtual_reader.h"

#include <algorithm>
#include <chrono>

#include <signal.h>

#include <gtest/gtest.h>

#include "simulator.h"

namespace tagwire::tool::test {
namespace {

constexpr const char* portal = R"(
[reader]
family = "mobile"
address = 7
[network]
ethernet_mac = "0210 2030 4050"
wifi_mac = "0A0B 0C0D 0E0F"
ethernet_up = true
ethernet_address = "192.0.2.20"
ethernet_mask = "255.255.255.0"
ethernet_gateway = "192.0.2.1"
[[access_point]]
ssid = "yard"
bssid = "B0B1 B2B3 B4B5"
rssi = -71
channel = 13
security = 4
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
time = 2024-12-31T23:00:00Z
[modem]
state = 1
rssi = 20
imei = "490154203237518"
iccid = "8949"
server = "host"
port = 8080
answers = { "AT+CSQ" = "+CSQ: 20,99\nOK" }
[firmware]
boot_ms = 0
)";

Arguments joined(Arguments first, const Arguments& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A reader in this process, and the tool as a process that works with it.
class ServiceReader {
  public:
    enum class Link { tcp, pty };

    explicit ServiceReader(Link link, const std::string& scenario = portal)
        : reader_(simulator_.add_reader_from_text(scenario)),
          url_(link == Link::tcp ? "tcp://127.0.0.1:" + std::to_string(reader_.listen())
                                 : "serial:" + reader_.open_pty())
    {}

    sim::Reader* operator->() { return &reader_; }
    void fault(const std::string& text) { reader_.inject(sim::Fault::parse(text)); }

    Arguments arguments(const Arguments& arguments) const { return joined(arguments, {"--reader", url_}); }
    Ended tool(const Arguments& words, const std::string& input_file = "/dev/null") const
    {
        return run(TAGWIRE_TOOL_PATH, arguments(words), {}, input_file);
    }
    // Without the reader's name, which all have.
    std::vector<Json> objects(const Arguments& words, int exit_code = 0) const
    {
        const auto ended = tool(joined(words, {"--json"}));
        EXPECT_EQ(ended.exit_code, exit_code) << ended.err;
        auto objects = objects_of(ended.out);
        for (auto& object : objects) {
            EXPECT_EQ(object["reader"], url_);
            object.erase("reader");
        }
        return objects;
    }

  private:
    sim::Simulator simulator_;
    sim::Reader& reader_;
    std::string url_;
};

void expect_failure(const Ended& ended, const std::string& message)
{
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find(message), std::string::npos) << ended.err;
}

class ServicesEndToEnd : public testing::TestWithParam<ServiceReader::Link> {
  protected:
    ServiceReader reader{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, ServicesEndToEnd,
                         testing::Values(ServiceReader::Link::tcp, ServiceReader::Link::pty),
                         [](const auto& link) {
                             return std::string(link.param == ServiceReader::Link::tcp ? "tcp" : "pty");
                         });

// -- network

const char* const all_points = "A0:A1:A2:A3:A4:A5   -45 dBm  channel   6  security   3  hall\n"
                               "00:00:00:00:00:00   -60 dBm  channel   1  security   0  -\n"
                               "B0:B1:B2:B3:B4:B5   -71 dBm  channel  13  security   4  yard\n";

TEST_P(ServicesEndToEnd, ListAccessPoints)
{
    const auto ended = reader.tool({"wifi", "scan"});
    EXPECT_EQ(ended.out, all_points);
    EXPECT_EQ(ended.err, "3 access points\n");
    const auto objects = reader.objects({"wifi", "scan"});
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0], Json::parse(R"({"type":"access_point","ssid":"hall","bssid":"A0:A1:A2:A3:A4:A5",)"
                                      R"("rssi_dbm":-45,"channel":6,"security":3})"));
}

TEST_P(ServicesEndToEnd, ListAccessPointsOverABadLine)
{
    reader.fault("split:command=0xE6,at=1+3+7,ms=20,count=0");
    reader.fault("noise:command=0xE6,bytes=00FF12,count=2");
    EXPECT_EQ(reader.tool({"wifi", "scan"}).out, all_points);
    reader.fault("flip:command=0xE6,byte=8,bit=2");
    EXPECT_EQ(lines_of(reader.tool({"wifi", "scan"}).out).size(), 2u);
    reader.fault("lose:command=0xE6,skip=1");
    EXPECT_EQ(reader.tool({"wifi", "scan"}).err, "2 access points\n");
    reader.fault("error:command=0xE6,status=0xFE");
    expect_failure(reader.tool({"wifi", "scan"}), "look for access points (");
    reader.fault("error:command=0xE6,status=0xFE");
    const auto failed = reader.objects({"wifi", "scan"}, 1);
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(failed[0]["type"], "access_points");
    EXPECT_TRUE(failed[0].contains("error"));
}

TEST_P(ServicesEndToEnd, EndAScanThatIsInterrupted)
{
    reader.fault("lose:command=0xE6,skip=3");
    Process process(TAGWIRE_TOOL_PATH, reader.arguments({"wifi", "scan"}));
    ASSERT_TRUE(reader->wait_for_command(0xE6));
    process.send_signal(SIGINT);
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_TRUE(ended.err.starts_with("tagwire: look for access points (")) << ended.err;
}

TEST_P(ServicesEndToEnd, ShowInterfaces)
{
    EXPECT_EQ(reader.tool({"net", "show"}).out,
              "Ethernet MAC     02:10:20:30:40:50\n"
              "Ethernet link    up  address 192.0.2.20  mask 255.255.255.0  gateway 192.0.2.1\n"
              "WiFi MAC         0A:0B:0C:0D:0E:0F\n"
              "WiFi link        down  address 0.0.0.0  mask 0.0.0.0  gateway 0.0.0.0\n"
              "Bluetooth MAC    02:00:00:00:00:03\n"
              "BLE MAC          02:00:00:00:00:04\n");
    const auto objects = reader.objects({"net", "show"});
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(objects[0]["ethernet"], Json::parse(R"({"mac":"02:10:20:30:40:50","link":{"state":1,"address":)"
                                                  R"("192.0.2.20","mask":"255.255.255.0",)"
                                                  R"("gateway":"192.0.2.1"}})"));
}

TEST_P(ServicesEndToEnd, ShowTheInterfacesThatThereAre)
{
    reader.fault("error:command=0xF2,status=0xFE,skip=3");
    reader.fault("error:command=0xE6,status=0xFE,skip=1");
    const auto ended = reader.tool({"net", "show"});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_NE(ended.out.find("WiFi link        not told\n"), std::string::npos) << ended.out;
    EXPECT_NE(ended.out.find("BLE MAC          not told\n"), std::string::npos) << ended.out;
    EXPECT_NE(ended.err.find("tagwire: BLE: ask for a MAC address ("), std::string::npos) << ended.err;
    reader.fault("error:command=0xF2,status=0xFE,skip=3");
    const auto object = reader.objects({"net", "show"}).at(0);
    EXPECT_TRUE(object["ble"]["mac"].is_null());
    EXPECT_NE(object["ble"]["mac_problem"], "");
    for (const auto* const command : {"0xF2", "0xE6"})
        reader.fault(std::string("error:status=0xFE,count=0,command=") + command);
    expect_failure(reader.tool({"net", "show"}), "ask for a MAC address (");
}

TEST_P(ServicesEndToEnd, SayThatTheReaderIsGoneAmongItsInterfaces)
{
    reader.fault("lose:command=0xF2,skip=1,count=0");
    const auto ended = reader.tool({"net", "show"});
    expect_failure(ended, "ask for a");
    EXPECT_EQ(ended.out, "");
}

TEST_P(ServicesEndToEnd, SetTheMacAddress)
{
    EXPECT_EQ(reader.tool({"net", "set-mac", "02:00:00:AA:BB:CC"}).exit_code, 2);
    EXPECT_EQ(reader->counters().requests, 0u);
    const auto ended = reader.tool({"net", "set-mac", "02:00:00:AA:BB:CC", "--yes"});
    EXPECT_EQ(ended.out, "the Ethernet port has the MAC address 02:00:00:AA:BB:CC now\n") << ended.err;
    EXPECT_EQ(reader->network().mac(sim::Interface::ethernet), (sim::MacAddress{2, 0, 0, 0xAA, 0xBB, 0xCC}));
}

TEST_P(ServicesEndToEnd, ShowThePosition)
{
    const auto ended = reader.tool({"gps"});
    EXPECT_TRUE(ended.out.starts_with("-33.8675000 151.2070000  9 satellites  state 2  2024-12-31T23:00:"))
        << ended.out;
    const auto objects = reader.objects({"gps"});
    EXPECT_EQ(objects.at(0)["fix"], true);
    EXPECT_DOUBLE_EQ(objects.at(0)["longitude"], 151.207);
}

TEST_P(ServicesEndToEnd, ShowAPositionOfAnotherCodingAsItCame)
{
    reader.fault("set:command=0xB0,byte=6,value=0x58");
    const auto ended = reader.tool({"gps"});
    EXPECT_TRUE(ended.out.starts_with("as told 0x58 33 52.")) << ended.out << ended.err;
}

TEST_P(ServicesEndToEnd, SayThatThereIsNoFix)
{
    ServiceReader indoors(GetParam(), "[reader]\nfamily = \"mobile\"\n");
    const auto ended = indoors.tool({"gps"});
    EXPECT_EQ(ended.out, "no fix  0 satellites  state 0\n");
    EXPECT_EQ(ended.exit_code, 0);
    ServiceReader other(GetParam(), "");
    expect_failure(other.tool({"gps"}), "ask for the position (");
}

TEST_P(ServicesEndToEnd, ShowTheModem)
{
    EXPECT_EQ(reader.tool({"4g", "show"}).out, "state            1\nsignal           20\n"
                                               "IMEI             490154203237518\nIMSI             -\n"
                                               "ICCID            8949\n");
    EXPECT_EQ(reader.objects({"4g", "show"}).at(0),
              Json::parse(R"({"type":"4g","state":1,"rssi":20,"imei":"490154203237518","imsi":"",)"
                          R"("iccid":"8949"})"));
    ServiceReader other(GetParam(), "");
    expect_failure(other.tool({"4g", "show"}), "is this a reader of another kind?");
}

TEST_P(ServicesEndToEnd, SetTheServer)
{
    EXPECT_EQ(reader.tool({"4g", "server", "show"}).out, "host:8080\n");
    EXPECT_EQ(reader.tool({"4g", "server", "set", "collect.example.com:65535", "--yes"}).out,
              "the 4G link connects to collect.example.com:65535 now\n");
    EXPECT_EQ(reader->remote_server().address, "collect.example.com");
    EXPECT_EQ(reader.objects({"4g", "server", "show"}).at(0),
              Json::parse(R"({"type":"4g-server","host":"collect.example.com","port":65535})"));
    const std::string longest(247, 'h');
    EXPECT_EQ(reader.tool({"4g", "server", "set", longest + ":1", "--yes"}).exit_code, 0);
    EXPECT_EQ(reader.tool({"4g", "server", "show"}).out, longest + ":1\n");
    reader.fault("flip:command=0xB3,byte=7,bit=0");
    expect_failure(reader.tool({"4g", "server", "show"}), "ask for the modem's server (");
    EXPECT_EQ(reader.tool({"4g", "server", "set", "host:1"}).exit_code, 2);
    EXPECT_EQ(reader->remote_server().address, longest);
}

// -- tables

std::string pattern(std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 256);
    return bytes;
}

std::string text_of(const sim::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST_P(ServicesEndToEnd, WriteAndReadTablesOfAllSizes)
{
    const TemporaryDirectory directory;
    for (const std::size_t size : {0U, 1U, 239U, 240U, 241U, 480U, 65535U}) {
        const auto file = directory.write("table", pattern(size));
        const auto written = reader.tool({"table", "write", "7", file, "--yes"});
        EXPECT_EQ(written.exit_code, 0) << written.err;
        EXPECT_EQ(written.out, std::to_string(size) + (size == 1 ? " byte" : " bytes") +
                                   " of table 7 written and read back\n");
        EXPECT_EQ(text_of(reader->table(7)), pattern(size)) << size;
        const auto copy = directory.path_of("copy");
        EXPECT_EQ(reader.tool({"table", "read", "7", copy}).out, "");
        EXPECT_EQ(directory.read("copy"), pattern(size)) << size;
        EXPECT_EQ(reader.tool({"table", "read", "7", "-"}).out, pattern(size)) << size;
    }
}

TEST_P(ServicesEndToEnd, WriteAndReadTablesInDigits)
{
    const auto written = reader.tool({"table", "write", "0xFF", "--data", "0102A0", "--yes"});
    EXPECT_EQ(written.out, "3 bytes of table 255 written and read back\n");
    EXPECT_EQ(reader.tool({"table", "read", "255"}).out, "0102A0\n");
    EXPECT_EQ(reader.objects({"table", "read", "255"}).at(0),
              Json::parse(R"({"type":"table","table":255,"bytes":3,"data":"0102A0"})"));
    EXPECT_EQ(reader.objects({"table", "write", "1", "--data", "FF", "--yes"}).at(0),
              Json::parse(R"({"type":"table-write","table":1,"bytes":1,"verified":true})"));
    const auto empty = reader.tool({"table", "read", "2"});
    EXPECT_EQ(empty.out, "");
    EXPECT_EQ(empty.err, "0 bytes in table 2\n");
}

TEST_P(ServicesEndToEnd, NoticeARefusedTable)
{
    const TemporaryDirectory directory;
    reader->set_table(3, {1, 2});
    // The reader forgets the first frame and refuses those that follow.
    reader.fault("power:command=0xE6");
    expect_failure(reader.tool({"table", "write", "3", directory.write("table", pattern(500)), "--yes"}),
                   "does not hold what was written");
    EXPECT_EQ(reader->table(3), (sim::Bytes{1, 2}));
}

TEST_P(ServicesEndToEnd, LookAtFilesBeforeAnythingIsSent)
{
    EXPECT_EQ(reader.tool({"table", "read", "3", "/no/such/folder/table"}).exit_code, 2);
    EXPECT_EQ(reader->counters().requests, 0u);
}

TEST_P(ServicesEndToEnd, TellOfTablesThatDoNotComeThrough)
{
    const TemporaryDirectory directory;
    const auto file = directory.write("table", pattern(500));
    const Arguments write{"table", "write", "3", file, "--yes"};
    const Arguments read{"table", "read", "3", directory.path_of("copy")};
    reader.fault("lose:command=0xE6,skip=2");
    expect_failure(reader.tool(write), "write a parameter table (");
    reader.fault("flip:command=0xE6,byte=3,bit=4");
    expect_failure(reader.tool(write), "write a parameter table (");
    EXPECT_EQ(reader->table(3), sim::Bytes{});
    reader.fault("split:command=0xE6,at=1+2+5,ms=10,count=0");
    EXPECT_EQ(reader.tool(write).exit_code, 0);
    EXPECT_EQ(text_of(reader->table(3)), pattern(500));

    for (const auto* const fault :
         {"lose:command=0xE6", "flip:command=0xE6,byte=100,bit=0", "lose:command=0xE6,skip=3"}) {
        reader.fault(fault);
        expect_failure(reader.tool(read), "read a parameter table (");
        EXPECT_EQ(directory.read("copy"), "") << fault;
    }
    reader.fault("noise:command=0xE6,bytes=FF1234,count=0");
    EXPECT_EQ(reader.tool(read).exit_code, 0);
    EXPECT_EQ(directory.read("copy"), pattern(500));
}

TEST_P(ServicesEndToEnd, FinishATableThatIsInterrupted)
{
    const TemporaryDirectory directory;
    reader.fault("delay:command=0xE6,ms=300,count=4");
    Process process(TAGWIRE_TOOL_PATH, reader.arguments({"table", "write", "3",
                                                         directory.write("table", pattern(960)), "--yes"}));
    ASSERT_TRUE(reader->wait_for_command(0xE6));
    process.send_signal(SIGTERM);
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.err.find("finishing the table first"), std::string::npos) << ended.err;
    EXPECT_EQ(text_of(reader->table(3)), pattern(960));
}

TEST_P(ServicesEndToEnd, SaveClearAndRestoreTables)
{
    reader->set_table(3, {1, 2});
    EXPECT_EQ(reader.tool({"table", "save-factory"}).exit_code, 2);
    EXPECT_EQ(reader.objects({"table", "save-factory", "--yes"}).at(0)["type"], "table-save-factory");
    EXPECT_EQ(reader.tool({"table", "clear", "--yes"}).out, "the parameters are cleared\n");
    EXPECT_EQ(reader->table(3), sim::Bytes{});
    EXPECT_EQ(reader.tool({"table", "restore", "--yes"}).out, "the factory's parameters are in use now\n");
    EXPECT_EQ(reader->table(3), (sim::Bytes{1, 2}));
    expect_failure(reader.tool({"table", "clear", "--option", "2", "--yes"}), "change all parameters (");
    EXPECT_EQ(reader->table(3), (sim::Bytes{1, 2}));
}

// -- AT commands

using Commands = std::vector<std::string>;

class AtEndToEnd : public testing::Test {
  protected:
    void expect_left() { EXPECT_FALSE(reader->modem().passes); }
    Ended script(const std::string& lines)
    {
        const TemporaryDirectory directory;
        return reader.tool({"at"}, directory.write("script", lines));
    }

    ServiceReader reader{ServiceReader::Link::pty};
};

TEST_F(AtEndToEnd, RunsSingleCommands)
{
    const auto ended = reader.tool({"at", "AT+CSQ", "at+what"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out, "+CSQ: 20,99\nOK\nERROR\n");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(reader.objects({"at", "ATE0", "AT+CSQ"}).at(1),
              Json::parse(R"({"type":"at","command":"AT+CSQ","answer":["+CSQ: 20,99","OK"]})"));
    EXPECT_EQ(reader->modem().commands, (Commands{"AT+CSQ", "at+what", "ATE0", "AT+CSQ"}));
    expect_left();
}

TEST_F(AtEndToEnd, RunsAScript)
{
    const auto ended = script("AT\r\n\nAT+CSQ\nATE0");
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out, "OK\n+CSQ: 20,99\nOK\nOK\n");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(reader->modem().commands, (Commands{"AT", "AT+CSQ", "ATE0"}));
    expect_left();
    EXPECT_EQ(script("").exit_code, 0);
    expect_left();
}

TEST_F(AtEndToEnd, PassesLongLinesAndAnswersInPieces)
{
    for (const std::size_t size : {249U, 250U, 251U, 500U}) {
        const std::string line(size, 'A');
        const auto ended = reader.tool({"at", line});
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
        EXPECT_EQ(ended.out, "ERROR\n") << size;
        EXPECT_EQ(reader->modem().commands.back(), line);
    }
    expect_left();
}

TEST_F(AtEndToEnd, ShowsAnswersOfAllSizes)
{
    // CR LF before and behind the answer.
    for (const std::size_t size : {245U, 246U, 247U, 496U, 1000U}) {
        const std::string answer(size, 'x');
        ServiceReader talking(ServiceReader::Link::pty,
                              "[modem]\necho = false\nanswers = { \"AT\" = \"" + answer + "\" }\n");
        EXPECT_EQ(talking.tool({"at", "AT", "AT"}).out, answer + "\n" + answer + "\n") << size;
    }
}

TEST_F(AtEndToEnd, AsksAnEmptyLineForWhatCameLater)
{
    ServiceReader slow(ServiceReader::Link::pty, "[modem]\necho = false\nanswer_ms = 300\n");
    const TemporaryDirectory directory;
    const auto ended = slow.tool({"at", "--timeout", "1"}, directory.write("script", "AT\n\n\n\n\n"));
    EXPECT_EQ(ended.out, "OK\n") << ended.err;
    EXPECT_EQ(slow->modem().commands, Commands{"AT"});
}

TEST_F(AtEndToEnd, StandsABadLine)
{
    for (const auto* const fault : {"split:at=1+2+4,ms=20,count=0", "noise:bytes=FF4D00,count=0"}) {
        reader.fault(fault);
        EXPECT_EQ(reader.tool({"at", "AT+CSQ"}).out, "+CSQ: 20,99\nOK\n") << fault;
        reader->clear_faults();
    }
    expect_left();
}

TEST_F(AtEndToEnd, LeavesTheModeAfterADamagedAnswer)
{
    reader.fault("flip:command=0x4E,byte=6,bit=1,skip=1");
    const auto ended = script("AT\nAT+CSQ\nAT\n");
    expect_failure(ended, "AT command (");
    EXPECT_EQ(ended.out, "OK\n");
    EXPECT_EQ(reader->modem().commands, (Commands{"AT", "AT+CSQ"}));
    expect_left();
    reader.fault("flip:command=0x4D,byte=3,bit=1");
    expect_failure(reader.tool({"at", "AT"}), "go into the AT mode (");
    expect_left();
    reader.fault("flip:command=0x4D,byte=3,bit=1,skip=1");
    EXPECT_EQ(reader.tool({"at", "AT"}).exit_code, 0);
    expect_left();
}

TEST_F(AtEndToEnd, LeavesTheModeWhenEnteringItIsNotConfirmed)
{
    reader.fault("lose:command=0x4D");
    expect_failure(reader.tool({"at", "AT"}), "go into the AT mode (");
    EXPECT_EQ(reader->modem().commands, Commands{});
    expect_left();
}

TEST_F(AtEndToEnd, TriesAgainWhenLeavingIsNotConfirmed)
{
    reader.fault("lose:command=0x4D,skip=1");
    EXPECT_EQ(reader.tool({"at", "AT"}).exit_code, 0);
    expect_left();
    EXPECT_EQ(reader->counters().commands[0x4D], 3u);
}

TEST_F(AtEndToEnd, SaysWhenTheReaderRefuses)
{
    reader.fault("error:command=0x4D,status=0xFE");
    expect_failure(reader.tool({"at", "AT"}), "go into the AT mode (");
    EXPECT_EQ(reader->counters().commands[0x4D], 1u);
    reader.fault("error:command=0x4D,status=0x26,skip=1");
    expect_failure(reader.tool({"at", "AT"}), "leave the AT mode (");
}

TEST_F(AtEndToEnd, LeavesTheModeAtASignal)
{
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        ServiceReader slow(ServiceReader::Link::pty, "[modem]\necho = false\nanswer_ms = 1000\n");
        Process process(TAGWIRE_TOOL_PATH, slow.arguments({"at", "--timeout", "50", "AT", "ATE0"}));
        ASSERT_TRUE(slow->wait_for_command(0x4E));
        process.send_signal(signal_number);
        const auto ended = process.wait();
        expect_failure(ended, "AT commands: interrupted");
        EXPECT_NE(ended.err.find("leaving the AT mode, please wait"), std::string::npos) << ended.err;
        EXPECT_EQ(ended.out, "OK\n");
        EXPECT_EQ(slow->modem().commands, Commands{"AT"});
        EXPECT_FALSE(slow->modem().passes);
    }
}

TEST_F(AtEndToEnd, LeavesTheModeWhenNobodyReads)
{
    ServiceReader slow(ServiceReader::Link::pty, "[modem]\nanswer_ms = 100\n");
    Process process(TAGWIRE_TOOL_PATH, slow.arguments(joined({"at"}, Arguments(50, "AT"))));
    ASSERT_TRUE(process.next_line());
    process.close_output();
    process.wait();
    EXPECT_FALSE(slow->modem().passes);
    EXPECT_LT(slow->modem().commands.size(), 50u);
}

constexpr const char* ctrl_c = "\x03";
constexpr const char* ctrl_d = "\x04";

TEST_F(AtEndToEnd, TalksOnATerminal)
{
    for (const auto* const key : {ctrl_c, ctrl_d}) {
        TerminalSession session(reader.arguments({"at"}));
        ASSERT_TRUE(session.wait_for("AT> ")) << session.shown();
        session.type("AT+CSQ\n");
        ASSERT_TRUE(session.wait_for("+CSQ: 20,99\r\nOK\r\nAT> ")) << session.shown();
        EXPECT_TRUE(reader->modem().passes);
        session.type("\n");
        ASSERT_TRUE(session.wait_for("AT> ")) << session.shown();
        session.type(key);
        EXPECT_EQ(session.wait(), 0) << session.shown();
        EXPECT_EQ(session.shown().find("please wait"), std::string::npos) << session.shown();
        expect_left();
    }
}

TEST_F(AtEndToEnd, GoesOnAfterAFailureOnATerminal)
{
    reader.fault("lose:command=0x4E");
    TerminalSession session(reader.arguments({"at"}));
    ASSERT_TRUE(session.wait_for("AT> ")) << session.shown();
    session.type("AT\n");
    ASSERT_TRUE(session.wait_for("AT command (")) << session.shown();
    ASSERT_TRUE(session.wait_for("AT> ")) << session.shown();
    session.type("ATE0\n");
    ASSERT_TRUE(session.wait_for("OK\r\nAT> ")) << session.shown();
    session.type(ctrl_d);
    EXPECT_EQ(session.wait(), 0) << session.shown();
    expect_left();
}

TEST_F(AtEndToEnd, LeavesTheModeWhenTheTerminalIsClosed)
{
    TerminalSession session(reader.arguments({"at"}));
    ASSERT_TRUE(session.wait_for("AT> ")) << session.shown();
    EXPECT_TRUE(reader->modem().passes);
    session.hang_up();
    session.wait();
    expect_left();
}

TEST_F(AtEndToEnd, LeavesTheModeWhenInterruptedInTheMiddle)
{
    ServiceReader slow(ServiceReader::Link::pty, "[modem]\necho = false\nanswer_ms = 1000\n");
    TerminalSession session(slow.arguments({"at", "--timeout", "50"}));
    ASSERT_TRUE(session.wait_for("AT> ")) << session.shown();
    session.type("AT\n");
    ASSERT_TRUE(slow->wait_for_command(0x4E));
    session.type(ctrl_c);
    EXPECT_EQ(session.wait(), 0) << session.shown();
    EXPECT_FALSE(slow->modem().passes);
}

}  // namespace
}  // namespace tagwire::tool::test
