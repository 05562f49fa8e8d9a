// Readers to measure against, in processes of their own: no more than what answers and reports.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pty.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cstring>

#include "bench.h"

namespace tagwire::bench {

inline std::array<std::uint16_t, 256> make_table()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? crc >> 1U ^ 0x8408U : crc >> 1U;
        table[byte] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

// A byte at a time: what the bare programs do.
inline std::uint16_t bare_crc(const std::uint8_t* bytes, std::size_t count)
{
    static const auto table = make_table();
    std::uint16_t crc = 0xFFFF;
    for (std::size_t i = 0; i < count; ++i)
        crc = static_cast<std::uint16_t>(crc >> 8U ^ table[(crc ^ bytes[i]) & 0xFFU]);
    return crc;
}

// Behind its length, and in front of its check sum.
inline Bytes framed(const Bytes& body)
{
    Bytes frame(body.size() + 3);
    frame[0] = static_cast<std::uint8_t>(body.size() + 2);
    std::copy(body.begin(), body.end(), frame.begin() + 1);
    const std::uint16_t crc = bare_crc(frame.data(), body.size() + 1);
    frame[body.size() + 1] = static_cast<std::uint8_t>(crc);
    frame[body.size() + 2] = static_cast<std::uint8_t>(crc >> 8U);
    return frame;
}

inline constexpr std::size_t report_size = 24;
inline constexpr std::size_t stamp_place = 6;  // in front of a report's EPC: when it was sent, in ns

// A tag's report, with 15 bytes of EPC.
inline Bytes report(std::int64_t stamp = 0)
{
    Bytes body{0, 0xEE, 0, 1, 15};
    for (std::uint8_t i = 0; i < 15; ++i) body.push_back(i);
    body.push_back(0xC8);
    std::memcpy(body.data() + stamp_place - 1, &stamp, sizeof stamp);
    return framed(body);
}

// Takes the frames in front, tells each of `take` and returns how many bytes that were.
template <class Take> std::size_t split(const std::uint8_t* bytes, std::size_t count, Take take)
{
    std::size_t at = 0;
    while (count - at > bytes[at]) {
        const std::size_t length = bytes[at] + std::size_t{1};
        if (bare_crc(bytes + at, length) != 0) std::abort();
        take(bytes + at, length);
        at += length;
    }
    return at;
}

// What a bare program keeps of a link.
class Assembled {
  public:
    // False at the end, and where nothing is there.
    template <class Take> bool receive(int fd, Take take)
    {
        const ssize_t count = ::recv(fd, bytes_ + held_, 2048, 0);
        if (count <= 0) return false;
        held_ += static_cast<std::size_t>(count);
        const std::size_t taken = split(bytes_, held_, take);
        std::memmove(bytes_, bytes_ + taken, held_ -= taken);
        return true;
    }

  private:
    std::uint8_t bytes_[2048 + 256];
    std::size_t held_ = 0;
};

inline bool send_all(int fd, const Bytes& bytes)
{
    return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

inline const Bytes& start_request()
{
    static const Bytes frame = framed({0, 0x50, 0});
    return frame;
}

inline const Bytes& answer_to(std::uint8_t command)
{
    static const Bytes information = framed({0, 0x21, 0, 1, 0, 15, 2, 0x31, 0x80, 30, 10, 1, 0, 0, 0});
    static const Bytes serial_number = framed({0, 0x4C, 0, 1, 2, 3, 4});
    static const Bytes started = framed({0, 0x50, 0});
    static const Bytes stopped = framed({0, 0x51, 0});
    static const Bytes unknown = framed({0, 0xEE, 0xFE});
    switch (command) {
    case 0x21: return information;
    case 0x4C: return serial_number;
    case 0x50: return started;
    case 0x51: return stopped;
    default: return unknown;
    }
}

inline sockaddr_in address_of(const char* host, std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, host, &address.sin_addr);
    return address;
}

// On all addresses of this machine; `port` tells where.
inline int listen_anywhere(std::uint16_t& port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in here = address_of("0.0.0.0", 0);
    socklen_t size = sizeof here;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&here), size) != 0 || ::listen(fd, 4096) != 0) fail("listen");
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&here), &size);
    port = ntohs(here.sin_port);
    return fd;
}

inline int connect_to(const char* host, std::uint16_t port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in to = address_of(host, port);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) fail("connect");
    return fd;
}

