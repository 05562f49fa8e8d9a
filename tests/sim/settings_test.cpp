#include <gmock/gmock.h>

#include "exchange.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* portal = R"(
[reader]
address = 0x0A
firmware = "2.14"
antennas = 4
air_time = 0
serial = "A1B2C3D4"
temperature = -7
return_loss = 18
module_version = "3.7"
description = "gate"
[[tag]]
epc = "E2001122"
user = "0011"
write_power = 20
antennas = [2]
)";

std::string info(Bench& bench) { return answers(bench, 0x21, "").at(0).substr(15); }

// What a host writes, and how the reader tells it afterwards.
struct RoundTrip {
    std::uint8_t write;
    const char* data;
    std::uint8_t read;
    const char* read_data;
    const char* told;
    const char* written = "00";  // the answer to the write
};

class SettingTest : public testing::TestWithParam<RoundTrip> {};

TEST_P(SettingTest, IsToldAsWritten)
{
    const RoundTrip& trip = GetParam();
    Bench bench(portal);
    EXPECT_THAT(answers(bench, trip.read, trip.read_data), testing::Not(ElementsAre(trip.told)));
    EXPECT_THAT(answers(bench, trip.write, trip.data), ElementsAre(trip.written));
    EXPECT_THAT(answers(bench, trip.read, trip.read_data), ElementsAre(trip.told));
    EXPECT_THAT(answers(bench, 0x99, "5225"), ElementsAre("00"));
    EXPECT_THAT(answers(bench, trip.read, trip.read_data), ElementsAre(trip.told));
    bench.device.restore_factory();
    EXPECT_THAT(answers(bench, trip.read, trip.read_data), testing::Not(ElementsAre(trip.told)));
}

INSTANTIATE_TEST_SUITE_P(
    All, SettingTest,
    testing::Values(
        RoundTrip{0x27, "05", 0x31, "", "00 05"}, RoundTrip{0x29, "77", 0x2A, "", "00 77"},
        RoundTrip{0x38, "0102030405", 0x39, "", "00 01 02 03 04 05"},
        RoundTrip{0x3A, "85", 0x3A, "00", "00 05", "00 05"},
        RoundTrip{0x6B, "81", 0x6B, "00", "00 01", "00 01"},
        RoundTrip{0x78, "8A", 0x78, "00", "00 0A", "00 0A"},
        RoundTrip{0x7B, "83", 0x7B, "00", "00 03", "00 03"},
        RoundTrip{0x7C, "82", 0x7C, "00", "00 02", "00 02"},
        RoundTrip{0x7F, "85", 0x7F, "00", "00 05", "00 05"},
        RoundTrip{0x7F, "01 0123", 0x7F, "00 0000", "00 01 23", "00 01 23"},
        RoundTrip{0xCE, "81", 0xCE, "00", "00 01", "00 01"},
        RoundTrip{0x4B, "5252 00010203", 0x4C, "", "00 00 01 02 03"},
        RoundTrip{0x7D, "11223344", 0x7E, "", "00 11 22 33 44"},
        RoundTrip{0x92, "01 11223344", 0x92, "00 00000000", "00 11 22 33 44"},
        RoundTrip{0x81, "07 02", 0x82, "", "00 07 02"}, RoundTrip{0x81, "0F FF", 0x82, "", "00 0F FF"},
        RoundTrip{0x86, "09", 0x87, "", "00 09"}, RoundTrip{0x90, "81", 0x90, "00", "00 01"},
        RoundTrip{0xB0, "01 14", 0xB1, "", "00 01 14"}, RoundTrip{0xD3, "10 28 02", 0xD3, "00", "00 28 02"},
        RoundTrip{0x2F, "14", 0x94, "", "00 14 14 14 14"},
        RoundTrip{0x2F, "0102", 0x94, "", "00 01 02 1E 1E"},
        RoundTrip{0x2F, "01020304", 0x94, "", "00 01 02 03 04"},
        RoundTrip{0x2F, "0102030405060708", 0x94, "", "00 01 02 03 04"},
        RoundTrip{0x79, "0C", 0x7A, "", "00 0C"}, RoundTrip{0x22, "13 43", 0x9E, "", "00 01 13 03"},
        RoundTrip{0x22, "00 04 0E 01", 0x9E, "", "00 04 0E 01"},
        RoundTrip{0x22, "00 FF 32 0A 0D2F10", 0x9E, "", "00 FF 32 0A 0D 2F 10"},
        RoundTrip{0x3F, "05", 0x3F, "00 00 0000000000000000", "00 00 00 00 00 00 00 00 05"},
        RoundTrip{0x3F, "00 00 06", 0x3F, "00 00 0000000000000000", "00 00 00 00 00 00 00 00 06"},
        RoundTrip{0x85, "00 00 03", 0x3F, "00 00 0000000000000000", "00 00 00 00 00 00 00 00 03"},
        RoundTrip{0x3F, "01 00 0000000000000001", 0x3F, "00 00 0000000000000000",
                  "00 00 00 00 00 00 00 00 01"},
        RoundTrip{0xEA, "00 07 AABBCC", 0xEB, "07", "00 AA BB CC"},
        RoundTrip{0x75, "01 02 03 04 01", 0x77, "", "00 00 01 02 03 04 01 01 00 00 00 00 00"},
        RoundTrip{0x75, "01 02 03 04 01 02 03", 0x77, "", "00 00 01 02 03 04 01 01 00 00 00 02 03"},
        RoundTrip{0x75, "00 00 00 04 00 01 0020 0C E200 02 03", 0x77, "",
                  "00 00 00 00 00 04 00 01 00 20 0C E2 00 02 03"},
        RoundTrip{0xE6, "80 02 01 02 03 04 05 06", 0xE6, "81 02", "00 81 01 02 03 04 05 06", "00 80"}));

