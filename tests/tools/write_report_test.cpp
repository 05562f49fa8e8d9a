#include "write_report.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using Lines = std::vector<std::string>;

WriteReport report_of(std::uint32_t first, std::vector<UnitState> states)
{
    WriteReport report;
    report.run = {first, static_cast<std::uint32_t>(states.size())};
    report.states = std::move(states);
    return report;
}

constexpr auto yes = UnitState::Written;
constexpr auto no = UnitState::NotWritten;
constexpr auto unknown = UnitState::Unknown;

TEST(WriteReportText, IsOneLineAfterSuccess)
{
    auto report = report_of(4, {yes, yes, yes});
    EXPECT_EQ(write_report_lines(report, "word", "user"), (Lines{"3 words of user written (4-6)"}));
    report.verified = true;
    EXPECT_EQ(write_report_lines(report, "word", "user"),
              (Lines{"3 words of user written (4-6) and read back"}));
    EXPECT_EQ(write_report_lines(report_of(0, {yes}), "byte", "the tag"),
              (Lines{"1 byte of the tag written (0)"}));
}

TEST(WriteReportText, NamesEveryWordAfterAFailure)
{
    auto report = report_of(4, {yes, no, yes, yes, unknown, unknown, no});
    report.stop = Stop::Failed;
    EXPECT_EQ(write_report_lines(report, "word", "user"),
              (Lines{"written: words 4, 6-7", "not written: words 5, 10", "not known: words 8-9"}));
    auto nothing = report_of(4, {no, no});
    nothing.stop = Stop::Failed;
    EXPECT_EQ(write_report_lines(nothing, "word", "user"),
              (Lines{"written: nothing", "not written: words 4-5"}));
}

TEST(WriteReportText, ShowsTheFirstDifferences)
{
    auto report = report_of(0, std::vector<UnitState>(20, no));
    report.verified = true;
    for (std::uint32_t i = 0; i < 20; ++i) report.differences.push_back({i, {0x12, 0x34}, {0xFF, 0}});
    const auto lines = write_report_lines(report, "word", "user");
    ASSERT_EQ(lines.size(), 19u);
    EXPECT_EQ(lines[2], "word 0 holds FF00 instead of 1234");
    EXPECT_EQ(lines[18], "and 4 more");
}

TEST(WriteReportJson, HasTheSame)
{
    auto report = report_of(4, {yes, yes, no, unknown});
    report.stop = Stop::Failed;
    report.differences.push_back({6, {0x12, 0x34}, {0xFF, 0}});
    Json object;
    add_write_report(object, report, "word");
    EXPECT_EQ(object.dump(), R"({"first_word":4,"count":4,"complete":false,"verified":false,)"
                             R"("written":[{"first":4,"count":2}],"not_written":[{"first":6,"count":1}],)"
                             R"("unknown":[{"first":7,"count":1}],)"
                             R"("differences":[{"word":6,"expected":"1234","found":"FF00"}]})");
}

}  // namespace
}  // namespace tagwire::tool
