// How a command frame is built, sent and its answer judged.
#include <gmock/gmock.h>

#include <climits>

#include "link/command.h"
#include "support/test_reader.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

// What the link was given; `result` is what it answers.
struct Sent {
    static inline Bytes bytes;
    static inline int result = TAGWIRE_OK;
    static inline bool inventory = false;

    static int send(Reader* reader, u8* frame, unsigned count)
    {
        bytes.assign(frame, frame + count);
        inventory = reader->isInventoryCmd;
        return result;
    }
};

// A place that holds the bus address.
u8* at(u8 address)
{
    static u8 kept;
    kept = address;
    return &kept;
}

class CommandFrame : public testing::Test {
  protected:
    void SetUp() override
    {
        Sent::bytes.clear();
        Sent::result = TAGWIRE_OK;
        reader_->operations.SendDataToPort = Sent::send;
        reader_->sServer = 0x5A5A5A5A;  // lies behind the send buffer
    }
    void TearDown() override
    {
        EXPECT_EQ(reader_->sServer, 0x5A5A5A5A);
        reader_->sServer = -1;
        Destroy_Reader(&reader_);
    }

    Reader* reader_ = Create_Reader();
};

TEST_F(CommandFrame, without_data_is_five_bytes_long)
{
    Command(reader_, at(0xFF), 0x21).send();
    EXPECT_EQ(to_hex(Sent::bytes), "04 FF 21 19 95");
}

TEST_F(CommandFrame, with_one_byte_of_data)
{
    Command(reader_, at(0x00), 0x83).byte(0x00).send();
    EXPECT_EQ(to_hex(Sent::bytes), "05 00 83 00 D2 CB");
}

TEST_F(CommandFrame, is_built_in_the_send_buffer)
{
    Command(reader_, at(0x00), 0x83).byte(0x00).send();
    EXPECT_EQ(reader_->sendBuff.comData.Len, 5);
    EXPECT_EQ(reader_->sendBuff.comData.ComAddr, 0);
    EXPECT_EQ(reader_->sendBuff.comData.CMD, 0x83);
    EXPECT_EQ(reader_->sendBuff.comData.Data[1], 0xD2);
    EXPECT_EQ(reader_->sendBuff.data[5], 0xCB);
}

TEST_F(CommandFrame, has_words_high_byte_first)
{
    Command(reader_, at(0x01), 0x99).word(0x1234).send();
    EXPECT_EQ(Sent::bytes, request(0x01, 0x99, hex("12 34")));
}

TEST_F(CommandFrame, takes_fields_in_order)
{
    const u8 field[] = {2, 3, 4};
    Command(reader_, at(0x01), 0x99).byte(1).bytes(field, 3).bytes(field, 0).byte(5).send();
    EXPECT_EQ(Sent::bytes, request(0x01, 0x99, hex("01 02 03 04 05")));
}

TEST_F(CommandFrame, counts_a_field_of_negative_length)
{
    const u8 field[] = {2, 3, 4};
    Command(reader_, at(0x01), 0x99).byte(1).byte(2).bytes(field, -1).send();
    EXPECT_EQ(Sent::bytes, request(0x01, 0x99, hex("01")));
    for (const int count : {-2, -3, -4, -5, -6, -256, INT_MIN}) {
        Command(reader_, at(0x01), 0x99).bytes(field, count).send();
        EXPECT_EQ(Sent::bytes.size(), static_cast<u8>(4 + count) + std::size_t{1}) << count;
    }
}

TEST_F(CommandFrame, of_the_greatest_length_goes_out_whole)
{
    const Bytes data = repeat(0x77, 251);
    Command(reader_, at(0x01), 0x99).bytes(data.data(), 251).send();
    EXPECT_EQ(Sent::bytes.size(), 256U);
    EXPECT_EQ(Sent::bytes, request(0x01, 0x99, data));
}

