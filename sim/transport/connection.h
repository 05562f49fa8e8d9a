// One connection: requests come in through a parser, what goes out waits in a queue for its time and for the
// peer.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "device/device.h"
#include "scenario/fault.h"
#include "transport/descriptor.h"
#include "transport/wire.h"

namespace tagwire::sim {

struct ReaderState;

// A place at which one reader, or a bus of several, is reached.
struct Endpoint {
    std::uint64_t id = 0;
    Descriptor listener;  // none for a pseudo terminal
    std::string address;
    std::uint16_t port = 0;
    std::string pty_name;      // empty for TCP
    bool has_to_wait = false;  // the system had no descriptor for who came, or for a new pseudo terminal
    std::vector<ReaderState*> readers;
};

struct Output {
    Bytes bytes;
    Time not_before{};
    ReaderState* reader = nullptr;
    FrameKind kind = FrameKind::answer;
    bool ends_frame = false;
    bool hang_up = false;        // once it is out
    std::vector<Heard> heard{};  // the tags of the frame that it ends
    std::optional<Fault::Kind> destroyed_by{};
};

class Connection {
  public:
    static constexpr std::size_t report_limit = 4U << 20U;   // bytes queued, beyond which reports are dropped
    static constexpr std::size_t batch_limit = 64U << 10U;   // beyond which a batch waits
    static constexpr std::size_t answer_limit = 64U << 20U;  // beyond which the peer is given up

    Connection(ConnectionId id, std::shared_ptr<Endpoint> endpoint, Descriptor descriptor);
    Connection(ConnectionId id, std::shared_ptr<Endpoint> endpoint, PtyPair pty);

    ConnectionId id() const { return id_; }
    Endpoint& endpoint() { return *endpoint_; }
    const std::shared_ptr<Endpoint>& shared_endpoint() const { return endpoint_; }
    int descriptor() const { return descriptor_.get(); }
    bool is_pty() const { return static_cast<bool>(slave_); }
    unsigned line_speed() const { return sim::line_speed(slave_); }  // of a pseudo terminal, bits a second
    RequestParser& parser() { return parser_; }

    enum class Input { bytes, nothing, ended, broken };
    Input read(Bytes& into);

    void queue(Time now, Time wait, Output output);
    std::size_t queued_bytes() const { return queued_bytes_; }
    const std::deque<Output>& queued() const { return queue_; }

    // Hands what is due to the system; the outputs that are through are moved to `done`. False when the
    // connection is over.
    bool write(Time now, std::vector<Output>& done);
    bool wants_to_write(Time now) const { return !queue_.empty() && queue_.front().not_before <= now; }
    std::optional<Time> next_event() const;

  private:
    std::size_t write_some(Time now);

    ConnectionId id_;
    std::shared_ptr<Endpoint> endpoint_;
    Descriptor descriptor_;
    Descriptor slave_;
    RequestParser parser_;
    std::deque<Output> queue_;
    std::size_t front_written_ = 0;
    std::size_t queued_bytes_ = 0;
    Time last_due_{};

  public:
    bool watched_for_writing = false;
    bool closing = false;  // the peer sends no more; over when the queue is empty
    std::uint64_t bad_frames_seen = 0;
    std::uint64_t skipped_bytes_seen = 0;
};

}  // namespace tagwire::sim
