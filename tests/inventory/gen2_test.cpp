// The Gen2 inventory commands: what they send, which receiver they pick, and what they make of its frames.
#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

#include "support/tags.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

// Stands in for the receivers: notes how it was called, and answers with `frames` and `result`.
struct Receiver {
    int port = 0;
    int command = 0;
    bool in_inventory = false;
    bool reading = false;
    bool cleared = false;
    bool into_reader = false;
    Bytes frames;
    int result = 0;
};
Receiver receiver;

int stand_in(int port, Reader* reader, u8* to, int* length, int command)
{
    receiver.port = port;
    receiver.command = command;
    receiver.in_inventory = reader->isInventoryCmd;
    receiver.reading = reader->Reading;
    receiver.cleared =
        std::all_of(reader->recvBuff, reader->recvBuff + 5000, [](u8 b) { return b == 0; }) &&
        std::all_of(std::begin(reader->szBuff), std::end(reader->szBuff), [](u8 b) { return b == 0; }) &&
        std::all_of(std::begin(reader->szBuff1), std::end(reader->szBuff1), [](u8 b) { return b == 0; });
    receiver.into_reader = to == reader->recvBuff && length == &reader->recvLength;
    std::copy(receiver.frames.begin(), receiver.frames.end(), to);
    *length = static_cast<int>(receiver.frames.size());
    return receiver.result;
}

int stand_in_1(Reader* r, u8* to, int* length, int cmd) { return stand_in(1, r, to, length, cmd); }
int stand_in_2(Reader* r, u8* to, int* length, int cmd) { return stand_in(2, r, to, length, cmd); }
int stand_in_3(Reader* r, u8* to, int* length, int cmd) { return stand_in(3, r, to, length, cmd); }

// The mask bytes that tests pass, and a few more that must not be sent.
const Bytes mask_bytes = [] {
    Bytes out;
    for (int i = 1; i <= 64; ++i) out.push_back(static_cast<std::uint8_t>(i));
    return out;
}();

Bytes mask(int count) { return {mask_bytes.begin(), mask_bytes.begin() + count}; }

class Gen2 : public testing::Test {
  protected:
    Gen2()
    {
        SeenTags::take();
        receiver = Receiver{};
        receiver.result = 1;
        receiver.frames = answer(0x05, 0x01, 0x01, hex("04 00"));
        reader_->operations.GetInventoryDataFromPort1 = stand_in_1;
        reader_->operations.GetInventoryDataFromPort2 = stand_in_2;
        reader_->operations.GetInventoryDataFromPort3 = stand_in_3;
        std::memset(reader_->recvBuff, 0x99, sizeof reader_->recvBuff);
        std::memset(reader_->szBuff, 0x99, sizeof reader_->szBuff);
        std::memset(reader_->szBuff1, 0x99, sizeof reader_->szBuff1);
        list_ = std::make_unique<u8[]>(buffer_size + 6);
        std::memset(list_.get(), 0x99, buffer_size + 6);
    }

    int plain(u8 q = 4, u8 fast = 0) { return inventory(q, 0, 0, 0, fast); }
    int inventory(u8 q, u8 mask_flag, u8 mask_length, u8 tid_flag, u8 fast)
    {
        return reader_.operations().Inventory_G2(reader_, &address_, q, 0x01, 0x02, mask_at_, mask_length,
                                                 mask_, mask_flag, 0x0A, 0x0B, tid_flag, 0x0C, 0x80, 0x14,
                                                 fast, out_list_, out_antenna_, out_length_, out_count_);
    }
    int mixed(u8 q, u8 mask_flag, u8 mask_length, u8 fast)
    {
        return reader_.operations().InventoryMix_G2(
            reader_, &address_, q, 0x01, 0x02, mask_at_, mask_length, mask_, mask_flag, 0x03, read_at_, 0x06,
            password_, 0x0C, 0x80, 0x14, fast, out_list_, out_antenna_, out_length_, out_count_);
    }
    int extended(u8 q, u8 parameters, u8 mask_flag, u8 mask_length, u8 fast)
    {
        u8 param[] = {0x71, 0x72, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x7B, 0x7C, 0x7D, 0x7E};
        return reader_.operations().InventoryExtMix_G2(
            reader_, &address_, q, 0x01, parameters, param, 0x02, mask_at_, mask_length, mask_, mask_flag,
            password_, 0x0C, 0x80, 0x14, fast, out_list_, out_antenna_, out_length_, out_count_);
    }
    int matching(int bits)
    {
        u8 length[] = {static_cast<u8>(bits >> 8), static_cast<u8>(bits)};
        u8 offset[] = {0x00, 0x20};
        // Exactly the bytes that the count of bits covers.
        const int bytes = (bits + 7) / 8;
        const auto data = std::make_unique<u8[]>(static_cast<std::size_t>(bytes) + 1);
        for (int i = 0; i < bytes; ++i) data[static_cast<std::size_t>(i)] = static_cast<u8>(i + 1);
        return reader_.operations().Inventory_EPC_G2(reader_, &address_, 0x01, length, offset, data.get(),
                                                     out_list_, out_antenna_, out_length_, out_count_);
    }
    using Fast = int (*Operations::*)(Reader*, u8*, u8, u8, u8, u8, u8, u8, u8*, u8*, int*, int*);
    int short_form(Fast slot, u8 q, u8 fast)
    {
        return (reader_.operations().*slot)(reader_, &address_, q, 0x01, 0x0C, 0x80, 0x14, fast, out_list_,
                                            out_antenna_, out_length_, out_count_);
    }
    int antennas()
    {
        return reader_.operations().Fast_switch_ant_inventory(reader_, &address_, 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                                              10);
    }

