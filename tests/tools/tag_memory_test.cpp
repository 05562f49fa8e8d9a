#include "tag_memory.h"

#include <algorithm>
#include <optional>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

constexpr TagResult refused{252, 4};
constexpr TagResult silent{48, -1};

// Ten words of 0xEE, read and written four and three at a time, with faults.
class FakeMemory : public TagMemory {
  public:
    TransferLimits limits() const override { return {2, 4, 3}; }

    TagResult read(const Run& run, Bytes& data) override
    {
        reads.push_back(run);
        if (run.first >= unreadable_from) return silent;
        const auto begin = words.begin() + 2 * static_cast<std::ptrdiff_t>(run.first);
        data.assign(begin, begin + 2 * static_cast<std::ptrdiff_t>(run.count) - missing_bytes);
        return {};
    }

    TagResult write(std::uint32_t first, std::span<const std::uint8_t> data) override
    {
        const Run run{first, static_cast<std::uint32_t>(data.size() / 2)};
        writes.push_back(run);
        const bool fails = failing_word && *failing_word < run.first + run.count;
        const auto done = fails ? data.first(2 * (*failing_word - first)) : data;
        std::copy(done.begin(), done.end(), words.begin() + 2 * static_cast<std::ptrdiff_t>(first));
        return fails ? failure : TagResult{};
    }

    Bytes words = Bytes(20, 0xEE);
    std::optional<std::uint32_t> failing_word;
    TagResult failure = refused;
    std::uint32_t unreadable_from = 100;
    std::ptrdiff_t missing_bytes = 0;
    std::vector<Run> reads;
    std::vector<Run> writes;
};

bool never() { return false; }

