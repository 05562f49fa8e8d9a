// The tag decoder and the registration of its callback.
#include <gmock/gmock.h>

#include <memory>

#include "api/handles.h"
#include "support/tags.h"
#include "support/test_reader.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

// Exactly what the decoder may read, so that a sanitizer sees one byte more.
constexpr std::size_t frame_room = 300;

class Decoder : public testing::Test {
  protected:
    Decoder()
    {
        SeenTags::take();
        reader_->MypCallBack = SeenTags::callback;
    }

    std::vector<SeenTag> decode(const Bytes& frame, int cmd)
    {
        const auto room = std::make_unique<u8[]>(frame_room);
        std::copy(frame.begin(), frame.end(), room.get());
        reader_.operations().parserRidTag(reader_, room.get(), cmd);
        return SeenTags::take();
    }

    TestReader reader_;
};

void expect_no_phase(const RFIDTag& tag)
{
    EXPECT_EQ(tag.phase_begin, 0U);
    EXPECT_EQ(tag.phase_end, 0U);
    EXPECT_EQ(tag.Freqkhz, 0U);
}

void expect_phase(const RFIDTag& tag, unsigned begin, unsigned end, unsigned frequency)
{
    EXPECT_EQ(tag.phase_begin, begin);
    EXPECT_EQ(tag.phase_end, end);
    EXPECT_EQ(tag.Freqkhz, frequency);
}

TEST_F(Decoder, reads_plain_records)
{
    // Two tags on antenna 4: one without, one with phase data.
    const auto tags = decode(hex("1C 00 01 03 04 02"
                                 "04 E2 00 AB 0F C5"
                                 "42 12 34 D0 01 02 03 04 0E 18 4C"
                                 "00 00"),
                             0x01);
    ASSERT_EQ(tags.size(), 2U);
    EXPECT_EQ(tags[0].uid, "E200AB0F");
    EXPECT_EQ(tags[0].tag.LEN, 0x04);
    EXPECT_EQ(tags[0].tag.PacketParam, 0);
    EXPECT_EQ(tags[0].tag.RSSI, 0xC5);
    EXPECT_EQ(tags[0].tag.ANT, 4);
    EXPECT_EQ(tags[0].tag.FrmHandle, 7);
    EXPECT_EQ(tags[0].kind, 1);
    expect_no_phase(tags[0].tag);
    EXPECT_EQ(tags[1].uid, "1234");
    EXPECT_EQ(tags[1].tag.LEN, 0x42);
    EXPECT_EQ(tags[1].tag.PacketParam, 0);
    EXPECT_EQ(tags[1].tag.RSSI, 0xD0);
    EXPECT_EQ(tags[1].tag.ANT, 4);
    EXPECT_EQ(tags[1].kind, 1);
    expect_phase(tags[1].tag, 0x0102, 0x0304, 0x0E184C);
}

TEST_F(Decoder, starts_the_next_record_behind_the_phase_block)
{
    const auto tags = decode(hex("00 00 01 03 01 03"
                                 "41 AA 10 FF FE FD FC FB FA F9"
                                 "01 BB 20"
                                 "41 CC 30 00 01 00 02 00 00 03"),
                             0x1A);
    ASSERT_EQ(tags.size(), 3U);
    EXPECT_EQ(tags[0].uid, "AA");
    expect_phase(tags[0].tag, 0xFFFE, 0xFDFC, 0xFBFAF9);
    EXPECT_EQ(tags[1].uid, "BB");
    EXPECT_EQ(tags[1].tag.RSSI, 0x20);
    expect_no_phase(tags[1].tag);
    EXPECT_EQ(tags[2].uid, "CC");
    EXPECT_EQ(tags[2].tag.RSSI, 0x30);
    expect_phase(tags[2].tag, 1, 2, 3);
}

