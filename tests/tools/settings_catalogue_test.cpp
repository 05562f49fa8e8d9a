// Every row of the catalogue: its names, its texts and its limits.
#include "setting_catalogue.h"

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "errors.h"
#include "message_of.h"

namespace tagwire::tool::test {
namespace {

using Texts = std::vector<std::string>;

// Both limits come first where there are any.
struct Samples {
    Texts good;
    Texts bad;
};

const Samples byte{{"0x00", "0xFF", "0x5A"}, {"-1", "256", "0x100", "", "on", "1 ", "1.5"}};
const Samples seven_bits{{"0x00", "0x7F"}, {"128", "0x80", ""}};
const Samples number{{"0", "255"}, {"256", "-1", "x", ""}};
const Samples small_number{{"0", "127"}, {"128"}};
const Samples switched{{"off", "on", "2", "255"}, {"256", "yes", "ON", ""}};
const Samples four_bytes{{"00000000", "FFFFFFFF", "01020304"},
                         {"0102030", "010203", "0102030405", "", "0102030G"}};
const Samples six_numbers{{"0,0,0,0,0,0", "255,255,255,255,255,255", "1,2,3,4,5,6"},
                          {"1,2,3,4,5", "1,2,3,4,5,6,7", "1,2,3,4,5,256", "1,2,3,4,,6", ""}};
const Samples power{{"0", "255"}, {"256", "30.5", ""}};

std::string repeated(const std::string& text, int count)
{
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

std::map<std::string, Samples> samples_of_reader()
{
    return {{"temperature-choice", byte},
            {"clock",
             {{"2000-01-01T00:00:00", "2099-12-31T23:59:59"},
              {"1999-12-31T23:59:59", "2100-01-01T00:00:00", "2024-02-30T00:00:00", "2024-05-31", ""}}},
            {"serial-number", four_bytes},
            {"user-password", four_bytes},
            {"reader-password", four_bytes},
            {"reply-delay", byte},
            {"power-mode", seven_bits},
            {"heartbeat-time", seven_bits},
            {"scan-time", {{"0", "25500", "1000"}, {"25600", "50", "1050", "-100", "1s"}}},
            {"q", number},
            {"session", number},
            {"retries", small_number},
            {"protocol", seven_bits},
            {"tag-function", seven_bits},
            {"profile", seven_bits},
            {"long-profile", {{"0000", "FFFF", "1234"}, {"00", "000000", "123"}}},
            {"dense-reader-mode", {{"off", "on", "2", "127"}, {"128", "yes"}}},
            {"parameter-", {{"", "00", repeated("AB", 249)}, {"0", repeated("AB", 250), "XY"}}},
            {"address", {{"0", "254"}, {"255", "-1"}}},
            {"baud", {{"9600", "19200", "38400", "57600", "115200", "921600"}, {"0", "9601", "1200", ""}}},
            {"work-mode", {{"answering", "active", "triggered", "3", "255"}, {"256", "trigger", ""}}},
            {"communication", byte}};
}

std::map<std::string, Samples> samples_of_radio()
{
    return {{"region",
             {{"us:0-49", "wide:0-0", "5:0-255", "254:0-1", "eu:14-2", "custom:0:0:0",
               "custom:16777215:2550:255", "custom:866000:200:15"},
              {"", "us", "us:0", "us:0-256", "mars:0-1", "255:0-1", "custom:1:10", "custom:16777216:10:1",
               "custom:1:2560:1", "custom:1:15:1", "custom:1:10:256"}}},
            {"region-type", byte},
            {"dwell-time", byte},
            {"dwell-repeats", byte},
            {"power", power},
            {"antenna-power",
             {{"0", "255", "30,0,255", "1" + repeated(",30", 63)},
              {"256", "30,", "1" + repeated(",30", 64), ""}}},
            {"write-power", power},
            {"power-converter", byte},
            {"calibration-type", byte},
            {"antennas", {{"1", "64", "1,2,4", "1,64"}, {"0", "65", "", "1,,2", "1;2"}}},
            {"antenna-count", small_number},
            {"antenna-check", switched}};
}

std::map<std::string, Samples> samples_of_reading()
{
    return {{"read-parameters", {{"0000000000", "FFFFFFFFFF"}, {"00000000", "000000000000"}}},
            {"eas-sensitivity", byte},
            {"report-condition", byte},
            {"report-pause", byte},
            {"inventory-interval", byte},
            {"tag-protocol", byte},
            {"mask",
             {{"epc:0:none", "user:65535:none", "epc:32:E280/12", "tid:0:80/1", "200:5:FF/8",
               "epc:0:" + repeated("FF", 31) + "FE/255"},
              {"", "epc", "epc:0", "epc:65536:FF", "epc:0:FF/9", "epc:0:FF/0", "epc:0:" + repeated("FF", 32),
               "256:0:FF", "bank:0:FF", ":none"}}},
            {"trigger-time", byte},
            {"tid-word", number},
            {"tid-words", number},
            {"filter-time", byte},
            {"filter-window", byte},
            {"filter-reads", number},
            {"filter-rssi", number},
            {"beep", switched},
            {"pulse-output", byte},
            {"gpo-follows", byte},
            {"gpo-time", byte},
            {"antenna-switch", {{"0,0", "255,255"}, {"1", "1,2,3", "256,0"}}},
            {"wiegand-format", byte},
            {"wiegand-pause", byte},
            {"wiegand-width", byte},
            {"wiegand-distance", byte},
            {"wiegand-offset", byte},
            {"trigger-", six_numbers}};
}

std::map<std::string, Samples> all_samples()
{
    auto samples = samples_of_reader();
    samples.merge(samples_of_radio());
    samples.merge(samples_of_reading());
    return samples;
}

// Numbered settings share their samples.
const Samples& samples_for(const Setting& setting)
{
    static const auto samples = all_samples();
    const auto own = samples.find(setting.name);
    if (own != samples.end()) return own->second;
    return samples.at(setting.name.substr(0, setting.name.find('-') + 1));
}

void expect_limits(const Setting& setting)
{
    SCOPED_TRACE(setting.name);
    const Samples& samples = samples_for(setting);
    for (const auto& text : samples.good) EXPECT_EQ(setting.format.show(parse_setting(setting, text)), text);
    for (const auto& text : samples.bad) {
        const auto message = message_of([&] { parse_setting(setting, text); });
        EXPECT_NE(message.find("setting " + setting.name), std::string::npos) << text << ": " << message;
    }
}

class Catalogue : public testing::TestWithParam<ReaderFamily> {
  protected:
    SettingCatalogue catalogue{GetParam(), true, true};
};

TEST_P(Catalogue, TurnsTextIntoValuesWithinTheLimitsOfEverySetting)
{
    for (const auto& setting : catalogue.settings()) {
        if (setting.can_be_written()) expect_limits(setting);
    }
}

TEST_P(Catalogue, HasEveryNameOnceWithWaysToUseIt)
{
    std::set<std::string> names;
    for (const auto& setting : catalogue.settings()) {
        SCOPED_TRACE(setting.name);
        EXPECT_TRUE(names.insert(setting.name).second);
        EXPECT_EQ(catalogue.find(setting.name), &setting);
        EXPECT_TRUE(setting.can_be_read() || setting.can_be_written());
        EXPECT_FALSE(setting.help.empty());
        EXPECT_EQ(setting.format.range.empty(), !setting.can_be_written());
        EXPECT_TRUE(setting.kept != Kept::Saved || (setting.can_be_read() && setting.can_be_written()));
        EXPECT_TRUE(setting.told_by.empty() || catalogue.find(setting.told_by) != nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(Families, Catalogue, testing::ValuesIn(all_families),
                         [](const auto& tested) { return std::string(family_name(tested.param)); });

TEST(SettingsCatalogue, RefusesWhatCanBeShownOnlyAndWhatItDoesNotKnow)
{
    const SettingCatalogue catalogue(ReaderFamily::Standard, true, true);
    EXPECT_EQ(message_of([&] { parse_setting(catalogue.require("firmware"), "1.0"); }),
              "setting 'firmware' can be shown only, not set");
    EXPECT_EQ(message_of([&] { catalogue.require("pwoer"); }),
              "setting 'pwoer' is unknown: tagwire config set --help lists them");
    EXPECT_EQ(message_of([&] { catalogue.require("filter-rssi"); }),
              "readers of the family standard have no setting 'filter-rssi': see --family (filter)");
    EXPECT_EQ(message_of([] { parse_family("other", "--family"); }),
              "--family 'other' is unknown: use standard, filter, relay, multiplexer or mobile");
}

TEST(SettingsCatalogue, ReadsTheSpeedOfASerialLineOnly)
{
    EXPECT_TRUE(SettingCatalogue(ReaderFamily::Standard, true).require("baud").can_be_read());
    EXPECT_FALSE(SettingCatalogue(ReaderFamily::Standard, false).require("baud").can_be_read());
}

TEST(SettingsCatalogue, TakesShortFormsOfAMaskAndOfPowers)
{
    const SettingCatalogue catalogue(ReaderFamily::Standard, true, true);
    const auto& mask = catalogue.require("mask");
    EXPECT_EQ(mask.format.show(parse_setting(mask, "none")), "epc:0:none");
    EXPECT_EQ(mask.format.show(parse_setting(mask, "1:32:e280")), "epc:32:E280/16");
    // What stands behind the mask's bits has no meaning.
    Bytes raw(36, 0xFF);
    raw[0] = 2;
    raw[1] = 0;
    raw[2] = 7;
    raw[3] = 11;
    EXPECT_EQ(mask.format.show(mask.format.normalised(raw)), "tid:7:FFE0/11");

    const auto& powers = catalogue.require("antenna-power").format;
    EXPECT_TRUE(powers.is_same({27}, {27, 27, 27, 27}));
    EXPECT_FALSE(powers.is_same({27}, {27, 27, 26, 27}));
    EXPECT_TRUE(powers.is_same({27, 26, 25, 24, 23, 22, 21, 20}, {27, 26, 25, 24}));
    EXPECT_FALSE(powers.is_same({27, 26}, {27, 25, 24, 23}));
}

TEST(SettingsCatalogue, ListsEverySettingOnce)
{
    const auto text = catalogue_text();
    std::istringstream lines(text);
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("  ") || line[2] == ' ') continue;
        EXPECT_TRUE(names.insert(line.substr(2, line.find("  ", 2) - 2)).second) << line;
    }
    for (const char* name : {"power", "mask", "trigger-0 to 15", "parameter-0 to 255", "filter-rssi", "baud"})
        EXPECT_TRUE(names.contains(name)) << text;
}

}  // namespace
}  // namespace tagwire::tool::test
