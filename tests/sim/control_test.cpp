#include <algorithm>
#include <array>
#include <barrier>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "control/server.h"
#include "control/timed_order.h"
#include "no_descriptors.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::SizeIs;

const char* const portal = R"(
[reader]
air_time = 0
start_gap_ms = 0
report_rate = 1000
[[tag]]
epc = "E200 0001"
tid = "E280 1160"
[firmware]
boot_ms = 3600000
)";

const char* const end_of_inventory = "01 01 08 00";

// A reader on a port, with a host.
class ControlTest : public testing::Test {
  protected:
    // Command, status and data of the answer.
    std::string ask(std::uint8_t command, const std::string& data = {})
    {
        host_.send_command(command, data);
        const std::string frame = host_.receive_frame();
        return frame.size() < 12 ? frame : frame.substr(6, frame.size() - 12);
    }

    // The records of the tags that are found, all from the first antenna.
    std::string inventory()
    {
        const std::string frame = ask(0x01, "04 00");
        if (frame == end_of_inventory) return "";
        EXPECT_EQ(host_.receive_frame().substr(6, 11), end_of_inventory);
        return frame.substr(9);
    }
    std::uint64_t orders(const std::string& word) { return reader_.counters().orders[word]; }

    Simulator simulator_;
    Reader& reader_ = simulator_.add_reader_from_text(portal);
    Peer host_ = Peer::connect(reader_.listen());
};

