// The config commands against a virtual reader of this process.
#include "virtual_reader.h"

#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "setting_catalogue.h"
#include "simulator.h"

namespace tagwire::tool::test {
namespace {

Arguments joined(Arguments first, const Arguments& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

enum class Wire { Tcp, Serial };

// A value for every setting that is saved, none of them the factory's.
const std::map<std::string, std::string> own_values{
    {"serial-number", "01020304"},
    {"user-password", "A1B2C3D4"},
    {"reader-password", "11223344"},
    {"reply-delay", "0x05"},
    {"power-mode", "0x02"},
    {"heartbeat-time", "0x3C"},
    {"scan-time", "2500"},
    {"q", "6"},
    {"session", "2"},
    {"retries", "4"},
    {"protocol", "0x01"},
    {"tag-function", "0x09"},
    {"long-profile", "1234"},
    {"dense-reader-mode", "on"},
    {"region", "custom:866000:200:15"},
    {"dwell-time", "0x1E"},
    {"dwell-repeats", "0x03"},
    {"antenna-power", "27,26,25,24"},
    {"write-power", "22"},
    {"power-converter", "0x4D"},
    {"antennas", "1,3"},
    {"antenna-count", "8"},
    {"antenna-check", "on"},
    {"eas-sensitivity", "0x03"},
    {"report-condition", "0x01"},
    {"report-pause", "0x02"},
    {"inventory-interval", "0x07"},
    {"tag-protocol", "0x01"},
    {"mask", "tid:32:E280/12"},
    {"trigger-time", "0x04"},
    {"tid-word", "2"},
    {"tid-words", "3"},
    {"filter-time", "0x09"},
    {"filter-window", "0x09"},
    {"filter-reads", "2"},
    {"filter-rssi", "40"},
    {"beep", "off"},
    {"pulse-output", "0x05"},
    {"gpo-follows", "0x01"},
    {"gpo-time", "0x14"},
    {"wiegand-format", "0x01"},
    {"wiegand-pause", "0x02"},
    {"wiegand-width", "0x03"},
    {"wiegand-distance", "0x04"},
    {"wiegand-offset", "0x05"},
    {"address", "9"},
    {"baud", "115200"},
    {"work-mode", "triggered"},
};

std::string value_for(const Setting& setting)
{
    const auto found = own_values.find(setting.name);
    if (found != own_values.end()) return found->second;
    const auto index = std::to_string(setting.index + 1);
    if (setting.topic == "parameters") return setting.index % 50 == 0 ? "AB" + std::string(100, '1') : "";
    return index + ",2,3,4,5,6";  // a trigger
}

class ConfigEndToEnd : public testing::Test {
  protected:
    void add_reader(const std::string& more = "", Wire wire = Wire::Tcp)
    {
        reader = &simulator.add_reader_from_text("[reader]\nair_time = 0\nreport_rate = 100\n" + more);
        url = wire == Wire::Tcp ? "tcp://127.0.0.1:" + std::to_string(reader->listen())
                                : "serial:" + reader->open_pty();
    }
    Ended config(const Arguments& arguments, const Arguments& more = {}) const
    {
        return run(TAGWIRE_TOOL_PATH, joined(joined({"config"}, arguments), joined({"--reader", url}, more)));
    }
    Ended config_ok(const Arguments& arguments, const Arguments& more = {}) const
    {
        const auto ended = config(arguments, more);
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
        return ended;
    }
    void inject(const std::string& fault) { reader->inject(sim::Fault::parse(fault)); }

    TemporaryDirectory directory;
    sim::Simulator simulator;
    sim::Reader* reader = nullptr;
    std::string url;
};

void expect_text(const std::string& text, const std::string& part)
{
    EXPECT_NE(text.find(part), std::string::npos) << "'" << part << "' in: " << text;
}

void expect_failure(const Ended& ended, const std::string& message)
{
    EXPECT_EQ(ended.exit_code, 1);
    expect_text(ended.err, message);
}

// -- save, factory settings, load

struct Kind {
    ReaderFamily family;
    Wire wire;
};

std::string name_of(const testing::TestParamInfo<Kind>& tested)
{
    return std::string(family_name(tested.param.family)) +
           (tested.param.wire == Wire::Tcp ? "_tcp" : "_serial");
}

class ConfigOfFamily : public ConfigEndToEnd, public testing::WithParamInterface<Kind> {
  protected:
    void SetUp() override
    {
        family = family_name(GetParam().family);
        add_reader("family = \"" + family + "\"\n", GetParam().wire);
        if (GetParam().wire == Wire::Serial) speed = {"--baud", own_values.at("baud")};
    }
    Arguments all_values() const
    {
        const SettingCatalogue catalogue(GetParam().family, GetParam().wire == Wire::Serial, true);
        Arguments words;
        for (const auto& setting : catalogue.settings()) {
            if (setting.kept != Kept::Saved || !setting.told_by.empty()) continue;
            const auto value = value_for(setting);
            if (!value.empty()) words = joined(words, {setting.name, value});
        }
        return words;
    }
    std::string save(const std::string& name) const
    {
        config_ok({"save", directory.path_of(name), "--family", family, "--two-way"}, speed);
        return directory.read(name);
    }

    std::string family;
    Arguments speed;  // once the reader has its own
};

TEST_P(ConfigOfFamily, RestoresEverySettingAfterTheFactorySettings)
{
    const auto factory = reader->settings();
    config_ok(joined({"set", "--two-way", "--family", family}, all_values()));
    const auto own = reader->settings();
    EXPECT_EQ(own.address, 9);
    EXPECT_EQ(own.power, (std::vector<std::uint8_t>{27, 26, 25, 24}));
    EXPECT_EQ(own.filter_time, 9);
    const auto saved = save("own.toml");

    reader->restore_factory();
    ASSERT_TRUE(reader->settings() == factory);
    const auto ended = config_ok({"load", directory.path_of("own.toml")});
    expect_text(ended.out, " settings differ: serial-number, ");
    EXPECT_TRUE(reader->settings() == own) << ended.out << ended.err;
    EXPECT_EQ(save("again.toml"), saved);

    const auto same = config_ok({"load", directory.path_of("own.toml")}, speed);
    EXPECT_TRUE(same.out.starts_with("0 of ")) << same.out;
}

INSTANTIATE_TEST_SUITE_P(
    Readers, ConfigOfFamily,
    testing::Values(Kind{ReaderFamily::Standard, Wire::Tcp}, Kind{ReaderFamily::Standard, Wire::Serial},
                    Kind{ReaderFamily::Filter, Wire::Tcp}, Kind{ReaderFamily::Relay, Wire::Tcp},
                    Kind{ReaderFamily::Multiplexer, Wire::Tcp}, Kind{ReaderFamily::Mobile, Wire::Serial}),
    name_of);

// -- show, get

std::map<std::string, Json> by_name(const std::string& text)
{
    std::map<std::string, Json> objects;
    for (const auto& object : objects_of(text)) objects[object["name"].get<std::string>()] = object;
    return objects;
}

// A reader without the bit that sets would take the question for a new value.
TEST_F(ConfigEndToEnd, DoesNotReadByCommandsThatSetUnlessToldTo)
{
    constexpr std::array<std::size_t, 7> two_way{0x3A, 0x6B, 0x78, 0x7B, 0x7C, 0x7F, 0xCE};
    add_reader();
    config_ok({"show", "--all"});
    config_ok({"save", directory.path_of("plain.toml")});
    EXPECT_EQ(directory.read("plain.toml").find("retries"), std::string::npos);
    for (const auto code : two_way) EXPECT_EQ(reader->counters().commands.at(code), 0U) << code;

    expect_text(config({"get", "retries"}).err, "told by the command that sets it, see --two-way");
    config_ok({"set", "retries", "3"});
    EXPECT_EQ(reader->last_request().at(3), 3);
    config_ok({"set", "--two-way", "retries", "3"});
    EXPECT_EQ(reader->settings().retries, 3);
    expect_text(config_ok({"show", "--two-way"}).out, "retries                 3\n");
    for (const auto code : two_way) EXPECT_GT(reader->counters().commands.at(code), 0U) << code;

    config_ok({"save", "--two-way", directory.path_of("full.toml")});
    reader->restore_factory();
    config_ok({"load", directory.path_of("full.toml")});
    EXPECT_EQ(reader->settings().retries, 3);
}

TEST_F(ConfigEndToEnd, ShowsEverythingWithUnits)
{
    add_reader("power = 26\ntemperature = -3\ndescription = \"radio 1\"\nserial = \"01020304\"\n");
    const auto text = config_ok({"show"}).out;
    for (const char* line : {"scan-time               1000 ms\n", "power                   26 dBm\n",
                             "reader-type             0x0F\n", "temperature             -3 degrees\n",
                             "module-description      radio 1\n", "serial-number           01020304\n",
                             "antennas                1,2,3,4\n", "region                  us:0-49\n"})
        expect_text(text, line);
    EXPECT_EQ(text.find("parameter-"), std::string::npos);

    const auto objects = by_name(config_ok({"show", "--json"}).out);
    EXPECT_EQ(objects.at("scan-time"),
              Json::parse(R"({"type":"setting","name":"scan-time","value":1000,"unit":"ms"})"));
    EXPECT_EQ(objects.at("beep"), Json::parse(R"({"type":"setting","name":"beep","value":"on"})"));
}

TEST_F(ConfigEndToEnd, LeavesOutWhatTheReaderDoesNotServe)
{
    add_reader();
    inject("error:status=0xFE,command=0x7A,count=0");
    inject("silence:command=0x4C,count=0");
    const auto shown = by_name(config_ok({"show", "--json"}).out);
    EXPECT_FALSE(shown.contains("write-power"));
    EXPECT_FALSE(shown.contains("serial-number"));
    const auto all = by_name(config_ok({"show", "--all", "--json"}).out);
    EXPECT_EQ(all.at("write-power"),
              Json::parse(R"({"type":"setting","name":"write-power","served":false,"code":254})"));
    EXPECT_EQ(all.at("serial-number")["code"], 48);
    EXPECT_EQ(all.at("parameter-255")["value"], "");
    expect_failure(config({"get", "q", "write-power"}), "this reader does not serve write-power");

    const auto saved = config_ok({"save", directory.path_of("reader.toml")});
    expect_text(saved.err, "not served by this reader: serial-number, write-power");
    expect_failure(config({"load", directory.write("load.toml", "q = 6\nwrite-power = 20\n")}),
                   "1 of 2 settings could not be restored:\n  write-power: this reader does not serve it");
    EXPECT_EQ(reader->settings().q, 6);
}

TEST_F(ConfigEndToEnd, EndsWhenTheLinkIsLost)
{
    add_reader();
    inject("hangup:after=3,command=0x82");
    expect_failure(config({"show"}), "tagwire: reader's settings: ");
    expect_failure(config({"save", directory.path_of("never.toml")}, {"--address", "1"}), "no answer");
    EXPECT_EQ(directory.read("never.toml"), "");
}

// -- set

TEST_F(ConfigEndToEnd, SetsAndReadsBack)
{
    add_reader();
    EXPECT_EQ(config_ok({"set", "scan-time", "700", "q", "5"}).out,
              "scan-time               700 ms\nq                       5\n");
    EXPECT_EQ(reader->settings().q, 5);
    EXPECT_EQ(reader->settings().session, 0);
    EXPECT_EQ(config_ok({"get", "q", "--json"}).out, "{\"type\":\"setting\",\"name\":\"q\",\"value\":5}\n");
    config_ok({"set", "antenna-power", "20"});
    EXPECT_EQ(reader->settings().power, (std::vector<std::uint8_t>{20, 20, 20, 20}));
    config_ok({"set", "region", "eu:2-10"});
    EXPECT_EQ(reader->settings().region.band, 4);
    EXPECT_EQ(reader->settings().region.highest, 10);
    config_ok({"set", "tid-words", "6", "mask", "epc:32:E2/8"});
    config_ok({"set", "read-parameters", "0102030702"});
    EXPECT_EQ(reader->settings().q, 7);
    EXPECT_EQ(reader->settings().tid_words, 6);
    EXPECT_EQ(reader->settings().mask_bits, 8);
    EXPECT_EQ(reader->settings().filter_time, 3);
    EXPECT_EQ(config_ok({"set", "communication", "3"}).out, "communication           0x03\n");
    EXPECT_EQ(reader->settings().communication, 3);
}

TEST_F(ConfigEndToEnd, AsksAgainWhenAnAnswerIsLost)
{
    add_reader();
    config_ok({"save", directory.path_of("whole.toml")});
    inject("lose:command=0x36");
    inject("lose:command=0xEB");
    inject("lose:command=0x81");
    config_ok({"save", directory.path_of("lossy.toml")});
    EXPECT_EQ(directory.read("lossy.toml"), directory.read("whole.toml"));
    inject("lose:command=0x2F");
    config_ok({"set", "power", "17"});
    EXPECT_EQ(reader->settings().power.at(0), 17);
}

TEST_F(ConfigEndToEnd, SaysWhatWasSetBeforeTheLinkBroke)
{
    add_reader();
    inject("hangup:command=0x81");
    const auto ended = config({"set", "power", "3", "q", "6"});
    expect_failure(ended, "q not known to be set: ");
    expect_text(ended.err, "[changed before: power]");
    EXPECT_EQ(reader->settings().power.at(0), 3);
}

TEST_F(ConfigEndToEnd, SavesIntoFilesOnly)
{
    add_reader();
    const auto file = directory.write("target.toml", "old");
    const auto link = directory.path_of("link.toml");
    std::filesystem::create_symlink(file, link);
    config_ok({"save", link});
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    expect_text(directory.read("target.toml"), "scan-time");
    expect_failure(config({"save", "/dev/full"}), "'/dev/full' cannot be written: No space left");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    EXPECT_EQ(config({"save", "-"}).exit_code, 2);
}

TEST_F(ConfigEndToEnd, SaysWhatTheReaderRefused)
{
    add_reader();
    const auto before = reader->settings();
    const auto refused = config({"set", "--two-way", "power-mode", "9"});
    expect_failure(refused, "power-mode not set: ");
    expect_text(refused.err, "(255)");
    expect_text(refused.err, "[nothing was changed before]");
    EXPECT_TRUE(reader->settings() == before);
    expect_text(config({"set", "q", "5", "work-mode", "77"}).err, "[changed before: q]");
}

TEST_F(ConfigEndToEnd, KeepsWhatSharesACommand)
{
    add_reader("family = \"filter\"\n");
    config_ok({"set", "--family", "filter", "filter-window", "5", "filter-reads", "3", "filter-rssi", "9"});
    config_ok({"set", "--family", "filter", "filter-reads", "4"});
    EXPECT_EQ(reader->settings().filter_time, 5);
    EXPECT_EQ(reader->settings().least_readings, 4);
    EXPECT_EQ(reader->settings().least_rssi, 9);
    const auto half = config({"set", "--family", "filter", "gpo-time", "5"});
    EXPECT_EQ(half.exit_code, 2);
    expect_text(half.err, "give all of them");
    config_ok({"set", "--family", "filter", "gpo-time", "5", "gpo-follows", "1"});
    EXPECT_EQ(reader->settings().output_parameters, (std::array<std::uint8_t, 2>{1, 5}));
}

TEST_F(ConfigEndToEnd, FollowsTheReaderToANewAddressAndSpeed)
{
    add_reader("", Wire::Serial);
    const auto ended = config_ok({"set", "address", "17", "baud", "9600", "q", "3"});
    expect_text(ended.err, "the reader's address is 17 now: --address 17");
    expect_text(ended.err, "the reader's serial line has 9600 bit/s now: --baud 9600");
    EXPECT_EQ(reader->settings().address, 17);
    EXPECT_EQ(reader->settings().q, 3);
    EXPECT_EQ(config({"get", "q"}).exit_code, 1);
    EXPECT_EQ(config_ok({"get", "q"}, {"--baud", "9600", "--address", "17"}).out,
              "q                       3\n");
}

// -- load

TEST_F(ConfigEndToEnd, WritesOnlyWhatDiffers)
{
    add_reader();
    const auto file =
        directory.write("reader.toml", "q = 4\n[radio]\npower = 30\n[outputs]\nbeep = \"off\"\n");
    const auto dry = config_ok({"load", file, "--dry-run"});
    EXPECT_EQ(dry.out, "1 of 3 settings differ: beep\nbeep                    on -> off\n");
    EXPECT_EQ(reader->settings().beep, 1);
    reader->forget_requests();
    const auto ended = config_ok({"load", file, "--json"});
    EXPECT_EQ(reader->settings().beep, 0);
    std::set<int> written;
    for (const auto& request : reader->requests()) written.insert(request.command);
    EXPECT_EQ(written, (std::set<int>{0x21, 0x36, 0x40, 0x82}));
    const auto objects = objects_of(ended.out);
    ASSERT_EQ(objects.size(), 2u) << ended.out;
    EXPECT_EQ(
        objects[0],
        Json::parse(R"({"type":"config-change","name":"beep","from":"on","to":"off","outcome":"restored"})"));
    EXPECT_EQ(objects[1], Json::parse(R"({"type":"config-loaded","settings":3,"differ":1,"failed":[]})"));
}

TEST_F(ConfigEndToEnd, GoesOnAfterARefusal)
{
    add_reader();
    const auto file =
        directory.write("reader.toml", "two-way = true\npower-mode = 9\nq = 6\ntid-words = 99\n");
    const auto ended = config({"load", file});
    expect_failure(ended, "2 of 3 settings could not be restored:\n  power-mode: ");
    expect_text(ended.err, "\n  tid-words: ");
    EXPECT_EQ(reader->settings().q, 6);
    EXPECT_EQ(reader->settings().power_mode, 0);
}

TEST_F(ConfigEndToEnd, TellsWhatWasWrittenWhenTheLinkIsLost)
{
    add_reader();
    inject("hangup:after=0,command=0x40");
    const auto file = directory.write("reader.toml", "q = 6\nbeep = \"off\"\npulse-output = 1\n");
    const auto ended = config({"load", file});
    expect_failure(ended, "So far written: q; not written: beep, pulse-output");
    EXPECT_EQ(reader->settings().q, 6);
    EXPECT_EQ(reader->settings().pulse_output, 0);
}

TEST_F(ConfigEndToEnd, ReachesAReaderThatReportsByItself)
{
    add_reader("[[tag]]\nepc = \"E28011700000020F00000001\"\n");
    config_ok({"set", "work-mode", "active"});
    const auto file = directory.path_of("active.toml");
    config_ok({"save", file});
    expect_text(directory.read("active.toml"), "work-mode = \"active\"\n");
    config_ok({"load", directory.write("q.toml", "q = 6\nscan-time = 900\n")});
    EXPECT_EQ(reader->settings().q, 6);
    EXPECT_EQ(reader->settings().scan_time, 9);
    EXPECT_EQ(reader->settings().work_mode, 1);
    config_ok({"load", file});
    EXPECT_EQ(reader->settings().q, 4);
    EXPECT_EQ(reader->settings().work_mode, 1);
}

TEST_F(ConfigEndToEnd, HelpsWithTheNamesAndLimitsOfTheSettings)
{
    add_reader();
    for (const char* command : {"show", "get", "set", "save", "load"})
        expect_text(config_ok({command, "--help"}).out,
                    std::string("Examples:\n  tagwire config ") + command);
    const auto help = config_ok({"set", "--help"}).out;
    expect_text(help, "scan-time");
    expect_text(help, "0 to 25500 ms in steps of 100\n");
}

// -- files that are wrong

struct BrokenFile {
    const char* name;
    const char* text;
    const char* message;  // behind the file's name
};

class BrokenConfig : public ConfigEndToEnd, public testing::WithParamInterface<BrokenFile> {};

TEST_P(BrokenConfig, IsRefusedBeforeAnythingIsSent)
{
    add_reader();
    const auto ended = config({"load", directory.write("broken.toml", GetParam().text)});
    EXPECT_EQ(ended.exit_code, 2);
    expect_text(ended.err, std::string("broken.toml:") + GetParam().message);
    EXPECT_EQ(reader->counters().connections, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Files, BrokenConfig,
    testing::Values(
        BrokenFile{"NoToml", "q = 6\n[outputs\n", "2: "},
        BrokenFile{"UnknownName", "q = 6\npwoer = 30\n", "2: setting 'pwoer' is unknown"},
        BrokenFile{"WrongNumber", "[radio]\n\npower = 256\n", "3: setting power: '256' is not valid"},
        BrokenFile{"WrongStep", "scan-time = 150\n", "1: setting scan-time: '150' is not valid"},
        BrokenFile{"WrongName", "beep = \"loud\"\n", "1: setting beep: 'loud' is unknown"},
        BrokenFile{"WrongType", "beep = true\n", "1: beep must be a number or a text in quotes"},
        BrokenFile{"TooDeep", "[a.b]\nq = 1\n", "1: b must be a number or a text in quotes"},
        BrokenFile{"Twice", "q = 4\n[inventory]\nq = 5\n", "3: setting 'q' stands twice"},
        BrokenFile{"ShownOnly", "firmware = \"1.0\"\n", "1: setting 'firmware' can be shown only"},
        BrokenFile{"NoFlag", "two-way = 1\n", "1: two-way must be true or false"},
        BrokenFile{"UnknownFamily", "family = \"other\"\n", "1: family 'other' is unknown"},
        BrokenFile{"OtherFamily", "family = \"relay\"\nfilter-rssi = 9\n",
                   "2: readers of the family relay have no setting 'filter-rssi'"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(ConfigEndToEnd, RefusesWrongUsageBeforeAnythingIsSent)
{
    add_reader();
    const auto file = directory.write("filter.toml", "family = \"filter\"\n");
    const std::vector<Arguments> wrong{{"set", "q"},
                                       {"set", "q", "4", "q", "5"},
                                       {"load", "/dev/zero"},
                                       {"show", "--family", ""},
                                       {"set", "q", "256"},
                                       {"set", "firmware", "1"},
                                       {"set", "nothing", "1"},
                                       {"get", "nothing"},
                                       {"get", "baud"},
                                       {"show", "--family", "other"},
                                       {"load", directory.path_of("none.toml")},
                                       {"load", file, "--family", "relay"}};
    for (const auto& arguments : wrong) {
        const auto ended = config(arguments);
        EXPECT_EQ(ended.exit_code, 2) << ended.err;
        EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    }
    EXPECT_EQ(reader->counters().connections, 0u);
    const auto unwritable = config({"save", directory.path_of("no/such/place.toml")});
    expect_failure(unwritable, "cannot be written: ");
}

}  // namespace
}  // namespace tagwire::tool::test
