#include "exchange.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::SizeIs;

// One tag at both antennas.
constexpr const char* door = R"(
[reader]
antennas = 2
air_time = 0
frequency_khz = 866692
start_gap_ms = 0
[[tag]]
epc = "E200 1122"
tid = "E280 1160"
antennas = [1, 2]
rssi = 100
)";

constexpr const char* crowd = R"(
[reader]
antennas = 1
air_time = 0
[[tag]]
epc = "E200"
count = 100
)";

constexpr const char* long_epc = R"(
[reader]
antennas = 1
air_time = 0
[[tag]]
epc = "0001 0203 0405 0607 0809 0A0B 0C0D 0E0F 1011 1213"
rssi = 100
)";

TEST(Buffer, IsFilledByInventories)
{
    Bench bench(door);
    run(bench, {{0x74, "", {"00 00 00"}},
                {0x18, "04 00", {"00 00 02 00 02"}},  // once per antenna
                {0x74, "", {"00 00 02"}},
                {0x72, "", {"01 02 01 04 E2 00 11 22 64 01 02 04 E2 00 11 22 64 01"}},
                {0x18, "04 00 00 80 0A", {"00 00 02 00 01"}},
                {0x72, "", {"01 02 01 04 E2 00 11 22 64 02 02 04 E2 00 11 22 64 01"}},  // reading leaves it
                {0x73, "", {"00"}},
                {0x74, "", {"00 00 00"}},
                {0x72, "", {"FE"}}});
}

TEST(Buffer, HasItsFramesInFull)
{
    Bench bench(door);
    EXPECT_THAT(bench.command(0x18, {4, 0, 0, 0x80, 10}), ElementsAre("09 00 18 00 00 01 00 01 32 F8"));
    EXPECT_THAT(bench.command(0x72), ElementsAre("0E 00 72 01 01 01 04 E2 00 11 22 64 01 09 8A"));
}

TEST(Buffer, TakesAllLayoutsOfAnInventory)
{
    Bench bench(door);
    run(bench, {{0x18, "04 00 01 0020 08 E2 00 80 05", {"00 00 01 00 01"}},
                {0x18, "04 00 01 0020 08 E3", {"00 00 01 00 00"}},
                {0x18, "04 00 00 01", {"00 00 03 00 02"}},  // words of the TID instead
                {0x72, "", {"01 03 01 04 E2 00 11 22 64 01 01 02 E2 80 64 01 02 02 E2 80 64 01"}},
                {0x18, "04 00 00 05", {"00 00 03 00 00"}},  // more than the TID has
                {0x18, "04 00 00 82 05", {"F8"}},
                {0x18, "04", {"FF"}},
                {0x18, "04 00 00", {"FF"}},
                {0x18, "04 04", {"FF"}}});
}

TEST(Buffer, SaveLengthLimitsWhatIsStored)
{
    const std::string first = "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F";
    const std::string cut = "01 10 " + first + " 64 01";
    const std::string whole = "01 14 " + first + " 10 11 12 13 64 01";
    Bench bench(long_epc);
    run(bench, {{0x71, "", {"00 00"}},
                {0x18, "04 00", {"00 00 01 00 01"}},
                {0x72, "", {"01 01 " + cut}},
                {0x70, "01", {"00"}},
                {0x71, "", {"00 01"}},
                {0x18, "04 00", {"00 00 02 00 01"}},
                {0x72, "", {"01 02 " + cut + " " + whole}},
                {0x70, "02", {"FF"}},
                {0x71, "", {"00 01"}}});
}

// Count and size of a frame of the buffer, whose records are all of one size.
void expect_records(const Frame& frame, unsigned count, std::size_t size)
{
    EXPECT_EQ(frame.bytes.at(4), count);
    EXPECT_EQ(frame.bytes.size(), 5 + count * size + 2);
}

TEST(Buffer, IsReadOutInSeveralFrames)
{
    Bench bench(crowd);
    run(bench, {{0x18, "04 00", {"00 00 64 00 64"}}});
    bench.command(0x72);
    ASSERT_THAT(bench.frames, SizeIs(5));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(bench.frames[i].status(), status::more_follow);
        expect_records(bench.frames[i], 24, 10);
    }
    EXPECT_EQ(bench.frames[4].status(), status::inventory_done);
    expect_records(bench.frames[4], 4, 10);
}