// An address of its own for each of many readers behind one port.
inline std::string host_of(int reader)
{
    return "127.0." + std::to_string(1 + reader / 250) + "." + std::to_string(1 + reader % 250);
}

struct Line {
    int device = -1;
    int host = -1;  // kept open, so that the device stays when a program closes its own
    char path[64] = {};
};

inline Line open_line()
{
    Line line;
    termios raw{};
    ::cfmakeraw(&raw);
    if (::openpty(&line.device, &line.host, line.path, &raw, nullptr) != 0) fail("openpty");
    return line;
}

// How many readers there are, and what they report together once all of them were told to read.
struct Load {
    int readers;
    int reports_per_second = 0;
    int processor = 1;
};

// Many readers in one process.
class Readers {
  public:
    explicit Readers(const Load& load)
        : load_(load), listener_(listen_anywhere(port)), child_([this] { be_them(); })
    {
        ::close(listener_);
    }

    std::uint16_t port = 0;

  private:
    [[noreturn]] void be_them()
    {
        pin(load_.processor);
        ::prctl(PR_SET_TIMERSLACK, 1);
        const int watched = ::epoll_create1(0);
        watch(watched, listener_);
        epoll_event events[256];
        for (;;) {
            const bool is_live =
                load_.reports_per_second != 0 && reading_.size() == static_cast<std::size_t>(load_.readers);
            const int count = ::epoll_wait(watched, events, 256, is_live ? 0 : -1);
            for (int i = 0; i < count; ++i) {
                if (events[i].data.fd == listener_)
                    watch(watched, ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK));
                else
                    answer(watched, events[i].data.fd);
            }
            if (is_live) send_due();
        }
    }
    static void watch(int watched, int fd)
    {
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = fd;
        if (::epoll_ctl(watched, EPOLL_CTL_ADD, fd, &event) != 0) fail("epoll_ctl");
    }
    void answer(int watched, int fd)
    {
        std::uint8_t request[256];
        const ssize_t count = ::recv(fd, request, sizeof request, 0);
        if (count <= 0) ::epoll_ctl(watched, EPOLL_CTL_DEL, fd, nullptr);
        for (ssize_t at = 0; at + 3 <= count; at += request[at] + 1) {
            send_all(fd, answer_to(request[at + 2]));
            if (request[at + 2] == 0x50) reading_.push_back(fd);
        }
        begin_ = now_ns() + 100'000'000;
    }
    // Spread evenly over the time, one reader behind the other.
    void send_due()
    {
        constexpr long tick_ns = 20'000;
        const std::int64_t passed = now_ns() - begin_;
        const auto due =
            static_cast<std::int64_t>(static_cast<double>(passed) * load_.reports_per_second / 1e9);
        for (; sent_ < due; ++sent_)
            send_all(reading_[static_cast<std::size_t>(sent_) % reading_.size()], report(now_ns()));
        const timespec tick{0, tick_ns};
        ::nanosleep(&tick, nullptr);
    }

    Load load_;
    int listener_;
    std::vector<int> reading_;
    std::int64_t begin_ = 0;
    std::int64_t sent_ = 0;
    Child child_;
};

// Many quiet readers behind serial lines, in one process.
class QuietLines {
  public:
    explicit QuietLines(int count) : lines_(open(count)), child_([this] { be_them(); }) {}

    const char* path(int reader) const { return lines_[static_cast<std::size_t>(reader)].path; }

  private:
    static std::vector<Line> open(int count)
    {
        std::vector<Line> lines;
        for (int i = 0; i < count; ++i) lines.push_back(open_line());
        return lines;
    }
    [[noreturn]] void be_them() const
    {
        std::vector<pollfd> watched;
        for (const Line& line : lines_) watched.push_back({line.device, POLLIN, 0});
        for (;;) {
            ::poll(watched.data(), watched.size(), -1);
            for (const pollfd& line : watched) {
                std::uint8_t request[256];
                if (line.revents == 0 || ::read(line.fd, request, sizeof request) < 3) continue;
                const Bytes& answer = answer_to(request[2]);
                if (::write(line.fd, answer.data(), answer.size()) < 0) fail("write");
            }
        }
    }

    std::vector<Line> lines_;
    Child child_;
};

}  // namespace tagwire::bench
