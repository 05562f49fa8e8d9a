// Ctrl-C and its relatives.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

#include <signal.h>

namespace tagwire::tool {

// Turns SIGINT, SIGTERM and SIGHUP into a flag and a readable descriptor once it is armed, and SIGPIPE into
// an error of write. Before that, and for the second time, a signal ends the process at once. Make it before
// any other thread: threads inherit its blocked signals.
class InterruptWatch {
  public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    bool interrupted() const { return interrupted_.load(); }
    // Readable from the first signal on.
    int fd() const { return event_; }

    void arm() { armed_ = true; }

    // While it lives, the action runs at the first signal and again every 300 ms, on another thread, behind those
    // that were there before.
    class Hook {
      public:
        Hook(InterruptWatch& watch, std::function<void()> action);
        ~Hook();
        Hook(const Hook&) = delete;
        Hook& operator=(const Hook&) = delete;

      private:
        InterruptWatch& watch_;
        std::list<std::function<void()>>::iterator action_;
    };

  private:
    void run();
    void take_signal();
    void act();

    sigset_t signals_{};
    sigset_t previous_mask_{};
    int signal_fd_ = -1;
    int event_ = -1;
    int stop_ = -1;
    std::atomic<bool> armed_{false};
    std::atomic<bool> interrupted_{false};
    std::chrono::steady_clock::time_point first_signal_;
    bool has_acted_ = false;
    std::mutex mutex_;
    std::list<std::function<void()>> actions_;
    std::thread thread_;
};

}  // namespace tagwire::tool
