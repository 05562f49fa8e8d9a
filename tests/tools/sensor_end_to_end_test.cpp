// The commands for sensor tags against a virtual reader, over both kinds of link.
#include "simulated_reader.h"

#include <cmath>
#include <map>

#include <signal.h>

namespace tagwire::tool::test {
namespace {

constexpr const char* cold_store = R"(
[reader]
air_time = 0
antennas = 2

[[tag]]
epc = "E28068940000400100000001"
tid = "E2C01A200000000000000001"
[tag.sensor]
temperature = -18.5
registers = "0001020304050607"
voltage = 1820

[[tag]]
epc = "E28068940000400100000002"
tid = "E2C01A200000000000000002"
access_password = "11223344"
antennas = [2]
[tag.sensor]
temperature = 4.25
calibration = "271000"
calibration_word = 4
memory_password = "A1B2C3D4"
stop_password = "0BADF00D"
alarm = true
key_index = "0102"
spi = { "9F" = "EF4018" }
log_unit_ms = 3600000

[[tag]]
epc = "E28068940000400100000003"
user = "0000"
)";

constexpr std::size_t first_tag = 0;
constexpr std::size_t second_tag = 1;
const Arguments first{"--epc", "E28068940000400100000001"};
const Arguments second{"--epc", "E28068940000400100000002"};
const Arguments secured_second{"--epc", "E28068940000400100000002", "--password", "11223344"};
const Arguments plain{"--epc", "E28068940000400100000003"};

Arguments joined(Arguments words, const Arguments& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

class SensorEndToEnd : public testing::TestWithParam<ReaderLink> {
  protected:
    double celsius(const Arguments& words)
    {
        const auto object = reader.object(words);
        return object.contains("celsius") ? object["celsius"].get<double>() : NAN;
    }
    sim::SensorState sensor(std::size_t tag) { return reader->sensor(tag); }

    SimulatedReader reader{GetParam(), cold_store};
};

INSTANTIATE_TEST_SUITE_P(Links, SensorEndToEnd, testing::Values(ReaderLink::tcp, ReaderLink::pty),
                         reader_link_name);

// -- temperatures

TEST_P(SensorEndToEnd, ReadSensorWords)
{
    EXPECT_NEAR(celsius(joined({"temp", "read", "--chip", "g2"}, first)), -18.5, 0.1);
    EXPECT_NEAR(celsius(joined({"temp", "read", "--chip", "g2", "--calibration", "271000"}, second)), 4.25,
                0.1);
    EXPECT_NEAR(celsius(joined({"temp", "read", "--chip", "g2", "--calibration-word", "4"}, second)), 4.25,
                0.1);
    const auto object = reader.object(joined({"temp", "read", "--chip", "g2"}, first));
    EXPECT_EQ(object["type"], "temperature");
    EXPECT_EQ(object["epc"], first[1]);
    EXPECT_EQ(object["calibration"], "000020");
    EXPECT_EQ(object["raw"].get<std::string>().size(), 8u);
    const auto raw = reader.output(joined({"temp", "read", "--chip", "g2", "--raw"}, first));
    EXPECT_EQ(raw, object["raw"].get<std::string>() + "\n");
    EXPECT_TRUE(reader.output(joined({"temp", "read", "--chip", "g2"}, first)).ends_with(" C\n"));
}

TEST_P(SensorEndToEnd, GiveTheTagATime)
{
    EXPECT_NEAR(celsius({"temp", "read", "--chip", "g2", "--any", "--time", "180531101500"}), -18.5, 0.1);
    EXPECT_EQ(sensor(first_tag).time, (std::array<std::uint8_t, 6>{0x18, 0x05, 0x31, 0x10, 0x15, 0x00}));
    EXPECT_NEAR(celsius({"temp", "read", "--chip", "g2", "--any"}), -18.5, 0.1);
}

TEST_P(SensorEndToEnd, ReadMeasurementsWithTheirTime)
{
    reader.output({"clock", "set", "2024-05-31T10:15:00", "--utc"});
    const auto read = joined({"temp", "read", "--chip", "em", "--uid"}, first);
    const auto measured = reader.object(read);
    EXPECT_NEAR(measured["celsius"].get<double>(), -18.5, 0.1);
    EXPECT_EQ(measured["uid"], "E2C01A200000000000000001");
    EXPECT_TRUE(measured["measured"].get<std::string>().starts_with("2024-05-31T10:1"));
    const auto listed = reader.object(joined({"temp", "inventory", "--chip", "em", "--uid"}, first));
    EXPECT_EQ(listed["uid"], measured["uid"]);
    EXPECT_TRUE(listed.contains("measured"));
    reader->set_temperature(first_tag, 30);
    EXPECT_EQ(reader.object(joined(read, {"--latest"}))["raw"], measured["raw"]);
    EXPECT_NEAR(celsius(read), 30, 0.1);
    const Arguments by_mask{"temp",   "read",        "--chip",        "em",
                            "--mask", "tid:88:02/8", "--calibration", "271000"};
    EXPECT_NEAR(celsius(by_mask), 4.25, 0.1);
    EXPECT_NEAR(celsius(joined({"temp", "read", "--chip", "em", "--calibration-word", "4"}, secured_second)),
                4.25, 0.1);
    reader.expect_failure(joined({"temp", "read", "--chip", "em", "--password", "99999999"}, second),
                          "read the temperature (");
}

TEST_P(SensorEndToEnd, ReadHundredthsOfDegrees)
{
    for (const auto* const chip : {"bx", "yl", "on"}) {
        reader->set_temperature(first_tag, -18.5);
        EXPECT_EQ(reader.output(joined({"temp", "read", "--chip", chip}, first)), "-18.50 C\n") << chip;
        reader->set_temperature(first_tag, 21.25);
        EXPECT_EQ(celsius(joined({"temp", "read", "--chip", chip}, first)), 21.25) << chip;
        reader.expect_failure(joined({"temp", "read", "--chip", chip}, plain), "read the temperature");
    }
    EXPECT_EQ(celsius({"temp", "read", "--chip", "yl", "--mask", "tid:88:02/8"}), 4.25);
    reader.expect_failure(joined({"temp", "read", "--chip", "on", "--password", "99999999"}, second), "(5)");
}

TEST_P(SensorEndToEnd, SayWhyThereIsNoTemperature)
{
    reader.expect_failure(joined({"temp", "read", "--chip", "g2", "--calibration-word", "200"}, first),
                          "the tag has no such memory");
    reader.expect_failure(joined({"temp", "read", "--chip", "g2", "--calibration", "000020"}, second),
                          "is no measurement with the calibration 000020");
    reader.expect_failure(joined({"temp", "read", "--chip", "g2"}, plain), "no such tag answered");
}

// What is no measurement is a problem in every way of asking, and never a number.
TEST_P(SensorEndToEnd, ShowNoTemperatureOfATagWithoutCalibration)
{
    reader.output(joined({"write", "--bank", "user", "--word", "8", "--data", "00000000"}, first));
    const auto asked = joined({"temp", "read", "--chip", "g2"}, first);
    reader.expect_failure(asked, "the tag has no calibration");
    const auto ended = reader.tool(joined(asked, {"--json"}));
    EXPECT_EQ(ended.exit_code, 1);
    const auto object = objects_of(ended.out).at(0);
    EXPECT_EQ(object["problem"], "the tag has no calibration: it is all zeros");
    EXPECT_FALSE(object.contains("celsius"));
    EXPECT_TRUE(object.contains("reader"));
    EXPECT_EQ(reader.output(joined(asked, {"--raw"})), object["raw"].get<std::string>() + "\n");
    const auto listing = joined({"temp", "inventory", "--chip", "em"}, first);
    const auto listed = reader.object(listing);
    EXPECT_EQ(listed["celsius"], Json());
    EXPECT_EQ(listed["problem"], "the tag has no calibration: it is all zeros");
    EXPECT_NE(reader.output(listing).find("  -  antenna 1"), std::string::npos);
}

// Frames without the bytes that belong to them.
TEST_P(SensorEndToEnd, ShowNothingOfWhatDidNotCome)
{
    const std::vector<std::pair<std::uint8_t, Arguments>> commands{{0xC1, {"sensor", "read-reg", "1"}},
                                                                   {0xC3, {"sensor", "read", "--count", "4"}},
                                                                   {0xC5, {"sensor", "temp"}},
                                                                   {0xC8, {"sensor", "mode"}},
                                                                   {0x13, {"temp", "read", "--chip", "g2"}}};
    for (const auto& [code, words] : commands) {
        reader->inject(sim::Fault::error(code, 0));
        const auto ended = reader.tool(joined(joined(words, first), {"--json"}));
        EXPECT_EQ(ended.exit_code, 1) << ended.out;
        const auto object = objects_of(ended.out).at(0);
        EXPECT_TRUE(object.contains("error")) << ended.out;
        EXPECT_FALSE(object.contains("celsius")) << ended.out;
        EXPECT_FALSE(object.contains("value")) << ended.out;
        reader->clear_faults();
    }
}

std::map<std::string, double> degrees_by_epc(const std::vector<Json>& objects)
{
    std::map<std::string, double> degrees;
    for (const auto& object : objects)
        degrees[object["epc"].get<std::string>()] = object["celsius"].get<double>();
    return degrees;
}

TEST_P(SensorEndToEnd, ListTemperatures)
{
    for (const auto* const chip : {"g2", "ltu32", "ast010"}) {
        const auto objects = reader.objects({"temp", "inventory", "--chip", chip});
        const auto degrees = degrees_by_epc(objects);
        ASSERT_EQ(degrees.size(), 2u) << chip;
        EXPECT_NEAR(degrees.at(first[1]), -18.5, 0.1) << chip;
        EXPECT_NEAR(degrees.at(second[1]), 4.25, 0.1) << chip;
        for (const auto& object : objects) {
            EXPECT_EQ(object["type"], "temperature_tag");
            EXPECT_EQ(object["antenna"], object["epc"] == first[1] ? 1 : 2) << chip;
        }
    }
    for (const auto* const chip : {"em", "bx", "yl", "on", "fd"})
        EXPECT_EQ(reader.objects({"temp", "inventory", "--chip", chip, "--mask", "tid:0:E2C0"}).size(), 2u)
            << chip;
    EXPECT_EQ(degrees_by_epc(reader.objects(joined({"temp", "inventory"}, second))).size(), 1u);
    EXPECT_EQ(degrees_by_epc(reader.objects({"temp", "inventory", "--antenna", "1"})).count(first[1]), 1u);
    const auto masked = reader.tool({"temp", "inventory", "--chip", "ast010", "--mask", "tid:88:02/8"});
    EXPECT_EQ(masked.out, second[1] + "  4.25 C  antenna 2  rssi 200\n");
    EXPECT_EQ(masked.err, "1 temperature tag\n");
    EXPECT_EQ(reader.output(joined({"temp", "inventory"}, plain)), "");
    reader.expect_failure({"temp", "inventory", "--antenna", "3"}, "antenna check");
}

TEST_P(SensorEndToEnd, ListTemperaturesOfSeveralReaders)
{
    const SimulatedReader other(GetParam(), cold_store);
    std::map<std::string, int> tags_of;
    for (const auto& object : reader.objects(other.arguments({"temp", "inventory"})))
        ++tags_of[object["reader"].get<std::string>()];
    ASSERT_EQ(tags_of.size(), 2u);
    for (const auto& [name, tags] : tags_of) EXPECT_EQ(tags, 2) << name;
}

TEST_P(SensorEndToEnd, FollowTemperatures)
{
    Process watch(TAGWIRE_TOOL_PATH,
                  reader.arguments({"temp", "watch", "--chip", "ast010", "--json", "--interval", "1"}));
    bool warmed = false;
    bool seen = false;
    for (int lines = 0; lines < 100000 && !seen; ++lines) {
        const auto line = watch.next_line();
        ASSERT_TRUE(line);
        const auto object = Json::parse(*line);
        seen = object["epc"] == first[1] && object["celsius"] == 12.5;
        if (!std::exchange(warmed, true)) {
            EXPECT_TRUE(object.contains("time"));
            reader->set_temperature(first_tag, 12.5);
        }
    }
    EXPECT_TRUE(seen);
    watch.send_signal(SIGINT);
    const auto ended = watch.wait();
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_TRUE(ended.err.starts_with("2 temperature tags, ")) << ended.err;
    EXPECT_TRUE(GetParam() == ReaderLink::pty || reader->wait_for_disconnect());
}

TEST_P(SensorEndToEnd, GoOnAfterAFailureWhereThatIsAskedFor)
{
    reader->inject(sim::Fault::parse("error:command=0x17,status=0xF8"));
    const Arguments watch_once{"temp", "watch", "--json", "--interval", "1"};
    const auto ended = reader.tool(watch_once);
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_TRUE(objects_of(ended.out).at(0).contains("error")) << ended.out;

    reader->inject(sim::Fault::parse("error:command=0x17,status=0xF8"));
    Process watch(TAGWIRE_TOOL_PATH, reader.arguments(joined(watch_once, {"--reconnect"})));
    const auto failed = watch.next_line();
    ASSERT_TRUE(failed);
    EXPECT_TRUE(Json::parse(*failed).contains("error")) << *failed;
    const auto measured = watch.next_line();
    ASSERT_TRUE(measured);
    EXPECT_EQ(Json::parse(*measured)["type"], "temperature_tag");
    watch.send_signal(SIGINT);
    EXPECT_EQ(watch.wait().exit_code, 0);
}

TEST_P(SensorEndToEnd, FollowTemperaturesForATime)
{
    const auto ended = reader.tool({"temp", "watch", "--seconds", "0.3", "--interval", "100"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.out.find(first[1] + "  -18.5"), std::string::npos) << ended.out;
    EXPECT_TRUE(ended.err.starts_with("2 temperature tags, ")) << ended.err;
}

// -- registers and memory

TEST_P(SensorEndToEnd, ReadAndWriteRegisters)
{
    EXPECT_EQ(reader.output(joined({"sensor", "read-reg", "1"}, first)), "0203\n");
    EXPECT_EQ(reader.output(joined({"sensor", "write-reg", "1", "CAFE"}, first)), "register 1 is CAFE now\n");
    const auto object = reader.object(joined({"sensor", "read-reg", "1"}, first));
    EXPECT_EQ(object["value"], "CAFE");
    EXPECT_EQ(object["register"], 1);
    EXPECT_EQ(reader.tool(joined({"sensor", "init"}, first)).exit_code, 2);
    EXPECT_EQ(sensor(first_tag).registers[2], 0xCA);
    reader.output(joined({"sensor", "init", "--yes"}, first));
    EXPECT_EQ(reader.output(joined({"sensor", "read-reg", "1"}, first)), "0203\n");

    const auto before = sensor(second_tag).registers;
    reader.expect_failure(
        joined({"sensor", "write-reg", "0", "CAFE"}, second),
        "the tag needs a password with more rights: give the right password (252, tag error 2)");
    reader.expect_failure(joined({"sensor", "write-reg", "0", "CAFE", "--password", "99999999"}, second),
                          "says that the password is wrong");
    reader.expect_failure(joined({"sensor", "write-reg", "32", "CAFE"}, secured_second), "tag error 3");
    reader.expect_failure(joined({"sensor", "read-reg", "32"}, second), "the tag refused: ");
    reader.expect_failure(joined({"sensor", "read-reg", "0"}, plain), "no such tag answered");
    EXPECT_EQ(sensor(second_tag).registers, before);
}

std::string numbered_bytes(std::size_t count)
{
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) bytes += static_cast<char>(i * 7 + i / 256);
    return bytes;
}

TEST_P(SensorEndToEnd, MoveMemoryOfAnyLength)
{
    const TemporaryDirectory directory;
    const auto bytes = numbered_bytes(1000);
    const auto path = directory.write("data.bin", bytes);
    const auto written = reader.object(
        joined({"sensor", "write", "--file", path, "--byte", "100", "--chunk", "200", "--verify"}, first));
    EXPECT_EQ(written["complete"], true);
    EXPECT_EQ(written["verified"], true);
    const auto memory = sensor(first_tag).memory;
    EXPECT_EQ(std::string(memory.begin() + 100, memory.begin() + 1100), bytes);
    for (const std::size_t count : {std::size_t{1}, std::size_t{250}, std::size_t{251}, std::size_t{1000}}) {
        EXPECT_EQ(
            reader.output(joined(
                {"sensor", "read", "--byte", "100", "--file", "-", "--count", std::to_string(count)}, first)),
            bytes.substr(0, count))
            << count;
    }
    EXPECT_EQ(reader.output(joined({"sensor", "read", "--count", "4"}, first)), "00000000\n");
    reader.expect_failure(joined({"sensor", "read", "--byte", "4095", "--count", "2"}, first),
                          "the tag refused: ");
    reader.expect_failure(joined({"sensor", "read", "--byte", "4000", "--count", "300"}, first),
                          "not read: bytes 4000-4299");
}

TEST_P(SensorEndToEnd, OpenProtectedMemory)
{
    const Arguments opened = joined(secured_second, {"--memory-password", "A1B2C3D4"});
    reader.expect_failure(joined({"sensor", "write", "--data", "CAFE"}, secured_second), "tag error 2");
    EXPECT_EQ(sensor(second_tag).memory[0], 0);
    EXPECT_EQ(reader.output(joined({"sensor", "write", "--data", "CAFE01", "--byte", "1"}, opened)),
              "3 bytes of sensor memory written (1-3) and read back\n");
    EXPECT_EQ(reader.output(joined({"sensor", "read", "--count", "4"}, opened)), "00CAFE01\n");
    reader.expect_failure(joined({"sensor", "read", "--count", "4"}, secured_second), "the tag refused");
    reader.expect_failure(
        joined({"sensor", "read", "--count", "4", "--memory-password", "00000001"}, secured_second), "(5)");
}

TEST_P(SensorEndToEnd, MeasureAndKeep)
{
    EXPECT_EQ(reader.output(joined({"sensor", "temp"}, first)), "-18.50 C\n");
    EXPECT_EQ(reader.output(joined({"sensor", "temp", "--quantity", "voltage"}, first)), "1820 mV\n");
    reader->set_temperature(first_tag, 25);
    EXPECT_EQ(celsius(joined({"sensor", "temp", "--latest"}, first)), -18.5);
    EXPECT_EQ(celsius(joined({"sensor", "temp", "--store-block", "2", "--field-check"}, first)), 25);
    EXPECT_EQ(sensor(first_tag).memory[8], 0x09);
    EXPECT_EQ(sensor(first_tag).memory[9], 0xC4);
    reader.expect_failure(joined({"sensor", "temp", "--quantity", "7"}, first), "measure (");
}

TEST_P(SensorEndToEnd, KeepALog)
{
    EXPECT_EQ(reader.output(joined({"sensor", "mode"}, second)), "0x0020  alarm\n");
    const auto started = reader.object(
        joined({"sensor", "log", "start", "--step", "1", "--delay", "1", "--yes"}, secured_second));
    EXPECT_EQ(started["step"], 1);
    EXPECT_TRUE(sensor(second_tag).logging);
    EXPECT_EQ(reader.object(joined({"sensor", "mode"}, second))["flags"],
              Json::parse(R"(["log running","log without a sample","alarm"])"));
    reader.expect_failure(joined({"sensor", "log", "stop"}, secured_second), "(5)");
    EXPECT_TRUE(sensor(second_tag).logging);
    reader.output(joined({"sensor", "log", "stop", "--stop-password", "0BADF00D"}, secured_second));
    EXPECT_FALSE(sensor(second_tag).logging);
    reader.expect_failure(joined({"sensor", "log", "start", "--step", "1", "--yes"}, second), "tag error 2");
}

TEST_P(SensorEndToEnd, LoseNoLogWhereItsPlaceIsTold)
{
    const auto start = joined({"sensor", "log", "start", "--step", "3600", "--byte", "2048"}, first);
    reader.output(start);
    EXPECT_TRUE(sensor(first_tag).logging);
    reader.expect_failure(start, "a log runs");
    reader.output(joined({"sensor", "log", "stop"}, first));
    reader.expect_failure(start, "the tag holds a log of 1 samples");
    const auto log = joined({"sensor", "log", "read", "--byte", "2048"}, first);
    EXPECT_EQ(reader.output(log), "-18.50 C\n");
    EXPECT_EQ(reader.object(log)["samples"][0]["celsius"], -18.5);
}

TEST_P(SensorEndToEnd, AskAgainForWhatChangesNothingOnly)
{
    constexpr std::uint8_t read_register = 0xC1;
    constexpr std::uint8_t write_register = 0xC2;
    const auto asked = [&](std::uint8_t command) { return reader->counters().commands[command]; };
    sim::Fault absence = sim::Fault::error(read_register, 0xFB, 2);
    reader->inject(absence);
    const auto read = joined({"sensor", "read-reg", "1"}, first);
    reader.expect_failure(joined(read, {"--retries", "0"}), "no such tag answered");
    EXPECT_EQ(asked(read_register), 1u);
    EXPECT_EQ(reader.output(joined(read, {"--retries", "1"})), "0203\n");
    EXPECT_EQ(asked(read_register), 3u);
    reader->inject(sim::Fault::error(write_register, 0xFB, 0));
    reader.expect_failure(joined({"sensor", "write-reg", "1", "CAFE", "--retries", "5"}, first),
                          "no such tag");
    EXPECT_EQ(asked(write_register), 1u);
}

TEST_P(SensorEndToEnd, SleepAndWake)
{
    EXPECT_EQ(reader.output(joined({"sensor", "sleep", "--yes"}, first)), "the tag sleeps now\n");
    reader.expect_failure(joined({"sensor", "temp"}, first), "no tag answers to");
    EXPECT_EQ(reader.object(joined({"sensor", "mode", "--refresh"}, first))["flags"],
              Json::parse(R"(["was asleep"])"));
    EXPECT_EQ(reader.output(joined({"sensor", "temp"}, first)), "-18.50 C\n");
}

// -- SPI, alarm, identification

TEST_P(SensorEndToEnd, TalkToPeripherals)
{
    EXPECT_EQ(reader.output(joined({"sensor", "spi", "--command", "9F", "--answer", "3"}, second)),
              "EF4018\n");
    EXPECT_EQ(reader.output(joined({"sensor", "spi", "--command", "06"}, second)),
              "done, without an answer\n");
    reader.expect_failure(joined({"sensor", "reset-alarm"}, second), "tag error 2");
    EXPECT_TRUE(sensor(second_tag).alarm);
    reader.output(joined({"sensor", "reset-alarm"}, secured_second));
    EXPECT_FALSE(sensor(second_tag).alarm);
}

TEST_P(SensorEndToEnd, Identify)
{
    const auto object = reader.object(joined({"identify", "tag"}, second));
    EXPECT_EQ(object["epc"], second[1]);
    EXPECT_EQ(object["key"], "0102");
    EXPECT_EQ(object["tid"], "E2C01A200000000000000002");
    EXPECT_EQ(reader.object({"identify", "tag"})["epc"], first[1]);
    reader.expect_failure({"identify", "tag", "--epc", "E280"}, "no such tag answered");
    const auto random = reader.output({"identify", "begin"}).substr(0, 8);
    EXPECT_EQ(reader.object({"identify", "finish", "0000000000000000"})["token"], random + random);
}

// -- LED

TEST_P(SensorEndToEnd, SwitchLeds)
{
    EXPECT_EQ(reader.output(joined({"led", "on", "--chip", "fd"}, first)), "the LED is on\n");
    EXPECT_TRUE(sensor(first_tag).led);
    EXPECT_EQ(reader.object(joined({"led", "off", "--chip", "fd"}, first))["state"], "off");
    EXPECT_FALSE(sensor(first_tag).led);
    unsigned count = sensor(first_tag).led_count;
    for (const auto* const chip : {"yl", "klw", "bx"}) {
        reader.output(joined({"led", "on", "--chip", chip, "--time", "255"}, first));
        EXPECT_EQ(sensor(first_tag).led_count, ++count) << chip;
    }
    reader.output(joined({"led", "on", "--chip", "yl", "--mode", "5", "--time", "255"}, first));
    EXPECT_EQ(sensor(first_tag).led_mode, 5);
    reader.output(joined({"led", "off", "--chip", "yl"}, first));
    EXPECT_FALSE(sensor(first_tag).led);
    reader.expect_failure(joined({"led", "on", "--chip", "klw"}, plain), "switch the LED (");
    reader.expect_failure(joined({"led", "on", "--chip", "yl", "--password", "99999999"}, second), "(5)");
    EXPECT_EQ(reader.output({"led", "carrier-time", "20"}), "the reader's carrier time is 20\n");
    reader->inject(sim::Fault::parse("error:command=0x84,status=255"));
    reader.expect_failure({"led", "carrier-time", "33"}, "set the carrier time (");
    EXPECT_EQ(reader.object({"led", "carrier-time", "33"})["time"], 33);
}

}  // namespace
}  // namespace tagwire::tool::test
