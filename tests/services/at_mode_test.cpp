// The pass-through to the communication module, and its receiver.
#include "services/service_call.h"
#include "tagwire/network.h"

namespace tagwire::engine::test {
namespace {

int change_mode(Call& c) { return c.run<&Operations::ChangeATMode, ::ChangeATMode>(u8{0x31}); }
int pass(Call& c)
{
    Bytes data = hex("41 54 0D");
    return c.run<&Operations::TransparentCMD, ::TransparentCMD>(u8{0x32}, data.data(), 3, c.to(0), &c.number);
}

constexpr const char* module_answer = "0D 0A 4F 4B 0D 0A";

const Service services[] = {
    {"ChangeATMode", change_mode, "05 05 4D 31", "", "", true, false, false, &Operations::ATGetDataFromPort},
    {"TransparentCMD", pass, "08 05 4E 32 41 54 0D", module_answer, "0D 0A 4F 4B 0D 0A # 6", false, false,
     false, &Operations::ATGetDataFromPort},
};
INSTANTIATE_TEST_SUITE_P(AtMode, OneAnswer, testing::ValuesIn(services), service_name);

constexpr int mode_change = 1;
constexpr int pass_through = 2;

const Bytes mode_answer = answer(0x07, 0x4D, 0);
const Bytes data_answer = answer(0x07, 0x4E, 0, hex(module_answer));

class AtMode : public testing::Test {
  protected:
    // The frame that the receiver finds in these chunks, which come `apart_ms` apart.
    Bytes found(int at_state, std::vector<Bytes> chunks)
    {
        const ScriptedReads reads(reader_, std::move(chunks));
        reader_->ATstate = at_state;
        start_ = VirtualTime::now_ms();
        Bytes frame = repeat(unwritten, 256);
        int length = -77;
        result_ = reader_.operations().ATGetDataFromPort(reader_, frame.data(), &length);
        EXPECT_EQ(length > 0, result_ == TAGWIRE_OK);
        EXPECT_GE(length, 0);
        frame.resize(static_cast<std::size_t>(length));
        return frame;
    }
    void expect_found(const Bytes& frame, int at_state, const std::vector<Bytes>& chunks)
    {
        EXPECT_EQ(to_hex(found(at_state, chunks)), to_hex(frame));
        EXPECT_EQ(result_, TAGWIRE_OK);
    }
    void expect_none(int at_state, const std::vector<Bytes>& chunks, int limit_ms = 10'000)
    {
        EXPECT_EQ(to_hex(found(at_state, chunks)), "");
        expect_no_answer_after(limit_ms);
    }
    void expect_no_answer_after(int limit_ms) const
    {
        EXPECT_EQ(result_, TAGWIRE_NO_ANSWER);
        EXPECT_GT(VirtualTime::now_ms() - start_, limit_ms);
        EXPECT_LE(VirtualTime::now_ms() - start_, limit_ms + 20);
    }

    VirtualTime time_;
    TestReader reader_{Link::serial};
    std::int64_t start_ = 0;
    int result_ = -1;
};

TEST_F(AtMode, each_call_says_which_answer_it_waits_for)
{
    StandIn stand_in(reader_, &Operations::ATGetDataFromPort);
    Call call(reader_);
    change_mode(call);
    EXPECT_EQ(stand_in.at_state, mode_change);
    EXPECT_EQ(reader_->ATstate, mode_change);
    pass(call);
    EXPECT_EQ(stand_in.at_state, pass_through);
    EXPECT_EQ(reader_->ATstate, pass_through);
}

TEST_F(AtMode, over_a_serial_link)
{
    reader_.feed(mode_answer);
    Call change(reader_);
    EXPECT_EQ(change_mode(change), TAGWIRE_OK);
    EXPECT_EQ(change.address, 0x07);
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("05 05 4D 31"))));

    reader_.feed(data_answer);
    Call transparent(reader_);
    EXPECT_EQ(pass(transparent), TAGWIRE_OK);
    EXPECT_EQ(transparent.written(), "0D 0A 4F 4B 0D 0A # 6");
    EXPECT_EQ(transparent.address, 0x05);
}