// Settings told by none but the block of system parameters: the byte there.
struct BlockByte {
    std::uint8_t write;
    const char* data;
    std::size_t at;
    const char* told;
};

TEST(Settings, AreTogetherInTheSystemParameters)
{
    const std::vector<BlockByte> cases{
        {0x35, "01", 0, "01"},
        {0x76, "02", 0, "02"},
        {0x37, "05", 1, "05"},
        {0x3C, "01 02", 2, "01 02"},
        {0x3D, "07", 4, "07"},
        {0x3E, "01", 5, "01"},
        {0x49, "06", 42, "06"},
        {0x4A, "02 04", 43, "02 04"},
        {0x3B, "03 0010 09 A580", 6, "03 00 10 09 A5 80 00"},
        {0x3B, "02 0010 00", 6, "02 00 10 00 00"},
    };
    for (const BlockByte& item : cases) {
        Bench bench(portal);
        EXPECT_THAT(answers(bench, item.write, item.data), ElementsAre("00")) << unsigned{item.write};
        const std::string block = answers(bench, 0x36, "").at(0);
        EXPECT_EQ(block.size(), (1 + 45) * 3 - 1U);
        EXPECT_EQ(block.substr((1 + item.at) * 3, std::string(item.told).size()), item.told)
            << unsigned{item.write};
    }
}

TEST(Settings, ShowInTheReaderInformation)
{
    Bench bench(portal);
    EXPECT_EQ(info(bench), "31 80 1E 0A 0F 01 00 00");
    run(bench, {{0x22, "13 43", {"00"}},
                {0x2F, "14", {"00"}},
                {0x25, "05", {"00"}},
                {0x3F, "09", {"00"}},
                {0x40, "00", {"00"}},
                {0x48, "03", {"00"}},
                {0x66, "01", {"00"}}});
    EXPECT_EQ(info(bench), "13 43 14 05 09 00 03 01");
    bench.device.restore_factory();
    EXPECT_EQ(info(bench), "31 80 1E 0A 0F 01 00 00");
}

TEST(Settings, WithoutACommandToTellThem)
{
    Bench bench(portal);
    Bytes table(31);
    table[30] = 9;
    run(bench, {{0x6A, "02", {"00"}},
                {0xE6, "03 02", {"00 03"}},
                {0xE6, "04 05", {"00 04"}},
                {0xE6, "09 01", {"00 09"}}});
    EXPECT_THAT(answers(bench, 0x2C, to_hex(table)), ElementsAre("00 00"));
    const Settings& config = bench.device.config();
    EXPECT_EQ(config.communication, 2);
    EXPECT_EQ(config.calibration_type, 2);
    EXPECT_EQ(config.region_type, 5);
    EXPECT_EQ(config.temperature_choice, 1);
    EXPECT_EQ(config.power_table[30], 9);
}

