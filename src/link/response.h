// What an answer says, and how it becomes the outputs of a command.
#pragma once

#include <algorithm>
#include <cstring>

#include "link/frame.h"
#include "reader/reader.h"
#include "tagwire/result.h"

namespace tagwire::engine {

// The data of an answer in the receive buffer, counted from the byte behind the status.
class Response {
  public:
    explicit Response(const Reader* reader) : frame_(reader->recvBuff), length_(reader->recvLength) {}

    u8 len() const { return frame_[frame::len]; }
    u8 address() const { return frame_[frame::address]; }
    u8 command() const { return frame_[frame::command]; }
    u8 status() const { return frame_[frame::status]; }
    int length() const { return length_; }                  // bytes received, the whole frame
    int data_length() const { return length_ - overhead; }  // those behind the status and in front of the CRC
    // Of the data that the length byte announces, what was received. The rest of what one reads is left over.
    int came() const
    {
        constexpr int in_front = static_cast<int>(frame::response_data);
        return std::max(0, std::min(static_cast<int>(len()) + 1 - overhead, length_ - in_front));
    }
    u8 operator[](std::size_t i) const { return frame_[frame::response_data + i]; }
    // What lies in front of the buffer is 0.
    u8 byte_or_zero(int i) const
    {
        const int at = static_cast<int>(frame::response_data) + i;
        return at >= 0 ? frame_[at] : u8{0};
    }
    int word(std::size_t i) const { return (*this)[i] << 8 | (*this)[i + 1]; }  // high byte first

    // A count below zero copies nothing. One frame holds at most 250 bytes of data.
    void copy(std::size_t from, u8* to, int count) const
    {
        if (count <= 0) return;
        const int most = most_data - static_cast<int>(from);
        if (count > most) count = most;
        if (count > 0) std::memcpy(to, frame_ + frame::response_data + from, static_cast<std::size_t>(count));
    }

  private:
    static constexpr int most_data = 250;
    static constexpr int overhead = static_cast<int>(frame::shortest_response);
    const u8* frame_;
    int length_;
};

// The outputs of most commands: none; the first data bytes, one to each; the first `count` of them; all that
// came.
inline constexpr auto no_output = [](const Response&) {};
template <class... Output> auto bytes_to(Output*... outputs)
{
    return [=](const Response& response) {
        std::size_t at = 0;
        ((*outputs = response[at++]), ...);
    };
}
inline auto data_to(u8* to, int count)
{
    return [=](const Response& response) { response.copy(0, to, count); };
}
inline auto all_data_to(u8* to)
{
    return [=](const Response& response) { response.copy(0, to, response.data_length()); };
}

// What *Errorcode becomes with status 0, with 0xFC (the tag refused and gave a code) and with any other.
struct ErrorRule {
    enum Value { kept, zero, minus_one, first_byte };
    Value on_success;
    Value on_tag_error;
    Value otherwise;

    void put(const Response& response, int* Errorcode) const
    {
        const u8 status = response.status();
        switch (status == TAGWIRE_OK ? on_success : status == TAGWIRE_TAG_ERROR ? on_tag_error : otherwise) {
        case kept: break;
        case zero: *Errorcode = 0; break;
        case minus_one: *Errorcode = -1; break;
        case first_byte: *Errorcode = response[0]; break;
        }
    }
};

}  // namespace tagwire::engine
