#include "watch/live_table.h"

#include <regex>

#include <tagwirexx/bytes.hpp>

#include <gtest/gtest.h>

#include "watch/presence.h"

namespace tagwire::tool {
namespace {

using namespace std::chrono_literals;

Received at(std::chrono::milliseconds time)
{
    return {std::chrono::steady_clock::time_point(1h + time),
            std::chrono::system_clock::time_point(1h + time)};
}

Read read_of(const std::string& epc, std::chrono::milliseconds time = 0ms, int rssi = 200)
{
    Read read;
    read.epc = Epc(from_hex(epc));
    read.port = Port(1);
    read.rssi = rssi;
    read.received = at(time);
    return read;
}

LiveState state_of(int tags, const std::string& prefix = "E28011700000020F0000", std::size_t readers = 1)
{
    LiveState state;
    for (int i = 0; i < tags; ++i) state.tags.add(read_of(prefix + std::to_string(1000 + i)), "gate1");
    for (std::size_t i = 0; i < readers; ++i) {
        ReaderLine reader;
        reader.name = "gate" + std::to_string(i + 1);
        reader.state = State::streaming;
        state.readers.push_back(reader);
    }
    state.elapsed = 1500ms;
    state.rate = 12.34;
    return state;
}

std::vector<std::string> render(const LiveState& state, TerminalSize size, const LiveView& view = {})
{
    return view.render(state, size, at(500ms), false);
}

LiveView pressed(const std::string& keys)
{
    LiveView view;
    for (const char key : keys) EXPECT_TRUE(view.press(key)) << key;
    return view;
}

// The beginnings of the lines of tags.
std::vector<std::string> shown_epcs(const LiveState& state, const LiveView& view)
{
    std::vector<std::string> epcs;
    for (const auto& line : render(state, {80, 24}, view)) {
        if (line.starts_with("E2")) epcs.push_back(line.substr(0, 4));
    }
    return epcs;
}

TEST(LiveTable, ShowsEveryColumnWhereThereIsRoom)
{
    auto state = state_of(2);
    state.readers[0].rate = 40;
    state.readers[0].counters.bad_crc = 3;
    state.readers[0].counters.dropped = 5;
    const auto lines = render(state, {80, 24});
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], "2 tags, 2 reads in 1.5 s, 12.3 reads/s");
    EXPECT_EQ(lines[1], "gate1  streaming      40.0 reports/s  3 bad CRCs  5 dropped");
    EXPECT_EQ(lines[2], "EPC                       PORT  RSSI            COUNT  READS/S     AGE");
    EXPECT_EQ(lines[3], "E28011700000020F00001000     1  200 ||||||||        1      2.0     now");
    EXPECT_TRUE(lines[4].starts_with("E28011700000020F00001001  ")) << lines[4];
    EXPECT_EQ(lines[5], "by first seen: n e p r c s a.  / filter  space pauses  q ends");
}

TEST(LiveTable, NamesTheReaderWhereThereAreSeveral)
{
    const auto lines = render(state_of(1, "E28011700000020F0000", 2), {90, 24});
    EXPECT_TRUE(lines[3].ends_with("  READER")) << lines[3];
    EXPECT_TRUE(lines[4].ends_with("  gate1 ")) << lines[4];
}

TEST(LiveTable, ShowsHowLoudATagIsAgainstTheLoudest)
{
    LiveState state;
    state.tags.add(read_of("E201", 0ms, 80));
    state.tags.add(read_of("E202", 0ms, 40));
    state.tags.add(read_of("E203", 0ms, 0));
    const auto lines = render(state, {80, 24});
    EXPECT_NE(lines[2].find(" 80 |||||||| "), std::string::npos) << lines[2];
    EXPECT_NE(lines[3].find(" 40 ||||     "), std::string::npos) << lines[3];
    EXPECT_NE(lines[4].find("  0          "), std::string::npos) << lines[4];
}

