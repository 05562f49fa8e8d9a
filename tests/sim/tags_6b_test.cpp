#include "exchange.h"
#include "field/other_tags.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::seconds;
using testing::SizeIs;

constexpr const char* shelf = R"(
[reader]
antennas = 2
air_time = 0
[[tag_6b]]
id = "E001 0000 0000 0001"
memory = "A0A1 A2A3"
locked = [9]
rssi = 100
[[tag_6b]]
id = "E001 0000 0000 0002"
memory = "B0"
rssi = 90
antennas = [1, 2]
[[tag_6b]]
id = "E001 0000 0000 0003"
rssi = 80
antennas = [2]
departs = 5
)";

const std::string first = "E0 01 00 00 00 00 00 01";
const std::string second = "E0 01 00 00 00 00 00 02";
const std::string third = "E0 01 00 00 00 00 00 03";

std::string addressed(const std::string& address, const std::string& id, const std::string& more = "")
{
    return address + id + more;
}

TEST(Tags6b, SingleInventory)
{
    Bench bench(shelf);
    run(bench, {{0x50, "", {"00 01 01 " + first + " 64"}}});
    EXPECT_EQ(bench.hex().front(), "10 00 50 00 01 01 E0 01 00 00 00 00 00 01 64 69 49");
}

TEST(Tags6b, SingleInventoryGoesOnToTheNextAntenna)
{
    Scenario scenario = Scenario::from_text(shelf);
    scenario.tags_6b.erase(scenario.tags_6b.begin(), scenario.tags_6b.begin() + 2);
    Bench bench(scenario);
    run(bench, {{0x50, "", {"00 02 01 " + third + " 50"}}});
    bench.pass(seconds(5));
    run(bench, {{0x50, "", {"FB"}}});
}

struct Selection {
    const char* name;
    const char* condition;  // condition, start address, mask, content
    std::vector<std::string> expected;
};

class Conditions : public testing::TestWithParam<Selection> {};

TEST_P(Conditions, SelectTags)
{
    Bench bench(shelf);
    EXPECT_EQ(answers(bench, 0x51, GetParam().condition), GetParam().expected);
}

const std::string only_first = "00 01 01 " + first + " 64";
const std::string only_second = "00 01 01 " + second + " 5A";
const std::string both = "00 01 02 " + first + " 64 " + second + " 5A";

INSTANTIATE_TEST_SUITE_P(
    Tags6b, Conditions,
    testing::Values(Selection{"NoByteIsAll", "00 00 00 FFFFFFFFFFFFFFFF", {both}},
                    Selection{"NoByteIsAllWhateverTheCondition", "02 00 00 FFFFFFFFFFFFFFFF", {both}},
                    Selection{"Equal", "00 00 01 0000000000000001", {only_first}},
                    Selection{"EqualInBytesSelected", "00 00 81 E0FFFFFFFFFFFF02", {only_second}},
                    Selection{"EqualInMemory", "00 08 80 A000000000000000", {only_first}},
                    Selection{"NotEqual", "01 00 01 0000000000000001", {only_second}},
                    Selection{"Greater", "02 00 FF E001000000000001", {only_second}},
                    Selection{"Less", "03 00 FF E001000000000002", {only_first}},
                    Selection{"GreaterThanAllButAtTheOtherAntenna",
                              "02 00 FF E001000000000002",
                              {"00 02 01 " + third + " 50"}},
                    Selection{"GreaterInTheFirstByteThatDiffers", "02 08 C0 B000000000000000", {"FB"}},
                    Selection{"BeyondTheMemory", "01 DF 40 FFFFFFFFFFFFFFFF", {"FB"}},
                    Selection{"AtTheEndOfTheMemory", "01 DF 80 FFFFFFFFFFFFFFFF", {both}},
                    Selection{"NoSuchCondition", "04 00 00 0000000000000000", {"FF"}}),
    [](const auto& test) { return test.param.name; });

TEST(Tags6b, ManyInOneFrame)
{
    Bench bench("[[tag_6b]]\nid = \"E0010000\"\ncount = 40\n");
    const auto frames = answers(bench, 0x51, "00 00 00 0000000000000000");
    ASSERT_THAT(frames, SizeIs(1));
    EXPECT_EQ(bench.frames[0].bytes.at(5), 27);
    EXPECT_EQ(bench.frames[0].bytes.size(), 6 + 27 * 9 + 2U);
}

