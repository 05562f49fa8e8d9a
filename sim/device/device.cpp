#include "device/device.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include "commands/codes.h"
#include "commands/dispatch.h"

namespace tagwire::sim {

namespace {

constexpr Time job_step = std::chrono::milliseconds(1);
constexpr std::size_t most_waiting = 64;

}  // namespace

Device::Device(const Scenario& scenario, Wire& wire)
    : settings_(scenario.reader), config_(factory_settings(scenario.reader)), stored_(config_),
      factory_(config_), services_(scenario.services, settings_.firmware), random_(settings_.seed),
      field_(scenario, config_), other_tags_(scenario), store_(settings_.buffer_size), wire_(wire),
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
    if (now < silent_until_) return;
    const Call call{now, from, request};
    if (const Handler handler = handler_for(request)) {
        handler(*this, call);
        return;
    }
    answer(call, status::unknown_command);
}

void Device::advance(Time now)
{
    now_ = std::max(now_, now);
    run_job(now);
    while (!job_ && !waiting_.empty()) {
        const Waiting next = std::move(waiting_.front());
        waiting_.pop_front();
        handle(now, next.from, next.request);
        run_job(now);
    }
    if (job_ || now < silent_until_) return;
    reading_.advance(*this, now);
    if (!reading_.is_running()) active_mode_.advance(*this, now);
}

std::optional<Time> Device::next_event() const
{
    if (job_) return job_due_;
    const auto next = reading_.is_running() ? reading_.next_event() : active_mode_.next_event(*this);
    return next ? std::optional<Time>(std::max(*next, silent_until_)) : std::nullopt;
}

void Device::set_report_rate(double reports_per_second, Time now)
{
    reading_.set_rate(reports_per_second, now);
    active_mode_.change_rate(*this, now);
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

bool Device::change(const std::function<void(Settings&)>& edit, Lasting lasting)
{
    Settings changed = config_;
    edit(changed);
    if (!may_change(config_, changed, settings_)) return false;
    config_ = std::move(changed);
    if (lasting == Lasting::stored) edit(stored_);
    return true;
}

void Device::restart(std::string_view why)
{
    if (job_) job_->abandon(why);
    job_.reset();
    waiting_.clear();
    config_ = stored_;
    reading_.stop(*this);
    active_mode_.stop(*this);
    panel_.restart();
    services_.restart();
    field_.lose_power();
    std::vector<unsigned> ports(settings_.antennas);
    std::iota(ports.begin(), ports.end(), 1U);
    field_.selection().clear(ports);
    store_ = TagStore(settings_.buffer_size);
}

void Device::save_as_factory()
{
    services_.tables.save_as_factory();
    factory_ = config_;
}

void Device::restore_factory()
{
    services_.tables.restore_factory();
    stored_ = factory_;
    restart();
}

void Device::reboot(Time now, std::string_view why)
{
    restart(why);
    silent_until_ = now + services_.firmware.settings().boot;
}

void Device::cut_power(Time now)
{
    services_.firmware.note_power_loss();
    reboot(now, loss::no_power);
}

bool Device::end_self_test(ConnectionId from, const Bytes& bytes)
{
    if (!panel_.self_test() || bytes != Bytes{command::end_self_test}) return false;
    panel_.set_self_test(false);
    wire_.send(from, {}, make_answer(address(), command::end_self_test, status::success), FrameKind::answer,
               {});
    return true;
}

std::size_t Device::choose(std::size_t count)
{
    const bool is_choice = settings_.by_chance && count > 1;
    return is_choice ? random_.below(static_cast<std::uint32_t>(count)) : 0;
}

std::vector<unsigned> Device::plugged_antennas() const
{
    std::vector<unsigned> ports;
    std::copy_if(config_.antennas.begin(), config_.antennas.end(), std::back_inserter(ports),
                 [this](unsigned port) { return radio().is_plugged(port); });
    return ports;
}

bool Device::in_reach(const Tag& tag, unsigned port, Time now) const
{
    const auto& ports = config_.antennas;
    return tag.is_in_field(now) && std::find(ports.begin(), ports.end(), port) != ports.end() &&
           radio().reaches(port, tag, now);
}

std::uint8_t Device::writing_power(unsigned port) const
{
    return config_.writing_power.value_or(config_.power[port - 1]);
}

void Device::signal_reading()
{
    if (config_.beep != 0) panel_.beep(1);
    if (config_.pulse_output != 0) panel_.pulse();
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

void Device::answer(const Call& call, std::uint8_t status, const Bytes& data, std::vector<Heard> heard)
{
    wire_.send(call.from, {}, make_answer(address(), call.request.command, status, data), FrameKind::answer,
               std::move(heard));
}

}  // namespace tagwire::sim
