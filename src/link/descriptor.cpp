#include "link/descriptor.h"

#include <algorithm>
#include <cerrno>

#include "link/clock.h"
#include "link/system.h"
#include "link/turn.h"

namespace tagwire::engine {
namespace {

// The longest a worker sleeps on a quiet link, and on a dead one; whatever ends its work wakes it.
constexpr int quiet_rest_ms = 10'000;
constexpr int dead_rest_ms = 24 * 60 * 60 * 1000;
// What keeps a loop from spinning whose wait ends at once, whatever the descriptors say.
constexpr int short_rest_ms = 1;
constexpr int failed_rest_ms = 10;

constexpr int no_descriptor = -1;

Wait wait_within(Reader* reader, int fd, short events, std::int64_t left)
{
    pollfd watched[] = {{reader->keeping.wake_fd, POLLIN, 0},
                        {fd, static_cast<short>(events | POLLRDHUP), 0}};
    const std::int64_t end = monotonic_ns() + left;
    for (;;) {
        const timespec limit = timespec_of(left);
        const int ready = sys::calls.ppoll(watched, 2, &limit);
        if (ready < 0 && errno == EINTR) {
            left = std::max<std::int64_t>(0, end - monotonic_ns());
            continue;
        }
        if (ready < 0) return Wait::failed;
        if (ready == 0) return Wait::timeout;
        const bool is_receiver =
            (events & POLLIN) != 0 && inside_own_turn(reader) && command_in_progress(reader);
        if (watched[0].revents != 0 && is_receiver) calm_after_turn(reader);
        const int seen = watched[1].revents;
        if ((seen & POLLNVAL) != 0) return Wait::failed;
        if ((seen & (POLLHUP | POLLRDHUP | POLLERR)) != 0) return Wait::hung_up;
        if (seen != 0) return Wait::ready;
        return Wait::woken;
    }
}

bool has_input(int fd)
{
    int pending = 0;
    return sys::calls.ioctl(fd, FIONREAD, &pending) == 0 && pending > 0;
}

// As wait_for(), but ready with input to read only, and hung up with none: then the link is dead.
Wait wait_for_input(Reader* reader, int limit_ms)
{
    const LinkUse link(reader);
    if (!link.usable()) return Wait::failed;
    const Wait wait = wait_for(reader, link.fd(), POLLIN, limit_ms);
    if (wait != Wait::ready && wait != Wait::hung_up) return wait;
    if (has_input(link.fd())) return Wait::ready;
    return wait == Wait::hung_up ? wait : Wait::failed;
}

void wait_for_wake(Reader* reader, int limit_ms)
{
    if (wait_for(reader, no_descriptor, 0, limit_ms) != Wait::timeout) sleep_ms(short_rest_ms);
}

}  // namespace

bool link_usable(const Reader* reader)
{
    switch (reader->m_type) {
    case serial_link: return reader->hCommPort != -1;
    case tcp_link: return reader->sServer != -1;
    default: return false;
    }
}

bool shut_link(Reader* reader)
{
    Keeping& keeping = reader->keeping;
    if (!keeping.link.shut()) return false;
    wake(reader);
    keeping.link.await_empty();
    calm(reader);
    return true;
}

void open_link(Reader* reader) { reader->keeping.link.open(); }

Wait wait_for(Reader* reader, int fd, short events, int limit_ms)
{
    return wait_within(reader, fd, events, limit_ms * ns_per_ms);
}

// Mostly there is room, and to look costs less than to begin a wait.
bool await_writable(Reader* reader, int fd, int limit_ms)
{
    const std::int64_t end = monotonic_ns() + limit_ms * ns_per_ms;
    Wait wait = wait_within(reader, fd, POLLOUT, 0);
    while (wait == Wait::timeout || wait == Wait::woken) {
        if (wait == Wait::woken) {
            if (reader->keeping.link.is_shut()) return false;
            sleep_ms(short_rest_ms);
        }
        const std::int64_t left = end - monotonic_ns();
        if (left <= 0) return false;
        wait = wait_within(reader, fd, POLLOUT, left);
    }
    return wait != Wait::failed;
}

bool pause_for_input(Reader* reader, int limit_ms)
{
    switch (wait_for_input(reader, limit_ms)) {
    case Wait::ready: return true;
    case Wait::timeout: break;
    case Wait::woken: sleep_ms(short_rest_ms); break;  // the caller's loop may have no reason to end
    case Wait::hung_up: wait_for_wake(reader, limit_ms); break;
    case Wait::failed: sleep_ms(limit_ms); break;
    }
    return false;
}

void rest_until_input(Reader* reader)
{
    switch (wait_for_input(reader, quiet_rest_ms)) {
    case Wait::ready:
    case Wait::timeout: return;
    case Wait::hung_up: return wait_for_wake(reader, dead_rest_ms);
    case Wait::woken: return sleep_ms(short_rest_ms);
    case Wait::failed: return sleep_ms(failed_rest_ms);
    }
}

}  // namespace tagwire::engine
