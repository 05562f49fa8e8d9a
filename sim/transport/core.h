// The thread behind a Simulator and everything it shares with the callers, all under one lock.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "control/timed_order.h"
#include "device/device.h"
#include "simulator.h"
#include "transport/connection.h"
#include "transport/faults.h"
#include "transport/timers.h"
#include "truth/field_watch.h"
#include "truth/truth.h"

namespace tagwire::sim {

struct ReaderState : public Wire {
    ReaderState(Core& owner, std::uint64_t id_, unsigned number_, const Scenario& scenario, Time now)
        : core(owner), id(id_), number(number_), origin(now), device(scenario, *this),
          field_watch(device, number_, now), events(scenario.events), chance(scenario.reader.seed),
          faults(scenario.reader.seed, &counters.faults)
    {
        for (const Fault& fault : scenario.reader.faults) faults.add(fault);
    }

    void send(ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind,
              std::vector<Heard> heard) override;
    void lose(ConnectionId to, FrameKind kind, const std::vector<Heard>& heard,
              std::string_view why) override;
    bool has_room(ConnectionId to) const override;
    std::vector<ConnectionId> peers() const override;

    Core& core;
    std::uint64_t id;
    unsigned number;  // in the order of their making, the first is 1
    Time origin;      // the device's time begins here
    Device device;
    FieldWatch field_watch;
    TimedOrders events;
    Random chance;  // of what orders leave to it
    Counters counters;
    Faults faults;
    std::deque<RecordedRequest> requests;
};

// Whoever asks for it gets it before the one that held it can take it again, so that a busy thread keeps
// nobody waiting.
class FairMutex {
  public:
    void lock()
    {
        const std::lock_guard<std::mutex> next(gate_);
        mutex_.lock();
    }
    void unlock() { mutex_.unlock(); }

  private:
    std::mutex gate_;
    std::mutex mutex_;
};

class Core {
  public:
    Core();
    ~Core();
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    std::unique_lock<FairMutex> lock() { return std::unique_lock<FairMutex>(mutex_); }
    // What happened under the lock may have moved an alarm or changed what others wait for.
    void touch();
    bool wait(const std::function<bool()>& condition, std::chrono::milliseconds timeout);

    // All that follows needs the lock.
    Time now() const;
    ReaderState& add_reader(const Scenario& scenario);
    std::uint16_t listen(ReaderState& reader, const std::string& address, std::uint16_t port);
    std::string open_pty(ReaderState& reader);
    void share(ReaderState& reader, const ReaderState& other);
    void stop_listening(ReaderState& reader);
    std::vector<ConnectionId> connections_of(const ReaderState& reader) const;
    void hang_up(const ReaderState& reader, ConnectionId connection);
    void send_raw(ReaderState& reader, ConnectionId connection, const Bytes& bytes);
    void set_trace(std::function<void(const TraceEvent&)> trace) { trace_ = std::move(trace); }
    void schedule(ReaderState& reader);
    // Lets the reader do what a change from outside brings about.
    void advance(ReaderState& reader);
    // From now on; nullptr ends what was recorded, which throws std::system_error when it is not complete.
    void record_truth(std::unique_ptr<Truth> truth);
    bool records_to(const std::string& path) const { return truth_ && truth_->is_at(path); }
    // Gives the answer; throws std::invalid_argument.
    std::string obey(ReaderState& reader, const std::string& words);

    void send(ReaderState& reader, ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind,
              std::vector<Heard> heard = {});
    void note_lost(const ReaderState& reader, ConnectionId to, FrameKind kind,
                   const std::vector<Heard>& heard, std::string_view why) const;
    bool has_room(ConnectionId to) const;

  private:
    void run();
    void arm();
    void handle_event(std::uint64_t id, std::uint32_t events);
    void run_timers();
    void run_events(ReaderState& reader);
    void finish_turn();

    void join(ReaderState& reader, Endpoint& endpoint);
    void reopen_pty(const std::shared_ptr<Endpoint>& endpoint);
    void try_later(Endpoint& endpoint);
    void try_again(const std::shared_ptr<Endpoint>& endpoint);
    void accept_all(const std::shared_ptr<Endpoint>& endpoint);
    void add_connection(std::unique_ptr<Connection> connection);
    void close_connection(ConnectionId id);
    void read_from(Connection& connection);
    void take_requests(Connection& connection);
    bool end_self_test(Connection& connection, const Bytes& bytes);
    void handle_request(Connection& connection, const Request& request);
    void count_noise(Connection& connection);
    void queue(Connection& connection, ReaderState& reader, const Struck& struck, FrameKind kind,
               std::vector<Heard> heard);
    void watch_field(ReaderState& reader) const;
    void write_to(Connection& connection);
    void count_written(Connection& connection, const std::vector<Output>& done);
    void watch(int descriptor, std::uint64_t id, std::uint32_t events, int operation);
    void schedule(Connection& connection);
    static bool hears(const Connection& connection, const ReaderState& reader);
    static bool serves(const Endpoint& endpoint, const ReaderState& reader);
    void tell(ConnectionId connection, const ReaderState& reader, bool to_reader, const Bytes& bytes) const;

    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    Descriptor poll_;
    Descriptor wake_;
    Descriptor alarm_;

    FairMutex mutex_;
    std::condition_variable_any changed_;
    bool stopping_ = false;
    std::uint64_t last_id_ = 0;
    Timers timers_;
    std::optional<Time> armed_;
    std::map<std::uint64_t, std::unique_ptr<ReaderState>> readers_;
    std::map<std::uint64_t, std::shared_ptr<Endpoint>> endpoints_;
    std::map<ConnectionId, std::unique_ptr<Connection>> connections_;
    PtyNames pty_names_;
    std::set<ConnectionId> to_write_;
    std::unique_ptr<Truth> truth_;
    std::function<void(const TraceEvent&)> trace_;
    std::thread thread_;
};

}  // namespace tagwire::sim
