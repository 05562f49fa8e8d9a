// The logic of an update against a reader of which every answer can be lost, damaged or late.
#include "firmware_update.h"

#include "tagwire/result.h"

#include <deque>
#include <map>
#include <numeric>
#include <set>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

constexpr int refusal = 0xF6;

enum class Command { version, begin, block, checksum, mark };

struct Request {
    Command command;
    std::uint8_t number = 0;
    Bytes block;

    bool operator==(const Request&) const = default;
};

// What happens to a request, or to its answer.
struct Fate {
    enum Kind { served, request_lost, answer_lost, damaged, late, refused, power_lost } kind = served;
    int detail = 0;  // late: by how many exchanges; damaged: the result; refused: the status
};

// Takes blocks as they come, whatever their number: a block too many spoils the image.
class FakeReader : public UpdateLink {
  public:
    std::map<std::size_t, Fate> fates;                            // by request
    std::function<Fate(const Request&)> fate_of;                  // of the others
    std::function<void(const Request&, std::size_t)> on_request;  // with its number
    std::vector<Request> requests;
    FirmwareVersion running{1, 0};
    FirmwareVersion next{2, 0};
    Bytes received;
    Bytes marked;
    bool updating = false;
    int marks = 0;
    int silent = 0;             // exchanges to come that are not answered
    int silent_after_mark = 0;  // becomes that
    int farewell = 0;           // versions that the old program still tells after the mark
    int connections = 0;
    bool hides_version = false;  // in its update mode
    bool low_byte_first = false;
    std::uint32_t spoil_checksum = 0;

    int begin() override { return exchange({Command::begin, 0, {}}); }
    int write(std::uint8_t number, std::span<const std::uint8_t> block) override
    {
        return exchange({Command::block, number, Bytes(block.begin(), block.end())});
    }
    int checksum(Checksum& checksum) override
    {
        const int code = exchange({Command::checksum, 0, {}});
        if (code == TAGWIRE_OK) checksum = last_.checksum;
        return code;
    }
    int mark() override { return exchange({Command::mark, 0, {}}); }
    bool ask_version(FirmwareVersion& version) override
    {
        send({Command::version, 0, {}});
        while (const auto answer = receive()) {
            if (answer->command != Command::version || answer->damage != 0) continue;
            version = answer->version;
            return true;
        }
        time_ += std::chrono::milliseconds(200);
        return false;
    }
    void listen() override
    {
        ++listened;
        answers_.clear();
    }
    void reconnect() override
    {
        ++connections;
        answers_.clear();
    }
    void pause(std::chrono::milliseconds time) override { time_ += time; }
    Clock::time_point now() const override { return Clock::time_point(time_); }

    int listened = 0;

  private:
    struct Answer {
        Command command = Command::version;
        int status = 0;
        FirmwareVersion version{};
        Checksum checksum{};
        int damage = 0;
        std::size_t due = 0;
    };

    int exchange(const Request& request)
    {
        send(request);
        const auto answer = receive();
        if (!answer) {
            time_ += std::chrono::seconds(2);
            return TAGWIRE_NO_ANSWER;
        }
        if (answer->damage != 0) return answer->damage;
        if (answer->command != request.command) return TAGWIRE_WRONG_COMMAND;
        last_ = *answer;
        return answer->status;
    }

    void send(const Request& request)
    {
        const auto number = requests.size();
        requests.push_back(request);
        if (on_request) on_request(request, number);
        const auto found = fates.find(number);
        Fate fate = fate_of ? fate_of(request) : Fate{};
        if (found != fates.end()) fate = found->second;
        if (fate.kind == Fate::power_lost) stop_updating();
        const bool hidden = hides_version && updating && request.command == Command::version;
        if (hidden) return;
        if (silent > 0 || fate.kind == Fate::request_lost) {
            silent = std::max(silent - 1, 0);
            return;
        }
        Answer answer = fate.kind == Fate::refused ? Answer{request.command, fate.detail} : serve(request);
        if (fate.kind == Fate::answer_lost) return;
        if (fate.kind == Fate::damaged) answer.damage = fate.detail;
        answer.due = number + (fate.kind == Fate::late ? static_cast<std::size_t>(fate.detail) : 0);
        answers_.push_back(answer);
    }

