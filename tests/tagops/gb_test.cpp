// The commands for GB and JB tags: their frames, and what becomes of the answers.
#include <gmock/gmock.h>

#include "support/exchanges.h"
#include "support/tags.h"
#include "support/virtual_time.h"
#include "tagwire/gb.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

Bytes counting(std::uint8_t first, std::size_t count)
{
    Bytes out;
    for (std::size_t i = 0; i < count; ++i) out.push_back(static_cast<std::uint8_t>(first + i));
    return out;
}

// The arguments of the single-tag calls. Inputs have just the size that a call may read.
struct Arguments {
    int handle = 0;
    u8 address = 0x05;
    u8 words = 0;
    Bytes id;
    Bytes word_pointer = hex("12 34");
    Bytes erase_count = hex("45 67");
    Bytes password = hex("A1 A2 A3 A4");
    u8 written_words = 2;
    Bytes written = hex("C1 C2 C3 C4");
    Bytes mask_at = hex("00 20");
    u8 mask_bits = 0;
    Bytes mask;
    Bytes data = repeat(0x99, 250);
    int error = 77;

    static Arguments by_id(u8 words)
    {
        Arguments out;
        out.words = words;
        out.id = counting(0x11, std::size_t{2} * words);
        return out;
    }
    static Arguments by_mask(u8 bits)
    {
        Arguments out;
        out.words = 255;
        out.mask_bits = bits;
        out.mask = counting(0xB1, (bits + 7U) / 8);
        return out;
    }

    void expect_untouched() const
    {
        EXPECT_EQ(address, 0x05);
        EXPECT_EQ(error, 77);
        EXPECT_EQ(data, repeat(0x99, 250));
    }
};

using Call = int (*)(Reader*, Arguments&);

template <auto Slot, auto Exported> int read(Reader* r, Arguments& a)
{
    return through<Slot, Exported>(r, a.handle, &a.address, a.id.data(), a.words, 0x03, a.word_pointer.data(),
                                   0x06, a.password.data(), 0x02, a.mask_at.data(), a.mask_bits,
                                   a.mask.data(), a.data.data(), &a.error);
}
template <auto Slot, auto Exported> int write(Reader* r, Arguments& a)
{
    return through<Slot, Exported>(r, a.handle, &a.address, a.id.data(), a.written_words, a.words, 0x03,
                                   a.word_pointer.data(), a.written.data(), a.password.data(), 0x02,
                                   a.mask_at.data(), a.mask_bits, a.mask.data(), &a.error);
}
template <auto Slot, auto Exported> int erase(Reader* r, Arguments& a)
{
    return through<Slot, Exported>(r, a.handle, &a.address, a.id.data(), a.words, 0x03, a.word_pointer.data(),
                                   a.erase_count.data(), a.password.data(), 0x02, a.mask_at.data(),
                                   a.mask_bits, a.mask.data(), &a.error);
}
template <auto Slot, auto Exported> int lock(Reader* r, Arguments& a)
{
    return through<Slot, Exported>(r, a.handle, &a.address, a.id.data(), a.words, 0x30, 0x01, 0x02,
                                   a.password.data(), 0x02, a.mask_at.data(), a.mask_bits, a.mask.data(),
                                   &a.error);
}
template <auto Slot, auto Exported> int kill(Reader* r, Arguments& a)
{
    return through<Slot, Exported>(r, a.handle, &a.address, a.id.data(), a.words, a.password.data(), 0x02,
                                   a.mask_at.data(), a.mask_bits, a.mask.data(), &a.error);
}

constexpr Call read_gb = read<&Operations::ReadData_GB, ::ReadData_GB>;
constexpr Call read_jb = read<&Operations::ReadData_JB, ::ReadData_JB>;
constexpr Call write_gb = write<&Operations::WriteData_GB, ::WriteData_GB>;
constexpr Call write_jb = write<&Operations::WriteData_JB, ::WriteData_JB>;
constexpr Call erase_gb = erase<&Operations::BlockErase_GB, ::BlockErase_GB>;
constexpr Call erase_jb = erase<&Operations::BlockErase_JB, ::BlockErase_JB>;
constexpr Call lock_gb = lock<&Operations::Lock_GB, ::Lock_GB>;
constexpr Call lock_jb = lock<&Operations::Lock_JB, ::Lock_JB>;
constexpr Call kill_gb = kill<&Operations::KillTag_GB, ::KillTag_GB>;
constexpr Call kill_jb = kill<&Operations::KillTag_JB, ::KillTag_JB>;

