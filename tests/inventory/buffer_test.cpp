// The tags that a reader keeps, and its search by a list: frames and answers.
#include <gmock/gmock.h>

#include <climits>

#include "support/exchanges.h"
#include "support/tags.h"
#include "support/virtual_time.h"
#include "tagwire/buffer.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

// Inputs have just the size that a call may read, outputs the greatest that it may write.
struct Arguments {
    int handle = 0;
    u8 address = 0x05;
    Bytes mask_at = hex("12 34");
    u8 mask_bits = 9;
    Bytes mask = hex("B1 B2");
    u8 mask_flag = 0;
    u8 tid_flag = 0;
    u8 fast_flag = 0;
    Bytes ids = hex("02 AA BB");
    u8 save_length = 0x99;
    int count = -99;
    int tags = -99;
    Bytes list = repeat(0x99, 65536);
    int length = -99;

    void expect_untouched() const
    {
        EXPECT_EQ(address, 0x05);
        EXPECT_EQ(save_length, 0x99);
        EXPECT_EQ(count, -99);
        EXPECT_EQ(tags, -99);
        EXPECT_EQ(length, -99);
        expect_no_byte_behind(0);
    }
    void expect_no_byte_behind(int size) const
    {
        EXPECT_TRUE(std::all_of(list.begin() + size, list.end(), [](u8 b) { return b == 0x99; }));
    }
    void expect_list(const Bytes& expected) const
    {
        ASSERT_EQ(length, static_cast<int>(expected.size()));
        EXPECT_EQ(to_hex({list.begin(), list.begin() + length}), to_hex(expected));
        expect_no_byte_behind(length);
    }
};

int inventory(Reader* r, Arguments& a)
{
    return through<&Operations::InventoryBuffer_G2, ::InventoryBuffer_G2>(
        r, a.handle, &a.address, 0x04, 0x01, 0x02, a.mask_at.data(), a.mask_bits, a.mask.data(), a.mask_flag,
        0x0A, 0x0B, a.tid_flag, 0x0C, 0x80, 0x14, a.fast_flag, &a.count, &a.tags);
}
int read_buffer(Reader* r, Arguments& a)
{
    return through<&Operations::ReadBuffer_G2, ::ReadBuffer_G2>(r, a.handle, &a.address, &a.length, &a.tags,
                                                                a.list.data());
}
int count_buffer(Reader* r, Arguments& a)
{
    return through<&Operations::GetBufferCnt_G2, ::GetBufferCnt_G2>(r, a.handle, &a.address, &a.count);
}
int clear_buffer(Reader* r, Arguments& a)
{
    return through<&Operations::ClearBuffer_G2, ::ClearBuffer_G2>(r, a.handle, &a.address);
}
int set_save_length(Reader* r, Arguments& a)
{
    return through<&Operations::SetSaveLen, ::SetSaveLen>(r, a.handle, &a.address, 0x2C);
}
int get_save_length(Reader* r, Arguments& a)
{
    return through<&Operations::GetSaveLen, ::GetSaveLen>(r, a.handle, &a.address, &a.save_length);
}
int read_information(Reader* r, Arguments& a)
{
    return through<&Operations::GetTagBufferInfo, ::GetTagBufferInfo>(r, a.handle, &a.address, a.list.data(),
                                                                      &a.length);
}
int clear_tag_buffer(Reader* r, Arguments& a)
{
    return through<&Operations::ClearTagBuffer, ::ClearTagBuffer>(r, a.handle, &a.address);
}
int load_list(Reader* r, Arguments& a)
{
    return through<&Operations::Find_epc_list_cfg, ::Find_epc_list_cfg>(
        r, a.handle, &a.address, 1, 30, a.ids.data(), static_cast<int>(a.ids.size()));
}
int search(Reader* r, Arguments& a)
{
    return through<&Operations::Find_epc_by_list, ::Find_epc_by_list>(r, a.handle, &a.address, 0x84, 0x1234,
                                                                      &a.tags, a.list.data(), &a.length);
}

