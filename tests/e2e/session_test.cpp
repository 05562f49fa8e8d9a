// Opening, inventorying, streaming, stopping, closing: an application's day in small.
#include <thread>

#include "e2e/connection.h"

namespace tagwire::test {
namespace {

class Session : public testing::TestWithParam<Link> {
  protected:
    void SetUp() override { Reports::clear(); }
    sim::Simulator simulator;
};

INSTANTIATE_TEST_SUITE_P(Links, Session, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Session, opens_inventories_streams_closes_and_reopens)
{
    sim::Scenario scenario = make_scenario(20);
    scenario.reader.address = 0x05;
    sim::Reader& reader = simulator.add_reader(scenario);
    Connection connection(reader, GetParam());

    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(connection.open(), 0);
        EXPECT_EQ(*connection.address(), 0x05);

        const InventoryResult found = run_inventory(connection, 4, 0);
        EXPECT_EQ(found.status, 1);
        EXPECT_EQ(found.count, 20);
        EXPECT_EQ(std::set(found.epcs.begin(), found.epcs.end()), epcs_of(scenario));
        EXPECT_EQ(found.epcs.size(), 20U);

        Reports::clear();
        InitRFIDCallBack(Reports::callback, true, connection.handle());
        ASSERT_EQ(StartRead(connection.address(), 0, connection.handle()), 0);
        reader.set_report_rate(1000);
        EXPECT_EQ(StartRead(connection.address(), 0, connection.handle()), 51);
        EXPECT_EQ(run_inventory(connection).status, 51);
        EXPECT_EQ(StopImmediately(connection.address(), connection.handle()), 51);
        ASSERT_TRUE(Reports::wait_for(connection.handle(), 100));
        EXPECT_EQ(connection.stop_reading(), 0);
        EXPECT_EQ(Reports::uids(), epcs_of(scenario));
        EXPECT_FALSE(reader.is_reading());
        reader.set_report_rate(0);

        EXPECT_EQ(connection.close(), 0);
    }
}

TEST_P(Session, an_inventory_with_a_callback_only_returns_no_list)
{
    const sim::Scenario scenario = make_scenario(50);
    Connection connection(simulator.add_reader(scenario), GetParam());
    ASSERT_EQ(connection.open(), 0);
    InitRFIDCallBack(Reports::callback, true, connection.handle());
    const InventoryResult found = run_inventory(connection, 5, 0);
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.count, 0);
    EXPECT_TRUE(found.epcs.empty());
    EXPECT_EQ(Reports::count(connection.handle()), 50U);
    EXPECT_EQ(Reports::uids(), epcs_of(scenario));
}

TEST_P(Session, an_empty_field_is_no_error)
{
    Connection connection(simulator.add_reader(make_scenario(0)), GetParam());
    ASSERT_EQ(connection.open(), 0);
    const InventoryResult found = run_inventory(connection);
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.count, 0);
}

TEST_P(Session, four_hundred_tags_come_in_many_frames)
{
    sim::Scenario scenario = make_scenario(400);
    scenario.reader.scan_time = 0;
    Connection connection(simulator.add_reader(scenario), GetParam());
    ASSERT_EQ(connection.open(), 0);
    const InventoryResult found = run_inventory(connection, 8, 1);
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.count, 400);
    EXPECT_EQ(std::set(found.epcs.begin(), found.epcs.end()), epcs_of(scenario));
}

TEST_P(Session, a_thousand_starts_and_stops_on_a_silent_reader_all_succeed)
{
    sim::Reader& reader = simulator.add_reader(make_scenario(0));
    Connection connection(reader, GetParam());
    ASSERT_EQ(connection.open(), 0);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(StartRead(connection.address(), 0, connection.handle()), 0) << i;
        ASSERT_EQ(StopRead(connection.address(), connection.handle()), 0) << i;
    }
    EXPECT_EQ(reader.counters().commands[0x50], 1000U);
    EXPECT_EQ(reader.counters().commands[0x51], 1000U);
}

