#include "transport/wire.h"

#include <gmock/gmock.h>

#include "random.h"

namespace tagwire::sim {
namespace {

using testing::ElementsAre;

std::vector<std::string> parse_all(RequestParser& parser)
{
    std::vector<std::string> frames;
    while (const auto request = parser.next()) frames.push_back(to_hex(request->frame));
    return frames;
}

void feed(RequestParser& parser, const std::string& hex, Time now = {})
{
    const Bytes bytes = from_hex(hex);
    parser.feed(now, bytes.data(), bytes.size());
}

TEST(MakeAnswer, BuildsTheFrame)
{
    EXPECT_EQ(to_hex(make_answer(0x0A, 0x51, 0x00), " "), "05 0A 51 00 23 D4");
    EXPECT_EQ(to_hex(make_answer(0x0A, 0x83, 0x00, {3, 7, 1, 2}), " "), "09 0A 83 00 03 07 01 02 05 A3");
}

TEST(MakeAnswer, HoldsAsMuchAsLenCanSay)
{
    const Bytes frame = make_answer(0, 1, 3, Bytes(longest_answer_data, 0x55));
    EXPECT_EQ(frame.size(), 256U);
    EXPECT_EQ(frame.front(), 255);
    EXPECT_THROW(make_answer(0, 1, 3, Bytes(longest_answer_data + 1)), std::logic_error);
}

TEST(RequestParser, TakesARequestApart)
{
    RequestParser parser;
    feed(parser, "06 0A 01 04 00 02 EA");
    const auto request = parser.next();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->address, 0x0A);
    EXPECT_EQ(request->command, 0x01);
    EXPECT_EQ(request->data, (Bytes{0x04, 0x00}));
    EXPECT_FALSE(parser.next());
    EXPECT_FALSE(parser.deadline());
    EXPECT_EQ(parser.bad_frames(), 0U);
}

TEST(RequestParser, TakesRequestsSplitAnywhere)
{
    const std::string both = "060A01040002EA04FF211995";
    for (std::size_t first = 0; first <= both.size(); first += 2) {
        for (std::size_t second = first; second <= both.size(); second += 2) {
            RequestParser parser;
            std::vector<std::string> frames;
            for (const std::string& part :
                 {both.substr(0, first), both.substr(first, second - first), both.substr(second)}) {
                feed(parser, part);
                for (auto& frame : parse_all(parser)) frames.push_back(frame);
            }
            EXPECT_THAT(frames, ElementsAre("060A01040002EA", "04FF211995")) << first << ' ' << second;
            EXPECT_EQ(parser.skipped_bytes(), 0U);
        }
    }
}

TEST(RequestParser, FindsTheRequestBehindNoise)
{
    RequestParser parser;
    feed(parser, "00 03 01 04 FF 21 19 95");
    EXPECT_THAT(parse_all(parser), ElementsAre("04FF211995"));
    EXPECT_EQ(parser.skipped_bytes(), 3U);
    EXPECT_EQ(parser.bad_frames(), 1U);
}

TEST(RequestParser, FindsTheRequestInsideABadFrame)
{
    RequestParser parser;
    feed(parser, "07 00 04 FF 21 19 95 00 04 FF 21 19 95");
    EXPECT_THAT(parse_all(parser), ElementsAre("04FF211995", "04FF211995"));
    EXPECT_EQ(parser.bad_frames(), 2U);
}

TEST(RequestParser, SkipsARequestWithAWrongBit)
{
    RequestParser parser;
    feed(parser, "04 FF 21 19 94 04 FF 21 19 95");
    EXPECT_THAT(parse_all(parser), ElementsAre("04FF211995"));
}

TEST(RequestParser, GivesUpAnIncompleteFrame)
{
    RequestParser parser;
    feed(parser, "FF 01", Time(5));
    feed(parser, "04 FF 21 19 95", Time(10));
    EXPECT_FALSE(parser.next());
    ASSERT_TRUE(parser.deadline());
    EXPECT_EQ(*parser.deadline(), Time(10) + RequestParser::patience);
    parser.expire(*parser.deadline() - Time(1));
    EXPECT_FALSE(parser.next());
    parser.expire(*parser.deadline());
    EXPECT_THAT(parse_all(parser), ElementsAre("04FF211995"));
    EXPECT_FALSE(parser.deadline());
}

TEST(RequestParser, GivesUpWhatWasCutOff)
{
    RequestParser parser;
    feed(parser, "06 0A 01 04");
    EXPECT_FALSE(parser.next());
    parser.expire(RequestParser::patience);
    EXPECT_FALSE(parser.next());
    feed(parser, "04 FF 21 19 95", RequestParser::patience);
    EXPECT_THAT(parse_all(parser), ElementsAre("04FF211995"));
    EXPECT_EQ(parser.skipped_bytes(), 4U);
}

TEST(RequestParser, SurvivesAnything)
{
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        Random random(seed);
        RequestParser parser;
        Time now{};
        for (int i = 0; i < 50; ++i) {
            Bytes bytes(random.below(40));
            for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random.below(256));
            parser.feed(now, bytes.data(), bytes.size());
            if (random.below(8) == 0) parser.expire(now + RequestParser::patience);
            parse_all(parser);
            now += std::chrono::milliseconds(random.below(60));
        }
        parser.expire(now + RequestParser::patience);
        parse_all(parser);
        EXPECT_FALSE(parser.deadline());
        feed(parser, "04 FF 21 19 95", now);
        EXPECT_THAT(parse_all(parser), ElementsAre("04FF211995"));
    }
}

}  // namespace
}  // namespace tagwire::sim
