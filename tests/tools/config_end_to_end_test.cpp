// The config commands against a virtual reader of this process.
#include "virtual_reader.h"

#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "simulator.h"

#include <tagwirexx/settings.hpp>

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
    {"power", "27,26,25,24"},
    {"write-power", "22"},
    {"antennas", "1,3"},
    {"antenna-count", "8"},
    {"antenna-check", "on"},
    {"eas-sensitivity", "0x03"},
    {"report-condition", "0x01"},
    {"report-pause", "0x02"},
    {"inventory-interval", "0x07"},
    {"tag-protocol", "0x01"},
    {"mask", "tid:32:E280/12"},
    {"trigger-time", "4"},
    {"tid-word", "2"},
    {"tid-words", "3"},
    {"filter-time", "9"},
    {"filter-window", "9"},
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

// Nothing for one that is left as it is.
std::string value_for(const std::string& name)
{
    const auto found = own_values.find(name);
    if (found != own_values.end()) return found->second;
    const bool is_every_fiftieth =
        name.starts_with("parameter-") && (name.ends_with("50") || name.ends_with("00"));
    if (is_every_fiftieth) return "AB" + std::string(100, '1');
    return name.starts_with("trigger-") ? name.substr(name.find('-') + 1) + ",2,3,4,5,6" : "";
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
    return std::string(to_string(tested.param.family)) +
           (tested.param.wire == Wire::Tcp ? "_tcp" : "_serial");
}

class ConfigOfFamily : public ConfigEndToEnd, public testing::WithParamInterface<Kind> {
  protected:
    void SetUp() override
    {
        family = to_string(GetParam().family);
        add_reader("family = \"" + family + "\"\n", GetParam().wire);
        if (GetParam().wire == Wire::Serial) speed = {"--baud", own_values.at("baud")};
    }
    Arguments all_values() const
    {
        const SettingsOptions options{GetParam().family, true};
        Arguments words;
        for (const auto& name : Settings::names(options)) {
            const auto info = Settings::describe(name, options);
            const auto value = name == "baud" && speed.empty() ? "" : value_for(name);
            const bool is_kept = info.readable && info.writable && info.kind != SettingKind::state;
            if (is_kept && !value.empty()) words = joined(words, {name, value});
        }
        return words;
    }
    std::string save(const std::string& name) const
    {
        config_ok({"save", directory.path_of(name), "--family", family, "--two-way", "--secrets"}, speed);
        return directory.read(name);
    }

    std::string family;
    Arguments speed;  // once the reader has its own
};

TEST_P(ConfigOfFamily, RestoresEverySettingAfterTheFactorySettings)
{
    const auto factory = reader->settings();
    config_ok(joined({"set", "--yes", "--two-way", "--family", family}, all_values()));
    const auto own = reader->settings();
    EXPECT_EQ(own.address, 9);
    EXPECT_EQ(own.power, (std::vector<std::uint8_t>{27, 26, 25, 24}));
    EXPECT_EQ(own.filter_time, 9);
    const auto saved = save("own.toml");

    reader->restore_factory();
    ASSERT_TRUE(reader->settings() == factory);
    const Arguments load{"load", directory.path_of("own.toml"), "--family", family, "--two-way"};
    const Arguments whole = joined(load, {"--identity", "--secrets"});
    const auto ended = config_ok(whole);
    EXPECT_TRUE(reader->settings() == own) << ended.out << ended.err;
    EXPECT_EQ(save("again.toml"), saved);
    expect_text(config_ok(whole, speed).out, ", 0 changed\n");
}

INSTANTIATE_TEST_SUITE_P(
    Readers, ConfigOfFamily,
    testing::Values(Kind{ReaderFamily::standard, Wire::Tcp}, Kind{ReaderFamily::standard, Wire::Serial},
                    Kind{ReaderFamily::filter, Wire::Tcp}, Kind{ReaderFamily::relay, Wire::Tcp},
                    Kind{ReaderFamily::multiplexer, Wire::Tcp}, Kind{ReaderFamily::mobile, Wire::Serial}),
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
    constexpr std::array<std::size_t, 6> two_way{0x3A, 0x6B, 0x78, 0x7B, 0x7C, 0xCE};
    add_reader();
    config_ok({"show", "--all"});
    config_ok({"save", directory.path_of("plain.toml")});
    EXPECT_EQ(directory.read("plain.toml").find("retries"), std::string::npos);
    for (const auto code : two_way) EXPECT_EQ(reader->counters().commands.at(code), 0U) << code;

    EXPECT_EQ(config({"get", "retries"}).exit_code, 2);
    expect_text(config({"get", "retries"}).err, "see --family and --two-way");
    config_ok({"set", "--two-way", "retries", "3"});
    EXPECT_EQ(reader->settings().retries, 3);
    expect_text(config_ok({"show", "--two-way"}).out, "retries                 3\n");
    for (const auto code : two_way) EXPECT_GT(reader->counters().commands.at(code), 0U) << code;

    config_ok({"save", "--two-way", directory.path_of("full.toml")});
    reader->restore_factory();
    config_ok({"load", "--two-way", directory.path_of("full.toml")});
    EXPECT_EQ(reader->settings().retries, 3);
}

