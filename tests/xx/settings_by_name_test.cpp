// Settings by name: each of them, and what keeps them honest.
#include <algorithm>
#include <map>
#include <sstream>
#include <thread>

#include "link/crc16.h"
#include "xx/reader/both_ways.h"
#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr std::uint8_t unknown_command = 0xFE;

// A value that is not the virtual reader's own, and one that is not valid.
struct Row {
    const char* name;
    const char* value;
    const char* wrong;
};

constexpr Row rows[] = {
    {"clock", "2031-02-28T23:59:01", "2031-02-29T23:59:01"},
    {"serial-number", "01A2B3C4", "01A2B3"},
    {"user-password", "11223344", "1122334"},
    {"reader-password", "A1B2C3D4", "A1B2C3D4E5"},
    {"reply-delay", "0x05", "256"},
    {"power-mode", "0x02", "128"},
    {"heartbeat-time", "0x1E", "-1"},
    {"scan-time", "2500", "2550x"},
    {"q", "7", "16"},
    {"session", "2", "4"},
    {"retries", "5", "128"},
    {"protocol", "0x02", "200"},
    {"tag-function", "0x03", "0x"},
    {"profile", "0x21", "0x80"},
    {"long-profile", "0123", "01"},
    {"dense-reader-mode", "on", "yes"},
    {"region", "eu:2-9", "eu:2-15"},
    {"dwell-time", "0x20", "1.5"},
    {"dwell-repeats", "0x02", "many"},
    {"power", "20,21,22,23", "20,21,22,41"},
    {"antenna-power", "19", ""},
    {"write-power", "25", "41"},
    {"antennas", "1,3", "65"},
    {"antenna-count", "8", "128"},
    {"antenna-check", "on", "2"},
    {"read-parameters", "0106040602", "01060406"},
    {"eas-sensitivity", "0x07", "256"},
    {"report-condition", "0x01", "256"},
    {"report-pause", "0x04", "256"},
    {"inventory-interval", "0x05", "256"},
    {"tag-protocol", "0x03", "256"},
    {"mask", "epc:300:ABC0/12", "epc:300:ABC0/17"},
    {"trigger-time", "9", "256"},
    {"tid-word", "2", "256"},
    {"tid-words", "6", "none"},
    {"filter-time", "12", "256"},
    {"beep", "off", "loud"},
    {"pulse-output", "0x03", "256"},
    {"gpo-follows", "0x01", "256"},
    {"gpo-time", "0x0A", "256"},
    {"wiegand-format", "0x01", "256"},
    {"wiegand-pause", "0x1E", "256"},
    {"wiegand-width", "0x0A", "256"},
    {"wiegand-distance", "0x0F", "256"},
    {"wiegand-offset", "0x02", "256"},
    {"trigger-3", "1,2,3,4,5,6", "1,2,3,4,5"},
    {"parameter-17", "C0FFEE", "C0FFE"},
    {"work-mode", "triggered", "asleep"},
};

class SettingsByName : public VirtualReader {
  protected:
    void SetUp() override { connect(make_scenario(0)); }

    void connect_family(sim::ReaderFamily family)
    {
        sim::Scenario scenario = make_scenario(0);
        scenario.reader.family = family;
        connect(scenario);
    }
    Settings settings(const SettingsOptions& options = {}) { return reader().settings(options); }
    // As standard readers with two-way commands are told.
    Settings all() { return settings({.family = ReaderFamily::standard, .two_way = true}); }
    std::string get(const std::string& name)
    {
        return patiently([&] { return all().get(name); });
    }
    void set(const std::string& name, const std::string& text)
    {
        patiently([&] { all().set(name, text); });
    }
    std::uint64_t requests() const { return device->counters().requests; }
    std::uint64_t commands(std::uint8_t code) const { return device->counters().commands[code]; }
    // Refused before anything is sent.
    template <class Act> std::string refused_text(Act act)
    {
        const std::uint64_t before = requests();
        const auto error = error_of(act);
        EXPECT_EQ(error->code(), Errc::invalid_text) << error->what();
        EXPECT_EQ(requests(), before);
        return error->what();
    }
    void answer_with(std::uint8_t command, std::uint8_t status, std::uint64_t count = 0)
    {
        device->inject(sim::Fault::error(command, status, count));
    }
    void lose(std::uint8_t command, std::uint64_t count)
    {
        sim::Fault fault = sim::Fault::lose(count);
        fault.command = command;
        device->inject(fault);
    }
};
INSTANTIATE_TEST_SUITE_P(Links, SettingsByName, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(SettingsByName, EachIsWrittenAndReadBack)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string before = get(row.name);
        const std::string now = patiently([&] { return all().set(row.name, row.value); });
        if (std::string(row.name) == "clock") continue;  // goes on
        EXPECT_NE(before, now);
        EXPECT_EQ(now, row.value);
        EXPECT_EQ(get(row.name), row.value);
        if (std::string(row.name) == "work-mode") set("work-mode", "answering");
    }
}

