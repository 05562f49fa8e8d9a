// Continuous reading: start, worker, stop, and the raw reads beside it.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <poll.h>
#include <thread>

#include "api/handles.h"
#include "link/system.h"
#include "support/hooked.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

constexpr std::chrono::seconds patience{30};

class Event {
  public:
    void set()
    {
        const std::lock_guard lock(mutex_);
        happened_ = true;
        changed_.notify_all();
    }
    void reset()
    {
        const std::lock_guard lock(mutex_);
        happened_ = false;
    }
    bool wait()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [&] { return happened_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool happened_ = false;
};

// The threads that the library started.
class Workers {
  public:
    static int start(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument)
    {
        if (refuse) return EAGAIN;
        {
            const std::lock_guard lock(mutex);
            ++started;
        }
        return ::pthread_create(thread, attributes, tracked, new Task{run, argument});
    }
    static bool await_ended(int count)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, [&] { return ended >= count; });
    }
    static bool await_all_ended()
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, [] { return ended == started; });
    }
    static int count_started()
    {
        const std::lock_guard lock(mutex);
        return started;
    }
    static void forget()
    {
        const std::lock_guard lock(mutex);
        started = ended = 0;
        refuse = false;
    }
    static inline bool refuse = false;

  private:
    struct Task {
        void* (*run)(void*);
        void* argument;
    };
    static void* tracked(void* task)
    {
        const std::unique_ptr<Task> own(static_cast<Task*>(task));
        own->run(own->argument);
        const std::lock_guard lock(mutex);
        ++ended;
        changed.notify_all();
        return nullptr;
    }
    static inline std::mutex mutex;
    static inline std::condition_variable changed;
    static inline int started = 0;
    static inline int ended = 0;
};

// The tags seen, and what else the callback is to do.
class Seen {
  public:
    static void callback(RFIDTagStruct tag, int kind)
    {
        std::function<void()> also;
        {
            const std::lock_guard lock(mutex);
            ids.emplace_back(tag->UID);
            kinds.push_back(kind);
            also = std::exchange(once, nullptr);
            changed.notify_all();
        }
        if (also) also();
    }
    static bool await(std::size_t count)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, [&] { return ids.size() >= count; });
    }
    static std::vector<std::string> take()
    {
        const std::lock_guard lock(mutex);
        kinds.clear();
        return std::exchange(ids, {});
    }
    static void at_next(std::function<void()> what)
    {
        const std::lock_guard lock(mutex);
        once = std::move(what);
    }
    static inline std::vector<int> kinds;

  private:
    static inline std::mutex mutex;
    static inline std::condition_variable changed;
    static inline std::vector<std::string> ids;
    static inline std::function<void()> once;
};

Bytes report(u8 id, u8 status = 0x00) { return answer(0x00, 0xEE, status, {0x01, 0x01, id, 0x50}); }

class Continuous : public testing::Test {
  protected:
    Continuous()
    {
        Workers::forget();
        Seen::at_next(nullptr);
        Seen::take();
        before_ = sys::calls.start_thread;
        sys::calls.start_thread = Workers::start;
        current_ = this;
        reader_->operations.SendDataToPort = send_and_answer;
        reader_->MypCallBack = Seen::callback;
    }
    ~Continuous() override
    {
        if (!reader_->isStopStocktaking) stop();
        EXPECT_TRUE(Workers::await_all_ended());
        sys::calls.start_thread = before_;
    }

    int start() { return reader_.operations().StartRead(reader_, &address_, 0x03); }
    int stop() { return reader_.operations().StopRead(reader_, &address_); }
    void start_well()
    {
        ASSERT_EQ(start(), 0);
        ASSERT_FALSE(reader_->isStopStocktaking);
    }

    // The reader device answers a request as soon as it is sent.
    static int send_and_answer(Reader* reader, u8* frame, unsigned count)
    {
        const int result = I_SendDataToPort(reader, frame, count);
        if (frame[2] == 0x50) current_->reader_.feed(current_->start_answer_);
        if (frame[2] == 0x51) current_->reader_.feed(current_->stop_answer_);
        return result;
    }

    static inline Continuous* current_ = nullptr;
    TestReader reader_;
    u8 address_ = 0x05;
    Bytes start_answer_ = answer(0x63, 0x50, 0x00);
    Bytes stop_answer_ = answer(0x63, 0x51, 0x00);
    decltype(sys::calls.start_thread) before_;
};

