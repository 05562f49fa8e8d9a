// Tag records as bytes.
#include <gmock/gmock.h>

#include "support/hooked.h"
#include "support/tags.h"
#include "support/test_reader.h"

namespace tagwire::engine::test {
namespace {

std::vector<SeenRecord> records_of(const Bytes& frame, int command)
{
    FrameCopy copy{};
    std::copy(frame.begin(), frame.end(), copy.bytes);
    std::vector<SeenRecord> out;
    for_each_record(copy.bytes, command, [&](const TagRecord& record) {
        out.push_back({record, Bytes(record.id, record.id + record.id_size)});
    });
    return out;
}

std::vector<bool> whole_of(const Bytes& frame, int command)
{
    std::vector<bool> out;
    for (const auto& seen : records_of(frame, command)) out.push_back(seen.record.whole);
    return out;
}

TEST(Records, are_read_with_and_without_phase)
{
    const auto seen = records_of(
        answer(0x00, 0x01, 0x03, hex("04 02 04 E2 00 AB 0F C5 42 12 34 D0 01 02 03 04 0E 18 4C")), 0x01);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].record.kind, 1);
    EXPECT_EQ(seen[0].record.packet, 0);
    EXPECT_EQ(seen[0].record.len, 4);
    EXPECT_EQ(seen[0].id, hex("E2 00 AB 0F"));
    EXPECT_EQ(seen[0].record.rssi, 0xC5);
    EXPECT_FALSE(seen[0].record.has_phase);
    EXPECT_EQ(seen[0].record.khz, 0U);
    EXPECT_EQ(seen[0].record.antenna, 4);
    EXPECT_TRUE(seen[0].record.whole);
    EXPECT_EQ(seen[1].record.len, 0x42);
    EXPECT_EQ(seen[1].id, hex("12 34"));
    EXPECT_TRUE(seen[1].record.has_phase);
    EXPECT_EQ(seen[1].record.phase_begin, 0x0102);
    EXPECT_EQ(seen[1].record.phase_end, 0x0304);
    EXPECT_EQ(seen[1].record.khz, 0x0E184CU);
    EXPECT_TRUE(seen[1].record.whole);
}

TEST(Records, have_a_packet_byte_in_mixed_inventories)
{
    for (const int command : {0x19, 0x57}) {
        const auto seen =
            records_of(answer(0x00, 0x19, 0x03, hex("02 01 11 C1 07 60 01 02 03 04 05 06 07")), command);
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_EQ(seen[0].record.packet, 0x11);
        EXPECT_EQ(seen[0].record.kind, 1);
        EXPECT_EQ(seen[0].id, hex("07"));
        EXPECT_TRUE(seen[0].record.has_phase);
    }
    const auto seen =
        records_of(answer(0x00, 0x20, 0x03, hex("02 01 EF 41") + repeat(7, 65) + hex("60")), 0x20);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].record.kind, 2);
    EXPECT_EQ(seen[0].id, repeat(7, 65));
    EXPECT_FALSE(seen[0].record.has_phase);
    EXPECT_EQ(seen[0].record.rssi, 0x60);
    EXPECT_TRUE(seen[0].record.whole);
}

TEST(Records, of_a_report_are_one)
{
    const auto seen = records_of(answer(0x00, 0xEE, 0x00, hex("08 02 E2 80 C0")), report_layout);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].id, hex("E2 80"));
    EXPECT_EQ(seen[0].record.antenna, 8);
    EXPECT_TRUE(seen[0].record.whole);
}

// A length that is one too great takes a byte of the CRC for data.
TEST(Records, are_whole_when_their_last_byte_is_in_front_of_the_crc)
{
    EXPECT_THAT(whole_of(answer(0x00, 0x01, 0x01, hex("01 01 02 AA BB 50")), 0x01),
                testing::ElementsAre(true));
    EXPECT_THAT(whole_of(answer(0x00, 0x01, 0x01, hex("01 01 03 AA BB 50")), 0x01),
                testing::ElementsAre(false));
    EXPECT_THAT(whole_of(answer(0x00, 0x01, 0x01, hex("01 01 42 AA BB 50 01 02 03 04 05 06 07")), 0x01),
                testing::ElementsAre(true));
    EXPECT_THAT(whole_of(answer(0x00, 0x01, 0x01, hex("01 01 42 AA BB 50 01 02 03 04 05 06")), 0x01),
                testing::ElementsAre(false));
    EXPECT_THAT(whole_of(answer(0x00, 0xEE, 0x00, hex("01 02 AA BB")), report_layout),
                testing::ElementsAre(false));
    EXPECT_THAT(whole_of(answer(0x00, 0xEE, 0x00), report_layout), testing::ElementsAre(false));
    EXPECT_THAT(whole_of(answer(0x00, 0x01, 0x01, hex("01 03 00 50 00 51")), 0x01),
                testing::ElementsAre(true, true, false));
}

TEST(Records, give_zeros_for_what_lies_past_300_bytes)
{
    Bytes frame = hex("00 00 20 03 01 02 00 FF") + repeat(0x11, 255) + hex("22 00 28") + repeat(0x77, 34);
    ASSERT_EQ(frame.size(), 300U);
    const auto seen = records_of(frame, 0x20);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].id, repeat(0x77, 34) + repeat(0, 6));
    EXPECT_EQ(seen[1].record.rssi, 0);
}

TEST(RecordHook, takes_the_records_instead_of_the_callback)
{
    const TestReader reader;
    const Hooked hooked(reader);
    SeenTags::take();
    reader->MypCallBack = SeenTags::callback;
    FrameCopy frame{};
    const Bytes bytes = answer(0x00, 0x01, 0x01, hex("01 02 01 AA 50 01 BB 51"));
    std::copy(bytes.begin(), bytes.end(), frame.bytes);
    reader.operations().parserRidTag(reader, frame.bytes, 0x01);
    ASSERT_EQ(hooked.records().size(), 2U);
    EXPECT_EQ(hooked.records()[1].id, hex("BB"));
    EXPECT_EQ(SeenTags::count(), 0U);
}

TEST(RecordHook, of_null_leaves_the_callback)
{
    const TestReader reader;
    const Hooks none{};
    reader->keeping.hooks = &none;
    SeenTags::take();
    reader->MypCallBack = SeenTags::callback;
    u8 frame[FrameCopy::size] = {0x0B, 0, 1, 1, 1, 1, 1, 0xAA, 0x50};
    reader.operations().parserRidTag(reader, frame, 0x01);
    EXPECT_EQ(SeenTags::take().size(), 1U);
}

}  // namespace
}  // namespace tagwire::engine::test
