// Descriptors that close themselves, and event descriptors.
#pragma once

#include <utility>

namespace tagwire {
inline namespace v1 {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }
    void reset();
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

// Never blocks; throws Error where no descriptor is left.
int make_event_descriptor();
void signal_event(int fd) noexcept;
void clear_event(int fd) noexcept;

// An Error for a descriptor that the system did not give: names the limit where that is the reason.
[[noreturn]] void throw_no_descriptor(const char* operation, int error);

}  // namespace v1
}  // namespace tagwire
