// Lines to a descriptor whose other end may go away.
#pragma once

#include <string>
#include <string_view>

namespace tagwire::tool {

class Output {
  public:
    // While interrupt_fd is readable, a full pipe is not waited for any longer than a moment; -1 for none.
    explicit Output(int fd, int interrupt_fd = -1) : fd_(fd), interrupt_fd_(interrupt_fd) {}

    // Both gather text; flush writes it. A write that fails for another reason than a closed pipe throws
    // Failure.
    void line(std::string_view text);
    void text(std::string_view text);
    void flush();

    // The other end is gone or takes nothing any more: what is written goes nowhere.
    bool closed() const { return closed_; }
    // Looks whether the other end is still there, without writing.
    void check();
    int fd() const { return fd_; }
    bool is_terminal() const;

  private:
    bool wait_until_writable() const;
    void write_all(std::string_view text);

    int fd_;
    int interrupt_fd_;
    bool closed_ = false;
    std::string pending_;
};

}  // namespace tagwire::tool