TEST_F(ConfigEndToEnd, ComparesWhatTheReaderAnswersThatItHas)
{
    add_reader();
    expect_failure(config({"set", "retries", "3"}), "the reader answered that it has 0, not 3");
    EXPECT_EQ(reader->settings().retries, 0);
}

TEST_F(ConfigEndToEnd, ShowsEverythingWithUnits)
{
    add_reader("power = 26\ntemperature = -3\ndescription = \"radio 1\"\nserial = \"01020304\"\n");
    const auto text = config_ok({"show", "--family", "standard"}).out;
    for (const char* line : {"scan-time               1000 ms\n", "power                   26 dBm\n",
                             "reader-type             0x0F\n", "temperature             -3 degrees\n",
                             "module-description      radio 1\n", "serial-number           01020304\n",
                             "antennas                1,2,3,4\n", "region                  us:0-49\n"})
        expect_text(text, line);
    EXPECT_EQ(text.find("parameter-"), std::string::npos);

    const auto objects = by_name(config_ok({"show", "--json"}).out);
    auto expected = Json::parse(R"({"type":"setting","name":"scan-time","value":1000,"unit":"ms"})");
    expected["reader"] = url;
    EXPECT_EQ(objects.at("scan-time"), expected);
    EXPECT_EQ(objects.at("beep")["value"], "on");
    EXPECT_EQ(objects.count("parameter-255"), 0U);
}

TEST_F(ConfigEndToEnd, TellsRefusalAndSilenceApart)
{
    add_reader();
    inject("error:status=0xFE,command=0x7A,count=0");
    const auto shown = by_name(config_ok({"show", "--json"}).out);
    EXPECT_FALSE(shown.contains("write-power"));
    const auto all = by_name(config_ok({"show", "--all", "--json"}).out);
    EXPECT_EQ(all.at("write-power")["served"], false);
    EXPECT_EQ(all.at("parameter-255")["value"], "");
    const auto some = config({"get", "q", "write-power"});
    EXPECT_EQ(some.out, "q                       4\n");
    expect_failure(some, "write-power: ");

    const auto file = directory.path_of("reader.toml");
    const auto saved = config_ok({"save", file});
    expect_text(saved.err, "not served by this reader: write-power\n");
    inject("silence:command=0x4C,count=0");
    expect_failure(config({"show"}), "serial-number: ");
    expect_failure(config({"save", file}), "' is not complete: serial-number: ");
    expect_text(directory.read("reader.toml"), "no-answer = [\"serial-number\"]");
    const auto object = objects_of(config({"save", file, "--json"}).out).at(0);
    EXPECT_EQ(object["complete"], false);
    EXPECT_EQ(object["refused"], Json::parse(R"(["write-power"])"));
    EXPECT_EQ(object["silent"], Json::parse(R"(["serial-number"])"));
}

TEST_F(ConfigEndToEnd, DoesNotGoOnAskingForWhatIsRefused)
{
    add_reader();
    inject("error:status=0xFE,command=0xEB,count=0");
    const auto before = reader->counters().commands.at(0xEB);
    const auto saved = config_ok({"save", directory.path_of("reader.toml")});
    EXPECT_LE(reader->counters().commands.at(0xEB), before + 4);
    expect_text(saved.err, "parameter-0 to 255\n");
}

TEST_F(ConfigEndToEnd, EndsWhenTheLinkIsLost)
{
    add_reader();
    inject("hangup:after=3,command=0x82");
    EXPECT_EQ(config({"show"}).exit_code, 1);
    const auto never = directory.write("never.toml", "older");
    EXPECT_EQ(config({"save", never}, {"--address", "1"}).exit_code, 1);
    EXPECT_EQ(directory.read("never.toml"), "older");
}

