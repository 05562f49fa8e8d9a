// Descriptors that close themselves, and event descriptors.
#pragma once

#include <utility>

#include "link/serial.h"

namespace tagwire {
inline namespace v1 {

class Descriptor {
  public:
    Descriptor() = default;
    // `held` is what keeps a serial device from others.
    explicit Descriptor(int fd, engine::HeldPort* held = nullptr) : fd_(fd), held_(held) {}
    Descriptor(Descriptor&& other) noexcept
        : fd_(std::exchange(other.fd_, -1)), held_(std::exchange(other.held_, nullptr))
    {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        std::swap(held_, other.held_);
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const { return fd_; }
    void reset();
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
    engine::HeldPort* held_ = nullptr;
};

// Never blocks; throws Error where no descriptor is left.
int make_event_descriptor();
void signal_event(int fd) noexcept;
void clear_event(int fd) noexcept;

// An Error for a descriptor that the system did not give: names the limit where that is the reason.
[[noreturn]] void throw_no_descriptor(const char* operation, int error);

}  // namespace v1
}  // namespace tagwire
