// Sensor tags with a register file and a memory, and the receiver of long reads.
#include "link/framing.h"
#include "sensor/sensor_call.h"
#include "tagwire/registers.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 MaskMem = 0x02;

// Commands with nothing but a password.
template <auto Slot, auto Exported> int with_password(SensorCall& c)
{
    return through<Slot, Exported>(c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.password.data(),
                                   MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
constexpr auto initialise = with_password<&Operations::Fd_InitRegfile, ::Fd_InitRegfile>;
constexpr auto sleep_deeply = with_password<&Operations::Fd_DeepSleep, ::Fd_DeepSleep>;

int read_register(SensorCall& c)
{
    return through<&Operations::Fd_ReadReg, ::Fd_ReadReg>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.pair.data(), c.password.data(), MaskMem,
        c.MaskAdr(), c.MaskLen, c.MaskData(), c.out(0, 2), &c.Errorcode);
}
int write_register(SensorCall& c)
{
    return through<&Operations::Fd_WriteReg, ::Fd_WriteReg>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.pair.data(), c.second_pair.data(),
        c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
// `setting` is the count of bytes asked for.
int read_memory(SensorCall& c)
{
    return through<&Operations::Fd_ReadMemory, ::Fd_ReadMemory>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.pair.data(), c.setting, c.password.data(),
        u8{0x0D}, c.second_password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(),
        c.out(0, c.setting), &c.Errorcode);
}
int write_memory(SensorCall& c)
{
    return through<&Operations::Fd_WriteMemory, ::Fd_WriteMemory>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.pair.data(), static_cast<u8>(c.data.size()),
        c.data.data(), c.password.data(), u8{0x0D}, c.second_password.data(), MaskMem, c.MaskAdr(), c.MaskLen,
        c.MaskData(), &c.Errorcode);
}
int measure(SensorCall& c)
{
    return through<&Operations::Fd_GetTemperature, ::Fd_GetTemperature>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, u8{0x11}, u8{0x12}, u8{0x13}, u8{0x14}, u8{0x15},
        c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), c.out(0, 2), &c.Errorcode);
}
int start_log(SensorCall& c)
{
    return through<&Operations::Fd_StartLogging, ::Fd_StartLogging>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.pair.data(), c.second_pair.data(),
        c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
int stop_log(SensorCall& c)
{
    return through<&Operations::Fd_StopLogging, ::Fd_StopLogging>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.password.data(), c.second_password.data(), MaskMem,
        c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
int ask_mode(SensorCall& c)
{
    return through<&Operations::Fd_OP_Mode_Chk, ::Fd_OP_Mode_Chk>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, u8{0x0E}, c.password.data(), MaskMem, c.MaskAdr(),
        c.MaskLen, c.MaskData(), c.out(0, 2), &c.Errorcode);
}
int switch_led(SensorCall& c)
{
    return through<&Operations::Fd_LedCtr, ::Fd_LedCtr>(c.reader, c.handle, &c.address, c.EPC(), c.ENum,
                                                        u8{0x0F}, c.password.data(), MaskMem, c.MaskAdr(),
                                                        c.MaskLen, c.MaskData(), &c.Errorcode);
}
// The count of bytes stays as it is where it is not written.
constexpr std::size_t longest_memory = 65536;
constexpr int unwritten_count = -99;
int last_count = unwritten_count;
int read_long_memory(SensorCall& c)
{
    last_count = unwritten_count;
    return through<&Operations::Fd_ExtReadMemory, ::Fd_ExtReadMemory>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.pair.data(), c.second_pair.data(),
        c.password.data(), u8{0x0D}, c.second_password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(),
        c.out(0, longest_memory), &last_count, &c.Errorcode);
}

SensorOutcome always_0(int result, const char* outputs = "") { return {result, 0x05, 0, outputs}; }
SensorOutcome with_code(int result) { return {result, 0x05, 0x31, ""}; }

const char* const memory_fields = "C1 C2 0B A1 A2 A3 A4 0D B1 B2 B3 B4";
const char* const eleven_bytes = "31 32 33 34 35 36 37 38 39 3A 3B";
const char* const memory_write_fields = "C1 C2 E1 E2 E3 A1 A2 A3 A4 0D B1 B2 B3 B4";

