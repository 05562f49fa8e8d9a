// Inventories of Gen2 tags, in units.
#include "xx/reader/tag_collection.h"
#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using namespace std::chrono_literals;

class InventoryOf : public VirtualReader {
  protected:
    static std::vector<Epc> epcs(const InventoryResult& result)
    {
        std::vector<Epc> out;
        for (const Read& read : result.reads) out.push_back(read.epc);
        std::sort(out.begin(), out.end());
        return out;
    }
    InventoryResult inventory(const InventoryPlan& plan = {})
    {
        return patiently([&] { return reader().inventory(plan); });
    }
};
INSTANTIATE_TEST_SUITE_P(Links, InventoryOf, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(InventoryOf, TellsWhichTagsAreThere)
{
    sim::Scenario scenario = make_scenario(3);
    scenario.tags[1].rssi = 77;
    scenario.tags[1].antennas = {2};
    scenario.reader.phase = true;
    scenario.reader.frequency_khz = 915'250;
    scenario.tags[1].phase = 500;
    scenario.tags[1].phase_drift = 20;
    connect(scenario);
    const auto before = std::chrono::steady_clock::now();
    const InventoryResult found = inventory({.q = 4, .session = Session::s0});
    EXPECT_TRUE(found.complete);
    EXPECT_EQ(found.bad_records, 0U);
    ASSERT_THAT(epcs(found), ElementsAre(epc_of(1), epc_of(2), epc_of(3)));
    const auto second = std::find_if(found.reads.begin(), found.reads.end(),
                                     [](const Read& read) { return read.epc == epc_of(2); });
    EXPECT_EQ(second->port, Port(2));
    EXPECT_EQ(second->antenna_byte, 2);
    EXPECT_EQ(second->rssi, 77);
    EXPECT_EQ(second->count, 1U);
    EXPECT_EQ(second->phase->begin, 500);
    EXPECT_EQ(second->phase->end, 520);
    EXPECT_EQ(second->frequency->value, 915'250U);
    EXPECT_GE(second->received.steady, before);
    EXPECT_FALSE(second->tid || second->id || second->data);
}

TEST_P(InventoryOf, ManyTagsInManyFrames)
{
    connect(make_scenario(600));
    const InventoryResult found = inventory({.q = 8, .scan_time = 25s});
    EXPECT_TRUE(found.complete);
    EXPECT_EQ(found.reads.size(), 600U);
}

TEST_P(InventoryOf, NoTagIsAResult)
{
    connect(make_scenario(0));
    const InventoryResult found = inventory();
    EXPECT_TRUE(found.reads.empty());
    EXPECT_TRUE(found.complete);
}

TEST_P(InventoryOf, OnePortAfterTheOther)
{
    sim::Scenario scenario = make_scenario(2);
    scenario.tags[0].antennas = {1, 3};
    scenario.tags[1].antennas = {3};
    connect(scenario);
    device->forget_requests();
    const InventoryResult found = inventory({.antennas = {Port(1), Port(3)}, .scan_time = 150ms});
    std::vector<std::pair<Epc, Port>> where;
    for (const Read& read : found.reads) where.emplace_back(read.epc, read.port);
    EXPECT_THAT(where, UnorderedElementsAre(std::pair(epc_of(1), Port(1)), std::pair(epc_of(1), Port(3)),
                                            std::pair(epc_of(2), Port(3))));
    const auto tags = found.tags();
    ASSERT_EQ(tags.size(), 2U);
    EXPECT_EQ(tags[0].epc, epc_of(1));
    EXPECT_THAT(tags[0].ports, ElementsAre(Port(1), Port(3)));
    EXPECT_EQ(tags[0].count, 2U);
    // Q, session, target, antenna, units of 100 ms rounded up.
    EXPECT_EQ(device->last_request().at(6), 0x82);
    EXPECT_EQ(device->last_request().at(7), 2);
}

TEST_P(InventoryOf, TheTargetGoesToEachEnabledPort)
{
    sim::Scenario scenario = make_scenario(2);
    scenario.reader.enabled_antennas = {2, 4};
    scenario.tags[0].antennas = {2};
    scenario.tags[1].antennas = {4};
    connect(scenario);
    EXPECT_EQ(inventory({.target = Target::a}).reads.size(), 2U);
    EXPECT_EQ(device->last_request().at(5), 0);
    EXPECT_EQ(device->last_request().at(6), 0x83);
    EXPECT_EQ(device->last_request().at(7), 10) << "the reader's own scan time";
}

TEST_P(InventoryOf, ATimeThatIsOverIsNotComplete)
{
    sim::Scenario scenario = make_scenario(300);
    scenario.reader.air_time = 1;
    connect(scenario);
    const InventoryResult found = inventory({.q = 8, .antennas = {Port(1)}, .scan_time = 100ms});
    EXPECT_FALSE(found.complete);
    EXPECT_LT(found.reads.size(), 300U);
}

TEST_P(InventoryOf, TagsThatMatch)
{
    connect(make_scenario(9));
    const InventoryResult found = inventory({.mask = Mask{Bank::epc, 32 + 88, {0x05}, 8}});
    EXPECT_THAT(epcs(found), ElementsAre(epc_of(5)));
    // The first 5 bits of serial numbers 8 and 9 in 8 bits are 00001.
    EXPECT_THAT(epcs(inventory({.mask = Mask{Bank::epc, 32 + 88, {0x08}, 5}})),
                ElementsAre(epc_of(8), epc_of(9)));
}

TEST_P(InventoryOf, WordsBesideTheEpc)
{
    sim::Scenario scenario = make_scenario(3);
    for (unsigned i = 0; i < 3; ++i) {
        scenario.tags[i].tid = {0xE2, 0x80, 0x11, 0x60, 0, static_cast<std::uint8_t>(i + 1)};
        scenario.tags[i].user = sim::Bytes(240, static_cast<std::uint8_t>(0x50 + i));
    }
    scenario.tags[2].tid = {0xE2, 0x80};
    connect(scenario);
    for (const Read& read : inventory({.words = Words{Bank::tid, 0, 3}}).reads) {
        if (read.epc == epc_of(3)) {
            EXPECT_FALSE(read.tid || read.data) << "it has not so many words";
        } else {
            EXPECT_EQ(read.tid, read.epc == epc_of(1) ? Tid("E28011600001") : Tid("E28011600002"));
        }
    }
    for (const Read& read : inventory({.words = Words{Bank::user, 1, 31}}).reads) {
        ASSERT_TRUE(read.data);
        EXPECT_EQ(read.data->size(), 62U);
        EXPECT_FALSE(read.tid);
    }
    for (const Read& read : inventory({.words = Words{Bank::user, 1, 119}}).reads) {
        ASSERT_TRUE(read.data);
        EXPECT_EQ(read.data->size(), 238U);
        EXPECT_EQ(read.data->front(), 0x50 + read.epc.bytes().back() - 1);
    }
}

// An inventory may find no tag for longer than the silence after which a reader counts as gone.
class OneLink : public VirtualReader {};
INSTANTIATE_TEST_SUITE_P(Links, OneLink, testing::Values(Link::tcp), link_name);

TEST_P(OneLink, ALongTimeWithoutATagIsNoSilence)
{
    connect(make_scenario(1));
    sim::Fault late;
    late.kind = sim::Fault::Kind::delay;
    late.command = 0x01;
    late.gap = 5500ms;
    device->inject(late);
    EXPECT_EQ(reader().inventory({.antennas = {Port(1)}, .scan_time = 9s}).reads.size(), 1U);
}

TEST_P(InventoryOf, ManyPortsAreNumbers)
{
    sim::Scenario scenario = make_scenario(1);
    scenario.reader.antennas = 16;
    scenario.reader.antenna_byte = sim::AntennaByte::number;
    scenario.tags[0].antennas = {11};
    connect(scenario);
    EXPECT_EQ(inventory().reads.at(0).port, Port(11));
}

TEST_P(InventoryOf, PortsAreNumbersWhereTheUrlSaysSo)
{
    sim::Scenario scenario = make_scenario(1);
    scenario.reader.antenna_byte = sim::AntennaByte::number;
    scenario.tags[0].antennas = {3};
    connect(scenario, "antenna_byte=number");
    EXPECT_EQ(inventory().reads.at(0).port, Port(3));
    connect(scenario, "antenna_byte=mask");
    EXPECT_FALSE(inventory().reads.at(0).port.known()) << "3 is two bits";
}

TEST_P(InventoryOf, AMissingAntennaIsAnError)
{
    connect(make_scenario(1));
    const auto error = error_of([&] { inventory({.antennas = {Port(9)}}); });
    EXPECT_EQ(error->code(), Errc::refused);
    EXPECT_EQ(error->result(), 0xF8);
}

TEST_P(InventoryOf, ADamagedAnswerIsNotShown)
{
    connect(make_scenario(4));
    // A record that says it is longer than its frame: the check sum is good.
    sim::Fault fault;
    fault.kind = sim::Fault::Kind::set_byte;
    fault.command = 0x01;
    fault.index = 6;
    fault.value = 0x3F;
    device->inject(fault);
    const InventoryResult found = inventory();
    EXPECT_GE(found.bad_records, 1U);
    EXPECT_LT(found.reads.size(), 4U);
}

TEST_P(InventoryOf, ValuesOutsideTheirRangesAreNotSent)
{
    connect(make_scenario(1));
    device->forget_requests();
    const InventoryPlan wrong[] = {
        {.q = 16},
        {.q = -1},
        {.session = static_cast<Session>(4)},
        {.antennas = {Port(0)}},
        {.antennas = {Port(1), Port(129)}},
        {.scan_time = 0ms},
        {.scan_time = 25'501ms},
        {.mask = Mask{}},
        {.mask = Mask{Bank::reserved, 0, {1}}},
        {.mask = Mask{Bank::epc, 0x10000, {1}}},
        {.mask = Mask{Bank::epc, 0, {1}, 9}},
        {.mask = Mask{Bank::epc, 0, Bytes(32, 1)}},
        {.words = Words{Bank::tid, 0, 0}},
        {.words = Words{Bank::tid, 0, 120}},
        {.words = Words{Bank::tid, 0x10000, 1}},
    };
    for (const InventoryPlan& plan : wrong) {
        const auto error = error_of([&] { reader().inventory(plan); });
        EXPECT_EQ(error->code(), Errc::invalid_value) << error->what();
        EXPECT_EQ(error->outcome(), Outcome::nothing);
    }
    for (const auto& request : device->requests()) EXPECT_NE(request.command, 0x01);
}

TEST_P(InventoryOf, AStocktakeGoesOnUntilNothingNewComes)
{
    sim::Scenario scenario = make_scenario(200);
    for (unsigned i = 0; i < 200; ++i) scenario.tags[i].antennas = {i % 4 + 1};
    scenario.reader.air_time = 0.01;
    connect(scenario);
    const StocktakeResult result = patiently(
        [&] { return reader().stocktake({.q = 2, .sessions = {Session::s1}, .scan_time = 100ms}); });
    EXPECT_TRUE(result.found.complete);
    EXPECT_EQ(result.found.tags().size(), 200U);
    EXPECT_GE(result.rounds, 3U);
}

TEST_P(InventoryOf, AStocktakeEndsAtItsMostRounds)
{
    sim::Scenario scenario = make_scenario(100);
    scenario.reader.air_time = 1;
    connect(scenario);
    const StocktakeResult result = patiently([&] {
        return reader().stocktake(
            {.q = 0, .sessions = {Session::s0}, .antennas = {Port(1)}, .scan_time = 100ms, .most_rounds = 1});
    });
    EXPECT_FALSE(result.found.complete);
    EXPECT_EQ(result.rounds, 1U);
    EXPECT_EQ(error_of([&] { reader().stocktake({.sessions = {}}); })->code(), Errc::invalid_value);
}

engine::TagRecord record_of(const Epc& epc, u8 packet, u8 antenna)
{
    engine::TagRecord out{};
    out.kind = 1;
    out.packet = packet;
    out.id = epc.bytes().data();
    out.id_size = epc.size();
    out.antenna = antenna;
    out.rssi = static_cast<u8>(100 + antenna);
    out.whole = true;
    return out;
}

TEST(Tags, OfOneEpcAreToldApartByTid)
{
    TagCollection tags(AntennaByte::mask, TagCollection::Named::by_epc, Words{Bank::tid, 0, 2});
    const Epc epc("0102");
    const Epc tids[] = {Epc("E2000001"), Epc("E2000002"), Epc("E2000001")};
    for (const Epc& tid : tids) {
        tags.take(record_of(epc, 0, 1));
        tags.take(record_of(tid, 1, 1));
    }
    tags.end_inventory();
    const InventoryResult found = tags.take_result();
    ASSERT_EQ(found.reads.size(), 2U);
    EXPECT_EQ(found.reads[0].tid, Tid("E2000001"));
    EXPECT_EQ(found.reads[0].count, 2U);
    EXPECT_EQ(found.reads[1].tid, Tid("E2000002"));
    EXPECT_EQ(found.tags().size(), 2U);
}

TEST(Tags, AreCountedPerPortWithTheirStrongestReading)
{
    TagCollection tags(AntennaByte::mask, TagCollection::Named::by_epc, {});
    const Epc epc("0102");
    for (const u8 antenna : {1, 2, 1, 3}) tags.take(record_of(epc, 0, antenna));
    engine::TagRecord stronger = record_of(epc, 0, 1);
    stronger.rssi = 200;
    tags.take(stronger);
    tags.end_inventory();
    const InventoryResult found = tags.take_result();
    ASSERT_EQ(found.reads.size(), 3U);
    EXPECT_EQ(found.reads[0].count, 3U);
    EXPECT_EQ(found.reads[0].rssi, 200);
    EXPECT_EQ(found.reads[2].port, Port()) << "two bits name no port";
    const SeenTag tag = found.tags().at(0);
    EXPECT_EQ(tag.count, 5U);
    EXPECT_EQ(tag.rssi, 200);
    EXPECT_THAT(tag.ports, ElementsAre(Port(), Port(1), Port(2)));
}

TEST(Tags, WhatIsNoWholeRecordIsCountedAndLeftOut)
{
    TagCollection tags(AntennaByte::mask, TagCollection::Named::by_epc, {});
    const Epc epc("0102");
    engine::TagRecord cut = record_of(epc, 0, 1);
    cut.whole = false;
    tags.take(cut);
    tags.take(record_of(epc, 1, 1));  // memory of no tag
    const Bytes longer(64, 1);
    engine::TagRecord too_long = record_of(epc, 0, 1);
    too_long.id = longer.data();
    too_long.id_size = longer.size();
    tags.take(too_long);
    tags.end_inventory();
    const InventoryResult found = tags.take_result();
    EXPECT_TRUE(found.reads.empty());
    EXPECT_EQ(found.bad_records, 3U);
}

}  // namespace
}  // namespace tagwire::test
