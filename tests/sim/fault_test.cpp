#include "transport/faults.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "scenario/scenario.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const char* const frame_text = "05 0A 51 00 23 D4";

Struck strike(Faults& faults, FrameKind kind = FrameKind::answer, ConnectionId to = 1)
{
    return faults.strike(to, {}, from_hex(frame_text), kind);
}

std::string whole(const Struck& struck)
{
    Bytes all;
    for (const Piece& piece : struck.pieces) append(all, piece.bytes);
    return to_hex(all, " ");
}

TEST(Faults, NoneLeavesTheFrameAlone)
{
    Faults faults;
    const Struck struck = faults.strike(1, {0xA0}, from_hex(frame_text), FrameKind::answer);
    EXPECT_EQ(whole(struck), std::string("A0 ") + frame_text);
    EXPECT_THAT(struck.pieces, SizeIs(1));
    EXPECT_FALSE(struck.hang_up);
}

TEST(Faults, SplitCutsWhereToldTo)
{
    Faults faults;
    faults.add(Fault::split({4, 1, 0, 4, 99}, milliseconds(5)));
    const Struck struck = strike(faults);
    ASSERT_THAT(struck.pieces, SizeIs(3));
    EXPECT_EQ(whole(struck), frame_text);
    EXPECT_THAT(struck.pieces[0].bytes, SizeIs(1));
    EXPECT_THAT(struck.pieces[1].bytes, SizeIs(3));
    EXPECT_EQ(struck.pieces[0].wait, Time{});
    EXPECT_EQ(struck.pieces[1].wait, milliseconds(5));
    EXPECT_EQ(struck.pieces[2].wait, milliseconds(5));
    EXPECT_THAT(strike(faults).pieces, SizeIs(1));
}

TEST(Faults, DelayNoiseTrailAndFlip)
{
    Faults faults;
    faults.add(Fault::delay(milliseconds(50)));
    faults.add(Fault::noise({0x00, 0xFF}));
    faults.add(Fault::trail({0x13}));
    faults.add(Fault::flip(2, 4));
    const Struck struck = strike(faults);
    EXPECT_EQ(whole(struck), "00 FF 05 0A 41 00 23 D4 13");
    EXPECT_EQ(struck.pieces[0].wait, milliseconds(50));
    EXPECT_EQ(faults.size(), 0U);
}

TEST(Faults, SetByteMakesTheCrcFit)
{
    Faults faults;
    faults.add(Fault::set_byte(3, 0x05));
    RequestParser parser;
    const Struck struck = strike(faults);
    parser.feed({}, struck.pieces[0].bytes.data(), struck.pieces[0].bytes.size());
    const auto parsed = parser.next();
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->data, Bytes{0x05});
}

TEST(Faults, LoseCountsAndSkips)
{
    Faults faults;
    Fault lose = Fault::lose(2);
    lose.skip = 1;
    faults.add(lose);
    EXPECT_THAT(strike(faults).pieces, SizeIs(1));
    EXPECT_THAT(strike(faults).pieces, IsEmpty());
    EXPECT_THAT(strike(faults).pieces, IsEmpty());
    EXPECT_THAT(strike(faults).pieces, SizeIs(1));
}

TEST(Faults, WithoutACountLastUntilCleared)
{
    Faults faults;
    faults.add(Fault::lose(0));
    for (int i = 0; i < 10; ++i) EXPECT_THAT(strike(faults).pieces, IsEmpty());
    faults.clear();
    EXPECT_THAT(strike(faults).pieces, SizeIs(1));
}

TEST(Faults, HangUpAfterSomeBytes)
{
    Faults faults;
    faults.add(Fault::hang_up(3));
    const Struck struck = strike(faults);
    EXPECT_TRUE(struck.hang_up);
    EXPECT_EQ(whole(struck), "05 0A 51");
    faults.add(Fault::hang_up(0));
    const Struck none = strike(faults);
    EXPECT_TRUE(none.hang_up);
    EXPECT_EQ(whole(none), "");
    ASSERT_THAT(none.pieces, SizeIs(1));
}