struct TagCommand {
    const char* name;
    Call gb;
    Call jb;
    u8 code;
    const char* before_words;  // of the header, in front of the count of words of the ID
    const char* own;           // fields between ID and mask
    u8 len_by_id[3];           // with 0, 2 and 15 words of ID
    u8 len_by_mask[3];         // with 0, 9 and 16 bits of mask
    bool marks_inventory;
    bool writes_address;
};

const TagCommand tag_commands[] = {
    {"read", read_gb, read_jb, 0x58, "", "03 12 34 06 A1 A2 A3 A4", {13, 17, 43}, {17, 19, 19}, true, true},
    {"write",
     write_gb,
     write_jb,
     0x59,
     "02",
     "03 12 34 C1 C2 C3 C4 A1 A2 A3 A4",
     {17, 21, 47},
     {21, 23, 23},
     true,
     true},
    {"erase",
     erase_gb,
     erase_jb,
     0x5A,
     "",
     "03 12 34 45 67 A1 A2 A3 A4",
     {14, 18, 44},
     {18, 20, 20},
     false,
     false},
    {"lock", lock_gb, lock_jb, 0x5B, "", "30 01 02 A1 A2 A3 A4", {12, 16, 42}, {16, 18, 18}, false, false},
    {"kill", kill_gb, kill_jb, 0x5C, "", "A1 A2 A3 A4", {9, 13, 39}, {13, 15, 15}, false, false},
};

class OneGbTag : public testing::TestWithParam<TagCommand> {
  protected:
    // The frame of both families, as operation and exported, against one without CRC.
    void expect_frame(Arguments arguments, const Bytes& expected)
    {
        const FixedAnswer unanswered(reader_, {}, TAGWIRE_NO_ANSWER);
        const OpenHandle open(reader_);
        for (const int handle : {0, OpenHandle::number})
            for (const Call call : {GetParam().gb, GetParam().jb}) {
                arguments.handle = handle;
                EXPECT_EQ(call(reader_, arguments), TAGWIRE_NO_ANSWER);
                sends_.expect(expected);
            }
    }
    Bytes head(u8 len, u8 words) const
    {
        return Bytes{len, 0x05, GetParam().code} + hex(GetParam().before_words) + Bytes{words};
    }
    // Runs both families on an answer.
    template <class Look> void with_answer(const Bytes& bytes, int result, Look look, int receiver_result = 0)
    {
        for (const Call call : {GetParam().gb, GetParam().jb}) {
            FixedAnswer fixed(reader_, bytes, receiver_result);
            Arguments arguments = Arguments::by_id(2);
            EXPECT_EQ(call(reader_, arguments), result);
            EXPECT_FALSE(reader_->isInventoryCmd);
            look(arguments);
        }
    }
    void expect_nothing_written(const Bytes& bytes, int result, int receiver_result = 0)
    {
        with_answer(
            bytes, result, [](const Arguments& a) { a.expect_untouched(); }, receiver_result);
    }

    TestReader reader_;
    WatchedSends sends_{reader_};
};

