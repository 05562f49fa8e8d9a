// Network, position, modem and parameter tables, byte by byte.
#include <array>
#include <chrono>

#include "e2e/linked_reader.h"

namespace tagwire::test {
namespace {

constexpr int no_answer = 48;
constexpr int bad_crc = 49;
constexpr int bad_handle = 55;
constexpr int wrong_command = 238;
constexpr int refused = 0xFF;
constexpr unsigned char unwritten = 0xA5;

sim::Scenario portal()
{
    sim::Scenario scenario = sim::Scenario::from_text(R"(
[reader]
family = "mobile"
address = 7
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
[[access_point]]
ssid = "01234567890123456789012345678901"
bssid = "B0B1 B2B3 B4B5"
rssi = -128
channel = 255
security = 255
[gps]
satellites = 9
state = 2
latitude = -33.8675
longitude = 151.20700
time = 2024-12-31T12:30:00Z
[modem]
state = 1
rssi = 20
imei = "123"
iccid = "89"
server = "host"
port = 8080
answers = { "AT+CSQ" = "+CSQ: 20,99\nOK" }
)");
    return scenario;
}

Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

class Services : public LinkedReader {
  protected:
    void SetUp() override { connect(portal()); }

    void fault(const std::string& text) { reader->inject(sim::Fault::parse(text)); }
    // Address to data of the latest request, without its length and CRC.
    std::string request() const
    {
        const sim::Bytes frame = reader->last_request();
        return text_of({frame.begin() + 1, frame.end() - 2});
    }
};

INSTANTIATE_TEST_SUITE_P(Links, Services, testing::Values(Link::tcp, Link::pty), link_name);

// -- MAC addresses and links

struct MacRequest {
    int (*get)(unsigned char*, unsigned char*, int);
    const char* request;
    const char* mac;
};

TEST_P(Services, tell_the_mac_address_of_every_module)
{
    const MacRequest requests[] = {{GetMacAddr, "07F25252", "020000000001"},
                                   {GetRJ45MacAddr, "07F25252", "020000000001"},
                                   {GetWIFIMacAddr, "07F25253", "0A0B0C0D0E0F"},
                                   {GetBluetoothMacAddr, "07F25254", "020000000003"},
                                   {GetBleMacAddr, "07F25255", "020000000004"}};
    for (const auto& [get, wanted, mac] : requests) {
        Bytes told(7, unwritten);
        EXPECT_EQ(get(address(), told.data(), handle), 0);
        EXPECT_EQ(text_of(told), std::string(mac) + "A5");
        EXPECT_EQ(request(), wanted);
        fault("error:command=0xF2,status=0xFE");
        told.assign(7, unwritten);
        EXPECT_EQ(get(address(), told.data(), handle), 0xFE);
        EXPECT_EQ(told, Bytes(7, unwritten));
    }
}

TEST_P(Services, take_a_new_mac_address)
{
    Bytes told(6);
    unsigned char serial = 0x10;
    for (const auto set : {SetMacAddr, SetRJ45MacAddr}) {
        Bytes mac{2, 0, 0, 0, 1, ++serial};
        EXPECT_EQ(set(address(), mac.data(), handle), 0);
        EXPECT_EQ(request(), "07F15252" + text_of(mac));
        EXPECT_EQ(GetMacAddr(address(), told.data(), handle), 0);
        EXPECT_EQ(told, mac);
    }
    EXPECT_EQ(reader->network().mac(sim::Interface::ethernet)[5], 0x12);
}

TEST_P(Services, echo_the_address_where_they_do)
{
    Bytes mac{2, 0, 0, 0, 1, 1};
    unsigned char given = 0xFF;
    EXPECT_EQ(SetMacAddr(&given, mac.data(), handle), 0);
    EXPECT_EQ(given, 7);
    given = 0xFF;
    EXPECT_EQ(SetRJ45MacAddr(&given, mac.data(), handle), 0);
    EXPECT_EQ(given, 0xFF);
    EXPECT_EQ(GetBleMacAddr(&given, mac.data(), handle), 0);
    EXPECT_EQ(given, 7);
}

TEST_P(Services, tell_the_links)
{
    unsigned char state = unwritten;
    std::array<unsigned char, 12> ip{};
    EXPECT_EQ(ReadRJ45ConnectStatus(address(), &state, &ip[0], &ip[4], &ip[8], handle), 0);
    EXPECT_EQ(request(), "07E60C00");
    EXPECT_EQ(state, 1);
    EXPECT_EQ(text_of({ip.begin(), ip.end()}), "C0000214FFFFFF00C0000201");
    EXPECT_EQ(ReadWIFIConnectStatus(address(), &state, &ip[0], &ip[4], &ip[8], handle), 0);
    EXPECT_EQ(request(), "07E60C01");
    EXPECT_EQ(state, 0);
    EXPECT_EQ(text_of({ip.begin(), ip.end()}), "0A0000070000000000000000");
    // The echo of the function is not looked at.
    fault("set:command=0xE6,byte=4,value=0x77");
    EXPECT_EQ(ReadWIFIConnectStatus(address(), &state, &ip[0], &ip[4], &ip[8], handle), 0);
}

// -- WiFi scan

const std::string hall = "A0A1A2A3A4A5D306030468616C6C";
const std::string nameless = "000000000000C4010000";
const std::string strange = "B0B1B2B3B4B580FFFF20" + text_of(bytes_of("01234567890123456789012345678901"));

struct Scan {
    int result = -1;
    int count = -77;
    int length = -77;
    Bytes records = Bytes(200, unwritten);

