#include <gmock/gmock.h>

#include "bench.h"

namespace tagwire::sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* one_tag = R"(
[reader]
address = 0x0A
firmware = "2.14"
type = 0x0F
protocols = 0x02
max_frequency = 0x31
min_frequency = 0x80
power = 30
scan_time = 10
antennas = 2
module_version = "3.7"
module_type = 1
module_protocols = 2
air_time = 0
start_gap_ms = 0
frequency_khz = 866692
[[tag]]
epc = "E200 1122 3344 5566"
tid = "E280 1160 0007"
user = "0011 2233 4455"
access_password = "A1B2C3D4"
brand = "BEEF"
antennas = [1]
rssi = 0x64
phase = 0x04B0
phase_drift = 0x23
)";

// The same reader with only the first antenna enabled.
Scenario one_antenna(bool phase = false)
{
    Scenario scenario = Scenario::from_text(one_tag);
    scenario.reader.enabled_antennas = {1};
    scenario.reader.phase = phase;
    return scenario;
}

Scenario empty_field()
{
    Scenario scenario = one_antenna();
    scenario.tags.clear();
    return scenario;
}

TEST(Commands, ReaderInformation)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.ask("04 0A 21 A9 97"),
                ElementsAre("11 0A 21 00 02 0E 0F 02 31 80 1E 0A 03 01 00 00 7C BA"));
    EXPECT_THAT(bench.ask("04 FF 21 19 95"),
                ElementsAre("11 0A 21 00 02 0E 0F 02 31 80 1E 0A 03 01 00 00 7C BA"));
}

TEST(Commands, ModuleDetails)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.ask("05 0A 83 00 A8 B8"), ElementsAre("09 0A 83 00 03 07 01 02 05 A3"));
    EXPECT_THAT(bench.ask("04 0A 83 B1 11"), ElementsAre(testing::StartsWith("07 0A 83 00 03 07")));
}

TEST(Commands, AnUnknownOne)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.command(0xF7), ElementsAre(testing::StartsWith("05 0A F7 FE")));
}

TEST(Commands, Inventory)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("06 0A 01 04 00 02 EA"),
                ElementsAre("11 0A 01 01 01 01 08 E2 00 11 22 33 44 55 66 64 A0 96"));
}

TEST(Commands, InventoryWithFastTail)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.ask("09 0A 01 04 00 00 80 0A 75 33"),
                ElementsAre("11 0A 01 01 01 01 08 E2 00 11 22 33 44 55 66 64 A0 96"));
}

TEST(Commands, InventoryAtAMissingAntenna)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.ask("09 0A 01 04 00 00 82 0A C5 00"), ElementsAre("05 0A 01 F8 13 7C"));
}

TEST(Commands, InventoryWithPhase)
{
    Bench bench(one_antenna(true));
    EXPECT_THAT(bench.ask("06 0A 01 04 00 02 EA"),
                ElementsAre("18 0A 01 01 01 01 48 E2 00 11 22 33 44 55 66 64 04 B0 04 D3 0D 39 84 7F 7F"));
}

TEST(Commands, InventoryOfTid)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("08 0A 01 04 00 00 02 D7 DE"),
                ElementsAre("0D 0A 01 01 01 01 04 E2 80 11 60 64 44 E2"));
}

TEST(Commands, InventoryOfAnEmptyField)
{
    Bench bench(empty_field());
    EXPECT_THAT(bench.ask("06 0A 01 04 00 02 EA"), ElementsAre("07 0A 01 01 01 00 B6 07"));
}

TEST(Commands, InventoryOverTwoAntennas)
{
    Bench bench(one_tag);
    const auto frames = bench.ask("06 0A 01 04 00 02 EA");
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(bench.frames[0].status(), status::more_follow);
    EXPECT_EQ(frames[1], "07 0A 01 01 02 00 DE 2D");
}

TEST(Commands, InventoryOfAWrongLength)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.ask("07 0A 01 04 00 01 5A 36"), ElementsAre("05 0A 01 FF AC 08"));
}

TEST(Commands, MixedInventory)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("0E 0A 19 04 00 03 00 01 02 00 00 00 00 54 B8"),
                ElementsAre("19 0A 19 01 01 02 00 08 E2 00 11 22 33 44 55 66 64 01 04 22 33 44 55 64 6B A2"));
}

