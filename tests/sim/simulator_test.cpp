#include "simulator.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>

#include "no_descriptors.h"
#include "peer.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using testing::IsEmpty;
using testing::SizeIs;

const char* const information_request = "04 0A 21 A9 97";
const char* const information = "11 0A 21 00 01 00 0F 02 31 80 1E 0A 0F 01 00 00";
const char* const module_request = "05 0A 83 00 A8 B8";
const char* const start_request = "05 0A 50 00 FB CD";
const char* const start_answer = "05 0A 50 00 FB CD";
const char* const stop_request = "04 0A 51 2E E4";
const char* const stop_answer = "05 0A 51 00 23 D4";

Scenario portal()
{
    return Scenario::from_text(R"(
[reader]
address = 0x0A
air_time = 0
start_gap_ms = 0
report_rate = 2000
[[tag]]
epc = "E200 1122 3344 5566"
rssi = 0x64
)");
}

bool is_information(const std::string& frame)
{
    return frame.substr(0, 47) == information && frame.size() == 53;
}

// A simulator with one reader on a port.
class SimulatorTest : public testing::Test {
  protected:
    Peer connect() { return Peer::connect(port_); }

    Simulator simulator_;
    Reader& reader_ = simulator_.add_reader(portal());
    std::uint16_t port_ = reader_.listen();
};

TEST_F(SimulatorTest, AnswersOverTcp)
{
    Peer peer = connect();
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
    peer.send("06 0A 01 04 00 02 EA");
    EXPECT_EQ(peer.receive_frame(), "11 0A 01 03 01 01 08 E2 00 11 22 33 44 55 66 64 FA 9D");
    EXPECT_TRUE(reader_.wait_for_command(0x01));
    EXPECT_EQ(to_hex(reader_.last_request(), " "), "06 0A 01 04 00 02 EA");
    EXPECT_THAT(reader_.requests(), SizeIs(2));
    EXPECT_EQ(reader_.counters().commands[0x21], 1U);
}

TEST_F(SimulatorTest, AnswersOverAPty)
{
    Peer peer = Peer::open(reader_.open_pty());
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
}

TEST_F(SimulatorTest, APtyOutlivesItsHosts)
{
    const std::string path = reader_.open_pty();
    for (int i = 0; i < 3; ++i) {
        Peer peer = Peer::open(path);
        peer.send(information_request);
        EXPECT_TRUE(is_information(peer.receive_frame()));
    }
    EXPECT_EQ(reader_.counters().open_connections, 1U);
}

TEST_F(SimulatorTest, APtyIsRaw)
{
    Peer peer = Peer::open(reader_.open_pty());
    reader_.send_raw(from_hex("0D 0A 03 04 11 13 1A 7F FF"));
    EXPECT_EQ(peer.receive(9), "0D 0A 03 04 11 13 1A 7F FF");
    peer.send("0D 0A 03 11 13 04 0A 21 A9 97");
    EXPECT_TRUE(is_information(peer.receive_frame()));
}