TEST(Settings, OutOfRangeAreRefusedAndChangeNothing)
{
    const std::vector<std::pair<std::uint8_t, const char*>> requests{
        {0x24, "FF"},
        {0x28, "03"},
        {0x28, "04"},
        {0x28, "08"},
        {0x28, "FF"},
        {0x2F, "22"},
        {0x2F, "01220304"},
        {0x2F, "010203"},
        {0x30, "02"},
        {0x35, "03"},
        {0x76, "03"},
        {0x3A, ""},
        {0x3B, "04 0000 00"},
        {0x3B, "01 0000 09 FF"},
        {0x3E, "04"},
        {0x3F, "00"},
        {0x3F, "10"},
        {0x3F, "02 00 01"},
        {0x3F, "01 02 0000000000000001"},
        {0x40, "02"},
        {0x41, "17 02 1D 00 00 00"},
        {0x41, "18 01 01 18 00 00"},
        {0x45, "05 01 00"},
        {0x45, "01 02 00"},
        {0x46, "10"},
        {0x48, "10"},
        {0x4A, "00 20"},
        {0x4B, "5253 00010203"},
        {0x66, "02"},
        {0x6B, "84"},
        {0x75, "00 00 00 10 00"},
        {0x75, "00 00 00 04 04"},
        {0x75, "01 02 03 04"},
        {0x75, "00 00 00 04 00 01 0020 0C E2"},
        {0x79, "22"},
        {0x7F, "02 0000"},
        {0x81, "10 00"},
        {0x81, "04 04"},
        {0x85, "00000000"},
        {0x85, "02 00 01"},
        {0x90, "82"},
        {0x90, "01"},
        {0x92, "02 00000000"},
        {0x99, "5226"},
        {0x22, "31 C0"},
        {0x22, "02 01 05 00"},
        {0x22, "00 01 00 05"},
        {0x22, "00 01 14 00"},
        {0x22, "00 09 05 00"},
        {0x22, "00 FF 05 00"},
        {0x22, "00 FF 32 00 0D2F10"},
        {0x22, "00 FF FF FF FFFFFF"},
        {0x22, "00 01 32 0A 0D2F10"},
        {0x22, "00"},
        {0xD3, "00 28 02"},
        {0xD3, "10"},
        {0xEA, "02 01"},
        {0xEA, "00"},
        {0xEB, ""},
        {0xEC, "01"},
    };
    Bench bench(portal);
    const Settings before = bench.device.config();
    for (const auto& [code, data] : requests) {
        EXPECT_THAT(answers(bench, code, data), ElementsAre("FF")) << unsigned{code} << ": " << data;
        EXPECT_EQ(bench.device.config(), before) << unsigned{code} << ": " << data;
    }
    run(bench, {{0xE6, "02 00", {"FF 02"}},
                {0xE6, "03", {"FF 03"}},
                {0xE6, "80 10 000000000000", {"FF 80"}},
                {0xE6, "81 10", {"FF 81"}},
                {0xE6, "55", {"FE"}},
                {0xE6, "", {"FF"}},
                {0x91, "000D3A00 04", {"F8"}}});
    EXPECT_EQ(bench.device.config(), before);
}

TEST(Settings, WhatTheReaderTellsOfItself)
{
    Bench bench(portal);
    run(bench, {{0x2B, "", {"00 00"}},
                {0x2D, "", {"00 00 00 00 00 00 00 00 00 00"}},
                {0x4C, "", {"00 A1 B2 C3 D4"}},
                {0x83, "", {"00 03 07"}},
                {0x83, "00", {"00 03 07 01 02"}},
                {0x91, "000D3A00 03", {"00 12"}},
                {0x92, "", {"00 00 07"}},
                {0xEC, "00", {"00 00 03 07 01"}},
                {0xEB, "63", {"00"}},
                {0xE6, "02", {"00 02 67 61 74 65 00 00 00 00 00 00 00 00 00 00 00 00"}}});
}

TEST(Settings, ANewAddressHoldsAtOnce)
{
    Bench bench(portal);
    EXPECT_THAT(bench.command(0x24, {0x42}), ElementsAre(testing::StartsWith("05 42 24 00")));
    EXPECT_EQ(bench.device.address(), 0x42);
    EXPECT_THAT(bench.command(0x21), ElementsAre(testing::StartsWith("11 42 21 00")));
}