TEST_F(Decoder, reads_every_other_command_as_plain)
{
    for (const int cmd : {0x00, 0x01, 0x17, 0x18, 0x1A, 0x1B, 0x1C, 0x96, 0x97, 0xB0, 0xB1, 0xEE, 0x1FF}) {
        const auto tags = decode(hex("00 00 01 03 80 01 82 AB CD 7F"), cmd);
        ASSERT_EQ(tags.size(), 1U) << cmd;
        EXPECT_EQ(tags[0].uid, "ABCD");
        EXPECT_EQ(tags[0].tag.LEN, 0x82);
        EXPECT_EQ(tags[0].tag.PacketParam, 0);
        EXPECT_EQ(tags[0].tag.ANT, 0x80);
        EXPECT_EQ(tags[0].kind, 1);
    }
}

TEST_F(Decoder, reads_mixed_records)
{
    for (const int cmd : {0x19, 0x57}) {
        const auto tags = decode(hex("00 00 19 03 02 02"
                                     "11 03 01 02 03 60"
                                     "15 42 0A 0B 61 12 34 56 78 0D F7 32"),
                                 cmd);
        ASSERT_EQ(tags.size(), 2U) << cmd;
        EXPECT_EQ(tags[0].tag.PacketParam, 0x11);
        EXPECT_EQ(tags[0].tag.LEN, 0x03);
        EXPECT_EQ(tags[0].uid, "010203");
        EXPECT_EQ(tags[0].tag.RSSI, 0x60);
        EXPECT_EQ(tags[0].tag.ANT, 2);
        EXPECT_EQ(tags[0].kind, 1);
        expect_no_phase(tags[0].tag);
        EXPECT_EQ(tags[1].tag.PacketParam, 0x15);
        EXPECT_EQ(tags[1].tag.LEN, 0x42);
        EXPECT_EQ(tags[1].uid, "0A0B");
        EXPECT_EQ(tags[1].tag.RSSI, 0x61);
        EXPECT_EQ(tags[1].kind, 1);
        expect_phase(tags[1].tag, 0x1234, 0x5678, 0x0DF732);
    }
}

TEST_F(Decoder, reads_extended_records_with_the_flag_in_the_packet_byte)
{
    const auto tags = decode(hex("00 00 20 03 03 02"
                                 "EF 02 01 02 60"
                                 "10 01 0A 61 12 34 56 78 0D F7 32"),
                             0x20);
    ASSERT_EQ(tags.size(), 2U);
    EXPECT_EQ(tags[0].tag.PacketParam, 0xEF);
    EXPECT_EQ(tags[0].tag.LEN, 2);
    EXPECT_EQ(tags[0].uid, "0102");
    EXPECT_EQ(tags[0].tag.ANT, 3);
    EXPECT_EQ(tags[0].kind, 2);
    expect_no_phase(tags[0].tag);
    EXPECT_EQ(tags[1].tag.PacketParam, 0x10);
    EXPECT_EQ(tags[1].uid, "0A");
    EXPECT_EQ(tags[1].tag.RSSI, 0x61);
    EXPECT_EQ(tags[1].kind, 2);
    expect_phase(tags[1].tag, 0x1234, 0x5678, 0x0DF732);
}

TEST_F(Decoder, reads_one_record_without_count_from_a_single_report)
{
    const auto tags = decode(hex("0D 00 EE 00 08 02 E2 80 C0 00 00"), 0x50);
    ASSERT_EQ(tags.size(), 1U);
    EXPECT_EQ(tags[0].uid, "E280");
    EXPECT_EQ(tags[0].tag.LEN, 2);
    EXPECT_EQ(tags[0].tag.PacketParam, 0);
    EXPECT_EQ(tags[0].tag.RSSI, 0xC0);
    EXPECT_EQ(tags[0].tag.ANT, 8);
    EXPECT_EQ(tags[0].tag.FrmHandle, 7);
    EXPECT_EQ(tags[0].kind, 1);
    expect_no_phase(tags[0].tag);
}

