// Use of the descriptor of a Reader's link: entering it, waiting on it, shutting it.
#pragma once

#include "reader/reader.h"

namespace tagwire::engine {

inline constexpr int serial_link = 0;
inline constexpr int tcp_link = 1;

inline bool known_link(const Reader* reader)
{
    return reader->m_type == serial_link || reader->m_type == tcp_link;
}

// A known link type with a descriptor.
bool link_usable(const Reader* reader);

// The descriptor for the length of a scope: as long as it lives, a close waits.
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

// No use of the descriptor from now on: wakes whoever waits on it and returns when all are out. The caller
// closes the descriptor. False when it was shut already. open_link() lets users in again.
bool shut_link(Reader* reader);
void open_link(Reader* reader);

// Hung up: ready, but the other side is gone; bytes may be left to read.
enum class Wait { ready, hung_up, timeout, woken, failed };

// Waits until the descriptor is ready for `events` (POLLIN or POLLOUT), the Reader is woken, or the limit has
// passed. Interruptions by signals do not count.
Wait wait_for(Reader* reader, int fd, short events, int limit_ms);

// Waits until the descriptor takes output; a wake ends this only when the link is being shut.
bool await_writable(Reader* reader, int fd, int limit_ms);

// The pause of a receive loop: until input is there, the Reader is woken, or the limit has passed. What is
// ready without having input (a peer that hung up) does not shorten it.
// True when input is there.
bool pause_for_input(Reader* reader, int limit_ms);

// The pauses of a receive loop behind a read of `count` bytes: none behind one that ended with input.
inline void pause_behind_read(Reader* reader, int count, int idle_limit_ms, int limit_ms)
{
    if (count == 0 && pause_for_input(reader, idle_limit_ms)) return;
    pause_for_input(reader, limit_ms);
}

// The pause of the worker, which has no time limit to look at: long on a quiet link, and until the worker is
// woken on one that can bring nothing any more.
void rest_until_input(Reader* reader);

}  // namespace tagwire::engine
