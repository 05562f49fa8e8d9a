// Frames as the reader sees them: requests taken out of a byte stream, answers built from their parts.
#pragma once

#include <cstdint>
#include <optional>

#include "bytes.h"

namespace tagwire::sim {

struct Request {
    std::uint8_t address = 0;
    std::uint8_t command = 0;
    Bytes data;
    Bytes frame;  // as received, Len byte to CRC
};

// The status bytes of answers.
namespace status {
inline constexpr std::uint8_t success = 0x00;
inline constexpr std::uint8_t inventory_done = 0x01;
inline constexpr std::uint8_t scan_time_over = 0x02;
inline constexpr std::uint8_t more_follow = 0x03;
inline constexpr std::uint8_t wrong_password = 0x05;
inline constexpr std::uint8_t table_data = 0x60;    // more follow
inline constexpr std::uint8_t out_of_order = 0xF6;  // not in this mode, or not with this number
inline constexpr std::uint8_t antenna_missing = 0xF8;
inline constexpr std::uint8_t no_tag = 0xFB;
inline constexpr std::uint8_t tag_error = 0xFC;  // the tag's own error code follows
inline constexpr std::uint8_t unknown_command = 0xFE;
inline constexpr std::uint8_t buffer_empty = 0xFE;
inline constexpr std::uint8_t bad_parameter = 0xFF;
}  // namespace status

inline constexpr std::uint8_t report_command = 0xEE;
inline constexpr std::size_t longest_answer_data = 250;  // with it, Len is 255

// The frame of an answer. `data` is at most `longest_answer_data` bytes long.
Bytes make_answer(std::uint8_t address, std::uint8_t command, std::uint8_t status, const Bytes& data = {});

// Writes the CRC of all bytes but the last two into these.
void seal(Bytes& frame);

// Takes requests out of a stream that may hold anything. Bytes that begin no good frame are dropped one by
// one; a frame that stays incomplete for `patience` is given up, and at once if a good one has arrived behind
// its beginning while the parser was out of step.
class RequestParser {
  public:
    static constexpr Time patience = std::chrono::milliseconds(100);

    void feed(Time now, const std::uint8_t* bytes, std::size_t count);
    std::optional<Request> next();

    // When to call expire() if nothing more arrives.
    std::optional<Time> deadline() const;
    // Gives up the incomplete frame at the front; complete frames behind it are there for next().
    void expire(Time now);

    std::uint64_t skipped_bytes() const { return skipped_bytes_; }
    // Runs of bytes skipped between good frames.
    std::uint64_t bad_frames() const { return bad_frames_; }

  private:
    bool is_good_frame(std::size_t at) const;
    bool overtakes_front() const;
    void skip_byte();
    void compact();

    Bytes buffer_;
    std::size_t start_ = 0;
    std::size_t stale_ = 0;  // of the bytes from start_ on, so many are too old to be waited for
    Time last_arrival_{};
    bool skipping_ = false;
    std::uint64_t skipped_bytes_ = 0;
    std::uint64_t bad_frames_ = 0;
};

}  // namespace tagwire::sim