TEST_F(SimulatorTest, APtyThatIsHungUpOpensAgain)
{
    const std::string path = reader_.open_pty();
    reader_.inject(Fault::delay(std::chrono::hours(1)));
    {
        Peer peer = Peer::open(path);
        peer.send(start_request);
        ASSERT_TRUE(reader_.wait_for_reading());
        reader_.hang_up();
        EXPECT_TRUE(peer.is_hung_up());
        EXPECT_EQ(::write(peer.fd(), "x", 1), -1);
        EXPECT_EQ(errno, EIO);
        EXPECT_FALSE(reader_.is_reading());
    }
    reader_.inject(Fault::hang_up(0));
    {
        Peer peer = Peer::open(path);
        peer.send(information_request);
        EXPECT_TRUE(peer.is_hung_up());
    }
    Peer peer = Peer::open(path);
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame())) << "nothing from before is left";
    EXPECT_EQ(reader_.counters().connections, 3U);
    EXPECT_EQ(reader_.counters().open_connections, 1U);
    reader_.stop_listening();
    reader_.hang_up();
    EXPECT_EQ(reader_.counters().open_connections, 0U);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(Simulator, LeavesNoNamesOfPtysBehind)
{
    std::filesystem::path path;
    {
        Simulator simulator;
        Reader& reader = simulator.add_reader(portal());
        path = reader.open_pty();
        EXPECT_NE(reader.open_pty(), path);
        EXPECT_TRUE(std::filesystem::exists(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path.parent_path()));
}

TEST_F(SimulatorTest, WaitsForDescriptors)
{
    const std::string path = reader_.open_pty();
    Peer peer = Peer::unconnected();
    std::optional<NoDescriptors> none(std::in_place);
    peer.connect_to(port_);
    const auto waiting = [](std::uint64_t connections) {
        return [connections](const Counters& counters) { return counters.had_to_wait == connections; };
    };
    EXPECT_TRUE(reader_.wait_until(waiting(1)));
    const auto before = processor_time();
    EXPECT_FALSE(reader_.wait_until(waiting(2), milliseconds(300))) << "one that waits is counted once";
    EXPECT_LT(processor_time() - before, milliseconds(150));
    reader_.hang_up();
    EXPECT_TRUE(reader_.wait_until(waiting(2)));
    none.reset();
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
    EXPECT_TRUE(reader_.wait_for_connection(2));
    Peer host = Peer::open(path);
    host.send(information_request);
    EXPECT_TRUE(is_information(host.receive_frame()));
}

TEST_F(SimulatorTest, ServesSeveralConnections)
{
    Peer first = connect();
    Peer second = connect();
    EXPECT_TRUE(reader_.wait_for_connection(2));
    first.send(information_request);
    second.send(module_request);
    EXPECT_TRUE(is_information(first.receive_frame()));
    EXPECT_EQ(second.receive_frame().substr(0, 8), "09 0A 83");
    first.close();
    second.close();
    EXPECT_TRUE(reader_.wait_for_disconnect());
    EXPECT_EQ(reader_.counters().connections, 2U);
}

TEST_F(SimulatorTest, HangsUpOneConnection)
{
    Peer first = connect();
    EXPECT_TRUE(reader_.wait_for_connection(1));
    const ConnectionId id = reader_.connections().at(0);
    Peer second = connect();
    EXPECT_TRUE(reader_.wait_for_connection(2));
    reader_.hang_up(id);
    EXPECT_TRUE(first.is_hung_up());
    second.send(information_request);
    EXPECT_TRUE(is_information(second.receive_frame()));
}

TEST_F(SimulatorTest, HangsUpInTheMiddleOfAFrame)
{
    reader_.inject(Fault::hang_up(7));
    Peer peer = connect();
    peer.send(information_request);
    EXPECT_EQ(peer.receive(7), "11 0A 21 00 01 00 0F");
    EXPECT_TRUE(peer.is_hung_up());
    EXPECT_TRUE(reader_.wait_for_disconnect());
    EXPECT_THAT(reader_.connections(), IsEmpty());
}

TEST_F(SimulatorTest, AnswersAPeerThatSaysNoMore)
{
    Peer peer = connect();
    peer.send(information_request);
    ::shutdown(peer.fd(), SHUT_WR);
    EXPECT_TRUE(is_information(peer.receive_frame()));
    EXPECT_TRUE(peer.is_hung_up());
}

TEST_F(SimulatorTest, RefusesConnectionsAfterStopListening)
{
    Peer peer = connect();
    EXPECT_TRUE(reader_.wait_for_connection());
    reader_.stop_listening();
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
    const std::uint16_t again = reader_.listen("127.0.0.1", port_);
    EXPECT_EQ(again, port_);
}

TEST_F(SimulatorTest, ListensOnAnyLoopbackAddress)
{
    const std::uint16_t port = reader_.listen("127.0.0.77", 0);
    Peer peer = Peer::connect(port, "127.0.0.77");
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
    EXPECT_THROW(reader_.listen("999.1.1.1", 0), std::invalid_argument);
    Simulator other;
    EXPECT_THROW(other.add_reader().listen("127.0.0.77", port), std::system_error);
}

TEST_F(SimulatorTest, SplitsDelaysAndAddsNoise)
{
    reader_.inject(Fault::split({1, 2, 17}, milliseconds(2)));
    reader_.inject(Fault::delay(milliseconds(5)));
    reader_.inject(Fault::noise({0x00, 0x01}));
    Peer peer = connect();
    peer.send(information_request);
    EXPECT_EQ(peer.receive(2), "00 01");
    EXPECT_TRUE(is_information(peer.receive_frame()));
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.frames_sent == 1; }));
    EXPECT_EQ(reader_.counters().bytes_sent, 20U);
}

