// The receiver of a single answer.
#include <gtest/gtest.h>

#include <memory>

#include "link/system_seam.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

const Bytes frame = hex("09 05 83 00 01 02 2C 03 F8 38");
const Bytes noise = hex("30 31 32 33");

class SingleReceiver : public testing::TestWithParam<Link> {
  protected:
    int receive() { return reader_.operations().GetDataFromPort(reader_, reader_->recvBuff, &length_); }
    Bytes received() const { return {reader_->recvBuff, reader_->recvBuff + length_}; }
    std::int64_t elapsed() const { return VirtualTime::now_ms() - start_; }
    int run_command()
    {
        u8 address = 0;
        u8 version[2];
        u8 type = 0;
        u8 protocols = 0;
        return reader_.operations().GetModuleDetails(reader_, &address, version, &type, &protocols);
    }
    bool is_tcp() const { return GetParam() == Link::tcp; }

    SystemSeam seam_;
    VirtualTime time_;
    TestReader reader_{GetParam()};
    std::int64_t start_ = VirtualTime::now_ms();
    int length_ = 99;
};

INSTANTIATE_TEST_SUITE_P(Over, SingleReceiver, testing::Values(Link::serial, Link::tcp),
                         [](const auto& test) { return test.param == Link::tcp ? "tcp" : "serial"; });

TEST_P(SingleReceiver, takes_a_frame_in_one_chunk_with_one_read)
{
    ScriptedReads reads(reader_, {frame});
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(reads.calls(), 1);
    EXPECT_EQ(received(), frame);
    EXPECT_EQ(elapsed(), 0);
}

TEST_P(SingleReceiver, takes_a_frame_from_the_link)
{
    reader_.feed(frame);
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(received(), frame);
}

TEST_P(SingleReceiver, takes_a_frame_cut_at_any_byte)
{
    for (std::size_t cut = 1; cut < frame.size(); ++cut) {
        const auto middle = frame.begin() + static_cast<std::ptrdiff_t>(cut);
        std::memset(reader_->recvBuff, 0, 100);
        ScriptedReads reads(reader_, {Bytes(frame.begin(), middle), {}, Bytes(middle, frame.end())});
        EXPECT_EQ(receive(), TAGWIRE_OK) << cut;
        EXPECT_EQ(reads.calls(), 3) << cut;
        EXPECT_EQ(received(), frame) << cut;
    }
}

TEST_P(SingleReceiver, takes_a_frame_that_comes_byte_by_byte)
{
    std::vector<Bytes> chunks;
    for (const auto byte : frame) chunks.push_back({byte});
    const ScriptedReads reads(reader_, chunks);
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(received(), frame);
}

TEST_P(SingleReceiver, takes_a_frame_in_three_pieces_5_ms_apart)
{
    VirtualTime::in(100, [this] { reader_.feed(Bytes(frame.begin(), frame.begin() + 1)); });
    VirtualTime::in(105, [this] { reader_.feed(Bytes(frame.begin() + 1, frame.begin() + 7)); });
    VirtualTime::in(110, [this] { reader_.feed(Bytes(frame.begin() + 7, frame.end())); });
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(received(), frame);
    EXPECT_GE(elapsed(), 110);
    EXPECT_LE(elapsed(), 121);
}

TEST_P(SingleReceiver, takes_the_longest_frame)
{
    const Bytes longest = answer(0x05, 0x83, 0x00, repeat(0x77, 250));
    ASSERT_EQ(longest.size(), 256U);
    reader_.feed(longest);
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(received(), longest);
}

TEST_P(SingleReceiver, leaves_two_zeros_behind_the_frame)
{
    std::memset(reader_->recvBuff, 0xA5, 100);
    reader_.feed(frame);
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(to_hex(Bytes(reader_->recvBuff + 10, reader_->recvBuff + 13)), "00 00 A5");
}

TEST_P(SingleReceiver, notes_when_it_began_and_when_it_looked_last)
{
    ScriptedReads reads(reader_, {{}, frame});
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(reader_->time1, start_);
    EXPECT_EQ(reader_->time2, start_ + 10);
}

// --- Limits ---

TEST_P(SingleReceiver, gives_up_on_silence_at_its_first_look_after_1500_ms)
{
    length_ = 99;
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    // Serial: looks every 11 ms. TCP: each read waits a second.
    EXPECT_EQ(elapsed(), is_tcp() ? 2021 : 1506);
    EXPECT_EQ(length_, 0);
}

TEST_P(SingleReceiver, gives_up_on_noise_at_its_first_look_after_2000_ms)
{
    reader_.feed(noise);
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(elapsed(), is_tcp() ? 2023 : 2003);
    EXPECT_EQ(length_, 0);
}

