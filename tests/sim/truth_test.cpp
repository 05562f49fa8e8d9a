#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

#include <gmock/gmock.h>

#include "../tools/process.h"
#include "bench.h"
#include "peer.h"
#include "simulator.h"
#include "truth/field_watch.h"
#include "truth/score.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;

// A folder of its own, with a file in it.
class FileTest : public testing::Test {
  protected:
    FileTest()
    {
        std::string folder = testing::TempDir() + "truthXXXXXX";
        folder_ = ::mkdtemp(folder.data());
        path_ = folder_ + "/truth.jsonl";
    }
    ~FileTest() override { std::filesystem::remove_all(folder_); }

    std::string write(const std::string& name, const std::string& text) const
    {
        std::ofstream(folder_ + '/' + name) << text;
        return folder_ + '/' + name;
    }

    // The lines that tell of tags, without the time of day.
    std::vector<std::string> lines() const
    {
        static const std::regex wall(R"("wall":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z",?)");
        std::vector<std::string> lines;
        std::ifstream file(path_);
        for (std::string line; std::getline(file, line);) {
            EXPECT_TRUE(std::regex_search(line, wall)) << line;
            if (line.find("\"epc\"") != std::string::npos)
                lines.push_back(std::regex_replace(line, wall, ""));
        }
        return lines;
    }

    std::string folder_;
    std::string path_;
};

class FieldWatchTest : public FileTest {
  protected:
    // Looks whenever it is time to.
    void watch_until(Bench& bench, FieldWatch& watch, Time end)
    {
        for (; watch.next() <= end; bench.now = watch.next()) watch.look(watch.next(), *truth_);
    }
    std::vector<std::string> ended(FieldWatch& watch, Time at)
    {
        watch.end(at, *truth_);
        truth_->end(at);
        return lines();
    }

    std::optional<Truth> truth_{std::in_place, path_, Time{}};
};

TEST_F(FieldWatchTest, TellsArrivalsAndDeparturesToTheMoment)
{
    Bench bench(R"(
[[tag]]
epc = "E200 0001"
tid = "E280 1160"
arrives = 0.0501
departs = 0.0731
[[tag]]
epc = "E200 0002"
antennas = [2, 3]
departs = 0.1
)");
    FieldWatch watch(bench.device, 7, seconds(1));
    watch_until(bench, watch, milliseconds(90));
    EXPECT_THAT(
        ended(watch, milliseconds(95)),
        ElementsAre(
            R"({"what":"enter","t":1.0,"epc":"E2000002","tid":"","reader":7,"port":2,"antenna":2})",
            R"({"what":"enter","t":1.0,"epc":"E2000002","tid":"","reader":7,"port":3,"antenna":4})",
            R"({"what":"enter","t":1.0501,"epc":"E2000001","tid":"E2801160","reader":7,"port":1,"antenna":1})",
            R"({"what":"leave","t":1.0731,"epc":"E2000001","tid":"E2801160","reader":7,"port":1,"from":1.0501})",
            R"({"what":"leave","t":1.095,"epc":"E2000002","tid":"","reader":7,"port":2,"from":1.0})",
            R"({"what":"leave","t":1.095,"epc":"E2000002","tid":"","reader":7,"port":3,"from":1.0})"));
}

