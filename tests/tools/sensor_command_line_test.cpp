// The commands for sensor tags as far as no reader is needed.
#include "message_of.h"
#include "process.h"
#include "sensor_table.h"
#include "sensor_values.h"

#include <sstream>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

using Arguments = std::vector<std::string>;

constexpr Calibration two_points{0x00, 0x00, 0x20};

// The word with the parity bits that its upper 21 bits ask for.
SenseWord sense_word(std::uint32_t msb, std::uint32_t lsb)
{
    std::uint32_t word = msb << 19U | lsb << 3U;
    for (std::uint32_t bit = 0; bit < 3; ++bit) {
        std::uint32_t sum = 1;
        for (std::uint32_t i = 1; i <= 4; ++i) sum ^= word >> (bit + 3 * i) & 1U;
        word |= sum << bit;
    }
    return {static_cast<std::uint8_t>(0xF0U | word >> 20U), static_cast<std::uint8_t>(word >> 12U),
            static_cast<std::uint8_t>(word >> 8U & 0x0FU), static_cast<std::uint8_t>(word)};
}

TEST(SensorValues, ConvertSensorWords)
{
    const auto at_25 = sense_word(4, 4229);
    ASSERT_TRUE(temperature_from(at_25, two_points).celsius);
    EXPECT_NEAR(*temperature_from(at_25, two_points).celsius, 25.0, 0.05);
    EXPECT_EQ(temperature_from(sense_word(3, 4229), two_points).problem.substr(0, 19), "the sensor word F18");
    EXPECT_NE(temperature_from(sense_word(3, 4229), two_points).problem.find("is no measurement"),
              std::string::npos);
    EXPECT_EQ(temperature_from(at_25, {0, 0, 0x35}),
              (Temperature{std::nullopt, "the calibration 000035 is of an unknown kind"}));
    auto damaged = at_25;
    damaged[3] ^= 1U;
    EXPECT_NE(temperature_from(damaged, two_points).problem.find("fails its parity check"),
              std::string::npos);
}

TEST(SensorValues, ConvertHundredths)
{
    const auto celsius = [](std::uint8_t high, std::uint8_t low) {
        return *temperature_from(std::array{high, low}).celsius;
    };
    EXPECT_EQ(celsius(0x09, 0xC4), 25.0);
    EXPECT_EQ(celsius(0xFF, 0xFF), -0.01);
    EXPECT_EQ(celsius(0x00, 0x00), 0.0);
    EXPECT_EQ(celsius_text(-18.5), "-18.50 C");
    EXPECT_EQ(celsius_text(std::nullopt), "-");
}

TEST(SensorValues, ReadCalibrations)
{
    EXPECT_EQ(parse_calibration("27100A", "--calibration"), (Calibration{0x27, 0x10, 0x0A}));
    for (const auto* const text : {"", "0000", "00000020", "00002x", "000035"})
        EXPECT_NE(message_of([&] { parse_calibration(text, "--calibration"); }), "no error") << text;
}

TEST(SensorValues, TakeRecordsApart)
{
    TagRecord tag;
    tag.id = "E280000109C4";
    tag.antenna = 2;
    tag.rssi = 190;
    const auto record = temperature_record(tag, RecordTail::Hundredths);
    EXPECT_EQ(record.epc, "E2800001");
    EXPECT_EQ(record.raw, "09C4");
    EXPECT_EQ(record.temperature.celsius, 25.0);
    EXPECT_EQ(record.antenna, 2);
    EXPECT_EQ(record.rssi, 190);
    const auto cut = temperature_record(tag, RecordTail::SenseAndCalibration);
    EXPECT_EQ(cut.temperature.problem, "the record is too short for a temperature");
    EXPECT_EQ(cut.epc, "E280000109C4");
    EXPECT_EQ(cut.raw, "");
}