    std::string sent() const { return to_hex(reader_.sent()); }
    Bytes list(int count) const { return {list_.get(), list_.get() + count}; }
    void expect_list(const Bytes& expected, int tags) const
    {
        EXPECT_EQ(list_length_, static_cast<int>(expected.size()));
        EXPECT_EQ(to_hex(list(static_cast<int>(expected.size()))), to_hex(expected));
        EXPECT_EQ(list_[expected.size()], 0x99);
        EXPECT_EQ(tag_count_, tags);
    }
    void expect_no_list() const
    {
        for (int i = 0; i < 300; ++i) ASSERT_EQ(list_[static_cast<std::size_t>(i)], 0x99);
    }

    TestReader reader_;
    u8 address_ = 0x05;
    u8 mask_at_[2] = {0x12, 0x34};
    u8 read_at_[2] = {0x56, 0x78};
    u8 password_[4] = {0xA1, 0xA2, 0xA3, 0xA4};
    u8 mask_[64] = {};
    std::unique_ptr<u8[]> list_;
    u8 antenna_ = 0x99;
    int list_length_ = -99;
    int tag_count_ = -99;
    u8* out_list_ = nullptr;
    u8* out_antenna_ = &antenna_;
    int* out_length_ = &list_length_;
    int* out_count_ = &tag_count_;

    void SetUp() override
    {
        out_list_ = list_.get();
        std::copy(mask_bytes.begin(), mask_bytes.end(), mask_);
    }
};

std::string framed(const Bytes& bytes) { return to_hex(with_crc(bytes)); }

// ---- Requests

TEST_F(Gen2, inventory_request)
{
    plain(0x04);
    EXPECT_EQ(sent(), framed(hex("06 05 01 04 01")));
    plain(0x84);
    EXPECT_EQ(sent(), framed(hex("06 05 01 84 01")));
    inventory(4, 0, 16, 0, 1);
    EXPECT_EQ(sent(), framed(hex("09 05 01 04 01 0C 80 14")));
    inventory(4, 0, 16, 1, 0);
    EXPECT_EQ(sent(), framed(hex("08 05 01 04 01 0A 0B")));
    inventory(4, 0, 16, 1, 1);
    EXPECT_EQ(sent(), framed(hex("0B 05 01 04 01 0A 0B 0C 80 14")));
}

TEST_F(Gen2, inventory_request_has_its_crc)
{
    address_ = 0x00;
    plain(0x04);
    EXPECT_EQ(sent(), "06 00 01 04 01 25 27");
}

TEST_F(Gen2, inventory_request_with_mask)
{
    const struct {
        u8 bits;
        int bytes;
    } masks[] = {{0, 0}, {1, 1}, {7, 1}, {8, 1}, {9, 2}, {16, 2}, {17, 3}, {96, 12}, {255, 32}};
    for (const auto& m : masks) {
        const Bytes block = hex("02 12 34") + Bytes{m.bits} + mask(m.bytes);
        const auto len = [&](int more) { return Bytes{static_cast<u8>(m.bytes + more)}; };
        const Bytes head = hex("05 01 04 01");
        inventory(4, 1, m.bits, 0, 0);
        EXPECT_EQ(sent(), framed(len(10) + head + block));
        inventory(4, 1, m.bits, 0, 1);
        EXPECT_EQ(sent(), framed(len(13) + head + block + hex("0C 80 14")));
        inventory(4, 1, m.bits, 1, 0);
        EXPECT_EQ(sent(), framed(len(12) + head + block + hex("0A 0B")));
        inventory(4, 1, m.bits, 1, 1);
        EXPECT_EQ(sent(), framed(len(15) + head + block + hex("0A 0B 0C 80 14")));
    }
}