TEST(LiveTable, FitsAnyTerminal)
{
    for (const int tags : {0, 1, 5, 40}) {
        for (const std::size_t id_length : {4u, 24u, 126u}) {
            const auto state = state_of(tags, std::string(id_length - 4, 'E'), 3);
            for (std::size_t columns = 0; columns < 130; columns += columns < 20 ? 1 : 13) {
                for (std::size_t rows = 0; rows < 50; ++rows) {
                    const auto lines = render(state, {columns, rows});
                    ASSERT_LE(lines.size(), rows > 0 ? rows - 1 : 0);
                    for (const auto& line : lines) ASSERT_LE(line.size(), columns) << line;
                }
            }
        }
    }
}

TEST(LiveTable, SaysHowManyRowsAreHidden)
{
    const auto state = state_of(40);
    const auto lines = render(state, {80, 24});
    ASSERT_EQ(lines.size(), 23u);
    EXPECT_TRUE(lines.back().starts_with("21 rows hidden: make the terminal larger.  by ")) << lines.back();
    EXPECT_TRUE(render(state, {80, 44})[42].starts_with("1 row hidden")) << render(state, {80, 44})[42];
    EXPECT_TRUE(render(state, {80, 45}).back().starts_with("by first seen"));
    EXPECT_TRUE(render(state, {80, 3}).back().starts_with("40 rows hidden"));
}

TEST(LiveTable, KeepsTheEndOfALongId)
{
    const auto lines = render(state_of(1, std::string(120, 'A')), {50, 24});
    EXPECT_TRUE(lines[3].starts_with("..AAAA")) << lines[3];
    EXPECT_NE(lines[3].find("A1000     1  200"), std::string::npos) << lines[3];
}

TEST(LiveTable, SortsByWhatAKeyNames)
{
    LiveState state;
    const auto add = [&](const char* epc, std::chrono::milliseconds time, int rssi, int port) {
        auto read = read_of(epc, time, rssi);
        read.port = Port(port);
        state.tags.add(read);
    };
    add("E202", 10ms, 10, 3);
    add("E203", 20ms, 30, 1);
    add("E201", 30ms, 20, 2);
    add("E203", 40ms, 30, 1);
    using Epcs = std::vector<std::string>;
    EXPECT_EQ(shown_epcs(state, {}), (Epcs{"E202", "E203", "E201"}));
    EXPECT_EQ(shown_epcs(state, pressed("e")), (Epcs{"E201", "E202", "E203"}));
    EXPECT_EQ(shown_epcs(state, pressed("p")), (Epcs{"E203", "E201", "E202"}));
    EXPECT_EQ(shown_epcs(state, pressed("r")), (Epcs{"E203", "E201", "E202"}));
    EXPECT_EQ(shown_epcs(state, pressed("c")), (Epcs{"E203", "E202", "E201"}));
    EXPECT_EQ(shown_epcs(state, pressed("s")), (Epcs{"E203", "E202", "E201"}));
    EXPECT_EQ(shown_epcs(state, pressed("a")), (Epcs{"E203", "E201", "E202"}));
    EXPECT_EQ(shown_epcs(state, pressed("an")), (Epcs{"E202", "E203", "E201"}));
}

TEST(LiveTable, ShowsSomeEpcsOnly)
{
    LiveState state;
    for (const auto* const epc : {"E201", "E202", "E212"}) state.tags.add(read_of(epc));
    using Epcs = std::vector<std::string>;
    const auto typing = pressed("/e2");
    EXPECT_EQ(render(state, {80, 24}, typing).back(), "show EPCs with: E2_  (Enter to go on, Esc for all)");
    EXPECT_EQ(shown_epcs(state, pressed("/02\n")), (Epcs{"E202"}));
    EXPECT_EQ(shown_epcs(state, pressed("/02\x7f\n")), (Epcs{"E201", "E202"}));
    EXPECT_EQ(shown_epcs(state, pressed("/02\n/\x1b")), (Epcs{"E201", "E202", "E212"}));
    // While an EPC is typed, keys are its letters.
    EXPECT_TRUE(pressed("/").press('q'));
    EXPECT_FALSE(LiveView().press('q'));
}

