// Streams over virtual readers, on both kinds of link.
#include <tagwirexx/stream.hpp>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include <tagwirexx/error.hpp>
#include <tagwirexx/reader.hpp>
#include <tagwirexx/recording.hpp>

#include "simulator.h"

namespace tagwire {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

// What a test gives up after; nothing waits for it when all is well.
constexpr std::chrono::milliseconds long_time = 60s;

enum class Over { tcp, pty };

std::string name_of(const testing::TestParamInfo<Over>& info)
{
    return info.param == Over::tcp ? "tcp" : "pty";
}

sim::Scenario portal(unsigned tags)
{
    sim::Scenario scenario;
    scenario.tags.resize(tags);
    for (unsigned i = 0; i < tags; ++i)
        scenario.tags[i].epc = {0xE2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, std::uint8_t(i)};
    return scenario;
}

std::string url_of(sim::Reader& reader, Over over)
{
    if (over == Over::pty) return "serial:" + reader.open_pty() + "?baud=115200";
    return "tcp://127.0.0.1:" + std::to_string(reader.listen());
}

// Takes events until one is as wanted; that one, or none when it does not come.
template <class Wanted> std::optional<Event> await(Stream& stream, Wanted wanted)
{
    const auto end = std::chrono::steady_clock::now() + long_time;
    while (std::chrono::steady_clock::now() < end) {
        auto event = stream.next(100ms);
        if (event && wanted(*event)) return event;
        if (!event && stream.stopped()) break;
    }
    return std::nullopt;
}

auto is_state(State state)
{
    return [state](const Event& event) { return event.state() != nullptr && event.state()->state == state; };
}

bool is_read(const Event& event) { return event.read() != nullptr; }

class OneReader : public testing::TestWithParam<Over> {
  protected:
    void open(unsigned tags = 3, const StreamOptions& options = {}, SourceOptions source = {})
    {
        reader = &simulator.add_reader(portal(tags));
        url = url_of(*reader, GetParam());
        stream.emplace(options);
        source.name = "gate";
        stream->add(url, source);
    }

    sim::Simulator simulator;
    sim::Reader* reader = nullptr;
    std::string url;
    std::optional<Stream> stream;
};

INSTANTIATE_TEST_SUITE_P(Links, OneReader, testing::Values(Over::tcp, Over::pty), name_of);

TEST_P(OneReader, streams_its_reports_in_order)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    reader->set_batch(1000);
    reader->set_report_rate(2000);
    std::set<Epc> seen;
    for (std::uint64_t expected = 1; expected <= 1000; ++expected) {
        const auto event =
            await(*stream, [](const Event& any) { return any.read() != nullptr || any.gap() != nullptr; });
        ASSERT_TRUE(event && event->read() != nullptr) << expected;
        ASSERT_EQ(event->read()->sequence, expected);
        EXPECT_EQ(event->source(), "gate");
        EXPECT_EQ(event->read()->port, Port(1));
        seen.insert(event->read()->epc);
    }
    EXPECT_EQ(seen.size(), 3U);
    const Counters counters = stream->counters("gate");
    EXPECT_EQ(counters.received, 1000U);
    EXPECT_EQ(counters.delivered, 1000U);
    EXPECT_EQ(counters.dropped + counters.bad_crc + counters.skipped_bytes, 0U);
    EXPECT_GE(counters.frames, 1002U);
    EXPECT_EQ(stream->health("gate").state, State::streaming);
    EXPECT_TRUE(stream->health("gate").last_read);
}

TEST_P(OneReader, is_told_to_stop_at_the_end)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    stream.reset();
    EXPECT_TRUE(reader->wait_for_command(0x51));
}

TEST_P(OneReader, stops_from_another_thread_while_events_are_waited_for)
{
    open(0);
    stream->start();
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    std::thread stopper([&] { stream->stop(); });
    std::vector<State> states;
    for (const Event& event : *stream)
        if (event.state() != nullptr) states.push_back(event.state()->state);
    stopper.join();
    EXPECT_THAT(states, testing::ElementsAre(State::stopped));
    EXPECT_TRUE(stream->stopped());
    EXPECT_FALSE(stream->next(long_time)) << "at once";
}