TEST_F(Gen2, flags_count_as_set_only_when_they_are_1)
{
    for (const int flag : {0, 2, 0x81, 0xFF}) {
        const u8 other = static_cast<u8>(flag);
        inventory(4, other, 8, other, other);
        EXPECT_EQ(sent(), framed(hex("06 05 01 04 01")));
        mixed(4, other, 8, other);
        EXPECT_EQ(sent(), framed(hex("0E 05 19 04 01 03 56 78 06 A1 A2 A3 A4")));
        extended(4, 1, other, 8, other);
        EXPECT_EQ(sent(), framed(hex("0F 05 20 04 01 01 71 72 73 74 A1 A2 A3 A4")));
        short_form(&Operations::Inventory_QT_G2, 4, other);
        EXPECT_EQ(sent(), framed(hex("06 05 1B 04 01")));
    }
}

TEST_F(Gen2, mixed_request)
{
    mixed(4, 0, 8, 0);
    EXPECT_EQ(sent(), framed(hex("0E 05 19 04 01 03 56 78 06 A1 A2 A3 A4")));
    mixed(4, 0, 8, 1);
    EXPECT_EQ(sent(), framed(hex("11 05 19 04 01 03 56 78 06 A1 A2 A3 A4 0C 80 14")));
    mixed(4, 1, 0, 0);
    EXPECT_EQ(sent(), framed(hex("12 05 19 04 01 02 12 34 00 03 56 78 06 A1 A2 A3 A4")));
    mixed(4, 1, 9, 0);
    EXPECT_EQ(sent(), framed(hex("14 05 19 04 01 02 12 34 09 01 02 03 56 78 06 A1 A2 A3 A4")));
    mixed(4, 1, 8, 1);
    EXPECT_EQ(sent(), framed(hex("16 05 19 04 01 02 12 34 08 01 03 56 78 06 A1 A2 A3 A4 0C 80 14")));
    mixed(4, 1, 255, 1);
    EXPECT_EQ(sent(),
              framed(hex("35 05 19 04 01 02 12 34 FF") + mask(32) + hex("03 56 78 06 A1 A2 A3 A4 0C 80 14")));
}

TEST_F(Gen2, extended_request)
{
    const Bytes param = hex("71 72 73 74 75 76 77 78 79 7A 7B 7C");
    for (u8 count = 1; count <= 3; ++count) {
        const int p = 4 * count;
        const Bytes head = Bytes{0x05, 0x20, 0x04, 0x01, count} + Bytes(param.begin(), param.begin() + p);
        const auto len = [&](int more) { return Bytes{static_cast<u8>(p + more)}; };
        extended(4, count, 0, 8, 0);
        EXPECT_EQ(sent(), framed(len(11) + head + hex("A1 A2 A3 A4")));
        extended(4, count, 0, 8, 1);
        EXPECT_EQ(sent(), framed(len(14) + head + hex("A1 A2 A3 A4 0C 80 14")));
        extended(4, count, 1, 0, 0);
        EXPECT_EQ(sent(), framed(len(15) + head + hex("02 12 34 00 A1 A2 A3 A4")));
        extended(4, count, 1, 9, 0);
        EXPECT_EQ(sent(), framed(len(17) + head + hex("02 12 34 09 01 02 A1 A2 A3 A4")));
        extended(4, count, 1, 255, 1);
        EXPECT_EQ(sent(),
                  framed(len(50) + head + hex("02 12 34 FF") + mask(32) + hex("A1 A2 A3 A4 0C 80 14")));
    }
}

