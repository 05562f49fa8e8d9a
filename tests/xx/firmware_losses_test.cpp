// Updates over a line that loses any two requests or answers, and updates that are stopped at any request.
#include <atomic>
#include <map>
#include <mutex>
#include <poll.h>
#include <set>
#include <stop_token>
#include <sys/socket.h>
#include <vector>

#include "link/clock.h"
#include "link/system_seam.h"
#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using engine::ns_per_s;
using engine::sys::Direct;
using namespace std::chrono_literals;

enum class Loss { request, answer };
using Losses = std::map<std::size_t, Loss>;  // by the number of the request

// The line of a thread, and its time, which moves only when nothing comes.
struct Line {
    Losses losses;
    std::function<void(std::size_t)> on_request;
    std::size_t requests = 0;
    std::int64_t now = ns_per_s;
};
thread_local Line line;

void receive_answer(int fd, bool is_lost)
{
    constexpr int long_wait_ms = 60'000;
    std::uint8_t frame[256] = {};
    ssize_t count = 0;
    do {
        pollfd watched{fd, POLLIN, 0};
        ::poll(&watched, 1, long_wait_ms);
        count = ::recv(fd, frame, sizeof frame, MSG_PEEK | MSG_DONTWAIT);
    } while (count > 0 && count <= frame[0]);
    ASSERT_EQ(count, frame[0] + 1) << "an answer and nothing else";
    if (is_lost) ::recv(fd, frame, sizeof frame, MSG_DONTWAIT);
}

// Returns when the answer is there, or lost.
ssize_t send(int fd, const void* from, std::size_t count, int flags)
{
    const std::size_t number = line.requests++;
    if (line.on_request) line.on_request(number);
    const auto loss = line.losses.find(number);
    const bool is_lost = loss != line.losses.end();
    if (is_lost && loss->second == Loss::request) return static_cast<ssize_t>(count);
    const ssize_t sent = Direct::send(fd, from, count, flags);
    receive_answer(fd, is_lost);
    return sent;
}

int clock(timespec* now)
{
    *now = engine::timespec_of(line.now);
    return 0;
}

// What is to come is there before anybody waits for it. Longer than every limit of a command.
int ppoll(pollfd* fds, nfds_t count, const timespec*)
{
    if (const int ready = ::poll(fds, count, 0)) return ready;
    std::this_thread::sleep_for(1ms);  // for others
    line.now += 3 * ns_per_s;
    return 0;
}

int sleep_until(const timespec* end)
{
    line.now = std::max(line.now, end->tv_sec * ns_per_s + end->tv_nsec);
    return 0;
}

class FirmwareLosses : public testing::Test {
  protected:
    FirmwareLosses()
    {
        engine::sys::calls.send = send;
        engine::sys::calls.clock = clock;
        engine::sys::calls.ppoll = ppoll;
        engine::sys::calls.sleep_until = sleep_until;
    }

  private:
    const engine::test::SystemSeam seam_;
};

constexpr Version next_version{2, 7};
constexpr std::size_t block_size = 4;
const Bytes image{9, 1, 8, 2, 7, 3, 6, 4, 5, 0, 11};

// Requests of an update without losses: version, begin, three blocks, checksum, mark, version, checksum.
constexpr std::size_t blocks = 3;
constexpr std::size_t first_block = 2;
constexpr std::size_t mark = 6;
constexpr std::size_t all_requests = 9;

struct Updated {
    explicit Updated(const Losses& losses = {})
    {
        line = {};
        sim::Scenario scenario = make_scenario(0);
        scenario.services.firmware.next_version = {next_version.major, next_version.minor};
        scenario.services.firmware.boot = 0ms;
        device = &simulator.add_reader(scenario);
        reader.emplace("tcp://127.0.0.1:" + std::to_string(device->listen()));
        line.losses = losses;
    }
    ~Updated() { line = {}; }
    Updated(const Updated&) = delete;
    Updated& operator=(const Updated&) = delete;

