// The commands for the reader's own settings against a virtual reader, over both kinds of link.
#include "simulated_reader.h"

namespace tagwire::tool::test {
namespace {

constexpr const char* portal = R"(
[reader]
air_time = 0
antennas = 4
enabled_antennas = [1, 2]
return_loss = 17
)";

class DeviceEndToEnd : public testing::TestWithParam<ReaderLink> {
  protected:
    SimulatedReader reader{GetParam(), portal};
};

INSTANTIATE_TEST_SUITE_P(Links, DeviceEndToEnd, testing::Values(ReaderLink::tcp, ReaderLink::pty),
                         reader_link_name);

using Powers = std::vector<std::uint8_t>;

// What it tells as an object, which says of which reader.
Json told(const SimulatedReader& reader, const Arguments& words)
{
    auto object = reader.object(words);
    EXPECT_TRUE(object.contains("reader")) << object;
    object.erase("reader");
    return object;
}

// Nothing in the reader changes with a command that fails.
void expect_refusal(SimulatedReader& reader, const Arguments& words, const std::string& message)
{
    const auto before = reader->settings();
    const auto lines = reader->panel();
    reader.expect_failure(words, message);
    EXPECT_EQ(reader->settings(), before);
    EXPECT_EQ(reader->panel().outputs, lines.outputs);
    EXPECT_EQ(reader->panel().closed_relays, lines.closed_relays);
}

TEST_P(DeviceEndToEnd, SayWhatTheyAre)
{
    const auto text = reader.output({"info"});
    for (const char* line :
         {"address          0x00\n", "type             0x0F\n", "region           us, 50 channels\n",
          "power            30 dBm\n", "antennas         1, 2\n", "beeper           on\n",
          "antenna check    off\n", "module protocols 0x02\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line << text;
    EXPECT_EQ(text.find("link"), std::string::npos);
    reader.output({"region", "set", "custom", "--first", "865.7", "--spacing", "600", "--channels", "4"});
    const auto object = reader.object({"info"});
    EXPECT_EQ(object["antennas"], (std::vector{1, 2}));
    EXPECT_EQ(object["antenna"], 0b11);
    EXPECT_EQ(object["region"], "custom");
    EXPECT_FALSE(object.contains("link"));
    reader->inject(sim::Fault::parse("flip:command=0x83,byte=5"));
    const auto link = reader.object({"info", "--link"})["link"];
    EXPECT_GE(link["bad_crc"], 1);
    EXPECT_GE(link["frames"], 4);
    EXPECT_GT(link["bytes"], 60);
    EXPECT_TRUE(link.contains("skipped_bytes"));
}

TEST_P(DeviceEndToEnd, SayWhatTheyAreWithoutEverything)
{
    for (const char* code : {"0x83", "0x9E", "0x3F"})
        reader->inject(sim::Fault::parse(std::string("error:status=0xFE,count=0,command=") + code));
    const auto object = reader.object({"info"});
    EXPECT_TRUE(object["module"].is_null());
    EXPECT_EQ(object["module_code"], 254);
    EXPECT_EQ(object["antenna"], 0b11);
    EXPECT_EQ(object["region"], "us");
    EXPECT_FALSE(object.contains("antennas"));
    EXPECT_NE(reader.output({"info"}).find("antenna byte     0x03\n"), std::string::npos);
}

TEST_P(DeviceEndToEnd, SetPower)
{
    EXPECT_EQ(reader.output({"power", "set", "20"}), "all antennas have 20 dBm now\n");
    EXPECT_EQ(reader->settings().power, (Powers{20, 20, 20, 20}));
    EXPECT_EQ(reader.output({"power", "set", "25", "--antenna", "2,4"}), "antennas 2, 4: 25 dBm now\n");
    EXPECT_EQ(reader->settings().power, (Powers{20, 25, 20, 25}));
    EXPECT_FALSE(reader->settings().writing_power);
    EXPECT_EQ(told(reader, {"power", "set", "22", "--write-power"}),
              Json::parse(R"({"type":"power-set","dbm":22,"write":true})"));
    EXPECT_EQ(reader->settings().writing_power, 22);
    EXPECT_EQ(reader.output({"power", "show"}),
              "antenna 1    20 dBm\nantenna 2    25 dBm\n"
              "antenna 3    20 dBm\nantenna 4    25 dBm\nwriting      22 dBm\n");
    EXPECT_EQ(told(reader, {"power", "show"}),
              Json::parse(R"({"type":"power","antennas":[20,25,20,25],"write":22})"));
    expect_refusal(reader, {"power", "set", "34"}, "set power (");
    expect_refusal(reader, {"power", "set", "34", "--antenna", "1"}, "(255)");
    expect_refusal(reader, {"power", "set", "20", "--antenna", "5"}, "there is no antenna 5");
}

TEST_P(DeviceEndToEnd, SetRegions)
{
    EXPECT_EQ(reader.output({"region", "set", "eu"}), "eu  865.100 to 867.900 MHz, 15 channels\n");
    EXPECT_EQ(reader->settings().region, (sim::Region{.band = 4, .highest = 14, .lowest = 0}));
    EXPECT_EQ(reader.output({"region", "show"}), "eu  865.100 to 867.900 MHz, 15 channels\n");
    reader.output({"region", "set", "us", "--lowest", "915.25", "--highest-channel", "30", "--temporary"});
    EXPECT_EQ(reader->settings().region, (sim::Region{.band = 2, .highest = 30, .lowest = 25}));
    EXPECT_EQ(told(reader, {"region", "show"}),
              Json::parse(R"({"type":"region","band":"us","band_number":2,"lowest_mhz":915.25,
                              "highest_mhz":917.75,"channels":6,"lowest_channel":25,"highest_channel":30})"));
    reader->restart();
    EXPECT_EQ(reader->settings().region.band, 4);
    reader.output({"region", "set", "kr", "--packed"});
    EXPECT_EQ(reader->settings().region, (sim::Region{.band = 3, .highest = 31, .lowest = 0}));
    expect_refusal(reader, {"region", "set", "9", "--lowest-channel", "0", "--highest-channel", "1"},
                   "set region (");
}

TEST_P(DeviceEndToEnd, SetPlansOfOnesOwn)
{
    reader.output({"region", "set", "custom", "--first", "865.7", "--spacing", "600", "--channels", "4"});
    const auto region = reader->settings().region;
    EXPECT_EQ(region.band, sim::Region::custom);
    EXPECT_EQ(sim::channel_count(region), 4u);
    EXPECT_EQ(sim::channel_khz(region, 0), 865700u);
    EXPECT_EQ(sim::channel_khz(region, 3), 867500u);
    EXPECT_EQ(reader.output({"region", "show"}), "custom  865.700 to 867.500 MHz, 4 channels\n");
    EXPECT_EQ(told(reader, {"region", "show"}),
              Json::parse(R"({"type":"region","band":"custom","band_number":255,"lowest_mhz":865.7,
                              "highest_mhz":867.5,"channels":4})"));
}

TEST_P(DeviceEndToEnd, ChooseAntennas)
{
    using Ports = std::vector<unsigned>;
    EXPECT_EQ(reader.output({"antenna", "show"}), "enabled  1, 2\ncheck    off\n");
    EXPECT_EQ(reader.output({"antenna", "enable", "1,4"}), "antennas in use now: 1, 4\n");
    EXPECT_EQ(reader->settings().antennas, (Ports{1, 4}));
    for (const auto* const width : {"8", "12", "16"}) {
        reader.output({"antenna", "enable", "1"});
        reader.output({"antenna", "enable", "3,2", "--ports", width});
        EXPECT_EQ(reader->settings().antennas, (Ports{2, 3})) << width;
    }
    reader.output({"antenna", "enable", "4", "--temporary"});
    EXPECT_EQ(reader->settings().antennas, (Ports{4}));
    reader->restart();
    EXPECT_EQ(reader->settings().antennas, (Ports{2, 3}));
    reader.output({"antenna", "check", "on"});
    EXPECT_EQ(reader->settings().check_antenna, 1);
    EXPECT_EQ(told(reader, {"antenna", "show"}),
              Json::parse(R"({"type":"antennas","enabled":[2,3],"check":true})"));
    expect_refusal(reader, {"antenna", "enable", "5"}, "set antennas (");
}

TEST_P(DeviceEndToEnd, MeasureReturnLoss)
{
    reader.output({"region", "set", "eu"});
    EXPECT_EQ(reader.output({"antenna", "return-loss"}),
              "at 866.500 MHz\nantenna 1    17 dB\nantenna 2    17 dB\n");
    EXPECT_EQ(told(reader, {"antenna", "return-loss", "3", "--frequency", "915.25"}),
              Json::parse(R"({"type":"return-loss","frequency_mhz":915.25,
                              "antennas":[{"antenna":3,"return_loss_db":17}]})"));
    const auto request = reader->last_request();
    ASSERT_EQ(request.size(), 10u);
    EXPECT_EQ(sim::Bytes(request.begin() + 2, request.begin() + 8),
              (sim::Bytes{0x91, 0x00, 0x0D, 0xF7, 0x32, 0x02}));
    EXPECT_EQ(reader->counters().commands[0x91], 3u);
    reader.expect_failure({"antenna", "return-loss", "5", "--frequency", "915.25"},
                          "measure the return loss (");
}

TEST_P(DeviceEndToEnd, SwitchOutputsAndRelays)
{
    reader->set_input(2, true);
    EXPECT_EQ(reader.output({"gpio", "set", "--on", "1,3"}), "outputs on now: 1, 3\n");
    EXPECT_EQ(reader->panel().outputs, 0b0101);
    EXPECT_EQ(told(reader, {"gpio", "set", "--on", "4", "--off", "1"}),
              Json::parse(R"({"type":"gpio-set","outputs":[3,4]})"));
    EXPECT_EQ(reader->panel().outputs, 0b1100);
    EXPECT_EQ(reader.output({"gpio", "get"}), "outputs on  3, 4\ninputs on   2\n");
    EXPECT_EQ(told(reader, {"gpio", "get"}), Json::parse(R"({"type":"gpio","outputs":[3,4],"inputs":[2]})"));
    EXPECT_EQ(reader.output({"relay", "on", "--relay", "2"}), "relay 2 is on now\n");
    EXPECT_EQ(reader->panel().closed_relays, 0b0010);
    EXPECT_EQ(told(reader, {"relay", "off", "--relay", "2"}),
              Json::parse(R"({"type":"relay","relay":2,"state":"off"})"));
    EXPECT_EQ(reader->panel().closed_relays, 0);
    EXPECT_EQ(reader.output({"relay", "pulse", "25500"}), "relay 1 is on for 25500 ms\n");
    EXPECT_EQ(reader->panel().closed_relays, 0b0001);
    reader.output({"relay", "off", "--kind", "single"});
    EXPECT_EQ(reader->panel().closed_relays, 0);
    reader.output({"relay", "pulse", "25401", "--kind", "single"});
    EXPECT_EQ(reader->panel().closed_relays, 0b0001);
    expect_refusal(reader, {"relay", "on", "--relay", "5"}, "switch a relay (");
}

TEST_P(DeviceEndToEnd, Beep)
{
    EXPECT_EQ(reader.output({"beep", "off"}), "the beeper is off now\n");
    EXPECT_EQ(reader->settings().beep, 0);
    EXPECT_EQ(told(reader, {"beep", "on"}), Json::parse(R"({"type":"beep","state":"on"})"));
    EXPECT_EQ(reader->settings().beep, 1);
    reader.output({"beep", "test", "--times", "3"});
    EXPECT_EQ(reader->panel().beeps, 3u);
    EXPECT_EQ(reader->panel().flashes, 3u);
}

TEST_P(DeviceEndToEnd, SetTheClock)
{
    EXPECT_EQ(reader.output({"clock", "set", "2024-05-31T10:15:00"}),
              "the clock is set to 2024-05-31T10:15:00\n");
    EXPECT_TRUE(reader.output({"clock", "show"}).starts_with("2024-05-31T10:1"));
    const auto set = told(reader, {"clock", "set", "2031-01-02T03:04:05", "--utc"});
    EXPECT_EQ(set["time"], "2031-01-02T03:04:05");
    EXPECT_EQ(reader->counters().commands[0x85], 1u);
    EXPECT_TRUE(told(reader, {"clock", "show"})["time"].get<std::string>().starts_with("2031-01-02T03:0"));
    for (const auto& now : {Arguments{"clock", "set", "now"}, {"clock", "set", "now", "--utc"}})
        EXPECT_GE(told(reader, now)["time"].get<std::string>(), "2024");
}

TEST_P(DeviceEndToEnd, SetTheWorkMode)
{
    EXPECT_EQ(reader.output({"mode", "show"}), "answering\n");
    reader.output({"mode", "set", "triggered"});
    EXPECT_EQ(reader->settings().work_mode, 2);
    EXPECT_EQ(told(reader, {"mode", "show"}), Json::parse(R"({"type":"mode","mode":"triggered"})"));
    EXPECT_EQ(reader.output({"mode", "set", "answering"}), "the work mode is answering now\n");
    EXPECT_EQ(reader->settings().work_mode, 0);
}

TEST_P(DeviceEndToEnd, RestartAndRestore)
{
    reader.output({"power", "set", "20"});
    reader.output({"antenna", "enable", "3", "--temporary"});
    EXPECT_EQ(reader.output({"reset", "restart"}), "the reader restarts\n");
    EXPECT_EQ(reader->settings().antennas, (std::vector<unsigned>{1, 2}));
    EXPECT_EQ(reader->settings().power[0], 20);
    const auto refused = reader.tool({"reset", "factory"});
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_EQ(reader->settings().power[0], 20);
    EXPECT_EQ(told(reader, {"reset", "factory", "--yes"}), Json::parse(R"({"type":"reset-factory"})"));
    EXPECT_EQ(reader->settings().power[0], 30);
}

TEST(DeviceEndToEndFamilies, ServeTheOldRelayCommand)
{
    SimulatedReader reader(ReaderLink::tcp, "[reader]\nfamily = \"relay\"\n");
    reader.output({"relay", "pulse", "25500", "--kind", "old", "--family", "relay"});
    EXPECT_EQ(reader->panel().closed_relays, 0b0001);
    reader.output({"relay", "off", "--kind", "old", "--family", "relay"});
    EXPECT_EQ(reader->panel().closed_relays, 0);
}

TEST(DeviceEndToEndFamilies, DoNotTakeTheOldRelayCommandForAnother)
{
    SimulatedReader reader(ReaderLink::tcp, "[reader]\nfamily = \"filter\"\n");
    const auto before = reader->settings();
    for (const auto& words : {Arguments{"relay", "pulse", "3000"}, {"relay", "off"}})
        reader.expect_failure(
            [&] {
                auto all = words;
                all.insert(all.end(), {"--kind", "old", "--family", "relay"});
                return all;
            }(),
            "it is of another family");
    EXPECT_EQ(reader->settings(), before);
}

}  // namespace
}  // namespace tagwire::tool::test