TEST_F(FieldWatchTest, SeesWhatBecomesOfTagsAndAntennas)
{
    Bench bench(R"(
[[tag]]
epc = "E200 0001"
antennas = [1, 2]
[[tag_6b]]
id = "E004000000000001"
[[tag_gb]]
tag_id = "0102"
arrives = 0.001
departs = 0.002
)");
    FieldWatch watch(bench.device, 1, Time{});
    watch_until(bench, watch, milliseconds(2));
    bench.device.set_antenna(2, false);
    watch.look(milliseconds(3), *truth_);
    bench.device.field()[0].store(Bank::epc, epc_start, from_hex("E2000009"));
    watch.look(milliseconds(4), *truth_);
    TagState killed = bench.device.field()[0].state();
    killed.killed = true;
    bench.device.field()[0].set_state(killed);
    watch.look(milliseconds(5), *truth_);
    std::vector<std::string> told;
    for (const std::string& line : ended(watch, milliseconds(6))) {
        static const std::regex parts(R"re("what":"(\w+)","t":([0-9.]+),"epc":"(\w+)".*"port":(\d))re");
        std::smatch found;
        ASSERT_TRUE(std::regex_search(line, found, parts)) << line;
        told.push_back(found[1].str() + ' ' + found[3].str() + ' ' + found[4].str() + " at " +
                       found[2].str());
    }
    EXPECT_THAT(told, ElementsAre("enter E2000001 1 at 0.0", "enter E2000001 2 at 0.0",
                                  "enter E004000000000001 1 at 0.0", "enter 0102 1 at 0.001",
                                  "leave 0102 1 at 0.002", "leave E2000001 2 at 0.003",
                                  "leave E2000001 1 at 0.004", "enter E2000009 1 at 0.004",
                                  "leave E2000009 1 at 0.005", "leave E004000000000001 1 at 0.006"));
}

TEST_F(FieldWatchTest, SeesNoneThatCannotBeRead)
{
    Bench bench(R"(
[reader]
protocol_family = "jb"
[[tag]]
epc = "E200 0001"
[[tag_gb]]
tag_id = "0102"
[[tag_jb]]
tag_id = "0304"
)");
    FieldWatch watch(bench.device, 1, Time{});
    watch.look(Time{}, *truth_);
    TagState state = bench.device.field()[0].state();
    state.silent = true;
    bench.device.field()[0].set_state(state);
    watch.look(milliseconds(1), *truth_);
    EXPECT_THAT(ended(watch, milliseconds(2)), ElementsAre(HasSubstr(R"("enter","t":0.0,"epc":"E2000001")"),
                                                           HasSubstr(R"("enter","t":0.0,"epc":"0304")"),
                                                           HasSubstr(R"("leave","t":0.001,"epc":"E2000001")"),
                                                           HasSubstr(R"("leave","t":0.002,"epc":"0304")")));
}

const char* const portal = R"(
[reader]
air_time = 0
start_gap_ms = 0
report_rate = 1000
[[tag]]
epc = "E200 0001"
tid = "E280 1160"
[[tag_6b]]
id = "E004000000000001"
antennas = [2]
[[tag_gb]]
tag_id = "0102"
[[tag]]
epc = "E200 0002"
antennas = [2]
)";

// The tags that the frames of a bench tell of, frame by frame.
std::vector<std::string> heard(const Bench& bench)
{
    std::vector<std::string> told;
    for (const Frame& frame : bench.frames) {
        std::string tags;
        for (const Heard& tag : frame.heard) {
            EXPECT_THAT(to_hex(frame.bytes), HasSubstr(to_hex(tag.epc)));
            tags += (tags.empty() ? "" : " ") + to_hex(tag.epc) + '@' + std::to_string(tag.port);
        }
        told.push_back(tags);
    }
    return told;
}

struct Telling {
    std::vector<std::pair<std::uint8_t, const char*>> commands;  // the last one tells
    std::vector<std::string> heard;
};

class TellingTest : public testing::TestWithParam<Telling> {};

TEST_P(TellingTest, NamesTheTagsOfEveryFrame)
{
    Bench bench{std::string(portal)};
    for (const auto& [code, data] : GetParam().commands) {
        bench.command(code, from_hex(data));
        bench.pass(milliseconds(1));
    }
    EXPECT_EQ(heard(bench), GetParam().heard);
}

const std::vector<std::string> one_by_one{"E2000001@1", "E2000002@2", ""};