TEST(Faults, StrikeAShareOfTheFrames)
{
    const auto lost_of_1000 = [](const char* fault, std::uint64_t seed) {
        Faults faults(seed);
        faults.add(Fault::parse(fault));
        int lost = 0;
        for (int i = 0; i < 1000; ++i) lost += strike(faults).pieces.empty() ? 1 : 0;
        return lost;
    };
    EXPECT_THAT(lost_of_1000("lose:count=0,chance=0.25", 1),
                testing::AllOf(testing::Gt(200), testing::Lt(300)));
    EXPECT_EQ(lost_of_1000("lose:count=0,chance=0.25", 1), lost_of_1000("lose:count=0,chance=0.25", 1));
    EXPECT_NE(lost_of_1000("lose:count=0,chance=0.25", 1), lost_of_1000("lose:count=0,chance=0.25", 2));
    EXPECT_EQ(lost_of_1000("lose:count=10,chance=0.25", 1), 10);
    EXPECT_EQ(lost_of_1000("lose:count=0,chance=0", 1), 0);
}

TEST(Faults, StrikeInTheirTime)
{
    Faults faults;
    faults.add(Fault::parse("lose:count=0,from=1.5,until=3"));
    std::vector<bool> lost;
    for (const int ms : {0, 1499, 1500, 2999, 3000}) {
        faults.set_time(milliseconds(ms));
        lost.push_back(strike(faults).pieces.empty());
    }
    EXPECT_THAT(lost, testing::ElementsAre(false, false, true, true, false));
}

TEST(Faults, StrikeWhereAnOlderOneDoesNot)
{
    Faults faults;
    for (const char* fault : {"lose:count=0,chance=0", "lose:skip=1", "lose:skip=1", "lose:until=3"})
        faults.add(Fault::parse(fault));
    std::vector<bool> lost;
    for (int i = 0; i < 5; ++i) lost.push_back(strike(faults).pieces.empty());
    EXPECT_THAT(lost, testing::ElementsAre(true, true, false, true, false));
    faults.add(Fault::parse("lose:until=3"));
    EXPECT_EQ(faults.size(), 2U);
    faults.set_time(std::chrono::seconds(3));
    EXPECT_THAT(strike(faults).pieces, SizeIs(1));
    EXPECT_EQ(faults.size(), 1U);
}

TEST(Faults, StandInAScenario)
{
    const Scenario scenario =
        Scenario::from_text("[reader]\nfaults = [\"lose:count=3\", \"delay:ms=5,until=2\"]\n");
    ASSERT_THAT(scenario.reader.faults, SizeIs(2));
    EXPECT_EQ(scenario.reader.faults[0].count, 3u);
    EXPECT_EQ(scenario.reader.faults[1].until, Time(std::chrono::seconds(2)));
    for (const auto& [line, problem] : std::vector<std::pair<std::string, std::string>>{
             {"faults = \"lose\"", "faults must be a list"},
             {"faults = [3]", "there is no fault ''"},
             {"faults = [\"lose:chance=2\"]", "chance=2: give a number from 0 to 1"},
             {"faults = [\"lose:from=5,until=5\"]", "a fault ends, until, after it begins, from"}}) {
        try {
            Scenario::from_text("[reader]\n" + line + "\n");
            FAIL() << line;
        } catch (const ScenarioError& error) {
            EXPECT_THAT(error.what(), HasSubstr(problem));
            EXPECT_THAT(error.what(), HasSubstr(":2"));
        }
    }
}

