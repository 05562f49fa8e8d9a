// Waits on a link: what wakes them, what they cost when nothing comes, and that none of them can spin.
#include <gmock/gmock.h>

#include <atomic>
#include <pty.h>
#include <thread>

#include "link/descriptor.h"
#include "link/system_seam.h"
#include "link/turn.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

bool is_signalled(const Reader* reader)
{
    pollfd watched{reader->keeping.wake_fd, POLLIN, 0};
    return ::poll(&watched, 1, 0) == 1;
}

// ---- the signal and its count

TEST(Wake, lasts_until_the_last_of_those_who_want_it_is_calm)
{
    const TestReader reader;
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(is_signalled(reader));
        wake(reader);
        wake(reader);
        EXPECT_TRUE(is_signalled(reader));
        calm(reader);
        EXPECT_TRUE(is_signalled(reader));
        wake(reader);
        calm(reader);
        EXPECT_TRUE(is_signalled(reader));
        calm(reader);
        EXPECT_FALSE(is_signalled(reader));
    }
}

TEST(Wake, on_two_threads_is_neither_lost_nor_left)
{
    constexpr int rounds = 5000;
    const TestReader reader;
    std::atomic<int> at = 0;
    const auto pairs = [&] {
        for (int round = 1; round <= rounds; ++round) {
            for (int i = 0; i < 10; ++i) {
                wake(reader);
                EXPECT_TRUE(is_signalled(reader));
                calm(reader);
            }
            // Together at the end of each round, where nobody wants the signal.
            ++at;
            while (at < 2 * (2 * round - 1)) std::this_thread::yield();
            ASSERT_FALSE(is_signalled(reader)) << "round " << round;
            ++at;
            while (at < 2 * 2 * round) std::this_thread::yield();
        }
    };
    std::thread other(pairs);
    pairs();
    other.join();
}

// ---- a command that begins as a stop ends

Reader* stopped = nullptr;

TEST(Turn, is_taken_by_a_command_that_finds_a_stop_at_its_end)
{
    const SystemSeam seam;
    const TestReader reader;
    stopped = reader;
    constexpr unsigned long another_threads_stop = 0x1001;
    reader->keeping.turn_owner.ordered_store(another_threads_stop);
    // The first look at the clock is behind the first attempt.
    sys::calls.clock = [](timespec* now) {
        stopped->keeping.turn_owner.ordered_store(0);
        sys::calls.clock = sys::Direct::clock;
        return sys::Direct::clock(now);
    };
    const Turn turn(reader, Purpose::command);
    EXPECT_TRUE(turn.taken());
}

// ---- a loop never spins, whatever the descriptors say

struct Descriptors {
    const char* say;
    short event;
    short link;
    bool fail = false;
};
std::ostream& operator<<(std::ostream& out, const Descriptors& that) { return out << that.say; }

// Every wait ends at once with what the descriptors say; only on the event descriptor alone, when it says
// nothing, time passes.
class Liars {
  public:
    static int ppoll(pollfd* fds, nfds_t /*count*/, const timespec* limit)
    {
        count_call();
        if (they.fail) return fail_with(EINVAL);
        const bool has_link = fds[1].fd >= 0;
        fds[0].revents = they.event;
        fds[1].revents = has_link ? they.link : short{0};
        const int ready = (fds[0].revents != 0 ? 1 : 0) + (fds[1].revents != 0 ? 1 : 0);
        if (ready == 0) VirtualTime::advance_ms(limit->tv_sec * 1000 + limit->tv_nsec / 1'000'000 + 1);
        return ready;
    }
    static ssize_t read(int /*fd*/, void* /*to*/, std::size_t /*count*/)
    {
        count_call();
        return fail_with<ssize_t>(EAGAIN);
    }
    static ssize_t recv(int fd, void* to, std::size_t count, int /*flags*/) { return read(fd, to, count); }

    static inline Descriptors they{};
    static inline std::int64_t calls = 0;
    // Ends what would not end by itself.
    static constexpr std::int64_t too_many = 500'000;

  private:
    static void count_call()
    {
        if (++calls > too_many) VirtualTime::advance_ms(1000);
    }
};