// ---- Start

TEST_F(Continuous, start_sends_its_target_and_runs)
{
    reader_->isInventoryCmd = true;
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("05 05 50 03"))));
    EXPECT_FALSE(reader_->isStopStocktaking);
    EXPECT_FALSE(reader_->isInventoryCmd);
    EXPECT_EQ(Workers::count_started(), 1);
    EXPECT_EQ(address_, 0x05);
}

TEST_F(Continuous, start_refused_by_the_reader_starts_nothing)
{
    start_answer_ = answer(0x00, 0x50, 0x05);
    EXPECT_EQ(start(), 5);
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_EQ(Workers::count_started(), 0);
}

TEST_F(Continuous, start_answered_by_another_command_is_238)
{
    start_answer_ = answer(0x00, 0x51, 0x00);
    EXPECT_EQ(start(), TAGWIRE_WRONG_COMMAND);
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_EQ(Workers::count_started(), 0);
}

TEST_F(Continuous, start_with_a_bad_crc_is_49)
{
    reader_->operations.GetDataFromPort = [](Reader*, u8* to, int* length) {
        const Bytes bytes = hex("05 00 50 00 12 34");
        std::copy(bytes.begin(), bytes.end(), to);
        *length = 6;
        return 0;
    };
    EXPECT_EQ(start(), TAGWIRE_BAD_CRC);
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_EQ(Workers::count_started(), 0);
}

TEST_F(Continuous, start_returns_receiver_errors)
{
    {
        const VirtualTime time;
        start_answer_ = {};
        EXPECT_EQ(start(), TAGWIRE_NO_ANSWER);
    }
    reader_->m_type = 2;
    EXPECT_EQ(start(), TAGWIRE_BAD_HANDLE);
    reader_->m_type = tcp_link;
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_EQ(Workers::count_started(), 0);
}

TEST_F(Continuous, start_without_a_thread_stops_the_reader_again)
{
    Workers::refuse = true;
    EXPECT_EQ(start(), TAGWIRE_NO_ANSWER);
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("05 05 50 03")) + with_crc(hex("04 05 51"))));
    Workers::refuse = false;
    start_well();
    reader_.feed(report(1));
    EXPECT_TRUE(Seen::await(1));
}

// ---- The stream

TEST_F(Continuous, two_reports_in_one_chunk_are_two_calls_in_order)
{
    start_well();
    reader_.feed(report(0x0A) + report(0x0B));
    ASSERT_TRUE(Seen::await(2));
    stop();
    EXPECT_THAT(Seen::kinds, testing::ElementsAre(1, 1));
    EXPECT_THAT(Seen::take(), testing::ElementsAre("0A", "0B"));
}

TEST_F(Continuous, a_report_over_several_reads_is_one_call)
{
    start_well();
    for (const auto byte : report(0x0A)) reader_.feed({byte});
    reader_.feed(report(0x0B));
    ASSERT_TRUE(Seen::await(2));
    EXPECT_THAT(Seen::take(), testing::ElementsAre("0A", "0B"));
}

TEST_F(Continuous, works_on_a_serial_link)
{
    reader_->hCommPort = reader_.near();
    reader_->m_type = serial_link;
    start_well();
    reader_.feed(report(0x0A));
    ASSERT_TRUE(Seen::await(1));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Continuous, only_reports_with_status_0_are_handed_over)
{
    start_well();
    Bytes corrupt = report(0x31);
    corrupt[5] ^= 1U;
    reader_.feed(report(0x11, 0x01) + report(0x12, 0xFF) + answer(0x00, 0x00, 0x00, hex("01 01 21 50")) +
                 answer(0x00, 0x50, 0x00) + answer(0x00, 0x01, 0x00, hex("01 01 22 50")) + hex("FF 04 EE") +
                 corrupt + repeat(0xFF, 300) + report(0x41) + repeat(0xFF, 300));
    ASSERT_TRUE(Seen::await(1));
    EXPECT_EQ(stop(), 0);
    EXPECT_THAT(Seen::take(), testing::ElementsAre("41"));
}

