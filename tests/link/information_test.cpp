// The two queries that identify the reader.
#include <gmock/gmock.h>

#include "link/system_seam.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

using testing::Each;

// A whole answer from address 05.
const Bytes information = hex("11 05 21 00 02 0B 20 02 31 80 1E 0A 01 01 00 01 9B 39");

struct Outputs {
    u8 version[2] = {0xA5, 0xA5};
    u8 type = 0xA5, protocols = 0xA5, highest = 0xA5, lowest = 0xA5, power = 0xA5, scan_time = 0xA5,
       antenna = 0xA5, beep = 0xA5, report = 0xA5, antenna_check = 0xA5;

    Bytes all() const
    {
        return {version[0], version[1], type,    protocols, highest, lowest,
                power,      scan_time,  antenna, beep,      report,  antenna_check};
    }
};

class ReaderInformation : public testing::TestWithParam<Link> {
  protected:
    int query()
    {
        Outputs& o = out_;
        return reader_.operations().GetReaderInformation(reader_, &address_, o.version, &o.type, &o.protocols,
                                                         &o.highest, &o.lowest, &o.power, &o.scan_time,
                                                         &o.antenna, &o.beep, &o.report, &o.antenna_check);
    }
    void expect_nothing_changed()
    {
        EXPECT_THAT(out_.all(), Each(0xA5));
        EXPECT_EQ(address_, 0xFF);
        EXPECT_EQ(reader_->ReaderAddr, 0x77);
        EXPECT_EQ(reader_->inventoryScanTime, 0x66);
    }
    void SetUp() override
    {
        reader_->ReaderAddr = 0x77;
        reader_->inventoryScanTime = 0x66;
    }
    std::int64_t elapsed() const { return VirtualTime::now_ms() - start_; }

    SystemSeam seam_;
    VirtualTime time_;
    TestReader reader_{GetParam()};
    std::int64_t start_ = VirtualTime::now_ms();
    Outputs out_;
    u8 address_ = 0xFF;
};

INSTANTIATE_TEST_SUITE_P(Over, ReaderInformation, testing::Values(Link::serial, Link::tcp),
                         [](const auto& test) { return test.param == Link::tcp ? "tcp" : "serial"; });

TEST_P(ReaderInformation, asks_the_reader_of_any_address)
{
    reader_.feed(information);
    query();
    EXPECT_EQ(to_hex(reader_.sent()), "04 FF 21 19 95");
}

TEST_P(ReaderInformation, asks_the_reader_of_one_address)
{
    address_ = 0x00;
    reader_.feed(information);
    query();
    EXPECT_EQ(to_hex(reader_.sent()), "04 00 21 D9 6A");
}

TEST_P(ReaderInformation, copies_every_field_in_frame_order)
{
    // Each field another value.
    reader_.feed(with_crc(hex("11 C1 21 00 A1 A2 A3 A4 A6 A7 A8 A9 AA AB AC AD")));
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_EQ(address_, 0xC1);
    EXPECT_EQ(out_.version[0], 0xA1);
    EXPECT_EQ(out_.version[1], 0xA2);
    EXPECT_EQ(out_.type, 0xA3);
    EXPECT_EQ(out_.protocols, 0xA4);
    EXPECT_EQ(out_.highest, 0xA6);
    EXPECT_EQ(out_.lowest, 0xA7);
    EXPECT_EQ(out_.power, 0xA8);
    EXPECT_EQ(out_.scan_time, 0xA9);
    EXPECT_EQ(out_.antenna, 0xAA);
    EXPECT_EQ(out_.beep, 0xAB);
    EXPECT_EQ(out_.report, 0xAC);
    EXPECT_EQ(out_.antenna_check, 0xAD);
    EXPECT_EQ(reader_->ReaderAddr, 0xC1);
    EXPECT_EQ(reader_->inventoryScanTime, 0xA9);
}

TEST_P(ReaderInformation, is_answered_by_a_common_reader)
{
    reader_.feed(information);
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_EQ(to_hex(out_.all()), "02 0B 20 02 31 80 1E 0A 01 01 00 01");
    EXPECT_EQ(address_, 0x05);
    EXPECT_EQ(reader_->ReaderAddr, 0x05);
    EXPECT_EQ(reader_->inventoryScanTime, 10);
    EXPECT_EQ(reader_->recvLength, 18);
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 18), information);
}