TEST_F(SimulatorTest, LosesAndIgnores)
{
    Peer peer = connect();
    reader_.inject(Fault::lose());
    peer.send(information_request);
    EXPECT_TRUE(reader_.wait_for_command(0x21, 1));
    reader_.inject(Fault::silence());
    peer.send(information_request);
    EXPECT_TRUE(reader_.wait_for_command(0x21, 2));
    reader_.clear_faults();
    peer.send(module_request);
    EXPECT_EQ(peer.receive_frame().substr(0, 8), "09 0A 83");
}

TEST_F(SimulatorTest, AnswersWithAnError)
{
    reader_.inject(Fault::error(0x21, 0x05));
    Peer peer = connect();
    peer.send(information_request);
    EXPECT_EQ(peer.receive_frame(), "05 0A 21 05 4A 73");
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
}

TEST_F(SimulatorTest, FindsRequestsBehindAPieceOfOne)
{
    Peer peer = connect();
    peer.send("0E 0A 01");
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.bad_frames == 1; }));
    EXPECT_EQ(reader_.counters().skipped_bytes, 3U);
}

TEST_F(SimulatorTest, TwoReadersShareABus)
{
    Scenario scenario = portal();
    scenario.reader.address = 0x0B;
    Reader& other = simulator_.add_reader(scenario);
    EXPECT_EQ(other.listen("127.0.0.1", port_), port_);
    Peer peer = connect();
    EXPECT_TRUE(other.wait_for_connection());
    peer.send("04 0B 21 71 8E");
    EXPECT_EQ(peer.receive_frame().substr(0, 5), "11 0B");
    peer.send(information_request);
    EXPECT_EQ(peer.receive_frame().substr(0, 5), "11 0A");
    peer.send("04 FF 21 19 95");
    EXPECT_EQ(peer.receive_frame().substr(0, 5), "11 0A");
    peer.send("04 0C 21 79 C3");
    peer.send(module_request);
    EXPECT_EQ(peer.receive_frame().substr(0, 8), "09 0A 83");
    EXPECT_EQ(other.counters().requests, 1U);
    EXPECT_EQ(reader_.counters().requests, 3U);
}

TEST_F(SimulatorTest, WhoIsConnectedIsSoToThoseThatJoinTheBus)
{
    Peer first = connect();
    Peer second = connect();
    ASSERT_TRUE(reader_.wait_for_connection(2));
    Reader& listening = simulator_.add_reader();
    listening.listen("127.0.0.1", port_);
    Reader& sharing = simulator_.add_reader();
    sharing.share(reader_);
    first.close();
    for (Reader* reader : {&listening, &sharing}) {
        EXPECT_EQ(reader->counters().connections, 2U);
        EXPECT_TRUE(
            reader->wait_until([](const Counters& counters) { return counters.open_connections == 1; }));
    }
}

TEST_F(SimulatorTest, ReadersShareAPty)
{
    const std::string path = reader_.open_pty();
    Scenario scenario = portal();
    scenario.reader.address = 0x0B;
    Reader& other = simulator_.add_reader(scenario);
    other.share(reader_);
    EXPECT_TRUE(other.wait_for_connection());
    Peer peer = Peer::open(path);
    peer.send("04 0B 21 71 8E");
    EXPECT_EQ(peer.receive_frame().substr(0, 5), "11 0B");
}

// Three readers on one line, with the addresses 0x0A to 0x0C.
class LineTest : public SimulatorTest, public testing::WithParamInterface<bool> {
  protected:
    LineTest()
    {
        for (const std::uint8_t address : {0x0B, 0x0C}) {
            Scenario scenario = portal();
            scenario.reader.address = address;
            readers_.push_back(&simulator_.add_reader(scenario));
            readers_.back()->share(reader_);
        }
    }

    Peer open_line() const { return GetParam() ? Peer::open(path_) : Peer::connect(port_); }
    // The address in the next frame.
    static std::string next_from(Peer& line) { return line.receive_frame().substr(3, 2); }

    std::string path_ = GetParam() ? reader_.open_pty() : "";
    std::vector<Reader*> readers_{&reader_};
};

