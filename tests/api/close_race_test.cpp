// Closing while others are at work: threads inside commands, the worker, callbacks, other closers.
#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include "api/calls.h"

namespace tagwire::engine::test {
namespace {

using testing::AnyOf;

class CloseRace : public testing::Test {
  protected:
    void TearDown() override
    {
        for (const Reader* reader : EthReader) EXPECT_EQ(reader, nullptr);
        EXPECT_FALSE(isOpening);
    }

    // Runs the call on another thread and returns when its request has gone out.
    template <class Call>
    static std::future<int> begin(Device& device, std::uint8_t command, Call call, int handle)
    {
        auto result = std::async(std::launch::async, call, handle);
        EXPECT_TRUE(eventually([&] { return device.requests(command) > 0; }));
        return result;
    }

    TcpDevice net_;
    PtyDevice line_;
    Callback callback_;
};

// ---- a close while another thread is inside a call ----

TEST_F(CloseRace, ends_a_plain_command_that_waits_on_tcp)
{
    const int handle = open(net_);
    const Kept reader(handle);
    auto command = begin(net_, module_command, ask_module, handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_THAT(command.get(), AnyOf(48, 55));
    EXPECT_TRUE(reader.alone());
}

TEST_F(CloseRace, ends_a_plain_command_that_waits_on_a_serial_line)
{
    const int handle = open(line_);
    const Kept reader(handle);
    auto command = begin(line_, module_command, ask_module, handle);
    EXPECT_EQ(CloseSpecComPort(handle), 0);
    EXPECT_THAT(command.get(), AnyOf(48, 55));
    EXPECT_TRUE(reader.alone());
}

TEST_F(CloseRace, is_refused_by_an_inventory_on_tcp_which_it_stops)
{
    const int handle = open(net_);
    auto running = begin(net_, inventory_command, inventory, handle);
    EXPECT_EQ(CloseNetPort(handle), 51);
    EXPECT_TRUE(EthReader[handle]->isStopCmd);
    EXPECT_TRUE(EthReader[handle]->DeviceIsOpen);
    EXPECT_EQ(running.get(), 48);
    EXPECT_TRUE(EthReader[handle]->isStopCmd);
    EXPECT_EQ(CloseNetPort(handle), 0);
}

TEST_F(CloseRace, stops_and_awaits_a_locked_inventory_on_tcp)
{
    const int handle = open(net_);
    const Kept reader(handle);
    auto running = begin(net_, locked_command, locked_inventory, handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_EQ(running.get(), 48);
    EXPECT_TRUE(reader.alone());
}

TEST_F(CloseRace, stops_an_unlocked_inventory_on_tcp)
{
    const int handle = open(net_);
    const Kept reader(handle);
    auto running = begin(net_, unlocked_command, unlocked_inventory, handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_EQ(running.get(), 48);
    EXPECT_TRUE(reader.alone());
}

TEST_F(CloseRace, stops_every_inventory_on_a_serial_line)
{
    const std::pair<std::uint8_t, int (*)(int)> all[] = {{inventory_command, inventory},
                                                         {locked_command, locked_inventory},
                                                         {unlocked_command, unlocked_inventory}};
    for (const auto& [command, call] : all) {
        PtyDevice line;
        const int handle = open(line);
        auto running = begin(line, command, call, handle);
        // Refused if the inventory has not seen the stop flag when the first pause is over.
        const int result = CloseSpecComPort(handle);
        EXPECT_THAT(result, AnyOf(0, 51));
        EXPECT_EQ(running.get(), 48);
        if (result == 51) {
            EXPECT_EQ(CloseSpecComPort(handle), 0);
        }
    }
}

TEST_F(CloseRace, is_refused_while_a_serial_inventory_is_in_its_callback)
{
    answer_with_tags(line_, unlocked_command, 3);
    callback_.hold_first();
    const int handle = open(line_);
    InitRFIDCallBack(Callback::call, true, handle);
    auto running = std::async(std::launch::async, unlocked_inventory, handle);
    ASSERT_TRUE(callback_.await_first());
    EXPECT_EQ(CloseSpecComPort(handle), 51);
    EXPECT_TRUE(EthReader[handle]->DeviceIsOpen);
    EXPECT_TRUE(is_open(EthReader[handle]->hCommPort));
    EXPECT_TRUE(is_locked(line_.path()));
    callback_.let_go();
    EXPECT_EQ(running.get(), 48);
    EXPECT_EQ(callback_.calls(), 3);
    EXPECT_EQ(CloseSpecComPort(handle), 0);
}

TEST_F(CloseRace, ends_a_stop_of_reading_that_waits_for_its_answer)
{
    net_.stay_silent_to(0x51);
    const int handle = open(net_);
    ASSERT_EQ(start_reading(handle), 0);
    const Kept reader(handle);
    auto stop = begin(net_, 0x51, stop_reading, handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_THAT(stop.get(), AnyOf(48, 55));
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
}

TEST_F(CloseRace, ends_a_start_of_reading_that_waits_for_its_answer)
{
    net_.stay_silent_to(0x50);
    const int handle = open(net_);
    const Kept reader(handle);
    auto start = begin(net_, 0x50, start_reading, handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_THAT(start.get(), AnyOf(48, 55));
    EXPECT_TRUE(reader.alone());
}

TEST_F(CloseRace, ends_reading_on_tcp)
{
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    ASSERT_EQ(start_reading(handle), 0);
    net_.push(report_frame());
    ASSERT_TRUE(callback_.await_first());
    const Kept reader(handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_TRUE(net_.was_left());
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
}

TEST_F(CloseRace, ends_reading_on_a_serial_line)
{
    const int handle = open(line_);
    InitRFIDCallBack(Callback::call, false, handle);
    ASSERT_EQ(start_reading(handle), 0);
    line_.push(report_frame());
    ASSERT_TRUE(callback_.await_first());
    const Kept reader(handle);
    EXPECT_EQ(CloseSpecComPort(handle), 0);
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
    EXPECT_FALSE(is_locked(line_.path()));
}

TEST_F(CloseRace, ends_reading_from_a_device_that_hung_up)
{
    const int handle = open(net_);
    ASSERT_EQ(start_reading(handle), 0);
    net_.hang_up();
    const Kept reader(handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
}

// ---- a close while a callback runs ----

TEST_F(CloseRace, does_not_await_a_callback_of_reading_and_none_starts_behind_it)
{
    callback_.hold_first();
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    ASSERT_EQ(start_reading(handle), 0);
    Bytes many;
    for (int i = 0; i < 20; ++i) many = many + report_frame();
    net_.push(many);
    ASSERT_TRUE(callback_.await_first());
    const Kept reader(handle);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_FALSE(callback_.first_is_over());
    EXPECT_FALSE(reader.alone());
    InitRFIDCallBack(Callback::call, false, handle);
    callback_.let_go();
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
    EXPECT_EQ(callback_.calls(), 1);
}

TEST_F(CloseRace, does_not_await_a_callback_of_serial_reading_and_none_starts_behind_it)
{
    callback_.hold_first();
    const int handle = open(line_);
    InitRFIDCallBack(Callback::call, false, handle);
    ASSERT_EQ(start_reading(handle), 0);
    line_.push(report_frame() + report_frame() + report_frame());
    ASSERT_TRUE(callback_.await_first());
    const Kept reader(handle);
    EXPECT_EQ(CloseComPort(), 0);
    EXPECT_EQ(EthReader[handle], nullptr);
    EXPECT_FALSE(callback_.first_is_over());
    callback_.let_go();
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
    EXPECT_EQ(callback_.calls(), 1);
}

TEST_F(CloseRace, does_not_await_a_callback_of_an_unlocked_inventory)
{
    answer_with_tags(net_, unlocked_command, 5);
    callback_.hold_first();
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    auto running = std::async(std::launch::async, unlocked_inventory, handle);
    ASSERT_TRUE(callback_.await_first());
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_FALSE(callback_.first_is_over());
    callback_.let_go();
    EXPECT_EQ(running.get(), 48);
    EXPECT_EQ(callback_.calls(), 1);
}

// A thread that found the Reader before the close registers behind it.
TEST_F(CloseRace, a_registration_that_comes_late_begins_no_callback)
{
    for (const bool reads : {true, false}) {
        Callback callback;
        callback.hold_first();
        answer_with_tags(net_, unlocked_command, 20);
        const int handle = open(net_);
        InitRFIDCallBack(Callback::call, false, handle);
        const Kept reader(handle);
        std::future<int> running;
        if (reads) {
            ASSERT_EQ(start_reading(handle), 0);
            for (int i = 0; i < 20; ++i) net_.push(report_frame());
        } else {
            running = std::async(std::launch::async, unlocked_inventory, handle);
        }
        ASSERT_TRUE(callback.await_first());
        EXPECT_EQ(CloseNetPort(handle), 0);
        reader->MypCallBack = Callback::other_call;
        callback.let_go();
        EXPECT_TRUE(eventually([&] { return reader.alone(); }));
        EXPECT_EQ(callback.calls(), 1);
    }
}

TEST_F(CloseRace, gives_the_handle_away_while_the_old_callback_still_runs)
{
    callback_.hold_first();
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    ASSERT_EQ(start_reading(handle), 0);
    net_.push(report_frame() + report_frame());
    ASSERT_TRUE(callback_.await_first());
    const Kept old(handle);
    ASSERT_EQ(CloseNetPort(handle), 0);
    ASSERT_EQ(open(net_), handle);
    InitRFIDCallBack(Callback::other_call, false, handle);
    callback_.let_go();
    EXPECT_TRUE(eventually([&] { return old.alone(); }));
    EXPECT_EQ(callback_.calls(), 1);
    EXPECT_TRUE(EthReader[handle]->DeviceIsOpen);
    EXPECT_FALSE(EthReader[handle]->isStopCmd);
    EXPECT_EQ(CloseNetPort(handle), 0);
}

// ---- a close from inside a callback ----

TEST_F(CloseRace, works_from_the_callback_of_reading)
{
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    std::atomic<int> result = -1;
    callback_.first_does([&] { result = CloseNetPort(handle); });
    const Kept reader(handle);
    ASSERT_EQ(start_reading(handle), 0);
    net_.push(report_frame() + report_frame() + report_frame());
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(EthReader[handle], nullptr);
    EXPECT_EQ(callback_.calls(), 1);
}

TEST_F(CloseRace, works_from_the_callback_of_serial_reading)
{
    const int handle = open(line_);
    InitRFIDCallBack(Callback::call, false, handle);
    std::atomic<int> result = -1;
    callback_.first_does([&] { result = CloseSpecComPort(handle); });
    const Kept reader(handle);
    ASSERT_EQ(start_reading(handle), 0);
    line_.push(report_frame() + report_frame() + report_frame());
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(callback_.calls(), 1);
    EXPECT_FALSE(is_locked(line_.path()));
}

TEST_F(CloseRace, works_from_the_callback_of_an_unlocked_inventory_on_tcp)
{
    answer_with_tags(net_, unlocked_command, 5);
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    int result = -1;
    callback_.first_does([&] { result = CloseNetPort(handle); });
    EXPECT_EQ(unlocked_inventory(handle), 48);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(callback_.calls(), 1);
    EXPECT_EQ(EthReader[handle], nullptr);
}

TEST_F(CloseRace, is_refused_from_the_callback_of_a_locked_inventory)
{
    const std::pair<std::uint8_t, int (*)(int)> all[] = {{inventory_command, inventory},
                                                         {locked_command, locked_inventory}};
    for (const auto& [command, call] : all) {
        Callback callback;
        answer_with_tags(net_, command, 2);
        const int handle = open(net_);
        InitRFIDCallBack(Callback::call, false, handle);
        int closed = -1;
        int nested = -1;
        int other_kind = -1;
        callback.first_does([&] {
            nested = locked_inventory(handle);
            closed = CloseNetPort(handle);
            other_kind = CloseSpecComPort(handle);
        });
        EXPECT_EQ(call(handle), 48);
        EXPECT_EQ(nested, 51);
        EXPECT_EQ(closed, 51);
        EXPECT_EQ(other_kind, 48);
        EXPECT_EQ(callback.calls(), 2);
        EXPECT_TRUE(EthReader[handle]->isStopCmd);
        EXPECT_TRUE(EthReader[handle]->DeviceIsOpen);
        EXPECT_EQ(CloseNetPort(handle), 0);
    }
}

TEST_F(CloseRace, is_refused_from_the_callback_of_every_serial_inventory)
{
    const std::pair<std::uint8_t, int (*)(int)> all[] = {{inventory_command, inventory},
                                                         {unlocked_command, unlocked_inventory}};
    for (const auto& [command, call] : all) {
        Callback callback;
        PtyDevice line;
        answer_with_tags(line, command, 2);
        const int handle = open(line);
        InitRFIDCallBack(Callback::call, false, handle);
        int closed = -1;
        callback.first_does([&] {
            closed = CloseSpecComPort(handle);
            CloseComPort();
        });
        EXPECT_EQ(call(handle), 48);
        EXPECT_EQ(closed, 51);
        EXPECT_NE(EthReader[handle], nullptr);
        EXPECT_EQ(CloseSpecComPort(handle), 0);
    }
}

// StopImmediately clears the flag that a serial close looks at; the lock is still held by this thread.
TEST_F(CloseRace, is_refused_from_a_locked_serial_inventory_that_was_told_to_stop)
{
    answer_with_tags(line_, locked_command, 2);
    const int handle = open(line_);
    InitRFIDCallBack(Callback::call, false, handle);
    int closed = -1;
    callback_.first_does([&] {
        u8 address = device_address;
        EXPECT_EQ(StopImmediately(&address, handle), 0);
        closed = CloseSpecComPort(handle);
    });
    EXPECT_EQ(locked_inventory(handle), 48);
    EXPECT_EQ(closed, 51);
    EXPECT_EQ(CloseSpecComPort(handle), 0);
}

TEST_F(CloseRace, reconnecting_from_the_callback_of_a_locked_inventory_is_refused)
{
    answer_with_tags(net_, locked_command, 2);
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    int reopened = -1;
    callback_.first_does([&] {
        u8 address = 0xFF;
        int same = handle;
        reopened = OpenNetPort(net_.port(), net_.address(), &address, &same);
    });
    auto running = std::async(std::launch::async, locked_inventory, handle);
    EXPECT_TRUE(eventually([&] { return callback_.calls() == 2; }));
    EXPECT_EQ(reopened, 51);
    EXPECT_FALSE(isOpening);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_EQ(running.get(), 48);
}

TEST_F(CloseRace, reconnecting_from_the_callback_of_reading_works)
{
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    std::atomic<int> reopened = -1;
    callback_.first_does([&] { reopened = open(net_); });
    const Kept old(handle);
    ASSERT_EQ(start_reading(handle), 0);
    net_.push(report_frame() + report_frame());
    EXPECT_TRUE(eventually([&] { return old.alone(); }));
    EXPECT_EQ(reopened, handle);
    EXPECT_EQ(callback_.calls(), 1);
    EXPECT_EQ(CloseNetPort(handle), 0);
}

// ---- registering, stopping ----

TEST_F(CloseRace, registering_while_reading_loses_no_report)
{
    constexpr int reports = 300;
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    ASSERT_EQ(start_reading(handle), 0);
    {
        std::atomic<bool> done = false;
        std::jthread registering([&] {
            for (int i = 0; !done; ++i)
                InitRFIDCallBack(i % 2 == 0 ? Callback::other_call : Callback::call, i % 3 == 0, handle);
        });
        for (int i = 0; i < reports; ++i) net_.push(report_frame());
        EXPECT_TRUE(eventually([&] { return callback_.calls() == reports; }));
        done = true;
    }
    EXPECT_EQ(stop_reading(handle), 0);
    EXPECT_EQ(CloseNetPort(handle), 0);
}

TEST_F(CloseRace, stopping_from_the_callback_and_reading_again_keeps_one_worker)
{
    const int handle = open(net_);
    InitRFIDCallBack(Callback::call, false, handle);
    std::atomic<int> stopped = -1;
    std::atomic<int> started = -1;
    callback_.first_does([&] {
        stopped = stop_reading(handle);
        started = start_reading(handle);
    });
    const Kept reader(handle);
    ASSERT_EQ(start_reading(handle), 0);
    net_.push(report_frame());
    EXPECT_TRUE(eventually([&] { return callback_.first_is_over(); }));
    EXPECT_EQ(stopped, 0);
    EXPECT_EQ(started, 0);
    // The table, this test and the new worker.
    EXPECT_TRUE(eventually([&] { return reader->keeping.users.ordered_load() == 3; }));
    net_.push(report_frame());
    EXPECT_TRUE(eventually([&] { return callback_.calls() == 2; }));
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_TRUE(eventually([&] { return reader.alone(); }));
}

TEST_F(CloseRace, two_stops_and_a_close_at_once_end_reading)
{
    const ShortPauses short_pauses;
    for (int round = 0; round < 20; ++round) {
        const int handle = open(net_);
        ASSERT_EQ(start_reading(handle), 0);
        const Kept reader(handle);
        net_.push(report_frame());
        int closed = -1;
        {
            const std::jthread first([&] { stop_reading(handle); });
            const std::jthread second([&] { stop_reading(handle); });
            const std::jthread closer([&] { closed = CloseNetPort(handle); });
        }
        EXPECT_EQ(closed, 0);
        EXPECT_TRUE(eventually([&] { return reader.alone(); }));
    }
}

// ---- several closers, openers, callers ----

template <class Close> std::vector<int> close_at_once(int closers, Close close)
{
    std::vector<int> results(static_cast<std::size_t>(closers), -1);
    std::atomic<bool> go = false;
    {
        std::vector<std::jthread> threads;
        for (int& result : results) {
            threads.emplace_back([&] {
                while (!go) std::this_thread::yield();
                result = close();
            });
        }
        go = true;
    }
    return results;
}

TEST_F(CloseRace, of_many_closers_one_wins_on_tcp)
{
    const ShortPauses short_pauses;
    for (int round = 0; round < 40; ++round) {
        const int handle = open(net_);
        const Kept reader(handle);
        const auto results = close_at_once(4, [=] { return CloseNetPort(handle); });
        EXPECT_EQ(std::count(results.begin(), results.end(), 0), 1);
        EXPECT_THAT(results, testing::Each(AnyOf(0, 48, 55)));
        EXPECT_TRUE(reader.alone());
    }
}

TEST_F(CloseRace, of_many_closers_one_wins_on_a_serial_line)
{
    const ShortPauses short_pauses;
    for (int round = 0; round < 40; ++round) {
        const int handle = open(line_);
        const Kept reader(handle);
        const auto results = close_at_once(4, [=] { return CloseSpecComPort(handle); });
        EXPECT_EQ(std::count(results.begin(), results.end(), 0), 1);
        EXPECT_THAT(results, testing::Each(AnyOf(0, 48)));
        EXPECT_TRUE(reader.alone());
    }
}

TEST_F(CloseRace, a_reconnection_and_a_close_at_once_leave_one_or_no_connection)
{
    const ShortPauses short_pauses;
    for (int round = 0; round < 30; ++round) {
        const int handle = open(net_);
        const Kept old(handle);
        int reopened = 0;
        {
            const std::jthread closer([&] { CloseNetPort(handle); });
            reopened = open(net_);
        }
        EXPECT_GT(reopened, 0);
        EXPECT_TRUE(old.alone());
        EXPECT_THAT(CloseNetPort(reopened), AnyOf(0, 55));
    }
}

TEST_F(CloseRace, tcp_opens_never_overlap)
{
    const CallsRestored restored;
    static std::atomic<int> inside;
    static std::atomic<int> most;
    inside = 0;
    most = 0;
    sys::calls.socket = [] {
        most = std::max(most.load(), ++inside);
        std::this_thread::yield();
        const int fd = sys::Direct::socket();
        --inside;
        return fd;
    };
    std::atomic<int> refused = 0;
    const auto results = close_at_once(8, [&] {
        char nowhere[] = "none";
        u8 address = 0xFF;
        int handle = -1;
        int last = 0;
        for (int i = 0; i < 200; ++i) {
            last = OpenNetPort(1, nowhere, &address, &handle);
            if (last == 51) ++refused;
        }
        return last;
    });
    EXPECT_THAT(results, testing::Each(AnyOf(48, 51)));
    EXPECT_EQ(most, 1);
}

TEST_F(CloseRace, opening_and_closing_on_eight_threads_keeps_them_apart)
{
    const ShortPauses short_pauses;
    constexpr int threads = 8;
    constexpr int rounds = 25;
    const long before = open_descriptors();
    {
        std::vector<std::unique_ptr<TcpDevice>> nets;
        std::vector<std::unique_ptr<PtyDevice>> lines;
        std::atomic<int> next = 0;
        for (int i = 0; i < threads; ++i) {
            nets.push_back(std::make_unique<TcpDevice>("127.0.0." + std::to_string(20 + i)));
            lines.push_back(std::make_unique<PtyDevice>());
        }
        close_at_once(threads, [&] {
            const auto mine = static_cast<std::size_t>(next++);
            for (int round = 0; round < rounds; ++round) {
                const int net = open(*nets[mine]);
                const int line = open(*lines[mine]);
                EXPECT_GT(net, 0);
                EXPECT_GT(line, 0);
                EXPECT_NE(net, line);
                InitRFIDCallBack(Callback::call, false, net);
                EXPECT_EQ(start_reading(net), 0);
                nets[mine]->push(report_frame());
                if (round % 2 == 0) {
                    EXPECT_EQ(stop_reading(net), 0);
                }
                EXPECT_EQ(CloseSpecComPort(line), 0);
                EXPECT_EQ(CloseNetPort(net), 0);
            }
            return 0;
        });
    }
    EXPECT_TRUE(eventually([&] { return open_descriptors() == before; }));
}

TEST_F(CloseRace, calls_on_a_handle_that_comes_and_goes_find_it_whole_or_not_at_all)
{
    const ShortPauses short_pauses;
    std::atomic<bool> done = false;
    const int handle = open(net_);
    std::vector<std::unique_ptr<Kept>> readers;
    {
        std::vector<std::jthread> callers;
        callers.emplace_back([&] {
            while (!done) InitRFIDCallBack(Callback::call, false, handle);
        });
        callers.emplace_back([&] {
            while (!done) EXPECT_EQ(CloseSpecComPort(handle), 48);
        });
        for (int round = 0; round < 60; ++round) {
            readers.push_back(std::make_unique<Kept>(handle));
            EXPECT_EQ(start_reading(handle), 0);
            EXPECT_EQ(CloseNetPort(handle), 0);
            EXPECT_EQ(open(net_), handle);
        }
        done = true;
    }
    readers.push_back(std::make_unique<Kept>(handle));
    EXPECT_EQ(CloseNetPort(handle), 0);
    for (const auto& reader : readers) EXPECT_TRUE(eventually([&] { return reader->alone(); }));
}

// ---- a stop of reading, which may come at any time, and what begins meanwhile ----

TEST_F(CloseRace, a_command_that_begins_during_a_stop_gets_its_own_answer)
{
    const int handle = open(line_);
    line_.stay_silent();
    int result = 0;
    for (std::size_t round = 0; round < 10 && result == 0; ++round) {
        auto stop = std::async(std::launch::async, stop_reading, handle);
        EXPECT_TRUE(eventually([&] { return line_.requests(0x51) > round; }));
        auto command = std::async(std::launch::async, ask_module, handle);
        EXPECT_TRUE(eventually([&] { return line_.requests(module_command) > round; }));
        line_.push(answer(device_address, module_command, 0, hex("01 02 03 04")));
        result = command.get();
        stop.wait();
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(CloseSpecComPort(handle), 0);
}

TEST_F(CloseRace, an_open_is_not_disturbed_by_a_stop_on_the_handle_it_is_about_to_give)
{
    const CallsRestored restored;
    static std::future<int> stop;
    sys::calls.connect = [](int fd, const sockaddr* to, socklen_t size) {
        stop = std::async(std::launch::async, stop_reading, 1);
        EXPECT_TRUE(eventually([] {
            return stop.wait_for(std::chrono::seconds(0)) == std::future_status::ready ||
                   EthReader[1]->keeping.turn_owner != 0;
        }));
        return ::connect(fd, to, size);
    };
    int handle = 1;
    for (int round = 0; round < 3 && handle == 1; ++round) {
        handle = open(net_);
        stop.wait();
        if (handle > 0) CloseNetPort(handle);
    }
    EXPECT_EQ(handle, 1);
}

TEST_F(CloseRace, closing_all_serial_connections_while_others_open_them)
{
    const ShortPauses short_pauses;
    std::atomic<bool> done = false;
    {
        PtyDevice other;
        std::jthread closer([&] {
            while (!done) CloseComPort();
        });
        std::jthread opener([&] {
            for (int round = 0; round < 40; ++round) {
                const int handle = open(other);
                EXPECT_THAT(handle, AnyOf(testing::Gt(0), -57));
                if (handle > 0) CloseSpecComPort(handle);
            }
        });
        for (int round = 0; round < 40; ++round) {
            const int handle = open(line_);
            EXPECT_THAT(handle, AnyOf(testing::Gt(0), -57, -48));
            if (handle > 0) CloseSpecComPort(handle);
        }
        opener.join();
        done = true;
    }
    CloseComPort();
}

}  // namespace
}  // namespace tagwire::engine::test
