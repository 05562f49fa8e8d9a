#include "xx/link/descriptors.h"

#include <cerrno>
#include <cstdint>
#include <string>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {

void Descriptor::reset()
{
    if (fd_ >= 0) engine::close_port(std::exchange(fd_, -1), std::exchange(held_, nullptr));
}

int make_event_descriptor()
{
    const int fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) throw_no_descriptor("open", errno);
    return fd;
}

void signal_event(int fd) noexcept
{
    const std::uint64_t one = 1;
    // It can fail only where it is signalled already.
    if (::write(fd, &one, sizeof one) < 0) return;
}

void clear_event(int fd) noexcept
{
    std::uint64_t count = 0;
    if (::read(fd, &count, sizeof count) < 0) return;
}

void throw_no_descriptor(const char* operation, int error)
{
    std::string text = std::generic_category().message(error);
    rlimit limit{};
    if (error == EMFILE && ::getrlimit(RLIMIT_NOFILE, &limit) == 0)
        text = "this process has as many descriptors open as it may (" + std::to_string(limit.rlim_cur) +
               "): close some, or raise the limit (ulimit -n)";
    throw Error(Errc::cannot_open, operation, {}, text);
}

}  // namespace v1
}  // namespace tagwire