    std::string used() const { return text_of({records.begin(), records.begin() + length}); }
};

Scan scan(Connection& connection)
{
    Scan done;
    done.result =
        SearchWIFI(connection.address(), done.records.data(), &done.length, &done.count, connection.handle());
    return done;
}

void expect_found(const Scan& done, int count, const std::string& records)
{
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.count, count);
    ASSERT_EQ(done.length, static_cast<int>(records.size() / 2));
    EXPECT_EQ(done.used(), records);
    EXPECT_EQ(done.records[static_cast<std::size_t>(done.length)], unwritten);
}

void expect_nothing_written(const Scan& done, int result)
{
    EXPECT_EQ(done.result, result);
    EXPECT_EQ(done.count, -77);
    EXPECT_EQ(done.length, -77);
    EXPECT_EQ(done.records, Bytes(200, unwritten));
}

TEST_P(Services, find_access_points)
{
    expect_found(scan(*connection), 3, hall + nameless + strange);
    EXPECT_EQ(request(), "07E60B");
}

TEST_P(Services, find_no_access_points)
{
    sim::Scenario alone = portal();
    alone.services.network.access_points.clear();
    connect(alone);
    expect_nothing_written(scan(*connection), 0);
    fault("error:command=0xE6,status=0xFE");
    expect_nothing_written(scan(*connection), 0xFE);
}

TEST_P(Services, find_access_points_over_a_bad_line)
{
    fault("split:command=0xE6,at=1+2+5,ms=20,count=4");
    expect_found(scan(*connection), 3, hall + nameless + strange);
    fault("noise:command=0xE6,bytes=00E60BFF05,count=4");
    expect_found(scan(*connection), 3, hall + nameless + strange);
    fault("lose:command=0xE6,skip=1");
    expect_found(scan(*connection), 2, hall + strange);
    fault("flip:command=0xE6,byte=9,bit=0");
    expect_found(scan(*connection), 2, nameless + strange);
    fault("set:command=0xE6,byte=3,value=0x26,skip=2");
    const Scan done = scan(*connection);
    EXPECT_EQ(done.result, 0x26);
    EXPECT_EQ(done.used(), hall + nameless);
}

TEST_P(Services, find_many_access_points)
{
    sim::Scenario crowd = portal();
    crowd.services.network.access_points.assign(500, crowd.services.network.access_points.front());
    connect(crowd);
    Bytes records(60'000, unwritten);
    int length = 0;
    int count = 0;
    EXPECT_EQ(SearchWIFI(address(), records.data(), &length, &count, handle), 0);
    EXPECT_EQ(count, 500);
    EXPECT_EQ(length, 500 * 14);
    std::string all;
    for (int i = 0; i < 500; ++i) all += hall;
    records.resize(static_cast<std::size_t>(length));
    EXPECT_EQ(text_of(records), all);
}

class SilentScan : public Services {};
INSTANTIATE_TEST_SUITE_P(Links, SilentScan, testing::Values(Link::tcp), link_name);

TEST_P(SilentScan, ends_after_twenty_seconds)
{
    fault("lose:command=0xE6,skip=3");
    const auto start = std::chrono::steady_clock::now();
    expect_nothing_written(scan(*connection), no_answer);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

// -- position

struct Position {
    std::array<unsigned char, 22> bytes{};
    int result = -1;
};

Position position(Connection& connection)
{
    Position told;
    auto& d = told.bytes;
    d.fill(unwritten);
    told.result = GetGPSInformation(connection.address(), &d[0], &d[1], &d[2], &d[3], &d[4], &d[5], &d[9],
                                    &d[10], &d[11], &d[12], &d[16], &d[17], &d[18], &d[19], &d[20], &d[21],
                                    connection.handle());
    return told;
}

TEST_P(Services, tell_the_position)
{
    const Position told = position(*connection);
    EXPECT_EQ(told.result, 0);
    EXPECT_EQ(request(), "07B0");
    // Satellites, state, S, 33 degrees 52.05000', E, 151 degrees 12.42000', date and hour.
    EXPECT_EQ(text_of({told.bytes.begin(), told.bytes.begin() + 20}),
              "09025321340000138845970C0000A410180C1F0C");
}

TEST_P(Services, tell_of_no_fix)
{
    sim::Scenario indoors = portal();
    indoors.services.gps.reset();
    connect(indoors);
    EXPECT_EQ(position(*connection).bytes, (std::array<unsigned char, 22>{}));
    fault("error:command=0xB0,status=0x26");
    const Position told = position(*connection);
    EXPECT_EQ(told.result, 0x26);
    EXPECT_EQ(told.bytes[0], unwritten);
    EXPECT_EQ(told.bytes[21], unwritten);
}

// -- 4G modem

TEST_P(Services, tell_of_the_modem)
{
    std::array<unsigned char, 2> state{};
    std::array<unsigned char, 3> sizes{};
    std::array<Bytes, 3> texts{Bytes(255, unwritten), Bytes(255, unwritten), Bytes(255, unwritten)};
    EXPECT_EQ(Get4GConnectStatus(address(), &state[0], &state[1], &sizes[0], texts[0].data(), &sizes[1],
                                 texts[1].data(), &sizes[2], texts[2].data(), handle),
              0);
    EXPECT_EQ(request(), "07B1");
    EXPECT_EQ(state, (std::array<unsigned char, 2>{1, 20}));
    EXPECT_EQ(sizes, (std::array<unsigned char, 3>{3, 0, 2}));
    EXPECT_EQ(text_of({texts[0].begin(), texts[0].begin() + 4}), "313233A5");
    EXPECT_EQ(texts[1], Bytes(255, unwritten));
    EXPECT_EQ(text_of({texts[2].begin(), texts[2].begin() + 3}), "3839A5");
}

struct Server {
    int result = -1;
    std::string host;
    int port = -1;
};

Server server_of(Connection& connection)
{
    Server told;
    unsigned char size = 0;
    Bytes host(255, unwritten);
    told.result = Get4GRemoteServerInformation(connection.address(), &size, host.data(), &told.port,
                                               connection.handle());
    told.host.assign(host.begin(), host.begin() + size);
    return told;
}

TEST_P(Services, tell_and_take_the_remote_server)
{
    EXPECT_EQ(server_of(*connection).host, "host");
    EXPECT_EQ(server_of(*connection).port, 8080);
    EXPECT_EQ(request(), "07B3");
    for (const std::size_t size : {0U, 1U, 247U}) {
        Bytes host(size + 1, 'h');
        EXPECT_EQ(Set4GRemoteServerInformation(address(), static_cast<unsigned char>(size), host.data(),
                                               static_cast<int>(0xFF01 - size), handle),
                  0);
        const Server told = server_of(*connection);
        EXPECT_EQ(told.result, 0);
        EXPECT_EQ(told.host, std::string(size, 'h'));
        EXPECT_EQ(told.port, static_cast<int>(0xFF01 - size));
        EXPECT_EQ(reader->remote_server().address.size(), size);
    }
    Bytes host(248, 'h');
    EXPECT_EQ(Set4GRemoteServerInformation(address(), 248, host.data(), 1, handle), refused);
    EXPECT_EQ(Set4GRemoteServerInformation(address(), 2, bytes_of("ab").data(), 0x1234, handle), 0);
    EXPECT_EQ(request(), "07B20261621234");
    fault("flip:command=0xB3,byte=5,bit=0");
    EXPECT_EQ(server_of(*connection).result, no_answer);
}

// -- AT mode

class AtMode : public Services {
  protected:
    int pass(const std::string& text, std::string& answer, unsigned char timeout = 10)
    {
        Bytes command = bytes_of(text + " ");
        Bytes received(256, unwritten);
        int size = -77;
        const int result = TransparentCMD(address(), timeout, command.data(), static_cast<int>(text.size()),
                                          received.data(), &size, handle);
        answer = result == 0 ? std::string(received.begin(), received.begin() + size) : "";
        if (result == 0) {
            EXPECT_EQ(received[static_cast<std::size_t>(size)], unwritten);
        } else {
            EXPECT_EQ(size, -77);
        }
        return result;
    }
    std::string answer_to(const std::string& text)
    {
        std::string answer;
        EXPECT_EQ(pass(text, answer), 0);
        return answer;
    }
};
INSTANTIATE_TEST_SUITE_P(Links, AtMode, testing::Values(Link::pty), link_name);

TEST_P(AtMode, passes_bytes)
{
    unsigned char given = 0xFF;
    EXPECT_EQ(ChangeATMode(&given, 1, handle), 0);
    EXPECT_EQ(given, 7);
    EXPECT_EQ(reader->last_request()[3], 1);
    EXPECT_TRUE(reader->modem().passes);
    EXPECT_EQ(answer_to("AT\r"), "AT\r\r\nOK\r\n");
    EXPECT_EQ(request(), "074E0A41540D");
    EXPECT_EQ(answer_to("ATE0\r"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(answer_to("at+csq\r"), "\r\n+CSQ: 20,99\r\n\r\nOK\r\n");
    EXPECT_EQ(answer_to(""), "");
    EXPECT_EQ(answer_to(std::string(249, 'A') + "\r"), "\r\nERROR\r\n");
    EXPECT_EQ(ChangeATMode(address(), 0, handle), 0);
    EXPECT_FALSE(reader->modem().passes);
    EXPECT_EQ(ChangeATMode(address(), 2, handle), refused);
}

TEST_P(AtMode, gives_long_answers_in_pieces)
{
    sim::Scenario talking = portal();
    talking.services.modem.echo = false;
    talking.services.modem.answers = {{"AT", std::string(600, 'x')}};
    connect(talking);
    EXPECT_EQ(ChangeATMode(address(), 1, handle), 0);
    EXPECT_EQ(answer_to("AT\r"), "\r\n" + std::string(248, 'x'));
    EXPECT_EQ(answer_to(""), std::string(250, 'x'));
    EXPECT_EQ(answer_to(""), std::string(102, 'x') + "\r\n");
}

TEST_P(AtMode, stands_a_bad_line)
{
    std::string answer;
    fault("split:at=1+1+1+2,ms=30,count=2");
    EXPECT_EQ(ChangeATMode(address(), 1, handle), 0);
    EXPECT_EQ(answer_to("AT\r"), "AT\r\r\nOK\r\n");
    fault("noise:bytes=FF074D11,count=2");
    EXPECT_EQ(answer_to("AT\r"), "AT\r\r\nOK\r\n");
    EXPECT_EQ(ChangeATMode(address(), 1, handle), 0);
    fault("flip:command=0x4E,byte=6,bit=0");
    EXPECT_EQ(pass("AT\r", answer), bad_crc);
    fault("set:command=0x4E,byte=2,value=0x4F");
    EXPECT_EQ(pass("AT\r", answer), wrong_command);
    fault("flip:command=0x4D,byte=3,bit=0");
    EXPECT_EQ(ChangeATMode(address(), 0, handle), bad_crc);
    EXPECT_FALSE(reader->modem().passes);
}

TEST_P(AtMode, waits_for_an_answer_in_vain)
{
    std::string answer;
    const auto start = std::chrono::steady_clock::now();
    // Not in this mode: a status that is not 0 is no answer.
    EXPECT_EQ(pass("AT\r", answer), no_answer);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    const auto silence = std::chrono::steady_clock::now();
    fault("lose:command=0x4D");
    EXPECT_EQ(ChangeATMode(address(), 1, handle), no_answer);
    EXPECT_GE(std::chrono::steady_clock::now() - silence, std::chrono::seconds(7));
    EXPECT_TRUE(reader->modem().passes);
}

class AtModeOnTheNetwork : public AtMode {};
INSTANTIATE_TEST_SUITE_P(Links, AtModeOnTheNetwork, testing::Values(Link::tcp), link_name);

TEST_P(AtModeOnTheNetwork, gets_no_answers)
{
    std::string answer;
    EXPECT_EQ(ChangeATMode(address(), 1, handle), bad_handle);
    EXPECT_EQ(pass("AT\r", answer), bad_handle);
}

// -- parameter tables

Bytes pattern(std::size_t size)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 31 + i / 256);
    return bytes;
}

class Tables : public Services {
  protected:
    int write(unsigned char number, Bytes table)
    {
        const int size = static_cast<int>(table.size());
        table.push_back(unwritten);
        return WriteParameterTable(address(), number, table.data(), size, handle);
    }
    // The table, when the result is 0; else its output must be untouched.
    int read(unsigned char number, Bytes& table)
    {
        table.assign(65'536, unwritten);
        Bytes length{unwritten, unwritten};
        const int result = ReadParameterTable(address(), number, table.data(), length.data(), handle);
        if (result != 0) {
            EXPECT_EQ(length, (Bytes{unwritten, unwritten}));
            EXPECT_EQ(table, Bytes(65'536, unwritten));
        }
        const auto size = std::size_t{length[0]} * 256 + length[1];
        if (result == 0) {
            EXPECT_EQ(table.at(size), unwritten);
            table.resize(size);
        }
        return result;
    }
    // The frames of the function, without length and CRC.
    std::vector<std::string> requests(unsigned char function) const
    {
        std::vector<std::string> all;
        for (const auto& request : reader->requests()) {
            const auto& frame = request.frame;
            if (request.command == 0xE6 && frame.at(3) == function)
                all.push_back(text_of({frame.begin() + 1, frame.end() - 2}));
        }
        return all;
    }
};

INSTANTIATE_TEST_SUITE_P(Links, Tables, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Tables, are_read_as_they_were_written)
{
    for (const std::size_t size : {0U, 1U, 239U, 240U, 241U, 480U, 65'535U}) {
        SCOPED_TRACE(size);
        const Bytes table = pattern(size);
        Bytes found;
        reader->forget_requests();
        EXPECT_EQ(write(3, table), 0);
        EXPECT_EQ(reader->table(3), table);
        const auto frames = requests(0x0E);
        ASSERT_EQ(frames.size(), (size + 239) / 240 + 1);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const std::size_t begin = std::min(240 * i, size);
            const Bytes chunk(table.begin() + static_cast<std::ptrdiff_t>(begin),
                              table.begin() + static_cast<std::ptrdiff_t>(std::min(begin + 240, size)));
            EXPECT_EQ(frames[i], "07E60E03" + text_of({static_cast<unsigned char>(i)}) + text_of(chunk));
        }
        EXPECT_EQ(read(3, found), 0);
        EXPECT_EQ(found, table);
        EXPECT_EQ(requests(0x0D), std::vector<std::string>{"07E60D03"});
        EXPECT_EQ(read(4, found), 0);
        EXPECT_EQ(found, Bytes{});
    }
}

TEST_P(Tables, have_256_numbers)
{
    Bytes found;
    for (int number = 0; number < 256; ++number)
        EXPECT_EQ(write(static_cast<unsigned char>(number), {static_cast<unsigned char>(~number)}), 0);
    for (int number = 0; number < 256; ++number) {
        EXPECT_EQ(read(static_cast<unsigned char>(number), found), 0);
        EXPECT_EQ(found, Bytes{static_cast<unsigned char>(~number)});
    }
    EXPECT_EQ(WriteParameterTable(address(), 1, nullptr, -1, handle), 0);
    EXPECT_EQ(reader->table(1), Bytes{});
}

TEST_P(Tables, are_read_over_a_bad_line)
{
    Bytes found;
    reader->set_table(3, pattern(500));
    fault("split:command=0xE6,at=1+2+200,ms=20,count=4");
    EXPECT_EQ(read(3, found), 0);
    EXPECT_EQ(found, pattern(500));
    fault("noise:command=0xE6,bytes=FF00E607,count=4");
    EXPECT_EQ(read(3, found), 0);
    EXPECT_EQ(found, pattern(500));
    // The frames are 240, 240, 20 bytes and the end.
    for (const auto* const text :
         {"lose:command=0xE6,skip=1", "lose:command=0xE6,skip=3", "flip:command=0xE6,byte=9,bit=7,skip=2",
          "set:command=0xE6,byte=6,value=0xF3,skip=3", "set:command=0xE6,byte=1,value=0x08,count=4",
          "set:command=0xE6,byte=3,value=0x26,skip=1", "hangup:command=0xE6,after=100"}) {
        SCOPED_TRACE(text);
        fault(text);
        EXPECT_EQ(read(3, found), no_answer);
        reader->clear_faults();
    }
}

TEST_P(Tables, are_written_over_a_bad_line)
{
    reader->set_table(3, {1, 2});
    fault("split:command=0xE6,at=1+2+3,ms=20,count=4");
    EXPECT_EQ(write(3, pattern(500)), 0);
    EXPECT_EQ(reader->table(3), pattern(500));
    // The first result that is not 0 ends it.
    fault("flip:command=0xE6,byte=3,bit=0,skip=1");
    EXPECT_EQ(write(3, pattern(700)), no_answer);
    fault("lose:command=0xE6,skip=2");
    EXPECT_EQ(write(3, pattern(700)), no_answer);
    fault("set:command=0xE6,byte=4,value=0x0F");
    EXPECT_EQ(write(3, pattern(700)), wrong_command);
    EXPECT_EQ(reader->table(3), pattern(500));
    // The status of an answer is none.
    fault("set:command=0xE6,byte=3,value=0x26,count=3");
    EXPECT_EQ(write(3, pattern(480)), 0);
    EXPECT_EQ(reader->table(3), pattern(480));
}

TEST_P(Tables, are_saved_cleared_and_restored)
{
    const Bytes table{1, 2, 3};
    reader->set_table(3, table);
    EXPECT_EQ(OverwriteFactoryDefaultParameterTable(address(), handle), 0);
    EXPECT_EQ(request(), "07E60F00");
    EXPECT_EQ(ClearAllParameters(address(), 1, handle), 0);
    EXPECT_EQ(request(), "07E61001");
    EXPECT_EQ(reader->table(3), Bytes{});
    EXPECT_EQ(RestoreFactoryDefaultParameterTable(address(), handle), 0);
    EXPECT_EQ(request(), "07E61000");
    EXPECT_EQ(reader->table(3), table);
    reader->set_table(3, {});
    EXPECT_EQ(ClearAllParameters(address(), 0, handle), 0);
    EXPECT_EQ(request(), "07E61000");
    EXPECT_EQ(reader->table(3), table);
    EXPECT_EQ(ClearAllParameters(address(), 2, handle), refused);
}

TEST_P(Tables, are_not_controlled_by_wrong_answers)
{
    const auto expect_all = [this](const std::string& text, int result) {
        fault(text);
        EXPECT_EQ(OverwriteFactoryDefaultParameterTable(address(), handle), result) << text;
        EXPECT_EQ(RestoreFactoryDefaultParameterTable(address(), handle), result) << text;
        EXPECT_EQ(ClearAllParameters(address(), 0, handle), result) << text;
    };
    expect_all("set:command=0xE6,byte=4,value=0x0E,count=3", wrong_command);
    expect_all("set:command=0xE6,byte=3,value=0x26,count=3", 0x26);
    expect_all("flip:command=0xE6,byte=3,bit=1,count=3", no_answer);
}

}  // namespace
}  // namespace tagwire::test
