#include "exchange.h"
#include "field/sense_word.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::SizeIs;

// A tag without access password, one with, and one without a sensor.
constexpr const char* shelf = R"(
[reader]
antennas = 2
enabled_antennas = [1]
air_time = 0
power = 20
[[tag]]
epc = "1111 2222"
tid = "E200 0001 0203 0405 0607 0809 0A0B 0C0D"
rssi = 100
[tag.sensor]
temperature = 25
registers = "A0A1 A2A3"
register_count = 4
memory = "00010203 04050607"
memory_size = 32
voltage = 1480
spi = { "9F" = "EF4018", "" = "55" }
[[tag]]
epc = "3333"
user = "B0B1"
access_password = "01020304"
rssi = 90
[tag.sensor]
temperature = -7.25
calibration = "271000"
calibration_word = 1
memory_password = "AABBCCDD"
stop_password = "0A0B0C0D"
alarm = true
key_index = "BEEF"
[[tag]]
epc = "4444"
rssi = 80
)";

constexpr const char* warm = "F2 08 04 28";  // 25 degrees by two points

TEST(SenseWord, HoldsTheTemperatureAndItsParity)
{
    struct Word {
        double degrees;
        Calibration calibration;
        const char* bytes;
    };
    const std::vector<Word> words{{25, {0, 0, 0x20}, "F2080428"},       {25, {0x27, 0x10, 0x00}, "F802068D"},
                                  {25, {0x27, 0x10, 0x1F}, "F802068D"}, {125, {0, 0, 0x20}, "F2020087"},
                                  {-40, {0, 0, 0x20}, "F20E0FBF"},      {25, {0xFF, 0xFF, 0x2F}, "F2080433"}};
    for (const Word& word : words) {
        const SenseWord made = make_sense_word(word.degrees, word.calibration);
        EXPECT_EQ(to_hex(Bytes(made.begin(), made.end())), word.bytes) << word.degrees;
    }
}

TEST(SenseWord, KnowsWhichCalibrationsCoverAllTemperatures)
{
    EXPECT_TRUE(covers({0, 0, 0x20}, -40, 150));
    EXPECT_TRUE(covers({0x80, 0, 0x2F}, -40, 150));
    EXPECT_TRUE(covers({0x27, 0x10, 0x10}, -40, 150));
    EXPECT_FALSE(covers({0, 0, 0x00}, -40, 150));
    EXPECT_FALSE(covers({0x04, 0, 0x20}, -40, 150));  // beyond the cold end of the scale
    EXPECT_FALSE(covers({0, 0, 0x30}, -40, 150));     // an unknown kind
}

TEST(SensorTags, TellTheirSenseWord)
{
    Bench bench(shelf);
    const std::string told = std::string("00 ") + warm;
    run(bench, {{0x13, "02 11112222 08 05", {told}},
                {0x13, "00 08 05", {told}},
                {0x13, "02 11112222 08 05 08 02", {told + " 00 00 20 00"}},  // with the calibration
                {0x13, "02 11112222 08 05 09 02", {"FC 03"}},
                {0x13, "01 3333 08 05 00 03", {"00 FA 02 08 5B B0 B1 27 10 00 00"}},
                {0x13, "01 3333 08 05 08 00", {"FF"}},
                {0x13, "01 3333 08 05 08 7C", {"FF"}},
                {0x13, "01 4444 08 05", {"FB"}},
                {0x13, "FF 08 05 01 0020 00", {"FF"}},
                {0x13, "01 3333 08", {"FF"}},
                {0x13, "01 3333 08 05 08", {"FF"}},
                {0x14, "00 08 05 180C1F173B3A", {told}},
                {0x14, "00 08 05 180C1F173B3A 08 01", {told + " 00 00"}},
                {0x14, "00 08 05", {"FF"}}});
    const Tag& tag = bench.device.field()[0];
    EXPECT_EQ(tag.sensor()->state().time, (std::array<std::uint8_t, 6>{0x18, 0x0C, 0x1F, 0x17, 0x3B, 0x3A}));
}

TEST(SensorTags, TellMeasurementsWithTheirTime)
{
    Bench bench(shelf);
    const std::string at_start = std::string(warm) + " 38 6D 43 80";
    const std::string later = std::string(warm) + " 38 6D 43 8A";
    run(bench, {{0x86, "02 11112222 00 00 00000000", {"00 " + at_start}}});
    bench.pass(seconds(10));
    run(bench, {{0x86, "02 11112222 00 00 00000000", {"00 " + at_start}},
                {0x86, "02 11112222 01 01 00000000", {"00 E2 00 00 01 02 03 04 05 06 07 08 09 " + later}},
                {0x86, "FF 00 00 00000000 01 0020 08 11", {"00 " + later}},
                {0x86, "FF 00 00 00000000 01 0020 08 12", {"FB"}},
                {0x86, "02 11112222 02 00 00000000", {"FF"}},
                {0x86, "02 11112222 00 02 00000000", {"FF"}},
                {0x86, "01 3333 01 01 01020304", {"00 FA 02 08 5B 38 6D 43 8A"}},  // no TID
                {0x86, "01 3333 00 01 01020305", {"05"}},
                {0x86, "05", {"00"}},  // another command
                {0x87, "", {"00 05"}}});
}

