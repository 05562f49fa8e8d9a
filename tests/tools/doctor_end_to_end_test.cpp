// What the doctor finds.
#include "virtual_reader.h"

#include <algorithm>

#include <signal.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

const std::string field = R"(
[[tag]]
epc = "E28011700000020F00000001"
antennas = [1]

[[tag]]
epc = "E28011700000020F00000002"
antennas = [2]
)";

std::string reader_with(const std::string& keys)
{
    return "[reader]\nscan_time = 1\nantennas = 4\n" + keys + field;
}

Ended doctor(const VirtualReader& reader, const Arguments& more = {})
{
    Arguments arguments{"doctor", "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return tool(reader, arguments);
}

Json only_object(const Ended& ended)
{
    const auto objects = objects_of(ended.out);
    EXPECT_EQ(objects.size(), 1u) << ended.out << ended.err;
    return objects.empty() ? Json() : objects[0];
}

// The mend of the one finding, whose text has this in it.
std::string mend_of(const Ended& ended, const std::string& check, const std::string& text)
{
    EXPECT_EQ(ended.exit_code, 3) << ended.err;
    const auto findings = only_object(ended)["findings"];
    EXPECT_EQ(findings.size(), 1u) << findings.dump(1);
    if (findings.empty()) return {};
    EXPECT_EQ(findings[0]["check"], check);
    EXPECT_NE(findings[0]["text"].get<std::string>().find(text), std::string::npos) << findings[0];
    return findings[0]["mend"];
}

std::string mending(const VirtualReader& reader, const std::string& words)
{
    return "tagwire --reader " + reader.url() + " " + words;
}

class Doctor : public testing::Test {
  protected:
    const VirtualReader reader_{reader_with("")};
};

TEST_F(Doctor, FindsNothingWhereNothingIs)
{
    const auto ended = doctor(reader_);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    const auto object = only_object(ended);
    EXPECT_EQ(object["type"], "doctor");
    EXPECT_EQ(object["findings"], Json::array());
    EXPECT_EQ(object["reader"], reader_.url());
    EXPECT_GT(object["looked_at"].size(), 8u);
    EXPECT_EQ(ended.err, "");

    const auto shown = tool(reader_, {"doctor"});
    EXPECT_EQ(shown.exit_code, 0);
    EXPECT_TRUE(shown.out.starts_with("ok     reader         type 0x0F, firmware 1.0, address 0\n"))
        << shown.out;
    EXPECT_TRUE(shown.out.ends_with("\nnothing found\n")) << shown.out;
}

TEST_F(Doctor, LeavesSettingsAndFlagsAsTheyAre)
{
    const TemporaryDirectory directory;
    const auto save = [&](const std::string& name) {
        EXPECT_EQ(tool(reader_, {"config", "save", directory.path_of(name)}).exit_code, 0);
        return directory.read(name);
    };
    const auto before = save("before.toml");
    EXPECT_EQ(doctor(reader_).exit_code, 0);
    EXPECT_EQ(save("after.toml"), before);
    EXPECT_EQ(tool(reader_, {"inventory", "--session", "S2", "--target", "A", "--count"}).out, "2\n");
}

TEST_F(Doctor, FindsTheRegionThatIsNotExpected)
{
    EXPECT_EQ(mend_of(doctor(reader_, {"--region", "eu"}), "region", "and eu is expected"),
              mending(reader_, "region set eu"));
    EXPECT_EQ(doctor(reader_, {"--region", "US"}).exit_code, 0);
    EXPECT_EQ(doctor(reader_, {"--region", "mars"}).exit_code, 2);
}

TEST_F(Doctor, FindsSettingsThatAreNotExpected)
{
    const TemporaryDirectory directory;
    const auto profile = directory.path_of("golden.toml");
    ASSERT_EQ(tool(reader_, {"config", "save", profile}).exit_code, 0);
    EXPECT_EQ(doctor(reader_, {"--expect", profile}).exit_code, 0);
    ASSERT_EQ(tool(reader_, {"config", "set", "q", "7"}).exit_code, 0);
    EXPECT_EQ(mend_of(doctor(reader_, {"--expect", profile}), "settings", "q is 7, and 4 is expected"),
              mending(reader_, "config set q 4"));
}

TEST_F(Doctor, FindsAnAntennaThatIsNotEnabled)
{
    ASSERT_EQ(tool(reader_, {"antenna", "enable", "1-3"}).exit_code, 0);
    const auto mend = mend_of(doctor(reader_), "antennas", "port 4 has an antenna and is not enabled");
    EXPECT_EQ(mend, mending(reader_, "antenna enable 1,2,3,4"));
}

TEST_F(Doctor, FindsASelectFilter)
{
    ASSERT_EQ(tool(reader_, {"select", "--antennas", "1,2,3,4", "--mask", "epc:32:E28011700000020F00000001"})
                  .exit_code,
              0);
    const auto ended = doctor(reader_);
    EXPECT_EQ(ended.exit_code, 3);
    const auto findings = only_object(ended)["findings"];
    ASSERT_GE(findings.size(), 1u);
    EXPECT_EQ(findings[0]["check"], "flags");
    EXPECT_NE(findings[0]["text"].get<std::string>().find("a select filter was left in the reader"),
              std::string::npos);
    ASSERT_TRUE(findings[0]["mend"].get<std::string>().ends_with("select --all")) << findings[0];
    ASSERT_EQ(tool(reader_, {"select", "--antennas", "1,2,3,4", "--all"}).exit_code, 0);
    EXPECT_EQ(doctor(reader_).exit_code, 0);
}

TEST_F(Doctor, FindsAFilterOfReports)
{
    ASSERT_EQ(tool(reader_, {"config", "set", "filter-time", "30"}).exit_code, 0);
    EXPECT_EQ(mend_of(doctor(reader_), "report filter", "once within 30 s"),
              mending(reader_, "config set filter-time 0"));
}

TEST_F(Doctor, FindsFlagsThatAnInventoryLeft)
{
    for (const std::string session : {"S2", "S3"}) {
        ASSERT_EQ(tool(reader_, {"inventory", "--session", session, "--count"}).out, "2\n");
        EXPECT_EQ(mend_of(doctor(reader_), "flags", "2 tags had flags of session " + session + " set"),
                  mending(reader_, "inventory --session " + session + " --target B"));
        EXPECT_EQ(doctor(reader_).exit_code, 0);
    }
}

TEST_F(Doctor, FindsTheWorkModeActive)
{
    ASSERT_EQ(tool(reader_, {"mode", "set", "active"}).exit_code, 0);
    EXPECT_EQ(mend_of(doctor(reader_), "mode", "reads and reports by itself"),
              mending(reader_, "mode set answering"));
}

TEST_F(Doctor, FindsAnotherAddress)
{
    const VirtualReader reader(reader_with("address = 7\n"));
    EXPECT_EQ(mend_of(doctor(reader, {"--address", "3"}), "address",
                      "nobody answers at address 3, a reader does at 7"),
              "--address 7, or none for whoever is there");
}

TEST(DoctorOfReaders, FindsAnAntennaThatIsUnplugged)
{
    const VirtualReader reader(reader_with("") + "\n[antenna.2]\nplugged = false\n");
    const auto ended = doctor(reader);
    EXPECT_EQ(ended.exit_code, 3);
    const auto findings = only_object(ended)["findings"];
    ASSERT_GE(findings.size(), 1u);
    EXPECT_EQ(findings[0]["check"], "antennas");
    EXPECT_TRUE(findings[0]["text"].get<std::string>().starts_with("port 2 is enabled and nearly all power"))
        << findings[0];
    EXPECT_EQ(findings[0]["mend"],
              "connect the antenna; or leave it out: " + mending(reader, "antenna enable 1,3,4"));
}

TEST(DoctorOfReaders, FindsAnAntennaThatIsUnpluggedFromAReaderOfTwoPorts)
{
    const VirtualReader reader("[reader]\nscan_time = 1\nantennas = 2\n" + field +
                               "\n[antenna.2]\nplugged = false\n");
    const auto ended = doctor(reader, {"--no-inventories"});
    EXPECT_NE(mend_of(ended, "antennas", "port 2 is enabled").find("antenna enable 1"), std::string::npos);
}

TEST(DoctorOfReaders, CannotSayThatAllIsWellWithoutHavingLooked)
{
    const TemporaryDirectory directory;
    const auto profile = directory.write("golden.toml", "[settings]\nwrite-power = 12\n");
    const VirtualReader reader(reader_with(""), {"--fault", "silence:command=0x7A,count=0"});
    const auto ended = doctor(reader, {"--no-inventories", "--expect", profile});
    EXPECT_EQ(ended.exit_code, 1) << ended.out;
    EXPECT_EQ(only_object(ended)["complete"], false);
}

TEST(DoctorOfReaders, FindsNoPower)
{
    const VirtualReader reader(reader_with("power = 0\n"));
    EXPECT_EQ(mend_of(doctor(reader, {"--no-inventories"}), "power", "port 1,2,3,4: 0 dBm"),
              mending(reader, "power set 26"));
}

TEST(DoctorOfReaders, FindsAReaderThatIsStillPushing)
{
    const VirtualReader reader(reader_with("report_rate = 200\n"), {"--pty"});
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"watch"}));
    ASSERT_TRUE(process.next_line());
    process.send_signal(SIGKILL);
    process.wait();
    mend_of(doctor(reader), "mode", "reports were still coming");
    EXPECT_EQ(doctor(reader).exit_code, 0);
}

