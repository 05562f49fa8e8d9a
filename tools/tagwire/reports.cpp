#include "reports.h"

#include "errors.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tagwire/connection.h"

namespace tagwire::tool {

namespace {

struct Sinks {
    std::mutex mutex;
    std::map<int, ReportSubscription::Sink> by_handle;
};

// Never destroyed: a reading thread may still be inside the callback while the process ends.
Sinks& sinks()
{
    static auto& all = *new Sinks;
    return all;
}

// The library knows no exceptions: running out of memory in a sink ends the program here.
void deliver(RFIDTagStruct report, int kind) noexcept
{
    auto& all = sinks();
    const std::lock_guard lock(all.mutex);
    const auto found = all.by_handle.find(report->FrmHandle);
    if (found != all.by_handle.end()) found->second(*report, kind);
}

}  // namespace

Moment Moment::now() { return {std::chrono::steady_clock::now(), std::chrono::system_clock::now()}; }

ReportSubscription::ReportSubscription(int handle, Delivery delivery, Sink sink) : handle_(handle)
{
    {
        auto& all = sinks();
        const std::lock_guard lock(all.mutex);
        all.by_handle[handle] = std::move(sink);
    }
    InitRFIDCallBack(deliver, delivery == Delivery::ReportsOnly, handle);
}

ReportSubscription::~ReportSubscription()
{
    auto& all = sinks();
    const std::lock_guard lock(all.mutex);
    all.by_handle.erase(handle_);
}

ReportQueue::ReportQueue(std::size_t capacity)
    : capacity_(capacity), event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (event_ < 0) throw Failure(fmt::format("no event descriptor: {}", std::strerror(errno)));
}

ReportQueue::~ReportQueue() { close(event_); }

void ReportQueue::push(const RFIDTag& report, int kind) noexcept
{
    const std::lock_guard lock(mutex_);
    if (waiting_.size() >= capacity_) {
        ++dropped_;
        return;
    }
    try {
        waiting_.push_back({record_from_report(report, kind), Moment::now()});
    } catch (const std::bad_alloc&) {
        ++dropped_;
        return;
    }
    if (waiting_.size() == 1) eventfd_write(event_, 1);
}

std::vector<Report> ReportQueue::take()
{
    const std::lock_guard lock(mutex_);
    eventfd_t count = 0;
    eventfd_read(event_, &count);
    return std::exchange(waiting_, {});
}

std::uint64_t ReportQueue::dropped() const
{
    const std::lock_guard lock(mutex_);
    return dropped_;
}

}  // namespace tagwire::tool