TEST_F(ConfigEndToEnd, MasksPasswords)
{
    add_reader();
    const auto secret = directory.write("secret.txt", "A1B2C3D4\n");
    const auto file = directory.path_of("whole.toml");
    const std::vector<Arguments> calls{{"set", "user-password", "@" + secret},
                                       {"get", "user-password", "--json"},
                                       {"show"},
                                       {"save", directory.path_of("plain.toml")},
                                       {"save", file, "--secrets", "--family", "standard"}};
    for (const auto& call : calls) {
        const auto ended = config_ok(call);
        EXPECT_EQ((ended.out + ended.err).find("A1B2C3D4"), std::string::npos) << call.front();
    }
    EXPECT_EQ(reader->settings().user_password, (std::array<std::uint8_t, 4>{0xA1, 0xB2, 0xC3, 0xD4}));
    EXPECT_EQ(config_ok({"get", "user-password"}).out, "user-password           ********\n");
    EXPECT_EQ(config_ok({"get", "user-password", "--secrets"}).out, "user-password           A1B2C3D4\n");
    EXPECT_EQ(directory.read("plain.toml").find("password"), std::string::npos);
    expect_text(directory.read("whole.toml"), "user-password = \"A1B2C3D4\"\n");
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    config_ok({"set", "user-password", "00000001"});
    const auto dry = config({"load", file, "--secrets", "--dry-run", "--family", "standard"});
    EXPECT_EQ(dry.exit_code, 3) << dry.err;
    expect_text(dry.out, "user-password           ******** -> ********\n");
    const auto wrong = config({"set", "user-password", "A1B2C3"});
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_EQ(wrong.err.find("A1B2C3"), std::string::npos) << wrong.err;
}

// -- set

TEST_F(ConfigEndToEnd, SetsAndReadsBack)
{
    add_reader();
    EXPECT_EQ(config_ok({"set", "scan-time", "700", "q", "5"}).out,
              "scan-time               700 ms\nq                       5\n");
    EXPECT_EQ(reader->settings().q, 5);
    EXPECT_EQ(reader->settings().session, 0);
    EXPECT_EQ(objects_of(config_ok({"get", "q", "--json"}).out).at(0)["value"], 5);
    config_ok({"set", "antenna-power", "20"});
    EXPECT_EQ(reader->settings().power, (std::vector<std::uint8_t>{20, 20, 20, 20}));
    config_ok({"set", "region", "EU:2-10"});
    EXPECT_EQ(reader->settings().region.band, 4);
    EXPECT_EQ(reader->settings().region.highest, 10);
    config_ok({"set", "antennas", "1-2,4", "--temporary"});
    EXPECT_EQ(reader->settings().antennas, (std::vector<unsigned>{1, 2, 4}));
    reader->restart();
    EXPECT_EQ(reader->settings().antennas, (std::vector<unsigned>{1, 2, 3, 4}));
    config_ok({"set", "tid-words", "6", "mask", "epc:32:E2/8"});
    config_ok({"set", "read-parameters", "0102030702"});
    EXPECT_EQ(reader->settings().q, 7);
    EXPECT_EQ(reader->settings().tid_words, 6);
    EXPECT_EQ(reader->settings().mask_bits, 8);
    EXPECT_EQ(reader->settings().filter_time, 3);
}

TEST_F(ConfigEndToEnd, AsksBeforeItChangesHowTheReaderIsReached)
{
    add_reader();
    for (const char* name : {"address", "serial-number", "communication"}) {
        const auto value = std::string(name) == "serial-number" ? "01020304" : "3";
        const auto refused = config({"set", name, value});
        EXPECT_EQ(refused.exit_code, 2);
        expect_text(refused.err, std::string("known or reached by (") + name + "): nothing was sent");
    }
    EXPECT_EQ(reader->counters().connections, 0U);
    EXPECT_EQ(config_ok({"set", "communication", "3", "--yes"}).out, "communication           0x03\n");
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
}

TEST_F(ConfigEndToEnd, SaysWhatWasSetBeforeTheLinkBroke)
{
    add_reader();
    inject("hangup:command=0x81");
    const auto ended = config({"set", "power", "3", "q", "6"}, {"--json"});
    expect_failure(ended, "[set before: power]");
    const auto object = objects_of(ended.out).at(0);
    EXPECT_EQ(object["names"], Json::parse(R"(["power","q"])"));
    EXPECT_EQ(object["outcome"], "partial");
    EXPECT_EQ(object["reader"], url);
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
    EXPECT_EQ(config({"save", "/dev/full"}).exit_code, 2);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    EXPECT_EQ(config({"save", "-"}).exit_code, 2);
}

