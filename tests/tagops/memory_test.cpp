// Reading and writing the memory of one Gen2 tag: what is sent, and what an answer gives.
#include "tagops/addressing_rules.h"
#include "tagwire/memory.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 Mem = 0x03;
constexpr u8 WordPtr = 0x07;
constexpr u8 Num = 0x04;
constexpr u8 MaskMem = 0x02;

using Run = int (*)(Reader*, TagCall&);

int read(Reader* r, TagCall& c)
{
    return through<&Operations::ReadData_G2, ::ReadData_G2>(
        r, c.handle, &c.address, c.EPC(), c.ENum, Mem, WordPtr, Num, c.password.data(), MaskMem, c.MaskAdr(),
        c.MaskLen, c.MaskData(), c.bytes.data(), &c.Errorcode);
}
int read_far(Reader* r, TagCall& c)
{
    return through<&Operations::ExtReadData_G2, ::ExtReadData_G2>(
        r, c.handle, &c.address, c.EPC(), c.ENum, Mem, c.word_pointer.data(), Num, c.password.data(), MaskMem,
        c.MaskAdr(), c.MaskLen, c.MaskData(), c.bytes.data(), &c.Errorcode);
}
int erase(Reader* r, TagCall& c)
{
    return through<&Operations::BlockErase_G2, ::BlockErase_G2>(
        r, c.handle, &c.address, c.EPC(), c.ENum, Mem, WordPtr, Num, c.password.data(), MaskMem, c.MaskAdr(),
        c.MaskLen, c.MaskData(), &c.Errorcode);
}
template <auto Slot, auto Exported> int write(Reader* r, TagCall& c)
{
    return through<Slot, Exported>(r, c.handle, &c.address, c.EPC(), c.WNum, c.ENum, Mem, WordPtr,
                                   c.words.data(), c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen,
                                   c.MaskData(), &c.Errorcode);
}
template <auto Slot, auto Exported> int write_far(Reader* r, TagCall& c)
{
    return through<Slot, Exported>(r, c.handle, &c.address, c.EPC(), c.WNum, c.ENum, Mem,
                                   c.word_pointer.data(), c.words.data(), c.password.data(), MaskMem,
                                   c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
int write_epc(Reader* r, TagCall& c)
{
    return through<&Operations::WriteEPC_G2, ::WriteEPC_G2>(r, c.handle, &c.address, c.password.data(),
                                                            c.epc.data(), c.ENum, &c.Errorcode);
}

constexpr Run write_near = write<&Operations::WriteData_G2, ::WriteData_G2>;
constexpr Run write_block = write<&Operations::BlockWrite_G2, ::BlockWrite_G2>;
constexpr Run write_long = write_far<&Operations::ExtWriteData_G2, ::ExtWriteData_G2>;
constexpr Run write_block_long = write_far<&Operations::ExtBlockWrite_G2, ::ExtBlockWrite_G2>;

const Outcome with_address{0, answering_address, -1, untouched_byte, ""};
const Outcome without_address{0, asked_address, -1, untouched_byte, ""};
const Outcome with_words{0, answering_address, -1, untouched_byte, "31 32 33 34"};

const TagCommand read_data{"ReadData_G2", 0x02, read, "31 32 33 34", with_words, true};
const TagCommand read_data_far{"ExtReadData_G2", 0x15, read_far, "31 32 33 34", with_words, false};
const TagCommand erase_data{"BlockErase_G2", 0x07, erase, "", without_address, false};
const TagCommand writes[] = {
    {"WriteData_G2", 0x03, write_near, "", with_address, true},
    {"BlockWrite_G2", 0x10, write_block, "", with_address, false},
    {"ExtWriteData_G2", 0x16, write_long, "", with_address, false},
    {"ExtBlockWrite_G2", 0xCF, write_block_long, "", with_address, false},
};
const TagCommand epc_write{"WriteEPC_G2", 0x04, write_epc, "", without_address, true};

const Form near_form{"", "03 07 04 A1 A2 A3 A4", {12, 24, 74}, {16, 18, 18}};
const Form far_form{"", "03 12 34 04 A1 A2 A3 A4", {13, 25, 75}, {17, 19, 19}};
const Form write_form{"03", "03 07 D1 D2 D3 D4 D5 D6 A1 A2 A3 A4", {18, 30, 80}, {22, 24, 24}};
const Form far_write_form{"03", "03 12 34 D1 D2 D3 D4 D5 D6 A1 A2 A3 A4", {19, 31, 81}, {23, 25, 25}};

const std::vector<AddressedCommand> addressed = {
    {read_data, near_form},      {erase_data, near_form},   {writes[0], write_form},
    {writes[1], write_form},     {read_data_far, far_form}, {writes[2], far_write_form},
    {writes[3], far_write_form},
};

INSTANTIATE_TEST_SUITE_P(Memory, AnswerRules, testing::ValuesIn(commands_of(addressed)),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(WriteEPC, AnswerRules, testing::Values(epc_write),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Memory, AddressingRules, testing::ValuesIn(addressed),
                         testing::PrintToStringParamName());

// ---- Reads

class MemoryRead : public TagCommands, public testing::WithParamInterface<TagCommand> {
  protected:
    Outcome read(const Bytes& frame) const { return received(GetParam(), frame); }
    Bytes words(const Bytes& data) const { return answer(answering_address, GetParam().code, 0, data); }
    static Outcome data(const Bytes& expected)
    {
        return {0, answering_address, -1, untouched_byte, to_hex(expected)};
    }
};

INSTANTIATE_TEST_SUITE_P(Both, MemoryRead, testing::Values(read_data, read_data_far),
                         testing::PrintToStringParamName());

TEST_P(MemoryRead, gives_as_many_bytes_as_came)
{
    for (const int count : {0, 1, 2, 7, 8, 9, 250})
        EXPECT_EQ(read(words(counting(count))), data(counting(count)));
}

// Zeros behind a frame leave its CRC good: what was received counts.
TEST_P(MemoryRead, takes_its_count_from_what_was_received)
{
    const Bytes frame = words(hex("31 32"));
    const Bytes crc(frame.end() - 2, frame.end());
    EXPECT_EQ(read(frame + hex("00 00")), data(hex("31 32") + crc));
    EXPECT_EQ(read(frame + hex("00 00 00 00")), data(hex("31 32") + crc + hex("00 00")));
}

TEST_P(MemoryRead, gives_at_most_what_one_frame_holds)
{
    const Bytes frame = words(hex("31 32"));
    const Bytes crc(frame.end() - 2, frame.end());
    EXPECT_EQ(read(frame + repeat(0, 4000)), data(hex("31 32") + crc + repeat(0, 246)));
}

TEST_F(TagCommands, tag_error_that_is_too_short_for_a_code_gives_the_byte_in_its_place)
{
    for (const TagCommand& command : commands_of(addressed)) {
        const Bytes frame = answer(answering_address, command.code, 0xFC);
        Outcome expected = nothing_but(0xFC);
        expected.Errorcode = frame[4];
        EXPECT_EQ(received(command, frame), expected) << command.name;
    }
}

// ---- Writes

class MemoryWrite : public TagCommands, public testing::WithParamInterface<TagCommand> {
  protected:
    bool is_far() const { return GetParam().code == 0x16 || GetParam().code == 0xCF; }

    // The frame that goes out when Len is what one byte holds of the sum.
    std::string wrapped(const TagCall& call, std::size_t len) const
    {
        Bytes all{static_cast<u8>(len), asked_address, GetParam().code, call.WNum, call.ENum};
        all = all + call.epc + hex(is_far() ? "03 12 34" : "03 07") + call.words + call.password;
        if (call.masked) all = all + hex("02 56 78") + Bytes{call.MaskLen} + call.mask;
        all.resize(len % 256 - 1);
        return to_hex(with_crc(all));
    }
    // The sum of all bytes but Len's own.
    static std::size_t sum(const TagCall& call, std::size_t fixed)
    {
        return call.epc.size() + call.words.size() + call.mask.size() + fixed;
    }
    void expect_wrapped(TagCall call, int count) const
    {
        call.WNum = static_cast<u8>(count);
        call.words = repeat(0x5A, 2U * static_cast<std::size_t>(count));
        const std::size_t len = sum(call, (call.masked ? 16 : 12) + (is_far() ? 1 : 0));
        const Bytes got = sent(GetParam(), call);
        ASSERT_EQ(got.size(), len % 256 + 1) << count;
        if (len % 256 == 0) return;  // the CRC would begin in front of the frame
        ASSERT_EQ(to_hex(got), wrapped(call, len)) << count;
    }
};

INSTANTIATE_TEST_SUITE_P(All, MemoryWrite, testing::ValuesIn(writes), testing::PrintToStringParamName());

TEST_P(MemoryWrite, sends_as_many_words_as_WNum_says)
{
    for (const int count : {0, 1, 2, 32}) {
        TagCall call = TagCall::by_epc(0);
        call.WNum = static_cast<u8>(count);
        call.words = counting(2 * count);
        const Bytes head{static_cast<u8>(2 * count + (is_far() ? 13 : 12)), asked_address, GetParam().code};
        const Bytes place = hex(is_far() ? "03 12 34" : "03 07");
        EXPECT_EQ(to_hex(sent(GetParam(), call)), to_hex(with_crc(head + Bytes{call.WNum} + hex("00") +
                                                                  place + call.words + hex("A1 A2 A3 A4"))));
    }
}

TEST_P(MemoryWrite, announces_and_sends_a_len_that_wraps)
{
    for (int count = 0; count <= 255; ++count) {
        expect_wrapped(TagCall::by_epc(0), count);
        expect_wrapped(TagCall::by_epc(31), count);
        expect_wrapped(TagCall::by_mask(0), count);
        expect_wrapped(TagCall::by_mask(249), count);
    }
    EXPECT_EQ(reader_->sServer, reader_.near()) << "lies behind the send buffer";
}

// 2 x 125 + 12 = 256 + 6
TEST_F(TagCommands, write_of_250_bytes_goes_out_as_7)
{
    TagCall call = TagCall::by_epc(0);
    call.WNum = 125;
    call.words = repeat(0x5A, 250);
    EXPECT_EQ(sent(writes[0], call), with_crc(hex("06 05 03 7D 00")));
}

// ---- The EPC

class EpcWrite : public TagCommands {
  protected:
    std::string sent(int words) const { return to_hex(TagCommands::sent(epc_write, TagCall::by_epc(words))); }
    static std::string frame(const char* head, int epc_bytes)
    {
        return to_hex(with_crc(hex(head) + counting(epc_bytes)));
    }
};

TEST_F(EpcWrite, frame_has_password_and_epc)
{
    EXPECT_EQ(sent(0), frame("09 05 04 00 A1 A2 A3 A4", 0));
    EXPECT_EQ(sent(6), frame("15 05 04 06 A1 A2 A3 A4", 12));
    EXPECT_EQ(sent(31), frame("47 05 04 1F A1 A2 A3 A4", 62));
}

TEST_F(EpcWrite, takes_any_length)
{
    EXPECT_EQ(sent(32), frame("49 05 04 20 A1 A2 A3 A4", 64));
    EXPECT_EQ(sent(123), frame("FF 05 04 7B A1 A2 A3 A4", 246));
}

TEST_F(EpcWrite, announces_and_sends_a_len_that_wraps)
{
    EXPECT_EQ(sent(124), frame("", 0));  // Len 1: the CRC alone, where Len stood
    EXPECT_EQ(sent(125), frame("03 05", 0));
    EXPECT_EQ(sent(130), frame("0D 05 04 82 A1 A2 A3 A4", 4));
    EXPECT_EQ(sent(254), frame("05 05 04 FE", 0));
    EXPECT_EQ(sent(255), frame("07 05 04 FF A1 A2", 0));
    EXPECT_EQ(reader_->sServer, reader_.near()) << "lies behind the send buffer";
}

}  // namespace
}  // namespace tagwire::engine::test