const std::vector<SensorCommand> commands = {
    {"Fd_InitRegfile", 0xC0, initialise, "", "A1 A2 A3 A4", 14, 9, 21, 37, 13, 15, 15, always_0(0),
     always_0(0xFC), always_0(5)},
    {"Fd_ReadReg", 0xC1, read_register, "", "C1 C2 A1 A2 A3 A4", 14, 11, 23, 39, 15, 17, 17,
     always_0(0, "31 32"), always_0(0xFC), always_0(5)},
    {"Fd_WriteReg", 0xC2, write_register, "", "C1 C2 D1 D2 A1 A2 A3 A4", 14, 13, 25, 41, 17, 19, 19,
     with_code(0), with_code(0xFC), with_code(5)},
    {"Fd_ReadMemory", 0xC3, read_memory, "", memory_fields, 14, 17, 29, 45, 21, 23, 23,
     always_0(0, eleven_bytes), always_0(0xFC), always_0(5)},
    {"Fd_WriteMemory", 0xC4, write_memory, "03", memory_write_fields, 14, 20, 32, 48, 24, 26, 26,
     with_code(0), with_code(0xFC), with_code(5)},
    {"Fd_GetTemperature", 0xC5, measure, "", "11 12 13 14 15 A1 A2 A3 A4", 14, 14, 26, 42, 18, 20, 20,
     always_0(0, "31 32"), always_0(0xFC, "31 32"), always_0(5, "31 32")},
    {"Fd_StartLogging", 0xC6, start_log, "", "C1 C2 D1 D2 A1 A2 A3 A4", 14, 13, 25, 41, 17, 19, 19,
     with_code(0), with_code(0xFC), with_code(5)},
    {"Fd_StopLogging", 0xC7, stop_log, "", "A1 A2 A3 A4 B1 B2 B3 B4", 14, 13, 25, 41, 17, 19, 19, always_0(0),
     always_0(0xFC), always_0(5)},
    {"Fd_OP_Mode_Chk", 0xC8, ask_mode, "", "0E A1 A2 A3 A4", 14, 10, 22, 38, 14, 16, 16, always_0(0, "31 32"),
     always_0(0xFC, "31 32"), always_0(5, "31 32")},
    {"Fd_LedCtr", 0xC9, switch_led, "", "0F A1 A2 A3 A4", 14, 10, 22, 38, 14, 16, 16, always_0(0),
     always_0(0xFC), always_0(5)},
    {"Fd_DeepSleep", 0xCA, sleep_deeply, "", "A1 A2 A3 A4", 14, 9, 21, 37, 13, 15, 15, always_0(0),
     always_0(0xFC), always_0(5)},
};

const SensorCommand long_read = {"Fd_ExtReadMemory",
                                 0xCB,
                                 read_long_memory,
                                 "",
                                 "C1 C2 D1 D2 A1 A2 A3 A4 0D B1 B2 B3 B4",
                                 14,
                                 18,
                                 30,
                                 46,
                                 22,
                                 24,
                                 24};

INSTANTIATE_TEST_SUITE_P(Registers, SensorFrames, testing::ValuesIn(commands), SensorName());
INSTANTIATE_TEST_SUITE_P(Registers, SensorAnswers, testing::ValuesIn(commands), SensorName());
INSTANTIATE_TEST_SUITE_P(LongRead, SensorFrames, testing::Values(long_read), SensorName());

using Registers = SensorCommands;

TEST_F(Registers, memory_write_of_no_bytes)
{
    SensorCall call = SensorCall::by_mask(reader_, 0);
    call.data.clear();
    EXPECT_EQ(sent(write_memory, call),
              framed("15 05 C4 00 FF C1 C2 A1 A2 A3 A4 0D B1 B2 B3 B4 02 56 78 00"));
    call = SensorCall::by_epc(reader_, 1);
    call.data.clear();
    EXPECT_EQ(sent(write_memory, call), framed("13 05 C4 00 01 01 02 C1 C2 A1 A2 A3 A4 0D B1 B2 B3 B4"));
}

