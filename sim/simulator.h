// Virtual readers on TCP ports and pseudo terminals of this machine.
//
// A Simulator owns one thread that does all input and output of all its readers. Every function here may be
// called from any thread. Waits return false when the time is over; 10 seconds if none is given.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bytes.h"
#include "device/firmware.h"
#include "device/modem.h"
#include "device/panel.h"
#include "device/settings.h"
#include "field/sensor_tags.h"
#include "field/tag.h"
#include "scenario/fault.h"
#include "scenario/scenario.h"

namespace tagwire::sim {

inline constexpr std::chrono::milliseconds long_wait{10000};

// What a reader has seen and done since it was made. On a bus, every reader hears all bytes.
struct Counters {
    std::array<std::uint64_t, 256> commands{};  // requests to this reader, by command code
    std::uint64_t requests = 0;
    std::uint64_t requests_refused = 0;  // came while too many were waiting for a running inventory
    std::uint64_t bytes_received = 0;
    std::uint64_t bad_frames = 0;     // runs of received bytes that belong to no good frame
    std::uint64_t skipped_bytes = 0;  // in these
    std::uint64_t garbled_bytes = 0;  // came at another speed than the reader's
    std::uint64_t frames_sent = 0;    // handed to the system to the last byte, reports included
    std::uint64_t reports_sent = 0;
    std::uint64_t bytes_sent = 0;
    std::uint64_t reports_dropped = 0;  // because the peer reads too slowly
    std::uint64_t reports_queued = 0;   // not handed to the system yet
    std::uint64_t connections = 0;      // ever; a pseudo terminal is one from its opening on
    std::uint64_t open_connections = 0;
    std::uint64_t had_to_wait = 0;                // times that the process had no descriptor for who came
    FaultCounts faults{};                         // frames and requests that were struck, by Fault::Kind
    std::map<std::string, std::uint64_t> orders;  // that were carried out, by their first word
    std::uint64_t orders_refused = 0;
};

struct RecordedRequest {
    ConnectionId connection = 0;
    std::uint8_t command = 0;
    Bytes frame;  // Len byte to CRC
    Time at{};    // since the simulator's start
};

struct TraceEvent {
    Time at{};
    ConnectionId connection = 0;
    std::uint8_t address = 0;  // of the reader
    bool to_reader = false;
    Bytes bytes;
};

class Core;
struct OtherTags;
struct ReaderState;

class Reader {
  public:
    Reader(Core& core, ReaderState& state) : core_(core), state_(state) {}
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    std::uint8_t address() const;

    // Where it is reached. All throw std::system_error when the system refuses, std::invalid_argument for an
    // address that is none. A reader may have several places; readers at the same place form a bus.
    //
    // Port 0 lets the system choose. At a place where a reader of this simulator listens already, it joins
    // it.
    std::uint16_t listen(const std::string& address = "127.0.0.1", std::uint16_t port = 0);
    // Gives the name of the host's side. After a hang-up it leads to a new terminal.
    std::string open_pty();
    void share(const Reader& other);  // all places of the other
    void stop_listening();            // connections stay, but a terminal that is hung up stays away

    // Connections
    std::vector<ConnectionId> connections() const;
    void hang_up(ConnectionId connection = 0);  // 0: all
    bool wait_for_connection(std::uint64_t open = 1, std::chrono::milliseconds timeout = long_wait) const;
    bool wait_for_disconnect(std::chrono::milliseconds timeout = long_wait) const;  // until none is open

    // Observing
    Counters counters() const;
    std::vector<RecordedRequest> requests() const;  // the latest 65536
    Bytes last_request() const;                     // empty when there was none
    void forget_requests();                         // the counters stay
    // Until so many have come since the reader was made.
    bool wait_for_command(std::uint8_t code, std::uint64_t count = 1,
                          std::chrono::milliseconds timeout = long_wait) const;
    bool wait_until(const std::function<bool(const Counters&)>& condition,
                    std::chrono::milliseconds timeout = long_wait) const;