const std::string ask_all = "04 0A 21 A9 97 04 0B 21 71 8E 04 0C 21 79 C3";

TEST_P(LineTest, FaultsOfAReaderAreItsOwn)
{
    Peer line = open_line();
    reader_.inject(Fault::lose());
    readers_[1]->inject(Fault::silence(1));
    readers_[2]->inject(Fault::error(0x21, 0x05));
    line.send(ask_all);
    EXPECT_EQ(line.receive_frame().substr(0, 11), "05 0C 21 05");
    line.send(ask_all);
    for (const char* address : {"0A", "0B", "0C"}) EXPECT_EQ(next_from(line), address);
    for (const Reader* reader : readers_) EXPECT_EQ(reader->counters().requests, 2U);
}

TEST_P(LineTest, EveryoneIsHungUpOnWithWhatIsQueued)
{
    Peer line = open_line();
    for (Reader* reader : readers_) ASSERT_TRUE(reader->wait_for_connection());
    readers_[1]->inject(Fault::delay(milliseconds(20)));
    readers_[1]->inject(Fault::hang_up(0));
    readers_[2]->set_batch(1);
    line.send(ask_all);
    line.send("05 0C 50 00 22 1B");
    EXPECT_EQ(next_from(line), "0A");
    EXPECT_TRUE(line.is_hung_up());
    for (Reader* reader : readers_) {
        EXPECT_TRUE(reader->wait_until([](const Counters& counters) {
            return counters.open_connections == (GetParam() ? 1 : 0) && counters.reports_queued == 0;
        }));
        EXPECT_FALSE(reader->is_reading());
    }
    EXPECT_EQ(readers_[2]->counters().frames_sent, 0U);
    Peer again = open_line();
    again.send(ask_all);
    for (const char* address : {"0A", "0B", "0C"}) EXPECT_EQ(next_from(again), address);
}

INSTANTIATE_TEST_SUITE_P(Links, LineTest, testing::Bool(),
                         [](const auto& link) { return link.param ? "pty" : "tcp"; });

TEST_F(SimulatorTest, PushesABatchAndAnswersAfterwards)
{
    reader_.set_report_rate(1e6);
    reader_.set_batch(20000);
    Peer peer = connect();
    peer.send(start_request);
    EXPECT_EQ(peer.receive_frame(), start_answer);
    for (int i = 0; i < 20000; ++i) {
        ASSERT_EQ(peer.receive_frame(), "10 0A EE 00 01 08 E2 00 11 22 33 44 55 66 64 AE 85") << i;
    }
    EXPECT_TRUE(reader_.wait_for_batch());
    EXPECT_EQ(reader_.counters().reports_sent, 20000U);
    EXPECT_EQ(reader_.counters().reports_dropped, 0U);
    EXPECT_TRUE(reader_.is_reading());
    peer.send(information_request);
    EXPECT_TRUE(is_information(peer.receive_frame()));
    reader_.push_reports(1);
    EXPECT_EQ(peer.receive_frame().substr(0, 8), "10 0A EE");
    reader_.push_error_report(0x05);
    EXPECT_EQ(peer.receive_frame(), "05 0A EE 05 28 3A");
    peer.send(stop_request);
    EXPECT_EQ(peer.receive_frame(), stop_answer);
    EXPECT_TRUE(reader_.wait_for_reading(false));
}

TEST_F(SimulatorTest, PushesABatchThroughAPty)
{
    reader_.set_report_rate(1e6);
    reader_.set_batch(2000);
    Peer peer = Peer::open(reader_.open_pty());
    peer.send(start_request);
    EXPECT_EQ(peer.receive_frame(), start_answer);
    for (int i = 0; i < 2000; ++i) ASSERT_EQ(peer.receive_frame().substr(0, 8), "10 0A EE") << i;
    EXPECT_TRUE(reader_.wait_for_batch());
}

TEST_F(SimulatorTest, DropsReportsThatASlowPeerDoesNotTake)
{
    reader_.set_report_rate(1e6);
    Peer peer = Peer::connect(port_, "127.0.0.1", 4096);
    peer.send(start_request);
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.reports_dropped > 100; },
                                   std::chrono::seconds(60)));
    peer.close();
    EXPECT_TRUE(reader_.wait_for_reading(false));
    EXPECT_EQ(reader_.counters().reports_queued, 0U);
}

