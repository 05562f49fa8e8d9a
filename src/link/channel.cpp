// What both channels share: waits, shutting a link, and the operations that pick the channel by the link
// type.
#include "link/channel.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "link/clock.h"
#include "link/exchange.h"
#include "link/system.h"
#include "tagwire/result.h"

namespace tagwire {
namespace {

constexpr std::int64_t ns_per_s = 1'000'000'000;
constexpr std::int64_t ns_per_ms = 1'000'000;

// The longest a worker sleeps on a quiet link; whatever ends its work wakes it.
constexpr int quiet_rest_ms = 1000;
constexpr int short_rest_ms = 10;

timespec remaining(std::int64_t end)
{
    const std::int64_t left = std::max<std::int64_t>(0, end - monotonic_ns());
    timespec out{};
    out.tv_sec = static_cast<time_t>(left / ns_per_s);
    out.tv_nsec = static_cast<long>(left % ns_per_s);
    return out;
}

bool has_input(int fd)
{
    int pending = 0;
    return sys::calls.ioctl(fd, FIONREAD, &pending) == 0 && pending > 0;
}

// A negative `fd` stands for none: then the wake descriptor alone is waited on.
Wait wait_until(Reader* reader, int fd, short events, std::int64_t end)
{
    pollfd watched[] = {{reader->keeping.wake_fd, POLLIN, 0},
                        {fd, static_cast<short>(events | POLLRDHUP), 0}};
    for (;;) {
        const timespec limit = remaining(end);
        const int ready = sys::calls.ppoll(watched, 2, &limit);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return Wait::failed;
        if (ready == 0) return Wait::timeout;
        const int seen = watched[1].revents;
        if ((seen & POLLNVAL) != 0) return Wait::failed;
        if ((seen & (POLLHUP | POLLRDHUP | POLLERR)) != 0) return Wait::hung_up;
        if (seen != 0) return Wait::ready;
        return Wait::woken;
    }
}

// Waits for input at most `limit_ms`; on a descriptor that is ready and has none, `limit_when_empty_ms` for a
// wake. Failed when there is no link to wait on.
Wait wait_for_input(Reader* reader, int limit_ms, int limit_when_empty_ms)
{
    const LinkUse link(reader);
    if (!link.usable()) return Wait::failed;
    const Wait wait = wait_for(reader, link.fd(), POLLIN, limit_ms);
    if (wait != Wait::hung_up || has_input(link.fd())) return wait;
    return wait_for(reader, -1, 0, limit_when_empty_ms);
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

Wait wait_for(Reader* reader, int fd, short events, int limit_ms)
{
    return wait_until(reader, fd, events, monotonic_ns() + limit_ms * ns_per_ms);
}

bool await_writable(Reader* reader, int fd, int limit_ms)
{
    const std::int64_t end = monotonic_ns() + limit_ms * ns_per_ms;
    for (;;) {
        const Wait wait = wait_until(reader, fd, POLLOUT, end);
        if (wait != Wait::woken) return wait == Wait::ready || wait == Wait::hung_up;
        if (reader->keeping.link.is_shut() || monotonic_ns() >= end) return false;
        sleep_ms(1);
    }
}

void pause_for_input(Reader* reader, int limit_ms)
{
    const Wait wait = wait_for_input(reader, limit_ms, limit_ms);
    if (wait == Wait::failed) sleep_ms(limit_ms);
    if (wait == Wait::woken) sleep_ms(1);  // the caller's loop may have no reason to end
}

void rest_until_input(Reader* reader)
{
    if (wait_for_input(reader, quiet_rest_ms, short_rest_ms) == Wait::failed) sleep_ms(short_rest_ms);
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

void clear_received(Reader* reader)
{
    const Exchange exchange(reader, Purpose::stop);
    if (!exchange.ours()) return;
    reader->recvLength = 0;
    std::memset(reader->recvBuff, 0, cleared_by_send);
}

}  // namespace tagwire

using namespace tagwire;

void I_LOCK(Reader* sthis)
{
    pthread_mutex_lock(&sthis->g_cs);
    __atomic_store_n(&sthis->keeping.lock_owner, static_cast<unsigned long>(pthread_self()),
                     __ATOMIC_RELAXED);
}

void I_UNLOCK(Reader* sthis)
{
    __atomic_store_n(&sthis->keeping.lock_owner, 0UL, __ATOMIC_RELAXED);
    pthread_mutex_unlock(&sthis->g_cs);
}

int I_SendDataToPortS(Reader* sthis, u8* dataToSend, unsigned BytesOfSend)
{
    switch (sthis->m_type) {
    case serial_link: return send_serial(sthis, dataToSend, BytesOfSend);
    case tcp_link: return send_tcp(sthis, dataToSend, BytesOfSend);
    default: return TAGWIRE_BAD_HANDLE;
    }
}

int I_SendDataToPort(Reader* sthis, u8* dataToSend, unsigned BytesOfSend)
{
    pthread_mutex_lock(&sthis->g_writecs);
    const int result = sthis->operations.SendDataToPortS(sthis, dataToSend, BytesOfSend);
    pthread_mutex_unlock(&sthis->g_writecs);
    return result;
}

int I_SendStopDataToPort(Reader* sthis, u8* dataToSend, unsigned BytesOfSend)
{
    switch (sthis->m_type) {
    case serial_link: return send_stop_serial(sthis, dataToSend, BytesOfSend);
    case tcp_link: return send_tcp(sthis, dataToSend, BytesOfSend);
    default: return TAGWIRE_BAD_HANDLE;
    }
}

int I_ReadRfidData(Reader* sthis, u8* Recv)
{
    switch (sthis->m_type) {
    case serial_link: return read_serial(sthis, Recv);
    case tcp_link: return read_tcp(sthis, Recv);
    default: return TAGWIRE_BAD_HANDLE;
    }
}