TEST_P(OneReader, is_started_again_when_it_was_restarted_behind_a_link_that_stays)
{
    SourceOptions source;
    source.probe_after = 100ms;
    open(3, {}, source);
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    reader->restart();
    EXPECT_TRUE(reader->wait_for_reading()) << "it is started again";
    EXPECT_EQ(stream->counters("gate").reconnects, 0U);
}

TEST_P(OneReader, is_connected_again_when_it_hangs_up)
{
    open(1);
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    reader->restart();
    reader->hang_up();
    ASSERT_TRUE(await(*stream, is_state(State::lost)));
    ASSERT_TRUE(await(*stream, is_read));
    EXPECT_EQ(stream->counters("gate").reconnects, 1U);
}

TEST_P(OneReader, reading_for_somebody_who_is_gone_is_stopped_first)
{
    open();
    {
        Stream other;
        other.add(url);
        other.start();
        ASSERT_TRUE(await(other, is_read));
        // Not told to stop: its answers and the command are lost.
        reader->inject(sim::Fault::silence(1));
    }
    stream->start();
    const auto first = await(*stream, is_read);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->read()->sequence, 1U);
}

TEST_P(OneReader, is_probed_when_it_is_quiet_and_lost_when_it_does_not_answer)
{
    SourceOptions source;
    source.probe_after = 100ms;
    open(0, {}, source);
    stream->start();
    const auto quiet = await(*stream, is_state(State::quiet));
    ASSERT_TRUE(quiet) << stream->health("gate").reason;
    reader->inject(sim::Fault::silence());
    EXPECT_TRUE(await(*stream, is_state(State::lost)));
    reader->clear_faults();
    EXPECT_TRUE(await(*stream, is_state(State::streaming)));
}

TEST_P(OneReader, drops_the_oldest_and_counts_exactly)
{
    open(3, {.capacity = 100});
    stream->start();
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    reader->set_batch(5000);
    reader->set_report_rate(5000);
    ASSERT_TRUE(reader->wait_for_batch(60s));
    while (stream->counters("gate").received < 5000) std::this_thread::yield();
    const auto gap = await(*stream, [](const Event& event) { return event.gap() != nullptr; });
    ASSERT_TRUE(gap);
    EXPECT_EQ(gap->gap()->count, 4900U);
    EXPECT_EQ(gap->gap()->first_sequence, 1U);
    std::vector<Event> rest(200);
    rest.resize(stream->take(rest, 0ms));
    ASSERT_EQ(rest.size(), 100U);
    EXPECT_EQ(rest.front().read()->sequence, 4901U);
    EXPECT_EQ(rest.back().read()->sequence, 5000U);
    const Counters counters = stream->counters("gate");
    EXPECT_EQ(counters.received, counters.delivered + counters.dropped);
}

TEST_P(OneReader, holds_reports_back_in_the_reader_where_that_is_asked_for)
{
    open(3, {.capacity = 10, .overflow = Overflow::block});
    stream->start();
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    reader->set_batch(2000);
    reader->set_report_rate(20'000);
    for (std::uint64_t expected = 1; expected <= 2000; ++expected) {
        const auto read = await(*stream, is_read);
        ASSERT_TRUE(read) << expected;
        ASSERT_EQ(read->read()->sequence, expected);
    }
    const Counters counters = stream->counters("gate");
    EXPECT_EQ(counters.dropped, 0U);
    EXPECT_LE(counters.highest_level, 10U);
}

TEST_P(OneReader, finds_its_reports_in_noise)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    sim::Fault noise = sim::Fault::noise({0x55, 0x11, 0xFF, 0x02});
    noise.target = sim::Fault::Target::reports;
    noise.count = 100;
    reader->inject(noise);
    sim::Fault flipped = sim::Fault::flip(6);
    flipped.target = sim::Fault::Target::reports;
    flipped.count = 10;
    flipped.skip = 100;
    reader->inject(flipped);
    reader->set_batch(500);
    reader->set_report_rate(1000);
    ASSERT_TRUE(reader->wait_for_batch(60s));
    const auto end = std::chrono::steady_clock::now() + long_time;
    while (stream->counters("gate").received < 490 && std::chrono::steady_clock::now() < end)
        stream->next(10ms);
    EXPECT_EQ(stream->counters("gate").received, 490U);
    EXPECT_GE(stream->counters("gate").skipped_bytes, 400U);
    EXPECT_GE(stream->counters("gate").bad_crc, 10U);
}

