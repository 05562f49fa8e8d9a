#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <netinet/in.h>

#include "link/descriptor.h"
#include "link/system.h"
#include "link/tcp.h"
#include "reader/hooks.h"
#include "tagwire/result.h"

namespace tagwire::engine {
namespace {

constexpr int tcp_limit_ms = 1000;
constexpr std::size_t tcp_chunk = 2048;
constexpr unsigned longest_send = 1024;
constexpr int send_attempts = 3;

void set_nonblocking(int fd, int on) { sys::calls.ioctl(fd, FIONBIO, &on); }

// The pending error of the socket is fetched, not looked at: a refused connection counts as made here and
// shows in the handshake.
bool connection_made(Reader* reader, int fd)
{
    if (fd < 0 || !await_writable(reader, fd, tcp_limit_ms)) return false;
    int error = 0;
    socklen_t size = sizeof error;
    return sys::calls.getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0;
}

}  // namespace

void close_socket(Reader* reader)
{
    const int fd = reader->sServer;
    if (fd < 0 || !shut_link(reader)) return;
    sys::calls.shutdown(fd, SHUT_WR);
    sys::calls.close(fd);
    reader->sServer = -1;
}

int read_tcp(Reader* reader, u8* to)
{
    ssize_t count = -1;
    {
        const LinkUse link(reader);
        if (!link.usable()) return -1;
        const Wait wait = wait_for(reader, link.fd(), POLLIN, tcp_limit_ms);
        if (reader->keeping.link.is_shut()) return -1;
        if (wait != Wait::ready && wait != Wait::hung_up) return 0;
        // Another thread may have taken the bytes meanwhile: never block for them.
        do {
            count = sys::calls.recv(link.fd(), to, tcp_chunk, MSG_DONTWAIT);
        } while (count < 0 && errno == EINTR);
    }
    if (count <= 0) return 0;
    note_traffic(reader, Direction::received, to, static_cast<int>(count));
    return static_cast<int>(count);
}

int send_tcp(Reader* reader, u8* frame, unsigned count, Purpose purpose)
{
    const LinkUse link(reader);
    if (!link.usable()) return TAGWIRE_NO_ANSWER;
    clear_received(reader, purpose);
    if (count > longest_send) return TAGWIRE_NO_ANSWER;
    if (!await_writable(reader, link.fd(), tcp_limit_ms)) return TAGWIRE_NO_ANSWER;
    ssize_t sent = 0;
    for (int attempt = 0; attempt < send_attempts && sent <= 0; ++attempt)
        sent = sys::calls.send(link.fd(), frame, count, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent <= 0) return TAGWIRE_NO_ANSWER;
    note_traffic(reader, Direction::sent, frame, static_cast<int>(count));
    return TAGWIRE_OK;
}

}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_Open_Net(Reader* sthis, int Port, char* IPaddr)
{
    const int fd = sys::calls.socket();
    sthis->sServer = fd;
    open_link(sthis);
    // Only 0 counts as a failure here; -1 shows in the steps below.
    if (fd == 0) {
        std::perror("socket failed!");
        return TAGWIRE_NO_ANSWER;
    }

    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(Port));
    if (IPaddr == nullptr || inet_pton(AF_INET, IPaddr, &to.sin_addr) != 1) return TAGWIRE_NO_ANSWER;

    set_nonblocking(fd, 1);
    const bool at_once = sys::calls.connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    const bool connected = at_once || connection_made(sthis, fd);
    set_nonblocking(fd, 0);
    if (connected) return TAGWIRE_OK;
    close_socket(sthis);
    return TAGWIRE_NO_ANSWER;
}