    UpdateReport update(const std::function<void(const Progress&)>& told = {}, unsigned retries = 3)
    {
        line.requests = 0;
        return reader->update_firmware(image, told, stop.get_token(),
                                       {.block = block_size, .retries = retries, .with_doubts = true});
    }
    bool runs_new_program() const
    {
        const auto is = device->firmware();
        return !is.updating && is.marks == 1 && is.image == image &&
               Version{is.version[0], is.version[1]} == next_version;
    }
    bool is(UpdateState told) const
    {
        const auto is = device->firmware();
        switch (told) {
        case UpdateState::untouched:
        case UpdateState::old_program: return is.marks == 0 && !is.updating;
        case UpdateState::update_mode: return is.marks == 0 && is.updating;
        case UpdateState::old_program_or_update_mode: return is.marks == 0;
        case UpdateState::marked:
        case UpdateState::new_program: return runs_new_program();
        case UpdateState::unknown: return is.marks == 0 || runs_new_program();
        }
        return false;
    }
    void expect_done(const UpdateReport& report) const
    {
        EXPECT_EQ(report.end, UpdateEnd::updated) << report.text();
        EXPECT_EQ(report.state, UpdateState::new_program);
        EXPECT_EQ(report.version, next_version);
        EXPECT_TRUE(runs_new_program());
    }
    void expect_stopped(const UpdateReport& report, UpdateState state)
    {
        EXPECT_EQ(report.end, UpdateEnd::stopped) << report.text();
        EXPECT_STREQ(to_string(report.state), to_string(state));
        EXPECT_TRUE(is(report.state));
        line.losses.clear();
        line.on_request = nullptr;
        stop = {};
        expect_done(update());
    }

    sim::Simulator simulator;
    sim::Reader* device = nullptr;
    std::optional<Reader> reader;
    std::stop_source stop;
};

// Some of them wait for real, so many go on at once.
template <class Case, class Act> void for_all(const std::vector<Case>& cases, Act act)
{
    constexpr int threads = 64;
    std::atomic<std::size_t> next = 0;
    std::vector<std::jthread> workers;
    workers.reserve(threads);
    for (int i = 0; i < threads; ++i)
        workers.emplace_back([&] {
            for (std::size_t at = next++; at < cases.size(); at = next++) act(cases[at]);
        });
}

std::string text_of(const Losses& losses)
{
    std::string text;
    for (const auto& [at, loss] : losses)
        text += (loss == Loss::request ? "request " : "answer ") + std::to_string(at) + " is lost, ";
    return text;
}

constexpr std::size_t most_requests = 13;  // of an update with a loss

std::vector<Losses> any_two_losses()
{
    constexpr Loss kinds[] = {Loss::request, Loss::answer};
    std::vector<Losses> out;
    for (std::size_t first = 0; first < most_requests; ++first)
        for (std::size_t second = first + 1; second < most_requests; ++second)
            for (const Loss one : kinds)
                for (const Loss other : kinds) out.push_back({{first, one}, {second, other}});
    return out;
}

TEST_F(FirmwareLosses, NoneOfThemSpoilsAnUpdate)
{
    std::vector<Losses> cases{{}};
    for (std::size_t at = 0; at < most_requests; ++at)
        for (const Loss loss : {Loss::request, Loss::answer}) cases.push_back({{at, loss}});
    std::mutex mutex;
    std::set<std::size_t> requests;
    for_all(cases, [&](const Losses& losses) {
        SCOPED_TRACE(text_of(losses));
        Updated one(losses);
        one.expect_done(one.update());
        const std::lock_guard lock(mutex);
        requests.insert(line.requests);
    });
    EXPECT_EQ(*requests.begin(), all_requests);
    EXPECT_EQ(*requests.rbegin(), most_requests);
}

TEST_F(FirmwareLosses, NoTwoOfThemSpoilAnUpdate)
{
    for_all(any_two_losses(), [](const Losses& losses) {
        SCOPED_TRACE(text_of(losses));
        Updated one(losses);
        one.expect_done(one.update());
    });
}

