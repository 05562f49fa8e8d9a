#include "device/progress.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using namespace std::chrono_literals;

TEST(Progress, TellsPercentAmountRateAndTimeLeft)
{
    EXPECT_EQ(progress_text({65536, 262144, 10s}), " 25 %  64.0 of 256.0 KiB  6.4 KiB/s  0:30 left");
    EXPECT_EQ(progress_text({0, 1024, 0s}), "  0 %  0.0 of 1.0 KiB  0.0 KiB/s");
    EXPECT_EQ(progress_text({1024, 1024, 1s}), "100 %  1.0 of 1.0 KiB  1.0 KiB/s  0:00 left");
    EXPECT_EQ(progress_text({1, 102400, 1s}), "  0 %  0.0 of 100.0 KiB  0.0 KiB/s  28:26:39 left");
    EXPECT_EQ(progress_text({0, 0, 1s}).substr(0, 5), "100 %");
}

TEST(Progress, TheBarFitsAnyTerminal)
{
    for (std::size_t columns = 0; columns < 200; ++columns) {
        for (const std::size_t done : {0u, 1u, 500u, 999u, 1000u})
            ASSERT_LE(progress_bar({done, 1000, 3s}, columns).size(), columns);
    }
    EXPECT_TRUE(progress_bar({500, 1000, 1s}, 200)
                    .starts_with("[" + std::string(20, '#') + std::string(20, ' ') + "]   50 %"));
    EXPECT_TRUE(progress_bar({500, 1000, 1s}, 40).starts_with(" 50 %"));
}

TEST(Progress, IsShownAtEveryStepAndAfterEveryInterval)
{
    ProgressPace pace(10, 1000ms);
    const ProgressPace::Clock::time_point start{};
    const auto due = [&](std::size_t done, std::chrono::milliseconds at) {
        return pace.is_due({done, 1000, at}, start + at);
    };
    EXPECT_TRUE(due(1, 0ms));
    EXPECT_FALSE(due(99, 500ms));
    EXPECT_TRUE(due(100, 600ms));
    EXPECT_FALSE(due(150, 1599ms));
    EXPECT_TRUE(due(151, 1600ms));
    EXPECT_TRUE(due(1000, 1700ms));
}

}  // namespace
}  // namespace tagwire::tool
