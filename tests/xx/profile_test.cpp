// Profiles: taken from readers, compared, applied, and in files.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

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
const SettingsOptions standard{.family = ReaderFamily::standard, .two_way = true};

template <class Value> std::string text_of(const Value& value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

template <class Notes> std::vector<std::string> names_of(const Notes& notes)
{
    std::vector<std::string> names;
    for (const auto& note : notes) names.push_back(note.name);
    return names;
}

class Profiles : public VirtualReader {
  protected:
    void SetUp() override { connect(make_scenario(0)); }

    Settings settings() { return reader().settings(standard); }
    Profile snapshot(const SnapshotOptions& options = {})
    {
        return patiently([&] { return settings().snapshot(options); });
    }
    Comparison compare(const Profile& profile, const ApplyOptions& options = {})
    {
        return patiently([&] { return settings().compare(profile, options); });
    }
    ApplyReport apply(const Profile& profile, const ApplyOptions& options = {})
    {
        return patiently([&] { return settings().apply(profile, options); });
    }
    std::uint64_t commands(std::uint8_t code) const { return device->counters().commands[code]; }
    void lose(std::uint8_t command, std::uint64_t count)
    {
        sim::Fault fault = sim::Fault::lose(count);
        fault.command = command;
        device->inject(fault);
    }
};
INSTANTIATE_TEST_SUITE_P(Links, Profiles, testing::Values(Link::tcp, Link::pty), link_name);

// A value for each setting that is kept, none of them the virtual reader's own.
const Profile& another()
{
    static const Profile profile = Profile::parse(R"(
[settings]
reply-delay = 5
power-mode = 2
heartbeat-time = 30
scan-time = 2500
q = 7
session = "auto"
retries = 5
protocol = 2
tag-function = 3
long-profile = "0123"
dense-reader-mode = "on"
region = "custom:866000:200:5"
dwell-time = 0x20
dwell-repeats = 2
power = "20,21,22,23"
write-power = 25
antennas = "1,3"
antenna-count = 8
antenna-check = "on"
eas-sensitivity = 7
report-condition = 1
report-pause = 4
inventory-interval = 5
tag-protocol = 3
mask = "epc:300:ABC0/12"
trigger-time = 9
tid-word = 2
tid-words = 6
filter-time = 12
beep = "off"
pulse-output = 3
gpo-follows = 1
gpo-time = 10
wiegand-format = 1
wiegand-pause = 30
wiegand-width = 10
wiegand-distance = 15
wiegand-offset = 2
trigger-0 = "1,2,3,4,5,6"
trigger-15 = "6,5,4,3,2,1"
parameter-0 = "C0FFEE"
parameter-255 = "01"
work-mode = "triggered"
[identity]
serial-number = "01A2B3C4"
address = 20
[secrets]
user-password = "11223344"
reader-password = "A1B2C3D4"
)");
    return profile;
}

TEST_P(Profiles, BringEverySettingToAnotherReader)
{
    constexpr ApplyOptions all{.identity = true, .secrets = true};
    const auto report = apply(another(), all);
    for (const auto& failure : report.failed) ADD_FAILURE() << failure;
    EXPECT_EQ(report.changed.size(), another().values().size());
    EXPECT_EQ(device->settings().address, 20);
    EXPECT_EQ(device->settings().work_mode, 2);
    EXPECT_TRUE(compare(another(), all).same());
    const Profile taken = snapshot({.secrets = true});
    EXPECT_TRUE(taken.complete());
    for (const auto& [name, text] : another().values())
        if (const std::string* const now = taken.find(name); now == nullptr || *now != text)
            ADD_FAILURE() << name << " is not " << text;

    connect(make_scenario(0));
    EXPECT_EQ(apply(taken, all).failed.size(), 0U);
    Profile copy = snapshot({.secrets = true});
    copy.remove("baud");
    Profile original = taken;
    original.remove("baud");
    EXPECT_EQ(copy.to_string(), original.to_string());
    EXPECT_TRUE(apply(taken, all).changed.empty());
}

TEST_P(Profiles, LeaveAloneWhatMakesAReaderThisOne)
{
    Profile profile = another();
    profile.set("power-converter", "9");
    const auto report = apply(profile);
    EXPECT_TRUE(report.ok());
    EXPECT_THAT(names_of(report.skipped), UnorderedElementsAre("serial-number", "address", "user-password",
                                                               "reader-password", "power-converter"));
    EXPECT_EQ(device->settings().address, 0x0A);
    EXPECT_THAT(device->settings().serial, ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(device->settings().user_password, ElementsAre(0, 0, 0, 0));
    EXPECT_EQ(device->settings().dac, 0);

    patiently([&] { settings().set("user-password", "01020304"); });
    EXPECT_EQ(snapshot().find("user-password"), nullptr);
    EXPECT_THAT(*snapshot({.secrets = true}).find("user-password"), "01020304");
    EXPECT_THAT(*snapshot().find("power-converter"), "0x00");
    const auto differences = compare(another(), {.secrets = true});
    EXPECT_THAT(names_of(differences), Contains("user-password"));
    for (const auto& change : differences) EXPECT_THAT(text_of(change), Not(HasSubstr("01020304")));
}

TEST_P(Profiles, OfAnotherTypeOrFirmwareAreRefused)
{
    const std::pair<const char*, const char*> others[] = {
        {"type = 0x20\n", "the profile is of type 32, this reader has 15"},
        {"type = 15\nfirmware = \"2.1\"\n", "the profile is of firmware 2.1, this reader has 1.0"}};
    for (const auto& [lines, told] : others) {
        SCOPED_TRACE(told);
        const Profile profile =
            Profile::parse("[reader]\n" + std::string(lines) + "[settings]\nbeep = \"off\"\n");
        patiently([&] { settings().set("beep", "on"); });
        const std::uint64_t before = commands(0x40);
        for (const bool applies : {false, true}) {
            const auto error = error_of([&] {
                patiently(
                    [&] { applies ? (void)settings().apply(profile) : (void)settings().compare(profile); });
            });
            EXPECT_EQ(error->code(), Errc::invalid_value);
            EXPECT_EQ(error->outcome(), Outcome::nothing);
            EXPECT_THAT(error->what(), HasSubstr(told));
        }
        EXPECT_EQ(commands(0x40), before);
        const auto report = apply(profile, {.other_model = true});
        EXPECT_TRUE(report.ok());
        ASSERT_THAT(report.skipped, SizeIs(1));
        EXPECT_EQ(report.skipped[0].text, told);
        EXPECT_EQ(device->settings().beep, 0);
    }
    EXPECT_TRUE(compare(Profile::parse("[reader]\ntype = 15\nfirmware = \"1.0\"\n")).same());
}

TEST_P(Profiles, ShowWhatDiffersAndChangeNothing)
{
    const Profile before = snapshot();
    EXPECT_EQ(before.type(), 0x0F);
    EXPECT_EQ(before.firmware(), (Version{1, 0}));
    EXPECT_TRUE(compare(before).same());
    patiently([&] { settings().set("power", "20"); });
    patiently([&] { settings().set("beep", "off"); });
    const auto differences = compare(before);
    ASSERT_EQ(differences.size(), 3U);
    EXPECT_EQ(text_of(*differences.begin()), "power: 20 dBm -> 30 dBm");
    EXPECT_EQ(text_of(differences.changes[1]), "write-power: 20 dBm -> 30 dBm") << "it follows the power";
    EXPECT_EQ(text_of(differences.changes[2]), "beep: off -> on");
    EXPECT_EQ(device->settings().beep, 0);
    const auto report = apply(before);
    EXPECT_THAT(names_of(report.changed), ElementsAre("power", "write-power", "beep"));
    EXPECT_THAT(report.same, Contains("region"));
}

TEST_P(Profiles, TellWhatTheReaderDidNotTake)
{
    Profile profile;
    profile.set("power", "40");
    profile.set("beep", "off");
    profile.set("q", "9");
    device->inject(sim::Fault::error(0x40, 0xFF, 0));
    const auto report = apply(profile);
    EXPECT_FALSE(report.ok());
    EXPECT_THAT(names_of(report.failed), UnorderedElementsAre("power", "beep"));
    EXPECT_THAT(names_of(report.changed), ElementsAre("q"));
    for (const auto& failure : report.failed)
        EXPECT_THAT(text_of(failure),
                    HasSubstr(failure.name == "power" ? "has 30, not 40" : "has on, not off"));
}

TEST_P(Profiles, ShowNoSecretInWhatTheReaderDidNotTake)
{
    constexpr std::uint8_t user_password = 0x7E;
    constexpr std::uint8_t reader_password = 0x92;
    Profile profile;
    profile.set("user-password", "11223344");
    profile.set("reader-password", "A1B2C3D4");
    profile.set("beep", "off");
    for (const std::uint8_t command : {user_password, reader_password}) {
        sim::Fault other = sim::Fault::set_byte(4, 0x5A);  // the first byte of what it tells
        other.command = command;
        other.count = 0;
        device->inject(other);
    }
    const auto texts_of = [](const auto& entries) {
        std::string out;
        for (const auto& entry : entries) out += text_of(entry) + '\n';
        return out;
    };
    constexpr ApplyOptions with_secrets{.secrets = true};
    const std::string differences = texts_of(compare(profile, with_secrets));
    EXPECT_THAT(differences, HasSubstr("user-password: ******** -> ********"));
    const auto report = apply(profile, with_secrets);
    EXPECT_THAT(names_of(report.failed), UnorderedElementsAre("user-password", "reader-password"));
    for (const auto& failure : report.failed) EXPECT_THAT(failure.text, HasSubstr("has another one"));
    const std::string texts = differences + texts_of(report.failed) + texts_of(report.changed);
    EXPECT_THAT(texts, HasSubstr("beep: on -> off"));
    for (const char* digits : {"11", "2233", "A1", "B2C3", "a1", "b2c3", "5A", "5a"})
        EXPECT_THAT(texts, Not(HasSubstr(digits)));
}

TEST_P(Profiles, AnAnswerThatWasLostIsNoFailureWhereTheReaderHasTheValue)
{
    Profile profile;
    profile.set("beep", "off");
    lose(0x40, 1);
    const auto report = apply(profile);
    EXPECT_TRUE(report.ok());
    EXPECT_EQ(commands(0x40), 1U);
    EXPECT_EQ(device->settings().beep, 0);
}

TEST_P(Profiles, EndWithAReportWhenTheWorkIsAborted)
{
    Profile profile;
    profile.set("q", "9");
    profile.set("reply-delay", "3");
    profile.set("write-power", "20");
    sim::Fault silence = sim::Fault::silence(0);
    silence.command = 0x27;
    device->inject(silence);
    std::thread aborting([&] {
        if (device->wait_for_command(0x27)) reader().abort();
    });
    const auto report = apply(profile);
    aborting.join();
    EXPECT_FALSE(report.ok());
    EXPECT_THAT(names_of(report.failed), Contains("reply-delay"));
    EXPECT_EQ(commands(0x27), 1U);
    device->clear_faults();
    EXPECT_TRUE(apply(profile).ok());
}

TEST_P(Profiles, EndWithAReportWhenTheReaderIsLost)
{
    Profile profile;
    profile.set("q", "9");
    profile.set("beep", "off");
    profile.set("reply-delay", "3");
    const std::uint64_t before = device->counters().requests;
    compare(profile);
    sim::Fault leaving = sim::Fault::silence(0);
    leaving.skip = device->counters().requests - before + 1;  // one is written
    device->inject(leaving);
    const auto report = settings().apply(profile);
    EXPECT_FALSE(report.ok());
    EXPECT_EQ(report.failed.size(), 3U) << "what was written before could not be read back";
    device->clear_faults();
    EXPECT_TRUE(patiently([&] { return settings().apply(profile); }).ok());
}

TEST_P(Profiles, AReaderThatReportsByItselfDoesSoAgain)
{
    sim::Scenario scenario = make_scenario(2);
    scenario.reader.report_rate = 50;
    scenario.reader.air_time = 1;
    connect(scenario);
    patiently([&] { reader().modes().set_work_mode(WorkMode::active); });
    ASSERT_TRUE(device->wait_until([](const sim::Counters& now) { return now.reports_sent > 2; }));
    Profile profile;
    profile.set("beep", "off");
    profile.set("q", "9");
    const auto report = apply(profile);
    for (const auto& failure : report.failed) ADD_FAILURE() << failure;
    EXPECT_EQ(device->settings().beep, 0);
    EXPECT_EQ(device->settings().work_mode, 1);
}

TEST_P(Profiles, TheWorkModeIsWrittenBehindEverythingThatIsAsked)
{
    patiently([&] { reader().modes().set_work_mode(WorkMode::active); });
    Profile profile;
    std::uint8_t last = 0;
    for (int attempt = 0; attempt < 20 && last != 0x35; ++attempt) {  // a busy machine asks once more
        profile.set("beep", attempt % 2 == 0 ? "off" : "on");
        EXPECT_TRUE(apply(profile).ok());
        last = device->last_request().at(2);
    }
    EXPECT_EQ(last, 0x35);
    EXPECT_EQ(device->settings().work_mode, 1);
}

TEST_P(Profiles, AReaderThatMayHaveStoppedItsReportsIsSetBack)
{
    patiently([&] { reader().modes().set_work_mode(WorkMode::active); });
    Profile profile;
    profile.set("beep", "off");
    const std::uint64_t before = commands(0x35);
    lose(0x35, 1);
    std::string text;
    for (int attempt = 0; attempt < 20 && commands(0x35) == before; ++attempt)
        text = error_of([&] { settings().apply(profile); })->what();
    EXPECT_THAT(text, HasSubstr("[work-mode was"));
    EXPECT_EQ(commands(0x35), before + 2);
    EXPECT_EQ(device->settings().work_mode, 1);
    EXPECT_EQ(device->settings().beep, 1);
}

// What is silent is struck behind the two that are written: the work mode and the beep.
class ReportingProfiles : public Profiles {
  protected:
    ApplyReport apply_to_one_that_falls_silent(sim::Fault silence)
    {
        Profile profile;
        for (int attempt = 0;; ++attempt) {  // a busy machine asks once more
            patiently([&] { reader().modes().set_work_mode(WorkMode::active); });
            profile.set("beep", attempt % 2 == 0 ? "off" : "on");
            const auto asked = [&] {
                return silence.command ? commands(*silence.command) : device->counters().requests - 2;
            };
            const std::uint64_t before = asked();
            compare(profile);
            silence.skip = asked() - before + (silence.command ? 0 : 2);
            device->inject(silence);
            const auto report = settings().apply(profile);
            if (!report.ok() || attempt == 20) return report;
            device->clear_faults();
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Links, ReportingProfiles, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(ReportingProfiles, OfAReaderThatFallsSilentIsSetBackToItsWorkMode)
{
    sim::Fault silence = sim::Fault::silence(0);
    silence.command = 0x21;
    const auto report = apply_to_one_that_falls_silent(silence);
    EXPECT_THAT(names_of(report.failed), ElementsAre("beep"));
    ASSERT_THAT(report.skipped, SizeIs(1));
    EXPECT_EQ(text_of(report.skipped[0]), "work-mode: it was set back to active");
    EXPECT_EQ(device->settings().work_mode, 1);
}

TEST_P(ReportingProfiles, OfAReaderThatStaysSilentTellThatItsWorkModeMayBeAnother)
{
    const auto report = apply_to_one_that_falls_silent(sim::Fault::silence(0));
    EXPECT_THAT(names_of(report.failed), UnorderedElementsAre("beep", "work-mode"));
    for (const auto& failure : report.failed) {
        EXPECT_EQ(failure.outcome, Outcome::unknown);
        if (failure.name == "work-mode") {
            EXPECT_EQ(failure.text, "it was active, and may not be now");
        }
    }
    EXPECT_EQ(device->settings().work_mode, 0);
}

TEST_P(Profiles, AReportInPlaceOfAnAnswerIsSilence)
{
    const sim::Bytes report = frame_of(0xEE, {1, 1, 2, 0xE2, 0, 0x40});
    lose(0x9E, 0);
    std::vector<std::thread> reporting;
    const std::uint64_t before = commands(0x9E);
    for (unsigned i = 1; i <= 2; ++i)
        reporting.emplace_back([&, i] {
            if (device->wait_for_command(0x9E, before + i)) device->send_raw(report);
        });
    const Profile profile = snapshot();
    for (auto& thread : reporting) thread.join();
    EXPECT_THAT(names_of(profile.silent()), Contains("region"));
    EXPECT_THAT(names_of(profile.refused()), Not(Contains("region")));
}

// -- what is refused, and what is not answered

TEST_P(Profiles, OfAReaderWithFewCommandsCostFewRequests)
{
    for (unsigned command = 0; command < 256; ++command)
        if (command != 0x21 && command != 0x36 && command != 0x81 && command != 0x82)
            device->inject(sim::Fault::error(static_cast<std::uint8_t>(command), unknown_command, 0));
    const std::uint64_t before = device->counters().requests;
    const Profile profile = snapshot();
    EXPECT_LT(device->counters().requests - before, 60U);
    EXPECT_EQ(commands(0xEB), 1U) << "256 settings share it";
    EXPECT_LE(commands(0xE6), 2U);
    EXPECT_TRUE(profile.complete());
    EXPECT_THAT(names_of(profile.refused()), Contains("parameter-255"));
    EXPECT_THAT(names_of(profile.refused()), Contains("region"));
    EXPECT_EQ(*profile.find("q"), "4");
}

TEST_P(Profiles, ARefusedCommandIsAskedTwiceAtMost)
{
    device->inject(sim::Fault::error(0xEB, 0xFF, 0));
    device->inject(sim::Fault::error(0x9E, 0xFF, 0));
    const Profile profile = snapshot();
    EXPECT_LE(commands(0xEB), 2U);
    EXPECT_LE(commands(0x9E), 2U);
    EXPECT_TRUE(profile.complete());
    const auto report = apply(another());
    EXPECT_FALSE(report.ok());
    EXPECT_THAT(names_of(report.failed), UnorderedElementsAre("region", "parameter-0", "parameter-255"));
    EXPECT_LE(commands(0x9E), 4U);
    EXPECT_TRUE(apply(another(), {.other_model = true}).ok()) << "another model may not have them";
}

TEST_P(Profiles, SilenceIsNoRefusal)
{
    lose(0x9E, 0);
    const Profile profile = snapshot();
    EXPECT_FALSE(profile.complete());
    EXPECT_THAT(names_of(profile.silent()), ElementsAre("region"));
    EXPECT_THAT(profile.refused(), IsEmpty());
    EXPECT_THAT(profile.to_string(), HasSubstr("no-answer = [\"region\"]\n"));
    const Profile loaded = Profile::parse(profile.to_string());
    EXPECT_FALSE(loaded.complete());
    EXPECT_THAT(names_of(loaded.silent()), ElementsAre("region"));
    EXPECT_EQ(loaded.to_string(), profile.to_string());
    const auto differences = compare(another());
    EXPECT_THAT(names_of(differences.silent), ElementsAre("region"));
    EXPECT_FALSE(differences.same());
    EXPECT_THAT(names_of(apply(another()).failed), ElementsAre("region"));
}

TEST_P(Profiles, AFamilyThatIsNotToldIsSilenceToo)
{
    lose(0xB1, 0);
    const Profile profile = patiently([&] { return reader().settings().snapshot(); });
    EXPECT_THAT(names_of(profile.silent()), Contains("gpo-time"));
    EXPECT_THAT(names_of(profile.silent()), Contains("filter-time"));
    Profile timed;
    timed.set("gpo-time", "3");
    const auto differences = patiently([&] { return reader().settings().compare(timed); });
    EXPECT_THAT(names_of(differences.silent), ElementsAre("gpo-time"));
    EXPECT_EQ(error_of([&] { reader().settings().set("filter-time", "3"); })->outcome(), Outcome::nothing);
    EXPECT_EQ(commands(0x75) + commands(0x92) + commands(0xB0), 0U);
}

TEST_P(Profiles, AreNotCompleteWhereTheFamilyIsNotKnown)
{
    const auto taken = [&](const SnapshotOptions& options) {
        return patiently([&] { return reader().settings().snapshot(options); });
    };
    EXPECT_TRUE(taken({}).complete());
    EXPECT_THAT(names_of(taken({.secrets = true}).silent()), ElementsAre("reader-password"));
    EXPECT_TRUE(snapshot({.secrets = true}).complete());
}

TEST_P(Profiles, OneLostAnswerIsAskedForAgain)
{
    lose(0x9E, 1);
    EXPECT_TRUE(snapshot().complete());
    device->inject(sim::Fault::silence(0));
    EXPECT_EQ(error_of([&] { settings().snapshot(); })->code(), Errc::no_answer);
}

TEST_P(Profiles, AValueThatCannotBeIsNotKept)
{
    sim::Fault odd = sim::Fault::set_byte(4, 0x63);
    odd.command = 0x7A;
    odd.count = 0;
    device->inject(odd);
    const Profile profile = snapshot();
    EXPECT_EQ(profile.find("write-power"), nullptr);
    ASSERT_THAT(profile.refused(), SizeIs(1));
    EXPECT_THAT(text_of(profile.refused()[0]), HasSubstr("write-power: the reader has 99"));
}

TEST_P(Profiles, OfReadersThatFilter)
{
    connect_family(sim::ReaderFamily::filter);
    patiently([&] { reader().filter().set_rule({std::chrono::seconds(3), 2, 90}); });
    const Profile profile = patiently([&] { return reader().settings().snapshot(); });
    EXPECT_EQ(*profile.find("filter-window"), "3");
    EXPECT_EQ(*profile.find("filter-rssi"), "90");
    EXPECT_EQ(profile.find("filter-time"), nullptr) << "told by filter-window";
    EXPECT_EQ(profile.find("gpo-time"), nullptr);
    connect_family(sim::ReaderFamily::filter);
    EXPECT_TRUE(patiently([&] { return reader().settings().apply(profile); }).ok());
    EXPECT_EQ(device->settings().least_rssi, 90);
    connect_family(sim::ReaderFamily::relay);
    const auto report = patiently([&] { return reader().settings().apply(profile); });
    EXPECT_THAT(names_of(report.failed),
                UnorderedElementsAre("filter-window", "filter-reads", "filter-rssi"));
    EXPECT_EQ(commands(0xB0), 0U);
}

TEST_P(Profiles, AreAppliedUntilTheRestartWhereThatIsOffered)
{
    Profile profile;
    profile.set("region", "eu:0-14");
    profile.set("beep", "off");
    EXPECT_TRUE(apply(profile, {.lasting = Lasting::until_restart}).ok());
    device->restart();
    EXPECT_THAT(names_of(compare(profile)), ElementsAre("region"));
}

// -- files

class ProfileFile : public testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directories(folder); }
    void TearDown() override { std::filesystem::remove_all(folder); }

    void write(const std::string& text) const { std::ofstream(path) << text; }
    std::string content() const
    {
        std::ostringstream out;
        out << std::ifstream(path).rdbuf();
        return out.str();
    }
    std::string refused(const std::string& text) const
    {
        write(text);
        const auto error = error_of([&] { Profile::load(path); });
        EXPECT_EQ(error->code(), Errc::invalid_text);
        return error->what();
    }
    std::size_t files() const
    {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
    }

    const std::string folder = testing::TempDir() + "tagwire_profiles_" + std::to_string(::getpid());
    const std::string path = folder + "/portal.toml";
};

TEST_F(ProfileFile, HoldsWhatWasSavedForItsOwnerOnly)
{
    another().save(path);
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    const Profile loaded = Profile::load(path);
    EXPECT_EQ(loaded.to_string(), another().to_string());
    EXPECT_THAT(content(), HasSubstr("[secrets]\nuser-password = \"11223344\""));
    EXPECT_THAT(content(), HasSubstr("scan-time = 2500\n"));
    EXPECT_THAT(content(), HasSubstr("[identity]\nserial-number = \"01A2B3C4\"\naddress = 20\n"));
    EXPECT_EQ(files(), 1U);
}

TEST_F(ProfileFile, IsKnownToBeWritableWithoutAReader)
{
    Profile::require_writable(path);
    EXPECT_EQ(files(), 0U);
    write("old");
    Profile::require_writable(path);
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(files(), 1U);
}

TEST_F(ProfileFile, IsReplacedWholeOrNotAtAll)
{
    write("old");
    std::filesystem::permissions(folder,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    if (::geteuid() != 0) {
        EXPECT_EQ(error_of([&] { another().save(path); })->code(), Errc::file);
        EXPECT_EQ(content(), "old");
    }
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    std::filesystem::create_symlink("portal.toml", folder + "/link");
    another().save(folder + "/link");
    EXPECT_TRUE(std::filesystem::is_symlink(folder + "/link"));
    EXPECT_EQ(content(), another().to_string());
    EXPECT_EQ(files(), 2U);
}

TEST_F(ProfileFile, WhatIsNoFileIsRefused)
{
    for (const std::string& wrong : {folder, folder + "/none/portal.toml", std::string("/dev/null")}) {
        const auto error = error_of([&] { another().save(wrong); });
        EXPECT_EQ(error->code(), Errc::file) << wrong;
        EXPECT_THAT(error->what(), HasSubstr(wrong));
        EXPECT_STREQ(error_of([&] { Profile::require_writable(wrong); })->what(), error->what());
    }
    EXPECT_EQ(error_of([&] { Profile::load(path); })->code(), Errc::file);
    EXPECT_EQ(error_of([&] { Profile::load(folder); })->code(), Errc::file);
    std::ofstream(path) << std::string((1U << 20U) + 1, '#');
    EXPECT_EQ(error_of([&] { Profile::load(path); })->code(), Errc::file);
    EXPECT_EQ(files(), 1U);
}

TEST_F(ProfileFile, IsRefusedWithTheLine)
{
    EXPECT_THAT(refused("[settings]\nbeep = \"off\"\npwoer = 20\n"), HasSubstr("portal.toml:3: "));
    EXPECT_THAT(refused("[settings]\npwoer = 20\n"), HasSubstr("power"));
    EXPECT_THAT(refused("[settings]\npower = 50\n"), HasSubstr("0 to 40 dBm"));
    EXPECT_THAT(refused("[settings]\npower = true\n"), HasSubstr("portal.toml:2: 'power' must be"));
    EXPECT_THAT(refused("[identity]\nserial-number = 1234\n"), HasSubstr("quotes"));
    EXPECT_THAT(refused("[settings]\nmask = \"epx:none\"\n"), HasSubstr("portal.toml:2: "));
    EXPECT_THAT(refused("[settings]\nfirmware = \"1.0\"\n"), HasSubstr("portal.toml:2: "));
    EXPECT_THAT(refused("[settings]\naddress = 5\n"), HasSubstr("another section"));
    EXPECT_THAT(refused("[identity]\nuser-password = \"11223344\"\n"), HasSubstr("another section"));
    EXPECT_THAT(refused("[secrets]\nuser-password = \"1122\"\n"), Not(HasSubstr("1122")));
    EXPECT_THAT(refused("[setings]\npower = 5\n"), HasSubstr("portal.toml:1: 'setings' is no section"));
    EXPECT_THAT(refused("power = 5\n"), HasSubstr("is no section"));
    EXPECT_THAT(refused("[reader]\ntype = 256\n"), HasSubstr("portal.toml:2: "));
    EXPECT_THAT(refused("[reader]\nfirmware = \"1\"\n"), HasSubstr("portal.toml:2: "));
    EXPECT_THAT(refused("[reader]\nno-answer = \"q\"\n"), HasSubstr("portal.toml:2: "));
    EXPECT_THAT(refused("[reader]\nno-answer = [\n\"queue\"]\n"), HasSubstr("portal.toml:3: "));
    EXPECT_THAT(refused("[settings]\npower = \n"), HasSubstr("portal.toml:2: "));
    EXPECT_THAT(refused("[radio]\npower = 5\n[settings]\npower = 6\n"), HasSubstr("twice"));
}

TEST_F(ProfileFile, OfEarlierVersionsIsRead)
{
    write("family = \"standard\"\ntwo-way = true\n\n[reader]\nserial-number = \"00000001\"\nreply-delay = "
          "0x02\n"
          "[inventory]\nsession = 255\n[radio]\nantenna-power = \"30,30,27,27\"\npower-converter = 0x10\n"
          "[reports]\nmask = \"epc:0:none\"\nfilter-time = 0x05\n[connection]\naddress = 3\nwork-mode = "
          "\"answering\"\n");
    const Profile profile = Profile::load(path);
    EXPECT_EQ(profile.values().size(), 9U);
    EXPECT_EQ(*profile.find("session"), "auto");
    EXPECT_EQ(*profile.find("mask"), "none");
    EXPECT_EQ(*profile.find("filter-time"), "5");
    EXPECT_THAT(profile.to_string(), HasSubstr("[calibration]\npower-converter = 0x10"));
}

// What is left in the memory of a value behind its end.
template <class Value> std::string remains_of(const Value& value)
{
    alignas(Value) std::array<char, sizeof(Value)> memory{};
    Value* const copy = new (memory.data()) Value(value);
    asm volatile("" ::"g"(copy) : "memory");  // so that it is written
    copy->~Value();
    std::string out;
    for (std::size_t i = 0; i < memory.size(); ++i) out += static_cast<volatile char*>(memory.data())[i];
    return out;
}

TEST(ProfileValues, AreWipedAtTheirEnd)
{
    const std::string secret = "11223344";  // short enough to lie in the value itself
    EXPECT_THAT(remains_of(secret), HasSubstr(secret)) << "this one is not";
    EXPECT_THAT(remains_of(Profile::Value{"user-password", secret}), Not(HasSubstr(secret)));
    EXPECT_THAT(remains_of(Change{"user-password", secret, secret}), Not(HasSubstr(secret)));
    EXPECT_THAT(remains_of(SettingReading{"user-password", secret}), Not(HasSubstr(secret)));
}

TEST(ProfileValues, AreSetByNameAndKeptInOrder)
{
    Profile profile;
    profile.set("work-mode", "active");
    profile.set("q", "4");
    profile.set("reply-delay", "7");
    profile.set("q", "5");
    ASSERT_EQ(profile.values().size(), 3U);
    EXPECT_EQ(profile.values()[0].text, "0x07");
    EXPECT_EQ(*profile.find("q"), "5");
    EXPECT_EQ(profile.find("session"), nullptr);
    profile.remove("q");
    EXPECT_EQ(profile.find("q"), nullptr);
    EXPECT_EQ(error_of([&] { profile.set("w", "1"); })->code(), Errc::invalid_text);
    EXPECT_EQ(error_of([&] { profile.set("q", "16"); })->code(), Errc::invalid_text);
    EXPECT_EQ(error_of([&] { profile.remove("queue"); })->code(), Errc::invalid_text);
    EXPECT_FALSE(profile.type());
}

}  // namespace
}  // namespace tagwire::test