    // The Gen2 tags as they are now, in the order of the scenario; std::out_of_range for one that is none.
    std::size_t tag_count() const;
    std::optional<std::size_t> find_tag(const Bytes& epc) const;  // that shows this EPC now and has not left
    Bytes tag_memory(std::size_t tag, Bank bank) const;           // all of it, hidden or not
    TagState tag_state(std::size_t tag) const;
    OtherTags other_tags() const;  // as they are now

    // The sensors of these tags; std::out_of_range for a tag without one or a temperature that none measures.
    SensorState sensor(std::size_t tag) const;
    void set_temperature(std::size_t tag, double degrees);
    void set_alarm(std::size_t tag, bool raised);

    // Settings as they are in force now
    Settings settings() const;
    bool wait_for_settings(const std::function<bool(const Settings&)>& condition,
                           std::chrono::milliseconds timeout = long_wait) const;
    void restart();          // connections and stored settings stay
    void restore_factory();  // as the scenario made it or a host saved it

    // Network, modem, firmware, parameter tables
    NetworkSettings network() const;
    RemoteServer remote_server() const;
    ModemState modem() const;
    FirmwareState firmware() const;
    bool wait_for_firmware(const std::function<bool(const FirmwareState&)>& condition,
                           std::chrono::milliseconds timeout = long_wait) const;
    void cut_power();  // for a moment: connections stay, but the reader boots
    Bytes table(std::uint8_t number) const;
    void set_table(std::uint8_t number, const Bytes& table);  // std::length_error above 65535 bytes

    // Inputs, outputs, relays and beeper
    PanelState panel() const;
    bool wait_for_panel(const std::function<bool(const PanelState&)>& condition,
                        std::chrono::milliseconds timeout = long_wait) const;
    void set_input(unsigned line, bool high);  // the first is 1; std::out_of_range for one that is none

    // What else can happen to it, as text: see "Rehearsing the field" in README.md. Gives the answer; throws
    // std::invalid_argument, which says what is allowed, for words that are not understood or cannot be done now.
    std::string control(const std::string& words);

    // Faults
    void inject(const Fault& fault);
    void clear_faults();

    // Continuous reading
    bool is_reading() const;
    bool wait_for_reading(bool running = true, std::chrono::milliseconds timeout = long_wait) const;
    void set_report_rate(double reports_per_second);
    void set_start_gap(Time gap);
    // Every start pushes exactly so many reports, then falls quiet; commands are answered all the same. When
    // it reads already, the batch begins now. Without a number it reads freely again. The reports of a batch
    // are never dropped: the reader waits for a slow peer.
    void set_batch(std::optional<std::uint64_t> reports);
    void push_reports(std::uint64_t reports);  // so many more
    // Until all reports of the batch are handed to the system (a batch set before the start waits for it).
    bool wait_for_batch(std::chrono::milliseconds timeout = long_wait) const;
    void push_error_report(std::uint8_t status);

    // Bytes as they are, to one connection or to all.
    void send_raw(const Bytes& bytes, ConnectionId connection = 0);

  private:
    Core& core_;
    ReaderState& state_;
};

class Simulator {
  public:
    Simulator();
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // The reader lives as long as the simulator. Throws ScenarioError. The scenario's time begins here.
    Reader& add_reader(const Scenario& scenario = {});
    Reader& add_reader_from_file(const std::string& path) { return add_reader(Scenario::from_file(path)); }
    Reader& add_reader_from_text(const std::string& toml) { return add_reader(Scenario::from_text(toml)); }

    // Writes what really happens to a file: see "Rehearsing the field" in README.md. What is recorded already ends.
    // Throws std::system_error when the file cannot be written.
    void record_truth(const std::string& path);
    void end_truth();  // throws std::system_error when not all is in the file

    // Called for all bytes that come and go, from the simulator's thread; must not call the simulator.
    void set_trace(std::function<void(const TraceEvent&)> trace);

  private:
    std::unique_ptr<Core> core_;
    std::vector<std::unique_ptr<Reader>> readers_;
};

}  // namespace tagwire::sim