TEST_P(SettingsByName, TextThatIsNoValueIsRefusedWithWhatMayBeGiven)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string text = refused_text([&] { all().set(row.name, row.wrong); });
        EXPECT_THAT(text, HasSubstr("use " + all().describe(row.name).range));
    }
    EXPECT_THAT(refused_text([&] { all().set("power", "50"); }), HasSubstr("0 to 40 dBm"));
    EXPECT_THAT(refused_text([&] { all().set("region", "custom:5200000:200:4"); }), HasSubstr("960000"));
    EXPECT_THAT(refused_text([&] { all().set("beep", "loud"); }), HasSubstr("off, on"));
    EXPECT_THAT(refused_text([&] { all().set("user-password", "12345"); }), Not(HasSubstr("12345")));
}

TEST_P(SettingsByName, ANameThatIsNoneIsRefusedWithTheNearest)
{
    EXPECT_THAT(refused_text([&] { all().get("scan_time"); }), HasSubstr("scan-time"));
    EXPECT_THAT(refused_text([&] { all().set("antenas", "1"); }), HasSubstr("antennas"));
    EXPECT_THAT(refused_text([&] { all().describe(""); }), HasSubstr("is it"));
    EXPECT_THAT(refused_text([&] { all().set("firmware", "1.2"); }), HasSubstr("shown only"));
    EXPECT_THAT(refused_text([&] { all().set("power-converter", "3"); }), HasSubstr("shown only"));
    EXPECT_THAT(refused_text([&] { all().set({{"q", "4"}, {"q", "5"}}); }), HasSubstr("twice"));
    EXPECT_THAT(refused_text([&] {
                    all().set({{"power", "4"}, {"antenna-power", "5"}});
                }),
                HasSubstr("twice"));
}

TEST_P(SettingsByName, AllHaveAnIndexCard)
{
    for (const std::string& name : all().names()) {
        SCOPED_TRACE(name);
        const SettingInfo info = all().describe(name);
        EXPECT_EQ(info.name, name);
        EXPECT_FALSE(info.help.empty() || info.topic.empty());
        EXPECT_TRUE(info.readable || info.writable);
        EXPECT_EQ(info.range.empty(), !info.writable);
    }
    EXPECT_THAT(all().names(), Not(Contains("filter-window")));
    EXPECT_THAT(settings().names(), Contains("filter-window"));
    EXPECT_EQ(Settings::names({}), settings().names()) << "a program without a Reader asks, too";
    EXPECT_EQ(Settings::describe("q", {}).range, settings().describe("q").range);
    EXPECT_TRUE(all().describe("region").until_restart);
    EXPECT_FALSE(all().describe("q").until_restart);
    EXPECT_FALSE(settings().describe("retries").readable);
    EXPECT_EQ(all().describe("user-password").kind, SettingKind::secret);
    EXPECT_EQ(all().describe("address").kind, SettingKind::identity);
    EXPECT_EQ(all().describe("power-converter").kind, SettingKind::calibration);
    EXPECT_EQ(all().describe("calibration-type").kind, SettingKind::calibration);
    EXPECT_TRUE(settings().describe("long-profile").readable);
    EXPECT_EQ(all().describe("power").unit, "dBm");
    EXPECT_TRUE(all().describe("q").is_number);
    EXPECT_TRUE(all().describe("baud").is_number);
    EXPECT_FALSE(all().describe("beep").is_number);
}

TEST_P(SettingsByName, ShowsWhatIsMeasuredOrGivenByTheMaker)
{
    EXPECT_EQ(get("firmware"), "1.0");
    EXPECT_EQ(get("reader-type"), "0x0F");
    EXPECT_EQ(get("module-description"), "tagwire");
    EXPECT_EQ(get("chip-version"), "010001");
    EXPECT_EQ(get("start-information"), "000000000000000000");
    EXPECT_EQ(get("temperature"), "25");
    EXPECT_EQ(get("lines"), "0x00");
    EXPECT_EQ(get("address"), "10");
    for (const char* name : {"air-protocols", "module-version", "power-check", "max-frequency",
                             "min-frequency", "antenna-byte", "power-converter"})
        EXPECT_NE(get(name), "") << name;
    for (const char* name : {"temperature-choice", "region-type", "calibration-type", "communication"}) {
        EXPECT_EQ(patiently([&] { return all().set(name, "1"); }), "0x01");
        EXPECT_EQ(error_of([&] { all().get(name); })->code(), Errc::no_such_feature) << name;
    }
}

