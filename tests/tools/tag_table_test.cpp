#include "tag_table.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using namespace std::chrono_literals;

Moment at(std::chrono::milliseconds time)
{
    return {RateMeter::TimePoint(1h + time), std::chrono::system_clock::time_point(1h + time)};
}

TagRecord tag(const std::string& id, std::uint8_t antenna, std::uint8_t rssi)
{
    TagRecord record;
    record.id = id;
    record.antenna = antenna;
    record.rssi = rssi;
    return record;
}

TEST(TagTable, MergesReadsOfOneTag)
{
    TagTable table;
    table.add(tag("AA", 1, 100), at(0ms));
    table.add(tag("BB", 1, 110), at(10ms));
    auto latest = tag("AA", 2, 120);
    latest.phase = Phase{1, 2, 3};
    table.add(latest, at(20ms));

    EXPECT_EQ(table.reads(), 3u);
    ASSERT_EQ(table.rows().size(), 2u);
    const auto& row = table.rows()[0];
    EXPECT_EQ(row.latest, latest);
    EXPECT_EQ(row.reads, 2u);
    EXPECT_EQ(row.first.wall, at(0ms).wall);
    EXPECT_EQ(row.last.wall, at(20ms).wall);
    EXPECT_EQ(table.rows()[1].reads, 1u);
}

TEST(TagTable, KeepsTheOrderOfFirstReads)
{
    TagTable table;
    for (const auto* const id : {"CC", "AA", "BB", "AA", "CC"}) table.add(tag(id, 1, 1), at(0ms));
    EXPECT_EQ(table.rows()[0].latest.id, "CC");
    EXPECT_EQ(table.rows()[1].latest.id, "AA");
    EXPECT_EQ(table.rows()[2].latest.id, "BB");
}

TEST(TagTable, TellsLengthsOfIdsApart)
{
    TagTable table;
    for (const auto* const id : {"", "00", "0000"}) table.add(tag(id, 1, 1), at(0ms));
    EXPECT_EQ(table.rows().size(), 3u);
}

TEST(TagTable, CountsReadsBeyondItsLimit)
{
    TagTable table(2);
    for (const auto* const id : {"AA", "BB", "CC", "AA", "DD"}) table.add(tag(id, 1, 1), at(0ms));
    EXPECT_EQ(table.rows().size(), 2u);
    EXPECT_EQ(table.reads(), 5u);
    EXPECT_EQ(table.reads_without_row(), 2u);
    EXPECT_EQ(table.rows()[0].reads, 2u);
}

TEST(RateMeter, IsZeroWithoutReads) { EXPECT_EQ(RateMeter().rate(at(0ms).steady), 0); }

TEST(RateMeter, FollowsASteadyRate)
{
    RateMeter meter;
    for (int i = 0; i <= 1000; ++i) {
        meter.add(at(i * 10ms).steady);
        if (i < 100) continue;
        EXPECT_NEAR(meter.rate(at(i * 10ms).steady), 100, 10) << i;
    }
}

TEST(RateMeter, ForgetsWhatIsTwoSecondsOld)
{
    RateMeter meter;
    for (int i = 0; i < 100; ++i) meter.add(at(i * 1ms).steady);
    EXPECT_GT(meter.rate(at(1000ms).steady), 50);
    EXPECT_EQ(meter.rate(at(2500ms).steady), 0);
    meter.add(at(60s).steady);
    EXPECT_LE(meter.rate(at(60s).steady), 2);
}

TEST(Table, TellsTagsOfOneEpcApartByTheirTid)
{
    TagTable table;
    TagRecord tag{"E280", 1, 200, {}};
    for (const char* const tid : {"E2801160", "E2801161", "E2801160"}) {
        tag.tid = tid;
        table.add(tag, Moment::now());
    }
    ASSERT_EQ(table.rows().size(), 2u);
    EXPECT_EQ(table.rows()[0].reads, 2u);
}

}  // namespace
}  // namespace tagwire::tool