TEST(Buffer, FramesHaveNoMoreRecordsThanAsked)
{
    Scenario scenario = Scenario::from_text(crowd);
    scenario.reader.records_per_frame = 10;
    Bench bench(scenario);
    bench.command(0x18, {4, 0});
    bench.command(0x72);
    ASSERT_THAT(bench.frames, SizeIs(10));
    for (const Frame& frame : bench.frames) expect_records(frame, 10, 10);
}

TEST(Buffer, HoldsSoManyTags)
{
    Scenario scenario = Scenario::from_text(crowd);
    scenario.reader.buffer_size = 30;
    Bench bench(scenario);
    run(bench, {{0x18, "04 00", {"00 00 1E 00 64"}}, {0x74, "", {"00 00 1E"}}});
}

TEST(Buffer, CountsReadingsUpTo255)
{
    Bench bench(door);
    for (int i = 0; i < 300; ++i) bench.command(0x18, {4, 0, 0, 0x80, 10});
    run(bench, {{0x72, "", {"01 01 01 04 E2 00 11 22 64 FF"}}});
}

TEST(Buffer, AnInventoryThatRunsOutOfTimeSaysSo)
{
    Bench bench("[reader]\nantennas = 1\n[[tag]]\nepc = \"E200\"\ncount = 200\n");
    bench.command(0x18, {4, 0, 0, 0x80, 1});
    bench.pass(milliseconds(90));
    EXPECT_THAT(bench.frames, SizeIs(0));
    bench.pass(seconds(1));
    ASSERT_THAT(bench.frames, SizeIs(1));
    EXPECT_EQ(bench.frames[0].status(), status::scan_time_over);
    EXPECT_EQ(bench.frames[0].bytes.at(5), bench.device.store().inventoried.tags().size());
    EXPECT_GT(bench.frames[0].bytes.at(5), 0);
}

TEST(Buffer, CommandsOfWrongLengths)
{
    Bench bench(door);
    for (const std::uint8_t code : {0x71, 0x72, 0x73, 0x74, 0x43, 0x44}) {
        EXPECT_THAT(answers(bench, code, "00"), ElementsAre("FF")) << unsigned{code};
    }
    run(bench, {{0x70, "", {"FF"}}, {0x70, "00 00", {"FF"}}});
}

TEST(TagBufferArea, IsFilledByContinuousReading)
{
    Bench bench(door);
    run(bench, {{0x43, "", {"00"}}});
    bench.pass(seconds(1));
    bench.command(0x50, {0});
    bench.pass(milliseconds(1));
    bench.command(0x51);
    const std::string expected = "03 01 64 00 01 00 00 03 E8 0D 39 84 04 E2 00 11 22";
    run(bench, {{0x43, "", {expected, "00"}},
                {0x18, "04 00", {"00 00 02 00 02"}},
                {0x43, "", {expected, "00"}},
                {0x44, "", {"00"}},
                {0x43, "", {"00"}},
                {0x74, "", {"00 00 02"}}});
}

TEST(TagBufferArea, HoldsATagOncePerAntenna)
{
    Bench bench(door);
    bench.command(0x50, {0});
    bench.pass(seconds(2));
    ASSERT_THAT(answers(bench, 0x43, ""), SizeIs(3));
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(bench.frames[i].status(), status::more_follow);
        EXPECT_EQ(bench.frames[i].bytes.at(4), i + 1);
        EXPECT_GT(bench.frames[i].bytes.at(7), 90);  // readings
    }
    EXPECT_EQ(bench.frames[2].bytes.size(), 6U);
}

constexpr const char* gate = R"(
[reader]
antennas = 2
air_time = 0
[[tag]]
epc = "E200 0001"
rssi = 100
[[tag]]
epc = "E200 0002"
rssi = 90
[[tag]]
epc = "E200 0003"
antennas = [2]
rssi = 80
)";

const std::string found_first = "04 E2 00 00 01 64";
const std::string found_third = "04 E2 00 00 03 50";

TEST(ListSearch, ReportsOnlyListedTags)
{
    Bench bench(gate);
    run(bench, {{0xE7, "01 04 0000", {"01 01 02 00"}},
                {0xE6, "01 00 03 04E2000001 04E2000003 04E2000099", {"00"}},
                {0xE7, "01 04 0001", {"01 01 01 01 " + found_first}},
                {0xE7, "01 84 0002", {"01 01 02 01 " + found_third}},
                {0xE7, "01 04 0000", {"03 01 01 01 " + found_first, "01 01 02 01 " + found_third}},
                {0xE7, "01 04 0003", {"03 01 01 01 " + found_first, "01 01 02 01 " + found_third}}});
}