INSTANTIATE_TEST_SUITE_P(All, TellingTest,
                         testing::Values(Telling{{{0x01, "04 00"}}, one_by_one},
                                         Telling{{{0x0F, ""}}, {"E2000001@1"}},
                                         Telling{{{0x19, "04 00 02 00 00 01 00 00 00 00"}}, one_by_one},
                                         Telling{{{0x1C, "00 01 01 01 FF 00 FF 00 00 01"}}, one_by_one},
                                         Telling{{{0x18, "04 00"}, {0x72, ""}}, {"E2000001@1 E2000002@2"}},
                                         Telling{{{0x50, "00"}, {0x51, ""}, {0x43, ""}}, one_by_one},
                                         Telling{{{0x50, ""}}, {"E004000000000001@2"}},
                                         Telling{{{0x56, "80 0A"}}, {"0102@1"}},
                                         Telling{{{0x21, ""}}, {""}}));

TEST(Truth, RecordsThatAReaderLosesWithItsPowerOrByARestartAreNamed)
{
    for (const std::string why : {"power", "restart"}) {
        Bench bench(R"(
[[tag]]
epc = "E200"
count = 50
)");
        bench.command(0x01, {4, 0});
        bench.pass(milliseconds(20));
        if (why == "power")
            bench.device.cut_power(bench.now);
        else
            bench.device.restart();
        std::size_t told = 0;
        for (const Frame& frame : bench.frames) told += frame.heard.size();
        EXPECT_EQ(told, bench.ids().size());
        EXPECT_FALSE(bench.lost.empty());
        EXPECT_THAT(bench.lost, testing::Each(testing::Key(why)));
        EXPECT_LT(told + bench.lost.size(), 50U);
    }
}

struct Fate {
    const char* name;
    const char* fault;
    const char* told;
};

class FateTest : public FileTest, public testing::WithParamInterface<Fate> {};

// One report, and what the fault makes of it.
TEST_P(FateTest, OfAReportIsTold)
{
    Simulator simulator;
    Reader& reader =
        simulator.add_reader_from_text("[reader]\nstart_gap_ms = 0\n[[tag]]\nepc = \"E2000001\"\n");
    simulator.record_truth(path_);
    Peer peer = Peer::connect(reader.listen());
    reader.set_batch(1);
    if (*GetParam().fault != 0) reader.inject(Fault::parse(std::string(GetParam().fault) + ",on=reports"));
    peer.send_command(0x50, "00");
    ASSERT_EQ(peer.receive_frame().substr(0, 11), "05 00 50 00");
    EXPECT_TRUE(reader.wait_for_batch());
    simulator.end_truth();
    EXPECT_THAT(lines(),
                ElementsAre(HasSubstr("enter"), testing::ContainsRegex(GetParam().told), HasSubstr("leave")));
}

INSTANTIATE_TEST_SUITE_P(
    All, FateTest,
    testing::Values(Fate{"None", "",
                         "sent.*E2000001.*\"reader\":1,\"port\":1,\"antenna\":1,\"connection\":[0-9]+,"
                         "\"in\":\"report\"}"},
                    Fate{"Lose", "lose:count=1", "destroyed.*E2000001.*\"in\":\"report\",\"why\":\"lose\""},
                    Fate{"Flip", "flip:byte=4", "destroyed.*\"why\":\"flip\""},
                    Fate{"FlipNothing", "flip:byte=99", "sent"},
                    Fate{"Set", "set:byte=4,value=2", "destroyed.*\"why\":\"set\""},
                    Fate{"SetTheSame", "set:byte=4,value=1", "sent"},
                    Fate{"SetTheCrc", "set:byte=11,value=0", "sent"},
                    Fate{"HangUp", "hangup:after=5", "destroyed.*\"why\":\"hangup\""},
                    Fate{"HangUpBehind", "hangup:after=99", "sent"},
                    Fate{"Split", "split:at=2+3,ms=1", "sent"}, Fate{"Delay", "delay:ms=1", "sent"},
                    Fate{"Noise", "noise:bytes=00", "sent"}, Fate{"Trail", "trail:bytes=00", "sent"}),
    [](const auto& fate) { return fate.param.name; });

