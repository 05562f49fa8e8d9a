// Stopping continuous reading while it is being started, and beside other commands.
#include <gmock/gmock.h>

#include <future>

#include "api/calls.h"

namespace tagwire::engine::test {
namespace {

using testing::AnyOf;

template <class Kind> class Stop : public testing::Test {
  protected:
    Stop() : handle_(open(device_)), reader_(handle_) { InitRFIDCallBack(Callback::call, false, handle_); }
    ~Stop() override
    {
        if constexpr (std::is_same_v<Kind, TcpDevice>)
            EXPECT_EQ(CloseNetPort(handle_), 0);
        else
            EXPECT_EQ(CloseSpecComPort(handle_), 0);
        EXPECT_TRUE(eventually([&] { return reader_.alone(); }));
    }

    std::future<int> begin(int (*call)(int)) { return std::async(std::launch::async, call, handle_); }
    bool await_request(std::uint8_t command, std::size_t count = 1)
    {
        return eventually([=, this] { return device_.requests(command) == count; });
    }
    // A stop on another thread has taken the run away that was being started.
    bool await_stop()
    {
        return eventually([this] {
            const Lock lock(reader_->keeping.stream_mutex);
            return reader_->keeping.stream == nullptr;
        });
    }
    // No worker: the table and this test are all that hold the Reader, and reports reach nobody.
    void expect_idle()
    {
        EXPECT_TRUE(reader_->isStopStocktaking);
        EXPECT_TRUE(eventually([this] { return reader_->keeping.users.ordered_load() == 2; }));
        device_.behave([](const Bytes& request) { return answer(device_address, request[2], 0x17); });
        EXPECT_EQ(ask_module(handle_), 0x17);
        device_.behave(Device::usual_answer);
        EXPECT_EQ(callback_.calls(), 0);
    }

    Kind device_;
    Callback callback_;
    int handle_;
    Kept reader_;
};

using Links = testing::Types<TcpDevice, PtyDevice>;

struct LinkNames {
    template <class Kind> static std::string GetName(int)
    {
        return std::is_same_v<Kind, TcpDevice> ? "tcp" : "pty";
    }
};

TYPED_TEST_SUITE(Stop, Links, LinkNames);

TYPED_TEST(Stop, meets_a_start_that_waits_for_its_answer)
{
    this->device_.stay_silent_to(0x50);
    auto start = this->begin(start_reading);
    ASSERT_TRUE(this->await_request(0x50));
    auto stop = this->begin(stop_reading);
    ASSERT_TRUE(this->await_stop());
    this->device_.push(answer(device_address, 0x50, 0x00));
    EXPECT_EQ(start.get(), 0);
    EXPECT_THAT(stop.get(), AnyOf(0, 48));  // 48: the start kept its turn longer than the stop waits
    EXPECT_EQ(this->device_.requests(0x51), 1U);
    this->expect_idle();
}

TYPED_TEST(Stop, passes_on_the_status_of_a_start_that_it_met)
{
    this->device_.stay_silent_to(0x50);
    auto start = this->begin(start_reading);
    ASSERT_TRUE(this->await_request(0x50));
    auto stop = this->begin(stop_reading);
    ASSERT_TRUE(this->await_stop());
    this->device_.push(answer(device_address, 0x50, 0x2A));
    EXPECT_EQ(start.get(), 0x2A);
    EXPECT_THAT(stop.get(), AnyOf(0, 48));
    this->expect_idle();
}

TYPED_TEST(Stop, is_sent_to_a_reader_whose_start_is_not_answered)
{
    this->device_.stay_silent_to(0x50);
    auto start = this->begin(start_reading);
    ASSERT_TRUE(this->await_request(0x50));
    EXPECT_EQ(stop_reading(this->handle_), 48);
    EXPECT_EQ(this->device_.requests(0x51), 1U);
    EXPECT_EQ(start.get(), 238);  // what it makes of the answer to the stop
    this->expect_idle();
}

// Between the answer to the start and the start of the worker.
TYPED_TEST(Stop, meets_a_start_that_has_its_answer)
{
    static std::function<bool()> between;
    std::future<int> stop;
    between = [&] {
        stop = this->begin(stop_reading);
        return this->await_stop();
    };
    this->reader_->operations.GetDataFromPort = [](Reader* sthis, u8* to, int* length) {
        sthis->operations.GetDataFromPort = I_GetDataFromPort;
        const int result = I_GetDataFromPort(sthis, to, length);
        EXPECT_TRUE(between());
        return result;
    };
    EXPECT_EQ(start_reading(this->handle_), 0);
    EXPECT_EQ(stop.get(), 0);
    EXPECT_EQ(this->device_.requests(0x51), 1U);
    this->expect_idle();
}

// The stop comes as the worker is being started: it waits for that, and ends the worker.
TYPED_TEST(Stop, meets_a_worker_that_is_being_started)
{
    static std::function<void()> at_start;
    const CallsRestored restored;
    std::future<int> stop;
    at_start = [&] { stop = this->begin(stop_reading); };
    sys::calls.start_thread = [](pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                                 void* argument) {
        at_start();
        return sys::Direct::start_thread(thread, attributes, run, argument);
    };
    EXPECT_EQ(start_reading(this->handle_), 0);
    EXPECT_EQ(stop.get(), 0);
    EXPECT_EQ(this->device_.requests(0x51), 1U);
    this->expect_idle();
}

TYPED_TEST(Stop, lets_a_start_behind_it_run)
{
    ASSERT_EQ(start_reading(this->handle_), 0);
    EXPECT_EQ(stop_reading(this->handle_), 0);
    ASSERT_EQ(start_reading(this->handle_), 0);
    this->device_.push(report_frame());
    EXPECT_TRUE(this->callback_.await_first());
    EXPECT_EQ(stop_reading(this->handle_), 0);
}

// ---- from inside a callback of an inventory

template <class Kind> class InsideCallback : public Stop<Kind> {
  protected:
    // Two frames with a tag each, then the end: the callback of the first one makes its call.
    Results run(std::function<void()> what)
    {
        this->device_.behave([](const Bytes& request) {
            if (request[2] != inventory_command && request[2] != unlocked_command)
                return Device::usual_answer(request);
            return tag_frame(request[2]) + tag_frame(request[2], 0x01);
        });
        this->callback_.first_does(std::move(what));
        Results out;
        u8 address = device_address;
        result_ = Inventory_G2(&address, 4, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0x80, 10, 0,
                               out.list.data(), &out.antenna, &out.length, &out.count, this->handle_);
        return out;
    }
    // The inventory is what it would have been without the call.
    void expect_whole(const Results& seen)
    {
        EXPECT_EQ(result_, 1);
        EXPECT_EQ(seen.count, 2);
        EXPECT_EQ(to_hex(Bytes(seen.list.begin(), seen.list.begin() + seen.length)),
                  "02 AB CD 40 02 AB CD 40");
        EXPECT_EQ(this->callback_.calls(), 2);
    }

    int result_ = -1;
};

TYPED_TEST_SUITE(InsideCallback, Links, LinkNames);

TYPED_TEST(InsideCallback, a_stop_is_sent_and_harms_nothing)
{
    int stopped = -1;
    this->expect_whole(this->run([&] { stopped = stop_reading(this->handle_); }));
    EXPECT_EQ(stopped, 48);
    EXPECT_EQ(this->device_.requests(0x51), 1U);
}

TYPED_TEST(InsideCallback, an_abort_is_sent_and_harms_nothing)
{
    int aborted = -1;
    bool marked = false;
    this->expect_whole(this->run([&] {
        u8 address = device_address;
        aborted = StopImmediately(&address, this->handle_);
        marked = this->reader_->isInventoryCmd;
    }));
    EXPECT_EQ(aborted, 0);
    EXPECT_TRUE(marked);
    EXPECT_EQ(this->device_.requests(0x93), 1U);
}

TYPED_TEST(InsideCallback, a_command_is_refused_and_harms_nothing)
{
    std::vector<int> results;
    this->expect_whole(this->run([&] {
        for (const auto call : {ask_module, start_reading, inventory, locked_inventory, unlocked_inventory})
            results.push_back(call(this->handle_));
        u8 bytes[2048];
        int length = 0;
        results.push_back(ReadActiveModeData(bytes, &length, this->handle_));
    }));
    EXPECT_THAT(results, testing::Each(51));
    EXPECT_EQ(results.size(), 6U);
    EXPECT_EQ(this->device_.requests(module_command), 0U);
    EXPECT_EQ(this->device_.requests(0x50), 0U);
}

TYPED_TEST(InsideCallback, a_registration_counts_from_the_next_tag_on_and_changes_no_list)
{
    this->expect_whole(this->run([&] { InitRFIDCallBack(Callback::other_call, true, this->handle_); }));
    EXPECT_TRUE(this->reader_->InventoryBackUID);
}

TYPED_TEST(InsideCallback, another_reader_is_opened_asked_and_closed)
{
    TcpDevice other("127.0.0.2");
    other.behave([](const Bytes& request) {
        return request[2] == module_command ? answer(device_address, module_command, 0x17)
                                            : Device::usual_answer(request);
    });
    std::vector<int> results;
    this->expect_whole(this->run([&] {
        const int handle = open(other);
        results = {ask_module(handle), start_reading(handle), stop_reading(handle), CloseNetPort(handle)};
    }));
    EXPECT_THAT(results, testing::ElementsAre(0x17, 0, 0, 0));
}

}  // namespace
}  // namespace tagwire::engine::test