const Bytes eight_words{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
using Runs = std::vector<Run>;

TEST(Pieces, CoverTheRun)
{
    EXPECT_EQ(split_run({5, 7}, 3), (Runs{{5, 3}, {8, 3}, {11, 1}}));
    EXPECT_EQ(split_run({5, 3}, 3), (Runs{{5, 3}}));
    EXPECT_EQ(split_run({5, 0}, 3), Runs{});
}

TEST(Pieces, FitTheFrame)
{
    EXPECT_EQ(words_in_frame(9), 121u);
    EXPECT_EQ(words_in_frame(10), 120u);
    EXPECT_EQ(words_in_frame(9 + 62), 90u);
    EXPECT_EQ(words_in_frame(249), 1u);
    EXPECT_EQ(words_in_frame(300), 1u);
}

TEST(Reading, GathersPieces)
{
    FakeMemory memory;
    std::copy(eight_words.begin(), eight_words.end(), memory.words.begin());
    const auto report = read_units(memory, {1, 6}, never);
    EXPECT_EQ(report.stop, Stop::None);
    EXPECT_EQ(report.data, Bytes(eight_words.begin() + 2, eight_words.begin() + 14));
    EXPECT_EQ(memory.reads, (Runs{{1, 4}, {5, 2}}));
}

TEST(Reading, KeepsWhatCameBeforeAFailure)
{
    FakeMemory memory;
    memory.unreadable_from = 4;
    const auto report = read_units(memory, {0, 10}, never);
    EXPECT_EQ(report.stop, Stop::Failed);
    EXPECT_EQ(report.result, silent);
    EXPECT_EQ(report.data.size(), 8u);
}

TEST(Reading, NoticesAnAnswerThatIsTooShort)
{
    FakeMemory memory;
    memory.missing_bytes = 3;
    const auto report = read_units(memory, {0, 4}, never);
    EXPECT_EQ(report.stop, Stop::TooShort);
    EXPECT_EQ(report.data.size(), 4u);
}

TEST(Writing, IsDoneInPieces)
{
    FakeMemory memory;
    const auto report = write_units(memory, 1, eight_words, false, never);
    EXPECT_TRUE(report.is_complete());
    EXPECT_FALSE(report.verified);
    EXPECT_EQ(memory.writes, (Runs{{1, 3}, {4, 3}, {7, 2}}));
    EXPECT_EQ(memory.reads, Runs{});
    EXPECT_EQ(report.runs(UnitState::Written), (Runs{{1, 8}}));
    EXPECT_EQ(report.runs(UnitState::NotWritten), Runs{});
}

TEST(Writing, LooksAtThePieceThatFailed)
{
    FakeMemory memory;
    memory.failing_word = 5;
    const auto report = write_units(memory, 1, eight_words, true, never);
    EXPECT_FALSE(report.is_complete());
    EXPECT_EQ(report.stop, Stop::Failed);
    EXPECT_EQ(report.result, refused);
    EXPECT_EQ(memory.reads, (Runs{{4, 3}}));
    EXPECT_EQ(report.runs(UnitState::Written), (Runs{{1, 4}}));
    EXPECT_EQ(report.runs(UnitState::NotWritten), (Runs{{5, 4}}));
    EXPECT_EQ(report.runs(UnitState::Unknown), Runs{});
    EXPECT_TRUE(report.differences.empty());
    EXPECT_FALSE(report.verified);
}

TEST(Writing, FindsThatAPieceWithoutAnswerWasWritten)
{
    FakeMemory memory;
    memory.failing_word = 7;
    memory.failure = silent;
    memory.words[14] = eight_words[12];
    memory.words[15] = eight_words[13];
    const auto report = write_units(memory, 1, eight_words, false, never);
    EXPECT_EQ(report.stop, Stop::Failed);
    EXPECT_EQ(report.runs(UnitState::Written), (Runs{{1, 7}}));
    EXPECT_EQ(report.runs(UnitState::NotWritten), (Runs{{8, 1}}));
}

TEST(Writing, AdmitsWhatItDoesNotKnow)
{
    FakeMemory memory;
    memory.failing_word = 5;
    memory.unreadable_from = 0;
    const auto report = write_units(memory, 1, eight_words, false, never);
    EXPECT_EQ(report.runs(UnitState::Written), (Runs{{1, 3}}));
    EXPECT_EQ(report.runs(UnitState::Unknown), (Runs{{4, 3}}));
    EXPECT_EQ(report.runs(UnitState::NotWritten), (Runs{{7, 2}}));
    ASSERT_TRUE(report.failed_reading);
    EXPECT_EQ(report.failed_reading->result, silent);
}

TEST(Writing, StopsWhenAsked)
{
    FakeMemory memory;
    const auto report =
        write_units(memory, 1, eight_words, true, [&memory] { return memory.writes.size() == 2; });
    EXPECT_EQ(report.stop, Stop::Interrupted);
    EXPECT_EQ(report.runs(UnitState::Written), (Runs{{1, 6}}));
    EXPECT_EQ(report.runs(UnitState::NotWritten), (Runs{{7, 2}}));
}

// Says that it wrote, and left a word out.
class ForgetfulMemory : public FakeMemory {
  public:
    TagResult write(std::uint32_t first, std::span<const std::uint8_t> data) override
    {
        const auto result = FakeMemory::write(first, data);
        words[6] = 0xAB;
        return result;
    }
};

TEST(Verifying, ComparesWordByWord)
{
    ForgetfulMemory memory;
    const auto report = write_units(memory, 0, eight_words, true, never);
    EXPECT_EQ(report.stop, Stop::None);
    EXPECT_TRUE(report.verified);
    EXPECT_FALSE(report.is_complete());
    EXPECT_EQ(report.differences, (std::vector<Difference>{{3, {6, 7}, {0xAB, 7}}}));
    EXPECT_EQ(report.runs(UnitState::NotWritten), (Runs{{3, 1}}));
    EXPECT_EQ(report.runs(UnitState::Written), (Runs{{0, 3}, {4, 4}}));
}

TEST(Verifying, SaysWhenItCouldNotReadBack)
{
    FakeMemory memory;
    memory.unreadable_from = 4;
    const auto report = write_units(memory, 0, eight_words, true, never);
    EXPECT_FALSE(report.verified);
    EXPECT_FALSE(report.is_complete());
    EXPECT_EQ(report.stop, Stop::None);
    ASSERT_TRUE(report.failed_reading);
    // The reader confirmed the write.
    EXPECT_EQ(report.runs(UnitState::Written), (Runs{{0, 8}}));
}

TEST(Verifying, IsQuietAboutSuccess)
{
    FakeMemory memory;
    const auto report = write_units(memory, 0, eight_words, true, never);
    EXPECT_TRUE(report.verified);
    EXPECT_TRUE(report.is_complete());
}

}  // namespace
}  // namespace tagwire::tool
