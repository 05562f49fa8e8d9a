// The commands for the reader's own settings as far as no reader is needed.
#include "process.h"

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

using Arguments = std::vector<std::string>;

TEST(DeviceCommandLine, HelpsWithExamples)
{
    for (const auto* const command :
         {"power show",     "power set",     "region show",         "region set", "antenna show",
          "antenna enable", "antenna check", "antenna return-loss", "gpio get",   "gpio set",
          "relay on",       "relay off",     "relay pulse",         "beep on",    "beep off",
          "beep test",      "clock show",    "clock set",           "mode show",  "mode set",
          "reset restart",  "reset factory"}) {
        const std::string words = command;
        const auto space = words.find(' ');
        const auto help = run(TAGWIRE_TOOL_PATH, {words.substr(0, space), words.substr(space + 1), "--help"});
        EXPECT_EQ(help.exit_code, 0) << command;
        EXPECT_NE(help.out.find("Examples:"), std::string::npos) << help.out;
        EXPECT_NE(help.out.find("\n  tagwire " + words), std::string::npos) << help.out;
    }
}

TEST(DeviceCommandLine, HelpsWithExamplesOfAGroup)
{
    for (const std::string group :
         {"power", "region", "antenna", "gpio", "relay", "beep", "clock", "mode", "reset", "config"}) {
        const auto help = run(TAGWIRE_TOOL_PATH, {group, "--help"});
        EXPECT_EQ(help.exit_code, 0) << group;
        const auto examples = help.out.find("Examples:\n  tagwire " + group);
        EXPECT_NE(examples, std::string::npos) << help.out;
        EXPECT_EQ(help.out.find("Examples:", examples + 1), std::string::npos) << help.out;
    }
}

// A port that certainly nobody listens on: trying to connect fails with 1, wrong usage with 2.
Ended tool(Arguments arguments)
{
    arguments.insert(arguments.end(), {"--reader", "tcp://127.0.0.1:1"});
    return run(TAGWIRE_TOOL_PATH, arguments);
}

class DeviceWrongUsage : public testing::TestWithParam<Arguments> {};

TEST_P(DeviceWrongUsage, EndsBeforeAnythingIsSent)
{
    const auto ended = tool(GetParam());
    EXPECT_EQ(ended.exit_code, 2) << ended.err;
    EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    EXPECT_EQ(ended.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    OfRadio, DeviceWrongUsage,
    testing::Values(
        Arguments{"power"}, Arguments{"power", "set"}, Arguments{"power", "set", "41"},
        Arguments{"power", "set", "-1"}, Arguments{"power", "set", "20dBm"},
        Arguments{"power", "set", "20", "--antenna", ""}, Arguments{"power", "set", "20", "--antenna", "0"},
        Arguments{"power", "set", "20", "--antenna", "65"},
        Arguments{"power", "set", "20", "--antenna", "1", "--write-power"}, Arguments{"region", "set"},
        Arguments{"region", "set", "fr"}, Arguments{"region", "set", "255"}, Arguments{"region", "set", "5"},
        Arguments{"region", "set", "5", "--lowest", "900", "--highest-channel", "1"},
        Arguments{"region", "set", "us", "--lowest", "903"},
        Arguments{"region", "set", "us", "--lowest", "927.25", "--highest", "902.75"},
        Arguments{"region", "set", "us", "--highest-channel", "50"},
        Arguments{"region", "set", "us", "--channels", "4"},
        Arguments{"region", "set", "us", "--packed", "--temporary"},
        Arguments{"region", "set", "16", "--packed", "--lowest-channel", "0", "--highest-channel", "1"},
        Arguments{"region", "set", "custom"},
        Arguments{"region", "set", "custom", "--first", "865.7", "--spacing", "605", "--channels", "4"},
        Arguments{"region", "set", "custom", "--first", "5800", "--spacing", "600", "--channels", "4"},
        Arguments{"region", "set", "custom", "--first", "865,7", "--spacing", "600", "--channels", "4"},
        Arguments{"region", "set", "custom", "--first", "865.1234", "--spacing", "600", "--channels", "4"},
        Arguments{"region", "set", "custom", "--first", "865.7", "--spacing", "600", "--channels", "0"},
        Arguments{"region", "set", "custom", "--first", "865.7", "--spacing", "600", "--channels", "4",
                  "--lowest", "866"},
        Arguments{"antenna", "enable"}, Arguments{"antenna", "enable", "0"},
        Arguments{"antenna", "enable", "4-1"}, Arguments{"antenna", "enable", "1-65"},
        Arguments{"antenna", "enable", "9", "--ports", "8"},
        Arguments{"antenna", "enable", "1", "--ports", "9"},
        Arguments{"antenna", "enable", "1", "--ports", "8", "--temporary"},
        Arguments{"antenna", "check", "maybe"},
        Arguments{"antenna", "return-loss", "1", "--frequency", "0.5"}));

INSTANTIATE_TEST_SUITE_P(
    OfLines, DeviceWrongUsage,
    testing::Values(Arguments{"gpio", "set"}, Arguments{"gpio", "set", "--on", "5"},
                    Arguments{"gpio", "set", "--on", "1,2", "--off", "2"},
                    Arguments{"relay", "on", "--relay", "0"}, Arguments{"relay", "on", "--kind", "single"},
                    Arguments{"relay", "on", "--kind", "new"},
                    Arguments{"relay", "off", "--kind", "old", "--family", "relay", "--relay", "2"},
                    Arguments{"relay", "pulse", "3000", "--kind", "old"},
                    Arguments{"relay", "pulse", "3000", "--family", "relay"}, Arguments{"relay", "pulse"},
                    Arguments{"relay", "pulse", "0"}, Arguments{"relay", "pulse", "25501"},
                    Arguments{"beep", "test", "--times", "0"}, Arguments{"beep", "test", "--on", "256"},
                    Arguments{"clock", "set"}, Arguments{"clock", "set", "2024-02-30T00:00:00"},
                    Arguments{"clock", "set", "2100-01-01T00:00:00", "--utc"}, Arguments{"mode", "set"},
                    Arguments{"mode", "set", "passive"}, Arguments{"mode", "set", "3"}, Arguments{"reset"},
                    Arguments{"reset", "factory"}));

TEST(DeviceCommandLine, AsksBeforeItRestoresTheFactorySettings)
{
    EXPECT_EQ(tool({"reset", "factory"}).err,
              "tagwire: this would replace all settings and tables of the reader by the factory's for good: "
              "nothing was sent. Add --yes, or use a terminal to be asked\n");
    EXPECT_EQ(tool({"reset", "factory", "--yes"}).exit_code, 1);
    EXPECT_EQ(tool({"reset", "restart"}).exit_code, 1);
}

}  // namespace
}  // namespace tagwire::tool::test
