// As many reports as of a minute at 1,000 a second arrive, ten times as fast.
#include "e2e/connection.h"

namespace tagwire::test {
namespace {

class Stream : public testing::TestWithParam<Link> {};

INSTANTIATE_TEST_SUITE_P(Links, Stream, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Stream, delivers_every_one_of_many_reports)
{
    constexpr std::uint64_t reports = 60'000;
    Reports::clear();
    const sim::Scenario scenario = make_scenario(100);
    sim::Simulator simulator;
    sim::Reader& reader = simulator.add_reader(scenario);
    Connection connection(reader, GetParam());
    ASSERT_EQ(connection.open(), 0);
    InitRFIDCallBack(Reports::callback, true, connection.handle());

    ASSERT_EQ(StartRead(connection.address(), 0, connection.handle()), 0);
    reader.set_batch(reports);
    reader.set_report_rate(10'000);
    EXPECT_TRUE(reader.wait_for_batch(std::chrono::seconds(600)));
    EXPECT_TRUE(Reports::wait_for(connection.handle(), reports));
    EXPECT_EQ(connection.stop_reading(), 0);

    EXPECT_EQ(Reports::count(connection.handle()), reports);
    EXPECT_EQ(reader.counters().reports_sent, reports);
    EXPECT_EQ(reader.counters().reports_dropped, 0U);
    EXPECT_EQ(Reports::uids(), epcs_of(scenario));
}

}  // namespace
}  // namespace tagwire::test