TEST(SensorTags, TellTheirTemperature)
{
    Bench bench(shelf);
    run(bench, {{0x8A, "02 11112222", {"00 09 C4"}},
                {0x8A, "01 3333", {"00 FD 2B"}},
                {0x8A, "01 4444", {"FB"}},
                {0x8A, "02 1111", {"FF"}},
                {0x8A, "FF 01 0020 00", {"FF"}},
                {0xCD, "02 11112222 00000000", {"00 09 C4"}},
                {0xCD, "FF 00000000 01 0020 04 30", {"00 FD 2B"}},
                {0xCD, "01 3333 00000001", {"05"}},
                {0xE8, "01 3333 01020304", {"00 FD 2B"}},
                {0xE8, "01 4444 00000000", {"FB"}},
                {0xE8, "01 3333", {"FF"}}});
    bench.device.field()[1].sensor()->set_temperature(125);
    run(bench, {{0xE8, "01 3333 01020304", {"00 30 D4"}}});
}

TEST(SensorTags, AreInventoriedWithTheirTemperature)
{
    Bench bench(shelf);
    const std::string first = "0B 11 11 22 22 F2 08 04 28 00 00 20 64";
    const std::string second = "09 33 33 FA 02 08 5B 27 10 00 5A";
    for (const std::uint8_t code : {0x17, 0xB0}) {
        run(bench, {{code, "02 11112222 04 00 05 04 00 00 80 00", {"01 01 01 " + first}},
                    {code, "01 3333 04 00 05 04 00 00 80 00", {"01 01 01 " + second}},
                    {code, "01 4444 04 00 05 04 00 00 80 00", {"01 01 00"}},
                    {code, "01 3333 04 00 05 04 00 00 82 00", {"F8"}},
                    {code, "00 05 00 05 04 00 00 80 00", {"FF"}},
                    {code, "00 04 08 05 04 00 00 80 00", {"FF"}},
                    {code, "00 04 00 05 04 04 00 80 00", {"FF"}},
                    {code, "00 04 00 05 04 00 02 80 00", {"FF"}},
                    {code, "FF 04 00 05 04 00 00 80 00 01 0020 00", {"FF"}}});
        bench.command(code, from_hex("00 04 00 05 04 00 00 00 00"));
        EXPECT_THAT(bench.ids(),
                    testing::UnorderedElementsAre("11112222F2080428000020", "3333FA02085B271000"));
    }
    run(bench, {{0xB1, "04 00 01 0020 08 11", {"01 01 01 06 11 11 22 22 09 C4 64"}},
                {0xB1, "04 00 01 0020 08 33 00 80 00", {"01 01 01 04 33 33 FD 2B 5A"}},
                {0xB1, "04 00 01 0020 08 44 00 80 00", {"01 01 00"}},
                {0xB1, "04 00 04 0020 08 44", {"FF"}},
                {0xB1, "04 04", {"FF"}},
                {0xB1, "04", {"FF"}},
                {0xB1, "", {"00 00 00"}}});  // another command
    for (const char* request : {"04 00", "04 00 00 80 00"}) {
        bench.command(0xB1, from_hex(request));
        EXPECT_THAT(bench.ids(), testing::UnorderedElementsAre("1111222209C4", "3333FD2B"));
    }
}

TEST(SensorTags, AreInventoriedInSeveralFrames)
{
    Bench bench("[reader]\nantennas = 1\nrecords_per_frame = 3\n"
                "[[tag]]\nepc = \"E200\"\ncount = 10\n[tag.sensor]\n");
    bench.command(0x17, from_hex("00 04 00 64 04 00 00 80 14"));
    EXPECT_THAT(bench.frames, SizeIs(0));
    bench.pass(milliseconds(1000));  // a tenth of a second and more for every tag
    EXPECT_TRUE(bench.device.is_busy());
    bench.pass(seconds(1));
    EXPECT_THAT(bench.ids(), SizeIs(10));
    EXPECT_THAT(bench.frames, SizeIs(testing::Ge(4U)));
    EXPECT_EQ(bench.frames.front().status(), status::more_follow);
    EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
}

