// A reader device as small as it can be, at the far end of a real TCP connection or pseudo terminal.
//
// It has no thread: the library's own sending hands it the request, and its answer is on the way before the
// send returns. So no time limit of the library can run out on a busy machine, and it works on virtual time.
#pragma once

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <pty.h>
#include <string>
#include <sys/stat.h>
#include <utility>

#include "link/system.h"
#include "support/bytes.h"

namespace tagwire::engine::test {

inline constexpr std::uint8_t device_address = 0x07;

// The full-length answer to the information request.
inline Bytes information(std::uint8_t status = 0, std::uint8_t address = device_address)
{
    return answer(address, 0x21, status, hex("03 01 0E 02 31 80 1E 0A 01 01 00 01"));
}

// One tag in an inventory answer of the layout without packet bytes; the EPC is two bytes.
inline Bytes tag_frame(std::uint8_t command, std::uint8_t status = 0x03)
{
    return answer(device_address, command, status, hex("01 01 02 AB CD 40"));
}

// One tag of continuous reading.
inline Bytes report_frame() { return answer(device_address, 0xEE, 0x00, hex("01 02 AB CD 40")); }

class Device {
  public:
    using Behaviour = std::function<Bytes(const Bytes& request)>;

    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // What it answers to a request; empty bytes are silence.
    void behave(Behaviour behaviour)
    {
        const std::lock_guard lock(mutex());
        behaviour_ = std::move(behaviour);
    }
    void stay_silent()
    {
        behave([](const Bytes&) { return Bytes{}; });
    }
    // Silent to one command, otherwise as ever.
    void stay_silent_to(std::uint8_t command)
    {
        behave([command](const Bytes& request) {
            return request[2] == command ? Bytes{} : usual_answer(request);
        });
    }
    std::size_t requests(std::uint8_t command) const
    {
        const std::lock_guard lock(mutex());
        const auto found = requests_.find(command);
        return found == requests_.end() ? 0 : found->second;
    }

    static Bytes usual_answer(const Bytes& request)
    {
        switch (request[2]) {
        case 0x21: return information();
        case 0x50:
        case 0x51: return answer(device_address, request[2], 0);
        default: return {};
        }
    }

  protected:
    Device()
    {
        const std::lock_guard lock(mutex());
        if (devices().empty()) {
            sys::calls.send = send;
            sys::calls.write = write;
        }
        devices().push_back(this);
    }
    // Not before the library has done with its far end: replaces the calls.
    virtual ~Device()
    {
        const std::lock_guard lock(mutex());
        std::erase(devices(), this);
        if (devices().empty()) {
            sys::calls.send = sys::Direct::send;
            sys::calls.write = sys::Direct::write;
        }
    }

    // True when the library's descriptor leads to this device.
    virtual bool is_behind(int fd) = 0;
    virtual void deliver(int fd, const Bytes& bytes) = 0;

    // Until the descriptor has input, so that virtual time cannot overtake the bytes.
    static void await_input(int fd)
    {
        pollfd watched{fd, POLLIN, 0};
        ::poll(&watched, 1, 5000);
    }
    static std::mutex& mutex()
    {
        static std::mutex m;
        return m;
    }

  private:
    static ssize_t send(int fd, const void* from, std::size_t count, int flags)
    {
        const ssize_t sent = sys::Direct::send(fd, from, count, flags);
        if (sent > 0) handle(fd, from, count);
        return sent;
    }
    static ssize_t write(int fd, const void* from, std::size_t count)
    {
        const ssize_t written = sys::Direct::write(fd, from, count);
        if (written > 0) handle(fd, from, count);
        return written;
    }
    static void handle(int fd, const void* from, std::size_t count)
    {
        const auto* bytes = static_cast<const std::uint8_t*>(from);
        const Bytes request(bytes, bytes + count);
        const std::lock_guard lock(mutex());
        for (Device* device : devices()) {
            if (count < 5 || !device->is_behind(fd)) continue;
            ++device->requests_[request[2]];
            const Bytes answer = device->behaviour_(request);
            if (!answer.empty()) device->deliver(fd, answer);
            return;
        }
    }
    static std::vector<Device*>& devices()
    {
        static std::vector<Device*> list;
        return list;
    }

    Behaviour behaviour_ = usual_answer;
    std::map<std::uint8_t, std::size_t> requests_;
};

class TcpDevice : public Device {
  public:
    explicit TcpDevice(std::string address = "127.0.0.1") : address_(std::move(address))
    {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_in at = end_point(0);
        if (::bind(listener_, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0) std::abort();
        if (::listen(listener_, 16) != 0) std::abort();
        socklen_t size = sizeof at;
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&at), &size);
        port_ = ntohs(at.sin_port);
    }
    ~TcpDevice() override
    {
        for (const auto& [host_port, fd] : connections_) ::close(fd);
        ::close(listener_);
    }