TEST_F(Continuous, a_good_report_inside_a_corrupt_frame_is_found)
{
    start_well();
    Bytes corrupt = answer(0x00, 0xEE, 0x00, report(0x51) + hex("11"));
    corrupt.back() ^= 1U;
    reader_.feed(corrupt + repeat(0xFF, 300));
    ASSERT_TRUE(Seen::await(1));
    EXPECT_THAT(Seen::take(), testing::ElementsAre("51"));
}

TEST_F(Continuous, reports_come_in_any_cut)
{
    start_well();
    Bytes bytes = hex("FF 01");
    for (int i = 0; i < 100; ++i) bytes = bytes + report(static_cast<u8>(i)) + hex("13");
    for (std::size_t at = 0; at < bytes.size(); at += 7) {
        const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        reader_.feed(Bytes(from, from + std::min<std::ptrdiff_t>(7, bytes.end() - from)));
    }
    ASSERT_TRUE(Seen::await(99));
    EXPECT_EQ(Seen::take()[98], "62");
}

TEST_F(Continuous, reports_go_to_a_hook_without_a_callback)
{
    reader_->MypCallBack = nullptr;
    Hooked hooked(reader_);
    start_well();
    reader_.feed(report(0x0A) + report(0x0B, 0x01) + report(0x0C));
    ASSERT_TRUE(hooked.await_records(2));
    EXPECT_EQ(stop(), 0);
    ASSERT_TRUE(Workers::await_all_ended());
    ASSERT_EQ(hooked.records().size(), 2U);
    EXPECT_EQ(hooked.records()[1].id, hex("0C"));
}

TEST_F(Continuous, what_comes_is_counted)
{
    start_well();
    const LinkCounters& counters = reader_->keeping.counters;
    const std::uint64_t before = counters.frames;
    const auto addressed = [](u8 id) { return answer(0x05, 0xEE, 0x00, {0x01, 0x01, id, 0x50}); };
    Bytes damaged = addressed(0x0B);
    damaged[6] ^= 0x10U;
    reader_.feed(addressed(0x0A) + hex("13") + damaged + addressed(0x0C));
    ASSERT_TRUE(Seen::await(2));
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(counters.frames - before, 3U);  // and the answer to the stop
    EXPECT_EQ(counters.bad_crc, 2U);          // in it, too, a frame of command 0 seems to begin
    EXPECT_EQ(counters.skipped_bytes, 1U + damaged.size());
}

TEST_F(Continuous, without_callback_the_stream_is_drained)
{
    reader_->MypCallBack = nullptr;
    start_well();
    const Bytes chunk = report(0x0A);
    for (int i = 0; i < 100'000;) {
        pollfd writable{reader_.far(), POLLOUT, 0};
        ASSERT_EQ(::poll(&writable, 1, 30'000), 1);
        if (::send(reader_.far(), chunk.data(), chunk.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) ++i;
    }
    for (bool drained = false; !drained;) {
        int left = 0;
        ASSERT_EQ(::ioctl(reader_.near(), FIONREAD, &left), 0);
        drained = left == 0;
        std::this_thread::yield();
    }
    EXPECT_TRUE(Seen::take().empty());
}

// ---- Stop

TEST_F(Continuous, stop_asks_the_reader_and_goes_idle)
{
    start_well();
    reader_.sent();
    reader_->isInventoryCmd = true;
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("04 05 51"))));
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_FALSE(reader_->isInventoryCmd);
    EXPECT_EQ(address_, 0x05);
    EXPECT_TRUE(Workers::await_ended(1));
}

TEST_F(Continuous, stop_without_a_start_asks_the_reader_too)
{
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("04 05 51"))));
}

TEST_F(Continuous, stop_finds_its_answer_behind_reports)
{
    start_well();
    stop_answer_ = report(1) + report(2) + hex("FF") + answer(0x00, 0x51, 0x00);
    EXPECT_EQ(stop(), 0);
}

TEST_F(Continuous, stop_goes_idle_whatever_the_reader_answers)
{
    start_well();
    stop_answer_ = answer(0x00, 0x51, 0x07);
    EXPECT_EQ(stop(), 7);
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_TRUE(Workers::await_ended(1));

    start_well();
    stop_answer_ = {};
    EXPECT_EQ(stop(), TAGWIRE_NO_ANSWER);
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_TRUE(Workers::await_ended(2));

    start_well();
    reader_->m_type = 2;
    EXPECT_EQ(stop(), TAGWIRE_BAD_HANDLE);
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_TRUE(Workers::await_ended(3));
    reader_->m_type = tcp_link;
}