TEST(DoctorOfReaders, FindsANoisyLine)
{
    const VirtualReader reader(reader_with(""), {"--fault", "flip:command=0x21,skip=3,count=1"});
    mend_of(doctor(reader), "link", "answers were lost");
}

TEST(DoctorOfReaders, FindsAnotherSpeed)
{
    const VirtualReader reader(reader_with("baud = 115200\n"), {"--pty"});
    const auto ended = doctor(reader);
    EXPECT_EQ(mend_of(ended, "speed", "nobody answers at 57600 baud, a reader does at 115200"),
              "--reader '" + reader.url() + "?baud=115200'");
    EXPECT_NE(ended.err.find("trying 9600 baud"), std::string::npos) << ended.err;
}

TEST(DoctorOfReaders, CannotExamineWhereNobodyAnswers)
{
    VirtualReader reader(reader_with(""));
    reader.end();
    const auto ended = doctor(reader);
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_TRUE(only_object(ended).contains("error"));
}

TEST(DoctorOfReaders, ComparesSeveral)
{
    const VirtualReader good(reader_with(""));
    const VirtualReader weak(reader_with("power = 0\n"), {"--listen", "127.0.0.2:0"});
    const auto ended = run(TAGWIRE_TOOL_PATH, {"doctor", "--no-inventories", "--reader", "good=" + good.url(),
                                               "--reader", "weak=" + weak.url()});
    EXPECT_EQ(ended.exit_code, 3) << ended.err;
    EXPECT_TRUE(ended.out.ends_with("good  nothing found\nweak  1 finding\n")) << ended.out;
    EXPECT_NE(ended.out.find("weak: FOUND  power"), std::string::npos) << ended.out;
}

TEST(DoctorOfReaders, EndsWhenInterrupted)
{
    const VirtualReader reader(reader_with(""), {"--fault", "silence:command=0x91,count=0"});
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"doctor"}));
    ASSERT_TRUE(process.next_line());
    process.send_signal(SIGINT);
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 1) << ended.out;
    EXPECT_EQ(ended.signal_number, 0);
}

}  // namespace
}  // namespace tagwire::tool::test