TEST_P(SettingsByName, ManyAreReadAtOnce)
{
    const auto some = patiently([&] { return all().read({"q", "session", "firmware"}); });
    ASSERT_EQ(some.size(), 3U);
    EXPECT_EQ(some[0].text, "4");
    EXPECT_EQ(some[2].text, "1.0");
    EXPECT_EQ(commands(0x82), 1U) << "both come with one answer";
    answer_with(0xEB, 0xFF);
    const auto everything = patiently([&] { return all().read(); });
    EXPECT_EQ(commands(0xEB), 2U);
    std::map<std::string, SettingReading> found;
    for (const auto& reading : everything) found[reading.name] = reading;
    EXPECT_EQ(found.size(), everything.size());
    EXPECT_EQ(found["temperature"].text, "25");
    EXPECT_FALSE(found["parameter-200"].text);
    EXPECT_NE(found["parameter-200"].problem, "");
    EXPECT_FALSE(found["parameter-200"].is_silent);
    refused_text([&] { all().read({"q", "queue"}); });
    const auto partly = patiently([&] { return all().read({"region-type", "q"}); });
    ASSERT_EQ(partly.size(), 2U);
    EXPECT_NE(partly[0].problem, "");
    EXPECT_EQ(partly[1].text, "4");
}

TEST_P(SettingsByName, WhatOnlyTheFamilyIsWantingForIsShownAsThat)
{
    const auto everything = patiently([&] { return settings().read(); });
    std::vector<std::string> wanting;
    for (const auto& reading : everything)
        if (reading.problem.find("(family)") != std::string::npos) wanting.push_back(reading.name);
    EXPECT_THAT(wanting, ElementsAre("temperature", "reader-password"));
    EXPECT_EQ(commands(0x92), 0U);
    EXPECT_THAT(error_of([&] { patiently([&] { settings().get("temperature"); }); })->what(),
                HasSubstr("standard or relay or multiplexer (family)"));
    EXPECT_EQ(patiently([&] { return settings({.family = ReaderFamily::standard}).get("temperature"); }),
              "25");
}

TEST_P(SettingsByName, HowFarAReadingIsIsTold)
{
    std::vector<std::size_t> told;
    SettingsOptions options{.family = ReaderFamily::standard};
    options.told = [&](std::size_t done, std::size_t all) {
        told.push_back(done);
        EXPECT_EQ(all, 3U);
    };
    patiently([&] {
        told.clear();
        settings(options).read({"q", "session", "beep"});
    });
    EXPECT_THAT(told, ElementsAre(0, 1, 2, 3));
    Profile profile;
    for (const char* name : {"q", "session", "dwell-time"}) profile.set(name, "3");
    const auto at_second = [&](std::size_t done, std::size_t) {
        if (done == 2) throw std::runtime_error("enough");
    };
    const std::uint64_t written = commands(0x81);
    options.told = at_second;
    EXPECT_THROW(patiently([&] { settings(options).apply(profile); }), std::runtime_error);
    EXPECT_EQ(commands(0x81), written);
    EXPECT_EQ(patiently([&] { return all().get("q"); }), "4");
}

TEST_P(SettingsByName, ShortFormsOfPortsAndBands)
{
    set("antennas", "1-2,4");
    EXPECT_EQ(get("antennas"), "1,2,4");
    set("region", "EU");
    EXPECT_EQ(get("region"), "eu:0-14");
    for (const char* wrong : {"2-1", "1-", "-1", "1-65", "0-2", "1-2-3"})
        EXPECT_THAT(refused_text([&] { all().set("antennas", wrong); }), HasSubstr("use ports from 1 to 64"));
    EXPECT_THAT(patiently([&] { return all().set({{"antennas", "3"}, {"q", "2"}}); }), ElementsAre("3", "2"));
}

TEST_P(SettingsByName, WhatSharesACommandKeepsItsValue)
{
    set("q", "9");
    set("session", "3");
    EXPECT_EQ(device->settings().q, 9);
    patiently([&] { all().set({{"q", "5"}, {"session", "auto"}}); });
    EXPECT_EQ(device->settings().q, 5);
    EXPECT_EQ(device->settings().session, 255);
    set("report-condition", "1");
    set("report-pause", "7");
    EXPECT_EQ(device->settings().report_condition, 1);
    set("mask", "epc:32:E280");
    set("filter-time", "4");
    EXPECT_EQ(get("mask"), "epc:32:E280");
    EXPECT_EQ(device->settings().q, 5);
}

TEST_P(SettingsByName, UntilTheRestartWhereThatIsOffered)
{
    patiently([&] { all().set("region", "eu", Lasting::until_restart); });
    patiently([&] { all().set("antennas", "2", Lasting::until_restart); });
    patiently([&] { all().set("parameter-1", "AB", Lasting::until_restart); });
    EXPECT_EQ(get("region"), "eu:0-14");
    device->restart();
    EXPECT_NE(get("region"), "eu:0-14");
    EXPECT_EQ(get("antennas"), "1,2,3,4");
    EXPECT_EQ(get("parameter-1"), "");
    EXPECT_EQ(error_of([&] { all().set("q", "3", Lasting::until_restart); })->code(), Errc::invalid_value);
    EXPECT_NE(device->settings().q, 3);
}

