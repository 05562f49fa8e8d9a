// The CRC-16 of a frame and its check.
#include <gtest/gtest.h>

#include <memory>

#include "support/test_reader.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

class Crc : public testing::Test {
  protected:
    void TearDown() override { Destroy_Reader(&reader_); }

    void get(Bytes& buffer, int n) { reader_->operations.GetCRC(reader_, buffer.data(), n); }
    // Gives the buffer the two bytes of room that a check needs.
    int check(Bytes& buffer)
    {
        const int n = static_cast<int>(buffer.size());
        buffer.resize(buffer.size() + 2, 0xA5);
        return reader_->operations.CheckCRC(reader_, buffer.data(), n);
    }

    Reader* reader_ = Create_Reader();
};

TEST_F(Crc, goes_behind_the_bytes_low_byte_first)
{
    Bytes frame = hex("04 FF 21 A5 A5 A5");
    get(frame, 3);
    EXPECT_EQ(to_hex(frame), "04 FF 21 19 95 A5");
}

TEST_F(Crc, of_the_digits_1_to_9_is_6f91)
{
    Bytes digits = hex("31 32 33 34 35 36 37 38 39 00 00");
    get(digits, 9);
    EXPECT_EQ(to_hex(digits), "31 32 33 34 35 36 37 38 39 91 6F");
}

TEST_F(Crc, of_a_frame_with_data)
{
    Bytes frame = hex("05 00 83 00 00 00");
    get(frame, 4);
    EXPECT_EQ(to_hex(frame), "05 00 83 00 D2 CB");
}

TEST_F(Crc, of_a_single_byte)
{
    // 0xFFFF ^ 0xFF leaves 0xFF00 and no low bits: eight plain shifts.
    Bytes one = hex("FF A5 A5 A5");
    get(one, 1);
    EXPECT_EQ(to_hex(one), "FF FF 00 A5");
}

TEST_F(Crc, of_nothing_is_the_preset)
{
    Bytes buffer = hex("11 22 33");
    get(buffer, 0);
    EXPECT_EQ(to_hex(buffer), "FF FF 33");
}

TEST_F(Crc, of_a_count_below_zero_writes_nothing_in_front_of_the_buffer)
{
    Bytes buffer = hex("11 22 33");
    reader_->operations.GetCRC(reader_, buffer.data() + 1, -1);
    EXPECT_EQ(to_hex(buffer), "11 FF 33");
    reader_->operations.GetCRC(reader_, buffer.data() + 2, -2);
    EXPECT_EQ(to_hex(buffer), "11 FF 33");
    reader_->operations.GetCRC(reader_, buffer.data(), -2'000'000);
    EXPECT_EQ(to_hex(buffer), "11 FF 33");
}

TEST_F(Crc, writes_exactly_two_bytes)
{
    const auto buffer = std::make_unique<u8[]>(7);  // the heap ends right behind them
    reader_->operations.GetCRC(reader_, buffer.get(), 5);
    EXPECT_EQ(reader_->operations.CheckCRC(reader_, buffer.get(), 5), TAGWIRE_BAD_CRC);
}

TEST_F(Crc, agrees_with_the_bit_by_bit_one_for_every_length)
{
    Bytes buffer;
    for (int n = 0; n < 600; ++n) {
        Bytes with_room = buffer + repeat(0xA5, 2);
        get(with_room, n);
        ASSERT_EQ(with_room, with_crc(buffer)) << n;
        buffer.push_back(static_cast<u8>(n * 37 + 11));
    }
}

TEST_F(Crc, check_accepts_what_get_made_and_leaves_two_zeros_behind_it)
{
    for (std::size_t len = 4; len <= 255; ++len) {
        Bytes frame = repeat(static_cast<u8>(len), len + 1);
        get(frame, static_cast<int>(len) - 1);
        ASSERT_EQ(check(frame), TAGWIRE_OK) << len;
        EXPECT_EQ(frame[len + 1], 0);
        EXPECT_EQ(frame[len + 2], 0);
    }
}

TEST_F(Crc, check_leaves_the_frame_and_what_follows_the_two_bytes_alone)
{
    Bytes frame = hex("04 FF 21 19 95 A5 A5 A5");
    EXPECT_EQ(reader_->operations.CheckCRC(reader_, frame.data(), 5), TAGWIRE_OK);
    EXPECT_EQ(to_hex(frame), "04 FF 21 19 95 00 00 A5");
}

TEST_F(Crc, check_finds_any_flipped_bit_and_leaves_a_nonzero_register)
{
    const Bytes good = hex("11 05 21 00 02 0B 20 02 31 80 1E 0A 01 01 00 01 9B 39");
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
        Bytes bad = good;
        bad[bit / 8] = static_cast<u8>(bad[bit / 8] ^ (1U << bit % 8));
        ASSERT_EQ(check(bad), TAGWIRE_BAD_CRC) << bit;
        ASSERT_NE(bad[18] | bad[19], 0) << bit;
    }
}

TEST_F(Crc, check_leaves_the_register_of_a_bad_frame_behind_it)
{
    Bytes bad = hex("04 FF 21 19 94");
    EXPECT_EQ(check(bad), TAGWIRE_BAD_CRC);
    EXPECT_EQ(to_hex(bad), to_hex(with_crc(hex("04 FF 21 19 94"))));
    EXPECT_NE(bad[5], 0);
    EXPECT_NE(bad[6], 0);
}

TEST_F(Crc, check_of_nothing_fails)
{
    Bytes nothing;
    EXPECT_EQ(check(nothing), TAGWIRE_BAD_CRC);
    EXPECT_EQ(to_hex(nothing), "FF FF");
}

TEST_F(Crc, check_of_one_byte_fails)
{
    Bytes one = hex("FF");
    EXPECT_EQ(check(one), TAGWIRE_BAD_CRC);
    EXPECT_EQ(to_hex(one), "FF FF 00");
}

TEST_F(Crc, check_of_a_count_below_zero_fails_and_stays_inside_the_buffer)
{
    Bytes buffer = hex("00 00 00");
    EXPECT_EQ(reader_->operations.CheckCRC(reader_, buffer.data() + 1, -1), TAGWIRE_BAD_CRC);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(buffer[2], 0);
}

TEST_F(Crc, check_goes_through_the_table)
{
    reader_->operations.GetCRC = [](Reader*, u8* data, int n) { data[n] = data[n + 1] = 0; };
    Bytes bad = hex("01 02 03");
    EXPECT_EQ(check(bad), TAGWIRE_OK);
}

}  // namespace
}  // namespace tagwire::engine::test