TEST_F(ConfigEndToEnd, SaysWhatTheReaderRefused)
{
    add_reader();
    const auto before = reader->settings();
    expect_failure(config({"set", "--two-way", "power-mode", "9"}), "set power-mode");
    EXPECT_TRUE(reader->settings() == before);
    expect_text(config({"set", "--two-way", "q", "5", "power-mode", "9"}).err, "[set before: q]");
}

TEST_F(ConfigEndToEnd, KeepsWhatSharesACommand)
{
    add_reader("family = \"filter\"\n");
    config_ok({"set", "filter-window", "5", "filter-reads", "3", "filter-rssi", "9"});
    config_ok({"set", "--family", "filter", "filter-reads", "4"});
    EXPECT_EQ(reader->settings().filter_time, 5);
    EXPECT_EQ(reader->settings().least_readings, 4);
    EXPECT_EQ(reader->settings().least_rssi, 9);
    const auto half = config({"set", "--family", "filter", "gpo-time", "5"});
    expect_failure(half, "gpo-time");
    config_ok({"set", "--family", "filter", "gpo-time", "5", "gpo-follows", "1"});
    EXPECT_EQ(reader->settings().output_parameters, (std::array<std::uint8_t, 2>{1, 5}));
}

TEST_F(ConfigEndToEnd, SettlesTheFamilyBeforeAnythingAmbiguousIsSent)
{
    add_reader("family = \"relay\"\n");
    const auto file = directory.write("standard.toml", "[secrets]\nreader-password = \"01020304\"\n");
    const auto before = reader->panel().closed_relays;
    expect_failure(config({"set", "reader-password", "01020304"}), "say whether it is ");
    EXPECT_NE(config({"load", file, "--secrets"}).exit_code, 0);
    EXPECT_EQ(reader->panel().closed_relays, before);
    EXPECT_EQ(config({"set", "reader-password", "01020304", "--family", "relay"}).exit_code, 2);
}

TEST_F(ConfigEndToEnd, FollowsTheReaderToANewAddressAndSpeed)
{
    add_reader("", Wire::Serial);
    const auto ended = config_ok({"set", "address", "17", "baud", "9600", "q", "3", "--yes"});
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
        directory.write("reader.toml", "[settings]\nq = 4\npower = 30\nbeep = \"off\"\nscan-time = 900\n");
    const auto dry = config({"load", file, "--dry-run"});
    EXPECT_EQ(dry.exit_code, 3);
    EXPECT_EQ(dry.out, "2 settings differ\nscan-time               1000 ms -> 900 ms\n"
                       "beep                    on -> off\n");
    const auto found = objects_of(config({"load", file, "--dry-run", "--json"}).out).at(0);
    EXPECT_EQ(found["verdict"], "differs");
    EXPECT_EQ(found["differences"], Json::parse(R"([{"name":"scan-time","reader":1000,"file":900,"unit":"ms"},
                              {"name":"beep","reader":"on","file":"off"}])"));
    EXPECT_EQ(reader->settings().beep, 1);
    reader->forget_requests();
    const auto loaded = objects_of(config_ok({"load", file, "--json"}).out);
    ASSERT_EQ(loaded.size(), 1U);
    EXPECT_EQ(loaded[0]["verdict"], "same");
    EXPECT_EQ(loaded[0]["differences"], found["differences"]);
    EXPECT_EQ(loaded[0]["same"], 2);
    EXPECT_EQ(loaded[0]["failed"], Json::array());
    EXPECT_EQ(loaded[0]["reader"], url);
    EXPECT_EQ(reader->settings().beep, 0);
    std::set<int> written;
    for (const auto& request : reader->requests()) written.insert(request.command);
    for (const int untouched : {0x2F, 0x79, 0x81}) EXPECT_FALSE(written.contains(untouched));
    for (const int changed : {0x25, 0x40}) EXPECT_TRUE(written.contains(changed));
    EXPECT_EQ(config_ok({"load", file, "--dry-run"}).out, "the reader has all settings of the file\n");
}

