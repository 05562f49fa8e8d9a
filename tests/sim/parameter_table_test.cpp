#include "device/parameter_tables.h"
#include "exchange.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Bytes pattern(std::size_t size)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 256);
    return bytes;
}

// Writes the table in frames of 240 bytes and the one that ends it. Gives the number of frames.
std::size_t write(Bench& bench, std::uint8_t number, const Bytes& table)
{
    std::size_t frames = 0;
    for (std::size_t at = 0;; at += longest_table_chunk) {
        const std::size_t size = std::min(longest_table_chunk, table.size() - std::min(at, table.size()));
        Bytes data{0x0E, number, static_cast<std::uint8_t>(frames++)};
        const auto first = table.begin() + static_cast<std::ptrdiff_t>(std::min(at, table.size()));
        data.insert(data.end(), first, first + static_cast<std::ptrdiff_t>(size));
        bench.command(0xE6, data);
        EXPECT_EQ(bench.frames.size(), 1U);
        const Bytes& answer = bench.frames.at(0).bytes;
        EXPECT_EQ(to_hex(Bytes(answer.begin(), answer.begin() + 5), " "), "06 00 E6 00 0E") << frames;
        if (size == 0) return frames;
    }
}

// Reads the table as a host does and gives it; nothing when the frames are not as they should be.
std::optional<Bytes> read(Bench& bench, std::uint8_t number)
{
    bench.command(0xE6, {0x0D, number});
    Bytes table;
    for (std::size_t i = 0; i < bench.frames.size(); ++i) {
        const Bytes& frame = bench.frames[i].bytes;
        const bool last = i + 1 == bench.frames.size();
        if (frame.at(2) != 0xE6 || frame.at(4) != 0x0D || frame.at(3) != (last ? 0x00 : 0x60)) return {};
        const Bytes data(frame.begin() + 5, frame.end() - 2);
        if (!last) {
            append(table, data);
        } else if (data.size() != 2 || std::size_t{data[0]} * 256 + data[1] != table.size()) {
            return {};
        }
    }
    return table;
}

class TableSizes : public testing::TestWithParam<std::size_t> {};

TEST_P(TableSizes, AreWrittenAndReadBack)
{
    Bench bench{Scenario{}};
    const std::size_t size = GetParam();
    EXPECT_EQ(write(bench, 3, pattern(size)), (size + 239) / 240 + 1);
    EXPECT_EQ(read(bench, 3), pattern(size));
    EXPECT_EQ(bench.frames.size(), (size + 239) / 240 + 1);
    EXPECT_EQ(read(bench, 4), Bytes{});
}

INSTANTIATE_TEST_SUITE_P(ParameterTable, TableSizes,
                         testing::Values(0U, 1U, 239U, 240U, 241U, 480U, 61440U, 65535U));

TEST(ParameterTable, Frames)
{
    Bench bench("[[table]]\nnumber = 7\ndata = \"A1 A2\"\n");
    run(bench, {{0xE6, "0D 07", {"60 0D A1 A2", "00 0D 00 02"}},
                {0xE6, "0D 08", {"00 0D 00 00"}},
                {0xE6, "0D", {"FF 0D"}},
                {0xE6, "0D 07 00", {"FF 0D"}},
                {0xE6, "0E 07", {"FF 0E"}},
                {0xE6, "0E 07 00 B1", {"00 0E"}},
                {0xE6, "0E 07 01 B2 B3", {"00 0E"}},
                {0xE6, "0D 07", {"60 0D A1 A2", "00 0D 00 02"}},
                {0xE6, "0E 07 02", {"00 0E"}},
                {0xE6, "0D 07", {"60 0D B1 B2 B3", "00 0D 00 03"}},
                {0xE6, "0E 07 00", {"00 0E"}},
                {0xE6, "0D 07", {"00 0D 00 00"}}});
    bench.command(0xE6, {0x0D, 0x07});
    EXPECT_THAT(bench.hex(), ElementsAre("08 00 E6 00 0D 00 00 62 42"));
}

