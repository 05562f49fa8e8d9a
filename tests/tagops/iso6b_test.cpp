// The commands for ISO 18000-6B tags: their frames, and what becomes of the answers.
#include <gmock/gmock.h>

#include "support/exchanges.h"
#include "support/virtual_time.h"
#include "tagwire/iso6b.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

// Inputs have just the size that a call may read.
struct Arguments {
    int handle = 0;
    u8 address = 0x05;
    Bytes id = hex("11 12 13 14 15 16 17 18");
    Bytes condition = hex("C1 C2 C3 C4 C5 C6 C7 C8");
    Bytes written = hex("D1 D2 D3 D4");
    u8 read_bytes = 4;
    u8 antenna = 0x99;
    Bytes data = repeat(0x99, 255);
    int count = -99;
    u8 written_bytes = 0x99;
    u8 lock_state = 0x99;
    int error = 77;

    void expect_no_data() const
    {
        EXPECT_EQ(antenna, 0x99);
        EXPECT_EQ(data, repeat(0x99, 255));
        EXPECT_EQ(count, -99);
        EXPECT_EQ(written_bytes, 0x99);
        EXPECT_EQ(lock_state, 0x99);
    }
    void expect_data(const Bytes& expected) const
    {
        EXPECT_EQ(to_hex(data), to_hex(expected + repeat(0x99, 255 - expected.size())));
    }
};

int inventory(Reader* r, Arguments& a)
{
    return through<&Operations::InventorySingle_6B, ::InventorySingle_6B>(r, a.handle, &a.address, &a.antenna,
                                                                          a.data.data());
}
int conditional(Reader* r, Arguments& a)
{
    return through<&Operations::InventoryMultiple_6B, ::InventoryMultiple_6B>(
        r, a.handle, &a.address, 0x01, 0x20, 0xF0, a.condition.data(), &a.antenna, a.data.data(), &a.count);
}
int read_bytes(Reader* r, Arguments& a)
{
    return through<&Operations::ReadData_6B, ::ReadData_6B>(r, a.handle, &a.address, a.id.data(), 0x21,
                                                            a.read_bytes, a.data.data(), &a.error);
}
int write_bytes(Reader* r, Arguments& a)
{
    return through<&Operations::WriteData_6B, ::WriteData_6B>(
        r, a.handle, &a.address, a.id.data(), 0x21, a.written.data(), static_cast<u8>(a.written.size()),
        &a.written_bytes, &a.error);
}
int check_lock(Reader* r, Arguments& a)
{
    return through<&Operations::CheckLock_6B, ::CheckLock_6B>(r, a.handle, &a.address, a.id.data(), 0x21,
                                                              &a.lock_state, &a.error);
}
int lock_byte(Reader* r, Arguments& a)
{
    return through<&Operations::Lock_6B, ::Lock_6B>(r, a.handle, &a.address, a.id.data(), 0x21, &a.error);
}

struct ByteCommand {
    const char* name;
    int (*call)(Reader*, Arguments&);
    const char* request;  // without CRC
    u8 code;
    bool inventory;
    bool always_writes_address;
};

const ByteCommand byte_commands[] = {
    {"inventory", inventory, "04 05 50", 0x50, true, true},
    {"conditional", conditional, "0F 05 51 01 20 F0 C1 C2 C3 C4 C5 C6 C7 C8", 0x51, true, true},
    {"read", read_bytes, "0E 05 52 21 11 12 13 14 15 16 17 18 04", 0x52, false, true},
    {"write", write_bytes, "11 05 53 21 11 12 13 14 15 16 17 18 D1 D2 D3 D4", 0x53, false, true},
    {"check_lock", check_lock, "0D 05 54 21 11 12 13 14 15 16 17 18", 0x54, false, false},
    {"lock", lock_byte, "0D 05 55 21 11 12 13 14 15 16 17 18", 0x55, false, true},
};

class AnyByteCommand : public testing::TestWithParam<ByteCommand> {
  protected:
    int call_with(const Bytes& bytes, int receiver_result = 0)
    {
        const FixedAnswer fixed(reader_, bytes, receiver_result);
        arguments_ = Arguments{};
        const int result = GetParam().call(reader_, arguments_);
        EXPECT_FALSE(reader_->isInventoryCmd);
        return result;
    }
    void expect_untouched() const
    {
        arguments_.expect_no_data();
        EXPECT_EQ(arguments_.address, 0x05);
        EXPECT_EQ(arguments_.error, 77);
    }

