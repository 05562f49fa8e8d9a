#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <utility>

#include "link/signals.h"
#include "xx/link/dial.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const Url& url, const std::string& text)
{
    throw Error(Errc::cannot_open, "open", url.text, text);
}

// Shared with a thread that may outlive whoever waits for it.
struct Search {
    std::mutex mutex;
    std::condition_variable ended;
    bool over = false;
    int error = 0;
    std::vector<in_addr> hosts;
};

void search(const std::shared_ptr<Search>& state, const std::string& host, LookUp find)
{
    std::vector<in_addr> hosts;
    const int error = find(host, hosts);
    const std::lock_guard lock(state->mutex);
    state->error = error;
    state->hosts = std::move(hosts);
    state->over = true;
    state->ended.notify_all();
}

void start_search(const Url& url, const std::shared_ptr<Search>& state, LookUp find)
try {
    const engine::AsynchronousSignalsBlocked blocked;
    std::thread(search, state, url.host, find).detach();
} catch (const std::system_error& error) {
    fail(url, std::string("no thread could be started to look the name up: ") + error.what());
}

// Asked after 5 s of silence, then every 3 s.
void notice_dead_peer(int fd)
{
    const auto set = [fd](int level, int name, int value) {
        ::setsockopt(fd, level, name, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 5);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 3);
    set(IPPROTO_TCP, TCP_KEEPCNT, 3);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, 14'000);
    set(IPPROTO_TCP, TCP_NODELAY, 1);
}

int pending_error(int fd)
{
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

int await_connection(int fd, Clock::time_point end)
{
    pollfd watched{fd, POLLOUT, 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        const int ready = ::poll(&watched, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
        if (ready > 0) return pending_error(fd);
        if (ready == 0) return ETIMEDOUT;
        if (errno != EINTR) return errno;
    }
}

}  // namespace

int look_up(const std::string& host, std::vector<in_addr>& out)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &list);
    if (error != 0) return error;
    for (const addrinfo* at = list; at != nullptr; at = at->ai_next) {
        sockaddr_in address{};
        std::memcpy(&address, at->ai_addr, sizeof address);
        out.push_back(address.sin_addr);
    }
    ::freeaddrinfo(list);
    return 0;
}

std::vector<in_addr> resolve(const Url& url, std::chrono::milliseconds limit, LookUp find)
{
    in_addr literal{};
    if (::inet_pton(AF_INET, url.host.c_str(), &literal) == 1) return {literal};
    const auto state = std::make_shared<Search>();
    start_search(url, state, find);
    std::unique_lock lock(state->mutex);
    if (!state->ended.wait_for(lock, limit, [&] { return state->over; }))
        fail(url, "no answer about the name '" + url.host +
                      "': is the name service reachable? An IPv4 address needs none");
    if (state->error != 0 || state->hosts.empty())
        fail(url, "the name '" + url.host + "' has no IPv4 address (" + ::gai_strerror(state->error) +
                      "): check its spelling, or give the address");
    return std::move(state->hosts);
}

Descriptor begin_connect(const in_addr& host, std::uint16_t port, int& error)
{
    Descriptor fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd) throw_no_descriptor("open", errno);
    notice_dead_peer(fd.get());
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr = host;
    error = ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 ? 0 : errno;
    return fd;
}

std::string connect_failure_text(const std::string& place, int error)
{
    switch (error) {
    case ETIMEDOUT: return "nobody answers at " + place + ": is the reader powered and on this network?";
    case ECONNREFUSED:
        return place + " refuses the connection: is the port right, and has no other computer the reader's "
                       "connection?";
    case ENETUNREACH:
    case EHOSTUNREACH: return place + " cannot be reached: is the reader on a network of this computer's?";
    default: return place + ": " + std::generic_category().message(error);
    }
}

Descriptor connect(const Url& url, const std::vector<in_addr>& hosts, std::chrono::milliseconds limit)
{
    int error = ETIMEDOUT;
    auto share = limit / std::max<std::size_t>(hosts.size(), 1);
    for (const in_addr& host : hosts) {
        const auto end = Clock::now() + share;
        Descriptor fd = begin_connect(host, url.port, error);
        if (error == EINPROGRESS || error == EINTR) error = await_connection(fd.get(), end);
        if (error == 0) return fd;
    }
    fail(url, connect_failure_text(url.host + ":" + std::to_string(url.port), error));
}

}  // namespace v1
}  // namespace tagwire
