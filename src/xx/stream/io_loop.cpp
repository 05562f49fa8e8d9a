#include "xx/stream/io_loop.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include "link/signals.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr std::size_t most_ready = 64;

}  // namespace

bool Mailbox::post(std::function<void()> task)
{
    const std::lock_guard lock(mutex_);
    if (closed_) return false;
    tasks_.push_back(std::move(task));
    signal_event(event_.get());
    return true;
}

std::vector<std::function<void()>> Mailbox::take()
{
    const std::lock_guard lock(mutex_);
    if (tasks_.empty()) return {};
    clear_event(event_.get());
    return std::exchange(tasks_, {});
}

void Mailbox::close()
{
    const std::lock_guard lock(mutex_);
    closed_ = true;
    tasks_.clear();
}

IoLoop::IoLoop()
    : epoll_(::epoll_create1(EPOLL_CLOEXEC)), mailbox_(std::make_shared<Mailbox>()), ready_(most_ready)
{
    if (!epoll_) throw_no_descriptor("stream", errno);
    epoll_event wanted{};
    wanted.events = EPOLLIN;
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, mailbox_->fd(), &wanted) != 0)
        throw_no_descriptor("stream", errno);
}

IoLoop::~IoLoop()
{
    if (thread_.joinable()) thread_.join();
    mailbox_->close();
}

void IoLoop::start()
{
    const engine::AsynchronousSignalsBlocked blocked;
    thread_ = std::thread([this] { run(); });
}

bool IoLoop::watch(int fd, std::uint32_t events, Watcher& watcher)
{
    epoll_event wanted{};
    wanted.events = events;
    wanted.data.ptr = &watcher;
    return ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &wanted) == 0;
}

void IoLoop::change(int fd, std::uint32_t events, Watcher& watcher)
{
    epoll_event wanted{};
    wanted.events = events;
    wanted.data.ptr = &watcher;
    ::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, fd, &wanted);
}

// What was seen of it before does not count any more.
void IoLoop::forget(int fd, Watcher& watcher)
{
    ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
    for (epoll_event& event : ready_)
        if (event.data.ptr == &watcher) event.data.ptr = nullptr;
}

void IoLoop::set_timer(Watcher& watcher, SteadyTime due)
{
    clear_timer(watcher);
    watcher.due_ = due;
    timers_.emplace(due, &watcher);
}

void IoLoop::clear_timer(Watcher& watcher)
{
    if (watcher.due_ == SteadyTime{}) return;
    timers_.erase({watcher.due_, &watcher});
    watcher.due_ = {};
}

void IoLoop::run()
{
    while (!ended_) {
        const int count = ::epoll_wait(epoll_.get(), ready_.data(), static_cast<int>(ready_.size()),
                                       milliseconds_to_next_timer());
        call_ready(count);
        call_due();
        run_tasks();
    }
    mailbox_->close();
}

void IoLoop::run_tasks()
{
    for (const auto& task : mailbox_->take()) {
        try {
            task();
        } catch (...) {  // there was no memory: what has a time limit comes to it
        }
    }
}

int IoLoop::milliseconds_to_next_timer() const
{
    if (timers_.empty()) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first -
                                                                   std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

void IoLoop::call_ready(int count)
{
    for (int i = 0; i < count; ++i) {
        const epoll_event event = ready_[static_cast<std::size_t>(i)];
        auto* watcher = static_cast<Watcher*>(event.data.ptr);
        if (watcher != nullptr) guarded(*watcher, [&] { watcher->on_ready(event.events); });
    }
    for (epoll_event& event : ready_) event.data.ptr = nullptr;
}

void IoLoop::call_due()
{
    const SteadyTime now = std::chrono::steady_clock::now();
    while (!timers_.empty() && timers_.begin()->first <= now) {
        Watcher* watcher = timers_.begin()->second;
        clear_timer(*watcher);
        guarded(*watcher, [&] { watcher->on_time(); });
    }
}

}  // namespace v1
}  // namespace tagwire