TEST_F(SimulatorTest, AVanishedPeerRaisesNoSignal)
{
    reader_.set_report_rate(1e5);
    for (int i = 0; i < 5; ++i) {
        Peer peer = connect();
        peer.send(start_request);
        EXPECT_EQ(peer.receive_frame(), start_answer);
        peer.receive_frame();
        peer.close();
        EXPECT_TRUE(reader_.wait_for_disconnect());
        EXPECT_TRUE(reader_.wait_for_reading(false));
    }
}

TEST_F(SimulatorTest, TracesAllBytes)
{
    std::mutex mutex;
    Bytes in;
    Bytes out;
    simulator_.set_trace([&](const TraceEvent& event) {
        const std::lock_guard<std::mutex> held(mutex);
        append(event.to_reader ? in : out, event.bytes);
    });
    Peer peer = connect();
    peer.send(module_request);
    peer.receive_frame();
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.frames_sent == 1; }));
    simulator_.set_trace({});
    EXPECT_EQ(to_hex(in, " "), module_request);
    EXPECT_EQ(out.size(), 10U);
}

TEST_F(SimulatorTest, WaitsEnd)
{
    EXPECT_FALSE(reader_.wait_for_command(0x21, 1, milliseconds(1)));
    EXPECT_FALSE(reader_.wait_for_connection(1, milliseconds(1)));
    EXPECT_TRUE(reader_.wait_for_disconnect(milliseconds(1)));
}

TEST_F(SimulatorTest, IsUsedFromManyThreads)
{
    std::atomic<bool> over = false;
    std::thread watcher([&] {
        while (!over) {
            reader_.counters();
            reader_.requests();
            reader_.inject(Fault::delay(std::chrono::microseconds(10)));
            reader_.set_report_rate(3000);
            reader_.is_reading();
        }
    });
    std::vector<std::thread> hosts;
    for (int i = 0; i < 3; ++i) {
        hosts.emplace_back([&] {
            for (int j = 0; j < 20; ++j) {
                Peer peer = connect();
                peer.send(information_request);
                EXPECT_TRUE(is_information(peer.receive_frame()));
            }
        });
    }
    for (auto& host : hosts) host.join();
    over = true;
    watcher.join();
    EXPECT_TRUE(reader_.wait_for_command(0x21, 60));
}

TEST(Simulator, StartsAndStopsAtAnyMoment)
{
    for (int i = 0; i < 50; ++i) {
        Simulator simulator;
        Reader& reader = simulator.add_reader(portal());
        const std::uint16_t port = reader.listen();
        if (i % 3 == 0) reader.open_pty();
        if (i % 2 == 0) {
            Peer peer = Peer::connect(port);
            peer.send(start_request);
            if (i % 4 == 0) peer.receive_frame();
        }
    }
}

TEST(Simulator, HoldsManyReaders)
{
    Simulator simulator;
    std::vector<Reader*> readers;
    std::vector<Peer> peers;
    for (int i = 0; i < 255; ++i) {
        Reader& reader = *readers.emplace_back(&simulator.add_reader(portal()));
        reader.set_batch(20);
        const std::uint16_t port = reader.listen("127.0.0." + std::to_string(i + 1), 0);
        peers.push_back(Peer::connect(port, "127.0.0." + std::to_string(i + 1)));
        peers.back().send(start_request);
    }
    for (Peer& peer : peers) {
        EXPECT_EQ(peer.receive_frame(), start_answer);
        for (int i = 0; i < 20; ++i) EXPECT_EQ(peer.receive_frame().substr(0, 8), "10 0A EE");
    }
    for (Reader* reader : readers) EXPECT_TRUE(reader->wait_for_batch());
}

TEST(Simulator, RefusesAContradictoryScenario)
{
    Simulator simulator;
    Scenario scenario;
    scenario.reader.antennas = 0;
    EXPECT_THROW(simulator.add_reader(scenario), ScenarioError);
    EXPECT_THROW(simulator.add_reader_from_text("[reader]\nx = 1\n"), ScenarioError);
    EXPECT_THROW(simulator.add_reader_from_file("/nonexistent"), ScenarioError);
}

}  // namespace
}  // namespace tagwire::sim