TEST(SensorTags, WithLongIdsAreLeftOut)
{
    const std::string tag = "[[tag]]\nepc = \"" + std::string(60 * 2, '1') + "\"\n[tag.sensor]\n";
    Bench bench("[reader]\nantennas = 1\nair_time = 0\n" + tag);
    run(bench, {{0x17, "00 04 00 00 04 00 00 80 00", {"01 01 00"}}});
    bench.command(0xB1, {4, 0});
    EXPECT_THAT(bench.ids(), SizeIs(1));
}

TEST(SensorTags, AreOrdinaryTagsToo)
{
    Bench bench(shelf);
    bench.command(0x01, {4, 0});
    EXPECT_THAT(bench.ids(), testing::UnorderedElementsAre("11112222", "3333", "4444"));
    run(bench, {{0x02, "02 11112222 03 08 02 00000000", {"00 00 00 20 00"}},
                {0x02, "01 3333 03 00 03 00000000", {"00 B0 B1 27 10 00 00"}},
                {0x03, "01 01 3333 03 00 BEEF 00000000", {"00"}},
                {0x02, "01 3333 03 00 01 00000000", {"00 BE EF"}}});
}

TEST(SensorTags, KeepRegisters)
{
    Bench bench(shelf);
    run(bench, {{0xC1, "02 11112222 0001 00000000", {"00 A2 A3"}},
                {0xC1, "02 11112222 0003 00000000", {"00 00 00"}},
                {0xC1, "02 11112222 0004 00000000", {"FC 03"}},
                {0xC1, "FF 0000 00000000 01 0020 08 11", {"00 A0 A1"}},
                {0xC1, "01 4444 0000 00000000", {"FB"}},
                {0xC1, "01 3333 0000 01020305", {"05"}},
                {0xC1, "02 11112222 00 00000000", {"FF"}},
                {0xC2, "02 11112222 0003 1234 00000000", {"00 00"}},
                {0xC2, "FF 0001 5678 00000000 01 0020 08 11", {"00 00"}},
                {0xC1, "02 11112222 0003 00000000", {"00 12 34"}},
                {0xC1, "02 11112222 0001 00000000", {"00 56 78"}},
                {0xC2, "02 11112222 0004 1234 00000000", {"FC 03"}},
                {0xC2, "01 4444 0000 1234 00000000", {"FB 00"}},
                {0xC2, "01 3333 0000 1234 01020305", {"05 00"}},
                {0xC2, "01 3333 0000 1234 00000000", {"FC 02"}},
                {0xC2, "01 3333 0100 1234 01020304", {"FC 03"}},
                {0xC2, "01 3333 0000 1234 01020304", {"00 00"}},
                {0xC2, "01 3333 0000 12 01020304", {"FF 00"}},
                {0xC0, "02 11112222 00000000", {"00"}},
                {0xC1, "02 11112222 0003 00000000", {"00 00 00"}},
                {0xC1, "02 11112222 0001 00000000", {"00 A2 A3"}},
                {0xC0, "01 3333 00000000", {"FC 02"}},
                {0xC0, "FF 01020304 01 0020 04 30", {"00"}},
                {0xC1, "01 3333 0000 00000000", {"00 00 00"}},
                {0xC0, "", {"FF"}}});
}

TEST(SensorTags, KeepMemory)
{
    Bench bench(shelf);
    constexpr const char* open = " 00000000 00 00000000";
    const auto with = [](const std::string& fields, const char* rest) { return fields + rest; };
    const auto ask = [&](std::uint8_t code, const std::string& data) {
        return answers(bench, code, data)[0];
    };
    EXPECT_EQ(ask(0xC3, with("02 11112222 0002 04", open)), "00 02 03 04 05");
    EXPECT_EQ(ask(0xC3, with("02 11112222 001E 02", open)), "00 00 00");
    EXPECT_EQ(ask(0xC3, with("02 11112222 001E 03", open)), "FC 03");
    EXPECT_EQ(ask(0xC3, with("02 11112222 FFFF 01", open)), "FC 03");
    EXPECT_EQ(ask(0xC3, with("02 11112222 0000 00", open)), "FF");
    EXPECT_EQ(ask(0xC3, with("02 11112222 0000 FB", open)), "FF");
    EXPECT_EQ(ask(0xC3, "02 11112222 0000 01 00000000 02 00000000"), "FF");
    EXPECT_EQ(ask(0xC4, with("03 02 11112222 001D AABBCC", open)), "00 00");
    EXPECT_EQ(ask(0xC3, with("02 11112222 001C 04", open)), "00 00 AA BB CC");
    EXPECT_EQ(ask(0xC4, with("01 FF 0000 77", open) + " 01 0020 08 11"), "00 00");
    EXPECT_EQ(ask(0xC3, with("FF 0000 01", open) + " 01 0020 08 11"), "00 77");
    EXPECT_EQ(ask(0xC4, with("03 02 11112222 001E AABBCC", open)), "FC 03");
    EXPECT_EQ(ask(0xC4, with("00 02 11112222 001E", open)), "FF 00");
    EXPECT_EQ(ask(0xC4, with("03 02 11112222 0000 AABB", open)), "FF 00");
    EXPECT_EQ(ask(0xC4, with("01 01 4444 0000 77", open)), "FB 00");
    EXPECT_EQ(ask(0xC4, ""), "FF 00");
}