TEST(Commands, MixedInventoryOfReservedMemoryNeedsThePassword)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("0E 0A 19 04 00 00 00 02 02 00 00 00 00 F9 3E"),
                ElementsAre("12 0A 19 01 01 01 00 08 E2 00 11 22 33 44 55 66 64 8C 9D"));
    EXPECT_THAT(bench.ask("0E 0A 19 04 00 00 00 02 02 A1 B2 C3 D4 EE CF"),
                ElementsAre("19 0A 19 01 01 02 00 08 E2 00 11 22 33 44 55 66 64 01 04 A1 B2 C3 D4 64 DA 11"));
}

TEST(Commands, ExtendedInventory)
{
    const std::string request = "13 0A 20 04 00 02 02 00 00 02 03 00 00 03 00 00 00 00 CC E4";
    Bench plain(one_antenna());
    EXPECT_THAT(
        plain.ask(request),
        ElementsAre("22 0A 20 01 01 03 00 08 E2 00 11 22 33 44 55 66 64 01 04 E2 80 11 60 64 02 06 00 11 22 "
                    "33 44 55 64 19 BB"));
    Bench phase(one_antenna(true));
    EXPECT_THAT(
        phase.ask(request),
        ElementsAre("29 0A 20 01 01 03 10 08 E2 00 11 22 33 44 55 66 64 04 B0 04 D3 0D 39 84 01 04 E2 80 11 "
                    "60 64 02 06 00 11 22 33 44 55 64 1D 22"));
}

TEST(Commands, EpcMatchInventory)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("0B 0A 1A 00 00 0C 00 10 11 20 B2 47"),
                ElementsAre("11 0A 1A 01 01 01 08 E2 00 11 22 33 44 55 66 64 2A 2C"));
    bench.ask("0B 0A 1A 01 00 0C 00 10 11 20 67 D8");
    EXPECT_THAT(bench.ids(), IsEmpty());
}

TEST(Commands, ShortInventories)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("06 0A 1B 04 00 ED 1C"),
                ElementsAre("11 0A 1B 01 01 01 08 E2 00 11 22 33 44 55 66 64 C0 52"));
    EXPECT_THAT(bench.ask("06 0A 96 04 00 7E EF"),
                ElementsAre("13 0A 96 01 01 01 0A E2 00 11 22 33 44 55 66 BE EF 64 FC 21"));
    EXPECT_THAT(bench.ask("06 0A 97 04 00 A2 B5"),
                ElementsAre("17 0A 97 01 01 01 0E E2 00 11 22 33 44 55 66 E2 80 11 60 00 07 64 9E 40"));
}

TEST(Commands, SingleTag)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("04 0A 0F D5 5F"),
                ElementsAre("10 0A 0F 01 01 01 08 E2 00 11 22 33 44 55 66 7A 41"));
    Bench nobody(empty_field());
    EXPECT_THAT(nobody.ask("04 0A 0F D5 5F"), ElementsAre("05 0A 0F FB 98 D4"));
}

TEST(Commands, FastAntennaSwitch)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.ask("0E 0A 1C 00 01 05 01 FF 00 FF 00 00 01 47 F7"),
                ElementsAre("A0 11 0A 1C 03 01 01 08 E2 00 11 22 33 44 55 66 64 1D 29",
                            "A0 07 0A 1C F8 20 00 59 65", "A0 07 0A 1C 01 20 00 73 75"));
    EXPECT_THAT(bench.ask("05 0A 1C 00 3D 22"), ElementsAre("A0 05 0A 1C FF 45 2D"));
}

TEST(Commands, FastAntennaSwitchReportsOncePerPass)
{
    Bench bench(one_tag);
    bench.command(0x1C, {0x00, 3, 0x01, 1, 0xFF, 0, 0xFF, 0, 5, 2});
    EXPECT_EQ(bench.ids().size(), 6U);
    EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
}

