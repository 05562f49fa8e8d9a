#include "simulator.h"

#include <stdexcept>

#include "transport/core.h"

namespace tagwire::sim {

namespace {

// As it is at `now`, the simulator's time.
Sensor& sensor_of(ReaderState& state, std::size_t tag, Time now)
{
    Population& field = state.device.field();
    Sensor* const sensor = tag < field.size() ? field[tag].sensor() : nullptr;
    if (!sensor) throw std::out_of_range("the reader has no such sensor tag");
    sensor->advance(now - state.origin);
    return *sensor;
}

}  // namespace

Simulator::Simulator() : core_(std::make_unique<Core>()) {}

Simulator::~Simulator() = default;

Reader& Simulator::add_reader(const Scenario& scenario)
{
    scenario.check();
    const auto held = core_->lock();
    ReaderState& state = core_->add_reader(scenario);
    readers_.push_back(std::make_unique<Reader>(*core_, state));
    return *readers_.back();
}

void Simulator::record_truth(const std::string& path)
{
    const auto held = core_->lock();
    // To open it empties it.
    if (core_->records_to(path)) core_->record_truth(nullptr);
    core_->record_truth(std::make_unique<Truth>(path, core_->now()));
}

void Simulator::end_truth()
{
    const auto held = core_->lock();
    core_->record_truth(nullptr);
}

void Simulator::set_trace(std::function<void(const TraceEvent&)> trace)
{
    const auto held = core_->lock();
    core_->set_trace(std::move(trace));
}

std::uint8_t Reader::address() const
{
    const auto held = core_.lock();
    return state_.device.address();
}

std::uint16_t Reader::listen(const std::string& address, std::uint16_t port)
{
    const auto held = core_.lock();
    return core_.listen(state_, address, port);
}

std::string Reader::open_pty()
{
    const auto held = core_.lock();
    std::string path = core_.open_pty(state_);
    core_.touch();
    return path;
}

void Reader::share(const Reader& other)
{
    const auto held = core_.lock();
    core_.share(state_, other.state_);
    core_.touch();
}

void Reader::stop_listening()
{
    const auto held = core_.lock();
    core_.stop_listening(state_);
}

std::vector<ConnectionId> Reader::connections() const
{
    const auto held = core_.lock();
    return core_.connections_of(state_);
}

void Reader::hang_up(ConnectionId connection)
{
    const auto held = core_.lock();
    core_.hang_up(state_, connection);
    core_.touch();
}

bool Reader::wait_for_connection(std::uint64_t open, std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return state_.counters.open_connections >= open; }, timeout);
}

bool Reader::wait_for_disconnect(std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return state_.counters.open_connections == 0; }, timeout);
}

Counters Reader::counters() const
{
    const auto held = core_.lock();
    return state_.counters;
}

std::vector<RecordedRequest> Reader::requests() const
{
    const auto held = core_.lock();
    return {state_.requests.begin(), state_.requests.end()};
}

Bytes Reader::last_request() const
{
    const auto held = core_.lock();
    return state_.requests.empty() ? Bytes{} : state_.requests.back().frame;
}

void Reader::forget_requests()
{
    const auto held = core_.lock();
    state_.requests.clear();
}

bool Reader::wait_for_command(std::uint8_t code, std::uint64_t count, std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return state_.counters.commands[code] >= count; }, timeout);
}

bool Reader::wait_until(const std::function<bool(const Counters&)>& condition,
                        std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return condition(state_.counters); }, timeout);
}

std::size_t Reader::tag_count() const
{
    const auto held = core_.lock();
    return state_.device.field().size();
}

std::optional<std::size_t> Reader::find_tag(const Bytes& epc) const
{
    const auto held = core_.lock();
    return state_.device.field().find(epc, core_.now() - state_.origin);
}

Bytes Reader::tag_memory(std::size_t tag, Bank bank) const
{
    const auto held = core_.lock();
    return state_.device.field().at(tag).stored(bank);
}

TagState Reader::tag_state(std::size_t tag) const
{
    const auto held = core_.lock();
    return state_.device.field().at(tag).state();
}

OtherTags Reader::other_tags() const
{
    const auto held = core_.lock();
    return state_.device.other_tags();
}

SensorState Reader::sensor(std::size_t tag) const
{
    const auto held = core_.lock();
    return sensor_of(state_, tag, core_.now()).state();
}

void Reader::set_temperature(std::size_t tag, double degrees)
{
    if (!(degrees >= lowest_temperature) || degrees > highest_temperature)
        throw std::out_of_range("a sensor measures temperatures from -40 to 150 degrees");
    const auto held = core_.lock();
    sensor_of(state_, tag, core_.now()).set_temperature(degrees);
}

