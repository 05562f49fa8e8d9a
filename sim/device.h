// One virtual reader as its protocol shows it: requests in, frames out. It has no clock and no transport of
// its own; whoever owns it hands in the time.
#pragma once

#include <deque>
#include <memory>
#include <optional>

#include "population.h"
#include "random.h"
#include "reading.h"
#include "scenario.h"
#include "wire.h"

namespace tagwire::sim {

enum class FrameKind { answer, report };

// Where a reader's frames go.
class Wire {
  public:
    virtual ~Wire() = default;
    // `lead` goes out before the frame and is no part of it.
    virtual void send(ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind) = 0;
    virtual bool has_room(ConnectionId to) const = 0;
};

// A request on its way through the reader.
struct Call {
    Time now{};
    ConnectionId from = 0;
    const Request& request;

    const Bytes& data() const { return request.data; }
};

// Something that keeps the reader busy; requests wait until it is over.
class Job {
  public:
    virtual ~Job() = default;
    // Does what is due until `now`; true when the job is over.
    virtual bool advance(Time now) = 0;
    virtual void abort() = 0;
    virtual ConnectionId owner() const = 0;
};

class Device {
  public:
    Device(const Scenario& scenario, Wire& wire);

    void receive(Time now, ConnectionId from, const Request& request);
    void advance(Time now);
    // When to call advance() next.
    std::optional<Time> next_event() const;
    void forget_connection(Time now, ConnectionId connection);

    const ReaderSettings& settings() const { return settings_; }
    std::uint8_t address() const { return settings_.address; }
    Reading& reading() { return reading_; }
    const Reading& reading() const { return reading_; }
    std::uint64_t refused_requests() const { return refused_requests_; }

    // For the handlers of commands.
    Population& field() { return field_; }
    Random& random() { return random_; }
    Wire& wire() { return wire_; }
    std::vector<unsigned> enabled_antennas() const;
    std::uint8_t antenna_byte(unsigned port) const;
    std::uint8_t antenna_bytes(const std::vector<unsigned>& ports) const;
    void answer(const Call& call, std::uint8_t status, const Bytes& data = {});
    void begin(std::unique_ptr<Job> job, Time now);
    void abort_job();

  private:
    struct Waiting {
        ConnectionId from;
        Request request;
    };

    void handle(Time now, ConnectionId from, const Request& request);
    void run_job(Time now);

    ReaderSettings settings_;
    Population field_;
    Random random_;
    Wire& wire_;
    Reading reading_;
    std::unique_ptr<Job> job_;
    Time job_due_{};
    std::deque<Waiting> waiting_;
    std::uint64_t refused_requests_ = 0;
};

}  // namespace tagwire::sim