TEST_P(ReaderInformation, clears_the_inventory_mark)
{
    reader_->isInventoryCmd = true;
    reader_.feed(information);
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(ReaderInformation, leaves_the_clearing_of_the_receive_buffer_to_the_send)
{
    reader_->operations.SendDataToPort = [](Reader* reader, u8*, unsigned) {
        SystemSeam::record(reader->recvBuff[0]);
        return 0;
    };
    reader_->recvBuff[0] = 0xA5;
    reader_.feed(information);
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_THAT(SystemSeam::recorded(), testing::ElementsAre(0xA5));
}

TEST_P(ReaderInformation, takes_no_notice_of_a_failed_send)
{
    reader_->operations.SendDataToPort = [](Reader*, u8*, unsigned) { return 48; };
    reader_.feed(information);
    EXPECT_EQ(query(), TAGWIRE_OK);
}

// --- Finding the answer ---

TEST_P(ReaderInformation, is_found_behind_unrelated_bytes)
{
    for (const Bytes& noise : {hex("00"), hex("AA BB CC"), hex("11 11 11"), hex("21 21 21 21 21 21"),
                               hex("00 11 05 22 00 00 00"), repeat(0x00, 100), repeat(0xFF, 300)}) {
        out_ = {};
        address_ = 0xFF;
        reader_->ReaderAddr = 0x77;
        reader_.feed(noise + information + repeat(0xFF, 256));
        EXPECT_EQ(query(), TAGWIRE_OK) << to_hex(noise);
        EXPECT_EQ(address_, 0x05);
        EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 18), information);
        while (reader_.operations().ReadRfidData(reader_, reader_->btRecvArr) > 0) {
        }
    }
}

TEST_P(ReaderInformation, is_found_behind_the_answer_to_another_command)
{
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38") + information);
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_EQ(address_, 0x05);
}

TEST_P(ReaderInformation, is_found_when_it_comes_in_pieces)
{
    for (std::size_t cut = 1; cut < information.size(); ++cut) {
        const auto middle = information.begin() + static_cast<std::ptrdiff_t>(cut);
        const ScriptedReads reads(reader_,
                                  {Bytes(information.begin(), middle), Bytes(middle, information.end())});
        EXPECT_EQ(query(), TAGWIRE_OK) << cut;
    }
}

TEST_P(ReaderInformation, is_found_behind_the_bad_answer_to_another_command)
{
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 39") + information);
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_EQ(address_, 0x05);
}