INSTANTIATE_TEST_SUITE_P(All, OneGbTag, testing::ValuesIn(tag_commands),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_P(OneGbTag, is_named_by_its_id)
{
    const u8 words[] = {0, 2, 15};
    for (std::size_t i = 0; i < 3; ++i)
        expect_frame(Arguments::by_id(words[i]), head(GetParam().len_by_id[i], words[i]) +
                                                     counting(0x11, std::size_t{2} * words[i]) +
                                                     hex(GetParam().own));
}

TEST_P(OneGbTag, is_named_by_a_mask)
{
    const char* masks[] = {"02 00 20 00", "02 00 20 09 B1 B2", "02 00 20 10 B1 B2"};
    const u8 bits[] = {0, 9, 16};
    for (std::size_t i = 0; i < 3; ++i)
        expect_frame(Arguments::by_mask(bits[i]),
                     head(GetParam().len_by_mask[i], 0xFF) + hex(GetParam().own) + hex(masks[i]));
}

TEST_P(OneGbTag, has_an_id_of_at_most_15_words)
{
    for (const int words : {16, 17, 31, 32, 128, 254})
        for (const Call call : {GetParam().gb, GetParam().jb}) {
            Arguments arguments;
            arguments.words = static_cast<u8>(words);
            EXPECT_EQ(call(reader_, arguments), TAGWIRE_BAD_ARGUMENT) << words;
            arguments.expect_untouched();
            sends_.expect_none();
            EXPECT_FALSE(reader_->isInventoryCmd);
        }
}

TEST_P(OneGbTag, succeeds)
{
    with_answer(answer(0x63, GetParam().code, 0x00), TAGWIRE_OK, [](const Arguments& a) {
        EXPECT_EQ(a.error, -1);
        EXPECT_EQ(a.address, GetParam().writes_address ? 0x63 : 0x05);
        EXPECT_EQ(a.data, repeat(0x99, 250));
    });
}

TEST_P(OneGbTag, says_what_was_wrong)
{
    with_answer(answer(0x63, GetParam().code, 0xFC, hex("E4")), TAGWIRE_TAG_ERROR, [](const Arguments& a) {
        EXPECT_EQ(a.error, 0xE4);
        EXPECT_EQ(a.address, 0x05);
        EXPECT_EQ(a.data, repeat(0x99, 250));
    });
}

TEST_P(OneGbTag, leaves_the_outputs_alone_with_another_status)
{
    for (const int status : {0x01, 0x05, 0x30, 0xEE, 0xFA, 0xFB, 0xFD, 0xFF})
        expect_nothing_written(answer(0x63, GetParam().code, static_cast<u8>(status), hex("E4")), status);
}

TEST_P(OneGbTag, leaves_the_outputs_alone_without_a_good_answer)
{
    const Bytes good = answer(0x63, GetParam().code, 0x00);
    expect_nothing_written(good, TAGWIRE_NO_ANSWER, TAGWIRE_NO_ANSWER);
    expect_nothing_written(good, TAGWIRE_BAD_HANDLE, TAGWIRE_BAD_HANDLE);
    expect_nothing_written(spoiled(good), TAGWIRE_BAD_CRC);
    for (const int status : {0x00, 0x05, 0xFC})
        expect_nothing_written(answer(0x63, 0x57, static_cast<u8>(status), hex("E4")), TAGWIRE_WRONG_COMMAND);
    expect_nothing_written(spoiled(answer(0x63, 0x57, 0x00)), TAGWIRE_BAD_CRC);
}

TEST_P(OneGbTag, sets_the_inventory_mark_as_its_command_does)
{
    for (const Call call : {GetParam().gb, GetParam().jb}) {
        FixedAnswer good(reader_, answer(0x63, GetParam().code, 0x00));
        reader_->isInventoryCmd = !GetParam().marks_inventory;
        std::memset(reader_->recvBuff, 0x99, 6000);
        Arguments arguments;
        EXPECT_EQ(call(reader_, arguments), TAGWIRE_OK);
        EXPECT_EQ(sends_.in_inventory, GetParam().marks_inventory);
        EXPECT_EQ(good.in_inventory, GetParam().marks_inventory);
        EXPECT_TRUE(sends_.cleared);
        EXPECT_FALSE(sends_.reading);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
}

TEST_P(OneGbTag, needs_an_open_handle_that_is_not_busy)
{
    const OpenHandle open(reader_);
    for (const Call call : {GetParam().gb, GetParam().jb}) {
        Arguments arguments;
        arguments.handle = OpenHandle::number + 1;
        EXPECT_EQ(call(reader_, arguments), TAGWIRE_BAD_HANDLE);
        reader_->isStopStocktaking = false;
        arguments.handle = OpenHandle::number;
        EXPECT_EQ(call(reader_, arguments), TAGWIRE_BUSY);
        reader_->isStopStocktaking = true;
        arguments.expect_untouched();
    }
    sends_.expect_none();
}

// ---- One command each

class GbTag : public testing::Test {
  protected:
    TestReader reader_;
    WatchedSends sends_{reader_};
    Arguments arguments_;
};

TEST_F(GbTag, erase_has_its_count_between_word_pointer_and_password)
{
    const FixedAnswer unanswered(reader_, {}, TAGWIRE_NO_ANSWER);
    erase_gb(reader_, arguments_);
    sends_.expect(hex("0E 05 5A 00 03 12 34 45 67 A1 A2 A3 A4"));
}

TEST_F(GbTag, read_over_the_link)
{
    reader_.feed(answer(0x63, 0x58, 0x00, hex("10 20 30 40")));
    arguments_ = Arguments::by_id(2);
    EXPECT_EQ(read_gb(reader_, arguments_), TAGWIRE_OK);
    EXPECT_EQ(reader_.sent(), with_crc(hex("11 05 58 02 11 12 13 14 03 12 34 06 A1 A2 A3 A4")));
    EXPECT_EQ(arguments_.data, hex("10 20 30 40") + repeat(0x99, 246));
    EXPECT_EQ(arguments_.address, 0x63);
    EXPECT_EQ(arguments_.error, -1);
}

TEST_F(GbTag, command_of_jb_is_the_one_in_the_slot_of_gb)
{
    reader_->operations.ReadData_GB = [](auto...) { return 101; };
    reader_->operations.WriteData_GB = [](auto...) { return 102; };
    reader_->operations.BlockErase_GB = [](auto...) { return 103; };
    reader_->operations.Lock_GB = [](auto...) { return 104; };
    reader_->operations.KillTag_GB = [](auto...) { return 105; };
    const Call of_jb[] = {read_jb, write_jb, erase_jb, lock_jb, kill_jb};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(of_jb[i](reader_, arguments_), 101 + i);
    sends_.expect_none();
}

TEST_F(GbTag, read_without_an_answer)
{
    const VirtualTime time;
    EXPECT_EQ(read_gb(reader_, arguments_), TAGWIRE_NO_ANSWER);
    arguments_.expect_untouched();
}

TEST_F(GbTag, read_gives_as_many_bytes_as_came)
{
    for (const std::size_t count : {0U, 1U, 2U, 12U, 250U}) {
        arguments_ = Arguments{};
        const FixedAnswer fixed(reader_, answer(0x63, 0x58, 0x00, counting(0x01, count)));
        EXPECT_EQ(read_jb(reader_, arguments_), TAGWIRE_OK);
        EXPECT_EQ(arguments_.data, counting(0x01, count) + repeat(0x99, 250 - count));
    }
}

// Zeros behind a frame do not spoil its CRC; the count of bytes received tells the length of the data.
TEST_F(GbTag, read_with_zeros_behind_its_answer)
{
    const Bytes good = answer(0x63, 0x58, 0x00, hex("10 20"));
    {
        const FixedAnswer fixed(reader_, good + hex("00 00"));
        EXPECT_EQ(read_gb(reader_, arguments_), TAGWIRE_OK);
        EXPECT_EQ(arguments_.data, hex("10 20") + Bytes(good.end() - 2, good.end()) + repeat(0x99, 246));
    }
    arguments_ = Arguments{};
    const FixedAnswer fixed(reader_, good + repeat(0x00, 1000));
    EXPECT_EQ(read_gb(reader_, arguments_), TAGWIRE_OK);
}

TEST_F(GbTag, refusal_that_is_too_short_for_a_code)
{
    const FixedAnswer fixed(reader_, answer(0x63, 0x5C, 0xFC));
    EXPECT_EQ(kill_gb(reader_, arguments_), TAGWIRE_TAG_ERROR);
    EXPECT_GE(arguments_.error, 0);
    EXPECT_LE(arguments_.error, 255);
}

TEST_F(GbTag, id_pointers_are_not_looked_at_with_a_mask_and_the_other_way_round)
{
    const FixedAnswer unanswered(reader_, {}, TAGWIRE_NO_ANSWER);
    const Operations& operations = reader_.operations();
    u8 address = 0x05;
    u8 password[] = {0xA1, 0xA2, 0xA3, 0xA4};
    u8 mask_at[] = {0x00, 0x20};
    u8 mask[] = {0xB1};
    u8 id[] = {0x11, 0x12};
    int error = 77;
    operations.KillTag_GB(reader_, &address, nullptr, 255, password, 0x02, mask_at, 8, mask, &error);
    sends_.expect(hex("0E 05 5C FF A1 A2 A3 A4 02 00 20 08 B1"));
    operations.KillTag_GB(reader_, &address, id, 1, password, 0x02, nullptr, 8, nullptr, &error);
    sends_.expect(hex("0B 05 5C 01 11 12 A1 A2 A3 A4"));
}

TEST_F(GbTag, longest_frame)
{
    arguments_ = Arguments::by_id(15);
    arguments_.written_words = 106;  // 2 x (15 + 106) + 13 = 255
    arguments_.written = repeat(0x77, 212);
    const FixedAnswer unanswered(reader_, {}, TAGWIRE_NO_ANSWER);
    write_gb(reader_, arguments_);
    EXPECT_EQ(sends_.frame.size(), 256U);
    sends_.expect(hex("FF 05 59 6A 0F") + counting(0x11, 30) + hex("03 12 34") + repeat(0x77, 212) +
                  hex("A1 A2 A3 A4"));
}

// What goes out of a write with a Len that wraps is as long as it announces.
TEST_F(GbTag, write_with_a_len_that_wraps)
{
    arguments_.written_words = 130;  // 2 x 130 + 13 = 256 + 17
    arguments_.written = counting(0x00, 260);
    const FixedAnswer good(reader_, answer(0x63, 0x59, 0x00));
    EXPECT_EQ(write_gb(reader_, arguments_), TAGWIRE_OK);
    EXPECT_EQ(sends_.frame.size(), 18U);
    sends_.expect(hex("11 05 59 82 00 03 12 34 00 01 02 03 04 05 06 07"));
    EXPECT_EQ(arguments_.error, -1);
}

TEST_F(GbTag, writes_of_every_size_stay_inside_their_buffer)
{
    const FixedAnswer unanswered(reader_, {}, TAGWIRE_NO_ANSWER);
    for (int words = 0; words <= 255; ++words)
        for (const u8 bits : {u8{0}, u8{1}, u8{255}}) {
            arguments_ = Arguments::by_mask(bits);
            arguments_.written_words = static_cast<u8>(words);
            arguments_.written = counting(0x40, 2U * static_cast<std::size_t>(words));
            write_gb(reader_, arguments_);
            const std::size_t len =
                (2U * static_cast<std::size_t>(words) + 17U + arguments_.mask.size()) % 256U;
            ASSERT_EQ(sends_.frame.size(), len + 1U) << words;
            ASSERT_EQ(len > 1 ? slow_crc(sends_.frame) : 0, 0) << words;
            ASSERT_EQ(reader_->sServer, reader_.near());
            reader_.sent();
        }
}

// ---- Inventories

struct InventoryArguments {
    int handle = 0;
    u8 address = 0x05;
    u8 mask_flag = 0;
    u8 fast_flag = 0;
    u8 mask_bits = 9;
    Bytes mask_at = hex("00 20");
    Bytes mask = hex("B1 B2");
    Bytes read_at = hex("12 34");
    Bytes password = hex("A1 A2 A3 A4");
    Bytes list = repeat(0x99, 65536);
    u8 antenna = 0x99;
    int length = -99;
    int count = -99;

    Bytes listed() const { return {list.begin(), list.begin() + std::clamp(length, 0, 65536)}; }
    void expect_list(const char* records, int tags, u8 last_antenna) const
    {
        EXPECT_EQ(to_hex(listed()), to_hex(hex(records)));
        EXPECT_EQ(length, static_cast<int>(hex(records).size()));
        expect_no_byte_behind(hex(records).size());
        EXPECT_EQ(count, tags);
        EXPECT_EQ(antenna, last_antenna);
    }
    void expect_no_byte_behind(std::size_t size) const
    {
        EXPECT_TRUE(
            std::all_of(list.begin() + static_cast<long>(size), list.end(), [](u8 b) { return b == 0x99; }));
    }
};

struct Inventory {
    const char* name;
    int (*run)(Reader*, InventoryArguments&);
    const char* in_front;  // fields before the optional groups
    u8 code;
    u8 len[4];  // without groups, fast, with a mask of 9 bits, both
};

int inventory_gb(Reader* r, InventoryArguments& a)
{
    return through<&Operations::Inventory_GB, ::Inventory_GB>(
        r, a.handle, &a.address, 0x02, a.mask_at.data(), a.mask_bits, a.mask.data(), a.mask_flag, 0x80, 0x14,
        a.fast_flag, a.list.data(), &a.antenna, &a.length, &a.count);
}
int inventory_jb(Reader* r, InventoryArguments& a)
{
    return through<&Operations::Inventory_JB, ::Inventory_JB>(
        r, a.handle, &a.address, 0x77, 0x02, a.mask_at.data(), a.mask_bits, a.mask.data(), a.mask_flag, 0x80,
        0x14, a.fast_flag, a.list.data(), &a.antenna, &a.length, &a.count);
}
int mixed_gb(Reader* r, InventoryArguments& a)
{
    return through<&Operations::InventoryMix_GB, ::InventoryMix_GB>(
        r, a.handle, &a.address, 0x02, a.mask_at.data(), a.mask_bits, a.mask.data(), a.mask_flag, 0x03,
        a.read_at.data(), 0x06, a.password.data(), 0x80, 0x14, a.fast_flag, a.list.data(), &a.antenna,
        &a.length, &a.count);
}
int mixed_jb(Reader* r, InventoryArguments& a)
{
    return through<&Operations::InventoryMix_JB, ::InventoryMix_JB>(
        r, a.handle, &a.address, 0x77, 0x02, a.mask_at.data(), a.mask_bits, a.mask.data(), a.mask_flag, 0x03,
        a.read_at.data(), 0x06, a.password.data(), 0x80, 0x14, a.fast_flag, a.list.data(), &a.antenna,
        &a.length, &a.count);
}

const Inventory inventories[] = {
    {"gb", inventory_gb, "", 0x56, {4, 6, 10, 12}},
    {"jb", inventory_jb, "77", 0x56, {5, 7, 11, 13}},
    {"mixed_gb", mixed_gb, "03 12 34 06 A1 A2 A3 A4", 0x57, {12, 14, 18, 20}},
    {"mixed_jb", mixed_jb, "77 03 12 34 06 A1 A2 A3 A4", 0x57, {13, 15, 19, 21}},
};

class GbInventory : public testing::TestWithParam<Inventory> {
  protected:
    GbInventory()
    {
        SeenTags::take();
        reader_->ReaderAddr = 0x05;
    }

    int run() { return GetParam().run(reader_, arguments_); }
    Bytes frame(u8 status, const char* data = "") const
    {
        return answer(0x05, GetParam().code, status, hex(data));
    }
    Bytes head(u8 len) const { return Bytes{len, 0x05, GetParam().code} + hex(GetParam().in_front); }
    // The frame sent with these flags, by a reader that ends at once.
    Bytes sent(u8 mask_flag, u8 fast_flag)
    {
        arguments_.mask_flag = mask_flag;
        arguments_.fast_flag = fast_flag;
        reader_.feed(frame(0xFB));
        EXPECT_EQ(run(), 0xFB);
        return sends_.frame;
    }
    void expect_sent(u8 mask_flag, u8 fast_flag, const Bytes& expected)
    {
        const OpenHandle open(reader_);
        for (const int handle : {0, OpenHandle::number}) {
            arguments_.handle = handle;
            EXPECT_EQ(to_hex(sent(mask_flag, fast_flag)), to_hex(with_crc(expected)));
        }
    }

    TestReader reader_;
    WatchedSends sends_{reader_};
    InventoryArguments arguments_;
};

INSTANTIATE_TEST_SUITE_P(All, GbInventory, testing::ValuesIn(inventories),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_P(GbInventory, sends_mask_and_fast_fields_when_their_flags_are_1)
{
    const auto& len = GetParam().len;
    expect_sent(0, 0, head(len[0]));
    expect_sent(0, 1, head(len[1]) + hex("80 14"));
    expect_sent(1, 0, head(len[2]) + hex("02 00 20 09 B1 B2"));
    expect_sent(1, 1, head(len[3]) + hex("02 00 20 09 B1 B2 80 14"));
    for (const int other : {2, 0x81, 0xFF})
        expect_sent(static_cast<u8>(other), static_cast<u8>(other), head(len[0]));
}

TEST_P(GbInventory, sends_masks_of_any_length)
{
    const int none = GetParam().len[2] - 2;
    const struct {
        u8 bits;
        u8 bytes;
    } masks[] = {{0, 0}, {1, 1}, {8, 1}, {16, 2}, {17, 3}, {255, 32}};
    for (const auto& m : masks) {
        arguments_.mask_bits = m.bits;
        arguments_.mask = counting(0xB1, m.bytes);
        const Bytes block = hex("02 00 20") + Bytes{m.bits} + arguments_.mask;
        expect_sent(1, 0, head(static_cast<u8>(none + m.bytes)) + block);
        expect_sent(1, 1, head(static_cast<u8>(none + 2 + m.bytes)) + block + hex("80 14"));
    }
}

TEST_P(GbInventory, lists_the_records_of_all_frames_in_order)
{
    reader_.feed(frame(0x03, "01 01 01 AA 50") + frame(0x03, "02 02 01 BB 51 00 52") +
                 frame(0x01, "04 01 01 CC 53"));
    EXPECT_EQ(run(), 0x01);
    arguments_.expect_list("01 AA 50 01 BB 51 00 52 01 CC 53", 4, 0x04);
    EXPECT_EQ(arguments_.address, 0x05);
}

TEST_P(GbInventory, ends_with_status_1_or_2)
{
    for (const u8 status : {u8{1}, u8{2}}) {
        arguments_ = InventoryArguments{};
        reader_.feed(frame(status, "04 01 01 CC 53") + frame(0x03, "01 01 01 AA 50"));
        EXPECT_EQ(run(), status);
        arguments_.expect_list("01 CC 53", 1, 0x04);
        reader_.feed(frame(status, "08 00"));
        EXPECT_EQ(run(), status);
        EXPECT_EQ(arguments_.length, 0);
        EXPECT_EQ(arguments_.count, 0);
        EXPECT_EQ(arguments_.antenna, 0x08);
    }
}

TEST_P(GbInventory, lists_nothing_of_what_stands_behind_status_1_or_2)
{
    static Bytes frames;
    reader_->operations.GetInventoryDataFromPort1 = [](Reader*, u8* to, int* length, int) {
        std::copy(frames.begin(), frames.end(), to);
        *length = static_cast<int>(frames.size());
        return 0x03;
    };
    for (const u8 status : {u8{1}, u8{2}}) {
        arguments_ = InventoryArguments{};
        frames =
            frame(0x03, "01 01 01 AA 50") + frame(status, "02 01 01 BB 51") + frame(0x03, "04 01 01 CC 53");
        EXPECT_EQ(run(), status);
        arguments_.expect_list("01 AA 50 01 BB 51", 2, 0x02);
    }
    arguments_ = InventoryArguments{};
    frames = frame(0x03, "01 01 01 AA 50");
    EXPECT_EQ(run(), 0x03);
    arguments_.expect_list("01 AA 50", 1, 0x01);
}

TEST_P(GbInventory, returns_the_final_status)
{
    for (const int status : {0xF8, 0xF9, 0xFB, 0xFD, 0xFE, 0xFF}) {
        arguments_ = InventoryArguments{};
        reader_.feed(frame(0x03, "01 01 01 AA 50") + frame(static_cast<u8>(status)));
        EXPECT_EQ(run(), status);
        arguments_.expect_list("01 AA 50", 1, 0x01);
        arguments_ = InventoryArguments{};
        reader_.feed(frame(static_cast<u8>(status)));
        EXPECT_EQ(run(), status);
        arguments_.expect_list("", 0, 0x99);
    }
}

TEST_P(GbInventory, stops_listing_at_a_frame_of_another_status)
{
    for (const int status : {0x00, 0x04, 0x26}) {
        const Bytes other = frame(static_cast<u8>(status), "01 01 01 DD 50");
        arguments_ = InventoryArguments{};
        reader_.feed(other + frame(0x01, "04 01 01 CC 53"));
        EXPECT_EQ(run(), status);
        arguments_.expect_list("", 0, 0x99);
        reader_.feed(frame(0x03, "01 01 01 AA 50") + other + frame(0x01, "04 01 01 CC 53"));
        EXPECT_EQ(run(), status);
        arguments_.expect_list("01 AA 50", 1, 0x01);
    }
}

TEST_P(GbInventory, takes_frames_too_short_for_records)
{
    reader_.feed(frame(0x03) + frame(0x03, "01") + frame(0x01, "04 00"));
    EXPECT_EQ(run(), 0x01);
    EXPECT_EQ(arguments_.length, 0);
    EXPECT_EQ(arguments_.antenna, 0x04);
    arguments_.expect_no_byte_behind(0);
}

TEST_P(GbInventory, gives_its_tags_to_the_callback_too)
{
    const bool mixed = GetParam().code == 0x57;
    reader_->MypCallBack = SeenTags::callback;
    reader_.feed(frame(0x03, mixed ? "01 01 10 01 AA 50" : "01 01 01 AA 50") +
                 frame(0x01, mixed ? "04 01 11 01 BB 51" : "04 01 01 BB 51"));
    EXPECT_EQ(run(), 0x01);
    arguments_.expect_list(mixed ? "10 01 AA 50 11 01 BB 51" : "01 AA 50 01 BB 51", 2, 0x04);
    const auto seen = SeenTags::take();
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].uid, "AA");
    EXPECT_EQ(seen[1].uid, "BB");
    EXPECT_EQ(seen[1].kind, 1);
    EXPECT_EQ(seen[1].tag.ANT, 0x04);
    EXPECT_EQ(seen[1].tag.RSSI, 0x51);
    EXPECT_EQ(seen[1].tag.PacketParam, mixed ? 0x11 : 0x00);
}

TEST_P(GbInventory, lists_nothing_when_the_callback_alone_gets_the_tags)
{
    reader_->MypCallBack = SeenTags::callback;
    reader_->InventoryBackUID = true;
    reader_.feed(frame(0x03, "01 01 01 AA 50 00") + frame(0x02, "04 01 01 BB 51 00"));
    EXPECT_EQ(run(), 0x02);
    arguments_.expect_list("", 0, 0x99);
    EXPECT_EQ(SeenTags::take().size(), 2U);
}

TEST_P(GbInventory, returns_receiver_errors)
{
    static int error;
    static int command;
    reader_->operations.GetInventoryDataFromPort1 = [](Reader*, u8*, int* length, int cmd) {
        command = cmd;
        *length = 0;
        return error;
    };
    for (const bool to_callback : {false, true})
        for (const int result : {48, 55, 238}) {
            error = result;
            arguments_ = InventoryArguments{};
            reader_->InventoryBackUID = to_callback;
            EXPECT_EQ(run(), result);
            EXPECT_EQ(command, GetParam().code);
            EXPECT_EQ(arguments_.count, 0);
            EXPECT_EQ(arguments_.antenna, 0x99);
            arguments_.expect_no_byte_behind(0);
            if (result == 48 || to_callback) {
                EXPECT_EQ(arguments_.length, result == 48 ? -99 : 0);
            }
            EXPECT_FALSE(reader_->isInventoryCmd);
        }
}

TEST_P(GbInventory, needs_an_open_handle_that_is_not_busy)
{
    const OpenHandle open(reader_);
    arguments_.handle = OpenHandle::number + 1;
    EXPECT_EQ(run(), TAGWIRE_BAD_HANDLE);
    reader_->isStopStocktaking = false;
    arguments_.handle = OpenHandle::number;
    EXPECT_EQ(run(), TAGWIRE_BUSY);
    EXPECT_EQ(arguments_.count, -99);
    sends_.expect_none();
}

TEST_P(GbInventory, ends_when_nothing_comes)
{
    const VirtualTime time;
    EXPECT_EQ(run(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(arguments_.count, 0);
    EXPECT_EQ(arguments_.length, -99);
}

TEST_P(GbInventory, marks_the_reader_while_it_runs)
{
    static bool receiving;
    static bool scratch_is_clear;
    reader_->operations.GetInventoryDataFromPort1 = [](Reader* reader, u8* to, int* length, int cmd) {
        const auto zero = [](u8 b) { return b == 0; };
        receiving = reader->isInventoryCmd;
        scratch_is_clear = std::all_of(std::begin(reader->szBuff), std::end(reader->szBuff), zero) &&
                           std::all_of(std::begin(reader->szBuff1), std::end(reader->szBuff1), zero);
        return I_GetInventoryDataFromPort1(reader, to, length, cmd);
    };
    std::memset(reader_->recvBuff, 0x99, sizeof reader_->recvBuff);
    std::memset(reader_->szBuff, 0x99, sizeof reader_->szBuff);
    std::memset(reader_->szBuff1, 0x99, sizeof reader_->szBuff1);
    reader_.feed(frame(0x01, "04 01 01 CC 53"));
    EXPECT_EQ(run(), 0x01);
    arguments_.expect_list("01 CC 53", 1, 0x04);
    EXPECT_TRUE(sends_.in_inventory);
    EXPECT_TRUE(sends_.cleared);
    EXPECT_FALSE(sends_.reading);
    EXPECT_TRUE(receiving);
    EXPECT_TRUE(scratch_is_clear);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_F(GbTag, inventories_take_null_outputs)
{
    const Operations& operations = reader_.operations();
    reader_->ReaderAddr = 0x05;
    u8 address = 0x05;
    u8 password[4] = {};
    u8 read_at[2] = {};
    reader_.feed(answer(0x05, 0x56, 0x01, hex("04 01 01 CC 53")));
    EXPECT_EQ(operations.Inventory_GB(reader_, &address, 0, nullptr, 0, nullptr, 0, 0, 0, 0, nullptr, nullptr,
                                      nullptr, nullptr),
              1);
    reader_.feed(answer(0x05, 0x57, 0x01, hex("04 01 01 CC 53")));
    EXPECT_EQ(operations.InventoryMix_JB(reader_, &address, 0, 0, nullptr, 0, nullptr, 0, 0, read_at, 0,
                                         password, 0, 0, 0, nullptr, nullptr, nullptr, nullptr),
              1);
}

}  // namespace
}  // namespace tagwire::engine::test