TEST(ParameterTable, FramesComeInOrder)
{
    Bench bench("[[table]]\nnumber = 7\ndata = \"A1\"\n");
    run(bench, {{0xE6, "0E 07 01", {"F6 0E"}},
                {0xE6, "0E 07 01 B1", {"F6 0E"}},
                {0xE6, "0E 07 00 B1", {"00 0E"}},
                {0xE6, "0E 07 02 B2", {"F6 0E"}},
                {0xE6, "0E 07 01 B2", {"F6 0E"}},
                {0xE6, "0E 07 02", {"F6 0E"}},
                {0xE6, "0E 07 00 B1", {"00 0E"}},
                {0xE6, "0E 08 01 B2", {"F6 0E"}},
                {0xE6, "0E 07 01", {"F6 0E"}},
                {0xE6, "0D 07", {"60 0D A1", "00 0D 00 01"}},
                {0xE6, "0E 07 00 B1", {"00 0E"}},
                {0xE6, "0E 07 00 C1", {"00 0E"}},
                {0xE6, "0E 07 01", {"00 0E"}},
                {0xE6, "0D 07", {"60 0D C1", "00 0D 00 01"}}});
}

TEST(ParameterTable, TooLong)
{
    Bench bench{Scenario{}};
    EXPECT_THAT(answers(bench, 0xE6, "0E 07 00" + to_hex(Bytes(241, 0x11))), ElementsAre("FF 0E"));
    for (unsigned i = 0; i < 273; ++i) {
        Bytes data{0x0E, 0x07, static_cast<std::uint8_t>(i)};
        data.resize(3 + longest_table_chunk, 0x11);
        bench.command(0xE6, data);
        ASSERT_EQ(bench.frames.at(0).status(), 0) << "frame " << i;
    }
    EXPECT_THAT(answers(bench, 0xE6, "0E 07 11 " + to_hex(Bytes(16, 0x11))), ElementsAre("FF 0E"));
    EXPECT_THAT(answers(bench, 0xE6, "0E 07 11"), ElementsAre("F6 0E"));
    EXPECT_EQ(read(bench, 7), Bytes{});
}

TEST(ParameterTable, RestartForgetsWhatIsNotComplete)
{
    Bench bench{Scenario{}};
    write(bench, 1, {0xA1});
    run(bench, {{0xE6, "0E 07 00 B1", {"00 0E"}}});
    bench.device.restart();
    run(bench, {{0xE6, "0E 07 01", {"F6 0E"}}});
    EXPECT_EQ(read(bench, 1), Bytes{0xA1});
}

TEST(ParameterTable, FactoryAndClearing)
{
    Bench bench("[[table]]\nnumber = 1\ndata = \"A1\"\n");
    write(bench, 1, {0xB1});
    write(bench, 2, {0xB2});
    run(bench, {{0xE6, "10 00", {"00 10"}}, {0xE6, "0D 01", {"60 0D A1", "00 0D 00 01"}}});
    EXPECT_THAT(read(bench, 2), testing::Optional(IsEmpty()));
    write(bench, 2, {0xC2});
    run(bench, {{0xE6, "0F 00", {"00 0F"}},
                {0xE6, "10 01", {"00 10"}},
                {0xE6, "0D 01", {"00 0D 00 00"}},
                {0xE6, "10 00", {"00 10"}},
                {0xE6, "0D 01", {"60 0D A1", "00 0D 00 01"}},
                {0xE6, "0D 02", {"60 0D C2", "00 0D 00 01"}}});
    run(bench, {{0xE6, "0F 01", {"FF 0F"}},
                {0xE6, "0F", {"FF 0F"}},
                {0xE6, "10 02", {"FF 10"}},
                {0xE6, "10", {"FF 10"}},
                {0xE6, "0D 02", {"60 0D C2", "00 0D 00 01"}}});
}

TEST(ParameterTable, FactoryHoldsTheSettingsToo)
{
    Bench bench{Scenario{}};
    run(bench, {{0x25, "21", {"00"}}, {0xE6, "0F 00", {"00 0F"}}, {0x25, "22", {"00"}}});
    run(bench, {{0xE6, "10 01", {"00 10"}}});
    EXPECT_EQ(bench.device.config().scan_time, 0x22);
    run(bench, {{0xE6, "10 00", {"00 10"}}});
    EXPECT_EQ(bench.device.config().scan_time, 0x21);
    bench.device.restart();
    EXPECT_EQ(bench.device.config().scan_time, 0x21);
}

TEST(ParameterTable, TestsSetAndSeeTables)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader();
    reader.set_table(9, pattern(65535));
    EXPECT_EQ(reader.table(9), pattern(65535));
    EXPECT_THAT(reader.table(8), IsEmpty());
    EXPECT_THROW(reader.set_table(9, pattern(65536)), std::length_error);
}

}  // namespace
}  // namespace tagwire::sim