struct BufferCommand {
    const char* name;
    int (*call)(Reader*, Arguments&);
    u8 code;
    const char* request;  // without CRC
};

// The answer of each is one frame.
const BufferCommand one_frame_commands[] = {
    {"inventory", inventory, 0x18, "06 05 18 04 01"},
    {"count", count_buffer, 0x74, "04 05 74"},
    {"clear", clear_buffer, 0x73, "04 05 73"},
    {"set_save_length", set_save_length, 0x70, "05 05 70 2C"},
    {"get_save_length", get_save_length, 0x71, "04 05 71"},
    {"clear_tag_buffer", clear_tag_buffer, 0x44, "04 05 44"},
    {"load_list", load_list, 0xE6, "0A 05 E6 01 01 1E 02 AA BB"},
};

// The reader device stands at address 0x63, but where a receiver wants the one that it was asked for.
class BufferBase : public testing::Test {
  protected:
    BufferBase()
    {
        SeenTags::take();
        reader_->ReaderAddr = 0x05;
        std::memset(reader_->recvBuff, 0x99, sizeof reader_->recvBuff);
    }

    TestReader reader_;
    WatchedSends sends_{reader_};
    Arguments arguments_;
};

class OneFrame : public BufferBase, public testing::WithParamInterface<BufferCommand> {
  protected:
    int call_with(const Bytes& bytes)
    {
        arguments_ = Arguments{};
        const ScriptedReads reads(reader_, {bytes});
        const int result = GetParam().call(reader_, arguments_);
        EXPECT_FALSE(reader_->isInventoryCmd);
        return result;
    }
    Bytes answered(u8 status, const char* data = "01 02 03 04") const
    {
        return answer(0x63, GetParam().code, status, hex(data));
    }
    bool is_inventory() const { return GetParam().code == 0x18; }
};

