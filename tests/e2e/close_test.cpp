// Closing in the middle of a stream, again and again.
#include <thread>

#include "e2e/connection.h"

namespace tagwire::test {
namespace {

class CloseWhileStreaming : public testing::TestWithParam<Link> {};

INSTANTIATE_TEST_SUITE_P(Links, CloseWhileStreaming, testing::Values(Link::tcp, Link::pty), link_name);

// Ten connections at a time, twenty times each.
TEST_P(CloseWhileStreaming, two_hundred_times)
{
    Reports::clear();
    sim::Simulator simulator;
    std::atomic<int> closed{0};
    std::vector<std::thread> applications;
    for (int i = 1; i <= 10; ++i)
        applications.emplace_back([&simulator, &closed, i] {
            sim::Reader& reader = simulator.add_reader(make_scenario(5));
            Connection connection(reader, GetParam(), "127.0.1." + std::to_string(i));
            for (int round = 0; round < 20; ++round) {
                int result = connection.open();
                while (result == 51) result = connection.open();  // another thread is opening
                ASSERT_EQ(result, 0);
                // A reader on a serial line does not notice the close, and pushes on until it is told to
                // stop.
                ASSERT_EQ(connection.stop_reading(), 0);
                reader.set_report_rate(0);
                const std::uint64_t before = Reports::count(connection.handle());
                InitRFIDCallBack(Reports::callback, true, connection.handle());
                ASSERT_EQ(StartRead(connection.address(), 0, connection.handle()), 0);
                reader.set_report_rate(500);
                ASSERT_TRUE(Reports::wait_for(connection.handle(), before + 3));
                ASSERT_EQ(connection.close(), 0);
                ++closed;
            }
        });
    for (auto& application : applications) application.join();
    EXPECT_EQ(closed, 200);
}

}  // namespace
}  // namespace tagwire::test
