// Reports a second from a peer that sends as fast as it can: bare (split and check sum), the C library's callback, and
// a Stream that blocks when it is full.
#include <tagwirexx/stream.hpp>

#include <atomic>
#include <thread>

#include "readers.h"
#include "tagwire/tagwire.h"

namespace tagwire::bench {
namespace {

using namespace std::chrono_literals;

constexpr auto measured = 400ms;
constexpr const char* row = "flood of 24-byte reports";

// Answers until it is told to read, and then sends until the connection ends.
void serve(int fd)
{
    std::uint8_t request[256];
    for (;;) {
        if (::recv(fd, request, sizeof request, 0) < 5) return;
        send_all(fd, answer_to(request[2]));
        if (request[2] != 0x50) continue;
        rest(30ms);  // the answer comes by itself
        Bytes flood;
        while (flood.size() < 60'000) {
            const Bytes one = report();
            flood.insert(flood.end(), one.begin(), one.end());
        }
        while (send_all(fd, flood)) {
        }
        return;
    }
}

Values told(const char* who, std::uint64_t reports, std::int64_t begin)
{
    return {{row, who, "M/s", static_cast<double>(reports) * 1e3 / static_cast<double>(now_ns() - begin)}};
}

bool is_over(std::int64_t begin) { return now_ns() - begin > std::chrono::nanoseconds(measured).count(); }

Values bare(std::uint16_t port)
{
    const int fd = connect_to("127.0.0.1", port);
    send_all(fd, start_request());
    Assembled bytes;
    std::uint64_t reports = 0;
    const auto count = [&](const std::uint8_t*, std::size_t size) { reports += size == report_size ? 1 : 0; };
    bytes.receive(fd, count);
    const std::int64_t begin = now_ns();
    while (!is_over(begin) && bytes.receive(fd, count)) {
    }
    ::close(fd);
    return told("bare", reports, begin);
}

std::atomic<std::uint64_t> called{0};
void count_call(RFIDTagStruct /*tag*/, int /*kind*/)
{
    called.store(called.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

Values c_library(std::uint16_t port)
{
    unsigned char address = 0xFF;
    int handle = -1;
    char host[] = "127.0.0.1";
    if (OpenNetPort(port, host, &address, &handle) != 0) fail("OpenNetPort");
    InitRFIDCallBack(count_call, false, handle);
    const std::uint64_t before = called;
    if (StartRead(&address, 0, handle) != 0) fail("StartRead");
    while (called == before) rest(1ms);
    const std::uint64_t first = called;
    const std::int64_t begin = now_ns();
    rest(measured);
    const Values values = told("tagwire", called - first, begin);
    StopRead(&address, handle);
    CloseNetPort(handle);
    return values;
}

Values stream(std::uint16_t port)
{
    tagwire::Stream live({.overflow = tagwire::Overflow::block});
    live.add("tcp://127.0.0.1:" + std::to_string(port));
    live.start();
    std::vector<tagwire::Event> events(256);
    while (live.take(events, 1s) == 0 || events[0].read() == nullptr) {
    }
    std::uint64_t reports = 0;
    const std::int64_t begin = now_ns();
    while (!is_over(begin)) reports += live.take(events, 1s);
    return told("tagwire C++", reports, begin);
}

}  // namespace
}  // namespace tagwire::bench

int main()
{
    using namespace tagwire::bench;
    std::uint16_t port = 0;
    const int listener = listen_anywhere(port);
    const Child reader([&] {
        for (;;) {
            const int fd = ::accept(listener, nullptr, nullptr);
            serve(fd);
            ::close(fd);
        }
    });
    measure({[&] { return bare(port); }, [&] { return c_library(port); }, [&] { return stream(port); }});
    return 0;
}