    // Answers do not overtake each other.
    std::optional<Answer> receive()
    {
        if (answers_.empty() || answers_.front().due >= requests.size()) return std::nullopt;
        const Answer answer = answers_.front();
        answers_.pop_front();
        return answer;
    }

    Answer serve(const Request& request)
    {
        Answer answer{request.command, 0, running};
        if (request.command == Command::version) {
            if (farewell > 0 && marks > 0 && --farewell == 0) running = next;
            return answer;
        }
        if (request.command == Command::begin) {
            stop_updating();
            updating = true;
        } else if (!updating) {
            answer.status = refusal;
        } else if (request.command == Command::block) {
            received.insert(received.end(), request.block.begin(), request.block.end());
        } else if (request.command == Command::checksum) {
            answer.checksum = checksum_bytes();
        } else {
            write_mark();
        }
        return answer;
    }

    Checksum checksum_bytes() const
    {
        const auto crc = crc32(received) ^ spoil_checksum;
        Checksum bytes{};
        for (unsigned i = 0; i < 4; ++i)
            bytes[low_byte_first ? i : 3 - i] = static_cast<std::uint8_t>(crc >> 8 * i);
        return bytes;
    }

    void write_mark()
    {
        marked = received;
        if (farewell == 0) running = next;
        ++marks;
        silent = silent_after_mark;
        stop_updating();
    }

    void stop_updating()
    {
        updating = false;
        received.clear();
    }

    std::deque<Answer> answers_;
    Answer last_;
    std::chrono::milliseconds time_{0};
};

Bytes image_of(std::size_t size)
{
    Bytes image(size);
    std::uint32_t state = 1;
    for (auto& byte : image) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24U);
    }
    return image;
}

struct Updating : testing::Test {
    UpdateReport update()
    {
        reader.requests.clear();
        return update_firmware(reader, image, plan, watcher);
    }
    std::size_t sent(Command command) const
    {
        std::size_t count = 0;
        for (const auto& request : reader.requests) count += request.command == command ? 1 : 0;
        return count;
    }
    std::vector<std::uint8_t> numbers() const
    {
        std::vector<std::uint8_t> numbers;
        for (const auto& request : reader.requests)
            if (request.command == Command::block) numbers.push_back(request.number);
        return numbers;
    }
    // With a reader to which nothing happens any more.
    void expect_another_update_succeeds()
    {
        reader.fates.clear();
        reader.fate_of = nullptr;
        reader.on_request = nullptr;
        reader.silent = 0;
        watcher = {};
        const auto report = update();
        EXPECT_EQ(end_name(report.end), "updated");
        EXPECT_EQ(reader.marked, image);
    }
    void expect_end(const UpdateReport& report, UpdateEnd end, ReaderState state, int code = 0)
    {
        EXPECT_EQ(end_name(report.end), end_name(end));
        EXPECT_EQ(state_name(report.state), state_name(state));
        EXPECT_EQ(report.code, code);
    }

    // Requests of an update without losses: version, begin, five blocks, checksum, mark, version, checksum.
    static constexpr std::size_t first_block = 2;
    static constexpr std::size_t last_block = 6;
    static constexpr std::size_t checksum = 7;
    static constexpr std::size_t mark = 8;

    FakeReader reader;
    Bytes image = image_of(18);
    UpdatePlan plan{.block = 4};
    UpdateWatcher watcher;
};

TEST(Crc32, KnownValues)
{
    const std::string digits = "123456789";
    const Bytes bytes(digits.begin(), digits.end());
    EXPECT_EQ(crc32({}), 0U);
    EXPECT_EQ(crc32(bytes), 0xCBF43926U);
    EXPECT_EQ(crc32(Bytes(4)), 0x2144DF1CU);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut)
        EXPECT_EQ(crc32(std::span(bytes).subspan(cut), crc32(std::span(bytes).first(cut))), 0xCBF43926U);
}

