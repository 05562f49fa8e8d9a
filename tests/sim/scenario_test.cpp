#include "scenario/scenario.h"

#include <gmock/gmock.h>

namespace tagwire::sim {
namespace {

using testing::HasSubstr;

struct BadScenario {
    const char* name;
    const char* text;
    unsigned line;
    const char* problem;
};

class BadScenarioTest : public testing::TestWithParam<BadScenario> {};

TEST_P(BadScenarioTest, IsRefusedWithItsLine)
{
    try {
        Scenario::from_text(GetParam().text, "portal.toml");
        FAIL() << "loaded";
    } catch (const ScenarioError& error) {
        EXPECT_EQ(error.line(), GetParam().line) << error.what();
        EXPECT_THAT(error.what(), HasSubstr(GetParam().problem));
        EXPECT_THAT(error.what(), HasSubstr("portal.toml"));
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, BadScenarioTest,
    testing::Values(
        BadScenario{"DuplicateKey", "[reader]\naddress = 1\naddress = 2\n", 3, "address"},
        BadScenario{"OddHex", "[[tag]]\nepc = \"E2001\"\n", 2, "odd number of hexadecimal digits"},
        BadScenario{"NoHex", "[[tag]]\nepc = \"E2G0\"\n", 2, "'G' is not a hexadecimal digit"},
        BadScenario{"HalfWord", "[[tag]]\n\nepc = \"E20011\"\n", 3, "whole number of 16-bit words"},
        BadScenario{"LongEpc",
                    "[[tag]]\nepc = \"00112233445566778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF"
                    "00112233445566778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF\"\n",
                    2, "longer than 31 words"},
        BadScenario{"NoEpc", "[[tag]]\ntid = \"E200\"\n", 1, "needs an epc"},
        BadScenario{"NoString", "[[tag]]\nepc = 5\n", 2, "string of hexadecimal digits"},
        BadScenario{"NoFamily", "[reader]\nfamily = \"x\"\n", 2, "family must be"},
        BadScenario{"NoSpeed", "[reader]\nbaud = 1200\n", 2, "baud must be"},
        BadScenario{"LongDescription", "[reader]\ndescription = \"0123456789ABCDEFG\"\n", 2,
                    "16 bytes at most"},
        BadScenario{"UnknownReaderKey", "[reader]\nadress = 1\n", 2, "no key 'adress'"},
        BadScenario{"UnknownTagKey", "[[tag]]\nepc = \"E200\"\nepk = \"E200\"\n", 3, "no key 'epk'"},
        BadScenario{"UnknownSection", "[raeder]\naddress = 1\n", 1, "no key 'raeder'"},
        BadScenario{"SingleBrackets", "[tag]\nepc = \"E200\"\n", 1, "two brackets"},
        BadScenario{"AddressRange", "[reader]\naddress = 255\n", 2, "0 to 254"},
        BadScenario{"Negative", "[reader]\nreport_rate = -1\n", 2, "report_rate"},
        BadScenario{"Version", "[reader]\nfirmware = \"2.300\"\n", 2, "two numbers"},
        BadScenario{"Port", "[reader]\nantennas = 2\nenabled_antennas = [1, 3]\n", 3, "no antenna port 3"},
        BadScenario{"PortTwice", "[[tag]]\nepc = \"E200\"\nantennas = [1, 1]\n", 3, "named twice"},
        BadScenario{"ManyPorts", "[reader]\nantennas = 9\n", 1, "more than 8 antennas"},
        BadScenario{"Flag", "[reader]\nphase = 1\n", 2, "true or false"},
        BadScenario{"Password", "[[tag]]\nepc = \"E200\"\naccess_password = \"1122\"\n", 3,
                    "must be 4 bytes"},
        BadScenario{"Stay", "[[tag]]\nepc = \"E200\"\narrives = 3\ndeparts = 2.5\n", 4, "before it arrives"},
        BadScenario{"SameEpc", "[[tag]]\nepc = \"E200\"\n[[tag]]\nepc = \"E200\"\n", 0,
                    "two tags have the epc"},
        BadScenario{"Count", "[[tag]]\nepc = \"E200\"\ncount = 0\n", 3,
                    "count must be a whole number from 1"},
        BadScenario{"NoToml", "[reader\n", 1, ""}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Radio, BadScenarioTest,
    testing::Values(
        BadScenario{"Fading", "[radio]\nfading = 21\n", 2, "fading must be a number from 0 to 20"},
        BadScenario{"Port", "[reader]\nantennas = 2\n[antenna.3]\ngain = 5\n", 3, "[antenna.1], up to 2"},
        BadScenario{"NoPort", "[antenna.left]\ngain = 5\n", 1, "[antenna.1], up to 4"},
        BadScenario{"OneAntenna", "[antenna]\ngain = 5\n", 2, "[antenna.1], up to 4"},
        BadScenario{"Gain", "[antenna.1]\ngain = 31\n", 2, "gain must be a number from -30 to 30"},
        BadScenario{"Polarisation", "[antenna.1]\npolarisation = \"round\"\n", 2,
                    "\"circular\" or \"linear\""},
        BadScenario{"Facing", "[antenna.1]\nfacing = [0, 0, 0]\n", 2, "facing is no direction"},
        BadScenario{"UnknownAntennaKey", "[antenna.1]\ngian = 5\n", 2, "[antenna.1] has no key 'gian'"},
        BadScenario{"Position", "[[tag]]\nepc = \"E200\"\nposition = [1, 2]\n", 3, "a list of x, y and z"},
        BadScenario{"FarPosition", "[[tag]]\nepc = \"E200\"\nposition = [1, 2, 10001]\n", 3, "up to 10000"},
        BadScenario{"BothPlaces", "[[tag]]\nepc = \"E200\"\nposition = [1, 2, 0]\npath = [[0, 1, 1, 1]]\n", 4,
                    "either a position or a path"},
        BadScenario{"PathOrder", "[[tag]]\nepc = \"E200\"\npath = [[1, 0, 0, 0], [1, 1, 0, 0]]\n", 3,
                    "later than the one before"},
        BadScenario{"EmptyPath", "[[tag]]\nepc = \"E200\"\npath = []\n", 3, "a list of waypoints"},
        BadScenario{"Waypoint", "[[tag]]\nepc = \"E200\"\npath = [[0, 0, 0]]\n", 3, "seconds, x, y and z"},
        BadScenario{"AxisAlone", "[[tag]]\nepc = \"E200\"\naxis = [0, 0, 1]\n", 3, "a position or a path"},
        BadScenario{"Sensitivity", "[[tag]]\nepc = \"E200\"\nposition = [0, 1, 0]\nsensitivity = -61\n", 4,
                    "from -60 to 30"},
        BadScenario{"ConveyorKey", "[[conveyor]]\nepc = \"E200\"\n", 1, "needs the key count"},
        BadScenario{"ConveyorWay",
                    "[[conveyor]]\nepc = \"E200\"\ncount = 1\nspeed = 1\nfrom = [0, 0, 0]\nto = [0, 0, 0]\n",
                    6, "ends where it begins"},
        BadScenario{"ConveyorEpc",
                    "[[conveyor]]\nepc = \"E2\"\ncount = 1\nspeed = 1\nfrom = [0, 0, 0]\nto = [1, 0, 0]\n", 2,
                    "whole words"},
        BadScenario{"ConveyorSpeed",
                    "[[conveyor]]\nepc = \"E200\"\ncount = 1\nspeed = 0\nfrom = [0, 0, 0]\nto = [1, 0, 0]\n",
                    4, "speed must be a number from 0.001 to 1000"},
        BadScenario{
            "ManyTags",
            "[[conveyor]]\nepc = \"E200\"\ncount = 60000\nspeed = 1\nfrom = [0, 0, 0]\nto = [1, 0, 0]\n"
            "pattern = [[0, 0, 0], [1, 0, 0]]\n",
            1, "more than 100000 tags"}),
    [](const testing::TestParamInfo<BadScenario>& param) { return param.param.name; });

TEST(Scenario, FillsInAllKeys)
{
    const Scenario scenario = Scenario::from_text(R"(
[reader]
address = 7
firmware = "2.14"
antennas = 2
enabled_antennas = [2]
start_gap_ms = 12.5
phase = true
air_time = 0
[[tag]]
epc = "E200 1122"
tid = "E280"
access_password = "A1B2C3D4"
antennas = [2, 1]
rssi = 100
arrives = 0.5
departs = 1.5
)");
    EXPECT_EQ(scenario.reader.address, 7);
    EXPECT_EQ(scenario.reader.firmware[1], 14);
    EXPECT_EQ(scenario.reader.enabled_antennas, std::vector<unsigned>{2});
    EXPECT_EQ(scenario.reader.start_gap, std::chrono::microseconds(12500));
    EXPECT_TRUE(scenario.reader.phase);
    EXPECT_EQ(scenario.reader.air_time, 0);
    ASSERT_EQ(scenario.tags.size(), 1U);
    const TagSettings& tag = scenario.tags.front();
    EXPECT_EQ(to_hex(tag.epc), "E2001122");
    EXPECT_EQ(tag.access_password[3], 0xD4);
    EXPECT_EQ(tag.arrives, std::chrono::milliseconds(500));
    EXPECT_EQ(tag.departs, std::chrono::milliseconds(1500));
}

TEST(Scenario, NumbersTags)
{
    const Scenario scenario =
        Scenario::from_text("[[tag]]\nepc = \"E200\"\ntid = \"E280\"\ncount = 3\nfirst_serial = 255\n");
    ASSERT_EQ(scenario.tags.size(), 3U);
    EXPECT_EQ(to_hex(scenario.tags[0].epc), "E200000000FF");
    EXPECT_EQ(to_hex(scenario.tags[2].epc), "E20000000101");
    EXPECT_EQ(to_hex(scenario.tags[2].tid), "E28000000101");
}

TEST(Scenario, LoadsTheOnesThatComeAlong)
{
    const std::string folder = SIM_SCENARIOS;
    EXPECT_EQ(Scenario::from_file(folder + "/demo.toml").tags.size(), 8U);
    EXPECT_EQ(Scenario::from_file(folder + "/dense.toml").tags.size(), 200U);
    EXPECT_EQ(Scenario::from_file(folder + "/trouble.toml").events.size(), 6U);
}

TEST(Scenario, NamesTheFileThatCannotBeRead)
{
    EXPECT_THROW(Scenario::from_file("/nonexistent/portal.toml"), ScenarioError);
    EXPECT_THROW(Scenario::from_file("/"), ScenarioError);
}

}  // namespace
}  // namespace tagwire::sim