TEST(ListSearch, AListIsReplacedOrAddedTo)
{
    Bench bench(gate);
    run(bench, {{0xE6, "01 00 01 04E2000003", {"00"}},
                {0xE6, "01 01 01 04E2000001", {"00"}},
                {0xE7, "01 04 0000", {"03 01 01 01 " + found_first, "01 01 02 01 " + found_third}},
                {0xE6, "01 00 01 04E2000001", {"00"}},
                {0xE7, "01 04 0000", {"03 01 01 01 " + found_first, "01 01 02 00"}},
                {0xE6, "01 00 00", {"00"}},
                {0xE7, "01 04 0000", {"01 01 02 00"}}});
}

TEST(ListSearch, ABadListChangesNothing)
{
    Bench bench(gate);
    run(bench, {{0xE6, "01 00 01 04E2000001", {"00"}},
                {0xE6, "", {"FF"}},
                {0xE6, "01 00", {"FF"}},
                {0xE6, "02 00 01 04E2000003", {"FF 02"}},
                {0xE6, "01 02 01 04E2000003", {"FF"}},
                {0xE6, "01 00 02 04E2000003", {"FF"}},
                {0xE6, "01 00 01 05E2000003", {"FF"}},
                {0xE6, "01 00 01 04E200000300", {"FF"}},
                {0xE6, ("01 00 1F " + std::string(62, '0')).c_str(), {"FF"}},
                {0xE7, "01 04 0001", {"01 01 01 01 " + found_first}}});
}

TEST(ListSearch, AListHas255EntriesAtMost)
{
    Bench bench(gate);
    for (unsigned i = 0; i < 255; ++i) {
        const Bytes entry{1, 1, 1, 2, static_cast<std::uint8_t>(i), 0};
        EXPECT_THAT(answers(bench, 0xE6, to_hex(entry)), ElementsAre("00"));
    }
    run(bench, {{0xE6, "01 01 01 02FF00", {"FF"}}, {0xE6, "01 01 01 020000", {"00"}}});
}

// A host takes only frames with the sub-command, so these have it as well.
TEST(ListSearch, RefusalsCarryTheSubCommand)
{
    Bench bench(gate);
    run(bench, {{0xE7, "", {"FF 01 00 00"}},
                {0xE7, "01 04 00", {"FF 01 00 00"}},
                {0xE7, "01 04 0000 00", {"FF 01 00 00"}},
                {0xE7, "02 04 0000", {"FF 01 00 00"}},
                {0xE7, "01 04 0004", {"F8 01 00 00"}}});
}

TEST(ListSearch, ManyTagsComeInSeveralFrames)
{
    Bench bench(crowd);
    for (unsigned first = 1; first <= 100; first += 25) {
        Bytes list{1, 1, 25};
        for (unsigned i = first; i < first + 25; ++i) {
            append(list, {6, 0xE2, 0x00, 0x00, 0x00, 0x00, static_cast<std::uint8_t>(i)});
        }
        ASSERT_THAT(answers(bench, 0xE6, to_hex(list)), ElementsAre("00"));
    }
    bench.command(0xE7, {1, 4, 0, 0});
    unsigned total = 0;
    for (const Frame& frame : bench.frames) {
        const bool is_last = &frame == &bench.frames.back();
        EXPECT_EQ(frame.status(), is_last ? status::inventory_done : status::more_follow);
        EXPECT_EQ(frame.bytes.at(4), 1);
        EXPECT_EQ(frame.bytes.size(), 7 + frame.bytes.at(6) * 8U + 2);
        total += frame.bytes.at(6);
    }
    EXPECT_EQ(total, 100U);
    EXPECT_GE(bench.frames.size(), 4U);
}

TEST(Buffer, WorksOverAConnection)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(door);
    Peer peer = Peer::connect(reader.listen());
    Bytes frame{0x09, 0x00, 0x18, 4, 0, 0, 0x80, 10, 0, 0};
    seal(frame);
    peer.send(to_hex(frame));
    EXPECT_EQ(peer.receive_frame(), "09 00 18 00 00 01 00 01 32 F8");
    frame = {0x04, 0x00, 0x72, 0, 0};
    seal(frame);
    peer.send(to_hex(frame));
    EXPECT_EQ(peer.receive_frame(), "0E 00 72 01 01 01 04 E2 00 11 22 64 01 09 8A");
}

}  // namespace
}  // namespace tagwire::sim