TEST(SensorTags, OpenTheirMemoryToItsPassword)
{
    Bench bench(shelf);
    run(bench, {{0xC3, "01 3333 0000 01 00000000 00 00000000", {"FC 02"}},
                {0xC3, "01 3333 0000 01 00000000 01 AABBCCDE", {"05"}},
                {0xC3, "01 3333 0000 01 01020304 01 AABBCCDD", {"00 00"}},
                {0xC3, "01 3333 0000 01 00000000 01 AABBCCDD", {"00 00"}},
                {0xC3, "01 3333 0000 01 01020305 01 AABBCCDD", {"05"}},
                {0xC3, "01 3333 FFFF 01 00000000 00 00000000", {"FC 02"}},
                {0xC4, "01 01 3333 0000 77 01020304 00 00000000", {"FC 02"}},
                {0xC4, "01 01 3333 0000 77 01020304 01 AABBCCDE", {"05 00"}},
                {0xC4, "01 01 3333 0000 77 00000000 01 AABBCCDD", {"FC 02"}},
                {0xC4, "01 01 3333 0000 77 01020304 01 AABBCCDD", {"00 00"}},
                {0xC3, "01 3333 0000 01 00000000 01 AABBCCDD", {"00 77"}},
                {0xCB, "01 3333 0000 0001 00000000 01 AABBCCDD", {"01 00 00 01 77"}},
                {0xCB, "01 3333 0000 0001 00000000 00 AABBCCDD", {"F9 02"}},
                {0xCB, "01 3333 0000 0001 00000000 01 AABBCCDE", {"F9 FF"}},
                {0xCB, "01 3333 0000 0001 01020305 01 AABBCCDD", {"F9 FF"}}});
}

TEST(SensorTags, SendLongReadsInNumberedPackets)
{
    Bench bench("[reader]\nantennas = 1\n[[tag]]\nepc = \"1111\"\n"
                "[tag.sensor]\nmemory = \"" +
                std::string(2 * 200, 'C') + "\"\nmemory_size = 65536\n");
    const auto read = [&bench](const char* range) {
        bench.command(0xCB, from_hex(std::string("01 1111 ") + range + " 00000000 00 00000000"));
        return bench.hex();
    };
    const auto packets = read("0000 00C8");
    ASSERT_THAT(packets, SizeIs(4));
    EXPECT_THAT(packets[0], testing::StartsWith("48 00 CB 03 00 00 40 CC"));
    EXPECT_THAT(packets[2], testing::StartsWith("48 00 CB 03 00 02 40 CC"));
    EXPECT_THAT(packets[3], testing::StartsWith("10 00 CB 01 00 03 08 CC"));
    EXPECT_THAT(read("00C0 0040"), SizeIs(1));
    EXPECT_THAT(read("0000 FFFF"), SizeIs(1024));
    EXPECT_THAT(read("0001 FFFF"), SizeIs(1024));
    EXPECT_THAT(read("0002 FFFF"), testing::ElementsAre(testing::StartsWith("06 00 CB F9 03")));
    EXPECT_THAT(read("0000 0000"), testing::ElementsAre(testing::StartsWith("05 00 CB FF")));
    bench.command(0xCB, from_hex("01 2222 0000 0001 00000000 00 00000000"));
    EXPECT_EQ(bench.frames.at(0).status(), status::no_tag);
}

TEST(SensorTags, MeasureIntoTheirMemory)
{
    Bench bench(shelf);
    run(bench, {{0xC5, "02 11112222 00 00 00 00 00 00000000", {"00 09 C4"}},
                {0xC5, "02 11112222 01 00 01 00 00 00000000", {"00 05 C8"}},
                {0xC5, "02 11112222 00 00 00 01 02 00000000", {"00 09 C4"}},
                {0xC3, "02 11112222 0008 02 00000000 00 00000000", {"00 09 C4"}},
                {0xC5, "02 11112222 00 00 00 01 08 00000000", {"FC 03"}},
                {0xC5, "02 11112222 02 00 00 00 00 00000000", {"FF"}},
                {0xC5, "02 11112222 00 02 00 00 00 00000000", {"FF"}},
                {0xC5, "02 11112222 00 00 02 00 00 00000000", {"FF"}},
                {0xC5, "02 11112222 00 00 00 02 00 00000000", {"FF"}},
                {0xC5, "FF 00 00 00 00 00 01020304 01 0020 04 30", {"00 FD 2B"}},
                {0xC5, "01 3333 00 00 00 01 00 00000000", {"FC 02"}},
                {0xC5, "01 4444 00 00 00 00 00 00000000", {"FB"}}});
    bench.device.field()[0].sensor()->set_temperature(30);
    run(bench, {{0xC5, "02 11112222 00 01 00 00 00 00000000", {"00 09 C4"}},
                {0xC5, "02 11112222 00 00 00 00 00 00000000", {"00 0B B8"}},
                {0xC5, "02 11112222 00 01 00 00 00 00000000", {"00 0B B8"}}});
}

