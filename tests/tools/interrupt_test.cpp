#include "interrupt.h"

#include <condition_variable>
#include <mutex>

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

bool wait_readable(int fd)
{
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, 10'000) > 0;
}

TEST(Interrupt, MakesItsDescriptorReadable)
{
    InterruptWatch watch;
    watch.arm();
    EXPECT_FALSE(watch.interrupted());
    kill(getpid(), SIGTERM);
    EXPECT_TRUE(wait_readable(watch.fd()));
    EXPECT_TRUE(watch.interrupted());
}

TEST(Interrupt, RunsItsActionAgainAndAgain)
{
    std::mutex mutex;
    std::condition_variable changed;
    int runs = 0;
    InterruptWatch watch;
    watch.arm();
    {
        const InterruptWatch::Hook hook(watch, [&] {
            const std::lock_guard lock(mutex);
            ++runs;
            changed.notify_all();
        });
        kill(getpid(), SIGINT);
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return runs >= 2; }));
    }
    const int before = runs;
    EXPECT_GE(before, 2);
}

TEST(Interrupt, EndsWithoutASignal)
{
    const InterruptWatch watch;
    EXPECT_FALSE(watch.interrupted());
}

TEST(InterruptDeathTest, EndsTheProcessAtTheSecondSignal)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto interrupt_twice = [] {
        InterruptWatch watch;
        watch.arm();
        kill(getpid(), SIGINT);
        wait_readable(watch.fd());
        // Two signals within a moment count as one.
        while (true) {
            kill(getpid(), SIGINT);
            poll(nullptr, 0, 20);
        }
    };
    EXPECT_EXIT(interrupt_twice(), testing::KilledBySignal(SIGINT), "");
}

TEST(InterruptDeathTest, EndsTheProcessBeforeItIsArmed)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto interrupt_early = [] {
        const InterruptWatch watch;
        kill(getpid(), SIGTERM);
        poll(nullptr, 0, 10'000);
    };
    EXPECT_EXIT(interrupt_early(), testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
}  // namespace tagwire::tool