class Spinning : public testing::TestWithParam<std::tuple<Link, Descriptors>> {
  protected:
    Spinning() : reader_(std::get<Link>(GetParam()))
    {
        reader_->hCommPort = reader_.near();  // the receiver of AT mode asks for it on TCP too
        Liars::they = std::get<Descriptors>(GetParam());
        Liars::calls = 0;
        sys::calls.ppoll = Liars::ppoll;
        sys::calls.read = Liars::read;
        sys::calls.recv = Liars::recv;
    }

    template <class Run> void expect_few_calls(const char* what, Run run)
    {
        constexpr std::int64_t a_second = 4000;  // a rest of 1 ms, and a few calls between two of them
        Liars::calls = 0;
        const std::int64_t start = VirtualTime::now_ms();
        run();
        const std::int64_t took = VirtualTime::now_ms() - start;
        EXPECT_LT(Liars::calls, Liars::too_many) << what;
        EXPECT_LE(Liars::calls * 1000, (took + 1000) * a_second) << what << ", in " << took << " ms";
    }

    SystemSeam seam_;
    VirtualTime time_;
    TestReader reader_;
};

TEST_P(Spinning, is_no_receivers_habit)
{
    const Operations& operations = reader_.operations();
    u8* to = reader_->recvBuff;
    int length = 0;
    const auto plain = [&](const char* name, auto receive) {
        expect_few_calls(name, [&] {
            reader_->recvLength = 0;
            EXPECT_EQ(receive(reader_, to, &length), TAGWIRE_NO_ANSWER) << name;
        });
    };
    const auto of_command = [&](const char* name, auto receive) {
        plain(name, [&](Reader* reader, u8* out, int* size) { return receive(reader, out, size, 0x01); });
    };
    plain("single", operations.GetDataFromPort);
    of_command("expected", operations.AutoGetDataFromPort);
    of_command("gen2", operations.GetInventoryDataFromPort1);
    of_command("gen2 too", operations.GetInventoryDataFromPort2);
    of_command("antenna switch", operations.GetInventoryDataFromPort3);
    of_command("temperature", operations.GetInventoryDataFromPort_TP);
    of_command("list search", operations.GetInventory_FindEPC_DataFromPort);
    plain("buffer", operations.GetBufferDataFromPort);
    plain("buffered inventory", operations.GetDataFromPort_buff);
    plain("buffer information", operations.GetDataFromPort1);
    plain("scan", operations.GetWifiDataFromPort);
    plain("table", operations.GetParemTabDataFromPort);
    plain("module", operations.ATGetDataFromPort);
    of_command("memory", operations.GetMemDataFromPort);
}

TEST_P(Spinning, is_not_what_a_worker_does)
{
    expect_few_calls("rest", [&] {
        const std::int64_t end = VirtualTime::now_ms() + 10'000;
        while (VirtualTime::now_ms() < end) {
            EXPECT_EQ(reader_.operations().ReadRfidData(reader_, reader_->recvBuff), 0);
            rest_until_input(reader_);
        }
    });
}

constexpr Descriptors liars[] = {{"a_wake_that_nobody_wants", POLLIN, 0},
                                 {"input_that_is_not_there", 0, POLLIN},
                                 {"a_wake_and_input", POLLIN, POLLIN},
                                 {"a_hang_up", 0, POLLIN | POLLHUP | POLLRDHUP},
                                 {"a_wake_and_a_hang_up", POLLIN, POLLIN | POLLHUP | POLLRDHUP},
                                 {"an_error", 0, POLLERR},
                                 {"no_descriptor", 0, POLLNVAL},
                                 {"a_wake_and_no_descriptor", POLLIN, POLLNVAL},
                                 {"nothing", 0, 0, true}};

INSTANTIATE_TEST_SUITE_P(Descriptors, Spinning,
                         testing::Combine(testing::Values(Link::serial, Link::tcp), testing::ValuesIn(liars)),
                         [](const auto& kind) {
                             return (std::get<Link>(kind.param) == Link::tcp ? "tcp_" : "serial_") +
                                    std::string(std::get<Descriptors>(kind.param).say);
                         });

// ---- a link that hung up

std::int64_t calls = 0;