TEST_P(ReaderInformation, is_not_found_behind_a_bad_answer_of_its_own)
{
    Bytes bad = information;
    bad[17] ^= 1;
    reader_.feed(bad + information);
    EXPECT_EQ(query(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(elapsed(), 200);
    expect_nothing_changed();
}

// --- What is no success ---

TEST_P(ReaderInformation, gives_48_on_silence_at_its_first_look_after_200_ms)
{
    EXPECT_EQ(query(), TAGWIRE_NO_ANSWER);
    // Serial: looks every 11 ms. TCP: a read waits a second.
    EXPECT_EQ(elapsed(), GetParam() == Link::tcp ? 1011 : 209);
    expect_nothing_changed();
}

TEST_P(ReaderInformation, has_a_limit_that_arriving_bytes_do_not_extend)
{
    for (int at = 0; at < 2000; at += 20) VirtualTime::in(at, [this] { reader_.feed(hex("00")); });
    EXPECT_EQ(query(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(elapsed(), 200);
    EXPECT_LE(elapsed(), 222);
}

TEST_P(ReaderInformation, does_not_recognise_a_short_error_answer)
{
    reader_.feed(hex("05 05 21 0F D7 96"));
    EXPECT_EQ(query(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(elapsed(), 200);
    expect_nothing_changed();
}

TEST_P(ReaderInformation, skips_a_short_error_answer_as_a_whole)
{
    reader_.feed(hex("05 05 21 0F D7 96") + information);
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_EQ(address_, 0x05);
}

TEST_P(ReaderInformation, returns_the_status_of_a_full_answer_and_changes_nothing)
{
    reader_.feed(with_crc(hex("11 05 21 0F 02 0B 20 02 31 80 1E 0A 01 01 00 01")));
    EXPECT_EQ(query(), 0x0F);
    expect_nothing_changed();
}

TEST_P(ReaderInformation, gives_55_without_a_link)
{
    reader_->sServer = -1;
    reader_->hCommPort = -1;
    EXPECT_EQ(query(), TAGWIRE_BAD_HANDLE);
    expect_nothing_changed();
}

template <int last_byte, int command> int received(Reader*, u8* to, int* count, int asked)
{
    SystemSeam::record(asked);
    Bytes bytes = with_crc({0x11, 5, command, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    bytes[17] = static_cast<u8>(bytes[17] ^ last_byte);
    std::memcpy(to, bytes.data(), bytes.size());
    *count = 18;
    return 0;
}

TEST_P(ReaderInformation, gives_49_for_a_bad_crc)
{
    reader_->operations.AutoGetDataFromPort = received<1, 0x21>;
    EXPECT_EQ(query(), TAGWIRE_BAD_CRC);
    EXPECT_THAT(SystemSeam::recorded(), testing::ElementsAre(0x21));
    expect_nothing_changed();
}

TEST_P(ReaderInformation, gives_238_for_another_command)
{
    reader_->operations.AutoGetDataFromPort = received<0, 0x22>;
    EXPECT_EQ(query(), TAGWIRE_WRONG_COMMAND);
    expect_nothing_changed();
}

TEST_P(ReaderInformation, returns_the_error_of_the_receiver)
{
    reader_->operations.AutoGetDataFromPort = [](Reader*, u8*, int*, int) { return 99; };
    EXPECT_EQ(query(), 99);
    expect_nothing_changed();
}

// --- The radio module ---

class ModuleDetails : public testing::TestWithParam<Link> {
  protected:
    int query()
    {
        return reader_.operations().GetModuleDetails(reader_, &address_, version_, &type_, &protocols_);
    }
    Bytes outputs() const { return {version_[0], version_[1], type_, protocols_}; }

    VirtualTime time_;
    TestReader reader_{GetParam()};
    u8 address_ = 0xFF;
    u8 version_[2] = {0xA5, 0xA5};
    u8 type_ = 0xA5;
    u8 protocols_ = 0xA5;
};

INSTANTIATE_TEST_SUITE_P(Over, ModuleDetails, testing::Values(Link::serial, Link::tcp),
                         [](const auto& test) { return test.param == Link::tcp ? "tcp" : "serial"; });

TEST_P(ModuleDetails, are_asked_with_one_byte_of_zero)
{
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38"));
    query();
    EXPECT_EQ(to_hex(reader_.sent()), "05 FF 83 00 21 0D");
}

TEST_P(ModuleDetails, are_copied_out_in_frame_order)
{
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38"));
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_EQ(to_hex(outputs()), "01 02 2C 03");
}

TEST_P(ModuleDetails, leave_the_address)
{
    reader_->ReaderAddr = 0x77;
    reader_->inventoryScanTime = 0x66;
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38"));
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_EQ(address_, 0xFF);
    EXPECT_EQ(reader_->ReaderAddr, 0x77);
    EXPECT_EQ(reader_->inventoryScanTime, 0x66);
}

TEST_P(ModuleDetails, clear_the_inventory_mark_before_sending_and_after_receiving)
{
    reader_->isInventoryCmd = true;
    reader_->operations.SendDataToPort = [](Reader* reader, u8*, unsigned) {
        EXPECT_FALSE(reader->isInventoryCmd);
        reader->isInventoryCmd = true;
        return 0;
    };
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38"));
    EXPECT_EQ(query(), TAGWIRE_OK);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(ModuleDetails, are_untouched_by_an_error_status)
{
    reader_.feed(hex("05 05 83 FB 33 BB"));
    EXPECT_EQ(query(), 0xFB);
    EXPECT_THAT(outputs(), Each(0xA5));
}

TEST_P(ModuleDetails, are_untouched_by_a_full_answer_with_an_error_status)
{
    reader_.feed(hex("09 05 83 05 01 02 03 04 E8 CA"));
    EXPECT_EQ(query(), 5);
    EXPECT_THAT(outputs(), Each(0xA5));
}

TEST_P(ModuleDetails, are_untouched_by_a_bad_crc)
{
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 39"));
    EXPECT_EQ(query(), TAGWIRE_NO_ANSWER);
    EXPECT_THAT(outputs(), Each(0xA5));
}

TEST_P(ModuleDetails, are_untouched_by_bytes_behind_the_answer)
{
    reader_.feed(hex("09 05 83 00 01 02 2C 03 F8 38 01 02 03"));
    EXPECT_EQ(query(), TAGWIRE_BAD_CRC);
    EXPECT_THAT(outputs(), Each(0xA5));
}

TEST_P(ModuleDetails, are_untouched_by_the_answer_to_another_command)
{
    reader_.feed(hex("05 05 84 00 67 BF"));
    EXPECT_EQ(query(), TAGWIRE_WRONG_COMMAND);
    EXPECT_THAT(outputs(), Each(0xA5));
}

TEST_P(ModuleDetails, are_not_had_in_silence)
{
    EXPECT_EQ(query(), TAGWIRE_NO_ANSWER);
    EXPECT_THAT(outputs(), Each(0xA5));
}

}  // namespace
}  // namespace tagwire::engine::test
