// Many readers at once: 255 that report and 255 that are quiet, by both doors and by bare programs, and a Stream of 1,000
// and 4,000 readers. What of it is named on the command line (live, idle, scale), or all.
#include <tagwirexx/stream.hpp>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string_view>
#include <thread>

#include "readers.h"
#include "tagwire/tagwire.h"

namespace tagwire::bench {
namespace {

using namespace std::chrono_literals;

constexpr int streams = 255;
constexpr int near_processor = 0;  // where what is measured runs; the readers run on another one

// --- 255 streams that report ---

constexpr int live_rate = 100 * streams;
constexpr auto live_span = 1500ms;
constexpr const char* live_row = "255 streams x 100 reports/s";

std::atomic<std::uint64_t> reports{0};
void count_report(const std::uint8_t* /*frame*/, std::size_t size)
{
    if (size == report_size) reports.fetch_add(1, std::memory_order_relaxed);
}

// What a while of work costs in which reports come; where the machine has other things to do and they come late, it is
// tried once more.
template <class Work> Values cost(const char* who, Work work)
{
    constexpr int attempts = 2;
    for (int attempt = 1;; ++attempt) {
        const std::uint64_t taken = reports;
        const double used = processor_us();
        const long switches = context_switches();
        work();
        const auto count = static_cast<double>(reports - taken);
        const double due = live_rate * std::chrono::duration<double>(live_span).count();
        if (count == 0 || (count < 0.95 * due && attempt < attempts)) continue;
        return {
            {live_row, who, "us", (processor_us() - used) / count},
            {live_row, who, "context switches", static_cast<double>(context_switches() - switches) / count}};
    }
}

Values cost_at_rest(const char* who)
{
    while (reports == 0) rest(1ms);
    rest(100ms);
    return cost(who, [] { rest(live_span); });
}

std::vector<int> started_links(std::uint16_t port)
{
    std::vector<int> links;
    for (int i = 0; i < streams; ++i) {
        links.push_back(connect_to(host_of(i).c_str(), port));
        send_all(links.back(), start_request());
    }
    return links;
}

Values threads_in_recv(std::uint16_t port)
{
    std::vector<std::thread> threads;
    for (const int link : started_links(port))
        threads.emplace_back([link] {
            Assembled bytes;
            while (bytes.receive(link, count_report)) {
            }
        });
    Values values = cost_at_rest("threads in recv");
    for (auto& thread : threads) thread.detach();
    return values;
}

// What an epoll thread has taken, until a second thread has it.
class Batches {
  public:
    struct Report {
        std::uint8_t frame[report_size];
    };
    using Batch = std::vector<Report>;

    void put(Batch& batch)
    {
        {
            const std::scoped_lock lock(mutex_);
            waiting_.insert(waiting_.end(), batch.begin(), batch.end());
        }
        batch.clear();
        came_.notify_one();
    }
    void take(Batch& batch)
    {
        batch.clear();
        std::unique_lock lock(mutex_);
        came_.wait(lock, [this] { return !waiting_.empty(); });
        batch.swap(waiting_);
    }