class RecordTest : public FileTest {
  protected:
    std::string fates() const
    {
        std::string told;
        for (const std::string& line : lines()) {
            static const std::regex parts(
                R"re("what":"(sent|destroyed)".*"epc":"(\w+)".*?("why":"([^"]*)")?\})re");
            std::smatch found;
            if (std::regex_search(line, found, parts))
                told += found[1].str() + ' ' + found[2].str() + ' ' + found[4].str() + ';';
        }
        return told;
    }

    Simulator simulator_;
    Reader& reader_ = simulator_.add_reader_from_text(portal);
    std::uint16_t port_ = reader_.listen();
    Peer peer_ = Peer::connect(port_);
};

TEST_F(RecordTest, WhatWaitsForAPeerThatIsGoneIsLost)
{
    simulator_.record_truth(path_);
    reader_.control("fault delay:ms=3600000");
    peer_.send_command(0x01, "04 00");
    ASSERT_TRUE(reader_.wait_for_command(0x01));
    reader_.hang_up();
    simulator_.end_truth();
    EXPECT_EQ(fates(), "destroyed E2000001 hung up;destroyed E2000002 hung up;");
}

TEST_F(RecordTest, WhatIsQueuedBehindAHangUpIsLost)
{
    simulator_.record_truth(path_);
    ASSERT_TRUE(reader_.wait_for_connection());
    reader_.control("fault delay:ms=20");
    reader_.control("fault hangup:after=3");
    peer_.send("04 00 21 D9 6A 06 00 01 04 00 AC 36");
    ASSERT_TRUE(reader_.wait_for_disconnect());
    simulator_.end_truth();
    EXPECT_EQ(peer_.receive(4), "11 00 21");
    EXPECT_EQ(fates(), "destroyed E2000001 hung up;destroyed E2000002 hung up;");
}

TEST_F(RecordTest, WhatASlowPeerDoesNotTakeIsLost)
{
    reader_.control("report-rate 0");
    reader_.control("fault delay:ms=3600000");
    peer_.send_command(0x50, "00");
    ASSERT_TRUE(reader_.wait_for_reading());
    reader_.send_raw(Bytes(5U << 20U));
    simulator_.record_truth(path_);
    reader_.control("report-rate 100");
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.reports_dropped > 0; }));
    simulator_.record_truth(folder_ + "/other.jsonl");
    EXPECT_THAT(fates(), testing::StartsWith("destroyed E2000001 slow peer;"));
}

TEST_F(RecordTest, TheActiveModeTellsEveryoneOrNobody)
{
    Peer second = Peer::connect(port_);
    ASSERT_TRUE(reader_.wait_for_connection(2));
    simulator_.record_truth(path_);
    peer_.send_command(0x35, "01");
    const auto all_sent = [](const Counters& counters) {
        return counters.reports_sent >= 6 && counters.reports_queued == 0;
    };
    EXPECT_TRUE(reader_.wait_until([](const Counters& counters) { return counters.reports_sent >= 6; }));
    reader_.control("report-rate 0");
    EXPECT_TRUE(reader_.wait_until(all_sent));
    simulator_.end_truth();
    const Score of_two = score(path_, write("reports", "epc\n"));
    ASSERT_THAT(of_two.connections, testing::SizeIs(2));
    for (const auto& [number, connection] : of_two.connections) {
        EXPECT_THAT(reader_.connections(), testing::Contains(number));
        EXPECT_EQ(2 * connection.sent, of_two.sent);
    }
    EXPECT_EQ(of_two.sent, reader_.counters().reports_sent);
    EXPECT_EQ(of_two.all_destroyed(), 0U);
    EXPECT_THAT(of_two.text(), HasSubstr("connection "));

    peer_.close();
    second.close();
    ASSERT_TRUE(reader_.wait_for_disconnect());
    simulator_.record_truth(path_);
    const std::uint64_t beeps = reader_.panel().beeps;
    reader_.control("report-rate 1000");
    EXPECT_TRUE(reader_.wait_for_panel([&](const PanelState& panel) { return panel.beeps > beeps + 2; }));
    simulator_.end_truth();
    const Score of_none = score(path_, write("reports", "epc\n"));
    EXPECT_GE(of_none.destroyed.at("nobody connected"), 3U);
    EXPECT_EQ(of_none.sent, 0U);
    EXPECT_THAT(of_none.destroyed, testing::SizeIs(1));
    EXPECT_THAT(of_none.connections, testing::IsEmpty());
}

