// What the faults of a reader do to what it sends.
#pragma once

#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "device/device.h"
#include "random.h"
#include "scenario/fault.h"

namespace tagwire::sim {

// A piece of what goes out for a frame.
struct Piece {
    Bytes bytes;
    Time wait{};  // since the piece before
};

struct Struck {
    std::vector<Piece> pieces;                  // none: the frame is lost
    bool hang_up = false;                       // behind the last piece
    std::optional<Fault::Kind> destroyed_by{};  // what has made it something else than the frame
};

// The faults of one reader. Of several of a kind that would strike the same frame, the oldest does.
class Faults {
  public:
    explicit Faults(std::uint64_t seed = 1, FaultCounts* struck = nullptr) : random_(seed), struck_(struck) {}

    void add(Fault fault) { faults_.push_back(std::move(fault)); }
    void clear() { faults_.clear(); }
    std::size_t size() const { return faults_.size(); }
    void set_time(Time now) { now_ = now; }  // since the reader's start

    Struck strike(ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind);
    bool silences(ConnectionId from, const Request& request);
    bool cuts_power(ConnectionId from, const Request& request);
    std::optional<std::uint8_t> error_for(ConnectionId from, const Request& request);

  private:
    std::optional<Fault> take(Fault::Kind kind, ConnectionId connection, std::uint8_t command,
                              FrameKind frame);

    std::deque<Fault> faults_;
    Random random_;
    FaultCounts* struck_;
    Time now_{};
};

}  // namespace tagwire::sim