TEST_F(Decoder, reads_the_phase_of_a_single_report)
{
    const auto tags = decode(hex("00 00 EE 00 01 C3 E2 80 11 C0 80 00 7F FF 0E 1B F4"), 0x50);
    ASSERT_EQ(tags.size(), 1U);
    EXPECT_EQ(tags[0].uid, "E28011");
    EXPECT_EQ(tags[0].tag.LEN, 0xC3);
    EXPECT_EQ(tags[0].tag.RSSI, 0xC0);
    expect_phase(tags[0].tag, 0x8000, 0x7FFF, 0x0E1BF4);
}

TEST_F(Decoder, reads_exactly_one_record_from_a_single_report_whatever_its_length)
{
    EXPECT_EQ(decode(hex("00 00 EE 00 01 00 C0 01 AA 55"), 0x50).size(), 1U);
    EXPECT_EQ(decode(hex("00 00 EE 00 01 3F") + repeat(0xAB, 63) + hex("44"), 0x50).size(), 1U);
}

TEST_F(Decoder, calls_nobody_for_a_count_of_0)
{
    for (const int cmd : {0x01, 0x19, 0x57, 0x20})
        EXPECT_TRUE(decode(hex("00 00 01 01 01 00 02 AA BB CC"), cmd).empty()) << cmd;
}

TEST_F(Decoder, gives_an_id_of_length_0_as_empty_text)
{
    const auto plain = decode(hex("00 00 01 01 01 01 00 99"), 0x01);
    ASSERT_EQ(plain.size(), 1U);
    EXPECT_EQ(plain[0].uid, "");
    EXPECT_EQ(plain[0].tag.RSSI, 0x99);
    const auto mixed = decode(hex("00 00 19 01 01 01 07 80 99"), 0x19);
    ASSERT_EQ(mixed.size(), 1U);
    EXPECT_EQ(mixed[0].uid, "");
    EXPECT_EQ(mixed[0].tag.RSSI, 0x99);
    const auto extended = decode(hex("00 00 20 01 01 01 07 00 99"), 0x20);
    ASSERT_EQ(extended.size(), 1U);
    EXPECT_EQ(extended[0].uid, "");
    EXPECT_EQ(extended[0].tag.RSSI, 0x99);
    const auto single = decode(hex("00 00 EE 00 01 00 99"), 0x50);
    ASSERT_EQ(single.size(), 1U);
    EXPECT_EQ(single[0].uid, "");
    EXPECT_EQ(single[0].tag.RSSI, 0x99);
}

std::string digits(const char* pair, int count)
{
    std::string text;
    while (count-- > 0) text += pair;
    return text;
}

TEST_F(Decoder, takes_a_length_byte_of_7F_as_63_with_phase_or_as_127)
{
    const Bytes id = repeat(0x5A, 127);
    const auto plain = decode(hex("00 00 01 03 01 01 7F") + id, 0x01);
    ASSERT_EQ(plain.size(), 1U);
    EXPECT_EQ(plain[0].uid, digits("5A", 63));
    EXPECT_EQ(plain[0].tag.LEN, 0x7F);
    expect_phase(plain[0].tag, 0x5A5A, 0x5A5A, 0x5A5A5A);

    const auto extended = decode(hex("00 00 20 03 01 01 00 7F") + id + hex("33"), 0x20);
    ASSERT_EQ(extended.size(), 1U);
    EXPECT_EQ(extended[0].uid, digits("5A", 127));
    EXPECT_EQ(extended[0].tag.LEN, 0x7F);
    EXPECT_EQ(extended[0].tag.RSSI, 0x33);
    expect_no_phase(extended[0].tag);
}