INSTANTIATE_TEST_SUITE_P(All, OneFrame, testing::ValuesIn(one_frame_commands),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_P(OneFrame, request)
{
    EXPECT_EQ(call_with(answered(0x00)), TAGWIRE_OK);
    sends_.expect(hex(GetParam().request));
    EXPECT_EQ(arguments_.address, 0x63);
}

TEST_F(BufferBase, exported_calls_need_an_open_handle_that_is_not_busy_and_send_the_same)
{
    const OpenHandle open(reader_);
    std::vector<BufferCommand> commands(std::begin(one_frame_commands), std::end(one_frame_commands));
    commands.push_back({"read", read_buffer, 0x72, "04 05 72"});
    commands.push_back({"information", read_information, 0x43, "04 05 43"});
    commands.push_back({"search", search, 0xE7, "08 05 E7 01 84 12 34"});
    for (const auto& command : commands) {
        arguments_ = Arguments{};
        arguments_.handle = OpenHandle::number + 1;
        EXPECT_EQ(command.call(reader_, arguments_), TAGWIRE_BAD_HANDLE);
        arguments_.handle = OpenHandle::number;
        reader_->isStopStocktaking = false;
        EXPECT_EQ(command.call(reader_, arguments_), TAGWIRE_BUSY);
        reader_->isStopStocktaking = true;
        arguments_.expect_untouched();
        sends_.expect_none();
        const FixedAnswer unanswered(reader_, {}, TAGWIRE_NO_ANSWER);
        ScriptedReads reads(reader_, {});
        reads.fail_at_end();
        EXPECT_EQ(command.call(reader_, arguments_), TAGWIRE_NO_ANSWER);
        sends_.expect(hex(command.request));
    }
}

TEST_P(OneFrame, inventory_mark)
{
    reader_->isInventoryCmd = !is_inventory();
    EXPECT_EQ(call_with(answered(0x00)), TAGWIRE_OK);
    EXPECT_EQ(sends_.in_inventory, is_inventory());
    EXPECT_FALSE(sends_.reading);
    EXPECT_TRUE(sends_.cleared);
}

TEST_P(OneFrame, another_status_is_returned_and_nothing_written)
{
    for (const int status : {0x01, 0x05, 0xEE, 0xFB, 0xFC, 0xFE, 0xFF}) {
        EXPECT_EQ(call_with(answered(static_cast<u8>(status))), status);
        arguments_.expect_untouched();
    }
}

TEST_P(OneFrame, without_a_good_answer_nothing_is_written)
{
    const VirtualTime time;
    EXPECT_EQ(call_with(answer(0x63, 0x4E, 0x00)), TAGWIRE_WRONG_COMMAND);
    arguments_.expect_untouched();
    EXPECT_EQ(call_with(answer(0x63, 0x4E, 0x05)), TAGWIRE_WRONG_COMMAND);
    arguments_.expect_untouched();
    EXPECT_EQ(call_with({}), TAGWIRE_NO_ANSWER);
    arguments_.expect_untouched();
    const ScriptedReads reads(reader_, {});
    reader_->m_type = 2;
    EXPECT_EQ(GetParam().call(reader_, arguments_), TAGWIRE_BAD_HANDLE);
    arguments_.expect_untouched();
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(OneFrame, a_bad_crc_is_seen)
{
    const FixedAnswer fixed(reader_, spoiled(answered(0x00)));
    arguments_ = Arguments{};
    const ScriptedReads reads(reader_, {spoiled(answered(0x00))});
    EXPECT_EQ(GetParam().call(reader_, arguments_), TAGWIRE_BAD_CRC);
    arguments_.expect_untouched();
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(OneFrame, an_answer_shorter_than_its_fields_is_taken)
{
    for (const char* data : {"", "01", "01 02 03"}) EXPECT_EQ(call_with(answered(0x00, data)), TAGWIRE_OK);
    arguments_.expect_no_byte_behind(0);
}

// ---- Inventory into the buffer, counts and lengths

class ReaderBuffer : public BufferBase {
  protected:
    // The frame of an inventory with these flags.
    void expect_sent(u8 mask_flag, u8 tid_flag, u8 fast_flag, const char* without_crc)
    {
        arguments_.mask_flag = mask_flag;
        arguments_.tid_flag = tid_flag;
        arguments_.fast_flag = fast_flag;
        const ScriptedReads reads(reader_, {answer(0x05, 0x18, 0x00)});
        EXPECT_EQ(inventory(reader_, arguments_), TAGWIRE_OK);
        sends_.expect(hex(without_crc));
    }
    int with(int (*call)(Reader*, Arguments&), const std::vector<Bytes>& chunks)
    {
        ScriptedReads reads(reader_, chunks);
        reads.fail_at_end();
        return call(reader_, arguments_);
    }
};

TEST_F(ReaderBuffer, inventory_request_has_the_groups_whose_flags_are_1)
{
    expect_sent(0, 0, 0, "06 05 18 04 01");
    expect_sent(0, 0, 1, "09 05 18 04 01 0C 80 14");
    expect_sent(0, 1, 0, "08 05 18 04 01 0A 0B");
    expect_sent(0, 1, 1, "0B 05 18 04 01 0A 0B 0C 80 14");
    expect_sent(1, 0, 0, "0C 05 18 04 01 02 12 34 09 B1 B2");
    expect_sent(1, 0, 1, "0F 05 18 04 01 02 12 34 09 B1 B2 0C 80 14");
    expect_sent(1, 1, 0, "0E 05 18 04 01 02 12 34 09 B1 B2 0A 0B");
    expect_sent(1, 1, 1, "11 05 18 04 01 02 12 34 09 B1 B2 0A 0B 0C 80 14");
    expect_sent(2, 0xFF, 0x81, "06 05 18 04 01");
    arguments_.mask_bits = 0;
    expect_sent(1, 0, 0, "0A 05 18 04 01 02 12 34 00");
    arguments_.mask_bits = 16;
    expect_sent(1, 0, 0, "0C 05 18 04 01 02 12 34 10 B1 B2");
}

TEST_F(ReaderBuffer, inventory_gives_both_counts)
{
    EXPECT_EQ(with(inventory, {answer(0x63, 0x18, 0x00, hex("01 2C 00 05"))}), TAGWIRE_OK);
    EXPECT_EQ(arguments_.count, 300);
    EXPECT_EQ(arguments_.tags, 5);
    EXPECT_EQ(with(inventory, {answer(0x63, 0x18, 0x00, hex("FF FE FD FC"))}), TAGWIRE_OK);
    EXPECT_EQ(arguments_.count, 0xFFFE);
    EXPECT_EQ(arguments_.tags, 0xFDFC);
}

TEST_F(ReaderBuffer, inventory_may_come_in_pieces_and_late)
{
    const VirtualTime time;
    const Bytes whole = answer(0x63, 0x18, 0x00, hex("01 2C 00 05"));
    ScriptedReads reads(reader_, {});
    reads.before_call = [&](int call) {
        if (call == 3000) reads.then(Bytes(whole.begin(), whole.begin() + 3));
        if (call == 4000) reads.then(Bytes(whole.begin() + 3, whole.end()));
    };
    EXPECT_EQ(inventory(reader_, arguments_), TAGWIRE_OK);
    EXPECT_EQ(arguments_.count, 300);
}

TEST_F(ReaderBuffer, inventory_after_read_errors)
{
    EXPECT_EQ(with(inventory, {hex("09 63")}), TAGWIRE_NO_ANSWER);
    arguments_.expect_untouched();
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_F(ReaderBuffer, count_and_save_length)
{
    EXPECT_EQ(with(count_buffer, {answer(0x63, 0x74, 0x00, hex("01 2C"))}), TAGWIRE_OK);
    EXPECT_EQ(arguments_.count, 300);
    EXPECT_EQ(with(get_save_length, {answer(0x63, 0x71, 0x00, hex("2C"))}), TAGWIRE_OK);
    EXPECT_EQ(arguments_.save_length, 0x2C);
}

// ---- Reading the buffer out

class BufferReading : public ReaderBuffer {
  protected:
    BufferReading() { arguments_.tags = 0; }

    int read(const Bytes& bytes) { return with(read_buffer, {bytes}); }
    static Bytes frame(u8 status, const char* data) { return answer(0x63, 0x72, status, hex(data)); }
};

TEST_F(BufferReading, request)
{
    reader_->isInventoryCmd = true;
    EXPECT_EQ(read(frame(0x01, "01 AA BB CC DD")), 0x01);
    sends_.expect(hex("04 05 72"));
    EXPECT_FALSE(sends_.in_inventory);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_F(BufferReading, gives_the_records_of_all_frames_in_order)
{
    EXPECT_EQ(read(frame(0x03, "02 A1 A2 A3") + frame(0x03, "01 B1") + frame(0x01, "03 C1 C2")), 0x01);
    arguments_.expect_list(hex("A1 A2 A3 B1 C1 C2"));
    EXPECT_EQ(arguments_.tags, 6);
    EXPECT_EQ(arguments_.address, 0x05);
}

TEST_F(BufferReading, takes_the_answer_in_pieces)
{
    const Bytes bytes = frame(0x03, "02 A1 A2 A3") + frame(0x03, "01 B1") + frame(0x01, "03 C1 C2");
    for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
        arguments_ = Arguments{};
        const auto middle = bytes.begin() + static_cast<long>(cut);
        EXPECT_EQ(with(read_buffer, {{bytes.begin(), middle}, {middle, bytes.end()}}), 0x01) << cut;
        arguments_.expect_list(hex("A1 A2 A3 B1 C1 C2"));
        EXPECT_EQ(arguments_.tags, -99 + 6);
    }
}

TEST_F(BufferReading, adds_to_the_count)
{
    arguments_.tags = 1000;
    EXPECT_EQ(read(frame(0x03, "02 A1 A2 A3") + frame(0x01, "FF C1 C2")), 0x01);
    EXPECT_EQ(arguments_.tags, 1257);
}

TEST_F(BufferReading, passes_over_frames_of_another_status)
{
    EXPECT_EQ(read(frame(0x00, "02 A1 A2 A3") + frame(0x02, "04 D1") + frame(0x01, "03 C1 C2")), 0x01);
    arguments_.expect_list(hex("C1 C2"));
    EXPECT_EQ(arguments_.tags, 3);
}

TEST_F(BufferReading, takes_no_notice_of_crc_command_and_address)
{
    EXPECT_EQ(read(hex("0A 77 21 03 02 A1 A2 A3 A4 00 00") + hex("07 78 22 01 01 B1 00 00")), 0x01);
    arguments_.expect_list(hex("A1 A2 A3 A4 B1"));
}

TEST_F(BufferReading, zeroes_both_counts_for_10_bytes_or_fewer)
{
    for (const char* data : {"", "05", "05 C1 C2 C3"}) {
        arguments_ = Arguments{};
        EXPECT_EQ(read(frame(0x01, data)), 0x01);
        EXPECT_EQ(arguments_.length, 0);
        EXPECT_EQ(arguments_.tags, 0);
        arguments_.expect_no_byte_behind(0);
    }
    arguments_ = Arguments{};
    EXPECT_EQ(read(frame(0x01, "05 C1 C2 C3 C4")), 0x01);
    arguments_.expect_list(hex("C1 C2 C3 C4"));
    EXPECT_EQ(arguments_.tags, -99 + 5);
}

TEST_F(BufferReading, leaves_the_outputs_alone_when_the_buffer_is_empty)
{
    arguments_ = Arguments{};
    EXPECT_EQ(read(frame(0xFE, "")), 254);
    arguments_.expect_untouched();
    EXPECT_EQ(read(frame(0x03, "02 A1 A2 A3") + frame(0xFE, "")), 254);
    arguments_.expect_untouched();
}

TEST_F(BufferReading, leaves_the_outputs_alone_without_an_answer)
{
    const VirtualTime time;
    arguments_ = Arguments{};
    EXPECT_EQ(read({}), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(read(frame(0x03, "02 A1 A2 A3")), TAGWIRE_NO_ANSWER);
    const ScriptedReads reads(reader_, {});
    EXPECT_EQ(read_buffer(reader_, arguments_), TAGWIRE_NO_ANSWER);
    arguments_.expect_untouched();
}

TEST_F(BufferReading, a_buffer_as_large_as_the_library_holds)
{
    Bytes bytes;
    Bytes expected;
    for (int i = 0; i < 256; ++i) {
        const Bytes records = repeat(static_cast<std::uint8_t>(i), 249);
        bytes = bytes + answer(0x05, 0x72, i == 255 ? 0x01 : 0x03, hex("02") + records);
        expected = expected + records;
    }
    EXPECT_EQ(read(bytes), 0x01);
    EXPECT_EQ(arguments_.tags, 512);
    EXPECT_EQ(arguments_.length, 63744);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), arguments_.list.begin()));
    arguments_.expect_no_byte_behind(arguments_.length);
}

TEST_F(BufferReading, frames_of_one_byte)
{
    EXPECT_EQ(read(repeat(0x00, 65525) + frame(0x01, "03 C1 C2 C3 C4")), 0x01);
    arguments_.expect_list(hex("C1 C2 C3 C4"));
}

TEST_F(BufferReading, frames_without_records)
{
    // Each is 03 03 03 03: its count is the Len of the frame behind it.
    EXPECT_EQ(read(repeat(0x03, std::size_t{4} * 16000) + frame(0x01, "05 C1 C2 C3 C4")), 0x01);
    arguments_.expect_list(hex("C1 C2 C3 C4"));
    EXPECT_EQ(arguments_.tags, 15999 * 3 + 10 + 5);
}

// ---- The separate tag buffer

class TagBuffer : public ReaderBuffer {
  protected:
    int read(const Bytes& bytes) { return with(read_information, {bytes}); }
    // A record in its frame: 11 bytes, the length byte, and so many bytes.
    static Bytes record(u8 first, u8 length)
    {
        return repeat(first, 11) + Bytes{length} + repeat(0xEE, length);
    }
    static Bytes frame(u8 status, const Bytes& data) { return answer(0x63, 0x43, status, data); }
};

TEST_F(TagBuffer, request)
{
    reader_->isInventoryCmd = true;
    EXPECT_EQ(read(frame(0x00, record(1, 2))), TAGWIRE_OK);
    sends_.expect(hex("04 05 43"));
    EXPECT_FALSE(sends_.in_inventory);
    EXPECT_FALSE(reader_->isInventoryCmd);
    EXPECT_EQ(arguments_.address, 0x05);
}

TEST_F(TagBuffer, gives_records_back_to_back)
{
    EXPECT_EQ(read(frame(0x00, record(0xA1, 2))), TAGWIRE_OK);
    arguments_.expect_list(record(0xA1, 2));
    arguments_ = Arguments{};
    EXPECT_EQ(
        read(frame(0x01, record(0xA1, 12)) + frame(0x01, record(0xA2, 0)) + frame(0x00, record(0xA3, 3))),
        TAGWIRE_OK);
    arguments_.expect_list(record(0xA1, 12) + record(0xA2, 0) + record(0xA3, 3));
}

TEST_F(TagBuffer, a_last_frame_without_data_is_no_record)
{
    EXPECT_EQ(read(frame(0x01, record(0xA1, 2)) + frame(0x00, {})), TAGWIRE_OK);
    arguments_.expect_list(record(0xA1, 2));
    EXPECT_EQ(read(frame(0x00, {})), TAGWIRE_OK);
    EXPECT_EQ(arguments_.length, 0);
}

TEST_F(TagBuffer, takes_no_notice_of_the_crc)
{
    EXPECT_EQ(read(spoiled(frame(0x00, record(0xA1, 2)))), TAGWIRE_OK);
    arguments_.expect_list(record(0xA1, 2));
}

TEST_F(TagBuffer, an_answer_below_6_bytes_is_none)
{
    for (const char* bytes : {"03 63 43 00", "04 63 43 00 00"}) {
        EXPECT_EQ(read(hex(bytes)), TAGWIRE_NO_ANSWER);
        arguments_.expect_untouched();
    }
}

TEST_F(TagBuffer, without_an_answer)
{
    const VirtualTime time;
    EXPECT_EQ(read({}), TAGWIRE_NO_ANSWER);
    const ScriptedReads reads(reader_, {});
    EXPECT_EQ(read_information(reader_, arguments_), TAGWIRE_NO_ANSWER);
    reader_->m_type = 2;
    EXPECT_EQ(read_information(reader_, arguments_), TAGWIRE_BAD_HANDLE);
    arguments_.expect_untouched();
}

TEST_F(TagBuffer, a_record_longer_than_its_frame)
{
    const Bytes bytes = frame(0x00, repeat(0xA1, 11) + hex("FF B1 B2"));
    EXPECT_EQ(read(bytes), TAGWIRE_OK);
    EXPECT_EQ(arguments_.length, 267);
    EXPECT_EQ(to_hex({arguments_.list.begin(), arguments_.list.begin() + 16}),
              to_hex(Bytes(bytes.begin() + 4, bytes.end())));
    arguments_.expect_no_byte_behind(267);
}

TEST_F(TagBuffer, a_frame_shorter_than_a_record)
{
    EXPECT_EQ(read(frame(0x00, hex("B1"))), TAGWIRE_OK);
    EXPECT_EQ(arguments_.length, 12);
    arguments_.expect_no_byte_behind(12);
}

// Frames of 7 bytes, each of which announces a record of 267.
TEST_F(TagBuffer, records_are_cut_off_at_the_greatest_size)
{
    Bytes bytes;
    for (int i = 0; i < 9000; ++i) bytes = std::move(bytes) + hex("06 FF 43 01 FF FF FF");
    EXPECT_EQ(read(bytes + frame(0x00, {})), TAGWIRE_OK);
    EXPECT_GT(arguments_.length, 65536 - 267);
    EXPECT_LE(arguments_.length, 65536);
    EXPECT_EQ(arguments_.length % 267, 0);
    arguments_.expect_no_byte_behind(arguments_.length);
}

// ---- Search by a list

class ListSearch : public ReaderBuffer {
  protected:
    int load(u8 opt, u8 count, int length)
    {
        u8 address = 0x05;
        Bytes ids = repeat(0x77, length > 0 ? static_cast<std::size_t>(length) : 0);
        const ScriptedReads reads(reader_, {answer(0x63, 0xE6, 0x00)});
        return reader_.operations().Find_epc_list_cfg(reader_, &address, opt, count, ids.data(), length);
    }
    int find(const Bytes& bytes) { return with(search, {bytes}); }
    static Bytes frame(u8 status, const char* data) { return answer(0x63, 0xE7, status, hex(data)); }
};

TEST_F(ListSearch, lists_of_any_size_allowed)
{
    EXPECT_EQ(load(1, 30, 246), TAGWIRE_OK);
    sends_.expect(hex("FD 05 E6 01 01 1E") + repeat(0x77, 246));
    EXPECT_EQ(load(0, 0, 0), TAGWIRE_OK);
    sends_.expect(hex("07 05 E6 01 00 00"));
}

TEST_F(ListSearch, lists_out_of_range_are_not_sent)
{
    for (const int count : {31, 32, 255})
        EXPECT_EQ(load(1, static_cast<u8>(count), 246), TAGWIRE_BAD_ARGUMENT);
    for (const int opt : {2, 3, 255}) EXPECT_EQ(load(static_cast<u8>(opt), 30, 246), TAGWIRE_BAD_ARGUMENT);
    for (const int length : {247, 256, 100000}) EXPECT_EQ(load(1, 30, length), TAGWIRE_BAD_ARGUMENT);
    sends_.expect_none();
}

// A length below zero is in range: it takes bytes off the frame.
TEST_F(ListSearch, lists_of_a_length_below_zero)
{
    EXPECT_EQ(load(1, 30, -1), TAGWIRE_OK);
    sends_.expect(hex("06 05 E6 01 01"));
    for (const int length : {-2, -6, -7, -8, -249, -256, -1000, INT_MIN}) {
        load(1, 30, length);
        const unsigned len = (static_cast<unsigned>(length) + 7U) % 256U;
        EXPECT_EQ(sends_.frame.size(), len + 1U) << length;
    }
    EXPECT_EQ(reader_->sServer, reader_.near());
}

TEST_F(ListSearch, request)
{
    EXPECT_EQ(find(frame(0x01, "01 00 00")), 0x01);
    sends_.expect(hex("08 05 E7 01 84 12 34"));
    u8 address = 0x05;
    for (const int antenna : {0x7FFE8001, -32767}) {
        reader_.feed(frame(0x01, "01 00 00"));
        EXPECT_EQ(reader_.operations().Find_epc_by_list(reader_, &address, 0x04, antenna, &arguments_.tags,
                                                        arguments_.list.data(), &arguments_.length),
                  0x01);
        sends_.expect(hex("08 05 E7 01 04 80 01"));
    }
}

TEST_F(ListSearch, marks_the_reader_while_it_runs)
{
    EXPECT_EQ(find(frame(0x01, "01 00 00")), 0x01);
    EXPECT_TRUE(sends_.in_inventory);
    EXPECT_TRUE(sends_.reading);
    EXPECT_TRUE(sends_.cleared);
    EXPECT_FALSE(reader_->isInventoryCmd);
    EXPECT_FALSE(reader_->Reading);
    EXPECT_EQ(find({}), TAGWIRE_NO_ANSWER);
    EXPECT_FALSE(reader_->isInventoryCmd);
    EXPECT_FALSE(reader_->Reading);
}

TEST_F(ListSearch, gives_the_records_of_all_frames_in_order)
{
    EXPECT_EQ(
        find(frame(0x03, "01 00 02 A1 A2 A3") + frame(0x03, "01 FF 01 B1") + frame(0x01, "01 00 01 C1 C2")),
        0x01);
    arguments_.expect_list(hex("A1 A2 A3 B1 C1 C2"));
    EXPECT_EQ(arguments_.tags, 4);
    EXPECT_EQ(arguments_.address, 0x05);
}

TEST_F(ListSearch, ends_with_status_1_or_2)
{
    for (const u8 status : {u8{1}, u8{2}}) {
        arguments_ = Arguments{};
        EXPECT_EQ(find(frame(status, "01 00 01 C1 C2") + frame(0x03, "01 00 02 A1")), status);
        arguments_.expect_list(hex("C1 C2"));
        EXPECT_EQ(arguments_.tags, 1);
    }
}

TEST_F(ListSearch, lists_nothing_of_what_stands_behind_status_1_or_2)
{
    static Bytes frames;
    reader_->operations.GetInventory_FindEPC_DataFromPort = [](Reader*, u8* to, int* length, int) {
        std::copy(frames.begin(), frames.end(), to);
        *length = static_cast<int>(frames.size());
        return 0x03;
    };
    for (const u8 status : {u8{1}, u8{2}}) {
        arguments_ = Arguments{};
        frames = frame(0x03, "01 00 01 A1") + frame(status, "01 00 01 B1") + frame(0x03, "01 00 01 C1");
        EXPECT_EQ(find({}), status);
        arguments_.expect_list(hex("A1 B1"));
        EXPECT_EQ(arguments_.tags, 2);
    }
}

TEST_F(ListSearch, returns_the_final_status)
{
    for (const int status : {0xF8, 0xF9, 0xFB, 0xFD, 0xFE, 0xFF}) {
        arguments_ = Arguments{};
        EXPECT_EQ(find(frame(0x03, "01 00 02 A1 A2 A3") + frame(static_cast<u8>(status), "01")), status);
        arguments_.expect_list(hex("A1 A2 A3"));
        EXPECT_EQ(arguments_.tags, 2);
        EXPECT_EQ(find(frame(static_cast<u8>(status), "01")), status);
        EXPECT_EQ(arguments_.length, 0);
        EXPECT_EQ(arguments_.tags, 0);
    }
}

TEST_F(ListSearch, never_uses_the_callback)
{
    reader_->MypCallBack = SeenTags::callback;
    for (const bool to_callback : {false, true}) {
        reader_->InventoryBackUID = to_callback;
        arguments_ = Arguments{};
        EXPECT_EQ(find(frame(0x03, "01 01 01 01 B1 50") + frame(0x02, "01 01 01 01 C1 50")), 0x02);
        arguments_.expect_list(hex("01 B1 50 01 C1 50"));
        EXPECT_EQ(arguments_.tags, 2);
    }
    EXPECT_EQ(SeenTags::count(), 0U);
}

TEST_F(ListSearch, takes_frames_too_short_for_records)
{
    EXPECT_EQ(find(frame(0x03, "01") + frame(0x03, "01 00") + frame(0x02, "01 00 00")), 0x02);
    EXPECT_EQ(arguments_.length, 0);
    arguments_.expect_no_byte_behind(0);
}

TEST_F(ListSearch, returns_receiver_errors)
{
    static int error;
    reader_->operations.GetInventory_FindEPC_DataFromPort = [](Reader*, u8*, int* length, int) {
        *length = 0;
        return error;
    };
    for (const int result : {48, 55, 238}) {
        error = result;
        arguments_ = Arguments{};
        EXPECT_EQ(find({}), result);
        EXPECT_EQ(arguments_.tags, 0);
        arguments_.tags = -99;
        if (result != 48) arguments_.length = -99;
        arguments_.expect_untouched();
        EXPECT_FALSE(reader_->Reading);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
}

TEST_F(ListSearch, ends_when_nothing_comes)
{
    const VirtualTime time;
    const ScriptedReads reads(reader_, {});
    EXPECT_EQ(search(reader_, arguments_), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(arguments_.tags, 0);
    EXPECT_EQ(arguments_.length, -99);
}

}  // namespace
}  // namespace tagwire::engine::test