TEST_P(OneReader, leaves_tags_out_that_are_not_wanted)
{
    SourceOptions source;
    source.only = Mask{.bank = Bank::epc, .bit = 32 + 88, .bytes = {1}};
    open(3, {}, source);
    stream->start();
    for (int i = 0; i < 5; ++i) {
        const auto read = await(*stream, is_read);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->read()->epc, Epc("E20000000000000000000001"));
    }
    EXPECT_GT(stream->counters("gate").filtered, 0U);
}

TEST_P(OneReader, reads_in_its_duty_cycle)
{
    SourceOptions source;
    source.duty = Duty{.on = 50ms, .off = 50ms};
    open(3, {}, source);
    stream->start();
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(await(*stream, is_state(State::paused)));
        ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    }
    EXPECT_EQ(stream->counters("gate").reconnects, 0U);
}

TEST_P(OneReader, is_lent_to_the_program_and_goes_on)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    int calls = 0;
    stream->paused("gate", [&](Reader& lent) {
        EXPECT_FALSE(reader->is_reading());
        const auto found = lent.inventory();
        EXPECT_EQ(found.tags().size(), 3U);
        ++calls;
    });
    EXPECT_EQ(calls, 1);
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    ASSERT_TRUE(await(*stream, is_read));
    EXPECT_THROW(stream->paused("gate", [](Reader&) { throw std::runtime_error("mine"); }),
                 std::runtime_error);
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    ASSERT_TRUE(await(*stream, is_read));
    EXPECT_THROW(stream->paused("other", [](Reader&) {}), std::logic_error);
    EXPECT_THROW(stream->paused("gate", [&](Reader&) { stream->paused("gate", [](Reader&) {}); }),
                 std::logic_error);
    EXPECT_TRUE(await(*stream, is_read));
}

TEST_P(OneReader, is_set_as_planned_before_it_reads)
{
    SourceOptions source;
    source.plan = {.q = 6, .session = Session::s2, .antennas = {Port(2), Port(1)}, .power = Dbm(21)};
    open(3, {}, source);
    stream->start();
    ASSERT_TRUE(await(*stream, is_read)) << stream->health("gate").reason;
    const sim::Settings set = reader->settings();
    EXPECT_EQ(set.q, 6);
    EXPECT_EQ(set.session, 2);
    EXPECT_THAT(set.power, testing::Each(21));
    EXPECT_EQ(reader->counters().commands[0x2F], 1U);
    EXPECT_EQ(reader->counters().commands[0x81], 1U);
    // What it has already is not written again.
    reader->hang_up();
    ASSERT_TRUE(await(*stream, is_state(State::lost)));
    ASSERT_TRUE(await(*stream, is_read)) << stream->health("gate").reason;
    EXPECT_EQ(reader->counters().commands[0x2F], 1U);
    EXPECT_EQ(reader->counters().commands[0x81], 1U);
}

TEST_P(OneReader, has_its_profile_before_it_reads_but_what_the_plan_names)
{
    SourceOptions source;
    source.profile.emplace();
    source.profile->set("power", "10");
    source.profile->set("q", "7");
    source.plan.power = Dbm(21);
    open(3, {}, source);
    stream->start();
    ASSERT_TRUE(await(*stream, is_read)) << stream->health("gate").reason;
    EXPECT_EQ(reader->settings().q, 7);
    EXPECT_THAT(reader->settings().power, testing::Each(21));
    EXPECT_EQ(reader->counters().commands[0x2F], 1U);
}

