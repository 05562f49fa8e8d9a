#include "simulator.h"

#include "transport/core.h"

namespace tagwire::sim {

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
    state_.device.reading().set_rate(reports_per_second, core_.now() - state_.origin);
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
