// Lines from a descriptor, which a signal ends.
#pragma once

#include <optional>
#include <string>

namespace tagwire::tool {

class LineReader {
  public:
    // Reads until interrupt_fd is readable.
    LineReader(int fd, int interrupt_fd) : fd_(fd), interrupt_fd_(interrupt_fd) {}

    // Without its end; nothing at the end of the input or after a signal. Throws Failure.
    std::optional<std::string> next();

  private:
    bool wait() const;
    bool read_more();
    std::string take_line(std::size_t length, std::size_t end_length);

    int fd_;
    int interrupt_fd_;
    std::string pending_;
};

}  // namespace tagwire::tool
