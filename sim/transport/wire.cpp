#include "transport/wire.h"

#include <stdexcept>

#include "link/crc16.h"
#include "link/frame.h"

namespace tagwire::sim {

namespace frame = engine::frame;

void seal(Bytes& frame)
{
    if (frame.size() < frame::crc_size) return;
    const std::size_t covered = frame.size() - frame::crc_size;
    const std::uint16_t crc = engine::crc16(frame.data(), covered);
    frame[covered] = static_cast<std::uint8_t>(crc & 0xFFU);
    frame[covered + 1] = static_cast<std::uint8_t>(crc >> 8U);
}

Bytes make_answer(std::uint8_t address, std::uint8_t command, std::uint8_t status, const Bytes& data)
{
    if (data.size() > longest_answer_data) throw std::logic_error("answer data longer than a frame can hold");
    Bytes frame;
    const std::size_t size = frame::response_data + data.size() + frame::crc_size;
    frame.reserve(size);
    frame.push_back(static_cast<std::uint8_t>(size - 1));
    frame.push_back(address);
    frame.push_back(command);
    frame.push_back(status);
    append(frame, data);
    frame.resize(size);
    seal(frame);
    return frame;
}

void RequestParser::feed(Time now, const std::uint8_t* bytes, std::size_t count)
{
    if (count == 0) return;
    compact();
    buffer_.insert(buffer_.end(), bytes, bytes + count);
    last_arrival_ = now;
}

std::optional<Request> RequestParser::next()
{
    while (start_ < buffer_.size()) {
        const std::uint8_t* front = buffer_.data() + start_;
        const std::size_t available = buffer_.size() - start_;
        const std::size_t size = frame::length(front[frame::len]);
        if (size < frame::shortest_request) {
            skip_byte();
            continue;
        }
        if (size > available) {
            if (stale_ == 0 && !overtakes_front()) return std::nullopt;
            skip_byte();
            continue;
        }
        if (!is_good_frame(start_)) {
            skip_byte();
            continue;
        }
        Request request;
        request.frame.assign(front, front + size);
        request.address = front[frame::address];
        request.command = front[frame::command];
        request.data.assign(front + frame::request_data, front + size - frame::crc_size);
        start_ += size;
        stale_ = stale_ > size ? stale_ - size : 0;
        skipping_ = false;
        return request;
    }
    compact();
    return std::nullopt;
}

std::optional<Time> RequestParser::deadline() const
{
    if (start_ == buffer_.size()) return std::nullopt;
    return last_arrival_ + patience;
}

void RequestParser::expire(Time now)
{
    const auto due = deadline();
    if (due && now >= *due) stale_ = buffer_.size() - start_;
}

bool RequestParser::is_good_frame(std::size_t at) const
{
    const std::size_t size = frame::length(buffer_[at]);
    if (size < frame::shortest_request || size > buffer_.size() - at) return false;
    return engine::crc16(buffer_.data() + at, size) == 0;
}

// In step, an incomplete frame may well hold bytes that look like another one.
bool RequestParser::overtakes_front() const
{
    if (!skipping_) return false;
    for (std::size_t at = start_ + 1; at < buffer_.size(); ++at) {
        if (is_good_frame(at)) return true;
    }
    return false;
}

void RequestParser::skip_byte()
{
    if (!skipping_) ++bad_frames_;
    skipping_ = true;
    ++skipped_bytes_;
    ++start_;
    if (stale_ > 0) --stale_;
}

void RequestParser::compact()
{
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start_));
    start_ = 0;
}

}  // namespace tagwire::sim