TEST_F(Continuous, stop_checks_what_its_receiver_returns)
{
    static Bytes frame;
    reader_->operations.AutoGetDataFromPort = [](Reader*, u8* to, int* length, int command) {
        EXPECT_EQ(command, 0x51);
        std::copy(frame.begin(), frame.end(), to);
        *length = static_cast<int>(frame.size());
        return 0;
    };
    frame = hex("05 00 51 00 00 00");
    EXPECT_EQ(stop(), TAGWIRE_BAD_CRC);
    frame = answer(0x00, 0x50, 0x00);
    EXPECT_EQ(stop(), TAGWIRE_WRONG_COMMAND);
    frame = answer(0x00, 0x51, 0x11);
    EXPECT_EQ(stop(), 0x11);
    EXPECT_TRUE(reader_->isStopStocktaking);
}

TEST_F(Continuous, the_stop_flag_of_a_close_ends_the_worker)
{
    start_well();
    request_stop(reader_);
    EXPECT_TRUE(Workers::await_ended(1));
    reader_->isStopCmd = false;
    calm(reader_);
}

TEST_F(Continuous, stop_from_inside_the_callback)
{
    Event stopped;
    std::atomic<int> result = -1;
    start_well();
    Seen::at_next([&] {
        result = stop();
        stopped.set();
    });
    reader_.feed(report(1));
    ASSERT_TRUE(stopped.wait());
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(Workers::await_ended(1));
}

TEST_F(Continuous, restart_from_inside_the_callback)
{
    Event restarted;
    start_well();
    Seen::at_next([&] {
        EXPECT_EQ(stop(), 0);
        EXPECT_EQ(start(), 0);
        restarted.set();
    });
    reader_.feed(report(1));
    ASSERT_TRUE(restarted.wait());
    EXPECT_TRUE(Workers::await_ended(1));
    reader_.feed(report(2));
    EXPECT_TRUE(Seen::await(2));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Continuous, stop_does_not_wait_for_the_callback)
{
    Event inside;
    Event go_on;
    start_well();
    Seen::at_next([&] {
        inside.set();
        EXPECT_TRUE(go_on.wait());
    });
    reader_.feed(report(1));
    ASSERT_TRUE(inside.wait());
    EXPECT_EQ(stop(), 0);
    go_on.set();
    EXPECT_TRUE(Workers::await_ended(1));
}

// Reads of the link by a thread that is forbidden to.
std::atomic<pthread_t> forbidden{};
std::atomic<int> forbidden_reads{};
int watched_read(Reader* reader, u8* to)
{
    if (pthread_self() == forbidden) ++forbidden_reads;
    return I_ReadRfidData(reader, to);
}

TEST_F(Continuous, an_old_worker_does_not_revive_with_a_new_start)
{
    Event inside;
    Event go_on;
    forbidden_reads = 0;
    reader_->operations.ReadRfidData = watched_read;
    start_well();
    Seen::at_next([&] {
        forbidden = pthread_self();
        inside.set();
        EXPECT_TRUE(go_on.wait());
    });
    reader_.feed(report(1));
    ASSERT_TRUE(inside.wait());
    EXPECT_EQ(stop(), 0);
    start_well();
    reader_.feed(report(2));
    ASSERT_TRUE(Seen::await(2));
    go_on.set();
    ASSERT_TRUE(Workers::await_ended(1));
    reader_.feed(report(3));
    ASSERT_TRUE(Seen::await(3));
    EXPECT_EQ(forbidden_reads, 0);
    EXPECT_EQ(stop(), 0);
    forbidden = pthread_t{};
    EXPECT_THAT(Seen::take(), testing::ElementsAre("01", "02", "03"));
}

TEST_F(Continuous, after_stop_the_bytes_on_the_link_are_left_to_others)
{
    start_well();
    EXPECT_EQ(stop(), 0);
    reader_.feed(report(9));
    u8 bytes[256];
    int count = 0;
    EXPECT_EQ(reader_.operations().GetRfidTagData(reader_, &address_, bytes, &count), 0);
    EXPECT_EQ(Bytes(bytes, bytes + count), report(9));
}