TEST(SensorValues, NameModes)
{
    EXPECT_EQ(sensor_mode_text(0), "idle");
    EXPECT_EQ(sensor_mode_text(0x21), "log running, alarm");
    EXPECT_EQ(sensor_mode_flags(0x0C), (Arguments{"log full", "was asleep"}));
}

TemperatureRecord record_of(const std::string& epc, std::optional<double> celsius)
{
    return {epc, {}, {celsius, celsius ? "" : "damaged"}, 1, 200};
}

TEST(TemperatureTable, KeepsExtremes)
{
    TemperatureTable table;
    const auto now = Moment::now();
    for (const auto celsius : {4.0, -2.5, 3.0}) table.add(record_of("E280", celsius), now);
    table.add(record_of("E281", std::nullopt), now);
    table.add(record_of("E280", std::nullopt), now);
    ASSERT_EQ(table.rows().size(), 2u);
    EXPECT_EQ(table.reads(), 5u);
    EXPECT_EQ(table.rows()[0].reads, 4u);
    EXPECT_EQ(table.rows()[0].lowest, -2.5);
    EXPECT_EQ(table.rows()[0].highest, 4.0);
    EXPECT_FALSE(table.rows()[1].lowest);
}

TEST(TemperatureTable, FitsTheTerminal)
{
    TemperatureTable table;
    const auto now = Moment::now();
    table.add(record_of("E28011700000020F00000001", 21.456), now);
    table.add(record_of("E28011700000020F00000002", std::nullopt), now);
    const auto lines = render_temperatures(table, {.columns = 80, .rows = 24}, now);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "2 tags, 2 readings");
    EXPECT_EQ(lines[2], "E28011700000020F00000001     21.46     21.46     21.46        1     0.0");
    EXPECT_EQ(lines[3], "E28011700000020F00000002         -         -         -        1     0.0");
    for (const auto& line : render_temperatures(table, {.columns = 10, .rows = 3}, now))
        EXPECT_LE(line.size(), 10u);
    EXPECT_EQ(render_temperatures(table, {.columns = 10, .rows = 3}, now).size(), 2u);
    EXPECT_TRUE(render_temperatures(table, {.columns = 0, .rows = 0}, now).empty());
}

