// Reports a second from a peer that sends as fast as it can: bare (split and check sum), the C library's callback, and
// a Stream that blocks when it is full. Each is measured in turn, seven rounds; medians are printed.
#include <tagwirexx/stream.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <span>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tagwire/tagwire.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

constexpr auto measured = 600ms;
constexpr std::size_t report_size = 24;

std::array<std::uint16_t, 256> make_table()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? crc >> 1U ^ 0x8408U : crc >> 1U;
        table[byte] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

std::uint16_t crc_of(const std::uint8_t* bytes, std::size_t count)
{
    static const auto table = make_table();
    std::uint16_t crc = 0xFFFF;
    for (std::size_t i = 0; i < count; ++i)
        crc = static_cast<std::uint16_t>(crc >> 8U ^ table[(crc ^ bytes[i]) & 0xFFU]);
    return crc;
}

// Behind its length, and in front of its check sum.
Bytes framed(const Bytes& body)
{
    Bytes frame(body.size() + 3);
    frame[0] = static_cast<std::uint8_t>(body.size() + 2);
    std::copy(body.begin(), body.end(), frame.begin() + 1);
    const std::uint16_t crc = crc_of(frame.data(), body.size() + 1);
    frame[body.size() + 1] = static_cast<std::uint8_t>(crc);
    frame[body.size() + 2] = static_cast<std::uint8_t>(crc >> 8U);
    return frame;
}

// A report of a tag with 15 bytes of EPC.
Bytes report()
{
    Bytes body{0, 0xEE, 0, 1, 15};
    for (std::uint8_t i = 0; i < 15; ++i) body.push_back(i);
    body.push_back(0xC8);
    return framed(body);
}

bool send_all(int fd, const Bytes& bytes)
{
    return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// Answers until it is told to read, and then sends until the connection ends.
void serve(int fd)
{
    std::uint8_t request[256];
    for (;;) {
        const ssize_t count = ::recv(fd, request, sizeof request, 0);
        if (count < 5) return;
        switch (request[2]) {
        case 0x21: send_all(fd, framed({0, 0x21, 0, 1, 0, 15, 2, 0x31, 0x80, 30, 10, 1, 0, 0, 0})); break;
        case 0x50: {
            send_all(fd, framed({0, 0x50, 0}));
            std::this_thread::sleep_for(30ms);  // the answer comes by itself
            Bytes flood;
            while (flood.size() < 60'000) {
                const Bytes one = report();
                flood.insert(flood.end(), one.begin(), one.end());
            }
            while (send_all(fd, flood)) {
            }
            return;
        }
        default: send_all(fd, framed({0, 0xEE, 0xFE})); break;
        }
    }
}

[[noreturn]] void be_the_reader(int listener)
{
    for (;;) {
        const int fd = ::accept(listener, nullptr, nullptr);
        if (fd < 0) std::_Exit(1);
        serve(fd);
        ::close(fd);
    }
}

double per_second(std::uint64_t reports, Clock::time_point begin)
{
    return static_cast<double>(reports) / std::chrono::duration<double>(Clock::now() - begin).count();
}

double bare(std::uint16_t port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) std::abort();
    send_all(fd, framed({0, 0x50, 0}));
    Bytes bytes(1 << 16);
    std::size_t held = 0;
    std::uint64_t reports = 0;
    const auto begin = Clock::now();
    while (Clock::now() - begin < measured) {
        const ssize_t count = ::recv(fd, bytes.data() + held, 2048, 0);
        if (count <= 0) std::abort();
        held += static_cast<std::size_t>(count);
        std::size_t at = 0;
        while (held - at > bytes[at]) {
            const std::size_t length = bytes[at] + std::size_t{1};
            if (crc_of(bytes.data() + at, length) != 0) std::abort();
            reports += length == report_size ? 1 : 0;
            at += length;
        }
        std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                  bytes.begin() + static_cast<std::ptrdiff_t>(held), bytes.begin());
        held -= at;
    }
    const double rate = per_second(reports, begin);
    ::close(fd);
    return rate;
}

std::atomic<std::uint64_t> called{0};
void count_call(RFIDTagStruct /*tag*/, int /*kind*/)
{
    called.store(called.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

double c_library(std::uint16_t port)
{
    unsigned char address = 0xFF;
    int handle = -1;
    char host[] = "127.0.0.1";
    if (OpenNetPort(port, host, &address, &handle) != 0) std::abort();
    InitRFIDCallBack(count_call, false, handle);
    if (StartRead(&address, 0, handle) != 0) std::abort();
    const std::uint64_t before = called;
    const auto begin = Clock::now();
    std::this_thread::sleep_for(measured);
    const double rate = per_second(called - before, begin);
    StopRead(&address, handle);
    CloseNetPort(handle);
    return rate;
}

double stream(std::uint16_t port)
{
    tagwire::Stream live({.overflow = tagwire::Overflow::block});
    live.add("tcp://127.0.0.1:" + std::to_string(port));
    live.start();
    std::vector<tagwire::Event> events(256);
    while (live.take(events, 1s) == 0 || events[0].read() == nullptr) {
    }
    std::uint64_t reports = 0;
    const auto begin = Clock::now();
    while (Clock::now() - begin < measured) reports += live.take(events, 1s);
    return per_second(reports, begin);
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

}  // namespace

int main()
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in here{};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof here;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&here), size) != 0 || ::listen(listener, 8) != 0)
        return 1;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&here), &size);
    const pid_t reader = ::fork();
    if (reader == 0) be_the_reader(listener);
    const std::uint16_t port = ntohs(here.sin_port);
    std::vector<double> rates[3];
    for (int round = 0; round < 7; ++round) {
        rates[0].push_back(bare(port));
        rates[1].push_back(c_library(port));
        rates[2].push_back(stream(port));
    }
    ::kill(reader, SIGKILL);
    ::waitpid(reader, nullptr, 0);
    const char* const names[] = {"bare", "C library", "Stream"};
    for (int i = 0; i < 3; ++i)
        std::printf("%-10s %6.2f M reports/s  %.2f x bare\n", names[i], median(rates[i]) / 1e6,
                    median(rates[i]) / median(rates[0]));
    return 0;
}