TEST_F(Continuous, many_quick_starts_and_stops_on_a_silent_link_all_succeed)
{
    reader_->operations.SendDataToPort = I_SendDataToPort;
    std::atomic<bool> over = false;
    std::thread device([&] {
        Bytes got;
        while (!over) {
            pollfd readable{reader_.far(), POLLIN, 0};
            if (::poll(&readable, 1, 50) != 1) continue;
            got = got + reader_.sent();
            while (!got.empty() && got.size() > got[0]) {
                reader_.feed(answer(0x00, got[2], 0x00));
                got.erase(got.begin(), got.begin() + got[0] + 1);
            }
        }
    });
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(start(), 0) << i;
        ASSERT_EQ(stop(), 0) << i;
    }
    over = true;
    device.join();
    EXPECT_EQ(Workers::count_started(), 200);
}

// ---- Beside other commands

Event in_receiver;
Event leave_receiver;
Bytes request_seen;

int receive_until_told(Reader* reader, u8*, int*, int)
{
    in_receiver.set();
    EXPECT_TRUE(leave_receiver.wait());
    request_seen.assign(reader->sendBuff.whole, reader->sendBuff.whole + 7);
    return 48;
}

class BesideAnInventory : public Continuous {
  protected:
    BesideAnInventory()
    {
        in_receiver.reset();
        leave_receiver.reset();
        reader_->operations.GetInventoryDataFromPort1 = receive_until_told;
        inventory_ = std::thread([this] {
            int count = 0;
            EXPECT_EQ(reader_.operations().Inventory_G2(reader_, &address_, 4, 0, 0, nullptr, 0, nullptr, 0,
                                                        0, 0, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr,
                                                        &count),
                      48);
        });
        EXPECT_TRUE(in_receiver.wait());
        reader_.sent();
    }
    void finish()
    {
        leave_receiver.set();
        if (inventory_.joinable()) inventory_.join();
    }
    ~BesideAnInventory() override { finish(); }

    std::thread inventory_;
};

TEST_F(BesideAnInventory, stop_is_sent_and_leaves_answer_and_buffers_alone)
{
    reader_->recvBuff[0] = 0x77;
    EXPECT_EQ(stop(), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("04 05 51"))));
    EXPECT_TRUE(reader_->isStopStocktaking);
    EXPECT_TRUE(reader_->isInventoryCmd);
    EXPECT_EQ(reader_->recvBuff[0], 0x77);
}

TEST_F(BesideAnInventory, an_abort_is_sent_and_leaves_the_buffers_alone)
{
    reader_->recvBuff[0] = 0x77;
    EXPECT_EQ(reader_.operations().StopImmediately(reader_, &address_), 0);
    EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("04 05 93"))));
    EXPECT_FALSE(reader_->isInventoryCmd);
    EXPECT_FALSE(reader_->isStopCmd);
    EXPECT_EQ(reader_->recvBuff[0], 0x77);
    finish();
    EXPECT_EQ(to_hex(request_seen), to_hex(with_crc(hex("06 05 01 04 00"))));
}

TEST_F(Continuous, an_abort_awaits_no_answer)
{
    for (const auto type : {tcp_link, serial_link}) {
        reader_->m_type = type;
        reader_->hCommPort = reader_.near();
        reader_->isInventoryCmd = true;
        std::memset(reader_->recvBuff, 0x99, sizeof reader_->recvBuff);
        EXPECT_EQ(reader_.operations().StopImmediately(reader_, &address_), 0);
        EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("04 05 93"))));
        EXPECT_FALSE(reader_->isInventoryCmd);
        EXPECT_FALSE(reader_->isStopCmd);
        EXPECT_TRUE(std::all_of(reader_->recvBuff, reader_->recvBuff + 5000, [](u8 b) { return b == 0; }));
        EXPECT_EQ(address_, 0x05);
    }
}

TEST_F(Continuous, an_abort_returns_the_result_of_the_send)
{
    reader_->m_type = 2;
    EXPECT_EQ(reader_.operations().StopImmediately(reader_, &address_), TAGWIRE_BAD_HANDLE);
    reader_->m_type = tcp_link;
    reader_->sServer = -1;
    EXPECT_EQ(reader_.operations().StopImmediately(reader_, &address_), TAGWIRE_NO_ANSWER);
    reader_->sServer = reader_.near();
}

