// Use of a Reader's link: entering its descriptor, waiting on it, closing it.
#pragma once

#include "reader/reader.h"

namespace tagwire {

inline constexpr int serial_link = 0;
inline constexpr int tcp_link = 1;

// A send clears this much of the receive buffer.
inline constexpr int cleared_by_send = 8000;

// The descriptor of the link for the length of a scope: as long as it lives, a close waits.
class LinkUse {
  public:
    explicit LinkUse(Reader* reader)
        : passage_(reader->keeping.link),
          fd_(passage_ ? (reader->m_type == tcp_link ? reader->sServer : reader->hCommPort).load() : -1)
    {}
    int fd() const { return fd_; }
    bool usable() const { return fd_ >= 0; }

  private:
    Passage passage_;
    int fd_;
};

inline bool known_link(const Reader* reader)
{
    return reader->m_type == serial_link || reader->m_type == tcp_link;
}

// A known link type with a descriptor.
bool link_usable(const Reader* reader);

// Hung up: ready, but the other side is gone; bytes may be left to read.
enum class Wait { ready, hung_up, timeout, woken, failed };

// Waits until the descriptor is ready for `events` (POLLIN or POLLOUT), the Reader is woken, or the limit has
// passed. Interruptions by signals do not count.
Wait wait_for(Reader* reader, int fd, short events, int limit_ms);

// Waits until the descriptor takes output; a wake ends this only when the link is being shut.
bool await_writable(Reader* reader, int fd, int limit_ms);

// The pause of a receive loop: until input is there, the Reader is woken, or the limit has passed. A
// descriptor that is ready without having input (a peer that hung up) does not shorten it.
void pause_for_input(Reader* reader, int limit_ms);

// The pause of a loop without a time limit of its own: long while the link is quiet, short where it cannot
// tell.
void rest_until_input(Reader* reader);

// No use of the link's descriptor from now on: wakes whoever waits on it and returns when all are out. The
// caller closes the descriptor. False when it was shut already. open_link() lets users in again.
bool shut_link(Reader* reader);
void open_link(Reader* reader);

// Shuts the link, ends its sending side and closes its socket; sServer is -1 afterwards.
void close_socket(Reader* reader);

// Shuts the link and closes its serial device, whose number stays in hCommPort. False when it was closed
// already.
bool close_port(Reader* reader);

// The receive buffer and its count, as every send leaves them, unless another thread's command is using them.
void clear_received(Reader* reader);

// The two halves of a channel.
int read_serial(Reader* reader, u8* to);
int read_tcp(Reader* reader, u8* to);
int send_serial(Reader* reader, u8* frame, unsigned count);
int send_tcp(Reader* reader, u8* frame, unsigned count);
int send_stop_serial(Reader* reader, u8* frame, unsigned count);

}  // namespace tagwire