TEST_P(OneReader, of_another_firmware_than_its_profile_is_read_from_and_of_another_type_is_not)
{
    const auto profile_of = [](const std::string& facts) {
        return Profile::parse("[reader]\n" + facts + "[settings]\nq = 7\n");
    };
    SourceOptions source;
    source.profile = profile_of("firmware = \"9.9\"\n");
    open(1, {}, source);
    stream->start();
    ASSERT_TRUE(await(*stream, is_read)) << stream->health("gate").reason;
    EXPECT_EQ(reader->settings().q, 7);
    source.profile = profile_of("type = 200\n");
    open(1, {}, source);
    stream->start();
    const auto refused = await(*stream, is_state(State::waiting));
    ASSERT_TRUE(refused);
    EXPECT_THAT(refused->text(), testing::HasSubstr("type 200"));
    EXPECT_FALSE(reader->is_reading());
}

TEST_P(OneReader, that_refuses_its_profile_is_not_read_from_and_says_why)
{
    SourceOptions source;
    source.profile.emplace();
    source.profile->set("power", "39");
    open(3, {}, source);
    stream->start();
    const auto refused = await(*stream, is_state(State::waiting));
    ASSERT_TRUE(refused);
    EXPECT_THAT(refused->text(), testing::HasSubstr("power"));
    EXPECT_FALSE(reader->is_reading());
    stream->stop();
}

TEST_P(OneReader, that_refuses_its_plan_is_not_read_from_and_says_why)
{
    SourceOptions source;
    source.plan.power = Dbm(39);
    open(3, {}, source);
    stream->start();
    const auto refused = await(*stream, is_state(State::waiting));
    ASSERT_TRUE(refused);
    EXPECT_THAT(refused->text(), testing::HasSubstr("set power"));
    EXPECT_FALSE(reader->is_reading());
    stream->stop();
}

TEST_P(OneReader, tells_what_changes_at_its_inputs)
{
    SourceOptions source;
    source.inputs_every = 20ms;
    source.probe_after = 200ms;
    open(1, {}, source);
    reader->set_input(2, true);
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    ASSERT_TRUE(reader->wait_for_command(0x47, 2));
    reader->set_input(2, false);
    reader->set_input(4, true);
    const auto is_input = [](const Event& event) { return event.input() != nullptr; };
    std::set<std::string> told;
    for (int i = 0; i < 2; ++i) {
        const auto change = await(*stream, is_input);
        ASSERT_TRUE(change);
        EXPECT_EQ(change->source(), "gate");
        told.insert(std::to_string(change->input()->port) + (change->input()->before ? "1" : "0") +
                    (change->input()->now ? "1" : "0"));
    }
    EXPECT_THAT(told, testing::ElementsAre("210", "401")) << "that line 2 was high at first is no change";
    // Its answers about the inputs are no sign that it reads.
    reader->restart();
    EXPECT_TRUE(reader->wait_for_reading()) << "it is started again";
}

TEST_P(OneReader, tells_of_an_input_as_soon_as_there_is_room)
{
    SourceOptions source;
    source.inputs_every = 20ms;
    open(1, {.capacity = 5}, source);
    stream->start();
    while (stream->counters("gate").highest_level < 5) std::this_thread::yield();
    ASSERT_TRUE(reader->wait_for_command(0x47));
    reader->set_input(2, true);
    const auto asked = reader->counters().commands[0x47];
    ASSERT_TRUE(reader->wait_for_command(0x47, asked + 2));
    const auto change = await(*stream, [](const Event& event) { return event.input() != nullptr; });
    ASSERT_TRUE(change);
    EXPECT_EQ(change->input()->port, 2U);
    EXPECT_TRUE(change->input()->now);
}

// The pause waits for the end of the start, which does not come.
TEST_P(OneReader, that_is_stopped_while_it_is_about_to_be_lent_is_not_lent)
{
    SourceOptions source;
    source.probe_after = 30ms;
    open(0, {}, source);
    stream->start();
    ASSERT_TRUE(await(*stream, is_state(State::streaming)));
    reader->inject(sim::Fault::silence());
    ASSERT_TRUE(reader->wait_for_command(0x50, 2));
    std::atomic<bool> is_calling{false};
    std::thread pausing([&] {
        is_calling = true;
        EXPECT_THROW(stream->paused("gate", [](Reader&) {}), Error);
    });
    while (!is_calling) std::this_thread::yield();
    stream->stop();
    pausing.join();
}

