#include <termios.h>

#include <gmock/gmock.h>

#include "exchange.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;

constexpr const char* one_tag = R"(
[reader]
antennas = 1
air_time = 0
start_gap_ms = 0
[[tag]]
epc = "E2001122"
)";

PanelState panel(const Bench& bench) { return bench.device.panel().state(bench.now); }

TEST(Panel, BeepsForEveryReadingAndOnRequest)
{
    Bench bench(one_tag);
    bench.command(0x01, {4, 0});
    EXPECT_EQ(panel(bench).beeps, 1U);
    answers(bench, 0x40, "00");
    bench.command(0x01, {4, 0});
    EXPECT_EQ(panel(bench).beeps, 1U);
    EXPECT_THAT(answers(bench, 0x33, "05 05 03"), ElementsAre("00"));
    EXPECT_EQ(panel(bench).beeps, 4U);
    EXPECT_EQ(panel(bench).flashes, 3U);
}

TEST(Panel, PulsesForReadings)
{
    Bench bench(one_tag);
    bench.command(0x01, {4, 0});
    EXPECT_EQ(panel(bench).pulses, 0U);
    answers(bench, 0x48, "01");
    bench.command(0x01, {4, 0});
    EXPECT_EQ(panel(bench).pulses, 1U);
}

TEST(Panel, TellsItsLines)
{
    Bench bench(one_tag);
    run(bench, {{0x46, "05", {"00"}}, {0x47, "", {"00 05"}}});
    bench.device.panel().set_input(2, true, bench.now);
    EXPECT_THAT(answers(bench, 0x47, ""), ElementsAre("00 25"));
    bench.device.panel().set_input(2, false, bench.now);
    EXPECT_THAT(answers(bench, 0x47, ""), ElementsAre("00 05"));
}

TEST(Panel, RelaysCloseForATime)
{
    Bench bench(one_tag);
    run(bench, {{0x45, "0A", {"00"}}, {0x45, "02 01 00", {"00"}}, {0x45, "04 01 14", {"00"}}});
    EXPECT_EQ(panel(bench).closed_relays, 0x0B);
    bench.pass(seconds(1));
    EXPECT_EQ(panel(bench).closed_relays, 0x0A);
    bench.pass(seconds(1));
    EXPECT_EQ(panel(bench).closed_relays, 0x02);
    run(bench, {{0x45, "02 00 00", {"00"}}, {0x45, "0A", {"00"}}, {0x45, "00", {"00"}}});
    EXPECT_EQ(panel(bench).closed_relays, 0);
}

TEST(Panel, ARelayOfItsFamily)
{
    Bench bench("[reader]\nfamily = \"relay\"\n");
    run(bench, {{0x92, "0A", {"00 0A"}}});
    EXPECT_EQ(panel(bench).closed_relays, 0x01);
    bench.pass(seconds(1));
    EXPECT_EQ(panel(bench).closed_relays, 0);
}

TEST(Panel, TheCarrierIsSwitched)
{
    Bench bench(one_tag);
    run(bench, {{0x30, "01", {"00"}}});
    EXPECT_TRUE(panel(bench).carrier);
    run(bench, {{0x30, "00", {"00"}}});
    EXPECT_FALSE(panel(bench).carrier);
}

class LiveReaderTest : public testing::Test {
  protected:
    static std::string frame(std::uint8_t code, const Bytes& data, std::uint8_t address = 0)
    {
        Bytes bytes{static_cast<std::uint8_t>(data.size() + 4), address, code};
        append(bytes, data);
        bytes.resize(bytes.size() + 2);
        seal(bytes);
        return to_hex(bytes);
    }

    Simulator simulator_;
    Reader& reader_ = simulator_.add_reader_from_text(one_tag);
};

TEST_F(LiveReaderTest, ShowsSettingsAndTakesInputs)
{
    Peer peer = Peer::connect(reader_.listen());
    peer.send(frame(0x24, {0x42}));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "05 42 24 00");
    EXPECT_TRUE(reader_.wait_for_settings([](const Settings& settings) { return settings.address == 0x42; }));
    EXPECT_EQ(reader_.address(), 0x42);
    peer.send(frame(0x35, {2}, 0x42));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "05 42 35 00");
    reader_.set_input(3, true);
    EXPECT_EQ(peer.receive_frame().substr(0, 8), "0C 42 EE");
    EXPECT_EQ(reader_.panel().inputs, 0x04);
    EXPECT_TRUE(reader_.wait_for_panel([](const PanelState& state) { return state.beeps >= 3; }));
    EXPECT_THROW(reader_.set_input(5, true), std::out_of_range);
    reader_.restart();
    EXPECT_EQ(reader_.settings().address, 0x42);
    reader_.restore_factory();
    EXPECT_EQ(reader_.settings().address, 0x00);
    EXPECT_EQ(reader_.settings(), factory_settings(Scenario::from_text(one_tag).reader));
}

TEST_F(LiveReaderTest, ASelfTestEndsByARawByte)
{
    Peer peer = Peer::connect(reader_.listen());
    peer.send(frame(0x26, {}));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "05 00 26 00");
    peer.send("A5");
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "05 00 A5 00");
    peer.send(frame(0x21, {}));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "11 00 21 00");
}

void set_speed(const Peer& peer, speed_t speed)
{
    termios line{};
    ASSERT_EQ(::tcgetattr(peer.fd(), &line), 0);
    ::cfsetispeed(&line, speed);
    ::cfsetospeed(&line, speed);
    ASSERT_EQ(::tcsetattr(peer.fd(), TCSANOW, &line), 0);
}

TEST_F(LiveReaderTest, AHostFollowsToANewSpeed)
{
    Peer peer = Peer::open(reader_.open_pty());
    set_speed(peer, B9600);
    peer.send(frame(0x28, {6}));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "05 00 28 00");
    peer.send(frame(0x21, {}));
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.garbled_bytes == 5; }));
    EXPECT_EQ(reader_.counters().commands[0x21], 0U);
    set_speed(peer, B115200);
    peer.send(frame(0x83, {0}));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "09 00 83 00");
    EXPECT_EQ(reader_.counters().commands[0x21], 0U);
    Peer network = Peer::connect(reader_.listen());
    network.send(frame(0x21, {}));
    EXPECT_EQ(network.receive_frame().substr(0, 11), "11 00 21 00");
}

TEST_F(LiveReaderTest, AScenarioFixesTheSpeed)
{
    Reader& fixed = simulator_.add_reader_from_text("[reader]\nbaud = 57600\n");
    EXPECT_EQ(fixed.settings().baud, 5);
    Peer peer = Peer::open(fixed.open_pty());
    set_speed(peer, B19200);
    peer.send(frame(0x21, {}));
    EXPECT_TRUE(fixed.wait_until([](const Counters& counters) { return counters.garbled_bytes == 5; }));
    set_speed(peer, B57600);
    peer.send(frame(0x83, {0}));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "09 00 83 00");
}

}  // namespace
}  // namespace tagwire::sim
