// Descriptors and what is opened through them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace tagwire::sim {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset();

  private:
    int fd_ = -1;
};

// All throw std::system_error; none of the descriptors blocks or outlives an exec.
Descriptor listen_on(const std::string& address, std::uint16_t port);
std::uint16_t port_of(const Descriptor& socket);
Descriptor accept_from(const Descriptor& listener);  // none, and the reason in errno, when nobody is waiting
// Whether this errno tells that the system, or this process, has no more to give at the moment.
bool has_no_descriptors(int error);

struct PtyPair {
    Descriptor master;
    Descriptor slave;  // kept open so that the master sees no hang-up when the host closes its side
    std::string path;
};
PtyPair open_pty_pair();

// Names that lead to pseudo terminals, and to others in their place: symbolic links in a folder that goes in the end.
class PtyNames {
  public:
    PtyNames() = default;
    PtyNames(const PtyNames&) = delete;
    PtyNames& operator=(const PtyNames&) = delete;
    ~PtyNames();

    // Both throw std::system_error.
    std::string add(const std::string& terminal);
    void lead(const std::string& name, const std::string& terminal);

  private:
    std::string folder_;  // once there is a name
    unsigned names_ = 0;
};

unsigned line_speed(const Descriptor& terminal);  // bits a second; 0 for one that no reader has

}  // namespace tagwire::sim
