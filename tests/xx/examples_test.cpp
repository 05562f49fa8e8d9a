// The examples, run as they are shown, against virtual readers.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <unistd.h>

#include <gmock/gmock.h>

#include "process.h"
#include "simulator.h"

#include <tagwirexx/reader.hpp>

namespace tagwire {
namespace {

using testing::HasSubstr;
using testing::Not;
using tool::test::Process;
using tool::test::run;

const std::string examples = TAGWIRE_EXAMPLES;

sim::Scenario gate()
{
    sim::Scenario scenario;
    scenario.tags.resize(3);
    for (std::size_t i = 0; i < scenario.tags.size(); ++i)
        scenario.tags[i].epc = {0xE2, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(i)};
    return scenario;
}

enum class Over { tcp, pty };

class Examples : public testing::TestWithParam<Over> {
  protected:
    sim::Reader& add(const sim::Scenario& scenario = gate())
    {
        sim::Reader& reader = simulator.add_reader(scenario);
        urls.push_back(GetParam() == Over::tcp ? "tcp://127.0.0.1:" + std::to_string(reader.listen())
                                               : "serial:" + reader.open_pty() + "?baud=115200");
        return reader;
    }

    sim::Simulator simulator;
    std::vector<std::string> urls;
};
INSTANTIATE_TEST_SUITE_P(Links, Examples, testing::Values(Over::tcp, Over::pty),
                         [](const auto& over) { return over.param == Over::tcp ? "tcp" : "pty"; });

TEST_P(Examples, inventory_shows_each_tag)
{
    add();
    const auto ended = run(examples + "/example_inventory_cpp", urls);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("E28000000000000000000002  port 1  rssi "));
}

TEST_P(Examples, inventory_says_what_is_wrong)
{
    const std::string url = GetParam() == Over::tcp ? "tcp://127.0.0.1:1" : "serial:/dev/null/none";
    const auto ended = run(examples + "/example_inventory_cpp", {url});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_THAT(ended.err, HasSubstr(url));
}

TEST_P(Examples, stocktake_counts_all_tags)
{
    add();
    const auto ended = run(examples + "/example_stocktake_cpp", urls);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("3 tags in "));
}

TEST_P(Examples, write_verify_lock_is_for_one_tag)
{
    sim::Scenario scenario;
    scenario.tags.resize(2);
    scenario.tags[0].epc = sim::from_hex("E28011606000020900000003");
    scenario.tags[0].user.resize(8);
    scenario.tags[0].access_password = {0x11, 0x22, 0x33, 0x44};
    scenario.tags[1].epc = sim::from_hex("E28011606000020900000004");
    sim::Reader& reader = add(scenario);
    const auto ended = run(examples + "/example_write_verify_lock_cpp", urls);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out, "CAFE0001\n");
    EXPECT_EQ(reader.tag_state(0).lock(sim::Area::user), sim::Lock::closed);
    add();
    const auto refused = run(examples + "/example_write_verify_lock_cpp", {urls.back()});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr("no tag answers to E28011606000020900000003"));
}

TEST_P(Examples, commission_goes_on_where_it_stands)
{
    sim::Scenario scenario = gate();
    for (auto& tag : scenario.tags) {
        tag.tid = sim::from_hex("E2801160200000000000AA00");
        tag.tid.back() = tag.epc.back();
    }
    sim::Reader& reader = add(scenario);
    const std::string table = testing::TempDir() + "tagwire_table_" + std::to_string(::getpid()) + ".csv";
    std::ofstream(table) << "tid,epc,access,kill,lock\n"
                            "E2801160200000000000AA01,3034000000000001,11223344,55667788,epc:password\n"
                            "E2801160200000000000AA07,3034000000000007,11223344,,\n";
    auto ended = run(examples + "/example_commission_cpp", {urls[0], table});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_THAT(ended.out, HasSubstr("E2801160200000000000AA01 ok: EPC done; access password done; "));
    EXPECT_THAT(ended.out, HasSubstr("E2801160200000000000AA07 not done: find failed (no tag answers"));
    EXPECT_EQ(reader.tag_state(1).lock(sim::Area::epc), sim::Lock::closed);
    ended = run(examples + "/example_commission_cpp", {urls[0], table});
    EXPECT_THAT(ended.out,
                HasSubstr("AA01 ok: EPC found; access password found; kill password found; lock epc done"
                          "  (went on)"));
    std::filesystem::remove(table);
}

TEST_P(Examples, live_goes_on_when_one_of_four_readers_is_restarted)
{
    for (int i = 0; i < 3; ++i) add();
    sim::Reader& restarted = add();
    Process live(examples + "/example_live_cpp", urls);
    const auto await_read = [&] {
        while (const auto line = live.next_line())
            if (line->starts_with("gate4 E2")) return true;
        return false;
    };
    const auto await_state = [&](const std::string& state) {
        while (const auto line = live.next_error_line())
            if (line->starts_with("gate4 " + state)) return true;
        return false;
    };
    EXPECT_TRUE(await_read());
    restarted.restart();
    restarted.hang_up();
    EXPECT_TRUE(await_state("lost"));
    EXPECT_TRUE(await_state("streaming"));
    EXPECT_TRUE(restarted.wait_for_reading());
    EXPECT_TRUE(await_read());
    live.send_signal(SIGINT);
    const auto ended = live.wait();
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_THAT(ended.err, HasSubstr("gate4 stopped"));
}