TEST(LiveTable, PausesAndGoesOn)
{
    EXPECT_TRUE(pressed(" ").is_paused());
    EXPECT_FALSE(pressed("  ").is_paused());
    const auto lines = render(state_of(1), {80, 24}, pressed(" "));
    EXPECT_TRUE(lines[0].ends_with(", paused")) << lines[0];
}

TEST(LiveTable, ColoursWhoComesAndWhoIsLeaving)
{
    auto state = state_of(0);
    state.readers[0].state = State::lost;
    state.readers[0].reason = "reset";
    state.tags.add(read_of("E201", 0ms));
    state.tags.add(read_of("E201", 8000ms));
    state.tags.add(read_of("E202", 1000ms));
    state.tags.add(read_of("E203", 9000ms));
    const auto lines = LiveView().render(state, {80, 24}, at(10000ms), true);
    const auto without = LiveView().render(state, {80, 24}, at(10000ms), false);
    ASSERT_EQ(lines.size(), without.size());
    EXPECT_TRUE(lines[1].starts_with("\x1b[31mgate1  lost ")) << lines[1];
    EXPECT_NE(lines[1].find("  reset"), std::string::npos) << lines[1];
    EXPECT_TRUE(lines[3].starts_with("E201")) << lines[3];
    EXPECT_TRUE(lines[4].starts_with("\x1b[2mE202")) << lines[4];
    EXPECT_TRUE(lines[5].starts_with("\x1b[32mE203")) << lines[5];
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(std::regex_replace(lines[i], std::regex("\x1b\\[[0-9]*m"), ""), without[i]);
}

TEST(LiveScreen, DrawsOverItsLastLines)
{
    LiveScreen screen;
    EXPECT_EQ(screen.draw({"a", "b"}, {80, 24}), "\r\x1b[Ka\n\r\x1b[Kb\n\x1b[J");
    EXPECT_EQ(screen.draw({"c"}, {80, 24}), "\r\x1b[2A\r\x1b[Kc\n\x1b[J");
    EXPECT_EQ(screen.draw({"d"}, {80, 24}), "\r\x1b[1A\r\x1b[Kd\n\x1b[J");
    EXPECT_EQ(screen.draw({"e"}, {40, 24}), "\x1b[H\x1b[2J\r\x1b[Ke\n\x1b[J");
    EXPECT_EQ(screen.draw({}, {40, 24}), "\r\x1b[1A\x1b[J");
    EXPECT_EQ(screen.draw({"f"}, {40, 24}), "\r\x1b[Kf\n\x1b[J");
}

TEST(TerminalSize, IsUsualWhereThereIsNoTerminal) { EXPECT_EQ(terminal_size(-1), (TerminalSize{80, 24})); }

TEST(Presence, TellsWhoComesAndWhoLeaves)
{
    Presence presence(3s);
    EXPECT_TRUE(presence.add(read_of("E201", 0ms), "gate1"));
    EXPECT_FALSE(presence.add(read_of("E201", 1000ms), "gate2"));
    EXPECT_TRUE(presence.add(read_of("E202", 500ms), "gate1"));
    EXPECT_TRUE(presence.take_departed(at(3499ms).steady, {}).empty());

    const auto first = presence.take_departed(at(3500ms).steady, {});
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].last.epc, Epc(from_hex("E202")));
    // Whose reader is away has not left.
    EXPECT_TRUE(presence.take_departed(at(9000ms).steady, {"gate2"}).empty());
    const auto second = presence.take_departed(at(9000ms).steady, {"gate1"});
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0].reads, 2u);
    EXPECT_EQ(second[0].reader, "gate2");
    EXPECT_TRUE(presence.add(read_of("E201", 9000ms), "gate1"));
}

}  // namespace
}  // namespace tagwire::tool