    int port() const { return port_; }
    char* address() { return address_.data(); }

    // To the newest connection.
    void push(const Bytes& bytes)
    {
        const std::lock_guard lock(mutex());
        if (::send(newest_, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) std::abort();
    }
    void hang_up()
    {
        const std::lock_guard lock(mutex());
        ::shutdown(newest_, SHUT_RDWR);
    }
    // Ends the connection instead of answering this command.
    void hang_up_on(std::uint8_t command)
    {
        behave([this, command](const Bytes& request) {
            if (request[2] != command) return usual_answer(request);
            ::shutdown(newest_, SHUT_RDWR);
            return Bytes{};
        });
    }
    // Reads the newest connection to its end; false when the host has not ended it after 5 s.
    bool was_left()
    {
        for (;;) {
            pollfd watched{newest_, POLLIN, 0};
            if (::poll(&watched, 1, 5000) <= 0) return false;
            std::uint8_t chunk[256];
            if (::recv(newest_, chunk, sizeof chunk, 0) <= 0) return true;
        }
    }

  private:
    sockaddr_in end_point(int port) const
    {
        sockaddr_in out{};
        out.sin_family = AF_INET;
        out.sin_port = htons(static_cast<std::uint16_t>(port));
        ::inet_pton(AF_INET, address_.c_str(), &out.sin_addr);
        return out;
    }

    bool is_behind(int fd) override
    {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) != 0) return false;
        const sockaddr_in here = end_point(port_);
        if (peer.sin_port != here.sin_port || peer.sin_addr.s_addr != here.sin_addr.s_addr) return false;
        accept_until(fd);
        return true;
    }

    // Takes waiting connections until the one that comes from `fd` is among them.
    void accept_until(int fd)
    {
        sockaddr_in host{};
        socklen_t size = sizeof host;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&host), &size);
        while (connections_.count(host.sin_port) == 0) {
            await_input(listener_);
            sockaddr_in from{};
            size = sizeof from;
            const int far = ::accept4(listener_, reinterpret_cast<sockaddr*>(&from), &size, SOCK_CLOEXEC);
            if (far < 0) std::abort();
            const auto old = connections_.find(from.sin_port);
            if (old != connections_.end()) ::close(old->second);
            connections_[from.sin_port] = far;
            newest_ = far;
        }
    }

    void deliver(int fd, const Bytes& bytes) override
    {
        sockaddr_in host{};
        socklen_t size = sizeof host;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&host), &size);
        ::send(connections_[host.sin_port], bytes.data(), bytes.size(), MSG_NOSIGNAL);
        const bool on_virtual_time = sys::calls.clock != sys::Direct::clock;
        if (on_virtual_time) await_input(fd);
    }

    std::string address_;
    int listener_ = -1;
    int port_ = 0;
    int newest_ = -1;
    std::map<in_port_t, int> connections_;  // by the host's port
};

class PtyDevice : public Device {
  public:
    PtyDevice()
    {
        char path[64] = {};
        termios raw{};
        cfmakeraw(&raw);
        if (::openpty(&master_, &slave_, path, &raw, nullptr) != 0) std::abort();
        ::fcntl(master_, F_SETFD, FD_CLOEXEC);
        ::fcntl(slave_, F_SETFD, FD_CLOEXEC);
        path_ = path;
        struct stat about {};
        ::fstat(slave_, &about);
        device_ = about.st_rdev;
    }
    ~PtyDevice() override
    {
        ::close(master_);
        ::close(slave_);
    }

    char* path() { return path_.data(); }

    void push(const Bytes& bytes) const
    {
        if (::write(master_, bytes.data(), bytes.size()) < 0) std::abort();
    }
    termios line() const
    {
        termios out{};
        ::tcgetattr(slave_, &out);
        return out;
    }

  private:
    bool is_behind(int fd) override
    {
        struct stat about {};
        return ::fstat(fd, &about) == 0 && S_ISCHR(about.st_mode) && about.st_rdev == device_;
    }
    void deliver(int fd, const Bytes& bytes) override
    {
        push(bytes);
        await_input(fd);
    }

    int master_ = -1;
    int slave_ = -1;  // kept open: a terminal without any opener hangs up
    std::string path_;
    dev_t device_ = 0;
};

}  // namespace tagwire::engine::test
