// The commands for the reader's own settings as far as no reader is needed.
#include "device_calls.h"
#include "message_of.h"
#include "process.h"
#include "reader_units.h"

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

using Arguments = std::vector<std::string>;

TEST(ReaderUnits, KnowTheBands)
{
    EXPECT_EQ(band_names(), "us, eu, cn, kr, wide");
    const auto& europe = parse_band("eu", "BAND");
    EXPECT_EQ(europe.number, 4);
    EXPECT_EQ(europe.khz(0), 865100u);
    EXPECT_EQ(europe.last_khz(), 867900u);
    EXPECT_EQ(find_band(2)->last_khz(), 927250u);
    EXPECT_EQ(find_band(5), nullptr);
    EXPECT_EQ(band_text(1), "cn");
    EXPECT_EQ(band_text(5), "5");
    EXPECT_EQ(band_text(custom_band), "custom");
    EXPECT_EQ(message_of([] { parse_band("EU", "BAND"); }), "BAND 'EU' is unknown: use us, eu, cn, kr, wide");
}

TEST(ReaderUnits, FindChannels)
{
    const auto& europe = parse_band("eu", "BAND");
    EXPECT_EQ(channel_at(europe, 865100, "--lowest"), 0);
    EXPECT_EQ(channel_at(europe, 867900, "--lowest"), 14);
    for (const auto khz : {865000u, 865200u, 868100u}) {
        EXPECT_EQ(message_of([&] { channel_at(europe, khz, "--lowest"); }),
                  "--lowest " + mhz_text(khz) +
                      " MHz is no channel of eu: they are at 865.100 to 867.900 MHz, 200 kHz apart");
    }
}

TEST(ReaderUnits, ReadMegahertz)
{
    const auto parse = [](const char* text) { return parse_mhz(text, "--first", 1, 960000); };
    EXPECT_EQ(parse("865.7"), 865700u);
    EXPECT_EQ(parse("902.125"), 902125u);
    EXPECT_EQ(parse("960"), 960000u);
    EXPECT_EQ(parse("0.001"), 1u);
    for (const auto* const text : {"", "960.001", "0", "-1", "865.1234", "865,7", "nan", "inf", "1e2"}) {
        EXPECT_EQ(message_of([&] { parse(text); }),
                  "--first '" + std::string(text) +
                      "' is not valid: use MHz from 0.001 to 960.000 with at most three decimals");
    }
}

TEST(ReaderUnits, OrderPortsAsCommandsDo)
{
    EXPECT_EQ(port_bytes(0b101), (PortBytes{0, 0, 0, 0, 0, 0, 0, 5}));
    EXPECT_EQ(port_bytes(std::uint64_t{1} << 63), (PortBytes{0x80, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(ports_in(PortBytes{0, 0, 0, 0, 0, 0, 1, 2}), 0x0102u);
    EXPECT_EQ(ports_text(0), "none");
    EXPECT_EQ(ports_text(0x8009), "1, 4, 16");
}

TEST(ReaderUnits, ReadTimes)
{
    const auto time = parse_clock("2024-02-29T10:15:59", "TIME");
    EXPECT_EQ(clock_bytes(time), (ClockBytes{24, 2, 29, 10, 15, 59}));
    EXPECT_EQ(clock_value_text(time), "2024-02-29T10:15:59");
    EXPECT_EQ(utc_bytes(time), (std::array<std::uint8_t, 4>{0x65, 0xE0, 0x59, 0x5F}));
    EXPECT_EQ(clock_bytes_text({99, 12, 31, 23, 59, 60}), "2099-12-31T23:59:60");
    for (const auto* const text :
         {"2023-02-29T00:00:00", "2024-13-01T00:00:00", "2024-01-01T24:00:00", "2024-01-01T00:60:00",
          "2024-01-01T00:00:60", "1999-12-31T23:59:59", "2100-01-01T00:00:00", "2024-01-01 00:00:00",
          "2024-01-01T00:00", "2024-1-1T00:00:00", "2024-01-01T00:00:00Z", "+024-01-01T00:00:00"}) {
        EXPECT_NE(message_of([&] { parse_clock(text, "TIME"); }), "no error") << text;
    }
}

TEST(DeviceCalls, SendAsManyPowersAsACommandMayHave)
{
    EXPECT_EQ(sendable_powers({20, 21, 22, 23}), (std::vector<std::uint8_t>{20, 21, 22, 23}));
    EXPECT_EQ(sendable_powers({20, 21, 22}), (std::vector<std::uint8_t>{20, 21, 22, 22}));
    EXPECT_EQ(sendable_powers(std::vector<std::uint8_t>(17, 5)).size(), 64u);
    EXPECT_EQ(sendable_powers(std::vector<std::uint8_t>(65, 5)).size(), 65u);
    EXPECT_TRUE(sendable_powers({}).empty());
}

TEST(DeviceCalls, TellFrequenciesOfPlans)
{
    const FrequencyPlan band{.band = 2, .lowest_channel = 10, .highest_channel = 20};
    EXPECT_EQ(band.lowest_khz(), 907750u);
    EXPECT_EQ(band.highest_khz(), 912750u);
    EXPECT_EQ(band.middle_khz(), 910250u);
    EXPECT_EQ(band.channel_count(), 11u);
    const FrequencyPlan own{.first_khz = 865700, .spacing_khz = 600, .channels = 4};
    EXPECT_EQ(own.lowest_khz(), 865700u);
    EXPECT_EQ(own.highest_khz(), 867500u);
    EXPECT_EQ(own.channel_count(), 4u);
    EXPECT_FALSE((FrequencyPlan{.band = 7}.lowest_khz()));
}

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
        Arguments{"region", "set", "custom", "--first", "865.7", "--spacing", "600", "--channels", "0"},
        Arguments{"region", "set", "custom", "--first", "865.7", "--spacing", "600", "--channels", "4",
                  "--lowest", "866"},
        Arguments{"antenna", "enable"}, Arguments{"antenna", "enable", "0"},
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
                    Arguments{"relay", "off", "--kind", "old", "--relay", "2"}, Arguments{"relay", "pulse"},
                    Arguments{"relay", "pulse", "0"}, Arguments{"relay", "pulse", "25501"},
                    Arguments{"beep", "test", "--times", "0"}, Arguments{"beep", "test", "--on", "256"},
                    Arguments{"clock", "set"}, Arguments{"clock", "set", "now"},
                    Arguments{"clock", "set", "2024-05-31T10:15:00", "--now"}, Arguments{"mode", "set"},
                    Arguments{"mode", "set", "passive"}, Arguments{"mode", "set", "256"}, Arguments{"reset"},
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
