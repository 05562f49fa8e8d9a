// The exchanges of a firmware update.
#include "services/service_call.h"
#include "tagwire/update.h"

namespace tagwire::engine::test {
namespace {

int enter(Call& c) { return c.run<&Operations::ChangeToUpdateMode, ::ChangeToUpdateMode>(); }
int enter_with(Call& c)
{
    Bytes own = hex("B1 B2 B3 B4 B5 B6 B7 B8");
    return c.run<&Operations::FwUpdate, ::FwUpdate>(own.data(), c.to(0));
}
int block(Call& c)
{
    Bytes data = hex("C1 C2 C3");
    return c.run<&Operations::WriteBinData, ::WriteBinData>(u8{0xFE}, data.data(), 3);
}
int checksum(Call& c) { return c.run<&Operations::CheckCRC32, ::CheckCRC32>(c.to(0)); }
int mark(Call& c) { return c.run<&Operations::WriteMark, ::WriteMark>(); }

constexpr const char* eight = "D0 D1 D2 D3 D4 D5 D6 D7";

const Service services[] = {
    {"ChangeToUpdateMode", enter, "0C 05 F8 01 00 00 00 00 00 00 00", "", "", false, true},
    {"FwUpdate", enter_with, "0C 05 F8 B1 B2 B3 B4 B5 B6 B7 B8", eight, eight, false, true, true},
    {"WriteBinData", block, "08 05 F9 FE C1 C2 C3", "", "", false, true},
    {"CheckCRC32", checksum, "04 05 FA", "DE AD BE EF 55", "DE AD BE EF", false, true},
    {"WriteMark", mark, "04 05 FB", "", "", false, true},
};
INSTANTIATE_TEST_SUITE_P(Firmware, OneAnswer, testing::ValuesIn(services), service_name);

class Firmware : public testing::Test {
  protected:
    // What goes out for a block of `len` bytes, none of which may be read behind its end.
    Bytes sent(int len)
    {
        reader_->operations.GetDataFromPort = [](Reader*, u8*, int*) { return int{TAGWIRE_NO_ANSWER}; };
        Bytes data = block_of(len);
        data.shrink_to_fit();
        EXPECT_EQ(reader_.operations().WriteBinData(reader_, &address_, 0x42, data.data(), len),
                  TAGWIRE_NO_ANSWER);
        return reader_.sent();
    }
    static Bytes block_of(int len)
    {
        Bytes data;
        for (int i = 0; i < len; ++i) data.push_back(static_cast<u8>(i * 7 + 1));
        return data;
    }

    TestReader reader_;
    u8 address_ = 0x05;
};

TEST_F(Firmware, a_block_may_be_empty) { EXPECT_EQ(to_hex(sent(0)), to_hex(with_crc(hex("05 05 F9 42")))); }

TEST_F(Firmware, blocks_that_fit)
{
    for (const int len : {1, 2, 128, 249, 250})
        EXPECT_EQ(sent(len), request(0x05, 0xF9, Bytes{0x42} + block_of(len))) << len;
    EXPECT_EQ(sent(250).size(), 256U);
}

// Len wraps, and the bytes on the wire are those that it announces.
TEST_F(Firmware, blocks_that_do_not_fit)
{
    for (const int len : {252, 253, 254, 255, 256, 300, 505, 506, 508, 1000, 70'000})
        EXPECT_EQ(sent(len), wrapped(Bytes{0, 0x05, 0xF9, 0x42} + block_of(len))) << len;
    EXPECT_EQ(sent(251).size(), 1U);
    EXPECT_EQ(sent(507).size(), 1U);
}

TEST_F(Firmware, a_length_below_0)
{
    EXPECT_EQ(to_hex(sent(-1)), to_hex(with_crc(hex("04 05 F9"))));
    for (const int len : {-2, -3, -4, -5, -6, -255, -256, -1000})
        EXPECT_EQ(sent(len).size(), static_cast<std::size_t>((len + 5) & 0xFF) + 1) << len;
}

TEST_F(Firmware, an_answer_without_data_leaves_what_the_frame_holds)
{
    reader_.feed(answer(1, 0xFA, 0, hex("DE AD BE EF")));
    u8 crc[4] = {};
    EXPECT_EQ(reader_.operations().CheckCRC32(reader_, &address_, crc), TAGWIRE_OK);
    EXPECT_EQ(to_hex({crc, crc + 4}), "DE AD BE EF");
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("04 05 FA"))));
}

TEST_F(Firmware, a_whole_update)
{
    const VirtualTime time;
    ScriptedReads reads(reader_, {answer(5, 0xF8, 0)});
    EXPECT_EQ(reader_.operations().ChangeToUpdateMode(reader_, &address_), TAGWIRE_OK);
    for (int i = 0; i < 300; ++i) {
        reads.then(answer(5, 0xF9, 0));
        Bytes data = block_of(128);
        EXPECT_EQ(reader_.operations().WriteBinData(reader_, &address_, static_cast<u8>(i), data.data(), 128),
                  TAGWIRE_OK);
    }
    // A block that takes the reader too long.
    EXPECT_EQ(reader_.operations().WriteMark(reader_, &address_), TAGWIRE_NO_ANSWER);
    reads.then(answer(5, 0xFB, 0));
    EXPECT_EQ(reader_.operations().WriteMark(reader_, &address_), TAGWIRE_OK);
}

}  // namespace
}  // namespace tagwire::engine::test
