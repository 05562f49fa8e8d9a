// What a link does to the bytes, and what the caller is told.
#include "e2e/connection.h"

namespace tagwire::test {
namespace {

using sim::Fault;
using std::chrono::milliseconds;

class Faults : public testing::TestWithParam<Link> {
  protected:
    void SetUp() override
    {
        Reports::clear();
        ASSERT_EQ(connection.open(), 0);
    }
    int ask_information()
    {
        unsigned char out[12] = {};
        return GetReaderInformation(connection.address(), out, out + 2, out + 3, out + 4, out + 5, out + 6,
                                    out + 7, out + 8, out + 9, out + 10, out + 11, connection.handle());
    }
    int ask_module()
    {
        unsigned char out[4] = {};
        return GetModuleDetails(connection.address(), out, out + 2, out + 3, connection.handle());
    }

    const sim::Scenario scenario = make_scenario(12);
    sim::Simulator simulator;
    sim::Reader& reader = simulator.add_reader(scenario);
    Connection connection{reader, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, Faults, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Faults, an_answer_cut_anywhere_is_whole_again)
{
    for (std::size_t at = 1; at < 18; ++at) {
        reader.inject(Fault::split({at}, milliseconds(1)));
        EXPECT_EQ(ask_information(), 0) << at;
    }
    for (std::size_t at = 1; at < 10; ++at) {
        reader.inject(Fault::split({at}, milliseconds(1)));
        EXPECT_EQ(ask_module(), 0) << at;
    }
    for (std::size_t at = 1; at < 40; ++at) {
        reader.inject(Fault::split({at}, milliseconds(1)));
        const InventoryResult found = run_inventory(connection, 4, 0);
        EXPECT_EQ(found.status, 1) << at;
        EXPECT_EQ(std::set(found.epcs.begin(), found.epcs.end()), epcs_of(scenario)) << at;
    }
}

TEST_P(Faults, noise_in_front_of_a_frame_is_skipped_by_the_receivers_that_search)
{
    reader.inject(Fault::noise({0x00, 0xFF, 0x55, 0x11, 0xAA}));
    EXPECT_EQ(ask_information(), 0);
    reader.inject(Fault::noise({0x00, 0xFF, 0x55, 0x11, 0xAA}));
    EXPECT_EQ(run_inventory(connection, 4, 0).count, 12);
    reader.inject(Fault::noise({0x55}));
    EXPECT_EQ(ask_module(), 48);
    EXPECT_EQ(ask_module(), 0);
}

TEST_P(Faults, one_or_two_bytes_behind_an_answer_are_overwritten_and_three_are_not)
{
    reader.inject(Fault::trail({0x5A}));
    EXPECT_EQ(ask_module(), 0);
    reader.inject(Fault::trail({0x5A, 0xA5}));
    EXPECT_EQ(ask_module(), 0);
    reader.inject(Fault::trail({0x5A, 0xA5, 0x5A}));
    EXPECT_EQ(ask_module(), 49);
}

TEST_P(Faults, a_flipped_bit_is_no_answer)
{
    reader.inject(Fault::flip(5, 3));
    EXPECT_EQ(ask_information(), 48);
    reader.inject(Fault::flip(5, 3));
    EXPECT_EQ(ask_module(), 48);
    EXPECT_EQ(ask_module(), 0);
}

TEST_P(Faults, a_lost_answer_is_no_answer)
{
    reader.inject(Fault::lose());
    EXPECT_EQ(ask_module(), 48);
    EXPECT_EQ(ask_module(), 0);
}

TEST_P(Faults, a_status_comes_through_unchanged)
{
    reader.inject(Fault::error(0x83, 0x05));
    EXPECT_EQ(ask_module(), 5);
    reader.inject(Fault::error(0x01, 0xFB));
    EXPECT_EQ(run_inventory(connection).status, 0xFB);
    reader.inject(Fault::error(0x50, 0x0F));
    EXPECT_EQ(StartRead(connection.address(), 0, connection.handle()), 0x0F);
    EXPECT_EQ(ask_module(), 0);
}

TEST_P(Faults, a_wrong_echo_is_told)
{
    reader.inject(Fault::set_byte(2, 0x84));
    EXPECT_EQ(ask_module(), 238);
}

TEST_P(Faults, reports_behind_the_start_answer_in_one_chunk_fail_the_start)
{
    if (GetParam() == Link::pty) GTEST_SKIP() << "a chunk of a serial line cannot be forced";
    reader.inject(Fault::trail(sim::Bytes(20, 0x5A)));
    EXPECT_EQ(StartRead(connection.address(), 0, connection.handle()), 49);
    EXPECT_EQ(StopRead(connection.address(), connection.handle()), 0);
}

TEST_P(Faults, a_stop_that_is_not_answered_leaves_the_connection_idle)
{
    ASSERT_EQ(StartRead(connection.address(), 0, connection.handle()), 0);
    Fault lose = Fault::lose();
    lose.command = 0x51;
    reader.inject(lose);
    EXPECT_EQ(StopRead(connection.address(), connection.handle()), 48);
    EXPECT_EQ(ask_module(), 0);
}

// Nobody tells the library that the reader has gone: silence is normal.
TEST_P(Faults, a_reader_that_vanishes_in_mid_stream_can_be_stopped_and_closed)
{
    InitRFIDCallBack(Reports::callback, true, connection.handle());
    ASSERT_EQ(StartRead(connection.address(), 0, connection.handle()), 0);
    reader.set_report_rate(1000);
    ASSERT_TRUE(Reports::wait_for(connection.handle(), 50));
    Fault cut = Fault::hang_up(7);
    cut.target = Fault::Target::reports;
    reader.inject(cut);
    ASSERT_TRUE(reader.wait_for_reading(false));
    EXPECT_EQ(StopRead(connection.address(), connection.handle()), 48);
    EXPECT_EQ(run_inventory(connection).status, 48);
    EXPECT_EQ(connection.close(), 0);
}

}  // namespace
}  // namespace tagwire::test
