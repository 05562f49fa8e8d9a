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

// Reads a frame byte by byte; behind the 300 bytes of its copy there are only zeros.
class RecordCursor {
  public:
    RecordCursor(const u8* frame, std::size_t at) : frame_(frame), at_(at) {}

    bool at_end() const { return at_ >= size; }
    TagRecord record(const RecordLayout& layout)
    {
        constexpr u8 phase_in_length = 0x40;
        constexpr u8 phase_in_packet = 0x10;
        constexpr u8 short_length = 0x3F;

        TagRecord out{};
        out.kind = layout.whole_length ? 2 : 1;
        if (layout.packet_byte) out.packet = byte();
        out.len = byte();
        out.id_size = layout.whole_length ? out.len : out.len & short_length;
        out.has_phase =
            layout.whole_length ? (out.packet & phase_in_packet) != 0 : (out.len & phase_in_length) != 0;
        out.id = bytes(out.id_size);
        out.rssi = byte();
        if (out.has_phase) {
            out.phase_begin = static_cast<std::uint16_t>(number(2));
            out.phase_end = static_cast<std::uint16_t>(number(2));
            out.khz = number(3);
        }
        out.antenna = frame_[4];
        out.whole = at_ + frame::crc_size <= frame::length(frame_[frame::len]);
        return out;
    }

  private:
    static constexpr std::size_t size = FrameCopy::size;

    u8 byte()
    {
        const std::size_t at = at_++;
        return at < size ? frame_[at] : u8{0};
    }
    std::uint32_t number(int bytes)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < bytes; ++i) value = value << 8U | byte();
        return value;
    }
    const u8* bytes(std::size_t count)
    {
        const std::size_t at = at_;
        at_ += count;
        if (at_ <= size) return frame_ + at;
        std::fill(std::copy(frame_ + std::min(at, size), frame_ + size, cut_), std::end(cut_), u8{0});
        return cut_;
    }

    const u8* frame_;
    std::size_t at_;
    u8 cut_[255];
};

}  // namespace detail

// Gives each record of an answer to `command` to `take`. `frame` has the 300 bytes of a FrameCopy. A report of
// continuous reading (report_layout) carries one record and no count.
template <class Take> void for_each_record(const u8* frame, int command, Take take)
{
    constexpr std::size_t count_at = 5;
    const bool single = command == report_layout;
    detail::RecordCursor cursor(frame, single ? count_at : count_at + 1);
    const int count = single ? 1 : frame[count_at];
    for (int i = 0; i < count && !cursor.at_end(); ++i) take(cursor.record(detail::layout_of(command)));
}

}  // namespace tagwire::engine