TEST_F(Updating, SendsBlocksInOrderThenComparesThenMarks)
{
    std::vector<std::size_t> progress;
    watcher.progress = [&](const UpdateProgress& now) {
        progress.push_back(now.bytes);
        EXPECT_EQ(now.total, 18U);
    };
    const auto report = update();
    expect_end(report, UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(report.old_version, (FirmwareVersion{1, 0}));
    EXPECT_EQ(report.version, (FirmwareVersion{2, 0}));
    EXPECT_EQ(report.blocks_done, 5U);
    EXPECT_EQ(reader.marked, image);
    EXPECT_EQ(progress, (std::vector<std::size_t>{4, 8, 12, 16, 18}));
    std::vector<Command> commands;
    for (const auto& request : reader.requests) commands.push_back(request.command);
    EXPECT_EQ(commands, (std::vector{Command::version, Command::begin, Command::block, Command::block,
                                     Command::block, Command::block, Command::block, Command::checksum,
                                     Command::mark, Command::version, Command::checksum}));
    EXPECT_EQ(numbers(), (std::vector<std::uint8_t>{0, 1, 2, 3, 4}));
}

TEST_F(Updating, CutsImagesOfAnySize)
{
    for (const std::size_t size : {1u, 249u, 250u, 251u, 500u, 65536u}) {
        image = image_of(size);
        plan.block = longest_block;
        const auto report = update();
        expect_end(report, UpdateEnd::updated, ReaderState::new_program);
        EXPECT_EQ(reader.marked, image);
        EXPECT_EQ(sent(Command::block), (size + 249) / 250);
        EXPECT_EQ(report.blocks, (size + 249) / 250);
    }
}

TEST_F(Updating, NumbersWrap)
{
    struct Case {
        std::uint8_t first;
        std::uint8_t wrap_to;
    };
    image = image_of(600);
    plan.block = 1;
    for (const auto& [first, wrap_to] : {Case{0, 0}, Case{1, 0}, Case{1, 1}, Case{255, 7}}) {
        plan.first_number = first;
        plan.wrap_to = wrap_to;
        expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
        const auto sent = numbers();
        ASSERT_EQ(sent.size(), 600U);
        EXPECT_EQ(sent[0], first);
        for (std::size_t i = 1; i < sent.size(); ++i)
            ASSERT_EQ(sent[i], sent[i - 1] == 255 ? wrap_to : sent[i - 1] + 1) << i;
    }
}

TEST_F(Updating, ARepeatedBlockKeepsItsNumber)
{
    reader.fates[4] = {Fate::request_lost};
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(numbers(), (std::vector<std::uint8_t>{0, 1, 2, 2, 3, 4}));
    EXPECT_EQ(reader.marked, image);
}

TEST_F(Updating, AReaderInItsUpdateModeStartsOver)
{
    reader.updating = true;
    reader.received = {1, 2, 3};
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(reader.marked, image);
}

TEST_F(Updating, TakesTheChecksumInEitherOrder)
{
    reader.low_byte_first = true;
    const auto report = update();
    expect_end(report, UpdateEnd::checksum_differs, ReaderState::update_mode);
    plan.low_byte_first = true;
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
}

TEST_F(Updating, MarksNothingWhenTheChecksumDiffers)
{
    reader.spoil_checksum = 0x00010000;
    const auto report = update();
    expect_end(report, UpdateEnd::checksum_differs, ReaderState::update_mode);
    EXPECT_EQ(report.found_checksum, crc32(image) ^ 0x00010000U);
    EXPECT_EQ(sent(Command::mark), 0U);
    EXPECT_EQ(reader.running, (FirmwareVersion{1, 0}));
    reader.spoil_checksum = 0;
    expect_another_update_succeeds();
}

// One loss of any kind at any place does no harm.
class UpdatingWithALoss : public Updating, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(HidesVersion, UpdatingWithALoss, testing::Bool());

TEST_P(UpdatingWithALoss, Succeeds)
{
    std::vector<Fate> fates{{Fate::request_lost}, {Fate::answer_lost}};
    for (const int code : {48, 49, 238}) fates.push_back({Fate::damaged, code});
    for (int late = 1; late < 8; ++late) fates.push_back({Fate::late, late});
    for (const auto& fate : fates) {
        for (std::size_t at = 0; at <= mark + 2; ++at) {
            SCOPED_TRACE(testing::Message() << "kind " << fate.kind << " " << fate.detail << " at " << at);
            reader = {};
            reader.hides_version = GetParam();
            reader.fates[at] = fate;
            const auto report = update();
            expect_end(report, UpdateEnd::updated, ReaderState::new_program);
            EXPECT_EQ(reader.marked, image);
            EXPECT_EQ(reader.marks, 1);
        }
    }
}

// An answer that comes when nobody waits for it any more spoils nothing either.
TEST_F(Updating, AReaderThatStallsTooLongIsGivenUp)
{
    reader.fates[first_block + 1] = {Fate::late, 30};
    expect_end(update(), UpdateEnd::link_lost, ReaderState::old_program_or_update_mode, 48);
    EXPECT_EQ(sent(Command::block), 2U);
    EXPECT_EQ(reader.marks, 0);
}

// Two of them neither: a block too many or too few would spoil the image.
TEST_F(Updating, SurvivesAnyTwoLosses)
{
    plan.retries = 5;
    const std::vector<Fate> fates{{Fate::request_lost}, {Fate::answer_lost}, {Fate::late, 1},
                                  {Fate::late, 2},      {Fate::late, 3},     {Fate::late, 6}};
    for (const auto& first : fates) {
        for (const auto& second : fates) {
            for (std::size_t at = 0; at < 16; ++at) {
                for (std::size_t gap = 1; gap < 7; ++gap) {
                    SCOPED_TRACE(testing::Message()
                                 << first.kind << ":" << first.detail << " at " << at << ", " << second.kind
                                 << ":" << second.detail << " " << gap << " later");
                    reader = {};
                    reader.fates = {{at, first}, {at + gap, second}};
                    const auto report = update();
                    ASSERT_EQ(end_name(report.end), "updated");
                    ASSERT_EQ(reader.marked, image);
                    ASSERT_EQ(reader.marks, 1);
                }
            }
        }
    }
}

TEST_F(Updating, ABlockIsNotSentAgainWhenItArrived)
{
    std::vector<LostAnswer> lost;
    watcher.lost = [&](const LostAnswer& answer) { lost.push_back(answer); };
    reader.fates[3] = {Fate::answer_lost};
    reader.fates[7] = {Fate::request_lost};
    const auto report = update();
    expect_end(report, UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(report.lost_answers, 2U);
    ASSERT_EQ(lost.size(), 2U);
    EXPECT_EQ(lost[0].block, 2U);
    EXPECT_EQ(lost[0].code, 48);
    EXPECT_TRUE(lost[0].arrived);
    EXPECT_EQ(lost[1].block, 4U);
    EXPECT_FALSE(lost[1].arrived);
    EXPECT_EQ(sent(Command::block), 6U);
}

TEST_F(Updating, ListensUntilTheLinkIsSilentWhenQuestionsWereLostToo)
{
    reader.fates[3] = {Fate::late, 3};
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(reader.listened, 1);
    reader = {};
    reader.fates[3] = {Fate::late, 1};
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(reader.listened, 0);
}

TEST_F(Updating, GivesABlockUpAfterItsRetries)
{
    for (const unsigned retries : {0U, 1U, 5U}) {
        plan.retries = retries;
        reader.fate_of = [](const Request& request) {
            return Fate{request.number == 2 ? Fate::request_lost : Fate::served};
        };
        const auto report = update();
        expect_end(report, UpdateEnd::block_lost, ReaderState::update_mode, 48);
        EXPECT_EQ(report.blocks_done, 2U);
        EXPECT_EQ(sent(Command::block), 3U + retries);
        EXPECT_EQ(sent(Command::mark), 0U);
        expect_another_update_succeeds();
    }
}

// Whatever a status means, it is not a success, and nothing is marked.
TEST_F(Updating, EndsAtEveryStatus)
{
    const std::set<int> losses{48, 49, 51, 55, 238};
    for (int status = 1; status < 256; ++status) {
        if (losses.contains(status)) continue;
        SCOPED_TRACE(status);
        const auto refuse_at = [&](std::size_t at) {
            reader = {};
            reader.fates[at] = {Fate::refused, status};
            return update();
        };
        expect_end(refuse_at(1), UpdateEnd::refused, ReaderState::old_program, status);
        EXPECT_EQ(sent(Command::block), 0U);
        for (std::size_t at = first_block; at <= last_block; ++at)
            expect_end(refuse_at(at), UpdateEnd::block_refused, ReaderState::update_mode, status);
        expect_end(refuse_at(checksum), UpdateEnd::left_update_mode, ReaderState::old_program, status);
        EXPECT_EQ(sent(Command::mark), 0U);
        expect_end(refuse_at(mark), UpdateEnd::mark_refused, ReaderState::update_mode, status);
        EXPECT_EQ(reader.marks, 0);
    }
}

TEST_F(Updating, SaysThatTheReaderLostItsPower)
{
    for (std::size_t at = first_block; at <= mark; ++at) {
        SCOPED_TRACE(at);
        reader = {};
        reader.fates[at] = {Fate::power_lost};
        expect_end(update(), UpdateEnd::left_update_mode, ReaderState::old_program, refusal);
        EXPECT_EQ(reader.marks, 0);
        EXPECT_EQ(reader.running, (FirmwareVersion{1, 0}));
        expect_another_update_succeeds();
    }
}

TEST_F(Updating, SaysThatTheReaderIsGone)
{
    for (std::size_t at = 0; at <= mark; ++at) {
        SCOPED_TRACE(at);
        reader = {};
        reader.on_request = [&](const Request&, std::size_t number) {
            if (number >= at) reader.silent = 1;
        };
        const auto report = update();
        if (at < mark) {
            expect_end(report, UpdateEnd::link_lost, ReaderState::old_program_or_update_mode, 48);
        } else {
            expect_end(report, UpdateEnd::mark_unanswered, ReaderState::unknown, 48);
        }
        EXPECT_EQ(reader.marks, 0);
        expect_another_update_succeeds();
    }
}

TEST_F(Updating, IsInterruptedBetweenAnyTwoRequests)
{
    for (std::size_t at = 0; at < mark; ++at) {
        SCOPED_TRACE(at);
        reader = {};
        bool interrupted = false;
        watcher.interrupted = [&] { return interrupted; };
        reader.on_request = [&](const Request&, std::size_t number) { interrupted = number >= at; };
        const auto report = update();
        expect_end(report, UpdateEnd::interrupted,
                   at == 0 ? ReaderState::old_program : ReaderState::update_mode);
        EXPECT_EQ(reader.requests.size(), at + 1);
        EXPECT_EQ(reader.marks, 0);
        expect_another_update_succeeds();
    }
}

TEST_F(Updating, IsInterruptedWhileARequestIsLost)
{
    for (std::size_t at = 0; at < mark; ++at) {
        SCOPED_TRACE(at);
        reader = {};
        bool interrupted = false;
        watcher.interrupted = [&] { return interrupted; };
        reader.on_request = [&](const Request&, std::size_t number) { interrupted = number >= at; };
        reader.fates[at] = {Fate::request_lost};
        const auto report = update();
        expect_end(report, UpdateEnd::interrupted, ReaderState::old_program_or_update_mode);
        EXPECT_EQ(reader.requests.size(), at + 1);
        expect_another_update_succeeds();
    }
}

TEST_F(Updating, FinishesTheMarkWhenInterruptedInIt)
{
    bool interrupted = false;
    watcher.interrupted = [&] { return interrupted; };
    reader.on_request = [&](const Request& request, std::size_t) {
        interrupted = interrupted || request.command == Command::mark;
    };
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);

    reader.silent_after_mark = 1;
    reader.running = {1, 0};
    interrupted = false;
    expect_end(update(), UpdateEnd::not_back, ReaderState::marked);

    reader.silent_after_mark = 0;
    reader.running = {1, 0};
    interrupted = false;
    reader.fates[mark] = {Fate::answer_lost};
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);

    reader.running = {1, 0};
    interrupted = false;
    reader.fates[mark] = {Fate::request_lost};
    expect_end(update(), UpdateEnd::interrupted, ReaderState::update_mode);
    EXPECT_EQ(reader.running, (FirmwareVersion{1, 0}));
    expect_another_update_succeeds();
}