// 2E + L and L + M wrap, and so does what is added; the reader gets what Len announces.
TEST_F(Registers, memory_write_that_is_too_long)
{
    const auto sent_with = [&](SensorCall call, std::size_t bytes) {
        call.data = repeat(0xE7, bytes);
        return hex(sent(write_memory, call));
    };
    const SensorCall by_epc = SensorCall::by_epc(reader_, 14);
    EXPECT_EQ(to_hex(sent_with(by_epc, 210)),
              to_hex(with_crc(hex("FF 05 C4 D2 0E") + counted(28) + hex("C1 C2") + repeat(0xE7, 210) +
                              hex("A1 A2 A3 A4 0D B1 B2 B3 B4"))));
    EXPECT_EQ(to_hex(sent_with(by_epc, 255)),
              to_hex(with_crc(hex("2C 05 C4 FF 0E") + counted(28) + hex("C1 C2") + repeat(0xE7, 8))));
    const SensorCall by_mask = SensorCall::by_mask(reader_, 255);
    EXPECT_EQ(to_hex(sent_with(by_mask, 255)),
              to_hex(with_crc(hex("34 05 C4 FF FF C1 C2") + repeat(0xE7, 44))));
    EXPECT_EQ(sent_with(by_epc, 211).size(), 1U);
    EXPECT_EQ(sent_with(by_epc, 212).size(), 2U);
}

TEST_F(Registers, memory_read_copies_the_count_asked_for)
{
    const auto read = [&](int count, const Bytes& frame) {
        SensorCall call = SensorCall::by_epc(reader_, 2);
        call.setting = static_cast<u8>(count);
        return answered(read_memory, call, frame);
    };
    const Bytes frame = answer(answering, 0xC3, 0, hex("31 32 33"));
    EXPECT_EQ(read(0, frame), always_0(0));
    EXPECT_EQ(read(2, frame), always_0(0, "31 32"));
    // Behind the data stand the CRC and zeros.
    const std::string tail = to_hex(Bytes(frame.begin() + 4, frame.end()) + repeat(0, 5));
    EXPECT_EQ(read(10, frame), always_0(0, tail.c_str()));
    const Bytes longest = repeat(0x37, 250);
    EXPECT_EQ(read(250, answer(answering, 0xC3, 0, longest)), always_0(0, to_hex(longest).c_str()));
    EXPECT_EQ(read(255, answer(answering, 0xC3, 0, longest)).outputs.substr(0, 749), to_hex(longest));
}

TEST_F(Registers, short_answers_give_what_stands_in_the_cleared_buffer)
{
    const Bytes empty = answer(answering, 0xC5, 0x05);
    const std::string crc = to_hex({empty[4], empty[5]});
    EXPECT_EQ(answered(measure, empty), always_0(5, crc.c_str()));
    const Bytes written = answer(answering, 0xC2, 0);
    EXPECT_EQ(answered(write_register, written), (SensorOutcome{0, 0x05, written[4], ""}));
}

// ---- Reads in several packets

// With the bus address of a fresh Reader.
class LongRead : public SensorCommands {
  protected:
    LongRead() { reader_->ReaderAddr = 0x05; }

    static Bytes packet(int status, int number, const Bytes& data, u8 address = 0x05)
    {
        const Bytes head{static_cast<u8>(number >> 8), static_cast<u8>(number), static_cast<u8>(data.size())};
        return answer(address, 0xCB, static_cast<u8>(status), head + data);
    }
    // What the receiver makes of the chunks.
    int receive(const std::vector<Bytes>& chunks, int command = 0xCB)
    {
        ScriptedReads reads(reader_, chunks);
        std::vector<u8> to(buffer_size, 0x99);
        length_ = -99;
        const std::int64_t begin = VirtualTime::now_ms();
        const int result = reader_->operations.GetMemDataFromPort(reader_, to.data(), &length_, command);
        waited_ms_ = VirtualTime::now_ms() - begin;
        received_ = Bytes(to.begin(), to.begin() + std::max(length_, 0));
        return result;
    }
    void expect_received(const std::vector<Bytes>& chunks, const Bytes& expected)
    {
        ASSERT_EQ(receive(chunks), 0);
        ASSERT_EQ(to_hex(received_), to_hex(expected));
    }
    void expect_silence(const std::vector<Bytes>& chunks, int command = 0xCB)
    {
        EXPECT_EQ(receive(chunks, command), TAGWIRE_NO_ANSWER);
        EXPECT_EQ(length_, 0);
    }
    SensorOutcome read(const Bytes& bytes) const { return answered(read_long_memory, bytes); }
    static void expect_count(int count) { EXPECT_EQ(last_count, count); }