TEST_F(RecordTest, AnswersToOrdersAreSeenAtOnce)
{
    simulator_.record_truth(path_);
    reader_.control("take-tag E2000001");
    reader_.control("add-tag epc=E2000003 antennas=4");
    Reader& second = simulator_.add_reader_from_text(portal);
    second.control("unplug 2");
    simulator_.end_truth();
    std::string told;
    for (const std::string& line : lines()) {
        static const std::regex parts(R"re("what":"(\w)\w+".*"epc":"(\w+)".*"reader":(\d),"port":(\d))re");
        std::smatch found;
        ASSERT_TRUE(std::regex_search(line, found, parts)) << line;
        told += found[1].str() + ' ' + found[2].str() + ' ' + found[3].str() + ' ' + found[4].str() + '\n';
    }
    EXPECT_EQ(told, "e E2000001 1 1\ne E2000002 1 2\ne E004000000000001 1 2\ne 0102 1 1\n"
                    "l E2000001 1 1\ne E2000003 1 4\n"
                    "e E2000001 2 1\ne E2000002 2 2\ne E004000000000001 2 2\ne 0102 2 1\n"
                    "l E2000002 2 2\nl E004000000000001 2 2\n"
                    "l E2000002 1 2\nl E2000003 1 4\nl E004000000000001 1 2\nl 0102 1 1\n"
                    "l E2000001 2 1\nl 0102 2 1\n");
}

TEST_F(RecordTest, OnThePathInUseBeginsAnew)
{
    simulator_.record_truth(path_);
    reader_.control("take-tag E2000001");
    simulator_.record_truth(folder_ + "/./truth.jsonl");
    simulator_.end_truth();
    EXPECT_THAT(lines(), testing::SizeIs(6)) << "three that enter and leave";
}

TEST_F(RecordTest, AFileThatCannotBeWrittenIsTold)
{
    EXPECT_THROW(simulator_.record_truth(folder_ + "/nowhere/truth"), std::system_error);
    simulator_.end_truth();
    simulator_.record_truth("/dev/full");
    EXPECT_THROW(simulator_.end_truth(), std::system_error);
}

const char* const truth_of_two_ports = R"({"what":"start","t":0}
{"what":"enter","t":0,"epc":"E201","tid":"","reader":1,"port":1,"antenna":1}
{"what":"enter","t":0,"epc":"E202","tid":"","reader":1,"port":3,"antenna":4}
{"what":"enter","t":0,"epc":"E203","tid":"","reader":1,"port":3,"antenna":4}
{"what":"sent","t":1,"epc":"E201","tid":"","reader":1,"port":1,"in":"report"}
{"what":"sent","t":1,"epc":"E202","tid":"","reader":1,"port":3,"in":"report"}
{"what":"sent","t":1,"epc":"E204","tid":"","reader":1,"port":3,"in":"report"}
{"what":"destroyed","t":2,"epc":"E203","tid":"","reader":1,"port":3,"in":"report","why":"lose"}
{"what":"leave","t":3,"epc":"E202","tid":"","reader":1,"port":3,"from":0}
{"what":"end","t":4}
{"what":"enter","t":)";

class ScoreTest : public FileTest {
  protected:
    Score score_of(const std::string& truth, const std::string& reports)
    {
        return score(write("truth", truth), write("reports", reports));
    }