void Reader::set_alarm(std::size_t tag, bool raised)
{
    const auto held = core_.lock();
    sensor_of(state_, tag, core_.now()).set_alarm(raised);
}

Settings Reader::settings() const
{
    const auto held = core_.lock();
    return state_.device.config();
}

bool Reader::wait_for_settings(const std::function<bool(const Settings&)>& condition,
                               std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return condition(state_.device.config()); }, timeout);
}

void Reader::restart()
{
    const auto held = core_.lock();
    state_.device.restart();
    core_.advance(state_);
}

void Reader::restore_factory()
{
    const auto held = core_.lock();
    state_.device.restore_factory();
    core_.advance(state_);
}

PanelState Reader::panel() const
{
    const auto held = core_.lock();
    return state_.device.panel().state(core_.now() - state_.origin);
}

bool Reader::wait_for_panel(const std::function<bool(const PanelState&)>& condition,
                            std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return condition(state_.device.panel().state(core_.now() - state_.origin)); },
                      timeout);
}

void Reader::set_input(unsigned line, bool high)
{
    if (line < 1 || line > io_lines) throw std::out_of_range("the reader has no such input");
    const auto held = core_.lock();
    state_.device.panel().set_input(line, high, core_.now() - state_.origin);
    core_.advance(state_);
}

NetworkSettings Reader::network() const
{
    const auto held = core_.lock();
    return state_.device.services().network;
}

RemoteServer Reader::remote_server() const
{
    const auto held = core_.lock();
    return state_.device.services().server;
}

ModemState Reader::modem() const
{
    const auto held = core_.lock();
    return state_.device.services().modem.state();
}

FirmwareState Reader::firmware() const
{
    const auto held = core_.lock();
    return state_.device.services().firmware.state();
}

bool Reader::wait_for_firmware(const std::function<bool(const FirmwareState&)>& condition,
                               std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return condition(state_.device.services().firmware.state()); }, timeout);
}

void Reader::cut_power()
{
    const auto held = core_.lock();
    state_.device.cut_power(core_.now() - state_.origin);
    core_.schedule(state_);
    core_.touch();
}

Bytes Reader::table(std::uint8_t number) const
{
    const auto held = core_.lock();
    return state_.device.services().tables.table(number);
}

void Reader::set_table(std::uint8_t number, const Bytes& table)
{
    if (table.size() > longest_table) throw std::length_error("a parameter table has at most 65535 bytes");
    const auto held = core_.lock();
    state_.device.services().tables.set(number, table);
}

std::string Reader::control(const std::string& words)
{
    const auto held = core_.lock();
    return core_.obey(state_, words);
}

void Reader::inject(const Fault& fault)
{
    const auto held = core_.lock();
    state_.faults.add(fault);
}

void Reader::clear_faults()
{
    const auto held = core_.lock();
    state_.faults.clear();
}

bool Reader::is_reading() const
{
    const auto held = core_.lock();
    return state_.device.reading().is_running();
}

bool Reader::wait_for_reading(bool running, std::chrono::milliseconds timeout) const
{
    return core_.wait([&] { return state_.device.reading().is_running() == running; }, timeout);
}

void Reader::set_report_rate(double reports_per_second)
{
    const auto held = core_.lock();
    state_.device.set_report_rate(reports_per_second, core_.now() - state_.origin);
    core_.schedule(state_);
    core_.touch();
}

void Reader::set_start_gap(Time gap)
{
    const auto held = core_.lock();
    state_.device.reading().set_start_gap(gap);
}

void Reader::set_batch(std::optional<std::uint64_t> reports)
{
    const auto held = core_.lock();
    state_.device.reading().set_batch(reports, core_.now() - state_.origin);
    core_.schedule(state_);
    core_.touch();
}

void Reader::push_reports(std::uint64_t reports)
{
    const auto held = core_.lock();
    state_.device.reading().push(reports, core_.now() - state_.origin);
    core_.schedule(state_);
    core_.touch();
}

bool Reader::wait_for_batch(std::chrono::milliseconds timeout) const
{
    return core_.wait(
        [&] { return state_.device.reading().reports_left() == 0 && state_.counters.reports_queued == 0; },
        timeout);
}

void Reader::push_error_report(std::uint8_t status)
{
    const auto held = core_.lock();
    const Bytes frame = make_answer(state_.device.address(), report_command, status);
    for (const ConnectionId id : core_.connections_of(state_)) {
        core_.send(state_, id, {}, frame, FrameKind::report);
    }
    core_.touch();
}

void Reader::send_raw(const Bytes& bytes, ConnectionId connection)
{
    const auto held = core_.lock();
    core_.send_raw(state_, connection, bytes);
    core_.touch();
}

}  // namespace tagwire::sim
