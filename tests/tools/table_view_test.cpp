#include "table_view.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using namespace std::chrono_literals;

TagTable table_of(int tags, const std::string& prefix = "E28011700000020F0000")
{
    TagTable table;
    for (int i = 0; i < tags; ++i) {
        TagRecord tag;
        tag.id = prefix + std::to_string(1000 + i);
        tag.antenna = 255;
        tag.rssi = 255;
        table.add(tag, Moment::now());
    }
    return table;
}

std::vector<std::string> render(const TagTable& table, TerminalSize size, std::uint64_t dropped = 0)
{
    return render_table(table, {1500ms, 12.34, dropped}, size, Moment::now());
}

TEST(TableView, ShowsEveryColumnWhereThereIsRoom)
{
    const auto lines = render(table_of(2), {80, 24});
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "2 tags, 2 reads in 1.5 s, 12.3 reads/s");
    for (const auto* const title : {"EPC", "ANT", "RSSI", "COUNT", "READS/S", "FIRST", "LAST"}) {
        EXPECT_NE(lines[1].find(title), std::string::npos) << title;
    }
    EXPECT_TRUE(lines[2].starts_with("E28011700000020F00001000  255   255          1      2.0  "))
        << lines[2];
    EXPECT_TRUE(lines[3].starts_with("E28011700000020F00001001  ")) << lines[3];
    EXPECT_EQ(lines[1].size(), lines[2].size());
}

TEST(TableView, FitsAnyTerminal)
{
    for (const int tags : {0, 1, 5, 40}) {
        for (const std::size_t id_length : {4u, 24u, 126u, 510u}) {
            const auto table = table_of(tags, std::string(id_length - 4, 'E'));
            for (std::size_t columns = 0; columns < 130; columns += columns < 20 ? 1 : 13) {
                for (std::size_t rows = 0; rows < 50; ++rows) {
                    const auto lines = render(table, {columns, rows});
                    ASSERT_LE(lines.size(), rows > 0 ? rows - 1 : 0);
                    for (const auto& line : lines) ASSERT_LE(line.size(), columns) << line;
                }
            }
        }
    }
}

TEST(TableView, SaysHowManyRowsAreHidden)
{
    const auto table = table_of(40);
    const auto lines = render(table, {80, 24});
    ASSERT_EQ(lines.size(), 23u);
    EXPECT_EQ(lines.back(), "20 rows hidden: make the terminal larger");
    EXPECT_EQ(render(table, {80, 43}).size(), 42u);
    EXPECT_TRUE(render(table, {80, 43}).back().starts_with("E28011700000020F00001039"));
    EXPECT_EQ(render(table, {80, 42}).back(), "2 rows hidden: make the terminal larger");
    EXPECT_EQ(render(table, {80, 3}).back(), "40 rows hidden: make the terminal larger");
    EXPECT_EQ(render(table_of(1), {80, 3}).back(), "1 row hidden: make the terminal larger");
}

TEST(TableView, KeepsTheEndOfALongId)
{
    const auto lines = render(table_of(1, std::string(120, 'A')), {50, 24});
    EXPECT_TRUE(lines[2].starts_with("..AAAA")) << lines[2];
    EXPECT_NE(lines[2].find("A1000  255"), std::string::npos) << lines[2];
}

TEST(TableView, ShowsATagWithoutId)
{
    TagTable table;
    table.add({}, Moment::now());
    EXPECT_TRUE(render(table, {80, 24})[2].starts_with("-  "));
}

TEST(TableView, TellsOfDroppedReports)
{
    EXPECT_NE(render(table_of(1), {80, 24}, 17)[0].find(", 17 dropped"), std::string::npos);
    EXPECT_EQ(render(table_of(1), {80, 24}, 0)[0].find("dropped"), std::string::npos);
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

}  // namespace
}  // namespace tagwire::tool