    std::string problem_of(const std::string& truth, const std::string& reports)
    {
        try {
            score_of(truth, reports);
            return "good";
        } catch (const ScoreError& problem) {
            return std::string(problem.what()).substr(folder_.size() + 1);
        }
    }
};

TEST_F(ScoreTest, CountsWhatWasReadMissedAndNeverThere)
{
    const Score result = score_of(truth_of_two_ports, R"({"type":"report","epc":"e2 01","antenna":1}

{"type":"tag","epc":"E202","antenna":4,"reads":3}
{"type":"state","state":"lost"}
{"type":"report","epc":"E2FF","antenna":4}
{"type":"report","epc":"E204","antenna":3,"antenna_byte":4}
{"type":"report","ep)");
    EXPECT_EQ(result.text(), R"(tags in a field: 3
read: 2 (66.7 %)
missed: 1
  E203
read at the edge of a field: 1
reported, but never there: 1
  E2FF
reports sent: 3, destroyed: 1, received: 6
  destroyed by lose: 1
reader 1 port 1: tags 1, read 1, sent 1, destroyed 0, received 1
reader 1 port 3: tags 2, read 1, sent 2, destroyed 1, received 5
)");
    EXPECT_EQ(
        result.json(),
        R"({"complete":true,"tags":3,"read":2,"share":0.6666666666666666,"missed":["E203"],"at_edge":["E204"],"never_there":["E2FF"],)"
        R"("sent":3,"destroyed":1,"destroyed_by":{"lose":1},"received":6,"ports":[)"
        R"({"reader":1,"port":1,"tags":1,"read":1,"sent":1,"destroyed":0,"received":1},)"
        R"({"reader":1,"port":3,"tags":2,"read":1,"sent":2,"destroyed":1,"received":5}],"connections":[]})");
}

TEST_F(ScoreTest, TellsConnectionsApart)
{
    const std::string to_two =
        R"({"what":"sent","epc":"E201","reader":1,"port":1,"connection":18,"in":"report"}
{"what":"sent","epc":"E201","reader":1,"port":1,"connection":19,"in":"report"}
{"what":"destroyed","epc":"E201","reader":1,"port":1,"connection":19,"in":"report","why":"lose"}
{"what":"destroyed","epc":"E201","reader":1,"port":1,"in":"report","why":"nobody connected"}
)";
    const Score result = score_of(to_two, "");
    EXPECT_THAT(result.text(), HasSubstr("reports sent: 2, destroyed: 2, received: 0\n"
                                         "  destroyed by lose: 1\n  destroyed by nobody connected: 1\n"));
    EXPECT_THAT(result.text(), HasSubstr("connection 18: sent 1, destroyed 0\n"
                                         "connection 19: sent 1, destroyed 1\n"));
    EXPECT_THAT(result.json(), HasSubstr(R"("connections":[{"connection":18,"sent":1,"destroyed":0},)"
                                         R"({"connection":19,"sent":1,"destroyed":1}])"));
}

TEST_F(ScoreTest, LearnsPortsFromWhatWasSent)
{
    const Score result =
        score_of(R"({"what":"sent","epc":"E201","reader":1,"port":3,"antenna":4,"in":"report"})",
                 "{\"epc\":\"E201\",\"antenna\":4}\n");
    EXPECT_EQ(result.ports.at({1, 3}).received, 1U);
}

TEST_F(ScoreTest, ReadsCsv)
{
    const Score result =
        score_of(truth_of_two_ports, "time,\"EPC\",port\r\n1,E201,1\r\n\"1,\"\"5\",E203,3\r\n");
    EXPECT_EQ(result.read, (std::set<std::string>{"E201", "E203"}));
    EXPECT_EQ(result.received, 2U);
    EXPECT_EQ(result.ports.at({1, 3}).received, 1U);
}

