// Signals that stop a Stream.
#pragma once

#include <functional>
#include <initializer_list>
#include <vector>

#include "xx/stream/io_loop.h"

namespace tagwire {
inline namespace v1 {

// One at a time in a process. The handlers do no more than signal an event descriptor and put the old
// dispositions back.
class StopOnSignal final : public Watcher {
  public:
    // Throws std::logic_error where a handler stands already.
    StopOnSignal(std::initializer_list<int> signals, std::function<void()> stop);
    ~StopOnSignal() override;
    StopOnSignal(const StopOnSignal&) = delete;
    StopOnSignal& operator=(const StopOnSignal&) = delete;

    // On the loop's thread.
    void listen(IoLoop& loop);
    void on_ready(std::uint32_t events) override;
    void on_time() override {}

  private:
    std::function<void()> stop_;
    IoLoop* loop_ = nullptr;
};

}  // namespace v1
}  // namespace tagwire
