#include "device/reading.h"

#include <map>
#include <set>

#include <gmock/gmock.h>

#include "bench.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* portal = R"(
[reader]
antennas = 2
report_rate = 100
start_gap_ms = 20
air_time = 0
[[tag]]
epc = "E200 0001"
antennas = [1]
[[tag]]
epc = "E200 0002"
antennas = [2]
[[tag]]
epc = "E200 0003"
antennas = [1, 2]
rssi = 100
rssi_noise = 5
)";

std::string id_of(const Frame& report)
{
    const std::size_t length = report.bytes.at(5) & 0x3FU;
    const auto begin = report.bytes.begin() + 6;
    return to_hex(Bytes(begin, begin + static_cast<std::ptrdiff_t>(length)));
}

TEST(Reading, BeginsAfterTheGap)
{
    Bench bench(portal);
    EXPECT_THAT(bench.command(0x50, {0}), SizeIs(1));
    bench.pass(milliseconds(19));
    EXPECT_THAT(bench.frames, SizeIs(1));
    bench.pass(milliseconds(1));
    EXPECT_THAT(bench.frames, SizeIs(2));
    EXPECT_EQ(bench.frames[1].kind, FrameKind::report);
}

TEST(Reading, KeepsItsRateAndReadsAllTags)
{
    Bench bench(portal);
    bench.command(0x50, {0});
    bench.frames.clear();
    bench.pass(milliseconds(20) + seconds(4));
    EXPECT_THAT(bench.frames, SizeIs(401));
    std::map<std::string, int> times;
    std::map<std::string, std::set<unsigned>> antennas;
    for (const Frame& frame : bench.frames) {
        EXPECT_EQ(frame.bytes[2], 0xEE);
        EXPECT_EQ(frame.status(), 0);
        ++times[id_of(frame)];
        antennas[id_of(frame)].insert(frame.bytes[4]);
        if (id_of(frame) == "E2000003") {
            EXPECT_NEAR(frame.bytes[10], 100, 5);
        }
    }
    EXPECT_EQ(antennas["E2000001"], (std::set<unsigned>{1}));
    EXPECT_EQ(antennas["E2000003"], (std::set<unsigned>{1, 2}));
    EXPECT_NEAR(times["E2000001"], 100, 1);
    EXPECT_NEAR(times["E2000003"], 200, 2);
}

TEST(Reading, AnswersCommandsInBetween)
{
    Bench bench(portal);
    bench.command(0x50, {0});
    bench.pass(milliseconds(100));
    EXPECT_THAT(bench.command(0x21), SizeIs(1));
    EXPECT_EQ(bench.frames[0].bytes[2], 0x21);
    bench.frames.clear();
    bench.pass(milliseconds(100));
    EXPECT_THAT(bench.frames, SizeIs(10));
}

TEST(Reading, StopsWhenToldTo)
{
    Bench bench(portal);
    bench.command(0x50, {0});
    bench.pass(milliseconds(100));
    bench.command(0x51);
    bench.frames.clear();
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, IsEmpty());
    EXPECT_FALSE(bench.device.reading().is_running());
}

TEST(Reading, IsSilentWithoutTags)
{
    Bench bench("[reader]\nstart_gap_ms = 0\n[[tag]]\nepc = \"E200\"\narrives = 1\ndeparts = 2\n");
    EXPECT_THAT(bench.command(0x50, {0}), SizeIs(1));
    bench.pass(milliseconds(999));
    EXPECT_THAT(bench.frames, SizeIs(1));
    bench.pass(milliseconds(1001));
    EXPECT_NEAR(static_cast<double>(bench.frames.size()), 100, 3);
    bench.frames.clear();
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, IsEmpty());
}

TEST(Reading, PushesExactlyABatch)
{
    Bench bench(portal);
    bench.device.reading().set_batch(7, bench.now);
    bench.command(0x50, {0});
    bench.frames.clear();
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, SizeIs(7));
    EXPECT_THAT(bench.command(0x21), SizeIs(1));
    bench.frames.clear();
    bench.device.reading().push(3, bench.now);
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, SizeIs(3));
    bench.command(0x51);
    bench.command(0x50, {0});
    bench.frames.clear();
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, SizeIs(7));
    bench.frames.clear();
    bench.device.reading().set_batch(std::nullopt, bench.now);
    bench.pass(seconds(1));
    EXPECT_NEAR(static_cast<double>(bench.frames.size()), 100, 1);
}

TEST(Reading, ABatchWaitsForASlowPeer)
{
    Bench bench(portal);
    bench.device.reading().set_batch(7, bench.now);
    bench.room = false;
    bench.command(0x50, {0});
    bench.frames.clear();
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, IsEmpty());
    bench.room = true;
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, SizeIs(7));
}

TEST(Reading, RateCanBeChangedAndPaused)
{
    Bench bench(portal);
    bench.command(0x50, {0});
    bench.pass(milliseconds(100));
    bench.device.set_report_rate(0, bench.now);
    bench.frames.clear();
    bench.pass(seconds(1));
    EXPECT_THAT(bench.frames, IsEmpty());
    bench.device.set_report_rate(1000, bench.now);
    bench.pass(seconds(1));
    EXPECT_NEAR(static_cast<double>(bench.frames.size()), 1000, 2);
}

TEST(Reading, AFasterRateIsInForceAtOnceButNotInTheStartGap)
{
    Bench bench(portal);
    bench.device.set_report_rate(0.01, bench.now);
    bench.command(0x50, {0});
    bench.pass(milliseconds(100));
    EXPECT_THAT(bench.frames, SizeIs(2));
    bench.device.set_report_rate(1000, bench.now);
    bench.frames.clear();
    bench.pass(milliseconds(100));
    EXPECT_NEAR(static_cast<double>(bench.frames.size()), 100, 2);
    bench.command(0x51);
    bench.command(0x50, {0});
    bench.device.set_report_rate(2000, bench.now);
    bench.frames.clear();
    bench.pass(milliseconds(19));
    EXPECT_THAT(bench.frames, IsEmpty());
    bench.pass(milliseconds(1));
    EXPECT_THAT(bench.frames, SizeIs(1));
}

TEST(Reading, EndsWithItsConnection)
{
    Bench bench(portal);
    bench.command(0x50, {0}, 5);
    bench.device.forget_connection(bench.now, 4);
    EXPECT_TRUE(bench.device.reading().is_running());
    bench.device.forget_connection(bench.now, 5);
    EXPECT_FALSE(bench.device.reading().is_running());
}

TEST(Reading, RestsWhileAnInventoryRuns)
{
    Scenario scenario = Scenario::from_text(portal);
    scenario.reader.air_time = 1;
    Bench bench(scenario);
    bench.command(0x50, {0});
    bench.pass(milliseconds(100));
    bench.command(0x01, {4, 0});
    bench.pass(seconds(1));
    std::vector<std::uint8_t> codes;
    for (const Frame& frame : bench.frames) codes.push_back(frame.bytes[2]);
    ASSERT_GE(codes.size(), 4U);
    EXPECT_EQ(codes[0], 0x01);
    EXPECT_EQ(codes.back(), 0xEE);
    EXPECT_TRUE(
        std::is_partitioned(codes.begin(), codes.end(), [](std::uint8_t code) { return code == 0x01; }));
}

}  // namespace
}  // namespace tagwire::sim