Arguments words_of(const std::string& text)
{
    std::istringstream stream(text);
    Arguments words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

TEST(SensorCommandLine, HelpsWithExamples)
{
    for (const auto* const command :
         {"temp read",        "temp inventory", "temp watch",      "sensor init", "sensor read-reg",
          "sensor write-reg", "sensor read",    "sensor write",    "sensor temp", "sensor log start",
          "sensor log stop",  "sensor mode",    "sensor sleep",    "sensor spi",  "sensor reset-alarm",
          "identify tag",     "identify begin", "identify finish", "led on",      "led off",
          "led carrier-time"}) {
        auto words = words_of(command);
        words.emplace_back("--help");
        const auto help = run(TAGWIRE_TOOL_PATH, words);
        EXPECT_EQ(help.exit_code, 0) << command;
        EXPECT_NE(help.out.find("Examples:"), std::string::npos) << help.out;
        EXPECT_NE(help.out.find(std::string("\n  tagwire ") + command), std::string::npos) << help.out;
    }
}

// A port that certainly nobody listens on: trying to connect fails with 1, wrong usage with 2.
Ended tool(const std::string& command)
{
    auto words = words_of(command);
    words.insert(words.end(), {"--reader", "tcp://127.0.0.1:1"});
    return run(TAGWIRE_TOOL_PATH, words);
}

class SensorWrongUsage : public testing::TestWithParam<std::string> {};

TEST_P(SensorWrongUsage, EndsBeforeAnythingIsSent)
{
    const auto ended = tool(GetParam());
    EXPECT_EQ(ended.exit_code, 2) << ended.err;
    EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    EXPECT_EQ(ended.out, "");
}

const std::string epc = " --epc E28011700000020F00000001";
const std::string words_15 = " --epc " + std::string(60, '0');

INSTANTIATE_TEST_SUITE_P(
    OfTemperatures, SensorWrongUsage,
    testing::Values(
        "temp", "temp read" + epc, "temp read --chip g2", "temp read --chip g3" + epc,
        "temp read --chip g2 --mask tid:0:E2", "temp read --chip bx --mask tid:0:E2",
        "temp read --chip g2" + words_15, "temp read --chip em --any", "temp read --chip g2 --any" + epc,
        "temp read --chip g2 --time 010203040506" + epc, "temp read --chip g2 --any --time 0102",
        "temp read --chip g2 --calibration 0000" + epc, "temp read --chip g2 --calibration 000035" + epc,
        "temp read --chip g2 --calibration 000020 --calibration-word 8" + epc,
        "temp read --chip yl --calibration 000020" + epc, "temp read --chip g2 --calibration-word 256" + epc,
        "temp read --chip g2 --latest" + epc, "temp read --chip on --uid" + epc,
        "temp read --chip em --wait-time 3" + epc, "temp read --chip em --password 12" + epc,
        "temp inventory --kind sense", "temp inventory --mask tid:0:E2", "temp inventory --kind ast010" + epc,
        "temp inventory" + words_15, "temp inventory --q 16", "temp inventory --seconds 1",
        "temp inventory --select-action 8", "temp watch --seconds 0", "temp watch --interval 3600001"));

INSTANTIATE_TEST_SUITE_P(
    OfRegisters, SensorWrongUsage,
    testing::Values("sensor", "sensor init" + epc, "sensor init --yes", "sensor init --yes" + words_15,
                    "sensor read-reg" + epc, "sensor read-reg 65536" + epc, "sensor read-reg 1",
                    "sensor write-reg 1 00" + epc, "sensor write-reg 1 00112" + epc,
                    "sensor write-reg 1" + epc, "sensor read" + epc, "sensor read --count 0" + epc,
                    "sensor read --byte 65535 --count 2" + epc, "sensor read --count 65537" + epc,
                    "sensor read --count 1 --memory-password 12" + epc, "sensor write" + epc,
                    "sensor write --data 123" + epc, "sensor write --byte 65535 --data 1234" + epc,
                    "sensor write --data 12 --chunk 239" + epc, "sensor temp --quantity heat" + epc,
                    "sensor temp --store-block 256" + epc, "sensor log" + epc, "sensor log start" + epc,
                    "sensor log start --step 0" + epc, "sensor log start --step 1 --delay 65536" + epc,
                    "sensor log stop --stop-password 1" + epc, "sensor mode", "sensor sleep"));

INSTANTIATE_TEST_SUITE_P(OfLeds, SensorWrongUsage,
                         testing::Values("led", "led on" + epc, "led on --chip fd", "led on --chip rgb" + epc,
                                         "led on --chip fd" + words_15, "led on --chip yl --mode 0" + epc,
                                         "led on --chip yl --time 256" + epc, "led off --chip klw" + epc,
                                         "led carrier-time", "led carrier-time 256"));

INSTANTIATE_TEST_SUITE_P(OfPeripherals, SensorWrongUsage,
                         testing::Values("sensor spi" + epc, "sensor spi --command 9F --answer 8" + epc,
                                         "sensor spi --command 9" + epc,
                                         "sensor spi --command " + std::string(402, '0') + epc,
                                         "sensor reset-alarm", "identify", "identify tag --epc E28",
                                         "identify tag --epc " + std::string(64, '0'), "identify finish",
                                         "identify finish 0102"));

TEST(SensorCommandLine, AsksBeforeItReplacesRegisters)
{
    EXPECT_EQ(
        tool("sensor init" + epc).err,
        "tagwire: this would replace all registers of the tag E28011700000020F00000001 by those of a new "
        "one for good: nothing was sent. Add --yes, or use a terminal to be asked\n");
    EXPECT_EQ(tool("sensor init --yes" + epc).exit_code, 1);
}

}  // namespace
}  // namespace tagwire::tool::test