TEST(Faults, StrikeWhatTheyAreAimedAt)
{
    Faults faults;
    Fault lose = Fault::lose(0);
    lose.command = 0x21;
    faults.add(lose);
    EXPECT_THAT(strike(faults).pieces, SizeIs(1));
    faults.clear();
    lose = Fault::lose(0);
    lose.connection = 2;
    faults.add(lose);
    EXPECT_THAT(strike(faults).pieces, SizeIs(1));
    EXPECT_THAT(strike(faults, FrameKind::answer, 2).pieces, IsEmpty());
    faults.clear();
    faults.add(Fault::lose(0));
    EXPECT_THAT(strike(faults, FrameKind::report).pieces, SizeIs(1));
    lose = Fault::lose(0);
    lose.target = Fault::Target::all;
    faults.add(lose);
    EXPECT_THAT(strike(faults, FrameKind::report).pieces, IsEmpty());
}

TEST(Faults, SilenceAndErrorStrikeRequests)
{
    Faults faults;
    Request request;
    request.command = 0x21;
    faults.add(Fault::silence(1));
    EXPECT_TRUE(faults.silences(1, request));
    EXPECT_FALSE(faults.silences(1, request));
    faults.add(Fault::error(0x21, 0x05));
    request.command = 0x22;
    EXPECT_FALSE(faults.error_for(1, request));
    request.command = 0x21;
    EXPECT_EQ(faults.error_for(1, request), 0x05);
    EXPECT_FALSE(faults.error_for(1, request));
}

TEST(FaultText, IsRead)
{
    const Fault lose = Fault::parse("lose:count=3");
    EXPECT_EQ(lose.kind, Fault::Kind::lose);
    EXPECT_EQ(lose.count, 3U);
    EXPECT_EQ(Fault::parse("lose").count, 1U);
    const Fault error = Fault::parse("error:command=0x21,status=0x05,count=0");
    EXPECT_EQ(error.kind, Fault::Kind::error);
    EXPECT_EQ(error.command, 0x21);
    EXPECT_EQ(error.value, 0x05);
    EXPECT_EQ(error.count, 0U);
    const Fault split = Fault::parse("split:at=2+7,ms=5,on=all,skip=1");
    EXPECT_EQ(split.at, (std::vector<std::size_t>{2, 7}));
    EXPECT_EQ(split.gap, milliseconds(5));
    EXPECT_EQ(split.target, Fault::Target::all);
    EXPECT_EQ(split.skip, 1U);
    EXPECT_EQ(Fault::parse("noise:bytes=00FF").bytes, (Bytes{0x00, 0xFF}));
    EXPECT_EQ(Fault::parse("flip:byte=4,bit=7").bit, 7U);
    EXPECT_EQ(Fault::parse("hangup:after=3").index, 3U);
    EXPECT_EQ(Fault::parse("silence:count=2").kind, Fault::Kind::silence);
    EXPECT_EQ(Fault::parse("set:byte=2,value=0x22").value, 0x22);
}

TEST(FaultText, SaysWhatIsWrong)
{
    const std::vector<std::pair<const char*, const char*>> texts{
        {"", "there is no fault ''"},
        {"loose", "there is no fault 'loose'"},
        {"lose:", "no option"},
        {"lose:count", "key=value"},
        {"lose:count=", "give a number"},
        {"lose:count=3x", "give a number"},
        {"lose:cuont=3", "no option 'cuont'"},
        {"flip:byte=4,bit=8", "0 to 7"},
        {"split:ms=5", "places to cut"},
        {"delay", "needs the time"},
        {"noise", "need bytes"},
        {"noise:bytes=0", "odd number"},
        {"error:command=0x21", "needs a status"},
        {"error:command=0x121,status=1", "0 to 255"},
        {"lose:on=everything", "answers, reports or all"},
    };
    for (const auto& [text, problem] : texts) {
        try {
            Fault::parse(text);
            ADD_FAILURE() << text;
        } catch (const std::invalid_argument& error) {
            EXPECT_THAT(error.what(), HasSubstr(problem)) << text;
        }
    }
}

}  // namespace
}  // namespace tagwire::sim