    TestReader reader_;
    WatchedSends sends_{reader_};
    Arguments arguments_;
};

INSTANTIATE_TEST_SUITE_P(All, AnyByteCommand, testing::ValuesIn(byte_commands),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_P(AnyByteCommand, request)
{
    const FixedAnswer unanswered(reader_, {}, TAGWIRE_NO_ANSWER);
    const OpenHandle open(reader_);
    for (const int handle : {0, OpenHandle::number}) {
        arguments_.handle = handle;
        EXPECT_EQ(GetParam().call(reader_, arguments_), TAGWIRE_NO_ANSWER);
        sends_.expect(hex(GetParam().request));
    }
}

TEST_P(AnyByteCommand, needs_an_open_handle_that_is_not_busy)
{
    const OpenHandle open(reader_);
    arguments_.handle = OpenHandle::number + 1;
    EXPECT_EQ(GetParam().call(reader_, arguments_), TAGWIRE_BAD_HANDLE);
    reader_->isStopStocktaking = false;
    arguments_.handle = OpenHandle::number;
    EXPECT_EQ(GetParam().call(reader_, arguments_), TAGWIRE_BUSY);
    expect_untouched();
    sends_.expect_none();
}

TEST_P(AnyByteCommand, inventory_mark)
{
    FixedAnswer fixed(reader_, answer(0x63, GetParam().code, 0x00, hex("01 02 03 04 05 06")));
    reader_->isInventoryCmd = !GetParam().inventory;
    std::memset(reader_->recvBuff, 0x99, 6000);
    EXPECT_EQ(GetParam().call(reader_, arguments_), TAGWIRE_OK);
    EXPECT_EQ(sends_.in_inventory, GetParam().inventory);
    EXPECT_EQ(fixed.in_inventory, GetParam().inventory);
    EXPECT_TRUE(sends_.cleared);
    EXPECT_FALSE(sends_.reading);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(AnyByteCommand, without_a_good_answer_writes_nothing)
{
    const Bytes good = answer(0x63, GetParam().code, 0x00, hex("01 02 03 04 05 06"));
    for (const int error : {48, 55, 99}) {
        EXPECT_EQ(call_with(good, error), error);
        expect_untouched();
    }
    EXPECT_EQ(call_with(spoiled(good)), TAGWIRE_BAD_CRC);
    expect_untouched();
    for (const int status : {0x00, 0x05, 0xFC}) {
        EXPECT_EQ(call_with(answer(0x63, 0x56, static_cast<u8>(status), hex("01 02 03 04"))),
                  TAGWIRE_WRONG_COMMAND);
        expect_untouched();
    }
    EXPECT_EQ(call_with(spoiled(answer(0x63, 0x56, 0x00))), TAGWIRE_BAD_CRC);
    expect_untouched();
}

TEST_P(AnyByteCommand, with_an_answer_without_data)
{
    for (const int status : {0x01, 0x05, 0xEE, 0xFA, 0xFB, 0xFF}) {
        EXPECT_EQ(call_with(answer(0x63, GetParam().code, static_cast<u8>(status))), status);
        arguments_.expect_no_data();
        EXPECT_EQ(arguments_.error, 77);
        EXPECT_EQ(arguments_.address, GetParam().always_writes_address ? 0x63 : 0x05);
    }
}

TEST_P(AnyByteCommand, refused_by_the_tag)
{
    if (GetParam().inventory) {
        EXPECT_EQ(call_with(answer(0x63, GetParam().code, 0xFC)), 0xFC);
        arguments_.expect_no_data();
        EXPECT_EQ(arguments_.error, 77);
    } else {
        EXPECT_EQ(call_with(answer(0x63, GetParam().code, 0xFC, hex("E4"))), TAGWIRE_TAG_ERROR);
        arguments_.expect_no_data();
        EXPECT_EQ(arguments_.error, 0xE4);
    }
    EXPECT_EQ(arguments_.address, GetParam().always_writes_address ? 0x63 : 0x05);
}

// ---- One command each

class ByteTag : public testing::Test {
  protected:
    int with(int (*call)(Reader*, Arguments&), const Bytes& bytes)
    {
        const FixedAnswer fixed(reader_, bytes);
        return call(reader_, arguments_);
    }
    // Writes `count` bytes, counting from 0, and returns the result.
    int write(std::size_t count)
    {
        arguments_ = Arguments{};
        arguments_.written.clear();
        for (std::size_t i = 0; i < count; ++i) arguments_.written.push_back(static_cast<std::uint8_t>(i));
        const int result = with(write_bytes, answer(0x63, 0x53, 0x00));
        reader_.sent();
        return result;
    }

    TestReader reader_;
    WatchedSends sends_{reader_};
    Arguments arguments_;
};

TEST_F(ByteTag, inventory_over_the_link)
{
    reader_.feed(answer(0x63, 0x50, 0x00, hex("04 E0 01 02 03 04 05 06 07 08 09 0A")));
    EXPECT_EQ(inventory(reader_, arguments_), TAGWIRE_OK);
    EXPECT_EQ(reader_.sent(), with_crc(hex("04 05 50")));
    EXPECT_EQ(arguments_.antenna, 0x04);
    arguments_.expect_data(hex("E0 01 02 03 04 05 06 07 08 09"));
    EXPECT_EQ(arguments_.address, 0x63);
}

TEST_F(ByteTag, inventory_without_an_answer)
{
    const VirtualTime time;
    EXPECT_EQ(inventory(reader_, arguments_), TAGWIRE_NO_ANSWER);
    arguments_.expect_no_data();
    EXPECT_EQ(arguments_.address, 0x05);
}

TEST_F(ByteTag, inventory_of_any_status_with_data)
{
    for (const int status : {0x00, 0x01, 0x02, 0xFB, 0xFC}) {
        arguments_ = Arguments{};
        EXPECT_EQ(with(inventory,
                       answer(0x63, 0x50, static_cast<u8>(status), hex("04 01 02 03 04 05 06 07 08 09 0A"))),
                  status);
        EXPECT_EQ(arguments_.antenna, 0x04);
        arguments_.expect_data(hex("01 02 03 04 05 06 07 08 09 0A"));
    }
}

TEST_F(ByteTag, inventory_copies_10_bytes_of_an_answer_that_has_fewer)
{
    EXPECT_EQ(with(inventory, answer(0x63, 0x50, 0x00, hex("04"))), TAGWIRE_OK);
    EXPECT_EQ(arguments_.antenna, 0x04);
    EXPECT_EQ(arguments_.data[10], 0x99);
    const Bytes fewer = answer(0x63, 0x50, 0x00, hex("04 01 02"));
    EXPECT_EQ(with(inventory, fewer), TAGWIRE_OK);
    arguments_.expect_data(hex("01 02") + Bytes(fewer.end() - 2, fewer.end()) + repeat(0x00, 6));
}

TEST_F(ByteTag, conditional_inventory_gives_all_ids)
{
    EXPECT_EQ(with(conditional,
                   answer(0x63, 0x51, 0x00, hex("04 02 A1 A2 A3 A4 A5 A6 A7 A8 B1 B2 B3 B4 B5 B6 B7 B8"))),
              TAGWIRE_OK);
    EXPECT_EQ(arguments_.antenna, 0x04);
    EXPECT_EQ(arguments_.count, 2);
    arguments_.expect_data(hex("A1 A2 A3 A4 A5 A6 A7 A8 B1 B2 B3 B4 B5 B6 B7 B8"));
    EXPECT_EQ(arguments_.address, 0x63);
}

TEST_F(ByteTag, conditional_inventory_of_any_status_with_data)
{
    for (const int status : {0x01, 0x15, 0xFB, 0xFC}) {
        arguments_ = Arguments{};
        EXPECT_EQ(with(conditional, answer(0x63, 0x51, static_cast<u8>(status), hex("04 01 A1 A2"))), status);
        EXPECT_EQ(arguments_.count, 1);
        arguments_.expect_data(hex("A1 A2"));
    }
}

TEST_F(ByteTag, conditional_inventory_with_the_longest_and_shortest_answers)
{
    EXPECT_EQ(with(conditional, answer(0x63, 0x51, 0x00, hex("04 1F") + repeat(0xA1, 248))), TAGWIRE_OK);
    EXPECT_EQ(arguments_.count, 31);
    arguments_.expect_data(repeat(0xA1, 248));
    for (const char* data : {"04 00", "04"}) {
        arguments_ = Arguments{};
        EXPECT_EQ(with(conditional, answer(0x63, 0x51, 0x00, hex(data))), TAGWIRE_OK);
        EXPECT_EQ(arguments_.antenna, 0x04);
        arguments_.expect_data({});
    }
}

TEST_F(ByteTag, read_gives_as_many_bytes_as_were_asked_for)
{
    const Bytes answered = answer(0x63, 0x52, 0x00, hex("01 02 03 04"));
    const Bytes crc(answered.end() - 2, answered.end());
    const struct {
        u8 asked;
        Bytes data;
    } reads[] = {{0, {}},
                 {1, hex("01")},
                 {4, hex("01 02 03 04")},
                 {6, hex("01 02 03 04") + crc},
                 {250, hex("01 02 03 04") + crc + repeat(0x00, 244)}};
    for (const auto& read : reads) {
        arguments_ = Arguments{};
        arguments_.read_bytes = read.asked;
        EXPECT_EQ(with(read_bytes, answered), TAGWIRE_OK);
        arguments_.expect_data(read.data);
        EXPECT_EQ(arguments_.error, -1);
        EXPECT_EQ(arguments_.address, 0x63);
        EXPECT_EQ(sends_.frame[12], read.asked);
    }
}

TEST_F(ByteTag, read_of_no_data_writes_none)
{
    EXPECT_EQ(with(read_bytes, answer(0x63, 0x52, 0x00)), TAGWIRE_OK);
    arguments_.expect_no_data();
    EXPECT_EQ(arguments_.error, -1);
    EXPECT_EQ(arguments_.address, 0x63);
}

TEST_F(ByteTag, write_reports_the_count_that_was_asked_for)
{
    EXPECT_EQ(write(0), TAGWIRE_OK);
    sends_.expect(hex("0D 05 53 21 11 12 13 14 15 16 17 18"));
    EXPECT_EQ(arguments_.written_bytes, 0);
    EXPECT_EQ(arguments_.error, -1);
    EXPECT_EQ(arguments_.address, 0x63);
    EXPECT_EQ(write(3), TAGWIRE_OK);
    sends_.expect(hex("10 05 53 21 11 12 13 14 15 16 17 18 00 01 02"));
    EXPECT_EQ(arguments_.written_bytes, 3);
}

TEST_F(ByteTag, write_with_a_len_that_wraps)
{
    EXPECT_EQ(write(242), TAGWIRE_OK);
    EXPECT_EQ(sends_.frame.size(), 256U);
    sends_.expect(hex("FF 05 53 21 11 12 13 14 15 16 17 18") + arguments_.written);
    EXPECT_EQ(write(243), TAGWIRE_OK);
    EXPECT_EQ(sends_.frame.size(), 1U);
    sends_.count = 0;
    EXPECT_EQ(write(250), TAGWIRE_OK);
    sends_.expect(hex("07 05 53 21 11 12"));
    EXPECT_EQ(arguments_.written_bytes, 250);
    EXPECT_EQ(write(255), TAGWIRE_OK);
    sends_.expect(hex("0C 05 53 21 11 12 13 14 15 16 17"));
    EXPECT_EQ(arguments_.written_bytes, 255);
    EXPECT_EQ(reader_->sServer, reader_.near());
}

TEST_F(ByteTag, check_lock_gives_the_state)
{
    for (const u8 state : {u8{0}, u8{1}, u8{0xA5}}) {
        arguments_ = Arguments{};
        EXPECT_EQ(with(check_lock, answer(0x63, 0x54, 0x00, Bytes{state})), TAGWIRE_OK);
        EXPECT_EQ(arguments_.lock_state, state);
        EXPECT_EQ(arguments_.error, -1);
        EXPECT_EQ(arguments_.address, 0x63);
    }
    EXPECT_EQ(with(check_lock, answer(0x63, 0x54, 0x00)), TAGWIRE_OK);
}

TEST_F(ByteTag, lock_writes_its_address)
{
    EXPECT_EQ(with(lock_byte, answer(0x63, 0x55, 0x00)), TAGWIRE_OK);
    EXPECT_EQ(arguments_.error, -1);
    EXPECT_EQ(arguments_.address, 0x63);
    arguments_.expect_no_data();
}

}  // namespace
}  // namespace tagwire::engine::test
