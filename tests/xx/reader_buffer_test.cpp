// Tags that the reader keeps, and tags of other air interfaces.
#include <unistd.h>

#include "xx/reader/reader_inside.h"
#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using namespace std::chrono_literals;

class BufferOf : public VirtualReader {
  protected:
    static sim::Scenario scenario()
    {
        sim::Scenario out = make_scenario(3);
        out.tags[1].antennas = {3};
        out.tags[1].rssi = 99;
        for (unsigned i = 0; i < 3; ++i) out.tags[i].tid = {0xE2, 0x80, 0, static_cast<std::uint8_t>(i)};
        return out;
    }
    BufferCounts inventory(const InventoryPlan& plan = {})
    {
        return patiently([&] { return reader().buffer().inventory(plan); });
    }
    std::vector<BufferedTag> read()
    {
        return patiently([&] { return reader().buffer().read(); });
    }
};
INSTANTIATE_TEST_SUITE_P(Links, BufferOf, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(BufferOf, KeepsTags)
{
    connect(scenario());
    Buffer buffer = reader().buffer();
    EXPECT_TRUE(read().empty());
    const BufferCounts counts = inventory();
    EXPECT_TRUE(counts.complete);
    EXPECT_EQ(counts.stored, 3U);
    EXPECT_GE(counts.read, 3U);
    const auto tags = read();
    ASSERT_EQ(tags.size(), 3U);
    const auto second =
        std::find_if(tags.begin(), tags.end(), [](const BufferedTag& tag) { return tag.epc == epc_of(2); });
    ASSERT_NE(second, tags.end());
    EXPECT_EQ(second->port, Port(3));
    EXPECT_EQ(second->antenna_byte, 4);
    EXPECT_EQ(second->rssi, 99);
    EXPECT_GE(second->count, 1U);
    EXPECT_EQ(patiently([&] { return buffer.count(); }), 3U);
    patiently([&] { buffer.clear(); });
    EXPECT_EQ(patiently([&] { return buffer.count(); }), 0U);
}

TEST_P(BufferOf, ManyTagsInManyFrames)
{
    sim::Scenario many = make_scenario(150);
    many.reader.records_per_frame = 4;
    connect(many);
    EXPECT_EQ(inventory({.q = 7, .scan_time = 25s}).stored, 150U);
    EXPECT_EQ(read().size(), 150U);
}

TEST_P(BufferOf, TidsFromOnePort)
{
    connect(scenario());
    const BufferCounts counts = inventory({.antennas = {Port(3), Port(4)}, .words = Words{Bank::tid, 0, 2}});
    EXPECT_EQ(counts.stored, 1U);
    EXPECT_EQ(read().at(0).epc, Epc("E2800001"));
    EXPECT_EQ(device->last_request().at(2), 0x72);
}

TEST_P(BufferOf, ATimeThatIsOver)
{
    sim::Scenario many = make_scenario(200);
    many.reader.air_time = 1;
    connect(many);
    const BufferCounts counts = inventory({.q = 8, .antennas = {Port(1)}, .scan_time = 100ms});
    EXPECT_FALSE(counts.complete);
    EXPECT_FALSE(counts.read);
    EXPECT_LT(counts.stored, 200U);
    EXPECT_EQ(read().size(), counts.stored);
}

TEST_P(BufferOf, LongIdentifiers)
{
    sim::Scenario one = make_scenario(1);
    one.tags[0].epc = sim::Bytes(20, 0xAB);
    connect(one);
    Buffer buffer = reader().buffer();
    EXPECT_FALSE(patiently([&] { return buffer.keeps_long_ids(); }));
    inventory();
    EXPECT_EQ(read().at(0).epc.size(), 16U);
    patiently([&] { buffer.clear(); });
    patiently([&] { buffer.keep_long_ids(true); });
    EXPECT_TRUE(patiently([&] { return buffer.keeps_long_ids(); }));
    inventory();
    EXPECT_EQ(read().at(0).epc.size(), 20U);
}

TEST_P(BufferOf, HistoryOfContinuousReading)
{
    sim::Scenario reading = scenario();
    reading.reader.report_rate = 1000;
    connect(reading);
    EXPECT_TRUE(patiently([&] { return reader().buffer().history(); }).empty());
    device->set_batch(40);
    OpenLink link = ReaderInside::take_back(std::move(reader()));
    const auto start = engine::make_question(0x0A, engine::start_command, {0});
    ASSERT_EQ(::write(link.fd.get(), start.bytes, start.size), static_cast<ssize_t>(start.size));
    ASSERT_TRUE(device->wait_for_batch());
    link = {};
    open();
    Buffer buffer = reader().buffer();
    const auto history = patiently([&] { return buffer.history(); });
    std::vector<Epc> epcs;
    for (const HistoryRecord& record : history) epcs.push_back(record.epc);
    EXPECT_THAT(epcs, UnorderedElementsAre(epc_of(1), epc_of(2), epc_of(3)));
    patiently([&] { buffer.clear_history(); });
    EXPECT_TRUE(patiently([&] { return buffer.history(); }).empty());
}

std::vector<Epc> epcs_of(const std::vector<FoundTag>& tags)
{
    std::vector<Epc> out;
    for (const FoundTag& tag : tags) out.push_back(tag.epc);
    return out;
}

TEST_P(BufferOf, TagsOfAListAreFoundAndMissed)
{
    connect(scenario());
    Buffer buffer = reader().buffer();
    const auto find = [&](const SearchPlan& plan) { return patiently([&] { return buffer.find(plan); }); };
    const Epc absent("300000000000000000000099");
    const SearchResult both = find({.epcs = {epc_of(1), absent, epc_of(2)}});
    EXPECT_TRUE(both.complete);
    EXPECT_THAT(epcs_of(both.found), UnorderedElementsAre(epc_of(1), epc_of(2)));
    EXPECT_THAT(both.missing, ElementsAre(absent));
    const SearchResult on_port_3 = find({.epcs = {epc_of(1), epc_of(2)}, .antennas = {Port(3)}});
    ASSERT_THAT(epcs_of(on_port_3.found), ElementsAre(epc_of(2)));
    EXPECT_EQ(on_port_3.found[0].rssi, 99);
    EXPECT_THAT(on_port_3.missing, ElementsAre(epc_of(1)));
    EXPECT_EQ(find({.epcs = {epc_of(3)}, .keep_list = true}).found.size(), 3U);
    EXPECT_EQ(find({.keep_list = true}).found.size(), 3U);
    std::vector<Epc> many;
    for (unsigned i = 1; i <= 70; ++i) many.push_back(epc_of(i));
    const SearchResult among_many = find({.epcs = many});
    EXPECT_EQ(among_many.found.size(), 3U);
    EXPECT_EQ(among_many.missing.size(), 67U);
}

TEST_P(BufferOf, AListWhoseAnswerIsLostMayBeThere)
{
    connect(scenario());
    sim::Fault lost = sim::Fault::silence();
    lost.command = 0xE6;
    device->inject(lost);
    const auto error = error_of([&] { reader().buffer().find({.epcs = {epc_of(1)}}); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
}

TEST_P(BufferOf, ValuesOutsideTheirRangesAreNotSent)
{
    connect(scenario());
    const std::uint64_t before = device->counters().requests;
    const SearchPlan wrong_searches[] = {
        {},
        {.epcs = {Epc()}},
        {.epcs = {Epc("300011")}},
        {.epcs = {epc_of(1)}, .q = 16},
        {.epcs = {epc_of(1)}, .antennas = {Port(17)}},
    };
    for (const SearchPlan& plan : wrong_searches)
        EXPECT_EQ(error_of([&] { reader().buffer().find(plan); })->code(), Errc::invalid_value);
    const InventoryPlan wrong[] = {
        {.q = 16},
        {.session = static_cast<Session>(4)},
        {.antennas = {Port(0)}},
        {.scan_time = 0ms},
        {.mask = Mask{}},
        {.words = Words{Bank::user, 0, 2}},
        {.words = Words{Bank::tid, 0, 0}},
        {.words = Words{Bank::tid, 0, 32}},
        {.words = Words{Bank::tid, 256, 2}},
    };
    for (const InventoryPlan& plan : wrong)
        EXPECT_EQ(error_of([&] { reader().buffer().inventory(plan); })->code(), Errc::invalid_value);
    EXPECT_EQ(device->counters().requests, before);
}

class OtherTags : public VirtualReader {
  protected:
    static sim::Tag6bSettings tag_6b(std::uint8_t last)
    {
        sim::Tag6bSettings tag;
        tag.id = {0xE0, 0, 0, 0, 0, 0, 0, last};
        tag.rssi = static_cast<std::uint8_t>(100 + last);
        tag.memory = {last};
        return tag;
    }
    static sim::TagGbSettings tag_gb(std::uint8_t last)
    {
        sim::TagGbSettings tag;
        tag.tag_id = {0x91, 0, 0, last};
        tag.user = {0xCA, 0xFE, 0, last};
        tag.antennas = {last};
        return tag;
    }
    static std::vector<std::pair<TagId, int>> ids(const InventoryResult& result)
    {
        std::vector<std::pair<TagId, int>> out;
        for (const Read& read : result.reads) out.emplace_back(read.id.value(), read.port.number());
        return out;
    }
    void expect_words(const InventoryResult& found)
    {
        ASSERT_EQ(found.reads.size(), 2U);
        for (const Read& read : found.reads) {
            ASSERT_TRUE(read.data);
            EXPECT_THAT(*read.data, ElementsAre(0xCA, 0xFE, 0, read.port.number()));
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Links, OtherTags, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(OtherTags, Of6b)
{
    sim::Scenario scenario = make_scenario(0);
    connect(scenario);
    EXPECT_TRUE(patiently([&] { return reader().inventory_6b(); }).reads.empty());
    for (std::uint8_t i = 1; i <= 4; ++i) scenario.tags_6b.push_back(tag_6b(i));
    connect(scenario);
    const InventoryResult one = patiently([&] { return reader().inventory_6b(); });
    EXPECT_THAT(ids(one), ElementsAre(std::pair(TagId("E000000000000001"), 1)));
    EXPECT_EQ(one.reads[0].rssi, 101);
    EXPECT_TRUE(one.reads[0].epc.empty());
    const Condition6b greater{Condition6b::Comparison::greater, 8, {0x02}};
    EXPECT_THAT(
        ids(patiently([&] { return reader().inventory_6b(greater); })),
        ElementsAre(std::pair(TagId("E000000000000003"), 1), std::pair(TagId("E000000000000004"), 1)));
    const Condition6b last{Condition6b::Comparison::equal, 0, {0, 0, 0, 0, 0, 0, 0, 0x03}, 0x01};
    EXPECT_THAT(ids(patiently([&] { return reader().inventory_6b(last); })),
                ElementsAre(std::pair(TagId("E000000000000003"), 1)));
    const std::uint64_t before = device->counters().requests;
    for (const Condition6b& wrong : {Condition6b{}, Condition6b{{}, 0, Bytes(9)}, Condition6b{{}, 256, {1}},
                                     Condition6b{static_cast<Condition6b::Comparison>(4), 0, {1}}})
        EXPECT_EQ(error_of([&] { reader().inventory_6b(wrong); })->code(), Errc::invalid_value);
    EXPECT_EQ(device->counters().requests, before);
}

TEST_P(OtherTags, Of6bThatAreFewerThanCountedAreNotMadeUp)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.tags_6b = {tag_6b(1), tag_6b(2)};
    connect(scenario, "antenna_byte=mask");
    sim::Fault fault;
    fault.kind = sim::Fault::Kind::set_byte;
    fault.command = 0x51;
    fault.index = 5;
    fault.value = 3;
    device->inject(fault);
    const InventoryResult found =
        reader().inventory_6b(Condition6b{Condition6b::Comparison::greater, 8, {0x00}});
    EXPECT_EQ(found.reads.size(), 2U);
    EXPECT_EQ(found.bad_records, 1U);
}

TEST_P(OtherTags, OfGb)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.tags_gb = {tag_gb(1), tag_gb(2)};
    connect(scenario);
    const auto gb = [&](const OtherTagsPlan& plan) {
        return patiently([&] { return reader().inventory_gb(plan); });
    };
    EXPECT_THAT(ids(gb({})),
                UnorderedElementsAre(std::pair(TagId("91000001"), 1), std::pair(TagId("91000002"), 2)));
    EXPECT_THAT(ids(gb({.antenna = Port(2), .scan_time = 300ms})),
                ElementsAre(std::pair(TagId("91000002"), 2)));
    EXPECT_EQ(device->last_request().at(3), 0x81);
    EXPECT_EQ(device->last_request().at(4), 3);
    expect_words(gb({.words = OtherTagsPlan::Area{0x30, 0, 2}}));
    EXPECT_THAT(ids(gb({.mask = OtherTagsPlan::AreaMask{0x10, 24, {0x02}}})),
                ElementsAre(std::pair(TagId("91000002"), 2)));
    const std::uint64_t before = device->counters().requests;
    for (const OtherTagsPlan& wrong :
         {OtherTagsPlan{.antenna = Port(129)}, OtherTagsPlan{.scan_time = 25'501ms},
          OtherTagsPlan{.password = Password("11223344")},
          OtherTagsPlan{.words = OtherTagsPlan::Area{0x30, 0, 32}},
          OtherTagsPlan{.words = OtherTagsPlan::Area{0x30, 0x10000, 1}},
          OtherTagsPlan{.mask = OtherTagsPlan::AreaMask{}}})
        EXPECT_EQ(error_of([&] { reader().inventory_gb(wrong); })->code(), Errc::invalid_value);
    EXPECT_EQ(device->counters().requests, before);
}

TEST_P(OtherTags, OfJb)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.protocol_family = sim::ProtocolFamily::jb;
    scenario.tags_jb = {tag_gb(1), tag_gb(2)};
    connect(scenario);
    EXPECT_EQ(patiently([&] { return reader().inventory_jb({.algorithm = 1}); }).reads.size(), 2U);
    EXPECT_EQ(device->last_request().at(3), 1);
    expect_words(patiently([&] {
        return reader().inventory_jb({.words = OtherTagsPlan::Area{0x30, 0, 2}});
    }));
    expect_invalid([&] { reader().inventory_jb({.password = Password("11223344")}); });
}

}  // namespace
}  // namespace tagwire::test
