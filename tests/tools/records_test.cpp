#include "records.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using Bytes = std::vector<std::uint8_t>;

const Bytes plain_record{4, 0xE2, 0x80, 0x00, 0x1F, 200};
const Bytes phase_record{0x42, 0xAB, 0xCD, 180, 0x12, 0x34, 0xFF, 0xFE, 0x0D, 0x39, 0x6C};

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

TagRecord tag(std::string id, std::uint8_t antenna)
{
    TagRecord record;
    record.id = std::move(id);
    record.antenna = antenna;
    return record;
}

TEST(List, HoldsRecordsWithAndWithoutPhase)
{
    const auto decoded = decode_list(joined({plain_record, phase_record, plain_record}), 3);
    ASSERT_EQ(decoded.records.size(), 3u);
    EXPECT_EQ(decoded.undecoded, 0u);
    EXPECT_EQ(decoded.records[0].id, "E280001F");
    EXPECT_EQ(decoded.records[0].rssi, 200);
    EXPECT_EQ(decoded.records[0].antenna, 3);
    EXPECT_FALSE(decoded.records[0].phase);
    EXPECT_EQ(decoded.records[1].id, "ABCD");
    EXPECT_EQ(decoded.records[1].rssi, 180);
    EXPECT_EQ(decoded.records[1].phase, (Phase{0x1234, 0xFFFE, 866668}));
    EXPECT_EQ(decoded.records[2], decoded.records[0]);
}

TEST(List, MayBeEmpty)
{
    const auto decoded = decode_list({}, 1);
    EXPECT_TRUE(decoded.records.empty());
    EXPECT_EQ(decoded.undecoded, 0u);
}

TEST(List, TakesTheLengthFromSixBits)
{
    Bytes longest{0xBF};  // bit 7 set, bit 6 clear, 63 bytes of ID
    longest.resize(1 + 63 + 1, 0x11);
    const auto decoded = decode_list(longest, 1);
    ASSERT_EQ(decoded.records.size(), 1u);
    EXPECT_EQ(decoded.records[0].id.size(), 126u);
    EXPECT_FALSE(decoded.records[0].phase);
}

TEST(List, KnowsATagWithoutId)
{
    const auto decoded = decode_list(Bytes{0, 99, 0x40, 98, 0, 1, 0, 2, 0, 0, 3}, 1);
    ASSERT_EQ(decoded.records.size(), 2u);
    EXPECT_EQ(decoded.records[0].id, "");
    EXPECT_EQ(decoded.records[0].rssi, 99);
    EXPECT_EQ(decoded.records[1].phase, (Phase{1, 2, 3}));
}

TEST(List, EndsBeforeARecordThatIsCutOff)
{
    for (const auto& last : {plain_record, phase_record}) {
        const auto whole = joined({phase_record, plain_record, last});
        for (std::size_t missing = 1; missing < last.size(); ++missing) {
            // An exact copy, so that a read past the end is seen.
            const Bytes cut(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(missing));
            const auto decoded = decode_list(cut, 1);
            EXPECT_EQ(decoded.records.size(), 2u) << missing;
            EXPECT_EQ(decoded.undecoded, last.size() - missing);
        }
    }
}

TEST(List, SurvivesAnyBytes)
{
    std::uint32_t state = 1;
    for (int round = 0; round < 2000; ++round) {
        Bytes noise(static_cast<std::size_t>(round % 300));
        for (auto& byte : noise) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<std::uint8_t>(state >> 24);
        }
        const auto decoded = decode_list(noise, 1);
        std::size_t used = decoded.undecoded;
        for (const auto& record : decoded.records) used += 2 + record.id.size() / 2 + (record.phase ? 7 : 0);
        ASSERT_EQ(used, noise.size());
    }
}

TEST(ReportRecord, FollowsTheKind)
{
    RFIDTag report{};
    report.UID = "E280";
    report.RSSI = 77;
    report.ANT = 4;
    report.LEN = 2;
    report.phase_begin = 1;
    EXPECT_FALSE(record_from_report(report, 1).phase);
    report.LEN = 0x42;
    EXPECT_EQ(record_from_report(report, 1).phase, (Phase{1, 0, 0}));
    EXPECT_FALSE(record_from_report(report, 2).phase);
    report.PacketParam = 0x10;
    report.Freqkhz = 866700;
    const auto record = record_from_report(report, 2);
    EXPECT_EQ(record.phase, (Phase{1, 0, 866700}));
    EXPECT_EQ(record.id, "E280");
    EXPECT_EQ(record.rssi, 77);
    EXPECT_EQ(record.antenna, 4);
}

TEST(Combining, TakesAntennasFromReports)
{
    const auto combined = combine({tag("AA", 2), tag("BB", 2)}, {tag("AA", 1), tag("BB", 2)});
    EXPECT_EQ(combined, (std::vector{tag("AA", 1), tag("BB", 2)}));
}

TEST(Combining, AddsWhatTheListHadNoRoomFor)
{
    EXPECT_EQ(combine({tag("AA", 2)}, {tag("AA", 1), tag("BB", 3)}),
              (std::vector{tag("AA", 1), tag("BB", 3)}));
    EXPECT_EQ(combine({}, {tag("AA", 1)}), (std::vector{tag("AA", 1)}));
}

TEST(Combining, LeavesAListThatTheReportsDoNotMatch)
{
    const std::vector list{tag("AA", 2), tag("BB", 2)};
    EXPECT_EQ(combine(list, {}), list);
    EXPECT_EQ(combine(list, {tag("CC", 1), tag("BB", 1), tag("DD", 1)}), list);
}

TEST(MixedList, HasAPacketByteBeforeEveryRecord)
{
    const auto decoded = decode_list(joined({{0}, plain_record, {1}, phase_record}), 3, RecordLayout::Mixed);
    ASSERT_EQ(decoded.records.size(), 2u);
    EXPECT_EQ(decoded.undecoded, 0u);
    EXPECT_EQ(decoded.records[0].id, "E280001F");
    EXPECT_EQ(decoded.records[0].item, 0);
    EXPECT_EQ(decoded.records[1].id, "ABCD");
    EXPECT_EQ(decoded.records[1].item, 1);
    EXPECT_EQ(decode_list(Bytes{0}, 3, RecordLayout::Mixed).undecoded, 1u);
}

TEST(JoinedData, BelongsToTheTagBeforeIt)
{
    auto words = tag("CAFE", 1);
    words.item = 1;
    const auto tags = join_data({tag("AA", 1), words, tag("BB", 2), tag("CC", 2), words});
    ASSERT_EQ(tags.size(), 3u);
    EXPECT_EQ(tags[0].data, "CAFE");
    EXPECT_EQ(tags[1].data, std::nullopt);
    EXPECT_EQ(tags[2].id, "CC");
    EXPECT_EQ(tags[2].data, "CAFE");
    EXPECT_EQ(join_data({words}).size(), 1u);
}

}  // namespace
}  // namespace tagwire::tool