TEST_F(ScoreTest, TellsNoPortsWhereTheReportsTellNone)
{
    const Score without = score_of(truth_of_two_ports, "epc\nE201\n");
    EXPECT_THAT(without.text(), HasSubstr("port 1: tags 1, sent 1, destroyed 0\n"));
    const Score of_two = score_of(
        R"({"what":"enter","epc":"E201","reader":1,"port":1,"antenna":1}
{"what":"enter","epc":"E201","reader":2,"port":1,"antenna":1}
)",
        "{\"epc\":\"E201\",\"antenna\":1}\n");
    EXPECT_FALSE(of_two.ports_are_told);
    const Score of_three =
        score_of(truth_of_two_ports, "{\"epc\":\"E201\",\"port\":\"/dev/ttyUSB0\",\"antenna\":\"left\"}\n");
    EXPECT_EQ(of_three.received, 1U);
    EXPECT_FALSE(of_three.ports_are_told);
}

TEST_F(ScoreTest, TakesALastLineThatIsWhole)
{
    const std::string truth = R"({"what":"enter","epc":"E201","reader":1,"port":1,"antenna":1})";
    EXPECT_EQ(score_of(truth, R"({"epc":"E201"})").read.size(), 1U);
    EXPECT_EQ(score_of(truth, "epc,port\nE201,1").received, 1U);
    EXPECT_EQ(score_of(truth, "port,epc\n1").received, 0U);
    EXPECT_EQ(score_of(truth, "port,epc\n1,E20").received, 0U);
}

TEST_F(ScoreTest, TakesFilesFromAnywhere)
{
    EXPECT_EQ(score_of(truth_of_two_ports, "\xEF\xBB\xBF"
                                           "EPC\r\nE201\r\n")
                  .received,
              1U);
    EXPECT_EQ(score_of(truth_of_two_ports, "\xEF\xBB\xBF"
                                           "{\"epc\":\"E201\"}\n")
                  .received,
              1U);
    const std::string longest(1U << 20U, ' ');
    EXPECT_EQ(score_of("", "epc\n" + longest + "\nE201\n").received, 1U);
    EXPECT_EQ(score_of("", "epc\nE201\n" + longest).received, 1U);
    for (const char* end : {" ", " \n", " \nE201\n"}) {
        EXPECT_EQ(problem_of("", "epc\n" + longest + end), "reports:2: a line has more than 1048576 bytes");
    }
}

