// Lines to a descriptor whose other end may go away.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace tagwire::tool {

class Output {
  public:
    // While interrupt_fd is readable, a full pipe is not waited for any longer than a moment; -1 for none.
    explicit Output(int fd, int interrupt_fd = -1) : fd_(fd), interrupt_fd_(interrupt_fd) {}

    // What one of several threads has to say: whole lines, each behind the prefix, to an output that they share and
    // that outlives it.
    Output(Output& shared, std::string prefix)
        : fd_(shared.fd_), interrupt_fd_(shared.interrupt_fd_), shared_(&shared), prefix_(std::move(prefix))
    {}

    // Both gather text; flush writes it. A write that fails for another reason than a closed pipe throws
    // Failure.
    void line(std::string_view text);
    void text(std::string_view text);
    void flush();

    // The other end is gone or takes nothing any more: what is written goes nowhere.
    bool closed() const { return shared_ != nullptr ? shared_->closed() : closed_.load(); }
    // Looks whether the other end is still there, without writing.
    void check();
    int fd() const { return fd_; }
    bool is_terminal() const;  // of one that has it to itself

  private:
    bool wait_until_writable() const;
    void write_all(std::string_view text);
    void share(std::string_view text);

    int fd_;
    int interrupt_fd_;
    Output* shared_ = nullptr;
    std::string prefix_;
    std::atomic<bool> closed_ = false;
    std::mutex mutex_;  // of what is written by several
    std::string pending_;
};

}  // namespace tagwire::tool
