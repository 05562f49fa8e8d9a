// The commands for sensor tags as far as no reader is needed.
#include "process.h"
#include "sensors/temperature_table.h"

#include <map>
#include <sstream>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

using Arguments = std::vector<std::string>;

Temperature measured(const char* epc, std::optional<double> celsius)
{
    Temperature out;
    out.epc = Epc(epc);
    out.celsius = celsius;
    return out;
}

TEST(TemperatureTable, KeepsExtremes)
{
    TemperatureTable table;
    for (const auto celsius : {4.0, -2.5, 3.0}) table.add(measured("E280", celsius));
    table.add(measured("E281", std::nullopt));
    table.add(measured("E280", std::nullopt));
    ASSERT_EQ(table.rows().size(), 2u);
    EXPECT_EQ(table.reads(), 5u);
    EXPECT_EQ(table.rows()[0].reads, 4u);
    EXPECT_EQ(table.rows()[0].lowest, -2.5);
    EXPECT_EQ(table.rows()[0].highest, 4.0);
    EXPECT_FALSE(table.rows()[1].lowest);
}

TEST(TemperatureTable, TellsTagsOfOneEpcApart)
{
    TemperatureTable table;
    for (const auto* const tid : {"E2C01A20", "E2C01A21"}) {
        auto one = measured("E280", 20);
        one.tid = Tid(tid);
        table.add(one);
    }
    EXPECT_EQ(table.rows().size(), 2u);
}

TEST(TemperatureTable, FitsTheTerminal)
{
    TemperatureTable table;
    table.add(measured("E28011700000020F00000001", 21.456));
    table.add(measured("E28011700000020F00000002", std::nullopt));
    const std::chrono::steady_clock::time_point now{};
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
         {"temp read",       "temp inventory",   "temp watch",      "sensor init",
          "sensor read-reg", "sensor write-reg", "sensor read",     "sensor write",
          "sensor temp",     "sensor log start", "sensor log stop", "sensor log read",
          "sensor mode",     "sensor sleep",     "sensor spi",      "sensor reset-alarm",
          "identify tag",    "identify begin",   "identify finish", "led on",
          "led off",         "led carrier-time"}) {
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

INSTANTIATE_TEST_SUITE_P(
    OfTemperatures, SensorWrongUsage,
    testing::Values("temp", "temp read" + epc, "temp read --chip g2", "temp read --chip g3" + epc,
                    "temp read --chip ltu32" + epc, "temp read --chip em --any",
                    "temp read --chip g2 --any" + epc, "temp read --chip g2 --time 010203040506" + epc,
                    "temp read --chip g2 --any --time 0102", "temp read --chip g2 --calibration 0000" + epc,
                    "temp read --chip g2 --calibration 000020 --calibration-word 8" + epc,
                    "temp read --chip yl --calibration 000020" + epc,
                    "temp read --chip g2 --calibration-word 256" + epc, "temp read --chip g2 --latest" + epc,
                    "temp read --chip on --uid" + epc, "temp read --chip em --wait-time 3" + epc,
                    "temp read --chip em --password 12" + epc,
                    "temp read --chip g2 --password 12345678" + epc, "temp inventory --chip sense",
                    "temp inventory --mask tid:0:E2", "temp inventory --chip em --mask tid:0:E2" + epc,
                    "temp inventory --latest", "temp inventory --password 12345678",
                    "temp inventory --chip ast010 --wait-time 1", "temp inventory --q 16",
                    "temp inventory --seconds 1", "temp inventory --select-action 8",
                    "temp watch --seconds 0", "temp watch --interval 3600001"));

INSTANTIATE_TEST_SUITE_P(
    OfRegisters, SensorWrongUsage,
    testing::Values("sensor", "sensor init" + epc, "sensor init --yes", "sensor read-reg" + epc,
                    "sensor read-reg 65536" + epc, "sensor read-reg 1", "sensor write-reg 1 00" + epc,
                    "sensor write-reg 1 00112" + epc, "sensor write-reg 1" + epc, "sensor read" + epc,
                    "sensor read --count 0" + epc, "sensor read --byte 65535 --count 2" + epc,
                    "sensor read --count 65537" + epc, "sensor read --count 1 --memory-password 12" + epc,
                    "sensor write" + epc, "sensor write --data 123" + epc,
                    "sensor write --byte 65535 --data 1234" + epc, "sensor write --data 12 --chunk 239" + epc,
                    "sensor temp --quantity heat" + epc, "sensor temp --store-block 256" + epc,
                    "sensor log" + epc, "sensor log start --yes" + epc, "sensor log start --step 0" + epc,
                    "sensor log start --step 1 --yes --memory-password 12345678" + epc,
                    "sensor log start --step 1 --delay 65536" + epc,
                    "sensor log stop --stop-password 1" + epc, "sensor log read" + epc, "sensor mode",
                    "sensor mode --refresh --mask tid:0:E2", "sensor sleep"));

INSTANTIATE_TEST_SUITE_P(OfLeds, SensorWrongUsage,
                         testing::Values("led", "led on" + epc, "led on --chip fd", "led on --chip rgb" + epc,
                                         "led on --chip fd --time 3" + epc, "led on --chip bx --mode 3" + epc,
                                         "led on --chip yl --mode 0" + epc,
                                         "led on --chip yl --time 256" + epc, "led off --chip klw" + epc,
                                         "led carrier-time", "led carrier-time 256"));

INSTANTIATE_TEST_SUITE_P(OfPeripherals, SensorWrongUsage,
                         testing::Values("sensor spi" + epc, "sensor spi --command 9F --answer 8" + epc,
                                         "sensor spi --command 9" + epc,
                                         "sensor spi --command " + std::string(402, '0') + epc,
                                         "sensor reset-alarm", "identify", "identify tag --epc E28",
                                         "identify finish", "identify finish 0102"));

TEST(SensorCommandLine, AsksBeforeItDestroysDataOrReach)
{
    const std::map<std::string, std::string> asked{
        {"sensor init",
         "replace all registers of the tag E28011700000020F00000001 by those of a new one for good"},
        {"sensor log start --step 1",
         "begin the log of the tag E28011700000020F00000001 anew, and destroy one that it has"},
        {"sensor sleep", "put the tag E28011700000020F00000001 to sleep"}};
    for (const auto& [command, deed] : asked) {
        const auto refused = tool(command + epc);
        EXPECT_EQ(refused.exit_code, 2) << command;
        EXPECT_EQ(refused.err, "tagwire: this would " + deed +
                                   ": nothing was sent. Add --yes, or use a terminal to be asked\n");
        EXPECT_EQ(tool(command + " --yes" + epc).exit_code, 1) << command;
    }
    // Where a log would be lost nothing is begun.
    EXPECT_EQ(tool("sensor log start --step 1 --byte 2048" + epc).exit_code, 1);
}

TEST(SensorCommandLine, NamesTheOptionThatAChipDoesNotHave)
{
    EXPECT_EQ(tool("led on --chip fd --time 3" + epc).err, "tagwire: --time does not go with --chip fd\n");
    EXPECT_NE(run(TAGWIRE_TOOL_PATH, {"led", "on", "--help"}).out.find("yl, klw, bx: how long"),
              std::string::npos);
}

}  // namespace
}  // namespace tagwire::tool::test
