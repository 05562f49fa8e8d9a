// Opening readers, and who they say they are.
#include <arpa/inet.h>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <mutex>
#include <netdb.h>
#include <sys/resource.h>
#include <unistd.h>

#include "xx/reader/reader_inside.h"
#include "xx/virtual_reader.h"

#include <tagwirexx/recording.hpp>

namespace tagwire::test {
namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;

class OpenReader : public VirtualReader {};
INSTANTIATE_TEST_SUITE_P(Links, OpenReader, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(OpenReader, TellsWhoItIs)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.firmware = {3, 7};
    scenario.reader.type = 0x21;
    scenario.reader.power = 27;
    scenario.reader.scan_time = 12;
    scenario.reader.max_frequency = 0x31;
    scenario.reader.min_frequency = 0x80;
    scenario.reader.beep = 0;
    scenario.reader.check_antenna = 1;
    connect(scenario);
    const ReaderInfo info = patiently([&] { return reader().info(); });
    EXPECT_EQ(info.address, 0x0A);
    EXPECT_EQ(info.firmware, (Version{3, 7}));
    EXPECT_EQ(info.type, 0x21);
    EXPECT_EQ(info.power, Dbm(27));
    EXPECT_EQ(info.scan_time, 1200ms);
    EXPECT_FALSE(info.beeps);
    EXPECT_TRUE(info.checks_antennas);
    EXPECT_EQ(info.region.name, "us");
    EXPECT_EQ(info.region.lowest, 0U);
    EXPECT_EQ(info.region.highest, 49U);
    EXPECT_EQ(info.region.from->value, 902'750U);
    EXPECT_EQ(info.region.to->value, 927'250U);
    EXPECT_EQ(info.raw[0], 3);
    EXPECT_EQ(info.raw[7], 12);
    EXPECT_EQ(reader().url(), url);
}

TEST_P(OpenReader, TellsOfItsModuleAndItsLink)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.module_version = {1, 5};
    scenario.reader.module_type = 0x33;
    connect(scenario);
    const LinkCounters before = reader().link_counters();
    EXPECT_GE(before.frames, 1U);
    const ModuleInfo module = patiently([&] { return reader().module_info(); });
    EXPECT_EQ(module.version, (Version{1, 5}));
    EXPECT_EQ(module.type, 0x33);
    EXPECT_EQ(module.protocols, scenario.reader.module_protocols);
    const LinkCounters after = reader().link_counters();
    EXPECT_GT(after.frames, before.frames);
    EXPECT_GE(after.bytes, before.bytes + 10);

    device->inject(sim::Fault::parse("flip:command=0x83,byte=5"));
    error_of([&] { reader().module_info(); });
    EXPECT_GE(reader().link_counters().bad_crc, 1U);
    device->inject(sim::Fault::parse("error:command=0x83,status=0xFE"));
    EXPECT_EQ(error_of([&] { patiently([&] { reader().module_info(); }); })->code(), Errc::no_such_feature);
}

TEST_P(OpenReader, IsRestarted)
{
    connect(make_scenario(0));
    patiently([&] { reader().antennas().enable({Port(3)}, Lasting::until_restart); });
    ASSERT_EQ(device->settings().antennas, std::vector{3U});
    patiently([&] { reader().restart(); });
    EXPECT_THAT(device->settings().antennas, testing::ElementsAre(1, 2, 3, 4));
    device->inject(sim::Fault::parse("lose:command=0x99"));
    EXPECT_EQ(error_of([&] { reader().restart(); })->outcome(), Outcome::unknown);
}

TEST_P(OpenReader, ThatIsStillReadingIsStopped)
{
    sim::Scenario scenario = make_scenario(5);
    scenario.reader.report_rate = 200;
    connect(scenario);
    // As a program that ended without a word.
    OpenLink link = ReaderInside::take_back(std::move(reader()));
    const auto start = engine::make_question(0x0A, engine::start_command, {0});
    ASSERT_EQ(::write(link.fd.get(), start.bytes, start.size), static_cast<ssize_t>(start.size));
    ASSERT_TRUE(device->wait_until([](const sim::Counters& now) { return now.reports_sent > 3; }));
    link.address = 0xFF;
    try {
        EXPECT_EQ(ReaderInside(std::move(link)).told().address, 0x0A);
    } catch (const Error& error) {
        // A busy machine kept the answers for too long: once more, from the start.
        EXPECT_EQ(error.code(), Errc::no_answer);
        open();
    }
    EXPECT_TRUE(device->wait_for_reading(false));
}

TEST_P(OpenReader, TellsWhetherSomethingCameUnasked)
{
    sim::Scenario scenario = make_scenario(5);
    scenario.reader.report_rate = 200;
    connect(scenario);
    EXPECT_FALSE(reader().was_reading());
    patiently([&] { reader().modes().set_work_mode(WorkMode::active); });
    opened.reset();
    EXPECT_TRUE(patiently([&] { return Reader(url, std::chrono::seconds(2)).was_reading(); }));
}

TEST_P(OpenReader, ALinkIsGivenBackAndTakenOver)
{
    connect(make_scenario(3));
    engine::ReaderInformation told{};
    told.address = 0x0A;
    OpenLink link = ReaderInside::take_back(std::move(reader()));
    EXPECT_TRUE(link.fd);
    Reader again = ReaderInside::around(std::move(link), told);
    EXPECT_EQ(patiently([&] { return again.inventory(); }).reads.size(), 3U);
    EXPECT_EQ(again.url(), url);
}

TEST_P(OpenReader, MovesAndEnds)
{
    connect(make_scenario(2));
    Reader first = std::move(reader());
    opened.reset();
    Reader second = std::move(first);
    first = std::move(second);
    EXPECT_EQ(patiently([&] { return first.inventory(); }).reads.size(), 2U);
    sim::Reader& other_device = simulator.add_reader(make_scenario(1));
    const std::string other = url_of(other_device);
    first = patiently([&] { return Reader(other); });
    if (GetParam() == Link::tcp) {
        EXPECT_TRUE(device->wait_for_disconnect());
    }
    EXPECT_EQ(patiently([&] { return first.inventory(); }).reads.size(), 1U);
}

TEST_P(OpenReader, ABusAddressIsAskedAlone)
{
    const sim::Scenario scenario = make_scenario(0);
    connect(scenario, "address=10");
    EXPECT_EQ(patiently([&] { return reader().info(); }).address, 10);
    sim::Reader& other = simulator.add_reader(scenario);
    const std::string wrong = url_of(other, "address=11");
    const auto error = error_of([&] { Reader nobody(wrong); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_THAT(error->what(), HasSubstr(wrong));
}

TEST_P(OpenReader, ALostLinkIsToldAsLost)
{
    connect(make_scenario(1));
    device->hang_up();
    ASSERT_TRUE(GetParam() == Link::pty || device->wait_for_disconnect());
    const auto error = error_of([&] { reader().inventory(); });
    EXPECT_EQ(error->code(), Errc::lost);
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    EXPECT_EQ(error->reader(), url);
}

TEST_P(OpenReader, RecordsWhatComesAndGoes)
{
    connect(make_scenario(2));
    std::string path = "/tmp/tagwire-recording-XXXXXX";
    ::close(::mkstemp(path.data()));
    reader().record(path);
    patiently([&] { return reader().inventory(); });
    EXPECT_EQ(reader().recording_lost(), 0U);
    reader().stop_recording();
    patiently([&] { return reader().info(); });
    Bytes sent;
    Bytes received;
    for (const Recorded& chunk : load_recording(path)) {
        EXPECT_EQ(chunk.source, url);
        Bytes& to = chunk.sent ? sent : received;
        to.insert(to.end(), chunk.bytes.begin(), chunk.bytes.end());
    }
    ::unlink(path.c_str());
    EXPECT_THAT(to_hex(sent), HasSubstr("060A010400")) << "the inventory";
    EXPECT_THAT(to_hex(sent), testing::Not(HasSubstr("040A21"))) << "asked after the recording";
    EXPECT_THAT(to_hex(received), HasSubstr(epc_of(1).to_string()));
    EXPECT_EQ(error_of([&] { reader().record("/no/such/folder/recording"); })->code(), Errc::file);
}

TEST(OpenReaders, OnOneAddressHaveNothingToDoWithEachOther)
{
    sim::Simulator simulator;
    const auto url_of = [&](unsigned tags) {
        return "tcp://127.0.0.1:" +
               std::to_string(simulator.add_reader(make_scenario(tags)).listen("127.0.0.1", 0));
    };
    const std::string urls[] = {url_of(2), url_of(3)};
    Reader first = patiently([&] { return Reader(urls[0]); });
    Reader second = patiently([&] { return Reader(urls[1]); });
    EXPECT_EQ(patiently([&] { return first.inventory(); }).reads.size(), 2U);
    EXPECT_EQ(patiently([&] { return second.inventory(); }).reads.size(), 3U);
}

TEST(OpenReaders, ASerialDeviceHasOneReader)
{
    sim::Simulator simulator;
    const std::string url = "serial:" + simulator.add_reader(make_scenario(0)).open_pty();
    auto first = patiently([&] { return std::make_unique<Reader>(url); });
    EXPECT_EQ(error_of([&] { Reader second(url); })->code(), Errc::in_use);
    first.reset();
    patiently([&] { return std::make_unique<Reader>(url); });
}

TEST(OpenReaders, NobodyThere)
{
    const auto refused = error_of([] { Reader reader("tcp://127.0.0.1:1"); });
    EXPECT_EQ(refused->code(), Errc::cannot_open);
    EXPECT_THAT(refused->what(), HasSubstr("refuses the connection"));
    const auto missing = error_of([] { Reader reader("serial:/dev/ttyUSB_none"); });
    EXPECT_EQ(missing->code(), Errc::cannot_open);
    EXPECT_THAT(missing->what(), HasSubstr("plugged in"));
    EXPECT_THAT(error_of([] { Reader reader("serial:/dev/null"); })->what(), HasSubstr("no serial line"));
    EXPECT_THAT(error_of([] { Reader reader("serial:/etc/hostname"); })->what(), HasSubstr("no serial line"));
    EXPECT_EQ(error_of([] { Reader reader(static_cast<const char*>(nullptr)); })->code(), Errc::invalid_text);
}

int find_nobody(const std::string& /*host*/, std::vector<in_addr>& /*out*/) { return EAI_NONAME; }

TEST(OpenReaders, ANameThatIsNone)
{
    const auto error = error_of([] { resolve(parse_url("tcp://gate1"), 10s, find_nobody); });
    EXPECT_EQ(error->code(), Errc::cannot_open);
    EXPECT_THAT(error->what(), HasSubstr("'gate1' has no IPv4 address"));
    EXPECT_EQ(resolve(parse_url("tcp://192.0.2.7"), 10s, find_nobody).at(0).s_addr, htonl(0xC0000207));
}

// Of a name service that never answers.
class DeadNameService {
  public:
    static int look_up(const std::string& /*host*/, std::vector<in_addr>& /*out*/)
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [] { return over; });
        ended = true;
        changed.notify_all();
        return EAI_AGAIN;
    }
    static void end()
    {
        std::unique_lock lock(mutex);
        over = true;
        changed.notify_all();
        changed.wait(lock, [] { return ended; });
        over = ended = false;  // when the test is repeated
    }

  private:
    static inline std::mutex mutex;
    static inline std::condition_variable changed;
    static inline bool over = false;
    static inline bool ended = false;
};

TEST(OpenReaders, ANameThatNeverResolvesIsGivenUp)
{
    const auto error = error_of([] { resolve(parse_url("tcp://gate1"), 20ms, DeadNameService::look_up); });
    EXPECT_EQ(error->code(), Errc::cannot_open);
    EXPECT_THAT(error->what(), HasSubstr("name service"));
    DeadNameService::end();
}

// Several addresses of one name: the second one answers.
TEST(OpenReaders, TheNextAddressIsTried)
{
    sim::Simulator simulator;
    const auto port = simulator.add_reader(make_scenario(0)).listen("127.0.0.3", 0);
    Url url = parse_url("tcp://gate1:" + std::to_string(port));
    const std::vector<in_addr> hosts = {{htonl(0x7F000002)}, {htonl(0x7F000003)}};
    EXPECT_TRUE(connect(url, hosts, 20s));
}

TEST(OpenReaders, NoDescriptorLeftNamesTheLimit)
{
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const Descriptor probe(::dup(0));
    const rlimit few{static_cast<rlim_t>(probe.get() + 1), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const auto error = error_of([] { Reader reader("tcp://127.0.0.1:1"); });
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(error->code(), Errc::cannot_open);
    EXPECT_THAT(error->what(), HasSubstr("(" + std::to_string(few.rlim_cur) + ")"));
}

class SerialFolder : public testing::Test {
  protected:
    SerialFolder()
    {
        std::string name = "/tmp/tagwire-serial-XXXXXX";
        folder_ = ::mkdtemp(name.data());
    }
    ~SerialFolder() override { std::filesystem::remove_all(folder_); }

    void link(const std::string& name, const std::string& target) const
    {
        std::filesystem::create_directories((folder_ / name).parent_path());
        std::filesystem::create_symlink(target, folder_ / name);
    }
    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    std::string folder() const { return folder_.string(); }

    sim::Simulator simulator;

  private:
    std::filesystem::path folder_;
};

TEST_F(SerialFolder, HasEachDeviceOnceAndNoConsole)
{
    sim::Reader& device = simulator.add_reader(make_scenario(0));
    const std::string first = device.open_pty();
    const std::string second = device.open_pty();
    link("serial/by-id/usb-reader", first);
    link("ttyUSB0", first);
    link("ttyACM0", second);
    link("tty", "/dev/tty");
    link("tty1", "/dev/null");
    link("console", "/dev/null");
    link("ttyS0", "/dev/null");
    link("ttyUSB9", "/dev/gone");
    EXPECT_THAT(find_serial_devices(folder()),
                testing::ElementsAre(path("serial/by-id/usb-reader"), path("ttyACM0")));
    EXPECT_THAT(find_serial_devices(path("gone")), testing::IsEmpty());
}

TEST_F(SerialFolder, IsSearchedForAReader)
{
    sim::Reader& device = simulator.add_reader(make_scenario(0));
    link("ttyACM0", "/dev/null");
    link("ttyUSB0", device.open_pty());
    const auto inside =
        patiently([&] { return open_reader(parse_url("serial:auto?baud=115200"), folder()); });
    EXPECT_EQ(inside->name(), "serial:" + path("ttyUSB0") + "?baud=115200");
    EXPECT_EQ(inside->told().address, 0x0A);
}

TEST_F(SerialFolder, WithoutAReaderSaysWhatWasTried)
{
    EXPECT_THAT(error_of([&] { open_reader(parse_url("serial:auto"), folder()); })->what(),
                HasSubstr("plugged in"));
    link("ttyACM0", "/dev/full");
    EXPECT_THAT(error_of([&] { open_reader(parse_url("serial:auto"), folder()); })->what(),
                HasSubstr(path("ttyACM0")));
}

}  // namespace
}  // namespace tagwire::test