std::string problem_of(Reader& reader, const std::string& words)
{
    try {
        return "done: " + reader.control(words);
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
}

TEST_F(ControlTest, TagsComeAndGo)
{
    EXPECT_EQ(reader_.control("add-tag epc=E2000002 antennas=1,2 rssi=180"), "");
    EXPECT_EQ(reader_.tag_count(), 2U);
    EXPECT_EQ(inventory().substr(0, 5), "02 04");
    EXPECT_EQ(reader_.control("take-tag e2000001"), "");
    EXPECT_EQ(inventory(), "01 04 E2 00 00 02 B4");
    EXPECT_EQ(reader_.find_tag(from_hex("E2000002")), 1U);
    EXPECT_EQ(reader_.find_tag(from_hex("E2000001")), std::nullopt);
    EXPECT_THAT(problem_of(reader_, "take-tag E2000001"), HasSubstr("no tag in the field"));
    reader_.control("take-tag E2000002");
    reader_.control("add-tag epc=E2000001 rssi=90");
    EXPECT_EQ(reader_.find_tag(from_hex("E2000001")), 2U);
    EXPECT_EQ(inventory(), "01 04 E2 00 00 01 5A");
    EXPECT_EQ(orders("add-tag"), 2U);
    EXPECT_EQ(orders("take-tag"), 2U);
}

TEST_F(ControlTest, TagsAreFoundByWhatTheyShow)
{
    const std::string write_epc = "02 00000000 E2000009";
    reader_.control("add-tag epc=E2000002 arrives=1e6");
    EXPECT_EQ(reader_.find_tag(from_hex("E2000002")), 1U);
    EXPECT_EQ(ask(0x04, write_epc), "04 00");
    EXPECT_EQ(reader_.find_tag(from_hex("E2000001")), std::nullopt);
    EXPECT_EQ(reader_.find_tag(from_hex("E2000009")), 0U);
    EXPECT_THAT(problem_of(reader_, "add-tag epc=E2000009"), HasSubstr("already"));
    EXPECT_THAT(problem_of(reader_, "take-tag E2000001"), HasSubstr("no tag"));
    reader_.control("add-tag epc=E2000001");
    EXPECT_EQ(ask(0x04, write_epc), "04 00");
    EXPECT_EQ(reader_.control("take-tag E2000009"), "");
}

TEST_F(ControlTest, NewTagsMayHaveAPlace)
{
    reader_.control("take-tag E2000001");
    reader_.control("add-tag epc=E2000002 position=0,1,0 axis=[1,0,0]");
    reader_.control("add-tag epc=E2000003 position=0,900,0");
    reader_.control("add-tag epc=E2000004 path=[[0,0,900,0],[3600,0,901,0]]");
    const std::string records = inventory();
    EXPECT_THAT(records, testing::StartsWith("01 04 E2 00 00 02"));
}

TEST_F(ControlTest, ReadingGoesOnWhileTagsComeAndGo)
{
    EXPECT_EQ(ask(0x50, "00"), "50 00");
    reader_.control("add-tag epc=E200 tid=E280116000000001 count=50 first_serial=7");
    const auto hears = [&](const std::string& epc) {
        for (int frames = 0; frames < 5000; ++frames) {
            if (host_.receive_frame().find(epc) != std::string::npos) return true;
        }
        return false;
    };
    EXPECT_TRUE(hears("E2 00 00 00 00 38"));
    reader_.control("take-tag E20000000038");
    EXPECT_TRUE(hears("E2 00 00 00 00 07"));
    EXPECT_EQ(reader_.tag_count(), 51U);
}

TEST_F(ControlTest, AntennasArePulledAndPluggedIn)
{
    EXPECT_EQ(reader_.control("unplug 1"), "");
    EXPECT_EQ(inventory(), "");
    EXPECT_EQ(reader_.control("plug 1"), "");
    EXPECT_EQ(inventory(), "01 04 E2 00 00 01 C8");
}

TEST_F(ControlTest, InputsAndPower)
{
    reader_.control("input 2 high");
    EXPECT_EQ(ask(0x47), "47 00 20");
    reader_.control("input 2 low");
    EXPECT_EQ(ask(0x47), "47 00 00");
    EXPECT_EQ(ask(0x50, "00"), "50 00");
    reader_.control("restart");
    EXPECT_FALSE(reader_.is_reading());
    reader_.control("hang-up");
    EXPECT_TRUE(reader_.wait_for_disconnect());
}

TEST_F(ControlTest, WithoutPowerItIsSilent)
{
    reader_.control("report-rate 0");
    EXPECT_EQ(ask(0x50, "00"), "50 00");
    reader_.control("cut-power");
    EXPECT_EQ(orders("cut-power"), 1U);
    EXPECT_EQ(reader_.firmware().power_losses, 1U);
    EXPECT_FALSE(reader_.is_reading());
    host_.send_command(0x21);
    EXPECT_TRUE(reader_.wait_for_command(0x21));
    EXPECT_EQ(reader_.counters().frames_sent, 1U) << "it boots for an hour";
    EXPECT_EQ(reader_.counters().open_connections, 1U);
}

TEST_F(ControlTest, WithoutFaultsItIsAsBefore)
{
    const std::string information = ask(0x21);
    for (const char* fault :
         {"lose:count=0", "error:status=0x05,count=0", "flip:byte=2,count=0", "silence:count=0"})
        reader_.control(std::string("fault ") + fault);
    host_.send_command(0x21);
    ASSERT_TRUE(reader_.wait_for_command(0x21, 2));
    reader_.control("clear-faults");
    EXPECT_EQ(ask(0x21), information);
    EXPECT_EQ(reader_.counters().faults[static_cast<std::size_t>(Fault::Kind::silence)], 1U);
}

TEST_F(ControlTest, NoiseIsThatOfTheSeed)
{
    Reader& twin = simulator_.add_reader_from_text(portal);
    Peer other = Peer::connect(twin.listen());
    for (Reader* reader : {&reader_, &twin}) {
        ASSERT_TRUE(reader->wait_for_connection());
        reader->control("noise 200");
        EXPECT_TRUE(reader->wait_until([](const Counters& counters) { return counters.bytes_sent == 200; }));
    }
    const std::string noise = host_.receive(200);
    EXPECT_THAT(noise, SizeIs(200 * 3 - 1));
    EXPECT_EQ(noise, other.receive(200));
}

TEST_F(ControlTest, ReportsComeAsFastAsTheyAreTold)
{
    reader_.control("report-rate 0");
    EXPECT_EQ(ask(0x50, "00"), "50 00");
    EXPECT_EQ(reader_.counters().reports_sent, 0U);
    reader_.control("report-rate 2000");
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.reports_sent >= 3; }));
}

