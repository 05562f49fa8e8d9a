// Continuous reading: reports, tables, readers that go away.
#include "terminal_session.h"
#include "three_tags.h"

#include <set>

#include <signal.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

std::vector<Json> of_type(const std::string& out, const std::string& type)
{
    auto objects = objects_of(out);
    std::erase_if(objects, [&](const Json& object) { return object["type"] != type; });
    return objects;
}

// A reader that takes orders while it runs.
class ToldReader {
  public:
    explicit ToldReader(const std::string& scenario, Arguments more = {})
        : reader_(scenario, with_control(std::move(more)))
    {}

    const VirtualReader& operator*() const { return reader_; }
    void tell(const Arguments& order) const
    {
        Arguments arguments{"ctl", directory_.path_of("control")};
        arguments.insert(arguments.end(), order.begin(), order.end());
        const auto ended = run(TAGWIRE_SIM_PATH, arguments);
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
    }

  private:
    Arguments with_control(Arguments more) const
    {
        more.emplace_back("--control");
        more.push_back(directory_.path_of("control"));
        return more;
    }

    TemporaryDirectory directory_;
    VirtualReader reader_;
};

TEST(WatchEndToEnd, ShowsReportsForAWhile)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"watch", "--seconds", "1", "--json"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    const auto reports = of_type(ended.out, "report");
    EXPECT_GT(reports.size(), 20u);
    EXPECT_EQ(epcs_of(reports), (std::set<std::string>{first_epc, second_epc, third_epc}));
    EXPECT_EQ(reports[0]["reader"], reader.url());
    const auto link = of_type(ended.out, "link");
    ASSERT_EQ(link.size(), 1u) << ended.out;
    EXPECT_EQ(link[0]["reports"], reports.size());
    EXPECT_EQ(link[0]["bad_crc"], 0);
    EXPECT_EQ(link[0]["dropped"], 0);
    EXPECT_TRUE(ended.err.starts_with("3 tags, " + std::to_string(reports.size()) + " reads in 1.0 s ("))
        << ended.err;
}

TEST(WatchEndToEnd, ShowsPlainLines)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"watch", "--seconds", "0.3"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.out.find(std::string("Z  ") + first_epc + "  antenna 1  rssi 201  phase "),
              std::string::npos)
        << ended.out;
}

TEST(WatchEndToEnd, IsContentWithAnEmptyField)
{
    const VirtualReader reader("[reader]\nscan_time = 1\n");
    const auto ended = tool(reader, {"watch", "--seconds", "0.3"});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err,
              "0 tags, 0 reads in 0.3 s (0.0 reads/s); should there be tags, 'tagwire doctor' looks "
              "for why\n");
}

TEST(WatchEndToEnd, EndsWellWhenInterrupted)
{
    const VirtualReader reader(three_tags);
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"watch"}));
        ASSERT_TRUE(process.next_line());
        process.send_signal(signal_number);
        const auto ended = process.wait();
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
        EXPECT_NE(ended.err.find(" reads/s)\n"), std::string::npos) << ended.err;
    }
    // The reader was told to stop: it obeys at once again.
    EXPECT_EQ(tool(reader, {"inventory", "--count"}).out, "3\n");
}

TEST(WatchEndToEnd, EndsQuietlyWhenNobodyReadsOn)
{
    const VirtualReader reader(three_tags);
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"watch"}));
    ASSERT_TRUE(process.next_line());
    process.close_output();
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_EQ(ended.err, "");
}

TEST(WatchEndToEnd, NoticesAClosedPipeWithoutTags)
{
    const VirtualReader reader("[reader]\nscan_time = 1\n");
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"watch"}));
    process.close_output();
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_EQ(ended.err, "");
}