TEST_F(Continuous, exported_functions_are_busy_while_it_runs)
{
    EthReader[7] = reader_;
    EXPECT_EQ(StartRead(&address_, 0x03, 7), 0);
    EXPECT_EQ(StartRead(&address_, 0x03, 7), TAGWIRE_BUSY);
    int count = 0;
    u8 bytes[256];
    EXPECT_EQ(Inventory_G2(&address_, 4, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0, 0, 0, bytes, bytes,
                           &count, &count, 7),
              TAGWIRE_BUSY);
    EXPECT_EQ(StopImmediately(&address_, 7), TAGWIRE_BUSY);
    EXPECT_EQ(ReadActiveModeData(bytes, &count, 7), TAGWIRE_BUSY);
    EXPECT_EQ(StopRead(&address_, 7), 0);
    EXPECT_EQ(StopImmediately(&address_, 7), 0);
    EthReader[7] = nullptr;
    for (const int handle : {0, 7, 256, -1}) {
        EXPECT_EQ(StartRead(&address_, 0x03, handle), TAGWIRE_BAD_HANDLE);
        EXPECT_EQ(StopRead(&address_, handle), TAGWIRE_BAD_HANDLE);
        EXPECT_EQ(StopImmediately(&address_, handle), TAGWIRE_BAD_HANDLE);
        EXPECT_EQ(ReadActiveModeData(bytes, &count, handle), TAGWIRE_BAD_HANDLE);
    }
}

// ---- The end of the Reader

class EndOfReader : public testing::Test {
  protected:
    EndOfReader()
    {
        Workers::forget();
        Seen::take();
        before_ = sys::calls.start_thread;
        sys::calls.start_thread = Workers::start;
        reader_ = Create_Reader();
        used_ = reader_;
        retain(used_);
        reader_->m_type = tcp_link;
        reader_->sServer = link_.near();
        reader_->MypCallBack = Seen::callback;
    }
    ~EndOfReader() override
    {
        EXPECT_TRUE(Workers::await_all_ended());
        sys::calls.start_thread = before_;
        if (reader_ != nullptr) Destroy_Reader(&reader_);
        release(used_);
    }
    void start()
    {
        link_.feed(answer(0x00, 0x50, 0x00));
        u8 address = 0;
        ASSERT_EQ(reader_->operations.StartRead(reader_, &address, 0), 0);
    }

    TestReader link_;
    Reader* reader_;
    Reader* used_;
    decltype(sys::calls.start_thread) before_;
};

TEST_F(EndOfReader, ends_a_worker_that_streams)
{
    start();
    link_.feed(report(1));
    ASSERT_TRUE(Seen::await(1));
    Destroy_Reader(&reader_);
    EXPECT_TRUE(Workers::await_ended(1));
}

TEST_F(EndOfReader, ends_a_worker_on_a_silent_link)
{
    start();
    Destroy_Reader(&reader_);
    EXPECT_TRUE(Workers::await_ended(1));
}

TEST_F(EndOfReader, may_come_while_the_callback_runs)
{
    Event inside;
    Event go_on;
    Seen::at_next([&] {
        inside.set();
        EXPECT_TRUE(go_on.wait());
    });
    start();
    link_.feed(report(1) + report(2));
    ASSERT_TRUE(inside.wait());
    Destroy_Reader(&reader_);
    used_->MypCallBack = Seen::callback;  // too late for the second report
    go_on.set();
    EXPECT_TRUE(Workers::await_ended(1));
    EXPECT_THAT(Seen::take(), testing::ElementsAre("01"));
}

TEST_F(EndOfReader, may_come_from_inside_the_callback)
{
    Event destroyed;
    Seen::at_next([&] {
        Destroy_Reader(&reader_);
        destroyed.set();
    });
    start();
    link_.feed(report(1) + report(2) + report(3));
    ASSERT_TRUE(destroyed.wait());
    EXPECT_TRUE(Workers::await_ended(1));
    EXPECT_THAT(Seen::take(), testing::ElementsAre("01"));
}

