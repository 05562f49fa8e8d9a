#include "reports.h"

#include <thread>

#include <poll.h>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

RFIDTag report(const char* id)
{
    RFIDTag tag{};
    tag.UID = id;
    tag.LEN = 2;
    tag.RSSI = 50;
    tag.ANT = 1;
    return tag;
}

bool readable(int fd)
{
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

TEST(ReportQueue, DeliversInOrder)
{
    ReportQueue queue(10);
    EXPECT_FALSE(readable(queue.fd()));
    queue.push(report("AAAA"), 1);
    queue.push(report("BBBB"), 1);
    EXPECT_TRUE(readable(queue.fd()));
    const auto taken = queue.take();
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0].tag.id, "AAAA");
    EXPECT_EQ(taken[1].tag.id, "BBBB");
    EXPECT_LE(taken[0].at.steady, taken[1].at.steady);
    EXPECT_FALSE(readable(queue.fd()));
    EXPECT_TRUE(queue.take().empty());
    queue.push(report("CCCC"), 1);
    EXPECT_TRUE(readable(queue.fd()));
}

TEST(ReportQueue, CountsWhatItDrops)
{
    ReportQueue queue(3);
    for (int i = 0; i < 10; ++i) queue.push(report("AAAA"), 1);
    EXPECT_EQ(queue.dropped(), 7u);
    EXPECT_EQ(queue.take().size(), 3u);
    queue.push(report("AAAA"), 1);
    EXPECT_EQ(queue.dropped(), 7u);
}

TEST(ReportQueue, LosesNothingBetweenThreads)
{
    constexpr std::size_t count = 20'000;
    ReportQueue queue(count);
    std::thread writer([&] {
        for (std::size_t i = 0; i < count; ++i) queue.push(report("AAAA"), 1);
    });
    std::size_t taken = 0;
    while (taken < count) {
        pollfd entry{queue.fd(), POLLIN, 0};
        ASSERT_GT(poll(&entry, 1, 10'000), 0);
        taken += queue.take().size();
    }
    writer.join();
    EXPECT_EQ(taken, count);
    EXPECT_EQ(queue.dropped(), 0u);
}

}  // namespace
}  // namespace tagwire::tool