TEST(Commands, StartAndStopReading)
{
    Bench bench(one_antenna());
    EXPECT_THAT(bench.ask("05 0A 50 00 FB CD"),
                ElementsAre("05 0A 50 00 FB CD", "10 0A EE 00 01 08 E2 00 11 22 33 44 55 66 64 AE 85"));
    EXPECT_THAT(bench.ask("04 0A 51 2E E4"), ElementsAre("05 0A 51 00 23 D4"));
    Bench phase(one_antenna(true));
    EXPECT_THAT(phase.ask("05 0A 50 00 FB CD"),
                ElementsAre("05 0A 50 00 FB CD",
                            "17 0A EE 00 01 48 E2 00 11 22 33 44 55 66 64 04 B0 04 D3 0D 39 84 F6 16"));
}

TEST(Commands, AbortIsNotAnswered)
{
    Bench bench(one_tag);
    EXPECT_THAT(bench.ask("04 0A 93 30 01"), IsEmpty());
}

TEST(Commands, AbortEndsTheInventoryAtOnce)
{
    Scenario scenario = Scenario::from_text("[reader]\nantennas = 1\n[[tag]]\nepc = \"E200\"\ncount = 100\n");
    Bench bench(scenario);
    bench.command(0x01, {4, 0});
    bench.pass(std::chrono::milliseconds(40));
    EXPECT_THAT(bench.frames, IsEmpty());
    bench.command(0x93);
    ASSERT_FALSE(bench.frames.empty());
    EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
    EXPECT_LT(bench.ids().size(), 100U);
    EXPECT_GT(bench.ids().size(), 0U);
    bench.frames.clear();
    bench.pass(std::chrono::seconds(10));
    EXPECT_THAT(bench.frames, IsEmpty());
}

TEST(Commands, RequestsWaitForTheInventory)
{
    Scenario scenario = Scenario::from_text("[reader]\nantennas = 1\n[[tag]]\nepc = \"E200\"\ncount = 5\n");
    Bench bench(scenario);
    bench.command(0x01, {4, 0});
    bench.command(0x21);
    EXPECT_THAT(bench.frames, IsEmpty());
    bench.pass(std::chrono::seconds(2));
    ASSERT_EQ(bench.frames.size(), 2U);
    EXPECT_EQ(bench.frames[0].bytes[2], 0x01);
    EXPECT_EQ(bench.frames[1].bytes[2], 0x21);
}

TEST(Commands, AnInventoryEndsWithItsConnection)
{
    Scenario scenario = Scenario::from_text("[reader]\nantennas = 1\n[[tag]]\nepc = \"E200\"\ncount = 50\n");
    Bench bench(scenario);
    bench.command(0x01, {4, 0}, 1);
    bench.command(0x21, {}, 2);
    bench.command(0x21, {}, 1);
    EXPECT_THAT(bench.frames, IsEmpty());
    bench.device.forget_connection(bench.now, 1);
    ASSERT_FALSE(bench.frames.empty());
    EXPECT_EQ(bench.frames.back().to, 2U);
    EXPECT_EQ(bench.frames.back().bytes[2], 0x21);
}

// Every layout of the inventory request, by its length.
struct Layout {
    const char* data;
    std::vector<std::string> ids;
};

TEST(Commands, InventoryLayouts)
{
    const std::string epc = "E200112233445566";
    const std::string tid = "E2801160";
    const std::vector<Layout> layouts{
        {"04 00", {epc}},
        {"04 00 00 80 00", {epc}},
        {"04 00 00 02", {tid}},
        {"04 00 00 02 00 80 05", {tid}},
        {"04 00 01 00 20 08 E2", {epc}},  // 8 bits of mask: as long as TID with fast tail
        {"04 00 01 00 20 08 E3", {}},
        {"04 00 01 00 20 00", {epc}},  // no bits: all match
        {"04 00 01 00 20 00 00 80 05", {epc}},
        {"04 00 01 00 20 00 00 02", {tid}},
        {"04 00 01 00 20 00 00 02 00 80 05", {tid}},
        {"04 00 01 00 20 09 E2 00", {epc}},
        {"04 00 01 00 20 09 E2 80", {}},
        {"04 00 01 00 20 08 E2 00 80 05", {epc}},
        {"04 00 01 00 20 08 E2 00 02", {tid}},
        {"04 00 01 00 20 08 E2 00 02 00 80 05", {tid}},
        {"04 00 02 00 10 10 11 60", {epc}},  // a mask on the TID
        {"04 00 03 00 04 08 01", {epc}},     // not on a byte's edge
        {"04 00 03 00 28 10 44 55", {}},     // beyond the end of the bank
        {"84 03 00 80 00", {epc}},
    };
    for (const Layout& layout : layouts) {
        Bench bench(one_antenna());
        bench.command(0x01, from_hex(layout.data));
        EXPECT_EQ(bench.ids(), layout.ids) << layout.data;
        EXPECT_EQ(bench.frames.back().status(), status::inventory_done) << layout.data;
    }
}

