#include "output.h"

#include "errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// A pipe that polls as writable takes this much without blocking.
constexpr std::size_t chunk_size = PIPE_BUF;
constexpr std::size_t flush_size = std::size_t{64} * 1024;
constexpr int last_moment_ms = 500;

std::string prefixed(std::string_view text, std::string_view prefix)
{
    std::string lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        lines.append(prefix).append(text.substr(begin, end - begin));
        begin = end;
    }
    return lines;
}

}  // namespace

void Output::line(std::string_view text)
{
    pending_ += text;
    pending_ += '\n';
    if (pending_.size() >= flush_size) flush();
}

void Output::text(std::string_view text) { pending_ += text; }

void Output::flush()
{
    const auto text = std::exchange(pending_, {});
    if (shared_ != nullptr) return shared_->share(prefixed(text, prefix_));
    if (!closed_) write_all(text);
}

void Output::share(std::string_view text)
{
    const std::lock_guard lock(mutex_);
    if (!closed_) write_all(text);
}

void Output::check()
{
    if (shared_ != nullptr) return shared_->check();
    pollfd fd{fd_, 0, 0};
    if (poll(&fd, 1, 0) > 0 && (fd.revents & (POLLERR | POLLHUP)) != 0) closed_ = true;
}

bool Output::is_terminal() const { return shared_ == nullptr && isatty(fd_) != 0; }

bool Output::wait_until_writable() const
{
    std::array<pollfd, 2> fds{pollfd{fd_, POLLOUT, 0}, pollfd{interrupt_fd_, POLLIN, 0}};
    while (poll(fds.data(), fds.size(), -1) < 0) {
        if (errno != EINTR) return true;
    }
    if (fds[0].revents != 0) return true;
    return poll(fds.data(), 1, last_moment_ms) > 0;
}

void Output::write_all(std::string_view text)
{
    while (!text.empty()) {
        if (!wait_until_writable()) {
            closed_ = true;
            return;
        }
        const auto written = ::write(fd_, text.data(), std::min(text.size(), chunk_size));
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        if (written == 0 || errno == EINTR || errno == EAGAIN) continue;
        closed_ = true;
        // A terminal that was closed answers with EIO.
        if (errno == EPIPE || errno == EIO) return;
        throw Failure(fmt::format("cannot write the output: {}", std::strerror(errno)));
    }
}

}  // namespace tagwire::tool