constexpr const char* mode = "02 11112222 00 00000000";
constexpr const char* log_memory = "02 11112222 0010 10 00000000 00 00000000";

TEST(SensorTags, LogTheirTemperature)
{
    Bench bench(shelf);
    Sensor& sensor = *bench.device.field()[0].sensor();
    run(bench, {{0xC8, mode, {"00 00 00"}},
                {0xC6, "02 11112222 0003 0002 00000000", {"00 00"}},
                {0xC8, mode, {"00 00 03"}}});
    bench.pass(milliseconds(2999));
    run(bench, {{0xC8, mode, {"00 00 03"}}});
    bench.pass(milliseconds(1));
    run(bench, {{0xC8, mode, {"00 00 01"}}});
    bench.pass(seconds(5));
    sensor.advance(bench.now);
    sensor.set_temperature(26);
    bench.pass(seconds(1));
    run(bench, {{0xC3, log_memory, {"00 00 04 09 C4 09 C4 09 C4 0A 28 00 00 00 00 00 00"}},
                {0xC7, "02 11112222 00000000 00000001", {"05"}},
                {0xC7, "02 11112222 00000000 00000000", {"00"}},
                {0xC8, mode, {"00 00 00"}}});
    bench.pass(seconds(100));
    run(bench, {{0xC3, log_memory, {"00 00 04 09 C4 09 C4 09 C4 0A 28 00 00 00 00 00 00"}},
                {0xC7, "02 11112222 00000000 00000000", {"00"}},
                {0xC6, "FF 0000 0001 00000000 01 0020 08 11", {"00 00"}},  // anew, and at once
                {0xC3, log_memory, {"00 00 01 0A 28 09 C4 09 C4 0A 28 00 00 00 00 00 00"}}});
    bench.pass(std::chrono::hours(1000));
    run(bench, {{0xC8, mode, {"00 00 04"}},
                {0xC3, log_memory, {"00 00 07 0A 28 0A 28 0A 28 0A 28 0A 28 0A 28 0A 28"}},
                {0xC6, "02 11112222 0001 0001 00000000", {"00 00"}},
                {0xC8, mode, {"00 00 03"}}});
}

TEST(SensorTags, GuardTheirLog)
{
    Bench bench(shelf);
    run(bench, {{0xC6, "02 11112222 0000 0000 00000000", {"FF 00"}},
                {0xC6, "02 11112222 0000 00 00000000", {"FF 00"}},
                {0xC6, "01 3333 0000 0001 00000000", {"FC 02"}},
                {0xC6, "01 3333 0000 0001 01020305", {"05 00"}},
                {0xC6, "01 4444 0000 0001 00000000", {"FB 00"}},
                {0xC6, "01 3333 0001 0001 01020304", {"00 00"}},
                {0xC7, "01 3333 01020304 00000000", {"05"}},
                {0xC7, "01 3333 00000000 0A0B0C0D", {"FC 02"}},
                {0xC7, "01 3333 01020304 0A0B0C0D", {"00"}},
                {0xC7, "01 3333 01020304", {"FF"}}});
}

TEST(SensorTags, SleepUntilTheyAreWoken)
{
    Bench bench(shelf);
    run(bench, {{0xCA, "01 3333 00000000", {"FC 02"}},
                {0xCA, "01 3333 01020305", {"05"}},
                {0xCA, "01 3333 01020304", {"00"}},
                {0xCA, "01 3333 01020304", {"FB"}},
                {0xCD, "01 3333 00000000", {"FB"}},
                {0x02, "01 3333 03 00 01 00000000", {"FB"}},
                {0xE9, "01 3333 00 01020304", {"FB"}},
                {0xC8, "01 3333 00 01020304", {"FB"}}});
    bench.command(0x01, {4, 0});
    EXPECT_THAT(bench.ids(), testing::UnorderedElementsAre("11112222", "4444"));
    EXPECT_TRUE(bench.device.field()[1].state().asleep);
    run(bench, {{0xC8, "01 3333 01 00000000", {"FC 02"}},
                {0xC8, "01 3333 01 01020305", {"05"}},
                {0xC8, "01 3333 02 01020304", {"FF"}},
                {0xC8, "01 3333 01 01020304", {"00 00 28"}},
                {0xC8, "01 3333 01 01020304", {"00 00 20"}},
                {0xCD, "01 3333 00000000", {"00 FD 2B"}},
                {0xCA, "FF 01020304 01 0020 04 30", {"00"}},
                {0xC8, "FF 01 01020304 01 0020 04 30", {"00 00 28"}},
                {0xC8, "01 4444 01 00000000", {"FB"}},
                {0xE9, "01 3333 01 01020304", {"00"}},  // silent tags hear neither
                {0xC8, "01 3333 01 01020304", {"FB"}}});
}