TEST_F(EndOfReader, lets_no_callback_begin_for_what_was_being_read)
{
    static Event reading;
    static Event go_on;
    reading.reset();
    go_on.reset();
    reader_->operations.GetDataFromPort = [](Reader*, u8* to, int* length) {
        const Bytes bytes = answer(0x00, 0x50, 0x00);
        std::copy(bytes.begin(), bytes.end(), to);
        *length = static_cast<int>(bytes.size());
        return 0;
    };
    reader_->operations.ReadRfidData = [](Reader*, u8* to) {
        reading.set();
        EXPECT_TRUE(go_on.wait());
        const Bytes bytes = report(1);
        std::copy(bytes.begin(), bytes.end(), to);
        return static_cast<int>(bytes.size());
    };
    start();
    ASSERT_TRUE(reading.wait());
    Destroy_Reader(&reader_);
    used_->MypCallBack = Seen::callback;
    go_on.set();
    EXPECT_TRUE(Workers::await_ended(1));
    EXPECT_TRUE(Seen::take().empty());
}

TEST_F(EndOfReader, frees_the_memory_when_the_worker_is_the_last)
{
    start();
    Reader* alone = std::exchange(used_, Create_Reader());
    Destroy_Reader(&reader_);
    release(alone);
    EXPECT_TRUE(Workers::await_ended(1));
}

// ---- Raw reads

class RawReads : public testing::Test {
  protected:
    int tag_data() { return reader_.operations().GetRfidTagData(reader_, &address_, bytes_, &count_); }
    int active_data() { return reader_.operations().ReadActiveModeData(reader_, bytes_, &count_); }

    TestReader reader_;
    VirtualTime time_;
    u8 address_ = 0x05;
    u8 bytes_[4096] = {};
    int count_ = -99;
};

TEST_F(RawReads, hand_out_whatever_came)
{
    reader_->isInventoryCmd = true;
    reader_.feed(hex("01 02 03 FF"));
    const std::int64_t start = VirtualTime::now_ms();
    EXPECT_EQ(tag_data(), 0);
    EXPECT_EQ(VirtualTime::now_ms() - start, 5);
    EXPECT_EQ(to_hex(Bytes(bytes_, bytes_ + count_)), "01 02 03 FF");
    EXPECT_EQ(reader_->recvBuff[3], 0xFF);
    EXPECT_FALSE(reader_->isInventoryCmd);

    reader_->isInventoryCmd = true;
    reader_.feed(hex("AA BB"));
    const std::int64_t again = VirtualTime::now_ms();
    EXPECT_EQ(active_data(), 0);
    EXPECT_EQ(VirtualTime::now_ms() - again, 20);
    EXPECT_EQ(count_, 2);
    EXPECT_EQ(to_hex(Bytes(bytes_, bytes_ + 5)), "AA BB 03 FF 00");
    EXPECT_EQ(address_, 0x05);
    EXPECT_FALSE(reader_->isInventoryCmd);
    EXPECT_EQ(to_hex(reader_.sent()), "");
}

TEST_F(RawReads, read_once)
{
    ScriptedReads reads(reader_, {{}, hex("01"), hex("02 03"), hex("04")});
    EXPECT_EQ(tag_data(), TAGWIRE_NO_DATA);
    EXPECT_EQ(reads.calls(), 1);
    EXPECT_EQ(count_, -99);
    EXPECT_EQ(tag_data(), 0);
    EXPECT_EQ(count_, 1);
    EXPECT_EQ(active_data(), 0);
    EXPECT_EQ(count_, 2);
    EXPECT_EQ(reads.calls(), 3);
}

TEST_F(RawReads, have_no_data_on_a_silent_broken_or_unknown_link)
{
    EXPECT_EQ(tag_data(), TAGWIRE_NO_DATA);
    EXPECT_EQ(active_data(), TAGWIRE_NO_DATA);
    {
        ScriptedReads reads(reader_, {});
        reads.fail_at_end();
        EXPECT_EQ(tag_data(), TAGWIRE_NO_DATA);
        EXPECT_EQ(active_data(), TAGWIRE_NO_DATA);
    }
    reader_.feed(hex("01"));
    for (const int type : {2, -1, 77}) {
        reader_->m_type = type;
        EXPECT_EQ(tag_data(), TAGWIRE_NO_DATA);
        EXPECT_EQ(active_data(), TAGWIRE_NO_DATA);
    }
    EXPECT_EQ(count_, -99);
}

}  // namespace
}  // namespace tagwire::engine::test
