// From the library's callback to the thread that shows the tags.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "records.h"

namespace tagwire::tool {

// One instant on both clocks: the one that never jumps, and the one on the wall.
struct Moment {
    std::chrono::steady_clock::time_point steady;
    std::chrono::system_clock::time_point wall;

    static Moment now();
};

struct Report {
    TagRecord tag;
    Moment at;
};

// Receives the reports of one connection while it lives. Once the destructor has returned, the sink is not
// running and will not run again.
class ReportSubscription {
  public:
    using Sink = std::function<void(const RFIDTag&, int kind)>;
    enum class Delivery { ReportsOnly, ReportsAndList };

    ReportSubscription(int handle, Delivery delivery, Sink sink);
    ~ReportSubscription();
    ReportSubscription(const ReportSubscription&) = delete;
    ReportSubscription& operator=(const ReportSubscription&) = delete;

  private:
    int handle_;
};

// Reports on their way to another thread, and the count of those that found no room.
class ReportQueue {
  public:
    explicit ReportQueue(std::size_t capacity);
    ~ReportQueue();
    ReportQueue(const ReportQueue&) = delete;
    ReportQueue& operator=(const ReportQueue&) = delete;

    void push(const RFIDTag& report, int kind) noexcept;
    std::vector<Report> take();
    std::uint64_t dropped() const;
    // Readable while reports wait.
    int fd() const { return event_; }

  private:
    const std::size_t capacity_;
    int event_;
    mutable std::mutex mutex_;
    std::vector<Report> waiting_;
    std::uint64_t dropped_ = 0;
};

}  // namespace tagwire::tool
