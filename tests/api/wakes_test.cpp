// Waits on real links: what ends an inventory whose close was refused, and what a report costs.
#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <future>

#include "api/process.h"
#include "api/reader_device.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

using std::chrono::seconds;

bool is_signalled(int event)
{
    pollfd watched{event, POLLIN, 0};
    return ::poll(&watched, 1, 0) == 1;
}

int open(TcpDevice& device)
{
    u8 address = 0xFF;
    int handle = -1;
    EXPECT_EQ(OpenNetPort(device.port(), device.address(), &address, &handle), 0);
    return handle;
}

int open(PtyDevice& device)
{
    u8 address = 0xFF;
    int handle = -1;
    EXPECT_EQ(OpenComPort(device.path(), &address, 6, &handle), 0);
    return handle;
}

bool is_long(const timespec* limit) { return limit->tv_sec > 0 || limit->tv_nsec > 500'000'000; }

// ---- the inventory of a refused close

// The waits for input of one thread: they begin only when they are let through, and then have no limit, so
// that nothing but a signal or input ends them.
class HeldWaits {
  public:
    HeldWaits()
    {
        held_ = true;
        reached_ = 0;
        sys::calls.ppoll = ppoll;
    }
    ~HeldWaits() { sys::calls.ppoll = sys::Direct::ppoll; }
    HeldWaits(const HeldWaits&) = delete;
    HeldWaits& operator=(const HeldWaits&) = delete;

    static void apply_to_this_thread() { applies_ = true; }
    bool await_first()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, seconds(30), [] { return reached_ > 0; });
    }
    void let_through()
    {
        const std::lock_guard lock(mutex_);
        held_ = false;
        changed_.notify_all();
    }

  private:
    static int ppoll(pollfd* fds, nfds_t count, const timespec* limit)
    {
        if (!applies_ || (fds[1].events & POLLOUT) != 0) return sys::Direct::ppoll(fds, count, limit);
        {
            std::unique_lock lock(mutex_);
            ++reached_;
            changed_.notify_all();
            changed_.wait(lock, [] { return !held_; });
        }
        return sys::Direct::ppoll(fds, count, is_long(limit) ? nullptr : limit);
    }

    static inline thread_local bool applies_ = false;
    static inline std::mutex mutex_;
    static inline std::condition_variable changed_;
    static inline bool held_ = false;
    static inline int reached_ = 0;
};

constexpr std::uint8_t inventory_command = 0x01;

int inventory(int handle)
{
    HeldWaits::apply_to_this_thread();
    std::vector<u8> list(65542);
    u8 address = device_address;
    u8 antenna = 0;
    int length = 0;
    int count = 0;
    return Inventory_G2(&address, 4, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0x80, 10, 0, list.data(),
                        &antenna, &length, &count, handle);
}

class RefusedClose : public testing::Test {
  protected:
    RefusedClose() : handle_(open(net_)), event_(EthReader[handle_]->keeping.wake_fd) {}
    ~RefusedClose() override
    {
        close_from_callback = nullptr;
        EXPECT_EQ(CloseNetPort(handle_), 0);
    }

    void begin() { running_ = std::async(std::launch::async, inventory, handle_); }
    // An inventory that does not end by itself is ended by its device.
    void expect_end_without_answer()
    {
        EXPECT_EQ(running_.wait_for(seconds(30)), std::future_status::ready);
        if (running_.wait_for(seconds(0)) != std::future_status::ready)
            net_.push(tag_frame(inventory_command, 0x01));
        EXPECT_EQ(running_.get(), 48);
    }
    void expect_nothing_left()
    {
        EXPECT_FALSE(is_signalled(event_));
        u8 address = device_address;
        u8 version[2];
        u8 type = 0;
        u8 protocols = 0;
        net_.behave([](const Bytes& request) {
            return request[2] == 0x83 ? answer(device_address, 0x83, 0, hex("01 02 03 04"))
                                      : Device::usual_answer(request);
        });
        EXPECT_EQ(GetModuleDetails(&address, version, &type, &protocols, handle_), 0);
        EXPECT_FALSE(is_signalled(event_));
    }