TEST_F(AtMode, without_a_usable_channel)
{
    Bytes frame = repeat(unwritten, 256);
    const auto receive = [&] {
        int length = -77;
        EXPECT_EQ(reader_.operations().ATGetDataFromPort(reader_, frame.data(), &length), TAGWIRE_BAD_HANDLE);
        EXPECT_EQ(length, 0);
    };
    for (const int type : {2, -1}) {
        reader_->m_type = type;
        receive();
    }
    for (const int type : {tcp_link, serial_link}) {
        reader_->m_type = type;
        reader_->hCommPort = -1;
        receive();
    }
    EXPECT_EQ(frame, repeat(unwritten, 256));
    reader_->hCommPort = reader_.near();
}

TEST_F(AtMode, a_tcp_link_has_no_pass_through)
{
    const TestReader tcp(Link::tcp);
    Call call(tcp);
    EXPECT_EQ(change_mode(call), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(tcp.sent().size(), 6U);
    EXPECT_EQ(pass(call), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(call.written(), "");
}

TEST_F(AtMode, a_mode_answer_in_any_pieces)
{
    for (const auto& chunks : all_splits(mode_answer)) expect_found(mode_answer, mode_change, chunks);
    for (const auto& chunks : all_splits(hex("FF 04 00 41") + mode_answer))
        expect_found(mode_answer, mode_change, chunks);
}

// A status is not looked at here, nor are code and CRC.
TEST_F(AtMode, whatever_looks_like_a_mode_answer)
{
    for (const Bytes& frame : {answer(7, 0x4D, 9), answer(7, 0x11, 0), spoiled(mode_answer)})
        expect_found(frame, mode_change, {frame});
    expect_found(hex("05 00 41 05 07 4D"), mode_change, {hex("05 00 41 05 07 4D"), mode_answer});
    reader_.feed(answer(7, 0x4D, 9));
    Call call(reader_);
    EXPECT_EQ(change_mode(call), 9);
    reader_.feed(answer(7, 0x11, 0));
    EXPECT_EQ(change_mode(call), TAGWIRE_WRONG_COMMAND);
    reader_.feed(spoiled(mode_answer));
    EXPECT_EQ(change_mode(call), TAGWIRE_BAD_CRC);
    EXPECT_EQ(call.address, 0x05);
}

TEST_F(AtMode, a_stray_byte_behind_hides_the_answer)
{
    expect_none(mode_change, {mode_answer + Bytes{0x41}});
    expect_none(pass_through, {data_answer + Bytes{0x41}});
    expect_none(mode_change, {Bytes(mode_answer.begin(), mode_answer.end() - 1)});
    expect_none(pass_through, {Bytes(data_answer.begin(), data_answer.end() - 1)});
    expect_found(mode_answer, mode_change, {mode_answer + Bytes{0x41}, mode_answer});
    expect_found(data_answer, pass_through, {data_answer + Bytes{0x41}, {}, data_answer});
}

TEST_F(AtMode, a_module_answer_in_any_pieces)
{
    for (const auto& chunks : all_splits(hex("FF 41") + data_answer))
        expect_found(data_answer, pass_through, chunks);
}

TEST_F(AtMode, module_answers_of_any_length)
{
    for (const std::size_t count : {0U, 1U, 2U, 128U, 249U, 250U}) {
        const Bytes frame = answer(7, 0x4E, 0, repeat(0x41, count));
        expect_found(frame, pass_through, {repeat(0xFF, 300), frame});
        reader_.feed(frame);
        Bytes data = repeat(unwritten, count);
        u8 address = 5;
        int length = -77;
        EXPECT_EQ(reader_.operations().TransparentCMD(reader_, &address, 1, nullptr, 0, data.data(), &length),
                  TAGWIRE_OK);
        EXPECT_EQ(length, static_cast<int>(count));
        EXPECT_EQ(data, repeat(0x41, count));
    }
}

// Its data may end in what looks like a shorter frame.
TEST_F(AtMode, the_first_frame_that_ends_the_bytes_is_the_answer)
{
    const Bytes frame = answer(7, 0x4E, 0, hex("07 01 02 00 03 04"));
    expect_found(frame, pass_through, {frame});
}

TEST_F(AtMode, a_module_answer_with_another_status_is_not_recognised)
{
    for (const u8 status : {1, 5, 255}) expect_none(pass_through, {answer(7, 0x4E, status, hex("41 42 43"))});
    reader_.feed(answer(7, 0x4E, 1, hex("41 42 43")));
    Call call(reader_);
    EXPECT_EQ(pass(call), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(call.written(), "");
}

TEST_F(AtMode, without_a_state_nothing_is_recognised)
{
    for (const int state : {0, 3}) expect_none(state, {mode_answer, data_answer});
}

TEST_F(AtMode, ends_after_7_seconds_of_silence)
{
    for (const int state : {mode_change, pass_through}) expect_none(state, {}, 7000);
    Call call(reader_);
    start_ = VirtualTime::now_ms();
    EXPECT_EQ(result_ = change_mode(call), TAGWIRE_NO_ANSWER);
    expect_no_answer_after(7000);
}

TEST_F(AtMode, ends_after_10_seconds_in_all)
{
    ScriptedReads reads(reader_, {});
    for (int at = 6990; at < 12'000; at += 500) VirtualTime::in(at, [&] { reads.then({0x41}); });
    start_ = VirtualTime::now_ms();
    Call call(reader_);
    EXPECT_EQ(result_ = pass(call), TAGWIRE_NO_ANSWER);
    expect_no_answer_after(10'000);
}

TEST_F(AtMode, a_late_answer_is_found)
{
    ScriptedReads reads(reader_, {});
    VirtualTime::in(6990, [&] { reads.then({0x41}); });
    VirtualTime::in(9990, [&] { reads.then(data_answer); });
    Call call(reader_);
    EXPECT_EQ(pass(call), TAGWIRE_OK);
    EXPECT_EQ(call.number, 6);
}

TEST_F(AtMode, a_failing_read_counts_as_silence)
{
    ScriptedReads reads(reader_, {});
    reads.fail_at_end();
    start_ = VirtualTime::now_ms();
    Call call(reader_);
    EXPECT_EQ(result_ = pass(call), TAGWIRE_NO_ANSWER);
    expect_no_answer_after(7000);
}

TEST_F(AtMode, of_many_bytes_the_last_are_kept)
{
    for (const std::size_t noise : {8389U, 8390U, 8391U, 8400U, 9000U, 70'000U}) {
        expect_found(data_answer, pass_through, in_chunks(repeat(0xFF, noise) + data_answer, 256));
        expect_found(mode_answer, mode_change, in_chunks(repeat(0xFF, noise) + mode_answer, 2048));
    }
    std::fill(reader_->btArBuff + 8400, std::end(reader_->btArBuff), unwritten);
    expect_none(pass_through, in_chunks(repeat(0xFF, 70'000), 2048));
    EXPECT_EQ(std::count(reader_->btArBuff + 8400, std::end(reader_->btArBuff), unwritten),
              buffer_size - 8400);
}

TEST_F(AtMode, bytes_to_pass_of_any_number)
{
    const StandIn stand_in(reader_, &Operations::ATGetDataFromPort);
    for (const int count : {0, 1, 249, 250, 252, 256, 300, 1000}) {
        Bytes data = repeat(0x41, static_cast<std::size_t>(count));
        u8 address = 5;
        int length = -77;
        reader_.operations().TransparentCMD(reader_, &address, 0x32, data.data(), count, data.data(),
                                            &length);
        EXPECT_EQ(stand_in.sent.back(), wrapped(Bytes{0, 5, 0x4E, 0x32} + data)) << count;
        EXPECT_EQ(length, -77);
    }
    u8 address = 5;
    int length = -77;
    reader_.operations().TransparentCMD(reader_, &address, 0x32, nullptr, -1, nullptr, &length);
    EXPECT_EQ(to_hex(stand_in.sent.back()), to_hex(with_crc(hex("04 05 4E"))));
    Bytes data = repeat(0x41, 251);
    reader_.operations().TransparentCMD(reader_, &address, 0x32, data.data(), 251, nullptr, &length);
    EXPECT_EQ(stand_in.sent.back().size(), 1U);
}

}  // namespace
}  // namespace tagwire::engine::test