TEST_P(Examples, settings_are_brought_to_another_reader)
{
    add();
    add();
    const std::string folder = testing::TempDir() + "tagwire_settings_" + std::to_string(::getpid());
    std::filesystem::create_directory(folder);
    Reader(urls[0]).settings().set("power", "20");
    std::vector<std::string> words{"-C", folder, examples + "/example_settings_cpp"};
    words.insert(words.end(), urls.begin(), urls.end());
    const auto first = run("/usr/bin/env", words);
    EXPECT_EQ(first.exit_code, 0) << first.err;
    EXPECT_THAT(first.out, HasSubstr("power: 30 dBm -> 20 dBm"));
    EXPECT_EQ(Reader(urls[1]).settings().get("power"), "20");
    const auto again = run("/usr/bin/env", words);
    EXPECT_EQ(again.exit_code, 0) << again.err;
    EXPECT_EQ(again.out, "");
    std::filesystem::remove_all(folder);
}

TEST_P(Examples, temperatures_are_lines_of_a_table)
{
    sim::Scenario scenario = gate();
    scenario.tags[1].sensor.emplace().temperature = 12.5;
    add(scenario);
    urls.emplace_back("1");
    const auto ended = run(examples + "/example_temperatures_cpp", urls);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("seconds,epc,port,celsius,problem\n"));
    EXPECT_THAT(ended.out, HasSubstr(",E28000000000000000000001,1,12.5"));
}

TEST_P(Examples, the_log_of_a_sensor_tag_is_lines_of_a_table)
{
    sim::Scenario scenario = gate();
    scenario.tags[1].sensor.emplace().memory = {0, 2, 0x04, 0xE2, 0x80, 0x00};
    add(scenario);
    const auto ended = run(examples + "/example_sensor_log_cpp", {urls[0], "E28000000000000000000001", "0"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out, "sample,celsius,problem\n1,12.5,\n2,,what the sensor tells is no temperature\n");
    EXPECT_THAT(ended.err, HasSubstr("100 %, 4 of 4 bytes"));
}

// A program of version 2.1.
std::string firmware_file()
{
    const std::string file = testing::TempDir() + "tagwire_firmware_" + std::to_string(::getpid());
    std::ofstream(file, std::ios::binary) << "\x02\x01" << std::string(5000, 'x');
    return file;
}

TEST_P(Examples, firmware_is_replaced_and_shown)
{
    sim::Reader& reader = add();
    const std::string file = firmware_file();
    const auto ended = run(examples + "/example_firmware_cpp", {urls[0], file});
    std::filesystem::remove(file);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("100 %, 5002 of 5002 bytes"));
    EXPECT_THAT(ended.out, HasSubstr("runs version 2.1 now; it was 1.0"));
    EXPECT_EQ(reader.firmware().marks, 1U);
}

TEST_P(Examples, firmware_that_is_interrupted_leaves_the_old_program_running)
{
    sim::Reader& reader = add();
    const std::string file = firmware_file();
    std::promise<const Process*> started;
    std::size_t bytes = 0;
    bool is_interrupted = false;
    simulator.set_trace([&, update = started.get_future().share()](const sim::TraceEvent& event) {
        constexpr std::size_t some_blocks = 2000;
        if (event.to_reader) bytes += event.bytes.size();
        if (is_interrupted || bytes < some_blocks) return;
        is_interrupted = true;
        update.get()->send_signal(SIGINT);  // before the block is answered
    });
    Process update(examples + "/example_firmware_cpp", {urls[0], file});
    started.set_value(&update);
    const auto ended = update.wait();
    simulator.set_trace({});
    std::filesystem::remove(file);
    EXPECT_EQ(ended.exit_code, 1) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("\r0 %, 0 of 5002 bytes"));
    EXPECT_THAT(ended.out, Not(HasSubstr("100 %")));
    EXPECT_THAT(ended.out, HasSubstr("stopped"));
    EXPECT_FALSE(reader.firmware().updating);
    EXPECT_EQ(reader.firmware().marks, 0U);
    EXPECT_EQ(Reader(urls[0]).info().firmware, (Version{1, 0}));
}

TEST_P(Examples, sqlite_events_fill_a_database)
{
    sim::Reader& reader = add();
    const std::string file = testing::TempDir() + "tagwire_events_" + std::to_string(::getpid()) + ".db";
    std::vector<std::string> arguments = urls;
    arguments.insert(arguments.begin(), file);
    Process events(examples + "/example_sqlite_events_cpp", arguments);
    EXPECT_TRUE(reader.wait_until([](const sim::Counters& counters) { return counters.reports_sent >= 5; }));
    events.send_signal(SIGTERM);
    EXPECT_EQ(events.wait().exit_code, 0);
    EXPECT_GE(std::filesystem::file_size(file), 8192U) << "a schema and rows";
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace tagwire
