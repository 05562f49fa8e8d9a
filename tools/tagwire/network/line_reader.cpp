#include "network/line_reader.h"

#include "errors.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <poll.h>
#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::size_t longest_line = 65536;

}  // namespace

std::optional<std::string> LineReader::next()
{
    while (wait()) {
        const auto end = pending_.find('\n');
        if (end != std::string::npos) return take_line(end, 1);
        if (pending_.size() > longest_line)
            throw Failure(fmt::format("a line of the input is longer than {} bytes", longest_line));
        if (read_more()) continue;
        if (pending_.empty()) return std::nullopt;
        return take_line(pending_.size(), 0);
    }
    return std::nullopt;
}

std::string LineReader::take_line(std::size_t length, std::size_t end_length)
{
    auto line = pending_.substr(0, length);
    pending_.erase(0, length + end_length);
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

// False after a signal. Lines that wait need no input.
bool LineReader::wait() const
{
    const bool has_line = pending_.find('\n') != std::string::npos;
    std::array<pollfd, 2> fds{pollfd{interrupt_fd_, POLLIN, 0}, pollfd{fd_, POLLIN, 0}};
    while (poll(fds.data(), fds.size(), has_line ? 0 : -1) < 0) {
        if (errno != EINTR) throw Failure(fmt::format("cannot wait for input: {}", std::strerror(errno)));
    }
    return fds[0].revents == 0;
}

bool LineReader::read_more()
{
    std::array<char, 4096> chunk{};
    const auto count = read(fd_, chunk.data(), chunk.size());
    // A terminal that was closed answers with EIO.
    if (count < 0 && errno != EIO && errno != EINTR)
        throw Failure(fmt::format("cannot read the input: {}", std::strerror(errno)));
    if (count > 0) pending_.append(chunk.data(), static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

}  // namespace tagwire::tool