    const Bytes first_ = packet(3, 0, hex("11 12"));
    const Bytes second_ = packet(3, 1, hex("21 22 23"));
    const Bytes last_ = packet(1, 2, hex("31"));
    const Bytes all_ = first_ + second_ + last_;
    // What looks like a long packet is waited for: this lets it come to its end.
    const Bytes filler_ = repeat(0x01, 300);
    int length_ = 0;
    std::int64_t waited_ms_ = 0;
    Bytes received_;
};

TEST_F(LongRead, packets_split_at_any_byte)
{
    for (std::size_t at = 0; at <= all_.size(); ++at) {
        const auto middle = all_.begin() + static_cast<std::ptrdiff_t>(at);
        expect_received({Bytes(all_.begin(), middle), Bytes(middle, all_.end())}, all_);
    }
    std::vector<Bytes> bytes;
    for (const u8 byte : all_) bytes.push_back({byte});
    expect_received(bytes, all_);
    expect_received({first_, {}, {}, second_, {}, last_}, all_);
}

TEST_F(LongRead, what_follows_the_last_packet_is_left_out)
{
    expect_received({all_ + first_ + last_}, all_);
    expect_received({all_, first_}, all_);
}

TEST_F(LongRead, noise_is_skipped)
{
    for (const char* noise : {"FF", "00", "05 CB", "09 05 CB", "08 05 CC 03 00", "08 06 CB 03 00",
                              "03 05 CB 01", "A5 A5 A5 A5 A5 A5 A5", "00 00 00 00 00 00", "FE 05 CB"}) {
        SCOPED_TRACE(noise);
        expect_received({hex(noise) + all_ + filler_}, all_);
    }
}

TEST_F(LongRead, packets_of_others_are_skipped)
{
    const Bytes other_address = packet(1, 0, hex("77"), 0x06);
    const Bytes other_command = answer(0x05, 0xCC, 0x01, hex("77"));
    const Bytes error_echo_frame = answer(0x05, 0xEE, 0x01, hex("77"));
    expect_received({other_address + first_ + other_command + second_ + error_echo_frame + last_ + filler_},
                    all_);
}

// A packet whose command byte is 0 is let through to its CRC.
TEST_F(LongRead, packet_with_command_0_is_taken)
{
    const Bytes nameless = answer(0x06, 0x00, 0x03, hex("77"));
    expect_received({nameless + last_}, nameless + last_);
    expect_received({spoiled(nameless) + last_ + filler_}, last_);
}

TEST_F(LongRead, packet_with_a_bad_crc_is_skipped)
{
    expect_received({first_ + spoiled(second_) + last_ + filler_}, first_ + last_);
    expect_silence({spoiled(last_)});
    expect_silence({first_ + spoiled(last_)});
    // A good one inside a bad one.
    const Bytes bad = spoiled(answer(0x05, 0xCB, 0x03, last_));
    expect_received({bad + first_ + last_ + filler_}, last_);
}

TEST_F(LongRead, status_decides_whether_more_packets_follow)
{
    const std::vector<int> terminal = {0x01, 0xF8, 0xF9, 0xFB, 0xFD, 0xFE, 0xFF};
    for (int status = 0; status <= 255; ++status) {
        const Bytes front = packet(status, 0, hex("41"));
        const bool ends = std::find(terminal.begin(), terminal.end(), status) != terminal.end();
        expect_received({front + last_}, ends ? front : front + last_);
    }
}