TEST_F(ScoreTest, ShowsNoControlCharacters)
{
    const std::string why =
        R"({"what":"destroyed","epc":"E201","reader":1,"port":1,"why":"\u001b[2J\u009b"})";
    EXPECT_THAT(score_of(why, "").text(), HasSubstr("destroyed by \\x1B[2J\\xC2\\x9B: 1\n"));
    EXPECT_EQ(problem_of("{\"what\":\"\x1b[2J\",\"reader\":1,\"port\":1}\n", ""),
              "truth:1: this is not JSON");
    EXPECT_EQ(problem_of("{\"what\":\"\\u001b[2J\",\"reader\":1,\"port\":1}\n", ""),
              "truth:1: '\\x1B[2J' is nothing that a truth tells");
}

TEST_F(ScoreTest, SaysWhetherTheTruthIsComplete)
{
    const Score result = score_of("", "");
    EXPECT_THAT(result.text(), testing::StartsWith("tags in a field: 0\nread: 0 (-)\n"));
    EXPECT_THAT(result.text(), HasSubstr("not complete"));
    EXPECT_THAT(result.json(), HasSubstr(R"({"complete":false,"tags":0,"read":0,"share":null,)"));
    EXPECT_TRUE(score_of("{\"what\":\"end\",\"t\":1}", "").complete);
}

TEST_F(ScoreTest, SaysWhereAFileIsWrong)
{
    EXPECT_EQ(problem_of("{}\n", ""), "truth:1: there is no 'what'");
    EXPECT_EQ(problem_of("{\"what\":\"start\"}\n5\n", ""), "truth:2: no JSON object");
    EXPECT_EQ(problem_of("{\"what\":\"start\n", ""), "truth:1: this is not JSON");
    EXPECT_EQ(problem_of("{\"what\":\"sent\"}\n", ""), "truth:1: there is no reader or no port");
    EXPECT_EQ(problem_of("{\"what\":\"seen\",\"reader\":1,\"port\":1}\n", ""),
              "truth:1: 'seen' is nothing that a truth tells");
    EXPECT_EQ(problem_of("", "{\"epc\":\"E201\"}\n{\"epc\":\"E2G1\"}\n"),
              "reports:2: 'G' is not a hexadecimal digit");
    EXPECT_EQ(problem_of("", "{\"epc\":\"E201\",\"reads\":-1}\n"),
              "reports:1: reads is not a whole number: -1");
    EXPECT_THAT(problem_of("", "tag\nE201\n"), HasSubstr("reports:1: neither a JSON object nor"));
    EXPECT_EQ(problem_of("", "epc,port\nE201\n"), "reports:2: 1 cells in 2 columns");
    EXPECT_EQ(problem_of("", "epc\n\"E201\n"), "reports:2: a quote that does not end");
    EXPECT_THROW(score(folder_, folder_), ScoreError);
    EXPECT_THROW(score(folder_ + "/none", folder_), ScoreError);
}

using ProgramTest = FileTest;
using tool::test::Ended;

Ended run(const std::vector<std::string>& arguments) { return tool::test::run(TAGWIRE_SIM_PATH, arguments); }

TEST_F(ProgramTest, TakesOrdersAndRecordsTheTruth)
{
    const std::string control = folder_ + "/control";
    tool::test::Process program(TAGWIRE_SIM_PATH, {"--scenario", SIM_SCENARIOS "/demo.toml", "--readers", "2",
                                                   "--control", control, "--truth", path_});
    for (auto line = program.next_line(); line != "ready"; line = program.next_line()) ASSERT_TRUE(line);

    const Ended done = run({"ctl", control, "--reader", "2", "take-tag", "E28011606000020900000001"});
    EXPECT_EQ(done.exit_code, 0) << done.err;
    EXPECT_EQ(done.out, "");
    EXPECT_THAT(run({"ctl", control, "tags"}).out,
                testing::StartsWith("[{\"epc\":\"E28011606000020900000001\""));
    const Ended refused = run({"ctl", control, "unplug", "3"});
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_THAT(refused.err, HasSubstr("write unplug PORT"));
    EXPECT_EQ(run({"ctl", control}).exit_code, 2);
    EXPECT_EQ(run({"ctl", control, "tags", "--reader", "3"}).exit_code, 2);
    EXPECT_EQ(run({"--control", control}).exit_code, 1);

    program.send_signal(SIGTERM);
    EXPECT_EQ(program.wait().exit_code, 0);
    EXPECT_FALSE(std::filesystem::exists(control));
    const Ended late = run({"ctl", control, "tags"});
    EXPECT_EQ(late.exit_code, 1);
    EXPECT_THAT(late.err, HasSubstr("nobody listens there"));
    EXPECT_THAT(lines(), testing::Contains(HasSubstr(R"("reader":2,"port":1,"from":)")));
    EXPECT_EQ(run({"--truth", "/dev/full", "--control", path_}).exit_code, 1);
}

TEST_F(ProgramTest, TellsTheScore)
{
    const std::string truth = write("truth", truth_of_two_ports);
    const std::string reports = write("reports", "epc\nE201\n");
    const Ended text = run({"score", truth, reports});
    EXPECT_EQ(text.exit_code, 0);
    EXPECT_EQ(text.out, score(truth, reports).text());
    EXPECT_EQ(run({"score", "--json", truth, reports}).out, score(truth, reports).json() + '\n');
    const Ended wrong = run({"score", truth, folder_ + "/none"});
    EXPECT_EQ(wrong.exit_code, 1);
    EXPECT_THAT(wrong.err, HasSubstr("/none: cannot read the file"));
    EXPECT_EQ(run({"score", truth}).exit_code, 2);
}

}  // namespace
}  // namespace tagwire::sim