TEST(WatchEndToEnd, WorksOnASerialLine)
{
    const VirtualReader reader(three_tags, {"--pty"});
    const auto ended = tool(reader, {"watch", "--seconds", "0.5", "--json"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(epcs_of(of_type(ended.out, "report")),
              (std::set<std::string>{first_epc, second_epc, third_epc}));
}

// It pushes reports after all, and is told to stop at the end.
TEST(WatchEndToEnd, ReadsOnWhereTheAnswerToTheStartWasLost)
{
    VirtualReader reader(three_tags, {"--trace", "--fault", "lose:command=0x50"});
    const auto ended = tool(reader, {"watch", "--seconds", "0.3"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.out.find(first_epc), std::string::npos) << ended.err;
    EXPECT_TRUE(reader.wait_for_request("51"));
}

TEST(WatchEndToEnd, SaysThatTheReaderDidNotStart)
{
    const VirtualReader reader(three_tags, {"--fault", "error:command=0x50,status=0x26"});
    const auto ended = tool(reader, {"watch"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_TRUE(ended.err.starts_with("tagwire: " + reader.url() +
                                      ": the reader refuses to start reading: status 38\n"))
        << ended.err;
}

TEST(WatchEndToEnd, EndsWellWhereTheStopIsNotConfirmed)
{
    VirtualReader reader(three_tags, {"--trace", "--fault", "silence:command=0x51"});
    const auto ended = tool(reader, {"watch", "--seconds", "0.3"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_TRUE(reader.wait_for_request("51"));
}

TEST(WatchEndToEnd, SaysThatTheReaderIsGone)
{
    VirtualReader reader(three_tags);
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"watch", "--json"}));
    ASSERT_TRUE(process.next_line());
    reader.end();
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find(": connection lost: "), std::string::npos) << ended.err;
    const auto states = of_type(ended.out, "state");
    ASSERT_EQ(states.size(), 1u) << ended.out;
    EXPECT_EQ(states[0]["state"], "lost");
}

TEST(WatchEndToEnd, NoticesAReaderThatFallsSilent)
{
    const VirtualReader reader("[reader]\nscan_time = 1\n",
                               {"--fault", "silence:command=0x21,skip=1,count=0", "--fault",
                                "silence:command=0x51,count=0", "--fault",
                                "silence:command=0x50,skip=1,count=0"});
    const auto ended = tool(reader, {"watch", "--quiet-after", "0.2"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find(": connection lost: "), std::string::npos) << ended.err;
}

TEST(WatchEndToEnd, GoesOnWhenTheReaderIsBack)
{
    const ToldReader reader(three_tags);
    Process process(TAGWIRE_TOOL_PATH, with_reader(*reader, {"watch", "--reconnect"}));
    ASSERT_TRUE(process.next_line());
    reader.tell({"hang-up"});
    auto told = process.next_error_line();
    ASSERT_TRUE(told);
    EXPECT_NE(told->find(": connection lost: "), std::string::npos) << *told;
    told = process.next_error_line();
    ASSERT_TRUE(told);
    EXPECT_TRUE(told->ends_with(": connected again")) << *told;
    ASSERT_TRUE(process.next_line());
    process.send_signal(SIGINT);
    EXPECT_EQ(process.wait().exit_code, 0);
}

TEST(WatchEndToEnd, ShowsSeveralReaders)
{
    const VirtualReader left(three_tags);
    const VirtualReader right("[reader]\nscan_time = 1\n\n[[tag]]\nepc = \"E299\"\n",
                              {"--listen", "127.0.0.2:0"});
    const auto ended = run(TAGWIRE_TOOL_PATH, {"watch", "--seconds", "0.5", "--reader", "left=" + left.url(),
                                               "--reader", "right=" + right.url()});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.out.find(std::string("Z  left  ") + first_epc + "  antenna 1"), std::string::npos)
        << ended.out;
    EXPECT_NE(ended.out.find("Z  right  E299  antenna 1"), std::string::npos) << ended.out;
}

TEST(WatchEndToEnd, GoesOnWithTheOthersWhenOneIsLost)
{
    const VirtualReader left(three_tags);
    VirtualReader right("[reader]\nscan_time = 1\n", {"--listen", "127.0.0.2:0"});
    Process process(TAGWIRE_TOOL_PATH,
                    {"watch", "--reader", "left=" + left.url(), "--reader", "right=" + right.url()});
    ASSERT_TRUE(process.next_line());
    right.end();
    const auto told = process.next_error_line();
    ASSERT_TRUE(told);
    EXPECT_TRUE(told->starts_with("tagwire: right: ")) << *told;
    ASSERT_TRUE(process.next_line());
    process.send_signal(SIGINT);
    EXPECT_EQ(process.wait().exit_code, 1);
}

TEST(WatchEndToEnd, TellsArrivalsAndDepartures)
{
    const ToldReader reader("[reader]\nscan_time = 1\nreport_rate = 100\n");
    Process process(TAGWIRE_TOOL_PATH,
                    with_reader(*reader, {"watch", "--events", "--away-after", "0.3", "--json"}));
    reader.tell({"add-tag", "epc=E201"});
    auto line = process.next_line();
    ASSERT_TRUE(line);
    auto event = Json::parse(*line);
    EXPECT_EQ(event["type"], "arrive");
    EXPECT_EQ(event["epc"], "E201");
    EXPECT_EQ(event["antenna"], 1);
    reader.tell({"take-tag", "E201"});
    line = process.next_line();
    ASSERT_TRUE(line);
    event = Json::parse(*line);
    EXPECT_EQ(event["type"], "depart");
    EXPECT_EQ(event["epc"], "E201");
    EXPECT_GE(event["reads"], 1);
    EXPECT_GE(event["seconds"], 0);
    process.send_signal(SIGINT);
    EXPECT_EQ(process.wait().exit_code, 0);
}

TEST(WatchEndToEnd, PrintsValuesBetweenCommas)
{
    const VirtualReader reader(three_tags);
    const auto ended = run(TAGWIRE_TOOL_PATH,
                           {"watch", "--seconds", "0.3", "--csv", "--reader", "a, \"b\"=" + reader.url()});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    const auto lines = lines_of(ended.out);
    ASSERT_GT(lines.size(), 1u);
    EXPECT_EQ(lines[0], "time,reader,epc,tid,antenna,rssi");
    EXPECT_NE(lines[1].find("Z,\"a, \"\"b\"\"\"," + std::string(first_epc) + ",,1,201"), std::string::npos)
        << lines[1];
    EXPECT_EQ(tool(reader, {"watch", "--csv", "--json"}).exit_code, 2);
}

TEST(WatchEndToEnd, RecordsTheLinks)
{
    const TemporaryDirectory directory;
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"watch", "--seconds", "0.3", "--record", directory.path_of("bytes")});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    const auto recorded = directory.read("bytes");
    EXPECT_TRUE(recorded.starts_with("tagwire-record 1")) << recorded.size();
    EXPECT_GT(recorded.size(), 1000u);
    EXPECT_EQ(tool(reader, {"watch", "--record", directory.path_of("no/such")}).exit_code, 1);
}

TEST(WatchEndToEnd, SaysWhatIsMissingInARecording)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"watch", "--seconds", "0.3", "--record", "/dev/full"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find(" bytes could not be written"), std::string::npos) << ended.err;
}