    static inline std::function<void()> close_from_callback;
    static void callback(RFIDTagStruct /*tag*/, int /*kind*/)
    {
        if (close_from_callback) close_from_callback();
    }

    TcpDevice net_;
    int handle_;
    int event_;
    HeldWaits waits_;
    std::future<int> running_;
};

TEST_F(RefusedClose, ends_an_inventory_that_was_about_to_wait)
{
    begin();
    ASSERT_TRUE(waits_.await_first());
    EXPECT_EQ(CloseNetPort(handle_), 51);
    waits_.let_through();
    expect_end_without_answer();
    expect_nothing_left();
}

TEST_F(RefusedClose, ends_an_inventory_that_waits)
{
    waits_.let_through();
    begin();
    ASSERT_TRUE(waits_.await_first());
    EXPECT_EQ(CloseNetPort(handle_), 51);
    expect_end_without_answer();
    expect_nothing_left();
}

TEST_F(RefusedClose, may_come_several_times)
{
    begin();
    ASSERT_TRUE(waits_.await_first());
    for (int i = 0; i < 5; ++i) EXPECT_EQ(CloseNetPort(handle_), 51);
    EXPECT_TRUE(is_signalled(event_));
    waits_.let_through();
    expect_end_without_answer();
    expect_nothing_left();
}

TEST_F(RefusedClose, may_come_from_the_inventorys_own_callback)
{
    std::atomic<int> refused = 0;
    close_from_callback = [&] { refused += CloseNetPort(handle_) == 51 ? 1 : 0; };
    InitRFIDCallBack(callback, false, handle_);
    net_.behave([](const Bytes& request) {
        return request[2] == inventory_command ? tag_frame(inventory_command) + tag_frame(inventory_command)
                                               : Device::usual_answer(request);
    });
    waits_.let_through();
    begin();
    expect_end_without_answer();
    EXPECT_EQ(refused, 2);
    expect_nothing_left();
}

// ---- the waits of continuous reading

// Counted while reading is what waits; long ones are without limit, so that a busy machine adds none.
std::atomic<bool> reading_waits = false;
std::atomic<int> waits = 0;
std::atomic<bool> rests = false;  // in a long wait

int counted_ppoll(pollfd* fds, nfds_t count, const timespec* limit)
{
    if (!reading_waits) return sys::Direct::ppoll(fds, count, limit);
    ++waits;
    if (!is_long(limit)) return sys::Direct::ppoll(fds, count, limit);
    rests = true;
    const int ready = sys::Direct::ppoll(fds, count, nullptr);
    rests = false;
    return ready;
}

std::atomic<int> reports = 0;

void count_report(RFIDTagStruct /*tag*/, int /*kind*/) { ++reports; }

template <class AnyDevice, auto close> void expect_one_wait_a_report()
{
    constexpr int sent = 200;
    constexpr int few = 10;  // and those of the start
    const CallsRestored restored;
    AnyDevice device;
    sys::calls.ppoll = counted_ppoll;
    const int handle = open(device);
    InitRFIDCallBack(count_report, false, handle);
    u8 address = device_address;
    reports = waits = 0;
    rests = false;
    reading_waits = true;
    ASSERT_EQ(StartRead(&address, 0, handle), 0);
    for (int i = 1; i <= sent; ++i) {
        ASSERT_TRUE(eventually([] { return rests.load(); }));
        device.push(report_frame());
        ASSERT_TRUE(eventually([&] { return reports == i; }));
    }
    EXPECT_LE(waits, sent + few);
    reading_waits = false;
    const Kept reader(handle);
    EXPECT_EQ(close(handle), 0);
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
}

TEST(SparseReports, cost_one_wait_each_on_tcp) { expect_one_wait_a_report<TcpDevice, CloseNetPort>(); }

TEST(SparseReports, cost_one_wait_each_on_a_serial_line)
{
    expect_one_wait_a_report<PtyDevice, CloseSpecComPort>();
}

}  // namespace
}  // namespace tagwire::engine::test