TEST_F(ConfigEndToEnd, LeavesIdentitySecretsAndCalibrationAlone)
{
    add_reader();
    const auto before = reader->settings();
    const auto file =
        directory.write("golden.toml", "[settings]\nq = 6\n[identity]\nserial-number = \"01020304\"\n"
                                       "address = 9\n[secrets]\nuser-password = \"A1B2C3D4\"\n"
                                       "[calibration]\npower-converter = 0x4D\n");
    const auto dry = config({"load", file, "--dry-run"});
    EXPECT_EQ(dry.exit_code, 3);
    EXPECT_EQ(dry.out, "1 setting differs\nq                       4 -> 6\n");
    const auto ended = config_ok({"load", file});
    for (const char* part :
         {"serial-number, address: identity", "user-password: secret", "power-converter: "})
        expect_text(ended.err, part);
    auto expected = before;
    expected.q = 6;
    EXPECT_TRUE(reader->settings() == expected);
    expect_text(config_ok({"load", file, "--identity", "--secrets"}).err, "--address 9");
    EXPECT_EQ(reader->settings().address, 9);
    EXPECT_EQ(reader->settings().user_password, (std::array<std::uint8_t, 4>{0xA1, 0xB2, 0xC3, 0xD4}));
    EXPECT_EQ(reader->settings().dac, before.dac);
}

TEST_F(ConfigEndToEnd, RefusesTheFileOfAnotherModel)
{
    add_reader();
    const auto file =
        directory.write("other.toml", "[reader]\ntype = 33\nfirmware = \"9.9\"\n[settings]\nq = 6\n");
    for (const auto& call : {Arguments{"load", file}, {"load", file, "--dry-run"}})
        expect_failure(config(call), "the profile is of type 33, this reader has 15");
    EXPECT_EQ(reader->settings().q, 4);
    config_ok({"load", file, "--other-model"});
    EXPECT_EQ(reader->settings().q, 6);
}

TEST_F(ConfigEndToEnd, GoesOnAfterARefusal)
{
    add_reader();
    const auto file = directory.write("reader.toml", "[settings]\npower-mode = 9\nq = 6\ntid-words = 99\n");
    const auto ended = config({"load", file, "--two-way", "--json"});
    expect_failure(ended, "tagwire: power-mode: ");
    expect_text(ended.err, "tagwire: tid-words: ");
    const auto object = objects_of(ended.out).at(0);
    EXPECT_EQ(object["verdict"], "failed");
    EXPECT_EQ(object["failed"].size(), 2U);
    EXPECT_EQ(object["failed"][0]["name"], "power-mode");
    EXPECT_EQ(object["failed"][0]["outcome"], "nothing");
    EXPECT_EQ(reader->settings().q, 6);
    EXPECT_EQ(reader->settings().power_mode, 0);
}

TEST_F(ConfigEndToEnd, TellsWhatWasWrittenWhenTheLinkIsLost)
{
    add_reader();
    inject("hangup:after=0,command=0x40");
    const auto file = directory.write("reader.toml", "[settings]\nq = 6\nbeep = \"off\"\npulse-output = 1\n");
    const auto ended = config({"load", file});
    expect_failure(ended, "beep: ");
    expect_text(ended.err, "pulse-output: not tried");
    EXPECT_EQ(reader->settings().q, 6);
    EXPECT_EQ(reader->settings().pulse_output, 0);
}

sim::Reader& add_neighbour(sim::Simulator& simulator, sim::Reader& reader, int address)
{
    auto& neighbour =
        simulator.add_reader_from_text("[reader]\nair_time = 0\naddress = " + std::to_string(address) + "\n");
    neighbour.share(reader);
    return neighbour;
}

// On a bus the rest of a file is never for another reader, whether the answer to its new address is lost or not.
TEST_F(ConfigEndToEnd, GivesNoAddressThatAnotherReaderHas)
{
    add_reader("address = 10\n", Wire::Serial);
    auto& neighbour = add_neighbour(simulator, *reader, 11);
    add_neighbour(simulator, *reader, 12);
    inject("lose:command=0x24,count=0");
    const Arguments here{"--address", "10"};
    const auto taken = directory.write("taken.toml", "[settings]\nq = 6\n[identity]\naddress = 11\n");
    expect_failure(config({"load", taken, "--identity"}, here), "address: a reader answers at ");
    EXPECT_EQ(reader->settings().address, 10);
    EXPECT_EQ(reader->settings().q, 6);
    const auto free = directory.write("free.toml", "[settings]\nq = 7\n[identity]\naddress = 20\n");
    config_ok({"load", free, "--identity"}, here);
    EXPECT_EQ(reader->settings().address, 20);
    EXPECT_EQ(reader->settings().q, 7);
    EXPECT_EQ(neighbour.settings().q, 4);
    EXPECT_EQ(neighbour.settings().address, 11);
}