// Every call that a worker makes is counted.
void count_calls()
{
    static decltype(sys::calls.ppoll) virtual_ppoll;
    virtual_ppoll = sys::calls.ppoll;
    calls = 0;
    sys::calls.ppoll = [](pollfd* fds, nfds_t count, const timespec* limit) {
        ++calls;
        return virtual_ppoll(fds, count, limit);
    };
    sys::calls.read = [](int fd, void* to, std::size_t count) {
        ++calls;
        return sys::Direct::read(fd, to, count);
    };
    sys::calls.recv = [](int fd, void* to, std::size_t count, int flags) {
        ++calls;
        return sys::Direct::recv(fd, to, count, flags);
    };
    sys::calls.ioctl = [](int fd, unsigned long request, void* value) {
        ++calls;
        return sys::Direct::ioctl(fd, request, value);
    };
}

enum class Far { socket, serial_socket, terminal };

class DeadLink : public testing::TestWithParam<Far> {
  protected:
    DeadLink() : reader_(GetParam() == Far::socket ? Link::tcp : Link::serial)
    {
        if (GetParam() != Far::terminal) return;
        termios raw{};
        ::cfmakeraw(&raw);
        if (::openpty(&master_, &slave_, nullptr, &raw, nullptr) != 0) std::abort();
        ::fcntl(slave_, F_SETFL, O_NONBLOCK);
        reader_->hCommPort = slave_;
    }
    ~DeadLink() override
    {
        if (slave_ >= 0) ::close(slave_);
    }
    void hang_up()
    {
        if (GetParam() == Far::terminal)
            ::close(master_);
        else
            reader_.hang_up();
    }
    int read() { return reader_.operations().ReadRfidData(reader_, reader_->recvBuff); }

    SystemSeam seam_;
    VirtualTime time_;
    TestReader reader_;
    int master_ = -1;
    int slave_ = -1;
};

constexpr std::int64_t hour_ms = 60 * 60 * 1000;

TEST_P(DeadLink, costs_a_handful_of_calls_a_day)
{
    hang_up();
    count_calls();
    const std::int64_t end = VirtualTime::now_ms() + 24 * hour_ms;
    while (VirtualTime::now_ms() < end && calls < 1'000'000) {
        EXPECT_EQ(read(), 0);
        rest_until_input(reader_);
    }
    EXPECT_LE(calls, 10);
}

TEST_P(DeadLink, lets_go_at_once_of_a_worker_that_is_woken)
{
    hang_up();
    const std::int64_t start = VirtualTime::now_ms();
    VirtualTime::in(hour_ms, [&] { wake(reader_); });
    rest_until_input(reader_);
    EXPECT_LE(VirtualTime::now_ms() - start, hour_ms + 1);
    calm(reader_);
}

TEST_P(DeadLink, is_one_as_soon_as_it_hangs_up_in_a_rest)
{
    count_calls();
    const std::int64_t start = VirtualTime::now_ms();
    VirtualTime::in(500, [&] { hang_up(); });
    VirtualTime::in(5000, [&] { wake(reader_); });
    while (VirtualTime::now_ms() - start < 5000 && calls < 1'000'000) {
        EXPECT_EQ(read(), 0);
        rest_until_input(reader_);
    }
    EXPECT_LE(calls, 10);
    calm(reader_);
}

// A terminal that hangs up forgets what was in it.
TEST_P(DeadLink, still_brings_what_came_before)
{
    if (GetParam() == Far::terminal) return;
    reader_.feed(hex("01 02 03"));
    hang_up();
    const std::int64_t start = VirtualTime::now_ms();
    rest_until_input(reader_);
    EXPECT_EQ(VirtualTime::now_ms(), start);
    EXPECT_EQ(read(), 3);
}

std::string far_end(const testing::TestParamInfo<Far>& link)
{
    if (link.param == Far::terminal) return "terminal";
    return link.param == Far::socket ? "socket" : "serial_socket";
}
INSTANTIATE_TEST_SUITE_P(Links, DeadLink, testing::Values(Far::socket, Far::serial_socket, Far::terminal),
                         far_end);

}  // namespace
}  // namespace tagwire::engine::test