TEST_F(Decoder, takes_the_longest_ids)
{
    const auto plain = decode(hex("00 00 01 03 01 01 BF") + repeat(0x9C, 63) + hex("34"), 0x01);
    ASSERT_EQ(plain.size(), 1U);
    EXPECT_EQ(plain[0].uid, digits("9C", 63));
    EXPECT_EQ(plain[0].tag.RSSI, 0x34);

    // 255 bytes do not fit a frame: they run on into what lies behind it.
    const auto extended = decode(hex("00 00 20 03 01 01 00 FF") + repeat(0x9C, 255) + hex("34"), 0x20);
    ASSERT_EQ(extended.size(), 1U);
    EXPECT_EQ(extended[0].uid, digits("9C", 255));
    EXPECT_EQ(extended[0].tag.RSSI, 0x34);
}

TEST_F(Decoder, reads_on_into_zeros_behind_a_frame_that_is_too_short)
{
    // The count says 3, the frame holds one record and its CRC.
    const auto tags = decode(hex("0B 00 01 01 01 03 01 AA 50 00 00"), 0x01);
    ASSERT_EQ(tags.size(), 3U);
    EXPECT_EQ(tags[0].uid, "AA");
    EXPECT_EQ(tags[1].uid, "");
    EXPECT_EQ(tags[1].tag.RSSI, 0);
    EXPECT_EQ(tags[2].uid, "");
}

TEST_F(Decoder, never_reads_past_300_bytes)
{
    for (const int cmd : {0x01, 0x19, 0x57, 0x20, 0x50})
        for (const int fill : {0x00, 0x10, 0x3F, 0x41, 0x7F, 0xFF}) {
            Bytes frame = repeat(static_cast<std::uint8_t>(fill), frame_room);
            frame[5] = 0xFF;
            for (const auto& seen : decode(frame, cmd)) {
                const auto length = cmd == 0x20 ? seen.tag.LEN : seen.tag.LEN & 0x3F;
                EXPECT_EQ(seen.uid.size(), 2U * static_cast<unsigned>(length)) << cmd << ' ' << fill;
            }
        }
}

TEST_F(Decoder, gives_zeros_for_what_lies_past_300_bytes)
{
    Bytes frame = hex("00 00 20 03 01 02 00 FF") + repeat(0x11, 255) + hex("22");
    frame.resize(frame_room);
    frame[264] = 0x00;
    frame[265] = 0x28;  // 40 ID bytes from 266 on: 34 are there
    for (std::size_t i = 266; i < frame_room; ++i) frame[i] = 0x77;
    const auto tags = decode(frame, 0x20);
    ASSERT_EQ(tags.size(), 2U);
    EXPECT_EQ(tags[1].uid, digits("77", 34) + digits("00", 6));
    EXPECT_EQ(tags[1].tag.RSSI, 0);
}

TEST_F(Decoder, calls_in_frame_order)
{
    Bytes frame = hex("00 00 01 03 01 28");
    for (int i = 0; i < 40; ++i) frame = frame + Bytes{1, static_cast<std::uint8_t>(i), 0x50};
    const auto tags = decode(frame, 0x01);
    ASSERT_EQ(tags.size(), 40U);
    for (std::size_t i = 0; i < tags.size(); ++i) EXPECT_EQ(tags[i].uid, to_hex(Bytes{static_cast<u8>(i)}));
}

TEST_F(Decoder, calls_nobody_without_a_callback)
{
    reader_->MypCallBack = nullptr;
    EXPECT_TRUE(decode(hex("00 00 01 03 01 01 01 AA 50"), 0x01).empty());
    EXPECT_TRUE(decode(hex("00 00 EE 00 01 01 AA 50"), 0x50).empty());
}

int calls;
Reader* callbacks_reader;
void unregistering_callback(RFIDTagStruct, int)
{
    ++calls;
    callbacks_reader->MypCallBack = nullptr;
}

TEST_F(Decoder, loads_the_callback_anew_for_each_record)
{
    calls = 0;
    callbacks_reader = reader_;
    reader_->MypCallBack = unregistering_callback;
    decode(hex("00 00 01 03 01 03 00 50 00 51 00 52"), 0x01);
    EXPECT_EQ(calls, 1);
}