// The bytes on the wire for a given count of data bytes: Len = 4 + count in one byte, the CRC in the last two
// of Len + 1 bytes.
Bytes wrapped_request(int count)
{
    const int len = (4 + count) % 256;
    Bytes frame{static_cast<u8>(len), 0x01, 0x99};
    for (int i = 0; i < count; ++i) frame.push_back(static_cast<u8>(i));
    if (len == 0) return {0xFF};  // the CRC would begin in front of the frame
    frame.resize(static_cast<std::size_t>(len) - 1);
    return with_crc(frame);
}

TEST_F(CommandFrame, built_byte_by_byte_wraps_its_length)
{
    for (int count = 0; count <= 600; ++count) {
        Command command(reader_, at(0x01), 0x99);
        for (int i = 0; i < count; ++i) command.byte(static_cast<u8>(i));
        command.send();
        ASSERT_EQ(Sent::bytes, wrapped_request(count)) << count;
        ASSERT_EQ(reader_->sServer, 0x5A5A5A5A) << count;
    }
}

TEST_F(CommandFrame, built_from_one_long_field_wraps_its_length)
{
    Bytes data;
    for (int count = 0; count <= 600; ++count) {
        Command(reader_, at(0x01), 0x99).bytes(data.data(), count).send();
        ASSERT_EQ(Sent::bytes, wrapped_request(count)) << count;
        ASSERT_EQ(reader_->sServer, 0x5A5A5A5A) << count;
        data.push_back(static_cast<u8>(count));
    }
}

TEST_F(CommandFrame, clears_the_inventory_mark)
{
    reader_->isInventoryCmd = true;
    Command(reader_, at(0x00), 0x83).send();
    EXPECT_FALSE(Sent::inventory);
}

TEST_F(CommandFrame, of_an_inventory_sets_the_inventory_mark)
{
    Command(reader_, at(0x00), 0x01, Inventory::yes).send();
    EXPECT_TRUE(Sent::inventory);
    EXPECT_TRUE(reader_->isInventoryCmd);
}

TEST_F(CommandFrame, clears_the_first_5000_bytes_of_the_receive_buffer)
{
    std::memset(reader_->recvBuff, 0xA5, 6000);
    Command(reader_, at(0x00), 0x83).send();
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 5000), repeat(0, 5000));
    EXPECT_EQ(reader_->recvBuff[5000], 0xA5);
}

TEST_F(CommandFrame, leaves_the_receive_buffer_to_the_send_when_told)
{
    std::memset(reader_->recvBuff, 0xA5, 6000);
    Command(reader_, at(0x00), 0x21).send(Clear::no);
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 6000), repeat(0xA5, 6000));
}

TEST_F(CommandFrame, gets_its_crc_through_the_table)
{
    reader_->operations.GetCRC = [](Reader*, u8* data, int n) { data[n] = data[n + 1] = 0xEE; };
    Command(reader_, at(0x00), 0x83).byte(0x00).send();
    EXPECT_EQ(to_hex(Sent::bytes), "05 00 83 00 EE EE");
}

// A command of one answer, from end to end: the module query.
class SingleAnswerCommand : public testing::Test {
  protected:
    int run()
    {
        return reader_->operations.GetModuleDetails(reader_, &address_, version_, &type_, &protocols_);
    }
    void expect_untouched() const
    {
        EXPECT_EQ(address_, 0x00);
        EXPECT_EQ(version_[0], 0xA5);
        EXPECT_EQ(version_[1], 0xA5);
        EXPECT_EQ(type_, 0xA5);
        EXPECT_EQ(protocols_, 0xA5);
    }

    TestReader reader_;
    u8 address_ = 0x00;
    u8 version_[2] = {0xA5, 0xA5};
    u8 type_ = 0xA5;
    u8 protocols_ = 0xA5;
};

TEST_F(SingleAnswerCommand, returns_0_and_the_outputs)
{
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38"));
    EXPECT_EQ(run(), TAGWIRE_OK);
    EXPECT_EQ(version_[0], 0x01);
    EXPECT_EQ(to_hex(reader_.sent()), "05 00 83 00 D2 CB");
}