TEST(WatchEndToEnd, NamesTheOptionThatIsWrong)
{
    const VirtualReader reader(three_tags);
    EXPECT_EQ(tool(reader, {"watch", "--quiet-after", "0"}).err,
              "tagwire: --quiet-after '0' is not valid: use a number of seconds, for example 10 or 0.5\n");
    EXPECT_EQ(tool(reader, {"watch", "--away-after", "2"}).err, "tagwire: --away-after is for --events\n");
}

TEST(WatchEndToEnd, TellsOfNoiseOnTheLine)
{
    const VirtualReader reader(three_tags, {"--fault", "flip:on=reports,count=5"});
    const auto ended = tool(reader, {"watch", "--seconds", "1", "--json"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_GE(of_type(ended.out, "link")[0]["bad_crc"], 5);
    EXPECT_NE(ended.err.find(" frames damaged on the line"), std::string::npos) << ended.err;
}

// What the terminal is set to when the tool is gone.
TEST(WatchEndToEnd, LeavesTheTerminalAsItWas)
{
    const VirtualReader reader(three_tags);
    for (const char* const key : {"q", "\x03", "\x1c"}) {
        TerminalSession session(with_reader(reader, {"watch"}));
        ASSERT_TRUE(session.wait_for("streaming")) << session.shown();
        EXPECT_FALSE(session.echoes());
        session.type(key);
        session.wait_for_end();
        EXPECT_TRUE(session.echoes()) << static_cast<int>(*key);
    }
}

TEST(WatchEndToEnd, ShowsNoColoursWhereNobodyWantsThem)
{
    const VirtualReader reader(three_tags);
    setenv("TERM", "xterm", 1);
    TerminalSession coloured(with_reader(reader, {"watch"}));
    EXPECT_TRUE(coloured.wait_for("\x1b[32m")) << coloured.shown();
    setenv("NO_COLOR", "1", 1);
    TerminalSession plain(with_reader(reader, {"watch"}));
    unsetenv("NO_COLOR");
    ASSERT_TRUE(plain.wait_for("streaming")) << plain.shown();
    EXPECT_EQ(plain.shown().find("\x1b[32m"), std::string::npos);
}

TEST(WatchEndToEnd, KeepsATableOnATerminal)
{
    const VirtualReader reader(three_tags);
    TerminalSession session(with_reader(reader, {"watch"}));
    ASSERT_TRUE(session.wait_for("streaming")) << session.shown();
    ASSERT_TRUE(session.wait_for("EPC                       PORT  RSSI")) << session.shown();
    ASSERT_TRUE(session.wait_for(std::string(third_epc) + "     2   99 |||")) << session.shown();
    session.type("e");
    ASSERT_TRUE(session.wait_for("by EPC: ")) << session.shown();
    session.type("/3034\n");
    ASSERT_TRUE(session.wait_for("with 3034.")) << session.shown();
    session.type(" ");
    ASSERT_TRUE(session.wait_for(", paused")) << session.shown();
    session.type("q");
    EXPECT_EQ(session.wait(), 0) << session.shown();
    EXPECT_NE(session.shown().find("3 tags, "), std::string::npos);
}

}  // namespace
}  // namespace tagwire::tool::test