TEST_P(SingleReceiver, takes_a_first_byte_after_1500_ms)
{
    VirtualTime::in(1500, [this] { reader_.feed(frame); });
    EXPECT_EQ(receive(), TAGWIRE_OK);
}

TEST_P(SingleReceiver, takes_a_last_byte_after_2000_ms)
{
    VirtualTime::in(400, [this] { reader_.feed(Bytes(frame.begin(), frame.begin() + 4)); });
    VirtualTime::in(2000, [this] { reader_.feed(Bytes(frame.begin() + 4, frame.end())); });
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(received(), frame);
}

TEST_P(SingleReceiver, has_one_limit_for_the_whole_frame_however_often_bytes_come)
{
    for (int at = 0; at < 3000; at += 300) VirtualTime::in(at, [this] { reader_.feed(hex("40")); });
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(elapsed(), 2000);
    EXPECT_LE(elapsed(), is_tcp() ? 2120 : 2013);
}

TEST_P(SingleReceiver, measures_a_limit_before_its_last_sleep)
{
    // A chunk each cycle: every cycle is the one sleep of 1 ms.
    ScriptedReads reads(reader_, std::vector<Bytes>(3000, hex("40")));
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reads.calls(), 2002);
    EXPECT_EQ(elapsed(), 2002);
}

TEST_P(SingleReceiver, takes_read_errors_for_silence)
{
    ScriptedReads reads(reader_, {});
    reads.fail_at_end();
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(elapsed(), 1506);
    EXPECT_EQ(reads.calls(), 137);
}

TEST_P(SingleReceiver, goes_on_after_a_read_error)
{
    ScriptedReads reads(reader_, {});
    reads.fail_at_end();
    reads.before_call = [&reads](int call) {
        if (call == 5) reads.then(frame);
    };
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(reads.calls(), 5);
}

int count_read(int fd, void* to, std::size_t count)
{
    SystemSeam::record(1);
    return static_cast<int>(sys::Direct::read(fd, to, count));
}

TEST_P(SingleReceiver, does_not_spin_on_a_peer_that_hung_up)
{
    sys::calls.recv = [](int fd, void* to, std::size_t count, int) {
        return static_cast<ssize_t>(count_read(fd, to, count));
    };
    sys::calls.read = [](int fd, void* to, std::size_t count) {
        return static_cast<ssize_t>(count_read(fd, to, count));
    };
    reader_.hang_up();
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(elapsed(), 1506);
    EXPECT_EQ(SystemSeam::recorded().size(), 137U);
}

TEST_P(SingleReceiver, does_not_spin_after_a_stop_was_requested)
{
    request_stop(reader_);
    int polls = 0;
    static auto virtual_ppoll = sys::calls.ppoll;
    virtual_ppoll = sys::calls.ppoll;
    sys::calls.ppoll = [](pollfd* fds, nfds_t count, const timespec* limit) {
        SystemSeam::record(1);
        return virtual_ppoll(fds, count, limit);
    };
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    polls = static_cast<int>(SystemSeam::recorded().size());
    EXPECT_LE(polls, 2400);
    EXPECT_GT(elapsed(), 1500);
    EXPECT_LE(elapsed(), 1512);
}

// --- What is no single good frame ---

TEST_P(SingleReceiver, does_not_look_for_a_frame_behind_noise)
{
    reader_.feed(noise + frame);
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(elapsed(), 2000);
}

TEST_P(SingleReceiver, does_not_take_a_frame_with_a_bad_crc)
{
    Bytes bad = frame;
    bad[5] ^= 1;
    reader_.feed(bad);
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(elapsed(), 2000);
}

TEST_P(SingleReceiver, counts_all_bytes_of_the_chunk)
{
    reader_.feed(frame + frame);
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(length_, 20);
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 10), frame);
}

TEST_P(SingleReceiver, leaves_what_comes_in_a_later_chunk)
{
    ScriptedReads reads(reader_, {frame, frame});
    EXPECT_EQ(receive(), TAGWIRE_OK);
    EXPECT_EQ(length_, 10);
    EXPECT_EQ(reads.calls(), 1);
}

// The check has overwritten the first two of them with zeros.
TEST_P(SingleReceiver, lets_a_command_pass_with_one_or_two_bytes_behind_its_answer)
{
    for (const Bytes& trailing : {hex("11"), hex("11 22"), hex("11 22 00")}) {
        const ScriptedReads reads(reader_, {frame + trailing});
        EXPECT_EQ(run_command(), TAGWIRE_OK) << to_hex(trailing);
        EXPECT_EQ(reader_->recvLength, static_cast<int>(10 + trailing.size()));
    }
}