TEST_F(Gen2, extended_inventory_sends_nothing_for_another_count_of_parameters)
{
    for (const int count : {0, 4, 5, 255}) {
        EXPECT_EQ(extended(4, static_cast<u8>(count), 0, 0, 0), TAGWIRE_BAD_ARGUMENT);
        EXPECT_EQ(sent(), "");
    }
    EXPECT_EQ(receiver.port, 0);
    EXPECT_EQ(tag_count_, -99);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_F(Gen2, matching_request)
{
    matching(0);
    EXPECT_EQ(sent(), framed(hex("09 05 1A 01 00 00 00 20")));
    matching(1);
    EXPECT_EQ(sent(), framed(hex("0A 05 1A 01 00 01 00 20 01")));
    matching(8);
    EXPECT_EQ(sent(), framed(hex("0A 05 1A 01 00 08 00 20 01")));
    matching(9);
    EXPECT_EQ(sent(), framed(hex("0B 05 1A 01 00 09 00 20 01 02")));
    matching(0x0120);  // the high byte first: 36 bytes
    const Bytes got = reader_.sent();
    ASSERT_EQ(got.size(), 46U);
    EXPECT_EQ(got[0], 45);
    EXPECT_EQ(to_hex(got), framed(Bytes(got.begin(), got.end() - 2)));
    EXPECT_EQ(got[43], 36);
}

TEST_F(Gen2, matching_request_of_the_greatest_size)
{
    matching(246 * 8);
    const Bytes got = reader_.sent();
    ASSERT_EQ(got.size(), 256U);
    EXPECT_EQ(got[0], 255);
    EXPECT_EQ(got[253], 246);
    EXPECT_EQ(slow_crc(got), 0);
}

TEST_F(Gen2, matching_request_with_a_len_that_wraps_sends_what_it_announces)
{
    const int sServer = reader_->sServer;
    for (const int bytes : {247, 248, 252, 300, 1000, 4096, 8000, 8192}) {
        const int bits = bytes == 8192 ? 65535 : bytes * 8;
        matching(bits);
        const Bytes got = reader_.sent();
        const std::size_t len = static_cast<std::size_t>(bytes + 9) % 256;
        EXPECT_EQ(got.size(), len + 1) << bytes;
        EXPECT_EQ(len > 0 ? slow_crc(got) : 0, 0) << bytes;
    }
    // The next field of the Reader.
    EXPECT_EQ(reader_->sServer, sServer);
}

TEST_F(Gen2, short_requests)
{
    const struct {
        Fast slot;
        u8 code;
    } commands[] = {{&Operations::Inventory_QT_G2, 0x1B},
                    {&Operations::Inventory_FastBID_NXP, 0x96},
                    {&Operations::Inventory_FastTID_NXP, 0x97}};
    for (const auto& command : commands) {
        short_form(command.slot, 4, 0);
        EXPECT_EQ(sent(), framed(Bytes{0x06, 0x05, command.code, 0x04, 0x01}));
        EXPECT_EQ(receiver.command, command.code);
        EXPECT_EQ(receiver.port, 1);
        short_form(command.slot, 0x84, 1);
        EXPECT_EQ(sent(), framed(Bytes{0x09, 0x05, command.code, 0x84, 0x01, 0x0C, 0x80, 0x14}));
        EXPECT_EQ(receiver.port, 2);
    }
}

TEST_F(Gen2, antenna_switch_request)
{
    EXPECT_EQ(antennas(), 1);
    EXPECT_EQ(sent(), framed(hex("0E 05 1C 01 02 03 04 05 06 07 08 09 0A")));
}

// ---- Receiver and flags

TEST_F(Gen2, the_receiver_follows_from_bit_7_of_q)
{
    for (const int q : {0x00, 0x04, 0x0F, 0x7F, 0x80, 0x84, 0xFF}) {
        const int port = q < 0x80 ? 1 : 2;
        plain(static_cast<u8>(q));
        EXPECT_EQ(receiver.port, port);
        EXPECT_EQ(receiver.command, 0x01);
        mixed(static_cast<u8>(q), 0, 0, 0);
        EXPECT_EQ(receiver.port, port);
        EXPECT_EQ(receiver.command, 0x19);
        extended(static_cast<u8>(q), 1, 0, 0, 0);
        EXPECT_EQ(receiver.port, port);
        EXPECT_EQ(receiver.command, 0x20);
    }
    matching(8);
    EXPECT_EQ(receiver.port, 1);
    EXPECT_EQ(receiver.command, 0x1A);
    antennas();
    EXPECT_EQ(receiver.port, 3);
    EXPECT_EQ(receiver.command, 0x1C);
}

TEST_F(Gen2, the_inventory_flag_is_set_while_receiving)
{
    const auto expect_flag = [&](auto call, bool reading) {
        receiver.in_inventory = false;
        std::memset(reader_->szBuff, 0x99, 100);
        std::memset(reader_->szBuff1, 0x99, 100);
        reader_->keeping.frames_used = reader_->keeping.list_used = buffer_size;
        std::memset(reader_->recvBuff, 0x99, 5000);
        call();
        EXPECT_TRUE(receiver.in_inventory);
        EXPECT_EQ(receiver.reading, reading);
        EXPECT_TRUE(receiver.cleared);
        EXPECT_TRUE(receiver.into_reader);
        EXPECT_FALSE(reader_->isInventoryCmd);
        EXPECT_FALSE(reader_->Reading);
    };
    for (const int result : {1, 48, 55, 238}) {
        receiver.result = result;
        expect_flag([&] { plain(); }, true);
        expect_flag([&] { mixed(4, 0, 0, 0); }, false);
        expect_flag([&] { extended(4, 1, 0, 0, 0); }, false);
        expect_flag([&] { matching(8); }, false);
        expect_flag([&] { short_form(&Operations::Inventory_QT_G2, 4, 0); }, false);
        expect_flag([&] { short_form(&Operations::Inventory_FastBID_NXP, 4, 0); }, false);
        expect_flag([&] { short_form(&Operations::Inventory_FastTID_NXP, 4, 0); }, false);
        expect_flag([&] { antennas(); }, false);
    }
}

TEST_F(Gen2, the_flags_stand_when_the_request_is_sent)
{
    static bool in_inventory;
    static bool reading;
    reader_->operations.SendDataToPort = [](Reader* reader, u8*, unsigned) {
        in_inventory = reader->isInventoryCmd;
        reading = reader->Reading;
        return 48;  // shows as the receiver's time limit only
    };
    EXPECT_EQ(plain(), 1);
    EXPECT_TRUE(in_inventory);
    EXPECT_TRUE(reading);
}

TEST_F(Gen2, inventories_leave_the_address_alone)
{
    receiver.frames = answer(0x63, 0x01, 0x01, hex("04 00"));
    plain();
    mixed(4, 0, 0, 0);
    extended(4, 1, 0, 0, 0);
    matching(8);
    short_form(&Operations::Inventory_QT_G2, 4, 0);
    antennas();
    EXPECT_EQ(address_, 0x05);
}

// ---- Outputs

TEST_F(Gen2, one_frame)
{
    receiver.frames = answer(0x05, 0x01, 0x01, hex("04 02 02 AA BB 50 01 CC 51"));
    EXPECT_EQ(plain(), 1);
    expect_list(hex("02 AA BB 50 01 CC 51"), 2);
    EXPECT_EQ(antenna_, 4);
}

TEST_F(Gen2, one_frame_without_tags)
{
    receiver.frames = answer(0x05, 0x01, 0x01, hex("04 00"));
    EXPECT_EQ(plain(), 1);
    expect_list({}, 0);
    EXPECT_EQ(antenna_, 4);
}

TEST_F(Gen2, many_frames)
{
    receiver.frames = answer(0x05, 0x01, 0x03, hex("01 01 01 AA 50")) +
                      answer(0x05, 0x01, 0x03, hex("02 02 01 BB 51 00 52")) +
                      answer(0x05, 0x01, 0x02, hex("03 01 41 CC 53 01 02 03 04 05 06 07"));
    receiver.result = 2;
    EXPECT_EQ(plain(), 2);
    expect_list(hex("01 AA 50 01 BB 51 00 52 41 CC 53 01 02 03 04 05 06 07"), 4);
    EXPECT_EQ(antenna_, 3);
}

TEST_F(Gen2, every_command_makes_its_list)
{
    const Bytes records = hex("01 AA 50 01 BB 51");
    receiver.frames =
        answer(0x05, 0x01, 0x03, hex("01 01 01 AA 50")) + answer(0x05, 0x01, 0x01, hex("02 01 01 BB 51"));
    const auto expect = [&](auto call) {
        tag_count_ = list_length_ = -99;
        antenna_ = 0x99;
        EXPECT_EQ(call(), 1);
        expect_list(records, 2);
        EXPECT_EQ(antenna_, 2);
    };
    expect([&] { return plain(); });
    expect([&] { return mixed(4, 0, 0, 0); });
    expect([&] { return extended(4, 2, 0, 0, 0); });
    expect([&] { return matching(96); });
    expect([&] { return short_form(&Operations::Inventory_QT_G2, 4, 0); });
    expect([&] { return short_form(&Operations::Inventory_FastBID_NXP, 4, 0); });
    expect([&] { return short_form(&Operations::Inventory_FastTID_NXP, 4, 0); });
}

TEST_F(Gen2, the_list_ends_behind_status_1_or_2_unless_statistics_were_asked_for)
{
    for (const int status : {1, 2}) {
        receiver.frames = answer(0x05, 0x01, static_cast<u8>(status), hex("01 01 01 AA 50")) +
                          answer(0x05, 0x01, 0x03, hex("02 01 01 BB 51"));
        plain(0x04);
        expect_list(hex("01 AA 50"), 1);
        EXPECT_EQ(antenna_, 1);
        EXPECT_EQ(plain(0x84), 3);
        expect_list(hex("01 AA 50 01 BB 51"), 2);
        EXPECT_EQ(antenna_, 2);
        std::memset(list_.get(), 0x99, 100);
    }
}

TEST_F(Gen2, statistics_stand_in_front_of_the_list)
{
    receiver.frames = answer(0x05, 0x01, 0x03, hex("01 01 01 AA 50")) +
                      answer(0x05, 0x01, 0x26, hex("01 D1 D2 D3 D4 D5 D6"));
    receiver.result = 0x26;
    for (const int q : {0x04, 0x84}) {
        EXPECT_EQ(plain(static_cast<u8>(q)), 0x26);
        expect_list(hex("D1 D2 D3 D4 D5 D6 01 AA 50"), 1);
        EXPECT_EQ(antenna_, 1);
    }
}

TEST_F(Gen2, statistics_follow_status_1_when_they_were_asked_for)
{
    receiver.frames = answer(0x05, 0x01, 0x01, hex("01 01 01 AA 50")) +
                      answer(0x05, 0x01, 0x26, hex("01 D1 D2 D3 D4 D5 D6"));
    EXPECT_EQ(plain(0x84), 0x26);
    expect_list(hex("D1 D2 D3 D4 D5 D6 01 AA 50"), 1);
}

TEST_F(Gen2, statistics_alone)
{
    receiver.frames = answer(0x05, 0x01, 0x26, hex("01 D1 D2 D3 D4 D5 D6"));
    EXPECT_EQ(plain(0x84), 0x26);
    expect_list(hex("D1 D2 D3 D4 D5 D6"), 0);
    EXPECT_EQ(antenna_, 0x99);
}

TEST_F(Gen2, a_frame_of_another_status_stays_in_front)
{
    for (const int status : {0x00, 0x04, 0xF8, 0xFB, 0xFE}) {
        receiver.frames = answer(0x05, 0x01, 0x03, hex("01 01 01 AA 50")) +
                          answer(0x05, 0x01, static_cast<u8>(status)) +
                          answer(0x05, 0x01, 0x01, hex("02 01 01 BB 51"));
        EXPECT_EQ(plain(0x84), status);
        expect_list(hex("01 AA 50"), 1);
        EXPECT_EQ(antenna_, 1);
    }
}

TEST_F(Gen2, no_tag_in_the_field)
{
    receiver.frames = answer(0x05, 0x01, 0xFB);
    receiver.result = 0xFB;
    EXPECT_EQ(plain(), 0xFB);
    expect_list({}, 0);
    EXPECT_EQ(antenna_, 0x99);
}

TEST_F(Gen2, a_list_of_the_greatest_size)
{
    Bytes expected;
    receiver.frames.clear();
    for (int i = 0; i < 256; ++i) {
        const Bytes records = repeat(static_cast<std::uint8_t>(i), 248);
        receiver.frames =
            receiver.frames + answer(0x05, 0x01, i == 255 ? 0x01 : 0x03, hex("01 02") + records);
        expected = expected + records;
    }
    ASSERT_EQ(receiver.frames.size(), 65536U);
    EXPECT_EQ(plain(), 1);
    EXPECT_EQ(list_length_, static_cast<int>(expected.size()));
    EXPECT_EQ(tag_count_, 512);
    EXPECT_TRUE(list(list_length_) == expected);
}

TEST_F(Gen2, frames_too_short_for_records_add_none)
{
    for (const char* data : {"", "01"}) {
        receiver.frames = answer(0x05, 0x01, 0x01, hex(data));
        EXPECT_EQ(plain(), 1);
        EXPECT_EQ(list_length_, 0);
    }
    expect_no_list();
}

TEST_F(Gen2, tags_that_went_to_the_callback_are_not_listed)
{
    reader_->InventoryBackUID = true;
    receiver.frames.clear();
    const auto expect = [&](auto call, int length) {
        tag_count_ = list_length_ = -99;
        EXPECT_EQ(call(), 1);
        EXPECT_EQ(tag_count_, 0);
        EXPECT_EQ(list_length_, length);
        EXPECT_EQ(antenna_, 0x99);
        expect_no_list();
    };
    expect([&] { return plain(); }, 0);
    expect([&] { return mixed(4, 0, 0, 0); }, 0);
    expect([&] { return extended(4, 2, 0, 0, 0); }, 0);
    expect([&] { return matching(96); }, 0);
    expect([&] { return short_form(&Operations::Inventory_QT_G2, 4, 0); }, -99);
    expect([&] { return short_form(&Operations::Inventory_FastBID_NXP, 4, 0); }, -99);
    expect([&] { return short_form(&Operations::Inventory_FastTID_NXP, 4, 0); }, -99);
}

TEST_F(Gen2, receiver_errors_are_returned_as_they_are)
{
    receiver.frames.clear();
    for (const bool back : {false, true})
        for (const int error : {48, 55, 238}) {
            reader_->InventoryBackUID = back;
            receiver.result = error;
            const auto expect = [&](auto call) {
                tag_count_ = -99;
                EXPECT_EQ(call(), error);
                EXPECT_EQ(tag_count_, 0);
                EXPECT_EQ(antenna_, 0x99);
                expect_no_list();
            };
            expect([&] { return plain(); });
            expect([&] { return mixed(4, 0, 0, 0); });
            expect([&] { return extended(4, 2, 0, 0, 0); });
            expect([&] { return matching(96); });
            expect([&] { return short_form(&Operations::Inventory_QT_G2, 4, 0); });
            expect([&] { return short_form(&Operations::Inventory_FastBID_NXP, 4, 0); });
            expect([&] { return short_form(&Operations::Inventory_FastTID_NXP, 4, 0); });
        }
}

TEST_F(Gen2, no_answer_leaves_the_list_length_alone)
{
    receiver.result = 48;
    reader_->InventoryBackUID = true;
    EXPECT_EQ(plain(), 48);
    EXPECT_EQ(list_length_, -99);
    EXPECT_EQ(tag_count_, 0);
}

TEST_F(Gen2, two_commands_take_null_outputs)
{
    receiver.frames = answer(0x05, 0x01, 0x03, hex("04 01 01 AA 50")) +
                      answer(0x05, 0x01, 0x26, hex("01 D1 D2 D3 D4 D5 D6"));
    out_list_ = nullptr;
    out_antenna_ = nullptr;
    out_length_ = nullptr;
    out_count_ = nullptr;
    EXPECT_EQ(plain(), 0x26);
    EXPECT_EQ(mixed(4, 0, 0, 0), 0x26);
    receiver.result = 48;
    EXPECT_EQ(plain(), 48);
    reader_->InventoryBackUID = true;
    receiver.result = 1;
    EXPECT_EQ(plain(), 1);
    EXPECT_EQ(mixed(4, 0, 0, 0), 1);
}

TEST_F(Gen2, each_null_output_is_left_out_by_itself)
{
    receiver.frames = answer(0x05, 0x01, 0x01, hex("04 01 01 AA 50"));
    out_antenna_ = nullptr;
    EXPECT_EQ(plain(), 1);
    expect_list(hex("01 AA 50"), 1);
    EXPECT_EQ(antenna_, 0x99);
    out_antenna_ = &antenna_;
    out_list_ = nullptr;
    list_length_ = -99;
    EXPECT_EQ(plain(), 1);
    EXPECT_EQ(list_length_, 3);
    EXPECT_EQ(antenna_, 4);
}

TEST_F(Gen2, antenna_switch_returns_what_its_receiver_returns)
{
    for (const int result : {0, 1, 0xFB, 48, 55, 238}) {
        receiver.result = result;
        EXPECT_EQ(antennas(), result);
    }
    reader_->InventoryBackUID = true;
    EXPECT_EQ(antennas(), 238);
}

// ---- With the real receivers

TEST(Gen2OnALink, inventory_end_to_end)
{
    const VirtualTime time;
    SeenTags::take();
    for (const u8 q : {u8{0x04}, u8{0x84}}) {
        const TestReader reader;
        reader->ReaderAddr = 0x05;
        reader->MypCallBack = SeenTags::callback;
        reader.feed(answer(0x05, 0x01, 0x03, hex("01 01 01 AA 50")) +
                    answer(0x05, 0x01, 0x01, hex("02 01 01 BB 51")));
        u8 address = 0x05;
        u8 list[100] = {};
        u8 antenna = 0;
        int length = 0;
        int count = 0;
        EXPECT_EQ(reader.operations().Inventory_G2(reader, &address, q, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0,
                                                   0, 0, 0, 0, list, &antenna, &length, &count),
                  1);
        EXPECT_EQ(to_hex(Bytes(list, list + length)), "01 AA 50 01 BB 51");
        EXPECT_EQ(count, 2);
        EXPECT_EQ(antenna, 2);
        EXPECT_EQ(SeenTags::take().size(), 2U);
    }
}

TEST(Gen2OnALink, antenna_switch_end_to_end)
{
    const VirtualTime time;
    SeenTags::take();
    const TestReader reader;
    reader->MypCallBack = SeenTags::callback;
    reader.feed(hex("A0") + answer(0x05, 0x1C, 0xF8, hex("01 01 01 AA 50")) + hex("A0") +
                answer(0x05, 0x1C, 0x01, hex("02 01 01 BB 51")));
    u8 address = 0x05;
    EXPECT_EQ(reader.operations().Fast_switch_ant_inventory(reader, &address, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10),
              1);
    const auto tags = SeenTags::take();
    ASSERT_EQ(tags.size(), 2U);
    EXPECT_EQ(tags[0].uid, "AA");
    EXPECT_EQ(tags[1].tag.ANT, 2);
}

TEST(Gen2OnALink, inventory_without_answer)
{
    const VirtualTime time;
    const TestReader reader;
    u8 address = 0;
    int count = 9;
    EXPECT_EQ(reader.operations().Inventory_G2(reader, &address, 4, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0,
                                               0, 0, 0, nullptr, nullptr, nullptr, &count),
              TAGWIRE_NO_ANSWER);
    EXPECT_EQ(count, 0);
}

// ---- A single tag

class SingleTag : public testing::Test {
  protected:
    int get(const Bytes& bytes)
    {
        reader_.feed(bytes);
        return reader_.operations().SingleTagInventory_G2(reader_, &address_, epc_, &length_, &count_);
    }
    void expect_no_output() const
    {
        EXPECT_EQ(address_, 0x05);
        EXPECT_EQ(length_, -99);
        EXPECT_EQ(count_, -99);
        for (const u8 byte : epc_) ASSERT_EQ(byte, 0);
    }

    VirtualTime time_;
    TestReader reader_;
    u8 address_ = 0x05;
    u8 epc_[300] = {};
    int length_ = -99;
    int count_ = -99;
};

TEST_F(SingleTag, request)
{
    get(answer(0x05, 0x0F, 0x01, hex("04 01 02 AA BB")));
    EXPECT_EQ(to_hex(reader_.sent()), framed(hex("04 05 0F")));
}

TEST_F(SingleTag, outputs)
{
    EXPECT_EQ(get(answer(0x63, 0x0F, 0x01, hex("04 01 02 AA BB"))), 1);
    EXPECT_EQ(address_, 0x63);
    EXPECT_EQ(count_, 1);
    EXPECT_EQ(length_, 2);
    EXPECT_EQ(to_hex(Bytes(epc_, epc_ + 4)), "04 AA BB 00");
}

TEST_F(SingleTag, outputs_of_the_longest_answer)
{
    EXPECT_EQ(get(answer(0x63, 0x0F, 0x01, hex("04 01 F7") + repeat(0xAB, 247))), 1);
    EXPECT_EQ(epc_[0], 4);
    EXPECT_EQ(epc_[247], 0xAB);
    EXPECT_EQ(epc_[248], 0);
}

TEST_F(SingleTag, another_status_leaves_the_outputs_alone)
{
    for (const int status : {0x00, 0x02, 0x03, 0xFB, 0xFF}) {
        EXPECT_EQ(get(answer(0x63, 0x0F, static_cast<u8>(status), hex("04 01 02 AA BB"))), status);
        expect_no_output();
    }
}

TEST_F(SingleTag, another_command_is_238)
{
    EXPECT_EQ(get(answer(0x63, 0x01, 0x01, hex("04 01 02 AA BB"))), TAGWIRE_WRONG_COMMAND);
    expect_no_output();
}

TEST_F(SingleTag, a_bad_crc_is_49)
{
    // The receiver lets only good frames through; this one says that it was good.
    reader_->operations.GetDataFromPort = [](Reader*, u8* to, int* length) {
        const Bytes bytes = hex("08 63 0F 01 04 01 00 00 00");
        std::copy(bytes.begin(), bytes.end(), to);
        *length = static_cast<int>(bytes.size());
        return 0;
    };
    EXPECT_EQ(get({}), TAGWIRE_BAD_CRC);
    expect_no_output();
}

TEST_F(SingleTag, receiver_errors_are_returned)
{
    EXPECT_EQ(get({}), TAGWIRE_NO_ANSWER);
    reader_->m_type = 2;
    EXPECT_EQ(get({}), TAGWIRE_BAD_HANDLE);
    expect_no_output();
}

TEST_F(SingleTag, is_no_inventory_to_its_receiver)
{
    static bool flag;
    flag = true;
    reader_->isInventoryCmd = true;
    reader_->operations.GetDataFromPort = [](Reader* reader, u8*, int*) {
        flag = reader->isInventoryCmd;
        return 48;
    };
    EXPECT_EQ(get({}), TAGWIRE_NO_ANSWER);
    EXPECT_FALSE(flag);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

}  // namespace
}  // namespace tagwire::engine::test