TEST_F(ControlTest, CountersAndTagsAreJson)
{
    inventory();
    EXPECT_THAT(reader_.control("counters"),
                HasSubstr(R"("requests":1,"requests_refused":0,"commands":{"0x01":1})"));
    EXPECT_EQ(reader_.control("tags"),
              R"([{"epc":"E2000001","tid":"E2801160","antennas":[1],"in_field":true}])");
    reader_.control("take-tag E2000001");
    EXPECT_THAT(reader_.control("tags"), HasSubstr(R"("in_field":false)"));
}

struct Struck {
    const char* spec;
    Fault::Kind kind;
};

class FaultOrderTest : public ControlTest, public testing::WithParamInterface<Struck> {};

TEST_P(FaultOrderTest, IsSeenInTheCounters)
{
    const std::string order = std::string("fault ") + GetParam().spec;
    reader_.control(order);
    const auto struck = [](const Counters& counters) {
        return counters.faults[static_cast<std::size_t>(GetParam().kind)];
    };
    EXPECT_EQ(struck(reader_.counters()), 0U);
    host_.send_command(0x21);
    EXPECT_TRUE(reader_.wait_until([&](const Counters& counters) { return struck(counters) == 1; }));
    const std::string name(Fault::name(GetParam().kind));
    EXPECT_THAT(reader_.control("counters"), HasSubstr("\"faults\":{\"" + name + "\":1}"));
    EXPECT_EQ(order.substr(6, name.size()), name);
    reader_.control(order);
    reader_.control("clear-faults");
    EXPECT_EQ(orders("fault"), 2U);
    EXPECT_EQ(orders("clear-faults"), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    All, FaultOrderTest,
    testing::Values(Struck{"split:at=2,ms=1", Fault::Kind::split}, Struck{"delay:ms=1", Fault::Kind::delay},
                    Struck{"noise:bytes=00", Fault::Kind::noise},
                    Struck{"trail:bytes=00", Fault::Kind::trail}, Struck{"flip:byte=3", Fault::Kind::flip},
                    Struck{"set:byte=3,value=1", Fault::Kind::set_byte}, Struck{"lose", Fault::Kind::lose},
                    Struck{"hangup:after=3", Fault::Kind::hang_up}, Struck{"silence", Fault::Kind::silence},
                    Struck{"error:status=0x05", Fault::Kind::error}, Struck{"power", Fault::Kind::power}));

struct Refused {
    const char* words;
    const char* problem;
};

class RefusedOrderTest : public ControlTest, public testing::WithParamInterface<Refused> {};

TEST_P(RefusedOrderTest, SaysWhatIsAllowedAndChangesNothing)
{
    const std::string tags = reader_.control("tags");
    EXPECT_THAT(problem_of(reader_, GetParam().words), HasSubstr(GetParam().problem));
    const Counters counters = reader_.counters();
    EXPECT_EQ(counters.orders, (std::map<std::string, std::uint64_t>{{"tags", 1}}));
    EXPECT_EQ(counters.orders_refused, 1U);
    EXPECT_EQ(reader_.control("tags"), tags);
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedOrderTest,
    testing::Values(
        Refused{"", "'' is no order; use unplug, plug"},
        Refused{"unplugg 2", "'unplugg' is no order; use unplug"}, Refused{"unplug", "write unplug PORT"},
        Refused{"unplug 5", "one that the reader has"}, Refused{"plug 0", "write plug PORT"},
        Refused{"plug 1 2", "write plug PORT"}, Refused{"input 5 high", "LINE from 1 to 4"},
        Refused{"input 1 up", "high|low"}, Refused{"add-tag", "write add-tag KEY=VALUE"},
        Refused{"add-tag E2000002", "write KEY=VALUE"}, Refused{"add-tag rssi=5", "needs an epc"},
        Refused{"add-tag epc=E2", "16-bit words"},
        Refused{"add-tag epc=E2000002 epc=E2000003", "epc is given twice"},
        Refused{"add-tag epc=E200 rssi=256", "rssi must be a whole number from 0 to 255"},
        Refused{"add-tag epc=E200 rssi=[1", "'[1' is no value for rssi"},
        Refused{"add-tag epc=E200 colour=1", "no key 'colour'"},
        Refused{"add-tag epc=E200 antennas=1,1", "named twice"},
        Refused{"add-tag epc=E2000001", "a tag has the EPC E2000001 already"},
        Refused{"add-tag epc=E2000002 departs=1e-9", "departs is over"},
        Refused{"add-tag epc=E200 count=100000", "100000 tags"}, Refused{"take-tag", "write take-tag EPC"},
        Refused{"take-tag E2G0", "not a hexadecimal digit"},
        Refused{"take-tag E2000009", "no tag in the field"}, Refused{"restart now", "write restart"},
        Refused{"noise 0", "from 1 to 1000000"}, Refused{"noise many", "from 1 to 1000000"},
        Refused{"fault", "write fault SPEC"}, Refused{"fault loose", "there is no fault 'loose'"},
        Refused{"report-rate -1", "from 0 to 1e9"}, Refused{"report-rate nan", "from 0 to 1e9"}));

TEST(TimedOrders, ComeInTheirOrderAndRepeat)
{
    TimedOrders orders({{seconds(5), {}, "restart"}, {seconds(1), seconds(2), "hang-up"}});
    EXPECT_EQ(orders.next(), seconds(1));
    EXPECT_EQ(orders.take(milliseconds(999)), std::nullopt);
    EXPECT_EQ(orders.take(seconds(1)), "hang-up");
    EXPECT_EQ(orders.take(seconds(1)), std::nullopt);
    EXPECT_EQ(orders.next(), seconds(3));
    EXPECT_EQ(orders.take(seconds(8)), "hang-up");
    EXPECT_EQ(orders.take(seconds(8)), "restart");
    EXPECT_EQ(orders.next(), seconds(9));
    EXPECT_EQ(TimedOrders({}).next(), std::nullopt);
}

TEST(Events, HappenAtTheirTime)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(R"(
[[event]]
at = 0.02
do = "add-tag epc=E2000001"
[[event]]
at = 0.0
every = 0.001
do = "take-tag E2000001"
[[event]]
at = 0.03
every = 0.001
do = "input 1 high"
)");
    EXPECT_TRUE(reader.wait_until([](const Counters& counters) {
        return counters.orders.count("take-tag") == 1 && counters.orders_refused > 0 &&
               counters.orders.count("input") == 1 && counters.orders.at("input") > 2;
    }));
    EXPECT_TRUE(reader.wait_for_panel([](const PanelState& panel) { return panel.inputs == 1; }));
}