TEST_F(LongRead, lasts_15_seconds_at_most)
{
    expect_silence({});
    EXPECT_GE(waited_ms_, 15'000);
    EXPECT_LE(waited_ms_, 15'020);
    // Packets do not make it longer.
    VirtualTime::in(14'000, [this] { reader_.feed(first_); });
    const std::int64_t begin = VirtualTime::now_ms();
    EXPECT_EQ(read({}).result, TAGWIRE_NO_ANSWER);
    EXPECT_GE(VirtualTime::now_ms() - begin, 15'000);
    EXPECT_LE(VirtualTime::now_ms() - begin, 15'020);
    VirtualTime::in(14'900, [this] { reader_.feed(all_); });
    EXPECT_EQ(read({}).result, 1);
}

TEST_F(LongRead, read_error_counts_as_no_data)
{
    ScriptedReads reads(reader_, {first_, second_});
    reads.fail_at_end();
    reads.before_call = [&](int call) {
        if (call == 5) reads.then(last_);
    };
    std::vector<u8> to(buffer_size);
    int length = -99;
    EXPECT_EQ(reader_->operations.GetMemDataFromPort(reader_, to.data(), &length, 0xCB), 0);
    EXPECT_EQ(length, static_cast<int>(all_.size()));
}

TEST_F(LongRead, receiver_refuses_an_unknown_link)
{
    reader_->m_type = 2;
    EXPECT_EQ(receive({all_}), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(length_, 0);
    EXPECT_EQ(read(all_), SensorOutcome{TAGWIRE_BAD_HANDLE});
    EXPECT_FALSE(reader_->isInventoryCmd);
    expect_count(unwritten_count);
}

TEST_F(LongRead, error_echo_ends_the_read)
{
    EXPECT_EQ(receive({answer(0x05, 0xEE, 0x00) + last_}, 0xEE), TAGWIRE_WRONG_COMMAND);
    EXPECT_EQ(length_, 0);
    // Unless its status does.
    EXPECT_EQ(receive({answer(0x05, 0xEE, 0xFF)}, 0xEE), 0);
}

TEST_F(LongRead, collection_that_is_full)
{
    const Bytes large = answer(0x05, 0xCB, 0x00, repeat(0x07, 250));
    const Bytes large_last = answer(0x05, 0xCB, 0x01, repeat(0x07, 250));
    std::vector<Bytes> chunks(255, large);
    chunks.push_back(large_last);
    ASSERT_EQ(receive(chunks), 0);
    EXPECT_EQ(length_, 65536);
    chunks.back() = large;
    chunks.push_back(last_);
    const int server = reader_->sServer;
    expect_silence(chunks);
    EXPECT_EQ(reader_->sServer, server);
}

TEST_F(LongRead, a_chunk_as_large_as_the_buffer)
{
    Bytes chunk;
    while (chunk.size() + 300 < buffer_size) chunk = chunk + packet(0, 0, repeat(0x55, 200));
    chunk = chunk + last_;
    expect_received({chunk}, chunk);
    chunk.resize(buffer_size, 0x77);
    ASSERT_EQ(receive({chunk}), 0);
}

TEST_F(LongRead, data_of_numbered_packets_is_joined)
{
    EXPECT_EQ(read(all_), (SensorOutcome{1, 0x05, 1234, "11 12 21 22 23 31"}));
    expect_count(6);
    EXPECT_EQ(read(packet(1, 0, hex("41 42"))), (SensorOutcome{1, 0x05, 1234, "41 42"}));
    expect_count(2);
    EXPECT_EQ(read(packet(1, 0, {})), (SensorOutcome{1, 0x05, 1234, ""}));
    expect_count(0);
}

TEST_F(LongRead, packets_of_other_statuses_are_not_numbered)
{
    const Bytes pause = packet(0, 77, hex("99 98"));
    EXPECT_EQ(read(pause + first_ + pause + second_ + last_),
              (SensorOutcome{1, 0x05, 1234, "11 12 21 22 23 31"}));
    for (const int status : {0xF8, 0xF9, 0xFB, 0xFD, 0xFE, 0xFF}) {
        const SensorOutcome expected{status, 0x05, 1234, "11 12"};
        EXPECT_EQ(read(first_ + answer(0x05, 0xCB, static_cast<u8>(status))), expected);
        expect_count(2);
    }
    // 0xFC does not end the read.
    EXPECT_EQ(read(answer(0x05, 0xCB, 0xFC, hex("0B"))).result, TAGWIRE_NO_ANSWER);
}

TEST_F(LongRead, packet_out_of_order_ends_the_read)
{
    const struct {
        Bytes bytes;
        const char* written;
    } orders[] = {
        {first_ + last_, "11 12"},
        {second_ + first_ + last_, ""},
        {first_ + first_ + last_, "11 12"},
        {packet(1, 1, hex("41")), ""},
        {packet(1, 0x0100, hex("41")), ""},
        {first_ + second_ + spoiled(packet(3, 2, hex("51"))) + packet(1, 3, hex("41")) + filler_,
         "11 12 21 22 23"},
    };
    for (const auto& order : orders) {
        EXPECT_EQ(read(order.bytes), (SensorOutcome{TAGWIRE_BAD_SEQUENCE, 0x05, 1234, order.written}));
        expect_count(unwritten_count);
    }
}

TEST_F(LongRead, numbers_have_two_bytes)
{
    Bytes packets, data;
    for (int number = 0; number < 300; ++number) {
        data.push_back(static_cast<u8>(number % 128));
        packets = packets + packet(number == 299 ? 1 : 3, number, {data.back()});
    }
    EXPECT_EQ(read(packets), (SensorOutcome{1, 0x05, 1234, to_hex(data)}));
    expect_count(300);
}

// n of 255 in packets of one byte: data reads on into the packets behind, and stops with its buffer.
TEST_F(LongRead, count_of_bytes_beyond_the_packet)
{
    const Bytes greedy = answer(0x05, 0xCB, 0x03, hex("00 00 FF 61"));
    const Bytes end = packet(1, 1, hex("62"));
    const SensorOutcome outcome = read(greedy + end);
    EXPECT_EQ(outcome.result, 1);
    expect_count(256);
    const Bytes behind = Bytes(greedy.begin() + 7, greedy.end()) + end;
    EXPECT_EQ(outcome.outputs.substr(0, 3 * behind.size() - 1), to_hex(behind));

    Bytes packets;
    for (int number = 0; number < 300; ++number)
        packets = packets + answer(0x05, 0xCB, number == 299 ? 1 : 3,
                                   {static_cast<u8>(number >> 8), static_cast<u8>(number), 0xFF, 0x61});
    EXPECT_EQ(read(packets).result, 1);
    expect_count(65536);
}

TEST_F(LongRead, exchange_uses_the_receiver_and_the_inventory_mark)
{
    struct Seen {
        static int receive(Reader* reader, u8* to, int* length, int command)
        {
            EXPECT_TRUE(reader->isInventoryCmd);
            EXPECT_EQ(to, reader->recvBuff);
            EXPECT_EQ(length, &reader->recvLength);
            EXPECT_EQ(command, 0xCB);
            return 99;
        }
    };
    WatchedSends sends(reader_);
    std::memset(reader_->recvBuff, 0xA5, sizeof reader_->recvBuff);
    reader_->operations.GetMemDataFromPort = Seen::receive;
    EXPECT_EQ(read({}), SensorOutcome{99});
    EXPECT_TRUE(sends.in_inventory);
    EXPECT_TRUE(sends.cleared);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_F(LongRead, exported_function_checks_handle_and_busy_flag)
{
    SensorCall call = SensorCall::by_epc(reader_, 2);
    call.handle = 200;
    EXPECT_EQ(finish(read_long_memory, call), SensorOutcome{TAGWIRE_BAD_HANDLE});
    call.handle = OpenHandle::number;
    reader_->isStopStocktaking = false;
    EXPECT_EQ(finish(read_long_memory, call), SensorOutcome{TAGWIRE_BUSY});
    reader_->isStopStocktaking = true;
    EXPECT_EQ(answered(read_long_memory, call, all_), (SensorOutcome{1, 0x05, 1234, "11 12 21 22 23 31"}));
}

}  // namespace
}  // namespace tagwire::engine::test
