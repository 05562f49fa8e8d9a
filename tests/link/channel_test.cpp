// What both channels share: locks, the choice by link type.
#include <gtest/gtest.h>

#include <thread>

#include "support/test_reader.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

class UnknownLinkType : public testing::TestWithParam<int> {};

TEST_P(UnknownLinkType, makes_every_link_operation_return_55)
{
    const TestReader reader;
    reader->hCommPort = reader.near();
    reader->m_type = GetParam();
    reader->recvLength = 7;
    reader->recvBuff[0] = 0xA5;
    Bytes frame = hex("04 FF 21 19 95");
    EXPECT_EQ(reader.operations().SendDataToPortS(reader, frame.data(), 5), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(reader.operations().SendDataToPort(reader, frame.data(), 5), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(reader.operations().SendStopDataToPort(reader, frame.data(), 5), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(reader.operations().ReadRfidData(reader, reader->btRecvArr), TAGWIRE_BAD_HANDLE);
    EXPECT_TRUE(reader.sent().empty());
    EXPECT_EQ(reader->recvLength, 7);
    EXPECT_EQ(reader->recvBuff[0], 0xA5);
}

INSTANTIATE_TEST_SUITE_P(All, UnknownLinkType, testing::Values(2, 3, -1, 255));

bool is_free(pthread_mutex_t& mutex)
{
    bool free = false;
    std::thread([&] {
        free = pthread_mutex_trylock(&mutex) == 0;
        if (free) pthread_mutex_unlock(&mutex);
    }).join();
    return free;
}

TEST(CommandLock, is_taken_and_given_back)
{
    const TestReader reader;
    EXPECT_TRUE(is_free(reader->g_cs));
    reader.operations().LOCK(reader);
    EXPECT_FALSE(is_free(reader->g_cs));
    EXPECT_TRUE(is_free(reader->g_writecs));
    reader.operations().UNLOCK(reader);
    EXPECT_TRUE(is_free(reader->g_cs));
}

TEST(CommandLock, is_not_recursive)
{
    const TestReader reader;
    reader.operations().LOCK(reader);
    EXPECT_EQ(pthread_mutex_trylock(&reader->g_cs), EBUSY);
    reader.operations().UNLOCK(reader);
}

TEST(SendLock, is_held_around_the_transmission_and_its_result_is_returned)
{
    const TestReader reader;
    reader->operations.SendDataToPortS = [](Reader* sthis, u8*, unsigned count) {
        return is_free(sthis->g_writecs) ? -1 : static_cast<int>(count);
    };
    Bytes frame = hex("04 FF 21 19 95");
    EXPECT_EQ(reader.operations().SendDataToPort(reader, frame.data(), 5), 5);
    EXPECT_TRUE(is_free(reader->g_writecs));
}

TEST(SendLock, is_not_taken_by_a_read_or_by_the_send_of_a_stop)
{
    const TestReader reader;
    reader.feed(hex("01"));
    pthread_mutex_lock(&reader->g_writecs);
    Bytes frame = request(0xFF, 0x93);
    EXPECT_EQ(reader.operations().SendStopDataToPort(reader, frame.data(), 5), TAGWIRE_OK);
    EXPECT_EQ(reader.operations().ReadRfidData(reader, reader->btRecvArr), 1);
    pthread_mutex_unlock(&reader->g_writecs);
    EXPECT_EQ(reader.sent(), frame);
}

TEST(SendLock, keeps_the_frames_of_two_threads_apart)
{
    const TestReader reader(Link::serial);
    constexpr int frames = 100;
    const auto send = [&reader](u8 value) {
        Bytes frame = repeat(value, 100);
        for (int i = 0; i < frames; ++i) reader.operations().SendDataToPort(reader, frame.data(), 100);
    };
    std::thread one(send, u8{1});
    std::thread two(send, u8{2});
    one.join();
    two.join();
    const Bytes all = reader.sent();
    EXPECT_EQ(all.size(), 2U * frames * 100);
    for (std::size_t at = 0; at < all.size(); at += 100)
        ASSERT_EQ(Bytes(&all[at], &all[at] + 100), repeat(all[at], 100)) << at;
}

}  // namespace
}  // namespace tagwire::engine::test