TEST_F(ConfigEndToEnd, SaysThatTheReaderStayedWhereItWas)
{
    add_reader("address = 10\n", Wire::Serial);
    inject("silence:command=0x24");
    expect_failure(config({"set", "address", "20", "--yes"}, {"--address", "10"}),
                   "still answers at its old address 10");
}

TEST_F(ConfigEndToEnd, TakesAPowerForEveryPortOrOneForAll)
{
    add_reader();
    expect_failure(config({"set", "power", "20,21"}), "this reader has 4 ports");
    expect_failure(config({"load", directory.write("power.toml", "[settings]\npower = \"20,21\"\n")}),
                   "power: ");
    EXPECT_EQ(reader->settings().power, (std::vector<std::uint8_t>{30, 30, 30, 30}));
}

TEST_F(ConfigEndToEnd, DoesNotTakeSilenceForASetting)
{
    add_reader();
    inject("silence:command=0x4C,count=0");
    const auto file = directory.write("reader.toml", "[identity]\nserial-number = \"01020304\"\n");
    const auto dry = config({"load", file, "--identity", "--dry-run"});
    expect_failure(dry, "serial-number: ");
}

TEST_F(ConfigEndToEnd, ReachesAReaderThatReportsByItself)
{
    add_reader("[[tag]]\nepc = \"E28011700000020F00000001\"\n");
    config_ok({"set", "work-mode", "active"});
    const auto file = directory.path_of("active.toml");
    config_ok({"save", file});
    expect_text(directory.read("active.toml"), "work-mode = \"active\"\n");
    config_ok({"load", directory.write("q.toml", "[settings]\nq = 6\nscan-time = 900\n")});
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
    for (const char* command : {"show", "get", "set", "save", "load"}) {
        const auto text = config_ok({command, "--help"}).out;
        expect_text(text, std::string("Examples:\n  tagwire config ") + command);
        EXPECT_EQ(text.find("Examples:"), text.rfind("Examples:")) << text;
    }
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

INSTANTIATE_TEST_SUITE_P(Files, BrokenConfig,
                         testing::Values(BrokenFile{"NoToml", "[settings]\nq = 6\n[outputs\n", "3: "},
                                         BrokenFile{"NoSection", "q = 6\n", "1: 'q' is no section"},
                                         BrokenFile{"UnknownName", "[settings]\nq = 6\npwoer = 30\n", "3: "},
                                         BrokenFile{"WrongNumber", "[settings]\n\npower = 41\n", "3: "},
                                         BrokenFile{"WrongType", "[settings]\nbeep = true\n", "2: "},
                                         BrokenFile{"WrongSection", "[settings]\naddress = 9\n", "2: "},
                                         BrokenFile{"Twice", "[settings]\nq = 4\n[inventory]\nq = 5\n",
                                                    "2: 'q' stands twice"},
                                         BrokenFile{"ShownOnly", "[settings]\nfirmware = \"1.0\"\n", "2: "}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(ConfigEndToEnd, RefusesWrongUsageBeforeAnythingIsSent)
{
    add_reader();
    const std::vector<Arguments> wrong{{"set", "q"},
                                       {"set", "q", "4", "q", "5"},
                                       {"set", "q", "16"},
                                       {"set", "power", "41"},
                                       {"set", "power", "20,41"},
                                       {"set", "region", "5ghz:0-9"},
                                       {"set", "firmware", "1"},
                                       {"set", "power-converter", "1"},
                                       {"set", "nothing", "1"},
                                       {"set", "filter-rssi", "9", "--family", "relay"},
                                       {"get", "nothing"},
                                       {"get", "temperature-choice"},
                                       {"show", "--family", "other"},
                                       {"show", "--family", ""},
                                       {"load", "/dev/zero"},
                                       {"load", directory.path_of("none.toml")},
                                       {"save", directory.path_of("no/such/place.toml")}};
    for (const auto& arguments : wrong) {
        const auto ended = config(arguments);
        EXPECT_EQ(ended.exit_code, 2) << ended.err;
        EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    }
    EXPECT_EQ(reader->counters().connections, 0u);
}

}  // namespace
}  // namespace tagwire::tool::test