void replacing_callback(RFIDTagStruct, int)
{
    ++calls;
    callbacks_reader->MypCallBack = SeenTags::callback;
}

TEST_F(Decoder, hands_the_next_record_to_a_callback_registered_meanwhile)
{
    calls = 0;
    callbacks_reader = reader_;
    reader_->MypCallBack = replacing_callback;
    const auto tags = decode(hex("00 00 01 03 01 02 00 50 00 51"), 0x01);
    EXPECT_EQ(calls, 1);
    ASSERT_EQ(tags.size(), 1U);
    EXPECT_EQ(tags[0].tag.RSSI, 0x51);
}

TEST_F(Decoder, carries_the_handle_of_its_reader)
{
    reader_->FrmHandle = 255;
    const auto tags = decode(hex("00 00 EE 00 01 00 C0"), 0x50);
    ASSERT_EQ(tags.size(), 1U);
    EXPECT_EQ(tags[0].tag.FrmHandle, 255);
}

TEST_F(Decoder, calls_nobody_of_a_destroyed_reader)
{
    Reader* reader = Create_Reader();
    Reader* used = reader;
    retain(used);
    Destroy_Reader(&reader);
    used->MypCallBack = SeenTags::callback;
    u8 frame[frame_room] = {0, 0, 1, 1, 1, 1, 0, 0x50};
    used->operations.parserRidTag(used, frame, 0x01);
    EXPECT_EQ(SeenTags::count(), 0U);
    release(used);
}

class Registration : public testing::Test {
  protected:
    Registration() { EthReader[7] = reader_.get(); }
    ~Registration() override { EthReader[7] = nullptr; }
    TestReader reader_;
};

void other_callback(RFIDTagStruct, int) {}

TEST_F(Registration, stores_the_callback_and_its_mode)
{
    InitRFIDCallBack(SeenTags::callback, true, 7);
    EXPECT_EQ(reader_->MypCallBack, SeenTags::callback);
    EXPECT_TRUE(reader_->InventoryBackUID);
    InitRFIDCallBack(other_callback, false, 7);
    EXPECT_EQ(reader_->MypCallBack, other_callback);
    EXPECT_FALSE(reader_->InventoryBackUID);
}

TEST_F(Registration, does_nothing_for_a_null_callback)
{
    InitRFIDCallBack(SeenTags::callback, true, 7);
    InitRFIDCallBack(nullptr, false, 7);
    EXPECT_EQ(reader_->MypCallBack, SeenTags::callback);
    EXPECT_TRUE(reader_->InventoryBackUID);
}

TEST_F(Registration, does_nothing_for_a_handle_without_reader)
{
    Reader* table[256];
    std::copy(std::begin(EthReader), std::end(EthReader), table);
    for (const int handle : {0, -1, 8, 256, 1 << 20}) InitRFIDCallBack(SeenTags::callback, true, handle);
    EXPECT_EQ(reader_->MypCallBack, nullptr);
    EXPECT_FALSE(reader_->InventoryBackUID);
    EXPECT_TRUE(std::equal(std::begin(EthReader), std::end(EthReader), table));
}

TEST_F(Registration, works_on_the_first_and_the_last_handle)
{
    EthReader[255] = reader_.get();
    InitRFIDCallBack(SeenTags::callback, true, 255);
    EXPECT_EQ(reader_->MypCallBack, SeenTags::callback);
    EthReader[255] = nullptr;
    EthReader[1] = reader_.get();
    InitRFIDCallBack(other_callback, true, 1);
    EXPECT_EQ(reader_->MypCallBack, other_callback);
    EthReader[1] = nullptr;
}

TEST_F(Registration, works_while_continuous_reading_runs)
{
    reader_->isStopStocktaking = false;
    InitRFIDCallBack(SeenTags::callback, true, 7);
    EXPECT_EQ(reader_->MypCallBack, SeenTags::callback);
    reader_->isStopStocktaking = true;
}

}  // namespace
}  // namespace tagwire::engine::test