TEST(Settings, SetUntilTheRestartAreStoredByTheirCommandOnly)
{
    Bench bench(portal);
    const auto antennas = [&bench] { return bench.device.config().antennas; };
    run(bench, {{0x3F, "01 00 02", {"00"}}, {0x22, "01 04 0E 00", {"00"}}, {0xEA, "01 05 AA", {"00"}}});
    EXPECT_THAT(antennas(), ElementsAre(2U));
    run(bench, {{0x99, "5225", {"00"}}, {0xEB, "05", {"00"}}, {0x9E, "", {"00 02 31 00"}}});
    EXPECT_THAT(antennas(), ElementsAre(1U, 2U, 3U, 4U));
    run(bench, {{0x3F, "01 00 02", {"00"}}, {0x84, "", {"00"}}, {0x99, "5225", {"00"}}});
    EXPECT_THAT(antennas(), ElementsAre(2U));
}

TEST(Settings, TheClockRuns)
{
    Bench bench(portal);
    run(bench, {{0x42, "", {"00 00 01 01 00 00 00"}}, {0x41, "18 02 1C 17 3B 39", {"00"}}});
    bench.pass(seconds(4));
    EXPECT_THAT(answers(bench, 0x42, ""), ElementsAre("00 18 02 1D 00 00 01"));
    run(bench, {{0x85, "65920080", {"00"}}, {0x42, "", {"00 18 01 01 00 00 00"}}});
    run(bench, {{0x99, "5225", {"00"}}, {0x42, "", {"00 18 01 01 00 00 00"}}});
}

TEST(Settings, OnlyEnabledAntennasAreUsed)
{
    Bench bench(portal);
    const auto inventory = [&bench] {
        bench.command(0x01, {4, 0});
        return bench.ids();
    };
    EXPECT_THAT(inventory(), ElementsAre("E2001122"));
    answers(bench, 0x3F, "0D");
    EXPECT_THAT(inventory(), IsEmpty());
    answers(bench, 0x3F, "02");
    EXPECT_THAT(inventory(), ElementsAre("E2001122"));
}

// The tag needs 20 dBm and is at the second antenna.
TEST(Settings, PowerDecidesWhetherATagCanBeWritten)
{
    const char* write = "01 02 E2001122 03 00 BEEF 00000000";
    Bench bench(portal);
    run(bench, {{0x03, write, {"00"}},
                {0x2F, "13", {"00"}},
                {0x03, write, {"FC 0B"}},
                {0x2F, "01 14", {"00"}},
                {0x03, write, {"00"}},
                {0x2F, "21 13", {"00"}},
                {0x03, write, {"FC 0B"}},
                {0x79, "14", {"00"}},
                {0x03, write, {"00"}}});
}

TEST(Settings, FrequenciesFollowTheRegion)
{
    Bench bench(portal);
    const auto frequency = [&bench] { return bench.device.frequency_khz(); };
    EXPECT_EQ(frequency(), 866700U);
    run(bench, {{0x22, "00 01 02 00", {"00"}}, {0xD3, "10 05 00", {"00"}}});
    EXPECT_EQ(frequency(), 920125U);
    bench.pass(milliseconds(50));
    EXPECT_EQ(frequency(), 920375U);
    bench.pass(milliseconds(100));
    EXPECT_EQ(frequency(), 920125U);
    answers(bench, 0x22, "00 FF 32 02 0D2F10");
    bench.pass(milliseconds(50 * 3 - 50));
    EXPECT_EQ(frequency(), 864016U + 500U);
    EXPECT_EQ(info(bench).substr(0, 5), "C1 C0");
    bench.device.restore_factory();
    EXPECT_EQ(frequency(), 866700U);
}

TEST(Settings, TheRegionsFrequencyStandsInRecords)
{
    Scenario scenario = Scenario::from_text(portal);
    scenario.reader.phase = true;
    Bench bench(scenario);
    answers(bench, 0x22, "00 04 00 00");
    bench.command(0x01, {4, 0, 0, 0x81, 0});
    EXPECT_THAT(bench.hex(), ElementsAre(testing::HasSubstr("00 00 00 00 0D 33 4C")));
}

TEST(Settings, TheScanTimeLimitsInventories)
{
    Bench bench(Scenario::from_text("[reader]\nantennas = 1\n[[tag]]\nepc = \"E200\"\ncount = 200\n"));
    answers(bench, 0x25, "01");
    bench.command(0x01, {4, 0});
    bench.pass(milliseconds(200));
    ASSERT_FALSE(bench.frames.empty());
    EXPECT_EQ(bench.frames.back().status(), status::scan_time_over);
}