TEST(Events, ThatTakeLongerThanTheirPeriodLeaveTimeForOthers)
{
    Scenario scenario;
    scenario.events.assign(2000, {Time{}, milliseconds(1), "input 1 high"});
    Simulator simulator;
    Reader& reader = simulator.add_reader(scenario);
    EXPECT_TRUE(reader.wait_until([](const Counters& counters) {
        return counters.orders.count("input") == 1 && counters.orders.at("input") > 4000;
    }));
    Peer host = Peer::connect(reader.listen());
    host.send_command(0x21);
    EXPECT_NE(host.receive_frame(), "");
}

struct BadEvent {
    const char* text;
    unsigned line;
    const char* problem;
};

class BadEventTest : public testing::TestWithParam<BadEvent> {};

TEST_P(BadEventTest, IsRefusedWithItsLine)
{
    try {
        Scenario::from_text(std::string("[reader]\nantennas = 2\n") + GetParam().text);
        FAIL() << "loaded";
    } catch (const ScenarioError& error) {
        EXPECT_EQ(error.line(), GetParam().line) << error.what();
        EXPECT_THAT(error.what(), HasSubstr(GetParam().problem));
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, BadEventTest,
    testing::Values(BadEvent{"[[event]]\ndo = \"restart\"\n", 3, "needs its time"},
                    BadEvent{"[[event]]\nat = 1\n", 3, "needs what it does"},
                    BadEvent{"[[event]]\nat = -1\ndo = \"restart\"\n", 4, "at must be a number"},
                    BadEvent{"[[event]]\nat = 1\nevery = 0\ndo = \"restart\"\n", 5, "0.001 seconds or more"},
                    BadEvent{"[[event]]\nat = 1\ndo = \"unplug 3\"\n", 5, "write unplug PORT"},
                    BadEvent{"[[event]]\nat = 1\ndo = \"add-tag epc=E2\"\n", 5, "16-bit words"},
                    BadEvent{"[[event]]\nat = 1\ndo = \"tags\"\n", 5, "it only asks"},
                    BadEvent{"[[event]]\nat = 1\ndo = \"restart\"\nonce = true\n", 6, "no key 'once'"}));

TEST(Events, OfAScenarioInMemoryAreChecked)
{
    Scenario scenario;
    scenario.events = {{seconds(1), {}, "restart"}, {seconds(1), {}, "unplug 9"}};
    EXPECT_THROW(scenario.check(), ScenarioError);
    scenario.events = {{seconds(1), Time{}, "restart"}};
    EXPECT_THROW(scenario.check(), ScenarioError);
    scenario.events = {{seconds(1), seconds(1), "restart"}};
    scenario.check();
}

// A server for the reader, in a folder of its own.
class ControlServerTest : public ControlTest {
  protected:
    ControlServerTest()
    {
        std::string folder = testing::TempDir() + "controlXXXXXX";
        folder_ = ::mkdtemp(folder.data());
        path_ = folder_ + "/control";
    }
    ~ControlServerTest() override { std::filesystem::remove_all(folder_); }

    std::string problem_of_server() const
    {
        try {
            const ControlServer server(path_, {});
            return "listens";
        } catch (const std::runtime_error& problem) {
            return problem.what();
        }
    }

    sockaddr_un place_of_server() const
    {
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        path_.copy(place.sun_path, sizeof place.sun_path - 1);
        return place;
    }

    Descriptor connect() const
    {
        const sockaddr_un place = place_of_server();
        Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
        return socket;
    }

    std::string folder_;
    std::string path_;
};

TEST_F(ControlServerTest, PassesOrdersOnAndAnswersBack)
{
    Reader& second = simulator_.add_reader();
    const ControlServer server(path_, {&reader_, &second});
    const ControlAnswer done = ask_control(path_, 1, "unplug 1");
    EXPECT_TRUE(done.done);
    EXPECT_EQ(done.text, "");
    EXPECT_EQ(orders("unplug"), 1U);
    EXPECT_EQ(ask_control(path_, 2, "tags\n").text, "[]");
    const ControlAnswer refused = ask_control(path_, 2, "unplug 9");
    EXPECT_FALSE(refused.done);
    EXPECT_THAT(refused.text, HasSubstr("write unplug PORT"));
    EXPECT_THAT(ask_control(path_, 3, "tags").text, HasSubstr("the number of a reader, 1 to 2"));
    EXPECT_THAT(ask_control(path_, 0, "tags").text, HasSubstr("the number of a reader, 1 to 2"));
}

TEST_F(ControlServerTest, ServesOthersWhileSomeSayNothing)
{
    const ControlServer server(path_, {&reader_});
    const Descriptor silent = connect();
    {
        const Descriptor half = connect();
        EXPECT_EQ(::write(half.get(), "1 unplug", 8), 8);
    }
    reader_.control("add-tag epc=E200 count=20000");
    {
        const Descriptor deaf = connect();
        EXPECT_EQ(::write(deaf.get(), "1 tags\n", 7), 7);
    }
    EXPECT_GT(ask_control(path_, 1, "tags").text.size(), 1'000'000U);
    const Descriptor endless = connect();
    const std::string words(70000, 'x');
    EXPECT_GT(::send(endless.get(), words.data(), words.size(), MSG_NOSIGNAL), 0);
    char byte = 0;
    EXPECT_LE(::read(endless.get(), &byte, 1), 0);
    EXPECT_EQ(orders("unplug"), 0U);
}

TEST_F(ControlServerTest, OnlyItsUserMayConnectAndThePathIsFreeInTheEnd)
{
    {
        const ControlServer server(path_, {&reader_});
        struct stat found {};
        ASSERT_EQ(::lstat(path_.c_str(), &found), 0);
        EXPECT_EQ(found.st_mode, S_IFSOCK | S_IRUSR | S_IWUSR);
        EXPECT_THAT(problem_of_server(),
                    HasSubstr("process " + std::to_string(::getpid()) + " listens there"));
        EXPECT_TRUE(ask_control(path_, 1, "counters").done);
    }
    EXPECT_FALSE(std::filesystem::exists(path_));
    EXPECT_THROW(ask_control(path_, 1, "counters"), std::system_error);
}

TEST_F(ControlServerTest, OneOfManyTakesThePlaceOfADeadOne)
{
    constexpr int starters = 4;
    for (int i = 0; i < 50; ++i) {
        {
            const ControlServer server(path_, {&reader_});
            std::filesystem::rename(path_, path_ + ".dead");
        }
        std::filesystem::rename(path_ + ".dead", path_);
        std::barrier start(starters);
        std::array<std::unique_ptr<ControlServer>, starters> servers;
        std::vector<std::thread> threads;
        for (auto& server : servers) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                try {
                    server = std::make_unique<ControlServer>(path_, std::vector<Reader*>{&reader_});
                } catch (const std::runtime_error& problem) {
                    EXPECT_THAT(problem.what(), HasSubstr("listens there"));
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(std::count(servers.begin(), servers.end(), nullptr), starters - 1);
        EXPECT_TRUE(ask_control(path_, 1, "counters").done);
    }
}

TEST_F(ControlServerTest, GivesUpOnWhoDoesNotAnswer)
{
    const auto problem = [this](const std::string& words) -> std::string {
        try {
            ask_control(path_, 1, words, milliseconds(50));
            return "answered";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    sockaddr_un place = place_of_server();
    const Descriptor deaf(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(deaf.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    ASSERT_EQ(::listen(deaf.get(), 1), 0);
    EXPECT_THAT(problem("tags"), HasSubstr("does not answer in time"));
    EXPECT_THAT(problem(std::string(10'000'000, 'x')), HasSubstr("does not answer in time"));
    EXPECT_THAT(problem("tags"), HasSubstr("does not answer in time"))
        << "nobody takes the connection either";
}

TEST_F(ControlServerTest, WaitsForDescriptors)
{
    const ControlServer server(path_, {&reader_});
    const sockaddr_un place = place_of_server();
    const Descriptor client(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    std::optional<NoDescriptors> none(std::in_place);
    ASSERT_EQ(::connect(client.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    ASSERT_EQ(::write(client.get(), "1 tags\n", 7), 7);
    const auto before = processor_time();
    pollfd watched{client.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&watched, 1, 300), 0);
    EXPECT_LT(processor_time() - before, milliseconds(150));
    none.reset();
    EXPECT_EQ(::poll(&watched, 1, 10000), 1);
}

TEST_F(ControlServerTest, TakesThePlaceOfADeadOneOnly)
{
    {
        const ControlServer server(path_, {&reader_});
        std::filesystem::rename(path_, path_ + ".dead");
    }
    std::filesystem::rename(path_ + ".dead", path_);
    EXPECT_THROW(ask_control(path_, 1, "counters"), std::system_error);
    EXPECT_EQ(problem_of_server(), "listens");
    std::ofstream(path_) << "precious";
    EXPECT_THAT(problem_of_server(), HasSubstr("is no socket"));
    EXPECT_EQ(std::filesystem::file_size(path_), 8U);
    path_ = folder_ + "/nowhere/control";
    EXPECT_THAT(problem_of_server(), HasSubstr("No such file"));
    path_ = folder_ + '/' + std::string(200, 'x');
    EXPECT_THAT(problem_of_server(), HasSubstr("has 1 to 107 bytes"));
}

}  // namespace
}  // namespace tagwire::sim