TEST_F(SingleAnswerCommand, returns_the_readers_status_unchanged_and_no_output)
{
    reader_.feed(hex("05 05 83 05 C2 A5"));
    EXPECT_EQ(run(), 5);
    expect_untouched();
}

TEST_F(SingleAnswerCommand, says_238_for_the_answer_to_another_command_with_status_0)
{
    reader_.feed(hex("05 05 84 00 67 BF"));
    EXPECT_EQ(run(), TAGWIRE_WRONG_COMMAND);
    expect_untouched();
}

TEST_F(SingleAnswerCommand, checks_the_command_before_the_status)
{
    reader_.feed(answer(0x05, 0x84, 0x05));
    EXPECT_EQ(run(), TAGWIRE_WRONG_COMMAND);
}

TEST_F(SingleAnswerCommand, checks_the_crc_before_the_command)
{
    reader_->operations.GetDataFromPort = [](Reader*, u8* to, int* count) {
        const Bytes bad = hex("05 05 84 00 67 BE");
        std::memcpy(to, bad.data(), bad.size());
        *count = 6;
        return 0;
    };
    EXPECT_EQ(run(), TAGWIRE_BAD_CRC);
    expect_untouched();
}

TEST_F(SingleAnswerCommand, returns_the_error_of_the_receiver)
{
    reader_->operations.GetDataFromPort = [](Reader*, u8*, int*) { return 99; };
    EXPECT_EQ(run(), 99);
    expect_untouched();
}

TEST_F(SingleAnswerCommand, takes_no_notice_of_a_failed_send)
{
    Sent::result = TAGWIRE_NO_ANSWER;
    reader_->operations.SendDataToPort = Sent::send;
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38"));
    EXPECT_EQ(run(), TAGWIRE_OK);
}

TEST_F(SingleAnswerCommand, clears_the_inventory_mark_again_after_its_answer)
{
    reader_->operations.GetDataFromPort = [](Reader* reader, u8*, int*) {
        reader->isInventoryCmd = true;
        return int{TAGWIRE_NO_ANSWER};
    };
    EXPECT_EQ(run(), TAGWIRE_NO_ANSWER);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST(AnswerData, never_copies_more_than_one_frame_holds)
{
    const TestReader reader;
    for (int i = 0; i < 300; ++i) reader->recvBuff[i] = static_cast<u8>(i);
    Bytes out = repeat(0xA5, 300);
    const Response response(reader);
    response.copy(0, out.data(), 300);
    EXPECT_EQ(out[0], 4);
    EXPECT_EQ(out[249], 253);
    EXPECT_EQ(out[250], 0xA5);
    response.copy(249, out.data(), 2);
    EXPECT_EQ(out[0], 253);
    EXPECT_EQ(out[1], 5);
}

TEST(AnswerData, came_as_far_as_it_was_announced_and_received)
{
    const TestReader reader;
    const auto came = [&](u8 len, int received) {
        reader->recvBuff[0] = len;
        reader->recvLength = received;
        return Response(reader).came();
    };
    EXPECT_EQ(came(9, 10), 4);
    EXPECT_EQ(came(9, 12), 4);  // bytes behind the frame
    EXPECT_EQ(came(9, 8), 4);   // its CRC is missing
    EXPECT_EQ(came(9, 7), 3);
    EXPECT_EQ(came(9, 4), 0);
    EXPECT_EQ(came(9, 0), 0);
    EXPECT_EQ(came(9, -1), 0);
    EXPECT_EQ(came(5, 6), 0);
    EXPECT_EQ(came(0, 20), 0);
    EXPECT_EQ(came(255, 256), 250);
}

TEST(AnswerData, copies_nothing_for_a_count_below_one_or_a_place_behind_the_frame)
{
    const TestReader reader;
    u8 out = 0xA5;
    const Response response(reader);
    response.copy(0, &out, 0);
    response.copy(0, &out, -1);
    response.copy(250, &out, 1);
    response.copy(1000, &out, 1);
    EXPECT_EQ(out, 0xA5);
}

}  // namespace
}  // namespace tagwire::engine::test