TEST(Tags6b, ReadAndWrite)
{
    Bench bench(shelf);
    const std::string zeros = addressed("0C", first, "D4");
    run(bench, {{0x52, "08 E001000000000001 05", {"00 A0 A1 A2 A3 00"}},
                {0x52, "00 E001000000000002 09", {"00 " + second + " B0"}},
                {0x52, "DF E001000000000001 01", {"00 00"}},
                {0x52, "DF E001000000000001 02", {"FC 03"}},
                {0x52, "E0 E001000000000001 01", {"FC 03"}},
                {0x52, "08 E001000000000009 01", {"FB"}},
                {0x52, "08 E001000000000001 00", {"FF"}},
                {0x53, "0A E001000000000001 11 22", {"00"}},
                {0x53, "0A E001000000000001", {"00"}},  // no bytes
                {0x52, "08 E001000000000001 04", {"00 A0 A1 11 22"}},
                {0x53, "DF E001000000000001 11 22", {"FC 03"}},
                {0x53, "08 E001000000000009 11", {"FB"}}});
    EXPECT_THAT(answers(bench, 0x52, zeros), SizeIs(1));
    EXPECT_EQ(bench.frames[0].bytes.size(), 6 + 0xD4U);
}

TEST(Tags6b, LockedBytesAreNotWritten)
{
    Bench bench(shelf);
    run(bench, {{0x54, "09 E001000000000001", {"00 01"}},
                {0x54, "0A E001000000000001", {"00 00"}},
                {0x54, "07 E001000000000001", {"00 01"}},  // of the ID
                {0x53, "09 E001000000000001 FF", {"FC 04"}},
                {0x53, "08 E001000000000001 FF FF", {"FC 04"}},
                {0x53, "00 E001000000000001 FF", {"FC 04"}},
                {0x52, "08 E001000000000001 02", {"00 A0 A1"}},
                {0x55, "0A E001000000000001", {"00"}},
                {0x55, "0A E001000000000001", {"00"}},
                {0x54, "0A E001000000000001", {"00 01"}},
                {0x54, "0A E001000000000002", {"00 00"}},
                {0x53, "0A E001000000000001 FF", {"FC 04"}},
                {0x53, "0A E001000000000002 FF", {"00"}},
                {0x54, "E0 E001000000000001", {"FC 03"}},
                {0x55, "E0 E001000000000001", {"FC 03"}},
                {0x54, "08 E001000000000009", {"FB"}},
                {0x55, "08 E001000000000009", {"FB"}}});
}

TEST(Tags6b, OneThatHasLeftIsNotFound)
{
    Bench bench(shelf);
    run(bench, {{0x54, "08 E001000000000003", {"00 00"}}});
    bench.pass(seconds(5));
    run(bench, {{0x54, "08 E001000000000003", {"FB"}}});
}

TEST(Tags6b, OneBehindADisabledAntennaIsNotFound)
{
    Scenario scenario = Scenario::from_text(shelf);
    scenario.reader.enabled_antennas = {1};
    Bench bench(scenario);
    run(bench, {{0x54, "08 E001000000000003", {"FB"}}, {0x54, "08 E001000000000002", {"00 00"}}});
}

TEST(Tags6b, WrongLengths)
{
    Bench bench(shelf);
    run(bench, {{0x50, "00 00", {"FF"}},
                {0x51, "00", {"FF"}},
                {0x51, "00 00 00 00000000000000", {"FF"}},
                {0x51, "00 00 00 000000000000000000", {"FF"}},
                {0x52, "08 E001000000000001", {"FF"}},
                {0x52, "08 E001000000000001 01 01", {"FF"}},
                {0x53, "08 E0010000000000", {"FF"}},
                {0x54, "08 E001000000000001 00", {"FF"}},
                {0x54, "", {"FF"}},
                {0x55, "08", {"FF"}}});
}

TEST(Tags6b, TheCodesOfTheInventoriesStillStartAndStopReading)
{
    Bench bench(shelf);
    run(bench, {{0x50, "00", {"00"}}, {0x50, "", {only_first}}});
    EXPECT_TRUE(bench.device.reading().is_running());
    run(bench, {{0x51, "00 00 00 0000000000000000", {both}}});
    EXPECT_TRUE(bench.device.reading().is_running());
    run(bench, {{0x51, "", {"00"}}});
    EXPECT_FALSE(bench.device.reading().is_running());
}

TEST(Tags6b, TheirMemoryShowsWhatAHostWrote)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(shelf);
    Peer peer = Peer::connect(reader.listen());
    Bytes frame{0x0F, 0x00, 0x53, 0x0A};
    append(frame, from_hex(first));
    append(frame, {0x11, 0x22, 0x00, 0x00});
    seal(frame);
    peer.send(to_hex(frame));
    EXPECT_EQ(peer.receive_frame().substr(0, 11), "05 00 53 00");
    const OtherTags tags = reader.other_tags();
    EXPECT_EQ(tags.iso_6b.at(0).memory()[11], 0x22);
    EXPECT_TRUE(tags.iso_6b.at(0).is_locked(9));
    EXPECT_FALSE(tags.iso_6b.at(0).is_locked(10));
}

}  // namespace
}  // namespace tagwire::sim
