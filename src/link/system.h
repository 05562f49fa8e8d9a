// Every system call and clock of the library, in one place.
//
// The shipped library calls the system directly. The library that tests link is compiled with
// TAGWIRE_SYSTEM_SEAM and goes through `sys::calls`, so that a test can let a call fail or let hours pass.
#pragma once

#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

namespace tagwire::engine::sys {

struct Direct {
    static int open(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }
    static int close(int fd) { return ::close(fd); }
    static int stat(const char* path, struct stat* out) { return ::stat(path, out); }
    static int fstat(int fd, struct stat* out) { return ::fstat(fd, out); }
    static int lock(int fd, struct flock* region) { return ::fcntl(fd, F_SETLK, region); }
    // Goes with the open file, not with the process.
    static int lock_file(int fd, struct flock* region) { return ::fcntl(fd, F_OFD_SETLK, region); }
    static ssize_t read(int fd, void* to, std::size_t count) { return ::read(fd, to, count); }
    static ssize_t write(int fd, const void* from, std::size_t count) { return ::write(fd, from, count); }
    static int ioctl(int fd, unsigned long request, void* value) { return ::ioctl(fd, request, value); }
    static int tcflush(int fd, int queues) { return ::tcflush(fd, queues); }
    static int tcgetattr(int fd, termios* settings) { return ::tcgetattr(fd, settings); }
    static int tcsetattr(int fd, const termios* settings) { return ::tcsetattr(fd, TCSANOW, settings); }
    static int socket() { return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }
    static int local_socket() { return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }
    static int bind(int fd, const sockaddr* to, socklen_t size) { return ::bind(fd, to, size); }
    static int connect(int fd, const sockaddr* to, socklen_t size) { return ::connect(fd, to, size); }
    static int getsockopt(int fd, int level, int name, void* value, socklen_t* size)
    {
        return ::getsockopt(fd, level, name, value, size);
    }
    static ssize_t send(int fd, const void* from, std::size_t count, int flags)
    {
        return ::send(fd, from, count, flags);
    }
    static ssize_t recv(int fd, void* to, std::size_t count, int flags)
    {
        return ::recv(fd, to, count, flags);
    }
    static int shutdown(int fd, int how) { return ::shutdown(fd, how); }
    static int ppoll(pollfd* fds, nfds_t count, const timespec* limit)
    {
        return ::ppoll(fds, count, limit, nullptr);
    }
    static int sleep_until(const timespec* end)
    {
        return ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, end, nullptr);
    }
    static int clock(timespec* now) { return ::clock_gettime(CLOCK_MONOTONIC, now); }
    static int wall_clock(timeval* now) { return ::gettimeofday(now, nullptr); }
    static int start_thread(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                            void* argument)
    {
        return ::pthread_create(thread, attributes, run, argument);
    }
};

#ifdef TAGWIRE_SYSTEM_SEAM

// Replaceable, one by one. Replace them while no other thread uses the library.
struct Calls {
    decltype(&Direct::open) open = Direct::open;
    decltype(&Direct::close) close = Direct::close;
    decltype(&Direct::stat) stat = Direct::stat;
    decltype(&Direct::fstat) fstat = Direct::fstat;
    decltype(&Direct::lock) lock = Direct::lock;
    decltype(&Direct::lock_file) lock_file = Direct::lock_file;
    decltype(&Direct::read) read = Direct::read;
    decltype(&Direct::write) write = Direct::write;
    decltype(&Direct::ioctl) ioctl = Direct::ioctl;
    decltype(&Direct::tcflush) tcflush = Direct::tcflush;
    decltype(&Direct::tcgetattr) tcgetattr = Direct::tcgetattr;
    decltype(&Direct::tcsetattr) tcsetattr = Direct::tcsetattr;
    decltype(&Direct::socket) socket = Direct::socket;
    decltype(&Direct::local_socket) local_socket = Direct::local_socket;
    decltype(&Direct::bind) bind = Direct::bind;
    decltype(&Direct::connect) connect = Direct::connect;
    decltype(&Direct::getsockopt) getsockopt = Direct::getsockopt;
    decltype(&Direct::send) send = Direct::send;
    decltype(&Direct::recv) recv = Direct::recv;
    decltype(&Direct::shutdown) shutdown = Direct::shutdown;
    decltype(&Direct::ppoll) ppoll = Direct::ppoll;
    decltype(&Direct::sleep_until) sleep_until = Direct::sleep_until;
    decltype(&Direct::clock) clock = Direct::clock;
    decltype(&Direct::wall_clock) wall_clock = Direct::wall_clock;
    decltype(&Direct::start_thread) start_thread = Direct::start_thread;
};
inline Calls calls;

#else

inline constexpr Direct calls;

#endif

}  // namespace tagwire::engine::sys