TEST_P(Session, all_commands_find_the_virtual_tags)
{
    sim::Scenario scenario = make_scenario(3);
    for (auto& tag : scenario.tags) tag.tid = {0xE2, 0x80, 0x11, 0x60, tag.epc[10], tag.epc[11]};
    Connection connection(simulator.add_reader(scenario), GetParam());
    ASSERT_EQ(connection.open(), 0);
    const int handle = connection.handle();
    std::vector<unsigned char> list(65542);
    unsigned char antenna = 0;
    int length = 0;
    int count = 0;
    unsigned char zeros[16] = {};
    unsigned char tid_words[4] = {2, 0, 0, 3};

    EXPECT_EQ(Inventory_G2(connection.address(), 4, 0, 0, nullptr, 0, nullptr, 0, 0, 3, 1, 0, 0, 0, 0,
                           list.data(), &antenna, &length, &count, handle),
              1);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(length, 3 * 8);
    EXPECT_EQ(list[0], 6);
    EXPECT_EQ(list[1], 0xE2);

    EXPECT_EQ(InventoryMix_G2(connection.address(), 4, 0, 0, nullptr, 0, nullptr, 0, 2, zeros, 3, zeros, 0, 0,
                              0, 0, list.data(), &antenna, &length, &count, handle),
              1);
    EXPECT_EQ(length, 3 * (15 + 9));

    EXPECT_EQ(InventoryExtMix_G2(connection.address(), 4, 0, 1, tid_words, 0, nullptr, 0, nullptr, 0, zeros,
                                 0, 0, 0, 0, list.data(), &antenna, &length, &count, handle),
              1);
    EXPECT_EQ(length, 3 * (15 + 9));

    unsigned char no_bits[2] = {0, 0};
    EXPECT_EQ(Inventory_EPC_G2(connection.address(), 0, no_bits, no_bits, zeros, list.data(), &antenna,
                               &length, &count, handle),
              1);
    EXPECT_EQ(count, 3);
    for (const auto inventory : {Inventory_QT_G2, Inventory_FastBID_NXP, Inventory_FastTID_NXP}) {
        count = 0;
        EXPECT_EQ(
            inventory(connection.address(), 4, 0, 0, 0, 0, 0, list.data(), &antenna, &length, &count, handle),
            1);
        EXPECT_EQ(count, 3);
    }

    std::vector<unsigned char> epc(248);
    int epc_length = 0;
    EXPECT_EQ(SingleTagInventory_G2(connection.address(), epc.data(), &epc_length, &count, handle), 1);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(epc_length, 12);

    Reports::clear();
    InitRFIDCallBack(Reports::callback, false, handle);
    EXPECT_EQ(Fast_switch_ant_inventory(connection.address(), 0, 1, 1, 1, 2, 1, 3, 1, 0, 1, handle), 1);
    EXPECT_EQ(Reports::uids(), epcs_of(scenario));

    unsigned char version[2] = {};
    unsigned char type = 0;
    unsigned char protocols = 0;
    EXPECT_EQ(GetModuleDetails(connection.address(), version, &type, &protocols, handle), 0);
    EXPECT_EQ(version[0], 1);
}

// The reader is inside an inventory of 25 s when another thread tells it to stop.
TEST_P(Session, another_thread_aborts_an_inventory)
{
    sim::Scenario scenario = make_scenario(1);
    scenario.reader.air_time = 1000;
    sim::Reader& reader = simulator.add_reader(scenario);
    Connection connection(reader, GetParam());
    ASSERT_EQ(connection.open(), 0);
    std::atomic<int> status{-1};
    std::thread inventory([&] { status = run_inventory(connection, 4, 0).status; });
    ASSERT_TRUE(reader.wait_for_command(0x01));
    unsigned char address = *connection.address();
    EXPECT_EQ(StopImmediately(&address, connection.handle()), 0);
    inventory.join();
    EXPECT_EQ(status, 1);
}

}  // namespace
}  // namespace tagwire::test