TEST(Streams, ask_again_how_a_reader_tells_its_ports)
{
    sim::Simulator simulator;
    sim::Scenario scenario = portal(1);
    scenario.reader.antennas = 16;
    scenario.reader.enabled_antennas = {12};
    scenario.reader.antenna_byte = sim::AntennaByte::number;
    scenario.tags[0].antennas = {12};
    sim::Reader& reader = simulator.add_reader(scenario);
    reader.inject(sim::Fault::error(0x94, 0xF8));
    Stream stream;
    stream.add(url_of(reader, Over::tcp), {.name = "gate"});
    stream.start();
    ASSERT_TRUE(await(stream, is_read));
    reader.clear_faults();
    reader.hang_up();
    ASSERT_TRUE(await(stream, is_state(State::lost)));
    const auto read = await(stream, is_read);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->read()->port, Port(12));
}

TEST_P(OneReader, with_many_ports_tells_their_numbers)
{
    sim::Scenario scenario = portal(1);
    scenario.reader.antennas = 16;
    scenario.reader.enabled_antennas = {12};
    scenario.reader.antenna_byte = sim::AntennaByte::number;
    scenario.tags[0].antennas = {12};
    reader = &simulator.add_reader(scenario);
    stream.emplace();
    stream->add(url_of(*reader, GetParam()));
    stream->start();
    const auto read = await(*stream, is_read);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->read()->port, Port(12));
}

TEST_P(OneReader, is_lent_twice_in_a_row)
{
    SourceOptions source;
    source.probe_after = 20ms;
    open(0, {}, source);
    stream->start();
    ASSERT_TRUE(await(*stream, is_state(State::quiet)));
    int calls = 0;
    for (int i = 0; i < 20; ++i) stream->paused("gate", [&](Reader&) { ++calls; });
    EXPECT_EQ(calls, 20);
}

TEST_P(OneReader, rests_although_it_is_quiet)
{
    SourceOptions source;
    source.probe_after = 20ms;
    source.duty = Duty{.on = 200ms, .off = 20ms};
    open(0, {}, source);
    stream->start();
    EXPECT_TRUE(await(*stream, is_state(State::paused)));
    EXPECT_TRUE(await(*stream, is_state(State::quiet)));
}

TEST_P(OneReader, is_removed_while_it_does_not_answer)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    reader->inject(sim::Fault::silence());
    stream->remove("gate");
    reader->hang_up();
    const auto last = await(*stream, is_state(State::stopped));
    ASSERT_TRUE(last);
    reader->clear_faults();
    Stream again;
    again.add(url);
    again.start();
    EXPECT_TRUE(await(again, is_read)) << "the link was let go";
}

TEST_P(OneReader, is_let_go_at_the_end_also_when_it_was_removed)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    stream->remove("gate");
    stream.reset();
    Stream again;
    again.add(url);
    again.start();
    EXPECT_TRUE(await(again, is_read));
}

TEST_P(OneReader, cannot_be_removed_behind_the_end_and_does_no_harm)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    stream->stop();
    stream->remove("gate");
    stream.reset();
}

TEST_P(OneReader, is_not_lent_while_it_is_not_there)
{
    open();
    EXPECT_THROW(stream->paused("gate", [](Reader&) {}), Error) << "not started";
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    stream->stop();
    EXPECT_THROW(stream->paused("gate", [](Reader&) {}), Error);
}

TEST_P(OneReader, is_lent_while_its_queue_is_full)
{
    open(3, {.capacity = 5, .overflow = Overflow::block});
    stream->start();
    while (stream->counters("gate").highest_level < 5) std::this_thread::yield();
    int tags = 0;
    stream->paused("gate", [&](Reader& lent) { tags = static_cast<int>(lent.inventory().tags().size()); });
    EXPECT_EQ(tags, 3);
    std::uint64_t last = 0;
    while (last < 100) {
        const auto read = await(*stream, is_read);
        ASSERT_TRUE(read);
        ASSERT_EQ(read->read()->sequence, ++last);
    }
}

