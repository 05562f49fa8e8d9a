// One virtual reader as its protocol shows it: requests in, frames out. It has no clock and no transport of
// its own; whoever owns it hands in the time.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "device/active_mode.h"
#include "device/clock.h"
#include "device/panel.h"
#include "device/reading.h"
#include "device/services.h"
#include "device/settings.h"
#include "device/tag_store.h"
#include "field/other_tags.h"
#include "field/population.h"
#include "random.h"
#include "scenario/scenario.h"
#include "transport/wire.h"
#include "truth/heard.h"

namespace tagwire::sim {

enum class FrameKind { answer, report };

// Where a reader's frames go.
class Wire {
  public:
    virtual ~Wire() = default;
    // `lead` goes out before the frame and is no part of it. `heard` are the tags whose records the frame has.
    virtual void send(ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind,
                      std::vector<Heard> heard) = 0;
    // These would have been in a frame to that connection, or to nobody (0); why not is one of `loss`.
    virtual void lose(ConnectionId to, FrameKind kind, const std::vector<Heard>& heard,
                      std::string_view why) = 0;
    virtual bool has_room(ConnectionId to) const = 0;
    // Everyone who is connected to the reader.
    virtual std::vector<ConnectionId> peers() const = 0;
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
    // Ends without a word; why is one of `loss`.
    virtual void abandon(std::string_view) {}
    virtual ConnectionId owner() const = 0;
};

// How long a changed setting lasts.
enum class Lasting { stored, until_restart };

class Device {
  public:
    Device(const Scenario& scenario, Wire& wire);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    void receive(Time now, ConnectionId from, const Request& request);
    void advance(Time now);
    // When to call advance() next.
    std::optional<Time> next_event() const;
    void forget_connection(Time now, ConnectionId connection);

    // What the reader was made as, and its settings in force, which began there.
    const ReaderSettings& settings() const { return settings_; }
    const Settings& config() const { return config_; }
    std::uint8_t address() const { return config_.address; }
    // False, and nothing is changed, when a value is out of range.
    bool change(const std::function<void(Settings&)>& edit, Lasting lasting = Lasting::stored);
    void store_settings() { stored_ = config_; }
    // Whatever it does ends at once. Connections stay, and so do the settings that are stored.
    void restart(std::string_view why = loss::restart);
    // Settings and tables.
    void save_as_factory();
    void restore_factory();
    // Restarts, and is silent until it runs again.
    void reboot(Time now, std::string_view why = loss::restart);
    void cut_power(Time now);
    // Whether the bytes are the one byte that ends the self-test, which then is answered.
    bool end_self_test(ConnectionId from, const Bytes& bytes);

    void set_report_rate(double reports_per_second, Time now);  // of what it pushes unasked
    Reading& reading() { return reading_; }
    const Reading& reading() const { return reading_; }
    std::uint64_t refused_requests() const { return refused_requests_; }

    // For the handlers of commands.
    Population& field() { return field_; }
    const Population& field() const { return field_; }
    OtherTags& other_tags() { return other_tags_; }
    TagStore& store() { return store_; }
    Random& random() { return random_; }
    std::size_t choose(std::size_t count);  // which of so many tags answers a command that fits them all
    Wire& wire() { return wire_; }
    Panel& panel() { return panel_; }
    const Panel& panel() const { return panel_; }
    Clock& clock() { return clock_; }
    Services& services() { return services_; }
    const Services& services() const { return services_; }
    const std::vector<unsigned>& enabled_antennas() const { return config_.antennas; }
    std::vector<unsigned> plugged_antennas() const;  // of the enabled ones
    Radio& radio() { return field_.radio(); }
    const Radio& radio() const { return field_.radio(); }
    std::uint32_t frequency_khz() const { return radio().frequency_khz(now_); }  // at this moment
    void set_antenna(unsigned port, bool plugged) { radio().plug(port, plugged); }
    // Whether the tag is in the field of this antenna, if it is enabled, on the whole: see Radio::reaches().
    bool in_reach(const Tag& tag, unsigned port, Time now) const;
    Time now() const { return now_; }
    std::uint8_t writing_power(unsigned port) const;
    void signal_reading();  // by beeper and outputs
    std::uint8_t antenna_byte(unsigned port) const;
    std::uint8_t antenna_bytes(const std::vector<unsigned>& ports) const;
    void answer(const Call& call, std::uint8_t status, const Bytes& data = {}, std::vector<Heard> heard = {});
    void begin(std::unique_ptr<Job> job, Time now);
    void abort_job();
    bool is_busy() const { return job_ != nullptr; }

  private:
    struct Waiting {
        ConnectionId from;
        Request request;
    };

    void handle(Time now, ConnectionId from, const Request& request);
    void run_job(Time now);

    ReaderSettings settings_;
    Settings config_;
    Settings stored_;
    Settings factory_;
    Panel panel_;
    Clock clock_;
    Services services_;
    Time silent_until_{};
    Time now_{};
    Random random_;
    Population field_;
    OtherTags other_tags_;
    TagStore store_;
    Wire& wire_;
    Reading reading_;
    ActiveMode active_mode_;
    std::unique_ptr<Job> job_;
    Time job_due_{};
    std::deque<Waiting> waiting_;
    std::uint64_t refused_requests_ = 0;
};

}  // namespace tagwire::sim
