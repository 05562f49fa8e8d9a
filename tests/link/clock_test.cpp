// The millisecond clock of 32 bits, and waits.
#include "link/clock.h"

#include <gtest/gtest.h>

#include "link/system_seam.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

constexpr std::int64_t half_cycle = std::int64_t{1} << 31;
constexpr std::int64_t cycle = std::int64_t{1} << 32;

std::int64_t clock_at(std::int64_t milliseconds)
{
    const VirtualTime time(milliseconds);
    return getCurrentTimeMsec();
}

TEST(MillisecondClock, counts_from_the_start_of_the_system)
{
    EXPECT_EQ(clock_at(0), 0);
    EXPECT_EQ(clock_at(1), 1);
    EXPECT_EQ(clock_at(1'234'567), 1'234'567);
}

TEST(MillisecondClock, rounds_down)
{
    const SystemSeam seam;
    sys::calls.clock = [](timespec* now) {
        *now = {7, 999'999'999};
        return 0;
    };
    EXPECT_EQ(getCurrentTimeMsec(), 7999);
}

TEST(MillisecondClock, is_negative_in_the_second_half_of_each_cycle)
{
    EXPECT_EQ(clock_at(half_cycle - 1), 2'147'483'647);
    EXPECT_EQ(clock_at(half_cycle), -2'147'483'648);
    EXPECT_EQ(clock_at(half_cycle + 1), -2'147'483'647);
    EXPECT_EQ(clock_at(cycle - 1), -1);
}

TEST(MillisecondClock, begins_again_after_a_cycle)
{
    EXPECT_EQ(clock_at(cycle), 0);
    EXPECT_EQ(clock_at(cycle + 5), 5);
    EXPECT_EQ(clock_at(cycle + half_cycle), -2'147'483'648);
    EXPECT_EQ(clock_at(1'000'000'000'000), -727'379'968);
}

TEST(MillisecondClock, follows_the_monotonic_clock_of_the_system)
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t before = now.tv_sec * std::int64_t{1000} + now.tv_nsec / 1'000'000;
    const std::int64_t value = getCurrentTimeMsec();
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t after = now.tv_sec * std::int64_t{1000} + now.tv_nsec / 1'000'000;
    EXPECT_LE((value - before) & 0xFFFFFFFF, after - before);
}

// A receive whose start lies just before the clock turns negative.
class ReceiveAtTheWrap : public testing::Test {
  protected:
    VirtualTime time_{half_cycle - 100};
};

TEST_F(ReceiveAtTheWrap, has_no_time_limit)
{
    const TestReader reader(Link::serial);
    int length = 0;
    VirtualTime::in(30'000, [&] { reader.feed(hex("09 05 83 00 01 02 2C 03 F8 38")); });
    EXPECT_EQ(reader.operations().GetDataFromPort(reader, reader->recvBuff, &length), TAGWIRE_OK);
    EXPECT_EQ(length, 10);
    EXPECT_GE(VirtualTime::now_ms(), half_cycle - 100 + 30'000);
    EXPECT_EQ(reader->time1, half_cycle - 100);
    EXPECT_LT(reader->time2, 0);
}

TEST_F(ReceiveAtTheWrap, has_no_time_limit_on_noise_either)
{
    const TestReader reader(Link::serial);
    int length = 0;
    reader.feed(hex("09 05 83 00"));
    VirtualTime::in(30'000, [&] { reader.feed(hex("01 02 2C 03 F8 38")); });
    EXPECT_EQ(reader.operations().GetDataFromPort(reader, reader->recvBuff, &length), TAGWIRE_OK);
}

TEST_F(ReceiveAtTheWrap, ends_when_the_reader_is_destroyed)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    Reader* reader = Create_Reader();
    Reader* in_use = reader;
    retain(in_use);
    reader->hCommPort = ends[0];
    VirtualTime::in(30'000, [&] { Destroy_Reader(&reader); });
    int length = 0;
    EXPECT_EQ(in_use->operations.GetDataFromPort(in_use, in_use->recvBuff, &length), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reader, nullptr);
    EXPECT_LE(VirtualTime::now_ms(), half_cycle - 100 + 30'000 + 11);
    release(in_use);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(ReceiveAcrossZero, keeps_its_time_limits)
{
    const VirtualTime time(cycle - 100);
    const TestReader reader(Link::serial);
    int length = 0;
    EXPECT_EQ(reader.operations().GetDataFromPort(reader, reader->recvBuff, &length), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(VirtualTime::now_ms(), cycle - 100 + 1506);
}

TEST(Waits, do_not_wrap)
{
    const VirtualTime time(half_cycle - 5);
    sleep_ms(10);
    EXPECT_EQ(VirtualTime::now_ms(), half_cycle + 5);
    EXPECT_EQ(monotonic_ns(), (half_cycle + 5) * 1'000'000);
}

TEST(Waits, are_whole_whatever_signals_arrive)
{
    const SystemSeam seam;
    const VirtualTime time(1000);
    static auto virtual_sleep = sys::calls.sleep_until;
    virtual_sleep = sys::calls.sleep_until;
    Failures::arm(3);
    sys::calls.sleep_until = [](const timespec* end) {
        if (!Failures::next()) return virtual_sleep(end);
        VirtualTime::advance_ms(3);
        return EINTR;
    };
    sleep_ms(200);
    EXPECT_EQ(VirtualTime::now_ms(), 1200);
}

}  // namespace
}  // namespace tagwire::engine::test
