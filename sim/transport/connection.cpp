#include "transport/connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace tagwire::sim {

namespace {

constexpr std::size_t chunk_size = 65536;
constexpr std::size_t most_pieces = 64;

bool try_again(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

Connection::Connection(ConnectionId id, std::shared_ptr<Endpoint> endpoint, Descriptor descriptor)
    : id_(id), endpoint_(std::move(endpoint)), descriptor_(std::move(descriptor))
{}

Connection::Connection(ConnectionId id, std::shared_ptr<Endpoint> endpoint, PtyPair pty)
    : id_(id), endpoint_(std::move(endpoint)), descriptor_(std::move(pty.master)),
      slave_(std::move(pty.slave))
{}

Connection::Input Connection::read(Bytes& into)
{
    into.resize(chunk_size);
    const ssize_t count = ::read(descriptor_.get(), into.data(), into.size());
    const int error = errno;
    into.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    if (count > 0) return Input::bytes;
    if (count == 0) return Input::ended;
    return try_again(error) ? Input::nothing : Input::broken;
}

void Connection::queue(Time now, Time wait, Output output)
{
    last_due_ = std::max(last_due_, wait > Time{} ? now : Time{}) + wait;
    output.not_before = last_due_;
    queued_bytes_ += output.bytes.size();
    queue_.push_back(std::move(output));
}

// Output that the system did not take is sent when it takes some, not by the clock.
std::optional<Time> Connection::next_event() const
{
    std::optional<Time> due = parser_.deadline();
    if (queue_.empty() || watched_for_writing) return due;
    const Time first = queue_.front().not_before;
    return due ? std::min(*due, first) : first;
}

bool Connection::write(Time now, std::vector<Output>& done)
{
    while (wants_to_write(now)) {
        const std::size_t written = write_some(now);
        const int error = errno;
        if (written == 0 && !queue_.front().bytes.empty()) return try_again(error);
        queued_bytes_ -= written;
        front_written_ += written;
        while (!queue_.empty() && front_written_ >= queue_.front().bytes.size()) {
            if (queue_.front().not_before > now) break;
            front_written_ -= queue_.front().bytes.size();
            done.push_back(std::move(queue_.front()));
            queue_.pop_front();
            if (done.back().hang_up) return false;
        }
    }
    return true;
}

// Gives 0 and the reason in errno when the system takes nothing.
std::size_t Connection::write_some(Time now)
{
    std::array<iovec, most_pieces> pieces{};
    std::size_t count = 0;
    std::size_t skip = front_written_;
    for (Output& output : queue_) {
        if (count == most_pieces || output.not_before > now) break;
        pieces[count].iov_base = output.bytes.data() + skip;
        pieces[count].iov_len = output.bytes.size() - skip;
        skip = 0;
        ++count;
        if (output.hang_up) break;
    }
    ssize_t written = 0;
    if (is_pty()) {
        written = ::writev(descriptor_.get(), pieces.data(), static_cast<int>(count));
    } else {
        msghdr message{};
        message.msg_iov = pieces.data();
        message.msg_iovlen = count;
        written = ::sendmsg(descriptor_.get(), &message, MSG_NOSIGNAL);
    }
    return written > 0 ? static_cast<std::size_t>(written) : 0;
}

}  // namespace tagwire::sim