TEST_P(SingleReceiver, makes_a_command_fail_with_49_on_three_bytes_behind_its_answer)
{
    const ScriptedReads reads(reader_, {frame + hex("11 22 33")});
    EXPECT_EQ(run_command(), TAGWIRE_BAD_CRC);
}

TEST_P(SingleReceiver, makes_a_command_fail_with_49_on_a_second_frame)
{
    const ScriptedReads reads(reader_, {frame + frame});
    EXPECT_EQ(run_command(), TAGWIRE_BAD_CRC);
    EXPECT_EQ(reader_->recvLength, 20);
}

TEST_P(SingleReceiver, makes_a_command_fail_with_48_on_noise_in_front)
{
    const ScriptedReads reads(reader_, {hex("00") + frame});
    EXPECT_EQ(run_command(), TAGWIRE_NO_ANSWER);
}

// --- The end of the buffer ---

class EndOfBuffer : public testing::Test {
  protected:
    int receive() { return reader_.operations().GetDataFromPort(reader_, buffer_.get(), &length_); }

    VirtualTime time_;
    TestReader reader_;
    std::unique_ptr<u8[]> buffer_ = std::make_unique<u8[]>(65536);  // the heap ends right behind it
    int length_ = 99;
};

TEST_F(EndOfBuffer, takes_65534_bytes_and_then_waits_on)
{
    std::vector<Bytes> chunks(31, repeat(0x40, 2048));
    chunks.push_back(repeat(0x40, 2046));
    ScriptedReads reads(reader_, chunks);
    const auto start = VirtualTime::now_ms();
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(VirtualTime::now_ms() - start, 2000);
    EXPECT_EQ(buffer_[65533], 0x40);
    EXPECT_EQ(buffer_[65534], 0);
}

TEST_F(EndOfBuffer, gives_48_for_one_byte_more)
{
    std::vector<Bytes> chunks(31, repeat(0x40, 2048));
    chunks.push_back(repeat(0x40, 2046));
    chunks.push_back(hex("41"));
    ScriptedReads reads(reader_, chunks);
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reads.calls(), 33);
    EXPECT_EQ(buffer_[65534], 0);
    EXPECT_EQ(length_, 0);
}

TEST_F(EndOfBuffer, gives_48_for_a_chunk_that_passes_it)
{
    ScriptedReads reads(reader_, std::vector<Bytes>(40, repeat(0x40, 2048)));
    EXPECT_EQ(receive(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reads.calls(), 32);
}

// --- Links that cannot be used ---

class UnusableLink : public testing::Test {
  protected:
    void expect_55()
    {
        ScriptedReads reads(reader_, {frame});
        reader_->recvBuff[0] = 0xA5;
        int length = 99;
        EXPECT_EQ(reader_->operations.GetDataFromPort(reader_, reader_->recvBuff, &length),
                  TAGWIRE_BAD_HANDLE);
        EXPECT_EQ(length, 0);
        EXPECT_EQ(reads.calls(), 0);
        EXPECT_EQ(reader_->recvBuff[0], 0xA5);
    }
    void TearDown() override { Destroy_Reader(&reader_); }

    Reader* reader_ = Create_Reader();
};

TEST_F(UnusableLink, gives_55_for_an_unknown_link_type)
{
    reader_->sServer = 0;
    reader_->hCommPort = 0;
    for (const int type : {2, -1, 55}) {
        reader_->m_type = type;
        expect_55();
    }
    reader_->sServer = -1;
}

TEST_F(UnusableLink, gives_55_without_a_port)
{
    reader_->sServer = 0;  // of the other kind
    reader_->m_type = serial_link;
    expect_55();
    reader_->sServer = -1;
}

TEST_F(UnusableLink, gives_55_without_a_socket)
{
    reader_->hCommPort = 0;  // of the other kind
    reader_->m_type = tcp_link;
    expect_55();
}

TEST(PlaceholderReceiver, returns_0_and_touches_nothing)
{
    const TestReader reader;
    ScriptedReads reads(reader, {frame});
    reader->recvBuff[0] = 0xA5;
    int length = 99;
    EXPECT_EQ(reader.operations().GetDataFromPort2(reader, reader->recvBuff, &length), 0);
    EXPECT_EQ(length, 99);
    EXPECT_EQ(reader->recvBuff[0], 0xA5);
    EXPECT_EQ(reads.calls(), 0);
    EXPECT_EQ(reader.operations().GetDataFromPort2(reader, nullptr, nullptr), 0);
}

}  // namespace
}  // namespace tagwire::engine::test