TEST(Settings, SessionHoldsForInventoriesThatNameNone)
{
    Bench bench(portal);
    const auto finds = [&bench] {
        bench.command(0x0F);
        return bench.frames.at(0).status() == status::inventory_done;
    };
    EXPECT_TRUE(finds() && finds());
    answers(bench, 0x81, "04 02");
    EXPECT_TRUE(finds());
    EXPECT_FALSE(finds());
    answers(bench, 0x81, "04 FF");
    EXPECT_TRUE(finds());
}

struct FamilyCase {
    const char* name;
    std::vector<Exchange> exchanges;
};

TEST(Settings, FamiliesGiveSharedRequestsTheirMeaning)
{
    const std::vector<FamilyCase> cases{
        {"standard",
         {{0x92, "05", {"00"}},
          {0x93, "", {}},
          {0xB0, "01 02", {"00"}},
          {0xB0, "06 02 03", {"00"}},
          {0xB1, "", {"00 01 02"}}}},
        {"filter",
         {{0x92, "05", {"00"}},
          {0x93, "", {"00 05"}},
          {0xB0, "06 02 03", {"00"}},
          {0xB1, "", {"00 06 02 03"}},
          {0x93, "", {"00 06"}}}},
        {"relay", {{0x92, "05", {"00 05"}}, {0x93, "", {}}, {0xB1, "", {"00 00 00"}}}},
        {"multiplexer", {{0xB0, "07 03", {"00"}}, {0xB1, "", {"00 00 00"}}}},
    };
    for (const FamilyCase& item : cases) {
        SCOPED_TRACE(item.name);
        Bench bench("[reader]\nfamily = \"" + std::string(item.name) + "\"\n");
        run(bench, item.exchanges);
        EXPECT_EQ(bench.device.config().switch_antenna, item.name == std::string("multiplexer") ? 3 : 0);
    }
}

TEST(Settings, AnAbortRemainsOneWhileAnInventoryRuns)
{
    Bench bench(Scenario::from_text("[reader]\nfamily = \"filter\"\n[[tag]]\nepc = \"E200\"\n"));
    bench.command(0x01, {4, 0});
    bench.command(0x93);
    ASSERT_EQ(bench.frames.size(), 1U);
    EXPECT_EQ(bench.frames[0].bytes[2], 0x01);
}

TEST(Settings, TheSelfTestIsEndedByOneByte)
{
    Bench bench(portal);
    EXPECT_FALSE(bench.device.end_self_test(1, {0xA5}));
    EXPECT_THAT(answers(bench, 0x26, ""), ElementsAre("00"));
    EXPECT_FALSE(bench.device.end_self_test(1, {0xA5, 0xA5}));
    bench.frames.clear();
    EXPECT_TRUE(bench.device.end_self_test(1, {0xA5}));
    EXPECT_THAT(bench.hex(), ElementsAre(testing::StartsWith("05 0A A5 00")));
    EXPECT_FALSE(bench.device.panel().self_test());
}

TEST(Settings, ARestartEndsWhatTheReaderDoes)
{
    Bench bench(R"(
[[tag]]
epc = "E200"
count = 50
)");
    bench.command(0x01, {4, 0});
    bench.command(0x21);
    bench.pass(std::chrono::milliseconds(20));
    ASSERT_TRUE(bench.device.is_busy());
    bench.device.restart();
    EXPECT_FALSE(bench.device.is_busy());
    bench.frames.clear();
    bench.pass(std::chrono::seconds(10));
    EXPECT_TRUE(bench.frames.empty());
    bench.command(0x21);
    EXPECT_EQ(bench.frames.size(), 1U);
}

TEST(Settings, ARestartForgetsWhatIsNotStored)
{
    Bench bench(portal);
    run(bench, {{0x46, "05", {"00"}},
                {0x30, "01", {"00"}},
                {0x45, "0A", {"00"}},
                {0x18, "04 00", {"00 00 01 00 01"}}});
    bench.command(0x50, {0});
    EXPECT_TRUE(bench.device.reading().is_running());
    EXPECT_THAT(answers(bench, 0x99, "5225").at(0), "00");
    EXPECT_FALSE(bench.device.reading().is_running());
    const PanelState panel = bench.device.panel().state(bench.now);
    EXPECT_EQ(panel.outputs + panel.closed_relays + panel.carrier, 0);
    EXPECT_THAT(answers(bench, 0x74, ""), ElementsAre("00 00 00"));
}

}  // namespace
}  // namespace tagwire::sim
