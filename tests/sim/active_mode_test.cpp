#include <set>

#include <gmock/gmock.h>

#include "exchange.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* field = R"(
[reader]
address = 0x0A
antennas = 1
report_rate = 100
[[tag]]
epc = "A001"
tid = "E280 1160 0001"
rssi = 100
[[tag]]
epc = "B001"
tid = "E280 1160 0002"
rssi = 200
)";

// The IDs of the reports that a connection got in this time.
std::vector<std::string> reports(Bench& bench, Time time, ConnectionId to = 1)
{
    bench.frames.clear();
    bench.pass(time);
    std::vector<std::string> ids;
    for (const Frame& frame : bench.frames) {
        if (frame.to != to) continue;
        EXPECT_EQ(frame.kind, FrameKind::report);
        EXPECT_EQ(frame.bytes.at(2), report_command);
        EXPECT_EQ(frame.status(), status::success);
        const auto id = frame.bytes.begin() + 6;
        ids.push_back(to_hex(Bytes(id, id + frame.bytes.at(5))));
    }
    return ids;
}

std::set<std::string> distinct(const std::vector<std::string>& ids) { return {ids.begin(), ids.end()}; }

TEST(ActiveMode, PushesToEveryoneUntilItIsSwitchedOff)
{
    for (const std::uint8_t code : {0x35, 0x76}) {
        Bench bench(field);
        bench.connected = {1, 7};
        EXPECT_THAT(reports(bench, seconds(1)), IsEmpty());
        EXPECT_THAT(answers(bench, code, "01").at(0), "00");
        const auto ids = reports(bench, seconds(1));
        EXPECT_GT(ids.size(), 30U);
        EXPECT_THAT(distinct(ids), ElementsAre("A001", "B001"));
        EXPECT_GT(reports(bench, seconds(1), 7).size(), 30U);
        bench.command(0x21);
        EXPECT_EQ(bench.frames.at(0).bytes[2], 0x21);
        answers(bench, code, "00");
        EXPECT_THAT(reports(bench, seconds(1)), IsEmpty());
    }
}

TEST(ActiveMode, AFasterRateIsInForceAtOnce)
{
    Bench bench(field);
    bench.device.set_report_rate(0.01, bench.now);
    bench.command(0x35, {1});
    EXPECT_LT(reports(bench, seconds(1)).size(), 2U);
    bench.device.set_report_rate(100, bench.now);
    EXPECT_GT(reports(bench, seconds(1)).size(), 30U);
}

struct ParameterCase {
    std::uint8_t code;
    const char* data;
    std::set<std::string> ids;
};

TEST(ActiveMode, GoesByItsParameters)
{
    const std::vector<ParameterCase> cases{
        {0x3B, "01 0020 08 B0", {"B001"}},
        {0x3B, "01 0020 00", {"A001", "B001"}},
        {0x4A, "01 02", {"11600001", "11600002"}},
        {0x4A, "02 04", {}},  // beyond the TID
        {0xB0, "00 00 96", {"B001"}},
        {0x75, "00 00 00 04 00 01 0020 08 A0 02 01", {"0001"}},
        {0x75, "00 00 00 04 00", {"A001", "B001"}},
    };
    for (const ParameterCase& item : cases) {
        SCOPED_TRACE(item.data);
        Bench bench(field);
        EXPECT_THAT(answers(bench, item.code, item.data), ElementsAre("00"));
        answers(bench, 0x35, "01");
        EXPECT_EQ(distinct(reports(bench, seconds(1))), item.ids);
    }
}

TEST(ActiveMode, TheFilterTimeHoldsBackWhatWasReported)
{
    Bench bench(field);
    run(bench, {{0x92, "03", {"00"}}});
    bench.command(0x35, {1});
    EXPECT_EQ(reports(bench, milliseconds(2900)).size() + distinct(reports(bench, milliseconds(2000))).size(),
              4U);
}

TEST(ActiveMode, ATagIsReportedFromTheLeastReadingsOn)
{
    Bench bench(field);
    run(bench, {{0xB0, "00 05 00", {"00"}}});
    bench.command(0x35, {1});
    EXPECT_THAT(reports(bench, milliseconds(70)), IsEmpty());
    EXPECT_THAT(distinct(reports(bench, seconds(1))), ElementsAre("A001", "B001"));
}

TEST(ActiveMode, PausesBetweenPasses)
{
    Bench bench(field);
    run(bench, {{0x3D, "64", {"00"}}});
    bench.command(0x35, {1});
    const std::size_t count = reports(bench, milliseconds(5500)).size();
    EXPECT_GE(count, 8U);
    EXPECT_LE(count, 14U);
}

TEST(ActiveMode, ATriggerLetsItRead)
{
    Bench bench(field);
    run(bench, {{0x35, "02", {"00"}}, {0x49, "02", {"00"}}});
    EXPECT_THAT(reports(bench, seconds(1)), IsEmpty());
    const auto set_input = [&bench](bool high) {
        bench.device.panel().set_input(1, high, bench.now);
        bench.device.advance(bench.now);
    };
    set_input(true);
    EXPECT_GT(reports(bench, seconds(1)).size(), 30U);
    set_input(false);
    EXPECT_GT(reports(bench, seconds(2)).size(), 60U);
    EXPECT_THAT(reports(bench, seconds(2)), IsEmpty());
}

TEST(ActiveMode, RestsWhileAHostReads)
{
    Bench bench(field);
    bench.connected = {1, 7};
    bench.command(0x35, {1});
    bench.command(0x50, {0}, 1);
    EXPECT_THAT(reports(bench, seconds(1), 7), IsEmpty());
    bench.command(0x51, {}, 1);
    EXPECT_GT(reports(bench, seconds(1), 7).size(), 30U);
}

TEST(ActiveMode, GoesOnAfterARestart)
{
    Bench bench(field);
    bench.command(0x35, {1});
    bench.command(0x99, {0x52, 0x25});
    EXPECT_GT(reports(bench, seconds(1)).size(), 30U);
    bench.device.restore_factory();
    EXPECT_THAT(reports(bench, seconds(1)), IsEmpty());
}

}  // namespace
}  // namespace tagwire::sim
