#include "radio/singulation.h"

#include <set>

#include <gmock/gmock.h>

#include "bench.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::IsEmpty;
using testing::SizeIs;

Scenario crowd(unsigned tags, std::uint64_t seed, unsigned antennas = 1, double air_time = 0)
{
    Scenario scenario;
    scenario.reader.seed = seed;
    scenario.reader.antennas = antennas;
    scenario.reader.air_time = air_time;
    scenario.reader.scan_time = 0;
    for (unsigned i = 0; i < tags; ++i) {
        TagSettings& tag = scenario.tags.emplace_back();
        tag.epc = {0xE2, 0x00, static_cast<std::uint8_t>(i >> 8U), static_cast<std::uint8_t>(i & 0xFFU)};
        tag.antennas = {i % antennas + 1};
    }
    return scenario;
}

TEST(Singulation, FindsEveryTagOnce)
{
    for (const unsigned tags : {1U, 2U, 3U, 7U, 16U, 60U, 250U}) {
        for (std::uint8_t q = 0; q <= 15; ++q) {
            for (std::uint64_t seed = 1; seed <= 5; ++seed) {
                Bench bench(crowd(tags, seed));
                bench.command(0x01, {q, static_cast<std::uint8_t>(seed % 4)});
                const auto ids = bench.ids();
                EXPECT_THAT(ids, SizeIs(tags)) << "q " << unsigned{q} << " seed " << seed;
                EXPECT_THAT(std::set<std::string>(ids.begin(), ids.end()), SizeIs(tags));
                EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
            }
        }
    }
}

TEST(Singulation, ReportsATagSeenByAllAntennasOnce)
{
    Scenario scenario = crowd(20, 3, 4);
    for (TagSettings& tag : scenario.tags) tag.antennas = {1, 2, 3, 4};
    for (std::uint8_t session = 0; session < 4; ++session) {
        Bench bench(scenario);
        bench.command(0x01, {4, session});
        EXPECT_THAT(bench.ids(), SizeIs(20));
    }
}

TEST(Singulation, FramesNeverMixAntennasNorGrowTooLong)
{
    Bench bench(crowd(120, 5, 3));
    bench.command(0x01, {6, 0});
    EXPECT_THAT(bench.ids(), SizeIs(120));
    std::set<unsigned> antennas;
    for (std::size_t i = 0; i < bench.frames.size(); ++i) {
        const Frame& frame = bench.frames[i];
        EXPECT_LE(frame.bytes.size(), 256U);
        EXPECT_EQ(frame.status(), i + 1 == bench.frames.size() ? 0x01 : 0x03);
        antennas.insert(frame.bytes[4]);
    }
    EXPECT_EQ(antennas, (std::set<unsigned>{1, 2, 4}));
}

TEST(Singulation, RecordsPerFrameCanBeLimited)
{
    Scenario scenario = crowd(10, 5);
    scenario.reader.records_per_frame = 3;
    Bench bench(scenario);
    bench.command(0x01, {4, 0});
    EXPECT_THAT(bench.ids(), SizeIs(10));
    for (const Frame& frame : bench.frames) EXPECT_LE(frame.bytes[5], 3);
}

TEST(Singulation, SelectsTheAntenna)
{
    Bench bench(crowd(40, 5, 4));
    bench.command(0x01, {4, 0, 0, 0x82, 0});
    EXPECT_THAT(bench.ids(), SizeIs(10));
    for (const Frame& frame : bench.frames) EXPECT_EQ(frame.bytes[4], 0x04);
    bench.command(0x01, {4, 0, 0, 0x00, 0});
    EXPECT_THAT(bench.ids(), SizeIs(40));
}

TEST(Singulation, NumbersAntennasWhenAsked)
{
    Scenario scenario = crowd(40, 5, 16);
    scenario.reader.antenna_byte = AntennaByte::number;
    Bench bench(scenario);
    bench.command(0x01, {4, 0, 0, 0x8F, 0});
    EXPECT_EQ(bench.frames.back().bytes[4], 16);
    EXPECT_THAT(bench.ids(), SizeIs(2));
}

std::size_t found(Bench& bench, std::uint8_t session, std::uint8_t target)
{
    bench.command(0x01, {4, session, target, 0x80, 0});
    return bench.ids().size();
}

TEST(Sessions, Session0ForgetsWithThePower)
{
    Bench bench(crowd(9, 1));
    EXPECT_EQ(found(bench, 0, 0), 9U);
    EXPECT_EQ(found(bench, 0, 0), 9U);
    EXPECT_EQ(found(bench, 0, 1), 0U);
}