TEST_P(SettingsByName, APowerForEachPortOrOneForAll)
{
    set("power", "27");
    EXPECT_THAT(device->settings().power, ElementsAre(27, 27, 27, 27));
    for (const char* wrong : {"20,21,22", "20,21,22,23,24"}) {
        const auto error = error_of([&] { patiently([&] { all().set("power", wrong); }); });
        EXPECT_EQ(error->code(), Errc::invalid_value);
        EXPECT_THAT(error->what(), HasSubstr("4 ports"));
    }
    EXPECT_EQ(get("power"), "27");
    patiently([&] { reader().radio().set_power(Dbm(9), Port(3)); });
    EXPECT_EQ(get("power"), "27,27,9,27");
}

TEST_P(SettingsByName, AReaderThatTellsOnePowerHasOneForAll)
{
    answer_with(0x94, unknown_command);
    set("power", "21");
    EXPECT_EQ(get("power"), "21");
}

TEST_P(SettingsByName, RegionsOfAllKinds)
{
    set("region", "custom:866000:200:5");
    EXPECT_EQ(device->settings().region.channels, 5);
    EXPECT_EQ(get("region"), "custom:866000:200:5");
    EXPECT_EQ(patiently([&] { return reader().radio().region(); }).to->value, 866'800U);
    set("region", "us");
    EXPECT_EQ(get("region"), "us:0-49");
    EXPECT_THAT(refused_text([&] { all().set("region", "moon:1-2"); }), HasSubstr("no such band"));
    EXPECT_THAT(refused_text([&] { all().set("region", "us:5-2"); }), HasSubstr("first"));
    EXPECT_THAT(refused_text([&] { all().set("region", "us:0-50"); }), HasSubstr("0 to 49"));
}

// -- what the reader says itself

TEST_P(SettingsByName, AValueThatTheReaderDoesNotTakeIsNoSuccess)
{
    // Without their bit the two-way commands tell.
    for (const char* name :
         {"power-mode", "heartbeat-time", "retries", "protocol", "tag-function", "profile"}) {
        const auto error = error_of([&] { patiently([&] { settings().set(name, "1"); }); });
        EXPECT_EQ(error->code(), Errc::refused) << name;
        EXPECT_THAT(error->what(), HasSubstr("two_way")) << name;
    }
    EXPECT_EQ(error_of([&] { patiently([&] { settings().set("antenna-count", "9"); }); })->code(),
              Errc::refused);
    EXPECT_EQ(error_of([&] { settings().get("retries"); })->code(), Errc::no_such_feature);
    sim::Fault other = sim::Fault::set_byte(5, 0x77);
    other.command = 0x7F;
    device->inject(other);
    EXPECT_THAT(error_of([&] { patiently([&] { all().set("long-profile", "0102"); }); })->what(),
                HasSubstr("0177"));
}

TEST_P(SettingsByName, WhatIsReadBackDecides)
{
    sim::Fault other = sim::Fault::set_byte(4, 3);
    other.command = 0x82;
    other.skip = 1;  // asked before the change, for the session
    device->inject(other);
    const auto error = error_of([&] { all().set("q", "9"); });
    if (error->code() == Errc::no_answer) return;  // a busy machine
    EXPECT_EQ(error->code(), Errc::refused);
    EXPECT_THAT(error->what(), HasSubstr("took 9 and has 3 now"));
}

TEST_P(SettingsByName, NoErrorShowsASecret)
{
    sim::Fault other = sim::Fault::set_byte(4, 0xA7);
    other.command = 0x7E;
    other.count = 0;
    device->inject(other);
    const auto error = error_of([&] { patiently([&] { all().set("user-password", "11223344"); }); });
    EXPECT_EQ(error->code(), Errc::refused);
    EXPECT_THAT(error->what(), Not(HasSubstr("223344")));
}

TEST_P(SettingsByName, AChangeThatCannotBeReadBackMayHaveBeenMade)
{
    sim::Fault silence = sim::Fault::silence(0);
    silence.skip = 1;
    device->inject(silence);
    EXPECT_EQ(error_of([&] { all().set("reply-delay", "3"); })->outcome(), Outcome::unknown);
    EXPECT_EQ(device->settings().reply_delay, 3);
}

TEST_P(SettingsByName, AChangeWhoseAnswerIsLostMayHaveBeenMade)
{
    lose(0x40, 1);
    const auto error = error_of([&] { all().set("beep", "off"); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(error->what(), HasSubstr("set beep"));
    EXPECT_EQ(commands(0x40), 1U) << "nothing is repeated";
    EXPECT_EQ(get("beep"), "off");
    answer_with(0x27, 0xFF, 1);
    const auto refused = error_of([&] {
        patiently([&] { all().set({{"beep", "on"}, {"reply-delay", "3"}}); });
    });
    EXPECT_EQ(refused->code(), Errc::refused);
    EXPECT_EQ(refused->outcome(), Outcome::partial);
    EXPECT_THAT(refused->what(), HasSubstr("set before: beep"));
}

// -- readers that report by themselves

TEST_P(SettingsByName, AnAnswerIsPickedOutOfReports)
{
    sim::Scenario scenario = make_scenario(4);
    scenario.reader.report_rate = 50;
    scenario.reader.air_time = 1;
    connect(scenario);
    const auto reports = [this] {
        const std::uint64_t before = device->counters().reports_sent;
        return device->wait_until([=](const sim::Counters& now) { return now.reports_sent > before + 5; });
    };
    EXPECT_EQ(patiently([&] { return all().set("work-mode", "active"); }), "active");
    ASSERT_TRUE(reports());
    for (const char* q : {"9", "3", "7"}) {
        const std::uint64_t written = commands(0x81);
        std::uint64_t attempts = 0;
        EXPECT_EQ(patiently([&] {
                      ++attempts;
                      return all().set("q", q);
                  }),
                  q);
        EXPECT_LE(commands(0x81), written + attempts) << "nothing is repeated";
        EXPECT_EQ(patiently([&] { return all().get("q"); }), q);
        ASSERT_TRUE(reports());
    }
    EXPECT_EQ(patiently([&] { return all().set("work-mode", "answering"); }), "answering");
}

TEST_P(SettingsByName, AReportInPlaceOfAnAcknowledgementIsFollowedByAQuestion)
{
    const sim::Bytes report = frame_of(0xEE, {1, 1, 2, 0xE2, 0, 0x40});
    const auto set_with_report = [&](const std::string& value) {
        lose(0x40, 1);
        const std::uint64_t before = commands(0x40);
        const std::jthread reporting([&, before] {
            if (device->wait_for_command(0x40, before + 1)) device->send_raw(report);
        });
        return all().set("beep", value);
    };
    EXPECT_EQ(patiently([&] { return set_with_report("off"); }), "off");
    EXPECT_EQ(device->settings().beep, 0);
    const auto error = error_of([&] {
        sim::Fault other = sim::Fault::set_byte(13, 0);  // the beeper, as the reader tells it
        other.command = 0x21;
        other.count = 0;
        device->inject(other);
        set_with_report("on");
    });
    EXPECT_EQ(error->outcome(), Outcome::unknown);
}

TEST_P(SettingsByName, AQuestionThatReportsCameInPlaceOfIsAskedAgain)
{
    constexpr unsigned reports = 6;
    const sim::Bytes report = frame_of(0xEE, {1, 1, 2, 0xE2, 0, 0x40});
    const auto get_amid_reports = [&] {
        device->clear_faults();
        lose(0x82, reports);
        const std::uint64_t before = commands(0x82);
        std::vector<std::jthread> reporting;
        for (unsigned i = 1; i <= reports; ++i)
            reporting.emplace_back([&, before, i] {
                if (device->wait_for_command(0x82, before + i)) device->send_raw(report);
            });
        return all().get("q");
    };
    EXPECT_EQ(patiently(get_amid_reports), "4");
}

TEST_P(SettingsByName, AReaderThatIsSilentWhileItReportsHasTakenItsWorkMode)
{
    lose(0x36, 0);
    EXPECT_EQ(patiently([&] { return all().set("work-mode", "active"); }), "active");
    EXPECT_EQ(device->settings().work_mode, 1);
    patiently([&] { reader().modes().set_work_mode(WorkMode::triggered); });
    EXPECT_EQ(device->settings().work_mode, 2);
    EXPECT_EQ(error_of([&] { all().set("work-mode", "answering"); })->outcome(), Outcome::unknown)
        << "it has nothing to report now";
}

TEST_P(SettingsByName, WhatIsSetWithTheWorkModeIsReadBackBeforeTheReaderReports)
{
    patiently([&] { all().set({{"work-mode", "active"}, {"q", "9"}}); });
    const auto error = error_of([&] {
        patiently([&] {
            device->clear_faults();
            answer_with(0x81, 0, 1);
            all().set({{"work-mode", "triggered"}, {"q", "3"}});
        });
    });
    EXPECT_EQ(error->code(), Errc::refused);
    EXPECT_EQ(device->settings().work_mode, 1) << "not tried";
}

// -- families

TEST_P(SettingsByName, NothingOfAnotherFamilyIsSent)
{
    connect_family(sim::ReaderFamily::relay);
    patiently([&] { settings().set("filter-time", "30"); });
    EXPECT_EQ(device->settings().filter_time, 30);
    EXPECT_EQ(device->panel().closed_relays, 0);
    EXPECT_EQ(commands(0x92), 0U);

    for (const char* name : {"temperature", "reader-password"})
        EXPECT_EQ(error_of([&] { patiently([&] { return settings().get(name); }); })->code(),
                  Errc::invalid_value);
    EXPECT_EQ(commands(0x92), 0U);

    connect_family(sim::ReaderFamily::multiplexer);
    EXPECT_EQ(patiently([&] { return settings().get("gpo-time"); }), "0x00");
    const auto error = error_of([&] { patiently([&] { settings().set("gpo-time", "3"); }); });
    EXPECT_THAT(error->what(), HasSubstr("family"));
    EXPECT_EQ(commands(0xB0), 0U) << "it would have switched an antenna";
    EXPECT_EQ(error_of([&] { patiently([&] { settings().set("antenna-switch", "1,2"); }); })->code(),
              Errc::invalid_value);
    patiently([&] { settings({.family = ReaderFamily::multiplexer}).set("antenna-switch", "1,2"); });
    EXPECT_EQ(device->settings().switch_antenna, 2);
}

TEST_P(SettingsByName, AFamilyThatTheReaderTellsIsFoundOut)
{
    connect_family(sim::ReaderFamily::filter);
    patiently([&] { settings().set("filter-time", "30"); });
    EXPECT_EQ(commands(0x92), 1U);
    patiently([&] { settings().set("filter-rssi", "90"); });
    patiently([&] { settings().set("filter-reads", "2"); });
    EXPECT_EQ(patiently([&] { return settings().get("filter-rssi"); }), "90");
    EXPECT_EQ(patiently([&] { return settings().get("filter-window"); }), "30");
    EXPECT_EQ(error_of([&] { patiently([&] { return settings().get("gpo-time"); }); })->code(),
              Errc::no_such_feature);
    EXPECT_EQ(error_of([&] { patiently([&] { settings().set("gpo-time", "3"); }); })->code(),
              Errc::invalid_value);
    patiently([&] { settings().set({{"gpo-time", "3"}, {"gpo-follows", "1"}}); });
    EXPECT_THAT(device->settings().output_parameters, ElementsAre(1, 3));
    const SettingsOptions wrong{.family = ReaderFamily::standard};
    EXPECT_THAT(error_of([&] { patiently([&] { settings(wrong).set("filter-time", "3"); }); })->what(),
                HasSubstr("standard"));
    EXPECT_EQ(device->settings().filter_time, 30);

    connect_family(sim::ReaderFamily::mobile);
    EXPECT_EQ(error_of([&] { patiently([&] { return settings().get("filter-rssi"); }); })->code(),
              Errc::no_such_feature);
}

// One code asks for the temperature, sets a filter time, tells a password and closes a relay.
TEST_P(SettingsByName, WhatSharesACodeIsAskedOfTheFamilyThatHasIt)
{
    constexpr std::uint8_t shared = 0x92;
    connect_family(sim::ReaderFamily::mobile);
    const std::uint8_t filter_time = device->settings().filter_time;
    EXPECT_EQ(patiently([&] { return settings().get("temperature"); }), "25");
    patiently([&] { settings().set("reader-password", "A1B2C3D4"); });
    EXPECT_EQ(patiently([&] { return settings().get("reader-password"); }), "A1B2C3D4");
    EXPECT_EQ(device->settings().filter_time, filter_time);

    connect_family(sim::ReaderFamily::filter);
    for (const char* name : {"temperature", "reader-password"})
        EXPECT_EQ(error_of([&] { patiently([&] { return settings().get(name); }); })->code(),
                  Errc::no_such_feature)
            << name;
    EXPECT_EQ(commands(shared), 0U);
    patiently([&] { settings().set("filter-time", "30"); });
    EXPECT_EQ(commands(shared), 1U);

    connect_family(sim::ReaderFamily::relay);
    const SettingsOptions relay{.family = ReaderFamily::relay};
    EXPECT_EQ(error_of([&] { patiently([&] { return settings(relay).get("temperature"); }); })->code(),
              Errc::no_such_feature);
    EXPECT_EQ(commands(shared), 0U);
    EXPECT_EQ(device->panel().closed_relays, 0);
}

// -- the way to the reader

TEST_P(SettingsByName, ANewAddressIsFollowed)
{
    EXPECT_EQ(patiently([&] { return all().set("address", "11"); }), "11");
    EXPECT_EQ(device->settings().address, 11);
    EXPECT_EQ(get("beep"), "on");
    EXPECT_EQ(reader().info().address, 11);
}

TEST_P(SettingsByName, AnAddressThatIsTakenOnTheBusIsNotGiven)
{
    connect(make_scenario(1));
    sim::Scenario second = make_scenario(2);
    second.reader.address = 0x0B;
    sim::Scenario third = make_scenario(0);
    third.reader.address = 0x0C;
    sim::Reader& neighbour = simulator.add_reader(second);
    neighbour.share(*device);
    simulator.add_reader(third).share(*device);
    lose(0x24, 0);  // what makes it look as if the neighbour had become this one
    const auto refused = [&] {
        const auto error = error_of([&] { patiently([&] { all().set("address", "11"); }); });
        EXPECT_EQ(error->code(), Errc::invalid_value);
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        EXPECT_THAT(error->what(), HasSubstr("already"));
        EXPECT_EQ(commands(0x24), 0U);
        return reader().inventory().reads.size();  // right behind the refusal
    };
    EXPECT_EQ(patiently(refused), 1U) << "of its own field";
    EXPECT_EQ(neighbour.settings().address, 0x0B);
    set("beep", "off");
    EXPECT_EQ(device->settings().beep, 0);
    EXPECT_EQ(neighbour.settings().beep, 1);

    // A free one, and the answer lost: the old one has to be silent.
    EXPECT_EQ(patiently([&] { return all().set("address", "20"); }), "20");
    EXPECT_EQ(device->settings().address, 20);
}

TEST_P(SettingsByName, OfThreeOnABusOneIsGivenAnotherAddress)
{
    connect(make_scenario(0));
    const auto add = [&](std::uint8_t address) {
        sim::Scenario scenario = make_scenario(0);
        scenario.reader.address = address;
        sim::Reader& other = simulator.add_reader(scenario);
        other.share(*device);
        return &other;
    };
    sim::Reader* const others[] = {add(0x0B), add(0x0C)};
    EXPECT_EQ(patiently([&] { return all().set("address", "20"); }), "20");
    set("beep", "off");
    EXPECT_EQ(device->settings().address, 20);
    EXPECT_EQ(device->settings().beep, 0);
    for (const sim::Reader* const other : others) {
        EXPECT_EQ(other->settings().address, other == others[0] ? 0x0B : 0x0C);
        EXPECT_EQ(other->settings().beep, 1);
        EXPECT_EQ(other->counters().commands[0x24] + other->counters().commands[0x40], 0U);
    }
}

TEST_P(SettingsByName, AReaderThatDidNotHearOfItsNewAddressIsToldOf)
{
    sim::Fault deaf = sim::Fault::silence(1);
    deaf.command = 0x24;
    device->inject(deaf);
    const auto error = error_of([&] { all().set("address", "20"); });
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    EXPECT_THAT(error->what(), HasSubstr("still answers at its old address 10"));
    EXPECT_EQ(get("beep"), "on");
}

TEST_P(SettingsByName, AReaderIsNotTakenForAnotherThatComesToItsNewAddress)
{
    sim::Scenario second = make_scenario(0);
    second.reader.address = 20;
    sim::Reader& neighbour = simulator.add_reader(second);
    neighbour.share(*device);
    neighbour.inject(sim::Fault::silence(2));  // as long as it is looked for
    sim::Fault deaf = sim::Fault::silence(1);
    deaf.command = 0x24;
    device->inject(deaf);
    const auto error = error_of([&] { all().set("address", "20"); });
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(error->what(), HasSubstr("which one is meant"));
    EXPECT_EQ(device->settings().address, 10);
    EXPECT_EQ(neighbour.settings().address, 20);
}

TEST_P(SettingsByName, AReaderThatAnswersNowhereIsToldOf)
{
    sim::Fault off = sim::Fault::silence(0);
    off.skip = 0;
    lose(0x24, 1);
    std::thread away([&] {
        if (device->wait_for_command(0x24)) device->inject(off);
    });
    const auto error = error_of([&] { all().set("address", "20"); });
    away.join();
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(error->what(), HasSubstr("neither"));
}

TEST_P(SettingsByName, ALinkThatIsLostBehindANewAddressLeavesItUnknown)
{
    sim::Fault leaving = sim::Fault::hang_up(0);
    leaving.command = 0x21;
    leaving.skip = 1;  // the one before the change
    device->inject(leaving);
    const auto error = error_of([&] { all().set("address", "20"); });
    if (commands(0x24) == 0) return;  // a busy machine
    EXPECT_EQ(error->code(), Errc::lost);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(error->what(), HasSubstr("it was sent"));
    EXPECT_EQ(device->settings().address, 20);
}

class ProfileOnABus : public SettingsByName {
  protected:
    void SetUp() override
    {
        SettingsByName::SetUp();
        for (const std::uint8_t address : {0x0B, 0x0C}) add_neighbour(address);
    }
    sim::Reader& add_neighbour(std::uint8_t address)
    {
        sim::Scenario scenario = make_scenario(0);
        scenario.reader.address = address;
        neighbours.push_back(&simulator.add_reader(scenario));
        neighbours.back()->share(*device);
        return *neighbours.back();
    }
    // The beep and Q are written before the address, the work mode behind it.
    std::map<std::string, FailedSetting> failures_with_address(const std::string& address)
    {
        Profile profile;
        profile.set("beep", "off");
        profile.set("q", "9");
        profile.set("work-mode", "triggered");
        profile.set("address", address);
        const auto report = patiently([&] { return all().apply(profile, {.identity = true}); });
        EXPECT_EQ(report.changed.size() + report.failed.size() + report.same.size(), 4U);
        std::map<std::string, FailedSetting> out;
        for (const auto& failure : report.failed) out[failure.name] = failure;
        return out;
    }
    void expect_on_device(int address, int work_mode) const
    {
        EXPECT_EQ(device->settings().address, address);
        EXPECT_EQ(device->settings().work_mode, work_mode);
        EXPECT_EQ(device->settings().beep, 0);
        EXPECT_EQ(device->settings().q, 9);
    }
    // They were asked who they are, and nothing else.
    void expect_neighbours_untouched() const
    {
        for (const sim::Reader* const neighbour : neighbours) {
            const sim::Counters now = neighbour->counters();
            EXPECT_EQ(now.requests, now.commands[0x21]);
        }
    }
    void make_deaf_to_its_new_address()
    {
        sim::Fault deaf = sim::Fault::silence(1);
        deaf.command = 0x24;
        device->inject(deaf);
    }

    std::vector<sim::Reader*> neighbours;
};
INSTANTIATE_TEST_SUITE_P(Links, ProfileOnABus, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(ProfileOnABus, FollowsAnAddressWhoseAnswerIsLost)
{
    lose(0x24, 1);
    EXPECT_THAT(failures_with_address("20"), IsEmpty());
    expect_on_device(20, 2);
    expect_neighbours_untouched();
}

TEST_P(ProfileOnABus, StaysWhereItIsWhenTheAddressIsTaken)
{
    lose(0x24, 0);
    const auto failed = failures_with_address("11");
    ASSERT_THAT(failed, ElementsAre(testing::Key("address")));
    EXPECT_EQ(failed.at("address").outcome, Outcome::nothing);
    EXPECT_THAT(failed.at("address").text, HasSubstr("already"));
    EXPECT_EQ(commands(0x24), 0U);
    expect_on_device(10, 2);
    expect_neighbours_untouched();
}

// Nor is one that reported by itself set back: it might be the other one.
TEST_P(ProfileOnABus, EndsWhereAnotherReaderComesToTheAddress)
{
    patiently([&] { reader().modes().set_work_mode(WorkMode::active); });
    add_neighbour(20).inject(sim::Fault::silence(2));  // as long as it is looked for
    make_deaf_to_its_new_address();
    const auto failed = failures_with_address("20");
    EXPECT_EQ(failed.at("address").outcome, Outcome::unknown);
    EXPECT_THAT(failed.at("address").text, HasSubstr("which one is meant"));
    EXPECT_THAT(failed.at("work-mode").text, HasSubstr("not tried"));
    EXPECT_THAT(failed.at("work-mode").text, HasSubstr("it was active, and may not be now"));
    expect_on_device(10, 0);
    expect_neighbours_untouched();
}

TEST_P(ProfileOnABus, EndsWhereTheReaderAnswersNowhere)
{
    lose(0x24, 1);
    std::thread away([&] {
        if (device->wait_for_command(0x24)) device->inject(sim::Fault::silence(0));
    });
    const auto failed = failures_with_address("20");
    away.join();
    EXPECT_EQ(failed.at("address").outcome, Outcome::unknown);
    EXPECT_THAT(failed.at("address").text, HasSubstr("neither"));
    expect_on_device(20, 0);
    expect_neighbours_untouched();
}

TEST_P(SettingsByName, ANewSpeedIsFollowedOnASerialLine)
{
    const bool is_serial = GetParam() == Link::pty;
    if (is_serial) {
        EXPECT_EQ(get("baud"), "115200");
    }
    patiently([&] { all().set("baud", "57600"); });
    EXPECT_EQ(device->settings().baud, 5);
    EXPECT_EQ(get("beep"), "on");
    if (is_serial) {
        EXPECT_EQ(get("baud"), "57600");
        answer_with(0x28, 0xFF);
        Profile profile;
        profile.set("baud", "9600");
        profile.set("work-mode", "triggered");
        const auto report = patiently([&] { return all().apply(profile, {.identity = true}); });
        EXPECT_THAT(report.changed, ElementsAre(Field(&Change::name, "work-mode")))
            << "a speed that is refused is no way that is lost";
    } else {
        EXPECT_EQ(error_of([&] { all().get("baud"); })->code(), Errc::no_such_feature);
    }
}

TEST_P(SettingsByName, ALinkThatIsOpenedAgainHasTheSpeedThatWasSet)
{
    constexpr std::uint8_t code_of_57600 = 5;
    opened.reset();
    const auto inside = patiently([&] { return std::make_unique<ReaderInside>(open_link(parse_url(url))); });
    patiently([&] { set_values(*inside, {{"baud", {code_of_57600}}}); });
    EXPECT_EQ(device->settings().baud, code_of_57600);
    patiently([&] { inside->reopen(); });
    if (GetParam() == Link::pty) {
        EXPECT_EQ(inside->line_speed(), code_of_57600) << "the URL has another one";
    }
    EXPECT_EQ(patiently([&] { return inside->ask_information().address; }), 10);
}

}  // namespace
}  // namespace tagwire::test
