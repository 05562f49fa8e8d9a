#include "device.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "commands/dispatch.h"

namespace tagwire::sim {

namespace {

constexpr Time job_step = std::chrono::milliseconds(1);
constexpr std::size_t most_waiting = 64;

}  // namespace

Device::Device(const Scenario& scenario, Wire& wire)
    : settings_(scenario.reader), field_(scenario), random_(settings_.seed), wire_(wire),
      reading_(settings_.report_rate, settings_.start_gap)
{}

void Device::receive(Time now, ConnectionId from, const Request& request)
{
    advance(now);
    if (!job_ || acts_at_once(request)) {
        handle(now, from, request);
        advance(now);
        return;
    }
    if (waiting_.size() >= most_waiting) {
        ++refused_requests_;
        return;
    }
    waiting_.push_back({from, request});
}

void Device::handle(Time now, ConnectionId from, const Request& request)
{
    const Call call{now, from, request};
    if (const Handler handler = handler_for(request.command)) {
        handler(*this, call);
        return;
    }
    answer(call, status::unknown_command);
}

void Device::advance(Time now)
{
    run_job(now);
    while (!job_ && !waiting_.empty()) {
        const Waiting next = std::move(waiting_.front());
        waiting_.pop_front();
        handle(now, next.from, next.request);
        run_job(now);
    }
    if (!job_) reading_.advance(*this, now);
}

std::optional<Time> Device::next_event() const
{
    if (job_) return job_due_;
    return reading_.next_event();
}

void Device::run_job(Time now)
{
    if (!job_) return;
    if (job_->advance(now)) {
        job_.reset();
        return;
    }
    job_due_ = now + job_step;
}

void Device::begin(std::unique_ptr<Job> job, Time now)
{
    job_ = std::move(job);
    run_job(now);
}

void Device::abort_job()
{
    if (!job_) return;
    job_->abort();
    job_.reset();
}

void Device::forget_connection(Time now, ConnectionId connection)
{
    std::erase_if(waiting_, [connection](const Waiting& waiting) { return waiting.from == connection; });
    if (reading_.owner() == connection) reading_.stop(*this);
    if (job_ && job_->owner() == connection) abort_job();
    advance(now);
}

std::vector<unsigned> Device::enabled_antennas() const
{
    if (!settings_.enabled_antennas.empty()) return settings_.enabled_antennas;
    std::vector<unsigned> ports(settings_.antennas);
    std::iota(ports.begin(), ports.end(), 1U);
    return ports;
}

std::uint8_t Device::antenna_byte(unsigned port) const
{
    if (settings_.antenna_byte == AntennaByte::number) return static_cast<std::uint8_t>(port);
    return port <= 8 ? static_cast<std::uint8_t>(1U << (port - 1)) : std::uint8_t{0};
}

std::uint8_t Device::antenna_bytes(const std::vector<unsigned>& ports) const
{
    if (settings_.antenna_byte == AntennaByte::number) return static_cast<std::uint8_t>(ports.size());
    std::uint8_t mask = 0;
    for (const unsigned port : ports) mask = static_cast<std::uint8_t>(mask | antenna_byte(port));
    return mask;
}

void Device::answer(const Call& call, std::uint8_t status, const Bytes& data)
{
    wire_.send(call.from, {}, make_answer(settings_.address, call.request.command, status, data),
               FrameKind::answer);
}

}  // namespace tagwire::sim