TEST(Sessions, Session1DecaysAfterItsTime)
{
    Bench bench(crowd(9, 1));
    EXPECT_EQ(found(bench, 1, 0), 9U);
    bench.pass(milliseconds(1500));
    EXPECT_EQ(found(bench, 1, 0), 0U);  // powering them does not prolong it
    bench.pass(milliseconds(600));
    EXPECT_EQ(found(bench, 1, 0), 9U);
    EXPECT_EQ(found(bench, 1, 1), 9U);
    EXPECT_EQ(found(bench, 1, 0), 9U);
}

TEST(Sessions, Sessions2And3LastWhilePoweredAndLonger)
{
    for (const std::uint8_t session : {2, 3}) {
        Bench bench(crowd(9, 1));
        EXPECT_EQ(found(bench, session, 0), 9U);
        for (int i = 0; i < 5; ++i) {
            bench.pass(milliseconds(3000));
            EXPECT_EQ(found(bench, session, 0), 0U);  // each powers them anew
        }
        EXPECT_EQ(found(bench, session, 1), 9U);
        EXPECT_EQ(found(bench, session, 0), 9U);
        bench.pass(milliseconds(5100));
        EXPECT_EQ(found(bench, session, 0), 9U);
    }
}

TEST(Sessions, DoNotTouchEachOther)
{
    Bench bench(crowd(9, 1));
    EXPECT_EQ(found(bench, 2, 0), 9U);
    EXPECT_EQ(found(bench, 3, 0), 9U);
    EXPECT_EQ(found(bench, 2, 1), 9U);
    EXPECT_EQ(found(bench, 3, 0), 0U);
}

TEST(ScanTime, EndsTheInventory)
{
    Bench bench(crowd(200, 1, 1, 1.0));
    bench.command(0x01, {6, 0, 0, 0x80, 1});
    bench.pass(milliseconds(99));
    for (const Frame& frame : bench.frames) EXPECT_EQ(frame.status(), status::more_follow);
    bench.pass(milliseconds(50));
    EXPECT_EQ(bench.frames.back().status(), status::scan_time_over);
    EXPECT_GT(bench.ids().size(), 5U);
    EXPECT_LT(bench.ids().size(), 100U);
}

TEST(ScanTime, ComesFromTheReaderWhenTheRequestNamesNone)
{
    Scenario scenario = crowd(200, 1);
    scenario.reader.scan_time = 1;
    Bench bench(scenario);
    bench.command(0x01, {6, 0});
    EXPECT_EQ(bench.frames.back().status(), status::scan_time_over);
    bench.command(0x01, {6, 0, 0, 0x80, 255});
    EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
}

TEST(AirTime, FramesComeWhenItHasPassed)
{
    Bench slow(crowd(60, 1, 1, 2.0));
    Bench fast(crowd(60, 1, 1, 0.0));
    slow.command(0x01, {6, 0});
    fast.command(0x01, {6, 0});
    EXPECT_THAT(slow.frames, IsEmpty());
    slow.pass(seconds(60));
    EXPECT_EQ(slow.hex(), fast.hex());
}

TEST(AirTime, DoesNotDependOnHowTimeIsCut)
{
    Bench coarse(crowd(60, 1, 1, 1.0));
    Bench fine(crowd(60, 1, 1, 1.0));
    coarse.command(0x01, {6, 0});
    fine.command(0x01, {6, 0});
    coarse.now += seconds(5);
    coarse.device.advance(coarse.now);
    fine.pass(seconds(5));
    EXPECT_EQ(coarse.hex(), fine.hex());
}

TEST(Presence, TagsComeAndGo)
{
    Scenario scenario = crowd(3, 1);
    scenario.tags[1].arrives = seconds(2);
    scenario.tags[2].departs = seconds(3);
    Bench bench(scenario);
    EXPECT_EQ(found(bench, 0, 0), 2U);
    bench.pass(seconds(2));
    EXPECT_EQ(found(bench, 0, 0), 3U);
    bench.pass(seconds(1));
    EXPECT_EQ(found(bench, 0, 0), 2U);
}

TEST(Determinism, TheSeedDecidesAll)
{
    const auto run = [](std::uint64_t seed) {
        Scenario scenario = crowd(80, seed, 2);
        for (TagSettings& tag : scenario.tags) tag.rssi_noise = 20;
        Bench bench(scenario);
        std::vector<std::string> all;
        for (int i = 0; i < 5; ++i) {
            for (auto& frame : bench.command(0x01, {5, 0})) all.push_back(frame);
        }
        return all;
    };
    EXPECT_EQ(run(11), run(11));
    EXPECT_NE(run(11), run(12));
}

TEST(Determinism, TheGeneratorIsTheSameEverywhere)
{
    Random random(1);
    std::vector<std::uint32_t> drawn;
    for (int i = 0; i < 4; ++i) drawn.push_back(random.below(1000));
    EXPECT_THAT(drawn, testing::ElementsAre(133, 136, 451, 21));
}

}  // namespace
}  // namespace tagwire::sim