TEST_F(Updating, FindsOutWhetherAnUnansweredMarkArrived)
{
    reader.fates[mark] = {Fate::request_lost};
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(sent(Command::mark), 2U);

    reader = {};
    reader.silent_after_mark = 7;
    reader.fates[mark] = {Fate::answer_lost};
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(sent(Command::mark), 1U);
    EXPECT_GT(reader.connections, 0);

    // The new program calls itself like the old one: it could be either.
    reader = {};
    reader.next = reader.running;
    reader.fates[mark] = {Fate::answer_lost};
    expect_end(update(), UpdateEnd::mark_unanswered, ReaderState::unknown, 48);
    EXPECT_EQ(reader.marks, 1);
    expect_another_update_succeeds();
}

TEST_F(Updating, GivesTheMarkUpAfterItsRetries)
{
    reader.fate_of = [](const Request& request) {
        return Fate{request.command == Command::mark ? Fate::request_lost : Fate::served};
    };
    expect_end(update(), UpdateEnd::mark_lost, ReaderState::update_mode, 48);
    EXPECT_EQ(sent(Command::mark), 4U);
    expect_another_update_succeeds();
}

TEST_F(Updating, WaitsForTheReaderToBoot)
{
    reader.silent_after_mark = 20;
    const auto report = update();
    expect_end(report, UpdateEnd::updated, ReaderState::new_program);
    EXPECT_EQ(report.version, (FirmwareVersion{2, 0}));
    EXPECT_GE(reader.connections, 20);
}

