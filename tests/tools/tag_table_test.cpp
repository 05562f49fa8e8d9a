#include "tag_table.h"

#include <tagwirexx/bytes.hpp>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using namespace std::chrono_literals;

Received moment(std::chrono::milliseconds time)
{
    return {RateMeter::TimePoint(1h + time), std::chrono::system_clock::time_point(1h + time)};
}

Read tag(const std::string& id, std::chrono::milliseconds time = 0ms, int rssi = 100)
{
    Read read;
    read.epc = Epc(from_hex(id));
    read.port = Port(1);
    read.rssi = rssi;
    read.received = moment(time);
    return read;
}

TEST(TagTable, MergesReadsOfOneTag)
{
    TagTable table;
    table.add(tag("AA", 0ms, 100), "left");
    table.add(tag("BB", 10ms, 110), "left");
    table.add(tag("AA", 20ms, 120), "right");

    EXPECT_EQ(table.reads(), 3u);
    ASSERT_EQ(table.rows().size(), 2u);
    const auto& row = table.rows()[0];
    EXPECT_EQ(row.latest.rssi, 120);
    EXPECT_EQ(row.reader, "right");
    EXPECT_EQ(row.reads, 2u);
    EXPECT_EQ(row.first.wall, moment(0ms).wall);
    EXPECT_EQ(row.latest.received.wall, moment(20ms).wall);
    EXPECT_EQ(table.rows()[1].reads, 1u);
}

TEST(TagTable, CountsWhatAnInventoryCounted)
{
    TagTable table;
    auto read = tag("AA");
    read.count = 5;
    table.add(read);
    EXPECT_EQ(table.reads(), 5u);
    EXPECT_EQ(table.rows()[0].reads, 5u);
}

TEST(TagTable, KeepsTheOrderOfFirstReads)
{
    TagTable table;
    for (const auto* const id : {"CC", "AA", "BB", "AA", "CC"}) table.add(tag(id));
    ASSERT_EQ(table.rows().size(), 3u);
    EXPECT_EQ(id_of(table.rows()[0].latest), "CC");
    EXPECT_EQ(id_of(table.rows()[1].latest), "AA");
    EXPECT_EQ(id_of(table.rows()[2].latest), "BB");
}

TEST(TagTable, TellsLengthsOfIdsApart)
{
    TagTable table;
    for (const auto* const id : {"", "00", "0000"}) table.add(tag(id));
    EXPECT_EQ(table.rows().size(), 3u);
}

TEST(TagTable, CountsReadsBeyondItsLimit)
{
    TagTable table(2);
    for (const auto* const id : {"AA", "BB", "CC", "AA", "DD"}) table.add(tag(id));
    EXPECT_EQ(table.rows().size(), 2u);
    EXPECT_EQ(table.reads(), 5u);
    EXPECT_EQ(table.reads_without_row(), 2u);
    EXPECT_EQ(table.rows()[0].reads, 2u);
}

TEST(TagTable, TellsTagsOfOneEpcApartByTheirTid)
{
    TagTable table;
    auto read = tag("E280");
    for (const char* const tid : {"E2801160", "E2801161", "E2801160"}) {
        read.tid = Tid(from_hex(tid));
        table.add(read);
    }
    ASSERT_EQ(table.rows().size(), 2u);
    EXPECT_EQ(table.rows()[0].reads, 2u);
}

TEST(RateMeter, IsZeroWithoutReads) { EXPECT_EQ(RateMeter().rate(moment(0ms).steady), 0); }

TEST(RateMeter, FollowsASteadyRate)
{
    RateMeter meter;
    for (int i = 0; i <= 1000; ++i) {
        meter.add(moment(i * 10ms).steady);
        if (i < 100) continue;
        EXPECT_NEAR(meter.rate(moment(i * 10ms).steady), 100, 10) << i;
    }
}

TEST(RateMeter, ForgetsWhatIsTwoSecondsOld)
{
    RateMeter meter;
    for (int i = 0; i < 100; ++i) meter.add(moment(i * 1ms).steady);
    EXPECT_GT(meter.rate(moment(1000ms).steady), 50);
    EXPECT_EQ(meter.rate(moment(2500ms).steady), 0);
    meter.add(moment(60s).steady);
    EXPECT_LE(meter.rate(moment(60s).steady), 2);
}

}  // namespace
}  // namespace tagwire::tool