  private:
    std::mutex mutex_;
    std::condition_variable came_;
    Batch waiting_;
};

Values epoll_and_a_second_thread(std::uint16_t port)
{
    static const std::vector<int> fds = started_links(port);
    static std::vector<Assembled> links(streams);
    static const int watched = ::epoll_create1(0);
    static Batches batches;
    for (std::uint32_t i = 0; i < streams; ++i) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u32 = i;
        ::epoll_ctl(watched, EPOLL_CTL_ADD, fds[i], &event);
    }
    std::thread epoll([] {
        Batches::Batch batch;
        for (epoll_event events[64];;) {
            const int count = ::epoll_wait(watched, events, 64, -1);
            for (int i = 0; i < count; ++i)
                links[events[i].data.u32].receive(
                    fds[events[i].data.u32], [&](const std::uint8_t* frame, std::size_t size) {
                        std::memcpy(batch.emplace_back().frame, frame, std::min(size, report_size));
                    });
            batches.put(batch);
        }
    });
    std::thread second([] {
        for (Batches::Batch batch;;) {
            batches.take(batch);
            for (const auto& one : batch) count_report(one.frame, one.frame[0] + std::size_t{1});
        }
    });
    epoll.detach();
    second.detach();
    return cost_at_rest("epoll and a second thread");
}

void count_call(RFIDTagStruct /*tag*/, int /*kind*/) { reports.fetch_add(1, std::memory_order_relaxed); }

void open_c_streams(std::uint16_t port)
{
    for (int i = 0; i < streams; ++i) {
        unsigned char address = 0xFF;
        int handle = -1;
        std::string host = host_of(i);
        if (OpenNetPort(port, host.data(), &address, &handle) != 0) fail("OpenNetPort");
        InitRFIDCallBack(count_call, false, handle);
        if (StartRead(&address, 0, handle) != 0) fail("StartRead");
    }
}

Values c_library(std::uint16_t port)
{
    open_c_streams(port);
    return cost_at_rest("tagwire");
}

void add_readers(tagwire::Stream& live, std::uint16_t port, int count)
{
    for (int i = 0; i < count; ++i)
        live.add("tcp://" + host_of(i) + ":" + std::to_string(port), {.name = std::to_string(i)});
}

// Takes what comes, and gives each report to `see`.
template <class See> void take_for(tagwire::Stream& live, std::chrono::nanoseconds span, See see)
{
    std::vector<tagwire::Event> events(256);
    const std::int64_t end = now_ns() + span.count();
    while (now_ns() < end) {
        const std::size_t count = live.take(events, 100ms);
        for (std::size_t i = 0; i < count; ++i)
            if (const tagwire::Read* read = events[i].read()) see(*read);
    }
}

void await_reading(tagwire::Stream& live, int count)
{
    for (int streaming = 0; streaming < count;) {
        const auto event = live.next(10s);
        if (!event) fail("readers are missing");
        const tagwire::StateChange* change = event->state();
        if (change != nullptr && change->state == tagwire::State::streaming) ++streaming;
    }
}

Values stream(std::uint16_t port)
{
    tagwire::Stream live;
    add_readers(live, port, streams);
    live.start();
    await_reading(live, streams);
    const auto count = [](const tagwire::Read&) { reports.fetch_add(1, std::memory_order_relaxed); };
    take_for(live, 200ms, count);
    return cost("tagwire C++", [&] { take_for(live, live_span, count); });
}

Measurement live(Values (*program)(std::uint16_t))
{
    return [program] {
        const Readers readers({.readers = streams, .reports_per_second = live_rate});
        return Apart([&] {
                   pin(near_processor);
                   return program(readers.port);
               })
            .await();
    };
}

// --- 255 streams that are quiet ---

constexpr auto idle_span = 11s;  // a C stream looks twice in it
constexpr const char* idle_row = "255 idle streams";

Values idle_cost(const char* who)
{
    rest(300ms);  // until all of it has come to rest
    const double used = processor_us();
    rest(idle_span);
    const double span_us = std::chrono::duration<double, std::micro>(idle_span).count();
    return {{idle_row, who, "% of a core", 100 * (processor_us() - used) / span_us},
            {idle_row, who, "MiB", resident_kib() / 1024}};
}

Values idle_epoll(std::uint16_t port)
{
    const int watched = ::epoll_create1(0);
    for (const int fd : started_links(port)) {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLET;
        ::epoll_ctl(watched, EPOLL_CTL_ADD, fd, &event);
    }
    std::thread epoll([watched] {
        for (epoll_event event;;) ::epoll_wait(watched, &event, 1, 1000);
    });
    epoll.detach();
    return idle_cost("bare");
}

Values idle_c_tcp(std::uint16_t port)
{
    open_c_streams(port);
    return idle_cost("tagwire, TCP");
}

Values idle_c_lines(const QuietLines& lines)
{
    for (int i = 0; i < streams; ++i) {
        unsigned char address = 0xFF;
        int handle = -1;
        std::string path = lines.path(i);
        if (OpenComPort(path.data(), &address, 6, &handle) != 0 || StartRead(&address, 0, handle) != 0)
            fail("OpenComPort");
    }
    return idle_cost("tagwire, lines");
}

Values idle_stream(tagwire::Stream& live, const char* who)
{
    live.start();
    await_reading(live, streams);
    return idle_cost(who);
}

Values idle_cpp_tcp(std::uint16_t port)
{
    tagwire::Stream live;
    add_readers(live, port, streams);
    return idle_stream(live, "tagwire C++, TCP");
}

Values idle_cpp_lines(const QuietLines& lines)
{
    tagwire::Stream live;
    for (int i = 0; i < streams; ++i) live.add("serial:" + std::string(lines.path(i)));
    return idle_stream(live, "tagwire C++, lines");
}

// All at once: they have nothing to do, and do not disturb each other.
Values idle()
{
    const Readers readers({.readers = streams});
    const Readers others({.readers = streams});
    const QuietLines lines(streams);
    const QuietLines other_lines(streams);
    std::vector<Apart> programs;
    programs.reserve(5);
    programs.emplace_back([&] { return idle_epoll(others.port); });
    programs.emplace_back([&] { return idle_c_tcp(readers.port); });
    programs.emplace_back([&] { return idle_c_lines(lines); });
    programs.emplace_back([&] { return idle_cpp_tcp(others.port); });
    programs.emplace_back([&] { return idle_cpp_lines(other_lines); });
    Values values;
    for (const Apart& program : programs)
        for (const Value& value : program.await()) values.push_back(value);
    return values;
}

// --- a Stream of very many ---

constexpr auto scale_span = 2s;

struct Scale {
    const char* who;
    int readers;
    int rate;
};

double share(const std::vector<double>& sorted, double part)
{
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

Values scale_cost(const Scale& scale, std::uint16_t port)
{
    const double empty = resident_kib();
    tagwire::Stream live;
    add_readers(live, port, scale.readers);
    live.start();
    await_reading(live, scale.readers);
    const double memory = resident_kib() - empty;
    std::vector<double> delays;
    delays.reserve(static_cast<std::size_t>(scale.rate) * 3);
    const std::int64_t begin = now_ns() + 500'000'000;
    const std::int64_t end = begin + std::chrono::nanoseconds(scale_span).count();
    double used = 0;
    for (std::int64_t now = now_ns(); now < end; now = now_ns()) {
        if (used == 0 && now >= begin) used = processor_us();
        const auto event = live.next(100ms);
        const tagwire::Read* read = event ? event->read() : nullptr;
        if (read == nullptr || used == 0) continue;
        std::int64_t stamp = 0;
        std::memcpy(&stamp, read->epc.bytes().data(), sizeof stamp);
        delays.push_back(static_cast<double>(now_ns() - stamp) / 1e3);
    }
    used = processor_us() - used;
    const auto count = static_cast<double>(delays.size());
    std::sort(delays.begin(), delays.end());
    const char* row = "one Stream";
    return {{row, scale.who, "us", used / count},
            {row, scale.who, "% taken",
             100 * count / (scale.rate * std::chrono::duration<double>(scale_span).count())},
            {row, scale.who, "KiB a reader", memory / scale.readers},
            {row, scale.who, "us p50", share(delays, 0.5)},
            {row, scale.who, "us p99", share(delays, 0.99)},
            {row, scale.who, "us p99.9", share(delays, 0.999)}};
}

Measurement scale(const Scale& scale)
{
    return [scale] {
        const Readers readers({.readers = scale.readers, .reports_per_second = scale.rate});
        return Apart([&] { return scale_cost(scale, readers.port); }).await();
    };
}

}  // namespace
}  // namespace tagwire::bench

int main(int argc, char** argv)
{
    using namespace tagwire::bench;
    allow_descriptors();
    const std::string_view wanted = argc > 1 ? argv[1] : "";
    if (wanted.empty() || wanted == "live")
        measure({live(threads_in_recv), live(epoll_and_a_second_thread), live(c_library), live(stream)});
    if (wanted.empty() || wanted == "idle") measure({idle});
    if (wanted.empty() || wanted == "scale")
        measure({scale({"1000 readers, 25000/s", 1000, 25'000}),
                 scale({"1000 readers, 100000/s", 1000, 100'000}),
                 scale({"4000 readers, 25000/s", 4000, 25'000}),
                 scale({"4000 readers, 100000/s", 4000, 100'000})},
                3);
    return 0;
}