TEST_F(Updating, DoesNotWaitForever)
{
    reader.silent_after_mark = 1'000'000;
    plan.boot_limit = std::chrono::seconds(10);
    expect_end(update(), UpdateEnd::not_back, ReaderState::marked);
    EXPECT_LT(reader.now(), UpdateLink::Clock::time_point(std::chrono::seconds(11)));
}

TEST_F(Updating, DoesNotTakeTheOldProgramForTheNew)
{
    for (int farewell = 1; farewell < 10; ++farewell) {
        for (const auto fate : {Fate::served, Fate::answer_lost}) {
            SCOPED_TRACE(farewell);
            reader = {};
            reader.farewell = farewell;
            reader.fates[mark] = {fate};
            const auto report = update();
            expect_end(report, UpdateEnd::updated, ReaderState::new_program);
            EXPECT_EQ(report.version, reader.next);
        }
    }
}

TEST_F(Updating, AcceptsAnUpdateToTheSameVersion)
{
    reader.next = reader.running;
    expect_end(update(), UpdateEnd::updated, ReaderState::new_program);
}

TEST(UpdateTexts, SayWhatHappenedAndHowToGoOn)
{
    UpdateReport report;
    report.blocks = 5;
    report.blocks_done = 2;
    report.code = 0xF6;
    report.checksum = 0x01234567;
    report.found_checksum = 0x89ABCDEF;
    std::set<std::string> names;
    for (int number = 0; number <= static_cast<int>(UpdateEnd::interrupted); ++number) {
        report.end = static_cast<UpdateEnd>(number);
        EXPECT_FALSE(problem_text(report, "at 192.0.2.10:6000").empty());
        EXPECT_NE(advice_text(report).find("; "), std::string::npos);
        names.insert(end_name(report.end));
    }
    EXPECT_EQ(names.size(), 12U);
    std::set<std::string> states;
    for (int number = 0; number <= static_cast<int>(ReaderState::new_program); ++number) {
        report.state = static_cast<ReaderState>(number);
        states.insert(state_name(report.state));
        states.insert(advice_text(report));
    }
    EXPECT_EQ(states.size(), 12U);

    report.end = UpdateEnd::block_refused;
    EXPECT_EQ(problem_text(report, "on /dev/ttyUSB0"),
              "block 3 of 5 was refused by the reader on /dev/ttyUSB0: status 0xF6 (246)");
    report.end = UpdateEnd::checksum_differs;
    EXPECT_EQ(problem_text(report, "on /dev/ttyUSB0"),
              "the reader on /dev/ttyUSB0 received something else: its CRC-32 is 89ABCDEF, that of the file "
              "01234567");
    report.end = UpdateEnd::link_lost;
    report.code = 48;
    EXPECT_EQ(problem_text(report, "on /dev/ttyUSB0"),
              "block 3 of 5: the reader on /dev/ttyUSB0 fell silent: no answer in time (48)");
    report.end = UpdateEnd::interrupted;
    report.state = ReaderState::update_mode;
    EXPECT_EQ(problem_text(report, ""), "interrupted, block 3 of 5");
    EXPECT_EQ(advice_text(report),
              "nothing was changed: the reader runs its old program, and is in its update mode until it is "
              "updated or switched off and on; to update it after all, run the same command again: it starts "
              "over");
}

}  // namespace
}  // namespace tagwire::tool