TEST(SensorTags, SwitchTheirLed)
{
    Bench bench(shelf);
    Sensor& sensor = *bench.device.field()[0].sensor();
    run(bench, {{0xC9, "02 11112222 01 00000000", {"00"}},
                {0xC8, mode, {"00 00 10"}},
                {0xC9, "FF 00 00000000 01 0020 08 11", {"00"}},
                {0xC8, mode, {"00 00 00"}},
                {0xC9, "02 11112222 02 00000000", {"FF"}},
                {0xC9, "01 3333 01 01020305", {"05"}},
                {0xC9, "01 4444 01 00000000", {"FB"}},
                {0xCE, "02 11112222 03 05 00000000", {"00"}},
                {0xC8, mode, {"00 00 10"}}});
    EXPECT_EQ(sensor.state().led_mode, 3);
    EXPECT_EQ(sensor.state().led_count, 2U);
    bench.pass(milliseconds(499));
    run(bench, {{0xC8, mode, {"00 00 10"}}});
    bench.pass(milliseconds(1));
    run(bench, {{0xC8, mode, {"00 00 00"}},
                {0xCC, "02 11112222 01 00000000", {"00"}},
                {0xCE, "02 11112222 00 05 00000000", {"00"}},
                {0xC8, mode, {"00 00 00"}},
                {0x84, "02", {"00 02"}},
                {0xE5, "FF 00 00000000 01 0020 08 11", {"00"}},
                {0xCE, "01 3333 01 05 01020305", {"05"}},
                {0xCC, "01 4444 05 00000000", {"FB"}},
                {0xCC, "01 4444 05", {"FF"}},
                {0xCE, "81", {"00 01"}}});  // another command
    bench.pass(milliseconds(199));
    run(bench, {{0xC8, mode, {"00 00 10"}}});
    bench.pass(milliseconds(1));
    run(bench, {{0xC8, mode, {"00 00 00"}}});
    EXPECT_EQ(bench.device.config().carrier_time, 2);
    EXPECT_EQ(sensor.state().led_count, 4U);
}

TEST(SensorTags, PassBytesToTheirSpiPeripheral)
{
    Bench bench(shelf);
    run(bench, {{0x87, "01 02 11112222 03 00 00 00 9F 00000000", {"00 EF 40 18"}},
                {0x87, "01 02 11112222 05 01 02 03 9F 00000000", {"00 EF 40 18 FF FF"}},
                {0x87, "01 FF 01 00 00 00 9F 00000000 01 0020 08 11", {"00 EF"}},
                {0x87, "02 02 11112222 02 00 00 00 9F01 00000000", {"00 FF FF"}},
                {0x87, "00 02 11112222 02 00 00 00 00000000", {"00 55 FF"}},
                {0x87, "01 02 11112222 00 00 00 00 9F 00000000", {"00"}},
                {0x87, "01 02 11112222 FB 00 00 00 9F 00000000", {"FF"}},
                {0x87, "02 02 11112222 02 00 00 00 9F 00000000", {"FF"}},
                {0x87, "01 01 3333 01 00 00 00 9F 01020305", {"05"}},
                {0x87, "01 01 4444 01 00 00 00 9F 00000000", {"FB"}}});
}

TEST(SensorTags, ResetTheirAlarm)
{
    Bench bench(shelf);
    run(bench, {{0x88, "01 3333 00000000", {"FC 02"}},
                {0x88, "01 3333 01020305", {"05"}},
                {0xC8, "01 3333 00 00000000", {"00 00 20"}},
                {0x88, "FF 01020304 01 0020 04 30", {"00"}},
                {0xC8, "01 3333 00 00000000", {"00 00 00"}},
                {0x88, "01 4444 00000000", {"FB"}},
                {0x88, "01 3333", {"FF"}}});
}