TEST_P(OneReader, is_recorded_byte_by_byte)
{
    const std::string path = testing::TempDir() + "tagwire_recording_" + std::to_string(::getpid());
    std::filesystem::remove(path);
    open();
    for (int session = 0; session < 2; ++session) {
        stream->record(path);
        if (session == 0) stream->start();
        // What came behind something that came while it was recorded is recorded.
        auto last = std::chrono::steady_clock::now();
        for (int chunk = 0; chunk < 2; ++chunk) {
            const auto later = await(*stream, [last](const Event& event) {
                return is_read(event) && event.read()->received.steady > last;
            });
            ASSERT_TRUE(later);
            last = later->read()->received.steady;
        }
        stream->stop_recording();
    }
    EXPECT_EQ(stream->recording_lost(), 0U);
    EXPECT_EQ(std::filesystem::status(path).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    stream.reset();
    const auto recorded = load_recording(path);
    ASSERT_FALSE(recorded.empty());
    EXPECT_TRUE(recorded.front().sent);
    EXPECT_EQ(recorded.front().bytes, from_hex("04 FF 21 19 95"));
    EXPECT_EQ(recorded.front().source, "gate");
    EXPECT_FALSE(recorded.back().sent);
    // A torn end is cut off, and what follows is whole.
    const auto whole = std::filesystem::file_size(path);
    std::filesystem::resize_file(path, whole - 1);
    EXPECT_EQ(load_recording(path).size(), recorded.size() - 1);
    {
        Stream other;
        other.record(path);
    }
    EXPECT_EQ(load_recording(path).size(), recorded.size() - 1);
    std::filesystem::remove(path);
}

TEST(Streams, are_recorded_into_recordings_only)
{
    const std::string path = testing::TempDir() + "tagwire_text_" + std::to_string(::getpid());
    std::ofstream(path) << "something that somebody needs";
    Stream stream;
    EXPECT_THROW(stream.record(path), Error);
    EXPECT_THROW(stream.record("/no/such/folder/recording"), Error);
    EXPECT_THROW(load_recording(path), Error);
    EXPECT_EQ(std::filesystem::file_size(path), 29U);
    std::filesystem::remove(path);
}

TEST(Streams, record_into_what_a_crash_left_of_a_recording)
{
    const std::string path = testing::TempDir() + "tagwire_torn_" + std::to_string(::getpid());
    std::ofstream(path) << "tagwire-re";
    EXPECT_THAT(load_recording(path), IsEmpty());
    sim::Simulator simulator;
    sim::Reader& reader = simulator.add_reader(portal(1));
    Stream stream;
    stream.add(url_of(reader, Over::tcp));
    stream.record(path);
    stream.start();
    ASSERT_TRUE(await(stream, is_read));
    stream.stop_recording();
    EXPECT_GE(load_recording(path).size(), 4U);
    std::filesystem::remove(path);
}

TEST_P(OneReader, hands_out_what_came_when_it_is_removed)
{
    open();
    stream->start();
    ASSERT_TRUE(await(*stream, is_read));
    stream->remove("gate");
    EXPECT_TRUE(await(*stream, is_state(State::stopped)));
    EXPECT_TRUE(reader->wait_for_command(0x51));
    EXPECT_THROW(stream->counters("gate"), std::logic_error);
    EXPECT_THAT(stream->sources(), IsEmpty());
}

TEST(Streams, go_on_while_one_reader_is_silent_and_one_is_absent)
{
    sim::Simulator simulator;
    Stream stream;
    sim::Reader& silent = simulator.add_reader(portal(1));
    silent.inject(sim::Fault::silence());
    std::uint16_t free_port = 0;
    {
        sim::Simulator other;
        free_port = other.add_reader(portal(1)).listen();
    }
    stream.add(url_of(silent, Over::tcp), {.name = "silent"});
    stream.add("tcp://127.0.0.1:" + std::to_string(free_port), {.name = "absent"});
    stream.add(url_of(simulator.add_reader(portal(1)), Over::tcp), {.name = "one"});
    stream.add(url_of(simulator.add_reader(portal(1)), Over::tcp), {.name = "two"});
    stream.start();
    std::set<std::string> reading;
    while (reading.size() < 2) {
        const auto read = await(stream, is_read);
        ASSERT_TRUE(read);
        reading.insert(read->source());
    }
    EXPECT_THAT(reading, testing::ElementsAre("one", "two"));
    EXPECT_NE(stream.health("absent").state, State::streaming);
    EXPECT_NE(stream.health("silent").state, State::streaming);
}

TEST(Streams, with_a_name_that_never_resolves_end_all_the_same)
{
    Stream stream;
    stream.add("tcp://no-such-host.invalid:6000", {.name = "lost"});
    stream.start();
    EXPECT_TRUE(await(stream, is_state(State::connecting)));
}

TEST(Streams, without_a_descriptor_wait_until_there_is_one)
{
    sim::Simulator simulator;
    sim::Reader& reader = simulator.add_reader(portal(1));
    Stream stream;
    stream.add(url_of(reader, Over::tcp), {.name = "gate"});
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = ::dup(0);
    ::close(next);
    const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    stream.start();
    const auto waiting = await(stream, is_state(State::waiting));
    ::setrlimit(RLIMIT_NOFILE, &before);
    ASSERT_TRUE(waiting);
    EXPECT_THAT(waiting->text(), testing::HasSubstr("(" + std::to_string(none.rlim_cur) + ")"));
    EXPECT_TRUE(await(stream, is_read));
}

// Each state is entered, and then the stream is stopped, moved or destroyed.
TEST(Streams, end_in_every_state)
{
    sim::Simulator simulator;
    sim::Reader& silent = simulator.add_reader(portal(0));
    silent.inject(sim::Fault::silence());
    const std::string silent_url = url_of(silent, Over::tcp);
    sim::Reader& reader = simulator.add_reader(portal(0));
    const std::string url = url_of(reader, Over::tcp);
    sim::Reader& slow = simulator.add_reader(portal(0));
    const std::string slow_url = url_of(slow, Over::tcp);
    const struct {
        State state;
        std::string url;
        SourceOptions options;
    } cases[] = {
        {State::connecting, silent_url, {}},
        {State::waiting, "tcp://127.0.0.1:1", {}},
        {State::waiting, silent_url, {}},
        {State::streaming, url, {}},
        {State::quiet, url, {.probe_after = 30ms}},
        {State::probing, slow_url, {.probe_after = 30ms}},
        {State::paused, url, {.duty = Duty{.on = 30ms, .off = 10s}}},
        {State::connecting, url, {.plan = {.q = 7}}},
    };
    for (const auto& one : cases) {
        for (const bool is_moved : {false, true}) {
            SCOPED_TRACE(to_string(one.state) + (" " + one.url));
            auto stream = std::make_unique<Stream>();
            stream->add(one.url, one.options);
            stream->start();
            ASSERT_TRUE(await(*stream, is_state(one.state)));
            if (is_moved) {
                Stream moved = std::move(*stream);
                stream.reset();
                moved.stop();
                while (moved.next(0ms)) {
                }
                EXPECT_TRUE(moved.stopped());
            }
        }
    }
    EXPECT_TRUE(reader.wait_for_reading(false));
}

TEST(Streams, are_stopped_by_many_threads_at_once)
{
    sim::Simulator simulator;
    Stream stream;
    stream.add(url_of(simulator.add_reader(portal(2)), Over::tcp));
    stream.start();
    ASSERT_TRUE(await(stream, is_read));
    std::vector<std::thread> threads;
    std::atomic<int> stops{0};
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            if (i % 2 == 0) stream.stop();
            for (const Event& event : stream)
                if (event.state() != nullptr && event.state()->state == State::stopped) ++stops;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(stops, 1);
    EXPECT_TRUE(stream.stopped());
}

TEST(Streams, refuse_what_makes_no_sense)
{
    Stream stream;
    stream.add("tcp://127.0.0.1:1", {.name = "gate"});
    EXPECT_THROW(stream.add("tcp://127.0.0.1:2", {.name = "gate"}), std::logic_error);
    EXPECT_THROW(stream.add("http://127.0.0.1", {.name = "other"}), Error);
    EXPECT_THROW(stream.add("tcp://127.0.0.1:3", {.name = "never", .probe_after = 0ms}), Error);
    EXPECT_THROW(
        stream.add("tcp://127.0.0.1:3", {.name = "never", .probe_after = std::chrono::milliseconds::max()}),
        Error);
    EXPECT_THROW(stream.add("tcp://127.0.0.1:3", {.name = "none", .only = Mask{.bit = 0, .bytes = {1}}}),
                 Error);
    EXPECT_THROW(stream.add("tcp://127.0.0.1:3", {.name = "much", .plan = {.power = Dbm(41)}}), Error);
    EXPECT_THROW(stream.add("tcp://127.0.0.1:3", {.name = "wide", .plan = {.q = 16}}), Error);
    EXPECT_THROW(stream.add("tcp://127.0.0.1:3", {.name = "port", .plan = {.antennas = {Port()}}}), Error);
    EXPECT_THROW(stream.add("tcp://127.0.0.1:3", {.name = "fast", .inputs_every = 0ms}), Error);
    EXPECT_THROW(stream.health("other"), std::logic_error);
    EXPECT_THROW(stream.remove("other"), std::logic_error);
    stream.start();
    EXPECT_THROW(stream.start(), std::logic_error);
    stream.stop();
    stream.stop();
    EXPECT_THROW(stream.add("tcp://127.0.0.1:3", {}), std::logic_error);
}

TEST(Streams, can_be_destroyed_and_moved_in_every_state)
{
    {
        Stream never_started;
    }
    {
        Stream stopped;
        stopped.stop();
        EXPECT_TRUE(stopped.stopped());
    }
    Stream empty;
    empty.start();
    Stream moved = std::move(empty);
    moved.stop();
    Stream another;
    another = std::move(moved);
    EXPECT_TRUE(another.stopped());
}

TEST(Streams, stop_at_a_signal_and_give_its_old_meaning_back)
{
    ASSERT_EQ(std::signal(SIGUSR1, SIG_IGN), SIG_DFL);
    sim::Simulator simulator;
    Stream stream;
    stream.add(url_of(simulator.add_reader(portal(1)), Over::tcp));
    stream.start();
    stop_on_signal(stream, {SIGUSR1, SIGUSR2});
    ASSERT_TRUE(await(stream, is_read));
    std::raise(SIGUSR2);
    for (const Event& event : stream) static_cast<void>(event);
    EXPECT_TRUE(stream.stopped());
    EXPECT_THROW(stop_on_signal(stream, {SIGUSR1}), std::logic_error);
    EXPECT_EQ(std::signal(SIGUSR1, SIG_DFL), SIG_IGN);
    EXPECT_EQ(std::signal(SIGUSR2, SIG_DFL), SIG_DFL);
}

TEST(Streams, leave_signals_alone_that_have_a_handler)
{
    std::signal(SIGUSR1, [](int) {});
    {
        Stream stream;
        EXPECT_THROW(stop_on_signal(stream, {SIGUSR2, SIGUSR1}), std::logic_error);
        EXPECT_THROW(stop_on_signal(stream, {1000}), std::logic_error);
        stop_on_signal(stream, {SIGUSR2});
        Stream other;
        EXPECT_THROW(stop_on_signal(other, {SIGTERM}), std::logic_error);
    }
    EXPECT_EQ(std::signal(SIGUSR2, SIG_DFL), SIG_DFL);
    EXPECT_NE(std::signal(SIGUSR1, SIG_DFL), SIG_DFL);
}

TEST(Streams, show_their_events_in_their_descriptor)
{
    sim::Simulator simulator;
    Stream stream;
    stream.add(url_of(simulator.add_reader(portal(1)), Over::tcp));
    pollfd watched{stream.fd(), POLLIN, 0};
    EXPECT_EQ(::poll(&watched, 1, 0), 0);
    stream.start();
    EXPECT_EQ(::poll(&watched, 1, 60'000), 1);
    EXPECT_TRUE(stream.next(0ms));
}

}  // namespace
}  // namespace tagwire
