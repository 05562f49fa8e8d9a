// The tag records in a frame, as bytes.
#pragma once

#include <algorithm>

#include "link/questions.h"

namespace tagwire::engine {

struct TagRecord {
    int kind;      // 1: the length has 6 bits, 2: all 8
    u8 packet;     // the byte in front of the length; 0 where the command has none
    u8 len;        // the length byte as received
    const u8* id;  // until the next record
    std::size_t id_size;
    u8 rssi;
    bool has_phase;
    std::uint16_t phase_begin;
    std::uint16_t phase_end;
    std::uint32_t khz;
    u8 antenna;
    bool whole;  // it came in the frame, in front of the CRC; otherwise it goes on in what lies behind
};

namespace detail {

// How the records of a frame are laid out.
struct RecordLayout {
    bool packet_byte;   // a leading byte in front of the length
    bool whole_length;  // the length byte is all length, and the phase flag is in the packet byte
};

constexpr RecordLayout layout_of(int command)
{
    switch (command) {
    case 0x19:
    case 0x57: return {true, false};
    case 0x20: return {true, true};
    default: return {false, false};
    }
}

// Reads a frame record by record; behind the 300 bytes of its copy there are only zeros.
class RecordCursor {
  public:
    RecordCursor(const u8* frame, std::size_t at, const RecordLayout& layout)
        : frame_(frame), at_(at), layout_(layout)
    {}

    bool at_end() const { return at_ >= size; }
    TagRecord record()
    {
        constexpr u8 phase_in_length = 0x40;
        constexpr u8 phase_in_packet = 0x10;

        const u8* const begin = is_within_the_copy() ? frame_ + at_ : continued_with_zeros();
        const u8* at = begin;
        TagRecord out{};
        out.kind = layout_.whole_length ? 2 : 1;
        if (layout_.packet_byte) out.packet = *at++;
        out.len = *at++;
        out.id_size = id_size(out.len);
        out.has_phase =
            layout_.whole_length ? (out.packet & phase_in_packet) != 0 : (out.len & phase_in_length) != 0;
        out.id = at;
        at += out.id_size;
        out.rssi = *at++;
        if (out.has_phase) {
            out.phase_begin = static_cast<std::uint16_t>(at[0] << 8U | at[1]);
            out.phase_end = static_cast<std::uint16_t>(at[2] << 8U | at[3]);
            out.khz = static_cast<std::uint32_t>(at[4] << 16U | at[5] << 8U | at[6]);
            at += phase_size;
        }
        out.antenna = frame_[4];
        at_ += static_cast<std::size_t>(at - begin);
        out.whole = at_ + frame::crc_size <= frame::length(frame_[frame::len]);
        return out;
    }

  private:
    static constexpr std::size_t size = FrameCopy::size;
    static constexpr std::size_t phase_size = 7;
    static constexpr std::size_t most_beside_id = 2 + 1 + phase_size;

    std::size_t id_size(u8 length) const { return layout_.whole_length ? length : length & 0x3FU; }
    bool is_within_the_copy() const
    {
        const std::size_t length_at = at_ + (layout_.packet_byte ? 1 : 0);
        return length_at < size && at_ + most_beside_id + id_size(frame_[length_at]) <= size;
    }
    const u8* continued_with_zeros()
    {
        std::fill(std::copy(frame_ + std::min(at_, size), frame_ + size, cut_), std::end(cut_), u8{0});
        return cut_;
    }

    const u8* frame_;
    std::size_t at_;
    const RecordLayout layout_;
    u8 cut_[most_beside_id + 255];  // a record that is not within the copy begins so near to its end
};

}  // namespace detail

// Gives each record of an answer to `command` to `take`. `frame` has the 300 bytes of a FrameCopy. A report of
// continuous reading (report_layout) carries one record and no count.
template <class Take> void for_each_record(const u8* frame, int command, Take take)
{
    constexpr std::size_t count_at = 5;
    const bool single = command == report_layout;
    detail::RecordCursor cursor(frame, single ? count_at : count_at + 1, detail::layout_of(command));
    const int count = single ? 1 : frame[count_at];
    for (int i = 0; i < count && !cursor.at_end(); ++i) take(cursor.record());
}

}  // namespace tagwire::engine