TEST(SensorTags, NeedPowerToBeChanged)
{
    Bench bench(
        "[reader]\nantennas = 1\npower = 20\n[[tag]]\nepc = \"1111\"\nwrite_power = 21\n[tag.sensor]\n");
    run(bench, {{0xC0, "01 1111 00000000", {"FC 0B"}},
                {0xC2, "01 1111 0000 1234 00000000", {"FC 0B"}},
                {0xC4, "01 01 1111 0000 77 00000000 00 00000000", {"FC 0B"}},
                {0xC5, "01 1111 00 00 00 01 00 00000000", {"FC 0B"}},
                {0xC6, "01 1111 0000 0001 00000000", {"FC 0B"}},
                {0xC7, "01 1111 00000000 00000000", {"FC 0B"}},
                {0xCA, "01 1111 00000000", {"FC 0B"}},
                {0x88, "01 1111 00000000", {"FC 0B"}},
                {0xC2, "01 1111 0100 1234 00000000", {"FC 03"}}});
}

TEST(Identification, TellsWhatIdentifiesATag)
{
    Bench bench(shelf);
    run(bench, {{0x80, "02 11112222", {"00 01 04 11 11 22 22 64 00 00 E2 00 00 01 02 03 04 05 06 07 08 09"}},
                {0x80, "01 3333", {"00 01 02 33 33 5A BE EF 00 00 00 00 00 00 00 00 00 00 00 00"}},
                {0x80, "01 4444", {"00 01 02 44 44 50 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}},
                {0x80, "00", {"00 01 04 11 11 22 22 64 00 00 E2 00 00 01 02 03 04 05 06 07 08 09"}},
                {0x80, "01 5555", {"FB"}},
                {0x80, "01", {"FF"}},
                {0x80, "", {"FF"}},
                {0x80, "FF 01 0020 00", {"FF"}}});
}

TEST(Identification, ExchangesTokens)
{
    Bench bench(shelf);
    const char* const refused = "F6 00 00 00 00 00 00 00 00 00 00";
    run(bench, {{0x82, "0102030405060708", {refused}}});
    const Bytes rt = from_hex(answers(bench, 0x81, "")[0]);
    ASSERT_EQ(rt.size(), 5U);
    const Bytes answer = from_hex(answers(bench, 0x82, "0102030405060708")[0]);
    ASSERT_EQ(answer.size(), 11U);
    for (std::size_t i = 1; i <= 8; ++i) EXPECT_EQ(answer[i] ^ rt[1 + (i - 1) % 4], i);
    run(bench,
        {{0x82, "0102030405060708", {refused}}, {0x82, "01020304050607", {"FF"}}, {0x82, "", {"00 04 00"}}});
    Bench same(shelf);
    EXPECT_EQ(from_hex(answers(same, 0x81, "")[0]), rt);
    same.device.restart();
    run(same, {{0x82, "0102030405060708", {refused}}});
}

TEST(SensorTags, AnyRequestOfAnyLengthIsSurvived)
{
    Random random(11);
    const std::vector<std::uint8_t> codes{0x13, 0x14, 0x17, 0x80, 0x81, 0x82, 0x84, 0x86, 0x87, 0x88,
                                          0x8A, 0xB0, 0xB1, 0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6,
                                          0xC7, 0xC8, 0xC9, 0xCA, 0xCB, 0xCC, 0xCD, 0xCE, 0xE5, 0xE8};
    Bench bench(
        "[reader]\nair_time = 0\n[[tag]]\nepc = \"0102\"\n[tag.sensor]\nlog_unit_ms = 1\n"
        "[[tag]]\nepc = \"0001\"\nuser = \"0000\"\n[tag.sensor]\nmemory_size = 16\nregister_count = 1\n");
    for (int i = 0; i < 20000; ++i) {
        const bool tidy = random.below(2) == 0;
        Bytes data(random.below(tidy ? 24 : 252));
        for (auto& byte : data) {
            byte = static_cast<std::uint8_t>(random.below(tidy && random.below(4) > 0 ? 3 : 256));
            if (random.below(8) == 0) byte = 0xFF;
        }
        bench.command(codes[random.below(static_cast<std::uint32_t>(codes.size()))], data);
        bench.frames.clear();
        if (i % 64 == 0) bench.pass(milliseconds(3));
    }
    for (const std::uint8_t code : codes) {
        for (std::size_t size = 0; size <= 251; ++size) {
            bench.command(code, Bytes(size, 0));
            bench.command(code, Bytes(size, 0xFF));
        }
    }
}

TEST(SensorTags, AreSeenAndChangedByTests)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(shelf);
    EXPECT_EQ(reader.sensor(1).temperature, -7.25);
    EXPECT_TRUE(reader.sensor(1).alarm);
    EXPECT_EQ(reader.sensor(0).registers.size(), 8U);
    reader.set_temperature(0, 99.5);
    reader.set_alarm(1, false);
    EXPECT_FALSE(reader.sensor(1).alarm);
    Peer peer = Peer::connect(reader.listen());
    Bytes frame = from_hex("0A 00 CD 02 11112222 00000000 0000");
    frame[0] = static_cast<std::uint8_t>(frame.size() - 1);
    seal(frame);
    peer.send(to_hex(frame));
    EXPECT_EQ(peer.receive_frame().substr(9, 8), "00 26 DE");
    EXPECT_EQ(reader.sensor(0).latest.value().degrees, 99.5);
    EXPECT_THROW(reader.sensor(2), std::out_of_range);
    EXPECT_THROW(reader.sensor(3), std::out_of_range);
    EXPECT_THROW(reader.set_alarm(2, true), std::out_of_range);
    EXPECT_THROW(reader.set_temperature(0, 150.1), std::out_of_range);
    EXPECT_THROW(reader.set_temperature(0, -41), std::out_of_range);
}

TEST(SensorTags, AreReadFromAScenario)
{
    const Scenario scenario = Scenario::from_file(std::string(SIM_SCENARIOS) + "/sensors.toml");
    ASSERT_THAT(scenario.tags, SizeIs(3));
    const SensorSettings& sensor = scenario.tags[1].sensor.value();
    EXPECT_EQ(sensor.temperature, 4.25);
    EXPECT_EQ(sensor.memory_password, (std::array<std::uint8_t, 4>{0xA1, 0xB2, 0xC3, 0xD4}));
    EXPECT_EQ(sensor.log_start(), 2048U);
    EXPECT_EQ(sensor.spi.at({0x9F}), (Bytes{0xEF, 0x40, 0x18}));
    EXPECT_FALSE(scenario.tags[2].sensor.has_value());
}

struct BadSensor {
    const char* name;
    const char* keys;
    const char* problem;
};

class BadSensors : public testing::TestWithParam<BadSensor> {};

TEST_P(BadSensors, AreRefusedWithTheirLine)
{
    try {
        Scenario::from_text(std::string("[[tag]]\nepc = \"1111\"\n[tag.sensor]\n") + GetParam().keys);
        FAIL() << "loaded";
    } catch (const ScenarioError& error) {
        EXPECT_EQ(error.line(), 4U) << error.what();
        EXPECT_THAT(error.what(), HasSubstr(GetParam().problem));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Scenario, BadSensors,
    testing::Values(BadSensor{"Key", "temp = 1", "[sensor] has no key 'temp'"},
                    BadSensor{"TooHot", "temperature = 150.5", "-40 to 150"},
                    BadSensor{"TooCold", "temperature = -41", "-40 to 150"},
                    BadSensor{"NoTemperature", "temperature = \"20\"", "must be a number"},
                    BadSensor{"Calibration", "calibration = \"000000\"", "cannot tell"},
                    BadSensor{"CalibrationKind", "calibration = \"000030\"", "cannot tell"},
                    BadSensor{"CalibrationSize", "calibration = \"0000\"", "3 bytes"},
                    BadSensor{"CalibrationWord", "calibration_word = 256", "0 to 255"},
                    BadSensor{"NoRegisters", "register_count = 0", "register_count"},
                    BadSensor{"Registers", "registers = \"0001 0002\"\nregister_count = 1",
                              "longer than 2 bytes"},
                    BadSensor{"MemorySize", "memory_size = 15", "16 to 65536"},
                    BadSensor{"Memory", "memory = \"0000000000000000000000000000000000\"\nmemory_size = 16",
                              "longer than 16 bytes"},
                    BadSensor{"LogAddress", "log_address = 4095", "0 to 4094"},
                    BadSensor{"LogUnit", "log_unit_ms = 0", "log_unit_ms"},
                    BadSensor{"LongLogUnit", "log_unit_ms = 3600001", "3600000"},
                    BadSensor{"Spi", "spi = \"9F\"", "must be a table"},
                    BadSensor{"SpiCommand", "spi = { \"9\" = \"00\" }", "spi: "},
                    BadSensor{"SpiAnswer", "spi = { \"9F\" = 1 }", "must be a string"}),
    [](const auto& test) { return test.param.name; });

TEST(BadSensors, InMemoryAreRefusedToo)
{
    const auto refuses = [](const std::function<void(SensorSettings&)>& edit) {
        Scenario scenario;
        TagSettings& tag = scenario.tags.emplace_back();
        tag.epc = {1, 2};
        scenario.check();
        edit(tag.sensor.emplace());
        EXPECT_THROW(scenario.check(), ScenarioError);
    };
    refuses([](SensorSettings& sensor) { sensor.temperature = 200; });
    refuses([](SensorSettings& sensor) { sensor.calibration = {}; });
    refuses([](SensorSettings& sensor) { sensor.registers = Bytes(65); });
    refuses([](SensorSettings& sensor) { sensor.memory_size = 8; });
    refuses([](SensorSettings& sensor) { sensor.log_address = 4095; });
    refuses([](SensorSettings& sensor) { sensor.log_unit = Time{}; });
}

}  // namespace
}  // namespace tagwire::sim