// Each question is asked once more, but no block and no mark is sent again.
TEST_F(FirmwareLosses, AnUpdateThatGivesUpTellsTheStateThatItLeaves)
{
    std::mutex mutex;
    std::set<std::pair<UpdateEnd, UpdateState>> ends;
    for_all(any_two_losses(), [&](const Losses& losses) {
        SCOPED_TRACE(text_of(losses));
        Updated one(losses);
        const UpdateReport report = one.update({}, 0);
        EXPECT_TRUE(one.is(report.state)) << report.text();
        EXPECT_EQ(report.success(), one.runs_new_program()) << report.text();
        const std::lock_guard lock(mutex);
        ends.emplace(report.end, report.state);
    });
    EXPECT_THAT(ends, testing::UnorderedElementsAre(
                          std::pair(UpdateEnd::updated, UpdateState::new_program),
                          std::pair(UpdateEnd::mark_lost, UpdateState::update_mode),
                          std::pair(UpdateEnd::block_lost, UpdateState::update_mode),
                          std::pair(UpdateEnd::link_lost, UpdateState::old_program_or_update_mode),
                          std::pair(UpdateEnd::link_lost, UpdateState::untouched)));
}

TEST_F(FirmwareLosses, AStopByTheProgressLeavesTheStateThatItTells)
{
    for (std::size_t call = 0; call <= blocks; ++call) {
        SCOPED_TRACE(call);
        Updated one;
        std::size_t calls = 0;
        const UpdateReport report = one.update([&](const Progress& progress) {
            EXPECT_EQ(progress.bytes, std::min(calls * block_size, image.size()));
            if (calls++ == call) one.stop.request_stop();
        });
        EXPECT_EQ(calls, call + 1);
        EXPECT_EQ(report.blocks_done, call);
        EXPECT_EQ(line.requests, first_block + call);
        one.expect_stopped(report, UpdateState::update_mode);
    }
}

// The request itself is brought to its end.
TEST_F(FirmwareLosses, AStopDuringAnyRequestLeavesTheStateThatItTells)
{
    for (std::size_t at = 0; at < mark; ++at) {
        SCOPED_TRACE(at);
        Updated one;
        line.on_request = [&](std::size_t number) {
            if (number == at) one.stop.request_stop();
        };
        const UpdateReport report = one.update();
        EXPECT_EQ(line.requests, at + 1);
        one.expect_stopped(report, at == 0 ? UpdateState::untouched : UpdateState::update_mode);
    }
    for (std::size_t at = mark; at < all_requests; ++at) {
        SCOPED_TRACE(at);
        Updated one;
        line.on_request = [&](std::size_t number) {
            if (number == at) one.stop.request_stop();
        };
        one.expect_done(one.update());
    }
}

TEST_F(FirmwareLosses, AStopDuringALossLeavesTheStateThatItTells)
{
    for (const Loss loss : {Loss::request, Loss::answer})
        for (std::size_t at = 0; at < mark; ++at) {
            SCOPED_TRACE(text_of({{at, loss}}));
            Updated one({{at, loss}});
            line.on_request = [&](std::size_t number) {
                if (number == at) one.stop.request_stop();
            };
            const UpdateReport report = one.update();
            one.expect_stopped(report,
                               at == 0 ? UpdateState::untouched : UpdateState::old_program_or_update_mode);
        }
}

TEST_F(FirmwareLosses, AStopDuringAMarkThatIsLostLooksForIt)
{
    const auto stop_in = [](Updated& one) {
        line.on_request = [&one](std::size_t number) {
            if (number == mark) one.stop.request_stop();
        };
        return one.update();
    };
    Updated arrived({{mark, Loss::answer}});
    arrived.expect_done(stop_in(arrived));
    Updated lost({{mark, Loss::request}});
    lost.expect_stopped(stop_in(lost), UpdateState::update_mode);
}

}  // namespace
}  // namespace tagwire::test
