// One thread that waits for many descriptors and times, and does what they ask for.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <sys/epoll.h>
#include <thread>
#include <utility>
#include <vector>

#include "xx/link/descriptors.h"

namespace tagwire {
inline namespace v1 {

using SteadyTime = std::chrono::steady_clock::time_point;

// What other threads leave for the loop's. It may outlive the loop.
class Mailbox {
  public:
    Mailbox() : event_(make_event_descriptor()) {}

    // False, and the task not taken, once the loop has ended.
    bool post(std::function<void()> task);
    std::vector<std::function<void()>> take();
    void close();
    int fd() const { return event_.get(); }

  private:
    std::mutex mutex_;
    std::vector<std::function<void()>> tasks_;
    bool closed_ = false;
    Descriptor event_;
};

// Called on the loop's thread. Throws nothing.
class Watcher {
  public:
    virtual void on_ready(std::uint32_t events) = 0;
    virtual void on_time() = 0;
    // One of them threw: there was no memory.
    virtual void on_failure() noexcept {}

  protected:
    Watcher() = default;
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;
    virtual ~Watcher() = default;

  private:
    friend class IoLoop;
    SteadyTime due_{};  // none at the epoch
};

class IoLoop {
  public:
    IoLoop();
    ~IoLoop();  // not on its own thread; end() must have been asked for, or start() not been called
    IoLoop(const IoLoop&) = delete;
    IoLoop& operator=(const IoLoop&) = delete;

    void start();
    const std::shared_ptr<Mailbox>& mailbox() const { return mailbox_; }

    // On its own thread.
    bool watch(int fd, std::uint32_t events, Watcher& watcher);  // false when the system has no room for it
    void change(int fd, std::uint32_t events, Watcher& watcher);
    void forget(int fd, Watcher& watcher);
    void set_timer(Watcher& watcher, SteadyTime due);
    void clear_timer(Watcher& watcher);
    void end() { ended_ = true; }

  private:
    void run();
    template <class Call> static void guarded(Watcher& watcher, Call call)
    {
        try {
            call();
        } catch (...) {
            watcher.on_failure();
        }
    }
    int milliseconds_to_next_timer() const;
    void run_tasks();
    void call_ready(int count);
    void call_due();

    Descriptor epoll_;
    std::shared_ptr<Mailbox> mailbox_;
    std::set<std::pair<SteadyTime, Watcher*>> timers_;
    std::vector<epoll_event> ready_;
    bool ended_ = false;
    std::thread thread_;
};

}  // namespace v1
}  // namespace tagwire