TEST(Commands, MaskedMixedAndExtendedLayouts)
{
    Bench bench(one_antenna());
    const auto records = [&bench](std::uint8_t code, const char* data) {
        bench.command(code, from_hex(data));
        return unsigned{bench.frames.back().bytes[5]};
    };
    EXPECT_EQ(records(0x19, "04 00 01 00 20 08 E2 03 00 00 01 00 00 00 00"), 2U);
    EXPECT_EQ(records(0x19, "04 00 01 00 20 08 E2 03 00 00 01 00 00 00 00 00 80 05"), 2U);
    EXPECT_EQ(records(0x19, "04 00 01 00 20 08 E3 03 00 00 01 00 00 00 00"), 0U);
    EXPECT_EQ(records(0x19, "04 00 03 00 00 01 00 00 00 00 00 80 05"), 2U);
    EXPECT_EQ(records(0x19, "04 00 03 00 03 01 00 00 00 00"), 1U);  // beyond the bank: no data record
    EXPECT_EQ(records(0x20, "04 00 01 03 00 00 01 00 00 00 00 00 80 05"), 2U);
    EXPECT_EQ(records(0x20, "04 00 01 03 00 00 01 01 00 20 08 E2 00 00 00 00"), 2U);
    EXPECT_EQ(records(0x20, "04 00 01 03 00 00 01 01 00 20 08 E2 00 00 00 00 00 80 05"), 2U);
    EXPECT_EQ(records(0x20, "04 00 01 03 00 00 01 01 00 20 08 E3 00 00 00 00 00 80 05"), 0U);
}

TEST(Commands, BadParameters)
{
    const std::vector<std::pair<std::uint8_t, const char*>> requests{
        {0x01, ""},
        {0x01, "04 04"},              // session
        {0x01, "04 00 02 80 00"},     // target
        {0x01, "04 00 00 20"},        // more words than a record holds
        {0x01, "04 00 01 00 20 08"},  // mask without its bits
        {0x19, "04 00"},
        {0x19, "04 00 04 00 00 01 00 00 00 00"},     // bank
        {0x19, "04 00 03 00 00 00 00 00 00 00"},     // no words
        {0x20, "04 00 00 00 00 00 00"},              // no parameter
        {0x20, "04 00 04 03 00 00 01 00 00 00 00"},  // four
        {0x20, "04 00 01 03 00 00 78 00 00 00 00"},  // more words than a frame holds
        {0x1A, "00 00 08 00 00"},
        {0x1A, "02 00 00 00 00"},
        {0x1B, "04 00 00"},
        {0x0F, "00"},
        {0x21, "00"},
        {0x50, "00 00"},
        {0x51, "00"},
        {0x83, "01"},
    };
    for (const auto& [code, data] : requests) {
        Bench bench(one_tag);
        bench.command(code, from_hex(data));
        ASSERT_EQ(bench.frames.size(), 1U) << unsigned{code} << ": " << data;
        EXPECT_EQ(bench.frames[0].status(), status::bad_parameter) << unsigned{code} << ": " << data;
        EXPECT_EQ(bench.frames[0].bytes.size(), 6U);
    }
}

TEST(Commands, AnyRequestOfAnyLengthIsSurvived)
{
    Random random(99);
    Bench bench(one_tag);
    for (int i = 0; i < 20000; ++i) {
        Bytes data(random.below(24));
        for (auto& byte : data) byte = static_cast<std::uint8_t>(random.below(random.below(2) ? 256 : 6));
        bench.command(static_cast<std::uint8_t>(random.below(256)), data);
        bench.frames.clear();
    }
}

}  // namespace
}  // namespace tagwire::sim
